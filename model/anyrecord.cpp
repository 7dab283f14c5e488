#include "tramostream/anyrecord.h"
#include <type_traits>

namespace tramo {
namespace {

using Model = AnyRecord::Model;

// Creates the model of the line's letter.
template <std::size_t Alternative = 1> void parseAs(Model& record, const TramoLine::tramoLine_t& line) {
    if constexpr (Alternative < std::variant_size_v<Model>) {
        if (kindOf<std::variant_alternative_t<Alternative, Model>>().letter == line[0]) record.emplace<Alternative>(line);
        else parseAs<Alternative + 1>(record, line);
    }
}

// Returns the result of `use` for the model, or `otherwise` without a model.
template <class Record, class Result, class Use> Result withModel(Record& record, Result otherwise, Use use) {
    return std::visit(
        [&](auto& model) -> Result {
            if constexpr (std::is_same_v<std::remove_cvref_t<decltype(model)>, std::monostate>) return otherwise;
            else return use(model);
        },
        record);
}

}  // namespace

AnyRecord::AnyRecord(const TramoLine::tramoLine_t& line) { parseAs(record, line); }

const RecordKind* AnyRecord::kind() const {
    return withModel(record, static_cast<const RecordKind*>(nullptr), []<class M>(const M&) { return &kindOf<M>(); });
}

FieldValue AnyRecord::get(const Field& field) const {
    return withModel(record, FieldValue{}, [&](const auto& model) { return tramo::get(model, field); });
}

bool AnyRecord::set(const Field& field, const FieldValue& value) {
    return withModel(record, false, [&](auto& model) { return tramo::set(model, field, value); });
}

std::vector<TE::FieldError> AnyRecord::getParseErrors() const {
    return withModel(record, std::vector<TE::FieldError>{}, [](const auto& model) { return model.getParseErrors(); });
}

std::vector<TE::FieldError> AnyRecord::getBuildErrors() const {
    return withModel(record, std::vector<TE::FieldError>{}, [](const auto& model) { return model.getBuildErrors(); });
}

std::vector<TE::FieldError> AnyRecord::getMandatoryErrors() {
    return withModel(record, std::vector<TE::FieldError>{}, [](auto& model) { return model.getMandatoryErrors(); });
}

TramoLine::tramoLine_t AnyRecord::toTramoLine() {
    return withModel(record, blankLine<TramoLine::tramoLine_t>(), [](auto& model) { return model.toTramoLine(); });
}

std::wstring AnyRecord::toString() const {
    return withModel(record, std::wstring{}, [](const auto& model) { return model.toString(); });
}

}  // namespace tramo
