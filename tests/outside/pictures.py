"""The pictures that are compared: noise, a photograph, patterns that reach the largest sums, single pixels and rows.

Each is there with 1, 3 and 4 channels, of bytes and of the same values as floats. "wide" is of floats alone, beyond
0..1. Mosaics are there for demosaicing.
"""

from typing import NamedTuple

import numpy as np
import PIL.Image

PHOTOGRAPH = "/usr/share/doc/opencv-doc/examples/data/messi5.jpg"


class Picture(NamedTuple):
    name: str
    pixels: np.ndarray
    second: np.ndarray  # of the same size and type, for operators of two sources

    @property
    def channels(self):
        return 1 if self.pixels.ndim == 2 else self.pixels.shape[2]

    @property
    def floats(self):
        """The values on 0..1 where bytes are 0..255, in doubles."""
        return as_floats(self.pixels)


def as_floats(pixels):
    return pixels / 255.0 if pixels.dtype == np.uint8 else pixels.astype(np.float64)


def _patterns():
    """Black and white: a checkerboard, one white pixel on black, one black pixel on white, steps of both directions."""
    board = np.indices((12, 12)).sum(axis=0) % 2 * 255
    dot = np.zeros((12, 12), int)
    dot[5, 6] = 255
    step = np.zeros((12, 12), int)
    step[:, 6:] = 255
    return np.block([[board, dot, 255 - dot], [step, step.T, 255 - step.T]]).astype(np.uint8)


def _colours():
    """16 values of each channel, 0 and 255 among them; and all colours of the four darkest and the four brightest."""
    def cube(values):
        return np.stack(np.meshgrid(values, values, values), axis=-1).reshape(-1, 64, 3)
    return np.concatenate([cube(np.arange(0, 256, 17)), cube(np.arange(4)), cube(np.arange(252, 256))]).astype(np.uint8)


def _photograph():
    """The middle of the photograph: all of it would take room and time, and show nothing else."""
    return np.asarray(PIL.Image.open(PHOTOGRAPH).convert("RGB"))[60:252, 140:396]


def _bytes(random):
    def noise(height, width):
        return random.integers(0, 256, (height, width, 3), np.uint8)
    return {
        "noise": noise(47, 61),
        "black_and_white": noise(40, 80) // 128 * 255,
        "patterns": np.stack([_patterns(), _patterns()[::-1], _patterns()[:, ::-1]], axis=-1),
        "colours": _colours(),
        "photograph": _photograph(),
        "dot": noise(1, 1),
        "row": noise(1, 37),
        "column": noise(41, 1),
    }


def make():
    random = np.random.default_rng(20)
    pictures = []

    def add(name, pixels):
        second = random.permutation(pixels.reshape(-1)).reshape(pixels.shape)
        pictures.append(Picture(name, np.ascontiguousarray(pixels), second))

    for name, colour in _bytes(random).items():
        alpha = random.integers(0, 256, colour.shape[:2] + (1,), np.uint8)
        for pixels in (colour[..., 1], colour, np.concatenate([colour, alpha], axis=-1)):
            channels = 1 if pixels.ndim == 2 else pixels.shape[2]
            add(f"{name}.{channels}.bytes", pixels)
            add(f"{name}.{channels}.floats", (pixels / np.float32(255)).astype(np.float32))
    for shape in ((33, 45), (33, 45, 3), (33, 45, 4)):
        pixels = random.uniform(-1, 2, shape).astype(np.float32)
        add(f"wide.{len(shape) == 2 or shape[2]:d}.floats", pixels)
    _add_mosaics(add)
    return pictures


def _add_mosaics(add):
    """What a sensor sees, red first: one grey, one plane of all colours, a plane of each colour, and a photograph."""
    y, x = np.mgrid[:30, :40]
    add("grey.mosaic", np.full((30, 40), 77, np.uint8))
    add("plane.mosaic", (10 + 2 * x + 3 * y).astype(np.uint8))
    planes = np.stack([20 + 2 * x + y, 60 + x + 2 * y, 200 - x - 2 * y], axis=-1)
    add("planes.mosaic", mosaic(planes.astype(np.uint8)))
    add("photograph.mosaic", mosaic(_photograph()))


def mosaic(colour):
    """The one colour of each pixel: red, green and green, blue."""
    raw = colour[..., 1].copy()
    raw[::2, ::2] = colour[::2, ::2, 0]
    raw[1::2, 1::2] = colour[1::2, 1::2, 2]
    return raw
