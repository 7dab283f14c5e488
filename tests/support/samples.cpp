#include "support/samples.h"
#include <fstream>

namespace records {

std::vector<std::wstring> sampleLinesOf(const std::string& file, int length) {
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

std::vector<std::wstring> sampleLines(const std::string& file, wchar_t letter) {
    auto lines = sampleLinesOf(file, 512);
    std::erase_if(lines, [&](const std::wstring& line) { return line[0] != letter; });
    return lines;
}

void samplesAreReadAndWrittenBack(
    const Models& models, const Table& table, std::size_t count, const std::function<void(std::wstring&)>& differs) {
    std::size_t found = 0;
    for (const char* file : {"round-exported.txt", "round-returned.txt"})
        for (const std::wstring& line : sampleLines(file, table.letter)) {
            ++found;
            expectAlike(models, table, line);
            const auto model = models.parsed(line + L"\r\n");
            EXPECT_EQ(model->parseErrors(), Faults());
            std::wstring expected = line;
            if (differs) differs(expected);
            EXPECT_EQ(model->build(), expected + L"\r\n");
            EXPECT_EQ(model->buildErrors(), Faults());
            STOP_AT_FAILURE(file << ": " << display(line));
        }
    EXPECT_EQ(found, count);
}

}  // namespace records
