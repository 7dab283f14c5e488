// The reference for reading: meter-subscriber lines of an ANSI file, read by a program written for nothing else.
#pragma once
#include "bench/sums.h"

namespace bench {

/// Reads a file of meter-subscriber lines; the sums are those of all getters of their models.
/// Throws std::runtime_error when the file cannot be read or holds anything else.
Sums readByHand(const char* path);

}  // namespace bench
