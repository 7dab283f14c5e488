// Sets the time zone of the host during its lifetime.
#pragma once
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

class TimeZone {
public:
    explicit TimeZone(const std::string& name) {
        if (const char* value = std::getenv("TZ")) before = value;
        setenv("TZ", name.c_str(), 1);
        tzset();
    }
    ~TimeZone() {
        if (before) setenv("TZ", before->c_str(), 1);
        else unsetenv("TZ");
        tzset();
    }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;

private:
    std::optional<std::string> before;
};
