// Written for this file and this purpose only: columns as constants, no objects, no wide characters, nothing stored. Deliberately
// independent of the library.
#include "bench/handtuned.h"
#include <array>
#include <charconv>
#include <climits>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace bench {

namespace {

constexpr std::size_t lineSize = 514;

// The fields: first column, counted from 0, and number of columns.
struct Columns {
    std::size_t first, width;
};
constexpr Columns cardOrder{1, 4}, information{5, 150}, marking{459, 2};
constexpr std::size_t historyFirst = 155, historyStep = 19, historySlots = 4;  // a type, a date, a consumption
constexpr Columns meterInformation{231, 120}, serialNumber{351, 12}, wheels{363, 2};
constexpr Columns correctedSerialNumber{365, 12}, correctedWheels{377, 2}, installationYear{379, 4};
constexpr Columns previousDate{383, 8}, previousIndex{391, 10}, minimum{401, 12}, maximum{413, 12};
constexpr Columns readingDate{425, 12}, readingIndex{437, 10}, readingConsumption{448, 10};
constexpr std::size_t readingStatus = 447, readingMethod = 458;
constexpr Columns meterMarking{461, 2}, message{463, 30}, lastUpdate{493, 12}, userCode{507, 5};
constexpr std::size_t authorizedChange = 505, fluidType = 506;

[[noreturn]] void giveUp(const char* what) { throw std::runtime_error(std::string("hand-tuned reader: ") + what); }

// The local midnights of all days from 1970 to 2037, computed once.
class Days {
public:
    Days() {
        for (int year = firstYear; year < endYear; ++year)
            for (int month = 1; month <= 12; ++month)
                for (int day = 1; day <= 31; ++day) days[place(year, month, day)] = find(year, month, day);
    }

    std::int32_t date(const char* text) const { return at(text).midnight; }
    std::int32_t dateTime(const char* text) const {
        const Day& day = at(text);
        const int hour = two(text + 8), minute = two(text + 10);
        if (hour > 23 || minute > 59) giveUp("no time");
        if (day.isEven) return day.midnight + hour * 3600 + minute * 60;
        std::tm time{};
        time.tm_year = year(text) - 1900;
        time.tm_mon = two(text + 4) - 1;
        time.tm_mday = two(text + 6);
        time.tm_hour = hour;
        time.tm_min = minute;
        time.tm_isdst = -1;
        return static_cast<std::int32_t>(std::mktime(&time));
    }
    std::int32_t newYear(const char* text) const {
        const int y = year(text);
        if (y < firstYear || y >= endYear) giveUp("no year");
        return days[place(y, 1, 1)].midnight;
    }

private:
    static constexpr int firstYear = 1970, endYear = 2038;
    struct Day {
        std::int32_t midnight = 0;
        bool exists = false, isEven = false;  ///< isEven: has 24 hours
    };

    static std::size_t place(int year, int month, int day) {
        return static_cast<std::size_t>(((year - firstYear) * 12 + month - 1) * 31 + day - 1);
    }
    static Day find(int year, int month, int day) {
        std::tm here{};
        here.tm_year = year - 1900;
        here.tm_mon = month - 1;
        here.tm_mday = day;
        here.tm_isdst = -1;
        std::tm next = here;
        ++next.tm_mday;
        const std::time_t midnight = std::mktime(&here), end = std::mktime(&next);
        return {static_cast<std::int32_t>(midnight), here.tm_mday == day, end - midnight == 86400};
    }
    static int two(const char* text) {
        const unsigned high = static_cast<unsigned char>(text[0]) - unsigned{'0'};
        const unsigned low = static_cast<unsigned char>(text[1]) - unsigned{'0'};
        if (high > 9 || low > 9) giveUp("no digits in a date");
        return static_cast<int>(high * 10 + low);
    }
    static int year(const char* text) { return two(text) * 100 + two(text + 2); }

    const Day& at(const char* text) const {
        const int y = year(text), month = two(text + 4), day = two(text + 6);
        if (y < firstYear || y >= endYear || month < 1 || month > 12 || day < 1 || day > 31) giveUp("no date");
        const Day& found = days[place(y, month, day)];
        if (!found.exists) giveUp("no date");
        return found;
    }

    std::array<Day, std::size_t{endYear - firstYear} * 12 * 31> days;
};

constexpr std::uint64_t eightBlanks = 0x2020202020202020;

bool isBlank(const char* line, Columns columns) {
    for (std::size_t i = 0; i < columns.width; ++i)
        if (line[columns.first + i] != ' ') return false;
    return true;
}

std::string_view text(const char* line, Columns columns) {
    const char* begin = line + columns.first;
    std::size_t size = columns.width;
    for (std::uint64_t eight; size >= 8; size -= 8) {
        std::memcpy(&eight, begin + size - 8, 8);
        if (eight != eightBlanks) break;
    }
    while (size > 0 && begin[size - 1] == ' ') --size;
    return {begin, size};
}

// Right-justified; `absent` if there are only spaces.
template <class T> T number(const char* line, Columns columns, T absent) {
    const char *begin = line + columns.first, *end = begin + columns.width;
    while (begin != end && *begin == ' ') ++begin;
    if (begin == end) return absent;
    T value;
    if (std::from_chars(begin, end, value).ec != std::errc{}) giveUp("no number");
    return value;
}

std::int32_t date(const Days& days, const char* line, Columns columns) {
    return isBlank(line, columns) ? 0 : days.date(line + columns.first);
}
std::int32_t dateTime(const Days& days, const char* line, Columns columns) {
    return isBlank(line, columns) ? 0 : days.dateTime(line + columns.first);
}
std::int32_t year(const Days& days, const char* line, Columns columns) {
    return isBlank(line, columns) ? INT32_MIN : days.newYear(line + columns.first);
}
char code(char c) { return c == ' ' ? '!' : c; }

void readLine(const Days& days, const char* line, Sums& sums) {
    if (line[0] != '1' || line[lineSize - 1] != '\n') giveUp("no meter-subscriber line");
    ++sums.records;
    sums << line[0] << number(line, cardOrder, -1) << text(line, information) << text(line, marking);
    for (std::size_t slot = 0; slot < historySlots; ++slot) {
        const std::size_t at = historyFirst + slot * historyStep;
        sums << text(line, {at, 1}) << date(days, line, {at + 1, 8}) << number(line, {at + 9, 10}, 0LL);
    }
    sums << text(line, meterInformation) << text(line, serialNumber) << number(line, wheels, -1)
         << text(line, correctedSerialNumber) << number(line, correctedWheels, -1) << year(days, line, installationYear)
         << date(days, line, previousDate) << number(line, previousIndex, -1LL) << number(line, minimum, -1.0)
         << number(line, maximum, -1.0);
    sums << dateTime(days, line, readingDate) << number(line, readingIndex, -1LL) << code(line[readingStatus])
         << number(line, readingConsumption, -1LL) << code(line[readingMethod]) << text(line, meterMarking) << text(line, message)
         << dateTime(days, line, lastUpdate) << (line[authorizedChange] != '0') << code(line[fluidType]) << text(line, userCode);
}

}  // namespace

Sums readByHand(const char* path, Loading loading) {
    static const Days days;
    const int file = ::open(path, O_RDONLY | O_CLOEXEC);
    struct stat status {};
    if (file < 0 || ::fstat(file, &status) != 0) giveUp("the file cannot be opened");

    constexpr std::size_t fewLines = lineSize * 512;  // fits into the second-level cache
    const std::size_t blockSize = loading == Loading::Whole ? static_cast<std::size_t>(status.st_size) + 1 : fewLines;
    const auto block = std::make_unique_for_overwrite<char[]>(blockSize);

    Sums sums;
    std::size_t held = 0;
    for (ssize_t count; (count = ::read(file, block.get() + held, blockSize - held)) != 0;) {
        if (count < 0) giveUp("the file cannot be read");
        held += static_cast<std::size_t>(count);
        const std::size_t whole = held / lineSize * lineSize;
        for (std::size_t at = 0; at < whole; at += lineSize) readLine(days, block.get() + at, sums);
        std::memmove(block.get(), block.get() + whole, held -= whole);
    }
    ::close(file);
    if (held > 0) giveUp("the last line is not whole");
    return sums;
}

}  // namespace bench
