// Meters and malformed lines as tables.
#include "tramostream/tables.h"
#include "common/encoding.h"
#include "common/secret.h"
#include "round/fieldsof.h"
#include "round/rowbuilder.h"
#include <algorithm>

namespace tramo {

namespace {

constexpr std::size_t mostOfText = INT32_MAX;  // bytes, because offsets have 32 bits

const RecordKind& subscriberKind() { return kindOf<MeterSubscriberTramoModel>(); }

// The fields of a meter subscriber line in the table, before and after the difference of the readings.
std::vector<const Field*> fieldsOfMeters() {
    std::vector<const Field*> fields;
    for (const char* name :
        {"meterSerialNumber", "meterPreviousReadingDate", "meterPreviousReadingIndex", "meterReadingDate", "meterReadingIndex",
            "meterReadingConsumption", "meterReadingStatus", "meterReadingMethod", "meterReadingUserCode", "meterMessage"})
        fields.push_back(subscriberKind().field(name));
    return fields;
}

}  // namespace

struct MeterTable::State {
    const RoundFile& file;
    std::size_t rowsPerBatch;
    ColumnTable fields{subscriberKind()};
    RowBuilder own{};
    std::size_t round, state, difference, alarms, latitude, longitude, rest, firstArea;  // columns of `own`
    std::vector<std::vector<std::size_t>> areasOf{};                                     // of each round
    std::size_t nextRound = 0, nextMeter = 0;

    struct Place {
        bool isField;
        std::size_t index;
    };
    std::vector<Place> order{};  // of all columns

    State(const RoundFile& of, std::size_t rows) : file(of), rowsPerBatch(std::max<std::size_t>(rows, 1)) {
        fields.choose(fieldsOfMeters());
        std::size_t nextField = 0;
        const auto field = [&](int count) {
            while (count-- > 0) order.push_back({true, nextField++});
        };
        const auto add = [&](std::string name, ColumnType type, bool isNullable = true) {
            order.push_back({false, own.shapes().size()});
            return own.addColumn(std::move(name), type, isNullable);
        };
        field(1);  // the line
        round = add("round", ColumnType::Text);
        field(1);  // the serial number
        state = add("state", ColumnType::Text, false);
        field(5);
        difference = add("difference", ColumnType::Int64);
        field(4);
        alarms = add("alarms", ColumnType::Int32, false);
        latitude = add("latitude", ColumnType::Double);
        longitude = add("longitude", ColumnType::Double);
        rest = add("outsideOfAreas", ColumnType::Text);
        firstArea = own.shapes().size();
        AreaColumns areas(names());
        for (const Round& each : file.rounds()) areasOf.push_back(areas.columnsOf(each));
        for (const std::string& name : areas.names()) add(name, ColumnType::Text);
    }

    std::vector<std::string> names() const {
        std::vector<std::string> all;
        for (const ColumnShape& shape : shapes()) all.push_back(shape.name);
        return all;
    }

    std::vector<ColumnShape> shapes() const {
        std::vector<ColumnShape> all;
        for (const auto& [isField, index] : order) {
            if (!isField) all.push_back(own.shapes()[index]);
            else if (index == 0) all.push_back({"line", ColumnType::Int64, false});
            else all.push_back({fields.columns[index - 1].field->name, fields.columns[index - 1].type});
        }
        return all;
    }

    // Adds the next meter. Returns false if there is none.
    bool addMeter() {
        const auto rounds = file.rounds();
        while (nextRound < rounds.size() && nextMeter == rounds[nextRound].meters().size()) {
            ++nextRound;
            nextMeter = 0;
        }
        if (nextRound == rounds.size()) return false;
        add(rounds[nextRound], areasOf[nextRound], rounds[nextRound].meters()[nextMeter]);
        ++nextMeter;
        return true;
    }

    void add(const Round& of, const std::vector<std::size_t>& areas, const Meter& meter) {
        fields.add(meter.subscriber());
        own.beginRow();
        if (const std::string code = of.code(); !code.empty()) own.putText(round, code);
        own.putText(state, meter.state() == Meter::State::Read ? "read" : "unread");
        if (const auto value = meter.difference()) own.put(difference, static_cast<std::int64_t>(*value));
        own.put(alarms, static_cast<std::int32_t>(meter.alarms().size()));
        if (const auto place = meter.place()) {
            own.put(latitude, place->latitude);
            own.put(longitude, place->longitude);
        }
        std::string outside;  // also that of areas that have no column
        for (const AreaText& area : meter.areas()) {
            const std::size_t column =
                area.area ? areas[static_cast<std::size_t>(area.area - of.areas().data())] : AreaColumns::noColumn;
            if (column != AreaColumns::noColumn) own.putText(firstArea + column, area.text);
            else outside.append(outside.empty() ? "" : " | ").append(area.text);
        }
        if (!outside.empty()) own.putText(rest, outside);
    }

    bool isFull() const {
        constexpr std::size_t longestOfMeter = 4096;  // a line has 512 characters
        return own.rows() == rowsPerBatch || own.textSize() > mostOfText - longestOfMeter;
    }
};

MeterTable::MeterTable(const RoundFile& file, const ArrowStreamOptions& options)
    : state(std::make_unique<State>(file, options.rowsPerBatch)) {}
MeterTable::MeterTable(MeterTable&&) noexcept = default;
MeterTable& MeterTable::operator=(MeterTable&&) noexcept = default;
MeterTable::~MeterTable() = default;

std::vector<std::string> MeterTable::names() const { return state->names(); }
void MeterTable::exportSchema(ArrowSchema* out) const { exportShapes(state->shapes(), out); }

bool MeterTable::exportRows(ArrowArray* out) {
    State& table = *state;
    while (!table.isFull() && table.addMeter()) {}
    const std::size_t rows = table.own.rows();
    if (rows == 0) return false;
    exportMemory(table.order.size(), rows, out, [&](std::size_t column) noexcept {
        const auto [isField, index] = table.order[column];
        if (!isField) return table.own.take(index);
        return index == 0 ? ColumnMemory{.values = std::move(table.fields.lines)}
                          : takeMemory(table.fields.columns[index - 1], rows);
    });
    table.own.clear();
    table.fields.forget();
    return true;
}

// ---- Lines without fields -------------------------------------------------------------------------------------------

namespace {

bool isSecret(const LineView& line) {
    SecretText wide(line.size(), L'\0');
    encoding::read(reinterpret_cast<const unsigned char*>(line.bytes().data()), wide.size(), line.encoding() == Encoding::Utf16,
        wide.data());
    return tramo::mayHoldKeys(wide);
}

}  // namespace

struct LineTable::State : RowBuilder {
    std::size_t line = addColumn("line", ColumnType::Int64, false), fault = addColumn("fault", ColumnType::Text),
                text = addColumn("text", ColumnType::Text);
};

LineTable::LineTable() : state(std::make_unique<State>()) {}
LineTable::LineTable(LineTable&&) noexcept = default;
LineTable& LineTable::operator=(LineTable&&) noexcept = default;
LineTable::~LineTable() = default;

bool LineTable::add(const LineView& line) {
    const std::string_view fault = describe(line.fault());
    const bool holdsKeys = isSecret(line);
    const std::string text = holdsKeys ? std::string() : line.utf8();
    if (state->textSize() + std::max(fault.size(), text.size()) > mostOfText) return false;
    state->beginRow();
    state->put(state->line, line.number());
    if (line.fault() != LineFault::None) state->putText(state->fault, fault);
    if (!holdsKeys) state->putText(state->text, text);
    return true;
}

std::size_t LineTable::rows() const { return state->rows(); }
void LineTable::exportSchema(ArrowSchema* out) const { exportShapes(state->shapes(), out); }

void LineTable::exportRows(ArrowArray* out) {
    state->reserve();
    exportMemory(state->shapes().size(), state->rows(), out, [&](std::size_t column) noexcept { return state->take(column); });
    state->clear();
}

}  // namespace tramo
