#include "tramostream/linemodel.h"
#include "common/putdecimal.h"
#include "tramostream/stringconverter.h"
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <type_traits>

namespace tramo {

namespace {

template <class Buffer> Buffer bufferOf(std::wstring_view text) {
    Buffer line;
    std::fill(std::ranges::copy(text.substr(0, line.size()), line.begin()).out, line.end(), L'\0');
    return line;
}

// Whether the model is an AnyRecord, whose kind is known only at run time.
template <class Model> constexpr bool isRecord = std::is_same_v<std::remove_cvref_t<Model>, AnyRecord>;

// The letters of a name, in lower case, and its digits.
std::string plain(std::string_view name) {
    std::string out;
    for (const char c : name)
        if ((c >= '0' && c <= '9') || (c >= 'a' && c <= 'z')) out += c;
        else if (c >= 'A' && c <= 'Z') out += static_cast<char>(c - 'A' + 'a');
    return out;
}

// The fewest digits that read back as the same number, without an exponent from 0.0001 up to 1e16.
std::wstring shortest(double value) {
    std::array<char, 64> text{};
    const double size = std::abs(value);
    const bool isPlain = value == 0 || (size >= 1e-4 && size < 1e16);
    const auto form = isPlain ? std::chars_format::fixed : std::chars_format::scientific;
    char* const end = putShortest(text.data(), text.data() + text.size(), value, form);
    return {text.data(), end};
}

// The four hexadecimal digits of some bits.
std::wstring hexadecimal(long long bits) {
    std::wstring text;
    for (int shift = 12; shift >= 0; shift -= 4) text += L"0123456789ABCDEF"[bits >> shift & 0xF];
    return text;
}

// A local time in the form of the pattern: a digit replaces each 0, everything else is kept.
std::wstring localTime(long long seconds, const wchar_t* format, std::wstring pattern) {
    std::array<wchar_t, 12> digits{};
    StrConv::fromDate(static_cast<long32>(seconds), digits.data(), format);
    const wchar_t* next = digits.data();
    for (wchar_t& c : pattern)
        if (c == L'0') c = *next++;
    return pattern;
}

}  // namespace

// A model takes some kilobytes: it is constructed in place.
std::optional<LineModel> LineModel::of(LineKind kind, std::wstring_view text) {
    std::optional<LineModel> line;
    text = text.substr(0, shapeOf(kind).length);
    switch (kind) {
    case LineKind::Record:
        line.emplace(std::in_place_type<AnyRecord>, bufferOf<TramoLine::tramoLine_t>(text));
        if (!std::get<AnyRecord>(line->model).kind()) line.reset();
        break;
    case LineKind::Tag: line.emplace(std::in_place_type<TagTramoModel>, bufferOf<TagLine::tagLine_t>(text)); break;
    case LineKind::Parameter:
        line.emplace(std::in_place_type<ParameterTramoModel>, bufferOf<ParameterLine::parameterLine_t>(text));
        break;
    case LineKind::Key: break;
    }
    return line;
}

LineModel LineModel::of(const RecordKind& kind, std::wstring_view text) {
    if (&kind == &kindOf<TagTramoModel>()) return {std::in_place_type<TagTramoModel>, bufferOf<TagLine::tagLine_t>(text)};
    if (&kind == &kindOf<ParameterTramoModel>())
        return {std::in_place_type<ParameterTramoModel>, bufferOf<ParameterLine::parameterLine_t>(text)};
    return {std::in_place_type<AnyRecord>, bufferOf<TramoLine::tramoLine_t>(text)};
}

LineModel LineModel::blank(const RecordKind& kind) {
    std::wstring text(static_cast<std::size_t>(kind.length), L' ');
    if (kind.letter) text.front() = kind.letter;
    return of(kind, text);
}

const RecordKind& LineModel::kind() const {
    return std::visit(
        []<class M>(const M& m) -> const RecordKind& {
            if constexpr (isRecord<M>) return *m.kind();
            else return kindOf<M>();
        },
        model);
}

FieldValue LineModel::get(const Field& field) const {
    return std::visit(
        [&]<class M>(const M& m) {
            if constexpr (isRecord<M>) return m.get(field);
            else return tramo::get(m, field);
        },
        model);
}

bool LineModel::set(const Field& field, const FieldValue& value) {
    return std::visit(
        [&]<class M>(M& m) {
            if constexpr (isRecord<M>) return m.set(field, value);
            else return tramo::set(m, field, value);
        },
        model);
}

std::vector<TE::FieldError> LineModel::parseErrors() const {
    return std::visit([](const auto& m) { return m.getParseErrors(); }, model);
}

std::vector<TE::FieldError> LineModel::buildErrors() const {
    return std::visit([](const auto& m) { return m.getBuildErrors(); }, model);
}

std::vector<TE::FieldError> LineModel::mandatoryErrors() {
    return std::visit([](auto& m) { return m.getMandatoryErrors(); }, model);
}

std::wstring LineModel::built() {
    return std::visit(
        [](auto& m) {
            const auto line = [&] {
                if constexpr (requires { m.toTagLine(); }) return m.toTagLine();
                else if constexpr (requires { m.toParameterLine(); }) return m.toParameterLine();
                else return m.toTramoLine();
            }();
            return std::wstring(line.begin(), line.end() - 2);
        },
        model);
}

std::span<const RecordKind* const> allKinds() {
    static const std::vector<const RecordKind*> all = [] {
        const auto records = recordKinds();
        std::vector<const RecordKind*> kinds(records.begin(), records.end());
        kinds.push_back(&kindOf<TagTramoModel>());
        kinds.push_back(&kindOf<ParameterTramoModel>());
        return kinds;
    }();
    return all;
}

const RecordKind* kindNamed(std::string_view word) {
    const std::string name = plain(word);
    if (name.empty()) return nullptr;
    for (const RecordKind* kind : allKinds()) {
        const bool isLetter = word.size() == 1 && kind->letter != 0 && static_cast<wchar_t>(word[0]) == kind->letter;
        if (isLetter || name == plain(kind->name) || name == plain(kind->model)) return kind;
    }
    return nullptr;
}

FieldValue valueRead(const RecordKind& kind, const Field& field, std::wstring_view line) {
    std::wstring alone(static_cast<std::size_t>(kind.length), L' ');
    if (kind.letter) alone.front() = kind.letter;
    const std::wstring_view text = rawText(line, field);
    alone.replace(static_cast<std::size_t>(field.column - 1), text.size(), text);
    const LineModel model = LineModel::of(kind, alone);
    return model.get(field.readInto.empty() ? field : *kind.field(field.readInto));
}

bool isAbsent(const Field& field, const FieldValue& value) { return value == field.defaultValue; }

std::wstring textOf(const Field& field, const FieldValue& value) {
    switch (field.kind) {
    case FieldKind::Text: return std::get<std::wstring>(value);
    case FieldKind::Integer: return std::to_wstring(std::get<long long>(value));
    case FieldKind::Decimal: return shortest(std::get<double>(value));
    case FieldKind::Code: return {std::get<wchar_t>(value)};
    case FieldKind::Flag: return std::get<bool>(value) ? L"1" : L"0";
    case FieldKind::AlarmFlags: return hexadecimal(std::get<long long>(value));
    case FieldKind::Year: return localTime(std::get<long long>(value), StrConv::YEARFORMAT, L"0000");
    case FieldKind::Date: return localTime(std::get<long long>(value), StrConv::DATEFORMAT, L"0000-00-00");
    case FieldKind::DateTime: break;
    }
    return localTime(std::get<long long>(value), StrConv::DATETIMEFORMAT, L"0000-00-00T00:00");
}

}  // namespace tramo
