// Findings, and the format as data, for Python.
#include "module.h"
#include <algorithm>
#include <tramostream/filecheck.h>
#include <tramostream/linemodel.h>

using namespace tramo;

namespace python {

namespace {

constexpr std::size_t linesAtOnce = 8192;  // between two looks at signals

const char* nameOf(Severity severity) {
    switch (severity) {
    case Severity::Error: return "error";
    case Severity::Warning: return "warning";
    case Severity::Hint: break;
    }
    return "hint";
}

Ref wideText(std::wstring_view wide) {
    // Halves of surrogate pairs, which UTF-8 does not have, become replacement characters, as in every other text.
    const Ref whole = checked(PyUnicode_FromWideChar(wide.data(), static_cast<Py_ssize_t>(wide.size())));
    const Ref units = checked(PyUnicode_AsEncodedString(whole.get(), "utf-16-le", "surrogatepass"));
    return checked(PyUnicode_FromEncodedObject(units.get(), "utf-16-le", "replace"));
}

Ref numberOrNone(long long value) { return value == 0 ? none() : number(value); }

Ref objectOf(const Finding& finding) {
    return tuple(text(nameOf(finding.severity)), text(finding.rule->name), numberOrNone(finding.rule->code),
        numberOrNone(finding.line), numberOrNone(finding.column), numberOrNone(finding.endColumn),
        numberOrNone(finding.reportedColumn), textOrNone(finding.kind), textOrNone(finding.field),
        finding.field.empty() || finding.column == 0 ? none() : wideText(finding.found), text(sentenceOf(finding)),
        textOrNone(finding.hint));
}

// The severities that rules are given: a dictionary of texts by the names of rules, which must exist.
Severities severitiesIn(PyObject* changed) {
    Severities severities;
    PyObject *name = nullptr, *what = nullptr;
    for (Py_ssize_t at = 0; PyDict_Next(changed, &at, &name, &what);) {
        const std::string rule = utf8(name), word = utf8(what);
        std::optional<Severity> severity;
        for (const Severity each : {Severity::Error, Severity::Warning, Severity::Hint})
            if (word == nameOf(each)) severity = each;
        const auto found = std::ranges::find(rules(), rule, &Rule::name);
        if (found == rules().end() || (!severity && word != "off"))
            throw std::invalid_argument("unknown rule or severity: " + rule + "=" + word);
        severities.set(*found, severity);
    }
    return severities;
}

}  // namespace

Ref findingsOf(const std::vector<Finding>& findings) {
    Ref list = checked(PyList_New(0));
    for (const Finding& finding : findings) append(list, objectOf(finding));
    return list;
}

// check_file(reader, strict, all, each, severities): the findings of the file, then those of its lines; numbers of lines,
// errors, warnings, hints.
PyObject* checkFile(PyObject*, PyObject* arguments) {
    return guarded([&] {
        PyObject *source = nullptr, *changed = nullptr;
        int strict = 0, all = 0, each = 0;
        if (!PyArg_ParseTuple(arguments, "OpppO!", &source, &strict, &all, &each, &PyDict_Type, &changed)) throw Raised();
        Using reader(readerOf(source));
        FileChecker checker(*reader->reader,
            {.lines = {.strict = strict != 0, .all = all != 0, .severities = severitiesIn(changed)}, .each = each != 0});
        for (bool isMore = true; isMore;) {
            onFile(reader->path, [&] {
                const Unlocked unlocked;
                isMore = checker.check(linesAtOnce);
            });
            checked(PyErr_CheckSignals());
        }
        const CheckedFile file = checker.result();
        return tuple(findingsOf(file.diagnosis), findingsOf(file.findings), number(static_cast<long long>(file.summary.lines)),
            number(static_cast<long long>(file.summary.total.errors)),
            number(static_cast<long long>(file.summary.total.warnings)),
            number(static_cast<long long>(file.summary.total.hints)));
    });
}

// describe_format(): the kinds with their fields, and the rules.
PyObject* describeFormat(PyObject*, PyObject*) {
    return guarded([&] {
        Ref kinds = checked(PyList_New(0)), rulesOfFormat = checked(PyList_New(0));
        for (const RecordKind* kind : allKinds()) {
            Ref fields = checked(PyList_New(0));
            for (const Field& field : kind->fields) {
                if (field.column == 0) continue;
                append(fields, tuple(text(field.name), text(nameOf(field.kind)), number(field.column), number(field.width),
                                   number(field.decimals), wideText(field.codes), text(field.readInto), text(field.written),
                                   text(field.mandatory)));
            }
            const char letter = static_cast<char>(kind->letter);
            append(kinds, tuple(text(kind->name), kind->letter ? text(std::string_view(&letter, 1)) : none(),
                              number(kind->length), fields));
        }
        for (const Rule& rule : rules())
            append(rulesOfFormat, tuple(text(rule.name), numberOrNone(rule.code), text(nameOf(rule.severity)),
                                      text(rule.description), textOrNone(rule.remedy)));
        return tuple(kinds, rulesOfFormat);
    });
}

}  // namespace python
