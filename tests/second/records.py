"""The record kinds of the format: how a line is read, checked, shown and written.

An independent implementation of the format, see values.py. Each record is written in plain steps, in the order in which they
happen; columns are counted from 1.
"""
import values
from values import ALARMS, AREA_TYPES, BLANKS, ENQUIRY_AREA_MODES, ENQUIRY_AREA_TYPES, FLUIDS, LINE_TYPES, NO_YEAR
from values import READ_METHODS, READ_STATUSES, UNSET

PARSE_INTEGER, PARSE_BOOL, PARSE_DOUBLE = 0x001, 0x003, 0x004
PARSE_FLUID, PARSE_STATUS, PARSE_METHOD, PARSE_AREA_TYPE, PARSE_LINE_TYPE = 0x011, 0x012, 0x013, 0x014, 0x015
PARSE_FLAGS, PARSE_ALARM, PARSE_ENQUIRY_TYPE, PARSE_ENQUIRY_MODE = 0x016, 0x017, 0x018, 0x019
PARSE_DATE_TIME, PARSE_DATE = 0x01A, 0x01B
BUILD_INTEGER, BUILD_TEXT = 0x101, 0x102
BUILD_FLUID, BUILD_STATUS, BUILD_METHOD, BUILD_AREA_TYPE = 0x111, 0x112, 0x113, 0x117
BUILD_ALARM, BUILD_ENQUIRY_TYPE, BUILD_ENQUIRY_MODE = 0x119, 0x11B, 0x11C
MISSING, INCONSISTENT, WRONG_LINE_TYPE = 0x201, 0x202, 0x203

DATE, DATE_TIME, YEAR = "%Y%m%d", "%Y%m%d%H%M", "%Y"


class Fields:
    """The fields of a line that is being read. A blank or invalid field is None."""

    def __init__(self, host, line, errors):
        self.host, self.line, self.errors = host, line, errors
        self.cuts = []

    def cut(self, column, width, kind):
        self.cuts.append((column, width, kind))
        return self.line[column - 1:column - 1 + width].rstrip(BLANKS)

    def text(self, column, width):
        return self.cut(column, width, "text")

    def converted(self, text, read, column, error):
        if not text:
            return None
        value = read(self.host, text)
        if value is None:
            self.errors.append((column, error))
        return value

    def int(self, column, width, at=None):
        return self.converted(self.cut(column, width, "whole"), values.read_int, at or column, PARSE_INTEGER)

    def long_long(self, column, width, error=PARSE_INTEGER):
        return self.converted(self.cut(column, width, "whole"), values.read_long_long, column, error)

    def double(self, column, width, at=None, error=PARSE_DOUBLE):
        read = lambda host, text: values.read_double(host, text)[0]
        return self.converted(self.cut(column, width, "decimal"), read, at or column, error)

    def date(self, column, at=None):
        return self.converted(self.cut(column, 8, "date"), values.read_date, at or column, PARSE_DATE)

    def date_time(self, column):
        return self.converted(self.cut(column, 12, "date and time"), values.read_date_time, column, PARSE_DATE_TIME)

    def year(self, column):
        text = self.cut(column, 4, "year")
        if self.converted(text, values.read_int, column, PARSE_INTEGER) is None:
            return None
        return values.read_year(self.host, text)

    def code(self, codes, column, error, at=None):
        read = lambda host, text: codes.read(host, text[0])
        return self.converted(self.cut(column, 1, codes), read, at or column, error)

    def flag(self, column):
        return self.converted(self.cut(column, 1, "flag"), lambda host, text: values.read_flag(text[0]), column, PARSE_BOOL)

    def alarm_flags(self, column):
        return self.converted(self.cut(column, 4, "alarm flags"), values.read_alarm_flags, column, PARSE_FLAGS)


class Sheet:
    """A line that is being written."""

    def __init__(self, host, length):
        self.host, self.length = host, length
        self.characters = [" "] * length + ["\r", "\n"]
        self.errors = []

    def put(self, column, text):
        self.characters[column - 1:column - 1 + len(text)] = text

    def text(self, column, width, text, at=None, error=BUILD_TEXT):
        if len(text) > width:
            self.errors.append((at or column, error))
        elif text:
            self.put(column, text.ljust(width))

    def whole(self, column, width, value):
        self.put(column, values.fitted(str(value), width))

    def double(self, column, width, value, decimals):
        self.put(column, values.fitted(values.double_text(value, decimals), width))

    def date(self, column, value, form=DATE):
        self.put(column, values.date_text(self.host, value, form))

    def code(self, codes, column, value, error, at=None):
        code = codes.write(self.host, value)
        if code is None:
            self.errors.append((at or column, error))
        else:
            self.put(column, code)

    def flag(self, column, value):
        self.put(column, values.flag_text(value))

    def alarm_flags(self, column, flags):
        self.put(column, values.alarm_flags_text(flags))

    def line(self):
        return "".join(self.characters)


def label(name):
    """The name of a member when the record is shown."""
    return name[0].lower() + name[1:]


class Record:
    LENGTH = 512
    LETTER = ""  # in column 1; none: every line is accepted
    PREFIX = ""  # of the message about another letter, if it is not the name of the model
    SHOWN_AS = ""
    KEEPS_BUILT_LINE = False
    LONG_LONG = ()  # the members with 64 bits
    CAN_BE_EMPTY = True

    def __init__(self, host, line):
        """`line` is None for a default-constructed record."""
        self.host = host
        self.kept = " " * self.LENGTH + "\r\n" if line is None else line[:self.LENGTH + 2].ljust(self.LENGTH + 2, "\0")
        self.parse_errors = []
        self.member = {}
        self.cut_of = {}  # the columns that a member was read from, to generate lines
        self.set_defaults()
        self.fields = Fields(host, self.kept, self.parse_errors)
        if line is not None and self.is_of_this_kind():
            self.read(self.fields)

    @classmethod
    def model(cls):
        return cls.__name__ + "TramoModel"

    def is_of_this_kind(self):
        if not self.LETTER:
            return True
        letter = self.kept[0]
        if LINE_TYPES.read(self.host, letter) is None:
            self.parse_errors.append((0, PARSE_LINE_TYPE))
        if letter == self.LETTER:
            return True
        self.parse_errors.append((0, WRONG_LINE_TYPE))
        printed = letter if ord(letter) < 0x100 else "?"
        self.host.narrow += f"{self.PREFIX or self.model()} : unvalidLineType({printed} != {self.LETTER}), Parse failed\n"
        return False

    def take(self, name, value):
        self.cut_of[name] = self.fields.cuts[-1]
        if value is not None:
            self.member[name] = value

    def got(self):
        """The results of the getters."""
        return self.member

    def set(self, name, value):
        self.member[name] = value

    def shown(self):
        pairs = ((label(pair), self.member[pair]) if isinstance(pair, str) else pair for pair in self.to_show())
        return (self.SHOWN_AS or self.model()) + "[" + ",".join(f"{name}:{self.rendered(value)}" for name, value in pairs) + "]"

    @staticmethod
    def rendered(value):
        if isinstance(value, float):
            return values.double_text(value, 6)
        return str(int(value)) if isinstance(value, bool) else str(value)

    def mandatory_errors(self):
        errors = []
        self.check(errors)
        return errors

    def build(self):
        """Returns the line and its errors."""
        sheet = Sheet(self.host, self.LENGTH)
        if self.LETTER:
            code = LINE_TYPES.write(self.host, self.member.get("Type", self.LETTER))
            sheet.put(1, code or "")
        self.write(sheet)
        if self.KEEPS_BUILT_LINE:
            self.kept = sheet.line()
        return sheet.line(), sheet.errors


class RoundArea:
    def __init__(self, whose, number, first):
        self.label, self.position, self.length, self.type = (
            f"{whose}{what}Area{number}" for what in ("Label", "Position", "Lenght", "Type"))
        self.columns = (first, first + 16, first + 19, first + 21)
        self.parse_columns = self.build_columns = self.columns
        self.mandatory_column = first
        if (whose, number) == ("SubscriberInformation", 4):
            self.build_columns = (431, 432, 448, 451)
            self.parse_columns = (None, 432, 448, 451)
            self.mandatory_column = 431
        if (whose, number) == ("SubscriberInformation", 5):
            self.parse_columns = (None, 470, 473, 473)


class Round(Record):
    LETTER = "0"
    KEEPS_BUILT_LINE = True

    AREAS = ([RoundArea("MeterInformation", number, 256 + 22 * (number - 1)) for number in range(1, 6)]
             + [RoundArea("SubscriberInformation", number, 366 + 22 * (number - 1)) for number in range(1, 6)])

    def set_defaults(self):
        self.member.update(Type="0", Code="", Name="", DefaultMeterWheels=-1, Message="", ConsumtionLimit="", RoundImportDate=0,
                           ReservedUserCode="")
        for area in self.AREAS:
            self.member.update({area.label: "", area.position: -1, area.length: -1, area.type: UNSET})

    def read(self, line):
        self.take("Code", line.text(2, 8))
        self.take("Name", line.text(10, 20))
        self.take("DefaultMeterWheels", line.int(30, 2))
        self.take("Message", line.text(32, 160))
        self.take("ConsumtionLimit", line.text(192, 64))
        for area in self.AREAS:
            self.take(area.label, line.text(area.columns[0], 16))
            self.take(area.position, line.int(area.columns[1], 3, at=area.parse_columns[1]))
            self.take(area.length, line.int(area.columns[2], 2, at=area.parse_columns[2]))
            self.take(area.type, line.code(AREA_TYPES, area.columns[3], PARSE_AREA_TYPE, at=area.parse_columns[3]))
        self.take("RoundImportDate", line.date(499, at=8))
        self.take("ReservedUserCode", line.text(511, 2))

    def write(self, sheet):
        m = self.member
        sheet.text(2, 8, m["Code"])
        sheet.text(10, 20, m["Name"])
        if m["DefaultMeterWheels"] > 3:
            sheet.whole(30, 2, m["DefaultMeterWheels"])
        sheet.text(32, 160, m["Message"])
        sheet.text(192, 64, m["ConsumtionLimit"])
        for area in self.AREAS:
            if m[area.position] >= 0:
                sheet.text(area.columns[0], 16, m[area.label], at=area.build_columns[0])
                sheet.whole(area.columns[1], 3, m[area.position])
                sheet.whole(area.columns[2], 2, m[area.length])
                sheet.code(AREA_TYPES, area.columns[3], m[area.type], BUILD_AREA_TYPE, at=area.build_columns[3])
        if m["RoundImportDate"] > 0:
            sheet.date(499, m["RoundImportDate"])
        sheet.text(511, 2, m["ReservedUserCode"])

    def check(self, errors):
        m = self.member
        if not m["Code"]:
            errors.append((2, MISSING))
        for area in self.AREAS:
            complete = m[area.position] >= 0 and m[area.length] >= 0 and m[area.type] != UNSET
            type_of_a = "MeterInformationTypeArea5" if area.type == "SubscriberInformationTypeArea1" else area.type
            begun = m[area.position] > 0 or m[area.length] > 0 or m[type_of_a] == "A" or m[area.type] == "N"
            if begun and not complete:
                errors.append((area.mandatory_column, INCONSISTENT))

    def to_show(self):
        for name in ("Code", "Name", "DefaultMeterWheels", "Message", "ConsumtionLimit"):
            yield "round" + name, self.member[name]
        for area in self.AREAS:
            for name in (area.label, area.position, area.length, area.type):
                yield "round" + name, self.member[name]
        yield "roundImportDate", self.member["RoundImportDate"]
        yield "roundReservedUserCode", self.member["ReservedUserCode"]


class MeterSubscriber(Record):
    LETTER = "1"
    KEEPS_BUILT_LINE = True
    SLOTS = [(f"MeterHistory{slot}ReadingType", f"MeterHistory{slot}ReadingDate", f"MeterHistory{slot}Consumption",
              156 + 19 * (slot - 1)) for slot in (1, 2, 3, 4)]
    LONG_LONG = ("MeterHistory1Consumption", "MeterHistory2Consumption", "MeterHistory3Consumption", "MeterHistory4Consumption",
                 "MeterPreviousReadingIndex", "MeterReadingIndex", "MeterReadingConsumption")

    def set_defaults(self):
        self.member.update(Type="1", SubscriberCardOrder=-1, SubscriberInformation="")
        for kind, date, consumption, _ in self.SLOTS:
            self.member.update({kind: "", date: 0, consumption: 0})
        self.member.update(
            MeterInformation="", MeterSerialNumber="", MeterWheels=-1, MeterCorrectedSerialNumber="", MeterCorrectedWheels=-1,
            MeterInstallationYear=NO_YEAR, MeterPreviousReadingDate=0, MeterPreviousReadingIndex=-1,
            MeterMinEstimatedConsumption=-1.0, MeterMaxEstimatedConsumption=-1.0, MeterReadingDate=0, MeterReadingIndex=-1,
            MeterReadingStatus=UNSET, MeterReadingConsumption=-1, MeterReadingMethod=UNSET, SubscriberMarkingCode="",
            MeterMarkingCode="", MeterMessage="", MeterLastUpdateDate=0, MeterAuthorizedChange=False, MeterFluidType=UNSET,
            MeterReadingUserCode="")
        self.authorized_change_text = ""

    def read(self, line):
        self.take("SubscriberCardOrder", line.int(2, 4))
        self.take("SubscriberInformation", line.text(6, 150))
        for kind, date, consumption, column in self.SLOTS:
            self.take(kind, line.text(column, 1))
            self.take(date, line.date(column + 1, at=194 if column == 194 else None))
            self.take(consumption, line.long_long(column + 9, 10))
        self.take("MeterInformation", line.text(232, 120))
        self.take("MeterSerialNumber", line.text(352, 12))
        self.take("MeterWheels", line.int(364, 2, at=352))
        self.take("MeterCorrectedSerialNumber", line.text(366, 12))
        self.take("MeterCorrectedWheels", line.int(378, 2))
        self.take("MeterInstallationYear", line.year(380))
        self.take("MeterPreviousReadingDate", line.date(384))
        self.take("MeterPreviousReadingIndex", line.long_long(392, 10))
        self.take("MeterMinEstimatedConsumption", line.double(402, 12))
        self.take("MeterMaxEstimatedConsumption", line.double(414, 12))
        self.take("MeterReadingDate", line.date_time(426))
        self.take("MeterReadingIndex", line.long_long(438, 10))
        self.take("MeterReadingStatus", line.code(READ_STATUSES, 448, PARSE_STATUS))
        self.take("MeterReadingConsumption", line.long_long(449, 10))
        self.take("MeterReadingMethod", line.code(READ_METHODS, 459, PARSE_METHOD))
        self.take("SubscriberMarkingCode", line.text(460, 2))
        self.take("MeterMarkingCode", line.text(462, 2))
        self.take("MeterMessage", line.text(464, 30))
        self.take("MeterLastUpdateDate", line.date_time(494))
        self.authorized_change_text = line.cut(506, 1, "flag") or "1"
        self.take("MeterAuthorizedChange", values.read_flag(self.authorized_change_text[0]))
        self.take("MeterFluidType", line.code(FLUIDS, 507, PARSE_FLUID))
        self.take("MeterReadingUserCode", line.text(508, 5))

    def set(self, name, value):
        super().set(name, value)
        if name == "MeterAuthorizedChange":
            self.authorized_change_text = values.flag_text(value)

    def write(self, sheet):
        m = self.member
        if m["SubscriberCardOrder"] >= 0:
            sheet.whole(2, 4, m["SubscriberCardOrder"])
        sheet.text(6, 150, m["SubscriberInformation"])
        sheet.text(460, 2, m["SubscriberMarkingCode"])
        for kind, date, consumption, column in self.SLOTS:
            if m[date] > 0 and m[consumption] >= 0:
                sheet.text(column, 1, m[kind])
                sheet.date(column + 1, m[date])
                sheet.whole(column + 9, 10, m[consumption])
        sheet.text(232, 120, m["MeterInformation"])
        if m["MeterInformation"]:
            sheet.text(352, 12, m["MeterSerialNumber"])
        if m["MeterWheels"] >= 0:
            sheet.whole(364, 2, m["MeterWheels"])
        sheet.text(366, 12, m["MeterCorrectedSerialNumber"])
        if m["MeterCorrectedWheels"] > 3:
            sheet.whole(378, 2, m["MeterCorrectedWheels"])
        if m["MeterInstallationYear"] != NO_YEAR:
            sheet.date(380, m["MeterInstallationYear"], YEAR)
        if m["MeterPreviousReadingDate"] > 0:
            sheet.date(384, m["MeterPreviousReadingDate"])
            if m["MeterPreviousReadingIndex"] >= 0:
                sheet.whole(392, 10, m["MeterPreviousReadingIndex"])
        if m["MeterMinEstimatedConsumption"] > -1.0:
            sheet.double(402, 12, m["MeterMinEstimatedConsumption"], -1)
        if m["MeterMaxEstimatedConsumption"] > -1.0:
            sheet.double(414, 12, m["MeterMaxEstimatedConsumption"], -1)
        if m["MeterReadingDate"] > 0:
            sheet.date(426, m["MeterReadingDate"], DATE_TIME)
            if m["MeterReadingIndex"] >= 0:
                sheet.whole(438, 10, m["MeterReadingIndex"])
            sheet.code(READ_STATUSES, 448, m["MeterReadingStatus"], BUILD_STATUS)
            if m["MeterReadingConsumption"] >= 0 and m["MeterPreviousReadingDate"] > 0:
                sheet.whole(449, 10, m["MeterReadingConsumption"])
            sheet.code(READ_METHODS, 459, m["MeterReadingMethod"], BUILD_METHOD)
        sheet.text(462, 2, m["MeterMarkingCode"])
        sheet.text(464, 30, m["MeterMessage"])
        if m["MeterLastUpdateDate"] > 0:
            sheet.date(494, m["MeterLastUpdateDate"], DATE_TIME)
        sheet.flag(506, m["MeterAuthorizedChange"])
        sheet.code(FLUIDS, 507, m["MeterFluidType"], BUILD_FLUID)
        sheet.text(508, 5, m["MeterReadingUserCode"])

    def check(self, errors):
        m = self.member
        if not m["SubscriberInformation"]:
            self.parse_errors.append((6, MISSING))
        for kind, date, consumption, column in self.SLOTS:
            if m[kind] and m[date] > 0 and m[consumption] >= 0:
                self.parse_errors.append((column, INCONSISTENT))
        if not m["MeterInformation"]:
            self.parse_errors.append((232, MISSING))
        if not m["MeterSerialNumber"]:
            self.parse_errors.append((352, MISSING))
        if (m["MeterPreviousReadingDate"] > 0) != (m["MeterPreviousReadingIndex"] >= 0):
            self.parse_errors.append((384, INCONSISTENT))
        if (m["MeterMinEstimatedConsumption"] > 0) == (m["MeterMaxEstimatedConsumption"] < 0):
            self.parse_errors.append((402, INCONSISTENT))
        if m["MeterReadingDate"] > 0:
            sound = not (m["MeterReadingIndex"] < 0 or m["MeterReadingStatus"] == UNSET or m["MeterReadingMethod"] == UNSET
                         or (m["MeterReadingConsumption"] < 0 and m["MeterPreviousReadingIndex"] > 0))
        else:
            sound = m["MeterReadingIndex"] < 0 and m["MeterReadingStatus"] == UNSET and m["MeterReadingMethod"] == UNSET
        if not sound:
            errors.append((426, INCONSISTENT))
        if not self.authorized_change_text:
            errors.append((506, MISSING))

    def to_show(self):
        yield from ("SubscriberCardOrder", "SubscriberInformation", "SubscriberMarkingCode")
        for kind, date, consumption, _ in self.SLOTS:
            yield from (kind, date, consumption)
        yield from ("MeterInformation", "MeterSerialNumber", "MeterWheels", "MeterCorrectedSerialNumber", "MeterCorrectedWheels",
                    "MeterInstallationYear", "MeterPreviousReadingDate", "MeterPreviousReadingIndex",
                    "MeterMinEstimatedConsumption", "MeterMaxEstimatedConsumption", "MeterReadingDate", "MeterReadingIndex",
                    "MeterReadingStatus", "MeterReadingConsumption", "MeterReadingMethod", "MeterMarkingCode", "MeterMessage",
                    "MeterLastUpdateDate", "MeterAuthorizedChange", "MeterFluidType")
        yield "meterReadingUsierId", self.member["MeterReadingUserCode"]


class AMR(Record):
    LETTER = "2"
    PREFIX = "AMR"
    SHOWN_AS = "AMR"
    LONG_LONG = ("MaxIndex", "PreviousAmrIndex", "CurrentAmrIndex")
    # In the order of their bits: the member, except the one with two spellings, and its label.
    ALARMS = [("FraudPastOrCurrent", "Fraud_PastOrCurrent"), ("LeakPastOrCurrent", "Leak_PastOrCurrent"),
              ("BackFlowPastOrCurrent", "Backflow_PastOrCurrent"), ("EndOfBattryCurrent", "EndOfBattry_Current"),
              ("ModuleDefectCurrent", "ModuleDefect_Current"), ("Clock?aultCurrent", "ClockFault_Current"),
              ("FraudCurrent", "Fraud_Current"), ("LeakCurrent", "Leak_Current"), ("BackFlowCurrent", "Backflow_Current"),
              ("MeterBlockedPastOrCurrent", "MeterBlocked_PastOrCurrent"), ("UnderFlowPastOrCurrent", "Underflow_PastOrCurrent"),
              ("OverFlowPastOrCurrent", "OverFlow_PastOrCurrent")]
    PREVIOUS = ["PreviousAlarm" + name.replace("?", "f") for name, _ in ALARMS]
    CURRENT = ["CurrentAlarm" + name.replace("?", "F") for name, _ in ALARMS]

    def set_defaults(self):
        self.member.update(
            Type="2", InstallationDate=0, MeterReference="", MeterSerialNumber="", SensorPort=-1, MeterMaxIndex=-1,
            MeterUnit=-1.0, Referance="", SerialNumber="", InternalSerialNumber="", Data="", PulseWeightStr="", PulseWeight=-1.0,
            MaxIndex=-1,
            PreviousReadingDateStr="", PreviousReadingDate=-1, PreviousMeterIndex=-1.0, PreviousAmrIndex=-1, PreviousAmrStatus="",
            PreviousManufacturerRawAlarm=0, PreviousManufacturerRawStatus=0, CurrentReadingDate=-1, CurrentMeterIndex=-1.0,
            CurrentAmrIndex=-1, CurrentAmrStatus="", CurrentManufacturerRawAlarm=0, CurrentManufacturerRawStatus=0,
            ExternalAMR=False, LastReadFailDate=0, ReadFailCount=0)
        self.member.update({name: False for name in self.PREVIOUS + self.CURRENT})
        self.sensor_port_text = self.previous_alarm_text = self.current_alarm_text = self.external_text = ""

    def read(self, line):
        self.take("InstallationDate", line.date(2))
        self.take("MeterReference", line.text(10, 16))
        self.take("MeterSerialNumber", line.text(26, 12))
        self.sensor_port_text = line.text(38, 2)
        self.take("SensorPort", line.int(38, 2))
        self.take("MeterMaxIndex", line.long_long(40, 10))
        self.take("MeterUnit", line.double(50, 6))
        self.take("Referance", line.text(56, 16))
        self.take("SerialNumber", line.text(72, 16))
        self.take("InternalSerialNumber", line.text(88, 16))
        self.take("Data", line.text(104, 128))
        self.take("PulseWeightStr", line.text(232, 10))
        self.take("PulseWeight", line.double(232, 10))
        self.take("MaxIndex", line.long_long(242, 10))

        self.take("PreviousReadingDateStr", line.text(252, 8))
        self.take("PreviousReadingDate", line.date(252))
        self.take("PreviousMeterIndex", line.double(260, 16))
        self.take("PreviousAmrIndex", line.long_long(276, 10, error=PARSE_DOUBLE))
        self.previous_alarm_text = line.text(286, 4)
        self.take_flags(self.PREVIOUS, line.alarm_flags(286))
        self.take("PreviousAmrStatus", line.text(290, 64))

        self.take("CurrentReadingDate", line.date(354))
        self.take("CurrentMeterIndex", line.double(362, 16))
        self.take("CurrentAmrIndex", line.long_long(378, 10, error=PARSE_DOUBLE))
        self.current_alarm_text = line.text(388, 4)
        self.take_flags(self.CURRENT, line.alarm_flags(388))
        self.take("CurrentAmrStatus", line.text(392, 64))

        self.external_text = line.text(456, 1)
        self.member["ExternalAMR"] = self.external_text == "1"
        self.take("LastReadFailDate", line.date_time(457))
        self.take("ReadFailCount", line.int(469, 2))

    def take_flags(self, names, flags):
        if flags is not None:
            for bit, name in enumerate(names):
                self.member[name] = bool(flags >> bit & 1)

    def flags(self, names):
        return sum(self.member[name] << bit for bit, name in enumerate(names))

    def got(self):
        return self.member | {name: 0 for name in ("CurrentReadingDate", "LastReadFailDate") if self.member[name] == -1}

    def set(self, name, value):
        super().set(name, value)
        if name == "ExternalAMR":
            self.external_text = values.flag_text(value)

    def write(self, sheet):
        m = self.member
        sheet.date(2, m["InstallationDate"])
        sheet.text(10, 16, m["MeterReference"])
        sheet.text(26, 12, m["MeterSerialNumber"])
        if m["SensorPort"] >= 0:
            sheet.whole(38, 2, m["SensorPort"])
        if m["MeterMaxIndex"] >= 0:
            sheet.whole(40, 10, m["MeterMaxIndex"])
        if m["MeterUnit"] > 0.0:
            sheet.double(50, 6, m["MeterUnit"], -1)
        sheet.text(56, 16, m["Referance"])
        sheet.text(72, 16, m["SerialNumber"])
        sheet.text(88, 16, m["InternalSerialNumber"])
        sheet.text(104, 128, m["Data"])
        if m["PulseWeight"] > 0.0:
            sheet.double(232, 10, m["PulseWeight"], -1)
        else:
            sheet.text(232, 10, m["PulseWeightStr"])
        if m["MaxIndex"] >= 0:
            sheet.whole(242, 10, m["MaxIndex"])

        if m["PreviousReadingDate"] != -1:
            sheet.date(252, m["PreviousReadingDate"])
            if m["PreviousMeterIndex"] > -1.0:
                sheet.double(260, 16, m["PreviousMeterIndex"], -1)
            if m["PreviousAmrIndex"] >= 0:
                sheet.whole(276, 10, m["PreviousAmrIndex"])
            sheet.alarm_flags(286, self.flags(self.PREVIOUS))
            sheet.text(290, 64, m["PreviousAmrStatus"])

        if m["CurrentReadingDate"] != -1:
            sheet.date(354, m["CurrentReadingDate"])
            if m["CurrentMeterIndex"] > -1.0:
                sheet.double(362, 16, m["CurrentMeterIndex"], -1)
            if m["CurrentAmrIndex"] >= 0:
                sheet.whole(378, 10, m["CurrentAmrIndex"])
            sheet.alarm_flags(388, self.flags(self.CURRENT))
            sheet.text(392, 64, m["CurrentAmrStatus"])

        sheet.text(456, 1, self.external_text)
        if m["LastReadFailDate"] >= 1 and m["ReadFailCount"] >= 1:
            sheet.date(457, m["LastReadFailDate"], DATE_TIME)
            sheet.whole(469, 2, m["ReadFailCount"])

    def check(self, errors):
        m = self.member
        for column, missing in (
                (2, m["InstallationDate"] < 1),
                (26, not m["MeterSerialNumber"]),
                (38, not self.sensor_port_text),
                (40, m["MeterMaxIndex"] < 0),
                (50, m["MeterUnit"] < 0.0),
                (56, not m["Referance"]),
                (72, not m["SerialNumber"]),
                (88, not m["InternalSerialNumber"]),
                (104, not m["Data"]),
                (232, m["PulseWeight"] < 0.0),
                (242, m["MaxIndex"] < 0),
                (252, m["PreviousReadingDate"] < 1),
                (260, m["PreviousMeterIndex"] < 0.0),
                (276, m["PreviousAmrIndex"] < 0),
                (286, m["PreviousMeterIndex"] < 0.0),
                (290, not m["PreviousAmrStatus"])):
            if missing:
                errors.append((column, MISSING))

    def to_show(self):
        m = self.member
        yield "amrInstallationDate", m["InstallationDate"]
        yield "amrMeterReferance", m["MeterReference"]
        yield "amrMeterSerialNumber", m["MeterSerialNumber"]
        yield "amrSensorPort", chr(m["SensorPort"] & 0xFFFF)
        for name in ("MeterMaxIndex", "MeterUnit", "Referance", "SerialNumber", "InternalSerialNumber", "Data", "PulseWeight",
                     "MaxIndex", "PreviousReadingDate", "PreviousMeterIndex"):
            yield "amr" + name, m[name]
        yield "amrPreviousAlarmStr", self.previous_alarm_text
        for name, (_, shown) in zip(self.PREVIOUS, self.ALARMS):
            yield "amrPreviousAlarm_" + shown, m[name]
        yield "amrPreviousAmrStatus", m["PreviousAmrStatus"]
        yield "amrCurrentReadingDate", m["CurrentReadingDate"]
        yield "amrCurrentMeterIndex", m["CurrentMeterIndex"]
        yield "amrCurrentAlarmStr", self.current_alarm_text
        for name, (_, shown) in zip(self.CURRENT, self.ALARMS):
            yield ("L" if shown == "ModuleDefect_Current" else "") + "amrCurrentAlarm_" + shown, m[name]
        yield "amrCurrentAmrStatus", m["CurrentAmrStatus"]
        yield "isExternamAMR", chr(m["ExternalAMR"])


class MeterChange(Record):
    LETTER = "3"
    LONG_LONG = ("NewMeterIndex",)

    def set_defaults(self):
        self.member.update(OldMeterSerialNumber="", NewMeterSerialNumber="", NewMeterWheelsNumber=-1, NewMeterIndex=0,
                           NewMeterInstallationDate=0)
        self.wheels_text = self.index_text = ""

    def read(self, line):
        self.take("OldMeterSerialNumber", line.text(2, 12))
        self.take("NewMeterSerialNumber", line.text(14, 12))
        self.wheels_text = line.text(26, 2)
        self.take("NewMeterWheelsNumber", line.int(26, 2))
        self.index_text = line.text(28, 10)
        self.take("NewMeterIndex", line.long_long(28, 10))
        self.take("NewMeterInstallationDate", line.date(38))

    def write(self, sheet):
        m = self.member
        sheet.text(2, 12, m["OldMeterSerialNumber"])
        sheet.text(14, 12, m["NewMeterSerialNumber"], error=BUILD_INTEGER)
        if m["NewMeterWheelsNumber"] > 3:
            sheet.whole(26, 2, m["NewMeterWheelsNumber"])
        if m["NewMeterIndex"] >= 0:
            sheet.whole(28, 10, m["NewMeterIndex"])
        sheet.date(38, m["NewMeterInstallationDate"])

    def check(self, errors):
        m = self.member
        for column, missing in (
                (2, not m["OldMeterSerialNumber"]),
                (14, not m["NewMeterSerialNumber"]),
                (26, not self.wheels_text),
                (28, not self.index_text),
                (38, m["NewMeterInstallationDate"] < 1)):
            if missing:
                errors.append((column, MISSING))

    def to_show(self):
        yield from self.member


class ExtendedAMR(Record):
    LETTER = "4"
    ALARM_FLAGS = ("FraudAlarm", "LeakAlarm", "BackflowAlarm", "BattryAlarm", "ModuleDefectAlarm", "ClockFaultAlarm")
    SLOTS = [(f"History{slot}DateTime", f"History{slot}Index", f"History{slot}Alarms", 102 + 22 * (slot - 1))
             for slot in range(1, 19)]

    def set_defaults(self):
        self.member.update(MeterReference="", MeterSerialNumber="", AmrReference="", AmrSerialNumber="", AmrSensorPort=-1,
                           ReadingDate=0, MeterIndex=0.0, BackflowIndex=0.0)
        self.member.update({name: False for name in self.ALARM_FLAGS})
        self.member.update(ReservedAlarm="")
        for moment, index, alarms, _ in self.SLOTS:
            self.member.update({moment: 0, index: -1.0, alarms: UNSET})

    def read(self, line):
        self.take("MeterReference", line.text(2, 16))
        self.take("MeterSerialNumber", line.text(18, 12))
        self.take("AmrReference", line.text(30, 16))
        self.take("AmrSerialNumber", line.text(46, 16))
        self.take("AmrSensorPort", line.int(62, 2))
        self.take("ReadingDate", line.date_time(64))
        self.take("MeterIndex", line.double(76, 9))
        self.take("BackflowIndex", line.double(85, 9, at=96))
        for column, name in enumerate(self.ALARM_FLAGS, 94):
            self.take(name, line.flag(column))
        self.take("ReservedAlarm", line.text(100, 2))
        for moment, index, alarms, column in self.SLOTS:
            self.take(moment, line.date_time(column))
            self.take(index, line.double(column + 12, 9, error=PARSE_INTEGER))
            self.take(alarms, line.code(ALARMS, column + 21, PARSE_ALARM, at=column + 12))

    def write(self, sheet):
        m = self.member
        sheet.text(2, 16, m["MeterReference"])
        sheet.text(18, 12, m["MeterSerialNumber"])
        sheet.text(30, 16, m["AmrReference"])
        sheet.text(46, 16, m["AmrSerialNumber"])
        if m["AmrSensorPort"] >= 0:
            sheet.whole(62, 2, m["AmrSensorPort"])
        sheet.date(64, m["ReadingDate"], DATE_TIME)
        if m["MeterIndex"] > -1.0:
            sheet.double(76, 9, m["MeterIndex"], 3)
        sheet.double(85, 9, m["BackflowIndex"], 3)
        for column, name in enumerate(self.ALARM_FLAGS, 94):
            sheet.flag(column, m[name])
        sheet.text(100, 2, m["ReservedAlarm"])
        for moment, index, alarms, column in self.SLOTS:
            if m[moment] > 0 and m[index] > -1.0:
                sheet.date(column, m[moment], DATE_TIME)
                sheet.double(column + 12, 9, m[index], 3)
                sheet.code(ALARMS, column + 21, m[alarms], BUILD_ALARM)

    def check(self, errors):
        m = self.member
        for column, missing in (
                (18, not m["MeterSerialNumber"]),
                (30, not m["AmrReference"]),
                (46, not m["AmrSerialNumber"]),
                (62, m["AmrSensorPort"] < 0),
                (64, m["ReadingDate"] < 1),
                (76, m["MeterIndex"] < 0.0),
                (96, m["BackflowIndex"] < 0.0)):
            if missing:
                errors.append((column, MISSING))
        for moment, index, alarms, column in self.SLOTS:
            complete = m[moment] >= 1 and m[index] >= 0.0 and m[alarms] != UNSET
            empty = m[moment] < 1 and m[index] < 0.0 and m[alarms] == UNSET
            if not complete and not empty:
                errors.append((column, INCONSISTENT))

    def to_show(self):
        yield from self.member


class EnquiryDefinition(Record):
    LETTER = "5"
    KEEPS_BUILT_LINE = True
    LABELS = ["Label" + letter for letter in "ABCDEFGHIJKLMNOP"]
    AREAS = [(f"Area{area}", 323 + 27 * (area - 1)) for area in range(1, 6)]

    def set_defaults(self):
        self.member.update(Type="5", PageNumber="")
        self.member.update({name: "" for name in self.LABELS})
        for area, _ in self.AREAS:
            self.member.update({area + "Label": "", area + "Type": UNSET, area + "TypeStr": "", area + "Size": -1,
                                area + "SizeStr": "", area + "List": ""})
        self.member.update(Order=-1, OrderStr="")

    def read(self, line):
        self.take("PageNumber", line.text(2, 1))
        for number, name in enumerate(self.LABELS):
            self.take(name, line.text(3 + 20 * number, 20))
        for area, column in self.AREAS:
            self.take(area + "Label", line.text(column, 16))
            self.take(area + "TypeStr", line.text(column + 16, 1))
            self.take(area + "Type", line.code(ENQUIRY_AREA_TYPES, column + 16, PARSE_ENQUIRY_TYPE, at=column + 17))
            self.take(area + "SizeStr", line.text(column + 17, 2))
            self.take(area + "Size", line.int(column + 17, 2))
            self.take(area + "List", line.text(column + 19, 8))
        self.take("OrderStr", line.text(511, 2))
        self.take("Order", line.int(511, 2))

    def set(self, name, value):
        super().set(name, value)
        if name == "Order":
            self.member["OrderStr"] = ("0" if value <= 9 else "") + str(value)

    def write(self, sheet):
        m = self.member
        sheet.text(2, 1, m["PageNumber"])
        for number, name in enumerate(self.LABELS):
            sheet.text(3 + 20 * number, 20, m[name])
        for area, column in self.AREAS:
            sheet.text(column, 16, m[area + "Label"])
            sheet.code(ENQUIRY_AREA_TYPES, column + 16, m[area + "Type"], BUILD_ENQUIRY_TYPE)
            if m[area + "Size"] >= 0:
                sheet.whole(column + 17, 2, m[area + "Size"])
            sheet.text(column + 19, 16, m[area + "List"], at=column)
        sheet.text(511, 2, m["OrderStr"])

    def check(self, errors):
        m = self.member
        if not m["PageNumber"]:
            errors.append((2, MISSING))
        for area, column in self.AREAS:
            if m[area + "Label"] and m[area + "Type"] != UNSET:
                if m[area + "Size"] < 0 or (m[area + "Type"] == "C" and not m[area + "List"]):
                    errors.append((column, INCONSISTENT))
        if m["Order"] < 0:
            errors.append((511, MISSING))

    def to_show(self):
        yield "PageNumber"
        yield from self.LABELS
        for area, _ in self.AREAS:
            yield from (area + "Label", area + "Type", area + "Size", area + "List")
        yield "Order"


class EnquiryResult(Record):
    LETTER = "6"
    CAN_BE_EMPTY = False
    SHOWN_AS = "EnquiryDefinitionTramoModel"
    AREAS = [(f"Area{area}Mode", f"Area{area}Code", f"Area{area}Result", 23 + 32 * (area - 1)) for area in range(1, 6)]

    def set_defaults(self):
        self.member.update(PageNumber="", MeterSerialNumber="", LastModificationDate=0)
        for mode, code, result, _ in self.AREAS:
            self.member.update({mode: UNSET, code: "", result: ""})

    def read(self, line):
        self.take("PageNumber", line.text(2, 1))
        self.take("MeterSerialNumber", line.text(3, 12))
        self.take("LastModificationDate", line.date(15))
        for mode, code, result, column in self.AREAS:
            self.take(mode, line.code(ENQUIRY_AREA_MODES, column, PARSE_ENQUIRY_MODE))
            self.take(code, line.text(column + 1, 1))
            self.take(result, line.text(column + 2, 30))

    def write(self, sheet):
        m = self.member
        sheet.text(2, 1, m["PageNumber"])
        sheet.text(3, 12, m["MeterSerialNumber"])
        if m["LastModificationDate"] > 0:
            sheet.date(15, m["LastModificationDate"])
        for mode, code, result, column in self.AREAS:
            sheet.code(ENQUIRY_AREA_MODES, column, m[mode], BUILD_ENQUIRY_MODE)
            sheet.text(column + 1, 1, m[code])
            sheet.text(column + 2, 30, m[result])

    def check(self, errors):
        if not self.member["PageNumber"]:
            errors.append((2, MISSING))
        if not self.member["MeterSerialNumber"]:
            errors.append((3, MISSING))

    def to_show(self):
        yield from self.member


class ExtendedData(Record):
    LETTER = "7"

    def set_defaults(self):
        self.member.update(MeterSerialNumber="", Latitude=0.0, Longitude=0.0, Altitude=0.0, Accuracy=0.0, UpdateDate=0,
                           ScoreType="", ScoreValue="")
        self.present = set()

    def take(self, name, value):
        super().take(name, value)
        if value is not None and value != "":
            self.present.add(name)

    def read(self, line):
        self.take("MeterSerialNumber", line.text(2, 12))
        self.take("Latitude", line.double(14, 16))
        self.take("Longitude", line.double(30, 16))
        self.take("Altitude", line.double(46, 8))
        self.take("Accuracy", line.double(54, 8))
        self.take("UpdateDate", line.date(62))
        self.take("ScoreType", line.text(70, 2))
        self.take("ScoreValue", line.text(72, 8))

    def set(self, name, value):
        super().set(name, value)
        self.present.add(name)

    def write(self, sheet):
        m = self.member
        sheet.text(2, 12, m["MeterSerialNumber"])
        for name, column, width, decimals in (("Latitude", 14, 16, 12), ("Longitude", 30, 16, 12), ("Altitude", 46, 8, 3),
                                              ("Accuracy", 54, 8, 3)):
            if name in self.present:
                sheet.double(column, width, m[name], decimals)
        if "UpdateDate" in self.present:
            sheet.date(62, m["UpdateDate"])
        if "ScoreType" in self.present:
            sheet.text(70, 2, m["ScoreType"])
        if "ScoreValue" in self.present:
            sheet.text(72, 8, m["ScoreValue"])

    def check(self, errors):
        if not self.member["MeterSerialNumber"]:
            errors.append((2, MISSING))

    def to_show(self):
        yield from self.member


class RecordInformation(Record):
    LETTER = "9"
    CAN_BE_EMPTY = False

    def set_defaults(self):
        self.member.update(RoundNumber=1, MeterNumber=-1)

    def read(self, line):
        self.take("RoundNumber", line.int(2, 5))
        self.take("RoundNumber", line.int(7, 5))  # the meter number is never read

    def write(self, sheet):
        if self.member["RoundNumber"] >= 0:
            sheet.whole(2, 5, self.member["RoundNumber"])
        if self.member["MeterNumber"] >= 0:
            sheet.whole(7, 5, self.member["MeterNumber"])

    def check(self, errors):
        if self.member["RoundNumber"] < 0:
            errors.append((2, MISSING))
        if self.member["MeterNumber"] < 0:
            errors.append((7, MISSING))

    def to_show(self):
        yield from self.member


class Tag(Record):
    LENGTH = 23
    CAN_BE_EMPTY = False

    def set_defaults(self):
        self.member.update(Code="", Label="")

    def read(self, line):
        self.take("Code", line.text(1, 2))
        self.take("Label", line.text(3, 20))

    def write(self, sheet):
        sheet.text(1, 2, self.member["Code"])
        sheet.text(3, 20, self.member["Label"])

    def check(self, errors):
        if not self.member["Code"]:
            errors.append((1, MISSING))
        if not self.member["Label"]:
            errors.append((3, MISSING))

    def to_show(self):
        yield from self.member


class Parameter(Record):
    LENGTH = 40

    def set_defaults(self):
        self.member.update(Key="", Value="")

    def read(self, line):
        self.take("Key", line.text(1, 8))
        self.take("Value", line.text(9, 32))

    def write(self, sheet):
        sheet.text(1, 8, self.member["Key"])
        sheet.text(9, 32, self.member["Value"])

    def check(self, errors):
        if not self.member["Key"]:
            errors.append((1, MISSING))
        if not self.member["Value"]:
            errors.append((9, MISSING))

    def to_show(self):
        yield from self.member


RECORDS = (Round, MeterSubscriber, AMR, MeterChange, ExtendedAMR, EnquiryDefinition, EnquiryResult, ExtendedData,
           RecordInformation, Tag, Parameter)


def kind_of(line):
    """The model of a record line, by its letter; an empty name for any other letter."""
    return next((record.model() for record in RECORDS if line and record.LETTER == line[0]), "")
