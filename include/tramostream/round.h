// A file as people see it: rounds of meters with their readings, radio modules, changes, answers and places.
//
// Nothing is thrown away: every line of the file belongs to a round, and to one meter of it or to nobody, and RoundFile::write
// gives the file back byte for byte. Every value knows the line and the columns that it comes from (Origin).
#pragma once
#include "check.h"
#include "export.h"
#include "reader.h"
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tramo {

/// Where a value stands: the number of the line, and its columns, both 1-based.
struct Origin {
    std::int64_t line = 0;                           ///< 0: in no file
    int column = 0;                                  ///< of the first character
    int width = 0;                                   ///< in characters
    bool operator==(const Origin&) const = default;  ///< the same columns of the same line number, in whatever file
};

/// A labelled part of a free text of each meter subscriber line. The round line defines it.
struct Area {
    /// The text that has the area: subscriberInformation or meterInformation.
    enum Of : char { Subscriber, Meter };
    Of of;              ///< the text: subscriberInformation or meterInformation
    int number;         ///< 1 to 5
    std::string label;  ///< may be empty
    int position;       ///< of its first character in the text, 0-based, as in the round line
    int length;         ///< in characters
    char type;          ///< the code of TF::TramoType; '!': none
    Origin origin;      ///< in the round line
};

/// The fields of the round line that define an area, and the field of the meter subscriber line that holds its text.
struct AreaDefinition {
    Area::Of of;                                    ///< which text
    int number;                                     ///< 1 to 5
    const Field* text;                              ///< subscriberInformation or meterInformation
    const Field *label, *position, *length, *type;  ///< of the round line
};

/// Returns all areas that a round line can define, in the order of Round::areas. They live as long as the program.
TRAMO_EXPORT std::span<const AreaDefinition> areaDefinitions();

/// The text of an area in one meter's line, without trailing white space.
struct AreaText {
    const Area* area;  ///< nullptr: text outside of all areas
    std::string text;  ///< UTF-8; not empty
    Origin origin;     ///< in the meter subscriber line
};

/// A reading of a meter. Its index and its consumption have no unit in the format.
struct Reading {
    std::chrono::sys_seconds at;             ///< when it was taken; of the previous reading, the local midnight of its day
    std::optional<long long> index{};        ///< what the meter showed
    std::optional<long long> consumption{};  ///< as written; the previous reading has none
    std::optional<char32_t> status{};        ///< the code of TF::ReadStatus
    std::optional<char32_t> method{};        ///< the code of TF::ReadMethod
    std::string agent{};                     ///< the user code; empty: none
    Origin origin{};                         ///< of its date
};

/// Returns the fields of a meter subscriber line that hold its reading: its date first, then the others in the order of writing.
/// A meter is read if the first one has a value. They live as long as the program.
TRAMO_EXPORT std::span<const Field* const> readingFields();

/// Returns the difference of two indexes, which is the consumption between them. If the index has become smaller, the meter has
/// rolled over: its wheels, corrected ones first if above 0, say where. Nullopt if an index is absent or negative, or if the
/// wheels are needed and absent or too few for an index.
TRAMO_EXPORT std::optional<long long> consumptionBetween(std::optional<long long> previousIndex, std::optional<long long> index,
    std::optional<long long> wheels, std::optional<long long> correctedWheels = std::nullopt);

/// An earlier reading, one of four slots of the meter subscriber line.
struct HistoryItem {
    int slot;                                    ///< 1 to 4
    std::string type;                            ///< one character, as in the file; empty: none
    std::optional<std::chrono::local_days> day;  ///< when it was taken
    std::optional<long long> consumption;        ///< as in the file
    Origin origin;                               ///< of its date
};

/// What a radio module has recorded.
struct ModuleReading {
    int slot;  ///< 0: the reading of the line; otherwise an earlier one: 1 of an AMR line, 1 to 18 of an extended AMR line
    std::optional<std::chrono::sys_seconds> at;  ///< when it was taken
    std::optional<double> index;                 ///< what the module showed
    std::optional<char32_t> alarms;              ///< of a slot, the code of TF::AmrAlarms
    Origin origin;                               ///< of its date
};

/// An alarm that is set.
struct Alarm {
    std::string_view name;    ///< its field without "Alarm": "LeakCurrent" (AMR), "leak" (extended AMR)
    bool isPrevious = false;  ///< of the previous reading of the radio module
    std::string_view field;   ///< "currentAlarmLeakCurrent"
    Origin origin;            ///< of the field, or of the alarm flags that hold it
};

/// An alarm that the lines of a kind can have.
struct AlarmDefinition {
    std::string name;         ///< Alarm::name
    bool isPrevious = false;  ///< Alarm::isPrevious
    const Field* flag;        ///< the Flag of that alarm, with Alarm::field as its name
    const Field* bits;        ///< the AlarmFlags in the line that hold it; nullptr: `flag` has a column of its own
    int bit = 0;              ///< its bit in `bits`, from 0
};

/// Returns the alarms of a record kind in the order of its fields; none for most kinds. They live as long as the program.
TRAMO_EXPORT std::span<const AlarmDefinition> alarmDefinitions(const RecordKind& kind);

/// Where a meter is. All numbers are finite.
struct Place {
    double latitude, longitude;                  ///< in degrees
    std::optional<double> altitude, accuracy;    ///< as written; the format names no unit, meters are usual
    std::optional<std::chrono::local_days> day;  ///< of the last update
    Origin origin;                               ///< of the latitude
};

/// A meter that replaced another one.
struct MeterChange {
    std::string oldSerial, newSerial;              ///< of the meters; empty: none
    std::optional<long long> newIndex, newWheels;  ///< of the new meter: its index at the installation, its number of wheels
    std::optional<std::chrono::local_days> day;    ///< of the installation
    Origin origin;                                 ///< of the old serial number
};

/// An answer of an enquiry with its question.
struct Answer {
    std::string page;                            ///< of the enquiry
    int area;                                    ///< of the page, 1 to 5
    std::string question{};                      ///< the label of the area; empty: the round does not define the page or the area
    std::string type{}, list{};                  ///< of the area, as defined
    std::optional<char32_t> mode;                ///< the code of TF::EnquiryAreaMode
    std::string code, result;                    ///< what was answered
    std::optional<std::chrono::local_days> day;  ///< of the answer line
    Origin origin;                               ///< of the result
    const LineView* definition = nullptr;        ///< the enquiry definition line of the page; nullptr: none
};

class Round;
class RoundFile;

/// A meter of a round: its meter subscriber line and the lines that belong to it. Valid as long as its RoundFile.
///
/// @snippet docs/examples.cpp Meter
class TRAMO_EXPORT Meter {
public:
    /// Whether the meter was read.
    enum class State : char {
        Read,    ///< it has a reading date
        Unread,  ///< it has none
    };

    std::string serial() const;  ///< its serial number; empty: none
    State state() const;         ///< by its reading date alone: the other parts of its reading may be absent
    const LineView& subscriber() const { return *ownLines.front(); }  ///< its meter subscriber line

    /// Its lines: the meter subscriber line, then the others in their order in the file.
    std::span<const LineView* const> lines() const { return ownLines; }

    /// Its lines of the kind of model M, or of a kind, in their order.
    template <class M> std::vector<const LineView*> lines() const { return lines(kindOf<M>()); }
    std::vector<const LineView*> lines(const RecordKind& kind) const;  ///< of a kind that is known at run time

    /// @name Labelled areas
    /// `areas` gives the text of each area of the round that is not blank, in the order of the round line, then what is outside
    /// of all areas. `area` gives the text of the first area with this label: nullopt if the round does not define it.
    /// @{
    /// Returns the text in UTF-8, without trailing white space.
    std::optional<std::string> area(std::string_view label) const;
    std::vector<AreaText> areas() const;  ///< refer to the areas of the round
    /// @}

    std::optional<Reading> reading() const;    ///< the reading of the field work; nullopt: the meter is unread
    std::optional<Reading> previous() const;   ///< the exported one; nullopt: it has no date
    std::vector<HistoryItem> history() const;  ///< the slots that are not blank, by number

    std::optional<long long> difference() const;  ///< of the two readings; see consumptionBetween()

    std::vector<ModuleReading> moduleReadings() const;  ///< of all radio modules, in the order of the lines and slots
    std::vector<Alarm> alarms() const;                  ///< in the order of the lines and fields
    std::vector<MeterChange> changes() const;           ///< one for each meter change line, in the order of the file
    std::vector<Answer> answers() const;                ///< the areas that have an answer
    std::optional<Place> place() const;                 ///< of the last line in which both coordinates are finite numbers

    /// What is not plausible about the meter: findings of the rules about rounds (isAboutRounds) in its lines, without those that
    /// only other meters show, such as a position far from all others. Compare their severities: hints are only to be looked at.
    /// In the order of the file. Of the options, `severities`, `strict` and `now` count.
    ///
    /// @snippet docs/examples.cpp MeterFindings
    std::vector<Finding> findings(const CheckOptions& options = {}) const;

private:
    friend class RoundFile;
    Meter(const Round& of, const LineView& line) : round(&of), ownLines{&line} {}

    const Round* round;
    std::vector<const LineView*> ownLines;  ///< the meter subscriber line first
};

/// A round: its round line, and everything up to the next one. Valid as long as its RoundFile.
///
/// @snippet docs/examples.cpp Round
class TRAMO_EXPORT Round {
public:
    const LineView* header() const { return roundLine; }  ///< the round line; nullptr: lines come before any round line
    std::string code() const;                             ///< of the round line, in UTF-8; empty: none
    std::string name() const;                             ///< as code()

    std::span<const Meter> meters() const { return allMeters; }  ///< in the order of their meter subscriber lines

    /// The first meter with this serial number; nullptr: none.
    const Meter* meter(std::string_view serial) const;

    std::span<const Area> areas() const { return allAreas; }             ///< the areas that are defined, valid or not
    std::span<const LineView* const> pages() const { return allPages; }  ///< enquiry definition lines
    const LineView* information() const { return informationLine; }      ///< the last record information line; nullptr: none

    std::size_t read() const;    ///< the number of meters that have been read
    std::size_t unread() const;  ///< the number of the others

private:
    friend class Meter;
    friend class RoundFile;
    const LineView* page(std::string_view number) const;

    const LineView* roundLine = nullptr;
    const LineView* informationLine = nullptr;
    std::vector<Area> allAreas;
    std::vector<const LineView*> allPages;
    std::vector<Meter> allMeters;
    std::vector<std::pair<std::string, std::size_t>> bySerial;  ///< sorted: the index of each meter
};

/// A line that belongs to no meter, although its kind does.
struct Orphan {
    const LineView* line;  ///< valid as long as the file
    std::string serial;    ///< the serial number in it; empty: none
    std::string reason;    ///< a sentence: "no meter subscriber line has the serial number C12"
};

/// A whole file in memory: its rounds, and all its lines. Move-only; references to its parts stay valid when it is moved.
///
/// A line belongs to the nearest meter subscriber line above it in the same round that has its serial number, otherwise to the
/// first one below it, otherwise to nobody. A meter change line belongs to the meter of its old serial number, otherwise to that
/// of its new one.
///
///     const tramo::RoundFile file = tramo::RoundFile::read("round-returned.txt");
///     for (const tramo::Meter& meter : file.rounds().front().meters())
///         if (meter.state() == tramo::Meter::State::Unread) std::cout << meter.serial() << ' ' << *meter.area("Address") <<
///         '\n';
///
/// @snippet docs/examples.cpp RoundFile
class TRAMO_EXPORT RoundFile {
public:
    /// Throws std::system_error with the path and the reason if the file cannot be read.
    static RoundFile read(const std::filesystem::path& path, const ReadOptions& options = {});

    /// Reads the remaining lines of a reader. Calls `meanwhile`, if any, every few thousand lines: what it throws ends the
    /// reading.
    static RoundFile read(Reader& reader, const std::function<void()>& meanwhile = {});

    RoundFile(RoundFile&&) noexcept;
    RoundFile& operator=(RoundFile&&) noexcept;
    ~RoundFile();

    std::span<const LineView> lines() const;  ///< all lines of the file, in their order
    std::span<const Round> rounds() const;    ///< in the order of the file; empty: there are no lines with a round
    std::span<const Orphan> orphans() const;  ///< in the order of the file

    /// What the rules about rounds find (isAboutRounds): lines that do not fit together, such as a line without its meter, and
    /// readings that are not plausible. In the order of the file. A line whose cause is another finding has none: in a round with
    /// a malformed meter subscriber line, no line lacks its meter. Of the options, `severities`, `strict` and `now` count.
    std::vector<Finding> findings(const CheckOptions& options = {}) const;

    /// Writes all lines as they stand.
    void write(Writer& writer) const;

private:
    struct State;
    RoundFile(std::unique_ptr<State> with, const std::function<void()>& meanwhile);
    std::unique_ptr<State> state;
};

}  // namespace tramo
