// tramo check. The first two bytes select its options; the rest is a file.
#include "tool.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Bytes bytes(data, size);
    const unsigned choice = fuzz::takeByte(bytes), more = fuzz::takeByte(bytes);
    constexpr const char* formats[] = {"text", "json", "sarif", "text"};
    constexpr const char* kinds[] = {"auto", "record", "parameter", "tag", "key", "auto", "auto", "auto"};
    constexpr const char* encodings[] = {"auto", "ansi", "utf16le", "auto"};
    std::vector<std::string> arguments{"--threads=1"};
    arguments.push_back(std::string("--format=") + formats[choice & 3]);
    arguments.push_back(std::string("--kind=") + kinds[choice >> 2 & 7]);
    arguments.push_back(std::string("--encoding=") + encodings[choice >> 5 & 3]);
    if (choice >> 7 & 1) arguments.emplace_back("--strict");
    if (more & 1) arguments.emplace_back("--all");
    if (more & 2) arguments.emplace_back("--max-findings=3");
    if (more & 4) arguments.emplace_back("--color=always");
    if (more & 8) arguments.emplace_back("--lines=2-3");
    const fuzz::File file(bytes);
    arguments.emplace_back(file.path());
    FUZZ_CHECK(fuzz::runCommand(tramo::cli::checkCommand, arguments) != tramo::cli::notWritten);
    return 0;
}
