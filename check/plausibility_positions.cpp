// Whether the position of a meter is plausible by itself.
#include "check/linerules.h"
#include "check/rulefields.h"
#include <cmath>

namespace tramo {

namespace {

constexpr double nearZero = 0.001, mostLatitude = 90, mostLongitude = 180;  // in degrees

struct Coordinates {
    double latitude, longitude;
    bool areKnown() const { return !std::isnan(latitude) && !std::isnan(longitude); }
    bool areZero() const { return std::fabs(latitude) < nearZero && std::fabs(longitude) < nearZero; }
    bool areOutside() const { return std::fabs(latitude) > mostLatitude || std::fabs(longitude) > mostLongitude; }
};

Coordinates coordinatesOf(const LineValues& line) {
    const auto& fields = rulefields::of<rulefields::Position>();
    return {line.decimal(fields.latitude), line.decimal(fields.longitude)};
}

}  // namespace

void findInPosition(const LineValues& line, LineReport& report) {
    const Coordinates at = coordinatesOf(line);
    if (!at.areKnown() || (!at.areZero() && !at.areOutside())) return;
    const auto& fields = rulefields::of<rulefields::Position>();
    const int width = fields.longitude->column + fields.longitude->width - fields.latitude->column;
    const auto add = [&](RoundRule rule, const char* sentence, const char* reason) {
        report.add(rule, fields.kind, fields.latitude->column, width, line.raw(fields.latitude), sentence, reason);
    };
    if (at.areZero()) {
        if (report.has(RoundRule::PositionAtZero))
            add(RoundRule::PositionAtZero, "the position is at latitude 0 and longitude 0", "this place is in the Atlantic");
    } else if (report.has(RoundRule::PositionOutside)) {
        add(RoundRule::PositionOutside, "the position is not on the globe",
            "expected a latitude from -90 to 90 and a longitude from -180 to 180");
    }
}

bool notePosition(const LineValues& line, PositionNote& note) {
    const Coordinates at = coordinatesOf(line);
    if (!at.areKnown() || at.areZero() || at.areOutside()) return false;
    note = {static_cast<float>(at.latitude), static_cast<float>(at.longitude)};
    return true;
}

}  // namespace tramo
