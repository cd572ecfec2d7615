"""Pictures that say their number in blocks, which no codec spoils, and what reads them again."""

from __future__ import annotations

from pathlib import Path
from typing import NamedTuple

import av
import numpy as np
from numpy.typing import NDArray

WIDTH, HEIGHT, RATE = 160, 120, 30
BLOCK, COLUMNS, BITS = 20, 8, 12
WHITE, BLACK = 235, 16  # as video has them
SOURCE = ("filesrc location={path} ! rawvideoparse format=gray8 width={width} height={height} "
          "framerate={rate}/1 ! clocksync")


class Side(NamedTuple):
    """What one side of a joined picture shows."""

    number: int
    is_complement: bool  # an operator was at work


NOTHING = Side(-1, False)  # where all is black


class Joined(NamedTuple):
    """A joined picture."""

    time: float  # in the file, in seconds
    camera: Side
    operator: Side


def draw(number: int) -> NDArray[np.uint8]:
    """Draw a number: a white block, its bits, the complements of these, and black."""
    bits = [number >> bit & 1 for bit in range(BITS)]
    values = [1, *bits, *(1 - bit for bit in bits)]
    blocks = np.zeros(COLUMNS * HEIGHT // BLOCK, np.uint8)
    blocks[:len(values)] = values
    picture = np.where(blocks, WHITE, BLACK).astype(np.uint8).reshape(-1, COLUMNS)
    return picture.repeat(BLOCK, 0).repeat(BLOCK, 1)


def film(path: Path, numbers: range) -> str:
    """Write a picture for each number, and return what gives them as a camera would."""
    with path.open("wb") as file:
        for number in numbers:
            file.write(draw(number).tobytes())
    return SOURCE.format(path=path, width=WIDTH, height=HEIGHT, rate=RATE)


def read_side(picture: NDArray[np.uint8]) -> Side:
    """Read a side, which shows one whole picture or nothing."""
    middles = picture[BLOCK // 2::BLOCK, BLOCK // 2::BLOCK].ravel().astype(int)
    if middles.max() < BLACK + 30:
        return NOTHING
    is_light = middles > 128
    assert np.abs(middles - np.where(is_light, WHITE, BLACK)).max() < 40, "a picture is blurred"
    is_complement = not is_light[0]
    bits = is_light[1:] ^ is_complement
    assert (bits[:BITS] != bits[BITS:2 * BITS]).all(), "a picture is mixed from others"
    return Side(sum(1 << bit for bit in range(BITS) if bits[bit]), is_complement)


def read_sides(picture: NDArray[np.uint8]) -> tuple[Side, Side]:
    """Read a joined picture."""
    assert picture.shape == (HEIGHT, 2 * WIDTH)
    return read_side(picture[:, :WIDTH]), read_side(picture[:, WIDTH:])


def read(path: Path) -> list[Joined]:
    """Read a file of joined pictures to its end, which may be where it is just being written."""
    joined: list[Joined] = []
    if not path.exists() or not path.stat().st_size:
        return joined
    with av.open(str(path)) as container:
        for frame in container.decode(video=0):
            joined.append(Joined(frame.time, *read_sides(frame.to_ndarray(format="gray8"))))
    return joined


def share_in_step(joined: list[Joined]) -> float:
    """Return for how many of joined pictures both sides are of one moment, as a share of all.

    All are, unless a machine that is busy with other things lets a picture come too late.
    """
    return sum(one.camera.number == one.operator.number for one in joined) / len(joined)
