// The options of the command line.
#pragma once
#include <cstddef>
#include <string>

namespace bench {

struct Options {
    std::string tramo;    ///< the tool
    std::string folder;   ///< for input and output files
    bool quick = false;   ///< little data and a single measurement, to check that everything works
    bool large = false;   ///< for growth: up to a gigabyte
    bool strict = false;  ///< fail if a goal is missed
    std::string what = "speed", filter;

    std::size_t subscribers() const { return quick ? 2000 : 500000; }
    std::size_t others() const { return quick ? 500 : 100000; }
    int repetitions() const { return quick ? 1 : 5; }
};

}  // namespace bench
