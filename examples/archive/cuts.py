"""Cuts videos into parts of some frames, and reads the frames of one part.

A frame is known by its time in the video, so a part is read from the key frame before it on. A
video that gives other frames than its packets promise, as one with hidden frames does, is not cut.
Where its first part does not tell, the part with such a frame cannot be read.
"""

from __future__ import annotations

import re
from bisect import bisect_right
from dataclasses import dataclass
from pathlib import Path
from typing import Any, Iterator

from videos import UnreadableError, opened


@dataclass(frozen=True)
class Cut:
    """A part of a video: frames from `first` to before `end`, and where reading begins."""

    first: int
    end: int
    start: int  # the frame that is seen first, some before `first`
    time: int  # of that frame, in the video's unit
    key: int  # time of the key frame before it
    last: int  # time of the last frame
    frames: int  # of the whole video


@dataclass(frozen=True)
class Index:
    """The times of all frames of a video and of its key frames, in order."""

    times: list[int]  # empty where they do not tell frames apart
    keys: list[int]

    def cuts(self, length: int, lead: int) -> list[Cut]:
        """Cut the video behind its first part."""
        cuts = []
        for first in range(length, len(self.times), length):
            start = max(0, first - lead)
            key = self.keys[max(0, bisect_right(self.keys, self.times[start]) - 1)]
            end = min(first + length, len(self.times))
            cuts.append(Cut(first, end, start, self.times[start], key, self.times[end - 1],
                            len(self.times)))
        return cuts


@dataclass(frozen=True)
class _Packet:
    """What is kept of a packet: the data of all of an hour's video would be gigabytes."""

    pts: Any  # a number, or None
    duration: int  # 0 where it is not known
    size: int
    is_keyframe: bool
    is_corrupt: bool


def _packets(video: Any) -> list[_Packet]:
    """Go through the packets of a video; the last one, which ends the demuxing, is none."""
    return [_Packet(each.pts, each.duration or 0, each.size, each.is_keyframe, each.is_corrupt)
            for each in video.demux(video.streams.video[0]) if each.size or each.dts is not None]


def _seconds(clock: str) -> float | None:
    """Read hours, minutes and seconds, as 00:01:02.5."""
    found = re.fullmatch(r"(\d+):(\d+):([\d.]+)", clock)
    return float(found[1]) * 3600 + float(found[2]) * 60 + float(found[3]) if found else None


def _length(video: Any) -> float | None:
    """Give how many seconds the head of a video says that it takes, where the file type tells."""
    stream = video.streams.video[0]
    if video.format.name == "avi":  # in its unit of time, of which not each has a frame
        return float(stream.frames * stream.time_base)
    return _seconds(stream.metadata.get("DURATION", ""))


def _check_length(path: Path, video: Any, packets: list[_Packet]) -> None:
    """Refuse a video that ends before its head says."""
    length = _length(video)
    times = [packet.pts + packet.duration for packet in packets if packet.pts is not None]
    if length is None or not times:
        return
    end = float(max(times) * video.streams.video[0].time_base)
    if length - end > 2 * length / len(packets):  # the last frames, and rounding, do not count
        raise UnreadableError(f"cannot read '{path}': it ends after {end:g} of {length:g} s")


def index(path: Path) -> Index:
    """Go through the packets of a video, without decoding them."""
    with opened(path) as video:
        packets = _packets(video)
        if any(packet.is_corrupt for packet in packets):
            raise UnreadableError(f"cannot read '{path}': a part of it is missing")
        _check_length(path, video, packets)
    times = sorted(packet.pts for packet in packets if packet.size and packet.pts is not None)
    if len(set(times)) < len(packets):
        return Index([], [])
    return Index(times, sorted(packet.pts for packet in packets if packet.is_keyframe))


@dataclass(frozen=True)
class Frame:
    """A frame as it was read."""

    time: int | None  # in the video's unit
    seconds: float  # not a number where there is no time
    pixels: Any  # red, green, blue


def frames_from(path: Path, key: int | None = None) -> Iterator[Frame]:
    """Read the frames of a video, from a key frame on."""
    with opened(path) as video:
        stream = video.streams.video[0]
        stream.codec_context.thread_count = 1  # as many videos at a time as there are workers
        if key is not None:
            video.seek(key, stream=stream)
        size = None
        for frame in video.decode(stream):
            if frame.is_corrupt:
                raise UnreadableError(f"cannot read '{path}': a frame at {frame.time} s is damaged")
            size = size or (frame.width, frame.height)
            if size != (frame.width, frame.height):
                raise UnreadableError(f"cannot read '{path}': its frames differ in size")
            seconds = float("nan") if frame.pts is None else float(frame.pts * frame.time_base)
            yield Frame(frame.pts, seconds, frame.to_ndarray(format="rgb24"))


def frames_of(path: Path, cut: Cut) -> Iterator[tuple[int, Frame]]:
    """Read the frames of a part, with their numbers, from its `start` on."""
    number = cut.start
    for key in (cut.key, None):  # where a file type cannot go to a key frame, from the beginning
        for frame in frames_from(path, key):
            if frame.time is None or frame.time < cut.time:
                continue
            if number == cut.start and frame.time != cut.time:
                break
            if number == cut.end - 1 and frame.time != cut.last:
                raise UnreadableError(
                    f"cannot read '{path}': frame {number} is not where its packet says")
            yield number, frame
            number += 1
            if number == cut.end:
                return
        if number > cut.start:
            break
    raise UnreadableError(f"cannot read '{path}': frame {number} is missing")
