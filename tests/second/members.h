// Every getter and setter of every record model, by their common name after "get" and "set".
#pragma once
#include "wire.h"
#include <tramostream/tramostream.h>

template <class M> struct Member {
    std::string_view name;
    std::string (*get)(const M&);
    void (*set)(M&, std::string_view);
};

#define NAMED(NAME, GETTER, SETTER, TYPE)                                                          \
    {                                                                                              \
        NAME, [](const Model& model) { return wire::json(model.GETTER()); },                       \
            [](Model& model, std::string_view value) { model.SETTER(wire::valueOf<TYPE>(value)); } \
    }
#define MEMBER(STEM) NAMED(#STEM, get##STEM, set##STEM, decltype(std::declval<const Model&>().get##STEM()))

template <class M> struct Members;

// clang-format off
template <> struct Members<RoundTramoModel> {
    using Model = RoundTramoModel;
    #define AREA(WHOSE, N) MEMBER(WHOSE##LabelArea##N), MEMBER(WHOSE##PositionArea##N), MEMBER(WHOSE##LenghtArea##N), \
        MEMBER(WHOSE##TypeArea##N)
    inline static const std::vector<Member<Model>> all = {
        MEMBER(Type), MEMBER(Code), MEMBER(Name), MEMBER(DefaultMeterWheels), MEMBER(Message), MEMBER(ConsumtionLimit),
        MEMBER(RoundImportDate), MEMBER(ReservedUserCode),
        AREA(MeterInformation, 1), AREA(MeterInformation, 2), AREA(MeterInformation, 3), AREA(MeterInformation, 4),
        AREA(MeterInformation, 5),
        AREA(SubscriberInformation, 1), AREA(SubscriberInformation, 2), AREA(SubscriberInformation, 3),
        AREA(SubscriberInformation, 4), AREA(SubscriberInformation, 5),
    };
    #undef AREA
};

template <> struct Members<MeterSubscriberTramoModel> {
    using Model = MeterSubscriberTramoModel;
    #define SLOT(N) MEMBER(MeterHistory##N##ReadingType), MEMBER(MeterHistory##N##ReadingDate), \
        MEMBER(MeterHistory##N##Consumption)
    inline static const std::vector<Member<Model>> all = {
        MEMBER(Type), MEMBER(SubscriberCardOrder), MEMBER(SubscriberInformation), MEMBER(SubscriberMarkingCode), SLOT(1),
        SLOT(2), SLOT(3), SLOT(4),
        MEMBER(MeterInformation), MEMBER(MeterSerialNumber), MEMBER(MeterWheels), MEMBER(MeterCorrectedSerialNumber),
        MEMBER(MeterCorrectedWheels),
        MEMBER(MeterInstallationYear), MEMBER(MeterPreviousReadingDate), MEMBER(MeterPreviousReadingIndex),
        MEMBER(MeterMinEstimatedConsumption), MEMBER(MeterMaxEstimatedConsumption), MEMBER(MeterReadingDate),
        MEMBER(MeterReadingIndex),
        MEMBER(MeterReadingStatus), MEMBER(MeterReadingConsumption), MEMBER(MeterReadingMethod), MEMBER(MeterMarkingCode),
        MEMBER(MeterMessage),
        MEMBER(MeterLastUpdateDate), MEMBER(MeterAuthorizedChange), MEMBER(MeterFluidType), MEMBER(MeterReadingUserCode),
    };
    #undef SLOT
};

template <> struct Members<AMRTramoModel> {
    using Model = AMRTramoModel;
    #define SNAPSHOT(WHEN, CLOCK) MEMBER(WHEN##ReadingDate), MEMBER(WHEN##MeterIndex), MEMBER(WHEN##AmrIndex), \
        MEMBER(WHEN##AmrStatus), \
        MEMBER(WHEN##ManufacturerRawAlarm), MEMBER(WHEN##ManufacturerRawStatus), MEMBER(WHEN##AlarmFraudPastOrCurrent), \
        MEMBER(WHEN##AlarmLeakPastOrCurrent), MEMBER(WHEN##AlarmBackFlowPastOrCurrent), MEMBER(WHEN##AlarmEndOfBattryCurrent), \
        MEMBER(WHEN##AlarmModuleDefectCurrent), MEMBER(WHEN##Alarm##CLOCK##Current), MEMBER(WHEN##AlarmFraudCurrent), \
        MEMBER(WHEN##AlarmLeakCurrent), MEMBER(WHEN##AlarmBackFlowCurrent), MEMBER(WHEN##AlarmMeterBlockedPastOrCurrent), \
        MEMBER(WHEN##AlarmUnderFlowPastOrCurrent), MEMBER(WHEN##AlarmOverFlowPastOrCurrent)
    inline static const std::vector<Member<Model>> all = {
        MEMBER(Type), MEMBER(InstallationDate), MEMBER(MeterReference), MEMBER(MeterSerialNumber), MEMBER(SensorPort),
        NAMED("MeterMaxIndex", getMeterMaxIndex, setMeterMaxIndex, int), MEMBER(MeterUnit), MEMBER(Referance),
        MEMBER(SerialNumber),
        MEMBER(InternalSerialNumber), MEMBER(Data), MEMBER(PulseWeightStr), MEMBER(PulseWeight), MEMBER(MaxIndex),
        MEMBER(PreviousReadingDateStr),
        SNAPSHOT(Previous, Clockfault), SNAPSHOT(Current, ClockFault),
        NAMED("ExternalAMR", isExternalAMR, setExternamAMR, bool), MEMBER(ReadFailCount), MEMBER(LastReadFailDate),
    };
    #undef SNAPSHOT
};

template <> struct Members<MeterChangeTramoModel> {
    using Model = MeterChangeTramoModel;
    inline static const std::vector<Member<Model>> all = {
        MEMBER(OldMeterSerialNumber), MEMBER(NewMeterSerialNumber), MEMBER(NewMeterWheelsNumber), MEMBER(NewMeterIndex),
        MEMBER(NewMeterInstallationDate),
    };
};

template <> struct Members<ExtendedAMRTramoModel> {
    using Model = ExtendedAMRTramoModel;
    #define SLOT(N) MEMBER(History##N##DateTime), MEMBER(History##N##Index), MEMBER(History##N##Alarms)
    inline static const std::vector<Member<Model>> all = {
        MEMBER(MeterReference), MEMBER(MeterSerialNumber), MEMBER(AmrReference), MEMBER(AmrSerialNumber),
        MEMBER(AmrSensorPort), MEMBER(ReadingDate),
        MEMBER(MeterIndex), MEMBER(BackflowIndex), MEMBER(FraudAlarm), MEMBER(LeakAlarm), MEMBER(BackflowAlarm),
        MEMBER(BattryAlarm),
        MEMBER(ModuleDefectAlarm), MEMBER(ClockFaultAlarm), MEMBER(ReservedAlarm),
        SLOT(1), SLOT(2), SLOT(3), SLOT(4), SLOT(5), SLOT(6), SLOT(7), SLOT(8), SLOT(9), SLOT(10), SLOT(11), SLOT(12),
        SLOT(13), SLOT(14), SLOT(15),
        SLOT(16), SLOT(17), SLOT(18),
    };
    #undef SLOT
};

template <> struct Members<EnquiryDefinitionTramoModel> {
    using Model = EnquiryDefinitionTramoModel;
    #define AREA(N) MEMBER(Area##N##Label), MEMBER(Area##N##Type), MEMBER(Area##N##TypeStr), MEMBER(Area##N##Size), \
        MEMBER(Area##N##SizeStr), MEMBER(Area##N##List)
    inline static const std::vector<Member<Model>> all = {
        MEMBER(Type), MEMBER(PageNumber), MEMBER(LabelA), MEMBER(LabelB), MEMBER(LabelC), MEMBER(LabelD), MEMBER(LabelE),
        MEMBER(LabelF), MEMBER(LabelG),
        MEMBER(LabelH), MEMBER(LabelI), MEMBER(LabelJ), MEMBER(LabelK), MEMBER(LabelL), MEMBER(LabelM), MEMBER(LabelN),
        MEMBER(LabelO), MEMBER(LabelP),
        AREA(1), AREA(2), AREA(3), AREA(4), AREA(5), MEMBER(Order), MEMBER(OrderStr),
    };
    #undef AREA
};

template <> struct Members<EnquiryResultTramoModel> {
    using Model = EnquiryResultTramoModel;
    #define AREA(N) MEMBER(Area##N##Mode), MEMBER(Area##N##Code), MEMBER(Area##N##Result)
    inline static const std::vector<Member<Model>> all = {
        MEMBER(PageNumber), MEMBER(MeterSerialNumber), MEMBER(LastModificationDate), AREA(1), AREA(2), AREA(3), AREA(4), AREA(5),
    };
    #undef AREA
};

template <> struct Members<ExtendedDataTramoModel> {
    using Model = ExtendedDataTramoModel;
    inline static const std::vector<Member<Model>> all = {
        MEMBER(MeterSerialNumber), MEMBER(Latitude), MEMBER(Longitude), MEMBER(Altitude), MEMBER(Accuracy),
        MEMBER(UpdateDate), MEMBER(ScoreType), MEMBER(ScoreValue),
    };
};

template <> struct Members<RecordInformationTramoModel> {
    using Model = RecordInformationTramoModel;
    inline static const std::vector<Member<Model>> all = {MEMBER(RoundNumber), MEMBER(MeterNumber)};
};

template <> struct Members<TagTramoModel> {
    using Model = TagTramoModel;
    inline static const std::vector<Member<Model>> all = {MEMBER(Code), MEMBER(Label)};
};

template <> struct Members<ParameterTramoModel> {
    using Model = ParameterTramoModel;
    inline static const std::vector<Member<Model>> all = {MEMBER(Key), MEMBER(Value)};
};
// clang-format on

#undef MEMBER
#undef NAMED
