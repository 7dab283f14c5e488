#include "cli/commands/sample_calendar.h"
#include <algorithm>
#include <chrono>

namespace tramo::cli::sample {

namespace {

using namespace std::chrono;

constexpr month_day holidays[] = {
    January / 1, May / 1, May / 8, July / 14, August / 15, November / 1, November / 11, December / 25};

Day numberOf(const year_month_day& date) { return static_cast<Day>(sys_days(date).time_since_epoch().count()); }

}  // namespace

Day Calendar::day(int year, unsigned month, unsigned dayOfMonth) {
    return numberOf({std::chrono::year(year), std::chrono::month(month), std::chrono::day(dayOfMonth)});
}

Calendar::Calendar() : first(day(2004, 1, 1)) {
    std::int32_t used = 0;
    for (Day day = first; day < Calendar::day(2026, 1, 1); ++day) {
        const sys_days time{std::chrono::days(day)};
        const year_month_day date = time;
        const unsigned month = static_cast<unsigned>(date.month()), dayOfMonth = static_cast<unsigned>(date.day());
        if (dayOfMonth == 1) months.push_back(day);
        const weekday weekday(time);
        Entry entry{};
        unsigned number = static_cast<unsigned>(static_cast<int>(date.year())) * 10000 + month * 100 + dayOfMonth;
        for (auto digit = entry.digits.rbegin(); digit != entry.digits.rend(); ++digit, number /= 10)
            *digit = static_cast<char>('0' + number % 10);
        entry.usedBefore = used;
        entry.month = static_cast<std::uint16_t>(months.size() - 1);
        entry.isWorking = weekday != Saturday && weekday != Sunday &&
                          std::ranges::find(holidays, month_day{date.month(), date.day()}) == std::end(holidays);
        days.push_back(entry);
        used += useOfADay[month - 1];
    }
}

Day Calendar::workingDay(Day day) const {
    while (!of(day).isWorking) ++day;
    return day;
}

}  // namespace tramo::cli::sample
