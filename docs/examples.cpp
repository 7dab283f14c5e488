// The examples of the headers' pages: each "//! [NAME]" encloses one, and its "//> " lines are what it prints.
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <tramostream/tramostream.h>

namespace {

using Line = TramoLine::tramoLine_t;

// clang-format off

void header(const Line& line) {
    //! [RoundTramoModel]
    RoundTramoModel round(line);
    std::wcout << round.getCode() << L", " << round.getMeterInformationLabelArea1() << L'\n';
    //> T0412, Emplacement

    round.setMessage(L"Ring the bell twice.");
    round.setRoundImportDate(DateUtils::strToTime("%Y%m%d", "20240201"));
    const TramoLine::tramoLine_t built = round.toTramoLine();
    std::wcout << std::wstring(&built[31], 20) << L'\n';
    //> Ring the bell twice.

    round.setName(L"longer than the twenty characters of the field");
    round.toTramoLine();
    for (const TE::FieldError& error : round.getBuildErrors())
        std::wcout << L"column " << error.column << L": " << std::hex << error.code << std::dec << L'\n';
    //> column 10: 102
    //! [RoundTramoModel]
}

void meterSubscriber(const Line& line) {
    //! [MeterSubscriberTramoModel]
    MeterSubscriberTramoModel meter(line);
    std::wcout << meter.getMeterSerialNumber() << L": " << meter.getMeterReadingIndex() << L'\n';
    //> C12AB0100000: 6054

    meter.setMeterReadingDate(0);      // no reading
    meter.setMeterReadingIndex(-1);
    meter.toTramoLine();
    std::wcout << L"findings: " << meter.getMandatoryErrors().size() << L'\n';
    //> findings: 1
    //! [MeterSubscriberTramoModel]
}

void amr(const Line& line) {
    //! [AMRTramoModel]
    const AMRTramoModel module(line);
    std::wcout << module.getSerialNumber() << L" on " << module.getMeterSerialNumber() << L", pulse weight "
               << module.getPulseWeight() << (module.getCurrentAlarmLeakCurrent() ? L", leaking" : L", tight") << L'\n';
    //> 4C30000000 on C12AB0100000, pulse weight 0.01, leaking
    //! [AMRTramoModel]
}

void meterChange(const Line& line) {
    //! [MeterChangeTramoModel]
    const MeterChangeTramoModel change(line);
    std::wcout << change.getOldMeterSerialNumber() << L" -> " << change.getNewMeterSerialNumber() << L" from "
               << change.getNewMeterIndex() << L'\n';
    //> C19AB0100259 -> N24000500007 from 1
    //! [MeterChangeTramoModel]
}

void extendedAmr(const Line& line) {
    //! [ExtendedAMRTramoModel]
    const ExtendedAMRTramoModel reading(line);
    std::wcout << reading.getAmrSerialNumber() << L": " << reading.getMeterIndex() << L", before that "
               << reading.getHistory1Index() << L'\n';
    //> 4C30000000: 6062.5, before that 6008.67
    //! [ExtendedAMRTramoModel]
}

void enquiryDefinition() {
    //! [EnquiryDefinitionTramoModel]
    EnquiryDefinitionTramoModel page;
    page.setPageNumber(L"01");
    page.setOrder(7);
    page.setArea1Label(L"Access");
    page.setArea1Type(TF::EnquiryAreaType::AreaC);
    page.setArea1Size(1);
    for (const TE::FieldError& error : page.getMandatoryErrors())
        std::wcout << L"column " << error.column << L'\n';
    //> column 323

    page.setArea1List(L"ABCD");
    std::wcout << L"findings: " << page.getMandatoryErrors().size() << L", order: " << page.getOrderStr() << L'\n';
    //> findings: 0, order: 07
    //! [EnquiryDefinitionTramoModel]
}

void enquiryResult(const Line& line) {
    //! [EnquiryResultTramoModel]
    const EnquiryResultTramoModel answers(line);
    if (answers.getArea1Mode() == TF::EnquiryAreaMode::ModeH)
        std::wcout << answers.getMeterSerialNumber() << L": " << answers.getArea1Code() << L'\n';
    //> C13AB0100037: B
    //! [EnquiryResultTramoModel]
}

void extendedData() {
    //! [ExtendedDataTramoModel]
    ExtendedDataTramoModel place;
    place.setMeterSerialNumber(L"C12AB0100000");
    place.setLatitude(48.5);
    place.setLongitude(-0.25);  // altitude, accuracy and the rest stay blank
    const TramoLine::tramoLine_t line = place.toTramoLine();
    std::wcout << std::wstring(&line[13], 32) << L"|\n";
    //>  48.500000000000 -0.250000000000|
    //! [ExtendedDataTramoModel]
}

void recordInformation(const Line& line) {
    //! [RecordInformationTramoModel]
    RecordInformationTramoModel counters(line);
    std::wcout << counters.getRoundNumber() << L' ' << counters.getMeterNumber() << L'\n';
    //> 60 -1

    counters.setRoundNumber(1);
    counters.setMeterNumber(60);
    const TramoLine::tramoLine_t built = counters.toTramoLine();
    std::wcout << std::wstring(built.data(), 12) << L"|\n";
    //> 9    1   60 |
    //! [RecordInformationTramoModel]
}

void tag() {
    //! [TagTramoModel]
    iFileStream file;
    file.open("samples/tags.txt", StrConv::ENCODING_ANSI);
    TagLine::tagLine_t line;
    file.getline(line.size(), line);
    const TagTramoModel tag(line);
    std::wcout << tag.getCode() << L" stands for " << tag.getLabel() << L'\n';
    //> FU stands for Fuite
    //! [TagTramoModel]
}

void parameter() {
    //! [ParameterTramoModel]
    ParameterTramoModel parameter;
    parameter.setKey(L"LANGUAGE");
    parameter.setValue(L"en");
    const ParameterLine::parameterLine_t line = parameter.toParameterLine();
    std::wcout << parameter.toString() << L", " << line.size() << L" characters with the line ending\n";
    //> ParameterTramoModel[key:LANGUAGE,value:en], 42 characters with the line ending
    //! [ParameterTramoModel]
}

void key() {
    //! [AMRKeyTramoModel]
    tramo::ParsedKeyLine parsed = tramo::parseKeyLine(LR"({"serialNumber": "A1", "wmBusAddress_MeterId": 12})");
    const AMRKeyTramoModel module(parsed.line);
    std::wcout << module.getSerialNumber() << L", meter " << module.getWmBusAddressMeterId() << L", "
               << module.getMandatoryErrors().size() << L" values are missing\n";
    //> A1, meter 12, 8 values are missing
    //! [AMRKeyTramoModel]
}

void anyRecord(const Line& line) {
    //! [AnyRecord]
    const tramo::AnyRecord record(line);
    if (!record.kind()) return;  // unknown record kind
    for (const tramo::Field& field : record.kind()->fields)
        if (field.kind == tramo::FieldKind::Text && record.get(field) != field.defaultValue)
            std::wcout << field.name.c_str() << L'=' << std::get<std::wstring>(record.get(field)) << L'\n';
    if (const auto* change = std::get_if<MeterChangeTramoModel>(&record.model()))
        std::wcout << L"starts from " << change->getNewMeterIndex() << L'\n';
    //> oldMeterSerialNumber=C19AB0100259
    //> newMeterSerialNumber=N24000500007
    //> starts from 1
    //! [AnyRecord]
}

void codes(const Line& line) {
    //! [TF]
    MeterSubscriberTramoModel meter(line);
    std::wcout << static_cast<wchar_t>(meter.getMeterFluidType()) << L'\n';
    //> H
    meter.setMeterFluidType(TF::MeterFluid::Unset);  // its column stays blank
    //! [TF]
}

void dates() {
    //! [DateUtils]
    std::wcout << DateUtils::strToTime("%Y%m%d", "20240131") << L'\n';
    //> 1706659200
    const bool isNone = DateUtils::strToTime("%Y%m%d", "20240231") == std::numeric_limits<long32>::min();
    std::wcout << std::boolalpha << isNone << L'\n';
    //> true
    //! [DateUtils]
}

void text() {
    //! [StringUtils]
    std::wcout << StringUtils::to_wstring("T0412") << L' ' << StringUtils::reverseByBlock(L"AB12", 2) << L'\n';
    //> T0412 12AB
    //! [StringUtils]
}

void reading() {
    //! [read_exception]
    iFileStream file;
    try {
        file.open("missing.txt", StrConv::ENCODING_ANSI);
    } catch (const TramoStreamExceptions::read_exception& problem) {
        std::wcout << problem.what() << L'\n';
    }
    //> Unsupported encoding.
    //! [read_exception]
}

void writing() {
    //! [write_exception]
    oFileStream file("greek.txt", StrConv::ENCODING_ANSI);
    try {
        file.putLine(L"\u03a9", true);
    } catch (const TramoStreamExceptions::write_exception& problem) {
        std::wcout << problem.what() << L'\n';  // nothing of the line is in the file
    }
    //> cannot write to greek.txt: the encoding cannot represent the character U+03A9 in column 1
    //! [write_exception]
}

void lengths() {
    //! [bad_line_length]
    oFileStream file("short.txt", StrConv::ENCODING_ANSI);
    TramoLine::tramoLine_t line = RoundTramoModel().toTramoLine();
    try {
        file.putLine(line, 512);
    } catch (const TramoStreamExceptions::bad_line_length& problem) {
        std::wcout << problem.given << L" instead of " << problem.expected << L'\n';
    }
    //> 512 instead of 514
    //! [bad_line_length]
}

void fieldError() {
    //! [FieldError]
    RoundTramoModel round;
    round.setCode(L"T0412");
    TramoLine::tramoLine_t line = round.toTramoLine();
    line[498] = L'x';  // column 499, the start of the import date

    const RoundTramoModel broken(line);
    const TE::FieldError error = broken.getParseErrors().front();
    const tramo::Field* field = tramo::kindOf<RoundTramoModel>().fieldOf(error);
    std::wcout << tramo::errorName(error.code).data() << L" reported at " << error.column << L", about "
               << field->name.c_str() << L" at " << field->column << L'\n';
    //> ParseDate reported at 8, about roundImportDate at 499
    //! [FieldError]
}

void field(const Line& line) {
    //! [Field]
    MeterSubscriberTramoModel meter(line);
    const tramo::Field& wheels = *tramo::kindOf<MeterSubscriberTramoModel>().field("meterWheels");
    std::wcout << L"column " << wheels.column << L", " << wheels.width << L" wide: "
               << std::get<long long>(tramo::get(meter, wheels)) << L'\n';
    //> column 364, 2 wide: 6

    const bool set = tramo::set(meter, wheels, 5LL);
    const bool refused = !tramo::set(meter, wheels, std::wstring(L"six"));
    std::wcout << std::boolalpha << set << L' ' << refused << L' ' << meter.getMeterWheels() << L'\n';
    //> true true 5
    //! [Field]
}

void ignoredTexts() {
    //! [ignoredTexts]
    const std::wstring line = L"3C12AB0100007C12AB0200009 5      6O5420240131";
    for (const tramo::IgnoredText& ignored : tramo::ignoredTexts(*tramo::recordKind(line[0]), line))
        std::wcout << (ignored.field ? ignored.field->name.c_str() : "no field") << L", column " << ignored.column << L": "
                   << line.substr(static_cast<std::size_t>(ignored.column - 1), static_cast<std::size_t>(ignored.width)) << L'\n';
    //> newMeterIndex, column 35: O54
    //! [ignoredTexts]
}

void checker() {
    //! [Checker]
    tramo::setMessages(tramo::Messages::Silent);  // or the models that read the line print messages
    std::wstring line = L"3C12AB0100007C12AB0200009 5      60542024013";
    line.resize(512, L' ');
    tramo::Checker checker({.prevailing = tramo::LineKind::Record});
    std::vector<tramo::Finding> findings;
    checker.line({.text = line, .carriageReturn = true, .lineFeed = true, .number = 1}, findings);
    checker.end({.lines = 1}, findings);
    for (const tramo::Finding& finding : findings)
        std::wcout << finding.line << ':' << finding.column << ": " << tramo::sentenceOf(finding).c_str() << '\n';
    tramo::setMessages(tramo::Messages::StandardOutput);
    //> 1:38: newMeterInstallationDate: invalid date "2024013" [ParseDate 0x01B]: expected 8 digits (YYYYMMDD), found 7
    //> 1:38: newMeterInstallationDate: missing value [MandatoryMissing 0x201]: it has no date
    //! [Checker]
}

void severities() {
    //! [Severities]
    tramo::Severities severities;
    severities.set(*tramo::ruleNamed("CardOrder"), std::nullopt);             // not reported
    severities.set(*tramo::ruleNamed("PositionFar"), tramo::Severity::Hint);  // only to be looked at
    const tramo::RoundFile file = tramo::RoundFile::read("samples/round-returned.txt");
    std::wcout << file.findings({.severities = severities}).size() << L" findings\n";
    //> 0 findings
    //! [Severities]
}

void meterFindings() {
    //! [MeterFindings]
    const tramo::RoundFile file = tramo::RoundFile::read("samples/round-returned.txt");
    for (const tramo::Meter& meter : file.rounds().front().meters())
        for (const tramo::Finding& finding : meter.findings())
            std::wcout << meter.serial().c_str() << L", line " << finding.line << L": " << finding.sentence.c_str() << L'\n';
    std::wcout << file.rounds().front().meters().size() << L" meters\n";
    //> 60 meters
    //! [MeterFindings]
}

void diagnosis() {
    //! [Diagnosis]
    tramo::setMessages(tramo::Messages::Silent);
    const std::string bytes = "VERSION 4.2                             \n"
                              "LANGUE  FR                              \n";
    for (const tramo::Finding& finding : tramo::diagnose(bytes)) {
        const tramo::SomeLines& lines = finding.lines;
        std::wcout << finding.sentence.c_str() << L": " << lines.count << L" lines from line " << lines.first[0] << L'\n';
    }
    tramo::setMessages(tramo::Messages::StandardOutput);
    //> lines end in LF instead of CR LF: 2 lines from line 1
    //! [Diagnosis]
}

void repair() {
    //! [Repair]
    tramo::setMessages(tramo::Messages::Silent);
    const std::string damaged = "VERSION 4.2                             \n"
                                "LANGUE  FR                              \n";
    tramo::Repair repair(tramo::readingFrom(damaged));
    std::string mended;
    repair.run({.write = [&](std::string_view bytes) { mended += bytes; },
        .step = [](const tramo::RepairStep& step) { std::wcout << step.line << L": " << step.rule->name.data() << L'\n'; },
        .proposal = {}});
    std::wcout << (repair.isWell() ? L"well: " : L"not well: ") << mended.size() << L" bytes\n";
    tramo::setMessages(tramo::Messages::StandardOutput);
    //> 1: LineEndingsLf
    //> 2: LineEndingsLf
    //> well: 84 bytes
    //! [Repair]
}

void repairReference() {
    //! [RepairReference]
    tramo::setMessages(tramo::Messages::Silent);
    const tramo::RecordKind& meter = tramo::kindOf<MeterSubscriberTramoModel>();
    std::string exported(512, ' ');
    exported[0] = static_cast<char>(meter.letter);
    exported.replace(5, 11, "1 Main Road");
    exported.replace(155, 19, "R20230711        69");
    exported.replace(231, 6, "GARAGE");
    exported.replace(351, 12, "C12AB0100000");
    exported += "\r\n";
    std::string damaged = exported;
    damaged.erase(8, 1);
    const tramo::RepairReference reference(tramo::readingFrom(exported));
    const tramo::RepairOptions with{.reference = &reference}, accepting{.accepted = {tramo::AcceptedProposal{1, 1}}};

    tramo::Repair repair(tramo::readingFrom(damaged), with);
    for (const tramo::MendedLines& mended : repair.mended())
        std::wcout << mended.rule->name.data() << L": " << mended.lines.count << L" line\n";
    std::wcout << (tramo::repaired(damaged, with) == exported) << (tramo::repaired(damaged, accepting) == exported) << L'\n';

    tramo::RepairOutput output;
    output.proposal = [](const tramo::RepairProposal& proposal) {
        if (proposal.number == 1) std::wcout << proposal.characters << L" in " << proposal.field->name.c_str() << L'\n';
    };
    tramo::Repair(tramo::readingFrom(damaged)).run(output);
    tramo::setMessages(tramo::Messages::StandardOutput);
    //> CharacterLost: 1 line
    //> truefalse
    //> -1 in subscriberInformation
    //! [RepairReference]
}

void fileHead() {
    //! [FileHead]
    const std::string_view bytes = "PK\3\4";
    const tramo::FileHead head(bytes, true);
    if (!head.hasLines()) std::wcout << head.findings().front().sentence.c_str() << L'\n';
    //> this is a ZIP archive, not an exchange file
    //! [FileHead]
}

void keyFileChecker() {
    //! [KeyFileChecker]
    tramo::KeyFileChecker checker;
    std::vector<tramo::Finding> findings;
    for (const char* file : {"first.txt", "second.txt"}) {
        checker.file(file);
        const tramo::ParsedKeyLine parsed = tramo::parseKeyLine(LR"({"serialNumber":"4C30000000"})");
        if (!parsed.error) checker.line(parsed.line, 1, findings);
    }
    for (const tramo::Finding& finding : findings)
        std::wcout << finding.line << L": " << tramo::sentenceOf(finding).c_str() << L'\n';
    //> 1: serialNumber: same value as in line 1 of first.txt [KeyLineDuplicate]
    //! [KeyFileChecker]
}

void rule() {
    //! [Rule]
    const tramo::Rule& rule = *tramo::ruleNamed("LineTooShort");
    std::wcout << rule.description.c_str() << (rule.severity == tramo::Severity::Error ? " An error.\n" : "\n");
    //> A line has fewer characters than its kind requires. An error.
    //! [Rule]
}

void checkSummary() {
    //! [CheckSummary]
    const tramo::CheckOptions options{.strict = true, .prevailing = tramo::LineKind::Tag};
    tramo::Checker checker(options);
    std::vector<tramo::Finding> findings;
    const tramo::SourceLine line{.text = L"too short", .carriageReturn = true, .lineFeed = true, .number = 1};
    checker.line(line, findings);
    for (const tramo::LinesOfKind& kind : checker.summary().lineKinds())
        std::wcout << kind.lines << ' ' << kind.name.c_str() << '\n';
    for (const tramo::FindingsOfField& found : checker.summary().findingCounts())
        std::wcout << found.count.all() << ' ' << found.rule->name.data() << '\n';
    const tramo::FindingCount& total = checker.summary().total;
    std::wcout << total.errors << " and " << total.warnings << '\n';
    //> 1 tag line
    //> 1 LineTooShort
    //> 1 and 0
    //! [CheckSummary]
}

void kindCensus() {
    //! [KindCensus]
    tramo::KindCensus census;
    census.add(std::wstring(512, L' '));
    census.add(L"cut short");
    const std::optional<tramo::LineKind> prevailing = census.prevailing();
    const tramo::LineShape& shape = tramo::shapeOf(*tramo::kindOfLine({.text = L"1 cut short"}, prevailing));
    std::wcout << shape.name << ", " << shape.length << '\n';
    //> record, 512

    const tramo::LongLineFacts facts{.size = 300'000'000};  // known from reading it piece by piece
    const tramo::SourceLine longLine{.text = L"only its beginning", .facts = &facts};
    std::wcout << longLine.size() << L'\n';
    //> 300000000
    //! [KindCensus]
}

void lineModel(const Line& line) {
    //! [LineModel]
    const std::wstring_view text(line.data(), 512);
    const tramo::LineModel model = *tramo::LineModel::of(tramo::LineKind::Record, text);
    const tramo::Field& date = *model.kind().field("meterReadingDate");
    std::wcout << tramo::textOf(date, model.get(date)) << L'\n';
    //> 2024-01-16T08:35
    //! [LineModel]
}

void errorReport() {
    //! [ErrorReport]
    const tramo::RecordKind& kind = *tramo::kindNamed("meter-change");
    for (const tramo::ErrorReport& report : tramo::reportsOf(kind, *kind.field("newMeterIndex"))) {
        const auto error = std::ranges::find(tramo::errorCodes(), report.error.code, &tramo::ErrorCode::code);
        std::wcout << "column " << report.error.column << ": " << error->name.data() << ", " << report.when.c_str() << '\n';
    }
    //> column 28: ParseInteger, its text is invalid
    //> column 28: BuildText, it cannot be written
    //> column 28: MandatoryMissing, it is empty
    //! [ErrorReport]
}

void recordKind() {
    //! [RecordKind]
    for (const tramo::RecordKind* kind : tramo::recordKinds())
        std::wcout << kind->letter << L' ' << kind->name.c_str() << L": " << kind->fields.size() << L" fields\n";
    //> 0 round: 47 fields
    //> 1 meter subscriber: 36 fields
    //> 2 AMR: 54 fields
    //> 3 meter change: 5 fields
    //> 4 extended AMR: 69 fields
    //> 5 enquiry definition: 39 fields
    //> 6 enquiry result: 18 fields
    //> 7 extended data: 8 fields
    //> 9 record information: 2 fields
    std::wcout << tramo::recordKind(L'1')->model.c_str() << L'\n';
    //> MeterSubscriberTramoModel
    //! [RecordKind]
}

void normalized() {
    //! [isSurelyNormalized]
    std::ifstream file("samples/round-returned.txt", std::ios::binary);
    int lines = 0, unchanged = 0;
    for (std::string line; std::getline(file, line); ++lines)
        if (const tramo::RecordKind* kind = tramo::recordKind(static_cast<unsigned char>(line[0])))
            unchanged += tramo::isSurelyNormalized(*kind, line);
    std::wcout << unchanged << L" of " << lines << L" lines need no model to be rewritten\n";
    //> 171 of 172 lines need no model to be rewritten
    //! [isSurelyNormalized]
}

void keyValue() {
    //! [KeyValue]
    const tramo::ParsedKeyLine parsed = tramo::parseKeyLine(LR"({"serialNumber": "A1", "wmBusKey_Mode5": "00112233"})");
    for (const tramo::KeyValue& value : tramo::keyValues)
        if (!value.isAbsent(parsed.line) && value.text)
            std::wcout << value.name.data() << L": " << (value.secret ? L"***" : parsed.line.*value.text) << L'\n';
    //> serialNumber: A1
    //> wmBusKey_Mode5: ***
    //! [KeyValue]
}

void keyLine() {
    //! [parseKeyLine]
    const tramo::ParsedKeyLine parsed = tramo::parseKeyLine(LR"({"serialNumber": 12, "colour": "red"})");
    for (const tramo::KeyLineRemark& remark : parsed.remarks)
        std::wcout << remark.name << (remark.reason == tramo::KeyLineRemark::WrongType ? L" is not a text\n" : L" is unknown\n");
    //> serialNumber is not a text
    //> colour is unknown

    const tramo::ParsedKeyLine broken = tramo::parseKeyLine(L"{");
    if (const std::optional<tramo::KeyLineError>& error = broken.error)
        std::wcout << L"column " << error->column() << L": " << error->text.c_str() << L'\n';
    //> column 2: Missing a name for object member.
    //! [parseKeyLine]
}

void decoding() {
    //! [decode]
    const tramo::RecordKind& change = *tramo::recordKind(L'3');
    const std::size_t index = change.field("newMeterIndex")->index;
    std::vector<tramo::DecodedValue> values(change.fields.size());
    std::ifstream file("samples/round-returned.txt", std::ios::binary);
    long long sum = 0;
    for (std::string line; std::getline(file, line);) {  // 512 characters and a carriage return
        if (line[0] != '3' || !tramo::decode(change, line, values)) continue;
        const tramo::DecodedValue& value = values[index];
        if (value.present) sum += value.integer;
    }
    std::wcout << L"new meters start from " << sum << L" in all\n";
    //> new meters start from 4 in all
    //! [decode]
}

void decodingLines() {
    //! [decodeLine]
    const tramo::RecordKind& module = *tramo::recordKind(L'4');
    const std::size_t serial = module.field("amrSerialNumber")->index;
    std::vector<tramo::DecodedValue> values(module.fields.size());
    std::string buffer;
    int withSerial = 0;
    for (const tramo::LineView& line : tramo::Reader("samples/round-returned.txt")) {
        if (line.kind() != &module || !line.decode(values)) continue;
        if (!line.text(values[serial], buffer).empty()) ++withSerial;
    }
    std::wcout << withSerial << L" radio modules with a serial number\n";
    //> 20 radio modules with a serial number
    //! [decodeLine]
}

void columns() {
    //! [Columns]
    const tramo::RecordKind& kind = *tramo::recordKind(L'1');
    const tramo::Field* fields[] = {kind.field("meterSerialNumber"), kind.field("meterReadingIndex")};
    tramo::Columns columns(kind, fields);
    std::ifstream file("samples/round-returned.txt", std::ios::binary);
    std::int64_t number = 0;
    for (std::string line; std::getline(file, line);) columns.add(++number, std::string_view(line).substr(0, 512));

    const tramo::Column serials = columns[0], indices = columns[1];
    std::wcout << indices.rows << L" meters, " << indices.absent << L" without an index\n";
    if (indices.has(0))
        std::wcout << L"line " << columns.lines()[0] << L": " << std::string(serials.text(0)).c_str() << L' '
                   << indices.value<std::int32_t>(0) << L'\n';
    //> 60 meters, 6 without an index
    //> line 4: C12AB0100000 6054
    //! [Columns]
}

void arrow() {
    //! [arrowStream]
    const tramo::ArrowStreamOptions options{.rowsPerBatch = 50};
    ArrowArrayStream stream;
    tramo::arrowStream("samples/round-returned.txt", *tramo::recordKind(L'1'), {}, &stream, options);
    // Usually, a database or a data frame library does the rest.
    ArrowSchema schema;
    stream.get_schema(&stream, &schema);
    std::wcout << schema.n_children << L" columns: " << schema.children[0]->name << L", " << schema.children[1]->name << L"...\n";
    schema.release(&schema);
    for (ArrowArray rows; stream.get_next(&stream, &rows) == 0 && rows.release; rows.release(&rows))
        std::wcout << rows.length << L" rows\n";
    stream.release(&stream);
    //> 37 columns: line, subscriberCardOrder...
    //> 50 rows
    //> 10 rows
    //! [arrowStream]
}

void malformedStream() {
    //! [malformedStream]
    ArrowArrayStream stream;
    tramo::arrowStream(tramo::Reader("samples/round-damaged.txt", {.encoding = tramo::Encoding::Ansi}), &stream);
    for (ArrowArray rows; stream.get_next(&stream, &rows) == 0 && rows.release; rows.release(&rows))
        std::wcout << rows.length << L" lines have no fields\n";
    stream.release(&stream);
    //> 4 lines have no fields
    //! [malformedStream]
}

//! [ArrowBatches]
// The meters of a file as a stream.
struct MeterBatches : tramo::ArrowBatches {
    tramo::RoundFile file;
    tramo::MeterTable meters{file, {.rowsPerBatch = 40}};

    explicit MeterBatches(tramo::RoundFile of) : file(std::move(of)) {}
    void exportSchema(ArrowSchema* out) const override { meters.exportSchema(out); }
    bool exportRows(ArrowArray* out) override { return meters.exportRows(out); }
};

void meterStream() {
    ArrowArrayStream stream;
    tramo::arrowStream(std::make_unique<MeterBatches>(tramo::RoundFile::read("samples/round-returned.txt")), &stream);
    for (ArrowArray rows; stream.get_next(&stream, &rows) == 0 && rows.release; rows.release(&rows))
        std::wcout << rows.length << L" meters\n";
    stream.release(&stream);
    //> 40 meters
    //> 20 meters
}
//! [ArrowBatches]

void sharedRows() {
    //! [shareArrow]
    const auto release = [](ArrowArray* rows) {
        if (rows->release) rows->release(rows);
        delete rows;
    };
    const std::shared_ptr<ArrowArray> rows(new ArrowArray{}, release);
    tramo::Columns columns(*tramo::recordKind(L'1'));
    for (const tramo::LineView& line : tramo::Reader("samples/round-returned.txt")) columns.add(line);
    columns.exportRows(rows.get());
    ArrowArray first, second;  // for two consumers, each of which releases its own
    tramo::shareArrow(rows, &first);
    tramo::shareArrow(rows, &second);
    first.release(&first);
    std::wcout << second.length << L" rows\n";
    second.release(&second);
    //> 60 rows
    //! [shareArrow]
}

void arrowBatches() {
    //! [batchesOfColumns]
    struct Located : tramo::ArrowBatches {  // meters with a position, of a round that is in memory
        tramo::Columns columns{*tramo::recordKind(L'1')};

        void exportSchema(ArrowSchema* out) const override { columns.exportSchema(out); }
        bool exportRows(ArrowArray* out) override {
            if (columns.rows() == 0) return false;
            columns.exportRows(out);
            return true;
        }
    };
    const tramo::RoundFile file = tramo::RoundFile::read("samples/round-returned.txt");
    auto batches = std::make_unique<Located>();
    for (const tramo::Round& round : file.rounds())
        for (const tramo::Meter& meter : round.meters())
            if (meter.place()) batches->columns.add(meter.subscriber());

    ArrowArrayStream stream;
    tramo::arrowStream(std::move(batches), &stream);
    for (ArrowArray rows; stream.get_next(&stream, &rows) == 0 && rows.release; rows.release(&rows))
        std::wcout << rows.length << L" meters\n";
    stream.release(&stream);
    //> 30 meters
    //! [batchesOfColumns]
}

void meterTable() {
    //! [MeterTable]
    const tramo::RoundFile file = tramo::RoundFile::read("samples/round-returned.txt");
    tramo::MeterTable meters(file);
    ArrowArray rows;
    while (meters.exportRows(&rows)) {
        std::wcout << rows.length << L" meters, " << rows.n_children << L" columns\n";
        rows.release(&rows);
    }
    //> 60 meters, 25 columns
    //! [MeterTable]
}

void lineTable() {
    //! [LineTable]
    tramo::LineTable malformed;
    tramo::Reader reader("samples/round-damaged.txt");
    for (const tramo::LineView& line : reader)
        if (line.fault() != tramo::LineFault::None) malformed.add(line);
    std::wcout << malformed.rows() << L" malformed lines\n";
    //> 4 malformed lines
    //! [LineTable]
}

void areaColumns() {
    //! [AreaColumns]
    const tramo::RoundFile file = tramo::RoundFile::read("samples/round-returned.txt");
    tramo::AreaColumns areas({"line", "state"});
    for (const tramo::Round& round : file.rounds()) areas.columnsOf(round);
    std::wcout << areas.names().size() << L" columns, the third is " << areas.names()[2].c_str() << L'\n';
    //> 7 columns, the third is Commune
    //! [AreaColumns]
}

void fileChecker() {
    //! [FileChecker]
    const tramo::FileCheckOptions options{.lines = {.strict = true}, .each = true};
    const tramo::CheckedFile file = tramo::checkFile("samples/round-damaged.txt", options);
    std::wcout << file.diagnosis.size() << L" about the file, " << file.findings.size() << L" about its lines\n";
    //> 3 about the file, 5 about its lines
    //! [FileChecker]
}

void fileParts() {
    //! [FileParts]
    const tramo::FileParts file = tramo::splitFile("samples/round-returned.txt", 40000);
    for (const tramo::FilePart& part : file.parts)
        std::wcout << L"from line " << part.firstLine << L": " << part.size << L" bytes\n";
    //> from line 1: 40092 bytes
    //> from line 79: 40092 bytes
    //> from line 157: 8224 bytes
    //! [FileParts]
}

void roundFile() {
    //! [RoundFile]
    const tramo::RoundFile file = tramo::RoundFile::read("samples/round-returned.txt");
    for (const tramo::Round& round : file.rounds())
        std::wcout << round.code().c_str() << L": " << round.read() << L" of " << round.meters().size() << L" meters read\n";
    //> T0412: 54 of 60 meters read

    for (const tramo::Orphan& orphan : file.orphans())  // this file has none
        std::wcout << L"line " << orphan.line->number() << L": " << orphan.reason.c_str() << L'\n';
    std::wcout << file.lines().size() << L" lines, " << file.findings().size() << L" findings\n";
    //> 172 lines, 0 findings
    //! [RoundFile]
}

void round() {
    //! [Round]
    const tramo::RoundFile file = tramo::RoundFile::read("samples/round-returned.txt");
    const tramo::Round& round = file.rounds().front();
    for (const tramo::Area& area : round.areas())
        if (area.of == tramo::Area::Meter)
            std::wcout << area.label.c_str() << L": " << area.length << L" characters from " << area.position << L'\n';
    //> Emplacement: 30 characters from 0
    //> Calibre: 4 characters from 30
    //> Marque: 16 characters from 34

    const tramo::AreaDefinition& first = tramo::areaDefinitions().front();
    std::wcout << first.label->name.c_str() << L" is the label of a part of " << first.text->name.c_str() << L'\n';
    //> subscriberInformationLabelArea1 is the label of a part of subscriberInformation

    const tramo::Meter* meter = round.meter("C12AB0100000");
    if (meter) std::wcout << meter->area("Emplacement").value_or("?").c_str() << L'\n';
    //> GARAGE
    //! [Round]
}

void meter() {
    //! [Meter]
    const tramo::RoundFile file = tramo::RoundFile::read("samples/round-returned.txt");
    const tramo::Meter& meter = file.rounds().front().meters().front();
    if (const std::optional<tramo::Reading> reading = meter.reading()) {
        const tramo::Origin& at = reading->origin;
        std::wcout << *reading->index << L", " << *meter.difference() << L" more than before (line " << at.line << L", column "
                   << at.column << L")\n";
    }
    //> 6054, 56 more than before (line 4, column 426)

    for (const tramo::AreaText& text : meter.areas())
        if (text.area && text.area->label == "Calibre") std::wcout << text.text.c_str() << L'\n';
    //> 015

    const std::vector<tramo::HistoryItem> history = meter.history();
    const std::vector<tramo::ModuleReading> series = meter.moduleReadings();
    std::wcout << history.size() << L" earlier readings, " << series.size() << L" of the radio module\n";
    //> 3 earlier readings, 9 of the radio module

    for (const tramo::Alarm& alarm : meter.alarms())
        if (!alarm.isPrevious) std::wcout << L"line " << alarm.origin.line << L": " << std::string(alarm.name).c_str() << L'\n';
    //> line 5: LeakPastOrCurrent
    //> line 5: LeakCurrent
    //> line 6: leak

    const tramo::AlarmDefinition& first = tramo::alarmDefinitions(tramo::kindOf<ExtendedAMRTramoModel>()).front();
    std::wcout << std::string(first.name).c_str() << L", field " << std::string(first.flag->name).c_str() << L'\n';
    //> fraud, field fraudAlarm

    if (const std::optional<tramo::Place> place = meter.place())
        std::wcout << place->latitude << L' ' << place->longitude << L'\n';
    //> 48.4999 -1.60015

    for (const tramo::Meter& other : file.rounds().front().meters()) {
        for (const tramo::MeterChange& change : other.changes())
            std::wcout << change.oldSerial.c_str() << L" -> " << change.newSerial.c_str() << L'\n';
        for (const tramo::Answer& answer : other.answers())
            if (answer.result == "21") std::wcout << answer.question.c_str() << L": " << answer.result.c_str() << L'\n';
        if (!other.changes().empty()) break;  // the first one is enough here
    }
    //> Pression: 21
    //> C19AB0100259 -> N24000500007
    //! [Meter]
}

void anonymizer() {
    //! [Anonymizer]
    const tramo::AnonymizeOptions options{.shiftDates = true};
    tramo::Anonymizer anonymizer("sixteen secret bytes, or more", options);
    tramo::AnonymizeProof proof(options);
    const std::wstring line = tramo::Line::of<MeterChangeTramoModel>(
        {{"oldMeterSerialNumber", "C12AB0100007"}, {"newMeterSerialNumber", "C12AB0200009"}}).wide();
    std::wstring made;
    anonymizer.replace(line, tramo::LineKind::Record, made);  // without labels to learn before
    const bool isProven = proof.compare(line, made, tramo::LineKind::Record);
    std::wcout << isProven << L' ' << made.size() << L'\n';
    std::wcout << anonymizer.pseudonymOf("C12AB0100007").c_str() << L'\n';  // as in the line
    //> true 512
    //> U07EI1982341
    //! [Anonymizer]
}

void reconciliation() {
    //! [Reconciliation]
    const tramo::RoundFile exported = tramo::RoundFile::read("samples/round-exported.txt");
    const tramo::RoundFile returned = tramo::RoundFile::read("samples/round-broken.txt");
    const tramo::Reconciliation reconciled(exported, returned);
    for (const tramo::ReconciledRound& round : reconciled.rounds()) {
        std::wcout << round.read << L" of " << round.exportedMeters << L" meters read, " << round.missing << L" missing\n";
        for (const tramo::ReconciledMeter& meter : round.meters)
            if (meter.state == tramo::ReconciledMeter::Missing) std::wcout << L"missing: " << meter.serial.c_str() << L'\n';
        for (const tramo::Difference& difference : round.differences)
            if (difference.what == tramo::Difference::MeterMissing)
                std::wcout << difference.serial.c_str() << L": " << tramo::sentenceOf(difference).c_str() << L'\n';
    }
    //> 52 of 60 meters read, 1 missing
    //> missing: C12AB0100666
    //> C12AB0100666: the meter did not come back
    //! [Reconciliation]
}

void lineView() {
    //! [LineView]
    tramo::Reader reader("samples/round-returned.txt");
    const tramo::Field& index = *tramo::kindOf<MeterSubscriberTramoModel>().field("meterReadingIndex");  // looked up once
    for (const tramo::LineView& line : reader) {
        if (!line.is<MeterSubscriberTramoModel>() || line.number() > 5) continue;
        std::wcout << L"line " << line.number() << L": " << line.text("meterSerialNumber").value_or("?").c_str() << L", ";
        if (const std::optional<long long> value = line[index].integer()) std::wcout << *value << L'\n';
        else std::wcout << (line[index].valid() ? L"no index\n" : L"invalid index\n");
    }
    //> line 4: C12AB0100000, 6054
    //! [LineView]
}

void reader() {
    //! [Reader]
    const tramo::ReadOptions options{.encoding = tramo::Encoding::Ansi};
    tramo::Reader reader(std::nothrow, "samples/round-damaged.txt", options);
    for (const tramo::LineView& line : reader)
        if (line.fault() != tramo::LineFault::None)
            std::wcout << L"line " << line.number() << L" at byte " << line.offset() << L": "
                       << std::string(describe(line.fault())).c_str() << L'\n';
    if (reader.error()) std::wcout << reader.message().c_str() << L'\n';
    //> line 6 at byte 2570: the line is too short
    //> line 12 at byte 5375: the line is too long
    //> line 20 at byte 9489: the line is empty
    //> line 173 at byte 87619: the line is too short
    //! [Reader]
}

void ownLine() {
    //! [Line]
    tramo::Line line(tramo::kindOf<MeterChangeTramoModel>());
    const std::chrono::local_days day{std::chrono::year{2024} / 1 / 31};
    for (const tramo::SetResult& result : {line.set("oldMeterSerialNumber", "C12AB0100000"), line.set("newMeterIndex", 12),
             line.set("newMeterInstallationDate", day), line.set("newMeterWheelsNumber", 123)})
        if (!result) std::wcout << result.reason.c_str() << L'\n';
    std::wcout << line.utf8().substr(0, 46).c_str() << L"|\n";
    //> newMeterWheelsNumber: the value needs 3 columns; the field has 2
    //> 3C12AB0100000                      1220240131 |
    //! [Line]
}

void writer() {
    //! [Writer]
    try {
        tramo::Reader reader("samples/round-returned.txt");
        tramo::Writer unread("unread.txt", reader.encoding());
        for (const tramo::LineView& line : reader)
            if (line.is<RoundTramoModel>() || (line.is<MeterSubscriberTramoModel>() && !line.time("meterReadingDate")))
                unread.put(line);
        unread.commit();  // the file appears now
    } catch (const std::system_error& error) { std::wcout << error.what() << L'\n'; }
    std::wcout << std::filesystem::file_size("unread.txt") / 514 << L" lines\n";
    //> 7 lines
    //! [Writer]
}

void names() {
    //! [typename_hash]
    std::wcout << typename_hash<tramo::AnyRecord>::gen_value().c_str() << L'\n';
    //> tramo::AnyRecord
    //! [typename_hash]
}

void logFile() {
    //! [log]
    io::log::initializer::m_logFileName = "import.log";
    io::log::writer<iFileStream>::write(io::log::Warn, "%1 of %2 lines are blank.", 3, 172);

    std::string line;
    std::getline(std::ifstream("import.log"), line);
    std::wcout << line.substr(8).c_str() << L'\n';  // after the time
    //>  log     Warn  {iFileStream} 3 of 172 lines are blank.
    //! [log]
}

void outputStream() {
    //! [oFileStream]
    RoundTramoModel round;
    round.setCode(L"T0412");

    oFileStream out;
    out.open("new-round.txt", StrConv::ENCODING_UTF16LE);  // a new file: the stream appends
    out.putLine(round.toTramoLine(), 514);
    out.close();
    std::wcout << (out.rdstate() == 0 ? L"written: " : L"not written: ") << out.getLineNumber() << L" line\n";
    //> written: 1 line
    //! [oFileStream]
}

void inputStream() {
    //! [iFileStream]
    iFileStream in;
    in.open("samples/round-returned.txt", StrConv::ENCODING_ANSI);
    int meters = 0;
    for (TramoLine::tramoLine_t line; !in.eof();) {
        in.getline(line.size(), line);
        if (line[0] == L'1') ++meters;
    }
    std::wcout << meters << L" meters in " << in.getLineNumber() << L" lines\n";
    //> 60 meters in 172 lines
    //! [iFileStream]
}

void buffer(TramoLine::tramoLine_t line) {
    //! [TramoLine]
    const wchar_t letter = line[0];               // column 1
    const std::wstring code(&line[1], 8);         // columns 2 to 9
    line[9] = L'!';                               // column 10
    std::wcout << letter << L' ' << StrConv::resize(&line[1], 8, true) << L'|' << code << L"|\n";
    //> 0 T0412|T0412   |
    //! [TramoLine]
}

void keyBuffer() {
    //! [AMRKeyLine]
    iFileStream file;
    file.open("samples/amr-keys.txt", StrConv::ENCODING_ANSI);
    AMRKeyLine line;
    file.getline(line);
    const tramo::ParsedKeyLine parsed = tramo::parseKeyLine(line.line);
    std::wcout << parsed.line.serialNumber << L", address " << parsed.line.wmBusAddress[0] << L'\n';
    //> 4C30000000, address 12345678
    //! [AMRKeyLine]
}

void conversions(TramoLine::tramoLine_t line) {
    //! [StrConv]
    std::wstring text = StrConv::resize(&line[498], 8, true);  // columns 499 to 506
    long32 imported = 0;
    if (StrConv::toDate(text, imported)) std::wcout << text << L" is " << imported << L'\n';
    //> 20240115 is 1705276800

    StrConv::fromInt(42, &line[29], 2);                        // columns 30 and 31
    std::wcout << std::wstring(&line[29], 2) << L'\n';
    //> 42

    std::wstring none = L"six";
    int number = 0;
    if (!StrConv::toInt(none, number)) std::wcout << number << L'\n';
    //> toInt: six cannot be converted.
    //> 0
    //! [StrConv]
}

void messages() {
    //! [setMessages]
    tramo::setMessages(tramo::Messages::Silent);
    std::wstring text = L"six";
    int number = 0;
    const bool converted = StrConv::toInt(text, number);  // prints nothing
    tramo::setMessages(tramo::Messages::StandardOutput);
    std::wcout << std::boolalpha << converted << L'\n';
    //> false
    //! [setMessages]
}

// clang-format on

// Returns the first line of a kind in a valid file.
Line sampleLine(wchar_t letter) {
    iFileStream file;
    file.open("samples/round-returned.txt", StrConv::ENCODING_ANSI);
    Line line{};
    while (!file.eof() && line[0] != letter) file.getline(line.size(), line);
    return line;
}

template <class Example, class... Arguments> void run(const wchar_t* name, Example example, const Arguments&... arguments) {
    std::wcout << L'[' << name << L"]\n";
    example(arguments...);
}

}  // namespace

// Runs in a folder that contains the samples, in the time zone UTC.
int main() {
    run(L"RoundTramoModel", header, sampleLine(L'0'));
    run(L"MeterSubscriberTramoModel", meterSubscriber, sampleLine(L'1'));
    run(L"AMRTramoModel", amr, sampleLine(L'2'));
    run(L"MeterChangeTramoModel", meterChange, sampleLine(L'3'));
    run(L"ExtendedAMRTramoModel", extendedAmr, sampleLine(L'4'));
    run(L"EnquiryDefinitionTramoModel", enquiryDefinition);
    run(L"EnquiryResultTramoModel", enquiryResult, sampleLine(L'6'));
    run(L"ExtendedDataTramoModel", extendedData);
    run(L"RecordInformationTramoModel", recordInformation, sampleLine(L'9'));
    run(L"TagTramoModel", tag);
    run(L"ParameterTramoModel", parameter);
    run(L"AMRKeyTramoModel", key);
    run(L"AnyRecord", anyRecord, sampleLine(L'3'));
    run(L"TF", codes, sampleLine(L'1'));
    run(L"DateUtils", dates);
    run(L"StringUtils", text);
    run(L"read_exception", reading);
    run(L"write_exception", writing);
    run(L"bad_line_length", lengths);
    run(L"FieldError", fieldError);
    run(L"Field", field, sampleLine(L'1'));
    run(L"ignoredTexts", ignoredTexts);
    run(L"Checker", checker);
    run(L"Rule", rule);
    run(L"CheckSummary", checkSummary);
    run(L"Severities", severities);
    run(L"MeterFindings", meterFindings);
    run(L"Diagnosis", diagnosis);
    run(L"FileHead", fileHead);
    run(L"Repair", repair);
    run(L"RepairReference", repairReference);
    run(L"KeyFileChecker", keyFileChecker);
    run(L"KindCensus", kindCensus);
    run(L"LineModel", lineModel, sampleLine(L'1'));
    run(L"ErrorReport", errorReport);
    run(L"RecordKind", recordKind);
    run(L"isSurelyNormalized", normalized);
    run(L"KeyValue", keyValue);
    run(L"parseKeyLine", keyLine);
    run(L"decode", decoding);
    run(L"decodeLine", decodingLines);
    run(L"Columns", columns);
    run(L"arrowStream", arrow);
    run(L"malformedStream", malformedStream);
    run(L"ArrowBatches", meterStream);
    run(L"shareArrow", sharedRows);
    run(L"batchesOfColumns", arrowBatches);
    run(L"RoundFile", roundFile);
    run(L"FileParts", fileParts);
    run(L"MeterTable", meterTable);
    run(L"LineTable", lineTable);
    run(L"AreaColumns", areaColumns);
    run(L"FileChecker", fileChecker);
    run(L"Round", round);
    run(L"Meter", meter);
    run(L"Anonymizer", anonymizer);
    run(L"Reconciliation", reconciliation);
    run(L"LineView", lineView);
    run(L"Reader", reader);
    run(L"Line", ownLine);
    run(L"Writer", writer);
    run(L"typename_hash", names);
    run(L"log", logFile);
    run(L"oFileStream", outputStream);
    run(L"iFileStream", inputStream);
    run(L"TramoLine", buffer, sampleLine(L'0'));
    run(L"AMRKeyLine", keyBuffer);
    run(L"StrConv", conversions, sampleLine(L'0'));
    run(L"setMessages", messages);
}
