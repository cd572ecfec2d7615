"""The filters on arrays, against their rules in numpy."""

from __future__ import annotations

import inspect
import itertools
import math

import numpy as np
import pytest
import velmor

from rules import FILTERS, LAPLACIANS, correlated, rounded
from support import random_picture

# Floats are rounded once by each operation; quotients in the rules are up to about 10.
TOLERANCE = 1e-5

HEIGHT, WIDTH = 37, 29

CASES = [pytest.param(name, channels, id=f"{name}-{channels}")
         for name, (_, all_channels, _, _) in FILTERS.items() for channels in all_channels]


def sources_of(name: str, channels: int, dtype: type) -> list[np.ndarray]:
    """Give pictures with many equal and black channels: these are special cases of the rules."""
    pictures = []
    for seed in range(FILTERS[name][0]):
        steps = np.random.default_rng(seed).integers(0, 6, (HEIGHT, WIDTH, channels)) * 51
        others = random_picture(HEIGHT, WIDTH, channels, seed=seed + 9)
        picture = np.where(steps == 255, others, steps).astype(np.uint8)
        pictures.append(picture if dtype == np.uint8 else (picture / 255).astype(np.float32))
    return pictures


def by_rule(name: str, sources: list[np.ndarray]) -> np.ndarray:
    numbers = [source / 255 if source.dtype == np.uint8 else source.astype(np.float64)
               for source in sources]
    return FILTERS[name][3](*numbers)


def assert_near(result: np.ndarray, expected: np.ndarray) -> None:
    assert result.dtype == np.float32
    np.testing.assert_allclose(result.reshape(expected.shape), expected, rtol=0, atol=TOLERANCE)


def assert_bytes(result: np.ndarray, expected: np.ndarray) -> None:
    assert result.dtype == np.uint8
    np.testing.assert_array_equal(result.reshape(expected.shape), rounded(expected))


@pytest.mark.parametrize("name, channels",
                         [case for case in CASES if case.values[0] != "gray2sobel"])
def test_bytes_become_bytes(name: str, channels: int):
    sources = sources_of(name, channels, np.uint8)
    assert_bytes(getattr(velmor, name)(*sources, dtype="uint8"), by_rule(name, sources))


@pytest.mark.parametrize("name, channels", CASES)
def test_bytes_become_floats(name: str, channels: int):
    sources = sources_of(name, channels, np.uint8)
    assert_near(getattr(velmor, name)(*sources, dtype="float32"), by_rule(name, sources))


@pytest.mark.parametrize("name, channels", CASES)
def test_floats_become_floats(name: str, channels: int):
    sources = sources_of(name, channels, np.float32)
    assert_near(getattr(velmor, name)(*sources), by_rule(name, sources))


@pytest.mark.parametrize("name, channels", CASES)
def test_the_result_has_the_dtype_of_the_source_unless_it_is_floats_alone(name: str, channels: int):
    function = getattr(velmor, name)
    for dtype in (np.uint8, np.float32):
        expected = np.float32 if FILTERS[name][2] else dtype
        assert function(*sources_of(name, channels, dtype)).dtype == expected


@pytest.mark.parametrize("kernel", LAPLACIANS)
def test_laplacian_has_kernels(kernel: int):
    source, = sources_of("laplacian", 3, np.uint8)
    expected = np.abs(correlated(source / 255, LAPLACIANS[kernel]))
    assert_near(velmor.laplacian(source, kernel), expected)
    assert_near(velmor.laplacian(source, kernel=np.int64(kernel)), expected)
    assert_bytes(velmor.laplacian(source, kernel, dtype="uint8"), expected)


def test_laplacian_has_the_first_kernel_by_default():
    source = random_picture(9, 9)
    assert np.array_equal(velmor.laplacian(source), velmor.laplacian(source, 0))


@pytest.mark.parametrize("channels", [3, 4])
@pytest.mark.parametrize("dtype", ["float32", "float64"])
def test_non_max_supression_keeps_what_is_largest_along_its_direction(channels: int, dtype: str):
    # Ways of (1, 0), (0, 1) and (1, 1) pixels.
    random = np.random.default_rng(3)
    magnitude = random.choice([0.0, 0.5, 1.0, 2.0], (HEIGHT, WIDTH))
    ways = random.choice(3, (HEIGHT, WIDTH))
    dx, dy = (ways != 1).astype(int), (ways != 0).astype(int)
    source = np.zeros((HEIGHT, WIDTH, channels), dtype)
    source[..., 0] = magnitude
    # A place a tenth of a pixel beyond the neighbour's centre: rounding moves it to no other pixel.
    source[..., 1] = (1.1 * dx * 1.4142 * magnitude + 1) / 2
    source[..., 2] = (1.1 * dy * 1.4142 * magnitude + 1) / 2
    expected = np.zeros((HEIGHT, WIDTH))
    for y, x in itertools.product(range(HEIGHT), range(WIDTH)):
        down, right = dy[y, x], dx[y, x]
        ahead = magnitude[min(y + down, HEIGHT - 1), min(x + right, WIDTH - 1)]
        behind = magnitude[max(y - down, 0), max(x - right, 0)]
        if magnitude[y, x] > max(ahead, behind):
            expected[y, x] = 1.4142 * magnitude[y, x]
    result = velmor.non_max_supression(source)
    assert result.shape == (HEIGHT, WIDTH)
    assert_near(result, expected)


@pytest.mark.parametrize("dtype", ["uint16", "uint32", ">u2", ">u4"])
@pytest.mark.parametrize("shape", [(HEIGHT, WIDTH), (HEIGHT, WIDTH, 1), (HEIGHT, WIDTH, 4)])
def test_debug_uint2float_divides_by_65535(dtype: str, shape: tuple[int, ...]):
    source = random_picture(*shape, dtype=np.dtype(dtype).newbyteorder("=")).astype(dtype)
    result = velmor.debug_uint2float(source)
    assert result.shape == shape
    np.testing.assert_allclose(result, source.astype(float) / 65535, rtol=3e-7)


def test_debug_uint2float_reads_large_numbers_as_unsigned():
    assert velmor.debug_uint2float(np.array([[2**32 - 1]], np.uint32))[0, 0] == np.float32(65537)


@pytest.mark.parametrize("shape", [(HEIGHT, WIDTH), (HEIGHT, WIDTH, 1), (1, 1), (700, 901)])
def test_pixel_count_counts_full_bytes(shape: tuple[int, ...]):
    mask = random_picture(*shape) | np.uint8(0xF8)
    count = velmor.pixel_count(mask)
    assert count == int((mask == 255).sum())
    assert isinstance(count, int)


def test_pixel_count_sums_whole_parts():
    assert velmor.pixel_count(np.array([[0.99, 2.5, -3.0, math.nan, 1.0]], np.float32)) == 3
    assert velmor.pixel_count(np.array([[True, False, True]])) == 2
    assert velmor.pixel_count(np.array([[math.inf]], np.float32)) == 2**32 - 1


@pytest.mark.parametrize("shape, function, expected", [
    ((5, 7), "not_", (5, 7)),
    ((5, 7, 1), "not_", (5, 7, 1)),
    ((5, 7, 4), "not_", (5, 7, 4)),
    ((5, 7, 3), "bgr2gray", (5, 7)),
    ((5, 7, 4), "bgr2hsv", (5, 7, 3)),
    ((5, 7), "gray2sobel", (5, 7, 3)),
    ((5, 7, 1), "gray2sobel", (5, 7, 3)),
    ((5, 7), "bayer_rg2gray", (5, 7)),
    ((5, 7, 1), "bayer_rg2gray", (5, 7, 1)),
])
def test_shapes_of_results(shape: tuple[int, ...], function: str, expected: tuple[int, ...]):
    assert getattr(velmor, function)(random_picture(*shape)).shape == expected


def test_a_source_without_third_dimension_goes_with_one_channel():
    a, b = random_picture(5, 7), random_picture(5, 7, 1, seed=2)
    assert np.array_equal(velmor.subtract(a, b), np.abs(a.astype(int) - b[..., 0]))
    assert velmor.subtract(b, a).shape == (5, 7, 1)


def test_arguments_have_names():
    a, b = random_picture(5, 7), random_picture(5, 7, seed=2)
    result = np.empty_like(a)
    assert velmor.subtract(b=b, a=a, out=result) is result
    assert np.array_equal(result, velmor.subtract(a, b))
    assert np.array_equal(velmor.laplacian(kernel=1, source=a), velmor.laplacian(a, 1))


@pytest.mark.parametrize("call", [
    lambda a: velmor.not_(),
    lambda a: velmor.not_(a, a),
    lambda a: velmor.not_(a, result=a),
    lambda a: velmor.subtract(a),
    lambda a: velmor.subtract(a, a, a),
    lambda a: velmor.pixel_count(a, out=a),
])
def test_wrong_arguments_are_type_errors(call):
    with pytest.raises(TypeError):
        call(random_picture(5, 7))


def test_every_filter_is_tried():
    with_tests_of_their_own = {"non_max_supression", "debug_uint2float"}
    texts = {name: inspect.getdoc(getattr(velmor, name)) or "" for name in velmor.__all__}
    # The first line says the arguments, and filters alone have this one.
    filters = {name for name, text in texts.items() if "dtype: " in text.partition("\n")[0]}
    assert filters == FILTERS.keys() | with_tests_of_their_own


def test_every_function_has_a_docstring():
    functions = [getattr(velmor, name) for name in dir(velmor) if not name.startswith("_")]
    functions = [function for function in functions if inspect.isroutine(function)]
    assert len(functions) > len(FILTERS)
    assert all(function.__doc__.strip() for function in functions)
