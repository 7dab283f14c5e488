"""Completion of the command line: in every shell, it offers exactly what the tool accepts."""
import os
import pty
import re
import select
import signal
import subprocess
import unittest
from support import ENVIRONMENT, TRAMO, CliTest

# Valid arguments for each command, without options.
ENOUGH = {
    "anonymize": ["f", "--key", "f", "-o", "out"], "check": ["f"], "convert": ["f", "--encoding", "ansi", "-o", "out"], "diff": ["f", "f"], "explain": ["AMR"],
    "export": ["f", "--to", "jsonl"], "import": ["f", "--from", "jsonl", "--encoding", "ansi"], "keys": ["f"],
    "reconcile": ["f", "f"], "repair": ["f"], "report": ["f", "-o", "out"], "rewrite": ["f", "--dry-run"], "sample": ["--meters", "1", "-o", "out"], "show": ["f"], "stats": ["f"]}

# Calls the function as the shell does, and reports when it leaves the word to the completion of file names.
ASK = """
compopt() { [[ "$*" == "-o default" ]] && echo FILES; }
source /dev/stdin <<<"$SCRIPT"
COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
_tramo
printf '%s\\n' "${COMPREPLY[@]}"
complete -p tramo >/dev/null || echo "not registered"
"""

# Completes on a terminal, and records the words that zsh would insert. The signals are composed, so that an echo is not one.
ZSH = r"""
unsetopt zle_bracketed_paste prompt_cr prompt_sp; PROMPT=
autoload -U compinit; compinit -u -D; source ./_tramo
compadd() {
    local -a matches
    if (( ! ${argv[(I)-[OAD]]} )); then
        builtin compadd -O matches "$@"
        (( $#matches )) && print -rl -- "${matches[@]}" >>$OFFERED
    fi
    builtin compadd "$@"
}
complete-and-tell() { zle complete-word; print -r -- "DO""NE" >/dev/tty }
zle -N complete-and-tell
bindkey "^I" complete-and-tell
print "REA""DY"
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
        """Returns what bash offers for the last of these words."""
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
                self.assertEqual("unknown option" not in answer, option in options, (command, option, answer))

    def test_values_offered_are_those_accepted(self):
        lists = 0
        for command, enough in ENOUGH.items():
            for option in self.ask(command, "--"):
                values = self.ask(command, option, "")
                answer = self.run_tool(command, *enough, option, "?", cwd=self.folder).err
                if os.path.exists(os.path.join(self.folder, "?")):
                    os.remove(os.path.join(self.folder, "?"))   # an OUT
                accepted = re.search(rf'{option}: invalid value "\?"; expected (?!a number)(.*)', answer)
                if (command, option) in {("check", "--rule"), ("sample", "--faults")}:   # rules
                    self.assertGreater(len(values), 23)
                    if option == "--rule":
                        rules = {value.partition("=")[0] for value in values}
                        self.assertEqual({f"{rule}={what}" for rule in rules for what in ("off", "hint", "warning", "error")},
                                         set(values))
                    for value in values[::9]:
                        again = self.run_tool(command, *enough, option, value, cwd=self.folder).err
                        self.assertNotIn(option + ":", again)
                elif option == "--help" or not accepted:
                    self.assertIn(values, ([], ["FILES"], self.ask(command, "")), (command, option))
                elif (command, option) in {("export", "--only"), ("sample", "--kinds")}:
                    self.assertEqual([value.replace("-", " ") for value in values], re.split(", | or ", accepted[1]))
                    for value in values:
                        self.assertNotIn("invalid value", self.run_tool(command, *enough, option, value, cwd=self.folder).err)
                else:
                    lists += 1
                    self.assertEqual(values, re.split(", | or ", accepted[1]), (command, option))
        self.assertGreater(lists, 15)

    def test_positions_of_words(self):
        self.assertEqual(self.ask("check", "--format", "j"), ["json"])
        self.assertEqual(self.ask("check", "--format", "=", "j"), ["json"])
        self.assertEqual(self.ask("check", "--format", "="), ["text", "json", "sarif"])
        self.assertEqual(self.ask("check", "--max-findings", ""), [])
        self.assertEqual(self.ask("check", "f", "--st"), ["--strict"])
        self.assertEqual(self.ask("explain", "-"), ["--format", "--markdown", "--color", "-h", "--help"])
        self.assertEqual(self.ask("convert", "-o", ""), ["FILES"])
        self.assertEqual(self.ask("sample", "--kinds", "meter-"), ["meter-subscriber", "meter-change"])
        self.assertEqual(self.ask("sample", "--kinds", "round,1,AM"), ["round,1,AMR"])
        for words in (["check", ""], ["check", "--strict", "r"], ["convert", "-o", "-"], ["check", "--", "--st"], ["show", "r"]):
            self.assertEqual(self.ask(*words), ["FILES"], words)

    def test_explain(self):
        kinds = self.ask("explain", "")
        self.assertEqual(len(kinds), 12)
        fields = 0
        for kind in kinds:
            offered = self.ask("explain", kind, ":")
            fields += len(offered)
            self.assertEqual(self.ask("explain", kind, ":", offered[0]), [name for name in offered if name.startswith(offered[0])])
            self.assertEqual(self.ask("explain", f"{kind}:{offered[0]}")[0], f"{kind}:{offered[0]}")  # where ":" breaks no words
            for name in offered[:3]:
                self.assertEqual(self.run_tool("explain", f"{kind}:{name}").code, 0, (kind, name))
        self.assertEqual(fields, sum(map(int, re.findall(r" (\d+) (?:fields|values)$", self.run_tool("explain").out, re.M))))
        self.assertEqual(self.ask("explain", "1", ":", "meterFl"), ["meterFluidType"])
        for words in (["f", ":"], ["f", ":", "1"], ["f:1"], ["ro.txt"]):
            self.assertEqual(self.ask("explain", *words), ["FILES"])

    def test_other_shells_parse_their_scripts(self):
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
        self.assertEqual(sorted(ask("tramo sample --kinds meter-")), ["meter-change", "meter-subscriber"])
        self.assertEqual(ask("tramo sample --kinds round,1,AM"), ["round,1,AMR"])
        self.assertEqual(ask("tramo sample --kinds=round,1,AM"), ["--kinds=round,1,AMR"])
        self.assertEqual(sorted(ask("tramo explain meter-s")), ["meter-subscriber"])
        self.assertEqual(ask("tramo explain meter-subscriber:meterFl"), ["meter-subscriber:meterFluidType"])
        values = {"key:" + name for name in self.ask("explain", "key", ":")}
        self.assertEqual(values - set(ask("tramo explain key:")), set())  # there are files, too

    def test_zsh_registers(self):
        path = self.write("_tramo", self.script("zsh").encode())
        self.assertEqual(self.shell("zsh", "-f", "-c",
            'autoload -U compinit && compinit -u -D && source $1 && print -r -- $_comps[tramo] ${+functions[_tramo]}', "zsh", path),
            ["_tramo 1"])

    def test_zsh(self):
        self.write("_tramo", self.script("zsh").encode())
        self.start_zsh()
        self.assertEqual(sorted(self.ask_zsh("tramo ")), sorted([*commands(), "--help", "--version"]))
        self.assertEqual(self.ask_zsh("tramo check --format j"), ["json"])
        self.assertEqual(sorted(self.ask_zsh("tramo check --color ")), ["always", "auto", "never"])
        self.assertEqual(self.ask_zsh("tramo convert --enc"), ["--encoding"])
        self.assertIn("f", self.ask_zsh("tramo check "))
        self.assertEqual(sorted(self.ask_zsh("tramo sample --kinds meter-")), ["meter-change", "meter-subscriber"])
        self.assertEqual(self.ask_zsh("tramo sample --kinds round,AM"), ["AMR"])
        self.assertEqual(sorted(self.ask_zsh("tramo explain meter-")), ["meter-change", "meter-subscriber"])
        self.assertEqual(sorted(self.ask_zsh("tramo explain key:")), sorted(self.ask("explain", "key", ":")))
        self.assertEqual(self.ask_zsh("tramo explain 1:meterFl"), ["meterFluidType"])
        for command in ENOUGH:
            self.assertEqual(sorted(self.ask_zsh(f"tramo {command} --")), sorted(o for o in self.ask(command, "--") if o[:2] == "--"))

    def start_zsh(self):
        """Starts zsh on a terminal."""
        setup = self.write("setup", ZSH.encode())
        self.offered = self.write("offered", b"")
        pid, self.terminal = pty.fork()
        if pid == 0:
            os.chdir(self.folder)
            os.execvpe("zsh", ["zsh", "-f", "-i"], ENVIRONMENT | {"HOME": self.folder, "TERM": "dumb", "OFFERED": self.offered})
        self.addCleanup(lambda: (os.kill(pid, signal.SIGKILL), os.waitpid(pid, 0), os.close(self.terminal)))
        os.write(self.terminal, f"source {setup}\n".encode())
        self.read_until(b"READY")

    def ask_zsh(self, line):
        """Returns the words that zsh offers for this line after Tab."""
        os.truncate(self.offered, 0)
        os.write(self.terminal, b"\x15" + line.encode() + b"\t")   # Ctrl-U: no line is left
        self.read_until(b"DONE")
        with open(self.offered) as file:
            return list(dict.fromkeys(file.read().split("\n")[:-1]))

    def read_until(self, sign):
        text = b""
        while sign not in text:
            self.assertTrue(select.select([self.terminal], [], [], 20)[0], text)
            text += os.read(self.terminal, 65536)

    def test_unknown_shell(self):
        for arguments in (["tcsh"], []):
            result = self.run_tool("help", "--completion", *arguments)
            self.assertEqual((result.code, result.out), (2, ""))
            self.assertIn(f'--completion: invalid value "{"".join(arguments)}"; expected bash, zsh or fish', result.err)


if __name__ == "__main__":
    unittest.main()
