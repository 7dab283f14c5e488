#include "tramostream/filecheck.h"
#include "round/checkedlines.h"
#include <optional>
#include <stdexcept>
#include <utility>

namespace tramo {

struct FileChecker::State {
    // A finding, and the rules about files that explain it: those if its line is not the last one, and if it is.
    struct Found {
        Finding finding;
        std::uint32_t explanations, explanationsAtEnd;
    };

    Reader* reader;
    FileCheckOptions options;
    std::shared_ptr<const FileHead> head;
    Checker checker;
    Diagnosis diagnosis;
    CheckedLines lines{};
    std::vector<Found> found{};
    std::size_t firstOfLastLine = 0;  // in `found`
    std::vector<Finding> findings{};

    State(Reader& of, const FileCheckOptions& chosen)
        : reader(&of), options(chosen), head(headOf(of)), checker(with(chosen.lines, of.prevailing())), diagnosis(head) {}

    static std::shared_ptr<const FileHead> headOf(const Reader& reader) {
        if (auto head = reader.head()) return head;
        throw std::invalid_argument("tramo: a FileChecker needs a reader with ReadOptions::diagnose");
    }
    static CheckOptions with(CheckOptions options, std::optional<LineKind> prevailing) {
        options.prevailing = prevailing;
        return options;
    }

    bool isClean(const LineView& line) {
        return line.encoding() == Encoding::Ansi && line.ending() == LineEnding::CrLf && line.kind() &&
               line.lineKind() == LineKind::Record && line.size() == static_cast<std::size_t>(line.kind()->length) &&
               checker.countIfClean(*line.kind(), line.bytes());
    }

    void check(const LineView& line) {
        if (isClean(line)) {
            lines.countClean();
            diagnosis.clean(line.bytes(), line.number());
            firstOfLastLine = found.size();
            return;
        }
        SourceLine source;
        if (!lines.take(line, source)) return;
        firstOfLastLine = found.size();
        diagnosis.line(source);
        checker.line(source, findings);
        keepFindings();
    }

    void keepFindings() {
        for (Finding& finding : findings) {
            const std::uint32_t usual = diagnosis.explanations(finding, false), atEnd = diagnosis.explanations(finding, true);
            found.push_back({std::move(finding), usual, atEnd});
        }
        findings.clear();
    }

    CheckedFile result() {
        CheckedFile file;
        if (!head->hasLines()) {
            file.diagnosis.assign(head->findings().begin(), head->findings().end());
        } else {
            const std::size_t firstOfEnd = found.size();
            checker.end(lines.end(), findings);
            keepFindings();
            file.diagnosis = diagnosis.findings();
            file.summary = checker.summary();
            const std::uint32_t rules = options.each || options.lines.all ? 0 : Diagnosis::bitsOf(file.diagnosis);
            for (std::size_t i = 0; i < found.size(); ++i) {
                auto& [finding, usual, atEnd] = found[i];
                const bool isOfLastLine = i >= firstOfLastLine && i < firstOfEnd;
                if (((isOfLastLine ? atEnd : usual) & rules) == 0) {
                    file.findings.push_back(std::move(finding));
                } else {
                    FindingsOfField hidden{finding.kind, finding.field, finding.field.empty() ? finding.rule : nullptr, {}};
                    hidden.count += finding.severity;
                    file.summary.remove(hidden);
                }
            }
        }
        for (const Finding& finding : file.diagnosis) file.summary.add(finding);
        return file;
    }
};

FileChecker::FileChecker(Reader& reader, const FileCheckOptions& options) : state(std::make_unique<State>(reader, options)) {}
FileChecker::FileChecker(FileChecker&&) noexcept = default;
FileChecker& FileChecker::operator=(FileChecker&&) noexcept = default;
FileChecker::~FileChecker() = default;

bool FileChecker::check(std::size_t count) {
    if (!state->head->hasLines()) return false;
    while (count-- > 0) {
        const LineView* const line = state->reader->next();
        if (!line) return false;
        state->check(*line);
    }
    return true;
}

CheckedFile FileChecker::result() { return state->result(); }

CheckedFile checkFile(const std::filesystem::path& path, const FileCheckOptions& options) {
    Reader reader(path, {.diagnose = true});
    FileChecker checker(reader, options);
    while (checker.check(SIZE_MAX)) {}
    return checker.result();
}

}  // namespace tramo
