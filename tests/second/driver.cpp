// Reports the library's results for lines: one request per line on the standard input, one answer per line, in JSON, on the
// standard output. tests/second/compare.py sends the requests and compares the answers with its own.
//
//     record MODEL LINE [MEMBER=VALUE ...]   parses the line, sets the members, checks and builds
//     empty  MODEL "" [MEMBER=VALUE ...]     the same with a default-constructed model
//     key    LINE BYTES                      a key line, and the bytes of its JSON text
//     call   FUNCTION ARGUMENT ...           one codec
//
// Tabs separate the words; wire.h describes how texts and values are written.
#include "calls.h"
#include "members.h"
#include "support/console.h"
#include "wire.h"
#include <algorithm>
#include <iostream>
#include <map>
#include <rapidjson/document.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Words = std::vector<std::string_view>;
using wire::json;

Words wordsOf(std::string_view request) {
    Words words;
    for (std::size_t end; (end = request.find('\t')) != request.npos; request.remove_prefix(end + 1))
        words.push_back(request.substr(0, end));
    words.push_back(request);
    return words;
}

// Truncates longer text and fills shorter text with zeros, like a line buffer after reading.
template <class Line> Line lineOf(std::string_view text) {
    Line line{};
    const std::wstring characters = wire::decoded(text);
    std::copy_n(characters.begin(), std::min(characters.size(), line.size()), line.begin());
    return line;
}
template <class Line> std::string textOf(const Line& line) { return json(std::wstring_view(line.data(), line.size())); }

template <class M> auto keptLine(const M& model) {
    if constexpr (requires { model.getTagLine(); }) return model.getTagLine();
    else if constexpr (requires { model.getParameterLine(); }) return model.getParameterLine();
    else return model.getTramoLine();
}
template <class M> auto build(M& model) {
    if constexpr (requires { model.toTagLine(); }) return model.toTagLine();
    else if constexpr (requires { model.toParameterLine(); }) return model.toParameterLine();
    else return model.toTramoLine();
}

std::string saidOn(const Console& console) { return wire::list(console.narrow(), console.wide()); }

template <class M> std::string valuesOf(M& model) {
    std::string values;
    for (const Member<M>& member : Members<M>::all)
        values += (values.empty() ? "\"" : ",\"") + std::string(member.name) + "\":" + member.get(model);
    return "{" + values + "},\"shown\":" + json(model.toString());
}

template <class M> void change(M& model, std::string_view assignment) {
    const std::size_t middle = assignment.find('=');
    const std::string_view name = assignment.substr(0, middle);
    for (const Member<M>& member : Members<M>::all)
        if (member.name == name) return member.set(model, assignment.substr(middle + 1));
    throw std::invalid_argument("there is no member " + std::string(name));
}

template <class M> M modelOf(const Words& words, const decltype(keptLine(std::declval<const M&>()))& line) {
    if constexpr (std::is_default_constructible_v<M>)
        if (words.at(0) == "empty") return M();
    return M(line);
}

template <class M> std::string record(const Words& words) {
    using Line = decltype(keptLine(std::declval<const M&>()));
    const Line line = lineOf<Line>(words.at(2));
    std::string answer;

    // In sequence: earlier calls change the results of later ones.
    const Console reading;
    M model = modelOf<M>(words, line);
    answer += "{\"parse\":" + json(model.getParseErrors());
    answer += ",\"said\":" + saidOn(reading);
    answer += ",\"values\":" + valuesOf(model);
    answer += ",\"kept\":" + textOf(keptLine(model));
    if constexpr (std::is_same_v<Line, TramoLine::tramoLine_t>) {
        const tramo::RecordKind* const kind = tramo::AnyRecord(line).kind();
        answer += ",\"kind\":" + json(kind ? kind->model : std::string());
    }

    for (std::size_t i = 3; i < words.size(); ++i) change(model, words[i]);
    if (words.size() > 3) answer += ",\"changed\":{\"values\":" + valuesOf(model) + '}';

    answer += ",\"mandatory\":" + json(model.getMandatoryErrors());
    answer += ",\"repeated\":" + json(model.getMandatoryErrors());
    answer += ",\"parseAfterwards\":" + json(model.getParseErrors());

    const Console writing;
    answer += ",\"line\":" + textOf(build(model));
    answer += ",\"build\":" + json(model.getBuildErrors());
    answer += ",\"saidWriting\":" + saidOn(writing);
    answer += ",\"keptAfterwards\":" + textOf(keptLine(model));
    return answer + '}';
}

const std::map<std::string_view, std::string (*)(const Words&)> records = {
    {"RoundTramoModel", record<RoundTramoModel>},
    {"MeterSubscriberTramoModel", record<MeterSubscriberTramoModel>},
    {"AMRTramoModel", record<AMRTramoModel>},
    {"MeterChangeTramoModel", record<MeterChangeTramoModel>},
    {"ExtendedAMRTramoModel", record<ExtendedAMRTramoModel>},
    {"EnquiryDefinitionTramoModel", record<EnquiryDefinitionTramoModel>},
    {"EnquiryResultTramoModel", record<EnquiryResultTramoModel>},
    {"ExtendedDataTramoModel", record<ExtendedDataTramoModel>},
    {"RecordInformationTramoModel", record<RecordInformationTramoModel>},
    {"TagTramoModel", record<TagTramoModel>},
    {"ParameterTramoModel", record<ParameterTramoModel>},
};

std::string keyModel(const AMRKeyTramoModel& model) {
    return "{\"shown\":" + json(model.toString()) + ",\"mandatory\":" + json(model.getMandatoryErrors()) +
           ",\"parse\":" + json(model.getParseErrors()) + ",\"values\":" +
           wire::list(model.getSerialNumber(), model.getHardwareVersion(), model.getFirmwareVersion(),
               model.getWmBusAddressMeterId(), model.getWmBusAddressManufacturerId(), model.getWmBusAddressVersion(),
               model.getWmBusAddressDeviceType(), model.getWmBusKeyMode5(), model.getWmBusKeyMode7(),
               model.getWmBusKeyExchangeKey()) +
           '}';
}

std::string keyLine(const Words& words) {
    const Console console;
    tramo::ParsedKeyLine found = tramo::parseKeyLine(wire::decoded(words.at(1)));
    std::string remarks;
    for (const tramo::KeyLineRemark& remark : found.remarks)
        remarks += (remarks.empty() ? "" : ",") + wire::list(static_cast<int>(remark.reason), remark.name);
    std::string answer = "{\"error\":" + json(found.error.has_value()) + ",\"remarks\":[" + remarks +
                         "],\"line\":" + json(found.line.line) + ",\"model\":" + keyModel(AMRKeyTramoModel(found.line));

    rapidjson::Document document;
    const std::string bytes = wire::bytesOf(words.at(2));
    document.Parse<rapidjson::kParseIterativeFlag>(bytes.data(), bytes.size());
    if (!found.error && !document.HasParseError()) answer += ",\"ofJson\":" + keyModel(AMRKeyTramoModel(document));
    return answer + ",\"said\":" + saidOn(console) + '}';
}

std::string answerTo(const Words& words) {
    if (words.at(0) == "record" || words.at(0) == "empty") return records.at(words.at(1))(words);
    if (words.at(0) == "key") return keyLine(words);
    const Console console;
    const std::string result = call(words.at(1), Words(words.begin() + 2, words.end()));
    return "{\"result\":" + result + ",\"said\":" + saidOn(console) + '}';
}

}  // namespace

int main() {
    std::ostream answers(std::cout.rdbuf());  // the library's own messages are captured
    for (std::string request; std::getline(std::cin, request);) answers << answerTo(wordsOf(request)) << '\n';
    answers.flush();
    return answers ? 0 : 1;
}
