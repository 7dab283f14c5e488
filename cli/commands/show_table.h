// The tables that `tramo show` prints.
#pragma once
#include "cli/io/colours.h"
#include "cli/io/console.h"
#include "cli/lines/input.h"
#include "common/secret.h"
#include <optional>
#include <string>
#include <tramostream/check.h>
#include <tramostream/linemodel.h>
#include <vector>

namespace tramo::cli {

struct ShowOptions {
    std::string file;
    std::string meter;  ///< its serial number; empty: lines are shown
    std::optional<LineRange> lines;
    int column = 0;  ///< 0: all of them
    EncodingChoice encoding = std::nullopt;
    std::optional<LineKind> kind;
    bool all = false, raw = false, showKeys = false, colour = false;
};

/// Prints lines one after the other.
class LineTable {
public:
    LineTable(Output& to, const ShowOptions& chosenOptions, int columns)
        : out(to), options(chosenOptions), width(columns), colours(coloursIf(options.colour)) {}

    bool show(const Line& line, std::optional<LineKind> kind);

private:
    struct ShownRow {
        std::string columns{}, name{}, value{};
        std::wstring_view text{};
        bool hasText = true;
        bool textIsValue = false;  ///< stands in the place of the value
        std::string_view field{};  ///< whose findings stand below
    };

    void heading(const Line& line, std::optional<LineKind> kind, bool sound);
    std::string nameOfSound(LineKind kind) const { return model ? model->kind().name : shapeOf(kind).name; }

    static std::string nameOfMalformed(std::wstring_view text, std::optional<LineKind> kind);
    bool isChosen(const Field& field) const;
    void keepFindingsAt(int column);
    void printLineFindings();
    void printFinding(const Finding& finding, int indent, bool whole);
    void addFields(std::wstring_view line);
    void addKeyValues(std::wstring_view line);
    bool isFaulty(const Field& field) const;
    bool isUnreadable(const Field& field) const;
    void print();
    static std::size_t blanksAt(std::wstring_view text, std::size_t from, std::size_t chunk);

    std::size_t rulerColumns() const;
    void ruled(const LongText& text);
    void ruled(std::wstring_view text, std::size_t begin);

    static constexpr int rulerMargin = 8;

    Output& out;
    const ShowOptions& options;
    const int width;
    const Colours colours;
    bool anyShown = false;
    std::vector<Finding> findings;
    std::optional<LineModel> model;
    std::vector<ShownRow> rows;
    SecretText secrets;  ///< values of a key line that rows refer to
};

}  // namespace tramo::cli
