// Lines of exchange files as rows of values: what all forms of export and import have in common.
//
// A table holds the records of one kind; its columns are the fields of that kind. A row has the values of one line. rowOf()
// makes sure that the line built from the row is the one that the library writes after parsing. A malformed line has no
// values: it is a row of `textTable`, which holds its text.
#pragma once
#include "cli/lines/longline.h"
#include "common/secret.h"
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <tramostream/check.h>
#include <tramostream/linemodel.h>
#include <variant>
#include <vector>

namespace tramo::cli {

/// A value that every form can hold. monostate: the value of a blank line.
using Cell = std::variant<std::monostate, std::wstring, long long, double, bool>;

/// A column holds cells of one type. Any column can also hold texts: dates, codes and alarm flags, numbers that the other
/// forms cannot hold ("nan", "inf", "-zero"), and texts that people have typed.
struct Column {
    enum class Type { Text, Integer, Real, Flag };
    std::string name;
    Type type;
    const Field* field = nullptr;  ///< nullptr: not of a model
    FieldValue blank{};            ///< the field's value on a blank line
};

struct Table {
    std::string name;        ///< "meter subscriber"
    std::string identifier;  ///< "meter_subscriber"
    std::vector<Column> columns;
    LineModel const* blank;  ///< a blank line of the kind; nullptr: the rows have no model
    bool holdsKeys = false;  ///< so that nothing of its rows may stay in memory
    bool hasLead = true;     ///< rows begin with the number of the line and, in some forms, with the kind
};

/// The kinds of fixed columns, key lines, and texts. Live as long as the program.
const std::vector<Table>& tables();
const Table& tableOfKind(const RecordKind& kind);
const Table* tableNamed(std::string_view name);
const Table& keyTable();
const Table& textTable();

/// Shown in the place of a key, unless keys are asked for.
inline constexpr const wchar_t* masked = L"***";

struct TableRow {
    TableRow() = default;
    TableRow(const Table* of, long long number = 0, std::vector<Cell> values = {}, bool isUnread = false)
        : table(of), line(number), cells(std::move(values)), unread(isUnread) {}
    TableRow(TableRow&&) noexcept = default;
    TableRow& operator=(TableRow&& other) noexcept;
    ~TableRow() { wipeKeys(); }

    const Table* table = nullptr;
    long long line = 0;
    std::vector<Cell> cells{};                   ///< one for each of the table's columns
    bool unread = false;                         ///< the text of a field could not be read, and is not in the row
    bool lacksMembers = false;                   ///< of a key line: it has members that are no values, and the row has no text
    std::shared_ptr<const LongText> longText{};  ///< in the place of its last cell, which is empty

private:
    void wipeKeys() noexcept;
};

enum class Keys { Masked, Shown };

/// The row of a line. `model`: of the line, nullptr when it has none. It is written from, and otherwise left as it is.
TableRow rowOf(const Line& line, std::optional<LineKind> kind, LineModel* model, Keys keys);

/// Returns whether the line that a model has parsed holds text that no value comes from, and that no other field has as text.
bool holdsMore(const LineModel& model, std::wstring_view line);

/// Returns the cell of a value that the field has.
Cell cellOf(const Field& field, FieldValue value);

/// The integer that a text represents, also as a decimal without a fraction: "6054", "6054.0".
std::optional<long long> wholeNumber(std::wstring_view text);

/// What is wrong with a row, and with which of its values.
struct RowFault {
    static constexpr std::size_t wholeRow = static_cast<std::size_t>(-1);
    std::size_t column;  ///< of the row's table
    std::string reason;  ///< begins with the column's name
};

/// A row cannot be a line.
struct Unfit {
    RowFault fault;
};

/// The line of a row, without its line ending. `lost` gets the values of the row that the format does not give back when
/// it reads the line. Throws Unfit.
SecretText lineOf(const TableRow& row, std::vector<RowFault>& lost);

/// Findings, for forms that hold them beside the rows. An import skips them.
const Table& findingTable();
TableRow rowOf(const Finding& finding, long long line);

}  // namespace tramo::cli
