#include "check/signatures.h"
#include "common/encoding.h"
#include "tramostream/keyline.h"
#include <algorithm>
#include <cstddef>

namespace tramo {

namespace {

using namespace std::string_view_literals;

struct Signature {
    std::size_t at;
    std::string_view bytes, name;
    std::string_view also = {};  // anywhere in the first bytes
};

constexpr Signature signatures[] = {
    {0, "PK\3\4"sv, "an Excel workbook (xlsx)", "xl/"},
    {0, "PK\3\4"sv, "a Word document (docx)", "word/"},
    {0, "PK\3\4"sv, "an OpenDocument file", "mimetypeapplication/vnd.oasis"},
    {0, "PK\3\4"sv, "a ZIP archive"},
    {0, "PK\5\6"sv, "an empty ZIP archive"},
    {0, "\x1F\x8B\x08"sv, "a gzip archive"},
    {0, "BZh"sv, "a bzip2 archive", "1AY&SY"},
    {0,
        "\xFD"
        "7zXZ\0"sv,
        "an xz archive"},
    {0, "7z\xBC\xAF\x27\x1C"sv, "a 7z archive"},
    {0, "Rar!\x1A\x07"sv, "a RAR archive"},
    {0, "\x28\xB5\x2F\xFD"sv, "a Zstandard archive"},
    {257, "ustar"sv, "a tar archive"},
    {0, "%PDF-"sv, "a PDF document"},
    {0, "%!PS"sv, "a PostScript document"},
    {0, "{\\rtf"sv, "an RTF document"},
    {0, "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1"sv, "an old Microsoft Office document or message"},
    {0, "\x89PNG\r\n\x1A\n"sv, "a PNG image"},
    {0, "\x89PNG\n\x1A\n"sv, "a PNG image"},
    {0, "\xFF\xD8\xFF"sv, "a JPEG image"},
    {0, "GIF87a"sv, "a GIF image"},
    {0, "GIF89a"sv, "a GIF image"},
    {0, "II*\0"sv, "a TIFF image"},
    {0, "MM\0*"sv, "a TIFF image"},
    {0, "SQLite format 3\0"sv, "an SQLite database"},
    {0,
        "\x7F"
        "ELF"sv,
        "a program (ELF)"},
    {0, "MZ"sv, "a program for Windows", "This program "},
    {0, "-----BEGIN "sv, "a PEM or PGP file"},
};

constexpr std::string_view blanks = " \t\r\n";

char lowered(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool beginsWith(std::string_view text, std::string_view lowerCase) {
    return text.size() >= lowerCase.size() && std::ranges::equal(text.substr(0, lowerCase.size()), lowerCase, {}, lowered);
}

// Markup and data as text, after a byte order mark and white space.
std::string_view textFormatOf(std::string_view text) {
    if (text.starts_with(encoding::utf8Mark)) text.remove_prefix(encoding::utf8Mark.size());
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    if (beginsWith(text, "<!doctype html") || beginsWith(text, "<html")) return "an HTML page";
    if (beginsWith(text, "<?xml")) return text.find("<html") == std::string_view::npos ? "an XML document" : "an HTML page";
    if (beginsWith(text, "<svg")) return "an SVG image";
    if (text.empty() || (text.front() != '{' && text.front() != '[')) return {};
    // Key lines are JSON objects, too, one in each line.
    const auto isKeyLine = [&](const KeyValue& value) { return text.find(value.name) != std::string_view::npos; };
    if (text.front() == '{' && std::ranges::any_of(keyValues, isKeyLine)) return {};
    const std::string_view rest = text.substr(1, text.find('\n', 1) - 1);
    const bool isFlat = rest.find('}') != std::string_view::npos && rest.find_first_of("[{") == std::string_view::npos;
    if (text.front() == '{' && isFlat) return {};  // a key line without known members
    const std::size_t next = text.find_first_not_of(blanks, 1);
    if (next == std::string_view::npos) return {};
    const bool isObject = text.front() == '{' && (text[next] == '"' || text[next] == '}');
    const bool isArray = text.front() == '[' && (std::string_view("[]{\"-").find(text[next]) != std::string_view::npos ||
                                                    (text[next] >= '0' && text[next] <= '9'));
    return isObject || isArray ? "a JSON document" : "";
}

}  // namespace

std::string_view otherFormatOf(std::string_view bytes) {
    for (const Signature& signature : signatures) {
        if (bytes.size() < signature.at || !bytes.substr(signature.at).starts_with(signature.bytes)) continue;
        if (signature.also.empty() || bytes.find(signature.also) != std::string_view::npos) return signature.name;
    }
    return textFormatOf(bytes);
}

}  // namespace tramo
