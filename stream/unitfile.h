// A file that is written in units (lines) and always ends after a whole unit.
#pragma once
#include "common/file.h"
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tramo::stream {

// Buffers units until they fill a block, and writes whole units. If the system writes only a part of a unit, that part is
// removed from the file again, and the unit stays in the buffer.
//
// Functions that write return 0 or the errno of the system.
class UnitFile {
public:
    UnitFile() = default;
    UnitFile(const UnitFile&) = delete;
    UnitFile& operator=(const UnitFile&) = delete;
    ~UnitFile() { close(); }

    // If the system cannot open the file, it is not open and failed() is true. An empty file gets the byte order mark.
    void open(const char* path, File::Access access, std::string_view mark);
    bool isOpen() const { return file.isOpen(); }

    // Writes the buffered units. If that fails, they are lost and failed() is true.
    void close();

    // If writing fails, the unit is not kept.
    int append(std::string_view unit);
    int flush();

    // Returns the number of appended units that are not in the file yet.
    std::size_t waitingUnits() const { return unitEnds.size(); }

    // Drops the units buffered before a fork: the parent writes them. Returns false if there are none.
    bool dropInherited();

    // Returns whether the last attempt to open, write or close failed.
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
