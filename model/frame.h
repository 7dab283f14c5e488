// The implementation that all record models share, driven by the rows of the record.
#pragma once
#include "common/console.h"
#include "model/blankmap.h"
#include "model/describe.h"
#include "model/layout.h"

namespace tramo {

// Returns whether the line in the model is of the record's kind; if not, reports it as the format requires.
template <class M> bool acceptsLine(const Record<M>& record, M& model) {
    if (record.letter == 0) return true;
    const wchar_t found = ModelAccess::line(model)[0];
    TF::TramoLineType type;
    if (!codec::toCode(found, type)) ModelAccess::errors(model).parse.push_back({0, TE::ParseLineType});
    if (found == record.letter) return true;
    ModelAccess::errors(model).parse.push_back({0, TE::WrongLineType});
    refuse(record.inMessages, found, record.letter);
    return false;
}

// Sets the values of the model from its line. A line of another kind changes no value.
template <class M> void Record<M>::parse(M& m) const {
    if (!acceptsLine(*this, m)) return;
    const auto& line = ModelAccess::line(m);
    const BlankMap<std::tuple_size_v<LineOf<M>> - 2> filledColumns(line.data());
    for (const ParseStep<M>& step : steps) {
        const auto [blanks, size] = filledColumns.text(step.first, step.width);
        Cut cut{line.data() + step.first, step.first, static_cast<std::uint16_t>(blanks), size};
        if (step.plain) {
            if (cut.size != 0 && !step.parse(m, cut)) ModelAccess::errors(m).parse.push_back(step.row->parseError());
            continue;
        }
        const auto& options = step.row->options;
        if (options.kept) options.kept(m).stretch(cut.first, cut.size);
        if (cut.size == 0) {
            if (options.blank.empty()) continue;
            cut = {options.blank.data(), 0, 0, static_cast<std::uint32_t>(options.blank.size())};
            if (options.kept) options.kept(m) = std::wstring(options.blank);
        }
        if (!step.parse(m, cut)) ModelAccess::errors(m).parse.push_back(step.row->parseError());
        else if (options.present) m.*options.present = true;
    }
}

template <class M> bool isWritten(const Row<M>& row, const M& m) {
    return row.inLine() && (!row.options.group || row.options.group->holds(m)) &&
           (!row.options.present || m.*row.options.present) && passes(row.options.written, [&] { return row.value.measure(m); });
}

template <class M> auto Record<M>::build(M& m) const {
    auto& errors = ModelAccess::errors(m).build;
    errors.clear();
    auto line = blankLine<LineOf<M>>();
    if (letter) codec::fromCode(static_cast<TF::TramoLineType>(ModelAccess::letter(m)), line.data());
    for (const Row<M>& row : rows)
        if (isWritten(row, std::as_const(m)) && !row.value.build(m, line.data() + row.column - 1, row.writtenWidth()))
            errors.push_back(row.buildError());
    return line;
}

template <class M> std::vector<TE::FieldError> Record<M>::check(M& m) const {
    ErrorLists& errors = ModelAccess::errors(m);
    errors.mandatory.clear();
    findMandatory(
        m, [&](TE::FieldError error, bool toParseList) { (toParseList ? errors.parse : errors.mandatory).push_back(error); });
    return errors.mandatory;
}

// Returns the error of a mandatory value; code 0: none.
template <class M> TE::errorType mandatoryErrorOf(const Row<M>& row, M& m) {
    const auto& options = row.options;
    const auto measure = [&] {
        return options.kept ? static_cast<double>(options.kept(m).view(ModelAccess::line(m)).size()) : row.value.measure(m);
    };
    if (passes(options.missing, measure) || (options.missingIf && options.missingIf->holds(m))) return TE::MandatoryMissing;
    return options.inconsistentIf && options.inconsistentIf->holds(m) ? TE::MandatoryInconsistent : TE::errorType{};
}

template <class M> void Record<M>::findMandatory(M& m, auto report) const {
    for (const Row<M>* row : mandatory)
        if (const TE::errorType code = mandatoryErrorOf(*row, m); code != TE::errorType{})
            report(TE::FieldError{row->missingColumn(), code}, row->options.toParseList);
}

template <class M> std::wstring Record<M>::print(const M& m) const {
    std::wstring out;
    out.reserve(2048);  // enough for most records
    codec::append(inDump, out);
    wchar_t separator = L'[';
    for (const Row<M>& row : rows) {
        if (*row.label() == 0) continue;
        out += separator;
        appendNumbered(row.label(), row.options.slot, out);
        out += L':';
        row.value.print(m, out);
        separator = L',';
    }
    return out += L']';
}

// Public description of a record, and access by field. ----------------------------------------------------------------

constexpr TE::FieldError reported(bool ever, TE::FieldError error) {
    return ever && error.code != TE::errorType{} ? error : TE::FieldError{0, TE::errorType{}};
}

// Returns the name of the field that holds this value.
template <class M> std::string nameOfValue(const Value<M>* value) {
    if (value)
        for (const Row<M>& row : ModelAccess::table<M>().rows)
            if (row.value.get == value->get) return numbered(row.name, row.options.slot);
    return {};
}

// Returns the error that getMandatoryErrors reports of the field; code 0 if it reports none.
template <class M> TE::FieldError mandatoryError(const Row<M>& row) {
    if (row.options.missing.operation != Test::Never || row.options.missingIf) return {row.missingColumn(), TE::MandatoryMissing};
    if (row.options.inconsistentIf) return {row.missingColumn(), TE::MandatoryInconsistent};
    return {0, TE::errorType{}};
}

// Return the words of conditions on several values, if there are any: when the field is written, when it is reported.
template <class M> const char* wordsOfGroup(const RowOptions<M>& options) {
    if (options.group) return options.group->words;
    return options.present ? "it has been set" : "";
}
template <class M> const char* wordsOfRule(const RowOptions<M>& options) {
    if (options.missingIf) return options.missingIf->words;
    return options.inconsistentIf ? options.inconsistentIf->words : "";
}

template <class M> Field describe(const Row<M>& row, const M& byDefault, std::size_t index) {
    const auto& options = row.options;
    const FieldKind measured = options.kept && !options.missingIf ? FieldKind::Text : row.value.kind;
    return Field{
        .name = numbered(row.name, options.slot),
        .label = numbered(row.label(), options.slot),
        .column = row.inLine() ? row.column : 0,
        .width = row.width,
        .writtenWidth = row.writtenWidth(),
        .kind = row.value.kind,
        .decimals = row.value.decimals,
        .codes = row.value.codes(),
        .codesWritten = row.value.codesWritten(),
        .blank = std::wstring(row.options.blank),
        .readInto = nameOfValue<M>(row.options.into.what),
        .parseError = reported(row.inLine(), row.parseError()),
        .buildError = reported(row.inLine() && options.written.operation != Test::Never, row.buildError()),
        .mandatoryError = mandatoryError(row),
        .written = wordsOfWriting(row.value.kind, options.written, wordsOfGroup(options)),
        .mandatory = wordsOfMissing(measured, options.missing, wordsOfRule(options)),
        .reportedInParseList = options.toParseList,
        .reportedOnGoodLines = options.onGoodLines,
        .overlaid = options.overlaid,
        .defaultValue = row.value.get(byDefault),
        .index = index,
    };
}

template <class M> M emptyModel() {
    if constexpr (std::is_default_constructible_v<M>) return M();
    auto line = blankLine<LineOf<M>>();
    if (ModelAccess::table<M>().letter) line[0] = ModelAccess::table<M>().letter;
    return M(line);
}

template <class M> RecordKind describe(const Record<M>& record) {
    RecordKind all{record.letter, record.name, record.model, detail::lastColumn<M>(), {}};
    const M model = emptyModel<M>();
    for (const Row<M>& row : record.rows) all.fields.push_back(describe(row, model, all.fields.size()));
    return all;
}

// Separate from kindOf, so that the library does not export it.
template <class M> struct KindOf {
    static const RecordKind& get() {
        static const RecordKind kind = describe(ModelAccess::table<M>());
        return kind;
    }
};

template <class M> const RecordKind& kindOf() { return KindOf<M>::get(); }

template <class M> FieldValue get(const M& model, const Field& field) {
    return ModelAccess::table<M>().rows[field.index].value.get(model);
}

template <class M> bool set(M& model, const Field& field, const FieldValue& value) {
    const Row<M>& row = ModelAccess::table<M>().rows[field.index];
    if (!row.value.set(model, value)) return false;
    if (row.options.present) model.*row.options.present = true;
    if (row.options.set) row.options.set(model);
    return true;
}

}  // namespace tramo

// Publishes a record; used once, at the end of its source file.
#define TRAMO_PUBLISH(MODEL)                                                                      \
    template TRAMO_EXPORT const tramo::RecordKind& tramo::kindOf<MODEL>();                        \
    template TRAMO_EXPORT tramo::FieldValue tramo::get<MODEL>(const MODEL&, const tramo::Field&); \
    template TRAMO_EXPORT bool tramo::set<MODEL>(MODEL&, const tramo::Field&, const tramo::FieldValue&)
