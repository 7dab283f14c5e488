// The data of the page that shows a round: named parts, each a JSON text, and the lines of the files as text.
// docs/architecture.md describes them.
//
// The states of meters, the findings and all names come from the library. The page shows them and has no rules of its own.
#pragma once
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <tramostream/filecheck.h>
#include <tramostream/reconcile.h>
#include <tramostream/round.h>

namespace tramo::page {

// A file with what was found in it. Both must outlive the call.
struct PageFile {
    std::string name;  // for people, UTF-8
    std::uint64_t bytes = 0;
    bool isUtf16 = false;
    const RoundFile* lines = nullptr;
    const CheckedFile* checked = nullptr;
};

struct PageOptions {
    std::string tool{};                // "tramo 1.1.0"
    std::string title{};               // empty: the page makes one
    std::string language{};            // "en", "fr"; empty: the browser chooses
    bool hasPersonal = true;           // false: no areas, positions and free texts; the files hold pseudonyms already
    bool showsKeys = false;            // the keys of key lines in clear text
    std::uint64_t mostText = 1 << 24;  // of all lines, in characters; of longer files, only lines with findings
    std::size_t mostFindings = 20000;  // that are listed
    std::size_t mostAlike = 1000;      // with the same rule and field

    // If there are two files, the second one is what came back of the first; nullptr: they have nothing to do with each other.
    const Reconciliation* reconciled = nullptr;
};

// Takes the data: the parts, then the lines in blocks, joined with line feeds.
struct PageSink {
    std::function<void(std::string_view name, std::string json)> part;
    std::function<void(std::string lines)> block;  // comes before the part `summary`
};

// Throws std::bad_alloc only, and what the sink throws.
void writePageData(std::span<const PageFile> files, const PageOptions& options, const PageSink& sink);

// What a meter is, as bits: the column `state` of the part `meters`.
namespace state {
inline constexpr unsigned read = 1, unread = 2;
inline constexpr unsigned outside = 4;  // of its estimate: below or above
inline constexpr unsigned alarm = 8;    // one that is set now
inline constexpr unsigned changed = 16, located = 32;
inline constexpr unsigned finding = 64;  // in one of its lines
inline constexpr unsigned below = 128, above = 256;
inline constexpr unsigned radioSilent = 512;   // a radio module without a current reading
inline constexpr unsigned unlocated = 1024;    // read, but not located
inline constexpr unsigned implausible = 2048;  // a rule about readings finds something in one of its lines
}  // namespace state

// The bits of a meter that do not depend on findings.
unsigned stateOf(const Meter& meter);

}  // namespace tramo::page
