#include "tramostream/log.h"
#include "common/console.h"
#include "common/hosttime.h"
#include "common/nativepath.h"
#include <array>
#include <ctime>
#include <fstream>
#include <map>

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
    return names.at(level);
}

std::string timeOfDay() {
    tramo::hosttime::refresh();
    const std::tm local = tramo::hosttime::local(std::time(nullptr));
    std::array<char, 16> text{};
    return {text.data(), std::strftime(text.data(), text.size(), "%H:%M:%S", &local)};
}

std::string rightAligned(const std::string& text, std::size_t width) {
    return text.size() < width ? std::string(width - text.size(), ' ') + text : text;
}

}  // namespace

std::string initializer::m_logFileName{noLogFile};

namespace detail {

// GCC writes "... [with T = iFileStream; std::string = ...]", clang "... [T = iFileStream]".
std::string className(std::string_view signature) {
    for (const auto& [before, after] : {std::pair{"[with T = ", ';'}, std::pair{"[T = ", ']'}}) {
        const std::size_t found = signature.find(before);
        if (found == std::string_view::npos) continue;
        const std::size_t begin = found + std::string_view(before).size();
        return std::string(signature.substr(begin, signature.rfind(after) - begin));
    }
    return std::string(signature);
}

void writeLine(Level level, const std::string& className, const std::string& message) {
    const std::string& fileName = initializer::m_logFileName;
    std::ofstream file(tramo::nativePath(fileName.c_str()), std::ios::out | std::ios::app | std::ios::ate);
    const std::string line =
        timeOfDay() + " log " + rightAligned(levelName(level), 8) + "  {" + className + "} " + message + '\n';
    if (fileName == noLogFile) tramo::console::narrow(line);
    else file << line << std::flush;
}

}  // namespace detail

}  // namespace io::log
