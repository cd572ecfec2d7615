"""compare.py <velmor_outside> <comparison.md> [operator ...]

Compares the filters in main memory with other programs. Which are compared, and how far the answers may differ, stands
in the page's table; comparisons.py has a function for each of its rows. A row without a function and a function without
a row are failures. With names of operators, their rows alone are compared.
"""

import re
import subprocess
import sys
import tempfile
from pathlib import Path
from typing import NamedTuple

import numpy as np

import comparisons
import pictures


class Allowed(NamedTuple):
    """What a cell of the table allows a difference to be. NaN is never allowed."""

    text: str
    least: float
    most: float

    def holds(self, difference):
        return self.least <= difference <= self.most


def allowed(cell):
    if cell == "equal":
        return Allowed(cell, 0, 0)
    number = r"(\d+(?:\.\d+)?(?:e-\d+)?)"
    if match := re.fullmatch(f"at most {number}", cell):
        return Allowed(cell, 0, float(match[1]))
    if match := re.fullmatch(f"at least {number}", cell):
        return Allowed(cell, float(match[1]), np.inf)
    if match := re.fullmatch(number, cell):
        return Allowed(cell, float(match[1]), float(match[1]))
    if match := re.fullmatch(f"{number} ± {number}", cell):
        return Allowed(cell, float(match[1]) - float(match[2]), float(match[1]) + float(match[2]))
    sys.exit(f"compare.py: the page allows '{cell}', which is no figure")


def rows_of(page, section):
    """The rows of a section's table: what each allows of the difference, and of what is left of it, by operator, pixels
    and call."""
    rows = {}
    text = Path(page).read_text(encoding="utf-8")
    sections = {part.partition("\n")[0]: part for part in re.split("^##? ", text, flags=re.MULTILINE)}
    for line in sections[section].splitlines():
        cells = [cell.strip() for cell in line.strip("|").split("|")]
        if not line.startswith("| `") or len(cells) != 6:
            continue
        operator, pixels, call, _, difference, left = cells
        key = (operator.strip("`"), pixels, call.replace("`", ""))
        if key in rows:
            sys.exit(f"compare.py: the page has {key} twice")
        rows[key] = (allowed(difference), allowed(left) if left else None)
    return rows


def largest(ours, theirs):
    """The largest difference of two pictures."""
    if ours.shape != theirs.shape:
        raise ValueError(f"a picture of {ours.shape} beside one of {theirs.shape}")
    return np.abs(ours.astype(np.float64) - theirs.astype(np.float64)).max()


class Measured(NamedTuple):
    difference: float  # of ours and theirs as they are
    left: float  # of ours and what theirs is once that is taken into account which differs by definition


def measure(answers):
    """Compares pair after pair of answers. A NaN stays one."""
    difference, left, pairs = 0.0, None, 0
    for ours, theirs, *accounted in answers:
        difference = np.maximum(difference, largest(ours, theirs))
        for each in accounted:
            left = np.maximum(left or 0.0, largest(ours, each))
        pairs += 1
    if not pairs:
        raise ValueError("nothing was compared")
    return Measured(difference, left)


def check(key, limits, comparison):
    """Compares one row; texts that say what is wrong, or none."""
    try:
        measured = measure(comparison())
    except (OSError, ValueError) as error:
        print("  ".join(key), error, sep="  |  ", flush=True)
        return [str(error)]
    wrong = []
    for what, limit, value in zip(("differs by", "is left"), limits, measured):
        if (limit is None) != (value is None):
            wrong.append(f"what {what}: the page allows {limit and limit.text}, the comparison gives {value}")
        elif limit and not limit.holds(value):
            wrong.append(f"{what} {value:.10g}, but the page says: {limit.text}")
    values = [f"{value:.10g}" for value in measured if value is not None]
    print("  ".join(key), *values, *wrong, sep="  |  ", flush=True)
    return wrong


def compare_all(rows, functions, operators):
    """Compares all rows, or those of some operators. Ends the process with an error where something is wrong."""
    strays = set(rows) ^ set(functions)
    for key in sorted(strays):
        print("only on the page:" if key in rows else "not on the page:", *key, sep="  ")
    keys = [key for key in rows if key not in strays and (not operators or key[0] in operators)]
    failed = [key for key in keys if check(key, rows[key], functions[key])]
    if failed or strays or not keys:
        sys.exit(f"compare.py: {len(failed)} of {len(keys)} comparisons failed, {len(strays)} are not on both sides")
    print(f"{len(keys)} comparisons hold")


def main(program, page, *operators):
    with tempfile.TemporaryDirectory(prefix="velmor-outside-") as folder:
        comparisons.begin(Path(folder), pictures.make())
        subprocess.run([program, folder], check=True)
        compare_all(rows_of(page, "Beside other programs"), comparisons.COMPARISONS, operators)


if __name__ == "__main__":
    main(*sys.argv[1:])
