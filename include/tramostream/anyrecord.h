// A record of whatever kind its line says.
#pragma once
#include "amrtramomodel.h"
#include "enquirydefinitiontramomodel.h"
#include "enquiryresulttramomodel.h"
#include "export.h"
#include "extendedamrtramomodel.h"
#include "extendeddatatramomodel.h"
#include "fields.h"
#include "meterchangetramomodel.h"
#include "metersubscribertramomodel.h"
#include "recordinformationtramomodel.h"
#include "roundtramomodel.h"
#include "tramoline.h"
#include <string>
#include <variant>
#include <vector>

namespace tramo {

/// The model of a record line, chosen by the letter in its column 1. A value: copied and moved whole.
class TRAMO_EXPORT AnyRecord {
public:
    using Model = std::variant<std::monostate, RoundTramoModel, MeterSubscriberTramoModel, AMRTramoModel, MeterChangeTramoModel,
        ExtendedAMRTramoModel, EnquiryDefinitionTramoModel, EnquiryResultTramoModel, ExtendedDataTramoModel,
        RecordInformationTramoModel>;

    /// Parses the line. A line whose letter is unknown gives no record: `kind()` is then nullptr, every list and text
    /// is empty, and nothing is printed.
    explicit AnyRecord(const TramoLine::tramoLine_t& line);

    /// The record's kind; nullptr when the line was of none.
    const RecordKind* kind() const;

    /// The value of a field of `kind()`, and its setter; see tramo::get and tramo::set.
    FieldValue get(const Field& field) const;
    bool set(const Field& field, const FieldValue& value);

    /// As the model's own. Without a record, toTramoLine gives blanks with CR LF.
    std::vector<TE::FieldError> getParseErrors() const;
    std::vector<TE::FieldError> getBuildErrors() const;
    std::vector<TE::FieldError> getMandatoryErrors();
    TramoLine::tramoLine_t toTramoLine();
    std::wstring toString() const;

    /// The model itself, for std::visit and std::get_if.
    Model& model() { return record; }
    const Model& model() const { return record; }

private:
    Model record;
};

}  // namespace tramo
