#include "bench/table.h"
namespace bench {
bool showGrowth(const Options&) { return true; }
bool showMemory(const Options&) { return true; }
}  // namespace bench
