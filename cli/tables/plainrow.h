// The rows of plain records straight from their bytes: the fast path of an export, without a model, wide texts and cells.
//
// rowOf() of rows.h, the slow path, defines what a row holds. Nearly all fields have a text that says all of their value; a line
// with another field is decoded. plainrow_test.cpp holds both paths against each other, in every form.
#pragma once
#include "cli/lines/textfile.h"
#include "cli/tables/cells.h"
#include "convert/reading.h"
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <tramostream/decode.h>
#include <vector>

namespace tramo::cli {

struct PlainColumn;

class PlainRow {
public:
    /// Reads the row of a record, whose bytes must stay. Returns false if only rowOf() can make it.
    bool read(const PlainRecord& record);

    const Table& table() const { return *known; }
    long long line() const { return record.number; }
    bool unread() const { return hasUnread; }  ///< as in TableRow

    /// Returns whether the line holds text that no value comes from, and that no other field has as text.
    bool holdsMore() const { return mayHoldMore && findsIgnoredText(); }

    /// Calls a function of the writer for each cell that is not empty, in the order of the columns. Texts of bytes have one byte
    /// for each character.
    ///
    ///     text(column, std::string_view)
    ///     ascii(column, std::string_view)                 a short text that no form escapes
    ///     digits(column, std::string_view)                a number of at most 16 digits by its shortest text; a writer that
    ///                                                     needs its value does without this function
    ///     number(column, long long or double)
    ///     flag(column, bool)
    ///     text(column, std::wstring_view)                 for rare values
    template <class Writer> void write(Writer&& writer) const {
        for (const Exported& cell : exported) writeOne(cell, writer);
    }

private:
    // A cell: its column, its value, and the text that is exported, unless the value must be put into words.
    struct Exported {
        std::uint16_t column;
        FieldKind kind;
        std::string_view text;
        long long integer;
        double real;  ///< of a decimal that was decoded
    };

    void writeOne(const Exported& cell, auto& writer) const {
        char form[16];
        switch (cell.kind) {
        case FieldKind::Text:
        case FieldKind::Code: return writer.text(cell.column, cell.text);
        case FieldKind::Integer:
            if (!cell.text.empty() && takesDigits<decltype(writer)>) return writeDigits(cell, writer);
            return writer.number(cell.column, cell.integer);
        case FieldKind::Flag: return writer.flag(cell.column, cell.integer != 0);
        case FieldKind::Decimal:
            if (cell.text.empty()) break;
            if (takesDigits<decltype(writer)>) return writeDigits(cell, writer);
            return writer.number(cell.column, realOf(cell));
        case FieldKind::AlarmFlags: return writer.ascii(cell.column, hexadecimal(cell.integer, form));
        case FieldKind::Date:
        case FieldKind::DateTime:
        case FieldKind::Year:
            if (cell.text.empty()) break;
            return writer.ascii(cell.column, timeForm(cell.text, form));
        }
        writeCell(cell.column, wordsOf(cell), writer);
    }

    template <class Writer> static constexpr bool takesDigits = requires(Writer writer) { writer.digits(0, std::string_view()); };
    static void writeDigits(const Exported& cell, auto& writer) {
        if constexpr (takesDigits<decltype(writer)>) writer.digits(cell.column, cell.text);
    }

    // The text has so few digits that no other number is read from them.
    static double realOf(const Exported& cell) {
        double value = cell.real;
        codec::plainDecimal(cell.text, value);
        return value;
    }

    static std::string_view hexadecimal(long long bits, char (&form)[16]) {
        for (int i = 0; i < 4; ++i) form[i] = "0123456789ABCDEF"[bits >> (12 - 4 * i) & 0xF];
        return {form, 4};
    }

    // The digits of a time with their separators.
    static std::string_view timeForm(std::string_view digits, char (&form)[16]) {
        constexpr std::size_t date = 8, dateAndTime = 12;
        if (digits.size() < date) return digits;
        const char* const from = digits.data();
        std::memcpy(form, from, 4);
        std::memcpy(form + 5, from + 4, 2);
        std::memcpy(form + 8, from + 6, 2);
        form[4] = form[7] = '-';
        if (digits.size() < dateAndTime) return {form, 10};
        form[10] = 'T';
        std::memcpy(form + 11, from + 8, 2);
        form[13] = ':';
        std::memcpy(form + 14, from + 10, 2);
        return {form, 16};
    }

    bool readDecoded(const PlainColumn& column);
    Cell wordsOf(const Exported& cell) const;
    bool findsIgnoredText() const;

    PlainRecord record;
    const Table* known = nullptr;
    std::vector<DecodedValue> values;  ///< of the record, if it is decoded
    std::vector<Exported> exported;
    bool isDecoded = false, hasUnread = false, mayHoldMore = false;
};

}  // namespace tramo::cli
