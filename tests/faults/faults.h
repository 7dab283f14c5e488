// Calls of the library that fail: the linker redirects them to functions that follow a plan.
#pragma once
#include "support/console.h"
#include "support/streamfiles.h"
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace faults {

// Groups of functions that fail together.
enum class Sort { Memory, Open, Read, Write, Close, Cut, Sync, Rename, Status, Access, Mode, Duplicate };

constexpr int half = 0;  // no error: only half of the bytes are transferred

// The calls that fail. Calls are counted while `armed`; allocated blocks of memory are always counted.
struct Plan {
    Sort sort{};
    int error = 0;
    long at = 0, last = 0;  // 0: none; for `last`: all following
    long calls = 0, failures = 0;
    bool armed = false;
};
extern Plan plan;

// Runs a function under the plan. Tests assert outside of it.
auto armed(auto work) {
    struct Armed {
        Armed() { plan.armed = true; }
        ~Armed() { plan.armed = false; }
    } while_it_lasts;
    return work();
}

// Runs `scenario` without a failure, then with every call of the sort failing in turn, until none fails. The scenario returns
// a description of wrong results; it activates the plan itself where needed, and frees all its memory.
void everyFault(Sort sort, const std::vector<int>& errors, const std::function<std::string()>& scenario);

class Faults : public streams::StreamTest {
protected:
    Faults();

    Silence quiet;
};

}  // namespace faults
