#include "linemodel.h"
#include "text.h"
#include <algorithm>
#include <fmt/format.h>
#include <fmt/xchar.h>
#include <tramostream/stringconverter.h>

namespace tramo::cli {

namespace {

template <class Buffer> Buffer bufferOf(std::wstring_view text) {
    Buffer line{};
    std::ranges::copy(text.substr(0, line.size()), line.begin());
    return line;
}

// What `use` answers for the model; the second argument tells a record from the others.
template <class Model> constexpr bool isRecord = std::is_same_v<std::remove_cvref_t<Model>, AnyRecord>;

std::wstring localTime(long long seconds, const wchar_t* format, std::size_t digits) {
    std::wstring text(digits, L'0');
    StrConv::fromDate(static_cast<long32>(seconds), text.data(), format);
    return text;
}

}  // namespace

std::optional<LineModel> LineModel::of(LineKind kind, std::wstring_view text) {
    text = text.substr(0, shapeOf(kind).length);
    switch (kind) {
    case LineKind::Record: {
        AnyRecord record(bufferOf<TramoLine::tramoLine_t>(text));
        if (!record.kind()) return std::nullopt;
        return LineModel(std::move(record));
    }
    case LineKind::Tag: return LineModel(TagTramoModel(bufferOf<TagLine::tagLine_t>(text)));
    case LineKind::Parameter: return LineModel(ParameterTramoModel(bufferOf<ParameterLine::parameterLine_t>(text)));
    case LineKind::Key: break;
    }
    return std::nullopt;
}

LineModel LineModel::blank(const RecordKind& kind) {
    std::wstring text(static_cast<std::size_t>(kind.length), L' ');
    if (&kind == &kindOf<TagTramoModel>()) return *of(LineKind::Tag, text);
    if (&kind == &kindOf<ParameterTramoModel>()) return *of(LineKind::Parameter, text);
    text.front() = kind.letter;
    return *of(LineKind::Record, text);
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

const std::vector<const RecordKind*>& allKinds() {
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
    const std::string name = plainWord(word);
    if (name.empty()) return nullptr;
    for (const RecordKind* kind : allKinds()) {
        const bool isLetter = word.size() == 1 && kind->letter != 0 && static_cast<wchar_t>(word[0]) == kind->letter;
        if (isLetter || name == plainWord(kind->name) || name == plainWord(kind->model)) return kind;
    }
    return nullptr;
}

bool isAbsent(const Field& field, const FieldValue& value) { return value == field.defaultValue; }

std::wstring textOf(const Field& field, const FieldValue& value) {
    switch (field.kind) {
    case FieldKind::Text: return std::get<std::wstring>(value);
    case FieldKind::Integer: return fmt::format(L"{}", std::get<long long>(value));
    case FieldKind::Decimal: return fmt::format(L"{}", std::get<double>(value));  // the shortest that reads back the same
    case FieldKind::Code: return {std::get<wchar_t>(value)};
    case FieldKind::Flag: return std::get<bool>(value) ? L"1" : L"0";
    case FieldKind::AlarmFlags: return fmt::format(L"{:04X}", std::get<long long>(value));
    case FieldKind::Year: return localTime(std::get<long long>(value), StrConv::YEARFORMAT, 4);
    case FieldKind::Date:
    case FieldKind::DateTime: break;
    }
    const std::wstring digits = localTime(std::get<long long>(value), StrConv::DATETIMEFORMAT, 12);
    const std::wstring_view all = digits;
    std::wstring day = fmt::format(L"{}-{}-{}", all.substr(0, 4), all.substr(4, 2), all.substr(6, 2));
    if (field.kind == FieldKind::Date) return day;
    return fmt::format(L"{}T{}:{}", day, all.substr(8, 2), all.substr(10, 2));
}

}  // namespace tramo::cli
