"""Runs a command whose process has sanitizers in it, and fails for what they report of the package.

    sanitized.py <folder of the modules> <command ...>

What leaks counts where a line of the report lies in the package or in the libraries of its build. Objects that the
interpreter makes do not: it leaves some behind wherever it is called, and test_references.py counts the others.
Everything else that a sanitizer reports counts always.
"""

import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path


PYTHONS_OWN = re.compile(rf"#1 [^\n]*\({re.escape(os.path.realpath(sys.executable))}\+")


def findings(report: str, build: str) -> list[str]:
    """Give the parts of a report that are about this build."""
    if "ERROR: LeakSanitizer" not in report:
        return [report]
    parts = [part for part in report.split("\n\n") if "leak of" in part]
    return [part for part in parts if build in part and not PYTHONS_OWN.search(part)]


def main() -> int:
    build, *command = sys.argv[1:]
    with tempfile.TemporaryDirectory() as folder:
        # AddressSanitizer's reports go to files: tests read what child processes print. They decide alone how this
        # ends. UndefinedBehaviorSanitizer has no such files: its word is the status of the process.
        options = f"{os.environ.get('ASAN_OPTIONS', '')}:log_path={folder}/report:exitcode=0"
        ended = subprocess.run(command, env=os.environ | {"ASAN_OPTIONS": options}).returncode
        found = [part for file in Path(folder).iterdir() for part in findings(file.read_text(), build)]
    print("\n\n".join(found))
    return ended or len(found) > 0


if __name__ == "__main__":
    sys.exit(main())
