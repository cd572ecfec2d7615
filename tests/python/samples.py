"""What runs the samples of docstrings and pages."""

from __future__ import annotations

import doctest
import importlib
import inspect
import re
import sys
from pathlib import Path
from typing import Any

import pytest

ROOT = Path(__file__).parents[2]
sys.path.insert(0, str(ROOT / "python"))  # where the script is that knows the package's names

from reference import public_names as public_names  # noqa: E402

# What C++ calls so, and Python does not.
CPLUSPLUS = re.compile(r"\w+::\w+|@param|@throws|GREYSCALE|\bCV_\w+|assertion|nullptr|\bm[A-Z]\w+"
                       r"|\b(?:get|set|prepare|execute|find)[A-Z]\w*")


def import_or_skip(name: str) -> None:
    """Skip what needs a module that cannot be imported here, as one that needs X11's libraries."""
    try:
        importlib.import_module(name)
    except ImportError as error:
        pytest.skip(f"{name} cannot be imported: {error}", allow_module_level=True)


def run_samples(text: str, name: str, names: dict[str, Any]) -> None:
    """Run the samples of a text; what they say instead of what stands there is a failure."""
    test = doctest.DocTestParser().get_doctest(text, dict(names), name, None, 0)
    said: list[str] = []
    results = doctest.DocTestRunner(optionflags=doctest.ELLIPSIS).run(test, out=said.append)
    assert results.attempted > 0, f"{name} has no sample"
    assert results.failed == 0, "".join(said)


def check_docstring(name: str, value: Any, names: dict[str, Any]) -> None:
    """Check that a docstring is there, speaks of Python, and that its sample runs."""
    text = inspect.getdoc(value)
    assert text, f"{name} has no docstring"
    assert not CPLUSPLUS.findall(text)
    if not isinstance(value, property):  # which has a sentence, and its class the sample
        run_samples(text, name, names)


def blocks_of(page: Path) -> str:
    """Give the Python samples of a page, one after the other."""
    blocks: list[str] = re.findall(r"(?ms)^```py\n(.*?)^```$", page.read_text())
    return "\n".join(blocks)
