// A line of fixed columns as its model, whichever that is: the tool's way to values.
#pragma once
#include "lines.h"
#include <optional>
#include <string>
#include <string_view>
#include <tramostream/anyrecord.h>
#include <tramostream/parametertramomodel.h>
#include <tramostream/tagtramomodel.h>
#include <utility>
#include <variant>
#include <vector>

namespace tramo::cli {

class LineModel {
public:
    /// Parses a line as such a model: AnyRecord, TagTramoModel or ParameterTramoModel.
    template <class M, class Buffer> LineModel(std::in_place_type_t<M> type, const Buffer& line) : model(type, line) {}

    /// The model of a line whose text has its kind's length or more. nullopt for key lines and unknown letters.
    static std::optional<LineModel> of(LineKind kind, std::wstring_view text);

    /// The model of a line of this kind of record, tag or parameter, which has that kind's length and letter.
    static LineModel of(const RecordKind& kind, std::wstring_view text);

    /// The same of a blank line.
    static LineModel blank(const RecordKind& kind);

    const RecordKind& kind() const;
    FieldValue get(const Field& field) const;
    bool set(const Field& field, const FieldValue& value);

    std::vector<TE::FieldError> parseErrors() const;
    std::vector<TE::FieldError> buildErrors() const;
    std::vector<TE::FieldError> mandatoryErrors();  ///< may add to the parse errors

    /// The line as the library writes it, without its line end.
    std::wstring built();

private:
    std::variant<AnyRecord, TagTramoModel, ParameterTramoModel> model;
};

/// Every kind of fixed columns: the records by their letters, then tags and parameters.
const std::vector<const RecordKind*>& allKinds();

/// The kind of fixed columns that a word means: its letter, or its name or its class's, however it is spelt
/// ("Meter-Subscriber"); nullptr when there is none.
const RecordKind* kindNamed(std::string_view word);

/// The value that the field's text in a line is read as, whatever the rest of the line holds.
FieldValue valueRead(const RecordKind& kind, const Field& field, std::wstring_view line);

/// Whether a value is the one that the field has when nothing is said of it.
bool isAbsent(const Field& field, const FieldValue& value);

/// A value for people and programs: dates as ISO 8601 in local time ("2024-01-31", "2024-01-31T14:05", "2024"), numbers
/// in full, flags as "1" and "0", codes as their character, alarm flags as four hexadecimal digits of their bits.
/// Texts as they are, not made printable.
std::wstring textOf(const Field& field, const FieldValue& value);

}  // namespace tramo::cli
