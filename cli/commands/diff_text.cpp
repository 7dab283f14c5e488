// The differences of two files for people.
#include "cli/commands/diff_report.h"
#include "cli/io/colours.h"
#include "cli/io/text.h"
#include <algorithm>
#include <fmt/format.h>

namespace tramo::cli {

namespace {

// JSON keeps these two names for the programs that read them.
std::string_view inWords(std::string_view name) {
    if (name == "damaged line") return "malformed line";
    return name == "line end" ? "line ending" : name;
}

class TextDiff : public DiffReport {
public:
    TextDiff(Output& to, const DiffChoice& chosenOptions) : out(to), options(chosenOptions), colours(coloursIf(options.colour)) {}

    void begin(bool areDifferentRounds) override {
        if (!areDifferentRounds) return;
        printFiles();
        out.print("different rounds, no common meter\n{}", options.summary ? "" : "\n");
    }

    void change(const DiffGroup& group, bool isFirst, const LineChange& change) override {
        if (options.summary) return;
        if (isFirst) {
            const std::string title = group.meter.empty() ? std::string(inWords(group.kind)) : "meter " + printable(group.meter);
            out.print("{}{}{}\n", colours.heading, title, colours.off);
        }
        out.print("  {}{:<7}{}  {}, {}\n", colourOf(change.what), whatNames[change.what], colours.off,
            inWords(kindName(change.line())), place(change));
        if (!change.line().sound) damaged(change.line());
        else if (change.what == Changed || options.full || options.diff.onlyReadings) fields(change);
    }

    void end(const Totals& totals) override {
        if (!options.summary && totals.all.all()) out.print("\n");
        printFiles();
        if (totals.all.all() == 0) {
            out.print("no differences{}\n", options.diff.onlyReadings ? " in readings" : "");
            return;
        }
        out.print("{}, {} added, {} removed; {}\n", counted(totals.all.lines[Changed], "line") + " changed",
            totals.all.lines[Added], totals.all.lines[Removed],
            counted(totals.meters, "meter") + (totals.meters == 1 ? " differs" : " differ"));
        out.print("   changed     added   removed\n");
        for (const auto& [kind, counts] : totals.kinds)
            out.print(
                "  {:>8}  {:>8}  {:>8}  {}\n", counts.lines[Changed], counts.lines[Added], counts.lines[Removed], inWords(kind));
        if (!totals.fields.empty()) out.print("  fields of changed lines:\n");
        for (const auto& [field, lines] : totals.fields)
            out.print("  {:>8}  {} ({})\n", lines, inWords(field.second), inWords(field.first));
    }

private:
    void printFiles() {
        out.print("{}{} -> {}:{} ", colours.heading, printable(nameOf(options.oldFile)), printable(nameOf(options.newFile)),
            colours.off);
    }

    const char* colourOf(LineChangeKind what) const {
        switch (what) {
        case Changed: return colours.changed;
        case Added: return colours.added;
        case Removed: break;
        }
        return colours.removed;
    }

    static std::string place(const LineChange& change) {
        if (change.what == Changed) return fmt::format("line {} -> {}", change.before->number, change.after->number);
        return fmt::format("line {}", change.line().number);
    }

    void damaged(const KeptLine& line) {
        constexpr std::size_t most = 60;
        if (line.kind == LineKind::Key) return;
        const SecretText text = line.text();
        out.print("      {}{}\n", quoted(std::wstring_view(text).substr(0, most)), line.whole || text.size() > most ? "..." : "");
    }

    void fields(const LineChange& change) {
        std::size_t width = 0;
        for (const FieldChange& field : change.fields) width = std::max(width, inWords(field.name).size());
        for (const FieldChange& field : change.fields) {
            out.print("      {:<{}}  ", fmt::format("{}:", inWords(field.name)), width + 1);
            if (change.what != Changed) out.print("{}\n", words(field, change.what == Added ? field.after : field.before));
            else if (field.secret && field.before == field.after) out.print("differs\n");
            else transition(words(field, field.before), words(field, field.after), width + 9);
        }
    }

    // Long texts are easier to compare one below the other.
    void transition(const std::string& before, const std::string& after, std::size_t indent) {
        constexpr std::size_t mostOfRow = 70;
        if (before.size() + after.size() <= mostOfRow) out.print("{} -> {}\n", before, after);
        else out.print("{}\n{:>{}}{}\n", before, "-> ", indent, after);
    }

    static std::string words(const FieldChange& field, const ShownValue& value) {
        switch (value.what) {
        case ShownValue::Absent: return "absent";
        case ShownValue::Plain: return field.secret ? "present" : printable(value.text);
        case ShownValue::Quoted: return quoted(std::wstring_view(value.text));
        case ShownValue::Unreadable: return "unreadable " + quoted(std::wstring_view(value.text));
        }
        return {};
    }

    Output& out;
    const DiffChoice& options;
    const Colours colours;
};

}  // namespace

std::unique_ptr<DiffReport> makeTextDiff(Output& output, const DiffChoice& options) {
    return std::make_unique<TextDiff>(output, options);
}

}  // namespace tramo::cli
