// In the place of the sources that need SQLite, in a build without it.
#include "cli/io/usage.h"
#include "cli/tables/rowsource.h"
#include "cli/tables/sink.h"

namespace tramo::cli {

namespace {

WrongUsage refusal(const char* option) {
    return {std::string(option) + ": this tramo was built without SQLite and cannot read or write databases"};
}

}  // namespace

std::unique_ptr<Sink> makeSqliteSink(const std::string&, OutFile::Mode, const SinkOptions&) { throw refusal("--to"); }
std::unique_ptr<RowSource> makeSqliteSource(const std::string&) { throw refusal("--from"); }

}  // namespace tramo::cli
