// A record model of any class, behind one interface.
#pragma once
#include "support/recordtable.h"
#include <memory>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace records {

// ---- A model of a known class ---------------------------------------------------------------------------------------

// The functions whose names contain the name of the line.
template <class M> auto build(M& model) {
    if constexpr (requires { model.toTagLine(); }) return model.toTagLine();
    else if constexpr (requires { model.toParameterLine(); }) return model.toParameterLine();
    else return model.toTramoLine();
}
template <class M> auto keptLine(const M& model) {
    if constexpr (requires { model.getTagLine(); }) return model.getTagLine();
    else if constexpr (requires { model.getParameterLine(); }) return model.getParameterLine();
    else return model.getTramoLine();
}
template <class M> using LineOf = decltype(build(std::declval<M&>()));

template <class M> M parsed(const std::wstring& text) { return M(lineOf<LineOf<M>>(text)); }

// A model without values: default-constructed or, without a default constructor, parsed from a blank line.
template <class M> M empty() {
    if constexpr (std::is_default_constructible_v<M>) return M();
    else return parsed<M>(blankText(tramo::kindOf<M>().letter, tramo::kindOf<M>().length));
}

const Field& fieldOf(const tramo::RecordKind& kind, const std::string& name);
template <class M> const Field& fieldOf(const std::string& name) { return fieldOf(tramo::kindOf<M>(), name); }
template <class M> FieldValue valueOf(const M& model, const std::string& name) { return tramo::get(model, fieldOf<M>(name)); }
template <class M> bool setValue(M& model, const std::string& name, const FieldValue& value) {
    return tramo::set(model, fieldOf<M>(name), value);
}

// ---- A model of any class -------------------------------------------------------------------------------------------

class Values {
public:
    virtual ~Values() = default;
    virtual const tramo::RecordKind& kind() const = 0;
    virtual FieldValue get(const Field& field) const = 0;
};

class Model : public Values {
public:
    virtual bool set(const Field& field, const FieldValue& value) = 0;
    virtual std::wstring build() = 0;  // the line, with its line ending
    virtual std::wstring toString() const = 0;
    virtual Faults parseErrors() = 0;
    virtual Faults buildErrors() = 0;
    virtual Faults mandatoryErrors() = 0;
};

// What makes the models of a class.
struct Models {
    const tramo::RecordKind& (*kind)();
    std::unique_ptr<Model> (*empty)();
    std::unique_ptr<Model> (*parsed)(const std::wstring& line);  // with its line ending
};

// The values of a model, which is not copied.
template <class M> class ValuesOf final : public Values {
public:
    explicit ValuesOf(const M& of) : model(of) {}
    const tramo::RecordKind& kind() const override { return tramo::kindOf<M>(); }
    FieldValue get(const Field& field) const override { return tramo::get(model, field); }

private:
    const M& model;
};

template <class M> class ModelOf final : public Model {
public:
    ModelOf() : model(records::empty<M>()) {}
    explicit ModelOf(const LineOf<M>& line) : model(line) {}

    const tramo::RecordKind& kind() const override { return tramo::kindOf<M>(); }
    FieldValue get(const Field& field) const override { return tramo::get(model, field); }
    bool set(const Field& field, const FieldValue& value) override { return tramo::set(model, field, value); }
    std::wstring build() override {
        const auto line = records::build(model);
        return {line.begin(), line.end()};
    }
    std::wstring toString() const override { return model.toString(); }
    Faults parseErrors() override { return faults(model.getParseErrors()); }
    Faults buildErrors() override { return faults(model.getBuildErrors()); }
    Faults mandatoryErrors() override { return faults(model.getMandatoryErrors()); }

    M model;
};

template <class M> inline constexpr Models modelsOf = {
    []() -> const tramo::RecordKind& { return tramo::kindOf<M>(); },
    []() -> std::unique_ptr<Model> { return std::make_unique<ModelOf<M>>(); },
    [](const std::wstring& line) -> std::unique_ptr<Model> {
        LineOf<M> characters{};
        if (line.size() != characters.size()) throw std::logic_error("a line of another length");
        std::copy(line.begin(), line.end(), characters.begin());
        return std::make_unique<ModelOf<M>>(characters);
    },
};

}  // namespace records
