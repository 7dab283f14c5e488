// Rounds of meters for Python: each object as a tuple of plain values, of which the package makes its classes.
#include "module.h"
#include <tramostream/round.h>
#include <tramostream/tables.h>

using namespace tramo;

namespace python {

namespace {

using FilePart = std::shared_ptr<const RoundFile>;

struct FileObject {
    FilePart file;
    std::string encoding;
};
struct RoundObject {
    FilePart file;
    const Round* round;
};
struct MeterObject {
    FilePart file;
    const Meter* meter;
};

template <class Values, class Convert> Ref listOf(const Values& values, Convert convert) {
    Ref list = checked(PyList_New(0));
    for (const auto& value : values) append(list, convert(value));
    return list;
}

Ref lineOrNone(const LineView* line) { return line ? makeLine(*line) : none(); }
Ref originOf(const Origin& origin) { return tuple(number(origin.line), number(origin.column), number(origin.width)); }

template <class T> const T& self(PyObject* object) { return Object<T>::of(object); }

// ---- A file ---------------------------------------------------------------------------------------------------------

PyObject* roundsOf(PyObject* of, PyObject*) {
    return guarded([&] {
        const FilePart& file = self<FileObject>(of).file;
        return listOf(file->rounds(), [&](const Round& round) { return Object<RoundObject>::make(RoundObject{file, &round}); });
    });
}

PyObject* orphansOf(PyObject* of, PyObject*) {
    return guarded([&] {
        return listOf(self<FileObject>(of).file->orphans(),
            [](const Orphan& orphan) { return tuple(makeLine(*orphan.line), textOrNone(orphan.serial), text(orphan.reason)); });
    });
}

PyObject* findingsOfFile(PyObject* of, PyObject*) {
    return guarded([&] {
        std::vector<Finding> findings;
        {
            const Unlocked unlocked;
            findings = self<FileObject>(of).file->findings();
        }
        return findingsOf(findings);
    });
}

PyObject* linesOfFile(PyObject* of, PyObject*) {
    return guarded([&] { return listOf(self<FileObject>(of).file->lines(), makeLine); });
}

PyObject* metersTable(PyObject* of, PyObject*) {
    return guarded([&] {
        std::optional<Table> table;
        {
            Unlocked unlocked;
            MeterTable meters(*self<FileObject>(of).file, {.rowsPerBatch = 4096});
            table = tableOf(meters);
            for (auto batch = makeArrow<ArrowArray>(); meters.exportRows(batch.get()); batch = makeArrow<ArrowArray>()) {
                table->add(std::move(batch));
                unlocked.checkSignals();
            }
        }
        return makeTable(std::move(*table), "meters");
    });
}

PyObject* encodingOfFile(PyObject* of, PyObject*) {
    return guarded([&] { return text(self<FileObject>(of).encoding); });
}

// ---- A round --------------------------------------------------------------------------------------------------------

PyObject* roundFacts(PyObject* of, PyObject*) {
    return guarded([&] {
        const Round& round = *self<RoundObject>(of).round;
        const Ref areas = listOf(round.areas(), [](const Area& area) {
            return tuple(text(area.of == Area::Subscriber ? "subscriber" : "meter"), number(area.number), text(area.label),
                number(area.position), number(area.length), area.type == '!' ? none() : text(std::string_view(&area.type, 1)));
        });
        return tuple(text(round.code()), text(round.name()), lineOrNone(round.header()), lineOrNone(round.information()), areas,
            listOf(round.pages(), [](const LineView* page) { return makeLine(*page); }));
    });
}

PyObject* metersOf(PyObject* of, PyObject*) {
    return guarded([&] {
        const RoundObject& round = self<RoundObject>(of);
        return listOf(round.round->meters(), [&](const Meter& meter) {
            return Object<MeterObject>::make(MeterObject{round.file, &meter});
        });
    });
}

// ---- A meter --------------------------------------------------------------------------------------------------------

Ref readingOf(const std::optional<Reading>& reading) {
    if (!reading) return none();
    return tuple(timeOf(reading->at), numberOrNone(reading->index), numberOrNone(reading->consumption),
        codeOrNone(reading->status), codeOrNone(reading->method), textOrNone(reading->agent), originOf(reading->origin));
}

PyObject* meterFacts(PyObject* of, PyObject*) {
    return guarded([&] {
        const Meter& meter = *self<MeterObject>(of).meter;
        return tuple(text(meter.serial()), text(meter.state() == Meter::State::Read ? "read" : "unread"),
            readingOf(meter.reading()), readingOf(meter.previous()), numberOrNone(meter.difference()));
    });
}

PyObject* linesOfMeter(PyObject* of, PyObject*) {
    return guarded(
        [&] { return listOf(self<MeterObject>(of).meter->lines(), [](const LineView* line) { return makeLine(*line); }); });
}

PyObject* areasOfMeter(PyObject* of, PyObject*) {
    return guarded([&] {
        return listOf(self<MeterObject>(of).meter->areas(), [](const AreaText& area) {
            return tuple(area.area ? text(area.area->label) : none(), text(area.text), originOf(area.origin));
        });
    });
}

PyObject* alarmsOfMeter(PyObject* of, PyObject*) {
    return guarded([&] {
        return listOf(self<MeterObject>(of).meter->alarms(), [](const Alarm& alarm) {
            return tuple(text(alarm.name), boolean(alarm.isPrevious), text(alarm.field), originOf(alarm.origin));
        });
    });
}

PyObject* historyOfMeter(PyObject* of, PyObject*) {
    return guarded([&] {
        return listOf(self<MeterObject>(of).meter->history(), [](const HistoryItem& item) {
            return tuple(
                number(item.slot), textOrNone(item.type), dayOf(item.day), numberOrNone(item.consumption), originOf(item.origin));
        });
    });
}

PyObject* moduleReadingsOfMeter(PyObject* of, PyObject*) {
    return guarded([&] {
        return listOf(self<MeterObject>(of).meter->moduleReadings(), [](const ModuleReading& reading) {
            return tuple(number(reading.slot), reading.at ? timeOf(*reading.at) : none(), realOrNone(reading.index),
                codeOrNone(reading.alarms), originOf(reading.origin));
        });
    });
}

PyObject* changesOfMeter(PyObject* of, PyObject*) {
    return guarded([&] {
        return listOf(self<MeterObject>(of).meter->changes(), [](const MeterChange& change) {
            return tuple(textOrNone(change.oldSerial), textOrNone(change.newSerial), numberOrNone(change.newIndex),
                numberOrNone(change.newWheels), dayOf(change.day), originOf(change.origin));
        });
    });
}

PyObject* answersOfMeter(PyObject* of, PyObject*) {
    return guarded([&] {
        return listOf(self<MeterObject>(of).meter->answers(), [](const Answer& answer) {
            return tuple(text(answer.page), number(answer.area), textOrNone(answer.question), textOrNone(answer.type),
                textOrNone(answer.list), codeOrNone(answer.mode), textOrNone(answer.code), textOrNone(answer.result),
                dayOf(answer.day), originOf(answer.origin));
        });
    });
}

PyObject* findingsOfMeter(PyObject* of, PyObject*) {
    return guarded([&] { return findingsOf(self<MeterObject>(of).meter->findings()); });
}

PyObject* placeOfMeter(PyObject* of, PyObject*) {
    return guarded([&] {
        const auto place = self<MeterObject>(of).meter->place();
        if (!place) return none();
        return tuple(real(place->latitude), real(place->longitude), realOrNone(place->altitude), realOrNone(place->accuracy),
            dayOf(place->day), originOf(place->origin));
    });
}

}  // namespace

// read_rounds(reader): all lines of the file, in memory.
PyObject* readRounds(PyObject*, PyObject* argument) {
    return guarded([&] {
        Using reader(readerOf(argument));
        std::optional<RoundFile> file;
        onFile(reader->path, [&] {
            Unlocked unlocked;
            file.emplace(RoundFile::read(*reader->reader, [&] { unlocked.checkSignals(); }));
        });
        return Object<FileObject>::make(
            FileObject{std::make_shared<const RoundFile>(std::move(*file)), nameOf(reader->reader->encoding())});
    });
}

void addRounds(PyObject* module) {
    static PyMethodDef ofFile[] = {
        {"rounds", roundsOf, METH_NOARGS, nullptr},
        {"orphans", orphansOf, METH_NOARGS, nullptr},
        {"findings", findingsOfFile, METH_NOARGS, nullptr},
        {"lines", linesOfFile, METH_NOARGS, nullptr},
        {"meters", metersTable, METH_NOARGS, nullptr},
        {"encoding", encodingOfFile, METH_NOARGS, nullptr},
        {nullptr, nullptr, 0, nullptr},
    };
    static PyMethodDef ofRound[] = {
        {"facts", roundFacts, METH_NOARGS, nullptr},
        {"meters", metersOf, METH_NOARGS, nullptr},
        {nullptr, nullptr, 0, nullptr},
    };
    static PyMethodDef ofMeter[] = {
        {"facts", meterFacts, METH_NOARGS, nullptr},
        {"lines", linesOfMeter, METH_NOARGS, nullptr},
        {"areas", areasOfMeter, METH_NOARGS, nullptr},
        {"alarms", alarmsOfMeter, METH_NOARGS, nullptr},
        {"history", historyOfMeter, METH_NOARGS, nullptr},
        {"module_readings", moduleReadingsOfMeter, METH_NOARGS, nullptr},
        {"changes", changesOfMeter, METH_NOARGS, nullptr},
        {"answers", answersOfMeter, METH_NOARGS, nullptr},
        {"findings", findingsOfMeter, METH_NOARGS, nullptr},
        {"place", placeOfMeter, METH_NOARGS, nullptr},
        {nullptr, nullptr, 0, nullptr},
    };
    addType<FileObject>(module, "tramostream._core.RoundFile", {noConstructor, {Py_tp_methods, ofFile}});
    addType<RoundObject>(module, "tramostream._core.Round", {noConstructor, {Py_tp_methods, ofRound}});
    addType<MeterObject>(module, "tramostream._core.Meter", {noConstructor, {Py_tp_methods, ofMeter}});
}

}  // namespace python
