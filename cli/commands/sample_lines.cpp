#include "cli/commands/sample_lines.h"
#include "cli/commands/sample_meterforms.h"
#include "cli/commands/sample_roundforms.h"

namespace tramo::cli::sample {

struct RoundLines::Forms {
    Forms(const Calendar& knownCalendar, std::uint64_t seed) : calendar(knownCalendar), identity(knownCalendar, seed) {}
    const Calendar& calendar;
    Identity identity;
    std::string town{};
    std::uint32_t number = 0;
    RoundForm round{};
    EnquiryForm pages[2] = {EnquiryForm(1), EnquiryForm(2)};
    InformationForm information{};
    SubscriberForm subscriber{};
    ModuleForm module{};
    ChangeForm change{};
    MonthsForm months{};
    AnswersForm answers{};
    PositionForm position{};
};

RoundLines::RoundLines(const Calendar& calendar, std::uint64_t chosenSeed, bool isReturned, LineSink& sink)
    : forms(std::make_unique<Forms>(calendar, chosenSeed)), seed(chosenSeed), returned(isReturned), out(sink) {}

RoundLines::~RoundLines() = default;

// Names: a meter's number or a round's, and which of its lines it is.
void RoundLines::begin(std::uint32_t round, const Quarter& quarter, Day imported) {
    forms->town = quarter.town();
    forms->number = round;
    forms->round.fill(forms->calendar, seed, round, quarter, imported);
    std::uint64_t name = std::uint64_t{1} << 63 | std::uint64_t{round} << 4;
    out.write(forms->round.kind, forms->round.text, name);
    for (const EnquiryForm& page : forms->pages) out.write(page.kind, page.text, ++name);
}

void RoundLines::end(std::uint32_t meters) {
    forms->information.fill(meters);
    const std::uint64_t name = std::uint64_t{1} << 63 | std::uint64_t{forms->number} << 4 | 15;
    out.write(forms->information.kind, forms->information.text, name);
}

void RoundLines::meter(const Meter& meter, const Home& home) {
    auto& [calendar, identity, town, number, round, pages, information, subscriber, module, change, months, answers, position] =
        *forms;
    std::uint64_t name = meter.number << 4;
    auto write = [&](const Form& form) {
        out.write(form.kind, form.text, name | (static_cast<unsigned>(form.kind.letter) & 15));
    };

    identity.set(meter);
    subscriber.fill(calendar, seed, meter, home, town, identity);
    if (returned) subscriber.fillReading(calendar, seed, meter, identity);
    write(subscriber);
    if (meter.hasRadio) {
        module.fill(calendar, seed, meter, identity);
        if (returned) module.fillReading(calendar, seed, meter);
        write(module);
    }
    if (!returned) return;
    if (meter.visit.isRead && subscriber.isChangeable && change.fill(calendar, seed, meter, identity)) write(change);
    if (meter.visit.readByRadio && months.fill(calendar, seed, meter, identity)) write(months);
    Random random(seed, Purpose::Answers, meter.number);
    if (meter.visit.isRead && random.oneIn(4)) {
        answers.fill(calendar, random, '1', meter, identity);
        write(answers);
        if (random.oneIn(5)) {
            answers.fill(calendar, random, '2', meter, identity);
            name |= 8;
            write(answers);
            name &= ~std::uint64_t{8};
        }
    }
    if (position.fill(calendar, seed, meter, home, identity)) write(position);
}

}  // namespace tramo::cli::sample
