// What is kept of a line until the rules about rounds have seen the other lines. Of fixed size: no text of a line is kept, except
// its serial number.
#pragma once
#include "check/linevalues.h"
#include "tramostream/types.h"
#include <array>
#include <cstdint>
#include <variant>
#include <vector>

namespace tramo {

inline constexpr std::size_t answerAreas = 5;

// What an enquiry definition line says about answers.
struct PageNote {
    static constexpr std::size_t longestList = 8;
    struct Area {
        bool isDefined = false, isChoice = false;
        std::uint8_t listSize = 0;
        std::int16_t size = 0;                     // 0: any
        std::array<char16_t, longestList> list{};  // of a choice
    };
    char16_t page = 0;  // 0: blank
    std::array<Area, answerAreas> areas{};
};

// Two indexes, or a consumption, that contradict each other, unless the meter was replaced.
struct Contradiction {
    enum What : std::uint8_t { BelowPrevious, Consumption };
    What what;
    std::int8_t wheels;  // -1: unknown
    long long previous, index, consumption;
};

struct SubscriberNote {
    std::int32_t order = -1;  // -1: absent
    long32 previousDate = 0;  // 0: absent
    bool hasZeroConsumption = false;
    std::int32_t contradiction = -1;  // its index; -1: none
};
struct ModuleNote {
    bool hasLeak = false, hasFraud = false;  // now
    bool hasMoved = false;                   // its index has increased
};
struct ChangeNote {
    SerialKey newSerial{};
    long32 date = 0;  // 0: absent
};
struct AnswersNote {
    char16_t page = 0;                              // 0: blank
    std::array<char16_t, answerAreas> codes{};      // 0: none
    std::array<std::uint8_t, answerAreas> sizes{};  // of the results
};
struct PositionNote {
    float latitude = 0, longitude = 0;
};
struct InformationNote {
    std::int64_t meters = -1;  // -1: absent
};
struct DefinitionNote {
    std::uint32_t page = 0;  // the index of its PageNote
};

struct LineNote {
    SerialKey serial{};
    std::int64_t number = 0;
    char letter = 0;           // of the record kind; of a malformed line, of the one that it may be, or 0
    bool isMalformed = false;  // it is not known for certain to which kind it belongs
    bool isDoubtful = false;   // one of its fields cannot be read
    std::variant<std::monostate, SubscriberNote, ModuleNote, ChangeNote, AnswersNote, PositionNote, InformationNote,
        DefinitionNote>
        of{};
};

// The notes of some lines.
struct LineNotes {
    std::vector<LineNote> lines{};
    std::vector<PageNote> pages{};
    std::vector<Contradiction> contradictions{};

    void clear() {
        lines.clear();
        pages.clear();
        contradictions.clear();
    }
};

}  // namespace tramo
