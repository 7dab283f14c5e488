// A model that is filled from the bytes of one line after another, for the mandatory rules of its record: these are functions
// of the model. Constructing a model for each line would take longer than reading the line.
#pragma once
#include "model/frame.h"
#include <limits>
#include <memory>
#include <vector>

namespace tramo {

// The fields of a filled model. A sink of decodeLine() puts the values of a line between begin() and end().
//
// A text has its size, but not its characters: the mandatory rules look at sizes only.
class FilledModel {
public:
    FilledModel() = default;
    FilledModel(const FilledModel&) = delete;
    FilledModel& operator=(const FilledModel&) = delete;
    virtual ~FilledModel() = default;

    void begin() {
        std::fill_n(filled.begin(), places.size(), '\0');
        for (FieldText* text : kept) text->stretch(0, 0);
    }

    // Stores a value of the field's type: int or long long, double, long32, the code character, or bool.
    template <class T> void put(const FieldReading& field, const auto& text, T value) {
        std::memcpy(note(field, text).value, &value, sizeof value);
    }
    void putText(const FieldReading& field, const auto& text) {
        static_cast<FieldText*>(note(field, text).value)->stretch(field.first, text.size);
    }
    void putAlarms(const FieldReading& field, const auto& text, unsigned bits) {
        auto& flags = *static_cast<codec::AlarmFlags*>(note(field, text).value);
        for (std::size_t k = 0; k < flags.size(); ++k) flags[k] = (bits >> k & 1) != 0;
    }

    // Gives the fields that the previous line had and this one has not their default values.
    void end() {
        for (std::size_t first = 0; first < places.size(); first += 8) {
            const std::uint64_t now = eightFrom(filled, first);
            if ((eightFrom(before, first) & ~now) != 0)
                for (std::size_t field = first; field < first + 8; ++field)
                    if (before[field] > filled[field]) clear(field);
            std::memcpy(&before[first], &now, sizeof now);
        }
    }

    // Where a model keeps the value of a field.
    struct ValuePlace {
        std::uint16_t field = 0;   // its index
        std::uint16_t offset = 0;  // in the model, in bytes
        bool isLong = false;       // an integer of 64 bits
    };
    template <class M> static ValuePlace placeOf(std::size_t field) {
        static_assert(sizeof(M) <= std::numeric_limits<std::uint16_t>::max());
        static M model = emptyModel<M>();
        const Value<M>& value = ModelAccess::table<M>().rows[field].value;
        const auto offset = static_cast<const char*>(value.place(model)) - reinterpret_cast<const char*>(&model);
        return {static_cast<std::uint16_t>(field), static_cast<std::uint16_t>(offset), value.isLong};
    }

    // Returns whether the line has a value of that field.
    bool has(ValuePlace place) const { return filled[place.field] != 0; }
    template <class T> const T& valueAt(ValuePlace place) const { return *static_cast<const T*>(addressOf(place)); }

    // Returns where the text of a field begins in the line, 0-based, and its size without trailing white space.
    std::pair<std::size_t, std::size_t> textAt(ValuePlace place) const {
        struct Line {
            const wchar_t* data() const { return characters; }
            wchar_t characters[mostColumns];
        };
        static constexpr Line line{};
        const std::wstring_view view = valueAt<FieldText>(place).view(line);
        return {static_cast<std::size_t>(view.data() - line.characters), view.size()};
    }

    // Returns whether a mandatory value is missing or inconsistent. `all`: as in CheckOptions.
    virtual bool breaksRule(bool all) = 0;

protected:
    static constexpr std::size_t mostColumns = std::tuple_size_v<TramoLine::tramoLine_t>;
    struct Place {
        void* value;
        FieldText* kept;  // the text of the field as well; may be null
        const void* byDefault;
        std::size_t size;  // in bytes; 0: a text
    };
    std::vector<Place> places;     // of each field of the kind
    std::vector<FieldText*> kept;  // those of the places
    const void* filledModel = nullptr;

private:
    const void* addressOf(ValuePlace place) const { return static_cast<const char*>(filledModel) + place.offset; }
    const Place& note(const FieldReading& field, const auto& text) {
        filled[field.into] = 1;
        if (FieldText* own = places[field.field].kept) own->stretch(field.first, text.size);
        return places[field.into];
    }
    void clear(std::size_t field) {
        const Place& place = places[field];
        if (place.size == 0) static_cast<FieldText*>(place.value)->stretch(0, 0);
        else std::memcpy(place.value, place.byDefault, place.size);
    }

    using Presence = std::array<char, mostRows>;  // 1: the line has a value of that field
    static_assert(mostRows % 8 == 0);
    static std::uint64_t eightFrom(const Presence& presence, std::size_t first) {
        std::uint64_t eight = 0;
        std::memcpy(&eight, &presence[first], sizeof eight);
        return eight;
    }

    Presence filled{}, before{};
};

template <class M> class FilledModelOf final : public FilledModel {
public:
    FilledModelOf() {
        static M blank = emptyModel<M>();
        filledModel = &model;
        for (const Row<M>& row : ModelAccess::table<M>().rows) {
            FieldText* const text = row.options.kept ? &row.options.kept(model) : nullptr;
            places.push_back({row.value.place(model), text, row.value.place(blank), row.value.size});
            if (text) kept.push_back(text);
        }
    }
    bool breaksRule(bool all) override {
        return std::ranges::any_of(all ? ModelAccess::table<M>().mandatory : std::span<const Row<M>* const>(usualRules()),
            [&](const Row<M>* row) { return mandatoryErrorOf(*row, model) != TE::errorType{}; });
    }

private:
    // Without those that are reported on valid lines, too.
    static const std::vector<const Row<M>*>& usualRules() {
        static const auto usual = [] {
            const Record<M>& record = ModelAccess::table<M>();
            std::vector<const Row<M>*> rules(record.mandatory.begin(), record.mandatory.end());
            std::erase_if(rules, [&](const Row<M>* row) {
                const TE::FieldError error = mandatoryError(*row);
                const Field* field = kindOf<M>().fieldOf(error);
                return field && field->reportedOnGoodLines && error == field->mandatoryError;
            });
            return rules;
        }();
        return usual;
    }

    M model = emptyModel<M>();
};

}  // namespace tramo
