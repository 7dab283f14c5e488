// The record lines of the sample files, as texts.
#pragma once
#include "support/records.h"
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace records {

// The lines of this length in a single-byte file, without their line endings.
std::vector<std::wstring> sampleLinesOf(const std::string& file, int length);

// The record lines that begin with this letter.
std::vector<std::wstring> sampleLines(const std::string& file, wchar_t letter);

// Every sample of a record is read without an error and written back unchanged, except for the changes that `differs` makes.
void samplesAreReadAndWrittenBack(
    const Models& models, const Table& table, std::size_t count, const std::function<void(std::wstring&)>& differs);
template <class M>
void samplesAreReadAndWrittenBack(const Table& table, std::size_t count, const std::function<void(std::wstring&)>& differs = {}) {
    samplesAreReadAndWrittenBack(modelsOf<M>, table, count, differs);
}

}  // namespace records
