// Programs that read and write millions of lines do not allocate memory for each line.
#include "support/allocations.h"
#include "support/console.h"
#include "support/timezone.h"
#include "tramostream/anyrecord.h"
#include "tramostream/parametertramomodel.h"
#include "tramostream/stringconverter.h"
#include "tramostream/tagtramomodel.h"
#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <thread>

#ifndef _WIN32
// The linker redirects the library's calls of calloc to this function (--wrap).
extern "C" {
void* __real_calloc(std::size_t count, std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size) {
    ++allocations;
    return __real_calloc(count, size);
}
}
#endif

namespace {

using tramo::AnyRecord;
using tramo::Field;
using tramo::FieldKind;
using tramo::FieldValue;
using tramo::RecordKind;

// A value that can be written and read back. A text fills its columns, so it is too long for the small-string buffer.
FieldValue goodValue(const Field& field) {
    switch (field.kind) {
    case FieldKind::Text: return std::wstring(static_cast<std::size_t>(field.width), L'x');
    case FieldKind::Integer: return 7LL;
    case FieldKind::Decimal: return 7.0;
    case FieldKind::Date:
    case FieldKind::DateTime:
    case FieldKind::Year: return 1706700000LL;
    case FieldKind::Code: return field.codes.front();
    case FieldKind::Flag: return true;
    case FieldKind::AlarmFlags: return 3LL;
    }
    return {};
}

// The same few functions for every model class.
struct AsRecord {
    using Model = AnyRecord;
    using Line = TramoLine::tramoLine_t;
    const RecordKind& kind;
    static Line built(Model& model) { return model.toTramoLine(); }
    static FieldValue get(const Model& model, const Field& field) { return model.get(field); }
    static bool set(Model& model, const Field& field, const FieldValue& value) { return model.set(field, value); }
};
template <class M, class Buffer> struct AsModel {
    using Model = M;
    using Line = Buffer;
    const RecordKind& kind = tramo::kindOf<M>();
    static Line built(Model& model) {
        if constexpr (requires { model.toTagLine(); }) return model.toTagLine();
        else return model.toParameterLine();
    }
    static FieldValue get(const Model& model, const Field& field) { return tramo::get(model, field); }
    static bool set(Model& model, const Field& field, const FieldValue& value) { return tramo::set(model, field, value); }
};

// A line of the record kind with all fields filled; of fields that share columns, only the first.
template <class Way> typename Way::Line cleanLine(const Way& way) {
    const TimeZone local("UTC0");  // a date that is not set is written as 1970-01-01, which other zones may not read
    typename Way::Line line;
    line.fill(L' ');
    if (way.kind.letter) line[0] = way.kind.letter;
    typename Way::Model model(line);
    int filled = 0, fields = 0;
    for (const Field& field : way.kind.fields) {
        if (field.column == 0 || field.overlaid) continue;
        ++fields;
        typename Way::Model with = model;
        EXPECT_TRUE(way.set(with, field, goodValue(field))) << field.name;
        const typename Way::Model read(way.built(with));
        if (!with.getBuildErrors().empty() || !read.getParseErrors().empty()) continue;
        model = with;
        ++filled;
    }
    EXPECT_GE(filled * 10, fields * 9) << way.kind.name;
    typename Way::Model asRead(way.built(model));  // without what is written but not read
    return way.built(asRead);
}

// Returns the number of texts that were too long for the small-string buffer.
template <class Way> long expectFew(const Way& way) {
    const Silence quiet;
    const TimeZone local("UTC0");
    using Model = typename Way::Model;
    const auto line = cleanLine(way);
    const RecordKind& kind = way.kind;
    EXPECT_EQ(allocationsOf([&] { const Model model(line); }), 0) << kind.name << ": parse";

    Model model(line);
    EXPECT_TRUE(model.getParseErrors().empty());
    auto built = line;
    EXPECT_EQ(allocationsOf([&] { built = way.built(model); }), 0) << kind.name << ": build";
    EXPECT_TRUE(model.getBuildErrors().empty());
    EXPECT_TRUE(std::equal(line.begin(), line.end() - 2, built.begin())) << kind.name;

    long texts = 0;
    for (const Field& field : kind.fields) {
        FieldValue value;
        const long count = allocationsOf([&] { value = way.get(model, field); });
        EXPECT_LE(count, field.kind == FieldKind::Text ? 1 : 0) << kind.name << ", " << field.name;
        texts += count;
    }
    return texts;
}

TEST(Allocations, AreCounted) {
    const volatile std::size_t length = 40;  // volatile: the compiler must not remove the allocation
    EXPECT_EQ(allocationsOf([&] { EXPECT_EQ(std::wstring(length, L'x').back(), L'x'); }), 1);
}

TEST(Allocations, AreFewForEveryRecordKind) {
    ASSERT_EQ(tramo::recordKinds().size(), 9U);
    long texts = 0;
    for (const RecordKind* kind : tramo::recordKinds()) texts += expectFew(AsRecord{*kind});
    EXPECT_GT(texts, 20);
}
TEST(Allocations, AreFewForTags) { EXPECT_GT(expectFew(AsModel<TagTramoModel, TagLine::tagLine_t>{}), 0); }
TEST(Allocations, AreFewForParameters) {
    EXPECT_GT(expectFew(AsModel<ParameterTramoModel, ParameterLine::parameterLine_t>{}), 0);
}

// The caches of a thread: one block at the first line with a date that is read, one at the first that is written.
TEST(Allocations, InANewThreadHappenOnItsFirstLineOnly) {
#ifdef _WIN32
    GTEST_SKIP() << "calloc is not counted there";
#endif
    const Silence quiet;
    const auto line = cleanLine(AsRecord{*tramo::recordKind(L'0')});
    std::thread([&] {
        RoundTramoModel first(line), second(line);
        EXPECT_EQ(allocationsOf([&] { (void)first.toTramoLine(); }), 1);
        EXPECT_EQ(allocationsOf([&] { (void)second.toTramoLine(); }), 0);
        EXPECT_EQ(allocationsOf([&] { const RoundTramoModel third(line); }), 0);
    }).join();
    std::thread([&] {
        EXPECT_EQ(allocationsOf([&] { const RoundTramoModel model(line); }), 1);
        EXPECT_EQ(allocationsOf([&] { const RoundTramoModel model(line); }), 0);
    }).join();
}

TEST(Allocations, AreFewForAccessors) {
    TramoLine::tramoLine_t line;
    line.fill(L'x');
    line[0] = L'1';
    const Silence quiet;
    const MeterSubscriberTramoModel model(line);
    EXPECT_EQ(allocationsOf([&] { EXPECT_GT(model.getSubscriberInformation().size(), 10U); }), 1);
    EXPECT_EQ(allocationsOf([&] { EXPECT_EQ(model.getMeterWheels(), -1); }), 0);
}

// The time facet of the locale allocates, and a conversion must not throw.
TEST(Allocations, ThatFailMakeADateInACustomFormatFail) {
#ifdef _WIN32
    GTEST_SKIP() << "the C++ library's clock takes memory there where nothing may be thrown";
#endif
    const long32 time = 1706706300;
    int failures = 0;
    bool good = false;
    std::wstring line(41, L'#'), kept = line;
    withEachAllocationFailing([&] {
        good = StrConv::fromDate(time, line.data(), L"%Y %Y %Y %Y %Y %Y %Y %Y");
        if (good) return;
        ++failures;
        EXPECT_TRUE(line == kept);
    });
    EXPECT_TRUE(good);
    EXPECT_GE(failures, 2);
    EXPECT_EQ(line, L"2024 2024 2024 2024 2024 2024 2024 2024##");
}

}  // namespace
