"""What is compared with what. Each function is one row of the page, and gives, picture by picture, our answer, theirs,
and where the page says what differs by definition, theirs with that taken into account."""

import numpy as np
import PIL.Image
import PIL.ImageOps
import skimage.util

COMPARISONS = {}

_folder = None
_pictures = None


def begin(folder, pictures):
    """Writes the pictures where the program finds them, and its answers where the comparisons do."""
    global _folder, _pictures
    _folder, _pictures = folder, pictures
    (folder / "pictures").mkdir()
    for picture in pictures:
        np.save(folder / "pictures" / f"{picture.name}.npy", picture.pixels)
        np.save(folder / "pictures" / f"{picture.name}.second.npy", picture.second)


def compared(operator, pixels, call):
    """Makes a function the comparison of a row."""
    def register(function):
        COMPARISONS[operator, pixels, call] = function
        return function
    return register


def pictures_of(depth, channels=(1, 3, 4), wide=False):
    """The pictures of bytes or floats; with those beyond 0..1 or without."""
    dtype = {"bytes": np.uint8, "floats": np.float32}[depth]
    chosen = [each for each in _pictures
              if each.pixels.dtype == dtype and each.channels in channels
              and not each.name.endswith(".mosaic") and (wide or not each.name.startswith("wide"))]
    assert len(chosen) >= 8 * len(channels)
    return chosen


def answer(name, picture):
    """What the program wrote: a filter's answer in bytes or floats, or an answer of OpenCV."""
    return np.load(_folder / name / f"{picture.name}.npy")


# Subtract and Not


@compared("Subtract", "bytes", "OpenCV cv::absdiff")
def _():
    for picture in pictures_of("bytes"):
        yield answer("Subtract.bytes", picture), answer("cv::absdiff", picture)


@compared("Subtract", "floats", "OpenCV cv::absdiff")
def _():
    for picture in pictures_of("floats", wide=True):
        yield answer("Subtract.floats", picture), answer("cv::absdiff", picture)


@compared("Subtract", "bytes to floats", "scikit-image util.compare_images")
def _():
    for picture in pictures_of("bytes"):
        theirs = skimage.util.compare_images(picture.pixels, picture.second, method="diff")
        yield answer("Subtract.floats", picture), theirs


@compared("Not", "bytes", "OpenCV cv::bitwise_not")
def _():
    for picture in pictures_of("bytes"):
        yield answer("Not.bytes", picture), answer("cv::bitwise_not", picture)


@compared("Not", "floats", "OpenCV cv::subtract")
def _():
    for picture in pictures_of("floats", wide=True):
        yield answer("Not.floats", picture), answer("cv::subtract", picture)


@compared("Not", "bytes", "scikit-image util.invert")
def _():
    for picture in pictures_of("bytes"):
        yield answer("Not.bytes", picture), skimage.util.invert(picture.pixels)


@compared("Not", "floats", "scikit-image util.invert")
def _():
    for picture in pictures_of("floats", wide=True):
        yield answer("Not.floats", picture), skimage.util.invert(picture.pixels)
