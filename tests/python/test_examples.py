"""The programs in examples/python, on real and on made videos."""

from __future__ import annotations

import json
import os
import re
import signal
import subprocess
import sys
import time
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from samples import ROOT, import_or_skip

import_or_skip("PIL.Image")
import_or_skip("av")

import av  # noqa: E402
from PIL import Image  # noqa: E402

EXAMPLES = ROOT / "examples/python"
DATA = Path("/usr/share/doc/opencv-doc/examples/data")
STREET = DATA / "vtest.avi"  # 795 frames of 768 x 576


def command(example: str, *arguments: object) -> list[str]:
    return [sys.executable, str(EXAMPLES / example), *map(str, arguments)]


def run(example: str, *arguments: object) -> subprocess.CompletedProcess[str]:
    environment = {**os.environ, "MPLBACKEND": "Agg"}
    return subprocess.run(command(example, *arguments), capture_output=True, text=True,
                          env=environment)


def write_video(file: Path, frames: list[np.ndarray]) -> None:
    """Write frames without loss."""
    with av.open(str(file), "w") as video:
        stream = video.add_stream("ffv1", rate=25)
        stream.height, stream.width = frames[0].shape[:2]
        stream.pix_fmt = "bgr0"
        for frame in frames:
            video.mux(stream.encode(av.VideoFrame.from_ndarray(frame, format="rgb24")))
        video.mux(stream.encode(None))


def disc_at(x: int, y: int) -> np.ndarray:
    """Make a frame with an orange disc of radius 9 on blue."""
    rows, columns = np.ogrid[:96, :160]
    is_disc = (columns - x) ** 2 + (rows - y) ** 2 <= 81
    return np.where(is_disc[..., None], np.uint8([230, 130, 20]), np.uint8([30, 50, 160]))


# ---- colour_tracking.py


def test_tracking_finds_the_path_of_a_disc(tmp_path: Path) -> None:
    path = [(30 + 5 * k, 40 + k) for k in range(20)]
    write_video(tmp_path / "disc.mkv", [disc_at(x, y) for x, y in path])
    done = run("colour_tracking.py", tmp_path / "disc.mkv", 26, 36, 8, 8, "--out", tmp_path)
    assert (done.returncode, done.stderr) == (0, "")
    pixels = int(np.count_nonzero(disc_at(50, 50)[..., 0] == 230))
    assert done.stdout.splitlines() == [
        f"frame {k}: {pixels} pixels, at {x}, {y}" for k, (x, y) in enumerate(path, start=1)]


def test_tracking_says_where_it_lost_the_colour(tmp_path: Path) -> None:
    frames = [disc_at(30, 40), disc_at(70, 40), disc_at(33, 41)]  # out of reach in between
    write_video(tmp_path / "disc.mkv", frames)
    done = run("colour_tracking.py", tmp_path / "disc.mkv", 26, 36, 8, 8, "--out", tmp_path)
    assert [line.partition("pixels, ")[2] for line in done.stdout.splitlines()] == [
        "at 30, 40", "lost", "at 33, 41"]


def test_tracking_follows_a_walker_and_draws(tmp_path: Path) -> None:
    done = run("colour_tracking.py", STREET, 658, 256, 16, 32, "--out", tmp_path, "--frames", 40)
    assert (done.returncode, done.stderr) == (0, "")
    found = re.findall(r"at (\d+), (\d+)$", done.stdout, re.MULTILINE)
    places = [(int(x), int(y)) for x, y in found]
    assert len(places) == 40
    assert abs(places[0][0] - 666) < 16 and abs(places[0][1] - 272) < 32  # in the patch
    steps = np.abs(np.diff(places, axis=0)).max(axis=1)
    assert steps.max() <= 2 * 32  # the reach: twice the longer side of the patch
    assert places[-1][0] < 500  # he walks to the left
    for name in ("path.png", "histogram.png"):
        with Image.open(tmp_path / name) as picture:
            assert picture.width >= 800
            assert len(np.unique(np.asarray(picture.convert("L")))) > 20  # something is drawn


@pytest.mark.parametrize("patch", [(760, 0, 16, 16), (-1, 0, 8, 8), (0, 0, 1, 8)])
def test_tracking_refuses_a_patch_outside(tmp_path: Path, patch: tuple[int, ...]) -> None:
    done = run("colour_tracking.py", "--out", tmp_path, "--", STREET, *patch)
    assert done.returncode == 1
    assert done.stderr == ("colour_tracking: expected a patch of at least 2 x 2 pixels inside the"
                           " frame\n")


def test_tracking_says_what_it_cannot_read(tmp_path: Path) -> None:
    done = run("colour_tracking.py", "no.avi", 0, 0, 8, 8, "--out", tmp_path)
    assert done.returncode == 1
    assert done.stderr == "colour_tracking: cannot read 'no.avi': No such file or directory\n"


# ---- motion_alarms.py


def blinking(still: int, moving: int, quiet: int) -> list[np.ndarray]:
    """Make frames of which some show a square that goes on and off."""
    dark = np.zeros((48, 64, 3), np.uint8)
    lit = dark.copy()
    lit[10:18, 20:36] = 200  # 128 of 3072 pixels
    return [dark] * still + [lit if k % 2 == 0 else dark for k in range(moving)] + [dark] * quiet


def alarms_in(file: Path) -> dict[str, Any]:
    return dict(json.loads(file.read_text())["videos"])


@pytest.fixture
def recordings(tmp_path: Path) -> Path:
    folder = tmp_path / "recordings"
    folder.mkdir()
    write_video(folder / "a.mkv", blinking(5, 4, 20) + blinking(0, 2, 3))
    write_video(folder / "b.mkv", blinking(10, 0, 0))
    pictures = folder / "pictures"
    pictures.mkdir()
    for number, frame in enumerate(blinking(3, 2, 1)):
        Image.fromarray(frame).save(pictures / f"{number:03}.png")
    return folder


# The first square goes on in frame 6, off in 7, on in 8 and off in 9; 20 quiet frames follow.
EXPECTED = {
    "a.mkv": [{"first": 6, "last": 9, "most": 128 / 3072},
              {"first": 30, "last": 31, "most": 128 / 3072}],
    "b.mkv": [],
    "pictures": [{"first": 4, "last": 5, "most": 128 / 3072}],
}


def test_alarms_of_videos_and_pictures(recordings: Path, tmp_path: Path) -> None:
    done = run("motion_alarms.py", recordings, tmp_path / "alarms.json")
    assert (done.returncode, done.stderr) == (0, "")
    assert alarms_in(tmp_path / "alarms.json") == EXPECTED
    assert done.stdout.splitlines() == [
        "a.mkv: alarms in frames 6 to 9, 30 to 31",
        "b.mkv: nothing moved",
        "pictures: alarms in frames 4 to 5",
    ]


def test_second_run_watches_nothing_again(recordings: Path, tmp_path: Path) -> None:
    run("motion_alarms.py", recordings, tmp_path / "alarms.json")
    before = (tmp_path / "alarms.json").read_bytes()
    done = run("motion_alarms.py", recordings, tmp_path / "alarms.json")
    assert (done.returncode, done.stdout, done.stderr) == (0, "", "")
    assert (tmp_path / "alarms.json").read_bytes() == before


@pytest.fixture(scope="module")
def streets(tmp_path_factory: pytest.TempPathFactory) -> tuple[Path, bytes]:
    """Give a folder with a short video and a long one, and what a whole run finds in it."""
    folder = tmp_path_factory.mktemp("streets")
    (folder / "1.avi").symlink_to(DATA / "tree.avi")
    (folder / "2.avi").symlink_to(STREET)
    whole = tmp_path_factory.mktemp("whole") / "alarms.json"
    assert run("motion_alarms.py", folder, whole).returncode == 0
    assert all(alarms_in(whole)[name] for name in ("1.avi", "2.avi"))
    return folder, whole.read_bytes()


@pytest.mark.parametrize("with_signal", [signal.SIGKILL, signal.SIGINT])
def test_stopped_run_goes_on(streets: tuple[Path, bytes], tmp_path: Path,
                             with_signal: signal.Signals) -> None:
    folder, whole = streets
    stopped = tmp_path / "stopped.json"
    process = subprocess.Popen(command("motion_alarms.py", folder, stopped),
                               stderr=subprocess.PIPE, text=True)
    while not stopped.exists():
        assert process.poll() is None
        time.sleep(0.01)
    process.send_signal(with_signal)  # the first video was watched, and the long one is left
    said = process.communicate()[1]
    if with_signal == signal.SIGINT:
        assert process.returncode == 130
        assert said == "motion_alarms: stopped; start it again to go on\n"
    assert list(alarms_in(stopped)) == ["1.avi"]
    assert run("motion_alarms.py", folder, stopped).returncode == 0
    assert stopped.read_bytes() == whole


def test_broken_video_is_named_and_the_others_are_watched(recordings: Path, tmp_path: Path) -> None:
    (recordings / "aa.avi").write_bytes(b"RIFF" + bytes(1000))
    done = run("motion_alarms.py", recordings, tmp_path / "alarms.json")
    assert done.returncode == 1
    file = recordings / "aa.avi"
    assert re.fullmatch(f"motion_alarms: cannot read '{re.escape(str(file))}': .+\n", done.stderr)
    assert alarms_in(tmp_path / "alarms.json") == EXPECTED


@pytest.mark.parametrize("content", ["", "{}", "[]", '{"settings": 1, "videos": []}'])
def test_other_files_are_not_overwritten(recordings: Path, tmp_path: Path, content: str) -> None:
    file = tmp_path / "mine.json"
    file.write_text(content)
    done = run("motion_alarms.py", recordings, file)
    assert done.returncode == 1
    assert done.stderr == f"motion_alarms: '{file}' is no list of alarms: name another file\n"
    assert file.read_text() == content


def test_results_of_other_settings_are_kept_apart(recordings: Path, tmp_path: Path) -> None:
    file = tmp_path / "alarms.json"
    assert run("motion_alarms.py", recordings, file).returncode == 0
    done = run("motion_alarms.py", recordings, file, "--share", 0.5)
    assert done.returncode == 1
    assert done.stderr == (f"motion_alarms: '{file}' was made with {{'share': 0.01, 'quiet': 10}}:"
                           " name another file\n")
