"""The folder of results: parts, a manifest that says what they are of, and what keeps them whole.

    manifest.json   what was asked, and the videos by size and time
    parts/          rows of some frames each, by video: KEY-FIRST-END-FRAMES.npy
    files/          copies of the models and cascades that were asked for
    pictures/       those that were asked for
    table.csv       or table.npz: all rows

A file is written under another name and renamed when it is whole and on the disk. So a part that is
there is done, whoever was killed, and whatever was written twice is written once.
"""

from __future__ import annotations

import fcntl
import hashlib
import io
import json
import os
import uuid
from contextlib import contextmanager
from dataclasses import dataclass
from pathlib import Path
from typing import Any, BinaryIO, Iterator

import numpy as np
from numpy.typing import NDArray

UNFINISHED = ".new"


class StoreError(Exception):
    """Say why there is no use in going on."""


@dataclass(frozen=True, order=True)
class Video:
    """A video by its name in the folder of videos, its size and its time."""

    name: str
    size: int
    time: int  # of its last change, in nanoseconds

    @property
    def key(self) -> str:
        """Give a name of its parts that no other video has, nor this one after a change."""
        content = f"{self.name}\0{self.size}\0{self.time}".encode(errors="surrogateescape")
        return hashlib.sha256(content).hexdigest()[:16]


@dataclass(frozen=True, order=True)
class Part:
    """A part that is done: its frames, and how many the video has."""

    first: int
    end: int
    frames: int


def video_at(folder: Path, name: str) -> Video:
    """Give a video as it is now."""
    status = os.stat(folder / name)
    return Video(name, status.st_size, status.st_mtime_ns)


@contextmanager
def replacing(file: Path) -> Iterator[BinaryIO]:
    """Write a file that is there when it is whole, and else as it was before."""
    new = file.with_name(f".{file.name}.{uuid.uuid4().hex}{UNFINISHED}")
    try:
        with open(new, "wb") as writing:
            yield writing
            writing.flush()
            os.fsync(writing.fileno())
        os.replace(new, file)
    except BaseException:
        new.unlink(missing_ok=True)
        raise
    folder = os.open(file.parent, os.O_RDONLY)
    try:
        os.fsync(folder)  # the new name, too
    finally:
        os.close(folder)


def write_whole(file: Path, content: bytes) -> None:
    """Replace a file's content."""
    with replacing(file) as writing:
        writing.write(content)


# ---- Parts


def _file_of(out: Path, key: str, part: Part) -> Path:
    return out / "parts" / f"{key}-{part.first:08}-{part.end:08}-{part.frames:08}.npy"


def write_part(out: Path, key: str, part: Part, rows: NDArray[np.void]) -> None:
    """Keep the rows of a part."""
    content = io.BytesIO()
    np.save(content, rows)
    write_whole(_file_of(out, key, part), content.getvalue())


def read_part(out: Path, key: str, part: Part) -> NDArray[np.void]:
    """Give the rows of a part."""
    file = _file_of(out, key, part)
    try:
        rows: NDArray[np.void] = np.load(file)
    except (OSError, ValueError, EOFError) as error:
        raise StoreError(f"cannot read '{file}': {error}; delete it and run again") from None
    return rows


def parts_in(out: Path) -> dict[str, list[Part]]:
    """Give all parts that are done by the keys of their videos, in order."""
    parts: dict[str, list[Part]] = {}
    for file in os.scandir(out / "parts"):
        name, dot, extension = file.name.rpartition(".")
        if extension == "npy" and not name.startswith("."):
            key, *numbers = name.split("-")
            parts.setdefault(key, []).append(Part(*map(int, numbers)))
    return {key: sorted(found) for key, found in parts.items()}


def _is_whole(parts: list[Part]) -> bool:
    """Say whether parts are all there are of a video."""
    end = 0
    for part in parts:
        if part.first != end:
            return False
        end = part.end
    return bool(parts) and end == parts[-1].frames


def finished(videos: list[Video], parts: dict[str, list[Part]]) -> dict[Video, list[Part]]:
    """Give the videos of which all parts are there, in their order, with these parts."""
    return {video: parts[video.key] for video in videos if _is_whole(parts.get(video.key, []))}


# ---- The folder


class Store:
    """The folder of results, for one run at a time."""

    def __init__(self, out: Path) -> None:
        self.out = out
        self._asked: dict[str, Any] = {}
        for folder in ("parts", "files"):
            (out / folder).mkdir(parents=True, exist_ok=True)
        self._lock = open(out / "lock", "ab")
        try:
            fcntl.flock(self._lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except OSError:
            raise StoreError(f"another run works in '{out}': wait for its end") from None
        self._remove_unfinished()

    def _remove_unfinished(self) -> None:
        """Remove what a run that was killed left behind."""
        for place in ("", "parts/", "files/", "pictures/**/"):
            for file in self.out.glob(f"{place}.*{UNFINISHED}"):
                file.unlink(missing_ok=True)

    def keep_file(self, file: str) -> tuple[str, str]:
        """Copy a file to where all workers see it, whatever becomes of it; give name and digest."""
        content = Path(file).read_bytes()
        digest = hashlib.sha256(content).hexdigest()
        copy = self.out / "files" / (digest[:16] + Path(file).suffix)
        if not copy.exists():
            write_whole(copy, content)
        return str(copy), digest

    def ask(self, asked: dict[str, Any]) -> None:
        """Say what the folder is for, which has to be what it was for before."""
        self._asked = asked
        file = self.out / "manifest.json"
        if not file.exists():
            return
        try:
            before = json.loads(file.read_text())["asked"]
        except (ValueError, KeyError, TypeError) as error:
            raise StoreError(f"'{file}' is no manifest: name another folder ({error!r})") from None
        for name in sorted({*asked, *before}):
            if asked.get(name) != before.get(name):
                raise StoreError(f"'{self.out}' was made with {name} {json.dumps(before.get(name))}"
                                 f", not {json.dumps(asked.get(name))}: name another folder")

    def write_manifest(self, videos: list[Video], left_out: dict[str, str]) -> None:
        """Keep what was asked, of which videos, and what became of them."""
        parts = parts_in(self.out)
        done = finished(videos, parts)
        entries: dict[str, Any] = {}
        for video in videos:
            there = parts.get(video.key, [])
            entries[video.name] = {"size": video.size, "time": video.time, "key": video.key,
                                   "frames": there[0].frames if there else None,
                                   "parts": len(there), "done": video in done}
        for name, reason in left_out.items():
            entries.setdefault(name, {})["left out"] = reason
        manifest = {"asked": self._asked, "videos": entries}
        write_whole(self.out / "manifest.json", json.dumps(manifest, indent=1).encode() + b"\n")
