"""The library as WebAssembly, in Node, gives what the tool gives. TRAMO is the tool, MODULE the module, WORK a folder for files."""
import base64
import collections
import gzip
import itertools
import json
import os
import pathlib
import re
import subprocess
import tempfile
import unittest
import zlib

ROOT = pathlib.Path(__file__).resolve().parents[2]
TRAMO = os.path.abspath(os.environ["TRAMO"])
MODULE = os.path.abspath(os.environ["MODULE"])
WORK = pathlib.Path(os.environ.get("WORK") or tempfile.mkdtemp())
SAMPLES = sorted((ROOT / "samples").glob("*.txt"))
FORMS = ("csv", "jsonl")


def environment(zone):
    return {"PATH": os.environ["PATH"], "TZ": zone, "LC_ALL": "C.UTF-8"}


def tramo(*arguments, zone="UTC", codes=(0, 1)):
    """Returns what the tool writes to the standard output, and its exit code."""
    done = subprocess.run([TRAMO, *map(str, arguments)], capture_output=True, env=environment(zone))
    if done.returncode not in codes:
        raise AssertionError(f"tramo {arguments} ended with {done.returncode}: {done.stderr.decode()}")
    return done.stdout, done.returncode


def number_at(code, at):
    """Returns a number of a module (LEB128) and the place after it."""
    value = shift = 0
    while True:
        byte, at = code[at], at + 1
        value, shift = value | (byte & 127) << shift, shift + 7
        if byte < 128:
            return value, at


def leb(value):
    out = bytearray()
    while value > 127:
        out.append(value & 127 | 128)
        value >>= 7
    return bytes([*out, value])


def with_memory_of(code, most):
    """Returns a module whose memory has at most so many pages of 64 KiB."""
    memory, at, out = 5, 8, bytearray(code[:8])
    while at < len(code):
        kind = code[at]
        size, begin = number_at(code, at + 1)
        content = code[begin:begin + size]
        if kind == memory:
            least, _ = number_at(content, 2)
            content = bytes([1, 1]) + leb(least) + leb(most)
        out += bytes([kind]) + leb(len(content)) + content
        at = begin + size
    return bytes(out)


class Called:
    """What the calls returned, and their outputs by their names."""
    def __init__(self, path, *calls, zone="UTC", module=MODULE):
        words = list(itertools.chain.from_iterable([",", *map(str, call)] for call in calls))[1:]
        with tempfile.TemporaryDirectory(dir=WORK) as folder:
            files = json.dumps([str(one) for one in path]) if isinstance(path, list) else path
            done = subprocess.run(["node", ROOT / "tests/web/module.mjs", module, folder, files, *words],
                                  capture_output=True, env=environment(zone))
            if done.returncode != 0:
                raise AssertionError(f"{calls}: {done.stderr.decode()}")
            self.outputs = {file.name: file.read_bytes() for file in pathlib.Path(folder).iterdir()}
        for name, value in json.loads(done.stdout).items():
            setattr(self, name, value)

    def part(self, name):
        return json.loads(self.outputs[name])


def rows(part):
    """Returns the rows of a part whose columns have the forms of page/column.h."""
    count = part["n"]

    def values(column):
        if isinstance(column, list):
            return column
        if "all" in column:
            return [column["all"]] * count
        if "by" in column:
            return list(itertools.accumulate(column["by"]))
        return [None if at < 0 else column["of"][at] for at in column["at"]]

    columns = {name: values(column) for name, column in part.items() if name not in ("n", "given")}
    return [{name: column[row] for name, column in columns.items()} for row in range(count)]


def generated(name, *options):
    path = WORK / f"{name}.txt"
    tramo("sample", *options, "--force", "-o", path)
    return path


def kinds(path):
    """Returns the kinds of rows that an export of a file has."""
    lines = tramo("export", path, "--to", "jsonl")[0].splitlines()
    return sorted({json.loads(line)["kind"] for line in lines})


class ModuleTest(unittest.TestCase):
    maxDiff = 2000

    def called(self, path, *calls, **more):
        result = Called(path, *calls, **more)
        self.assertIsNone(result.ended)
        return result

    def test_json_lines_of_every_sample_are_those_of_the_tool(self):
        for path in SAMPLES:
            with self.subTest(path.name):
                expected, code = tramo("export", path, "--to", "jsonl")
                result = self.called(path, ["exportRecords", "jsonl", ""])
                self.assertEqual(expected, result.outputs["out.jsonl"])
                self.assertEqual([code], result.values)

    def test_a_table_of_each_kind_is_that_of_the_tool(self):
        for path in SAMPLES:
            for kind in kinds(path):
                with self.subTest(path.name, kind=kind):
                    expected, _ = tramo("export", path, "--to", "csv", "--only", kind.replace(" ", "-"))
                    self.assertEqual(expected, self.called(path, ["exportRecords", "csv", kind]).outputs["out.csv"])

    def test_all_tables_are_those_of_the_tool(self):
        for path in SAMPLES:
            with self.subTest(path.name), tempfile.TemporaryDirectory(dir=WORK) as folder:
                tramo("export", path, "--to", "csv", "-o", folder)
                expected = {file.name: file.read_bytes() for file in pathlib.Path(folder).iterdir()}
                self.assertEqual(expected, self.called(path, ["exportRecords", "csv", ""]).outputs)

    def test_values_of_a_generated_round_in_both_encodings(self):
        for name, options in (("ansi", []), ("utf16", ["--encoding", "utf16le"])):
            path = generated("values-" + name, "--meters", 800, "--seed", 5, "--returned", *options)
            with self.subTest(name):
                expected, _ = tramo("export", path, "--to", "jsonl")
                self.assertEqual(expected, self.called(path, ["exportRecords", "jsonl", ""]).outputs["out.jsonl"])

    def test_findings_and_diagnosis_are_those_of_the_tool(self):
        broken = generated("findings", "--meters", 150, "--seed", 9, "--returned", "--faults", "0.25")
        for path in [*SAMPLES, broken]:
            with self.subTest(path.name):
                self.compare_findings(path)

    def compare_findings(self, path):
        def checked(*options):
            return json.loads(tramo("check", "--format", "json", *options, path)[0])["files"][0]

        about = {rule["rule"]: rule.get("about") for rule in json.loads(tramo("explain", "--format", "json")[0])["rules"]}
        file = checked()
        whole = [one for one in file["findings"] if about.get(one["rule"]) == "file"]
        result = self.called(path, ["check"])
        self.assertEqual([1], result.values)
        [shown] = result.part("summary")["source"]["files"]
        self.assertEqual([(one["rule"], one["severity"], one["message"], one.get("help")) for one in whole],
                         [(one["rule"], one["severity"], one["message"], one.get("help")) for one in shown["diagnosis"]])
        counts = [file["summary"][name] for name in ("errors", "warnings", "hints")]
        self.assertEqual(counts, [shown[name] for name in ("errors", "warnings", "hints")])
        found = rows(result.part("findings")) if "findings" in result.outputs else []
        self.assertEqual(sum(counts) - len(whole), len(found))

        # The tool puts alike findings of many lines together, unless it lists each; then also those that the diagnosis explains.
        members = ("line", "rule", "severity", "field", "column", "message")
        each = collections.Counter(tuple(one.get(name) for name in members) for one in checked("--each")["findings"])
        self.assertEqual({}, collections.Counter(tuple(row.get(name) for name in members) for row in found) - each)

    def test_lines_are_those_of_the_file(self):
        path = ROOT / "samples/round-returned.txt"
        text = path.read_bytes().decode("latin-1").split("\r\n")
        for number in (1, 2, 57, 172):
            result = self.called(path, ["check"], ["line", number])
            self.assertEqual(text[number - 1], result.outputs["line"].decode())
        self.assertNotIn("line", self.called(path, ["check"], ["line", 173], ["line", 0]).outputs)

    def test_several_files_are_shown_as_a_report_shows_them(self):
        before, after = ROOT / "samples/round-exported.txt", ROOT / "samples/round-returned.txt"
        damaged = [before, generated("damaged-return", "--seed", 3, "--returned", "--differences", "0.3")]
        exported = generated("damaged-export", "--seed", 3)
        for files in ([before, after], [exported, damaged[1]], damaged, [after, after],
                      [before, ROOT / "samples/tags.txt", ROOT / "samples/parameters.txt", ROOT / "samples/amr-keys.txt", after]):
            with self.subTest([file.name for file in files]):
                self.compare_with_report(files, files)

    def test_the_order_of_a_pair_does_not_matter(self):
        before, after = ROOT / "samples/round-exported.txt", ROOT / "samples/round-returned.txt"
        result = self.compare_with_report([after, before], [before, after])
        self.assertEqual({"shown": [1, 0], "refused": []}, result.part("files"))
        self.assertIn("reconcile", result.outputs)

    def test_a_pair_in_different_encodings(self):
        before = ROOT / "samples/round-exported.txt"
        after = WORK / "returned-utf16.txt"
        tramo("convert", "--encoding", "utf16le", ROOT / "samples/round-returned.txt", "-o", after, "--force")
        self.compare_with_report([after, before], [before, after])
        text = (ROOT / "samples/round-returned.txt").read_bytes().decode("latin-1").split("\r\n")
        self.assertEqual(text[2], self.called([after, before], ["check"], ["line", 3, 1]).outputs["line"].decode())

    def compare_with_report(self, given, expected):
        """Compares the parts with those of a report of the files in the expected order, but for the texts of lines."""
        with tempfile.TemporaryDirectory(dir=WORK) as folder:
            path = pathlib.Path(folder) / "report.html"
            tramo("report", *expected, "-o", path)
            page = path.read_text()
        parts = {name: json.loads(gzip.decompress(base64.b64decode(text)))
                 for name, text in re.findall(r'<script type="text/plain" id="tramo-([^"]*)">([^<]*)</script>', page) if name != "raw"}
        result = self.called(given, ["check"])
        self.assertEqual([len(given)], result.values)
        self.assertEqual(sorted(parts), sorted(name for name in result.outputs if name != "files"))
        for name, part in parts.items():
            shown = result.part(name)
            for summary in (part, shown) if name == "summary" else ():
                del summary["raw"]
            self.assertEqual(part, shown, name)
        return result

    def test_lines_of_each_file(self):
        files = [ROOT / "samples/round-returned.txt", ROOT / "samples/round-exported.txt"]
        texts = [file.read_bytes().decode("latin-1").split("\r\n") for file in reversed(files)]
        for file, number in ((0, 1), (0, 60), (1, 60), (1, 172)):
            result = self.called(files, ["check"], ["line", number, file])
            self.assertEqual(texts[file][number - 1], result.outputs["line"].decode())
        self.assertNotIn("line", self.called(files, ["check"], ["line", 1, 2]).outputs)

    def test_a_file_that_is_none_does_not_hide_the_others(self):
        archive = WORK / "archive.zip"
        archive.write_bytes(b"PK\x03\x04" + bytes(200))
        before, after = ROOT / "samples/round-exported.txt", ROOT / "samples/round-returned.txt"
        result = self.called([after, archive, before], ["check"])
        self.assertEqual([2], result.values)
        files = result.part("files")
        self.assertEqual([2, 0], files["shown"])
        self.assertEqual([1], [one["file"] for one in files["refused"]])
        [finding] = json.loads(tramo("check", "--format", "json", archive, codes=(0, 1, 2))[0])["files"][0]["findings"]
        self.assertEqual(finding["message"], files["refused"][0]["diagnosis"][0]["message"])
        self.assertIn("reconcile", result.outputs)
        none = self.called([archive, archive], ["check"])
        self.assertEqual([0], none.values)
        self.assertEqual(["files"], list(none.outputs))

    def test_records_of_several_files_are_those_of_the_tool(self):
        files = [ROOT / "samples/round-exported.txt", ROOT / "samples/round-returned.txt"]
        for form, kind, only in (("jsonl", "", []), ("csv", "meter subscriber", ["--only", "meter-subscriber"])):
            done = subprocess.run([TRAMO, "export", *(file.name for file in files), "--to", form, *only],
                                  capture_output=True, env=environment("UTC"), cwd=ROOT / "samples")
            self.assertEqual(done.stdout, self.called(files, ["exportRecords", form, kind]).outputs["out." + form])

    def test_keys_are_masked_everywhere(self):
        path = ROOT / "samples/amr-keys.txt"
        clear = [json.loads(line) for line in tramo("export", path, "--to", "jsonl", "--show-keys")[0].splitlines()]
        masked = [json.loads(line) for line in tramo("export", path, "--to", "jsonl")[0].splitlines()]
        keys = {row[name] for row, shown in zip(clear, masked) for name in row if shown.get(name) == "***"}
        self.assertGreater(len(keys), 3)
        calls = [["check"], *(["line", number + 1] for number in range(len(clear))), ["exportRecords", "jsonl", ""]]
        for call in calls[1:]:
            for name, output in self.called(path, calls[0], call).outputs.items():
                for key in keys:
                    self.assertNotIn(key.encode(), output, f"{call}: {name}")

    def test_repaired_files_and_their_proofs_are_those_of_the_tool(self):
        damaged = [ROOT / "samples/round-damaged.txt", ROOT / "samples/round-broken.txt", ROOT / "samples/round-returned.txt"]
        text = (ROOT / "samples/round-returned.txt").read_bytes().decode("latin-1")
        for name, content in (("utf8", text.encode()), ("lf", text.replace("\r\n", "\n").encode("latin-1")),
                              ("trimmed", "\r\n".join(line.rstrip() for line in text.split("\r\n")).encode("latin-1")),
                              ("big-endian", text.encode("utf-16")[:0] + b"\xfe\xff" + text.encode("utf-16-be"))):
            damaged.append(WORK / f"damaged-{name}.txt")
            damaged[-1].write_bytes(content)
        for path in damaged:
            with self.subTest(path.name), tempfile.TemporaryDirectory(dir=WORK) as folder:
                new, log = pathlib.Path(folder) / "new", pathlib.Path(folder) / "log"
                _, code = tramo("repair", path, "-o", new, "--log", log)
                result = self.called(path, ["repair", "", 1])
                report = result.part("repair")
                self.assertEqual(new.read_bytes(), result.outputs["out"])
                self.assertEqual(log.read_bytes(), result.outputs.get("log", b""))
                self.assertEqual(code == 0, report["isWell"] and report["withProposals"] == 0)
                self.assertNotIn("out", self.called(path, ["repair", "", 0]).outputs)

    def test_an_accepted_proposal_is_taken(self):
        text = (ROOT / "samples/round-returned.txt").read_bytes().split(b"\r\n")
        text[40] = text[40][:100] + text[40][101:]
        path = WORK / "lost.txt"
        path.write_bytes(b"\r\n".join(text))
        [first, *_] = self.called(path, ["repair", "", 0]).part("repair")["proposals"]
        chosen = f"{first['line']}:{first['number']}"
        new = WORK / "lost-new.txt"
        tramo("repair", path, "--accept", chosen, "-o", new, "--force")
        result = self.called(path, ["repair", chosen, 1])
        self.assertEqual(new.read_bytes(), result.outputs["out"])
        self.assertEqual([chosen], [f"{one['line']}:{one['number']}" for one in result.part("repair")["proposals"] if one["accepted"]])

    def test_repairs_with_the_exported_file_are_those_of_the_tool(self):
        exported, returned = ROOT / "samples/round-exported.txt", ROOT / "samples/round-returned.txt"
        lines = returned.read_bytes().split(b"\r\n")
        for at in range(3, 60, 4):
            lines[at] = lines[at][:80] + lines[at][81:]
        path = WORK / "lost-characters.txt"
        path.write_bytes(b"\r\n".join(lines))
        mended = []
        for reference in (None, exported, returned, ROOT / "samples/tags.txt"):
            with self.subTest(reference and reference.name), tempfile.TemporaryDirectory(dir=WORK) as folder:
                new, log = pathlib.Path(folder) / "new", pathlib.Path(folder) / "log"
                options = ["--reference", reference] if reference else []
                _, code = tramo("repair", *options, path, "-o", new, "--log", log, codes=(0, 1, 2))
                result = self.called([path, reference] if reference else path, ["repair", "", 1])
                if code == 2:
                    self.assertEqual(([-1], {}), (result.values, result.outputs))
                    continue
                self.assertEqual(new.read_bytes(), result.outputs["out"])
                self.assertEqual(log.read_bytes(), result.outputs.get("log", b""))
                mended.append(result.part("repair")["mendedLines"])
        self.assertLess(mended[0] + 5, mended[1])

    def test_a_file_that_is_none_cannot_be_repaired(self):
        path = WORK / "archive.zip"
        path.write_bytes(b"PK\x03\x04" + bytes(200))
        result = self.called(path, ["repair", "", 0])
        self.assertEqual([0], result.values)
        self.assertFalse(result.part("repair")["hasLines"])

    def test_converted_files_are_those_of_the_tool(self):
        for path, number, encoding in itertools.product(SAMPLES, (0, 1), ("ansi", "utf16le")):
            if (number == 1) != (encoding == "utf16le"):
                continue
            with self.subTest(path.name, encoding=encoding):
                new = WORK / "converted.txt"
                new.unlink(missing_ok=True)
                _, code = tramo("convert", "--encoding", encoding, path, "-o", new, "--force")
                result = self.called(path, ["convert", number])
                self.assertEqual([code], result.values)
                self.assertEqual(new.read_bytes() if code == 0 else None, result.outputs.get("out"))

    def test_a_character_that_ansi_lacks_is_named(self):
        path = WORK / "wide.txt"
        text = (ROOT / "samples/round-returned.txt").read_bytes().decode("latin-1")
        path.write_bytes(b"\xff\xfe" + text.replace("TOURN", "TO\u20acRN", 1).encode("utf-16-le"))
        result = self.called(path, ["convert", 0])
        self.assertEqual([1], result.values)
        self.assertEqual({}, result.outputs)
        self.assertIn("U+20AC", result.messages[0])

    def test_local_times_are_those_of_the_system_in_four_zones(self):
        path = self.round_of_clock_changes()
        for zone in ("Europe/Paris", "America/New_York", "Asia/Kolkata", "Australia/Lord_Howe"):
            with self.subTest(zone):
                expected, _ = tramo("export", path, "--to", "jsonl", zone=zone)
                result = self.called(path, ["exportRecords", "jsonl", ""], ["check"], zone=zone)
                self.assertEqual(zlib.crc32(expected), zlib.crc32(result.outputs["out.jsonl"]), self.difference(expected, result.outputs["out.jsonl"]))

    @staticmethod
    def difference(expected, found):
        pairs = list(zip(expected.splitlines(), found.splitlines()))
        differing = [pair for pair in pairs if pair[0] != pair[1]]
        return f"{len(differing)} of {len(pairs)} lines differ, the first: {differing[:1]}"

    def round_of_clock_changes(self):
        """A round with a reading at each half hour of the nights of a few weeks of some years."""
        lines = [json.loads(line) for line in tramo("export", ROOT / "samples/round-returned.txt", "--to", "jsonl")[0].splitlines()]
        first = next(line for line in lines if line["kind"] == "round")
        meter = next(line for line in lines if line["kind"] == "meter subscriber" and "meterReadingDate" in line)
        made = [first]
        for year, month, day in itertools.product((1971, 1976, 1996, 2007, 2024, 2037), (3, 4, 9, 10, 11), range(1, 31)):
            for hour, minute in itertools.product((0, 1, 2, 3), (0, 15, 30)):
                at = f"{year}-{month:02}-{day:02}T{hour:02}:{minute:02}"
                made.append({**meter, "line": len(made) + 1, "meterReadingDate": at})
        rows_of, path = WORK / "changes.jsonl", WORK / "changes.txt"
        rows_of.write_text("".join(json.dumps(one) + "\n" for one in made))
        tramo("import", rows_of, "--from", "jsonl", "--encoding", "ansi", "-o", path, "--force")
        return path

    def test_progress_of_a_large_file_is_shown(self):
        path = generated("progress", "--meters", 20000, "--seed", 2, "--returned")
        result = self.called(path, ["check"])
        self.assertGreater(result.shares, 5)
        self.assertEqual([], result.messages)
        both = self.called([path, generated("progress-exported", "--meters", 20000, "--seed", 2)], ["check"])
        self.assertGreater(both.shares, result.shares)
        self.assertEqual([], both.messages)

    def test_memory_that_runs_out_is_said(self):
        module = WORK / "small.wasm"
        module.write_bytes(with_memory_of(pathlib.Path(MODULE).read_bytes(), 100))
        result = Called(generated("memory", "--meters", 20000), ["check"], module=module)
        self.assertEqual("memory", result.ended)
        self.assertLessEqual(result.memory, 100 << 16)

    def test_a_file_that_cannot_be_read_any_more_ends_with_a_sentence(self):
        result = Called(WORK, ["check"])
        self.assertIsNotNone(result.ended)
        self.assertIn("cannot read", result.ended)


if __name__ == "__main__":
    unittest.main()
