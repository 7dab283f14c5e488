// Reads a file and writes it again, with the library only: rewritten FROM ansi|utf16le TO. Copies lines whose length or letter
// is unknown.
#include <algorithm>
#include <cstdio>
#include <iostream>
#include <string>
#include <string_view>
#include <tramostream/tramostream.h>

namespace {

template <class Model, class Line> Model modelOf(const std::wstring& text) {
    Line line{};
    std::ranges::copy(text, line.begin());
    return Model(line);
}

template <class Line> std::wstring textOf(const Line& line) { return {line.begin(), line.end() - 2}; }

std::wstring rewritten(const std::wstring& text) {
    if (text.size() == 512)
        if (auto record = modelOf<tramo::AnyRecord, TramoLine::tramoLine_t>(text); record.kind())
            return textOf(record.toTramoLine());
    if (text.size() == 40) return textOf(modelOf<ParameterTramoModel, ParameterLine::parameterLine_t>(text).toParameterLine());
    if (text.size() == 23) return textOf(modelOf<TagTramoModel, TagLine::tagLine_t>(text).toTagLine());
    return text;
}

}  // namespace

int main(int count, char* arguments[]) {
    if (count != 4) return 2;
    const bool toUtf16 = std::string_view(arguments[2]) == "utf16le";
    std::string mark(2, '\0');
    if (std::FILE* file = std::fopen(arguments[1], "rb")) {
        if (std::fread(mark.data(), 1, 2, file) < 2) mark.clear();
        std::fclose(file);
    }
    std::wcout.setstate(std::ios_base::failbit);  // the library's messages
    iFileStream in;
    in.open(arguments[1], mark == "\xFF\xFE" ? StrConv::ENCODING_UTF16LE : StrConv::ENCODING_ANSI);
    oFileStream out(arguments[3], toUtf16 ? StrConv::ENCODING_UTF16LE : StrConv::ENCODING_ANSI);
    AMRKeyLine buffer;
    while (!in.eof()) {
        in.getline(buffer);
        std::wstring text = buffer.line;
        const bool inPlaceOfCr = text.size() == 513;
        if (text.ends_with(L'\r') || inPlaceOfCr) text.pop_back();
        out.putLine(rewritten(text), true);
    }
    out.close();
    return out.rdstate() == 0 ? 0 : 3;
}
