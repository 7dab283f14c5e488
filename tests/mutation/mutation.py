"""Changes the library's sources in one place at a time, and reports the changes that no test detects: see run."""
import argparse
import collections
import concurrent.futures
import dataclasses
import difflib
import fcntl
import fnmatch
import functools
import glob
import hashlib
import json
import os
import random
import re
import shutil
import subprocess
import sys
import threading
import time

import mutators

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
WORK = os.path.join(ROOT, "build", "mutation")
TREE = os.path.join(WORK, "tree")
EQUIVALENT = os.path.join(HERE, "equivalent.txt")

COMPILER = ["clang++", "-std=c++20", "-w", "-fPIC", "-DTRAMOSTREAM_STATIC", '-DTRAMO_VERSION="0.0.0"']
SANITIZED = ["-fsanitize=address", "-shared-libasan", "-D_GLIBCXX_ASSERTIONS"]
WRAPPED = {"allocations_test": ["-Wl,--wrap=calloc"]}
FAMILIES = ["tables", "codecs", "engine", "round", "c", "streams", "check", "repair"]

# Which sources are changed, and which tests may detect it: patterns, so that a new or renamed file needs no entry. Each of them
# must match a file.
MUTATED = ["model/*", "convert/*", "round/*", "c/*", "common/outputplace.*", "stream/*", "check/*", "repair/*", "include/*/codes.h", "include/*/fielderror.h", "include/*/keyline.h"]
# Most sentences of findings are held by the tests of the tool, which take too long to run for every change.
ON_REQUEST = ["check", "repair"]
RECORDS = ["*tramomodel_test"]
PUBLIC = ["fields_test", "conditions_test", "anyrecord_test", "accessors_test", "interface_test", "allocations_test"]
CODECS = ["codec_test", "strconv_*_test"]
DECODED = ["decode_test", "columns_test"]
STREAMS = ["*filestream_test", "exceptions_test", "log_test", "tramoline_test", "interface_test"]

# The sources that are compiled first and the tests that then run, stage by stage, if they do not follow from the name. Only if
# these detect nothing, everything that includes a header is compiled, and all tests of its family run.
METER = (["*/metersubscribertramomodel.cpp"], ["metersubscribertramomodel_test"])
OTHERS = (["*/amrtramomodel.cpp", "*/enquirydefinitiontramomodel.cpp", "*/extendeddatatramomodel.cpp"],
          ["amrtramomodel_test", "enquirydefinitiontramomodel_test", "extendeddatatramomodel_test"])
FIRST = {
    "model/layout.h": [METER, OTHERS],
    "model/frame.h": [METER, OTHERS],
    "model/blankmap.h": [METER, (["tests/blankmap_test.cpp"], ["blankmap_test"])],
    "model/fieldreading.h": [(["*/decode.cpp"], ["decode_test"]), (["*/columns.cpp"], ["columns_test"])],
    "model/decode.cpp": [(["*/decode.cpp"], DECODED)],
    "model/keyline.cpp": [(["*/keyline.cpp"], ["keyline_test", "amrkeytramomodel_test"])],
    "model/fieldwriting.cpp": [(["*/fieldwriting.cpp"], ["line_test"])],
    "round/arrow.cpp": [(["*/arrow.cpp"], ["arrowstream_test", "columns_test"])],
    "round/anonymizedkey.cpp": [(["*/anonymizedkey.cpp"], ["anonymize_test"])],
    "round/pseudonyms.cpp": [(["*/pseudonyms.cpp"], ["anonymize_test"])],
    "round/meter.cpp": [(["*/meter.cpp"], ["round_test"])],
    "round/roundfile.cpp": [(["*/roundfile.cpp"], ["round_test"])],
    "round/fieldsof.cpp": [(["*/fieldsof.cpp"], ["round_test"])],
    "round/kindfields.cpp": [(["*/kindfields.cpp"], ["line_test"])],
    "common/outputplace.cpp": [(["*/outputplace.cpp"], ["writer_test"])],
    "convert/codetables.h": [(["*/codetables.cpp", "*/stringconverter.cpp"], ["strconv_code_test"])],
    "convert/codetables.cpp": [(["*/codetables.cpp"], ["strconv_code_test"])],
    "convert/digits.h": [(["*/decode.cpp"], ["decode_test"])],
    "convert/reading.h": [(["*/codec.cpp", "*/decode.cpp"], [*CODECS, "decode_test"])],
    "convert/reading.cpp": [(["*/reading.cpp"], CODECS)],
    "convert/codec.cpp": [(["*/codec.cpp"], CODECS)],
    "convert/codec.h": [(["*/codec.cpp", "*/stringconverter.cpp"], CODECS)],
    "convert/stringconverter.cpp": [(["*/stringconverter.cpp"], CODECS)],
    "include/*/codes.h": [(["tests/codes_test.cpp"], [])],
    "include/*/fielderror.h": [(["tests/codes_test.cpp"], [])],
    "include/*/keyline.h": [(["*/amrkeytramomodel.cpp", "*/keyline.cpp", "tests/keyline_test.cpp"],
                             ["keyline_test"]), (["tests/amrkeytramomodel_test.cpp"], ["amrkeytramomodel_test"])],
}
# The records' tests of many lines run if the others have detected nothing, for the tables and the code that uses them.
LONG_FOR = ["*/layout.h", "*/frame.h", "*/blankmap.h"]
LONG = "*Random*:*AnotherTurn*:*OrdinaryValues*:*StaysSane*:*GivesEveryDayBack*"
HAVE_LONG = [*RECORDS, "frame_test", "strconv_date_test"]
# A test of allocations by calloc, which are not counted in a shared library.
UNCOUNTED = {"allocations_test": ["*InANewThread*"]}
# A test of memory use, which the address sanitizer increases.
OF_MEMORY = "*TheTextIsHeldOnce"

# All tests that may detect a change in a family, the fastest first.
ALL = {
    "tables": PUBLIC + ["describe_test", "frame_test"],
    "codecs": [*CODECS, *DECODED, *PUBLIC, "describe_test", "frame_test", "roundtramomodel_test", "metersubscribertramomodel_test", "amrtramomodel_test"],
    "engine": ["layout_test", "blankmap_test", "describe_test", "keyline_test", *DECODED, "line_test", *PUBLIC, "frame_test", *RECORDS],
    "round": ["linesource_test", "columns_test", "arrowstream_test", "line_test", "round_test", "writer_test", "reader_test", "c_test",
              "filecheck_test", "tables_test", "reconcile_test", "anonymize_test"],
    "c": ["c_test"],
    "streams": STREAMS + ["inorder_test", "threads_test"],
    "check": ["check_test"],
    "repair": ["repair_test"],
}
PLACE_OF_TABLES = "return detail::withSteps<record>;"  # where a table may be changed


def quick(test, *but):
    """The filter for the quick tests of a program, except some."""
    return "-" + ":".join([*([LONG] if has_long(test) else []), *UNCOUNTED.get(test, []), *but])


def everything(test):
    return "*-" + ":".join(UNCOUNTED.get(test, []))


def has_long(test):
    return any(fnmatch.fnmatchcase(test, pattern) for pattern in HAVE_LONG)


def family_of(path):
    if path.startswith("include/") or path.endswith(("/codetables.h", "tramomodel.cpp")):
        return "tables"
    return {"convert": "codecs", "model": "engine", "round": "round", "common": "round", "c": "c", "stream": "streams",
            "check": "check", "repair": "repair"}[os.path.dirname(path)]


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def run(command, timeout=600, **options):
    """Returns whether a command succeeds."""
    try:
        return subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL,
                              timeout=timeout, **options).returncode == 0
    except subprocess.TimeoutExpired:
        return False


def must_run(command, **options):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, **options)
    if done.returncode != 0:
        sys.exit(done.stdout.decode("utf-8", "replace")[-3000:] + f"\nfailed: {' '.join(command)}")


class Files:
    """The sources, headers and tests in the current folder, which is a project's."""

    def __init__(self):
        folders = ("c", "check", "common", "convert", "model", "repair", "round", "stream")
        self.sources = sorted(path for folder in folders for path in glob.glob(folder + "/*.cpp")
                              if not path.endswith(("_windows.cpp", "_wasi.cpp")))
        self.headers = sorted([*glob.glob("*/*.h"), *glob.glob("include/*/*.h"), *glob.glob("tests/support/*.h")])
        # Not the tests of other folders' sources.
        self.tests = sorted(path for path in glob.glob("tests/*_test.cpp") if '#include "page/' not in read(path))
        self.support = sorted(path for path in glob.glob("tests/support/*.cpp") if not path.endswith("/locale.cpp"))
        for pattern in [*MUTATED, *FIRST, *LONG_FOR]:
            self.paths_like(pattern)
        for patterns in [*ALL.values(), HAVE_LONG]:
            self.tests_like(patterns)
        for paths, tests in (stage for stages in FIRST.values() for stage in stages):
            self.tests_like(tests)
            for pattern in paths:
                self.paths_like(pattern)
        self.tables = [path for path in self.headers if PLACE_OF_TABLES in read(path)]
        if len(self.tables) != 1:
            sys.exit(f"tests/mutation/mutation.py: \"{PLACE_OF_TABLES}\" is in {len(self.tables)} headers instead of one")

    @staticmethod
    def that_match(paths, pattern):
        found = [path for path in paths if fnmatch.fnmatchcase(path, pattern)]
        if not found:
            sys.exit(f"tests/mutation/mutation.py: no file matches \"{pattern}\"; was it renamed?")
        return found

    def paths_like(self, pattern):
        return self.that_match(self.sources + self.headers + self.tests, pattern)

    def tests_like(self, patterns):
        """The names of the tests that match, in the order of the patterns."""
        return list(dict.fromkeys(os.path.basename(path)[:-4] for pattern in patterns
                                  for path in self.that_match(self.tests, f"tests/{pattern}.cpp")))

    def stages_of(self, path):
        """What is compiled first, and the tests that then run; None if nothing is stated of that source."""
        for pattern, stages in FIRST.items():
            if fnmatch.fnmatchcase(path, pattern):
                return [([one for each in paths for one in self.paths_like(each)], self.tests_like(tests)) for paths, tests in stages]
        return None

    def test_of(self, model):
        """The test of a record, by the name of its class."""
        return next(os.path.basename(path)[:-4] for path in self.tests if f"TEST_EVERY_FIELD({model}," in read(path))

    def source_of(self, model):
        return next(path for path in self.sources if f"using M = {model};" in read(path))

    def mutants(self):
        """All changes of the sources; the changes of the rows of tables come from a program (Build.row_changes)."""
        enumerations = mutators.enumerations_of([read(path) for path in self.headers + self.sources if not path.startswith("tests/")])
        keys = {}
        paths = [path for path in self.sources + self.headers if any(fnmatch.fnmatchcase(path, pattern) for pattern in MUTATED)]
        return [mutant for path in paths for mutant in mutators.Source(
            path, read(path), enumerations, family_of(path) == "tables", path.endswith("tramomodel.cpp"), keys).all()]


@dataclasses.dataclass(frozen=True)
class RowChange:
    """A change of a record's table, which its program makes on request: see tablechanges.h."""
    path: str
    key: str
    wanted: str
    possible: bool
    line: int = 1


class Build(Files):
    """The unchanged library and its tests, in a copy of the sources, so that they can be edited meanwhile."""

    def __init__(self, jobs, keep):
        for folder in ("tests",) if keep else (
                "c", "check", "common", "convert", "include", "model", "repair", "round", "samples", "stream", "tests", "cli"):
            shutil.rmtree(os.path.join(TREE, folder), ignore_errors=True)
            shutil.copytree(os.path.join(ROOT, folder), os.path.join(TREE, folder))
        os.chdir(TREE)
        super().__init__()
        self.names = {path: self.included_by(path) for path in self.sources + self.tests + self.support + self.headers}
        self.pch, self.public_pch = os.path.join(WORK, "all.pch"), os.path.join(WORK, "public.pch")
        if not keep:
            shutil.rmtree(os.path.join(WORK, "libraries"), ignore_errors=True)
        # Also for kept sources: with other options, the compiler would reject every change.
        self.precompile("all", [path for path in self.headers if path.startswith("model/")])
        self.precompile("public", ["include/tramostream/tramostream.h"])
        self.build(jobs)
        if not keep:
            self.build_tables(jobs)
        self.sanitizer = subprocess.check_output(["clang++", "-print-file-name=libclang_rt.asan-x86_64.so"], text=True).strip()

    def build(self, jobs):
        launcher = ["ccache"] if shutil.which("ccache") else []
        with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
            list(pool.map(lambda path: must_run(launcher + self.compile(path, self.object_of(path), optimised=True)),
                          self.sources + self.tests + self.support))
            list(pool.map(lambda path: must_run(launcher + self.compile(path, self.object_of(path, "sanitized"), more=SANITIZED)),
                          self.sources))
            must_run(self.link(self.library_folder("base"), {}))
            list(pool.map(self.link_test, self.tests))

    def build_tables(self, jobs):
        """A library whose tables can be changed at run time."""
        overlay = os.path.join(WORK, "tables")
        shutil.rmtree(overlay, ignore_errors=True)
        os.makedirs(os.path.join(overlay, "model"))
        before, found, behind = read(self.tables[0]).partition(PLACE_OF_TABLES)
        where = before.rindex("template <const auto& record>")
        with open(os.path.join(overlay, self.tables[0]), "w", encoding="utf-8") as file:
            file.write(before[:where] + "namespace mutation {\ntemplate <class M> const Record<M>& changed(const Record<M>&);\n}\n" +
                       before[where:] + found.replace("return ", "return mutation::changed(").replace(";", ");") + behind +
                       '#include "tests/mutation/tablechanges.h"\n')
        changed = {path: os.path.join(overlay, os.path.basename(path) + ".o") for path in self.sources if path.startswith("model/")}
        with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
            list(pool.map(lambda path: must_run(self.compile(path, changed[path], overlay, optimised=True)), changed))
        must_run(self.link(self.library_folder("tables"), changed))

    def row_changes(self):
        done = subprocess.run([os.path.join(WORK, "tests", "fields_test")], stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                              env={"LD_LIBRARY_PATH": self.library_folder("tables"), "TABLE_CHANGE": "list"}, text=True)
        for line in done.stderr.splitlines():
            if line.startswith("TABLE_CHANGE\t"):
                _, wanted, state, words = line.split("\t")
                model = wanted.split()[0]
                path = self.source_of(model)
                yield RowChange(path, f"{mutators.folder_of(path)} {model}: {words}", wanted, state == "possible")

    def included_by(self, path):
        return [name for name in re.findall(r'^#include ["<]([\w./]+)[">]', read(path), re.MULTILINE)]

    def users_of(self, header):
        """The sources and tests that include a header, directly or through others."""
        users, more = {header}, True
        while more:
            found = {path for path, names in self.names.items() if any(
                user == name or user.endswith("/" + name) for user in users for name in names)} - users
            users |= found
            more = bool(found)
        return sorted(path for path in users if path.endswith(".cpp"))

    def precompile(self, name, headers):
        source, out = os.path.join(WORK, name + ".h"), os.path.join(WORK, name + ".pch")
        with open(source, "w", encoding="utf-8") as file:
            for word in ("algorithm", "array", "charconv", "chrono", "optional", "span", "string", "variant", "vector"):
                file.write(f"#include <{word}>\n")
            for header in headers:
                file.write(f'#include "{header.removeprefix("include/")}"\n')
        must_run([*COMPILER, "-O0", "-Iinclude", "-I.", "-x", "c++-header", source, "-o", out])

    @staticmethod
    def object_of(path, kind="objects"):
        return os.path.join(WORK, kind, path.replace("/", "_") + ".o")

    @staticmethod
    def library_folder(name):
        folder = os.path.join(WORK, "libraries", name)
        os.makedirs(folder, exist_ok=True)
        os.makedirs(os.path.join(WORK, "objects"), exist_ok=True)
        return folder

    def compile(self, path, out, overlay=None, pch=None, optimised=False, more=()):
        folders = [] if overlay is None else ["-I" + os.path.join(overlay, "include"), "-I" + overlay]
        os.makedirs(os.path.dirname(out), exist_ok=True)
        command = [*COMPILER, "-O1" if optimised else "-O0", *more, *folders, "-Iinclude", "-I.", "-Itests"]
        if pch:
            command += ["-include-pch", pch]
        source = os.path.join(overlay, path) if overlay and os.path.exists(os.path.join(overlay, path)) else path
        return [*command, f'-DSAMPLES="{TREE}/samples"', "-c", source, "-o", out]

    def link(self, folder, changed, kind="objects", more=()):
        """The library with some objects replaced; the linker takes shared symbols from the replacements."""
        objects = list(changed.values()) + [self.object_of(path, kind) for path in self.sources if path not in changed]
        return ["clang++", "-shared", "-fuse-ld=lld", "-Wl,-Bsymbolic-functions", *more, *objects, "-o",
                os.path.join(folder, "libmutant.so")]

    def link_test(self, path, changed=(), to=None):
        """A test program, with some of its objects replaced."""
        name = os.path.basename(path)[:-4]
        out = to or os.path.join(WORK, "tests", name)
        os.makedirs(os.path.dirname(out), exist_ok=True)
        objects = [dict(changed).get(part, self.object_of(part)) for part in [path, *self.support]]
        must_run(["clang++", "-fuse-ld=lld", *objects, "-L" + self.library_folder("base"), "-lmutant",
                  "-lgtest_main", "-lgtest", "-lpthread", *WRAPPED.get(name, []), "-o", out])
        return out


@dataclasses.dataclass
class Worker:
    """A folder in which one mutant at a time is compiled and tried."""
    build: Build
    number: int

    def __post_init__(self):
        self.folder = os.path.join(WORK, f"worker{self.number}")
        shutil.rmtree(self.folder, ignore_errors=True)
        os.makedirs(os.path.join(self.folder, "temporary"))
        self.library = self.build.library_folder(str(self.number))

    def judge(self, mutant):
        """"rejected" by the compiler, "killed" and by what, or "survived"."""
        if isinstance(mutant, RowChange):
            return self.judge_row(mutant)
        source = read(os.path.join(TREE, mutant.path))
        changed = os.path.join(self.folder, mutant.path)
        if mutant.path.startswith("include/"):
            shutil.copytree(os.path.join(TREE, "include"), os.path.join(self.folder, "include"))
        os.makedirs(os.path.dirname(changed), exist_ok=True)
        with open(changed, "w", encoding="utf-8") as file:
            file.write(mutant.apply(source))
        try:
            return self.try_stages(mutant.path)
        finally:
            shutil.rmtree(os.path.join(self.folder, mutant.path.split("/")[0]))

    def judge_row(self, change):
        if not change.possible:
            return "rejected", "checked()"
        own = self.build.test_of(change.wanted.split()[0])
        return self.try_tests({test: os.path.join(WORK, "tests", test) for test in [own, *self.build.tests_like(ALL["tables"])]},
                              table_change=change.wanted)

    def try_stages(self, path):
        family = family_of(path)
        stem = os.path.basename(path).rsplit(".", 1)[0] + "_test"
        own = [stem] if "tests/" + stem + ".cpp" in self.build.tests else []
        done = []
        for compiled, tests in self.build.stages_of(path) or [([path] if path.endswith(".cpp") else self.build.users_of(path), own)]:
            verdict = self.try_on(path, compiled, tests)
            if verdict[0] != "survived":
                return verdict
            done += tests
        rest = [test for test in self.build.tests_like(ALL[family]) if test not in done]
        if path.endswith(".cpp"):
            verdict = self.try_on(path, None, rest)
        else:
            users = [user for user in self.build.users_of(path)
                     if user in self.build.sources + self.build.support or os.path.basename(user)[:-4] in done + rest]
            verdict = self.try_on(path, users, done + rest)
        return verdict if verdict[0] != "survived" else self.try_sanitized(done + rest)

    def try_on(self, path, compiled, tests):
        if compiled is not None:
            self.objects = {}
            # Not for the users of a header: system names that come with the public headers are ambiguous in one of them.
            pch = self.build.pch if path.endswith("tramomodel.cpp") else self.build.public_pch if path.endswith(".cpp") else None
            for user in sorted(compiled, key=lambda name: name.startswith("tests/")):
                out = os.path.join(self.folder, "objects", user.replace("/", "_") + ".o")
                is_test = user.startswith("tests/")
                if not run(self.build.compile(user, out, self.folder, None if is_test else pch)):
                    return ("killed", user) if is_test else ("rejected", user)
                self.objects[user] = out
            library = {user: out for user, out in self.objects.items() if not user.startswith("tests/")}
            must_run(self.build.link(self.library, library))
        programs = self.programs = {test: os.path.join(WORK, "tests", test) for test in tests}
        for test in tests:
            source = "tests/" + test + ".cpp"
            if any(part in self.objects for part in [source, *self.build.support]):
                programs[test] = self.build.link_test(source, self.objects, os.path.join(self.folder, "objects", test))
        return self.try_tests(programs, family_of(path) == "tables" or any(fnmatch.fnmatchcase(path, each) for each in LONG_FOR))

    def try_sanitized(self, tests):
        """A change that reads or writes past an array, which only ./test's stage asan detects reliably."""
        sanitized = {}
        for user in self.objects:
            if not user.startswith("tests/"):
                sanitized[user] = os.path.join(self.folder, "objects", user.replace("/", "_") + ".sanitized.o")
                must_run(self.build.compile(user, sanitized[user], self.folder, more=SANITIZED))
        must_run(self.build.link(self.library, sanitized, "sanitized", SANITIZED))
        for test in tests:
            program = self.programs.get(test, os.path.join(WORK, "tests", test))
            if not self.passes(program, quick(test, OF_MEMORY), sanitized=True):
                return "killed", test + " with the address sanitizer"
        return "survived", ""

    def try_tests(self, programs, with_long=True, table_change=None):
        for test, program in programs.items():
            if not self.passes(program, quick(test), table_change):
                return "killed", test
        for test, program in programs.items() if with_long else ():
            if has_long(test) and not self.passes(program, LONG, table_change):
                return "killed", test
        return "survived", ""

    def passes(self, program, which="*", table_change=None, sanitized=False):
        temporary = os.path.join(self.folder, "temporary")
        environment = {"PATH": os.environ["PATH"], "GTEST_FAIL_FAST": "1", "GTEST_FILTER": which, "TMPDIR": temporary,
                       "LD_LIBRARY_PATH": self.build.library_folder("tables") if table_change else self.library}
        if table_change:
            environment["TABLE_CHANGE"] = table_change
        if sanitized:
            environment["TRAMO_FILES"] = "40"   # the sanitized library is not optimized: as few files as in such a build
        # An endless loop uses up its processor time or memory, even on a busy machine.
        limits = ["prlimit", "--cpu=120"] if sanitized else ["prlimit", "--cpu=20", f"--as={4 << 30}"]
        if sanitized:
            limits += ["env", "LD_PRELOAD=" + self.build.sanitizer, "ASAN_OPTIONS=detect_leaks=0:hard_rss_limit_mb=4096"]
        passed = run([*limits, program, "--gtest_brief=1"], cwd=temporary, env=environment)
        for left in os.listdir(temporary):
            path = os.path.join(temporary, left)
            shutil.rmtree(path, ignore_errors=True) if os.path.isdir(path) else os.remove(path)
        return passed


class Equivalents:
    """The mutants without a visible effect: a reason at the margin, its mutants indented below, compared without blanks."""

    def __init__(self, keys, text=None):
        self.keys, self.reasons, self.stale, reason = list(keys), {}, [], ""
        by_text = {mutators.squashed(key): key for key in self.keys}
        for line in (text or read(EQUIVALENT)).splitlines():
            if line and not line.startswith((" ", "#")):
                reason = line
            if not line.startswith("    "):
                continue
            pattern = mutators.squashed(line)
            # The groups of rows of a table have many changes that differ only in their numbers.
            parts = "[0-9]+".join(re.escape(part) for part in pattern.split("<n>"))
            found = [key for text, key in by_text.items() if re.fullmatch(parts, text)] if "<n>" in pattern else \
                [by_text[pattern]] if pattern in by_text else []
            self.reasons |= {key: reason for key in found}
            if not found:
                self.stale.append(line.strip())

    def instead(self, stale):
        """The words that help to mend a stale key: the most similar one of today."""
        text = stale.partition(": ")[2]
        same = [key for key in self.keys if mutators.squashed(key.partition(": ")[2]) == mutators.squashed(text)]
        change = re.search(r"\{\{.*?\}\}", stale)
        similar = difflib.get_close_matches(stale, [key for key in self.keys if change and change.group() in key], 1, 0.3)
        return f"perhaps now: {(same or similar)[0]}" if same or similar else "nothing similar is left"


class Results:
    """The verdicts so far, stored in a file; valid as long as the changed source is the same except for its comments."""

    def __init__(self, path):
        self.path, self.known = path, {}
        if os.path.exists(path):
            for line in read(path).splitlines():
                entry = json.loads(line)
                self.known[entry["key"]] = entry
        self.lock = threading.Lock()

    @staticmethod
    @functools.cache
    def state_of(path):
        return hashlib.sha256("\n".join(mutators.code_of(read(os.path.join(TREE, path)))).encode()).hexdigest()[:16]

    def find(self, mutant, again):
        entry = self.known.get(mutant.key)
        if not entry or entry["state"] != self.state_of(mutant.path) or (again and entry["verdict"] == "survived"):
            return None
        return entry

    def add(self, mutant, verdict, by):
        entry = {"key": mutant.key, "line": mutant.line, "state": self.state_of(mutant.path), "verdict": verdict, "by": by}
        with self.lock, open(self.path, "a", encoding="utf-8") as file:
            file.write(json.dumps(entry) + "\n")
        return entry


def chosen_from(every, parts):
    """The changes of the sources that are asked for; of all but ON_REQUEST, if none is."""
    return [mutant for mutant in every if
            (any(part in mutant.path for part in parts) if parts else family_of(mutant.path) not in ON_REQUEST)]


def cpu_seconds():
    times = os.times()
    return times.user + times.system + times.children_user + times.children_system


def main():
    parser = argparse.ArgumentParser(prog="tests/mutation/run", description=__doc__)
    parser.add_argument("paths", nargs="*", help="only sources whose path contains one of these")
    parser.add_argument("--sample", type=int, metavar="N", help="try N mutants, drawn by chance")
    parser.add_argument("--seed", type=int, default=1, help="of the chance (default: 1)")
    parser.add_argument("--again", action="store_true", help="try those that survived before once more")
    parser.add_argument("--fresh", action="store_true", help="forget what earlier runs have found")
    parser.add_argument("--keep", action="store_true", help="with the library's sources as the run before copied them")
    parser.add_argument("--list", action="store_true", help="list the mutants only")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    options = parser.parse_args()

    os.makedirs(WORK, exist_ok=True)
    lock = open(os.path.join(WORK, "lock"), "w")
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        sys.exit(f"another run is at work in {WORK}")
    build = Build(options.jobs, options.keep)
    every = [*build.row_changes(), *build.mutants()]
    equivalents = Equivalents([mutant.key for mutant in every])
    chosen = chosen_from(every, options.paths)
    if options.sample:
        chosen = random.Random(options.seed).sample(chosen, min(options.sample, len(chosen)))
        print(f"seed {options.seed}")
    if options.list:
        print(*(mutant.key for mutant in chosen), sep="\n")
        return 0

    path = os.path.join(WORK, "results.jsonl")
    if options.fresh and os.path.exists(path):
        os.remove(path)
    results = Results(path)
    free = collections.deque(Worker(build, number) for number in range(options.jobs))
    for sanitized in (False,) if options.keep else (True, False):
        must_run(build.link(free[0].library, {}, *(["sanitized", SANITIZED] if sanitized else [])))
        for test in build.tests:
            name = os.path.basename(test)[:-4]
            if any(name in build.tests_like(tests) for tests in ALL.values()) and not free[0].passes(
                    os.path.join(WORK, "tests", name), quick(name, OF_MEMORY) if sanitized else everything(name), sanitized=sanitized):
                sys.exit(f"{name} fails without any change" + (" with the address sanitizer" if sanitized else ""))

    def judge(mutant):
        if known := results.find(mutant, options.again):
            return known
        worker = free.pop()
        try:
            return results.add(mutant, *worker.judge(mutant))
        finally:
            free.append(worker)

    start, began = time.monotonic(), cpu_seconds()
    verdicts = {}
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        for mutant, entry in zip(chosen, pool.map(judge, chosen)):
            verdicts[mutant] = entry
            if sys.stderr.isatty():
                sys.stderr.write(f"\r{len(verdicts)} of {len(chosen)}")
    return report(verdicts, equivalents, time.monotonic() - start, cpu_seconds() - began)


def report(verdicts, equivalents, seconds, cpu):
    counts = {family: collections.Counter() for family in FAMILIES}
    survivors, wrong = [], []
    for mutant, entry in verdicts.items():
        verdict = entry["verdict"]
        if mutant.key in equivalents.reasons:
            if verdict == "survived":
                verdict = "equivalent"
            else:
                wrong.append((mutant, f"is {verdict} by {entry['by']}"))
        if verdict == "survived":
            survivors.append(mutant)
        counts[family_of(mutant.path)][verdict] += 1
    for mutant in survivors:
        print(f"survives: {mutant.path}:{mutant.line}:\n    {mutant.key}")
    for mutant, why in wrong:
        print(f"equivalent.txt has a mutant that {why}:\n    {mutant.key}")
    for key in equivalents.stale:
        print(f"equivalent.txt has a stale key:\n    {key}\n    {equivalents.instead(key)}")

    print(f"{'':8} {'mutants':>8} {'rejected':>9} {'killed':>7} {'equivalent':>11} {'surviving':>10} {'killed or explained':>20}")
    shares = {}
    for family in [*FAMILIES, "all"]:
        count = counts[family] if family != "all" else sum(counts.values(), collections.Counter())
        compiled = count["killed"] + count["equivalent"] + count["survived"]
        shares[family] = 1 - count["survived"] / compiled if compiled else 1
        print(f"{family:8} {sum(count.values()):8} {count['rejected']:9} {count['killed']:7} {count['equivalent']:11} "
              f"{count['survived']:10} {100 * shares[family]:18.2f} %")
    print(f"{seconds:.0f} s, {cpu:.0f} s of processor time; all verdicts are in {os.path.relpath(WORK, ROOT)}/results.jsonl")
    return 1 if wrong or equivalents.stale or shares["tables"] < 1 or shares["all"] < 0.95 else 0


if __name__ == "__main__":
    sys.exit(main())
