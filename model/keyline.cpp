#include "tramostream/keyline.h"
#include "common/jsonmemory.h"
#include "common/secretkeyline.h"
#include "common/utf16.h"
#include "common/utf8.h"
#include "model/keyjson.h"
#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <rapidjson/document.h>
#include <rapidjson/encodings.h>
#include <rapidjson/error/en.h>
#include <utility>

namespace tramo {
namespace {

using Json = AMRKeyTramoModel::Json;
using Utf8 = rapidjson::UTF8<char>;
using Utf16 = rapidjson::UTF16<wchar_t>;

// The interface through which RapidJSON's encodings write.
struct SecretOutput {
    SecretBytes bytes{};
    void Put(char byte) { bytes += byte; }
};

// A wide text with the interface through which RapidJSON's encodings read; returns zeros after the end.
struct WideInput {
    using Ch = wchar_t;
    std::wstring_view text;
    std::size_t at = 0;

    wchar_t Take() { return at < text.size() ? text[at++] : L'\0'; }
};

bool isUtf16(std::uint32_t c) { return c <= 0xFFFF; }

// Appends the text as UTF-8. Returns the index of the first invalid character, if any.
std::optional<std::size_t> encode(std::wstring_view text, SecretOutput& out) {
    out.bytes.reserve(text.size() * 3);
    for (WideInput in{text}; in.at < text.size();) {
        const std::size_t first = in.at;
        unsigned code = 0;
        if (!isUtf16(static_cast<std::uint32_t>(text[first])) || !Utf16::Decode(in, &code) || code == 0) return first;
        Utf8::Encode(out, code);
    }
    return std::nullopt;
}

// Returns the index of the character that begins at this byte of the text in UTF-8.
std::size_t indexOfByte(std::wstring_view text, std::size_t byte) {
    auto bytes = [](wchar_t c) -> std::size_t {
        if (c < 0x80) return 1;
        return c < 0x800 || utf16::isSurrogate(static_cast<char32_t>(c)) ? 2 : 3;  // a surrogate is half of 4 bytes
    };
    std::size_t index = 0;
    for (std::size_t at = 0; at < byte && index < text.size(); ++index) at += bytes(text[index]);
    return index;
}

bool take(const Json& json, const KeyValue& value, AMRKeyLine& line) {
    if (value.text ? !json.IsString() : !json.IsInt()) return false;
    if (value.text) line.*value.text = utf8::decode({json.GetString(), json.GetStringLength()});
    else line.wmBusAddress[value.part] = json.GetInt();
    return true;
}

KeyLineRemark::Reason whyNot(const Json& json, const KeyValue& value) {
    using Int = std::numeric_limits<std::int32_t>;
    if (value.text || !json.IsNumber()) return KeyLineRemark::WrongType;
    const bool fits = json.GetDouble() >= Int::min() && json.GetDouble() <= Int::max();
    return fits ? KeyLineRemark::WrongType : KeyLineRemark::OutOfRange;
}

// RapidJSON's stacks get memory that throws where there is no more, and the values all the memory that they can need in
// advance: each value has at least two characters.
std::size_t mostBytesOfValues(std::size_t bytesOfText) { return (bytesOfText / 2 + 8) * sizeof(Json); }

KeyLineError tooLong() { return {"The line is longer than " + std::to_string(longestKeyLine) + " bytes.", 0}; }

// Parses JSON text, which starts at index `start` of the line, into the result.
std::optional<KeyLineError> parse(std::wstring_view json, std::size_t start, ParsedKeyLine& result) {
    if (json.size() > longestKeyLine) return tooLong();
    SecretOutput text;
    if (const auto index = encode(json, text))
        return KeyLineError{"Invalid character: a zero, or an unpaired surrogate.", start + *index};
    if (text.bytes.size() > longestKeyLine) return tooLong();

    // In place, so that no string is copied; iterative, so that nesting cannot overflow the stack.
    const std::size_t room = mostBytesOfValues(text.bytes.size());
    const auto memory = std::make_unique_for_overwrite<char[]>(room);
    Json::AllocatorType values(memory.get(), room);
    rapidjson::GenericDocument<Utf8, Json::AllocatorType, JsonMemory> document(&values);
    document.ParseInsitu<rapidjson::kParseIterativeFlag>(text.bytes.data());
    if (document.HasParseError())
        return KeyLineError{
            rapidjson::GetParseError_En(document.GetParseError()), start + indexOfByte(json, document.GetErrorOffset())};
    if (!document.IsObject()) return KeyLineError{"The line is not a JSON object.", start};
    result.remarks = takeKeyValues(document, result.line);
    return std::nullopt;
}

}  // namespace

std::vector<KeyLineRemark> takeKeyValues(const Json& object, AMRKeyLine& line) {
    std::vector<KeyLineRemark> remarks;
    if (!object.IsObject()) return remarks;
    std::array<bool, std::size(keyValues)> seen{};
    for (auto member = object.MemberBegin(); member != object.MemberEnd(); ++member) {
        const std::string_view name(member->name.GetString(), member->name.GetStringLength());
        auto remark = [&](KeyLineRemark::Reason reason) { remarks.push_back({reason, utf8::decode(name)}); };
        const auto* value = std::ranges::find(keyValues, name, &KeyValue::name);
        if (value == std::end(keyValues)) remark(KeyLineRemark::Unknown);
        else if (std::exchange(seen[static_cast<std::size_t>(value - keyValues)], true)) remark(KeyLineRemark::Duplicate);
        else if (!take(member->value, *value, line)) remark(whyNot(member->value, *value));
    }
    return remarks;
}

ParsedKeyLine parseKeyLine(std::wstring_view text) {
    ParsedKeyLine result;
    struct Guard {
        ParsedKeyLine* result;
        ~Guard() {
            if (result) wipe(*result);
        }
    } guard{&result};  // when memory runs out
    result.line.line = text;
    const std::size_t start = text.starts_with(AMRKeyLine().lead) ? 1 : 0;
    std::wstring_view json = text.substr(start);
    if (json.ends_with(L'\r')) json.remove_suffix(1);
    result.error = parse(json, start, result);
    guard.result = nullptr;
    return result;
}

}  // namespace tramo
