#!/usr/bin/python3
"""Watch the videos of a folder for movement.

    motion_alarms.py recordings alarms.json

Each video of the folder is watched, and each folder of pictures in it. The file lists from which
frame to which something moved, and how much of the picture at most. It is written after each
video, so a run that was stopped goes on where it was when it is started again.
"""

from __future__ import annotations

import argparse
import json
import os
import sys
from pathlib import Path
from typing import Any, Iterator, NamedTuple

import numpy as np
import velmor
from tqdm import tqdm
from videos import UnreadableError, count_frames, read_frames


class Settings(NamedTuple):
    """What sets an alarm off, and what ends it."""

    share: float  # of the pixels that move, 0..1
    quiet: int  # frames in a row with less, after which the alarm has ended


class Alarm(NamedTuple):
    """A time in which something moved."""

    first: int  # frame, counted from 1
    last: int
    most: float  # share of the pixels that moved at most


def shares_of_motion(video: Path) -> Iterator[float]:
    """Give for each frame the share of the pixels that moved since the one before."""
    motion: velmor.MotionSegment | None = None
    frames = tqdm(read_frames(video, "bgr24"), video.name, count_frames(video), leave=False,
                  unit=" frames", disable=not sys.stderr.isatty())
    for frame in frames:
        if motion is None:
            motion = velmor.MotionSegment(frame.shape[1], frame.shape[0])
            motion.process(frame)  # the first frame is compared with black, which says nothing
            yield 0.0
            continue
        before = motion.history.max()
        motion.process(frame)
        yield float(np.count_nonzero(motion.history > before)) / motion.history.size


def find_alarms(video: Path, settings: Settings) -> list[Alarm]:
    """Give the times of a video in which something moved."""
    alarms: list[Alarm] = []
    is_on = False
    for number, share in enumerate(shares_of_motion(video), start=1):
        if share > settings.share and is_on:
            alarms[-1] = Alarm(alarms[-1].first, number, max(alarms[-1].most, share))
        elif share > settings.share:
            alarms.append(Alarm(number, number, share))
            is_on = True
        elif is_on:
            is_on = number - alarms[-1].last < settings.quiet
    return alarms


class Results:
    """The file of what was found so far."""

    def __init__(self, file: Path, settings: Settings) -> None:
        self._file = file
        self._content: dict[str, Any] = {"settings": settings._asdict(), "videos": {}}
        if file.exists():
            try:
                content = json.loads(file.read_text())
                made_with = content["settings"]
                content["videos"].keys()
            except (ValueError, KeyError, TypeError, AttributeError):
                raise ValueError(f"'{file}' is no list of alarms: name another file") from None
            if made_with != settings._asdict():
                raise ValueError(f"'{file}' was made with {made_with}: name another file")
            self._content = content

    def has(self, name: str) -> bool:
        """Say whether a video was watched to its end."""
        return name in self._content["videos"]

    def add(self, name: str, alarms: list[Alarm]) -> None:
        """Keep what was found in a video. The file is whole at every moment."""
        self._content["videos"][name] = [alarm._asdict() for alarm in alarms]
        new = self._file.with_name(self._file.name + ".new")
        new.write_text(json.dumps(self._content, indent=1) + "\n")
        os.replace(new, self._file)


def watch(folder: Path, results: Results, settings: Settings) -> int:
    """Watch all videos that were not watched yet; give how many could not be read."""
    unreadable = 0
    videos = sorted(path for path in folder.iterdir() if path.name[0] != ".")
    for video in videos:
        if results.has(video.name):
            continue
        try:
            alarms = find_alarms(video, settings)
        except UnreadableError as error:
            print(f"motion_alarms: {error}", file=sys.stderr)
            unreadable += 1
            continue
        results.add(video.name, alarms)
        times = ", ".join(f"{alarm.first} to {alarm.last}" for alarm in alarms)
        print(f"{video.name}: " + (f"alarms in frames {times}" if alarms else "nothing moved"))
    return unreadable


def main() -> None:
    """Read the command line and watch the videos."""
    parser = argparse.ArgumentParser(description="Watch the videos of a folder for movement.")
    parser.add_argument("folder", type=Path, help="with videos, and folders of pictures")
    parser.add_argument("alarms", type=Path, help="file to write; a run that was stopped goes on")
    parser.add_argument("--share", type=float, default=0.01,
                        help="of the picture that has to move for an alarm (default %(default)s)")
    parser.add_argument("--quiet", type=int, default=10,
                        help="frames without movement that end an alarm (default %(default)s)")
    given = parser.parse_args()
    settings = Settings(given.share, given.quiet)
    try:
        if watch(given.folder, Results(given.alarms, settings), settings):
            sys.exit(1)
    except (ValueError, RuntimeError, OSError) as error:
        sys.exit(f"motion_alarms: {error}")
    except KeyboardInterrupt:
        print("motion_alarms: stopped; start it again to go on", file=sys.stderr)
        sys.exit(130)


if __name__ == "__main__":
    main()
