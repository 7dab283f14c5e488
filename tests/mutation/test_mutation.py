"""The mutation run can start: it knows every condition of the preprocessor, its patterns match files, and no key of
equivalent.txt is stale. And the changes that it makes are those that it should make."""
import os
import re
import shutil
import sys
import tempfile
import unittest

import mutation
import mutators

SOURCE = """#include "x.h"
namespace tramo {
// 1 in a comment
constexpr int limit = 7;
static_assert(limit == 7);
struct Part {
    int count = 3;
    bool isFull() const { return count >= limit; }
};
#ifdef _WIN32
int forWindows = 1;
#elif defined(__linux__) && !defined(_MSC_VER)  // this one is compiled
int forLinux = 2;
#else
int forOthers = 3;
#endif
template <class T> int clamp(T value, int most) {
    if (value > 0 && most != 4) return most;
    for (int i = 0; i < most; ++i) value += L'a';
    const char* const name = "text";
    return value ? -1 : *name;
}
}  // namespace tramo
"""


def keys_of(source, path="model/x.cpp"):
    return [mutant.key for mutant in mutators.Source(path, source, {}, False, False, {}).all()]


class Changes(unittest.TestCase):
    maxDiff = None

    def test_each_kind_of_change(self):
        self.assertEqual(keys_of(SOURCE), [
            "model/ -: constexpr int limit = {{7 -> (7 + 1)}};",
            "model/ Part: int count = {{3 -> (3 + 1)}};",
            "model/ isFull: bool isFull() const { return count {{>= -> >}} limit; }",
            "model/ isFull: bool isFull() const { return count {{>= -> <}} limit; }",
            "model/ -: int forLinux = {{2 -> (2 + 1)}};",
            "model/ clamp: if ({{value > 0 && most != 4 -> !(value > 0 && most != 4)}}) return most;",
            "model/ clamp: if (value {{> -> >=}} 0 && most != 4) return most;",
            "model/ clamp: if (value {{> -> <=}} 0 && most != 4) return most;",
            "model/ clamp: if (value > {{0 -> (0 + 1)}} && most != 4) return most;",
            "model/ clamp: if (value > 0 {{&& -> ||}} most != 4) return most;",
            "model/ clamp: if (value > 0 && most {{!= -> ==}} 4) return most;",
            "model/ clamp: if (value > 0 && most != {{4 -> (4 + 1)}}) return most;",
            "model/ clamp: for (int i = {{0 -> (0 + 1)}}; i < most; ++i) value += L'a';",
            "model/ clamp: for (int i = 0; i {{< -> <=}} most; ++i) value += L'a';",
            "model/ clamp: for (int i = 0; i {{< -> >=}} most; ++i) value += L'a';",
            "model/ clamp: for (int i = 0; i < most; {{++ -> --}}i) value += L'a';",
            "model/ clamp: for (int i = 0; i < most; ++i) value {{+= -> -=}} L'a';",
            "model/ clamp: for (int i = 0; i < most; ++i) value += {{L'a' -> L'b'}};",
            'model/ clamp: const char* const name = {{"text" -> "text~"}};',
            "model/ clamp: return {{value -> !(value)}} ? -1 : *name;",
            "model/ clamp: return value ? {{- -> }}1 : *name;",
            "model/ clamp: return value ? -{{1 -> (1 + 1)}} : *name;",
        ])

    def test_a_change_replaces_its_text_and_nothing_else(self):
        for mutant in mutators.Source("model/x.cpp", SOURCE, {}, False, False, {}).all():
            old = re.search(r"\{\{(.*) -> ", mutant.key).group(1)
            changed = mutant.apply(SOURCE)
            self.assertEqual(SOURCE[mutant.begin:mutant.end], old)
            self.assertEqual(changed.replace(mutant.new, old, 1) if mutant.new not in SOURCE else len(changed),
                             SOURCE if mutant.new not in SOURCE else len(SOURCE) + len(mutant.new) - len(old))

    def test_equal_lines_of_one_function_are_numbered(self):
        self.assertEqual(keys_of("int f() {\n    g(1);\n    g(1);\n}\nint h() {\n    g(1);\n}\n"),
                         ["model/ f: g({{1 -> (1 + 1)}});", "model/ f: g({{1 -> (1 + 1)}}); #2", "model/ h: g({{1 -> (1 + 1)}});"])

    def test_conditions_of_the_preprocessor(self):
        for condition, holds in (("defined(__linux__)", True), ("defined _WIN32", False), ("!defined(_WIN32) && LONG_MAX > 0x7FFFFFFF", True),
                                 ("defined(__SSE2__) || (defined(_M_IX86_FP) && _M_IX86_FP >= 2)  // why", True), ("_M_IX86_FP >= 2", False)):
            self.assertEqual(mutators.is_true(condition), holds, condition)
        with self.assertRaisesRegex(KeyError, "UNHEARD_OF is missing from MACROS"):
            mutators.is_true("defined(UNHEARD_OF)")

    def test_only_one_branch_is_compiled(self):
        source = "#if LONG_MAX > 1\nint a;\n#elif defined(__linux__)\nint b;\n#ifdef _WIN32\nint c;\n#else\nint d;\n#endif\n#else\nint e;\n#endif\n"
        self.assertEqual([token.text for token in mutators.tokens_of(source) if token.kind == "word"], ["int", "a"])
        self.assertEqual([token.text for token in mutators.tokens_of(source.replace("> 1", "< 1")) if token.kind == "word"],
                         ["int", "b", "int", "d"])

    def test_names_of_blocks(self):
        for source, name in (("template <std::size_t N> constexpr std::array<int, N> Table<N>::make(int a) const noexcept { 1; }", "make"),
                             ("Model::Model(int a) : value(a), other{2} { 1; }", "Model"),
                             ("bool operator==(const Part& other) const { 1; }", "operator=="),
                             ("const auto rows = std::array{ 1; }", "rows"), ("enum class Kind : int { A = 1; }", "Kind"),
                             ("class Part final : public Base<int> { 1; }", "Part"), ("void f() { sort([](int a) { 1; }); }", "f")):
            tokens = mutators.tokens_of(source + "\n")
            place = next(place for token, place in zip(tokens, mutators.places_of(tokens)) if token.text == "1")
            self.assertEqual(place, name, source)


class Start(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        before = os.getcwd()
        cls.addClassCleanup(os.chdir, before)
        os.chdir(mutation.ROOT)
        cls.files = mutation.Files()
        cls.mutants = cls.files.mutants()
        cls.keys = [mutant.key for mutant in cls.mutants]

    def test_every_family_has_changes_and_each_a_key_of_its_own(self):
        self.assertEqual({mutation.family_of(mutant.path) for mutant in self.mutants}, set(mutation.FAMILIES))
        self.assertGreater(len(self.mutants), 3000)
        self.assertEqual(len(set(self.keys)), len(self.keys))

    def test_findings_are_changed_on_request_only(self):
        def families(*parts):
            return {mutation.family_of(mutant.path) for mutant in mutation.chosen_from(self.mutants, parts)}
        self.assertEqual(families(), set(mutation.FAMILIES) - {"check", "repair"})
        self.assertEqual(families("check/"), {"check"})
        self.assertEqual(families("repair/"), {"repair"})

    def test_no_key_of_equivalents_is_stale(self):
        equivalents = mutation.Equivalents(self.keys)
        stale = [key for key in equivalents.stale if ": row <n>, " not in key]  # rows: below
        self.assertEqual([], stale, "\n".join(f"{key}\n    {equivalents.instead(key)}" for key in stale))
        self.assertGreater(len(equivalents.reasons), 100)

    def test_rows_of_equivalents_name_fields_of_their_records(self):
        with open(mutation.EQUIVALENT, encoding="utf-8") as file:
            rows = re.findall(r"^    (\S+) (\w+): row <n>, (\w+): ", file.read(), re.MULTILINE)
        self.assertTrue(rows)
        for folder, model, field in rows:
            source = self.files.source_of(model)
            self.assertEqual(mutators.folder_of(source), folder)
            self.assertIn(f'"{field}"', mutation.read(source), model)

    def test_every_record_has_its_source_and_test(self):
        models = re.findall(r"TEST_EVERY_FIELD\((\w+),", "".join(mutation.read(path) for path in self.files.tests))
        self.assertGreater(len(models), 10)
        for model in models:
            self.assertTrue(os.path.exists(self.files.source_of(model)))
            self.assertIn(self.files.test_of(model), self.files.tests_like(mutation.RECORDS))

    def test_a_stale_key_is_found_and_explained(self):
        equivalents = mutation.Equivalents(self.keys, "Why.\n    convert/ powersOfTwo: constexpr double p[] = {1e0, {{1e16 -> (1e16 + 1)}}};\n")
        self.assertEqual(len(equivalents.stale), 1)
        self.assertIn("perhaps now: convert/ powersOfTen: ", equivalents.instead(equivalents.stale[0]))
        self.assertEqual(equivalents.instead("convert/ x: {{no -> change}}"), "nothing similar is left")

    def test_renamed_files_and_other_line_breaks_change_no_key(self):
        with tempfile.TemporaryDirectory() as folder:
            for name in ("c", "check", "common", "convert", "include", "model", "repair", "round", "stream", "tests"):
                shutil.copytree(os.path.join(mutation.ROOT, name), os.path.join(folder, name))
            os.chdir(folder)
            try:
                os.rename("stream/ansi.cpp", "stream/singlebyte.cpp")
                os.rename("check/wording.cpp", "check/sentences.cpp")
                text = mutation.read("model/keyline.cpp")
                with open("model/keyline.cpp", "w", encoding="utf-8") as file:
                    file.write(text.replace("    ", "\t") + "// an end\n")
                again = mutation.Files().mutants()
            finally:
                os.chdir(mutation.ROOT)
        squashed = sorted(mutators.squashed(key) for key in self.keys)
        self.assertEqual(sorted(mutators.squashed(mutant.key) for mutant in again), squashed)

    def test_a_pattern_without_a_file_is_reported(self):
        with self.assertRaisesRegex(SystemExit, 'no file matches "\\*/gone.cpp"; was it renamed?'):
            self.files.paths_like("*/gone.cpp")
        with self.assertRaisesRegex(SystemExit, 'no file matches "tests/gone_test.cpp"'):
            self.files.tests_like(["gone_test"])


if __name__ == "__main__":
    sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
    unittest.main()
