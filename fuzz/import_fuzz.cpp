// tramo import. The first byte selects its options; the rest is a file of exported values.
#include "tool.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Bytes bytes(data, size);
    const unsigned choice = fuzz::takeByte(bytes);
    constexpr const char* forms[] = {"jsonl", "csv", "sqlite", "jsonl"};
    std::vector<std::string> arguments{"--output=-"};
    arguments.push_back(std::string("--from=") + forms[choice & 3]);
    arguments.emplace_back(choice >> 2 & 1 ? "--encoding=ansi" : "--encoding=utf16le");
    const fuzz::TemporaryFile file(bytes);  // a database needs a path of its own
    arguments.push_back(file.path());
    FUZZ_CHECK(fuzz::runCommand(tramo::cli::importCommand, arguments) != tramo::cli::notWritten);
    return 0;
}
