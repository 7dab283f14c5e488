#include "cli/commands/report_page.h"
#include "cli/io/inorder.h"
#include "cli/io/text.h"
#include <fmt/format.h>
#include <limits>
#include <new>
#define ZLIB_CONST
#include <zlib.h>

namespace tramo::cli {

namespace {

// A fourth of the time of the usual level, for 7 % more bytes.
constexpr int level = 4;

std::string gzipped(const std::string& text) {
    constexpr int gzip = 15 + 16, memoryLevel = 8;
    z_stream stream{};
    if (deflateInit2(&stream, level, Z_DEFLATED, gzip, memoryLevel, Z_DEFAULT_STRATEGY) != Z_OK) throw std::bad_alloc();
    const struct End {
        z_stream& of;
        ~End() { deflateEnd(&of); }
    } end{stream};
    std::string made;
    constexpr std::size_t most = std::numeric_limits<uInt>::max() / 2;
    for (std::size_t at = 0, more = 1; more != 0;) {
        const std::size_t size = std::min(text.size() - at, most);
        stream.next_in = reinterpret_cast<const Bytef*>(text.data() + at);
        stream.avail_in = static_cast<uInt>(size);
        at += size;
        more = text.size() - at;
        do {
            const std::size_t before = made.size(), room = std::max<std::size_t>(text.size() / 8, 1 << 14);
            made.resize(before + room);
            stream.next_out = reinterpret_cast<Bytef*>(made.data() + before);
            stream.avail_out = static_cast<uInt>(room);
            deflate(&stream, more ? Z_NO_FLUSH : Z_FINISH);
            made.resize(made.size() - stream.avail_out);
        } while (stream.avail_out == 0);
    }
    return made;
}

std::string base64(std::string_view bytes) {
    static constexpr char signs[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text((bytes.size() + 2) / 3 * 4, '=');
    std::size_t to = 0;
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        const std::size_t count = std::min<std::size_t>(bytes.size() - at, 3);
        std::uint32_t bits = 0;
        for (std::size_t i = 0; i < 3; ++i) bits = bits << 8 | (i < count ? static_cast<unsigned char>(bytes[at + i]) : 0U);
        for (std::size_t i = 0; i <= count; ++i) text[to + i] = signs[bits >> (18 - 6 * i) & 63];
        to += 4;
    }
    return text;
}

// As text of an element, and without characters that cannot be seen.
std::string escaped(std::string_view title) {
    std::string text;
    for (const char c : printable(title)) {
        if (c == '&') text += "&amp;";
        else if (c == '<') text += "&lt;";
        else if (c == '>') text += "&gt;";
        else text += c;
    }
    return text;
}

void write(OutFile& out, std::span<const std::string_view> pieces) {
    for (const std::string_view piece : pieces) out.write(piece);
}

}  // namespace

page::PageSink PageElements::sink() {
    return {[this](std::string_view name, std::string json) {
                names.emplace_back(name);
                parts.push_back(std::move(json));
            },
        [this](std::string lines) { blocks.push_back(std::move(lines)); }};
}

void PageElements::compress(unsigned threads) {
    struct Task {
        std::string* text = nullptr;
        std::string compressed;
    };
    std::size_t taken = 0;
    inOrder<Task>(
        threads,
        [&](Task& task) {
            if (taken == parts.size() + blocks.size()) return false;
            task.text = taken < parts.size() ? &parts[taken] : &blocks[taken - parts.size()];
            ++taken;
            return true;
        },
        [](Task& task) { task.compressed = base64(gzipped(*task.text)); },
        [](Task& task) { *task.text = std::move(task.compressed); });
}

void PageElements::write(OutFile& out) const {
    const auto begin = [&](std::string_view name) {
        out.write(fmt::format("<script type=\"text/plain\" id=\"tramo-{}\">", name));
    };
    constexpr std::string_view end = "</script>\n";
    for (std::size_t i = 0; i < parts.size(); ++i) {
        begin(names[i]);
        out.write(parts[i]);
        out.write(end);
    }
    if (blocks.empty()) return;
    begin("raw");
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        if (i > 0) out.write("\n");
        out.write(blocks[i]);
    }
    out.write(end);
}

void writePage(OutFile& out, std::string_view title, const PageElements& elements) {
    write(out, pageFrame.beforeTitle);
    out.write(escaped(title));
    write(out, pageFrame.beforeData);
    elements.write(out);
    write(out, pageFrame.afterData);
}

}  // namespace tramo::cli
