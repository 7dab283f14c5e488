// RapidJSON's writer on a string, for the parts of a page. The text is UTF-8.
#pragma once
#include "common/jsonmemory.h"
#include <concepts>
#include <rapidjson/writer.h>
#include <string>
#include <string_view>
#include <utility>

namespace tramo::page {

class JsonStream {
public:
    using Ch = char;
    explicit JsonStream(std::string& to) : text(to) {}
    void Put(char c) { text.push_back(c); }
    void Flush() {}

private:
    std::string& text;
};

// RapidJSON looks for this name; its own takes no streams of others.
inline void PutUnsafe(JsonStream& stream, char c) { stream.Put(c); }

class JsonText : private rapidjson::Writer<JsonStream, rapidjson::UTF8<>, rapidjson::UTF8<>, JsonMemory> {
public:
    explicit JsonText(std::string& to) : Writer(stream), stream(to) {}

    void beginObject() { StartObject(); }
    void endObject() { EndObject(); }
    void beginArray() { StartArray(); }
    void endArray() { EndArray(); }
    void beginObject(std::string_view name) {
        key(name);
        StartObject();
    }
    void beginArray(std::string_view name) {
        key(name);
        StartArray();
    }

    void key(std::string_view name) { Key(name.data(), static_cast<rapidjson::SizeType>(name.size())); }
    void value(std::string_view text) { String(text.data(), static_cast<rapidjson::SizeType>(text.size())); }
    void value(const char* text) { value(std::string_view(text)); }
    void value(std::signed_integral auto number) { Int64(number); }
    void value(std::unsigned_integral auto number) { Uint64(number); }
    void value(bool is) { Bool(is); }
    void value(double number) { Double(number); }  // a finite one
    void none() { Null(); }

    void member(std::string_view name, const auto& what) {
        key(name);
        value(what);
    }
    // A text that is left out if it is empty.
    void memberIfAny(std::string_view name, std::string_view text) {
        if (!text.empty()) member(name, text);
    }

private:
    JsonStream stream;
};

// Writes one document.
template <class Write> std::string jsonOf(Write write) {
    std::string text;
    JsonText json(text);
    write(json);
    return text;
}

}  // namespace tramo::page
