// Lines of exchange files as rows of plain values: what an export writes and an import reads, in whatever form.
//
// A table is a kind of line, its columns are the fields that stand in the line. A row is made of a line's values, so that
// the line made of the row is the one that the library writes after parsing; rowOf() makes sure of it. A line that has
// no such values (damaged, of no known kind) is a row of `textTable`, which holds its text.
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

/// One value, as every form can hold it. Nothing: what a blank line has there.
using Cell = std::variant<std::monostate, std::wstring, long long, double, bool>;

/// A column holds cells of one type, but a text can stand in any: for dates, codes and alarm flags, for numbers that the
/// other forms cannot hold ("nan", "inf", "-zero"), and for what people have typed.
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
};

/// The kinds of fixed columns, key lines, and texts. Live as long as the program.
const std::vector<Table>& tables();
const Table* tableNamed(std::string_view name);
const Table& keyTable();
const Table& textTable();

/// The names of the values that are shown as `masked` unless they were asked for.
inline constexpr const wchar_t* masked = L"***";

struct Row {
    Row() = default;
    Row(const Table* of, long long number = 0, std::vector<Cell> values = {}, bool isUnread = false)
        : table(of), line(number), cells(std::move(values)), unread(isUnread) {}
    Row(Row&&) noexcept = default;
    Row& operator=(Row&& other) noexcept;
    ~Row() { wipeKeys(); }

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
Row rowOf(const Line& line, std::optional<LineKind> kind, LineModel* model, Keys keys);

/// The whole number that a text says, also as a decimal without a fraction: "6054", "6054.0".
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
SecretText lineOf(const Row& row, std::vector<RowFault>& lost);

/// What was found, for those who keep it beside the rows. Never a line.
const Table& findingTable();
Row rowOf(const Finding& finding, long long line);

}  // namespace tramo::cli
