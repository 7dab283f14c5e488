// The data of the page: its parts, parsed again, against the rounds and findings that the library reports.
#include "page/pagedata.h"
#include "page/withoutpersonal.h"
#include "support/records.h"
#include "support/streamfiles.h"
#include "tramostream/anyrecord.h"
#include "tramostream/tables.h"
#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <optional>
#include <rapidjson/document.h>
#include <set>

using tramo::CheckedFile, tramo::FileChecker, tramo::Finding, tramo::Line, tramo::LineView, tramo::Meter, tramo::Reader,
    tramo::Round, tramo::RoundFile;
using namespace tramo::page;

namespace {

constexpr const char* sampleNames[] = {"round-exported.txt", "round-returned.txt", "round-returned-utf16.txt", "round-broken.txt",
    "round-damaged.txt", "tags.txt", "parameters.txt", "amr-keys.txt"};

std::string contentOf(const std::string& name) {
    std::ifstream file(std::string(SAMPLES) + '/' + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// The values of a column as texts; nullopt: none.
using Column = std::vector<std::optional<std::string>>;

std::string textOf(const rapidjson::Value& value) {
    if (value.IsString()) return {value.GetString(), value.GetStringLength()};
    if (value.IsInt64()) return std::to_string(value.GetInt64());
    std::string digits(64, '\0');
    digits.resize(static_cast<std::size_t>(std::snprintf(digits.data(), digits.size(), "%.17g", value.GetDouble())));
    return digits;
}
std::optional<std::string> valueOf(const rapidjson::Value& value) {
    return value.IsNull() ? std::nullopt : std::optional(textOf(value));
}

// A table of the page, read as the page does.
struct Table {
    const rapidjson::Value* json = nullptr;

    std::size_t rows() const { return json ? (*json)["n"].GetUint64() : 0; }
    Column operator[](const char* name) const {
        if (!json || !json->HasMember(name)) return Column(rows());
        const rapidjson::Value& column = (*json)[name];
        Column values;
        if (column.IsArray()) {
            for (const auto& value : column.GetArray()) values.push_back(valueOf(value));
        } else if (column.HasMember("all")) {
            values.assign(rows(), textOf(column["all"]));
        } else if (column.HasMember("by")) {
            long long number = 0;
            for (const auto& step : column["by"].GetArray()) values.push_back(std::to_string(number += step.GetInt64()));
        } else {
            for (const auto& at : column["at"].GetArray())
                values.push_back(at.GetInt() < 0 ? std::nullopt : valueOf(column["of"][static_cast<unsigned>(at.GetInt())]));
        }
        EXPECT_EQ(values.size(), rows()) << name;
        return values;
    }
    std::optional<std::string> at(const char* name, std::size_t row) const { return (*this)[name].at(row); }
};

// The files of a page in memory, and its data.
class Page {
public:
    explicit Page(std::vector<std::string> contents, PageOptions options = {}, bool isPair = false) : bytes(std::move(contents)) {
        for (const std::string& content : bytes) {
            Reader forCheck = Reader::ofBytes(content, {.diagnose = true}), forRounds = Reader::ofBytes(content);
            FileChecker checker(forCheck);
            while (checker.check(1000)) {}
            checks.push_back(checker.result());
            rounds.push_back(RoundFile::read(forRounds));
        }
        std::vector<PageFile> files;
        for (std::size_t i = 0; i < bytes.size(); ++i)
            files.push_back({"round " + std::to_string(i), bytes[i].size(), false, &rounds[i], &checks[i]});
        if (isPair) options.reconciled = &reconciled.emplace(rounds[0], rounds[1]);
        writePageData(files, options,
            {[&](std::string_view name, std::string json) {
                 EXPECT_FALSE(parts.contains(std::string(name))) << name;
                 rapidjson::Document& document = parts[std::string(name)];
                 document.Parse<rapidjson::kParseValidateEncodingFlag>(json.data(), json.size());
                 EXPECT_FALSE(document.HasParseError()) << name;
                 all += json + '\n';
             },
                [&](std::string lines) { blocks.push_back(std::move(lines)); }});
        for (const std::string& block : blocks) all += block + '\n';
    }

    Table table(const char* name) const {
        const auto part = parts.find(name);
        return {part == parts.end() ? nullptr : &part->second};
    }
    const rapidjson::Value& summary() const { return parts.at("summary"); }

    std::vector<std::string> bytes;
    std::vector<CheckedFile> checks;
    std::vector<RoundFile> rounds;
    std::optional<tramo::Reconciliation> reconciled;
    std::map<std::string, rapidjson::Document> parts;
    std::vector<std::string> blocks;
    std::string all;  // of the parts and blocks
};

Page pageOf(const char* name, const PageOptions& options = {}) { return Page({contentOf(name)}, options); }

std::vector<const Meter*> metersOf(const RoundFile& file) {
    std::vector<const Meter*> meters;
    for (const Round& round : file.rounds())
        for (const Meter& meter : round.meters()) meters.push_back(&meter);
    return meters;
}

std::optional<std::string> ifAny(const std::optional<std::string>& text) { return text && text->empty() ? std::nullopt : text; }

// A value as the page has it, from the line.
std::optional<std::string> expected(const LineView& line, const char* name) {
    const tramo::Field& field = *line.kind()->field(name);
    const tramo::FieldView value = line[field];
    switch (field.kind) {
    case tramo::FieldKind::Integer: {
        const auto number = value.integer();
        return number ? std::optional(std::to_string(*number)) : std::nullopt;
    }
    case tramo::FieldKind::Date:
    case tramo::FieldKind::DateTime: return value.time() ? value.text() : std::nullopt;
    default: return ifAny(value.text());
    }
}

unsigned expectedState(const Meter& meter) {
    const auto reading = meter.reading();
    unsigned bits = meter.state() == Meter::State::Read ? state::read : state::unread;
    const auto least = meter.subscriber().value<double>("meterMinEstimatedConsumption"),
               most = meter.subscriber().value<double>("meterMaxEstimatedConsumption");
    if (reading && reading->consumption && least && most) {
        const auto consumption = static_cast<double>(*reading->consumption);
        if (consumption < *least) bits |= state::outside | state::below;
        if (consumption >= *least && consumption > *most) bits |= state::outside | state::above;
    }
    for (const tramo::Alarm& alarm : meter.alarms()) bits |= alarm.isPrevious ? 0 : state::alarm;
    if (!meter.changes().empty()) bits |= state::changed;
    if (meter.place()) bits |= state::located;
    else if (reading) bits |= state::unlocated;
    for (const LineView* module : meter.lines<AMRTramoModel>())
        if (!module->time("currentReadingDate")) bits |= state::radioSilent;
    return bits;
}

}  // namespace

TEST(PageData, MetersHaveTheValuesOfTheirLines) {
    const Silence quiet;
    constexpr std::pair<const char*, const char*> columns[] = {{"serial", "meterSerialNumber"}, {"order", "subscriberCardOrder"},
        {"date", "meterReadingDate"}, {"index", "meterReadingIndex"}, {"consumption", "meterReadingConsumption"},
        {"status", "meterReadingStatus"}, {"method", "meterReadingMethod"}, {"agent", "meterReadingUserCode"},
        {"prevDate", "meterPreviousReadingDate"}, {"prevIndex", "meterPreviousReadingIndex"},
        {"newSerial", "meterCorrectedSerialNumber"}, {"message", "meterMessage"}, {"updated", "meterLastUpdateDate"}};
    for (const char* name : sampleNames) {
        const Page page = pageOf(name);
        const auto meters = metersOf(page.rounds[0]);
        const Table table = page.table("meters");
        ASSERT_EQ(table.rows(), meters.size()) << name;
        const Column lines = table["line"], differences = table["difference"];
        for (std::size_t row = 0; row < meters.size(); ++row) {
            EXPECT_EQ(lines[row], std::to_string(meters[row]->subscriber().number()));
            const auto difference = meters[row]->difference();
            EXPECT_EQ(differences[row], difference ? std::optional(std::to_string(*difference)) : std::nullopt);
        }
        for (const auto& [column, field] : columns) {
            const Column values = table[column];
            for (std::size_t row = 0; row < meters.size(); ++row)
                EXPECT_EQ(values[row], expected(meters[row]->subscriber(), field)) << name << ' ' << column << ' ' << row;
        }
    }
}

TEST(PageData, StatesAreThoseOfTheRoundAndTheCheck) {
    const Silence quiet;
    unsigned seen = 0;
    for (const char* name : sampleNames) {
        const Page page = pageOf(name);
        const auto meters = metersOf(page.rounds[0]);
        const Column states = page.table("meters")["state"];
        std::map<std::string, std::uint64_t> counts;
        for (std::size_t row = 0; row < meters.size(); ++row) {
            unsigned bits = expectedState(*meters[row]);
            EXPECT_EQ(stateOf(*meters[row]), bits);
            for (const Finding& finding : page.checks[0].findings)
                for (const LineView* line : meters[row]->lines()) {
                    if (line->number() != finding.line) continue;
                    bits |= state::finding;
                    // The rules about readings are all that Meter::findings adds to those about answers.
                    const auto own = meters[row]->findings();
                    const bool isOfMeter = std::ranges::any_of(own, [&](const Finding& one) { return one.rule == finding.rule; });
                    const std::string_view rule = finding.rule->name;
                    if (isOfMeter && !rule.starts_with("Answer") && rule != "PageUndefined") bits |= state::implausible;
                    if (rule == "PositionFar") bits |= state::implausible;  // only other meters show it
                }
            EXPECT_EQ(states[row], std::to_string(bits)) << name << ' ' << row;
            seen |= bits;
            counts["read"] += (bits & state::read) != 0;
            counts["unread"] += (bits & state::unread) != 0;
            counts["outside"] += (bits & state::outside) != 0;
            counts["alarm"] += (bits & state::alarm) != 0;
            counts["located"] += (bits & state::located) != 0;
            counts["implausible"] += (bits & state::implausible) != 0;
        }
        for (const auto& [what, count] : counts)
            EXPECT_EQ(page.summary()["counts"][what.c_str()].GetUint64(), count) << name << ' ' << what;
        EXPECT_EQ(page.summary()["counts"]["meters"].GetUint64(), meters.size());
    }
    EXPECT_EQ(seen & (state::read | state::unread | state::outside | state::alarm | state::changed | state::finding), 95U);
}

TEST(PageData, LinesBelongToTheirMeters) {
    const Silence quiet;
    for (const char* name : sampleNames) {
        const Page page = pageOf(name);
        std::map<std::string, std::string> meterOf;  // by line
        const auto meters = metersOf(page.rounds[0]);
        for (std::size_t row = 0; row < meters.size(); ++row)
            for (const LineView* line : meters[row]->lines()) meterOf[std::to_string(line->number())] = std::to_string(row);
        for (const auto& orphan : page.rounds[0].orphans()) meterOf[std::to_string(orphan.line->number())] = "-1";
        std::size_t rows = 0;
        for (const char* part : {"meters", "amr", "ext", "changes", "positions", "answers"}) {
            const Table table = page.table(part);
            const Column lines = table["line"], own = table["meter"];
            rows += lines.size();
            for (std::size_t row = 0; row < lines.size(); ++row) EXPECT_EQ(own[row], meterOf[*lines[row]]) << name << ' ' << part;
        }
        EXPECT_EQ(rows, meterOf.size()) << name;
        EXPECT_EQ(page.summary()["source"]["linesOfNoMeter"].GetUint64(), page.rounds[0].orphans().size());
    }
}

TEST(PageData, HistoriesAnswersAndAreasAreThoseOfTheMeters) {
    const Silence quiet;
    std::size_t answered = 0, areasSeen = 0;
    for (const char* name : {"round-returned.txt", "round-broken.txt", "round-returned-utf16.txt"}) {
        const Page page = pageOf(name);
        const auto meters = metersOf(page.rounds[0]);
        const Column historyRows = page.table("history")["row"], consumptions = page.table("history")["consumption"],
                     types = page.table("history")["type"];
        const Column moduleRows = page.table("moduleHistory")["row"], moduleMeters = page.table("ext")["meter"];
        const Table answers = page.table("answers");
        const Table given{answers.json && answers.json->HasMember("given") ? &(*answers.json)["given"] : nullptr};
        const Column givenRows = given["row"], questions = given["question"], codes = given["code"], results = given["result"],
                     answerMeters = answers["meter"];
        for (std::size_t row = 0; row < meters.size(); ++row) {
            std::vector<std::string> expectedHistory, history, expectedAnswers, found;
            for (const auto& item : meters[row]->history())
                expectedHistory.push_back(item.type + ' ' + (item.consumption ? std::to_string(*item.consumption) : ""));
            for (std::size_t i = 0; i < historyRows.size(); ++i)
                if (historyRows[i] == std::to_string(row))
                    history.push_back(types[i].value_or("") + ' ' + consumptions[i].value_or(""));
            EXPECT_EQ(history, expectedHistory) << name << ' ' << row;
            for (const auto& answer : meters[row]->answers())
                expectedAnswers.push_back(answer.question + '|' + answer.code + '|' + answer.result);
            for (std::size_t i = 0; i < givenRows.size(); ++i)
                if (answerMeters[std::stoul(*givenRows[i])] == std::to_string(row))
                    found.push_back(questions[i].value_or("") + '|' + codes[i].value_or("") + '|' + results[i].value_or(""));
            EXPECT_EQ(found, expectedAnswers) << name << ' ' << row;
            answered += found.size();
            const auto readings = meters[row]->moduleReadings();
            const auto earlier = std::ranges::count_if(readings, [](const auto& reading) { return reading.slot > 0; });
            const auto slots = std::ranges::count_if(
                moduleRows, [&](const auto& ext) { return moduleMeters[std::stoul(*ext)] == std::to_string(row); });
            EXPECT_LE(slots, earlier) << name << ' ' << row;  // AMR lines have an earlier reading, too
            std::map<std::string, std::string> areas, shown;
            for (const auto& area : meters[row]->areas())
                if (area.area) areas[area.area->label] = area.text;
            for (const auto& area : page.parts.at("areas")["areas"].GetArray()) {
                if (area.HasMember("whole")) continue;
                rapidjson::Document one;
                one.SetObject();
                one.AddMember("n", static_cast<std::uint64_t>(meters.size()), one.GetAllocator());
                one.AddMember("texts", rapidjson::Value(area["texts"], one.GetAllocator()), one.GetAllocator());
                if (const auto text = Table{&one}.at("texts", row)) shown[area["label"].GetString()] = *text;
            }
            EXPECT_EQ(shown, areas) << name << ' ' << row;
            areasSeen += shown.size();
        }
    }
    EXPECT_GT(answered, 20U);
    EXPECT_GT(areasSeen, 300U);
}

TEST(PageData, FindingsAreThoseOfTheCheck) {
    const Silence quiet;
    for (const char* name : sampleNames) {
        const Page page = pageOf(name);
        const auto& findings = page.checks[0].findings;
        const Table table = page.table("findings");
        ASSERT_EQ(table.rows(), findings.size()) << name;
        const Column lines = table["line"], rules = table["rule"], columns = table["column"], messages = table["message"],
                     fields = table["field"], found = table["found"];
        for (std::size_t i = 0; i < findings.size(); ++i) {
            EXPECT_EQ(lines[i], std::to_string(findings[i].line));
            EXPECT_EQ(rules[i], std::string(findings[i].rule->name));
            EXPECT_EQ(columns[i], findings[i].column ? std::optional(std::to_string(findings[i].column)) : std::nullopt);
            EXPECT_EQ(messages[i], tramo::sentenceOf(findings[i]));
            EXPECT_EQ(fields[i].value_or(""), findings[i].field);
        }
        EXPECT_EQ(page.summary()["source"]["errors"].GetUint64(), page.checks[0].summary.total.errors);
        EXPECT_EQ(page.summary()["source"]["files"][0]["diagnosis"].Size(), page.checks[0].diagnosis.size());
    }
}

TEST(PageData, FindingsBeyondTheLimitAreCounted) {
    const Silence quiet;
    const Page page = pageOf("round-broken.txt", {.mostFindings = 10});
    EXPECT_EQ(page.table("findings").rows(), 10U);
    EXPECT_EQ(page.summary()["source"]["notListed"].GetUint64(), page.checks[0].findings.size() - 10);
}

TEST(PageData, NoFindingHidesAnother) {
    const Silence quiet;
    const Page page = pageOf("round-broken.txt", {.mostAlike = 1});
    const Table table = page.table("findings");
    std::map<std::string, std::uint64_t> all;
    std::set<std::string> expectedPairs, pairs;
    for (const Finding& finding : page.checks[0].findings) {
        ++all[std::string(finding.rule->name)];
        expectedPairs.insert(std::string(finding.rule->name) + ' ' + std::string(finding.field));
    }
    for (std::size_t row = 0; row < table.rows(); ++row)
        EXPECT_TRUE(pairs.insert(*table.at("rule", row) + ' ' + table.at("field", row).value_or("")).second) << row;
    EXPECT_EQ(pairs, expectedPairs);
    for (const auto& rule : page.summary()["rules"].GetArray())
        if (all.contains(rule["name"].GetString())) {
            EXPECT_EQ(rule["count"].GetUint64(), all[rule["name"].GetString()]) << rule["name"].GetString();
        }
}

TEST(PageData, BlocksHoldAllLinesOrThoseWithFindings) {
    const Silence quiet;
    for (const char* name : {"round-broken.txt", "round-returned-utf16.txt", "tags.txt"}) {
        const Page page = pageOf(name);
        std::string text;
        for (const LineView& line : page.rounds[0].lines()) text += (line.number() > 1 ? "\n" : "") + line.utf8();
        ASSERT_EQ(page.blocks.size(), 1U);
        EXPECT_EQ(page.blocks[0], text);
        EXPECT_EQ(page.summary()["raw"]["files"][0]["lines"].GetUint64(), page.rounds[0].lines().size());
    }
    const Page some = pageOf("round-broken.txt", {.mostText = 1000});
    const rapidjson::Value& file = some.summary()["raw"]["files"][0];
    rapidjson::Document one;
    one.SetObject();
    one.AddMember("n", file["lines"].GetUint64(), one.GetAllocator());
    one.AddMember("at", rapidjson::Value(file["at"], one.GetAllocator()), one.GetAllocator());
    std::string text;
    std::vector<std::string> lines;
    for (const auto& number : Table{&one}["at"]) {
        lines.push_back(*number);
        text += (text.empty() ? "" : "\n") + some.rounds[0].lines()[std::stoul(*number) - 1].utf8();
    }
    EXPECT_EQ(some.blocks, std::vector{text});
    for (const auto& line : some.table("findings")["line"]) EXPECT_NE(std::ranges::find(lines, *line), lines.end());
}

TEST(PageData, NoPartHoldsAKey) {
    const Silence quiet;
    const std::string content = contentOf("amr-keys.txt");
    const Page masked = pageOf("amr-keys.txt"), shown = pageOf("amr-keys.txt", {.showsKeys = true});
    std::size_t keys = 0;
    for (std::size_t at = 0; (at = content.find("Key", at)) != std::string::npos; ++at) {
        const std::size_t first = content.find(':', at) + 1, begin = content.find('"', first) + 1, end = content.find('"', begin);
        const std::string key = content.substr(begin, end - begin);
        if (key.size() != 32) continue;
        ++keys;
        EXPECT_EQ(masked.all.find(key), std::string::npos) << at;
        EXPECT_NE(shown.all.find(key), std::string::npos) << at;
    }
    EXPECT_GT(keys, 8U);
    EXPECT_EQ(masked.table("keys").rows(), 8U);
    EXPECT_EQ(masked.table("keys").at("wmBusKey_Mode5", 0), "***");
}

TEST(PageData, AKeyLineThatCannotBeReadIsMaskedAsAWhole) {
    const Silence quiet;
    std::string content = contentOf("amr-keys.txt");
    const std::string first = content.substr(0, content.find('\r'));
    const Page page({first.substr(0, first.size() - 4) + "\r\n" + content});
    EXPECT_TRUE(page.blocks.at(0).starts_with("***\n")) << page.blocks[0].substr(0, 200);
}

TEST(PageData, AnEmptyFileHasASummaryAndWhatTheCheckSays) {
    const Silence quiet;
    const Page page({""});
    EXPECT_EQ(page.parts.size(), 2U);
    EXPECT_EQ(page.table("findings").rows(), 1U);
    EXPECT_EQ(page.table("findings").at("rule", 0), "FileEmpty");
    EXPECT_TRUE(page.blocks.empty());
    EXPECT_EQ(page.summary()["counts"]["meters"].GetInt(), 0);
    EXPECT_EQ(page.summary()["source"]["files"][0]["lines"].GetInt(), 0);
}

TEST(PageData, AnyBytesMakeValidParts) {
    const Silence quiet;
    std::string content = contentOf("round-returned.txt");
    for (unsigned seed = 1; seed <= 40; ++seed) {
        std::string damaged = content.substr(0, 20000);
        unsigned random = seed * 2654435761U;
        for (int change = 0; change < 300; ++change) {
            random = random * 1664525U + 1013904223U;
            damaged[random % damaged.size()] = static_cast<char>(random >> 24);
        }
        const Page page({damaged});
        EXPECT_FALSE(page.parts.empty()) << seed;  // the constructor parses each part
        EXPECT_EQ(page.table("meters").rows(), metersOf(page.rounds[0]).size());
    }
}

TEST(PageData, SeveralFilesHaveTheirNumbers) {
    const Silence quiet;
    const Page page({contentOf("round-returned.txt"), contentOf("round-broken.txt"), contentOf("tags.txt")});
    const auto first = metersOf(page.rounds[0]).size();
    const Table meters = page.table("meters");
    EXPECT_EQ(meters.rows(), first + metersOf(page.rounds[1]).size());
    EXPECT_EQ(meters.at("file", 0), "0");
    EXPECT_EQ(meters.at("file", first), "1");
    EXPECT_EQ(page.table("findings").at("file", 0), "1");
    EXPECT_EQ(page.table("tags").at("file", 0), "2");
    EXPECT_EQ(page.summary()["source"]["files"].Size(), 3U);
    EXPECT_EQ(page.blocks.size(), 3U);
    EXPECT_EQ(page.table("reconcile").json, nullptr);
}

TEST(PageData, OfAPairTheReturnedMetersAreShown) {
    const Silence quiet;
    const Page page({contentOf("round-exported.txt"), contentOf("round-returned.txt")}, {}, true);
    EXPECT_EQ(page.table("meters").rows(), metersOf(page.rounds[1]).size());
    EXPECT_EQ(page.table("meters").at("file", 0), "1");
    EXPECT_EQ(page.summary()["rounds"].Size(), 1U);
    const rapidjson::Value& round = page.parts.at("reconcile")["rounds"][0];
    const tramo::ReconciledRound& expectedRound = page.reconciled->rounds()[0];
    EXPECT_EQ(round["read"].GetUint64(), expectedRound.read);
    EXPECT_EQ(round["replaced"].GetUint64(), expectedRound.replaced);
    EXPECT_EQ(round["meters"]["n"].GetUint64(), expectedRound.meters.size());
    EXPECT_EQ(page.parts.at("reconcile")["differences"]["n"].GetUint64(), page.reconciled->count());
}

// ---- Without personal data ------------------------------------------------------------------------------------------

namespace {

constexpr std::string_view secret = "a key of 16 bytes or more";

Page anonymousPage(const std::vector<std::string>& contents) {
    const std::vector<std::string_view> views(contents.begin(), contents.end());
    WithoutPersonal made = withoutPersonal(views, std::nullopt, secret);
    EXPECT_EQ(made.failure, "");
    std::vector<std::string> replaced;
    for (const auto& file : made.files) replaced.emplace_back(file);
    return Page(replaced, {.hasPersonal = false});
}

}  // namespace

TEST(PageWithoutPersonalData, HoldsNoTextThatIdentifies) {
    const Silence quiet;
    for (const char* name : {"round-returned.txt", "round-broken.txt", "round-returned-utf16.txt", "round-damaged.txt"}) {
        const Page usual = pageOf(name), page = anonymousPage({contentOf(name)});
        std::size_t words = 0;
        for (const Meter* meter : metersOf(usual.rounds[0])) {
            std::vector<std::string> texts{meter->serial()};
            for (const auto& area : meter->areas())
                if (area.text.size() >= 6) texts.push_back(area.text);
            for (const std::string& text : texts) {
                if (text.size() < 6) continue;
                ++words;
                EXPECT_NE(usual.all.find(text), std::string::npos) << text;
                EXPECT_EQ(page.all.find(text), std::string::npos) << name << ' ' << text;
            }
        }
        EXPECT_GT(words, 200U);
        EXPECT_EQ(page.table("areas").json, nullptr);
        EXPECT_EQ(page.table("positions")["lat"], Column(page.table("positions").rows()));
        EXPECT_EQ(page.table("meters")["message"], Column(page.table("meters").rows()));
        EXPECT_EQ(page.table("meters").rows(), usual.table("meters").rows());
        EXPECT_EQ(page.table("meters")["index"], usual.table("meters")["index"]);
        EXPECT_EQ(page.table("meters")["state"], usual.table("meters")["state"]);
    }
}

TEST(PageWithoutPersonalData, APseudonymIsTheSameEverywhere) {
    const Silence quiet;
    const Page page = anonymousPage({contentOf("round-exported.txt"), contentOf("round-returned.txt")});
    const auto exported = metersOf(page.rounds[0]), returned = metersOf(page.rounds[1]);
    ASSERT_EQ(exported.size(), returned.size());
    const Column serials = page.table("meters")["serial"];
    for (std::size_t i = 0; i < exported.size(); ++i) {
        EXPECT_EQ(exported[i]->serial(), returned[i]->serial());
        EXPECT_EQ(serials[i], exported[i]->serial());
        EXPECT_NE(page.blocks.at(0).find(exported[i]->serial()), std::string::npos);
    }
}

TEST(PageWithoutPersonalData, LinesKeepTheirEndings) {
    const Silence quiet;
    std::string content = contentOf("round-returned.txt");
    content.erase(content.find('\r'), 1);
    content.resize(content.size() - 2);
    const std::string_view view = content;
    const WithoutPersonal made = withoutPersonal({&view, 1}, std::nullopt, secret);
    ASSERT_EQ(made.files[0].size(), content.size());
    for (std::size_t i = 0; i < content.size(); ++i) {
        if (content[i] == '\r' || content[i] == '\n') { EXPECT_EQ(made.files[0][i], content[i]) << i; }
    }
    const std::string wide = contentOf("round-returned-utf16.txt");
    const std::string_view wideView = wide;
    const WithoutPersonal wideMade = withoutPersonal({&wideView, 1}, std::nullopt, secret);
    EXPECT_EQ(wideMade.files[0].size(), wide.size());
    EXPECT_EQ(wideMade.files[0].substr(0, 2), "\xFF\xFE");
}
