"""tramo keys: lists the modules of key lines, and shows no key without --show-keys."""
import json
import os
import subprocess
import unittest
from support import ENVIRONMENT, METER, TRAMO, CliTest, lines, sample, utf16

SECRETS = {"wmBusKey_Mode5": "5627BD973F6190D6FFA4AA3918619D1B", "wmBusKey_Mode7": "38580d7b156a0e694db81a9d50161b10",
           "wmBusKeyExchangeKey": "4CA4643132A9B56864484AE545470CAD"}
MODULE = {"serialNumber": "4C30", "hardwareVersion": "2.0", "firmwareVersion": "1.0.0", "wmBusAddress_MeterId": 12345678,
          "wmBusAddress_ManufacturerId": 0x0442, "wmBusAddress_Version": 21, "wmBusAddress_DeviceType": 7} | SECRETS
OTHER = MODULE | {"serialNumber": "4C31", "wmBusAddress_MeterId": 12345679}


def key_lines(*modules):
    return lines(*(json.dumps(module).encode() for module in modules))


class Keys(CliTest):
    def keys(self, content, *options, **run):
        self.write("f", content)
        result = self.run_tool("keys", *options, "f", cwd=self.folder, **run)
        if "--show-keys" not in options:
            for secret in SECRETS.values():
                self.assertNotIn(secret.lower(), (result.out + result.err).lower())
        return result

    def findings(self, content, *options):
        return [line for line in self.keys(content, *options).out.splitlines() if line.startswith("f:")][:-1]

    def without(self, name, **others):
        return {key: value for key, value in (MODULE | others).items() if key != name}

    def test_table(self):
        result = self.keys(key_lines(MODULE, OTHER))
        self.assertEqual(result.out, """\
  line  SerialNumber  HardwareVersion  FirmwareVersion  MeterId   ManufacturerId  Version  DeviceType  Mode5            Mode7            WmBusKeyExchangeKey
     1  4C30          2.0              1.0.0            12345678  1090 ABB        21       7 water     ******** 32 hex  ******** 32 hex  ******** 32 hex
     2  4C31          2.0              1.0.0            12345679  1090 ABB        21       7 water     ******** 32 hex  ******** 32 hex  ******** 32 hex
f: 2 modules, no errors or warnings
""")
        self.assertEqual((result.code, result.err), (0, ""))

    def test_keys_are_shown_on_demand_only(self):
        self.assertEqual(self.keys(key_lines(MODULE), "--show-keys").out.splitlines()[1].split()[-3:], list(SECRETS.values()))
        shown = self.keys(key_lines(MODULE), "--show-keys", "--format", "json").json["files"][0]["modules"][0]
        self.assertEqual({name: shown[name] for name in SECRETS},
                         {name: {"length": 32, "hexadecimal": True, "key": key} for name, key in SECRETS.items()})

    def test_json(self):
        document = self.keys(key_lines(MODULE), "--format", "json").json
        self.assertEqual(document["files"], [{"file": "f", "modules": [
            {"line": 1} | MODULE | {"manufacturerLetters": "ABB", "deviceTypeName": "water"} |
            {name: {"length": 32, "hexadecimal": True} for name in SECRETS}], "findings": [], "errors": 0, "warnings": 0}])

    def test_manufacturer_letters(self):
        for number, letters in ((0x0421, "AAA"), (0x6B5A, "ZZZ"), (11290, None), (0, None), (0x0421 | 0x8000, None),
                                (0x7FFF, None), (2 ** 31 - 1, None), (-2, None)):
            with self.subTest(number=number):
                module = MODULE | {"wmBusAddress_ManufacturerId": number}
                found = self.keys(key_lines(module), "--format", "json").json["files"][0]["modules"][0]
                self.assertEqual((found["wmBusAddress_ManufacturerId"], found.get("manufacturerLetters")), (number, letters))

    def test_a_device_type_without_a_name(self):
        module = MODULE | {"wmBusAddress_DeviceType": 200}
        self.assertNotIn("deviceTypeName", self.keys(key_lines(module), "--format", "json").out)
        self.assertIn("  200         ******** 32 hex", self.keys(key_lines(module)).out)

    def test_missing_value(self):
        result = self.keys(key_lines(self.without("wmBusAddress_Version"), self.without("wmBusKey_Mode5", serialNumber="5")))
        self.assertIn("f:1: warning: wmBusAddress_Version: missing value [MandatoryMissing 0x201]\n"
                      "f:2: warning: wmBusKey_Mode5: missing value [MandatoryMissing 0x201]\nf: 2 modules, 0 errors, 2 warnings\n", result.out)
        self.assertEqual(result.out.splitlines()[2].split()[-7:], ["-", "********", "32", "hex", "********", "32", "hex"])
        self.assertEqual(result.code, 1)

    def test_key_of_another_form(self):
        for key, what, words in (("0" * 31, "31 characters", "31 hex"), ("0" * 31 + "g", "32 characters, not all hexadecimal", "32 not hex"),
                                 ("0" * 33, "33 characters", "33 hex"), ("\u00e9", "1 character, not all hexadecimal", "1 not hex")):
            with self.subTest(key=key):
                result = self.keys(key_lines(MODULE | {"wmBusKey_Mode7": key}))
                self.assertIn(f"f:1: warning: wmBusKey_Mode7: invalid key [KeyNotHexadecimal]: expected 32 hexadecimal digits, found {what}\n", result.out)
                self.assertIn(f"******** {words} ", result.out)
                self.assertNotIn(key, result.out)
                self.assertEqual(result.code, 1)

    def test_duplicates(self):
        self.assertEqual(self.findings(key_lines(MODULE, OTHER, MODULE | {"wmBusAddress_MeterId": 3}, OTHER | {"serialNumber": "9"})), [
            "f:3: warning: serialNumber: same value as in line 1 [KeyLineDuplicate]",
            "f:4: warning: wmBusAddress: same value as in line 2 [KeyLineDuplicate]"])

    def test_absent_values_are_not_duplicates(self):
        absent = [self.without("serialNumber", wmBusAddress_MeterId=i) for i in range(2)]
        found = self.findings(key_lines(*absent, *[self.without("wmBusAddress_Version", serialNumber=str(i)) for i in range(2)]))
        self.assertEqual(len(found), 4)
        self.assertFalse([line for line in found if "Duplicate" in line])

    def test_duplicates_across_files(self):
        self.write("a", key_lines(OTHER, MODULE))
        self.write("b", key_lines(MODULE))
        result = self.run_tool("keys", "a", "b", cwd=self.folder)
        self.assertIn("b:1: warning: serialNumber: same value as in line 2 of a [KeyLineDuplicate]\n", result.out)
        self.assertIn("b:1: warning: wmBusAddress: same value as in line 2 of a [KeyLineDuplicate]\n", result.out)
        self.assertIn("a: 2 modules, no errors or warnings\n", result.out)

    def test_unreadable_line(self):
        broken = json.dumps(MODULE).encode()[:-1]
        result = self.keys(lines(broken) + key_lines(OTHER))
        self.assertEqual(result.out.splitlines()[-2].partition(" [")[0], f"f:1:{len(broken) + 1}: error: malformed key line")
        self.assertTrue(result.out.endswith("f: 1 module, 1 error, 0 warnings\n"))
        self.assertEqual(result.code, 1)

    def test_empty_line_and_line_ending(self):
        self.assertEqual(self.findings(key_lines(MODULE) + b"\r\n" + key_lines(OTHER)[:-2]),
                         ["f:2: error: line is empty [LineEmpty]", "f:3: error: the last line has no line ending [LineEndMissing]: expected CR LF"])

    def test_lines_of_other_kinds_are_counted(self):
        result = self.keys(key_lines(MODULE, OTHER) + lines(METER))
        self.assertEqual((result.code, result.err), (0, "tramo: f: 1 line is not a key line: meter subscriber (1)\n"))
        result = self.keys(key_lines(MODULE) + lines(METER, METER))
        self.assertEqual(result.err, "tramo: f: 2 lines are not key lines: meter subscriber (2)\n")

    def test_samples(self):
        result = self.run_tool("keys", "samples/amr-keys.txt")
        self.assertEqual((result.code, result.out.count("******** 32 hex")), (0, 24))
        self.assertTrue(result.out.endswith("samples/amr-keys.txt: 8 modules, no errors or warnings\n"))

    def test_hostile_text(self):
        result = self.keys(key_lines(MODULE | {"serialNumber": "\x1b[2J\u202e", "hardwareVersion": "\u65e5"}))
        self.assertNotIn("\x1b", result.out)
        self.assertNotIn("\u202e", result.out)
        self.assertEqual(self.keys(key_lines(MODULE | {"serialNumber": "\x1b\u202e"}), "--format", "json").json["files"][0]["modules"][0]["serialNumber"], "\x1b\u202e")

    def test_utf16_and_standard_input(self):
        text = key_lines(MODULE).decode()
        plain = self.keys(text.encode()).out
        self.assertEqual(self.keys(utf16(text)).out, plain)
        result = self.run_tool("keys", "-", stdin=text.encode())
        self.assertEqual(result.out, plain.replace("f: 1", "<stdin>: 1"))

    def test_empty_file(self):
        result = self.keys(b"")
        self.assertEqual((result.code, result.out), (1, "f: warning: the file is empty [FileEmpty]\nf: 0 modules, 0 errors, 1 warning\n"))

    def test_unreadable_files(self):
        self.write("f", key_lines(MODULE))
        result = self.run_tool("keys", "missing", ".", "f", cwd=self.folder)
        self.assertEqual((result.code, result.err), (2, "tramo: missing: No such file or directory\ntramo: .: is a directory\n"))
        self.assertIn("f: 1 module, no errors or warnings\n", result.out)
        self.assertEqual(len(self.run_tool("keys", "--format", "json", "missing", "f", cwd=self.folder).json["files"]), 1)

    def test_refused_output(self):
        self.write("f", key_lines(MODULE))
        with open("/dev/full", "wb") as full:
            done = subprocess.run([TRAMO, "keys", "f"], stdout=full, stderr=subprocess.PIPE, env=ENVIRONMENT, cwd=self.folder)
        self.assertEqual((done.returncode, done.stderr), (3, b"tramo: cannot write the standard output: No space left on device\n"))
        reading, writing = os.pipe()
        os.close(reading)
        done = subprocess.run([TRAMO, "keys", "f"], stdout=writing, stderr=subprocess.PIPE, env=ENVIRONMENT, cwd=self.folder)
        os.close(writing)
        self.assertEqual((done.returncode, done.stderr), (3, b""))

    def test_usage(self):
        for words, message in ((["keys"], "a FILE is missing"), (["keys", "--show-key", "f"], 'did you mean "--show-keys"?'),
                               (["keys", "--format", "xml", "f"], 'invalid value "xml"; expected text or json')):
            result = self.run_tool(*words)
            self.assertEqual((result.code, result.out), (2, ""))
            self.assertIn(message, result.err)
        page = self.run_tool("keys", "--help")
        self.assertEqual((page.code, page.out.splitlines()[2:4]), (0, ["Examples:", "  tramo keys samples/amr-keys.txt                 a table, the keys masked"]))


if __name__ == "__main__":
    unittest.main()
