// What a checker knows of the lines before.
#pragma once
#include "check/cleanlines.h"
#include "check/lineexaminer.h"
#include "check/structure_rounds.h"

namespace tramo {

class CheckerMemory {
public:
    explicit CheckerMemory(const CheckOptions& options) : examiner(options), joined(examiner.switchedOn()) {}
    CheckerMemory(const CheckerMemory& other)
        : examiner(other.examiner), notes(other.notes), joined(other.joined), lastNumber(other.lastNumber) {}
    CheckerMemory& operator=(const CheckerMemory&) = delete;
    ~CheckerMemory() = default;

    // Joins the lines that were noted.
    void join() {
        add(notes, firstNote);
        notes.clear();
        firstNote = 0;
    }

    // Joins lines from `first` on, which counts the lines that are done.
    void add(const LineNotes& more, std::size_t& first) {
        for (; first < more.lines.size(); ++first) joined.add(more.lines[first], more);
    }

    CleanLines lines{};  // only remembers kinds
    LineExaminer examiner;
    LineNotes notes{};
    RoundJoin joined;
    std::int64_t lastNumber = 0;

private:
    std::size_t firstNote = 0;
};

}  // namespace tramo
