"""Results that are written into the memory of their sources: as right as elsewhere."""

from __future__ import annotations

import itertools
from typing import Any

import numpy as np
import pytest
import velmor

from support import random_picture

SIDE = 40
OVERLAPPING = {
    "not_": (lambda a: velmor.not_(a), lambda a, out: velmor.not_(a, out=out)),
    "flip_v": (lambda a: velmor.flip_v(a), lambda a, out: velmor.flip_v(a, out=out)),
    "subtract": (lambda a: velmor.subtract(a, a[::-1]),
                 lambda a, out: velmor.subtract(a, a[::-1], out=out)),
    "bayer_rg2gray": (lambda a: velmor.bayer_rg2gray(a),
                      lambda a, out: velmor.bayer_rg2gray(a, out=out)),
    "laplacian": (lambda a: velmor.laplacian(a, dtype=a.dtype),
                  lambda a, out: velmor.laplacian(a, out=out, dtype=a.dtype)),
}


def views(memory: np.ndarray) -> dict[str, np.ndarray]:
    """Give square pictures of one size that share memory with each other in all kinds of ways."""
    square = memory[:SIDE, :SIDE]
    return {
        "same": square,
        "a row below": memory[1:SIDE + 1, :SIDE],
        "a pixel beside": memory[:SIDE, 1:SIDE + 1],
        "upside down": square[::-1],
        "mirrored": square[:, ::-1],
        "transposed": square.T,
        "every second row": memory[:2 * SIDE:2, :SIDE],
        "every second column": memory[:SIDE, :2 * SIDE:2],
        "rows of another length": memory.reshape(-1)[7:7 + SIDE * SIDE].reshape(SIDE, SIDE),
        "apart": memory[-SIDE:, -SIDE:],
    }


@pytest.mark.parametrize("dtype", [np.uint8, np.float32])
@pytest.mark.parametrize("name", OVERLAPPING)
def test_out_that_shares_memory_with_a_source(name: str, dtype: Any):
    fresh, into = OVERLAPPING[name]
    original = random_picture(3 * SIDE, 3 * SIDE, dtype=dtype)
    for source_view, out_view in itertools.product(views(original), repeat=2):
        memory = original.copy()
        expected = fresh(views(memory)[source_view].copy())
        out = views(memory)[out_view]
        assert into(views(memory)[source_view], out) is out
        assert np.array_equal(out, expected), f"{source_view} into {out_view}"


def test_out_of_another_type_that_shares_memory():
    for first, offset in itertools.product((0, 1, 100), (0, 4, 100)):
        memory = random_picture(4 * SIDE * SIDE + 200)
        source = memory[first:first + SIDE * SIDE].reshape(SIDE, SIDE)
        out = memory[offset:offset + 4 * SIDE * SIDE].view(np.float32).reshape(SIDE, SIDE)
        expected = (255 - source.astype(np.float64)) / 255
        velmor.not_(source, out=out, dtype="float32")
        np.testing.assert_allclose(out, expected, rtol=0, atol=1e-6)


def test_channels_of_one_picture_share_its_memory():
    picture = random_picture(SIDE, SIDE, 3)
    first, second = picture[..., 0].copy(), picture[..., 1].copy()
    velmor.subtract(picture[..., 0], picture[..., 1], out=picture[..., 2])
    assert np.array_equal(picture[..., 2], np.abs(first.astype(int) - second))
    assert np.array_equal(picture[..., 0], first)
