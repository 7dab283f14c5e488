// Rows from JSON lines: each a flat object of texts, numbers and flags. RapidJSON's reader refuses unpaired
// surrogates, which a field can hold.
#include "cli/io/text.h"
#include "cli/lines/input.h"
#include "cli/tables/celltext.h"
#include "cli/tables/growingtext.h"
#include "cli/tables/rowsource.h"
#include <algorithm>
#include <charconv>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace tramo::cli {

namespace {

struct Malformed {
    std::string reason;
    std::size_t place;  ///< of the byte
};

/// The members of one flat object.
class FlatObject {
public:
    struct Member {
        std::string name;
        Cell value;
        std::size_t namePlace, valuePlace;
        std::shared_ptr<const LongText> longText{};  ///< in the place of the value
    };

    explicit FlatObject(std::string_view json) : rest(json), size(json.size()) {
        expect('{');
        if (!take('}')) {
            do {
                skipBlanks();
                const std::size_t namePlace = place();
                const std::wstring name = string();
                expect(':');
                skipBlanks();
                const std::size_t valuePlace = place();
                const std::string_view longer = longString();
                if (longer.empty()) members.push_back({utf8::encode(name), value(), namePlace, valuePlace});
                else members.push_back({utf8::encode(name), {}, namePlace, valuePlace, longText(longer)});
            } while (take(','));
            expect('}');
        }
        skipBlanks();
        if (!rest.empty()) fail("unexpected text after the object");
    }

    std::vector<Member> members;

private:
    std::size_t place() const { return size - rest.size(); }
    [[noreturn]] void fail(std::string reason) const { throw Malformed{std::move(reason), place()}; }

    void skipBlanks() { rest.remove_prefix(std::min(rest.find_first_not_of(" \t\r"), rest.size())); }

    bool take(char c) {
        skipBlanks();
        const bool found = rest.starts_with(c);
        rest.remove_prefix(found);
        return found;
    }
    void expect(char c) {
        if (!take(c)) fail(fmt::format("expected '{}'", c));
    }

    std::wstring string() {
        expect('"');
        std::wstring text;
        while (true) {
            const std::size_t end = rest.find_first_of("\"\\");
            auto plain = utf8::decodeValid(rest.substr(0, end));
            if (end == std::string_view::npos) fail("the text does not end");
            if (!plain) fail("the text is not UTF-8");
            if (text.empty()) text = std::move(*plain);
            else text += *plain;
            const bool isEnd = rest[end] == '"';
            rest.remove_prefix(end + isEnd);
            if (isEnd) return text;
            text += escape();
        }
    }

    // A text of more than `longestValue` bytes, without its quotation marks; empty: there is none.
    std::string_view longString() const {
        if (rest.size() <= longestValue || !rest.starts_with('"')) return {};
        std::size_t end = 1;
        while (end < rest.size() && rest[end] != '"') end = rest.find_first_of("\"\\", end + (rest[end] == '\\' ? 2 : 1));
        return end < rest.size() && end > longestValue ? rest.substr(1, end - 1) : std::string_view();
    }

    std::shared_ptr<const LongText> longText(std::string_view raw) {
        auto text = std::make_shared<EscapedText>(raw, takeJsonEscape);
        rest.remove_prefix(1);
        if (const std::optional<std::size_t> fault = text->firstFault()) {
            rest.remove_prefix(*fault);
            fail(rest.starts_with('\\') ? "invalid escape" : "the text is not UTF-8");
        }
        rest.remove_prefix(raw.size() + 1);
        return text;
    }

    wchar_t escape() {
        const std::optional<wchar_t> unit = takeJsonEscape(rest);
        if (!unit) fail("invalid escape");
        return *unit;
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
        fail("expected a text, a number, true, false or null");
    }

    template <class Number> std::optional<Number> number(std::string_view word) {
        Number value{};
        const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
        if (word.empty() || error != std::errc{} || end != word.data() + word.size()) return std::nullopt;
        rest.remove_prefix(word.size());
        return value;
    }

    std::string_view rest;
    std::size_t size;  ///< of all
};

class JsonlSource : public RowSource {
public:
    explicit JsonlSource(const std::string& path) : bytes(path) {}

    bool next(TableRow& row) override {
        do {
            if (!nextText()) return false;
        } while (!makeRow(row));
        return true;
    }

    std::string place(std::size_t column) const override {
        return column < places.size() && places[column] ? placeAt(*places[column]) : line();
    }

private:
    std::string line() const { return fmt::format("{}:{}", bytes.fileName(), number); }
    std::string placeAt(std::size_t place) const {
        return fmt::format("{}:{}", line(), utf8::length(text.view().substr(0, place)) + 1);
    }
    [[noreturn]] void refuse(std::size_t place, std::string reason) const { throw BadRow{placeAt(place), std::move(reason)}; }

    bool nextText() {
        text.clear();
        ++number;
        bool begun = false;
        int c;
        while ((c = bytes.next()) >= 0 && c != '\n') {
            const bool isBlank = c == ' ' || c == '\t' || c == '\r';
            // A file that is not an export must not fill the memory.
            if (!begun && !isBlank && c != '{') refuse(text.view().size(), "expected '{'");
            if (!begun && text.view().size() == longestHeader)
                refuse(0, fmt::format("{} spaces; the file is not an export", text.view().size()));
            begun = begun || !isBlank;
            text.push_back(static_cast<char>(c));
        }
        return c >= 0 || !text.empty();
    }

    // False: the line holds no row.
    bool makeRow(TableRow& row) {
        if (text.view().find_first_not_of(" \t\r") == std::string_view::npos) return false;
        try {
            return fill(row, FlatObject(text.view()));
        } catch (const Malformed& malformed) { refuse(malformed.place, malformed.reason); }
    }

    bool fill(TableRow& row, FlatObject&& object) {
        const auto kind = std::ranges::find(object.members, "kind", &FlatObject::Member::name);
        if (kind == object.members.end()) throw BadRow{line(), "\"kind\" is missing; the row is not one of records"};
        const auto* name = std::get_if<std::wstring>(&kind->value);
        if (!name) refuse(kind->valuePlace, "kind: expected a text");
        const std::string table = utf8::encode(*name);
        if (table == findingTable().name) return false;
        row = {tableNamed(table)};
        if (!row.table) refuse(kind->valuePlace, named("unknown kind", table));
        row.cells.resize(row.table->columns.size());
        places.assign(row.table->columns.size(), std::nullopt);
        const std::vector<Column>& columns = row.table->columns;
        bool hasKind = false, hasLine = false, hasFile = false;
        std::size_t next = 0;  // the column that is expected next
        for (FlatObject::Member& member : object.members) {
            const bool isKind = member.name == "kind", isLine = member.name == "line", isFile = member.name == fileColumn;
            const bool isLead = isKind || isLine || isFile;
            if (!isLead && (next == columns.size() || columns[next].name != member.name)) {
                // An export writes them in their order and leaves some out.
                auto column = std::find_if(columns.begin() + static_cast<std::ptrdiff_t>(next), columns.end(),
                    [&](const Column& one) { return one.name == member.name; });
                if (column == columns.end()) column = std::ranges::find(columns, member.name, &Column::name);
                if (column == columns.end())
                    refuse(member.namePlace, fmt::format("{} of {}", named("unknown field", member.name), row.table->name));
                next = static_cast<std::size_t>(column - columns.begin());
            }
            bool isDuplicate = false;
            if (isKind) isDuplicate = std::exchange(hasKind, true);
            else if (isLine) isDuplicate = std::exchange(hasLine, true);
            else if (isFile) isDuplicate = std::exchange(hasFile, true);
            else isDuplicate = places[next].has_value();
            if (isDuplicate) refuse(member.namePlace, fmt::format("duplicate field \"{}\"", member.name));  // a known one
            if (isFile) checkFile(member);
            if (isLead) continue;
            places[next] = member.valuePlace;
            if (member.longText) {
                if (!isPlaceOfLine(*row.table, next)) refuse(member.valuePlace, tooLongFor(columns[next].name));
                row.longText = std::move(member.longText);
            }
            row.cells[next++] = std::move(member.value);
        }
        return true;
    }

    void checkFile(const FlatObject::Member& member) {
        const auto* name = std::get_if<std::wstring>(&member.value);
        if (!name) refuse(member.valuePlace, "file: expected a text");
        if (std::string reason = onlyFile.whyUnfit(utf8::encode(*name)); !reason.empty())
            refuse(member.valuePlace, std::move(reason));
    }

    ByteReader bytes;
    FileOfRows onlyFile;
    GrowingText text;
    long long number = 0;
    std::vector<std::optional<std::size_t>> places;  ///< of the values in the text, by their columns
};

}  // namespace

std::unique_ptr<RowSource> makeJsonlSource(const std::string& path) { return std::make_unique<JsonlSource>(path); }

}  // namespace tramo::cli
