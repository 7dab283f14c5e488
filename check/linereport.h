// Where the rules about rounds report what is wrong with a single line.
#pragma once
#include "check/roundrules.h"
#include "tramostream/check.h"
#include <string>
#include <vector>

namespace tramo {

// Returns a finding of a rule about rounds in this line; 0: the whole file. `found`: the text of the columns.
Finding roundFinding(RoundRule rule, std::int64_t line, std::string sentence, std::string reason = {});
void setPlace(Finding& finding, const RecordKind& kind, int column, int width, std::wstring found = {});

class LineReport {
public:
    // Without findings, notes only whether there are any.
    LineReport(const RoundRuleSet& switchedOn, std::int64_t number, std::vector<Finding>* to)
        : on(switchedOn), line(number), findings(to) {}

    // Returns whether the sentences of a finding are wanted.
    bool has(RoundRule rule) {
        if (!on.has(rule)) return false;
        any = true;
        return findings != nullptr;
    }
    void add(RoundRule rule, const RecordKind& kind, int column, int width, std::wstring found, std::string sentence,
        std::string reason = {}) {
        findings->push_back(roundFinding(rule, line, std::move(sentence), std::move(reason)));
        setPlace(findings->back(), kind, column, width, std::move(found));
    }
    void add(RoundRule rule, const RecordKind& kind, const Field& field, std::wstring found, std::string sentence,
        std::string reason = {}) {
        add(rule, kind, field.column, field.width, std::move(found), std::move(sentence), std::move(reason));
    }

    bool isEmpty() const { return !any; }

private:
    const RoundRuleSet& on;
    std::int64_t line;
    std::vector<Finding>* findings;
    bool any = false;
};

}  // namespace tramo
