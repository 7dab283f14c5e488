// A record of any kind.
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

/// The model of a record line, selected by the letter in column 1. A value type.
///
/// @snippet docs/examples.cpp AnyRecord
class TRAMO_EXPORT AnyRecord {
public:
    /// One of the models that have a letter, or std::monostate.
    using Model = std::variant<std::monostate, RoundTramoModel, MeterSubscriberTramoModel, AMRTramoModel, MeterChangeTramoModel,
        ExtendedAMRTramoModel, EnquiryDefinitionTramoModel, EnquiryResultTramoModel, ExtendedDataTramoModel,
        RecordInformationTramoModel>;

    /// Parses the line. If its letter is unknown, there is no record: `kind()` returns nullptr, every list and text is
    /// empty, and nothing is printed.
    explicit AnyRecord(const TramoLine::tramoLine_t& line);

    /// Returns the record kind; nullptr if there is no record.
    const RecordKind* kind() const;

    /// Returns the value of a field of `kind()`; see tramo::get.
    FieldValue get(const Field& field) const;

    /// Sets a field of `kind()`; see tramo::set.
    bool set(const Field& field, const FieldValue& value);

    /// @name The functions of the model
    /// Without a record, toTramoLine returns spaces with CR LF and the others return an empty list or text.
    /// @{
    std::vector<TE::FieldError> getParseErrors() const;  ///< from the constructor
    std::vector<TE::FieldError> getBuildErrors() const;  ///< from the last toTramoLine
    std::vector<TE::FieldError> getMandatoryErrors();    ///< checks the mandatory fields
    TramoLine::tramoLine_t toTramoLine();                ///< builds the line from the values
    std::wstring toString() const;                       ///< the values, for people
    /// @}

    Model& model() { return record; }              ///< for std::visit and std::get_if
    const Model& model() const { return record; }  ///< for std::visit and std::get_if

private:
    Model record;
};

}  // namespace tramo
