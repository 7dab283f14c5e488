"""anonymize: nothing personal remains, everything else does, and files still belong together."""
import json
import os
import random
import re
import stat
import subprocess
import unittest
from collections import Counter
from datetime import datetime
from support import ENVIRONMENT, METER, ROOT, ROUND, TRAMO, CliTest, lines, put, sample, sample_line, some, utf16

KEY = b"a key of the tests\n"
SAMPLES = sorted(name for name in os.listdir(os.path.join(ROOT, "samples")) if name.endswith(".txt"))

# The columns of each record that are replaced, counted from 1, as the format's page names them.
REPLACED = {
    b"0": [(2, 9), (10, 29), (32, 191), (511, 512)],
    b"1": [(6, 155), (232, 351), (352, 363), (366, 377), (464, 493), (508, 512)],
    b"2": [(10, 25), (26, 37), (56, 71), (72, 87), (88, 103), (104, 231), (290, 353), (392, 455)],
    b"3": [(2, 13), (14, 25)],
    b"4": [(2, 17), (18, 29), (30, 45), (46, 61)],
    b"6": [(3, 14), (25, 54), (57, 86), (89, 118), (121, 150), (153, 182)],
    b"7": [(2, 13), (14, 29), (30, 45), (46, 53)],
}
# Of an area of the samples, its columns in the line.
AREAS = [(6, 35), (36, 80), (81, 110), (111, 124), (232, 261), (262, 265), (266, 281)]
IDENTIFIERS = {b"1": [(352, 363)], b"2": [(26, 37)], b"3": [(2, 13)], b"4": [(18, 29)], b"6": [(3, 14)], b"7": [(2, 13)]}


def text_of(content):
    """Returns a file as text with one character for each character of the file."""
    return content[2:].decode("utf-16-le", "surrogatepass") if content[:2] == b"\xff\xfe" else content.decode("latin-1")


def words_of(text):
    return set(re.findall(r"[^\W_]{4,}", text))


class Anonymize(CliTest):
    def setUp(self):
        super().setUp()
        self.write("key", KEY)

    def anonymize(self, content, *options, code=0, name="f"):
        self.write(name, content)
        self.result = self.run_tool("anonymize", "--key", "key", name, "-o", "out", "--force", *options, cwd=self.folder)
        self.assertEqual(self.result.code, code, self.result.err)
        return self.content(os.path.join(self.folder, "out")) if code == 0 else None

    def findings(self, content):
        self.write("checked", content)
        report = self.run_tool("check", "--format", "json", "--strict", "--all", "checked", cwd=self.folder).json
        return sorted(str((finding.get("line"), finding["rule"], finding.get("field"))) for finding in report["files"][0]["findings"])

    def assert_same_findings(self, before, after):
        old, new = Counter(self.findings(before)), Counter(self.findings(after))
        self.assertEqual((old - new, new - old), (Counter(), Counter()))


class Columns(Anonymize):
    def test_only_the_columns_of_personal_data_change(self):
        """The columns are listed here a second time."""
        content = sample("round-returned.txt")
        changed = set()
        for old, new in zip(content.split(b"\r\n"), self.anonymize(content).split(b"\r\n"), strict=True):
            columns = {at + 1 for at in range(len(old)) if old[at] != new[at]}
            allowed = {column for first, last in REPLACED.get(old[:1], []) for column in range(first, last + 1)}
            if old[:1] != b"5":   # its labels have words of names
                self.assertEqual(columns - allowed, set(), old[:20])
            for first, last in REPLACED.get(old[:1], []):
                if columns & set(range(first, last + 1)):
                    changed.add((old[:1], first))
        filled = {(line[:1], first) for line in content.split(b"\r\n") for first, last in REPLACED.get(line[:1], [])
                  if re.search(rb"[0-9A-Za-z]", line[first - 1:last])}
        self.assertEqual(changed, filled)

    def test_no_word_of_personal_data_remains(self):
        for name in ("round-returned.txt", "round-exported.txt", "round-returned-utf16.txt", "round-broken.txt"):
            old = text_of(sample(name)).split("\r\n")
            new = text_of(self.anonymize(sample(name))).split("\r\n")
            names = set()
            for line in old:
                for first, last in [*REPLACED.get(line[:1].encode(), []), *(AREAS if line[:1] == "1" else [])]:
                    if line[:1] != "7" or first == 2:
                        names |= {word for word in words_of(line[first - 1:last]) if not word.isdigit()}
            self.assertGreater(len(names), 100)
            kept = words_of("\n".join(new))
            # A word of a label that is also in a message: both are the utility's own words.
            labels = {word for line in old if line[:1] in "05" for word in words_of(line[255:] if line[:1] == "0" else line)}
            self.assertEqual(names & kept - labels, set(), name)

    def test_the_same_text_has_the_same_replacement_in_all_files(self):
        self.write("key", KEY)
        done = self.run_tool("anonymize", "--key", "key", *(os.path.join(ROOT, "samples", name) for name in SAMPLES), "-o", "out", cwd=self.folder)
        self.assertEqual(done.code, 0, done.err)
        self.assertEqual(sorted(os.listdir(os.path.join(self.folder, "out"))), SAMPLES)
        pairs, values = {}, {}
        for name in SAMPLES:
            old, new = (text_of(content).split("\r\n") for content in (sample(name), self.content(os.path.join(self.folder, "out", name))))
            for before, after in zip(old, new, strict=True):
                for first, last in IDENTIFIERS.get(before[:1].encode(), []) if len(before) == 512 else []:
                    pairs.setdefault(before[first - 1:last], set()).add(after[first - 1:last])
        self.assertGreater(len(pairs), 50)
        for before, after in pairs.items():
            self.assertEqual(len(after), 1, before)
            values.setdefault(min(after), []).append(before)
        self.assertTrue(all(len(texts) == 1 for texts in values.values()))
        serials = [json.loads(line)["serialNumber"] for line in text_of(self.content(os.path.join(self.folder, "out", "amr-keys.txt"))).splitlines()]
        modules = {line[71:87].rstrip() for line in text_of(self.content(os.path.join(self.folder, "out", "round-returned.txt"))).split("\r\n") if line[:1] == "2"}
        self.assertTrue(set(serials) & modules)

    def test_one_file_or_several_make_the_same(self):
        alone = self.anonymize(sample("round-returned.txt"))
        done = self.run_tool("anonymize", "--key", "key", *(os.path.join(ROOT, "samples", name) for name in ("round-returned.txt", "amr-keys.txt")), "-o", "all", cwd=self.folder)
        self.assertEqual(done.code, 0)
        self.assertEqual(self.content(os.path.join(self.folder, "all", "round-returned.txt")), alone)

    def test_areas_are_texts_of_their_own(self):
        """The same name in an area of another place has the same replacement."""
        moved = put(put(put(ROUND, 382, b"  4"), 385, b"30"), 404, b" 34")
        other = put(put(METER, 6, b"    "), 10, METER[5:35])
        one, two = (self.anonymize(content).split(b"\r\n")[1] for content in (lines(ROUND, METER), lines(moved, other)))
        self.assertEqual(one[5:35].strip(), two[9:39].strip())
        self.assertNotEqual(one[5:35], METER[5:35])

    def test_another_key(self):
        one = self.anonymize(sample("round-returned.txt"))
        self.write("key", b"another key of the tests")
        two = self.anonymize(sample("round-returned.txt"))
        same = sum(a[351:363] == b[351:363] for a, b in zip(one.split(b"\r\n"), two.split(b"\r\n")) if a[:1] == b"1")
        self.assertEqual(same, 0)

    def test_both_encodings_make_the_same(self):
        self.assertEqual(text_of(self.anonymize(sample("round-returned-utf16.txt"))), text_of(self.anonymize(sample("round-returned.txt"))))

    def test_positions_move_together(self):
        old, new = ([line.split() for line in text_of(content).split("\r\n") if line[:1] == "7"]
                    for content in (sample("round-returned.txt"), self.anonymize(sample("round-returned.txt"))))
        moves = [(float(b[1]) - float(a[1]), float(b[2]) - float(a[2])) for a, b in zip(old, new)]
        self.assertGreater(len(moves), 20)
        for latitude, longitude in moves:
            self.assertGreater(abs(latitude), 0.4)
            self.assertGreater(abs(longitude), 0.4)
            self.assertLess(abs(latitude - moves[0][0]), 0.021)   # a round stays together
            self.assertLess(abs(longitude - moves[0][1]), 0.021)
        place = sample_line(b"7")
        zero = put(put(place, 14, b"0.000000000000  "), 30, b"0.000000000000  ")
        self.assertEqual(self.anonymize(lines(zero))[13:45], zero[13:45])
        for latitude, longitude in (("89.9", "179.9"), ("-89.9", "-179.9"), ("1", "-1"), ("5,5", "7,25"), ("nan", "inf"), ("9" * 16, "1e300")):
            line = put(put(place, 14, latitude.ljust(16).encode()), 30, longitude.ljust(16).encode())
            made = self.anonymize(lines(line))
            self.assertEqual(len(made), 514)
            self.assert_same_findings(lines(line), made)

    def test_shifted_dates(self):
        content = sample("round-returned.txt")
        plain, moved = self.anonymize(content), self.anonymize(content, "--shift-dates")
        self.assert_same_findings(content, moved)
        days = set()
        for before, after in zip(plain.split(b"\r\n"), moved.split(b"\r\n")):
            if before[:1] == b"1":
                for first, last in ((157, 164), (384, 391), (426, 437), (494, 505)):
                    if before[first - 1:last].strip():
                        a, b = (datetime.strptime(line[first - 1:first + 7].decode(), "%Y%m%d") for line in (before, after))
                        days.add((a - b).days)
                        self.assertEqual(before[first + 7:last], after[first + 7:last])   # the time of the day
                self.assertEqual(int(before[379:383]) - 1, int(after[379:383]))
        self.assertEqual(len(days), 1)
        self.assertTrue(35 <= min(days) <= 364)
        # A date that is none stays.
        self.assertEqual(self.anonymize(lines(ROUND, put(METER, 384, b"20231340")), "--shift-dates").split(b"\r\n")[1][383:391], b"20231340")

    def test_columns_that_cannot_be_read(self):
        for column, text, expected in ((364, b"VA", b"QQ"), (384, b"DUPONT06", b"QQQQQQ99"), (392, b"6O54MARTIN", b"9Q99QQQQQQ"),
                                       (384, b"06123456", b"99999999"), (507, b"J", b"Q"), (506, b"K", b"Q"), (380, b"20A4", b"99Q9")):
            made = self.anonymize(lines(ROUND, put(METER, column, text))).split(b"\r\n")[1]
            self.assertEqual(made[column - 1:column - 1 + len(text)], expected, text)

    def test_labels_with_words_of_names(self):
        page = put(sample_line(b"5"), 3, b"Access of DUPONT    ")
        meter = put(METER, 6, b"Dupont, Jean".ljust(30))
        made = self.anonymize(lines(ROUND, page, meter)).split(b"\r\n")[1]
        self.assertNotIn(b"dupont", made.lower())
        self.assertIn("1 label was replaced, too", self.result.err)
        self.assertIn(b"Access of DUPONT", self.anonymize(lines(ROUND, page, METER)))   # without the name

    def test_settings(self):
        self.assertEqual(self.anonymize(sample("parameters.txt"))[:8], sample("parameters.txt")[:8])
        for name in ("parameters.txt", "tags.txt"):
            self.assertNotEqual(self.anonymize(sample(name)), sample(name))


class KeyLines(Anonymize):
    LINE = (b'{"serialNumber":"4C30000000","hardwareVersion":"2.0","firmwareVersion":"1.0.0","wmBusAddress_MeterId":12345678,'
            b'"wmBusAddress_ManufacturerId":11290,"wmBusAddress_Version":21,"wmBusAddress_DeviceType":7,"wmBusKey_Mode5":'
            b'"5627BD973F6190D6FFA4AA3918619D1B","wmBusKey_Mode7":"38580d7b156a0e694db81a9d50161b10","wmBusKeyExchangeKey":"4CA4643132A9B56864484AE545470CAD"}')

    def test_keys_and_identities(self):
        before, after = json.loads(self.LINE), json.loads(self.anonymize(lines(self.LINE)))
        self.assertEqual(list(before), list(after))
        for name, value in before.items():
            same = name in ("hardwareVersion", "firmwareVersion") or (name.startswith("wmBusAddress") and not name.endswith("MeterId"))
            self.assertEqual(value == after[name], same, name)
            self.assertEqual(len(str(value)), len(str(after[name])), name)
        self.assertRegex(after["wmBusKey_Mode5"], r"\A[0-9A-F]{32}\Z")
        self.assertRegex(after["wmBusKey_Mode7"], r"\A[0-9a-f]{32}\Z")

    def test_forms(self):
        """Strange lines keep their findings and lose their content."""
        key = b"5627BD973F6190D6FFA4AA3918619D1B"
        for line in (b";" + self.LINE, self.LINE[:-1], self.LINE.replace(b"12345678", b"-1"), self.LINE.replace(b"12345678", b"3000000000"),
                     self.LINE.replace(b"12345678", b"2147483647"), self.LINE.replace(b"12345678", b'"12345678"'), self.LINE.replace(b"12345678", b"7"),
                     self.LINE.replace(b"12345678", b'[{"a":"' + key + b'"},1.5e3,true,null]'), self.LINE.replace(b'"wmBusKey_Mode5"', b'"' + key + b'"'),
                     self.LINE.replace(b"5627BD97", b"ZZ27BD97"), self.LINE.replace(b"4C30000000", b"A\\u00e9B\\\\\\\"\\n12345"),
                     self.LINE.replace(b"4C30000000", b"1234"), self.LINE.replace(b"4C30000000", b"x" * 5000),
                     self.LINE.replace(b"1.0.0", b"of Dupont"), self.LINE + self.LINE, b'{"' + key, b"{}", b'{"a":{"serialNumber":"' + key + b'"}}',
                     self.LINE.replace(b"4C30000000", b"\xe9\xe8\xff4C3")):
            for wide in (False, True):
                before = utf16((line + b"\r\n").decode("latin-1")) if wide else line + b"\r\n"
                after = self.anonymize(before)
                for secret in ("5627BD973F61", "38580d7b", "4CA46431", "ZZ27BD97", "4C30000000", "Dupont"):
                    self.assertNotIn(secret, text_of(after), line[:60])
                self.assert_same_findings(before, after)

    def test_duplicates_stay_duplicates(self):
        content = lines(self.LINE, self.LINE.replace(b"5627", b"5628"))
        self.write("k", content)
        self.write("l", self.anonymize(content))
        one, two = (re.findall(r"\[(KeyLineDuplicate)", self.run_tool("keys", name, cwd=self.folder).out) for name in ("k", "l"))
        self.assertEqual(one, two)
        self.assertTrue(one)


class Findings(Anonymize):
    def test_samples(self):
        for name in SAMPLES:
            self.assert_same_findings(sample(name), self.anonymize(sample(name)))

    def test_sample_rounds_with_faults(self):
        for seed in range(3):
            for options in (["--encoding", "ansi"], ["--encoding", "utf16le"]):
                self.run_tool("sample", "--meters", "300", "--returned", "--faults", "0.4", "--seed", str(seed), *options, "-o", "s", "--force", cwd=self.folder)
                content = self.content(os.path.join(self.folder, "s"))
                for more in ([], ["--shift-dates"]):
                    self.assert_same_findings(content, self.anonymize(content, *more))

    def test_malformed_lines_keep_nothing(self):
        for line in (METER[40:], METER + b"x DUPONT and others", b"ABONN\xc9 0001;126 Rue", b"8" + METER[1:], b"M" + METER[1:], b"\0" * 40 + METER[5:100],
                     b"\xef\xbb\xbf" + METER, b'"' + METER + b'"'):
            for wide in (False, True):
                content = lines(ROUND, line, METER)
                before = utf16(content.decode("latin-1")) if wide else content
                after = text_of(self.anonymize(before)).split("\r\n")[1]
                self.assertEqual(len(after), len(line))
                self.assertEqual(words_of(after) & words_of(line.decode("latin-1")), set())
                self.assertIn("1 malformed line: every letter of it became Q", self.result.err)

    def test_trimmed_lines_keep_their_columns(self):
        content = lines(ROUND.rstrip(), METER.rstrip(), sample_line(b"7").rstrip())
        made = self.anonymize(content)
        self.assertEqual(self.result.err, "")
        self.assert_same_findings(content, made)
        padded = [line.ljust(512) for line in made.split(b"\r\n")[:-1]]
        self.assertEqual(lines(*padded), self.anonymize(lines(ROUND, METER, sample_line(b"7"))))

    def test_lines_that_lost_or_gained_characters(self):
        """They keep their diagnosis, and nothing personal."""
        kept = 0
        for at in some(range(3, 500, 7)):
            for line in (METER[:at] + METER[at + 1:], METER[:at] + METER[at + 2:] + b"  ", METER[:at] + b"7" + METER[at:]):
                content = lines(ROUND, METER, line, METER)
                made = self.anonymize(content)
                words = words_of(METER[5:30].decode("latin-1")) | words_of(METER[35:75].decode("latin-1")) | {METER[351:363].decode()}
                for word in words:
                    self.assertNotIn(word.encode("latin-1"), made, at)
                # Another column of a shifted line may be a valid code by chance.
                diagnosis = lambda text: [finding for finding in self.findings(text) if "Character" in finding]
                kept += diagnosis(made) == diagnosis(content)
        self.assertGreater(kept, 3 * len(some(range(3, 500, 7))) * 0.9)

    def test_random_bytes(self):
        """Whatever a file holds, the result has its shape, and no word of it."""
        numbers = random.Random(7)
        for case in some(range(60)):
            content = bytearray(lines(ROUND, METER, sample_line(b"2"), sample_line(b"6"), sample_line(b"7"), KeyLines.LINE))
            for _ in range(numbers.randrange(1, 60)):
                at = numbers.randrange(len(content))
                content[at:at + numbers.randrange(2)] = bytes(numbers.randrange(256) for _ in range(numbers.randrange(3)))
            made = self.anonymize(bytes(content), "--from", "ansi")
            self.assertEqual(made.count(b"\n"), bytes(content).count(b"\n"))

    def test_letters_of_other_scripts(self):
        name = "Ελένη Παπαδοπούλου Иванова 山田太郎 \U0001f600x"
        line = METER.decode("latin-1")
        content = utf16(ROUND.decode("latin-1") + "\r\n" + line[:5] + name.ljust(29) + line[5 + 30:] + "\r\n")
        made = text_of(self.anonymize(content))
        for word in name.split():
            self.assertNotIn(word, made)
        self.assert_same_findings(content, self.content(os.path.join(self.folder, "out")))

    def test_a_text_of_another_encoding(self):
        """Bytes that are letters of another code page are replaced, too."""
        name = "ΠΑΠΑΔΟΠΟΥΛΟΥ"
        for encoding in ("cp737", "iso8859_7", "cp1253"):
            made = self.anonymize(lines(ROUND, put(METER, 6, name.encode(encoding).ljust(30))))
            self.assertNotIn(name.encode(encoding), made)


class Outputs(Anonymize):
    def test_new_key(self):
        done = self.run_tool("anonymize", "--new-key", "new", cwd=self.folder)
        self.assertEqual((done.code, done.out, done.err), (0, "", ""))
        path = os.path.join(self.folder, "new")
        self.assertEqual(stat.S_IMODE(os.stat(path).st_mode), 0o600)
        self.assertRegex(self.content(path), rb"\A[0-9a-f]{64}\n\Z")
        first = self.content(path)
        done = self.run_tool("anonymize", "--new-key", "new", cwd=self.folder)
        self.assertEqual((done.code, done.err), (3, "tramo: cannot write new: File exists\n"))
        self.assertEqual(self.content(path), first)
        self.assertNotEqual(self.run_tool("anonymize", "--new-key", "-").raw, self.run_tool("anonymize", "--new-key", "-").raw)

    def test_keys_that_are_refused(self):
        for key, words in ((b"", "the key has 0 bytes"), (b"1", "the key has 1 byte"), (b"x" * 15 + b"\r\n", "the key has 15 bytes; expected at least 16"),
                           (b"x" * 65537, "is not a key: it has more than 65536 bytes")):
            self.write("key", key)
            self.anonymize(sample("tags.txt"), code=2)
            self.assertIn("tramo: key: " + words, self.result.err)
        self.write("key", b"x" * 16)
        with_end = self.anonymize(sample("tags.txt"))
        self.write("key", b"x" * 16 + b"\r\n")
        self.assertEqual(self.anonymize(sample("tags.txt")), with_end)

    def test_a_key_from_a_pipe(self):
        self.write("f", sample("tags.txt"))
        piped = self.run_tool("anonymize", "--key", "-", "f", "-o", "piped", stdin=KEY, cwd=self.folder)
        self.assertEqual((piped.code, self.content(os.path.join(self.folder, "piped"))), (0, self.anonymize(sample("tags.txt"))))

    def test_the_originals_are_never_replaced(self):
        self.write("f", sample("tags.txt"))
        self.write("g", sample("tags.txt"))
        for words in ("f -o f", "f -o ./f", "f g -o .", "f -o key", "f f -o new", "f ./f -o new", "f - -o new", "f g -o -"):
            done = self.run_tool("anonymize", "--key", "key", *words.split(), "--force", cwd=self.folder)
            self.assertEqual(done.code, 2, (words, done.err))
        self.assertEqual(sorted(os.listdir(self.folder)), ["f", "g", "key"])
        self.assertEqual(self.content(os.path.join(self.folder, "f")), sample("tags.txt"))
        self.assertEqual(self.content(os.path.join(self.folder, "key")), KEY)

    def test_an_existing_folder_keeps_its_other_files(self):
        os.mkdir(os.path.join(self.folder, "all"))
        self.write("all/other", b"x")
        for name in ("f", "g"):
            self.write(name, sample("tags.txt"))
        self.assertEqual(self.run_tool("anonymize", "--key", "key", "f", "g", "-o", "all", cwd=self.folder).code, 0)
        self.assertEqual(sorted(os.listdir(os.path.join(self.folder, "all"))), ["f", "g", "other"])
        self.write("bad", b"")
        os.remove(os.path.join(self.folder, "all/f"))
        done = self.run_tool("anonymize", "--key", "key", "f", "missing", "-o", "new", cwd=self.folder)
        self.assertEqual((done.code, os.path.exists(os.path.join(self.folder, "new"))), (2, False))

    def test_permissions_are_those_of_the_input(self):
        os.chmod(os.path.join(self.folder, "key"), 0o600)
        self.write("f", sample("tags.txt"))
        for mode in (0o644, 0o600):
            os.chmod(os.path.join(self.folder, "f"), mode)
            done = subprocess.run(["sh", "-c", f'umask 022; "{TRAMO}" anonymize --key key f -o new{mode}'], cwd=self.folder, env=ENVIRONMENT)
            self.assertEqual(done.returncode, 0)
            self.assertEqual(stat.S_IMODE(os.stat(os.path.join(self.folder, f"new{mode}")).st_mode), mode)

    def test_text_that_cannot_be_read(self):
        for content in (utf16("\uffffabc\r\n"), utf16("1abc\r\n\uffffabc"), utf16("1abc\r\n") + b"a"):
            self.write("out", b"old")
            self.anonymize(content, code=1)
            self.assertIn("nothing was written", self.result.err)
            self.assertEqual(self.content(os.path.join(self.folder, "out")), b"old")

    def test_every_line_ending(self):
        content = ROUND + b"\n" + METER + b"\r\n\r\n\n" + METER
        made = self.anonymize(content)
        self.assertEqual([len(line) for line in re.split(rb"\n", made)], [len(line) for line in re.split(rb"\n", content)])
        self.assertFalse(made.endswith(b"\n"))

    def test_long_lines(self):
        made = self.anonymize(lines(ROUND) + b"1" + b"ab 4567\xe9" * 100_000 + b"\r\n" + lines(METER))
        line = made.split(b"\r\n")[1]
        self.assertEqual((len(line), line[:9]), (800_001, b"1qq 9999Q"))
        self.assertEqual(set(line[1:]), set(b"q9Q "))


if __name__ == "__main__":
    unittest.main()
