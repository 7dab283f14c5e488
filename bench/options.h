// What the command line asks for.
#pragma once
#include <cstddef>
#include <string>

namespace bench {

struct Options {
    std::string tramo;    ///< the tool
    std::string folder;   ///< for the data, and for what is written
    bool quick = false;   ///< little data and a single measurement: to see that everything works
    bool large = false;   ///< for growth: up to a gigabyte
    bool strict = false;  ///< a missed goal is a failure
    std::string what = "speed", filter;

    std::size_t subscribers() const { return quick ? 2000 : 500000; }
    std::size_t others() const { return quick ? 500 : 100000; }
    int repetitions() const { return quick ? 1 : 5; }
};

}  // namespace bench
