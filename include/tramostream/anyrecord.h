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
///
/// @snippet docs/examples.cpp AnyRecord
class TRAMO_EXPORT AnyRecord {
public:
    /// One of the models that have a letter, or none.
    using Model = std::variant<std::monostate, RoundTramoModel, MeterSubscriberTramoModel, AMRTramoModel, MeterChangeTramoModel,
        ExtendedAMRTramoModel, EnquiryDefinitionTramoModel, EnquiryResultTramoModel, ExtendedDataTramoModel,
        RecordInformationTramoModel>;

    /// Parses the line. A line whose letter is unknown gives no record: `kind()` is then nullptr, every list and text
    /// is empty, and nothing is printed.
    explicit AnyRecord(const TramoLine::tramoLine_t& line);

    /// The record's kind; nullptr when the line was of none.
    const RecordKind* kind() const;

    /// The value of a field of `kind()`; see tramo::get.
    FieldValue get(const Field& field) const;

    /// Sets a field of `kind()`; see tramo::set.
    bool set(const Field& field, const FieldValue& value);

    /// @name As the model's own
    /// Without a record toTramoLine gives blanks with CR LF, the others nothing.
    /// @{
    std::vector<TE::FieldError> getParseErrors() const;  ///< those of the constructor
    std::vector<TE::FieldError> getBuildErrors() const;  ///< those of the last toTramoLine
    std::vector<TE::FieldError> getMandatoryErrors();    ///< checks what must be there
    TramoLine::tramoLine_t toTramoLine();                ///< builds the line from the values
    std::wstring toString() const;                       ///< the values, for people
    /// @}

    Model& model() { return record; }              ///< the model itself, for std::visit and std::get_if
    const Model& model() const { return record; }  ///< the model itself, for std::visit and std::get_if

private:
    Model record;
};

}  // namespace tramo
