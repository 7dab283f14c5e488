// Outputs go to the page, which holds them until the reader saves them.
#include "cli/io/notedinput.h"
#include "cli/io/outfile.h"
#include "common/host_wasi.h"

namespace tramo::cli {

NotedInput::NotedInput(const std::string&) {}
NotedInput::~NotedInput() = default;

NotedOutput::NotedOutput(const std::string& path, std::string called, const OutMode&)
    : name(std::move(called)), place(path, name) {}
NotedOutput::~NotedOutput() = default;

Place::Place(const std::string& givenPath, std::string called) : name(std::move(called)), path(givenPath) {}

void Unfinished::remove() {}
std::string Unfinished::path() const { return ownName; }

OutFile::OutFile(const std::string& path, Mode chosen, const std::string&) : mode(chosen), noted(path, path, chosen) {}
bool OutFile::isStream(const std::string&) { return false; }
void OutFile::expect(std::uint64_t) {}
void OutFile::write(std::string_view bytes) {
    host::writeOutput(noted.name.data(), noted.name.size(), bytes.data(), bytes.size());
}
void OutFile::commit() {}

OutFolder::OutFolder(const std::string& path, OutMode chosen) : mode(chosen), noted(path, path, chosen) {}
void OutFolder::commit() {}

}  // namespace tramo::cli
