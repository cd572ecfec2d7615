"""The filters' rules in numpy, in doubles.

Each takes numbers on 0..1, of shape (height, width, channels).
"""

from __future__ import annotations

import keyword
import re
from collections.abc import Callable

import numpy as np


def around(picture: np.ndarray, dx: int, dy: int) -> np.ndarray:
    """Give each pixel's neighbour; beyond the edge it is the edge's."""
    height, width = picture.shape[:2]
    rows = np.clip(np.arange(height) + dy, 0, height - 1)
    columns = np.clip(np.arange(width) + dx, 0, width - 1)
    return picture[rows][:, columns]


def correlated(picture: np.ndarray, kernel: list[list[int]]) -> np.ndarray:
    return sum(weight * around(picture, x - 1, y - 1)
               for y, row in enumerate(kernel) for x, weight in enumerate(row))


def classify(a: np.ndarray, b: np.ndarray) -> np.ndarray:
    return np.where((b - a >= 0).all(axis=2, keepdims=True), b - a, 0)


def grey(picture: np.ndarray) -> np.ndarray:
    return picture[..., :3] @ np.array([[0.212671], [0.715160], [0.072169]])


def hsv(picture: np.ndarray) -> np.ndarray:
    """Value, saturation and hue where the first channel is red."""
    red, green, blue = (picture[..., i] for i in range(3))
    most, least = picture[..., :3].max(axis=2), picture[..., :3].min(axis=2)
    with np.errstate(divide="ignore", invalid="ignore"):
        saturation = np.where(most == 0, 0, (most - least) / most)
        span = most - least
        sixth = np.select([most == least, most == red, most == green],
                          [0 * most, (green - blue) / span, 2 + (blue - red) / span],
                          4 + (red - green) / span)
    return np.dstack([most, saturation, np.where(sixth < 0, sixth + 6, sixth) / 6])


def hsv_of_blue_first(picture: np.ndarray) -> np.ndarray:
    return hsv(picture[..., 2::-1])


def bayer_colours(raw: np.ndarray) -> np.ndarray:
    value = raw[..., 0]
    own = (around(value, -2, 0) + value + around(value, 2, 0)) / 3
    beside = (around(value, -1, 0) + around(value, 1, 0)) / 2
    above = (around(value, 0, -1) + around(value, 0, 1)) / 2
    corners = (around(value, -1, -1) + around(value, 1, 1)) / 2
    odd_row = np.arange(value.shape[0])[:, None] % 2 == 1
    odd_column = np.arange(value.shape[1])[None, :] % 2 == 1
    at_red, at_blue = ~odd_row & ~odd_column, odd_row & odd_column
    green_by_red = ~odd_row & odd_column
    red = np.select([at_red, at_blue, green_by_red], [own, corners, beside], above)
    blue = np.select([at_red, at_blue, green_by_red], [corners, own, above], beside)
    green = np.where(at_red | at_blue, beside, own)
    scale = np.divide(value, own, out=np.ones_like(value), where=own != 0)
    return np.dstack([red, green, blue]) * scale[..., None]


def sobel(picture: np.ndarray) -> np.ndarray:
    level = correlated(picture[..., 0], [[-1, -2, -1], [0, 0, 0], [1, 2, 1]])
    upright = correlated(picture[..., 0], [[1, 0, -1], [2, 0, -2], [1, 0, -1]])
    return np.dstack([level, upright, np.hypot(level, upright)])


LAPLACIANS = {
    0: [[-1, -1, -1], [-1, 8, -1], [-1, -1, -1]],
    1: [[0, 1, 0], [1, -4, 1], [0, 1, 0]],
    2: [[-1, 2, -1], [2, -4, 2], [-1, 2, -1]],
}

Rule = Callable[..., np.ndarray]

# Name -> sources, channels that a source may have, whether floats are given by default, the rule.
FILTERS: dict[str, tuple[int, tuple[int, ...], bool, Rule]] = {
    "not_": (1, (1, 3, 4), False, lambda a: 1 - a),
    "subtract": (2, (1, 3, 4), False, lambda a, b: np.abs(a - b)),
    "and_": (2, (1, 3, 4), False, lambda a, b: 1.0 * ((a > 0) & (b > 0))),
    "or_": (2, (1, 3, 4), False, lambda a, b: np.clip(a + b, 0, 1)),
    "xor": (2, (1, 3, 4), False, classify),
    "classify": (2, (1, 3, 4), False, classify),
    "flip_v": (1, (1, 3, 4), False, lambda a: a[::-1]),
    "bgr2gray": (1, (3, 4), False, grey),
    "rgb2gray": (1, (3, 4), False, grey),
    "bgr2hsv": (1, (3, 4), False, hsv),
    "rgb2hsv": (1, (3, 4), False, hsv_of_blue_first),
    "bayer_rg2rgb": (1, (1,), False, bayer_colours),
    "bayer_rg2gray": (1, (1,), False, lambda a: grey(bayer_colours(a))),
    "gray2sobel": (1, (1,), True, sobel),
    "laplacian": (1, (1, 3, 4), True, lambda a: np.abs(correlated(a, LAPLACIANS[0]))),
}


def function_of(class_name: str) -> str:
    """Give the name of a filter's function: BGR2GRAY -> bgr2gray, FlipV -> flip_v, And -> and_."""
    name = re.sub(r"(?<=[a-z])(?=[A-Z])", "_", class_name).lower()
    return name + "_" if keyword.iskeyword(name) else name


def rounded(numbers: np.ndarray) -> np.ndarray:
    """Give numbers on 0..1 as bytes, rounded half up."""
    # An exact half may be a little less in doubles.
    return np.clip(np.floor(numbers * 255 + 0.5 + 1e-9), 0, 255).astype(np.uint8)
