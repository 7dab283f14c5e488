#include "model/describe.h"
#include "common/console.h"
#include <string>
#include <type_traits>

namespace tramo {
namespace {

std::string digits(double limit) { return std::to_string(static_cast<long long>(limit)); }

// Returns a clause such as "it is above 3", in words for this kind of field.
std::string words(FieldKind kind, Test test) {
    const bool isDate = kind == FieldKind::Date || kind == FieldKind::DateTime || kind == FieldKind::Year;
    const bool present = test.operation == Test::Above || test.operation == Test::AtLeast;
    if (kind == FieldKind::Text) return present ? "it is not empty" : "it is empty";
    if (kind == FieldKind::Code) return present ? "it is set" : "it is not set";
    if (kind == FieldKind::Year && present) return "it is a representable year";
    if (isDate) return present ? "it has a date" : "it has no date";
    switch (test.operation) {
    case Test::Above: return "it is above " + digits(test.limit);
    case Test::AtLeast: return "it is " + digits(test.limit) + " or more";
    case Test::Below: return "it is below " + digits(test.limit);
    case Test::NotAbove: return "it is not above " + digits(test.limit);
    case Test::OtherThan: return "it is not " + digits(test.limit);
    case Test::Always:
    case Test::Never: break;
    }
    return {};
}

}  // namespace

std::string numbered(std::string_view text, int slot) {
    std::string out;
    for (const char c : text)
        if (c == '#') out += std::to_string(slot);
        else out += c;
    return out;
}

void appendNumbered(std::string_view text, int slot, std::wstring& out) {
    for (std::size_t place = 0; (place = text.find('#')) != std::string_view::npos; text.remove_prefix(place + 1)) {
        codec::append(text.substr(0, place), out);
        codec::appendInteger(slot, out);
    }
    codec::append(text, out);
}

void refuse(std::string_view model, wchar_t found, wchar_t expected) {
    auto narrow = [](wchar_t c) { return static_cast<std::make_unsigned_t<wchar_t>>(c) <= 0xFF ? static_cast<char>(c) : '?'; };
    std::string message(model);
    message += " : unvalidLineType(";
    message += narrow(found);
    message += " != ";
    message += narrow(expected);
    message += "), Parse failed\n";
    console::narrow(message);
}

std::string wordsOfWriting(FieldKind kind, Test written, std::string_view rule) {
    if (written.operation == Test::Never) return "never";
    if (written.operation == Test::Always) return rule.empty() ? "always" : std::string(rule);
    return rule.empty() ? words(kind, written) : std::string(rule) + " and " + words(kind, written);
}

std::string wordsOfMissing(FieldKind kind, Test missing, std::string_view rule) {
    if (missing.operation == Test::Never) return std::string(rule);
    return rule.empty() ? words(kind, missing) : words(kind, missing) + " or " + std::string(rule);
}

}  // namespace tramo
