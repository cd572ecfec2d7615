#!/usr/bin/env python3
"""Leave out of a report of gcovr the branches that exceptions alone take.

    branches.py <report.json>

gcovr is told to, but takes those for others that are in a function which is compiled twice and not
executed once: gcov's text does not say then what they are. Its JSON does.
"""

from __future__ import annotations

import json
import os
import subprocess
import sys
from pathlib import Path
from typing import Any

#: By file and line: how often each branch was taken, for each number of branches that the line has
#: in one object file or another.
Counts = dict[tuple[str, int], dict[int, list[int]]]


def gcov(notes: Path) -> list[dict[str, Any]]:
    """Give what gcov tells about the sources of an object file."""
    said = subprocess.run(["gcov", "--json-format", "--stdout", "--branch-probabilities", notes.name],
                          cwd=notes.parent, capture_output=True, text=True, check=True).stdout
    return [file for line in said.splitlines() if line for file in json.loads(line)["files"]]


def taken(branches: list[dict[str, Any]]) -> list[int]:
    """Count each branch, but not those of a call that returns or throws."""
    counts: list[int] = []
    while branches:
        pair = branches[:2]
        if not any(branch["throw"] for branch in pair):
            counts.append(max(0, branches[0]["count"]))
            pair = branches[:1]
        branches = branches[len(pair):]
    return counts


def count(build: Path, root: Path) -> Counts:
    """Count the branches of the sources below a folder."""
    result: Counts = {}
    for notes in build.rglob("*.gcno"):
        for file in gcov(notes):
            name = os.path.relpath(os.path.join(root, file["file"]), root)
            for line in file["lines"]:
                counts = taken(line["branches"])
                known = result.setdefault((name, line["line_number"]), {})
                sums = known.setdefault(len(counts), [0] * len(counts))
                known[len(counts)] = [a + b for a, b in zip(sums, counts)]
    return result


def main() -> None:
    path = Path(sys.argv[1])
    report = json.loads(path.read_text())
    counts = count(path.parent, Path.cwd())
    for file in report["files"]:
        for line in file["lines"]:
            known = counts.get((file["file"], line["line_number"]), {})
            line["branches"] = [{"count": branch, "fallthrough": False, "throw": False}
                                for each in known.values() for branch in each]
    path.write_text(json.dumps(report))


if __name__ == "__main__":
    main()
