// The rows of plain records straight from their bytes: the fast path of an export, without a model, wide texts and cells.
//
// rowOf() of rows.h, the slow path, defines what a row holds. plainrow_test.cpp holds both paths against each other, in every
// form.
#pragma once
#include "cli/lines/textfile.h"
#include "cli/tables/cells.h"
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <tramostream/decode.h>
#include <vector>

namespace tramo::cli {

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
    ///     number(column, long long, std::string_view)     the number, and its shortest text if that is known,
    ///     number(column, double, std::string_view)        otherwise an empty one
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
        const DecodedValue* value;
        std::string_view text;
    };

    void writeOne(const Exported& cell, auto& writer) const {
        char form[16];
        switch (cell.kind) {
        case FieldKind::Text:
        case FieldKind::Code: return writer.text(cell.column, cell.text);
        case FieldKind::Integer: return writer.number(cell.column, cell.value->integer, cell.text);
        case FieldKind::Flag: return writer.flag(cell.column, cell.value->integer != 0);
        case FieldKind::Decimal:
            if (cell.text.empty()) break;
            return writer.number(cell.column, cell.value->real, cell.text);
        case FieldKind::AlarmFlags: return writer.ascii(cell.column, hexadecimal(cell.value->integer, form));
        case FieldKind::Date:
        case FieldKind::DateTime:
        case FieldKind::Year:
            if (cell.text.empty()) break;
            return writer.ascii(cell.column, timeForm(cell.text, form));
        }
        writeCell(cell.column, wordsOf(cell), writer);
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

    Cell wordsOf(const Exported& cell) const;
    bool findsIgnoredText() const;

    PlainRecord record;
    const Table* known = nullptr;
    std::vector<DecodedValue> values;
    std::vector<Exported> exported;
    bool hasUnread = false, mayHoldMore = false;
};

}  // namespace tramo::cli
