"""The commands of docs/streams.md, run as they stand there, in one folder."""

from __future__ import annotations

import re
import subprocess
from pathlib import Path

import numpy as np
import pytest
from PIL import Image

PAGE = Path(__file__).resolve().parents[2] / "docs/streams.md"
BLOCKS = re.findall(r"^```sh\n(.*?)^```$", PAGE.read_text(), re.M | re.S)


@pytest.fixture(scope="module")
def folder(tmp_path_factory: pytest.TempPathFactory) -> Path:
    """Give the folder in which all commands have run."""
    made = tmp_path_factory.mktemp("streams")
    for commands in BLOCKS:
        done = subprocess.run(["bash", "-eu", "-o", "pipefail", "-c", commands], cwd=made, text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=120)
        assert done.returncode == 0, f"{commands}\n{done.stdout}"
    return made


def picture(file: Path) -> np.ndarray:
    return np.asarray(Image.open(file)).astype(int)


def test_edges_lie_where_colours_change(folder: Path) -> None:
    edges = picture(folder / "edges.png")
    assert edges.shape == (240, 320, 3)
    assert np.all(edges[10:150, 5:40] == 0)  # within the first bar
    assert edges[10:150, 44:48].max() > 0  # and where the second begins


def test_a_video_becomes_pictures(folder: Path) -> None:
    files = sorted(folder.glob("pictures/*.png"))
    assert len(files) in (80, 81)  # of 79.5 seconds
    assert picture(files[20]).mean() > 150  # most of what has edges is dark, and is complemented


def test_what_stands_still_is_black(folder: Path) -> None:
    changes = [picture(file) for file in sorted(folder.glob("change*.png"))]
    assert changes and any(change.max() > 200 for change in changes[1:])
    assert all(np.mean(change == 0) > 0.8 for change in changes[1:])


def test_the_mask_shows_the_ball(folder: Path) -> None:
    masks = [picture(file) for file in sorted(folder.glob("mask*.png"))]
    overlays = [picture(file) for file in sorted(folder.glob("overlay*.png"))]
    assert len(masks) == len(overlays) == 10
    for mask, overlay in zip(masks, overlays):
        ball = overlay[..., 0] > 190
        assert set(np.unique(mask)) == {0, 255}
        assert np.mean((mask == 255) != ball) < 0.01


def test_counts_are_on_the_bus(folder: Path) -> None:
    text = (folder / "counts.txt").read_text()
    assert len(re.findall(rf"velmorfilter.*\b{64 * 48}\b", text)) == 3


def test_frames_come_over_the_network_and_through_memory(folder: Path) -> None:
    for files in (sorted(folder.glob("received*.png")), sorted(folder.glob("shared*.png"))):
        assert len(files) >= 5
        assert picture(files[-1]).shape == (240, 320)


def test_textures_are_flipped(folder: Path) -> None:
    flipped = picture(folder / "flipped.png")[..., :3]
    assert np.all(flipped[-1, 5] == flipped[-100, 5]) and flipped[-1, 5].min() > 180  # the first bar, now below
    assert len(np.unique(flipped[20, 240:], axis=0)) > 20  # and the snow above
