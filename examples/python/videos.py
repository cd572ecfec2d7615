"""Frames of videos, and of folders of pictures, as arrays."""

from __future__ import annotations

from contextlib import contextmanager
from pathlib import Path
from typing import Any, Iterator

import av
import numpy as np
from numpy.typing import NDArray

Frame = NDArray[np.uint8]

av.logging.set_level(av.logging.PANIC)  # errors are reported by UnreadableError, in one line


class UnreadableError(Exception):
    """Say which file cannot be read, and why."""


def pictures_in(folder: Path) -> list[Path]:
    """Give the files of a folder in the order of their names."""
    return sorted(path for path in folder.iterdir() if path.is_file() and path.name[0] != ".")


@contextmanager
def opened(path: Path) -> Iterator[Any]:
    """Open a video that has pictures. What goes wrong with it while it is open is unreadable."""
    try:
        with av.open(str(path)) as video:
            if not video.streams.video:
                raise UnreadableError(f"cannot read '{path}': it has no pictures")
            yield video
    except av.error.FFmpegError as error:
        raise UnreadableError(f"cannot read '{path}': {error.strerror or error}") from None


def count_frames(path: Path) -> int | None:
    """Give the number of frames that a video claims to have, or None where it claims nothing."""
    if path.is_dir():
        return len(pictures_in(path))
    try:
        with av.open(str(path)) as video:
            frames = int(video.streams.video[0].frames)
    except (av.error.FFmpegError, IndexError):
        return None  # reading it says why
    return frames or None


def read_frames(path: Path, order: str = "rgb24") -> Iterator[Frame]:
    """Read the frames of a video, or the pictures of a folder, one at a time.

    The order of the channels is "rgb24", or "bgr24" for what takes blue first.
    """
    if path.is_dir():
        for picture in pictures_in(path):
            yield from read_frames(picture, order)
        return
    with opened(path) as video:
        frames: Iterator[Any] = video.decode(video=0)
        for frame in frames:
            yield frame.to_ndarray(format=order)
