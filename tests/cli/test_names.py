"""Names with arbitrary bytes (of files, options, columns, folders of the environment) never control the terminal.

Keys in the place of a name are not printed.
"""
import contextlib
import json
import os
import re
import resource
import signal
import sqlite3
import stat
import subprocess
import unicodedata
import unittest
from support import ENVIRONMENT, TRAMO, CliTest, on_terminal, sample

# Sequences of a terminal, line endings, C1 controls, directional and invisible marks, and bytes that are not UTF-8.
STEERING = "n\x1b[31m\n\rINJECTED \t\x07\x7f\x80\x9b1m\u202eabc\u2066\u200f\u200b\u2028\ufeff\U000e0041".encode() + b"\x9b2J\xff\xc3"
NAME = os.fsdecode(STEERING)
CLEAN_TEXT = STEERING.decode("utf-8", "ignore")   # what JSON, SQLite and csv can hold
HEX_KEYS = ["5627BD973F6190D6FFA4AA3918619D1B", "38580d7b156a0e694db81a9d50161b10", "0" * 32, "5627BD97-3F6190D6-FFA4AA39-18619D1B",
            "56 27 BD 97 3F 61 90 D6 FF A4 AA 39 18 61 9D 1B", "0x5627BD973F6190D6FFA4AA3918619D1B",
            "AES_5627BD973F6190D6FFA4AA3918619D1B", "5627BD973F6190D6FFA4AA3918619D1B" * 2]
BASE64_KEYS = ["Vie9lz9hkNb/pKo5GGGdGw==", "Vie9lz9hkNb_pKo5GGGdGw", "OFgNexVqDmlNuBqdUBYbEExQcHVzQbwR01Ni2NDFPaE="]
SECRETS = ("5627", "38580", "18619", "Vie9", "OFgN", "GGGd", "0" * 16)
KEY_LINE = sample("amr-keys.txt").split(b"\r\n")[0]

ENDS_IN_FOLDERS = {"json": "f.json"}
OPTIONS_OF_FILES = {"-o", "--findings", "--log"}
WRITERS = ["anonymize --key in.txt in.txt -o {}", "anonymize --key in.txt in.txt in.jsonl -o {}", "anonymize --new-key {}", "export in.txt --to jsonl -o {}", "export in.txt --to csv --only AMR -o {}.csv", "export in.txt --to csv -o {}",
           "export in.txt --to sqlite -o {}", "export in.txt --to xlsx -o {}", "export in.txt --to jsonl -o - --findings {}",
           "import in.jsonl --from jsonl --encoding ansi -o {}", "convert in.txt --encoding utf16le -o {}", "report in.txt -o {}", "rewrite in.txt -o {}",
           "rewrite --force in.txt -o {}", "repair in.txt -o {}", "repair broken.txt -o out2 --log {}", "sample --meters 2 -o {}", "sample --meters 20 --faults 0.5 -o {}", "sample --meters 20 --returned --differences 0.5 -o {}"]
READERS = ["anonymize --key in.txt {} -o out", "anonymize --key {} in.txt -o out", "anonymize --key in.txt {} in.txt -o folder2", "check {}", "check -q {} {}", "check --format json {}", "check --format sarif {}", "check --kind key {}", "check --lines 9999- {}",
           "check --seek --lines 3- {}", "convert {} --encoding ansi -o out", "convert {} --encoding utf16le -o -", "diff {} in.txt", "diff in.txt {}",
           "diff --format json {} in.txt", "diff --only-readings {} in.txt", "explain {}", "explain {}:1", "explain {}:1:1", "explain {}:9999", "export {} --to jsonl", "export {} --to csv --only AMR",
           "export {} --to jsonl -o {}", "export {} --to csv -o folder", "import {} --from jsonl --encoding ansi", "import {} --from csv --encoding ansi",
           "import {} --from sqlite --encoding ansi", "keys {}", "keys --format json {} {}", "reconcile {} in.txt", "reconcile in.txt {}", "reconcile --format json {} in.txt", "reconcile --format csv in.txt {}", "repair {}", "repair {} -o out", "repair --reference {} in.txt", "repair {} -o {}", "report {} -o out", "report in.txt {} -o -", "report {} --without personal -o out", "rewrite --dry-run {}", "rewrite --dry-run --format json {}",
           "rewrite --force {} -o out", "rewrite {} -o {}", "show {}", "show {} 1", "show {}:1", "show {}:9999:1", "show --raw {} 1", "show --meter C12AB0100000 {}", "stats {}", "stats --format json {} {}"]
VALUES = ["anonymize --key in.txt --from {} in.txt -o out", "check --encoding {} in.txt", "check --kind {} in.txt", "check --lines {} in.txt", "check --format {} in.txt", "check --max-findings {} in.txt",
          "check --threads {} in.txt", "check -j {} in.txt", "check --color {} in.txt", "check --color={} in.txt", "convert --encoding {} in.txt -o out",
          "convert --encoding ansi --from {} in.txt -o out", "diff --encoding {} in.txt in.txt", "diff --format {} in.txt in.txt", "diff --color {} in.txt in.txt",
          "explain --color {}", "explain --format {}", "explain {}", "explain AMR:{}", "explain {}:12", "explain 0x{}", "export in.txt --to {}", "export in.txt --to csv --table {}", "export in.txt --to csv --table unread --fields {}", "export in.txt --to jsonl --only {}",
          "export in.txt --to jsonl --lines {}", "export in.txt --to jsonl --encoding {}", "export in.txt --to jsonl --threads {}",
          "import in.jsonl --from {} --encoding ansi", "import in.jsonl --from jsonl --encoding {}", "keys --encoding {} in.txt", "keys --format {} in.txt", "reconcile --encoding {} in.txt in.txt", "reconcile --format {} in.txt in.txt",
          "repair --accept {} in.txt", "report --title {} missing.txt -o out", "report --lang {} in.txt -o out", "report --without {} in.txt -o out", "report --encoding {} in.txt -o out", "report --threads {} in.txt -o out", "rewrite --encoding {} in.txt -o out", "rewrite --from {} in.txt -o out", "rewrite --dry-run --format {} in.txt", "sample --meters {} -o out",
          "sample --seed {} -o out", "sample --faults {} -o out", "sample --returned --differences {} -o out", "sample --kinds {} -o out", "sample --kinds AMR,{} -o out", "sample --encoding {} -o out",
          "show --encoding {} in.txt", "show --meter {} in.txt", "show --kind {} in.txt", "show --color {} in.txt", "show in.txt {}", "show in.txt:{}", "stats --encoding {} in.txt",
          "stats --format {} in.txt", "{}", "--{}", "-{}", "help {}", "help --man {}", "help --completion {}", "check --{} in.txt", "check in.txt --{}=1"]
COMMANDS = ("anonymize", "check", "convert", "diff", "explain", "export", "import", "keys", "reconcile", "repair", "report", "rewrite", "sample", "show", "stats")


def has_mark(text):
    return [c for c in text if c != "\n" and unicodedata.category(c) in ("Cc", "Cf", "Zl", "Zp", "Co", "Cs", "Cn")]


class NamesTest(CliTest):
    def setUp(self):
        super().setUp()
        self.write("in.txt", sample("round-returned.txt"))
        self.write("broken.txt", sample("round-broken.txt"))
        for words, name in ((["export", "in.txt", "--to", "jsonl"], "in.jsonl"), (["export", "in.txt", "--to", "csv", "--only", "AMR", "-o", "-"], "in.csv")):
            with open(self.path(name), "wb") as out:
                subprocess.run([TRAMO, *words], stdout=out, stderr=subprocess.DEVNULL, cwd=self.folder, env=ENVIRONMENT)
        self.runs = 0

    def path(self, name):
        return os.path.join(self.folder, name)

    def run_clean(self, words, name=NAME, code=None, stdin=b"", env=None, **how):
        """Runs the command with the name in it, and checks everything that it prints."""
        if isinstance(words, str):
            words = words.split()
        words = [word.replace("{}", name) for word in words]
        done = subprocess.run([TRAMO, *words], input=stdin, capture_output=True, cwd=self.folder, env=ENVIRONMENT | (env or {}), timeout=60, **how)
        self.runs += 1
        with self.subTest(words=words, env=env):
            if code is not None:
                self.assertIn(done.returncode, code if isinstance(code, tuple) else (code,), (done.stdout[:200], done.stderr))
            is_product = (words[0] in ("anonymize", "convert", "export", "import", "sample") or words[0] == "repair" and "-o" in words
                          or words[0] == "report" or words[0] == "reconcile" and "csv" in words or words[0] == "rewrite" and "--dry-run" not in words)
            for stream in (done.stderr,) if is_product else (done.stderr, done.stdout):
                text = stream.decode("utf-8")
                self.assertEqual(has_mark(text), [], text[:500])
                self.assertNotRegex(text, r"(?m)^[^\S\n]*INJECTED")
            self.assertRegex(done.stderr, rb"\A(tramo: [^\n]*\n)*\Z")
        return done


class Files(NamesTest):
    def test_options_are_all_looked_at(self):
        """A table contains every option that has a value."""
        missing = []
        for command in COMMANDS:
            page = self.run_tool("help", command).out
            for names in re.findall(r"(?m)^  (-[^\n]*? [A-Z][A-Z,.-]*)  ", page):
                words = [name for name in re.findall(r"--?[\w-]+", names)]
                used = any(re.search(rf"\b{command}\b.* {word}[ =]\{{\}}", line) for word in words for line in VALUES + WRITERS + READERS)
                missing += [] if used or "--color" in words else [(command, words)]
        self.assertEqual(missing, [])

    def test_inputs(self):
        for words in READERS:
            self.run_clean(words, code=2)                                      # missing
            for content in (sample("round-broken.txt"), b"", b"\xfe\xff\0a", b"1234\r\n", KEY_LINE, sample("round-returned-utf16.txt") + b"a",
                            b"kind,line\r\n", b'{"kind":1}'):
                self.write(NAME, content)
                self.run_clean(words)
            os.remove(self.path(NAME))
            os.mkdir(self.path(NAME))
            self.run_clean(words, code=2)
            self.run_clean(words, name=NAME + "/" + NAME, code=2)
            os.rmdir(self.path(NAME))
            os.symlink(NAME, self.path(NAME))
            self.run_clean(words, code=2)
            os.remove(self.path(NAME))

    def test_inputs_that_may_not_be_read(self):
        if os.geteuid() == 0:
            self.skipTest("the superuser reads everything")
        os.chmod(self.write(NAME, b"1"), 0)
        for words in READERS:
            self.run_clean(words, code=2)

    def clear(self, name=NAME):
        for entry in os.listdir(self.folder):
            if entry.startswith(NAME):
                subprocess.run(["rm", "-rf", "--", self.path(entry)], check=True)

    def test_outputs(self):
        def nothing():
            pass
        situations = {
            "new": (nothing, "{}", (0, 1, 2)),
            "a folder that does not exist": (nothing, "{}/{}", (2, 3)),
            "a folder": (lambda: os.makedirs(self.path(NAME + "/x")), "{}", None),
            "a folder, as csv": (lambda: os.makedirs(self.path(NAME + ".csv")), "{}", None),
            "a file as a folder": (lambda: self.write(NAME, b""), "{}/{}", (2, 3)),
            "read-only": (lambda: os.chmod(self.write(NAME, b"old"), 0o444), "{}", None),
            "hard links": (lambda: os.link(self.write(NAME, b"old"), self.path(NAME + "2")), "{}", None),
            "a full device": (lambda: os.symlink("/dev/full", self.path(NAME)), "{}", None),
            "a full device, as csv": (lambda: os.symlink("/dev/full", self.path(NAME + ".csv")), "{}", None),
            "a link to itself": (lambda: os.symlink(NAME, self.path(NAME)), "{}", None),
            "a link to nowhere": (lambda: os.symlink(NAME + "2/x", self.path(NAME)), "{}", None),
            "too long": (nothing, "{}" * 9, None),
            "a limit": (nothing, "{}", None),
            "a database in use": (lambda: [self.write(NAME + end, b"x") for end in ("", "-wal", "-journal")], "{}", None),
        }
        ends = {}
        for situation, (prepare, name, codes) in situations.items():
            for words in WRITERS:
                self.clear()
                prepare()
                how = {"preexec_fn": lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (10, 10))} if situation == "a limit" else {}
                done = self.run_clean(words.replace("{}", name), code=codes, **how)
                ends.setdefault(situation, set()).add(done.returncode)
        for situation in ("a full device", "a limit", "read-only", "hard links", "too long", "a folder that does not exist"):
            self.assertIn(3, ends[situation], situation)

    def test_outputs_in_a_folder_that_may_not_be_written(self):
        if os.geteuid() == 0:
            self.skipTest("the superuser writes everywhere")
        os.mkdir(self.path(NAME), 0o500)
        for words in WRITERS:
            self.run_clean(words.replace("{}", "{}/new"), code=3)

    def test_outputs_that_are_inputs(self):
        self.write(NAME, sample("round-returned.txt"))
        for words in ("export {} --to jsonl -o {}", "export {} --to jsonl -o {} --findings {}", "export in.txt --to jsonl -o {} --findings {}",
                      "import {} --from jsonl --encoding ansi -o {}", "rewrite in.txt -o {}/", "export {} --to sqlite -o {}"):
            self.run_clean(words, code=(2, 3))
        with open(self.path(NAME), "ab") as out:
            done = subprocess.run([TRAMO, "export", NAME, "--to", "jsonl"], stdout=out, stderr=subprocess.PIPE, cwd=self.folder, env=ENVIRONMENT)
        self.assertEqual((done.returncode, has_mark(done.stderr.decode())), (2, []))

    def test_folder_with_tables(self):
        """Names of existing files in a folder."""
        folder = self.path("tables")
        os.mkdir(folder)
        for content in (b"x,y\n1,2\n", b"kind,line\nAMR,1\n", b""):
            with open(os.path.join(os.fsencode(folder), STEERING + b".csv"), "wb") as file:
                file.write(content)
            self.run_clean("import tables --from csv --encoding ansi")
            self.run_clean("export in.txt --to csv -o tables")
            self.run_clean("export in.txt --to csv -o tables --force")

    def test_terminal(self):
        """Also in the line that shows the progress."""
        self.write(NAME, sample("round-broken.txt"))
        for words in (["check", "--color", "never", NAME], ["stats", NAME], ["show", "--color", "never", NAME, "1"]):
            self.assertEqual(has_mark(on_terminal(words, cwd=self.folder)), [])


class Words(NamesTest):
    def test_values_and_words(self):
        for words in VALUES:
            self.run_clean(words, code=2)
            self.run_clean(words, name="\u202e", code=2)

    def test_more_words_than_wanted(self):
        for command in COMMANDS:
            self.run_clean(f"{command} in.txt {{}} {{}} {{}}")
            self.run_clean(f"{command} --help={{}}", code=2)
            self.run_clean(f"{command} in.txt -Z{{}}", code=2)

    def test_environment(self):
        self.write("file", b"")
        for variable, codes in (("TMPDIR", 3), ("TZ", None), ("TERM", None), ("HOME", None), ("LC_ALL", None), ("LANG", None), ("LANGUAGE", None),
                                ("XDG_CONFIG_HOME", None), ("XDG_RUNTIME_DIR", None), ("SQLITE_TMPDIR", None), ("COLUMNS", None), ("PATH", None)):
            for value in (NAME, self.path("file") + "/" + NAME, "/nowhere/" + NAME):
                for words in ("check -", "export - --to jsonl", "convert - --encoding ansi -o -", "rewrite --force - -o -", "stats -", "show - 1"):
                    self.run_clean(words, stdin=sample("round-returned.txt"), env={variable: value}, code=codes)
                self.run_clean("export in.txt --to sqlite -o db", env={variable: value})
                self.run_clean("export in.txt --to csv --only AMR -o out.csv", env={variable: value})

    def test_full_temporary_folder(self):
        os.mkdir(self.path(NAME))
        done = self.run_clean("check -", stdin=sample("round-returned.txt"), env={"TMPDIR": self.path(NAME)}, code=3,
                              preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (10, 10)))
        self.assertIn(rb"\x1b[31m", done.stderr)


class Contents(NamesTest):
    """Names in imported files."""

    def import_rows(self, form, content, **how):
        self.write("rows", content)
        return self.run_clean(f"import rows --from {form} --encoding ansi -o out", **how)

    def import_table(self, table, columns, values=None):
        with contextlib.suppress(FileNotFoundError):
            os.remove(self.path("rows.db"))
        database = sqlite3.connect(self.path("rows.db"))
        quoted = ", ".join('"' + column.replace('"', '""') + '"' for column in columns)
        database.execute(f'create table "{table}" ({quoted})')
        database.execute(f'insert into "{table}" values ({", ".join("?" * len(columns))})', values or ["1"] * len(columns))
        database.commit()
        database.close()
        return self.run_clean("import rows.db --from sqlite --encoding ansi -o out", code=2)

    def each_place_of_a_name(self, name):
        """Messages about unknown names and invalid values."""
        text = name.encode("utf-8", "surrogateescape")
        quoted, string = b'"' + text.replace(b'"', b'""') + b'"', json.dumps(name).encode()
        csv, jsonl = (lambda content: self.import_rows("csv", content, code=2)), (lambda content: self.import_rows("jsonl", content, code=2))
        yield csv(quoted + b"," + quoted + b"\nAMR,1\n")
        yield csv(b"kind,line," + quoted + b"\nAMR,1,2\n")
        yield csv(b"kind,line," + quoted + b"," + quoted + b"\nAMR,1,2,3\n")
        yield csv(b"kind,line," + quoted + b'\nAMR,1,"\\q"\n')
        yield csv(b"kind,line\n" + quoted + b",1\n")
        yield self.import_rows("csv", b"kind,line\nAMR," + quoted + b"\n", code=0 if name.strip("0") == "" else 2)
        yield csv(b"kind,line\n" + quoted + b"\n")
        yield csv(quoted)
        yield csv(b"\n".join([quoted] * 3))
        yield jsonl(b'{"kind":"AMR","line":1,' + string + b':"x"}\n')
        yield jsonl(b'{"kind":"AMR","line":1,' + string + b':1,' + string + b':2}\n')
        yield jsonl(b'{"kind":' + string + b',"line":1}\n')
        yield jsonl(b'{' + string + b':' + string + b'}\n')
        yield jsonl(b'{"kind":"AMR",' + string + b'}\n')
        yield jsonl(string + b'\n')
        yield jsonl(text + b'\n')
        if "\udc9b" not in name:
            yield self.import_table("AMR", ["line", name])
            yield self.import_table(name.replace('"', ""), ["line", "x"])
            yield self.import_table("AMR", ["line", name], [1, "\\q"])
            yield self.import_table("AMR", ["x", name])

    def test_steering_names(self):
        for name in (CLEAN_TEXT, NAME, "\u202e", "caf\u00e9\u200b", "x" * 100 + "\x1b"):
            for _ in self.each_place_of_a_name(name):
                pass

    def test_keys_are_not_echoed(self):
        for key in HEX_KEYS + BASE64_KEYS:
            for done in self.each_place_of_a_name(key):
                with self.subTest(key=key, words=done.args):
                    for secret in SECRETS:
                        self.assertNotIn(secret.encode(), done.stderr)

    def test_key_lines_are_not_echoed(self):
        """A file of key lines in the place of an export."""
        for form in ("csv", "jsonl", "sqlite"):
            for content in (KEY_LINE, sample("amr-keys.txt"), KEY_LINE.replace(b'"', b""), b"kind,line," + KEY_LINE + b"\nAMR,1" + b",1" * 10):
                done = self.import_rows(form, content, code=2)
                for secret in SECRETS:
                    self.assertNotIn(secret.encode(), done.stderr, (form, content[:30]))

    def test_members_of_key_lines(self):
        """A key in the place of the name of a value."""
        for key in HEX_KEYS + BASE64_KEYS:
            self.write("keys.txt", b'{"serialNumber":"1",' + json.dumps(key).encode() + b':"x"}\r\n')
            for words in ("check --kind key keys.txt", "check --format json keys.txt", "check --format sarif keys.txt", "keys keys.txt", "keys --format json keys.txt",
                          "show keys.txt", "explain keys.txt:1", "export keys.txt --to jsonl --findings -", "export keys.txt --to jsonl", "rewrite --dry-run keys.txt",
                          "stats keys.txt", "diff keys.txt in.txt"):
                done = self.run_clean(words)
                for secret in SECRETS:
                    self.assertNotIn(secret.encode(), done.stdout + done.stderr, (key, words))
        self.write("keys.txt", b'{"serialNumber":"1","serialNumbre":"x"}\r\n')
        self.assertIn(b'unknown member "serialNumbre" is ignored', self.run_clean("check keys.txt").stdout)

    def test_valid_names_are_printed(self):
        """A typo in a name is reported with the name, everything else with its place."""
        for name in ("serialNumbre", "serial-number_2", "wmBusAddress_MeterIdentification", "two words"):
            self.assertIn(f'unknown field "{name}" of AMR'.encode(), self.import_rows("csv", f"kind,line,{name}\nAMR,1,2\n".encode()).stderr)
            self.assertIn(f'unknown field "{name}" of AMR'.encode(), self.import_rows("jsonl", f'{{"kind":"AMR","line":1,"{name}":2}}\n'.encode()).stderr)
            self.assertIn(f'unknown field "{name}"'.encode(), self.import_table("AMR", ["line", name]).stderr)
        for name in ("meterHistory1ReadingDate", "wmBusAddress_MeterId", "meterSerialNumber"):   # known names of any form
            self.assertIn(f'duplicate column "{name}"'.encode(), self.import_rows("csv", f"kind,line,{name},{name}\nAMR,1,2,3\n".encode()).stderr)
        key = HEX_KEYS[0]
        self.assertIn(b"rows:2: unknown field in column 3 of AMR", self.import_rows("csv", f"kind,line,{key}\nAMR,1,2\n".encode()).stderr)
        self.assertIn(b"duplicate column 4", self.import_rows("csv", f"kind,line,{key},{key}\nAMR,1,2,3\n".encode()).stderr)
        self.assertIn(b"rows:1:24: unknown field of AMR", self.import_rows("jsonl", f'{{"kind":"AMR","line":1,"{key}":2}}\n'.encode()).stderr)
        self.assertIn(b"AMR: unknown field in column 2", self.import_table("AMR", ["line", key]).stderr)


if __name__ == "__main__":
    unittest.main()
