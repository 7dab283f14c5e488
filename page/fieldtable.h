// A table of the page: one row for each line of a kind, one column for each of some fields.
#pragma once
#include "page/column.h"
#include <optional>
#include <span>
#include <string>
#include <tramostream/reader.h>
#include <unordered_map>
#include <variant>
#include <vector>

namespace tramo::page {

// The name of a column in the page, and its field.
struct ColumnOf {
    const char *name, *field;
};

// Times as text, in local time. A time that comes again is not written again.
class TimeColumn : public TextColumn {
public:
    void add(const LineView& line, const Field& field);

private:
    std::unordered_map<long long, std::int32_t> known;
    std::string buffer;
};

// Whether a field may be in a page without personal data, where serial numbers, references and user codes are pseudonyms.
bool isShownAsPseudonym(const RecordKind& kind, const Field& field);

class FieldTable {
public:
    // Fields with personal data other than pseudonyms are left out of a page without such data.
    FieldTable(const RecordKind& kind, std::span<const ColumnOf> columns, bool hasPersonal);

    void add(const LineView& line);
    std::size_t count() const { return rows; }

    // Writes the columns as members.
    void write(JsonText& json) const;

private:
    struct Column {
        std::string name;
        const Field* field;
        std::variant<TextColumn, IntegerColumn, RealColumn, TimeColumn> values;
    };
    void add(const LineView& line, Column& column);

    std::vector<Column> columns;
    std::size_t rows = 0;
    std::string buffer;
};

}  // namespace tramo::page
