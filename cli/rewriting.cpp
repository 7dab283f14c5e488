#include "rewriting.h"
#include "columns.h"
#include <algorithm>
#include <cmath>

namespace tramo::cli {

namespace {

// Finds whose a column is that is written otherwise, and what has become of its text.
class Comparison {
public:
    Comparison(LineKind kindOfLine, std::wstring_view line, LineModel& ofLine)
        : text(line), model(ofLine), kind(ofLine.kind()), built(ofLine.built()), again(*LineModel::of(kindOfLine, built)) {
        for (const TE::FieldError& error : model.parseErrors())
            if (const Field* field = kind.fieldOf(error)) unreadable.push_back(field);
    }

    std::vector<Rewriting> run() {
        for (std::size_t i = 0; i < built.size();) i = built[i] == text[i] ? i + 1 : take(i);
        return std::move(found);
    }

private:
    // Takes in what begins at this place; answers the place behind it.
    std::size_t take(std::size_t at) {
        const int column = static_cast<int>(at + 1);
        if (built[at] == 0)
            if (const Field* flags = flagsBefore(column)) {
                found.push_back({Rewriting::ZeroBehind, flags, column, std::wstring(text.substr(at, 1)), built.substr(at, 1)});
                return at + 1;
            }
        if (const Field* field = writerOf(column)) {
            std::wstring before(cut(text, *field)), after(cut(built, *field));
            const Rewriting::What what = judged(*field, before, after);
            found.push_back({what, field, field->column, std::move(before), std::move(after)});
            return static_cast<std::size_t>(field->column - 1 + field->width);
        }
        std::size_t end = at + 1;
        while (end < built.size() && built[end] != text[end] && fieldsAt(kind, static_cast<int>(end + 1)).empty()) ++end;
        found.push_back(
            {Rewriting::OutsideFields, nullptr, column, std::wstring(text.substr(at, end - at)), built.substr(at, end - at)});
        return end;
    }

    // The writer of alarm flags puts a zero behind them.
    const Field* flagsBefore(int column) const {
        const auto flags = std::ranges::find_if(kind.fields,
            [&](const Field& field) { return field.kind == FieldKind::AlarmFlags && field.column + field.width == column; });
        return flags == kind.fields.end() ? nullptr : &*flags;
    }

    // Of fields that share the column, the one whose value makes a difference to what is written.
    const Field* writerOf(int column) const {
        std::vector<const Field*> fields = fieldsAt(kind, column);
        const Field* first = fields.empty() ? nullptr : fields.front();
        std::erase_if(fields, [](const Field* field) { return field->written == "never"; });
        for (const Field* field : fields) {
            if (fields.size() == 1) return field;
            LineModel without = model;
            without.set(*field, field->defaultValue);
            if (cut(without.built(), *field) != cut(built, *field)) return field;
        }
        return fields.empty() ? first : fields.back();
    }

    Rewriting::What judged(const Field& field, std::wstring_view before, std::wstring_view after) const {
        if (std::ranges::count(unreadable, &field)) return Rewriting::Unreadable;
        if (trimmed(before).empty()) return Rewriting::Filled;
        if (trimmed(after).empty()) return Rewriting::Lost;
        const bool takesAnother = std::ranges::count(kind.fields, field.name, &Field::readInto) > 0;
        if (field.kind == FieldKind::Code || takesAnother) return Rewriting::Changed;
        return isSame(model.get(field), again.get(field)) ? Rewriting::Respelled : Rewriting::Changed;
    }

    const std::wstring_view text;
    const LineModel& model;
    const RecordKind& kind;
    const std::wstring built;
    const LineModel again;
    std::vector<const Field*> unreadable;
    std::vector<Rewriting> found;
};

}  // namespace

std::vector<Rewriting> rewritings(LineKind kind, std::wstring_view text, LineModel& model) {
    if (model.built() == text.substr(0, shapeOf(kind).length)) return {};
    return Comparison(kind, text, model).run();
}

bool isSame(const FieldValue& a, const FieldValue& b) {
    const auto *x = std::get_if<double>(&a), *y = std::get_if<double>(&b);
    return a == b || (x && y && std::isnan(*x) && std::isnan(*y));
}

}  // namespace tramo::cli
