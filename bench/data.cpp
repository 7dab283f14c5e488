#include "bench/data.h"
#include "bench/process.h"
#include "common/encoding.h"
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string_view>
#include <tramostream/fields.h>

namespace bench {

namespace {

namespace fs = std::filesystem;

std::string contents(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(in), {}};
    if (!in || text.empty()) throw std::runtime_error("cannot read " + path);
    return text;
}

// Written under another name first, so that an existing file is complete.
template <class Write> void makeFile(const std::string& path, Write write) {
    const std::string part = path + ".part";
    std::ofstream out(part, std::ios::binary);
    write(out);
    out.close();
    if (!out) throw std::runtime_error("cannot write " + part);
    fs::rename(part, path);
}

constexpr std::size_t recordSize = 514;

// One line of each record kind in which every field that can be invalid is.
std::string badLines() {
    std::string text;
    for (const tramo::RecordKind* kind : tramo::recordKinds())
        text += static_cast<char>(kind->letter) + std::string(recordSize - 3, '?') + "\r\n";
    return text;
}

// Replaces every date and time of record lines by a random one, so that no cache of days helps.
std::string withRandomDates(std::string text) {
    std::mt19937 random(1);
    const auto two = [&](unsigned first, unsigned count) { return std::to_string(100 + first + random() % count).substr(1); };
    for (std::size_t line = 0; line + recordSize <= text.size(); line += recordSize)
        for (const tramo::Field& field : tramo::recordKind(static_cast<wchar_t>(text[line]))->fields) {
            const bool hasTime = field.kind == tramo::FieldKind::DateTime;
            const std::size_t first = line + static_cast<std::size_t>(field.column) - 1;
            if ((!hasTime && field.kind != tramo::FieldKind::Date) || text[first] == ' ') continue;
            const std::string date = "20" + two(0, 38) + two(1, 12) + two(1, 28) + (hasTime ? two(5, 19) + two(0, 60) : "");
            text.replace(first, date.size(), date);
        }
    return text;
}

// Whole rounds, in which the rules about rounds find nothing.
bool hasRounds(const std::string& kind) { return kind == "mixed" || kind == "random dates"; }

std::string seed(const Options& options, const std::string& kind) {
    if (kind == "every field bad") return badLines();
    if (kind == "random dates") return withRandomDates(seed(options, "mixed"));
    if (kind == "parameter") return contents(SAMPLES "/parameters.txt");
    if (kind == "tag") return contents(SAMPLES "/tags.txt");
    if (kind == "key") return contents(SAMPLES "/amr-keys.txt");
    const std::string path = options.folder + "/seed.txt";
    const std::size_t linesOfAMeter = hasRounds(kind) ? 3 : 1;  // about as many
    const std::size_t meters = (kind == "meter subscriber" ? options.subscribers() : options.others()) / linesOfAMeter;
    std::vector<std::string> command{options.tramo, "sample", "--returned", "--meters", std::to_string(meters), "-o", path};
    if (kind != "mixed") command.insert(command.end(), {"--kinds", kind});
    if (runProgram(command).status != 0) throw std::runtime_error("tramo sample failed");
    std::string text = contents(path);
    fs::remove(path);
    return text;
}

// Repeats the text until it has the given number of lines.
std::string repeated(const std::string& text, std::size_t lines) {
    std::string result;
    while (lines > 0) {
        for (std::size_t at = 0; at < text.size() && lines > 0; --lines) {
            const std::size_t end = text.find('\n', at) + 1;
            if (end == 0) throw std::runtime_error("a line without line end");
            result.append(text, at, end - at);
            at = end;
        }
    }
    return result;
}

std::string widened(const std::string& text) {
    std::string result(tramo::encoding::utf16Mark);
    tramo::encoding::append(result, std::string_view(text), true);
    return result;
}

bool isFresh(const std::string& path, const Options& options) {
    return fs::exists(path) && fs::last_write_time(path) > fs::last_write_time(options.tramo);
}

}  // namespace

DataFile dataFile(const Options& options, const std::string& kind, int encoding) {
    const bool isAnsi = encoding == StrConv::ENCODING_ANSI;
    const std::size_t lines = kind == "meter subscriber" ? options.subscribers() : options.others();
    const std::string path = options.folder + "/" + kind + "-" + std::to_string(lines) + (isAnsi ? ".txt" : "-utf16.txt");
    if (!isFresh(path, options)) {
        const std::string text = hasRounds(kind) ? seed(options, kind) : repeated(seed(options, kind), lines);
        makeFile(path, [&](std::ostream& out) { out << (isAnsi ? text : widened(text)); });
    }
    const std::size_t bytes = fs::file_size(path);
    const std::size_t characters = isAnsi ? bytes : bytes / 2 - 1;
    return {path, encoding, hasRounds(kind) ? characters / recordSize : lines, bytes, characters};
}

ShapedFile::ShapedFile(const Options& options, Shape shape, std::size_t bytes)
    : path(options.folder + "/shaped-" + std::to_string(bytes) + (shape == Shape::Utf16 ? "-utf16.txt" : ".txt")) {
    std::string text;
    switch (shape) {
    case Shape::Normal: text = contents(dataFile(options, "meter subscriber", StrConv::ENCODING_ANSI).path); break;
    case Shape::Utf16: text = contents(dataFile(options, "meter subscriber", StrConv::ENCODING_UTF16LE).path); break;
    case Shape::OneLine: text.assign(1 << 20, 'x'); break;
    case Shape::LineFeeds: text.assign(1 << 20, '\n'); break;
    case Shape::AllBad: text = badLines(); break;
    }
    makeFile(path, [&](std::ostream& out) {
        if (shape == Shape::OneLine) out << "9\r\n";  // the tool does not recognize a file without any line ending
        for (std::size_t left = bytes; left > 0;) {
            const std::size_t piece = std::min(left, text.size());
            out.write(text.data(), static_cast<std::streamsize>(piece));
            left -= piece;
            if (shape == Shape::Utf16) text.erase(0, 2);  // only one byte order mark
        }
        if (shape == Shape::OneLine) out << "\r\n";
    });
}

ShapedFile::~ShapedFile() { std::remove(path.c_str()); }

}  // namespace bench
