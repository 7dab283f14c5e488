"""tramo export --to xlsx: workbooks, read here as ZIP archives of XML."""
import datetime
import json
import os
import re
import resource
import signal
import stat
import subprocess
import unittest
import xml.etree.ElementTree as xml
import zipfile
from rows import SAMPLES, TripTest, hostile
from support import ENVIRONMENT, METER, ROUND, TRAMO, lines, put, sample, utf16

MAIN = "{http://schemas.openxmlformats.org/spreadsheetml/2006/main}"
RELATED = "{http://schemas.openxmlformats.org/officeDocument/2006/relationships}id"
DATES = {r"yyyy\-mm\-dd": "%Y-%m-%d", r"yyyy\-mm\-dd\ hh:mm": "%Y-%m-%dT%H:%M"}


def escaped(text):
    """Returns a text in the form of tables."""
    joined = text.encode("utf-16-le", "surrogatepass").decode("utf-16-le", "surrogatepass")
    return "".join("\\\\" if c == "\\" else f"\\u{ord(c):04x}" if ord(c) < 0x20 or c in "\x7f\ufffe\uffff" or "\ud800" <= c <= "\udfff"
                   else c for c in joined)


class Workbook:
    """Returns the sheets by name: each a list of rows, each a list of (type, value) or None."""

    def __init__(self, path):
        self.parts = {}
        with zipfile.ZipFile(path) as archive:
            assert archive.testzip() is None
            for name in archive.namelist():
                self.parts[name] = archive.read(name)
        styles = xml.fromstring(self.parts["xl/styles.xml"])
        formats = {item.get("numFmtId"): item.get("formatCode") for item in styles.iter(MAIN + "numFmt")}
        self.formats = [formats.get(item.get("numFmtId"), item.get("numFmtId")) for item in styles.find(MAIN + "cellXfs")]
        targets = {item.get("Id"): item.get("Target") for item in xml.fromstring(self.parts["xl/_rels/workbook.xml.rels"])}
        self.trees = {sheet.get("name"): xml.fromstring(self.parts["xl/" + targets[sheet.get(RELATED)]])
                      for sheet in xml.fromstring(self.parts["xl/workbook.xml"]).iter(MAIN + "sheet")}
        self.sheets = {name: [self.row(row, number) for number, row in enumerate(tree.iter(MAIN + "row"), 1)] for name, tree in self.trees.items()}

    def row(self, row, number):
        assert int(row.get("r")) == number
        cells = []
        for cell in row:
            letters, line = re.fullmatch(r"([A-Z]+)(\d+)", cell.get("r")).groups()
            assert int(line) == number
            at = 0
            for letter in letters:
                at = at * 26 + ord(letter) - ord("A") + 1
            assert at > len(cells)
            cells += [None] * (at - 1 - len(cells)) + [self.value(cell)]
        return cells

    def value(self, cell):
        kind, form = cell.get("t", "n"), self.formats[int(cell.get("s"))]
        if kind == "inlineStr":
            text = cell.find(f"{MAIN}is/{MAIN}t").text or ""
            return "text", re.sub("_x([0-9A-F]{4})_", lambda found: chr(int(found[1], 16)), text)
        text = cell.find(MAIN + "v").text
        if kind == "b":
            return "flag", {"1": True, "0": False}[text]
        assert kind == "n"
        if form not in DATES:
            return "number", json.loads(text)
        time = datetime.datetime(1899, 12, 30) + datetime.timedelta(minutes=round(float(text) * 1440))
        return "date", time.strftime(DATES[form])

    def rows(self, sheet):
        """Returns the rows as dictionaries of the filled cells."""
        names = [value for _, value in self.sheets[sheet][0]]
        return [{name: cell for name, cell in zip(names, row) if cell} for row in self.sheets[sheet][1:]]


class WorkbookTest(TripTest):
    def workbook(self, content, *options, table="records", code=(0, 1), **run):
        result = self.run_tool("export", self.write("f", content), "--to", "xlsx", "-o", self.path("w.xlsx"), "--table", table, *options, **run)
        self.assertIn(result.code, code, result.err)
        return Workbook(self.path("w.xlsx"))

    def meter(self, line):
        return self.workbook(lines(line)).rows("meter subscriber")[0]


class Rows(WorkbookTest):
    def assert_same(self, expected, row):
        """Compares an object of the JSON Lines with a row of a sheet."""
        expected = {name: value for name, value in expected.items() if name != "kind"}
        self.assertEqual(list(row), list(expected))
        for name, value in expected.items():
            kind, cell = row[name]
            if isinstance(value, bool):
                self.assertEqual((kind, cell), ("flag", value))
            elif isinstance(value, (int, float)):
                self.assertEqual((kind, cell), ("number", value))
            elif name.endswith("Year") and kind == "number":
                self.assertEqual(str(cell), value)
            elif kind == "date":
                self.assertEqual(cell, value)
            else:
                self.assertEqual((kind, cell), ("text", escaped(value)), name)
                self.assertFalse(re.fullmatch(r"\d{4}-\d\d-\d\d(T\d\d:\d\d)?", value) and name.endswith("Date"), value)

    def assert_like_jsonl(self, content, env=None):
        found = self.path("found")
        exported = self.run_tool("export", self.write("f", content), "--to", "jsonl", "--show-keys", "--findings", found, env=env)
        with open(found, encoding="ascii") as file:
            expected = [json.loads(line) for line in exported.out.splitlines() + file.read().splitlines()]
        book = self.workbook(content, "--show-keys", env=env)
        rows = [(name, row) for name in book.sheets if name != "files" for row in book.rows(name)]
        self.assertEqual(len(rows), len(expected))
        by_sheet = {}
        for item in expected:
            by_sheet.setdefault(item["kind"], []).append(item)
        self.assertEqual(set(book.sheets) - {"files"}, set(by_sheet))
        for name, items in by_sheet.items():
            for item, row in zip(items, book.rows(name)):
                self.assert_same(item, row)

    def test_samples_have_the_values_of_the_other_exports(self):
        for name in SAMPLES:
            with self.subTest(name=name):
                self.assert_like_jsonl(sample(name))

    def test_hostile_files_have_the_values_of_the_other_exports(self):
        for zone, wide in (("UTC", False), ("UTC", True), ("America/Sao_Paulo", False)):
            with self.subTest(zone=zone, wide=wide):
                self.assert_like_jsonl(hostile(f"workbook {zone}{wide}", 400, wide), {"TZ": zone})

    def test_columns_are_those_of_the_tables(self):
        book = self.workbook(sample("round-returned.txt"))
        self.run_tool("export", "samples/round-returned.txt", "--to", "csv", "-o", self.path("tables"))
        for name, rows in book.sheets.items():
            if name not in ("finding", "files"):
                with open(self.path(f"tables/{name.replace(' ', '_')}.csv"), encoding="utf-8") as file:
                    names = file.readline().rstrip().split(",")
                self.assertEqual([value for _, value in rows[0]], [names[0], *names[2:]])

    def test_values(self):
        blank = b"1" + b" " * 511
        for (column, text), (field, value) in {
                (384, b"20240131"): ("meterPreviousReadingDate", ("date", "2024-01-31")),
                (384, b"20371231"): ("meterPreviousReadingDate", ("date", "2037-12-31")),
                (384, b"19700102"): ("meterPreviousReadingDate", ("date", "1970-01-02")),
                (426, b"202401311405"): ("meterReadingDate", ("date", "2024-01-31T14:05")),
                (380, b"2019"): ("meterInstallationYear", ("number", 2019)),
                (438, b"        42"): ("meterReadingIndex", ("number", 42)),
                (402, b"1.5"): ("meterMinEstimatedConsumption", ("number", 1.5)),
                (402, b"1e300"): ("meterMinEstimatedConsumption", ("number", 1e300)),
                (402, b"1.1e308"): ("meterMinEstimatedConsumption", ("text", "1.1e+308")),
                (402, b"-1.1e308"): ("meterMinEstimatedConsumption", ("text", "-1.1e+308")),
                (402, b"1e-300"): ("meterMinEstimatedConsumption", ("number", 1e-300)),
                (402, b"nan"): ("meterMinEstimatedConsumption", ("text", "nan")),
                (402, b"-0"): ("meterMinEstimatedConsumption", ("text", "-zero")),
                (506, b"1"): ("meterAuthorizedChange", ("flag", True)),
                (459, b"M"): ("meterReadingMethod", ("text", "M")),
                (352, b"00012"): ("meterSerialNumber", ("text", "00012"))}.items():
            with self.subTest(field=field, text=text):
                self.assertEqual(self.meter(put(blank, column, text)).get(field), value)

    def test_times_that_a_date_does_not_tell_are_texts(self):
        content = hostile("times", 400, False)
        exported = self.run_tool("export", self.write("f", content), "--to", "jsonl", env={"TZ": "Europe/Paris"}).out
        odd = re.findall(r'"\w+":"(-?\d+ s)"', exported)
        cells = [value for name, rows in self.workbook(content, env={"TZ": "Europe/Paris"}).sheets.items() if name != "finding"
                 for row in rows for kind, value in filter(None, row) if kind == "text" and re.fullmatch(r"-?\d+ s", value)]
        self.assertEqual(sorted(cells), sorted(odd))

    def test_file(self):
        content = lines(ROUND, METER)
        self.assertEqual(self.workbook(content).rows("files"), [{
            "name": ("text", self.path("f")), "encoding": ("text", "ANSI"), "bytes": ("number", len(content)), "lines": ("number", 2),
            "version": ("text", self.run_tool("--version").out.split()[-1])}])

    def test_only_one_kind(self):
        self.assertEqual(list(self.workbook(lines(ROUND, METER), "--only", "round").sheets), ["round", "files"])
        self.assertEqual(list(self.workbook(b"").sheets), ["files"])


class Texts(WorkbookTest):
    def test_no_text_is_a_formula_or_number(self):
        for text in ("=1+1", "+1", "-1", "@x", "=HYPERLINK(\"http://x\")", "00012", "1e5", "TRUE", "#N/A", "2024-01-31", "<a>&amp;\"'", "]]>"):
            book = self.workbook(lines(put(METER, 464, text.encode().ljust(30))))
            self.assertEqual(book.rows("meter subscriber")[0]["meterMessage"], ("text", text))
            self.assertNotIn(b"<f", book.parts["xl/worksheets/sheet1.xml"])

    def test_text_that_looks_like_an_escape(self):
        # Python does not decode the workbook's own escape, so the raw part is checked.
        book = self.workbook(lines(put(METER, 464, b"_x0041_x_x00e9_ _x004_".ljust(30))))
        self.assertIn(b"<t>_x005F_x0041_x_x005F_x00e9_ _x004_</t>", book.parts["xl/worksheets/sheet1.xml"])

    def test_every_character(self):
        for first in range(0x20, 0x10000, 0x400):
            text = "".join(chr(c) for c in range(first, min(first + 0x400, 0x10000)) if c != 0x0A)
            pieces = [text[i:i + 29] for i in range(0, len(text), 29)]
            meter = METER.decode("latin-1")
            content = utf16("".join(meter[:463] + piece.ljust(29) + "." + meter[493:] + "\r\n" for piece in pieces))
            found = [row["meterMessage"][1] for row in self.workbook(content).rows("meter subscriber")]
            self.assertEqual(found, [escaped(piece.ljust(29) + ".") for piece in pieces])

    def test_leading_and_trailing_spaces_are_kept(self):
        tree = self.workbook(b" a \r\n").trees["text"]
        text = [item for item in tree.iter(MAIN + "t") if item.text == " a "]
        self.assertEqual([item.get("{http://www.w3.org/XML/1998/namespace}space") for item in text], ["preserve"])

    def test_a_long_text_continues_below(self):
        for text, pieces in (("x" * 32767, [32767]), ("x" * 32768, [32767, 1]), ("ab\u20ac" * 40000, [32767, 32767, 32767, 21699]),
                             ("x" + "\U0001f600" * 20000, [32767, 7234]), ("\U0001f600" * 20000, [32766, 7234])):
            rows = self.workbook(utf16(text + "\r\nend\r\n")).rows("text")
            self.assertEqual([row["line"][1] for row in rows], [1] * len(pieces) + [2])
            cells = [row["text"][1] for row in rows]
            self.assertEqual([len(cell.encode("utf-16-le")) // 2 for cell in cells], [*pieces, 3])
            self.assertEqual("".join(cells), text + "end")

    def test_a_full_sheet_is_continued(self):
        count, most = 1048577, 1048575
        tags = b"".join(b"07%-21d\r\n" % i for i in range(count))
        self.run_tool("export", self.write("f", tags), "--to", "xlsx", "-o", self.path("w.xlsx"))
        with zipfile.ZipFile(self.path("w.xlsx")) as archive:
            first, second, files = (archive.read(f"xl/worksheets/sheet{i}.xml") for i in (1, 2, 3))
            names = re.findall(rb'<sheet name="(.*?)"', archive.read("xl/workbook.xml"))
        self.assertEqual(names, [b"tag", b"tag 2", b"files"])
        self.assertEqual([int(n) for n in re.findall(rb'<row r="\d+"><c r="A\d+" s="0"><v>(\d+)</v>', first)], list(range(1, most + 1)))
        self.assertEqual([int(n) for n in re.findall(rb'<row r="\d+"><c r="A\d+" s="0"><v>(\d+)</v>', second)], [most + 1, most + 2])
        self.assertIn(b'<t>line</t>', second)
        self.assertIn(b'ref="A1:C1048576"', first)
        self.assertIn(b'<v>%d</v>' % count, files)


class Layout(WorkbookTest):
    def test_header_filter_and_widths(self):
        book = self.workbook(sample("round-returned.txt"))
        filters = {item.get("localSheetId"): item.text for item in xml.fromstring(book.parts["xl/workbook.xml"]).iter(MAIN + "definedName")}
        for number, (name, tree) in enumerate(book.trees.items()):
            pane = tree.find(f"{MAIN}sheetViews/{MAIN}sheetView/{MAIN}pane")
            self.assertEqual((pane.get("ySplit"), pane.get("topLeftCell"), pane.get("state")), ("1", "A2", "frozen"))
            last = [cell.get("r") for cell in tree.find(f"{MAIN}sheetData/{MAIN}row")][-1].rstrip("1")
            reference = f"A1:{last}{len(book.sheets[name])}"
            self.assertEqual(tree.find(MAIN + "autoFilter").get("ref"), reference)
            self.assertEqual(filters[str(number)].replace("$", ""), f"'{name}'!{reference}")
            widths = [float(item.get("width")) for item in tree.find(MAIN + "cols")]
            self.assertEqual(len(widths), len(book.sheets[name][0]))
            for title, width in zip(book.sheets[name][0], widths):
                self.assertTrue(len(title[1]) < width <= 60)

    def test_notes_at_the_names(self):
        notes = {item.get("sqref"): item.get("prompt")
                 for item in self.workbook(lines(METER)).trees["meter subscriber"].iter(MAIN + "dataValidation")}
        names = [value for _, value in self.workbook(lines(METER)).sheets["meter subscriber"][0]]
        self.assertEqual(len(notes), len(names) - 1)
        self.assertEqual(notes["AA1"], "columns 426-437: date and time")
        self.assertEqual(names[26], "meterReadingDate")

    def test_parts_refer_to_each_other(self):
        book = self.workbook(sample("round-broken.txt"))
        types = xml.fromstring(book.parts["[Content_Types].xml"])
        named = {item.get("PartName").lstrip("/") for item in types if item.get("PartName")}
        self.assertEqual(named, {name for name in book.parts if name.endswith(".xml") and name != "[Content_Types].xml"})
        targets = {"xl/" + item.get("Target") for item in xml.fromstring(book.parts["xl/_rels/workbook.xml.rels"])}
        self.assertEqual(targets, named - {"xl/workbook.xml"})


class Program(WorkbookTest):
    def test_two_runs_are_the_same(self):
        written = []
        for name in ("a.xlsx", "b.xlsx"):
            self.run_tool("export", "samples/round-returned.txt", "--to", "xlsx", "-o", self.path(name))
            with open(self.path(name), "rb") as file:
                written.append(file.read())
        written.append(subprocess.run([TRAMO, "export", "samples/round-returned.txt", "--to", "xlsx", "-o", "-"], check=True,
                                      stdout=subprocess.PIPE, env=ENVIRONMENT).stdout)
        self.assertTrue(written[0].startswith(b"PK"))
        self.assertEqual(written[0], written[1])
        self.assertEqual(written[0], written[2])

    def test_usage(self):
        for options, message in (((), "a workbook needs a file: -o FILE"),
                                 (("-o", "w.xlsx", "--findings", "f"), "--findings: not with --to xlsx: the workbook has a sheet of findings")):
            result = self.run_tool("export", "f", "--to", "xlsx", *options)
            self.assertEqual((result.code, result.err), (2, f'tramo: export: {message}\ntramo: try "tramo help export"\n'))

    def test_is_not_imported(self):
        self.workbook(lines(METER))
        result = self.run_tool("import", self.path("w.xlsx"), "--from", "xlsx", "--encoding", "ansi")
        self.assertEqual((result.code, result.out, result.err), (
            2, "", 'tramo: import: --from: invalid value "xlsx"; expected jsonl, csv or sqlite\ntramo: try "tramo help import"\n'))

    def test_keys(self):
        keys = sample("amr-keys.txt")
        secrets = [value for line in keys.decode().splitlines() for name, value in json.loads(line.lstrip(";")).items() if "Key" in name and value]
        book = self.workbook(keys)
        self.assertEqual(book.rows("key")[0]["wmBusKey_Mode5"], ("text", "***"))
        parts = b"".join(book.parts.values()).decode("utf-8")
        self.assertFalse([secret for secret in secrets if secret in parts])
        os.remove(self.path("w.xlsx"))
        parts = b"".join(self.workbook(keys, "--show-keys").parts.values()).decode("utf-8")
        self.assertFalse([secret for secret in secrets if secret not in parts])
        self.assertEqual(stat.S_IMODE(os.stat(self.path("w.xlsx")).st_mode), 0o600)

    def test_unwritable(self):
        for path in ("/dev/full", self.path("no/where"), self.folder):
            result = self.run_tool("export", "samples/round-returned.txt", "--to", "xlsx", "-o", path)
            self.assertEqual((result.code, result.out), (3, ""), path)
            self.assertIn("cannot write", result.err)
        with open("/dev/full", "wb") as full:
            done = subprocess.run([TRAMO, "export", os.path.join("samples", "round-returned.txt"), "--to", "xlsx", "-o", "-"], stdout=full,
                                  stderr=subprocess.PIPE, env=ENVIRONMENT, check=False)
        self.assertEqual(done.returncode, 3)
        self.assertIn(b"No space left on device", done.stderr)

    def test_a_full_disk_keeps_the_old_file(self):
        def limit():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (20000, 20000))
        self.write("w.xlsx", b"old")
        done = subprocess.run([TRAMO, "export", os.path.join("samples", "round-returned.txt"), "--to", "xlsx", "-o", self.path("w.xlsx")],
                              capture_output=True, env=ENVIRONMENT, preexec_fn=limit, check=False)
        self.assertEqual(done.returncode, 3)
        self.assertIn(b"File too large", done.stderr)
        self.assertEqual(os.listdir(self.folder), ["w.xlsx"])
        with open(self.path("w.xlsx"), "rb") as file:
            self.assertEqual(file.read(), b"old")


if __name__ == "__main__":
    unittest.main()
