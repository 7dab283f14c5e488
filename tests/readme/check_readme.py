"""Runs what the README files show and compares what it says.

usage: check_readme.py EXAMPLE TOOL README...

A text block is the output of EXAMPLE, the compiled C++ example; in a console block, the output of TOOL follows each
command "$ ./tramo ...". A line "..." stands for any number of lines, and times are not compared. Links to files must
lead somewhere.
"""
import os
import re
import shlex
import subprocess
import sys


def blocks(text, language):
    return re.findall(rf"^```{language}\n(.*?)^```$", text, re.M | re.S)


def agrees(shown, said):
    """Whether the lines shown are those said, where a line "..." is any number of lines."""
    if not shown:
        return not said
    if shown[0] == "...":
        return any(agrees(shown[1:], said[i:]) for i in range(len(said) + 1))
    return bool(said) and shown[0] == said[0] and agrees(shown[1:], said[1:])


def comparable(text):
    return [re.sub(r"\d+(\.\d+)? (ms|s)\b", "TIME", line).rstrip() for line in text.splitlines()]


def output(command):
    done = subprocess.run(command, capture_output=True, text=True, encoding="utf-8", timeout=60)
    return done.stdout + done.stderr


def commands(block):
    """The commands of a console block, each with the lines shown behind it."""
    for part in re.split(r"^\$ ", block, flags=re.M)[1:]:
        command, _, shown = part.partition("\n")
        yield command, shown


def problemsOf(readme, example, tool):
    with open(readme, encoding="utf-8") as file:
        text = file.read()
    runs = [("the example", [example], block) for block in blocks(text, "text")]
    for block in blocks(text, "console"):
        for command, shown in commands(block):
            words = shlex.split(command)
            if words[0] != "./tramo":
                yield f"no idea how to run {command}"
            runs.append((command, [tool] + words[1:], shown))
    if not runs:
        yield "no output is shown"

    for name, command, shown in runs:
        said = output(command)
        if not agrees(comparable(shown), comparable(said)):
            yield f"{name} says something else than is shown; it says:\n{said}"
        if not set(comparable(shown)) - {"...", ""}:
            yield f"{name}: nothing of its output is shown"
    for target in re.findall(r"\]\(([^):#]+)\)", text):
        if not os.path.exists(os.path.join(os.path.dirname(readme), target)):
            yield f"there is no {target}"


example, tool, *readmes = sys.argv[1:]
problems = [f"{readme}: {problem}" for readme in readmes for problem in problemsOf(readme, example, tool)]
print(*problems, sep="\n")
sys.exit(bool(problems))
