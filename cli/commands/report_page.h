// The page of a report: the frame that was compiled in, with its data as compressed elements.
#pragma once
#include "cli/io/outfile.h"
#include "page/pagedata.h"
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tramo::cli {

/// The page without its title and its data, which come between the pieces. web/assemble.cmake makes it from the folder web/.
struct PageFrame {
    std::span<const std::string_view> beforeTitle, beforeData, afterData;
};
extern const PageFrame pageFrame;

/// The data of a page, to be written as elements:
///
///     <script type="text/plain" id="tramo-NAME">gzip, as base64</script>
///
/// The element "tramo-raw" has a block of lines in each of its lines.
class PageElements {
public:
    /// Takes the parts and blocks that writePageData() makes.
    page::PageSink sink();

    /// Compresses them.
    void compress(unsigned threads);

    void write(OutFile& out) const;

private:
    std::vector<std::string> names;  ///< of the parts
    std::vector<std::string> parts, blocks;
};

/// Writes the page.
void writePage(OutFile& out, std::string_view title, const PageElements& elements);

}  // namespace tramo::cli
