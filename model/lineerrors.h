// The errors of a line's model, passed on without building a list: the check of a clean line allocates nothing.
#pragma once
#include "model/frame.h"
#include "tramostream/linemodel.h"
#include <array>
#include <span>
#include <variant>

namespace tramo {

struct LineErrors {
    // Calls use(errors) three times: for the parse errors, for those that LineModel::mandatoryErrors would add to them, and for
    // the mandatory errors.
    static void each(LineModel& line, auto use) {
        std::visit(
            [&]<class M>(M& model) {
                if constexpr (std::is_same_v<M, AnyRecord>) {
                    std::visit(
                        [&]<class Record>(Record& record) {
                            if constexpr (!std::is_same_v<Record, std::monostate>) eachOf(record, use);
                        },
                        model.model());
                } else eachOf(model, use);
            },
            line.model);
    }

private:
    template <class M> static void eachOf(M& model, auto use) {
        std::array<TE::FieldError, mostRows> mandatory;
        std::array<TE::FieldError, mostRows> added;
        std::size_t count = 0, addedCount = 0;
        ModelAccess::table<M>().findMandatory(model, [&](TE::FieldError error, bool toParseList) {
            if (toParseList) added[addedCount++] = error;
            else mandatory[count++] = error;
        });
        use(std::span<const TE::FieldError>(ModelAccess::errors(model).parse));
        use(std::span<const TE::FieldError>(added.data(), addedCount));
        use(std::span<const TE::FieldError>(mandatory.data(), count));
    }
};

}  // namespace tramo
