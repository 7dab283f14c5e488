"""python -m tramostream runs the command-line tool, if it is installed."""
from __future__ import annotations

import os
import shutil
import subprocess
import sys


def main() -> int:
    tool = shutil.which("tramo")
    if tool is None:
        print("tramostream: the tool tramo is not installed; the package alone is a module", file=sys.stderr)
        return 2
    if os.name == "posix":
        os.execv(tool, ["tramo", *sys.argv[1:]])
    return subprocess.run([tool, *sys.argv[1:]], check=False).returncode


if __name__ == "__main__":
    sys.exit(main())
