// A file that is written in units (lines), and that ends behind a whole one.
#pragma once
#include "common/file.h"
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tramo::stream {

// Units wait here until they fill a block. They are handed over whole; what the system has taken of a unit
// before it refused the rest is cut off the file again, and the unit waits on.
//
// Functions that write answer 0 or the system's reason.
class UnitFile {
public:
    UnitFile() = default;
    UnitFile(const UnitFile&) = delete;
    UnitFile& operator=(const UnitFile&) = delete;
    ~UnitFile() { close(); }

    // Not open, and failed, where the system refuses. An empty file begins with the mark.
    void open(const char* path, File::Access access, std::string_view mark);
    bool isOpen() const { return file.isOpen(); }

    // What still waits is lost; failed() tells.
    void close();

    // A unit that makes the system refuse something is not kept.
    int append(std::string_view unit);
    int flush();

    // Units that have been appended and are not in the file.
    std::size_t waitingUnits() const { return unitEnds.size(); }

    // Drops what waited when the process was forked: it is written by the parent. False: nothing of that kind.
    bool dropInherited();

    // Whether the last attempt to open, write or close was refused.
    bool failed() const { return refused; }

private:
    void dropWaiting(std::size_t count);

    File file;
    std::string waiting;
    std::vector<std::size_t> unitEnds;  // in `waiting`
    bool refused = false;
    std::uint32_t forks = 0;  // when the file was opened, or last looked at
};

}  // namespace tramo::stream
