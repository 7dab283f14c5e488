#include "cli/lines/rewriting.h"
#include "cli/lines/columns.h"
#include <algorithm>
#include <cmath>

namespace tramo::cli {

namespace {

// Finds the fields of changed columns and the kinds of the changes.
class Comparison {
public:
    Comparison(LineKind kindOfLine, std::wstring_view line, LineModel& ofLine)
        : text(line), model(ofLine), kind(ofLine.kind()), built(ofLine.built()), again(*LineModel::of(kindOfLine, built)),
          ignored(ignoredTexts(kind, text)) {}

    std::vector<Rewriting> run() {
        for (std::size_t i = 0; i < built.size();) i = built[i] == text[i] ? i + 1 : take(i);
        // A character where the carriage return should be.
        if (const std::wstring_view extra = text.substr(built.size()); std::ranges::any_of(extra, isFilled))
            add(Rewriting::OutsideFields, nullptr, built.size(), text.size());
        return std::move(found);
    }

private:
    // Adds the change that begins at this offset; returns the offset after it.
    std::size_t take(std::size_t at) {
        const int column = static_cast<int>(at + 1);
        if (built[at] == 0)
            if (const Field* flags = flagsBefore(column)) {
                add(Rewriting::ZeroAfter, flags, at, at + 1);
                return at + 1;
            }
        if (const Field* field = writerOf(column)) {
            const auto first = static_cast<std::size_t>(field->column - 1),
                       behind = first + static_cast<std::size_t>(field->width);
            add(classify(*field, rawText(text, *field), rawText(built, *field)), field, first, behind);
            return behind;
        }
        const std::size_t next = nextFieldAfter(column);
        std::size_t end = at + 1;
        while (end < next && built[end] != text[end]) ++end;
        add(Rewriting::OutsideFields, nullptr, at, end);
        return end;
    }

    void add(Rewriting::What what, const Field* field, std::size_t first, std::size_t end) {
        std::wstring before(text.substr(first, end - first));
        std::wstring after = first < built.size() ? built.substr(first, end - first) : std::wstring();
        const bool isFilled = std::ranges::any_of(before, cli::isFilled);
        const bool hasNoValue = what == Rewriting::OutsideFields || what == Rewriting::Unreadable || what == Rewriting::Ignored;
        const bool loses = hasNoValue ? isFilled : changesValue(static_cast<int>(first + 1), static_cast<int>(end + 1));
        found.push_back({what, loses, field, static_cast<int>(first + 1), std::move(before), std::move(after)});
    }

    // Returns whether a field with these columns gets another value, or one that cannot be read.
    bool changesValue(int column, int end) const {
        return std::ranges::any_of(kind.fields, [&](const Field& field) {
            if (field.column == 0 || field.column >= end || field.column + field.width <= column) return false;
            return !isTextOfAnother(field) && (isUnreadable(field, again) || losesValue(field));
        });
    }

    // If two texts are read into one field, the line has the value of one of them; each text is compared separately.
    bool losesValue(const Field& field) const {
        const bool sharesValue = !field.readInto.empty() || std::ranges::count(kind.fields, field.name, &Field::readInto) > 0;
        if (!sharesValue) return !isSame(model.get(field), again.get(field));
        const bool vanishes = std::ranges::any_of(rawText(text, field), cli::isFilled) && trimmed(rawText(built, field)).empty();
        return vanishes || !isSame(valueRead(kind, field, text), valueRead(kind, field, built));
    }

    static bool isUnreadable(const Field& field, const LineModel& in) {
        return std::ranges::count(in.parseErrors(), field.parseError) > 0;
    }

    // A text that is also read as another type may be written in another form, if the value stays.
    bool isTextOfAnother(const Field& field) const {
        return field.kind == FieldKind::Text && std::ranges::any_of(kind.fields, [&](const Field& other) {
            return other.kind != FieldKind::Text && other.column > 0 && other.column < field.column + field.width &&
                   field.column < other.column + other.width;
        });
    }

    // The index of the first character after this column that a field has; at the end of the line if there is none.
    std::size_t nextFieldAfter(int column) const {
        std::size_t next = built.size();
        for (const Field& field : kind.fields)
            if (field.column > column) next = std::min(next, static_cast<std::size_t>(field.column - 1));
        return next;
    }

    // Writing alarm flags puts a zero character after them.
    const Field* flagsBefore(int column) const {
        const auto flags = std::ranges::find_if(kind.fields,
            [&](const Field& field) { return field.kind == FieldKind::AlarmFlags && field.column + field.width == column; });
        return flags == kind.fields.end() ? nullptr : &*flags;
    }

    // Of the fields that share the column, returns the one whose value affects the written text.
    const Field* writerOf(int column) const {
        std::vector<const Field*> fields = fieldsAt(kind, column);
        const Field* first = fields.empty() ? nullptr : fields.front();
        std::erase_if(fields, [](const Field* field) { return field->written == "never"; });
        for (const Field* field : fields) {
            if (fields.size() == 1) return field;
            LineModel without = model;
            without.set(*field, field->defaultValue);
            if (rawText(without.built(), *field) != rawText(built, *field)) return field;
        }
        return fields.empty() ? first : fields.back();
    }

    Rewriting::What classify(const Field& field, std::wstring_view before, std::wstring_view after) const {
        if (isUnreadable(field, model)) return Rewriting::Unreadable;
        if (std::ranges::count(ignored, &field, &IgnoredText::field) > 0) return Rewriting::Ignored;
        if (trimmed(before).empty()) return Rewriting::Filled;
        if (trimmed(after).empty()) return Rewriting::NotWritten;
        const bool takesAnother = std::ranges::count(kind.fields, field.name, &Field::readInto) > 0;
        if (field.kind == FieldKind::Code || takesAnother) return Rewriting::Changed;
        return isSame(model.get(field), again.get(field)) ? Rewriting::Respelled : Rewriting::Changed;
    }

    const std::wstring_view text;
    const LineModel& model;
    const RecordKind& kind;
    const std::wstring built;
    const LineModel again;
    const std::vector<IgnoredText> ignored;
    std::vector<Rewriting> found;
};

}  // namespace

std::vector<Rewriting> rewritings(LineKind kind, std::wstring_view text, LineModel& model) {
    if (model.built() == text) return {};
    return Comparison(kind, text, model).run();
}

bool isSame(const FieldValue& a, const FieldValue& b) {
    const auto *x = std::get_if<double>(&a), *y = std::get_if<double>(&b);
    return a == b || (x && y && std::isnan(*x) && std::isnan(*y));
}

}  // namespace tramo::cli
