"""Moments, against the moments of polygons that are known."""

import copy
import pickle

import numpy as np
import pytest
import velmor
from operators import huge, in_threads, layouts, refused
from support import random_picture


def rectangle(mask, x, y, width, height):
    mask[y : y + height, x : x + width] = 255


def expected_of(corners):
    """Give the numbers of a blob whose contour is a polygon, by Green's formulas."""
    x, y = np.array(corners, float).T
    x1, y1 = np.roll(x, -1), np.roll(y, -1)
    cross = x * y1 - x1 * y
    area = cross.sum() / 2
    mean_x, mean_y = (cross * (x + x1)).sum() / (6 * area), (cross * (y + y1)).sum() / (6 * area)
    xx = (cross * (x * x + x * x1 + x1 * x1)).sum() / (12 * area) - mean_x**2
    yy = (cross * (y * y + y * y1 + y1 * y1)).sum() / (12 * area) - mean_y**2
    xy = (cross * (x * y1 + 2 * x * y + 2 * x1 * y1 + x1 * y)).sum() / (24 * area) - mean_x * mean_y
    area = abs(area)
    factor = np.floor(area) / area  # the area in whole pixels is the factor
    covariance = np.array([[xx, -xy], [-xy, yy]]) * factor
    values, vectors = np.linalg.eigh(covariance)
    values, vectors = values[::-1], vectors.T[::-1]
    vectors = np.array([v if v[np.nonzero(np.abs(v) > 1e-12)[0][0]] > 0 else -v for v in vectors])
    return {
        "x": mean_x,
        "y": mean_y,
        "area": int(area),
        "covariance": covariance,
        "eigenvalues": values,
        "eigenvectors": vectors,
        "major_axis": 2 * np.sqrt(values[0]),
        "minor_axis": 2 * np.sqrt(values[1]),
        "angle": np.degrees(-np.arctan2(vectors[0, 1], vectors[0, 0])),
    }


def assert_blob(blob, corners, bounding_box):
    for name, value in expected_of(corners).items():
        assert np.allclose(getattr(blob, name), value, rtol=1e-9, atol=1e-9), name
    assert blob.bounding_box == bounding_box
    assert blob.number_of_points == len(corners)


@pytest.mark.parametrize("foreground", [1, 128, 255])
def test_a_rectangle(foreground):
    mask = np.zeros((40, 60), np.uint8)
    rectangle(mask, 10, 5, 21, 8)
    mask[mask > 0] = foreground
    before = mask.copy()
    [blob] = velmor.Moments().find(mask)
    assert_blob(blob, [(10, 5), (10, 12), (30, 12), (30, 5)], (10, 5, 21, 8))
    assert (blob.x, blob.y, blob.area, blob.angle) == (20.0, 8.5, 140, 0.0)
    assert np.array_equal(mask, before)


@pytest.mark.parametrize("side", [14, 15])  # the area of the second is no whole number
def test_a_triangle(side):
    y, x = np.indices((40, 60))
    mask = ((x >= 20) & (y >= 10) & (x - 20 + y - 10 <= side)).astype(np.uint8)
    [blob] = velmor.Moments().find(mask)
    assert_blob(blob, [(20, 10), (20, 10 + side), (20 + side, 10)], (20, 10, side + 1, side + 1))
    assert blob.angle == pytest.approx(-45)
    # Upside down the longer axis runs the other way.
    [blob] = velmor.Moments().find(mask[::-1])
    assert blob.angle == pytest.approx(45)


def test_a_slanted_parallelogram():
    y, x = np.indices((60, 90))
    mask = ((y >= 20) & (y <= 30) & (x >= 10 + (y - 20)) & (x <= 50 + (y - 20))).astype(np.uint8)
    [blob] = velmor.Moments().find(mask)
    assert_blob(blob, [(10, 20), (20, 30), (60, 30), (50, 20)], (10, 20, 51, 11))


def test_regions_come_by_row_and_column_and_holes_do_not_count():
    mask = np.zeros((40, 60), np.uint8)
    rectangle(mask, 40, 3, 5, 5)
    rectangle(mask, 5, 6, 20, 20)
    rectangle(mask, 50, 3, 4, 4)
    mask[10:20, 8:18] = 0  # a hole
    mask[13:17, 10:15] = 255  # and a region in it
    rectangle(mask, 25, 26, 6, 6)  # which touches the second one at a corner
    found = velmor.Moments().find(mask)
    assert [blob.bounding_box for blob in found] == [(40, 3, 5, 5), (50, 3, 4, 4), (5, 6, 26, 26)]


def test_outermost_rows_and_columns_are_background():
    mask = np.full((12, 10), 255, np.uint8)
    [blob] = velmor.Moments().find(mask)
    assert blob.bounding_box == (1, 1, 8, 10)
    assert velmor.Moments().find(mask[:2]) == []
    assert velmor.Moments().find(mask[:, :1]) == []


def test_areas_and_numbers_of_blobs_are_limited():
    mask = np.zeros((30, 90), np.uint8)
    for k, side in enumerate((3, 9, 5, 7)):
        rectangle(mask, 2 + 20 * k, 4, side, side)

    def areas(*arguments, **keywords):
        return [blob.area for blob in velmor.Moments().find(mask, *arguments, **keywords)]

    assert areas() == [4, 64, 16, 36]
    assert areas(min_area=16) == [64, 36]  # more than 16
    assert areas(min_area=15.999) == [64, 16, 36]
    assert areas(2) == [4, 64] and areas(max_blobs=2, min_area=10) == [64, 16]
    assert areas(0) == [] and areas(-5) == [4, 64, 16, 36]
    assert areas(-1, np.inf) == [] and areas(-1, -np.inf) == [4, 64, 16, 36]


def test_contours_without_an_area_are_blobs_where_the_limit_is_negative():
    mask = np.zeros((9, 9), np.uint8)
    mask[4, 5] = 1
    assert velmor.Moments().find(mask) == []
    [blob] = velmor.Moments().find(mask, min_area=-1)
    assert np.isnan(blob.x) and np.isnan(blob.y)
    assert (blob.major_axis, blob.minor_axis, blob.area) == (0, 0, 0)
    assert blob.bounding_box == (5, 4, 1, 1)
    assert blob != copy.copy(blob)  # as with numbers, what is not one differs from itself


def test_one_structured_array_holds_the_same():
    mask = (random_picture(60, 80, seed=2) < 60).astype(np.uint8)
    moments = velmor.Moments()
    blobs, records = moments.find(mask, min_area=3), moments.find(mask, min_area=3, structured=True)
    assert isinstance(records, np.ndarray) and records.dtype == velmor.BLOB_DTYPE
    assert records.shape == (len(blobs),) and len(blobs) > 5
    names = (
        "x",
        "y",
        "angle",
        "major_axis",
        "minor_axis",
        "area",
        "number_of_points",
        "bounding_box",
        "covariance",
        "eigenvectors",
        "eigenvalues",
    )
    assert records.dtype.names == names
    for blob, record in zip(blobs, records):
        for name in names:
            assert np.array_equal(getattr(blob, name), record[name]), name
    empty = moments.find(np.zeros((9, 9), np.uint8), structured=True)
    assert empty.shape == (0,) and empty.dtype == velmor.BLOB_DTYPE


def test_a_blob_is_a_record():
    mask = np.zeros((20, 20), np.uint8)
    rectangle(mask, 4, 5, 6, 7)
    [blob], [same] = velmor.Moments().find(mask), velmor.Moments().find(mask)
    assert type(blob) is velmor.Blob
    assert type(blob.x) is float and type(blob.area) is int and type(blob.bounding_box[0]) is int
    assert blob.covariance.shape == blob.eigenvectors.shape == (
        2,
        2,
    ) and blob.eigenvalues.shape == (2,)
    assert blob == same and blob == pickle.loads(pickle.dumps(blob)) == copy.deepcopy(blob)
    assert blob != 3
    with pytest.raises(AttributeError):
        blob.x = 3


def test_any_layout():
    mask = (random_picture(30, 40) < 60) * np.uint8(255)
    expected = velmor.Moments().find(mask)
    assert len(expected) > 1
    for name, same in layouts(mask).items():
        assert velmor.Moments().find(same) == expected, name
        assert velmor.Moments().find(same.astype(bool)) == expected, name
    assert velmor.Moments().find(mask[..., None]) == expected


def test_one_object_serves_masks_of_every_size():
    moments = velmor.Moments()
    for height, width in ((30, 40), (3, 3), (200, 7), (1, 1), (2, 500), (64, 64), (30, 40)):
        mask = random_picture(height, width, seed=height) // 128
        assert moments.find(mask) == velmor.Moments().find(mask)


def test_arguments_are_checked():
    find, mask = velmor.Moments().find, np.zeros((4, 5), np.uint8)
    takes = (
        "velmor.Moments.find(): expected an array of bool or uint8 of shape (height, width), got "
    )
    refused(lambda: find(np.zeros((4, 5, 3), np.uint8)), takes + "uint8 of shape (4, 5, 3)")
    refused(lambda: find(mask.astype(float)), takes + "float64 of shape (4, 5)")
    refused(lambda: find(mask.astype(np.uint16)), takes + "uint16 of shape (4, 5)")
    refused(lambda: find(mask[0]), takes + "uint8 of shape (5,)")
    refused(
        lambda: find(mask[:, :0]),
        "velmor.Moments.find(): expected an array with at least 1 pixel, got uint8 of shape (4, 0)",
    )
    for height, width in ((2**31, 1), (2**31 - 1, 2), (1, 2**31), (2**40, 2**20)):
        with pytest.raises(ValueError, match=r"^velmor\.Moments\.find\(\): expected an array"):
            find(huge(height, width))
    refused(
        lambda: find(mask, 2**31),
        "velmor.Moments.find(): expected max_blobs from -2147483648 to 2147483647, got 2147483648",
    )
    refused(
        lambda: find(mask, 1.5),
        "velmor.Moments.find(): expected max_blobs from -2147483648 to 2147483647, a "
        "whole number, got 1.5",
    )
    refused(
        lambda: find(mask, min_area=np.nan),
        "velmor.Moments.find(): expected min_area to be a number, got nan",
    )
    refused(
        lambda: find(mask, min_area="a"),
        "velmor.Moments.find(): expected min_area to be a number, got str",
    )


def test_threads_share_an_object():
    moments = velmor.Moments()
    # So large that a thread is still at work when the next one comes. For masks of one size it
    # has the same memory.
    masks = [(random_picture(1500, 2000, seed=k) < 60).view(np.uint8) for k in range(3)]
    expected = [velmor.Moments().find(mask, min_area=20, structured=True) for mask in masks]
    calls = [lambda mask=mask: moments.find(mask, min_area=20, structured=True) for mask in masks]
    answers = in_threads(calls, rounds=4)
    for right, given in zip(expected, answers):
        assert all(np.array_equal(each, right) for each in given)
