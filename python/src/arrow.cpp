// Tables in the Arrow C data interface: batches are handed on without copying them, as often as anyone wants them.
#include "module.h"
#include <utility>

namespace python {

namespace {

struct TableBatches : tramo::ArrowBatches {
    std::shared_ptr<const ArrowSchema> schema;
    std::vector<std::shared_ptr<ArrowArray>> batches;
    std::size_t next = 0;

    explicit TableBatches(const Table& table) : schema(table.schema), batches(table.batches) {}
    void exportSchema(ArrowSchema* out) const override { tramo::shareArrow(schema, out); }
    bool exportRows(ArrowArray* out) override {
        if (next == batches.size()) return false;
        tramo::shareArrow(batches[next], out);
        batches[next++].reset();
        return true;
    }
};

}  // namespace

void exportStream(const Table& table, ArrowArrayStream* out) { tramo::arrowStream(std::make_unique<TableBatches>(table), out); }

Table::Table(std::shared_ptr<const ArrowSchema> of, const tramo::RecordKind* kind) : schema(std::move(of)) {
    for (std::int64_t i = 0; i < schema->n_children; ++i) {
        const ArrowSchema& column = *schema->children[i];
        columns.push_back(
            {column.name, column.format, (column.flags & ARROW_FLAG_NULLABLE) != 0, kind ? kind->field(column.name) : nullptr});
    }
}

void Table::add(std::shared_ptr<ArrowArray> batch) {
    rows += static_cast<std::size_t>(batch->length);
    batches.push_back(std::move(batch));
}

}  // namespace python
