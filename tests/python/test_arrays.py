"""Arrays of every layout and type as arguments and as out, and how often they are copied."""

from __future__ import annotations

import itertools
from collections.abc import Callable
from typing import Any

import numpy as np
import pytest
import velmor

from support import copies, limits_addresses, random_picture, run_python

HEIGHT, WIDTH = 120, 200


# ---- Layouts

def within(picture: np.ndarray) -> np.ndarray:
    frame = np.full((HEIGHT + 5, WIDTH + 7, *picture.shape[2:]), 77, picture.dtype)
    frame[2:2 + HEIGHT, 3:3 + WIDTH] = picture
    return frame[2:2 + HEIGHT, 3:3 + WIDTH]


def every_second_row(picture: np.ndarray) -> np.ndarray:
    return picture.repeat(2, axis=0)[::2]


def every_second_column(picture: np.ndarray) -> np.ndarray:
    return picture.repeat(2, axis=1)[:, ::2]


def read_only(picture: np.ndarray) -> np.ndarray:
    result = picture.copy()
    result.flags.writeable = False
    return result


def unaligned(picture: np.ndarray) -> np.ndarray:
    memory = np.zeros(picture.nbytes + 1, np.uint8)
    result = memory[1:].view(picture.dtype).reshape(picture.shape)
    result[...] = picture
    return result


def unaligned_rows(picture: np.ndarray) -> np.ndarray:
    row = picture[0].nbytes + 1
    memory = np.zeros(row * HEIGHT, np.uint8)
    result = np.ndarray(picture.shape, picture.dtype, memory, 0, (row, *picture.strides[1:]))
    result[...] = picture
    return result


def part_of_channels(picture: np.ndarray) -> np.ndarray:
    return np.concatenate([picture, picture[..., :1]], axis=2)[..., :3]


# Name -> what gives the same numbers in another layout, and whether a call has to copy them.
LAYOUTS: dict[str, tuple[Callable[[np.ndarray], np.ndarray], int]] = {
    "plain": (np.copy, 0),
    "part of a larger one": (within, 0),
    "every second row": (every_second_row, 0),
    "read-only": (read_only, 0),
    "every second column": (every_second_column, 1),
    "upside down": (lambda a: a[::-1].copy()[::-1], 1),
    "mirrored": (lambda a: a[:, ::-1].copy()[:, ::-1], 1),
    "turned": (lambda a: a[::-1, ::-1].copy()[::-1, ::-1], 1),
    "Fortran": (np.asfortranarray, 1),
    "transposed": (lambda a: a.swapaxes(0, 1).copy().swapaxes(0, 1), 1),
}
LAYOUTS_OF_COLOURS = {
    "channels reversed": (lambda a: a[..., ::-1].copy()[..., ::-1], 1),
    "planes": (lambda a: np.moveaxis(np.moveaxis(a, 2, 0).copy(), 0, 2), 1),
    "three of four channels": (part_of_channels, 1),
}
LAYOUTS_OF_FLOATS = {
    "unaligned": (unaligned, 1),
    "unaligned rows": (unaligned_rows, 1),
    "big-endian": (lambda a: a.astype(">f4"), 1),
}


def cases() -> list[Any]:
    result = []
    for channels, dtype in itertools.product((1, 3), (np.uint8, np.float32)):
        layouts = dict(LAYOUTS)
        layouts.update(LAYOUTS_OF_COLOURS if channels == 3 else {})
        layouts.update(LAYOUTS_OF_FLOATS if dtype == np.float32 else {})
        for name in layouts:
            result.append(pytest.param(channels, dtype, *layouts[name],
                                       id=f"{channels}-{np.dtype(dtype)}-{name}"))
    return result


def picture_of(channels: int, dtype: Any, seed: int = 1) -> np.ndarray:
    shape = (HEIGHT, WIDTH) if channels == 1 else (HEIGHT, WIDTH, channels)
    return random_picture(*shape, dtype=dtype, seed=seed)


@pytest.mark.parametrize("channels, dtype, layout, expected_copies", cases())
def test_sources_of_every_layout(channels, dtype, layout, expected_copies):
    picture = picture_of(channels, dtype)
    source, out = layout(picture), np.empty_like(picture)
    assert np.array_equal(source, picture)
    number = copies(lambda: velmor.flip_v(source, out=out), picture.nbytes)
    assert np.array_equal(out, picture[::-1])
    assert np.array_equal(source, picture)
    assert number == expected_copies


@pytest.mark.parametrize("channels, dtype, layout, expected_copies", cases())
def test_two_sources_of_every_layout(channels, dtype, layout, expected_copies):
    a, b = picture_of(channels, dtype), picture_of(channels, dtype, seed=2)
    one, two, out = layout(a), layout(b), np.empty_like(a)
    assert copies(lambda: velmor.subtract(one, two, out=out), a.nbytes) == 2 * expected_copies
    expected = np.where(a > b, a - b, b - a)
    assert np.array_equal(out, expected)
    assert np.array_equal(velmor.subtract(a, two), expected)


@pytest.mark.parametrize("channels, dtype, layout", [
    pytest.param(*case.values[:3], id=case.id) for case in cases()
    if not case.id.endswith(("read-only", "big-endian"))])
def test_out_of_every_layout(channels, dtype, layout):
    picture = picture_of(channels, dtype)
    out = layout(np.zeros_like(picture))
    assert velmor.flip_v(picture, out=out) is out
    assert np.array_equal(out, picture[::-1])


def test_nothing_around_out_is_written():
    picture, out = random_picture(HEIGHT, WIDTH), within(np.zeros((HEIGHT, WIDTH), np.uint8))
    frame = out.base
    velmor.not_(picture, out=out)
    frame[2:2 + HEIGHT, 3:3 + WIDTH] = 77
    assert (frame == 77).all()


def test_a_new_result_is_the_only_memory():
    picture = random_picture(HEIGHT, WIDTH, 3)
    assert copies(lambda: velmor.not_(picture), picture.nbytes) == 1


def test_results_are_ordinary_arrays():
    result = velmor.not_(random_picture(5, 7, 3))
    assert type(result) is np.ndarray
    assert result.flags.c_contiguous and result.flags.writeable and result.flags.owndata


@limits_addresses
def test_no_copy_is_hidden_from_numpy():
    """Leave no room for another picture: calls that need none work, the others raise."""
    run_python("""
import resource
import numpy as np
import velmor

velmor.set_num_threads(1)
side = 8192
a, out = np.ones((side, side), np.uint8), np.empty((side, side), np.uint8)
b = np.zeros((side, side), np.uint8)
wide = np.ones((side // 2, side * 2), np.uint8)
velmor.not_(a[:9], out=out[:9])
with open("/proc/self/statm") as statm:
    used = int(statm.read().split()[0]) * resource.getpagesize()
limit = used + side * side // 2
resource.setrlimit(resource.RLIMIT_AS, (limit, limit))

velmor.not_(a, out=out)
velmor.subtract(a, b, out=out)
velmor.not_(a, out=a)
velmor.laplacian(wide[:9], out=np.empty((9, side * 2), np.float32))
velmor.not_(wide[:, :side], out=wide[:, side:])
for picture, value in (a, 254), (out, 1), (wide[:, side:], 254):
    assert picture.min() == picture.max() == value
for needs_a_copy in (lambda: velmor.not_(a), lambda: velmor.not_(a[:, ::-1], out=out),
                     lambda: velmor.not_(a, out=out[::-1]), lambda: velmor.flip_v(a, out=a)):
    try:
        needs_a_copy()
    except MemoryError:
        continue
    raise SystemExit("there was room for a copy: the limit proves nothing")
assert a.min() == a.max() == 254
""")


@limits_addresses
@pytest.mark.parametrize("function, dtype", [("bayer_rg2gray", "uint8"), ("gray2sobel", "float32"),
                                             ("laplacian", "float32")])
def test_rows_without_memory_for_what_filters_keep_of_them(function: str, dtype: str):
    run_python("""
import resource
import sys
import numpy as np
import velmor

velmor.set_num_threads(1)
function = getattr(velmor, sys.argv[1])
picture = np.zeros((2, 1 << 24), np.uint8)
out = np.zeros(function(picture[:, :9]).shape[:1] + picture.shape[1:] +
               function(picture[:, :9]).shape[2:], sys.argv[2])
with open("/proc/self/statm") as statm:
    used = int(statm.read().split()[0]) * resource.getpagesize()
for room in range(1, 300, 13):
    resource.setrlimit(resource.RLIMIT_AS, (used + (room << 20), resource.RLIM_INFINITY))
    try:
        function(picture, out=out)
    except MemoryError:
        continue
""", function, dtype)


@pytest.mark.parametrize("shape", [(1, 1), (1, 50), (50, 1), (1, 50, 3), (50, 1, 3), (1, 1, 4)])
def test_single_rows_and_columns(shape):
    picture = random_picture(*shape)
    assert np.array_equal(velmor.not_(picture), 255 - picture)
    # Strides of what has one row or one column say nothing.
    for source in (picture[::-1], picture[:, ::-1], np.asfortranarray(picture)):
        assert np.array_equal(velmor.not_(source), 255 - source)


def test_one_column_of_a_picture():
    picture = random_picture(HEIGHT, WIDTH)
    column, out = picture[:, 5:6], np.empty((HEIGHT, 1), np.uint8)
    assert np.array_equal(velmor.not_(column, out=out), 255 - column)


def test_broadcast_arrays():
    row = random_picture(1, WIDTH)
    rows = np.broadcast_to(row, (HEIGHT, WIDTH))
    assert np.array_equal(velmor.flip_v(rows), row.repeat(HEIGHT, axis=0))
    pixel = np.broadcast_to(np.uint8(3), (HEIGHT, WIDTH, 3))
    assert (velmor.not_(pixel) == 252).all()


# ---- Types

def test_true_is_white():
    mask = random_picture(HEIGHT, WIDTH) > 127
    expected = np.where(mask, 0, 255)
    result = velmor.not_(mask)
    assert result.dtype == np.uint8 and np.array_equal(result, expected)
    assert np.array_equal(velmor.not_(mask, dtype="float32"), np.where(mask, 0, 1))


@pytest.mark.parametrize("dtype", [bool, np.float64])
@pytest.mark.parametrize("name", [*LAYOUTS, *LAYOUTS_OF_COLOURS])
def test_converted_sources_of_every_layout(name: str, dtype: Any):
    picture = random_picture(HEIGHT, WIDTH, 3) > 127
    source = {**LAYOUTS, **LAYOUTS_OF_COLOURS}[name][0](picture.astype(dtype))
    expected = np.where(picture, 0, 255 if dtype is bool else 1)
    assert np.array_equal(velmor.not_(source), expected)


def test_every_true_is_white():
    # Other programs leave other bytes than 1 in arrays of bool.
    mask = np.array([[0, 1, 2, 255]], np.uint8).view(bool)
    assert velmor.not_(mask).tolist() == [[255, 0, 0, 0]]


def test_a_mask_of_bool_goes_with_one_of_bytes():
    mask = random_picture(HEIGHT, WIDTH) > 127
    bytes_ = random_picture(HEIGHT, WIDTH, seed=2)
    assert np.array_equal(velmor.and_(mask, bytes_), 255 * (mask & (bytes_ > 0)))


@pytest.mark.parametrize("order", ["C", "F"])
@pytest.mark.parametrize("dtype", ["<f8", ">f8"])
def test_doubles_become_floats(dtype, order):
    picture = random_picture(HEIGHT, WIDTH, 3, dtype=np.float64).astype(dtype, order=order)
    result = velmor.not_(picture)
    assert result.dtype == np.float32
    assert np.array_equal(result, np.float32(1) - picture.astype(np.float32))
    out = np.empty((HEIGHT, WIDTH, 3), np.float32)
    assert copies(lambda: velmor.not_(picture, out=out), out.nbytes) == 1


def test_dtype_of_the_result():
    picture = random_picture(HEIGHT, WIDTH)
    for dtype in ("uint8", np.uint8, np.dtype(np.uint8), "u1"):
        assert velmor.not_(picture / 255, dtype=dtype).dtype == np.uint8
    for dtype in ("float32", np.float32, np.dtype(np.float32), "f4"):
        assert velmor.not_(picture, dtype=dtype).dtype == np.float32


@pytest.mark.parametrize("dtype", [
    "int8", "int16", "int32", "int64", "uint64", "float16", "longdouble", "complex64", "complex128",
    "object", "S3", "U3", "datetime64[s]", "timedelta64[s]", "V5", [("x", "u1"), ("y", "u1")],
])
def test_other_dtypes_are_refused(dtype):
    picture = np.zeros((5, 7), dtype)
    with pytest.raises(ValueError) as error:
        velmor.not_(picture)
    assert str(error.value) == (
        "velmor.not_(): expected an array of bool, uint8, float32 or float64 of shape "
        "(height, width), (height, width, 3) or (height, width, 4), "
        f"got {picture.dtype} of shape (5, 7)")
