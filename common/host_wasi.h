// What the page that runs the library as WebAssembly gives it: see web/wasm/module.js. Texts are UTF-8 with their size; sizes and
// places of bytes are numbers of JavaScript, which hold 53 bits.
#pragma once
#include <cstddef>
#include <cstdint>

#define TRAMO_HOST(name) __attribute__((import_module("host"), import_name(#name)))

namespace tramo::host {

// Return the offset of the browser's local time from UTC in seconds, and whether it is summer time.
TRAMO_HOST(offsetAt) std::int32_t offsetAt(double instant);
TRAMO_HOST(isSummerAt) std::int32_t isSummerAt(double instant);

// The number of a file that the page has opened with this name; -1: none.
TRAMO_HOST(openFile) std::int32_t openFile(const char* name, std::size_t size);
TRAMO_HOST(sizeOfFile) double sizeOfFile(std::int32_t file);

// Reads from a place. Returns fewer bytes than wanted only at the end of the file, and -1 if the browser cannot read it.
TRAMO_HOST(readFile) std::int32_t readFile(std::int32_t file, double place, char* to, std::size_t wanted);

// Appends to the output of this name.
TRAMO_HOST(writeOutput) void writeOutput(const char* name, std::size_t nameSize, const char* bytes, std::size_t size);

// Shows a line of the messages that a command prints on its standard error.
TRAMO_HOST(complain) void complain(const char* text, std::size_t size);

// Shows how much of a file has been read.
TRAMO_HOST(progress) void progress(double done, double all);

// Says why the module ends.
TRAMO_HOST(fail) void fail(const char* reason, std::size_t size);

}  // namespace tramo::host
