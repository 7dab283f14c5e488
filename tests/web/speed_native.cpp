// What the function "check" of web/wasm/module.cpp does, natively. Prints the processor time in seconds.
#include "page/pagedata.h"
#include <cstdio>
#include <ctime>
#include <optional>
#include <tramostream/filecheck.h>
#include <tramostream/messages.h>
#include <tramostream/reader.h>

int main(int, char** arguments) {
    using namespace tramo;
    setMessages(Messages::Silent);
    const std::clock_t begin = std::clock();
    Reader forCheck(arguments[1], {.diagnose = true}), forRounds(arguments[1]);
    FileChecker checker(forCheck);
    while (checker.check(8192)) {}
    const CheckedFile checked = checker.result();
    const RoundFile lines = RoundFile::read(forRounds);
    const page::PageFile file{"round.txt", forCheck.bytesRead(), false, &lines, &checked};
    std::size_t size = 0;
    page::writePageData({&file, 1}, {.mostText = 0},
        {.part = [&](std::string_view, const std::string& json) { size += json.size(); }, .block = [](const std::string&) {}});
    std::printf("%.3f\n", static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC);
    return size == 0;
}
