#!/usr/bin/python3
"""Times what scikit-image, SciPy and numpy have of the same operators, on the same frames.

bench/outside.py <folder of velmor_bench_frames> <out.json> [--repetitions N] [--sizes VGA,1080p,4K]

Results are compared before anything is timed. The file that it writes has the shape of Google Benchmark's, and each
result has the name of the benchmark that it stands beside.
"""

import argparse
import json
import pathlib
import sys
import time

import numpy as np
import scipy.ndimage
import skimage.color
import skimage.filters
import skimage.measure
import skimage.util

EIGHT_AROUND = np.array([[-1, -1, -1], [-1, 8, -1], [-1, -1, -1]], np.float32)


class Operator:
    """One operator of these packages.

    types   -- of the picture that the benchmark of the same operator runs on
    picture -- "colours" or "grey"
    says    -- what is called
    call    -- makes the result of a picture
    agrees  -- whether a result is what the filter made of the picture, or for filters that give numbers, what a plain
               count of the picture gives
    counts  -- whether the filter gives numbers
    """

    def __init__(self, name, types, picture, says, call, agrees, counts=False):
        self.name, self.types, self.picture, self.says = name, types, picture, says
        self.call, self.agrees, self.counts = call, agrees, counts

    def load(self, folder, size):
        picture = np.load(folder / f"{self.picture}-{size}.npy")
        return np.where(picture > 127, np.uint8(255), np.uint8(0)) if self.name == "PixelCount" else picture


def flipped(picture):
    """The second source of filters that take two."""
    return picture[:, ::-1]


def equal(own, other):
    return np.array_equal(own, other)


def near(own, other, most=1e-4):
    return own.shape == other.shape and np.abs(own - other).max() <= most


def same_grey(own, other):
    """The weights of scikit-image are others, each by less than 0.09."""
    return np.abs(own[..., 0] / 255.0 - other).max() <= 0.13


def same_hsv(own, other):
    """The order is value, saturation, hue. Hue is a circle, and bytes are rounded."""
    own = own / 255.0
    step = 1.01 / 255
    hue = np.abs(own[..., 2] - other[..., 0])
    hue = np.minimum(hue, 1.0 - hue)
    return (near(own[..., 0], other[..., 2], step) and near(own[..., 1], other[..., 1], step)
            and np.mean(hue <= step) > 0.999)


def same_strength(own, other):
    """scikit-image divides by 4 and by the root of 2. Without the edge, where its rule is another."""
    inside = (slice(1, -1), slice(1, -1))
    return near(own[..., 2][inside], other[inside] * 4 * np.sqrt(2))


def laplacian(colours):
    """Eight around, a channel at a time."""
    return np.dstack([scipy.ndimage.convolve(colours[..., c].astype(np.float32), EIGHT_AROUND, mode="nearest")
                      for c in range(3)])


def histogram(colours):
    return np.histogramdd(colours.reshape(-1, 3), bins=8, range=[(0, 255)] * 3)[0]


def same_histogram(colours, other):
    bins = np.minimum(colours.reshape(-1, 3).astype(int) * 8 // 255, 7)
    cells = np.bincount(bins @ [64, 8, 1], minlength=512)
    return equal(cells, other.ravel())


OPERATORS = [
    Operator("Not", "8UC3", "colours", "skimage.util.invert", skimage.util.invert, equal),
    Operator("Subtract", "8UC3", "colours", "skimage.util.compare_images",
             lambda a: skimage.util.compare_images(a, flipped(a), method="diff"),
             lambda own, other: near(own / 255.0, other)),
    Operator("And", "8UC3", "colours", "numpy.logical_and", lambda a: np.logical_and(a, flipped(a)),
             lambda own, other: equal(own, other * np.uint8(255))),
    Operator("BGR2GRAY", "8UC3", "colours", "skimage.color.rgb2gray", skimage.color.rgb2gray, same_grey),
    Operator("BGR2HSV", "8UC3", "colours", "skimage.color.rgb2hsv", skimage.color.rgb2hsv, same_hsv),
    Operator("GRAY2Sobel", "8UC1", "grey", "skimage.filters.sobel", lambda a: skimage.filters.sobel(a[..., 0]),
             same_strength),
    Operator("Laplacian", "8UC3", "colours", "scipy.ndimage.convolve of each channel", laplacian,
             lambda own, other: near(own, np.abs(other) / 255)),
    Operator("FlipV", "8UC3", "colours", "numpy.flipud and a copy", lambda a: np.flipud(a).copy(), equal),
    Operator("ColorHistShader", "8UC3", "colours", "numpy.histogramdd", histogram, same_histogram, True),
    Operator("PixelCount", "8UC1", "grey", "numpy.count_nonzero", np.count_nonzero,
             lambda mask, other: other == mask.sum(dtype=np.int64) // 255, True),
]


def blobs(count):
    """A mask of small squares, as the benchmark of Moments has it."""
    side, columns = 4, 320
    mask = np.zeros((2048, 2048), np.uint8)
    for k in range(count):
        x, y = 2 + k % columns * (side + 2), 2 + k // columns * (side + 2)
        mask[y:y + side, x:x + side] = 255
    return mask


def regions(mask):
    properties = ("centroid", "area", "orientation", "axis_major_length", "axis_minor_length")
    return skimage.measure.regionprops_table(skimage.measure.label(mask, connectivity=2), properties=properties)


def checked(operator, folder):
    """Whether an operator does what the filter does; the tree may not have the filter."""
    picture = operator.load(folder, "VGA")
    own_file = folder / f"{operator.name}.npy"
    if not operator.counts and not own_file.exists():
        print(f"bench/outside.py: no filter {operator.name} in main memory, nothing to stand beside", file=sys.stderr)
        return False
    if not operator.agrees(picture if operator.counts else np.load(own_file), operator.call(picture)):
        raise SystemExit(f"bench/outside.py: {operator.says} and {operator.name} differ; nothing is timed")
    return True


def timed(name, says, call, repetitions):
    """Results of one call in each repetition, after one that is not timed."""
    call()
    results = []
    for repetition in range(repetitions):
        start = time.perf_counter()
        call()
        milliseconds = 1e3 * (time.perf_counter() - start)
        results.append({"name": name, "run_type": "iteration", "repetition_index": repetition, "label": says,
                        "real_time": milliseconds, "time_unit": "ms", "other_ms": milliseconds})
    return results


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("out", type=pathlib.Path)
    parser.add_argument("--repetitions", type=int, default=5)
    parser.add_argument("--sizes", default="VGA,1080p,4K")
    given = parser.parse_args()

    results = []
    for operator in OPERATORS:
        if not checked(operator, given.folder):
            continue
        for size in given.sizes.split(","):
            picture = operator.load(given.folder, size)
            name = f"{operator.name}/{operator.types}/{size}/real/threads"
            results += timed(name, operator.says, lambda: operator.call(picture), given.repetitions)
    for count in (1000, 10000):
        mask = blobs(count)
        if len(regions(mask)["area"]) != count:
            raise SystemExit("bench/outside.py: the number of regions is wrong; nothing is timed")
        results += timed(f"blobs/images/Moments/n:{count}", "skimage.measure.label and regionprops_table",
                         lambda: regions(mask), given.repetitions)
    given.out.write_text(json.dumps({"benchmarks": results}, indent=1))


if __name__ == "__main__":
    main()
