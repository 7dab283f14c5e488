// Compares an exported round with what came back: which meters were read, and what must be looked at.
#pragma once
#include "check.h"
#include "export.h"
#include "fields.h"
#include "round.h"
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tramo {

/// Returns whether the field work may change this field of a line that was exported: the reading, the notes of the agent, the
/// corrected serial number and wheels of a meter subscriber line; the current reading and the failed attempts of an AMR line.
/// Lines of changes, extended AMR, answers and places may be added and replaced as a whole. The record's table states it.
TRAMO_EXPORT bool mayChangeInField(const RecordKind& kind, const Field& field);

/// Something in a returned round that must be looked at.
struct Difference {
    /// What has happened.
    enum What : char {
        MeterMissing,  ///< an exported meter did not come back
        MeterAdded,    ///< a meter came back that was not exported, and no meter change line explains it
        FieldChanged,  ///< master data that the field work may not change
        LineMissing,   ///< an exported line of a meter or a round did not come back
        LineAdded,     ///< a line came back of a kind that the field work does not add
        LineOfNobody,  ///< a line came back that belongs to no meter
        Implausible,   ///< a reading is not plausible; `finding` says why
        Malformed,     ///< a line cannot be read; see Checker
    };
    What what{};                    ///< decides which of the other members count
    std::string serial{};           ///< of the meter; empty: a line of no meter
    std::string_view kind{};        ///< of the line: "meter subscriber"; empty: unknown
    const Field* field = nullptr;   ///< of FieldChanged
    std::string before{}, after{};  ///< of FieldChanged: the texts in its columns, in UTF-8, trimmed (a text only at its end)
    std::int64_t exportedLine = 0, returnedLine = 0;  ///< their numbers; 0: none
    std::optional<Finding> finding{};                 ///< of Implausible
};

/// Returns a sentence about a difference, without the meter and the line: "meterWheels has changed from "5" to "6"".
TRAMO_EXPORT std::string sentenceOf(const Difference& difference);

/// Returns the name of a kind of difference for programs: "meterMissing".
TRAMO_EXPORT std::string_view nameOf(Difference::What what);

/// What became of a meter.
struct ReconciledMeter {
    /// Whether it came back with a reading, came back without one, did not come back, or was not exported.
    enum State : char { Read, Unread, Missing, Added };
    State state{};                                     ///< Added: whether it was read, `returned` says
    std::string serial{};                              ///< as exported; of an added meter, as returned
    const Meter* exported = nullptr;                   ///< nullptr: added
    const Meter* returned = nullptr;                   ///< nullptr: missing
    std::size_t firstDifference = 0, differences = 0;  ///< a range of ReconciledRound::differences; the number of them

    /// The serial number of the meter that replaced it; empty: none.
    TRAMO_EXPORT std::string newSerial() const;
};

/// A round of both files, or of one of them.
struct ReconciledRound {
    const Round* exported = nullptr;        ///< nullptr: it was not exported
    const Round* returned = nullptr;        ///< nullptr: it did not come back
    std::vector<ReconciledMeter> meters{};  ///< in the order of the exported file, then the added ones
    std::vector<Difference> differences{};  ///< of the round as a whole, then of each meter

    std::size_t exportedMeters = 0, returnedMeters = 0;        ///< all meters of each file
    std::size_t read = 0, unread = 0, missing = 0, added = 0;  ///< meters; the added ones are among the read and unread ones, too
    std::size_t replaced = 0;                                  ///< meters with a meter change line
    std::size_t corrected = 0;                                 ///< meters with a corrected serial number
    std::size_t located = 0;                                   ///< meters with a place
    std::size_t answered = 0;                                  ///< meters with answers
    std::size_t answers = 0;                                   ///< all of them
    std::map<char32_t, std::size_t> byStatus{}, byMethod{};    ///< of the read meters, by code; 0: none
    std::map<std::chrono::local_days, std::size_t> byDay{};    ///< of the read meters
    std::map<std::string, std::size_t> byAgent{}, unreadByReason{};  ///< by user code; by marking code. Empty: none
};

/// The comparison of two files.
///
/// Rounds belong together by their codes, those without a partner by their order. Meters belong together by their serial numbers,
/// a replaced one also by its new one. A value that is written in another form is the same.
///
/// Valid as long as both files. Throws nothing but std::bad_alloc. Takes memory for each meter and difference.
///
/// @snippet docs/examples.cpp Reconciliation
class TRAMO_EXPORT Reconciliation {
public:
    /// Compares the files. Both must outlive the comparison.
    Reconciliation(const RoundFile& exported, const RoundFile& returned);

    /// In the order of the exported file, then those that were not exported.
    std::span<const ReconciledRound> rounds() const { return all; }

    /// Of lines that belong to no round that both files have: malformed lines of the returned file.
    std::span<const Difference> differences() const { return others; }

    /// Returns the number of all differences.
    std::size_t count() const;

private:
    std::vector<ReconciledRound> all;
    std::vector<Difference> others;
};

}  // namespace tramo
