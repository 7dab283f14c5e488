#include "cli/commands/export_files.h"
#include "cli/io/console.h"
#include "cli/io/inorder.h"
#include "cli/io/text.h"
#include "cli/io/usage.h"
#include "cli/tables/projection.h"
#include <algorithm>
#include <deque>
#include <fmt/format.h>
#include <map>
#include <tramostream/check.h>
#include <tramostream/reader.h>

namespace tramo::cli {

namespace {

// One byte for each character.
std::wstring widened(std::string_view bytes) {
    std::wstring text(bytes.size(), L'\0');
    std::ranges::transform(bytes, text.begin(), [](char c) { return static_cast<unsigned char>(c); });
    return text;
}

// The cells of a plain row.
struct CellsOf {
    std::vector<Cell>& cells;

    void text(std::size_t column, std::string_view bytes) { cells[column] = widened(bytes); }
    void text(std::size_t column, std::wstring_view value) { cells[column] = std::wstring(value); }
    void ascii(std::size_t column, std::string_view value) { text(column, value); }
    void number(std::size_t column, auto value, std::string_view = {}) { cells[column] = value; }
    void flag(std::size_t column, bool value) { cells[column] = value; }
};

TableRow rowOf(const PlainRow& plain) {
    TableRow row(&plain.table(), plain.line(), std::vector<Cell>(plain.table().columns.size()), plain.unread());
    plain.write(CellsOf{row.cells});
    return row;
}

/// The tables of an export as its form gets them: with other columns, if columns were chosen or rows show their file.
class Projections {
public:
    void add(const Table& table, const std::vector<std::string>& columns) { all.try_emplace(&table, table, columns); }

    bool empty() const { return all.empty(); }

    const Table& of(const Table& table) const {
        const auto found = all.find(&table);
        return found == all.end() ? table : found->second.table();
    }

    TableRow of(TableRow row, std::wstring_view file) const {
        const auto found = all.find(row.table);
        return found == all.end() ? std::move(row) : found->second(std::move(row), file);
    }

private:
    std::map<const Table*, Projection> all;
};

// Rows on their way from the threads that make them to the sink.
class RowBatch {
public:
    void clear() {
        described.resize(1);
        described.front().clear();
        others.clear();
    }

    void add(TableRow row, const Sink& sink) {
        if (sink.describe(row, described.back())) return;
        others.push_back(std::move(row));
        described.emplace_back();
    }
    void add(const PlainRow& row, const Sink& sink) { sink.describe(row, described.back()); }

    void putInto(Sink& sink) {
        for (std::size_t i = 0; i < described.size(); ++i) {
            sink.put(described[i]);
            if (i < others.size()) sink.put(others[i]);
        }
    }

private:
    std::vector<DescribedRows> described{1};  ///< before, between and after the others
    std::vector<TableRow> others;
};

/// The lines of rounds, as they are in their file, with their numbers.
struct RoundLines {
    std::string bytes;
    std::vector<long long> numbers;

    void clear() {
        bytes.clear();
        numbers.clear();
    }
    void append(const RoundLines& others) {
        bytes += others.bytes;
        numbers.insert(numbers.end(), others.numbers.begin(), others.numbers.end());
    }

    static constexpr std::string_view endOf(bool isUtf16) {
        return isUtf16 ? std::string_view("\r\0\n\0", 4) : std::string_view("\r\n");
    }
};

// Some lines of the file, and what becomes of them.
struct Task {
    KeptPiece piece;
    std::uint64_t position = 0;  ///< in the file, after the piece
    RowBatch rows, beside;
    RoundLines round;
    Checker checker{
        {.prevailing = LineKind::Record, .rounds = false}};  ///< recognizes lines without findings; of plain records only
    std::uint64_t damaged = 0, unread = 0, ignored = 0;
};

class Exporter {
public:
    explicit Exporter(const ExportOptions& chosenOptions) : options(chosenOptions), rounds(showsFile()) {
        for (const std::string& file : options.files) noted.emplace_back(file);
        open(options.files.front());
        const SinkOptions chosen = tablesOfRecords();
        rows = options.form->makeSink(options.output,
            {.secret = options.keys == Keys::Shown, .keys = options.keys == Keys::Shown, .force = options.force}, chosen);
        // Findings show a customer's data: only their owner may read them.
        if (!options.findings.empty())
            beside = options.form->makeSink(options.findings, {.secret = true, .force = options.force},
                {.mayBeFolder = false, .oneKind = true, .bom = options.bom, .tables = {&tablesShown.of(findingTable())}});
    }

    /// The exit code.
    int run() {
        std::vector<Source> sources;
        int code = nothingFound;
        for (const std::string& file : options.files) {
            if (!input) open(file);
            name = utf8::decode(nameOf(file));
            damaged = unread = ignored = 0;
            inOrder<Task>(
                usefulThreads(options.threads, std::span(&file, 1)), [this](Task& task) { return take(task); },
                [this](Task& task) { work(task); }, [this](Task& task) { finish(task); });
            Progress::wipe();
            sources.push_back({nameOf(file), input->isUtf16(), input->bytes(), input->linesRead() - options.lines.first + 1});
            const std::size_t orphans = holdsRounds() ? keepRound() : 0;
            code = std::max(code, reportLosses(options.hasRecords() ? 0 : orphans));
            input.reset();
        }
        if (holdsRounds()) code = std::max(code, putRounds());
        rows->finish(sources);
        if (beside) beside->finish(sources);
        for (const std::string& message : messages) complain(message);
        return code;
    }

private:
    void open(const std::string& file) { input = std::make_unique<Input>(file, options.encoding, options.lines); }

    bool holdsRounds() const { return !options.roundTables().empty(); }
    bool showsFile() const { return options.namesFiles() || std::ranges::find(options.fields, "file") != options.fields.end(); }

    // The tables that the form gets from the beginning: those of records.
    SinkOptions tablesOfRecords() {
        const bool ofKinds = options.hasRecords() && options.fields.empty();
        SinkOptions chosen{.mayBeFolder = ofKinds, .oneKind = options.only != nullptr || !ofKinds, .bom = options.bom};
        if (!options.hasRecords()) {
            chosen.tables.clear();
            return chosen;
        }
        if (options.namesFiles() || !options.fields.empty()) {
            for (const Table* table : chosen.tables)
                if (options.fields.empty() || table == options.only) tablesShown.add(*table, columnsOf(*table));
            if (options.namesFiles() && !options.fields.empty()) tablesShown.add(findingTable(), allColumnsOf(findingTable()));
        }
        if (!options.fields.empty()) chosen.tables = {options.only};
        if (!hasFindings()) std::erase(chosen.tables, &findingTable());
        for (const Table*& table : chosen.tables) table = &tablesShown.of(*table);
        chosen.views = options.fields.empty();
        return chosen;
    }

    std::vector<std::string> columnsOf(const Table& table) const {
        return options.fields.empty() ? allColumnsOf(table) : options.fields;
    }

    // With the file before the columns that each table has.
    std::vector<std::string> allColumnsOf(const Table& table) const {
        std::vector<std::string> names{"file", "line"};
        if (options.form->showsKind) names.emplace_back("kind");
        for (const Column& column : table.columns) names.push_back(column.name);
        return names;
    }

    bool take(Task& task) {
        Piece piece;
        if (!input->nextPiece(piece)) return false;
        task.piece.keep(piece);
        task.position = input->bytesRead();
        return true;
    }

    void work(Task& task) const {
        task.rows.clear();
        task.beside.clear();
        task.round.clear();
        task.damaged = task.unread = task.ignored = 0;
        if (holdsRounds()) collect(task);
        if (!options.hasRecords()) return;
        PieceReader reader(task.piece);
        const bool mayBePlain = input->prevailingKind() == LineKind::Record;
        PlainRecord record;
        PlainRow row;
        Line line;
        while (true) {
            if (mayBePlain && reader.nextPlain(record)) add(record, row, reader, task);
            else if (reader.next(line)) add(line, task);
            else break;
        }
    }

    // Malformed lines belong to no round, and can be as long as a file.
    void collect(Task& task) const {
        const bool counts = !options.hasRecords();
        if (task.piece.longLine) {
            task.damaged += counts;
            return;
        }
        const tramo::Encoding encoding = input->isUtf16() ? tramo::Encoding::Utf16 : tramo::Encoding::Ansi;
        Reader reader = Reader::ofBytes(task.piece.bytes, {.encoding = encoding});
        for (const LineView& line : reader) {
            task.damaged += counts && line.fault() != LineFault::None;
            if (!line.kind() || line.kind()->letter == 0) continue;
            task.round.bytes.append(line.bytes()).append(RoundLines::endOf(input->isUtf16()));
            task.round.numbers.push_back(task.piece.firstLine + line.number() - 1);
        }
    }

    // The fast path: does the same as for the line of the record.
    void add(const PlainRecord& record, PlainRow& row, PieceReader& reader, Task& task) const {
        if (options.only && options.only != &tableOfKind(*record.kind)) return;
        Line line;
        if (!row.read(record)) {
            reader.readAgain(line);
            return add(line, task);
        }
        task.unread += row.unread();
        task.ignored += row.holdsMore();
        if (tablesShown.empty()) task.rows.add(row, *rows);
        else task.rows.add(tablesShown.of(rowOf(row), name), *rows);
        if (!showsFindings() || task.checker.countIfClean(*record.kind, record.text)) return;
        std::vector<Finding> findings;
        reader.readAgain(line);
        checkFields(LineKind::Record, line.text, false, findings);
        addFindings(findings, record.number, task);
    }

    // The slow path, which defines the result.
    void add(const Line& line, Task& task) const {
        std::vector<Finding> findings;
        const std::optional<LineKind> kind = kindOfLine(line, input->prevailingKind());
        const bool isReadable = checkShape(line, kind, findings);
        std::optional<LineModel> model = isReadable ? LineModel::of(*kind, line.text) : std::nullopt;
        TableRow row = cli::rowOf(line, kind, model ? &*model : nullptr, options.keys);
        if (options.only && row.table != options.only) return;
        task.damaged += row.table == &textTable();
        task.unread += row.unread;
        task.ignored += row.lacksMembers || (model && holdsMore(*model, line.text));
        task.rows.add(tablesShown.of(std::move(row), name), *rows);
        if (!showsFindings()) return;
        if (model) checkFields(*model, line.text, false, findings);
        else if (isReadable) checkFields(*kind, line.text, false, findings);
        addFindings(findings, line.number, task);
    }

    bool hasFindings() const { return !options.form->findings.empty() && options.fields.empty(); }
    bool showsFindings() const { return beside || hasFindings(); }

    void addFindings(const std::vector<Finding>& findings, long long number, Task& task) const {
        for (const Finding& finding : findings) {
            TableRow row = tablesShown.of(cli::rowOf(finding, number), name);
            if (beside) task.beside.add(std::move(row), *beside);
            else task.rows.add(std::move(row), *rows);
        }
    }

    void finish(Task& task) {
        damaged += task.damaged;
        unread += task.unread;
        ignored += task.ignored;
        round.append(task.round);
        task.rows.putInto(*rows);
        if (beside) task.beside.putInto(*beside);
        progress.show(input->name(), task.position, input->bytes());
    }

    // Returns the number of lines that belong to no meter.
    std::size_t keepRound() {
        const tramo::Encoding encoding = input->isUtf16() ? tramo::Encoding::Utf16 : tramo::Encoding::Ansi;
        const RoundLines lines = std::exchange(round, {});
        Reader reader = Reader::ofBytes(lines.bytes, {.encoding = encoding, .kind = LineKind::Record});
        return rounds.add(name, RoundFile::read(reader), lines.numbers);
    }

    int putRounds() {
        rounds.complete();
        // The names of areas are known now: before any row, so that a wrong name writes nothing.
        for (const RoundTable which : options.roundTables()) {
            Table& table = rounds.table(which);
            if (options.hasRecords() && which == RoundTable::Meters) table.identifier = options.form->metersBesideRecords;
            if (const auto columns = columnsOfRound(table); !columns.empty()) tablesShown.add(table, columns);
            rows->add(tablesShown.of(table));
        }
        for (const RoundTable which : options.roundTables())
            rounds.forEachRow(which, [&](TableRow row) { rows->put(tablesShown.of(std::move(row), name)); });
        return reportMisplaced();
    }

    // The columns that the form gets; empty: all.
    std::vector<std::string> columnsOfRound(const Table& table) const {
        std::vector<std::string> columns = options.fields;
        if (!options.form->holdsOnly) return columns;
        if (columns.empty())
            for (const Column& column : table.columns)
                if (column.name != "latitude" && column.name != "longitude") columns.push_back(column.name);
        columns.insert(columns.end(), {"longitude", "latitude"});
        return columns;
    }

    int reportLosses(std::size_t orphans) {
        if (!input->note().empty()) messages.push_back(input->name() + ": " + input->note());
        auto say = [&](std::uint64_t count, const char* is, const char* are, const char* what) {
            if (count)
                messages.push_back(
                    fmt::format("{}: {} {} {}", input->name(), counted(count, "line"), count == 1 ? is : are, what));
        };
        say(damaged, "is", "are", options.hasRecords() ? "malformed and exported as text" : "malformed and not exported");
        say(unread, "has", "have", "fields whose text cannot be read and is not exported; see \"tramo check\"");
        say(ignored, "holds", "hold", "text that the exported values do not; see \"tramo check\"");
        say(orphans, "belongs to no meter and is", "belong to no meter and are", "not exported");
        const std::string rest = input->unreadRest();
        if (!rest.empty()) messages.push_back(input->name() + ": " + rest);
        return damaged || unread || ignored || orphans || !rest.empty() ? somethingFound : nothingFound;
    }

    int reportMisplaced() {
        const std::uint64_t count = options.roundTable == RoundTable::Locations ? rounds.misplaced() : 0;
        if (count)
            messages.push_back(fmt::format("{} {} a latitude or longitude out of range and {} not exported",
                counted(count, "meter"), count == 1 ? "has" : "have", count == 1 ? "is" : "are"));
        return count ? somethingFound : nothingFound;
    }

    const ExportOptions& options;
    std::deque<NotedInput> noted;
    std::unique_ptr<Input> input;
    std::wstring name;                  ///< of the file
    Projections tablesShown;            ///< as the form gets them
    RoundLines round;                   ///< of the file
    std::vector<std::string> messages;  ///< about losses, for the time when the output is complete
    RoundTables rounds;
    std::unique_ptr<Sink> rows, beside;
    Progress progress;
    std::uint64_t damaged = 0, unread = 0, ignored = 0;
};

}  // namespace

std::vector<RoundTable> ExportOptions::roundTables() const {
    if (roundTable) return {*roundTable};
    if (!form->holdsAll || onlyRecords || only) return {};
    return {RoundTable::Meters, RoundTable::Answers, RoundTable::Alarms, RoundTable::Unread, RoundTable::Locations};
}

int exportFiles(const ExportOptions& options) { return Exporter(options).run(); }

}  // namespace tramo::cli
