// Lines of a reader as the batches of an Arrow stream. The lines go into a table, `Columns` or `LineTable`.
#pragma once
#include "tramostream/columns.h"
#include "tramostream/reader.h"
#include <algorithm>
#include <string>
#include <system_error>

namespace tramo {

// `isWanted(line)` returns whether a line is in the table.
template <class Table, class IsWanted> class LineBatches : public ArrowBatches {
public:
    LineBatches(Reader from, Table into, IsWanted wanted, const ArrowStreamOptions& options)
        : reader(std::move(from)), table(std::move(into)), isWanted(std::move(wanted)),
          rowsPerBatch(std::max<std::size_t>(options.rowsPerBatch, 1)) {}

    void exportSchema(ArrowSchema* out) const override { table.exportSchema(out); }

    bool exportRows(ArrowArray* out) override {
        while (table.rows() < rowsPerBatch && (waiting || (waiting = nextWanted()))) {
            if (!table.add(*waiting)) {
                if (table.rows() == 0) throwTooLarge();
                break;
            }
            waiting = nullptr;
        }
        if (table.rows() == 0) return false;
        table.exportRows(out);
        return true;
    }

private:
    const LineView* nextWanted() {
        const LineView* line = reader.next();
        while (line && !isWanted(*line)) line = reader.next();
        return line;
    }
    [[noreturn]] void throwTooLarge() const {
        throw std::system_error(std::make_error_code(std::errc::value_too_large),
            "line " + std::to_string(waiting->number()) + " has more text than a batch can hold");
    }

    Reader reader;
    Table table;
    IsWanted isWanted;
    std::size_t rowsPerBatch;
    const LineView* waiting = nullptr;  // has been read, and is in no batch: that was full, or memory was lacking
};

}  // namespace tramo
