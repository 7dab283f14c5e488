// The model of a line of any kind with fixed columns: records, tags and parameters.
#pragma once
#include "anyrecord.h"
#include "export.h"
#include "fields.h"
#include "linekind.h"
#include "parametertramomodel.h"
#include "tagtramomodel.h"
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace tramo {

/// The model of a line with fixed columns: a record, a tag or a parameter. A value of a few kilobytes.
///
/// @snippet docs/examples.cpp LineModel
///
/// Not thread-safe; different objects may be used by different threads.
class TRAMO_EXPORT LineModel {
public:
    /// Parses a line as model M: AnyRecord, TagTramoModel or ParameterTramoModel. An AnyRecord must be of a known kind.
    template <class M, class Buffer> LineModel(std::in_place_type_t<M> type, const Buffer& line) : model(type, line) {}

    /// Parses a line that has at least the length of its kind; characters beyond that length are not read. Returns nullopt for
    /// key lines and for record lines of an unknown letter.
    static std::optional<LineModel> of(LineKind kind, std::wstring_view text);

    /// Parses a line that has at least the length and, for a record, the letter of `kind`.
    static LineModel of(const RecordKind& kind, std::wstring_view text);

    /// Returns the model of a blank line of that kind.
    static LineModel blank(const RecordKind& kind);

    /// Returns the kind of the line.
    const RecordKind& kind() const;

    /// Returns the value of a field of `kind()`; see tramo::get.
    FieldValue get(const Field& field) const;

    /// Sets a field of `kind()`; see tramo::set.
    bool set(const Field& field, const FieldValue& value);

    std::vector<TE::FieldError> parseErrors() const;  ///< of the constructor, and those that mandatoryErrors() has added
    std::vector<TE::FieldError> buildErrors() const;  ///< of the last built()
    std::vector<TE::FieldError> mandatoryErrors();    ///< checks mandatory values; may add to the parse errors

    /// Returns the line as the library writes it, without its line ending.
    std::wstring built();

private:
    friend struct LineErrors;
    std::variant<AnyRecord, TagTramoModel, ParameterTramoModel> model;
};

/// Returns all kinds of lines with fixed columns: the records by their letters, then tags and parameters.
TRAMO_EXPORT std::span<const RecordKind* const> allKinds();

/// Returns the kind with this letter, name or class, in any spelling ("Meter-Subscriber"), among those with fixed columns;
/// nullptr if there is none.
TRAMO_EXPORT const RecordKind* kindNamed(std::string_view word);

/// Returns the value that is read from the columns of the field, independent of the rest of the line. `line` has at least the
/// length of its kind.
TRAMO_EXPORT FieldValue valueRead(const RecordKind& kind, const Field& field, std::wstring_view line);

/// Returns whether a value is the default value of the field.
TRAMO_EXPORT bool isAbsent(const Field& field, const FieldValue& value);

/// Returns a value as text for people and programs: dates in ISO 8601 in local time ("2024-01-31", "2024-01-31T14:05",
/// "2024"), numbers with all their digits, flags as "1" and "0", codes as their character, alarm flags as four hexadecimal
/// digits of their bits, texts unchanged (they may contain control characters).
TRAMO_EXPORT std::wstring textOf(const Field& field, const FieldValue& value);

}  // namespace tramo
