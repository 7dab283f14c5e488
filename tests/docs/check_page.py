"""Runs the programs and commands of a page and compares their output with the output shown.

usage: check_page.py ROOT PAGE TOOL PROGRAM...

A cpp or c block that begins with #include is a program, and the next text block is its output; PROGRAM... are these programs,
compiled. A console block contains commands, each after "$ ", with their output below them. All run in sequence in one folder,
which contains the samples, with the tool as ./tramo and as tramo. A line "..." stands for any number of lines, and times are
not compared. Any other text block shows lines of the records' tables. Links to files must have a target. Blocks of other kinds
are allowed only if ELSEWHERE names the test that checks them; it can also name sections.
"""
import os
import re
import shlex
import shutil
import subprocess
import sys
import tempfile

TABLES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../model/*.cpp")
ELSEWHERE = {
    "README.md": {"sh", "cmake", "python"},   # tests/scripts, tests/consume and tests/python
    "docs/guide.md": {"Add a record kind"},   # new_kind.py
    "docs/editors.md": {"vim", "yaml"},       # test_editors.py
    "docs/languages.md": {"csharp", "java", "go", "rust"},   # the same calls as in tests/c
}


def blocks(text):
    """The language and the lines of each fenced block."""
    return re.findall(r"^```(\S*)\n(.*?)^```$", text, re.M | re.S)


def agrees(shown, said):
    """Returns whether the output matches the lines shown, in which "..." stands for any number of lines."""
    if not shown:
        return not said
    if shown[0] == "...":
        return any(agrees(shown[1:], said[i:]) for i in range(len(said) + 1))
    return bool(said) and shown[0] == said[0] and agrees(shown[1:], said[1:])


def comparable(text):
    return [re.sub(r"\d+(\.\d+)? (ms|s)\b", "TIME", line).rstrip() for line in text.splitlines()]


def commands(block):
    """The commands of a console block, each with its output lines. A backslash continues a command on the next line."""
    for part in re.split(r"^\$ ", block, flags=re.M)[1:]:
        command, shown = re.fullmatch(r"((?:[^\n]*\\\n)*[^\n]*\n)(.*)", part, re.S).groups()
        yield command.strip(), shown


def section(text, heading):
    return re.search(rf"^## {heading}\n.*?(?=^## |\Z)", text, re.M | re.S)


def runs(page, text, programs):
    """The programs and commands to run, each with the output shown."""
    for heading in ELSEWHERE.get(page, ()):
        if part := section(text, heading):
            text = text.replace(part[0], "")
    programs = list(programs)
    waiting = None
    for language, block in blocks(text):
        if waiting and language != "text":
            raise SystemExit(f"{page}: the output of a program is not shown")
        if language in ("cpp", "c") and block.startswith("#include"):
            waiting = programs.pop(0)
        elif language == "text" and waiting:
            yield waiting, block
            waiting = None
        elif language == "console":
            yield from commands(block)
        elif language == "text":
            yield from ((f"cat {TABLES} | grep -oF {shlex.quote(line)} | sort -u", line) for line in block.splitlines())
        elif language not in ELSEWHERE.get(page, ()):
            raise SystemExit(f'{page}: nobody looks at a block of "{language}":\n{block}')
    if waiting or programs:
        raise SystemExit(f"{page}: the output of a program is not shown, or a program was not found")


def problems(root, page, tool, programs):
    with open(os.path.join(root, page), encoding="utf-8") as file:
        text = file.read()
    with tempfile.TemporaryDirectory() as folder:
        shutil.copytree(os.path.join(root, "samples"), os.path.join(folder, "samples"))
        os.symlink(tool, os.path.join(folder, "tramo"))
        environment = {"PATH": f"{folder}:{os.environ['PATH']}", "TZ": "UTC", "LC_ALL": "C.UTF-8", "HOME": folder} | {
            name: os.environ[name] for name in os.environ if name.endswith("SAN_OPTIONS")}
        ran = 0
        for command, shown in runs(page, text, programs):
            done = subprocess.run(["bash", "-c", command], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, cwd=folder,
                                  env=environment, stdin=subprocess.DEVNULL, timeout=120)
            said = done.stdout.decode("utf-8")
            if not agrees(comparable(shown), comparable(said)):
                yield f"{command}\nsays something else than is shown; it says:\n{said}"
            if said and not set(comparable(shown)) - {"...", ""}:
                yield f"{command}: nothing of its output is shown"
            ran += 1
        if not ran:
            yield "nothing is run"
    prose = re.sub(r"^```.*?^```$", "", text, flags=re.M | re.S)  # a lambda in a program looks like a link
    for target in re.findall(r"\]\(([^):#]+)[^)]*\)", prose):
        if not os.path.exists(os.path.join(root, os.path.dirname(page), target)):
            yield f"there is no {target}"


def main(root, page, tool, *programs):
    found = [f"{page}: {problem}" for problem in problems(root, page, tool, programs)]
    print(*found, sep="\n")
    return bool(found)


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
