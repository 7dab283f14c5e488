#include "page/withoutpersonal.h"
#include "common/concat.h"
#include "common/encoding.h"
#include <tramostream/anonymize.h>

namespace tramo::page {

namespace {

// The kind by which a line is anonymized; a malformed line may have none.
template <class Use> void forEachLine(std::string_view bytes, std::optional<Encoding> encoding, Use use) {
    Reader reader = Reader::ofBytes(bytes, {.encoding = encoding});
    for (const LineView& line : reader) {
        std::wstring text = line.wide();
        use(line, text);
        wipe(text);
    }
}

std::string_view endingOf(const LineView& line) {
    const bool isUtf16 = line.encoding() == Encoding::Utf16;
    switch (line.ending()) {
    case LineEnding::CrLf: return isUtf16 ? encoding::utf16LineEnd : "\r\n";
    case LineEnding::Lf: return isUtf16 ? encoding::utf16LineEnd.substr(2) : "\n";
    case LineEnding::Cr: return isUtf16 ? encoding::utf16LineEnd.substr(0, 2) : "\r";
    case LineEnding::None: break;
    }
    return {};
}

}  // namespace

WithoutPersonal withoutPersonal(std::span<const std::string_view> files, std::optional<Encoding> encoding, std::string_view key) {
    Anonymizer anonymizer(key);
    AnonymizeProof proof;
    const auto pass = [&](auto use) {
        for (std::size_t file = 0; file < files.size(); ++file) {
            anonymizer.begin();
            proof.begin();
            forEachLine(files[file], encoding,
                [&](const LineView& line, const std::wstring& text) { use(file, line, text, line.lineKind()); });
        }
    };
    using Text = const std::wstring&;
    using Kind = std::optional<LineKind>;
    pass([&](std::size_t, const LineView&, Text text, Kind kind) { anonymizer.learnLabels(text, kind); });
    pass([&](std::size_t, const LineView&, Text text, Kind kind) { anonymizer.learnWords(text, kind); });

    WithoutPersonal made;
    made.files.resize(files.size());
    const auto note = [&](std::size_t file, const LineView& line, bool isProven) {
        if (!isProven && made.failure.empty())
            made.failure = concat(files.size() > 1 ? concat("file ", file + 1, ", ") : std::string(), "line ", line.number(),
                ": ", proof.failure());
    };
    std::wstring replaced;
    pass([&](std::size_t file, const LineView& line, Text text, Kind kind) {
        SecretBytes& to = made.files[file];
        const bool isUtf16 = line.encoding() == Encoding::Utf16;
        if (isUtf16 && to.empty()) to += encoding::utf16Mark;
        anonymizer.replace(text, kind, replaced);
        note(file, line, proof.compare(text, replaced, kind));
        encoding::append(to, std::wstring_view(replaced), isUtf16);
        to += endingOf(line);
    });
    pass([&](std::size_t file, const LineView& line, Text text, Kind kind) { note(file, line, proof.search(text, kind)); });
    return made;
}

}  // namespace tramo::page
