"""Histograms, against their rules in numpy."""

import copy
import gc
import pickle

import numpy as np
import pytest
import velmor
from operators import huge, in_threads, layouts, refused
from support import random_picture


def shares(picture, bins, counted):
    """Give the share of each bin, floor(v b / 256) in each channel, of the counted pixels."""
    result = np.zeros(bins)
    total = 0
    for y, x in zip(*np.nonzero(counted)):
        result[tuple(int(v) * b // 256 for v, b in zip(picture[y, x], bins))] += 1
        total += 1
    return result / max(total, 1)


def counted(picture, region=None, hsv=False, mask=None):
    """Say which pixels count: in the region, not in the last column and row, with colour."""
    height, width = picture.shape[:2]
    x, y, w, h = region or (0, 0, width, height)
    result = np.zeros((height, width), bool)
    result[
        min(y, height - 1) : min(y + h, height - 1), min(x, width - 1) : min(x + w, width - 1)
    ] = True
    result &= picture[..., 2] != 0 if hsv else (picture != 0).all(axis=2)
    return result if mask is None else result & (mask != 0)


def with_zeros(*shape, seed=1):
    """Give random colours, of which many have a channel that is 0."""
    picture = random_picture(*shape, seed=seed)
    picture[random_picture(*shape, seed=seed + 1) < 40] = 0
    return picture


@pytest.mark.parametrize("bins", [(8, 8, 8), (1, 1, 1), (4, 5, 6), (16, 3, 255), (255, 1, 2)])
def test_bins_are_shares_of_the_colours(bins):
    picture = with_zeros(40, 30, 3)
    histogram = velmor.colour_hist2d(picture, bins)
    assert histogram.bins.shape == bins and histogram.bins.dtype == np.float64
    assert np.allclose(histogram.bins, shares(picture, bins, counted(picture)), rtol=1e-14, atol=0)
    assert histogram.bins.sum() == pytest.approx(1)
    assert repr(histogram) == f"<velmor.ColourHistogram: {bins[0]} x {bins[1]} x {bins[2]} bins>"


def test_one_number_of_bins_is_for_all_channels():
    picture = random_picture(9, 9, 3)
    assert velmor.colour_hist2d(picture, 5) == velmor.colour_hist2d(picture, (5, 5, 5))
    assert velmor.colour_hist2d(picture, np.int64(8)) == velmor.colour_hist2d(picture)
    assert velmor.colour_hist2d(picture, np.array([5, 6, 7])).bins.shape == (5, 6, 7)


@pytest.mark.parametrize(
    "region",
    [
        (0, 0, 30, 40),
        (3, 4, 10, 11),
        (29, 0, 5, 5),
        (100, 100, 4, 4),
        (5, 5, 0, 9),
        (2, 3, 2**31 - 1, 2**31 - 1),
        (2**31 - 1, 0, 2**31 - 1, 9),
    ],
)
def test_a_region_is_what_is_inside_without_the_last_column_and_row(region):
    picture = with_zeros(40, 30, 3)
    histogram = velmor.colour_hist2d(picture, 6, region=region)
    assert np.allclose(
        histogram.bins, shares(picture, (6, 6, 6), counted(picture, region)), rtol=1e-14, atol=0
    )


def test_a_mask_and_a_format_select_pixels():
    picture, mask = with_zeros(40, 30, 3), random_picture(40, 30, seed=9) // 128
    for format_, hsv in (("rgb", False), ("bgr", False), ("hsv", True)):
        for selects in (None, mask, mask.astype(bool)):
            histogram = velmor.colour_hist2d(
                picture, 4, region=(2, 1, 20, 30), format=format_, mask=selects
            )
            expected = shares(picture, (4, 4, 4), counted(picture, (2, 1, 20, 30), hsv, selects))
            assert np.allclose(histogram.bins, expected, rtol=1e-14, atol=0), format_
    assert not velmor.colour_hist2d(picture, mask=np.zeros_like(mask)).bins.any()


def test_any_layout():
    picture, mask = with_zeros(40, 30, 3), random_picture(40, 30) // 128
    expected = velmor.colour_hist2d(picture, mask=mask)
    for same in layouts(picture).values():
        for selects in layouts(mask).values():
            assert velmor.colour_hist2d(same, mask=selects) == expected


@pytest.mark.parametrize("shape", [(1, 1, 3), (1, 9, 3), (9, 1, 3)])
def test_the_last_column_and_row_are_never_counted(shape):
    assert not velmor.colour_hist2d(np.full(shape, 9, np.uint8)).bins.any()


# The filter


@pytest.mark.parametrize("channels", [3, 4])
@pytest.mark.parametrize("dtype", [np.uint8, np.float32])
def test_each_pixel_of_the_region_counts_once(channels, dtype):
    picture = random_picture(20, 30, channels, dtype=dtype)
    bins = (4, 7, 10)
    for region in (None, (0, 0, 30, 20), (3, 4, 11, 12), (29, 19, 1, 1)):
        x, y, w, h = region or (0, 0, 30, 20)
        part = picture[y : y + h, x : x + w]
        expected = np.zeros(bins)
        for pixel in part.reshape(-1, channels):
            # v b / 255 exactly of bytes; v b rounded once of floats
            numbers = [
                int(v) * b // 255 if dtype == np.uint8 else int(np.float32(v) * np.float32(b))
                for v, b in zip(pixel, bins)
            ]
            expected[tuple(min(number, b - 1) for number, b in zip(numbers, bins))] += 1 / (w * h)
        histogram = velmor.color_hist_shader(picture, bins, region=region)
        assert np.allclose(histogram.bins, expected, rtol=1e-9, atol=0), region


# The record


def test_bins_are_a_view_that_keeps_the_histogram_alive():
    histogram = velmor.colour_hist2d(random_picture(20, 20, 3), (2, 3, 4))
    expected = histogram.bins.copy()
    view, same = histogram.bins, np.asarray(histogram)
    assert np.shares_memory(view, histogram.bins) and np.shares_memory(same, view)
    assert view.strides == (8, 16, 48) and not view.flags.owndata
    view[1, 2, 3] = 7.0
    assert histogram.bins[1, 2, 3] == 7.0
    del histogram
    gc.collect()
    expected[1, 2, 3] = 7.0
    assert np.array_equal(view, expected) and np.array_equal(same, expected)


def test_numpy_takes_a_histogram_as_it_likes():
    histogram = velmor.colour_hist2d(random_picture(20, 20, 3), (2, 3, 4))
    assert np.asarray(histogram, np.float32).dtype == np.float32
    copied = np.array(histogram)
    assert np.array_equal(copied, histogram.bins) and not np.shares_memory(copied, histogram.bins)
    assert not np.shares_memory(histogram.__array__(copy=True), histogram.bins)
    with pytest.raises(ValueError, match="expected float64, as another type takes a copy, got"):
        histogram.__array__(np.float32, copy=False)
    assert np.sum(histogram) == pytest.approx(1)


def test_a_new_histogram_is_zeros():
    histogram = velmor.ColourHistogram((2, 3, 255))
    assert histogram.bins.shape == (2, 3, 255) and not histogram.bins.any()
    assert velmor.ColourHistogram(4).bins.shape == (4, 4, 4)


@pytest.mark.parametrize(
    "again",
    [
        copy.copy,
        copy.deepcopy,
        *(
            lambda each, protocol=protocol: pickle.loads(pickle.dumps(each, protocol))
            for protocol in range(2, pickle.HIGHEST_PROTOCOL + 1)
        ),
    ],
)
def test_copies_and_pickles_are_equal_and_on_their_own(again):
    histogram = velmor.colour_hist2d(random_picture(20, 20, 3), (2, 3, 4))
    other = again(histogram)
    assert other == histogram and np.array_equal(other.bins, histogram.bins)
    other.bins[0, 0, 0] += 1
    assert other != histogram
    assert velmor.ColourHistogram((2, 3, 4)) != velmor.ColourHistogram((4, 3, 2))
    assert histogram != 3


@pytest.mark.parametrize(
    "state", [np.zeros(3), np.zeros((0, 1, 1)), np.zeros((256, 1, 1)), np.zeros((2, 2))]
)
def test_pickles_of_something_else_are_refused(state):
    fresh = velmor.ColourHistogram.__new__(velmor.ColourHistogram)
    with pytest.raises(
        ValueError,
        match="^velmor.ColourHistogram: expected the state of a histogram, got float64 of",
    ):
        fresh.__setstate__(state)
    with pytest.raises(RuntimeError):
        fresh.bins


# Errors


@pytest.mark.parametrize("name", ["colour_hist2d", "color_hist_shader"])
def test_bins_and_regions_are_checked(name):
    picture = random_picture(9, 8, 3)

    def call(*arguments, **keywords):
        return lambda: getattr(velmor, name)(picture, *arguments, **keywords)

    start = f"velmor.{name}(): expected "
    for bins in (0, 256, -1, 10**30, (0, 1, 1), (1, 1, 256)):
        with pytest.raises(
            ValueError, match=f"^velmor.{name}\\(\\): expected bins from 1 to 255, got "
        ):
            call(bins)()
    refused(call(2.0), start + "bins to be a whole number or three, got float")
    refused(call((1, 2)), start + "bins to be a whole number or three, got 2 elements")
    refused(call("abcd"), start + "bins to be a whole number or three, got 4 elements")
    refused(call(region=(1, 2, 3)), start + "region to be (x, y, width, height), got 3 elements")
    refused(call(region=5), start + "region to be (x, y, width, height), got int")
    with pytest.raises(
        ValueError, match="expected width of region from -?[0-9]+ to 2147483647, got 2147483648"
    ):
        call(region=(0, 0, 2**31, 1))()
    with pytest.raises(
        ValueError,
        match="expected x of region from -?[0-9]+ to 2147483647, a whole number, got 0.5",
    ):
        call(region=(0.5, 0, 1, 1))()


def test_regions_of_the_filter_lie_inside():
    picture = random_picture(9, 8, 3)
    for region in (
        (-1, 0, 2, 2),
        (0, 0, 9, 2),
        (7, 8, 2, 1),
        (0, 0, 0, 1),
        (0, 0, -1, 1),
        (2**31 - 1, 0, 2**31 - 1, 1),
        (-(2**31), 0, 2**31 - 1, 1),
    ):
        with pytest.raises(ValueError, match=r"^velmor\.color_hist_shader\(\): expected a region "):
            velmor.color_hist_shader(picture, region=region)
    with pytest.raises(
        ValueError,
        match=r"^velmor\.colour_hist2d\(\): expected y of region from 0 to 2147483647, got -1",
    ):
        velmor.colour_hist2d(picture, region=(0, -1, 2, 2))


def test_images_masks_and_formats_are_checked():
    picture, call = random_picture(9, 8, 3), velmor.colour_hist2d
    refused(
        lambda: call(picture[..., 0]),
        "velmor.colour_hist2d(): expected an array of bool or uint8 of shape "
        "(height, width, 3), got uint8 of shape (9, 8)",
    )
    refused(
        lambda: call(picture, mask=picture[:8, :, 0]),
        "velmor.colour_hist2d(): expected a mask of shape (9, 8), got uint8 of shape (8, 8)",
    )
    refused(
        lambda: call(picture, mask=picture),
        "velmor.colour_hist2d(): expected an array of bool or uint8 of shape "
        "(height, width), got uint8 of shape (9, 8, 3)",
    )
    refused(
        lambda: call(picture, format="lab"),
        "velmor.colour_hist2d(): expected format to be 'rgb', 'hsv' or 'bgr', got another text",
    )
    refused(
        lambda: call(picture, format=1),
        "velmor.colour_hist2d(): expected format to be 'rgb', 'hsv' or 'bgr', got int",
    )
    for wrong in (picture[:0], picture[:, :0], picture.astype(float), None, huge(2**30, 3, 3)):
        with pytest.raises(ValueError, match=r"^velmor\.colour_hist2d\(\): expected an array"):
            call(wrong)


def test_threads():
    pictures = [random_picture(90, 80, 3, seed=seed) for seed in range(3)]
    expected = [velmor.colour_hist2d(picture, 32) for picture in pictures]
    answers = in_threads(
        [lambda picture=picture: velmor.colour_hist2d(picture, 32) for picture in pictures]
    )
    for right, given in zip(expected, answers):
        assert all(each == right for each in given)
