// Rows from JSON lines: each a flat object of texts, numbers and flags. RapidJSON's reader would refuse half of a
// surrogate pair, which a field can hold; an object without anything nested is quickly read.
#include "celltext.h"
#include "input.h"
#include "rowsource.h"
#include <algorithm>
#include <charconv>
#include <fmt/format.h>

namespace tramo::cli {

namespace {

struct Malformed {
    std::string reason;
};

/// The members of one flat object.
class FlatObject {
public:
    struct Member {
        std::string name;
        Cell value;
    };

    explicit FlatObject(std::string_view json) : rest(json) {
        expect('{');
        if (!take('}')) {
            do {
                std::wstring name = string();
                expect(':');
                members.push_back({std::string(toUtf8(name)), value()});
            } while (take(','));
            expect('}');
        }
        skipBlanks();
        if (!rest.empty()) throw Malformed{"there is something behind the object"};
    }

    std::vector<Member> members;

private:
    void skipBlanks() { rest.remove_prefix(std::min(rest.find_first_not_of(" \t\r"), rest.size())); }

    bool take(char c) {
        skipBlanks();
        const bool found = rest.starts_with(c);
        rest.remove_prefix(found);
        return found;
    }
    void expect(char c) {
        if (!take(c)) throw Malformed{fmt::format("'{}' is missing", c)};
    }

    std::wstring string() {
        expect('"');
        std::wstring text;
        while (true) {
            const std::size_t end = rest.find_first_of("\"\\");
            const auto plain = fromUtf8(rest.substr(0, end));
            if (end == std::string_view::npos) throw Malformed{"a text has no end"};
            if (!plain) throw Malformed{"a text is not UTF-8"};
            text += *plain;
            const char c = rest[end];
            rest.remove_prefix(end + 1);
            if (c == '"') return text;
            text += escape();
        }
    }

    wchar_t escape() {
        constexpr std::string_view letters = "\"\\/bfnrt";
        constexpr std::wstring_view meanings = L"\"\\/\b\f\n\r\t";
        const std::size_t which = rest.empty() ? std::string_view::npos : letters.find(rest[0]);
        const auto unit = rest.starts_with('u') ? hexUnit(rest.substr(1)) : std::nullopt;
        if (which == std::string_view::npos && !unit) throw Malformed{"a text has a backslash that begins no escape"};
        rest.remove_prefix(unit ? 5 : 1);
        return unit ? *unit : meanings[which];
    }

    bool takeWord(std::string_view word) {
        const bool found = rest.starts_with(word);
        if (found) rest.remove_prefix(word.size());
        return found;
    }

    Cell value() {
        skipBlanks();
        if (rest.starts_with('"')) return string();
        if (takeWord("null")) return {};
        if (takeWord("true")) return true;
        if (takeWord("false")) return false;
        const std::string_view word = rest.substr(0, rest.find_first_not_of("+-.0123456789eE"));
        if (const auto integer = number<long long>(word)) return *integer;
        if (const auto real = number<double>(word)) return *real;
        throw Malformed{"a value is no text, number, true, false or null"};
    }

    template <class Number> std::optional<Number> number(std::string_view word) {
        Number value{};
        const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
        if (word.empty() || error != std::errc{} || end != word.data() + word.size()) return std::nullopt;
        rest.remove_prefix(word.size());
        return value;
    }

    std::string_view rest;
};

class JsonlSource : public RowSource {
public:
    explicit JsonlSource(const std::string& path) : bytes(path) {}

    bool next(Row& row) override {
        do {
            if (!nextText()) return false;
        } while (!makeRow(row));
        return true;
    }

    std::string place() const override { return fmt::format("line {}", number); }

private:
    [[noreturn]] void refuse(std::string_view reason) const { throw Unreadable{fmt::format("{}: {}", place(), reason)}; }

    bool nextText() {
        text.clear();
        ++number;
        int c;
        while ((c = bytes.next()) >= 0 && c != '\n') {
            if (text.size() == longestRow) refuse(fmt::format("is longer than {} bytes; the file is no export", longestRow));
            text += static_cast<char>(c);
        }
        return c >= 0 || !text.empty();
    }

    // False: the line holds no row.
    bool makeRow(Row& row) {
        if (text.find_first_not_of(" \t\r") == std::string::npos) return false;
        try {
            return fill(row, FlatObject(text));
        } catch (const Malformed& malformed) { refuse(malformed.reason); }
    }

    bool fill(Row& row, FlatObject&& object) {
        const auto kind = std::ranges::find(object.members, "kind", &FlatObject::Member::name);
        if (kind == object.members.end()) refuse("\"kind\" is missing");
        const auto* name = std::get_if<std::wstring>(&kind->value);
        const std::string table = name ? toUtf8(*name) : "";
        if (table == findingTable().name) return false;
        row = {tableNamed(table)};
        if (!row.table) refuse(fmt::format("\"{}\" is no kind of line", printable(std::string_view(table))));
        row.cells.resize(row.table->columns.size());
        for (FlatObject::Member& member : object.members) {
            if (member.name == "kind" || member.name == "line") continue;
            const auto column = std::ranges::find(row.table->columns, member.name, &Column::name);
            if (column == row.table->columns.end())
                refuse(fmt::format("\"{}\" is no field of {}", printable(std::string_view(member.name)), row.table->name));
            row.cells[static_cast<std::size_t>(column - row.table->columns.begin())] = std::move(member.value);
        }
        return true;
    }

    ByteReader bytes;
    std::string text;
    long long number = 0;
};

}  // namespace

std::unique_ptr<RowSource> makeJsonlSource(const std::string& path) { return std::make_unique<JsonlSource>(path); }

}  // namespace tramo::cli
