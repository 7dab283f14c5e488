// Where the lines of a file are, and which of them have the same key, in about 50 bytes a line.
#pragma once
#include "cli/io/sourcefile.h"
#include <cstdint>
#include <deque>
#include <utility>
#include <vector>

namespace tramo::cli {

/// The lines of a file in their order. Lines whose keys have the same hash form a queue.
class LineIndex {
public:
    using Place = std::uint32_t;  ///< of a line, from 0
    static constexpr Place none = 0xFFFFFFFF;

    /// Adds the next line, which begins at this offset; `check` is a checksum of its text. Throws Unreadable if there are too
    /// many lines.
    void add(std::uint64_t offset, std::uint64_t key, std::uint64_t check);

    std::uint64_t offset(Place line) const { return lines[line].offset; }
    std::uint64_t check(Place line) const { return lines[line].check; }
    Place size() const { return static_cast<Place>(lines.size()); }

    // After all lines are added:

    /// Return the first line of the queue of this hash, and the one after a line of a queue, or `none`.
    Place first(std::uint64_t key) const;
    Place next(Place line) const { return lines[line].next; }

    /// Takes a line out of its queue; `previous` is the line before it there, or `none`.
    void take(Place line, Place previous);
    bool isTaken(Place line) const { return lines[line].last == taken; }

private:
    struct Line {
        std::uint64_t offset, key, check;
        Place next;  ///< in the queue
        Place last;  ///< of the queue, if this line is the first
    };
    static constexpr Place taken = none - 1;

    std::size_t slotOf(std::uint64_t key) const;
    void grow();

    std::deque<Line> lines;    ///< not a vector, which needs three times the memory while it grows
    std::vector<Place> slots;  ///< the first line of each queue, or one that was, by hash
    std::size_t queues = 0;
};

// Returns the slot with this hash, or the free one where it belongs.
inline std::size_t LineIndex::slotOf(std::uint64_t key) const {
    std::size_t i = key & (slots.size() - 1);
    while (slots[i] != none && lines[slots[i]].key != key) i = (i + 1) & (slots.size() - 1);
    return i;
}

// At most three of four slots are used.
inline void LineIndex::grow() {
    const std::vector<Place> before = std::move(slots);
    slots = std::vector<Place>(before.empty() ? 1024 : 2 * before.size(), none);
    for (const Place first : before)
        if (first != none) slots[slotOf(lines[first].key)] = first;
}

inline void LineIndex::add(std::uint64_t offset, std::uint64_t key, std::uint64_t check) {
    if (lines.size() >= taken) throw Unreadable{"has more lines than can be compared"};
    if (4 * queues >= 3 * slots.size()) grow();
    const Place line = size();
    lines.push_back({offset, key, check, none, line});
    Place& first = slots[slotOf(key)];
    if (first == none) {
        first = line;
        ++queues;
        return;
    }
    lines[lines[first].last].next = line;
    lines[first].last = line;
}

inline LineIndex::Place LineIndex::first(std::uint64_t key) const {
    if (slots.empty()) return none;
    const Place line = slots[slotOf(key)];
    return line == none || isTaken(line) ? none : line;
}

inline void LineIndex::take(Place line, Place previous) {
    Line& taking = lines[line];
    if (previous == none && taking.next != none) {
        slots[slotOf(taking.key)] = taking.next;
        lines[taking.next].last = taking.last;
    } else if (previous != none) {
        lines[previous].next = taking.next;
        Line& head = lines[slots[slotOf(taking.key)]];
        if (head.last == line) head.last = previous;
    }
    taking.last = taken;
}

}  // namespace tramo::cli
