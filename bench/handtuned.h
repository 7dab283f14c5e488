// The reference for reading: meter-subscriber lines of an ANSI file, read by a program written for nothing else.
#pragma once
#include "bench/sums.h"

namespace bench {

/// Where the lines are read from: from the same few blocks of memory again and again, or from fresh memory that holds the
/// whole file, as an interface needs that tells its caller at once whether a file can be read.
enum class Loading { InBlocks, Whole };

/// Reads a file of meter-subscriber lines; the sums are those of all getters of their models.
/// Throws std::runtime_error when the file cannot be read or holds anything else.
Sums readByHand(const char* path, Loading loading = Loading::InBlocks);

}  // namespace bench
