// Runs a fuzz target on files and on the files in folders, without a fuzzing engine.
#include "support.h"
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

std::FILE* const messages = stderr;  // a target may replace the stream
int count = 0;

void run(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(in), {}};
    std::fprintf(messages, "%s\n", file.c_str());
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    ++count;
}

}  // namespace

int main(int argumentCount, char* arguments[]) {
    for (int i = 1; i < argumentCount; ++i) {
        if (!fs::is_directory(arguments[i])) run(arguments[i]);
        else
            for (const auto& entry : fs::directory_iterator(arguments[i])) run(entry.path());
    }
    std::fprintf(messages, "%d files\n", count);
    return count > 0 ? 0 : 1;
}
