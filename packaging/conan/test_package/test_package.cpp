// Links, and reads a line.
#include <tramostream/tramostream.h>

int main() {
    TramoLine::tramoLine_t line;
    line.fill(L' ');
    line[0] = L'1';
    const tramo::AnyRecord record(line);
    return std::holds_alternative<MeterSubscriberTramoModel>(record.model()) ? 0 : 1;
}
