#include "tramostream/anonymize.h"
#include "common/concat.h"
#include "common/sha256.h"
#include "common/utf8.h"
#include "convert/reading.h"
#include "round/anonymizedkey.h"
#include "round/lineparts.h"
#include "round/pseudonyms.h"
#include "tramostream/keyline.h"
#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <stdexcept>
#include <unordered_set>

namespace tramo {

namespace {

using Shape = LineParts::Shape;

// A key of its own for each use, so that none says anything about another.
SipHash::Key keyFor(std::string_view secret, std::string_view use) {
    const Digest digest = hmacSha256(secret, concat("tramo anonymize 1: ", use));
    SipHash::Key key{};
    for (std::size_t i = 0; i < 16; ++i) key[i / 8] |= std::uint64_t{digest[i]} << i % 8 * 8;
    return key;
}

constexpr wchar_t small(wchar_t c) {
    const bool isCapital = (c >= L'A' && c <= L'Z') || (c >= 0xC0 && c <= 0xDE && c != 0xD7);
    return isCapital ? static_cast<wchar_t>(c + 0x20) : c;
}

// Words, by a hash of their small letters. 64 bits: two of a thousand million words are the same with a chance of 3 %, which
// would only replace a label for nothing.
class Words {
public:
    void add(std::wstring_view word) { words.insert(hashOf(word)); }
    bool has(std::wstring_view word) const { return !words.empty() && words.contains(hashOf(word)); }
    void addAllOf(std::wstring_view text) {
        forEachWord(text, [&](std::size_t first, std::size_t size) { add(text.substr(first, size)); });
    }
    bool hasAnyOf(std::wstring_view text) const {
        bool any = false;
        forEachWord(text, [&](std::size_t first, std::size_t size) { any = any || has(text.substr(first, size)); });
        return any;
    }

private:
    static std::uint64_t hashOf(std::wstring_view word) {
        static const SipHash hash({0x7472616D6F776F72, 0x6473});  // needs no secret: the words are those of one user
        SecretText folded;
        for (const wchar_t c : word) folded += small(c);
        return hash(std::wstring_view(folded));
    }

    std::unordered_set<std::uint64_t> words;
};

// Calls use(text) for each text of a line that identifies somebody or something.
template <class Use> void forEachIdentifying(LineParts& parts, std::wstring_view text, std::optional<LineKind> kind, Use use) {
    switch (parts.take(text, kind)) {
    case Shape::Malformed: break;  // nobody knows
    case Shape::Columns:
        for (const LinePart& part : parts.parts())
            if (part.identifies && part.isReplaced()) use(part.of(parts.padded()));
        break;
    case Shape::Key: {
        static const Pseudonyms none({}, {});
        std::vector<SecretText> texts;
        anonymizedKeyLine(text, none, &texts);
        for (const SecretText& each : texts) use(std::wstring_view(each));
        break;
    }
    }
}

// The names of values in a key line that cannot be read: they show that it is one.
std::vector<bool> namesIn(std::wstring_view text) {
    std::vector<bool> isName(text.size());
    for (const KeyValue& value : keyValues) {
        const std::wstring name(value.name.begin(), value.name.end());
        for (std::size_t at = 0; (at = text.find(name, at)) != std::wstring_view::npos; at += name.size())
            std::fill_n(isName.begin() + static_cast<std::ptrdiff_t>(at), name.size(), true);
    }
    return isName;
}

// Hexadecimal letters become A, so that it still looks like a key line.
void maskKeyLine(std::wstring& text) {
    const std::vector<bool> isName = namesIn(text);
    std::wstring masked = text;
    Anonymizer::mask(masked);
    for (std::size_t at = 0; at < text.size(); ++at) {
        const wchar_t c = text[at];
        if (isName[at]) continue;
        text[at] = c >= L'A' && c <= L'F' ? L'A' : c >= L'a' && c <= L'f' ? L'a' : masked[at];
    }
}

// Positions and dates move by amounts that the key decides.
class Moves {
public:
    explicit Moves(std::string_view secret) : hash(keyFor(secret, "positions")) {
        latitude = signedShare(L"latitude", 0.5, 3);
        longitude = signedShare(L"longitude", 0.5, 20);
        altitude = signedShare(L"altitude", 5, 100);
        constexpr int least = 35, most = 364;  // so that a year of installation may move by one year
        days = least + static_cast<int>(SipHash(keyFor(secret, "dates"))(std::wstring_view(L"days")) % (most - least + 1));
    }

    struct Degrees {
        double latitude, longitude;
    };
    Degrees moved(const Degrees& from) const {
        if (from.latitude == 0 && from.longitude == 0) return from;  // no position
        constexpr double cells = 50;                                 // in a degree
        const std::wstring cell = std::to_wstring(std::llround(std::floor(std::clamp(from.latitude, -1e6, 1e6) * cells))) + L'/' +
                                  std::to_wstring(std::llround(std::floor(std::clamp(from.longitude, -1e6, 1e6) * cells)));
        Degrees to{from.latitude + latitude + share(L"a" + cell, -0.005, 0.005),
            from.longitude + longitude + share(L"o" + cell, -0.005, 0.005)};
        if (std::abs(from.latitude) <= 90 && std::abs(to.latitude) > 90) to.latitude = from.latitude - latitude;
        if (std::abs(from.longitude) <= 180 && std::abs(to.longitude) > 180) to.longitude -= to.longitude > 0 ? 360 : -360;
        return to;
    }

    double altitude = 0;
    int days = 0;

private:
    // A number of the range, by the key and this name.
    double share(std::wstring_view name, double least, double most) const {
        return least + (most - least) * (static_cast<double>(hash(name) >> 11) / 9007199254740992.0);
    }
    double signedShare(std::wstring_view name, double least, double most) const {
        const double value = share(name, -1, 1);
        return value < 0 ? value * (most - least) - least : value * (most - least) + least;
    }

    SipHash hash;
    double latitude = 0, longitude = 0;
};

double numberIn(std::wstring_view text) {
    double value = 0;
    while (!text.empty() && codec::isBlank(text.front())) text.remove_prefix(1);
    return codec::readDecimal(text, value) ? value : 0;
}

// Writes the number with as many decimals as the text has, at its end; with fewer if there is no room.
void writeNumber(double number, std::span<wchar_t> field) {
    const std::wstring_view text(field.data(), field.size());
    std::size_t end = text.find_last_not_of(L" \t\n\v\f\r") + 1;
    const std::size_t begin = text.find_first_not_of(L" \t\n\v\f\r");
    const std::size_t point = text.find_first_of(L".,");
    const wchar_t pointSign = point == std::wstring_view::npos ? L'.' : text[point];
    int decimals = 0;
    for (std::size_t at = point + 1; point != std::wstring_view::npos && at < end && text[at] >= L'0' && text[at] <= L'9'; ++at)
        ++decimals;
    std::array<char, 400> digits;
    std::string_view made;
    for (; decimals >= 0; --decimals) {
        const auto [last, error] =
            std::to_chars(digits.data(), digits.data() + digits.size(), number, std::chars_format::fixed, decimals);
        if (error == std::errc{}) made = {digits.data(), static_cast<std::size_t>(last - digits.data())};
        if (error == std::errc{} && made.size() <= field.size()) break;
    }
    if (made.size() > field.size() || made.empty()) made = "0";
    end = std::max(end, begin == 0 ? made.size() : end);
    const std::size_t first = begin == 0 ? 0 : end - std::min(end, made.size());
    std::ranges::fill(field, L' ');
    for (std::size_t i = 0; i < made.size() && first + i < field.size(); ++i)
        field[first + i] = made[i] == '.' ? pointSign : static_cast<wchar_t>(made[i]);
}

// Moves the first eight digits by days; a date of which nothing remains in 32 bits stays.
void moveDate(std::span<wchar_t> text, int days) {
    using namespace std::chrono;
    const auto number = [&](std::size_t first, std::size_t size) {
        int value = 0;
        for (const wchar_t c : text.subspan(first, size)) value = value * 10 + (c - L'0');
        return value;
    };
    const year_month_day from{
        year(number(0, 4)), month(static_cast<unsigned>(number(4, 2))), day(static_cast<unsigned>(number(6, 2)))};
    const year_month_day to{sys_days(from) - std::chrono::days(days)};
    if (to < year(1970) / 1 / 3) return;
    unsigned value = static_cast<unsigned>(static_cast<int>(to.year())) * 10000 + static_cast<unsigned>(to.month()) * 100 +
                     static_cast<unsigned>(to.day());
    for (std::size_t at = 8; at-- > 0; value /= 10) text[at] = static_cast<wchar_t>(L'0' + value % 10);
}

void moveYear(std::span<wchar_t> text) {
    int value = 0;
    for (const wchar_t c : text) value = value * 10 + (c - L'0');
    if (value <= 1902) return;
    --value;
    for (std::size_t at = text.size(); at-- > 0; value /= 10) text[at] = static_cast<wchar_t>(L'0' + value % 10);
}

std::span<wchar_t> filled(std::span<wchar_t> text) {
    while (!text.empty() && codec::isBlank(text.back())) text = text.first(text.size() - 1);
    return text;
}

}  // namespace

struct Anonymizer::State {
    State(std::string_view key, const AnonymizeOptions& chosen)
        : options(chosen), pseudonyms(keyFor(key, "texts"), keyFor(key, "keys")), moves(key) {}

    void replaceColumns(std::wstring& result);

    AnonymizeOptions options;
    Pseudonyms pseudonyms;
    Moves moves;
    LineParts parts{};
    Words labels{}, shared{};  // those of all labels, and those that replaced texts have, too
    std::uint64_t labelsReplaced = 0, malformed = 0;
};

Anonymizer::Anonymizer(std::string_view key, const AnonymizeOptions& options) {
    if (key.size() < shortestKey)
        throw std::invalid_argument(concat("the key has ", key.size(), " bytes; expected at least ", shortestKey));
    state = std::make_unique<State>(key, options);
}
Anonymizer::Anonymizer(Anonymizer&&) noexcept = default;
Anonymizer& Anonymizer::operator=(Anonymizer&&) noexcept = default;
Anonymizer::~Anonymizer() = default;

void Anonymizer::begin() { state->parts.begin(); }

void Anonymizer::learnLabels(std::wstring_view text, std::optional<LineKind> kind) {
    if (state->parts.take(text, kind) != Shape::Columns) return;
    for (const LinePart& part : state->parts.parts())
        if (part.kind == LinePart::Label) state->labels.addAllOf(part.of(state->parts.padded()));
}

void Anonymizer::learnWords(std::wstring_view text, std::optional<LineKind> kind) {
    forEachIdentifying(state->parts, text, kind, [&](std::wstring_view replaced) {
        forEachWord(replaced, [&](std::size_t first, std::size_t size) {
            const std::wstring_view word = replaced.substr(first, size);
            if (state->labels.has(word)) state->shared.add(word);
        });
    });
}

void Anonymizer::replace(std::wstring_view text, std::optional<LineKind> kind, std::wstring& result) {
    result = text;
    const Shape shape = state->parts.take(text, kind);
    if (shape == Shape::Columns) return state->replaceColumns(result);
    if (shape == Shape::Key)
        if (auto made = anonymizedKeyLine(text, state->pseudonyms)) {
            result = std::move(*made);
            return;
        }
    ++state->malformed;
    if (shape == Shape::Key) return maskKeyLine(result);
    const wchar_t first = result.empty() ? L'\0' : result.front();
    mask(result);
    if (first >= L'0' && first <= L'9') result.front() = first;  // the letter of a record
}

void Anonymizer::State::replaceColumns(std::wstring& result) {
    const LinePart *latitude = nullptr, *longitude = nullptr;
    const auto columnsOf = [&](const LinePart& part) {  // of a trimmed line, less than the part
        const std::size_t first = std::min<std::size_t>(part.first, result.size());
        return std::span(result).subspan(first, std::min<std::size_t>(part.size, result.size() - first));
    };
    for (const LinePart& part : parts.parts()) {
        const std::span<wchar_t> columns = columnsOf(part);
        switch (part.kind) {
        case LinePart::Kept: break;
        case LinePart::Label:
            if (!shared.hasAnyOf(part.of(parts.padded()))) break;
            pseudonyms.replace(columns);
            ++labelsReplaced;
            break;
        case LinePart::Text: pseudonyms.replace(columns); break;
        case LinePart::RadioData: pseudonyms.replaceHexadecimal(columns); break;
        case LinePart::Masked: {
            std::wstring masked(columns.begin(), columns.end());
            mask(masked);
            std::ranges::copy(masked, columns.begin());
            break;
        }
        case LinePart::Date:
            if (options.shiftDates) moveDate(filled(columns), moves.days);
            break;
        case LinePart::Year:
            if (options.shiftDates) moveYear(filled(columns));
            break;
        case LinePart::Latitude: latitude = &part; break;
        case LinePart::Longitude: longitude = &part; break;
        case LinePart::Altitude: writeNumber(numberIn(part.of(parts.padded())) + moves.altitude, columns); break;
        }
    }
    if (!latitude && !longitude) return;
    const auto valueOf = [&](const LinePart* part) { return part ? numberIn(part->of(parts.padded())) : 0; };
    const Moves::Degrees from{valueOf(latitude), valueOf(longitude)}, to = moves.moved(from);
    if (to.latitude == from.latitude && to.longitude == from.longitude) return;
    if (latitude) writeNumber(to.latitude, columnsOf(*latitude));
    if (longitude) writeNumber(to.longitude, columnsOf(*longitude));
}

void Anonymizer::mask(std::wstring& text) {
    const std::wstring_view view = text;
    std::vector<char> signs;  // decided before any is changed, because neighbors count
    signs.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        const wchar_t c = text[at];
        const bool isDigit = c >= L'0' && c <= L'9', isSmall = c >= L'a' && c <= L'z';
        signs.push_back(isDigit ? '9' : alphabetOf(view, at).size == 0 ? '\0' : isSmall ? 'q' : 'Q');
    }
    for (std::size_t at = 0; at < text.size(); ++at)
        if (signs[at] != '\0') text[at] = static_cast<wchar_t>(signs[at]);
}

std::string Anonymizer::pseudonymOf(std::string_view utf8) const {
    std::wstring text = utf8::decode(utf8);
    state->pseudonyms.replace(text);
    return utf8::encode(text);
}

std::uint64_t Anonymizer::labelsReplaced() const { return state->labelsReplaced; }
std::uint64_t Anonymizer::malformedLines() const { return state->malformed; }

namespace {

// Returns the first word of the old text that is in its place in the new one and not only signs of masked texts; empty: there is
// none.
std::wstring_view wordLeft(std::wstring_view before, std::wstring_view after) {
    std::wstring_view left;
    forEachWord(before, [&](std::size_t first, std::size_t size) {
        const std::wstring_view word = before.substr(first, size);
        if (left.empty() && after.substr(first, size) == word && word.find_first_not_of(L"9QqXAa") != std::wstring_view::npos)
            left = word;
    });
    return left;
}

}  // namespace

struct AnonymizeProof::State {
    explicit State(const AnonymizeOptions& chosen) : options(chosen) {}

    bool fail(std::string reason) {
        if (failure.empty()) failure = std::move(reason);
        return false;
    }
    bool compareColumns(std::wstring_view before, std::wstring_view after);
    bool compareKeyLines(std::wstring_view before, std::wstring_view after);
    bool compareWords(std::wstring_view before, std::wstring_view after, std::size_t column);

    AnonymizeOptions options;
    LineParts old{}, made{};
    Words kept{};  // of the texts that were kept
    std::string failure{};
};

AnonymizeProof::AnonymizeProof(const AnonymizeOptions& options) : state(std::make_unique<State>(options)) {}
AnonymizeProof::AnonymizeProof(AnonymizeProof&&) noexcept = default;
AnonymizeProof& AnonymizeProof::operator=(AnonymizeProof&&) noexcept = default;
AnonymizeProof::~AnonymizeProof() = default;

void AnonymizeProof::begin() {
    state->old.begin();
    state->made.begin();
}

const std::string& AnonymizeProof::failure() const { return state->failure; }

bool AnonymizeProof::compare(std::wstring_view before, std::wstring_view after, std::optional<LineKind> kind) {
    switch (state->old.take(before, kind)) {
    case Shape::Columns: return state->compareColumns(before, after);
    case Shape::Key: return state->compareKeyLines(before, after);
    case Shape::Malformed: break;
    }
    if (before.size() != after.size()) return state->fail("the line has another length");
    return state->compareWords(before, after, 1);
}

bool AnonymizeProof::search(std::wstring_view before, std::optional<LineKind> kind) {
    bool isAbsent = true;
    forEachIdentifying(
        state->old, before, kind, [&](std::wstring_view text) { isAbsent = isAbsent && !state->kept.hasAnyOf(text); });
    return isAbsent || state->fail("a word that was replaced in this line is in a text that was kept");
}

bool AnonymizeProof::State::compareWords(std::wstring_view before, std::wstring_view after, std::size_t column) {
    const std::wstring_view left = wordLeft(before, after);
    if (left.empty()) return true;
    column += static_cast<std::size_t>(left.data() - before.data());
    return fail(
        concat("columns ", column, " to ", column + left.size() - 1, " still hold a text that should have been replaced"));
}

bool AnonymizeProof::State::compareColumns(std::wstring_view before, std::wstring_view after) {
    if (before.size() != after.size()) return fail("the line has another length");
    std::vector<bool> mayDiffer(before.size());
    for (const LinePart& part : old.parts()) {
        const bool isMoved = part.kind == LinePart::Latitude || part.kind == LinePart::Longitude ||
                             part.kind == LinePart::Altitude ||
                             (options.shiftDates && (part.kind == LinePart::Date || part.kind == LinePart::Year));
        if (part.isReplaced() || isMoved || part.kind == LinePart::Label)
            for (std::size_t at = part.first; at < std::min<std::size_t>(std::size_t{part.first} + part.size, before.size());
                 ++at)
                mayDiffer[at] = true;
        const std::size_t first = std::min<std::size_t>(part.first, before.size());
        if (part.isReplaced() && !compareWords(before.substr(first, part.size), after.substr(first, part.size), first + 1))
            return false;
        if (part.kind == LinePart::Label) kept.addAllOf(after.substr(first, part.size));
    }
    for (std::size_t at = 0; at < before.size(); ++at)
        if (!mayDiffer[at] && before[at] != after[at]) return fail(concat("column ", at + 1, " has changed, though it is kept"));
    return true;
}

// The length of a key line may change: its texts are compared one by one.
bool AnonymizeProof::State::compareKeyLines(std::wstring_view before, std::wstring_view after) {
    static const Pseudonyms none({}, {});
    std::vector<SecretText> from, to;
    if (!anonymizedKeyLine(before, none, &from)) {
        SecretText others(before);
        const std::vector<bool> isName = namesIn(before);
        for (std::size_t at = 0; at < others.size(); ++at)
            if (isName[at]) others[at] = L' ';
        return before.size() == after.size() ? compareWords(others, after, 1) : fail("the line has another length");
    }
    if (!anonymizedKeyLine(after, none, &to) || from.size() != to.size()) return fail("the key line has other members");
    for (std::size_t i = 0; i < from.size(); ++i)
        if (from[i].size() != to[i].size() || !wordLeft(from[i], to[i]).empty())
            return fail("the key line still holds a text that should have been replaced");
    return true;
}

}  // namespace tramo
