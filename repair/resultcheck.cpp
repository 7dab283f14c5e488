#include "repair/resultcheck.h"
#include "common/encoding.h"
#include <algorithm>

namespace tramo {

SecretBytes encoded(std::wstring_view text, bool isUtf16) {
    SecretBytes bytes;
    encoding::append(bytes, text, isUtf16);
    return bytes;
}

void ResultCheck::line(std::wstring_view text, std::wstring_view ending) {
    Waiting next{SecretText(text), ending};
    if (!head) {
        held += (text.size() + ending.size()) * (utf16 ? 2 : 1);
        first.push_back(std::move(next));
        if (held >= FileHead::size) begin(false);
        return;
    }
    if (last) take(*last, false);
    last = std::move(next);
}

bool ResultCheck::clean(const RecordKind& kind, std::string_view record) {
    if (!head || !lines || !checker->countIfClean(kind, record)) return false;
    if (last) take(*last, false);
    last.reset();
    lines->clean(record, ++number);
    return true;
}

void ResultCheck::begin(bool isWhole) {
    SecretText text;
    for (const Waiting& line : first) {
        text += line.text;
        text += line.ending;
    }
    SecretBytes bytes;
    if (utf16) bytes = encoding::utf16Mark;
    bytes += encoded(text, utf16);
    bytes.resize(std::min(bytes.size(), FileHead::size));
    head = std::make_shared<const FileHead>(bytes, isWhole, utf16);
    if (head->hasLines()) {
        lines.emplace(head);
        checker.emplace(CheckOptions{.prevailing = head->kind()});
    }
    std::vector<Waiting> waiting = std::move(first);
    for (Waiting& line : waiting) {
        if (last) take(*last, false);
        last = std::move(line);
    }
}

void ResultCheck::take(const Waiting& waiting, bool isLast) {
    if (!lines) return;
    SourceLine line{.text = waiting.text, .number = ++number};
    line.carriageReturn = waiting.ending.starts_with(L'\r') || line.text.ends_with(L'\r');
    line.lineFeed = waiting.ending.ends_with(L'\n');
    if (!waiting.ending.starts_with(L'\r') && line.carriageReturn) line.text.remove_suffix(1);
    lines->line(line);
    checker->line(line, findingsOfLine);
    for (const Finding& finding : findingsOfLine) counts[lines->explanations(finding, isLast)] += finding.severity;
    findingsOfLine.clear();
}

void ResultCheck::end() {
    if (!head) begin(true);
    if (last) take(*last, true);
    last.reset();
    if (!lines) {
        diagnosis.assign(head->findings().begin(), head->findings().end());
        return;
    }
    diagnosis = lines->findings();
    const std::uint32_t bits = Diagnosis::bitsOf(diagnosis);
    for (const auto& [explanations, count] : counts)
        if ((explanations & bits) == 0) found += count;
}

}  // namespace tramo
