"""Shared by the tests of export and import: the round-trip through values, and hostile files."""
import os
import random
import subprocess
from support import ENVIRONMENT, METER, CliTest, lines, put, sample, some, utf16

REWRITTEN = os.environ["REWRITTEN"]
SAMPLES = ("amr-keys.txt", "parameters.txt", "round-broken.txt", "round-damaged.txt", "round-exported.txt",
           "round-returned-utf16.txt", "round-returned.txt", "tags.txt")

# Texts of fields with unusual results.
WORDS = ("nan", "-nan", "inf", "-inf", "-0", "0", "-1", "-1.0", "-2", "1e300", "0x1A", "1", "2", "T", "N", "A", "M", " ", "+5",
         "20240131", "202401310230", "202403310230", "202410270230", "19700101", "19691231", "20380119", "203801190314",
         "00000000", "1969", "2024", "9999", "FFFF", "0001", "=A1", "-x", "@y", '"', "a,b", "\\u0041", "\\", "\t", "\r", "\0", "é",
         "1.5", "-0.0", "1,5", "1E5", "12345678901234567890")


def hostile(seed, count, wide):
    """Returns record lines with arbitrary text in their fields; some are too short or too long."""
    rng = random.Random(seed)
    good = [line.decode("latin-1") for line in sample("round-returned.txt").split(b"\r\n")[:-1]]
    odd = (lambda: chr(rng.choice((0, 0x20AC, 0xD83D, 0xDE00, 0xD800 + rng.randrange(2048), 0xFEFF, rng.randrange(65535))))) if wide \
        else (lambda: chr(rng.randrange(256)))
    text = ""
    for _ in range(count):
        line = list(rng.choice(good) if rng.random() < 0.5 else rng.choice("012345679") + " " * 511)
        for _ in range(rng.randrange(60)):
            at = rng.randrange(1, 512)
            piece = rng.choice(WORDS) if rng.random() < 0.6 else odd() if rng.random() < 0.5 else " " * rng.randrange(1, 30)
            line[at:at + len(piece)] = piece[:512 - at]
        line = "".join(line).replace("\n", " ")
        if rng.random() < 0.03:
            line = line[:rng.randrange(512)]
        elif rng.random() < 0.03:
            line += "xy"
        text += line + "\r\n"
    return b"\xff\xfe" + text.encode("utf-16-le", "surrogatepass") if wide else text.encode("latin-1")


class TripTest(CliTest):
    def path(self, name):
        return os.path.join(self.folder, name)

    def rewritten(self, content, encoding, env=None):
        """Returns the file after the library has read and written it."""
        source, target = self.write("rewritten-from", content), self.path("rewritten-to")
        if os.path.exists(target):
            os.remove(target)
        subprocess.run([REWRITTEN, source, encoding, target], check=True, env=ENVIRONMENT | (env or {}))
        with open(target, "rb") as file:
            return file.read()

    def trip(self, content, form, encoding, out="x.d", env=None, code=(0, 1)):
        """Returns the file after an export and an import."""
        source = self.write("trip-from", content)
        exported = self.run_tool("export", source, "--to", form, "--show-keys", "-o", self.path(out), env=env)
        self.assertIn(exported.code, code, exported.err)
        result = self.run_tool("import", self.path(out), "--from", form, "--encoding", encoding, "-o", self.path("trip-to"), env=env)
        self.assertIn(result.code, code, result.err)
        with open(self.path("trip-to"), "rb") as file:
            return file.read()


class TripTests:
    """The tests for every form of export (`form`)."""

    def test_samples(self):
        for number, name in enumerate(SAMPLES):
            for encoding in ("ansi", "utf16le"):
                with self.subTest(name=name, encoding=encoding):
                    self.assertEqual(self.trip(sample(name), self.form, encoding, f"{number}{encoding}.d"),
                                     self.rewritten(sample(name), encoding))

    def test_hostile_files(self):
        for zone in ("UTC", "Europe/Paris", "America/Sao_Paulo"):
            for wide in (False, True):
                with self.subTest(zone=zone, wide=wide):
                    content, encoding = hostile(f"{zone}{wide}", 400, wide), "utf16le" if wide else "ansi"
                    self.assertEqual(self.trip(content, self.form, encoding, f"{zone}{wide}.d".replace("/", "-"), {"TZ": zone}),
                                     self.rewritten(content, encoding, {"TZ": zone}))

    def test_sample_rounds(self):
        for seed, faults in ((1, "0"), (2, "0.3"), (3, "1")):
            for encoding in ("ansi", "utf16le"):
                with self.subTest(seed=seed, encoding=encoding):
                    round_file = self.path(f"{seed}{encoding}.txt")
                    made = self.run_tool("sample", "--meters", "40", "--seed", str(seed), "--returned", "--faults", faults,
                                         "--encoding", encoding, "-o", round_file)
                    self.assertEqual((made.code, made.err), (0, ""))
                    with open(round_file, "rb") as file:
                        content = file.read()
                    self.assertEqual(self.trip(content, self.form, encoding, f"{seed}{encoding}.d"), self.rewritten(content, encoding))

    def test_noise(self):
        for seed in range(4):
            rng = random.Random(f"noise {seed}")
            # Lines of any length, including the lengths of the kinds.
            pieces = [rng.randbytes(rng.choice((0, 1, 23, 40, 512, rng.randrange(2000)))).replace(b"\n", b" ") for _ in range(60)]
            for encoding in ("ansi", "utf16le"):
                with self.subTest(seed=seed, encoding=encoding):
                    text = "".join("x" * (i == 0) + piece.decode("latin-1" if encoding == "ansi" else "utf-16-le", "replace")
                                   .replace("\n", " ") + rng.choice(("\r\n", "\n")) for i, piece in enumerate(pieces))
                    content = text.encode("latin-1") if encoding == "ansi" else utf16(text)
                    self.assertEqual(self.trip(content, self.form, encoding, f"{seed}{encoding}.d"), self.rewritten(content, encoding))

    def test_every_character(self):
        for first in some(range(0x20, 0xFFFF, 0x1000 if self.slow else 0x400)):
            text = "".join(chr(c) for c in range(first, min(first + 0x400, 0xFFFF)) if c != 0x0A)
            rows = [METER.decode("latin-1")[:463] + text[i:i + 29].ljust(29) + "." + METER.decode("latin-1")[493:]
                    for i in range(0, len(text), 29)]
            content = b"\xff\xfe" + "".join(row + "\r\n" for row in rows).encode("utf-16-le", "surrogatepass")
            self.assertEqual(self.trip(content, self.form, "utf16le", f"{first}.d"), content)

    def test_line_endings_become_cr_lf(self):
        content = METER + b"\n" + METER[:100] + b"\n\n" + METER
        expected = lines(METER, METER[:100], b"", METER)
        self.assertEqual(self.trip(content, self.form, "ansi"), expected)

    def test_empty_file(self):
        self.assertEqual(self.trip(b"", self.form, "utf16le", "empty.csv"), b"\xff\xfe")
        self.assertEqual(self.trip(b"", self.form, "ansi", "empty2.csv"), b"")

    def test_cells_that_look_like_something_else(self):
        for text in (b"=1+1", b"+1", b"-1", b"@x", b"\tx", b"\rx", b'"', b'a"b,c', b",", b"\\", b"\\u003d", b"\\\\u", b"null", b"nan", b"***"):
            content = lines(put(METER, 464, text.ljust(30)))
            with self.subTest(text=text):
                self.assertEqual(self.trip(content, self.form, "ansi", f"{text.hex()}.d"), content)
