// Calls every getter of every model once: `sums << model`.
#pragma once
#include "bench/sums.h"
#include <tramostream/tramostream.h>
#include <variant>

namespace bench {

template <class Model> Sums& beginRecord(Sums& sums, const Model& model) {
    ++sums.records;
    sums.faults += model.getParseErrors().size();
    return sums;
}

inline Sums& operator<<(Sums& sums, const RoundTramoModel& m) {
    return beginRecord(sums, m) << m.getType() << m.getCode() << m.getName() << m.getDefaultMeterWheels() << m.getMessage()
                                << m.getConsumtionLimit() << m.getRoundImportDate() << m.getReservedUserCode()
                                << m.getMeterInformationLabelArea1() << m.getMeterInformationPositionArea1()
                                << m.getMeterInformationLenghtArea1() << m.getMeterInformationTypeArea1()
                                << m.getMeterInformationLabelArea2() << m.getMeterInformationPositionArea2()
                                << m.getMeterInformationLenghtArea2() << m.getMeterInformationTypeArea2()
                                << m.getMeterInformationLabelArea3() << m.getMeterInformationPositionArea3()
                                << m.getMeterInformationLenghtArea3() << m.getMeterInformationTypeArea3()
                                << m.getMeterInformationLabelArea4() << m.getMeterInformationPositionArea4()
                                << m.getMeterInformationLenghtArea4() << m.getMeterInformationTypeArea4()
                                << m.getMeterInformationLabelArea5() << m.getMeterInformationPositionArea5()
                                << m.getMeterInformationLenghtArea5() << m.getMeterInformationTypeArea5()
                                << m.getSubscriberInformationLabelArea1() << m.getSubscriberInformationPositionArea1()
                                << m.getSubscriberInformationLenghtArea1() << m.getSubscriberInformationTypeArea1()
                                << m.getSubscriberInformationLabelArea2() << m.getSubscriberInformationPositionArea2()
                                << m.getSubscriberInformationLenghtArea2() << m.getSubscriberInformationTypeArea2()
                                << m.getSubscriberInformationLabelArea3() << m.getSubscriberInformationPositionArea3()
                                << m.getSubscriberInformationLenghtArea3() << m.getSubscriberInformationTypeArea3()
                                << m.getSubscriberInformationLabelArea4() << m.getSubscriberInformationPositionArea4()
                                << m.getSubscriberInformationLenghtArea4() << m.getSubscriberInformationTypeArea4()
                                << m.getSubscriberInformationLabelArea5() << m.getSubscriberInformationPositionArea5()
                                << m.getSubscriberInformationLenghtArea5() << m.getSubscriberInformationTypeArea5();
}

inline Sums& operator<<(Sums& sums, const MeterSubscriberTramoModel& m) {
    return beginRecord(sums, m) << m.getType() << m.getSubscriberCardOrder() << m.getSubscriberInformation()
                                << m.getSubscriberMarkingCode() << m.getMeterHistory1ReadingType()
                                << m.getMeterHistory1ReadingDate() << m.getMeterHistory1Consumption()
                                << m.getMeterHistory2ReadingType() << m.getMeterHistory2ReadingDate()
                                << m.getMeterHistory2Consumption() << m.getMeterHistory3ReadingType()
                                << m.getMeterHistory3ReadingDate() << m.getMeterHistory3Consumption()
                                << m.getMeterHistory4ReadingType() << m.getMeterHistory4ReadingDate()
                                << m.getMeterHistory4Consumption() << m.getMeterInformation() << m.getMeterSerialNumber()
                                << m.getMeterWheels() << m.getMeterCorrectedSerialNumber() << m.getMeterCorrectedWheels()
                                << m.getMeterInstallationYear() << m.getMeterPreviousReadingDate()
                                << m.getMeterPreviousReadingIndex() << m.getMeterMinEstimatedConsumption()
                                << m.getMeterMaxEstimatedConsumption() << m.getMeterReadingDate() << m.getMeterReadingIndex()
                                << m.getMeterReadingStatus() << m.getMeterReadingConsumption() << m.getMeterReadingMethod()
                                << m.getMeterMarkingCode() << m.getMeterMessage() << m.getMeterLastUpdateDate()
                                << m.getMeterAuthorizedChange() << m.getMeterFluidType() << m.getMeterReadingUserCode();
}

inline Sums& operator<<(Sums& sums, const AMRTramoModel& m) {
    return beginRecord(sums, m) << m.getType() << m.getInstallationDate() << m.getMeterReference() << m.getMeterSerialNumber()
                                << m.getSensorPort() << m.getMeterMaxIndex() << m.getMeterUnit() << m.getReferance()
                                << m.getSerialNumber() << m.getInternalSerialNumber() << m.getData() << m.getPulseWeightStr()
                                << m.getPulseWeight() << m.getMaxIndex() << m.getPreviousReadingDateStr()
                                << m.getPreviousReadingDate() << m.getPreviousMeterIndex() << m.getPreviousAmrIndex()
                                << m.getPreviousAmrStatus() << m.getPreviousManufacturerRawAlarm()
                                << m.getPreviousManufacturerRawStatus() << m.getPreviousAlarmFraudPastOrCurrent()
                                << m.getPreviousAlarmLeakPastOrCurrent() << m.getPreviousAlarmBackFlowPastOrCurrent()
                                << m.getPreviousAlarmEndOfBattryCurrent() << m.getPreviousAlarmModuleDefectCurrent()
                                << m.getPreviousAlarmClockfaultCurrent() << m.getPreviousAlarmFraudCurrent()
                                << m.getPreviousAlarmLeakCurrent() << m.getPreviousAlarmBackFlowCurrent()
                                << m.getPreviousAlarmMeterBlockedPastOrCurrent() << m.getPreviousAlarmUnderFlowPastOrCurrent()
                                << m.getPreviousAlarmOverFlowPastOrCurrent() << m.getCurrentReadingDate()
                                << m.getCurrentMeterIndex() << m.getCurrentAmrIndex() << m.getCurrentAmrStatus()
                                << m.getCurrentManufacturerRawAlarm() << m.getCurrentManufacturerRawStatus()
                                << m.getCurrentAlarmFraudPastOrCurrent() << m.getCurrentAlarmLeakPastOrCurrent()
                                << m.getCurrentAlarmBackFlowPastOrCurrent() << m.getCurrentAlarmEndOfBattryCurrent()
                                << m.getCurrentAlarmModuleDefectCurrent() << m.getCurrentAlarmClockFaultCurrent()
                                << m.getCurrentAlarmFraudCurrent() << m.getCurrentAlarmLeakCurrent()
                                << m.getCurrentAlarmBackFlowCurrent() << m.getCurrentAlarmMeterBlockedPastOrCurrent()
                                << m.getCurrentAlarmUnderFlowPastOrCurrent() << m.getCurrentAlarmOverFlowPastOrCurrent()
                                << m.getLastReadFailDate() << m.getReadFailCount();
}

inline Sums& operator<<(Sums& sums, const MeterChangeTramoModel& m) {
    return beginRecord(sums, m) << m.getOldMeterSerialNumber() << m.getNewMeterSerialNumber() << m.getNewMeterWheelsNumber()
                                << m.getNewMeterIndex() << m.getNewMeterInstallationDate();
}

inline Sums& operator<<(Sums& sums, const ExtendedAMRTramoModel& m) {
    return beginRecord(sums, m) << m.getMeterReference() << m.getMeterSerialNumber() << m.getAmrReference()
                                << m.getAmrSerialNumber() << m.getAmrSensorPort() << m.getReadingDate() << m.getMeterIndex()
                                << m.getBackflowIndex() << m.getFraudAlarm() << m.getLeakAlarm() << m.getBackflowAlarm()
                                << m.getBattryAlarm() << m.getModuleDefectAlarm() << m.getClockFaultAlarm()
                                << m.getReservedAlarm() << m.getHistory1DateTime() << m.getHistory1Index()
                                << m.getHistory1Alarms() << m.getHistory2DateTime() << m.getHistory2Index()
                                << m.getHistory2Alarms() << m.getHistory3DateTime() << m.getHistory3Index()
                                << m.getHistory3Alarms() << m.getHistory4DateTime() << m.getHistory4Index()
                                << m.getHistory4Alarms() << m.getHistory5DateTime() << m.getHistory5Index()
                                << m.getHistory5Alarms() << m.getHistory6DateTime() << m.getHistory6Index()
                                << m.getHistory6Alarms() << m.getHistory7DateTime() << m.getHistory7Index()
                                << m.getHistory7Alarms() << m.getHistory8DateTime() << m.getHistory8Index()
                                << m.getHistory8Alarms() << m.getHistory9DateTime() << m.getHistory9Index()
                                << m.getHistory9Alarms() << m.getHistory10DateTime() << m.getHistory10Index()
                                << m.getHistory10Alarms() << m.getHistory11DateTime() << m.getHistory11Index()
                                << m.getHistory11Alarms() << m.getHistory12DateTime() << m.getHistory12Index()
                                << m.getHistory12Alarms() << m.getHistory13DateTime() << m.getHistory13Index()
                                << m.getHistory13Alarms() << m.getHistory14DateTime() << m.getHistory14Index()
                                << m.getHistory14Alarms() << m.getHistory15DateTime() << m.getHistory15Index()
                                << m.getHistory15Alarms() << m.getHistory16DateTime() << m.getHistory16Index()
                                << m.getHistory16Alarms() << m.getHistory17DateTime() << m.getHistory17Index()
                                << m.getHistory17Alarms() << m.getHistory18DateTime() << m.getHistory18Index()
                                << m.getHistory18Alarms();
}

inline Sums& operator<<(Sums& sums, const EnquiryDefinitionTramoModel& m) {
    return beginRecord(sums, m) << m.getType() << m.getPageNumber() << m.getLabelA() << m.getLabelB() << m.getLabelC()
                                << m.getLabelD() << m.getLabelE() << m.getLabelF() << m.getLabelG() << m.getLabelH()
                                << m.getLabelI() << m.getLabelJ() << m.getLabelK() << m.getLabelL() << m.getLabelM()
                                << m.getLabelN() << m.getLabelO() << m.getLabelP() << m.getArea1Label() << m.getArea1Type()
                                << m.getArea1TypeStr() << m.getArea1Size() << m.getArea1SizeStr() << m.getArea1List()
                                << m.getArea2Label() << m.getArea2Type() << m.getArea2TypeStr() << m.getArea2Size()
                                << m.getArea2SizeStr() << m.getArea2List() << m.getArea3Label() << m.getArea3Type()
                                << m.getArea3TypeStr() << m.getArea3Size() << m.getArea3SizeStr() << m.getArea3List()
                                << m.getArea4Label() << m.getArea4Type() << m.getArea4TypeStr() << m.getArea4Size()
                                << m.getArea4SizeStr() << m.getArea4List() << m.getArea5Label() << m.getArea5Type()
                                << m.getArea5TypeStr() << m.getArea5Size() << m.getArea5SizeStr() << m.getArea5List()
                                << m.getOrder() << m.getOrderStr();
}

inline Sums& operator<<(Sums& sums, const EnquiryResultTramoModel& m) {
    return beginRecord(sums, m) << m.getPageNumber() << m.getMeterSerialNumber() << m.getLastModificationDate()
                                << m.getArea1Mode() << m.getArea1Code() << m.getArea1Result() << m.getArea2Mode()
                                << m.getArea2Code() << m.getArea2Result() << m.getArea3Mode() << m.getArea3Code()
                                << m.getArea3Result() << m.getArea4Mode() << m.getArea4Code() << m.getArea4Result()
                                << m.getArea5Mode() << m.getArea5Code() << m.getArea5Result();
}

inline Sums& operator<<(Sums& sums, const ExtendedDataTramoModel& m) {
    return beginRecord(sums, m) << m.getMeterSerialNumber() << m.getLatitude() << m.getLongitude() << m.getAltitude()
                                << m.getAccuracy() << m.getUpdateDate() << m.getScoreType() << m.getScoreValue();
}

inline Sums& operator<<(Sums& sums, const RecordInformationTramoModel& m) {
    return beginRecord(sums, m) << m.getRoundNumber() << m.getMeterNumber();
}

inline Sums& operator<<(Sums& sums, const ParameterTramoModel& m) { return beginRecord(sums, m) << m.getKey() << m.getValue(); }

inline Sums& operator<<(Sums& sums, const TagTramoModel& m) { return beginRecord(sums, m) << m.getCode() << m.getLabel(); }

inline Sums& operator<<(Sums& sums, const AMRKeyTramoModel& m) {
    return beginRecord(sums, m) << m.getSerialNumber() << m.getHardwareVersion() << m.getFirmwareVersion()
                                << m.getWmBusAddressMeterId() << m.getWmBusAddressManufacturerId() << m.getWmBusAddressVersion()
                                << m.getWmBusAddressDeviceType() << m.getWmBusKeyMode5() << m.getWmBusKeyMode7()
                                << m.getWmBusKeyExchangeKey();
}

inline Sums& operator<<(Sums& sums, std::monostate) {
    ++sums.faults;
    return sums;
}

inline Sums& operator<<(Sums& sums, const tramo::AnyRecord& record) {
    std::visit([&](const auto& model) { sums << model; }, record.model());
    return sums;
}

}  // namespace bench
