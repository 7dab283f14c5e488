// Changes the tables of the records at run time, so that no change needs a compilation of its own. In the copy of the sources
// under test, every record goes through changed().
//
// TABLE_CHANGE=list in the environment lists the changes of each record that is used, one per line on the standard error;
// TABLE_CHANGE="MODEL NUMBER" makes one of them.
#pragma once
#include "model/layout.h"
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <functional>
#include <string>
#include <vector>

namespace tramo::mutation {

template <class M> struct Table {
    Record<M> record;
    std::vector<Row<M>> rows;
    std::vector<ParseStep<M>> steps;

    explicit Table(const Record<M>& original) : record(original), rows(original.rows.begin(), original.rows.end()) { connect(); }
    Table(const Table&) = delete;

    void connect() {
        steps.clear();
        for (const Row<M>& row : rows) {
            const auto& options = row.options;
            if (row.inLine())
                steps.push_back(
                    {options.into ? options.into->parse : row.value.parse, &row, static_cast<std::uint16_t>(row.column - 1),
                        static_cast<std::uint16_t>(row.width), !options.kept && options.blank.empty() && !options.present});
        }
        record.rows = rows;
        record.steps = steps;
    }
    // Whether it would compile.
    bool isPossible() const {
        return detail::columnOutsideLine(record) == detail::noColumn && detail::columnOfTwoFields(record) == detail::noColumn;
    }
};

template <class M> struct Opposite {
    static inline const Condition<M>* condition = nullptr;
    static bool holds(const M& model) { return !condition->holds(model); }
};

inline const char* longer(const char* text) {
    static std::deque<std::string> kept;
    return kept.emplace_back(std::string(text) + "~").c_str();
}
inline TE::errorType other(TE::errorType code) { return code == TE::ParseInteger ? TE::BuildText : TE::ParseInteger; }

// All changes of one record, each with its description.
template <class M> class Changes {
public:
    using Change = std::function<void(Table<M>&)>;
    struct Named {
        std::string words;
        Change change;
    };

    explicit Changes(const Record<M>& original) {
        add("letter", [](Table<M>& t) { ++t.record.letter; });
        text("model", &Record<M>::model, original);
        text("name", &Record<M>::name, original);
        text("inMessages", &Record<M>::inMessages, original);
        text("inDump", &Record<M>::inDump, original);
        for (std::size_t i = 0; i < original.rows.size(); ++i) ofRow(i, original.rows[i]);
    }

    const std::vector<Named>& all() const { return changes; }

private:
    std::vector<Named> changes;
    std::size_t at = 0;
    std::string place;

    void add(const std::string& words, Change change) { changes.push_back({place + words, std::move(change)}); }

    void text(const char* name, const char* Record<M>::*member, const Record<M>&) {
        add(name, [=](Table<M>& t) { t.record.*member = longer(t.record.*member); });
    }

    // A change of the row; `get` returns the part to change.
    template <class Get, class To> void inRow(const std::string& words, Get get, To to) {
        add(words, [=, i = at](Table<M>& t) {
            auto& what = get(t.rows[i]);
            what = to(what);
        });
    }

    void number(const char* name, auto get) {
        inRow(std::string(name) + " + 1", get, [](auto v) { return v + 1; });
        inRow(std::string(name) + " - 1", get, [](auto v) { return v - 1; });
    }
    void stated(const char* name, auto get) {
        inRow(std::string("without ") + name, get, [](auto v) { return decltype(v){}; });
    }
    void condition(const std::string& name, auto get, Test now) {
        constexpr const char* words[] = {"always", "never", "above", "at least", "below"};
        for (const auto operation : {Test::Always, Test::Never, Test::Above, Test::AtLeast, Test::Below})
            if (operation != now.operation && (operation <= Test::Never || now.operation > Test::Never))
                inRow(name + " becomes " + words[operation], get, [=](Test test) { return Test{operation, test.limit}; });
        if (now.operation <= Test::Never) return;
        inRow(name + ": limit + 1", get, [](Test test) { return Test{test.operation, test.limit + 1}; });
        inRow(name + ": limit - 1", get, [](Test test) { return Test{test.operation, test.limit - 1}; });
    }
    void rule(const std::string& name, auto get, const Condition<M>* now) {
        if (!now) return;
        stated(name.c_str(), get);
        inRow(name + " turned round", get, [](const Condition<M>* rule) {
            Opposite<M>::condition = rule;
            return new Condition<M>{rule->words, Opposite<M>::holds};
        });
        inRow(name + ": words", get, [](const Condition<M>* rule) {
            auto* changed = new Condition<M>(*rule);
            changed->words = longer(rule->words);
            return changed;
        });
    }

    // clang-format off
    void ofRow(std::size_t index, const Row<M>& row) {
        using R = Row<M>;
        at = index;
        place = "row " + std::to_string(index) + ", " + row.name;
        if (row.options.slot) place += " of group " + std::to_string(row.options.slot);
        place += ": ";
        const RowOptions<M>& options = row.options;
        if (row.inLine()) {
            number("column", [](R& r) -> auto& { return r.column; });
            number("width", [](R& r) -> auto& { return r.width; });
        }
        inRow("name", [](R& r) -> auto& { return r.name; }, [](const char* name) { return longer(name); });
        inRow("kind", [](R& r) -> auto& { return r.value.kind; },
            [](FieldKind kind) { return kind == FieldKind::Text ? FieldKind::Integer : FieldKind::Text; });
        if (options.label) {
            inRow("label", [](R& r) -> auto& { return r.options.label; }, [](auto label) { return Stated<const char*>(longer(label.what)); });
            stated("label", [](R& r) -> auto& { return r.options.label; });
        }
        if (row.inLine()) {
            condition("written", [](R& r) -> auto& { return r.options.written; }, options.written);
            for (const bool build : {false, true})
                inRow(build ? "code of building" : "code of parsing",
                    [=](R& r) -> auto& { return build ? r.options.buildCode : r.options.parseCode; }, [=](TE::errorType code) {
                        return other(code ? code : build ? row.value.buildCode : row.value.parseCode);
                    });
        }
        condition("missing", [](R& r) -> auto& { return r.options.missing; }, options.missing);
        rule("group", [](R& r) -> auto& { return r.options.group; }, options.group);
        rule("missingIf", [](R& r) -> auto& { return r.options.missingIf; }, options.missingIf);
        rule("inconsistentIf", [](R& r) -> auto& { return r.options.inconsistentIf; }, options.inconsistentIf);
        if (options.present) stated("present", [](R& r) -> auto& { return r.options.present; });
        if (options.into) stated("into", [](R& r) -> auto& { return r.options.into; });
        if (options.kept) stated("kept", [](R& r) -> auto& { return r.options.kept; });
        if (options.set) stated("set", [](R& r) -> auto& { return r.options.set; });
        if (!options.blank.empty()) {
            stated("blank", [](R& r) -> auto& { return r.options.blank; });
            inRow("blank", [](R& r) -> auto& { return r.options.blank; }, [](std::wstring_view) { return L"0"; });
        }
        const bool reports = options.missing.operation != Test::Never || options.missingIf || options.inconsistentIf;
        for (bool RowOptions<M>::*flag : {&RowOptions<M>::toParseList, &RowOptions<M>::onGoodLines, &RowOptions<M>::overlaid})
            if (flag == &RowOptions<M>::overlaid || reports)
                inRow(flag == &RowOptions<M>::toParseList   ? "toParseList"
                      : flag == &RowOptions<M>::onGoodLines ? "onGoodLines"
                                                             : "overlaid",
                    [=](R& r) -> auto& { return r.options.*flag; }, [](bool is) { return !is; });
        if (options.parseColumn) columns("parseColumn", &RowOptions<M>::parseColumn);
        if (options.buildColumn) columns("buildColumn", &RowOptions<M>::buildColumn);
        if (options.missingColumn) columns("missingColumn", &RowOptions<M>::missingColumn);
        if (options.buildWidth) columns("buildWidth", &RowOptions<M>::buildWidth);
        if (options.slot) number("slot", [](R& r) -> auto& { return r.options.slot; });
    }
    void columns(const char* name, std::int32_t RowOptions<M>::*column) {
        number(name, [=](Row<M>& r) -> auto& { return r.options.*column; });
        stated(name, [=](Row<M>& r) -> auto& { return r.options.*column; });
    }
    // clang-format on
};

template <class M> const Record<M>& changed(const Record<M>& original) {
    static Table<M> table(original);
    static const bool done = [&] {
        const char* wanted = std::getenv("TABLE_CHANGE");
        if (!wanted) return true;
        const Changes<M> changes(original);
        const std::string model = original.model;
        if (std::strcmp(wanted, "list") == 0) {
            for (std::size_t i = 0; i < changes.all().size(); ++i) {
                Table<M> other(original);
                changes.all()[i].change(other);
                other.connect();
                std::fprintf(stderr, "TABLE_CHANGE\t%s %zu\t%s\t%s\n", model.c_str(), i,
                    other.isPossible() ? "possible" : "rejected", changes.all()[i].words.c_str());
            }
        } else if (std::string_view(wanted).starts_with(model + " ")) {
            changes.all().at(std::stoul(wanted + model.size() + 1)).change(table);
            table.connect();
        }
        return true;
    }();
    (void)done;
    return table.record;
}

}  // namespace tramo::mutation
