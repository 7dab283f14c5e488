// A user's program: uses every part of the library, with values, errors and exceptions across its boundary.
#include <tramostream/tramostream.h>

#include <cstdio>
#include <iostream>
#include <rapidjson/document.h>
#include <stdexcept>
#include <string>
#include <system_error>
#include <variant>

namespace {

std::string narrow(const std::wstring& text) { return {text.begin(), text.end()}; }

void readRound(const char* path) {
    iFileStream file;
    file.open(path, StrConv::ENCODING_ANSI);
    int meters = 0, readings = 0;
    std::size_t errors = 0;
    std::string first;
    for (TramoLine::tramoLine_t line; !file.eof();) {
        file.getline(line.size(), line);
        const tramo::AnyRecord record(line);
        const auto* meter = std::get_if<MeterSubscriberTramoModel>(&record.model());
        if (!meter) continue;
        ++meters;
        readings += meter->getMeterReadingIndex() >= 0 ? 1 : 0;
        errors += meter->getParseErrors().size();
        if (first.empty()) first = narrow(meter->getMeterSerialNumber());
    }
    std::printf("%d meters, %d readings, %zu errors, the first is %s\n", meters, readings, errors, first.c_str());
}

void readNothing() {
    try {
        iFileStream file;
        file.open("/there/is/no/such/file", StrConv::ENCODING_ANSI);
        std::puts("opened a file that there is not");
    } catch (const TramoStreamExceptions::read_exception& error) { std::printf("read_exception: %s\n", error.what()); }
}

void readKey() {
    rapidjson::Document json;
    json.Parse(R"({"serialNumber": "42"})");
    const AMRKeyTramoModel key(json);
    std::printf("key of %s, %zu values missing\n", narrow(key.getSerialNumber()).c_str(), key.getMandatoryErrors().size());
}

void readByName() {
    const tramo::RecordKind& kind = tramo::kindOf<MeterSubscriberTramoModel>();
    const tramo::Field* wheels = kind.field("meterWheels");
    MeterSubscriberTramoModel meter;
    tramo::set(meter, *wheels, 7LL);
    std::printf("%s of a %s: %lld\n", wheels->name.c_str(), kind.name.c_str(), std::get<long long>(tramo::get(meter, *wheels)));
}

void readLines(const char* path) {
    int unread = 0;
    for (const tramo::LineView& line : tramo::Reader(path))
        unread += line.is<MeterSubscriberTramoModel>() && !line.time("meterReadingDate");
    std::printf("%d meters are not read\n", unread);
    try {
        tramo::Reader("/there/is/no/such/file");
    } catch (const std::system_error& error) { std::printf("system_error: %s\n", error.what()); }
    try {
        tramo::Line::of<RoundTramoModel>({{"name", std::string(100, 'x')}});
    } catch (const std::invalid_argument& error) { std::printf("invalid_argument: %s\n", error.what()); }
}

void readRounds(const char* path) {
    const tramo::RoundFile file = tramo::RoundFile::read(path);
    const tramo::Round& round = file.rounds().front();
    std::printf("round %s: %zu of %zu meters read, the first in %s\n", round.code().c_str(), round.read(), round.meters().size(),
        round.meters().front().area("Calibre").value_or("?").c_str());
}

}  // namespace

int main(int, char** arguments) {
    readRound(arguments[1]);
    readNothing();
    readKey();
    readByName();
    readLines(arguments[1]);
    readRounds(arguments[1]);
}
