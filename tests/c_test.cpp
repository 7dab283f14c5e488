// The client in C, compiled as C++, as a unit test.
#include "support/arrowtable.h"
#include "support/streamfiles.h"
#include <cerrno>
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <tramostream/c.h>

namespace {

#define main client
#include "c/client.c"
#undef main

TEST(CInterface, client_reads_changes_and_checks_files) {
    const streams::TempFolder folder;
    std::string program = "client", returned = SAMPLES "/round-returned.txt", broken = SAMPLES "/round-broken.txt",
                changed = folder.path("changed.txt");
    char* arguments[] = {program.data(), returned.data(), broken.data(), changed.data()};
    EXPECT_EQ(client(4, arguments), 0);
}

// --- Columns ---------------------------------------------------------------------------------------------------------

constexpr const char* file = SAMPLES "/round-returned.txt";

Table columnsOf(const tramo_field* const* fields, size_t count) {
    Table table;
    ArrowArrayStream stream{};
    const tramo_status status = tramo_columns(file, tramo_find_kind("meter subscriber"), fields, count, &stream);
    EXPECT_EQ(status, TRAMO_OK);
    if (status != TRAMO_OK) return table;
    ArrowSchema schema{};
    EXPECT_EQ(stream.get_schema(&stream, &schema), 0);
    table.setSchema(schema);
    for (ArrowArray rows{}; stream.get_next(&stream, &rows) == 0 && rows.release;) table.add(rows);
    stream.release(&stream);
    return table;
}

TEST(CColumns, of_some_fields_are_those_of_all) {
    const tramo_kind* const kind = tramo_find_kind("meter subscriber");
    const tramo_field* const chosen[] = {
        tramo_find_field(kind, "meterSerialNumber"), tramo_find_field(kind, "meterReadingIndex")};
    const Table all = columnsOf(nullptr, 0), some = columnsOf(chosen, 2);
    EXPECT_GT(all.names.size(), 30U);
    ASSERT_GT(all.cells.at("meterSerialNumber").size(), 10U);
    for (const char* name : {"meterSerialNumber", "meterReadingIndex"})
        EXPECT_EQ(some.cells.at(name), all.cells.at(name)) << name;
    for (const std::string& name : some.names) EXPECT_TRUE(all.cells.contains(name)) << name;
    EXPECT_FALSE(some.cells.contains("meterReadingDate"));
}

TEST(CColumns, need_all_arguments_and_a_file) {
    ArrowArrayStream stream{};
    const tramo_kind* const kind = tramo_find_kind("meter subscriber");
    const tramo_field* const chosen[] = {tramo_find_field(kind, "meterSerialNumber"), nullptr};
    EXPECT_EQ(tramo_columns(nullptr, kind, chosen, 1, &stream), TRAMO_BAD_ARGUMENT);
    EXPECT_EQ(tramo_columns(file, nullptr, chosen, 1, &stream), TRAMO_BAD_ARGUMENT);
    EXPECT_EQ(tramo_columns(file, kind, nullptr, 1, &stream), TRAMO_BAD_ARGUMENT);
    EXPECT_EQ(tramo_columns(file, kind, chosen, 2, &stream), TRAMO_BAD_ARGUMENT);
    EXPECT_EQ(tramo_columns(file, kind, chosen, 1, nullptr), TRAMO_BAD_ARGUMENT);
    errno = 0;
    EXPECT_EQ(tramo_columns("no/such/file.txt", kind, chosen, 1, &stream), TRAMO_FAILED);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(stream.release, nullptr);
}

}  // namespace
