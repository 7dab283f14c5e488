#include "common/zone.h"

namespace tramo::zone {

namespace {

// The tm as seconds, read as UTC.
std::int64_t asSeconds(const std::tm& t) {
    std::int64_t years = t.tm_year + 1900LL - 1;   // whole years before this one
    const std::int64_t days = years * 365 + years / 4 - years / 100 + years / 400 - 719162 + t.tm_yday;
    return ((days * 24 + t.tm_hour) * 60 + t.tm_min) * 60 + t.tm_sec;
}

}  // namespace

std::int64_t toInstant(std::int64_t local) {
    const std::int64_t day = (local >= 0 ? local : local - 86399) / 86400;
    const auto ofDay = static_cast<int>(local - day * 86400);
    std::tm t{};
    t.tm_year = 70;
    t.tm_mday = static_cast<int>(day + 1);
    t.tm_hour = ofDay / 3600;
    t.tm_min = ofDay / 60 % 60;
    t.tm_sec = ofDay % 60;
    t.tm_isdst = -1;
    return std::mktime(&t);
}

std::tm brokenDown(long32 instant) {
    const std::time_t time = instant;
    std::tm result{};
    tzset();
    localtime_r(&time, &result);
    return result;
}

std::int64_t toLocal(long32 instant) { return asSeconds(brokenDown(instant)); }

}  // namespace tramo::zone
