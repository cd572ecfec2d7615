"""What a worker does: some frames of one video through the chain, into a part.

A task gets names and numbers, never frames, and may be done twice: the part is the same.
"""

from __future__ import annotations

import os
import socket
from dataclasses import dataclass
from pathlib import Path
from typing import Any

import av
import numpy as np
import velmor
from numpy.typing import NDArray
from PIL import Image
from videos import UnreadableError

from archive.chain import Chain, Step
from archive.cuts import Cut, Frame, frames_from, frames_of, index
from archive.store import Part, Video, replacing, video_at, write_part


class StopError(Exception):
    """Say why the whole run cannot go on."""


@dataclass(frozen=True)
class Job:
    """What is done to all videos."""

    videos: str  # the folder of them
    out: str
    steps: list[dict[str, Any]]  # of which Step consists
    length: int  # of parts, in frames
    pictures: int  # every so many frames one; 0 for none
    version: str  # of the package


def check_place(job: Job) -> None:
    """Refuse to work where the package is another one, or a folder is not there."""
    if velmor.__version__ != job.version:
        raise StopError(f"the package is {velmor.__version__} and not {job.version}")
    for folder in (os.path.join(job.out, "parts"), job.videos):
        if not os.path.isdir(folder):
            raise StopError(f"there is no folder '{folder}'")


class Worker:
    """One task at work."""

    def __init__(self, job: Job, video: Video) -> None:
        self._job = job
        self._video = video
        self._out = Path(job.out)
        self._path = Path(job.videos) / video.name
        self._chain = Chain([Step(**step) for step in job.steps])

    def run(self, cut: Cut | None) -> tuple[Part, list[Cut]]:
        """Do a part, the first one where none is named; give it, and where to cut the rest."""
        self._check_that_it_is_the_same()
        return self._first_part() if cut is None else (self._other_part(cut), [])

    def _check_that_it_is_the_same(self) -> None:
        try:
            now = video_at(Path(self._job.videos), self._video.name)
        except OSError as error:
            raise UnreadableError(f"cannot read '{self._path}': {error.strerror}") from None
        if now != self._video:
            raise UnreadableError(f"cannot read '{self._path}': it has changed during the run")

    def _first_part(self) -> tuple[Part, list[Cut]]:
        """Do the first part, and cut the rest if its frames are where the packets say."""
        times = index(self._path)
        cuts = times.cuts(self._job.length, self._chain.lead)
        rows = []
        count = 0
        for frame in frames_from(self._path):
            if count == self._job.length and cuts:
                break
            rows.append(self._rows(count, frame))
            if frame.time != (times.times[count] if count < len(times.times) else None):
                cuts = []  # the whole video is one part
            count += 1
        if count < self._job.length:
            cuts = []
        if count == 0:
            raise UnreadableError(f"cannot read '{self._path}': it has no frames")
        part = Part(0, count, len(times.times) if cuts else count)
        self._keep(part, rows)
        return part, cuts

    def _other_part(self, cut: Cut) -> Part:
        rows = []
        for number, frame in frames_of(self._path, cut):
            row = self._rows(number, frame, is_kept=number >= cut.first)
            if number >= cut.first:  # those before are there for operators that remember
                rows.append(row)
        part = Part(cut.first, cut.end, cut.frames)
        self._keep(part, rows)
        return part

    def _rows(self, number: int, frame: Frame, is_kept: bool = True) -> NDArray[np.void]:
        """Run the chain on a frame, and give its rows."""
        try:
            outcome = self._chain.run(frame.pixels)
        except (ValueError, RuntimeError) as error:
            raise UnreadableError(f"frame {number} of '{self._path}': {error}") from None
        if is_kept and self._job.pictures and number % self._job.pictures == 0:
            self._keep_picture(number, outcome.picture)
        rows = np.empty(len(outcome.rows), [("frame", "i8"), ("time", "f8"), *self._chain.fields])
        rows["frame"] = number
        rows["time"] = frame.seconds
        for name in outcome.rows.dtype.names or ():
            rows[name] = outcome.rows[name]
        return rows

    def _keep_picture(self, number: int, picture: NDArray[np.uint8]) -> None:
        folder = self._out / "pictures" / self._video.name / self._video.key
        try:
            folder.mkdir(parents=True, exist_ok=True)
            with replacing(folder / f"{number:08}.png") as writing:
                Image.fromarray(picture).save(writing, "png")
        except OSError as error:
            raise StopError(f"cannot write in '{folder}': {error.strerror or error}") from None

    def _keep(self, part: Part, rows: list[NDArray[np.void]]) -> None:
        self._check_that_it_is_the_same()  # also after it was read
        try:
            write_part(self._out, self._video.key, part, np.concatenate(rows))
        except OSError as error:
            raise StopError(f"cannot write in '{self._out}': {error.strerror or error}") from None


def work(job: dict[str, Any], video: dict[str, Any], cut: dict[str, Any] | None) -> dict[str, Any]:
    """Do a part of a video; give it, or what stood in its way.

    What comes and goes are the fields of Job, Video, Cut and Part, since another process knows
    classes by another name.
    """
    av.logging.set_level(av.logging.PANIC)  # a process of its own; errors are answers
    velmor.set_num_threads(1)  # as many tasks at a time as there are processors
    asked = Job(**job)
    try:
        check_place(asked)
        part, cuts = Worker(asked, Video(**video)).run(Cut(**cut) if cut else None)
    except UnreadableError as error:
        return {"left out": str(error)}
    except MemoryError:
        return {"left out": f"there is no memory for '{video['name']}'"}
    except StopError as error:
        return {"stop": f"{error}, on {socket.gethostname()}"}
    return {"part": vars(part), "cuts": [vars(each) for each in cuts]}
