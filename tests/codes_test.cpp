// The numbers of the errors and the characters of the codes, which callers and files rely on. A wrong one does not compile.
#include <tramostream/codes.h>
#include <tramostream/fielderror.h>

#include <algorithm>
#include <gtest/gtest.h>
#include <string>

namespace {

template <class E, class Number> struct Named {
    E value;
    Number number;
};
template <class E, class Number, std::size_t N> constexpr bool areSo(const Named<E, Number> (&all)[N]) {
    return std::ranges::all_of(all, [](const auto& one) { return static_cast<Number>(one.value) == one.number; });
}

// clang-format off
constexpr Named<TE::errorType, int> errors[] = {
    {TE::ParseInteger,           0x001},
    {TE::ParseBool,              0x003},
    {TE::ParseDouble,            0x004},
    {TE::ParseFluidType,         0x011},
    {TE::ParseReadStatus,        0x012},
    {TE::ParseReadMethod,        0x013},
    {TE::ParseTramoType,         0x014},
    {TE::ParseLineType,          0x015},
    {TE::ParseAmrAlarmFlags,     0x016},
    {TE::ParseAmrAlarm,          0x017},
    {TE::ParseEnquiryAreaType,   0x018},
    {TE::ParseEnquiryAreaMode,   0x019},
    {TE::ParseDateTime,          0x01A},
    {TE::ParseDate,              0x01B},
    {TE::BuildInteger,           0x101},
    {TE::BuildText,              0x102},
    {TE::BuildBool,              0x103},
    {TE::BuildDouble,            0x104},
    {TE::BuildFluidType,         0x111},
    {TE::BuildReadStatus,        0x112},
    {TE::BuildReadMethod,        0x113},
    {TE::BuildDate,              0x115},
    {TE::BuildTramoType,         0x117},
    {TE::BuildAmrAlarm,          0x119},
    {TE::BuildAmrAlarmFlags,     0x11A},
    {TE::BuildEnquiryAreaType,   0x11B},
    {TE::BuildEnquiryAreaMode,   0x11C},
    {TE::MandatoryMissing,       0x201},
    {TE::MandatoryInconsistent,  0x202},
    {TE::WrongLineType,          0x203},
};
static_assert(areSo(errors));

constexpr Named<TF::TramoLineType, wchar_t> tramoLineTypes[] = {
    {TF::TramoLineType::Round, L'0'},
    {TF::TramoLineType::MeterSubscriber, L'1'},
    {TF::TramoLineType::Amr, L'2'},
    {TF::TramoLineType::MeterChange, L'3'},
    {TF::TramoLineType::ExtendedAmr, L'4'},
    {TF::TramoLineType::EnquiryDefinition, L'5'},
    {TF::TramoLineType::EnquiryResult, L'6'},
    {TF::TramoLineType::ExtendedData, L'7'},
    {TF::TramoLineType::RecordInformation, L'9'},
    {TF::TramoLineType::Unset, L'!'},
};
static_assert(areSo(tramoLineTypes));

constexpr Named<TF::MeterFluid, wchar_t> meterFluids[] = {
    {TF::MeterFluid::W, L'W'},
    {TF::MeterFluid::C, L'C'},
    {TF::MeterFluid::E, L'E'},
    {TF::MeterFluid::G, L'G'},
    {TF::MeterFluid::H, L'H'},
    {TF::MeterFluid::T, L'T'},
    {TF::MeterFluid::Blank, L' '},
    {TF::MeterFluid::Unset, L'!'},
};
static_assert(areSo(meterFluids));

constexpr Named<TF::TramoType, wchar_t> tramoTypes[] = {
    {TF::TramoType::Type1, L'1'},
    {TF::TramoType::Type2, L'2'},
    {TF::TramoType::TypeA, L'A'},
    {TF::TramoType::TypeB, L'B'},
    {TF::TramoType::TypeD, L'D'},
    {TF::TramoType::TypeH, L'H'},
    {TF::TramoType::TypeN, L'N'},
    {TF::TramoType::TypeY, L'Y'},
    {TF::TramoType::TypeLowerD, L'd'},
    {TF::TramoType::TypeLowerN, L'n'},
    {TF::TramoType::Unset, L'!'},
};
static_assert(areSo(tramoTypes));

constexpr Named<TF::ReadMethod, wchar_t> readMethods[] = {
    {TF::ReadMethod::MethodM, L'M'},
    {TF::ReadMethod::MethodT, L'T'},
    {TF::ReadMethod::MethodA, L'A'},
    {TF::ReadMethod::Unset, L'!'},
};
static_assert(areSo(readMethods));

constexpr Named<TF::ReadStatus, wchar_t> readStatuss[] = {
    {TF::ReadStatus::Status1, L'1'},
    {TF::ReadStatus::Status2, L'2'},
    {TF::ReadStatus::Status3, L'3'},
    {TF::ReadStatus::Status4, L'4'},
    {TF::ReadStatus::Unset, L'!'},
};
static_assert(areSo(readStatuss));

constexpr Named<TF::AmrAlarms, wchar_t> amrAlarmss[] = {
    {TF::AmrAlarms::Alarm0, L'0'},
    {TF::AmrAlarms::Alarm1, L'1'},
    {TF::AmrAlarms::Alarm2, L'2'},
    {TF::AmrAlarms::Alarm3, L'3'},
    {TF::AmrAlarms::Alarm4, L'4'},
    {TF::AmrAlarms::Alarm5, L'5'},
    {TF::AmrAlarms::Alarm6, L'6'},
    {TF::AmrAlarms::Alarm7, L'7'},
    {TF::AmrAlarms::Unset, L'!'},
};
static_assert(areSo(amrAlarmss));

constexpr Named<TF::EnquiryAreaType, wchar_t> enquiryAreaTypes[] = {
    {TF::EnquiryAreaType::AreaC, L'C'},
    {TF::EnquiryAreaType::AreaN, L'N'},
    {TF::EnquiryAreaType::AreaA, L'A'},
    {TF::EnquiryAreaType::Unset, L'!'},
};
static_assert(areSo(enquiryAreaTypes));

constexpr Named<TF::EnquiryAreaMode, wchar_t> enquiryAreaModes[] = {
    {TF::EnquiryAreaMode::ModeH, L'H'},
    {TF::EnquiryAreaMode::ModeN, L'N'},
    {TF::EnquiryAreaMode::ModeR, L'R'},
    {TF::EnquiryAreaMode::ModeU, L'U'},
    {TF::EnquiryAreaMode::Unset, L'!'},
};
static_assert(areSo(enquiryAreaModes));
// clang-format on

// Each has one meaning only.
template <class E, class Number, std::size_t N> void expectDistinct(const Named<E, Number> (&all)[N]) {
    std::basic_string<char32_t> numbers;
    for (const auto& one : all) numbers += static_cast<char32_t>(one.number);
    std::ranges::sort(numbers);
    EXPECT_EQ(std::ranges::adjacent_find(numbers), numbers.end());
}

TEST(Codes, NoTwoErrorsShareANumber) { expectDistinct(errors); }

TEST(Codes, NoTwoValuesShareACharacter) {
    expectDistinct(tramoLineTypes);
    expectDistinct(meterFluids);
    expectDistinct(tramoTypes);
    expectDistinct(readMethods);
    expectDistinct(readStatuss);
    expectDistinct(amrAlarmss);
    expectDistinct(enquiryAreaTypes);
    expectDistinct(enquiryAreaModes);
}

}  // namespace
