// The reference for reading: a program that reads only meter subscriber lines of an ANSI file.
#pragma once
#include "bench/sums.h"

namespace bench {

/// The source of the lines: the same few blocks of memory repeatedly, or fresh memory that holds the whole file, as needed by
/// an interface that reports at once whether a file can be read.
enum class Loading { InBlocks, Whole };

/// Reads a file of meter subscriber lines; the sums are those of all getters of their models.
/// Throws std::runtime_error if the file cannot be read or contains other lines.
Sums readByHand(const char* path, Loading loading = Loading::InBlocks);

}  // namespace bench
