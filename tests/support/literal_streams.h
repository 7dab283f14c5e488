// The reference model of the two line streams, built literally from their description on the streams of the standard
// library: members, order of steps, flags. Slow, and correct only for 7-bit text under the classic locale; there the real
// streams are compared with it.
//
// "settled" marks the places where the real streams deliberately differ from the description; the model does the same.
#pragma once
#include "tramostream/exceptions.h"
#include "tramostream/tramoline.h"
#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace literal {

class Input {
public:
    void open(const std::string& path, int encoding) {
        if (byteFile.is_open()) return;
        const auto mask = std::ios_base::badbit | std::ios_base::eofbit | std::ios_base::failbit;
        wideFile.exceptions(mask);
        byteFile.exceptions(mask);
        encodingCode = encoding;
        if (encoding == 0) wideFile = std::wifstream(path, std::ios_base::in | std::ios_base::binary);
        else byteFile = std::ifstream(path, std::ios_base::in | std::ios_base::binary);

        if (encoding == 2 && byteFile.is_open()) openUtf16(path);
        else if (encoding == 0 && wideFile.is_open()) openAnsi(path);
        else throw TramoStreamExceptions::read_exception("Unsupported encoding.");
    }

    void close() {
        if (!is_open()) return;
        if (usable(byteFile)) byteFile.close();
        if (usable(wideFile)) wideFile.rdbuf()->close();  // without flags: libc++ raises one for a file that was read
        text.clear();
    }

    bool is_open() const { return usable(byteFile) || usable(wideFile); }
    bool eof() { return text.peek() == std::wstringstream::traits_type::eof(); }
    int rdstate() const { return static_cast<int>(text.rdstate()); }
    int getLineNumber() const { return lineNumber; }
    int getEncoding() const { return encodingCode; }

    template <std::size_t N> void getline(unsigned len, std::array<wchar_t, N>& buffer) {
        ++lineNumber;
        std::wstring line;
        std::getline(text, line);
        if (len < line.size()) {
            throw TramoStreamExceptions::read_exception("Size of line is upper than " + std::to_string(len));
        }
        if (line.size() > N) {  // settled: nothing is written past the buffer
            throw TramoStreamExceptions::read_exception("Size of line is upper than " + std::to_string(N));
        }
        len = std::min(len, static_cast<unsigned>(N));
        if (len == 0) return;
        std::fill_n(buffer.begin(), len, L'\0');
        std::copy_n(line.c_str(), std::min<std::size_t>(len, line.size() + 1), buffer.begin());
    }

    void getline(AMRKeyLine& line) {
        ++lineNumber;
        line.line.clear();  // settled: even if nothing can be read
        std::getline(text, line.line);
    }

    std::vector<std::string> log;  // messages

private:
    template <class File> static bool usable(const File& file) { return !file.fail() && file.is_open(); }

    void openUtf16(const std::string& path) {
        if (byteFile.peek() == std::ifstream::traits_type::eof()) {
            log.push_back("File " + path + " is open but empty.");
            return;
        }
        const int first = byteFile.get(), second = byteFile.get();
        if (first != 0xFF || second != 0xFE) {
            log.push_back("File " + path + " don't have the right encoding, UTF-16 expected");
            const auto flags = byteFile.rdstate();
            byteFile.close();
            byteFile.clear();  // settled: the flags of a file of one byte do not stop the second open...
            open(path, 0);
            byteFile.exceptions(std::ios_base::goodbit);
            byteFile.setstate(flags);  // ...options a later one
            return;
        }
        const std::string bytes{std::istreambuf_iterator<char>(byteFile), {}};
        std::wstring characters;
        for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
            const int low = static_cast<unsigned char>(bytes[i]), high = static_cast<unsigned char>(bytes[i + 1]);
            characters += static_cast<wchar_t>(low | high << 8);
        }
        text.str(characters);
        text.rdbuf()->pubseekoff(0, std::ios_base::end, std::ios_base::out);  // settled: an ANSI open appends
    }

    void openAnsi(const std::string& path) {
        if (wideFile.peek() == std::wifstream::traits_type::eof()) log.push_back("File " + path + " is open but empty.");
        else text << wideFile.rdbuf();
    }

    std::ifstream byteFile;
    std::wifstream wideFile;
    std::wstringstream text;
    int encodingCode = 0;
    int lineNumber = 0;
};

class Output {
public:
    void open(const std::string& path, int encoding) {
        if (is_open()) return;
        storedPath = path;
        encodingCode = encoding;
        const auto mode = std::ios_base::out | std::ios_base::binary | std::ios_base::app;
        if (encoding == 0) wideFile = std::wofstream(path, mode);
        else if (encoding == 2) byteFile = std::ofstream(path, mode);
        else throw TramoStreamExceptions::write_exception("Unsupported encoding.");
        if (!byteFile.is_open() || encoding != 2) return;
        byteFile.seekp(0, std::ios_base::end);
        const auto end = byteFile.tellp();
        byteFile.seekp(0);
        if (end == std::streampos(0)) byteFile.write("\xFF\xFE", 2);
    }

    void close() {
        if (byteFile.is_open()) byteFile.close();
        if (wideFile.is_open()) wideFile.close();
    }

    bool is_open() const { return byteFile.is_open() || wideFile.is_open(); }

    void clear() {
        const auto mode = std::ios_base::out | std::ios_base::binary | std::ios_base::trunc;
        if (byteFile.is_open() && encodingCode == 2) {
            byteFile.close();
            byteFile.open(storedPath, mode);
            byteFile.write("\xFF\xFE", 2);
        } else if (wideFile.is_open() && encodingCode == 0) {
            wideFile.close();
            wideFile.open(storedPath, mode);
        }
    }

    int getLineNumber() const { return lineNumber; }

    void flush() {
        byteFile.flush();
        wideFile.flush();
    }

    void putLine(const std::wstring& text, bool lineEnd) { write(lineEnd ? text + L"\r\n" : text); }

    template <std::size_t N> unsigned putLine(const std::array<wchar_t, N>& line, unsigned len) {
        if (!is_open()) throw TramoStreamExceptions::write_exception("file is not open");
        if (len != N) throw TramoStreamExceptions::bad_line_length(len, N, static_cast<std::uint32_t>(lineNumber));
        write({line.begin(), line.end()});
        return len;
    }

private:
    void write(const std::wstring& text) {
        if (!is_open()) throw TramoStreamExceptions::write_exception("file is not open");
        if (encodingCode == 0) {
            wideFile << text;
        } else {
            for (const wchar_t c : text) {
                byteFile.put(static_cast<char>(c & 0xFF));
                byteFile.put(static_cast<char>(c >> 8));
            }
        }
        ++lineNumber;
    }

    std::ofstream byteFile;
    std::wofstream wideFile;
    std::string storedPath;
    int encodingCode = 0;
    int lineNumber = 0;
};

}  // namespace literal
