// The days of sample rounds, and how much of a year's water is used between two of them.
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace tramo::cli::sample {

/// A day, counted from 1970-01-01.
using Day = std::int32_t;

/// Knows the days of 2004 to 2025.
class Calendar {
public:
    Calendar();

    static Day day(int year, unsigned month, unsigned dayOfMonth);

    /// YYYYMMDD
    std::string_view digits(Day day) const { return {of(day).digits.data(), 8}; }

    /// This day, or the first working day after it.
    Day workingDay(Day day) const;

    /// The litres used from one day to another by someone who uses so many a year: more in summer.
    std::int64_t litres(std::int64_t litresOfAYear, Day from, Day to) const {
        return litresOfAYear * (of(to).usedBefore - of(from).usedBefore) / usedInAYear;
    }

    /// How many of the litres that were used from one day to another were used until a day between them.
    std::int64_t litresUntil(Day until, std::int64_t litresUsed, Day from, Day to) const {
        return litresUsed * (of(until).usedBefore - of(from).usedBefore) / (of(to).usedBefore - of(from).usedBefore);
    }

    /// The first days of months, by a number that grows by 1 a month.
    Day startOfMonth(std::size_t month) const { return months[month]; }
    /// The month of that day.
    std::size_t monthOf(Day day) const { return of(day).month; }

private:
    struct Entry {
        std::array<char, 8> digits;
        std::int32_t usedBefore;  ///< since the first day, in a unit of its own
        std::uint16_t month;
        bool isWorking;
    };
    const Entry& of(Day day) const { return days[static_cast<std::size_t>(day - first)]; }

    // What a day of each month takes: gardens in summer.
    static constexpr std::int32_t useOfADay[] = {88, 87, 91, 97, 106, 118, 130, 127, 109, 96, 90, 88};
    static constexpr std::int64_t usedInAYear = [] {
        constexpr std::int32_t days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
        std::int64_t sum = 0;
        for (std::size_t month = 0; month < 12; ++month) sum += days[month] * useOfADay[month];
        return sum;
    }();

    Day first;
    std::vector<Entry> days;
    std::vector<Day> months;
};

}  // namespace tramo::cli::sample
