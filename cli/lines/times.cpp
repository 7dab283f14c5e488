#include "cli/lines/times.h"
#include "common/utf8.h"
#include <fmt/format.h>
#include <tramostream/fields.h>
#include <tramostream/linemodel.h>
#include <tramostream/metersubscribertramomodel.h>

namespace tramo::cli {

std::string dayOf(std::chrono::local_days day) {
    const std::chrono::year_month_day date(day);
    return fmt::format("{:04}-{:02}-{:02}", static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
        static_cast<unsigned>(date.day()));
}

std::string timeOf(std::chrono::sys_seconds time) {
    static const Field& field = *kindOf<MeterSubscriberTramoModel>().field("meterReadingDate");
    return utf8::encode(textOf(field, static_cast<long long>(time.time_since_epoch().count())));
}

}  // namespace tramo::cli
