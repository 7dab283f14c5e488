// tramo keys: what key lines say about radio modules, the keys themselves masked.
#include "cli/io/platform.h"
#include "cli/lines/filewalk.h"
#include "cli/report/jsonwriter.h"
#include "cli/report/report.h"
#include "cli/report/summary.h"
#include "cli/shell/arguments.h"
#include "cli/shell/command.h"
#include "common/secretkeyline.h"
#include <algorithm>
#include <array>
#include <deque>
#include <fmt/ranges.h>
#include <map>
#include <memory>
#include <numeric>
#include <tramostream/check.h>

namespace tramo::cli {

namespace {

constexpr const char* help = R"(List radio modules and check their key lines.

Examples:
  tramo keys samples/amr-keys.txt                 a table, the keys masked
  tramo keys --format json samples/amr-keys.txt   the same for programs
  tramo keys --show-keys --format json keys.txt   with the keys in clear text

Usage: tramo keys [OPTION]... FILE...

Each row of the table (on a narrow terminal, each list) is one module: its line,
its serial number and versions, the parts of its wireless M-Bus address, and its
keys. The manufacturer's number is followed by the three letters that it packs,
if it does, and the device type by its usual name. A key is shown as
"******** 32 hex": its number of characters, and whether all are hexadecimal
digits.

The findings follow the modules: lines that cannot be read, missing values,
serial numbers and addresses that an earlier line of any file already has, and
keys that do not have 32 hexadecimal digits. No finding shows a key. Lines of
other kinds are counted on the standard error.

Options:
  --show-keys         shows the keys in clear text
  --encoding WHAT     auto (by the byte order mark), ansi, utf16le
  --format WHAT       text, json
  -h, --help          show this page

"-" is the standard input.

Exit codes:
  0  no errors or warnings
  1  errors or warnings were found
  2  the command line is invalid, or a file cannot be read to its end (the
     others are still listed)
  3  the output could not be written
)";

const Rule duplicateRule{"KeyLineDuplicate", 0, "Two key lines are about one module.", Severity::Warning};
const Rule keyFormRule{"KeyNotHexadecimal", 0, "A key is not 32 hexadecimal digits.", Severity::Warning};

// The letters that a manufacturer's number packs, five bits each from A = 1; empty when it packs none.
std::string lettersOf(std::int32_t number) {
    std::string letters;
    for (const int shift : {10, 5, 0}) {
        const int letter = number >> shift & 0x1F;
        if (letter < 1 || letter > 26) return {};
        letters += static_cast<char>('A' + letter - 1);
    }
    return number >> 15 == 0 ? letters : std::string();
}

std::string deviceName(std::int32_t type) {
    static const std::map<std::int32_t, const char*> names{
        {0x00, "other"},
        {0x01, "oil"},
        {0x02, "electricity"},
        {0x03, "gas"},
        {0x04, "heat"},
        {0x05, "steam"},
        {0x06, "warm water"},
        {0x07, "water"},
        {0x08, "heat cost allocator"},
        {0x09, "compressed air"},
        {0x0A, "cooling, outlet"},
        {0x0B, "cooling, inlet"},
        {0x0C, "heat, inlet"},
        {0x0D, "heat and cooling"},
        {0x0E, "bus component"},
        {0x0F, "unknown"},
        {0x15, "hot water"},
        {0x16, "cold water"},
        {0x17, "dual register water"},
        {0x18, "pressure"},
        {0x19, "A/D converter"},
        {0x1A, "smoke detector"},
        {0x20, "breaker"},
        {0x21, "valve"},
        {0x28, "waste water"},
        {0x29, "garbage"},
    };
    const auto found = names.find(type);
    return found == names.end() ? std::string() : found->second;
}

// What a part of the address means beyond its number.
struct Meaning {
    std::string_view part;  ///< its name
    const char* name;       ///< in JSON
    std::string (*of)(std::int32_t number);
};
constexpr Meaning meanings[] = {
    {"wmBusAddress_ManufacturerId", "manufacturerLetters", lettersOf},
    {"wmBusAddress_DeviceType", "deviceTypeName", deviceName},
};

const Meaning* meaningOf(const KeyValue& value) {
    const auto found = std::ranges::find(meanings, value.name, &Meaning::part);
    return found == std::end(meanings) ? nullptr : &*found;
}

struct KeyForm {
    std::size_t length = 0;
    bool hexadecimal = false;
    bool isUsual() const { return length == 32 && hexadecimal; }
    std::string words() const { return fmt::format("{} {}", length, hexadecimal ? "hex" : "not hex"); }
};

KeyForm formOf(std::wstring_view key) {
    return {key.size(), key.find_first_not_of(L"0123456789ABCDEFabcdef") == std::wstring_view::npos};
}

// One module. Its keys are kept only when they are to be shown.
class Module {
public:
    Module(SecretKeyLine&& read, long long number, bool showKeys) : line(number), parsed(std::move(read)) {
        for (std::size_t i = 0; i < forms.size(); ++i)
            if (keyValues[i].secret) forms[i] = formOf(values().*keyValues[i].text);
        parsed.forgetText();
        if (!showKeys) parsed.forgetKeys();
    }

    const AMRKeyLine& values() const { return parsed.values(); }
    const KeyForm& form(const KeyValue& key) const { return forms[static_cast<std::size_t>(&key - keyValues)]; }
    bool isAbsent(const KeyValue& value) const { return value.secret ? form(value).length == 0 : value.isAbsent(values()); }
    bool isMasked(const KeyValue& key) const { return key.secret && (values().*key.text).empty(); }

    long long line;

private:
    SecretKeyLine parsed;
    std::array<KeyForm, std::size(keyValues)> forms{};
};

struct Found {
    long long line;
    Finding finding;
};

// What one file holds.
struct Contents {
    std::deque<Module> modules;
    std::vector<Found> findings;
    FindingCount total;
    CheckSummary others;  ///< lines that are no key lines
    bool isWhole = true;  ///< nothing was left unread

    void add(long long line, Finding finding) {
        total += finding.severity;
        findings.push_back({line, std::move(finding)});
    }
};

// Where each serial number and address was first.
class Duplicates {
public:
    void find(const Module& module, const std::string& file, Contents& contents) {
        const Place here{&file, module.line};
        if (const std::wstring& serial = module.values().serialNumber; !serial.empty())
            tell("serialNumber", serials.try_emplace(serial, here), here, contents);
        const auto& address = module.values().wmBusAddress;
        if (std::ranges::find(address, -1) == address.end())
            tell("wmBusAddress", addresses.try_emplace(address, here), here, contents);
    }

private:
    struct Place {
        const std::string* file;
        long long line;
    };

    template <class Inserted> void tell(const char* what, const Inserted& inserted, const Place& here, Contents& contents) {
        if (inserted.second) return;
        const Place& first = inserted.first->second;
        std::string where = fmt::format("line {}", first.line);
        if (first.file != here.file) where += " of " + printable(nameOf(*first.file));
        contents.add(here.line, findingOf(duplicateRule, fmt::format("{}: same value as in {}", what, where)));
    }

    std::map<std::wstring, Place> serials;
    std::map<std::array<std::int32_t, 4>, Place> addresses;
};

class Reader {
public:
    Reader(EncodingChoice encodingOfFiles, bool keysToo) : encoding(encodingOfFiles), showKeys(keysToo) {}

    /// `file` must outlive the reader.
    std::unique_ptr<Contents> read(const std::string& file) {
        auto contents = std::make_unique<Contents>();
        bool isEmpty = true;
        Input input(file, encoding);
        contents->isWhole = forEachLine(input, [&](const Line& line, std::optional<LineKind> kind) {
            isEmpty = false;
            if (kind == LineKind::Key) take(line, file, *contents);
            else contents->others.add(line.text, kind);
        });
        if (isEmpty) contents->add(0, findingOf("FileEmpty", "the file is empty"));
        return contents;
    }

private:
    void take(const Line& line, const std::string& file, Contents& contents) {
        std::vector<Finding> found;
        const bool isWhole = checkShape(line, LineKind::Key, found);
        if (isWhole) checkFields(LineKind::Key, line.text, false, found);
        for (Finding& finding : found) contents.add(line.number, std::move(finding));
        if (!isWhole) return;
        SecretKeyLine parsed(line.text);
        if (parsed.error()) return;
        const Module& module = contents.modules.emplace_back(std::move(parsed), line.number, showKeys);
        for (const KeyValue& value : keyValues) {
            if (!value.secret || module.isAbsent(value) || module.form(value).isUsual()) continue;
            Finding finding = findingOf(keyFormRule, fmt::format("{}: invalid key", value.name),
                "expected 32 hexadecimal digits, found " + counted(module.form(value).length, "character") +
                    (module.form(value).hexadecimal ? "" : ", not all hexadecimal"));
            finding.kind = shapeOf(LineKind::Key).name;
            finding.field = value.name;
            contents.add(line.number, std::move(finding));
        }
        duplicates.find(module, file, contents);
    }

    const EncodingChoice encoding;
    const bool showKeys;
    Duplicates duplicates;
};

// How the module's value looks in the table.
Shown cellOf(const Module& module, const KeyValue& value) {
    auto ascii = [](std::string text) {
        const auto width = static_cast<int>(text.size());
        return Shown{std::move(text), width};
    };
    if (module.isAbsent(value)) return ascii("-");
    if (module.isMasked(value)) return ascii("******** " + module.form(value).words());
    if (value.text) return shown(module.values().*value.text);
    const std::int32_t number = module.values().wmBusAddress[value.part];
    const Meaning* meaning = meaningOf(value);
    const std::string words = meaning ? meaning->of(number) : "";
    return ascii(fmt::format("{}{}{}", number, words.empty() ? "" : " ", words));
}

std::string_view headingOf(const KeyValue& value) { return value.label.substr(value.label.rfind('_') + 1); }

// A row for each value, where a row for each module would not fit.
void printList(Output& out, const std::deque<Module>& modules) {
    std::size_t longest = 0;
    for (const KeyValue& value : keyValues) longest = std::max(longest, headingOf(value).size());
    for (const Module& module : modules) {
        out.print("line {}\n", module.line);
        for (const KeyValue& value : keyValues)
            out.print("  {:<{}}  {}\n", headingOf(value), longest, cellOf(module, value).utf8);
        out.settle();
    }
}

void printTable(Output& out, const std::deque<Module>& modules) {
    std::array<int, std::size(keyValues)> widths{};
    for (std::size_t i = 0; i < widths.size(); ++i) {
        widths[i] = static_cast<int>(headingOf(keyValues[i]).size());
        for (const Module& module : modules) widths[i] = std::max(widths[i], cellOf(module, keyValues[i]).width);
    }
    const int terminal = terminalWidth(stdout);
    if (terminal > 0 && std::accumulate(widths.begin(), widths.end(), 6 + 2 * static_cast<int>(widths.size())) > terminal)
        return printList(out, modules);
    auto printCell = [&](std::size_t i, std::string_view text, int width) {
        const bool isLast = i + 1 == widths.size();
        out.print("  {}{:{}}", text, "", isLast ? 0 : widths[i] - width);
    };
    out.print("{:>6}", "line");
    for (std::size_t i = 0; i < widths.size(); ++i) {
        const std::string_view text = headingOf(keyValues[i]);
        printCell(i, text, static_cast<int>(text.size()));
    }
    out.print("\n");
    for (const Module& module : modules) {
        out.print("{:>6}", module.line);
        for (std::size_t i = 0; i < widths.size(); ++i) {
            const Shown cell = cellOf(module, keyValues[i]);
            printCell(i, cell.utf8, cell.width);
        }
        out.print("\n");
        out.settle();
    }
}

std::string placeOf(const Found& found) {
    std::string place = found.line ? fmt::format(":{}", found.line) : "";
    if (found.finding.column) place += fmt::format(":{}", found.finding.column);
    return place;
}

void printText(Output& out, const std::string& file, const Contents& contents) {
    const std::string name = printable(nameOf(file));
    if (!contents.modules.empty()) printTable(out, contents.modules);
    for (const Found& found : contents.findings) {
        out.print("{}{}: {}: {}\n", name, placeOf(found), nameOf(found.finding.severity), sentenceOf(found.finding));
        out.settle();
    }
    const FindingCount& total = contents.total;
    out.print("{}: {}, {}\n", name, counted(contents.modules.size(), "module"),
        total.all() ? counted(total.errors, "error") + ", " + counted(total.warnings, "warning") : "no errors or warnings");
}

// All files in one document.
class JsonKeys {
public:
    explicit JsonKeys(Output& to) : out(to), stream(to), json(stream) {
        json.StartObject();
        json.member("tool", "tramo");
        json.member("version", TRAMO_VERSION);
        json.newLine();
        json.beginArray("files");
    }

    void file(const std::string& name, const Contents& contents) {
        json.newLine();
        json.StartObject();
        json.member("file", utf8::valid(nameOf(name)));
        json.beginArray("modules");
        for (const Module& module : contents.modules) add(module), out.settle();
        json.newLine();
        json.EndArray();
        json.beginArray("findings");
        for (const Found& found : contents.findings) add(found), out.settle();
        json.newLine();
        json.EndArray();
        json.member("errors", contents.total.errors);
        json.member("warnings", contents.total.warnings);
        json.EndObject();
    }

    void end() {
        json.newLine();
        json.EndArray();
        json.EndObject();
        json.end();
    }

private:
    void add(const Module& module) {
        json.newLine();
        json.StartObject();
        json.member("line", module.line);
        for (const KeyValue& value : keyValues) {
            if (module.isAbsent(value)) continue;
            if (value.secret) addKey(module, value);
            else if (value.text) json.member(value.name, utf8::encode(module.values().*value.text));
            else addPart(value, module.values().wmBusAddress[value.part]);
        }
        json.EndObject();
    }

    void addKey(const Module& module, const KeyValue& key) {
        json.beginObject(key.name);
        json.member("length", std::uint64_t{module.form(key).length});
        json.member("hexadecimal", module.form(key).hexadecimal);
        if (!module.isMasked(key)) json.member("key", utf8::encode(module.values().*key.text));
        json.EndObject();
    }

    void addPart(const KeyValue& part, std::int32_t number) {
        json.member(part.name, int{number});
        const Meaning* meaning = meaningOf(part);
        const std::string words = meaning ? meaning->of(number) : "";
        if (!words.empty()) json.member(meaning->name, words);
    }

    void add(const Found& found) {
        json.newLine();
        json.StartObject();
        json.member("severity", nameOf(found.finding.severity));
        json.member("rule", found.finding.rule->name);
        if (found.line) json.member("line", found.line);
        if (found.finding.column) json.member("column", found.finding.column);
        if (!found.finding.field.empty()) json.member("field", found.finding.field);
        json.member("message", sentenceOf(found.finding));
        json.EndObject();
    }

    Output& out;
    JsonStream stream;
    JsonWriter json;
};

void tellOthers(const std::string& file, const CheckSummary& others) {
    if (others.lines == 0) return;
    std::vector<std::string> kinds;
    for (const LinesOfKind& kind : others.lineKinds()) kinds.push_back(fmt::format("{} {}", kind.lines, kind.name));
    const char* what = others.lines == 1 ? "line is not a key line" : "lines are not key lines";
    complain(fmt::format("{}: {} {}: {}", printable(nameOf(file)), others.lines, what, fmt::join(kinds, ", ")));
}

struct Options {
    std::vector<std::string> files;
    EncodingChoice encoding = EncodingChoice::Auto;
    bool json = false, showKeys = false;
};

Options parse(std::vector<std::string> arguments) {
    Options options;
    std::string encoding = "auto", format = "text";
    Arguments given;
    given.flag("--show-keys", options.showKeys);
    given.option("--encoding", encoding);
    given.option("--format", format);
    options.files = given.parseFiles(std::move(arguments));
    options.encoding = encodingChoice("--encoding", encoding);
    options.json = chosen<bool>("--format", format, {{"text", false}, {"json", true}});
    return options;
}

int run(std::vector<std::string> arguments) {
    Output out;
    const Options options = parse(std::move(arguments));

    std::optional<JsonKeys> json;
    if (options.json) json.emplace(out);
    Reader reader(options.encoding, options.showKeys);
    FindingCount total;
    bool allWhole = true;
    const bool allRead = forEachFile(options.files, [&](const std::string& file) {
        const std::unique_ptr<Contents> contents = reader.read(file);
        if (json) json->file(file, *contents);
        else printText(out, file, *contents);
        out.flush();
        tellOthers(file, contents->others);
        total += contents->total;
        allWhole &= contents->isWhole;
    });
    if (json) json->end();
    out.flush();
    return !allRead || !allWhole ? notUsable : total.all() ? somethingFound : nothingFound;
}

}  // namespace

const Command keysCommand{"keys", "list radio modules and check their key lines", help, run};

}  // namespace tramo::cli
