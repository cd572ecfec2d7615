#!/usr/bin/env python3
"""Run an example with allocations failing, of ours and of OpenCV's.

    programs.py <libvelmor_failing_memory.so> <program>

Either the program succeeds, or it exits with the status of a failure after one line that says why.
What it leaves is then nothing, or the part that PROGRAMS tells, and else what it writes with
memory. Some allocations fail, mostly early ones alone, and later ones with all that follow, unless
the environment says VELMOR_EACH_ALLOCATION=1.
"""

from __future__ import annotations

import os
import re
import shutil
import subprocess
import sys
import tempfile
from collections.abc import Callable
from dataclasses import dataclass
from pathlib import Path

FAILED = "an allocation has failed\n"  # which the library prints at the end of main()
ALL = (1 << 64) - 1
EACH = "VELMOR_EACH_ALLOCATION" in os.environ
WIDTH, HEIGHT, FRAMES = 64, 48, 3
TIMES = re.compile(rb" +[0-9]+\.[0-9]{2}(?=  )")  # in tables

#: What a program leaves: the bytes of each file, by its path.
Files = dict[str, bytes]


def nothing(left: Files, _: Files) -> bool:
    """Tell whether nothing is left."""
    return not left


def first_frames(left: Files, whole: Files) -> bool:
    """Tell whether there is no video, or the first frames of the whole one."""
    for name, video in left.items():
        frames = jpegs(video)
        if frames != jpegs(whole[name])[:len(frames)]:
            return False
    return True


def some_files(left: Files, whole: Files) -> bool:
    """Tell whether each file that there is is whole."""
    return left.items() <= whole.items()


def jpegs(video: bytes) -> list[bytes]:
    """Give the frames of a Motion JPEG video."""
    frames, place = [], video.find(b"00dc")
    while place >= 0 and place < video.rfind(b"idx1"):
        size = int.from_bytes(video[place + 4:place + 8], "little")
        frames.append(video[place + 8:place + 8 + size])
        place = video.find(b"00dc", place + 8 + size)
    return frames


@dataclass
class Program:
    """How a program is run, and how it ends without memory."""

    arguments: str
    failures: tuple[int, ...] = (1,)
    may_leave: Callable[[Files, Files], bool] = nothing
    factor: float = 1.6  # from one allocation to the next one that fails alone
    places: int = 20  # from where on all allocations fail
    goes_on: bool = False  # until it is closed, and writes nothing


PROGRAMS = {
    "face_mosaic": Program("in/1.ppm out/picture.ppm"),
    "first_filter": Program("in/1.ppm out/picture.ppm"),
    "motion_watch": Program("video.y4m out/watched.avi", may_leave=first_frames),
    "colour_tracking": Program("video.y4m out/tracked.avi 8 8 16 16", may_leave=first_frames),
    "headless_batch": Program("in out RGB2GRAY,Laplacian 1 --native", (1, 2), some_files),
    "demo": Program("video.y4m --frames 2 --out out", may_leave=some_files, factor=4.0, places=6),
    "viewer": Program("video.y4m", factor=2.5, places=8, goes_on=True),
}


def write_input() -> None:
    """Write two pictures and a video, in which a square moves."""
    Path("in").mkdir()
    for name in ("1", "2"):
        pixels = bytes(k * 37 % 251 for k in range(WIDTH * HEIGHT * 3))
        Path("in", name + ".ppm").write_bytes(b"P6 %d %d 255\n" % (WIDTH, HEIGHT) + pixels)
    video = b"YUV4MPEG2 W%d H%d F25:1 Ip A1:1 C444\n" % (WIDTH, HEIGHT)
    for frame in range(FRAMES):
        place = range(8 + 4 * frame, 24 + 4 * frame)
        square = bytes(200 if x in place and y in place else 60
                       for y in range(HEIGHT) for x in range(WIDTH))
        video += b"FRAME\n" + 3 * square
    Path("video.y4m").write_bytes(video)


def run(library: str, command: list[str], goes_on: bool,
        failing: str) -> tuple[int, str, list[str], Files]:
    """Give the status, what the program prints, its errors and the files that it leaves."""
    shutil.rmtree("out", ignore_errors=True)
    Path("out").mkdir()
    process = subprocess.Popen(
        command, text=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
        env={**os.environ, "LD_PRELOAD": library, "VELMOR_FAILING": failing})
    try:
        printed, said = process.communicate(timeout=2 if goes_on else 300)
    except subprocess.TimeoutExpired:
        process.terminate()
        printed, said = process.communicate(timeout=20)
    errors = [line for line in said.splitlines() if not line.startswith("[")]  # a bar
    left = {str(file): TIMES.sub(b"", file.read_bytes())
            for file in Path("out").rglob("*") if file.is_file()}
    return process.returncode, printed, errors, left


def check(library: str, path: str) -> int:
    """Let one allocation after the other fail, and give the number of the last one."""
    program = PROGRAMS[Path(path).name.removeprefix("velmor_").removeprefix("velmor-")]
    command = [path, *program.arguments.split()]
    status, _, errors, whole = run(library, command, program.goes_on, "")
    assert (status, errors) == (0, []), (status, errors)
    assert bool(whole) != program.goes_on, sorted(whole)
    failures = []

    def fail(first: int, count: int) -> bool:
        """Let allocations fail, and tell whether there was one to fail."""
        status, printed, errors, left = run(library, command, program.goes_on,
                                            f"{first} {count}")
        where = f"allocation {first}, {count}: status {status}, {errors}, {sorted(left)}"
        if status == 0:
            assert not errors and left == whole, where
            return FAILED in printed
        assert status in program.failures and errors, where
        assert len(errors) == 1 or status == 2, where
        assert program.may_leave(left, whole), where
        failures.append(where)
        return True

    first = 0
    while fail(first, 1):
        first = first + 1 if EACH else max(first + 1, int(first * program.factor))
    for place in range(0, first, 1 if EACH else max(1, first // program.places)):
        fail(place, ALL)
    assert failures, "nothing has failed"
    print(*failures, sep="\n")
    return first


def main() -> None:
    library, path = sys.argv[1:]
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        write_input()
        print("allocations:", check(library, path))


if __name__ == "__main__":
    main()
