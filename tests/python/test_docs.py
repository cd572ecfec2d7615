"""What the docstrings and the pages say, run as it stands there."""

from __future__ import annotations

from pathlib import Path
from typing import Iterator

import numpy as np
import pytest
import velmor
from samples import (ROOT, blocks_of, check_docstring, import_or_skip, public_names,
                     run_samples)

NAMES = public_names(velmor, "")


@pytest.fixture(autouse=True)
def _scratch_folder(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> Iterator[None]:
    """Let samples write into a folder of their own, and leave the number of threads as it was."""
    monkeypatch.chdir(tmp_path)
    threads = velmor.get_num_threads()
    yield
    velmor.set_num_threads(threads)


@pytest.mark.parametrize("name", NAMES)
def test_docstring(name: str) -> None:
    check_docstring(name, NAMES[name], {"velmor": velmor, "np": np})


def test_migration_page() -> None:
    import_or_skip("cv2")
    run_samples(blocks_of(ROOT / "docs/migrating.md"), "docs/migrating.md", {})
