// The record lines of the sample files, as texts.
#pragma once
#include "support/records.h"
#include <fstream>

namespace records {

// The lines of this length in a single-byte file, without their line endings.
inline std::vector<std::wstring> sampleLinesOf(const std::string& file, int length) {
    std::ifstream in(SAMPLES "/" + file, std::ios::binary);
    std::vector<std::wstring> lines;
    for (std::string bytes; std::getline(in, bytes);) {
        std::wstring line;
        for (const char byte : bytes) line += static_cast<wchar_t>(static_cast<unsigned char>(byte));
        if (line.size() != static_cast<std::size_t>(length) + 1 || line.back() != L'\r') continue;
        line.pop_back();
        lines.push_back(line);
    }
    return lines;
}

// The record lines that begin with this letter.
inline std::vector<std::wstring> sampleLines(const std::string& file, wchar_t letter) {
    auto lines = sampleLinesOf(file, 512);
    std::erase_if(lines, [&](const std::wstring& line) { return line[0] != letter; });
    return lines;
}

// Every sample of a record is read without an error and written back unchanged, except for the changes that `differs` makes.
template <class M>
void samplesAreReadAndWrittenBack(const Table& table, std::size_t count, std::function<void(std::wstring&)> differs = {}) {
    std::size_t found = 0;
    for (const char* file : {"round-exported.txt", "round-returned.txt"})
        for (const std::wstring& line : sampleLines(file, table.letter)) {
            ++found;
            expectAlike<M>(table, line);
            M model = parsed<M>(line);
            EXPECT_EQ(faults(model.getParseErrors()), Faults());
            std::wstring expected = line;
            if (differs) differs(expected);
            EXPECT_EQ(textOf(build(model)), expected);
            EXPECT_EQ(faults(model.getBuildErrors()), Faults());
            STOP_AT_FAILURE(file << ": " << display(line));
        }
    EXPECT_EQ(found, count);
}

}  // namespace records
