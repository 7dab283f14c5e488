#include "cli/lines/keyedhash.h"
#include <chrono>
#include <exception>
#include <random>

namespace tramo::cli {

namespace {

std::uint64_t randomWord() {
    try {
        std::random_device device;
        return std::uint64_t{device()} << 32 | device();
    } catch (const std::exception&) {  // the system has no random numbers
        return static_cast<std::uint64_t>(std::chrono::high_resolution_clock::now().time_since_epoch().count());
    }
}

}  // namespace

KeyedHash::KeyedHash() : SipHash({randomWord(), randomWord()}) {}

}  // namespace tramo::cli
