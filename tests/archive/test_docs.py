"""The commands and the sample of docs/archives.md, as they stand there."""

from __future__ import annotations

import doctest
import os
import re
import shutil
import socket
import subprocess
from pathlib import Path

import pytest
from support import SOURCES, own_words, process, said, until

from archive.run import KEEP_MEMORY

PAGE = (SOURCES / "docs/archives.md").read_text()


def section(title: str) -> str:
    return PAGE.split(f"\n## {title}\n")[1].split("\n## ")[0]


def commands(title: str) -> list[str]:
    found = re.findall(r"^    (\S.*)$", section(title), re.MULTILINE)
    assert found
    return found


@pytest.fixture
def place(tmp_path: Path) -> Path:
    """Give a folder that has what the page's commands name."""
    folder = tmp_path / "place"
    folder.mkdir()
    (folder / "examples").symlink_to(SOURCES / "examples")
    (folder / "build/default").mkdir(parents=True)
    (folder / "build/default/python").symlink_to(os.environ["PYTHONPATH"].split(":")[0])
    return folder


def shell(lines: list[str], folder: Path) -> str:
    done = subprocess.run(["bash", "-e"], input="\n".join(lines), cwd=folder, text=True,
                          capture_output=True, timeout=120, check=False)
    assert (done.returncode, own_words(done.stderr)) == (0, ""), done.stderr
    return done.stdout


def test_one_machine(place: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    out = shell(commands("On one machine"), place)
    assert "2 videos, 338 frames" in out
    assert "video,frame,time,pixels,found,number,x,y," in out
    monkeypatch.chdir(place)
    test = doctest.DocTestParser().get_doctest(section("On one machine").replace("```", ""), {},
                                               "archives.md", None, None)
    assert test.examples
    assert doctest.DocTestRunner().run(test).failed == 0


def test_several_machines(place: Path, tmp_path: Path) -> None:
    with socket.create_server(("127.0.0.1", 0)) as free:
        port = free.getsockname()[1]
    asked, memory, worked, run = (line.replace("//host", "//127.0.0.1").replace("8786", str(port))
                                  for line in commands("On several machines"))
    settings = dict(each.split("=") for each in memory.split()[1:])
    assert memory.startswith("export ") and settings == KEEP_MEMORY
    assert asked.startswith("dask scheduler") and worked.startswith("dask worker")
    with (process(*asked.split(), "--no-dashboard", cwd=tmp_path) as (_, lines),
          process(*worked.split(), cwd=tmp_path, **settings) as (_, told)):
        until(lambda: said(lines, "Scheduler at:"), "the scheduler")
        until(lambda: said(told, "Registered to"), "a worker")
        (place / "recordings").mkdir()
        shutil.copy("/usr/share/doc/opencv-doc/examples/data/tree.avi", place / "recordings")
        assert "1 videos, 68 frames, 68 rows" in shell([run], place)
