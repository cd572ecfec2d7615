"""What the docstrings of velmor.gl say, and the chapter, which uses it, run as it stands there."""

from __future__ import annotations

from pathlib import Path

import numpy as np
import pytest
import velmor
from samples import ROOT, blocks_of, check_docstring, public_names, run_samples
from velmor import gl

NAMES = public_names(gl, "gl.")


@pytest.mark.parametrize("name", NAMES)
def test_docstring(name: str) -> None:
    check_docstring(name, NAMES[name], {"velmor": velmor, "np": np, "gl": gl})


def test_chapter(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.chdir(tmp_path)
    run_samples(blocks_of(ROOT / "docs/python.md"), "docs/python.md", {})
