// Lines of every kind: parses them, reads all fields, checks, shows, builds, and parses again. The first byte selects the kind,
// and whether a character is one byte of the rest or two.
#include "support.h"
#include <algorithm>
#include <cmath>
#include <tramostream/anyrecord.h>
#include <tramostream/parametertramomodel.h>
#include <tramostream/tagtramomodel.h>
#include <type_traits>

namespace {

using tramo::AnyRecord;
using tramo::FieldValue;
using tramo::RecordKind;

template <class Line> Line lineOf(const std::wstring& text) {
    Line line;
    line.fill(L' ');
    std::copy_n(text.begin(), std::min(text.size(), line.size()), line.begin());
    return line;
}

// The same few functions for every model class.
template <class M, class L> struct Kind {
    using Model = M;
    using Line = L;
    static const RecordKind* of(const Model& model) {
        if constexpr (std::is_same_v<M, AnyRecord>) return model.kind();
        else return &tramo::kindOf<M>();
    }
    static FieldValue get(const Model& model, const tramo::Field& field) {
        if constexpr (std::is_same_v<M, AnyRecord>) return model.get(field);
        else return tramo::get(model, field);
    }
    static bool set(Model& model, const tramo::Field& field, const FieldValue& value) {
        if constexpr (std::is_same_v<M, AnyRecord>) return model.set(field, value);
        else return tramo::set(model, field, value);
    }
    static Line build(Model& model) {
        if constexpr (requires { model.toTramoLine(); }) return model.toTramoLine();
        else if constexpr (requires { model.toParameterLine(); }) return model.toParameterLine();
        else return model.toTagLine();
    }
};

// Errors have a column of the line and a name.
void checkErrors(const std::vector<TE::FieldError>& errors, const RecordKind& kind) {
    for (const TE::FieldError& error : errors) {
        FUZZ_CHECK(error.column >= 0 && error.column <= kind.length);
        FUZZ_CHECK(!tramo::errorName(error.code).empty());
        FUZZ_CHECK(error.column == 0 || kind.fieldOf(error) != nullptr);
    }
}

bool isSame(const FieldValue& a, const FieldValue& b) {
    const double* x = std::get_if<double>(&a);
    const double* y = std::get_if<double>(&b);
    return a == b || (x && y && std::isnan(*x) && std::isnan(*y));
}

template <class K> void checkFields(const typename K::Model& model, const RecordKind& kind) {
    typename K::Model copy = model;
    for (const tramo::Field& field : kind.fields) {
        const FieldValue value = K::get(model, field);
        FUZZ_CHECK(value.index() == field.defaultValue.index());
        if (K::set(copy, field, value)) FUZZ_CHECK(isSame(K::get(copy, field), value));
    }
    (void)K::build(copy);
}

// A number with more digits than a double holds changes each time it is truncated on the right.
template <class K> void clearInexact(const typename K::Model& model, const RecordKind& kind, typename K::Line& line) {
    for (const tramo::Field& field : kind.fields) {
        if (field.kind != tramo::FieldKind::Decimal) continue;
        const double value = std::get<double>(K::get(model, field));
        const int decimals = field.decimals < 0 ? 6 : field.decimals;
        if (!(std::fabs(value) * std::pow(10, decimals) >= 0x1p53)) continue;
        std::fill_n(line.begin() + field.column - 1, field.writtenWidth, L'#');
    }
}

template <class K> void checkLine(const typename K::Line& line) {
    using Model = typename K::Model;
    Model model(line);
    const RecordKind* kind = K::of(model);
    if (!kind) {
        FUZZ_CHECK(model.getParseErrors().empty() && model.getMandatoryErrors().empty() && model.toString().empty());
        typename K::Line blank;
        blank.fill(L' ');
        blank[blank.size() - 2] = L'\r';
        blank[blank.size() - 1] = L'\n';
        FUZZ_CHECK(K::build(model) == blank);
        return;
    }
    checkErrors(model.getParseErrors(), *kind);
    const std::wstring shown = model.toString();
    for (const tramo::Field& field : kind->fields)
        FUZZ_CHECK(shown.find(std::wstring(field.label.begin(), field.label.end())) != std::wstring::npos);
    checkErrors(model.getMandatoryErrors(), *kind);
    checkFields<K>(model, *kind);

    // After the second build, the line does not change any more.
    Model again(K::build(model));
    checkErrors(model.getBuildErrors(), *kind);
    typename K::Line second = K::build(again);
    Model onceMore(second);
    typename K::Line third = K::build(onceMore);
    clearInexact<K>(onceMore, *kind, second);
    clearInexact<K>(onceMore, *kind, third);
    FUZZ_CHECK(third == second);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    [[maybe_unused]] static const bool silent = fuzz::silenceLibrary();
    fuzz::Bytes bytes(data, size);
    const unsigned choice = fuzz::takeByte(bytes);
    std::wstring text = fuzz::textOf(bytes, choice >> 7 & 1);
    const auto kinds = tramo::recordKinds();
    const std::size_t kind = choice & 0x0F;
    if (kind < kinds.size()) text.insert(text.begin(), kinds[kind]->letter);
    if (kind == kinds.size() + 1)
        checkLine<Kind<ParameterTramoModel, ParameterLine::parameterLine_t>>(lineOf<ParameterLine::parameterLine_t>(text));
    else if (kind == kinds.size() + 2) checkLine<Kind<TagTramoModel, TagLine::tagLine_t>>(lineOf<TagLine::tagLine_t>(text));
    else checkLine<Kind<AnyRecord, TramoLine::tramoLine_t>>(lineOf<TramoLine::tramoLine_t>(text));
    return 0;
}
