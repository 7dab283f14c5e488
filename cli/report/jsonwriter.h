// RapidJSON's writer on the tool's output. Everything beyond ASCII is escaped, so that a document is harmless on a
// terminal and right in any encoding.
#pragma once
#include "cli/io/console.h"
#include "common/jsonmemory.h"
#include <rapidjson/writer.h>
#include <string_view>
#include <utility>

namespace tramo::cli {

class JsonStream {
public:
    using Ch = char;
    explicit JsonStream(Output& output) : JsonStream(output.buffer()) {}
    explicit JsonStream(fmt::memory_buffer& to) : text(to) {}
    void Put(char c) {
        constexpr std::string_view del = "\\u007f";  // the one control character that the writer lets pass
        const bool breaksHere = std::exchange(lineBreak, false);
        if (breaksHere && c != ',') text.push_back('\n');
        if (c == '\x7f') text.append(del.data(), del.data() + del.size());
        else text.push_back(c);
        if (breaksHere && c == ',') text.push_back('\n');
    }
    void Flush() {}
    void add(std::string_view bytes) { text.append(bytes.data(), bytes.data() + bytes.size()); }

    /// What comes next begins a line; a comma still belongs to this one.
    void breakLine() { lineBreak = true; }

private:
    fmt::memory_buffer& text;
    bool lineBreak = false;
};

// RapidJSON looks for this name; its own takes no streams of others.
inline void PutUnsafe(JsonStream& stream, char c) { stream.Put(c); }

class JsonWriter : public rapidjson::Writer<JsonStream, rapidjson::UTF8<>, rapidjson::ASCII<>, JsonMemory> {
public:
    explicit JsonWriter(JsonStream& to) : Writer(to), stream(to) {}

    /// The beginning of every JSON document of the tool.
    void beginDocument() {
        StartObject();
        member("tool", "tramo");
        member("version", TRAMO_VERSION);
    }

    void newLine() { stream.breakLine(); }
    void end() { stream.Put('\n'); }

    /// Elements of the array that has just been begun, and nothing but elements that come this way.
    void element(std::string_view made, bool isFirst) {
        stream.add(isFirst ? "\n" : ",\n");
        stream.add(made);
    }

    void text(std::string_view value) { String(value.data(), static_cast<rapidjson::SizeType>(value.size())); }

    /// The same piece by piece; none ends inside a character.
    void beginText() { RawValue("\"", 1, rapidjson::kStringType); }
    void addToText(std::string_view piece) {
        fmt::memory_buffer whole;
        JsonStream to(whole);
        JsonWriter(to).text(piece);
        stream.add(std::string_view(whole.data(), whole.size()).substr(1, whole.size() - 2));
    }
    void endText() { stream.Put('"'); }

    void key(std::string_view name) { Key(name.data(), static_cast<rapidjson::SizeType>(name.size())); }

    void member(std::string_view name, std::string_view value) {
        key(name);
        text(value);
    }
    void member(std::string_view name, const char* value) { member(name, std::string_view(value)); }
    void member(std::string_view name, bool value) {
        key(name);
        Bool(value);
    }
    void member(std::string_view name, std::uint64_t value) {
        key(name);
        Uint64(value);
    }
    void member(std::string_view name, long value) {
        key(name);
        Int64(value);
    }
    void member(std::string_view name, long long value) {
        key(name);
        Int64(value);
    }
    void member(std::string_view name, int value) {
        key(name);
        Int(value);
    }
    void member(std::string_view name, double value) {
        key(name);
        Double(value);
    }

    void beginObject(std::string_view name) {
        key(name);
        StartObject();
    }
    void beginArray(std::string_view name) {
        key(name);
        StartArray();
    }

private:
    JsonStream& stream;
};

}  // namespace tramo::cli
