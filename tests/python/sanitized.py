"""Runs a command whose process has sanitizers in it, and fails for what they report of the package.

    sanitized.py <folder of the modules> <command ...>

Python itself leaves objects behind at its end, in functions that have no names: what leaks counts where a line of the
report lies in the package or in the libraries of its build. Everything else that a sanitizer reports counts always.
"""

import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path


def findings(report: str, build: str) -> list[str]:
    """Give the parts of a report that are about this build."""
    if "ERROR: LeakSanitizer" not in report:
        return [report]
    return [part for part in re.split(r"\n\n", report) if "leak of" in part and build in part]


def main() -> int:
    build, *command = sys.argv[1:]
    with tempfile.TemporaryDirectory() as folder:
        # Reports go to files: tests read what child processes print. They decide alone how this ends.
        options = {
            name: f"{os.environ.get(name, '')}:log_path={folder}/report:exitcode=0"
            for name in ("ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS")
        }
        ended = subprocess.run(command, env=os.environ | options).returncode
        found = [part for file in Path(folder).iterdir() for part in findings(file.read_text(), build)]
    print("\n\n".join(found))
    return ended or len(found) > 0


if __name__ == "__main__":
    sys.exit(main())
