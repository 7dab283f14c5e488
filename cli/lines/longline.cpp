#include "cli/lines/longline.h"
#include "cli/io/text.h"
#include "common/encoding.h"
#include "common/utf16.h"
#include <algorithm>
#include <tramostream/check.h>

namespace tramo::cli {

namespace {

constexpr std::size_t tailSize = 4096;
constexpr std::size_t mostOfPiece = 1 << 16;

std::string_view bytesOf(std::wstring_view text) {
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t)};
}

}  // namespace

bool decode(std::string_view bytes, std::size_t width, SecretText& text) {
    const auto* from = reinterpret_cast<const unsigned char*>(bytes.data());
    text.resize(bytes.size() / width);
    wchar_t* to = text.data();
    if (width == 1) {
        encoding::read(from, text.size(), false, to);
        return bytes.find('\0') == std::string_view::npos;
    }
    unsigned suspects = 0;  // without early exit and short circuit, so that the compiler vectorizes the loop
    for (std::size_t i = 0; i < text.size(); ++i) {
        const unsigned c = encoding::unitAt(from, i);
        suspects |= static_cast<unsigned>(c == 0) | static_cast<unsigned>(utf16::isSurrogate(c));
        to[i] = static_cast<wchar_t>(c);
    }
    return suspects == 0;
}

void LongLine::add(std::string_view bytes) {
    byteCount += bytes.size();
    for (; !bytes.empty(); bytes.remove_prefix(std::min(mostOfPiece * charWidth, bytes.size()))) {
        decode(bytes.substr(0, mostOfPiece * charWidth), charWidth, added);
        sum.add(bytesOf(added));
        find(added);
    }
}

// `tail` holds the characters before the piece.
void LongLine::find(std::wstring_view piece) {
    if (head.empty()) head.reserve(longestHeld);
    if (head.size() < longestHeld) head += piece.substr(0, longestHeld - head.size());
    if (const std::size_t filled = piece.find_last_not_of(L' '); filled != std::wstring_view::npos) {
        const std::size_t before = filled > 0 ? piece.find_last_not_of(L' ', filled - 1) : std::wstring_view::npos;
        filledBefore = before == std::wstring_view::npos ? lastFilled : count + before + 1;
        lastFilled = count + filled + 1;
    }
    if (const std::size_t other = piece.find_last_not_of(L'\r'); other != std::wstring_view::npos) lastOther = count + other + 1;
    // The text by which keys are recognized may begin in one piece and end in the next.
    tail.reserve(tailSize + mostOfPiece);
    tail += piece;
    looksLikeKeys = looksLikeKeys || (count == 0 ? tramo::mayHoldKeys(piece) : holdsKeyMarks(tail));
    if (tail.size() > tailSize) tail.erase(0, tail.size() - tailSize);
    count += piece.size();
}

void LongLine::end(bool hasLineFeed) {
    hasFeed = hasLineFeed;
    hasReturn = tail.ends_with(L'\r');
    wipe(added);
    if (hasReturn) {
        --count;
        if (head.size() > count) head.pop_back();
        tail.pop_back();
        lastFilled = filledBefore;
    }
    known = {count, lastFilled, lastOther, tail, looksLikeKeys};
}

void LongLine::load(std::uint64_t place, Block& block) const {
    const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(block.bytes.size(), byteCount - place));
    if (file->read(from + place, block.bytes.data(), size) < size) file->hasChanged();
    decode({block.bytes.data(), size}, charWidth, block.text);
}

void LongLine::forEachPiece(const std::function<void(std::wstring_view)>& use) const {
    Block block(mostOfPiece * charWidth);
    Checksum again;
    for (std::uint64_t done = 0; done < byteCount;) {
        load(done, block);
        std::wstring_view text = block.text;
        const bool isLast = done + text.size() * charWidth == byteCount;
        if (!isLast && utf16::isHighSurrogate(static_cast<char32_t>(text.back())) && text.size() > 1) text.remove_suffix(1);
        again.add(bytesOf(text));
        done += text.size() * charWidth;
        if (isLast && hasReturn) text.remove_suffix(1);
        if (!text.empty()) use(text);
    }
    if (again.value() != sum.value()) file->hasChanged();
}

bool LongLine::operator==(const LongLine& other) const {
    if (count != other.count || head != other.head) return false;
    Block a(mostOfPiece * charWidth), b(mostOfPiece * other.charWidth);
    for (std::size_t done = 0; done < count; done += a.text.size()) {
        load(std::uint64_t{done} * charWidth, a);
        other.load(std::uint64_t{done} * other.charWidth, b);
        const std::size_t size = std::min(a.text.size(), count - done);
        if (std::wstring_view(a.text).substr(0, size) != std::wstring_view(b.text).substr(0, size)) return false;
    }
    return true;
}

}  // namespace tramo::cli
