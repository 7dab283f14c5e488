#include "tramostream/log.h"
#include "common/console.h"
#include "common/hosttime.h"
#include "common/nativepath.h"
#include "tramostream/messages.h"
#include <algorithm>
#include <array>
#include <ctime>
#include <fstream>
#include <map>
#include <stdexcept>

namespace io::log {

namespace {

constexpr std::string_view noLogFile = "NO_LOG_FILE";

const std::string& levelName(Level level) {
    static const std::map<Level, std::string> names{
        {None, "None"},
        {Fatal, "Fatal"},
        {Critical, "Critical"},
        {Err, "Err"},
        {Warn, "Warn"},
        {Note, "Note"},
        {Normal, "Normal"},
    };
    const auto found = names.find(level);
    if (found == names.end()) throw std::out_of_range("map::at");  // the format's text, with every C++ library
    return found->second;
}

std::string timeOfDay() {
    tramo::hosttime::refresh();
    const std::tm local = tramo::hosttime::local(std::time(nullptr));
    std::array<char, 16> text{};
    return {text.data(), std::strftime(text.data(), text.size(), "%H:%M:%S", &local)};
}

// The text before and after the class in a signature of GCC: "... [with T = iFileStream; std::string = ...]", of clang:
// "... [T = iFileStream]", and of Visual C++: "... __cdecl typename_hash<class iFileStream>::gen_value(void)".
struct Signature {
    std::string_view before, after;
};
constexpr Signature signatures[] = {{"[with T = ", ";"}, {"[T = ", "]"}, {"typename_hash<", ">::gen_value("}};

// Visual C++ writes "class other::Pair<struct other::Writer> ", with a space before another '>'.
std::string withoutClassKeys(std::string_view name) {
    std::string result;
    while (!name.empty()) {
        for (const std::string_view key : {"class ", "struct ", "union ", "enum "})
            if (name.starts_with(key)) name.remove_prefix(key.size());
        const std::size_t end = std::min(name.find_first_of("<,"), name.size() - 1) + 1;
        result += name.substr(0, end);
        name.remove_prefix(end);
    }
    while (result.ends_with(' ')) result.pop_back();
    return result;
}

std::string rightAligned(const std::string& text, std::size_t width) {
    return text.size() < width ? std::string(width - text.size(), ' ') + text : text;
}

}  // namespace

std::string initializer::m_logFileName{noLogFile};

namespace detail {

std::string className(std::string_view signature) {
    for (const auto& [before, after] : signatures) {
        const std::size_t found = signature.find(before);
        if (found == std::string_view::npos) continue;
        const std::size_t begin = found + before.size();
        return withoutClassKeys(signature.substr(begin, signature.rfind(after) - begin));
    }
    return std::string(signature);
}

void writeLine(Level level, const std::string& className, const std::string& message) {
    const std::string& fileName = initializer::m_logFileName;
    if (fileName == noLogFile && tramo::getMessages() == tramo::Messages::Silent) return;
    std::ofstream file(tramo::nativePath(fileName.c_str()), std::ios::out | std::ios::app | std::ios::ate);
    const std::string line =
        timeOfDay() + " log " + rightAligned(levelName(level), 8) + "  {" + className + "} " + message + '\n';
    if (fileName == noLogFile) tramo::console::narrow(line);
    else file << line << std::flush;
}

}  // namespace detail

}  // namespace io::log
