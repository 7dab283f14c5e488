"""report: one page with the data of rounds inside, which are those that other commands print, and nothing that a page may do."""
import base64
import gzip
import hashlib
import json
import os
import re
import resource
import stat
import subprocess
import unittest
from support import ENVIRONMENT, INFORMATION, METER, ROUND, TRAMO, CliTest, lines, parts_of, put, sample, sample_line, utf16

STATES = {"read": 1, "unread": 2, "outside": 4, "alarm": 8, "changed": 16, "located": 32, "finding": 64, "below": 128, "above": 256,
          "radioSilent": 512, "unlocated": 1024, "implausible": 2048}
ROUNDS = ("round-exported.txt", "round-returned.txt", "round-broken.txt", "round-damaged.txt", "round-returned-utf16.txt")
SERIAL = METER[351:363].decode().strip()


def column(table, name):
    """Returns the values of a column, which has one of four forms."""
    values = table.get(name)
    if values is None:
        return [None] * table["n"]
    if isinstance(values, list):
        return values
    if "all" in values:
        return [values["all"]] * table["n"]
    if "of" in values:
        return [None if at < 0 else values["of"][at] for at in values["at"]]
    sums = [values["by"][0]]
    for step in values["by"][1:]:
        sums.append(sums[-1] + step)
    return sums


def rows(table, *names):
    return list(zip(*(column(table, name) for name in names)))


class Report(CliTest):
    def page(self, *arguments, code=None, stdin=b""):
        """Returns the page that the arguments make."""
        result = self.run_tool("report", *arguments, "-o", "page.html", "--force", cwd=self.folder, stdin=stdin)
        self.assertEqual(result.err, "")
        if code is not None:
            self.assertEqual(result.code, code)
        return self.content(os.path.join(self.folder, "page.html"))

    def parts(self, *arguments, **how):
        return parts_of(self.page(*arguments, **how))

    def parts_of_bytes(self, content, *arguments, **how):
        self.write("in.txt", content)
        return self.parts("in.txt", *arguments, **how)

    def samples(self, *names):
        for name in names:
            self.write(name, sample(name))


class Values(Report):
    def test_meters_are_those_of_an_export(self):
        names = {"serial": "meterSerialNumber", "order": "subscriberCardOrder", "date": "meterReadingDate", "index": "meterReadingIndex",
                 "consumption": "meterReadingConsumption", "status": "meterReadingStatus", "method": "meterReadingMethod",
                 "agent": "meterReadingUserCode", "prevDate": "meterPreviousReadingDate", "prevIndex": "meterPreviousReadingIndex",
                 "min": "meterMinEstimatedConsumption", "max": "meterMaxEstimatedConsumption", "message": "meterMessage", "wheels": "meterWheels",
                 "newSerial": "meterCorrectedSerialNumber", "updated": "meterLastUpdateDate", "fluid": "meterFluidType"}
        for name in ROUNDS:
            self.samples(name)
            table = self.parts(name)["meters"]
            exported = self.run_tool("export", name, "--to", "jsonl", "--only", "meter-subscriber", cwd=self.folder).out.splitlines()
            exported = [json.loads(line) for line in exported]
            self.assertEqual(column(table, "line"), [row["line"] for row in exported])
            for short, field in names.items():
                with self.subTest(name, field=field):
                    self.assertEqual(column(table, short), [row.get(field) for row in exported])

    def test_other_lines_are_those_of_an_export(self):
        kinds = {"changes": ("meter-change", {"old": "oldMeterSerialNumber", "new": "newMeterSerialNumber", "index": "newMeterIndex", "date": "newMeterInstallationDate"}),
                 "positions": ("extended-data", {"lat": "latitude", "lon": "longitude", "alt": "altitude", "date": "updateDate", "score": "scoreValue"}),
                 "amr": ("AMR", {"module": "referance", "moduleSerial": "serialNumber", "date": "currentReadingDate", "meterIndex": "currentMeterIndex"}),
                 "ext": ("extended-AMR", {"moduleSerial": "amrSerialNumber", "date": "readingDate", "meterIndex": "meterIndex", "backflow": "backflowIndex"})}
        self.samples("round-returned.txt")
        parts = self.parts("round-returned.txt")
        for part, (kind, names) in kinds.items():
            exported = self.run_tool("export", "round-returned.txt", "--to", "jsonl", "--only", kind, cwd=self.folder).out.splitlines()
            exported = {row["line"]: row for row in map(json.loads, exported)}
            self.assertEqual(sorted(column(parts[part], "line")), sorted(exported))
            for short, field in names.items():
                with self.subTest(part, field=field):
                    for line, value in rows(parts[part], "line", short):
                        self.assertEqual(value or None, exported[line].get(field))   # an export leaves out 0

    def test_areas_answers_and_positions_are_those_of_the_tables(self):
        self.samples("round-returned.txt")
        parts = self.parts("round-returned.txt")
        meters, n = parts["meters"], parts["meters"]["n"]
        table = lambda name: [json.loads(line) for line in self.run_tool("export", "round-returned.txt", "--to", "jsonl", "--table", name, cwd=self.folder).out.splitlines()]
        exported = table("meters")
        self.assertEqual(column(meters, "serial"), [row["meterSerialNumber"] for row in exported])
        self.assertEqual(column(meters, "difference"), [row.get("difference") for row in exported])
        self.assertGreater(len(parts["areas"]["areas"]), 3)
        for area in parts["areas"]["areas"]:
            if not area.get("whole"):
                self.assertEqual(column({"n": n, "texts": area["texts"]}, "texts"), [row.get(area["label"]) for row in exported])
        given, answers = parts["answers"]["given"], parts["answers"]
        serials = column(meters, "serial")
        found = [(serials[column(answers, "meter")[row]], column(answers, "page")[row], area, question, code, result)
                 for row, area, question, code, result in rows(given, "row", "area", "question", "code", "result")]
        self.assertEqual(found, [tuple(row.get(name) for name in ("meterSerialNumber", "pageNumber", "area", "question", "code", "result")) for row in table("answers")])
        self.assertGreater(len(found), 10)
        located = {serials[meter]: (lat, lon) for meter, lat, lon in rows(parts["positions"], "meter", "lat", "lon") if lat is not None and lon is not None}
        self.assertEqual(located, {row["meterSerialNumber"]: (row["latitude"], row["longitude"]) for row in table("locations")})

    def test_counts_are_those_of_stats(self):
        for name in ROUNDS:
            self.samples(name)
            parts = self.parts(name)
            counts, states = parts["summary"]["counts"], column(parts["meters"], "state")
            for state, bit in STATES.items():
                self.assertEqual(counts[state], sum(bits & bit != 0 for bits in states), state)
            stats = json.loads(self.run_tool("stats", "--format", "json", name, cwd=self.folder).out)["files"][0]
            self.assertEqual(parts["summary"]["source"]["lines"], stats["lines"])
            self.assertEqual((counts["below"], counts["above"]), (stats["consumption"]["belowEstimate"], stats["consumption"]["aboveEstimate"]))
            self.assertEqual((counts["meters"], counts["read"]), (stats["meters"]["lines"], stats["meters"]["readLines"]))
            self.assertEqual({kind["name"]: kind["lines"] for kind in parts["summary"]["kinds"]}, stats["linesByKind"])
            if name != "round-broken.txt" and name != "round-damaged.txt":   # whose lines do not all belong to a meter
                self.assertEqual((counts["changed"], counts["located"]), (stats.get("changed", {}).get("meters", 0), stats.get("located", {}).get("meters", 0)))
                self.assertEqual(counts["radioSilent"], stats["radioModules"]["modules"] - stats["radioModules"]["read"])
                given = parts.get("answers", {}).get("given", {"n": 0})
                self.assertEqual(sum(code is not None or result is not None for code, result in rows(given, "code", "result")), stats.get("enquiryResults", {}).get("areasAnswered", 0))
            exported = self.run_tool("export", name, "--to", "jsonl", "--table", "unread", cwd=self.folder).out.splitlines()
            self.assertEqual(counts["unread"], len(exported))

    def test_findings_are_those_of_check(self):
        for name in ROUNDS + ("tags.txt", "parameters.txt", "amr-keys.txt"):
            with self.subTest(name):
                self.samples(name)
                parts = self.parts(name)
                checked = json.loads(self.run_tool("check", "--format", "json", "--each", name, cwd=self.folder).out)["files"][0]
                about_file = {rule["name"] for rule in parts["summary"]["rules"] if rule["about"] == "file"}
                diagnosis = parts["summary"]["source"]["files"][0]["diagnosis"]
                hidden = bool(diagnosis)   # findings that the diagnosis explains are left out
                names = ("line", "severity", "rule", "code", "column", "endColumn", "reportedColumn", "kind", "field", "message", "help")
                expected = sorted(([finding.get(key) for key in names] for finding in checked["findings"] if finding["rule"] not in about_file), key=str)
                found = sorted(map(list, rows(parts.get("findings", {"n": 0}), "line", "severity", "rule", "code", "column", "end", "reported", "kind", "field", "message", "help")), key=str)
                if hidden:
                    self.assertLessEqual(len(found), len(expected))
                    for finding in found:
                        self.assertIn(finding, expected)
                else:
                    self.assertEqual(found, expected)
                usual = json.loads(self.run_tool("check", "--format", "json", name, cwd=self.folder).out)["files"][0]
                self.assertEqual([finding["message"] for finding in diagnosis], [finding["message"] for finding in usual["findings"] if finding["rule"] in about_file])
                self.assertEqual([parts["summary"]["source"][key] for key in ("errors", "warnings", "hints")], [usual["summary"][key] for key in ("errors", "warnings", "hints")])
                self.assertEqual(self.page(name, code=1 if usual["summary"]["errors"] + usual["summary"]["warnings"] else 0)[:15], b"<!doctype html>")

    def test_a_finding_about_readings_makes_its_meter_implausible(self):
        self.run_tool("sample", "--returned", "--faults", "ReadingBelowPrevious", "-o", "in.txt", cwd=self.folder)
        parts = self.parts("in.txt")
        implausible = [line for line, bits in rows(parts["meters"], "line", "state") if bits & STATES["implausible"]]
        self.assertIn([line for line, rule in rows(parts["findings"], "line", "rule") if rule == "ReadingBelowPrevious"][0], implausible)
        self.run_tool("sample", "--returned", "--faults", "LineMoved", "-o", "moved.txt", cwd=self.folder)
        parts = self.parts("moved.txt")
        self.assertEqual(parts["summary"]["counts"]["implausible"], 0)
        self.assertGreater(parts["summary"]["counts"]["finding"], 0)

    def test_lines_are_those_of_the_file(self):
        for name in ROUNDS:
            self.samples(name)
            content = sample(name)
            text = content[2:].decode("utf-16-le") if content[:2] == b"\xff\xfe" else content.decode("latin-1")
            text = text.removesuffix("\n").split("\n")
            self.assertEqual("\n".join(self.parts(name)["raw"]).split("\n"), [line.removesuffix("\r") for line in text])

    def test_of_a_large_file_only_lines_with_findings(self):
        good = lines(METER)
        content = lines(ROUND) + good * 33000 + lines(put(METER, 378, b"x9"))
        parts = self.parts_of_bytes(content)
        raw = parts["summary"]["raw"]["files"][0]
        numbers = column({"n": raw["lines"], "at": raw["at"]}, "at")
        self.assertEqual(set(numbers), set(column(parts["findings"], "line")))
        self.assertEqual(len("\n".join(parts["raw"]).split("\n")), len(numbers))
        self.assertEqual(parts["raw"][-1].split("\n")[-1], put(METER, 378, b"x9").decode("latin-1"))
        self.assertEqual(parts["findings"]["n"] + parts["summary"]["source"]["notListed"], sum(parts["summary"]["source"][key] for key in ("errors", "warnings", "hints")))

    def test_the_history_of_a_meter(self):
        self.samples("round-returned.txt")
        parts = self.parts("round-returned.txt")
        exported = [json.loads(line) for line in self.run_tool("export", "round-returned.txt", "--to", "jsonl", "--only", "meter-subscriber", cwd=self.folder).out.splitlines()]
        expected = [(row, meter.get(f"meterHistory{slot}ReadingDate"), meter.get(f"meterHistory{slot}Consumption"))
                    for row, meter in enumerate(exported) for slot in range(1, 5) if f"meterHistory{slot}ReadingDate" in meter]
        self.assertEqual(rows(parts["history"], "row", "date", "consumption"), expected)
        modules = {row["line"]: row for row in (json.loads(line) for line in self.run_tool("export", "round-returned.txt", "--to", "jsonl", "--only", "extended-AMR", cwd=self.folder).out.splitlines())}
        expected = [(line, module[f"history{slot}DateTime"], module.get(f"history{slot}Index")) for line, module in modules.items() for slot in range(1, 19) if f"history{slot}DateTime" in module]
        of_rows = column(parts["ext"], "line")
        self.assertEqual([(of_rows[row], time, index) for row, time, index in rows(parts["moduleHistory"], "row", "time", "index")], expected)


class Pages(Report):
    def test_the_policy_allows_this_script_and_this_style_only(self):
        self.samples("round-returned.txt")
        page = self.page("round-returned.txt")
        policy = re.search(rb'<meta http-equiv="Content-Security-Policy" content="([^"]*)">', page)[1].decode()
        scripts = re.findall(rb'<script type="module">(.*?)</script>', page, re.S)
        styles = re.findall(rb"<style>(.*?)</style>", page, re.S)
        self.assertEqual((len(scripts), len(styles)), (1, 1))
        source = lambda text: "'sha256-" + base64.b64encode(hashlib.sha256(text).digest()).decode() + "'"
        self.assertEqual(policy, f"default-src 'none'; script-src {source(scripts[0])}; style-src {source(styles[0])}; base-uri 'none'; form-action 'none'")
        self.assertEqual(len(re.findall(rb"<script", page)), 1 + len(re.findall(rb'<script type="text/plain" id="tramo-\w+">', page)))
        self.assertNotRegex(page, rb"<(link|img|iframe|object|base|form|embed)\b")

    def test_the_page_without_data_is_small(self):
        self.samples("round-returned.txt")
        page = self.page("round-returned.txt")
        self.assertLess(len(re.sub(rb'<script type="text/plain".*?</script>\n', b"", page, flags=re.S)), 140 * 1024)

    def test_hostile_text_is_only_ever_text(self):
        hostile = b"</script><img src=x onerror=alert(1)><!--\x01\x1b[31m\x85]]>"
        content = lines(put(put(ROUND, 10, hostile[:20].ljust(20)), 32, hostile.ljust(160)), put(METER, 6, hostile), put(METER, 379, hostile[:12]), INFORMATION)
        self.write("</script><b>.txt".replace("/", "_"), content)
        page = self.page("<_script><b>.txt".replace("<_", "<_"), "--title", "</title><script>alert(1)</script>\u202e")
        usual = self.page("<_script><b>.txt")
        for one in (page, usual):
            frame = re.sub(rb'(<script type="text/plain" id="tramo-\w+">)[A-Za-z0-9+/=\n]*(</script>)', rb"\1\2", one)
            self.assertNotIn(b"onerror=alert", frame)
            self.assertEqual(len(re.findall(rb"<script", frame)), len(re.findall(rb"</script>", frame)))
            self.assertNotIn(b"<!--", frame)
        self.assertIn(b"<title>&lt;/title&gt;&lt;script&gt;alert(1)&lt;/script&gt;\\u202e</title>", page)
        self.assertEqual(parts_of(page)["summary"]["title"], "</title><script>alert(1)</script>\u202e")
        parts = parts_of(usual)
        self.assertEqual(parts["summary"]["rounds"][0]["message"], hostile.decode("latin-1").strip())
        self.assertIn(hostile.decode("latin-1"), parts["raw"][0])

    def test_title(self):
        self.samples("round-returned.txt", "tags.txt")
        self.assertRegex(self.page("round-returned.txt").decode(), "<title>TOURNÉE CENTRE 04-12</title>")
        self.assertRegex(self.page("tags.txt").decode(), "<title>tags.txt</title>")
        self.assertRegex(self.page("tags.txt", "--title", "A & B").decode(), "<title>A &amp; B</title>")

    def test_language(self):
        self.samples("tags.txt")
        self.assertEqual(self.parts("tags.txt", "--lang", "fr")["summary"]["language"], "fr")
        self.assertNotIn("language", self.parts("tags.txt")["summary"])
        result = self.run_tool("report", "tags.txt", "--lang", "de", "-o", "x", cwd=self.folder)
        self.assertEqual((result.code, result.err.splitlines()[0]), (2, 'tramo: report: --lang: invalid value "de"; expected en or fr'))

    def test_the_same_bytes_again(self):
        self.samples("round-returned.txt")
        self.assertEqual(self.page("round-returned.txt", "-j", "1"), self.page("round-returned.txt", "-j", "8"))

    def test_other_encodings_show_the_same_round(self):
        self.write("f", sample("round-returned.txt"))
        ansi = self.parts("f")
        self.write("f", sample("round-returned-utf16.txt"))
        wide = self.parts("f")
        self.assertEqual((ansi["summary"]["source"]["encoding"], wide["summary"]["source"]["encoding"]), ("ANSI", "UTF-16LE"))
        for name in ansi.keys() - {"summary"}:
            self.assertEqual(ansi[name], wide[name], name)
        self.write("f", sample("round-returned.txt")[2:])
        self.assertEqual(self.run_tool("report", "--encoding", "utf16le", "f", "-o", "x", cwd=self.folder).code, 2)


class Keys(Report):
    KEYS = re.findall(rb'"wmBusKey\w*"\s*:\s*"([0-9A-Fa-f]{32})"', sample("amr-keys.txt"))

    def test_keys_are_masked(self):
        self.assertGreater(len(self.KEYS), 8)
        broken = sample("amr-keys.txt") + sample("amr-keys.txt").split(b"\r\n")[0][:-3] + b"\r\n"
        for content in (sample("amr-keys.txt"), broken, sample("round-returned.txt") + sample("amr-keys.txt"), utf16(sample("amr-keys.txt").decode())):
            text = json.dumps(self.parts_of_bytes(content))
            for key in self.KEYS:
                self.assertNotIn(key.decode(), text)
        self.assertIn('"***"', json.dumps(self.parts_of_bytes(sample("amr-keys.txt"))["keys"]))

    def test_keys_are_shown_if_asked_for(self):
        parts = self.parts_of_bytes(sample("amr-keys.txt"), "--show-keys")
        self.assertEqual(column(parts["keys"], "wmBusKey_Mode5")[0], json.loads(sample("amr-keys.txt").split(b"\r\n")[0])["wmBusKey_Mode5"])
        self.assertEqual(parts["raw"][0].split("\n")[0], sample("amr-keys.txt").split(b"\r\n")[0].decode())

    def test_other_values_of_key_lines(self):
        parts = self.parts_of_bytes(sample("amr-keys.txt"))
        self.assertEqual(column(parts["keys"], "serialNumber"), [json.loads(line)["serialNumber"] for line in sample("amr-keys.txt").split(b"\r\n")[:-1]])


class WithoutPersonal(Report):
    def texts(self, name):
        """Returns the texts of a round that identify somebody or something."""
        self.samples(name)
        found = set()
        exported = [json.loads(line) for line in self.run_tool("export", name, "--to", "jsonl", cwd=self.folder).out.splitlines()]
        for row in exported:
            for field, value in row.items():
                if re.fullmatch(r"(?i).*serialNumber|referance|\w*Reference|subscriberInformation|meterInformation|meterMessage|message|latitude|longitude", field):
                    found.update(re.split(r" {2,}", str(value).strip()) if isinstance(value, str) else [str(value)])
        tables = [json.loads(line) for line in self.run_tool("export", name, "--to", "jsonl", "--table", "meters", cwd=self.folder).out.splitlines()]
        for row in tables:
            found.update(str(value) for field, value in row.items() if field in ("Name", "Address", "Phone", "outsideOfAreas"))
        return {text for text in found if len(text) >= 6}

    def test_no_such_text_is_in_the_page(self):
        for name in ("round-returned.txt", "round-exported.txt", "round-broken.txt", "round-returned-utf16.txt"):
            texts = self.texts(name)
            self.assertGreater(len(texts), 200)
            usual = json.dumps(self.parts(name), ensure_ascii=False)
            page = self.page(name, "--without", "personal")
            decoded = json.dumps(parts_of(page), ensure_ascii=False) + re.sub(r'<script type="text/plain".*?</script>', "", page.decode(), flags=re.S)
            self.assertGreater(sum(text in usual for text in texts), 150)
            self.assertEqual([text for text in texts if text in decoded], [])
            self.assertNotIn(name, decoded)

    def test_parts_that_are_left_out(self):
        self.samples("round-returned.txt")
        parts = self.parts("round-returned.txt", "--without", "personal")
        self.assertNotIn("areas", parts)
        self.assertFalse(parts["summary"]["hasPersonal"])
        for name in ("lat", "lon", "alt"):
            self.assertNotIn(name, parts["positions"])
        for name in ("message", "subscriberAreas"):
            self.assertNotIn(name, parts["summary"]["rounds"][0])
        self.assertEqual(set(column(parts["answers"]["given"], "result")), {None})
        for line in "\n".join(parts["raw"]).split("\n"):
            if line[0] == "7":
                self.assertNotRegex(line[13:53], "[0-8]")

    def test_readings_and_states_stay(self):
        self.samples("round-returned.txt")
        usual, parts = self.parts("round-returned.txt"), self.parts("round-returned.txt", "--without", "personal")
        for name in ("line", "state", "index", "date", "consumption", "status", "order"):
            self.assertEqual(column(parts["meters"], name), column(usual["meters"], name), name)
        self.assertEqual(parts["summary"]["counts"], usual["summary"]["counts"])

    def test_a_serial_number_has_one_pseudonym(self):
        self.samples("round-exported.txt", "round-returned.txt")
        parts = self.parts("round-exported.txt", "round-returned.txt", "--without", "personal")
        serials = column(parts["meters"], "serial")
        self.assertEqual(column(parts["reconcile"]["rounds"][0]["meters"], "serial"), serials)
        text = "\n".join(parts["raw"])
        for serial in serials:
            self.assertGreater(text.count(serial), 1)
        for old, meter in rows(parts["changes"], "old", "meter"):
            self.assertEqual(old, serials[meter])

    def test_each_report_has_other_pseudonyms(self):
        self.samples("round-returned.txt")
        first, second = (column(self.parts("round-returned.txt", "--without", "personal")["meters"], "serial") for _ in range(2))
        self.assertFalse(set(first) & set(second))

    def test_findings_quote_no_name(self):
        content = lines(ROUND, put(METER, 352, b"DUPONT-77   "), put(METER, 378, b"DU"), INFORMATION)
        parts = self.parts_of_bytes(content, "--without", "personal")
        self.assertNotIn("DUPONT", json.dumps(parts))
        self.assertGreater(parts["findings"]["n"], 0)

    def test_not_with_keys(self):
        self.samples("amr-keys.txt")
        result = self.run_tool("report", "amr-keys.txt", "--without", "personal", "--show-keys", "-o", "x", cwd=self.folder)
        self.assertEqual((result.code, result.err.splitlines()[0]), (2, "tramo: report: --show-keys: not with --without personal"))
        text = json.dumps(self.parts("amr-keys.txt", "--without", "personal"))
        for serial in re.findall(rb'"serialNumber":\s*"([^"]+)"', sample("amr-keys.txt")):
            self.assertNotIn(serial.decode(), text)


class Files(Report):
    def test_what_came_back(self):
        self.samples("round-exported.txt", "round-returned.txt")
        parts = self.parts("round-exported.txt", "round-returned.txt")
        expected = json.loads(self.run_tool("reconcile", "--format", "json", "round-exported.txt", "round-returned.txt", cwd=self.folder).out)
        part = parts["reconcile"]
        for known, shown in zip(expected["rounds"], part["rounds"], strict=True):
            meters, shown_meters = known.pop("meters"), shown.pop("meters")
            self.assertEqual(shown, known)
            self.assertEqual(rows(shown_meters, "serial", "state", "newSerial"), [(meter["meter"], meter["state"], meter.get("newMeter")) for meter in meters])
        names = ("what", "meter", "kind", "field", "before", "after", "rule", "exportedLine", "returnedLine", "sentence")
        self.assertEqual(rows(part["differences"], *names), [tuple(difference.get(name) for name in names) for difference in expected["toLookAt"]])
        self.assertEqual(column(parts["meters"], "file"), [1] * parts["meters"]["n"])
        self.assertEqual([file["name"] for file in parts["summary"]["source"]["files"]], ["round-exported.txt", "round-returned.txt"])

    def test_differences_are_found(self):
        self.run_tool("sample", "--seed", "3", "-o", "before.txt", cwd=self.folder)
        self.run_tool("sample", "--seed", "3", "--returned", "--differences", "0.3", "-o", "after.txt", cwd=self.folder)
        parts = self.parts("before.txt", "after.txt", code=1)
        expected = json.loads(self.run_tool("reconcile", "--format", "json", "before.txt", "after.txt", cwd=self.folder).out)
        self.assertEqual(parts["reconcile"]["differences"]["n"], expected["differences"])
        self.assertGreater(expected["differences"], 5)

    def test_files_that_do_not_belong_together(self):
        self.samples("round-returned.txt", "round-exported.txt")
        self.run_tool("sample", "--seed", "9", "--returned", "-o", "other.txt", cwd=self.folder)
        self.write("changed.txt", sample("round-exported.txt").replace(b"T0412", b"T0999"))
        for names in (("round-returned.txt", "round-exported.txt"), ("changed.txt", "round-returned.txt"), ("round-returned.txt", "other.txt", "round-exported.txt")):
            parts = self.parts(*names)
            self.assertNotIn("reconcile", parts)
            self.assertEqual(sorted(set(column(parts["meters"], "file"))), list(range(len(names))))
            self.assertEqual(len(parts["summary"]["rounds"]), len(names))

    def test_all_kinds_of_files_in_one_report(self):
        self.samples("round-broken.txt", "tags.txt", "parameters.txt", "amr-keys.txt")
        parts = self.parts("round-broken.txt", "tags.txt", "parameters.txt", "amr-keys.txt")
        self.assertEqual((parts["tags"]["n"], parts["parameters"]["n"], parts["keys"]["n"]), (5, 4, 8))
        self.assertEqual(set(column(parts["findings"], "file")), {0})
        self.assertEqual(column(parts["tags"], "label"), [json.loads(line)["label"] for line in self.run_tool("export", "tags.txt", "--to", "jsonl", cwd=self.folder).out.splitlines()])
        self.assertEqual(len(parts["raw"]), 4)

    def test_standard_input(self):
        parts = self.parts("-", stdin=sample("round-returned.txt"))
        self.assertEqual(parts["summary"]["source"]["file"], "<stdin>")
        self.assertEqual(parts["meters"]["n"], 60)
        result = self.run_tool("report", "-", "-", "-o", "x", cwd=self.folder)
        self.assertEqual((result.code, result.err.splitlines()[0]), (2, "tramo: report: the standard input cannot be several files"))

    def test_an_empty_file(self):
        parts = self.parts_of_bytes(b"", code=1)
        self.assertEqual(sorted(parts), ["findings", "summary"])
        self.assertEqual(parts["summary"]["counts"]["meters"], 0)

    def test_what_is_no_exchange_file(self):
        self.write("old.html", b"old")
        for content in (b"PK\x03\x04" + bytes(1000), b"%PDF-1.4\n" + bytes(2000), b"\x89PNG\r\n\x1a\n" + bytes(100), b"\xfe\xff\0a"):
            self.write("in.txt", content)
            result = self.run_tool("report", "in.txt", "-o", "old.html", cwd=self.folder)
            self.assertEqual((result.code, self.content(os.path.join(self.folder, "old.html"))), (2, b"old"), result.err)
            self.assertRegex(result.err, r"\Atramo: in\.txt: .+\n\Z")


class Outputs(Report):
    def setUp(self):
        super().setUp()
        self.samples("round-returned.txt")

    def test_only_its_owner_can_read_a_report(self):
        for options in ([], ["--without", "personal"], ["--show-keys"]):
            self.run_tool("report", "round-returned.txt", "-o", "new.html", *options, cwd=self.folder)
            path = os.path.join(self.folder, "new.html")
            self.assertEqual(stat.S_IMODE(os.stat(path).st_mode), 0o600)
            os.remove(path)

    def test_missing_output(self):
        result = self.run_tool("report", "round-returned.txt", cwd=self.folder)
        self.assertEqual((result.code, result.err.splitlines()[0]), (2, 'tramo: report: -o OUT is missing ("-" is the standard output)'))

    def test_the_input_is_not_replaced(self):
        result = self.run_tool("report", "round-returned.txt", "-o", "round-returned.txt", cwd=self.folder)
        self.assertEqual((result.code, self.content(os.path.join(self.folder, "round-returned.txt"))), (2, sample("round-returned.txt")))

    def test_a_missing_input_leaves_the_old_report(self):
        self.write("old.html", b"old")
        result = self.run_tool("report", "round-returned.txt", "missing.txt", "-o", "old.html", cwd=self.folder)
        self.assertEqual((result.code, result.err), (2, "tramo: missing.txt: No such file or directory\n"))
        self.assertEqual(self.content(os.path.join(self.folder, "old.html")), b"old")

    def test_a_full_disk(self):
        result = subprocess.run([TRAMO, "report", "round-returned.txt", "-o", "/dev/full"], capture_output=True, cwd=self.folder, env=ENVIRONMENT)
        self.assertEqual((result.returncode, result.stderr), (3, b"tramo: cannot write /dev/full: No space left on device\n"))

    def test_a_limit_of_file_sizes(self):
        self.write("old.html", b"old")
        limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (10000, 10000))
        result = subprocess.run([TRAMO, "report", "round-returned.txt", "-o", "old.html"], capture_output=True, cwd=self.folder, env=ENVIRONMENT, preexec_fn=limit)
        self.assertEqual((result.returncode, self.content(os.path.join(self.folder, "old.html"))), (3, b"old"))
        self.assertEqual(sorted(os.listdir(self.folder)), ["old.html", "round-returned.txt"])

    def test_a_read_only_report(self):
        path = self.write("old.html", b"old")
        os.chmod(path, 0o444)
        self.assertEqual(self.run_tool("report", "round-returned.txt", "-o", "old.html", cwd=self.folder).code, 3)
        self.assertEqual(self.run_tool("report", "round-returned.txt", "-o", "old.html", "--force", cwd=self.folder).code, 0)

    def test_standard_output(self):
        result = subprocess.run([TRAMO, "report", "round-returned.txt", "-o", "-"], capture_output=True, cwd=self.folder, env=ENVIRONMENT)
        self.assertEqual((result.returncode, result.stderr), (0, b""))
        self.assertEqual(parts_of(result.stdout)["meters"]["n"], 60)


class Browser(Report):
    def open(self, program):
        """Runs the tool with this program as xdg-open."""
        self.samples("round-returned.txt")
        os.mkdir(os.path.join(self.folder, "bin"))
        if program is not None:
            path = self.write("bin/xdg-open", program)
            os.chmod(path, 0o755)
        return self.run_tool("report", "round-returned.txt", "-o", "-page.html", "--open", cwd=self.folder, env={"PATH": os.path.join(self.folder, "bin")})

    def test_the_report_is_opened(self):
        os.mkfifo(os.path.join(self.folder, "called"))
        self.assertEqual(self.open(b'#!/bin/sh\necho "$#$1" >called\n').code, 0)
        with open(os.path.join(self.folder, "called"), encoding="utf-8") as called:   # the tool does not wait for the browser
            self.assertEqual(called.read(), "1" + os.path.join(os.path.realpath(self.folder), "-page.html") + "\n")

    def test_no_browser(self):
        result = self.open(None)
        self.assertEqual((result.code, result.err), (0, "tramo: -page.html: was written, but no browser could be started\n"))
        self.assertTrue(os.path.exists(os.path.join(self.folder, "-page.html")))


if __name__ == "__main__":
    unittest.main()
