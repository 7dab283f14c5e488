// The page shows messages and progress.
#include "cli/io/console.h"
#include "common/host_wasi.h"
#include "common/printable.h"
#include <string>

namespace tramo::cli {

Progress::Progress() : enabled(true) {}
void Progress::show(std::string_view, std::uint64_t done, std::uint64_t all) {
    if (enabled) host::progress(static_cast<double>(done), static_cast<double>(all));
}
void Progress::wipe() {}

void complain(std::string_view message) {
    const std::string text = printable(message);
    host::complain(text.data(), text.size());
}

}  // namespace tramo::cli
