#include "cli/lines/encodedtext.h"
#include "cli/io/console.h"
#include "cli/io/text.h"
#include "cli/lines/columns.h"
#include "common/encoding.h"
#include "common/utf16.h"
#include <algorithm>
#include <fmt/format.h>
#include <tramostream/check.h>
#include <tramostream/linemodel.h>

namespace tramo::cli {

namespace {

constexpr std::size_t mostMessages = 10;
constexpr std::size_t enough = 1 << 18;  // the number of bytes from which to write

// Returns " in meterReadingDate (meter subscriber)"; empty outside of fields.
std::string placeOf(const Line& line, std::optional<LineKind> kind, int column) {
    std::vector<Finding> damage;
    if (!checkShape(line, kind, damage)) return {};
    const std::optional<LineModel> model = LineModel::of(*kind, line.text);
    if (!model) return {};
    const std::vector<const Field*> fields = fieldsAt(model->kind(), column);
    return fields.empty() ? "" : fmt::format(" in {} ({})", fields.front()->name, model->kind().name);
}

}  // namespace

EncodedText::EncodedText(const std::string& path, bool utf16, std::string source, bool force)
    : isUtf16(utf16), name(std::move(source)) {
    if (!path.empty()) out.emplace(path, OutFile::Mode{.held = true, .force = force, .replacesInput = true});
    bytes.reserve(2 * enough);
    if (isUtf16) bytes.append(encoding::utf16Mark);
}

EncodedText::~EncodedText() {
    bytes.resize(bytes.capacity());
    for (volatile char& byte : bytes) byte = 0;
}

void EncodedText::expect(std::uint64_t characters) {
    if (out) out->expect(isUtf16 ? encoding::utf16Mark.size() + 2 * characters : characters);
}

void EncodedText::add(const Line& line, std::optional<LineKind> kind) {
    if (!line.whole) return add(line.text, lineEndOf(line), line, kind);
    std::size_t at = 0;
    line.whole->forEachPiece([&](std::wstring_view piece) {
        addPiece(piece, at, line, kind);
        at += piece.size();
    });
    addPiece(lineEndOf(line), at, line, kind);
}

void EncodedText::add(std::wstring_view text, std::wstring_view lineEnd, const Line& line, std::optional<LineKind> kind) {
    addPiece(text, 0, line, kind);
    addPiece(lineEnd, text.size(), line, kind);
}

// Each encoding holds its characters.
void EncodedText::add(const PlainRecord& record) {
    anything = true;
    if (!out || !fits()) return;
    for (const std::string_view text : {record.text, std::string_view("\r\n")}) encoding::append(bytes, text, isUtf16);
    if (bytes.size() >= enough) flush();
}

// Adds a piece of a line that begins at this offset.
void EncodedText::addPiece(std::wstring_view text, std::size_t at, const Line& line, std::optional<LineKind> kind) {
    if (!anything) looksLikeUtf16 = !isUtf16 && encoding::beginsWithMark(text, encoding::utf16Mark);
    anything = true;
    if (!isUtf16 && encoding::findAbove(encoding::mostOfAnsi, text) != std::wstring_view::npos) note(text, at, line, kind);
    if (!out || !fits()) return;
    if (kind == LineKind::Key) out->keepSecret();
    encoding::append(bytes, text, isUtf16);
    if (bytes.size() >= enough) flush();
}

void EncodedText::flush() {
    out->write({bytes.data(), bytes.size()});
    bytes.clear();
}

// Characters of key lines are never shown.
void EncodedText::note(std::wstring_view text, std::size_t begin, const Line& line, std::optional<LineKind> kind) {
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (encoding::valueOf(text[at]) <= encoding::mostOfAnsi) continue;
        const auto [code, length] = utf16::first(text.substr(at));
        const int column = static_cast<int>(begin + at + 1);
        if (++misfits <= mostMessages)
            messages.push_back(fmt::format("{}:{}:{}: {}{} cannot be written in ANSI", name, line.number, column,
                kind == LineKind::Key ? "a character"
                                      : fmt::format("U+{:04X} {}", static_cast<unsigned>(code), quoted(text.substr(at, length))),
                placeOf(line, kind, column)));
        at += length - 1;
    }
}

void EncodedText::complain() const {
    for (const std::string& message : messages) cli::complain(message);
    if (misfits > messages.size()) cli::complain(fmt::format("... and {} more", misfits - messages.size()));
    if (misfits == 0 && looksLikeUtf16)
        cli::complain(name + ": the text begins with the characters FF FE, which would make an ANSI file look like UTF-16");
}

void EncodedText::commit() {
    flush();
    out->commit();
}

std::wstring_view lineEndOf(const Line& line) {
    const std::wstring_view both = L"\r\n";
    return both.substr(line.carriageReturn ? 0 : 1, line.carriageReturn + line.lineFeed);
}

}  // namespace tramo::cli
