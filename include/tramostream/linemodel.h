// A line of fixed columns as its model, whichever kind it is of: records, tags and parameters.
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

/// The model of a line of fixed columns: that of a record, a tag or a parameter. A value of a few kilobytes.
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

    /// The model of a blank line of that kind.
    static LineModel blank(const RecordKind& kind);

    /// The kind of the line.
    const RecordKind& kind() const;

    /// The value of a field of `kind()`; see tramo::get.
    FieldValue get(const Field& field) const;

    /// Sets a field of `kind()`; see tramo::set.
    bool set(const Field& field, const FieldValue& value);

    std::vector<TE::FieldError> parseErrors() const;  ///< those of the constructor, and what mandatoryErrors() has added
    std::vector<TE::FieldError> buildErrors() const;  ///< those of the last built()
    std::vector<TE::FieldError> mandatoryErrors();    ///< checks mandatory values; may add to the parse errors

    /// The line as the library writes it, without its line ending.
    std::wstring built();

private:
    friend struct LineErrors;
    std::variant<AnyRecord, TagTramoModel, ParameterTramoModel> model;
};

/// Every kind of line of fixed columns: the records by their letters, then tags and parameters.
TRAMO_EXPORT std::span<const RecordKind* const> allKinds();

/// The kind of fixed columns that a word names: its letter, its name or its class, however they are spelled ("Meter-Subscriber").
/// nullptr if there is none.
TRAMO_EXPORT const RecordKind* kindNamed(std::string_view word);

/// The value that is read from the field's columns alone, whatever the rest of the line holds. `line` has at least the length
/// of its kind.
TRAMO_EXPORT FieldValue valueRead(const RecordKind& kind, const Field& field, std::wstring_view line);

/// Whether a value is the field's default value: the one it has when nothing is given.
TRAMO_EXPORT bool isAbsent(const Field& field, const FieldValue& value);

/// A value as a text that people and programs read: dates in ISO 8601 in local time ("2024-01-31", "2024-01-31T14:05",
/// "2024"), numbers with all their digits, flags as "1" and "0", codes as their character, alarm flags as four hexadecimal
/// digits of their bits, texts unchanged (they may hold control characters).
TRAMO_EXPORT std::wstring textOf(const Field& field, const FieldValue& value);

}  // namespace tramo
