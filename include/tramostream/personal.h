// What the fields say about people, homes and devices.
#pragma once
#include "export.h"
#include "fields.h"

namespace tramo {

/// What a field says about a person, a home or a device. Anonymizer replaces the text of every field but those of No.
enum class Personal : char {
    No,            ///< nothing; readings, dates and codes are of this kind
    Home,          ///< names, addresses, telephone numbers
    Meter,         ///< where the meter is, and what it is like
    SerialNumber,  ///< of a meter or a radio module
    Reference,     ///< of a meter or a radio module
    Latitude,      ///< in degrees
    Longitude,     ///< in degrees
    Altitude,      ///< in meters
    Message,       ///< a free text about a meter or a round
    Agent,         ///< the user code of an agent
    RoundName,     ///< the code or the name of a round
    Answer,        ///< a free answer to an enquiry
    RadioData,     ///< what a radio module has sent
    Setting,       ///< the value of a parameter, or the label of a tag
};

/// Returns what a field of this kind says. The record's table states it.
TRAMO_EXPORT Personal personalDataIn(const RecordKind& kind, const Field& field);

}  // namespace tramo
