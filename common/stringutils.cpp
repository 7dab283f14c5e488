#include "tramostream/stringutils.h"
#include "common/textblocks.h"
#include "common/utf8.h"

namespace StringUtils {

std::wstring to_wstring(const std::string& utf8) { return tramo::utf8::decode(utf8); }

std::wstring reverseByBlock(const std::wstring& text, std::size_t blockSize) {
    std::wstring reversed(text.size(), L'\0');
    tramo::textblocks::reverse<wchar_t>(text, blockSize, reversed.data());
    return reversed;
}

}  // namespace StringUtils
