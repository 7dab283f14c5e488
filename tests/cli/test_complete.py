"""Completion of the command line: what is offered is what the tool accepts, in every shell."""
import re
import subprocess
import unittest
from support import ENVIRONMENT, TRAMO, CliTest

# For each command, arguments that it is content with as far as its options go.
ENOUGH = {
    "check": ["f"], "convert": ["f", "--encoding", "ansi", "-o", "out"], "diff": ["f", "f"], "explain": ["AMR"],
    "export": ["f", "--to", "jsonl"], "import": ["f", "--from", "jsonl", "--encoding", "ansi"], "keys": ["f"],
    "rewrite": ["f", "--dry-run"], "sample": ["--meters", "1", "-o", "out"], "show": ["f"], "stats": ["f"]}

# Asks the function as the shell does, and tells when it leaves the word to the usual completion of file names.
ASK = """
compopt() { [[ "$*" == "-o default" ]] && echo FILES; }
source /dev/stdin <<<"$SCRIPT"
COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
_tramo
printf '%s\\n' "${COMPREPLY[@]}"
complete -p tramo >/dev/null || echo "not registered"
"""


def commands():
    page = subprocess.run([TRAMO, "help"], capture_output=True, text=True, check=True, env=ENVIRONMENT).stdout
    return re.findall(r"^  (\w+) ", page.split("\nCommands:\n")[1].split("\n\n")[0], re.M)


class Completion(CliTest):
    def setUp(self):
        super().setUp()
        self.write("f", b"")

    def script(self, shell):
        result = self.run_tool("help", "--completion", shell)
        self.assertEqual((result.code, result.err), (0, ""))
        return result.out

    def shell(self, *command, stdin="", script=""):
        done = subprocess.run(command, input=stdin, capture_output=True, text=True, cwd=self.folder, timeout=60,
                              env=ENVIRONMENT | {"SCRIPT": script, "HOME": self.folder})
        self.assertEqual((done.returncode, done.stderr), (0, ""), command)
        return done.stdout.split("\n")[:-1]

    def ask(self, *words):
        """What bash offers for the last of these words."""
        return [word for word in self.shell("bash", "-c", ASK, "bash", "tramo", *words, script=self.script("bash")) if word]

    def test_commands(self):
        self.assertEqual(set(commands()), {*ENOUGH, "help"})
        self.assertEqual(self.ask(""), commands())
        self.assertEqual(self.ask("ch"), ["check"])
        self.assertEqual(self.ask("--v"), ["--version"])
        self.assertEqual(self.ask("help", "ch"), ["check"])
        self.assertEqual(self.ask("help", "--man", "f"), ["format"])
        self.assertEqual(self.ask("help", "--completion", ""), ["bash", "zsh", "fish"])

    def test_options_offered_are_those_accepted(self):
        offered = {command: set(self.ask(command, "--")) for command in ENOUGH}
        every = set().union(*offered.values())
        self.assertIn("--encoding", every)
        for command, options in offered.items():
            for option in sorted(every):
                answer = self.run_tool(command, option, cwd=self.folder).err
                self.assertEqual("is no option" not in answer, option in options, (command, option, answer))

    def test_values_offered_are_those_accepted(self):
        lists = 0
        for command, enough in ENOUGH.items():
            for option in self.ask(command, "--"):
                values = self.ask(command, option, "")
                answer = self.run_tool(command, *enough, option, "?", cwd=self.folder).err
                accepted = re.search(rf'{option}: "\?" is none of (.*)', answer)
                if option == "--help" or not accepted:
                    self.assertIn(values, ([], ["FILES"]), (command, option))
                elif (command, option) in {("export", "--only"), ("sample", "--kinds")}:  # names with blanks: not offered
                    self.assertEqual(values, [])
                else:
                    lists += 1
                    self.assertEqual(values, accepted[1].split(", "), (command, option))
        self.assertGreater(lists, 15)

    def test_where_words_stand(self):
        self.assertEqual(self.ask("check", "--format", "j"), ["json"])
        self.assertEqual(self.ask("check", "--format", "=", "j"), ["json"])
        self.assertEqual(self.ask("check", "--format", "="), ["text", "json", "sarif"])
        self.assertEqual(self.ask("check", "--max-findings", ""), [])
        self.assertEqual(self.ask("check", "f", "--st"), ["--strict"])
        self.assertEqual(self.ask("explain", "-"), ["--markdown", "--color", "-h", "--help"])
        self.assertEqual(self.ask("convert", "-o", ""), ["FILES"])
        for words in (["check", ""], ["check", "--strict", "r"], ["convert", "-o", "-"], ["check", "--", "--st"], ["show", "r"]):
            self.assertEqual(self.ask(*words), ["FILES"], words)

    def test_other_shells_understand_theirs(self):
        for shell, name in (("bash", "tramo"), ("zsh", "_tramo"), ("fish", "tramo.fish")):
            self.shell(shell, "-n", self.write(name, self.script(shell).encode()))

    def test_bash_script_is_sound(self):
        self.shell("shellcheck", "--shell=bash", self.write("tramo", self.script("bash").encode()))

    def test_fish(self):
        path = self.write("tramo.fish", self.script("fish").encode())

        def ask(line):
            return [answer.split("\t")[0] for answer in
                    self.shell("fish", "--no-config", "-c", 'source $argv[1]; complete -C $argv[2]', path, line)]
        self.assertEqual(sorted(ask("tramo ")), sorted(commands()))
        self.assertEqual(ask("tramo check --format j"), ["json"])
        self.assertEqual(sorted(ask("tramo check --color ")), ["always", "auto", "never"])
        self.assertEqual(sorted(ask("tramo convert --enc")), ["--encoding"])
        for command in ENOUGH:
            self.assertEqual(sorted(ask(f"tramo {command} --")), sorted(self.ask(command, "--")))
        self.assertIn("f", ask("tramo check "))
        self.assertEqual(ask("tramo check --max-findings "), [])

    def test_zsh_registers(self):
        path = self.write("_tramo", self.script("zsh").encode())
        self.assertEqual(self.shell("zsh", "-f", "-c",
            'autoload -U compinit && compinit -u -D && source $1 && print -r -- $_comps[tramo] ${+functions[_tramo]}', "zsh", path),
            ["_tramo 1"])

    def test_unknown_shell(self):
        for arguments in (["tcsh"], []):
            result = self.run_tool("help", "--completion", *arguments)
            self.assertEqual((result.code, result.out), (2, ""))
            self.assertIn(f'--completion: "{"".join(arguments)}" is none of bash, zsh, fish', result.err)


if __name__ == "__main__":
    unittest.main()
