// A plugin that contains the library, for host.c.
#include <cstdint>
#include <tramostream/tramostream.h>

// The date after writing it into a line and reading it again.
extern "C" [[gnu::visibility("default")]] std::int32_t pluginDate(const char* format, const char* text) {
    RoundTramoModel round;
    round.setRoundImportDate(DateUtils::strToTime(format, text));
    return RoundTramoModel(round.toTramoLine()).getRoundImportDate();
}
