"""What is compared with what. Each function is one row of the page, and gives, picture by picture, our answer, theirs,
and where the page says what differs by definition, theirs with that taken into account."""

import numpy as np
import PIL.Image
import PIL.ImageOps
import scipy.ndimage
import scipy.stats
import skimage.color
import skimage.filters
import skimage.util

import swscale
from pictures import mosaic

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


def named(name):
    """One picture."""
    return next(each for each in _pictures if each.name == name)


def rounded(numbers):
    """Numbers on 0..1 as bytes, rounded half up and limited. What is exactly a half may be a little less in doubles."""
    return np.clip(np.floor(numbers * 255 + 0.5 + 1e-9), 0, 255).astype(np.uint8)


def per_channel(picture, function):
    """A function of planes, for each channel."""
    planes = np.atleast_3d(picture)
    return np.stack([function(planes[..., i]) for i in range(planes.shape[2])], axis=-1).reshape(picture.shape)


def inside(picture):
    """All but two pixels at each edge; a mosaic stays one of the same pattern."""
    return picture[2:-2, 2:-2]


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


# Grey


def colour_of(pixels):
    """The first three channels."""
    return pixels[..., :3]


@compared("BGR2GRAY", "bytes", "OpenCV cv::transform")
def _():
    for picture in pictures_of("bytes", (3, 4)):
        yield answer("BGR2GRAY.bytes", picture), rounded(answer("cv::transform", picture) / 255)


@compared("BGR2GRAY", "floats", "OpenCV cv::transform")
def _():
    for picture in pictures_of("floats", (3, 4)):
        yield answer("BGR2GRAY.floats", picture), answer("cv::transform", picture)


@compared("BGR2GRAY", "floats", "OpenCV cv::cvtColor with COLOR_RGB2GRAY")
def _():
    for picture in pictures_of("floats", (3, 4)):
        theirs = answer("COLOR_RGB2GRAY", picture)
        differs = colour_of(picture.floats) @ [0.212671 - 0.299, 0.715160 - 0.587, 0.072169 - 0.114]
        yield answer("BGR2GRAY.floats", picture), theirs, theirs + differs


@compared("BGR2GRAY", "bytes to floats", "scikit-image color.rgb2gray")
def _():
    for picture in pictures_of("bytes", (3, 4)):
        theirs = skimage.color.rgb2gray(colour_of(picture.pixels))
        differs = colour_of(picture.floats) @ [0.212671 - 0.2125, 0.715160 - 0.7154, 0.072169 - 0.0721]
        yield answer("BGR2GRAY.floats", picture), theirs, theirs + differs


# Value, saturation and hue: others begin with the hue


def around(theirs, ours, period):
    """Hues with the period added or taken away where that brings them nearer to ours."""
    return theirs - np.round((theirs - ours) / period) * period


def value_first(ours, hue, saturation, value, period=1.0):
    return np.stack([value, saturation, around(hue, ours[..., 2].astype(np.float64), period)], axis=-1)


def planes_of(picture):
    return np.moveaxis(picture.astype(np.float64), -1, 0)


@compared("BGR2HSV", "floats", "OpenCV cv::cvtColor with COLOR_RGB2HSV")
def _():
    for picture in pictures_of("floats", (3, 4)):
        ours = answer("BGR2HSV.floats", picture)
        hue, saturation, value = planes_of(answer("COLOR_RGB2HSV", picture))
        # What is added to the greatest, and to the range of the channels, before they divide
        little = np.finfo(np.float32).eps
        red, green, blue = planes_of(colour_of(picture.pixels))
        spread = value - np.minimum(np.minimum(red, green), blue)
        first = np.where(value == red, np.where(hue > 180, 360, 0), np.where(value == green, 120, 240))
        exact = first + (hue - first) * (spread + little) / np.where(spread > 0, spread, 1)
        accounted = saturation * (value + little) / np.where(value > 0, value, 1)
        yield (ours, value_first(ours, hue / 360, saturation, value),
               value_first(ours, np.where(spread > 0, exact, 0) / 360, accounted, value))


@compared("BGR2HSV", "bytes", "OpenCV cv::cvtColor with COLOR_RGB2HSV_FULL")
def _():
    for picture in pictures_of("bytes", (3, 4)):
        ours = answer("BGR2HSV.bytes", picture)
        yield ours, value_first(ours, *planes_of(answer("COLOR_RGB2HSV_FULL", picture)), period=256.0)


@compared("BGR2HSV", "floats", "scikit-image color.rgb2hsv")
def _():
    for picture in pictures_of("floats", (3, 4)):
        ours = answer("BGR2HSV.floats", picture)
        yield ours, value_first(ours, *planes_of(skimage.color.rgb2hsv(colour_of(picture.floats))))


@compared("BGR2HSV", "bytes", "scikit-image color.rgb2hsv")
def _():
    for picture in pictures_of("bytes", (3, 4)):
        hue, saturation, value = planes_of(skimage.color.rgb2hsv(colour_of(picture.pixels)))
        yield answer("BGR2HSV.bytes", picture), rounded(np.stack([value, saturation, hue], axis=-1))


# Edges


def sobel_of_opencv(depth):
    for picture in pictures_of(depth, (1,)):
        theirs = answer("cv::Sobel", picture) / (255 if depth == "bytes" else 1)
        yield answer("GRAY2Sobel.floats", picture), theirs, theirs * [1, -1, 1]


@compared("GRAY2Sobel", "floats", "OpenCV cv::Sobel and cv::magnitude")
def _():
    return sobel_of_opencv("floats")


@compared("GRAY2Sobel", "bytes to floats", "OpenCV cv::Sobel and cv::magnitude")
def _():
    return sobel_of_opencv("bytes")


@compared("GRAY2Sobel", "bytes to floats", "SciPy ndimage.sobel")
def _():
    for picture in pictures_of("bytes", (1,)):
        down, right = (scipy.ndimage.sobel(picture.floats, axis=axis, mode="nearest") for axis in (0, 1))
        theirs = np.stack([down, right, np.hypot(down, right)], axis=-1)
        yield answer("GRAY2Sobel.floats", picture), theirs, theirs * [1, -1, 1]


@compared("GRAY2Sobel", "bytes to floats", "scikit-image filters.sobel")
def _():
    for picture in pictures_of("bytes", (1,)):
        theirs = np.stack([skimage.filters.sobel(picture.pixels, axis=axis, mode="nearest") for axis in (0, 1, None)],
                          axis=-1)
        yield answer("GRAY2Sobel.floats", picture), theirs, theirs * [4, -4, 4 * np.sqrt(2)]


def laplacian_of_opencv(kernel, call, depth):
    for picture in pictures_of(depth, wide=True):
        yield answer(f"Laplacian.{kernel}.{depth}", picture), answer(call, picture)


def laplacian_of_scipy(kernel, weights):
    for picture in pictures_of("floats", wide=True):
        sums = per_channel(picture.floats, lambda plane: scipy.ndimage.correlate(plane, weights, mode="nearest"))
        yield answer(f"Laplacian.{kernel}.floats", picture), np.abs(sums)


@compared("Laplacian, kernel 0", "bytes", "OpenCV cv::filter2D and cv::convertScaleAbs")
def _():
    return laplacian_of_opencv(0, "cv::filter2D.0", "bytes")


@compared("Laplacian, kernel 0", "floats", "OpenCV cv::filter2D and cv::abs")
def _():
    return laplacian_of_opencv(0, "cv::filter2D.0", "floats")


@compared("Laplacian, kernel 0", "floats", "SciPy ndimage.correlate and numpy.abs")
def _():
    return laplacian_of_scipy(0, [[-1, -1, -1], [-1, 8, -1], [-1, -1, -1]])


@compared("Laplacian, kernel 1", "bytes", "OpenCV cv::Laplacian and cv::convertScaleAbs")
def _():
    return laplacian_of_opencv(1, "cv::Laplacian", "bytes")


@compared("Laplacian, kernel 1", "floats", "OpenCV cv::Laplacian and cv::abs")
def _():
    return laplacian_of_opencv(1, "cv::Laplacian", "floats")


@compared("Laplacian, kernel 1", "floats", "SciPy ndimage.laplace and numpy.abs")
def _():
    for picture in pictures_of("floats", wide=True):
        sums = per_channel(picture.floats, lambda plane: scipy.ndimage.laplace(plane, mode="nearest"))
        yield answer("Laplacian.1.floats", picture), np.abs(sums)


@compared("Laplacian, kernel 1", "bytes", "scikit-image filters.laplace and numpy.abs")
def _():
    for picture in pictures_of("bytes"):
        sums = per_channel(picture.pixels, skimage.filters.laplace)
        yield answer("Laplacian.1.bytes", picture), rounded(np.abs(sums))


@compared("Laplacian, kernel 2", "bytes", "OpenCV cv::filter2D and cv::convertScaleAbs")
def _():
    return laplacian_of_opencv(2, "cv::filter2D.2", "bytes")


@compared("Laplacian, kernel 2", "floats", "OpenCV cv::filter2D and cv::abs")
def _():
    return laplacian_of_opencv(2, "cv::filter2D.2", "floats")


@compared("Laplacian, kernel 2", "floats", "SciPy ndimage.correlate and numpy.abs")
def _():
    return laplacian_of_scipy(2, [[-1, 2, -1], [2, -4, 2], [-1, 2, -1]])


# Turned pictures


@compared("FlipV", "bytes", "OpenCV cv::flip")
def _():
    for picture in pictures_of("bytes"):
        yield answer("FlipV.bytes", picture), answer("cv::flip", picture)


@compared("FlipV", "floats", "OpenCV cv::flip")
def _():
    for picture in pictures_of("floats", wide=True):
        yield answer("FlipV.floats", picture), answer("cv::flip", picture)


@compared("FlipV", "bytes", "Pillow ImageOps.flip")
def _():
    for picture in pictures_of("bytes"):
        yield answer("FlipV.bytes", picture), np.asarray(PIL.ImageOps.flip(PIL.Image.fromarray(picture.pixels)))


# Mosaics


def demosaiced_by_opencv(picture, pattern="RGGB"):
    return answer(f"COLOR_Bayer{pattern}2RGB", picture)


def demosaiced_by_ffmpeg(picture):
    return swscale.demosaic(picture.pixels)


def one_grey(demosaiced):
    picture = named("grey.mosaic")
    yield answer("BayerRG2RGB.bytes", picture), demosaiced(picture)


def planes(demosaiced):
    for picture in (named("plane.mosaic"), named("planes.mosaic")):
        yield inside(answer("BayerRG2RGB.bytes", picture)), inside(demosaiced(picture))


def own_colours(demosaiced):
    """Of each pixel the colour that the sensor saw."""
    picture = named("photograph.mosaic")
    yield mosaic(inside(answer("BayerRG2RGB.bytes", picture))), mosaic(inside(demosaiced(picture)))


def photograph(demosaiced):
    """The mean difference, in place of the largest."""
    picture = named("photograph.mosaic")
    ours = inside(answer("BayerRG2RGB.bytes", picture)).astype(float)
    yield np.abs(ours - inside(demosaiced(picture))).mean(), np.float64(0)


def begun_elsewhere():
    """The least of the mean differences, with the colours of the pattern in other places."""
    means = [next(photograph(lambda picture, at=pattern: demosaiced_by_opencv(picture, at)))[0]
             for pattern in ("GRBG", "GBRG", "BGGR")]
    yield min(means), np.float64(0)


for _call, _demosaiced in (("OpenCV cv::demosaicing with COLOR_BayerRGGB2RGB", demosaiced_by_opencv),
                           ("FFmpeg sws_scale from bayer_rggb8 to rgb24", demosaiced_by_ffmpeg)):
    for _pixels, _rule in (("bytes, one grey", one_grey), ("bytes, slopes", planes),
                           ("bytes, the colour that was seen", own_colours), ("bytes, a photograph, mean", photograph)):
        compared("BayerRG2RGB", _pixels, _call)(lambda rule=_rule, demosaiced=_demosaiced: rule(demosaiced))
compared("BayerRG2RGB", "bytes, a photograph, mean", "OpenCV cv::demosaicing with each other pattern")(begun_elsewhere)


def sums_of(raw):
    """The sums of neighbours that the rule has, by SciPy: same colour in the row, and left and right, above and below,
    and on the diagonal."""
    row = scipy.ndimage.correlate1d(raw, [1, 0, 1, 0, 1], axis=1, mode="nearest")
    beside, above = (scipy.ndimage.correlate1d(raw, [1, 0, 1], axis=axis, mode="nearest") for axis in (1, 0))
    diagonal = scipy.ndimage.correlate(raw, [[1, 0, 0], [0, 0, 0], [0, 0, 1]], mode="nearest")
    return row, beside, above, diagonal


def by_the_rule(raw, interpolated):
    """Colours put together, of which interpolated() makes one from the sum of two neighbours."""
    row, *sums = sums_of(raw)
    beside, above, diagonal = (interpolated(raw, row, each) for each in sums)
    red_row, red_column = (np.indices(raw.shape) % 2 == 0)
    seen = [red_row & red_column, red_row & ~red_column, ~red_row & red_column, ~red_row & ~red_column]
    return np.stack([np.select(seen, [raw, beside, above, diagonal]), np.select(seen, [beside, raw, raw, beside]),
                     np.select(seen, [diagonal, above, beside, raw])], axis=-1)


def interpolated_bytes(value, row, two):
    """Half the sum, times the value over the mean of its row, rounded half up: all in integers."""
    return np.minimum(np.where(row == 0, (two + 1) // 2, (3 * two * value + row) // (2 * np.maximum(row, 1))), 255)


def interpolated_floats(value, row, two):
    return two / 2 * np.where(row == 0, 1, 3 * value / np.where(row == 0, 1, row))


@compared("BayerRG2RGB", "bytes", "SciPy ndimage.correlate, put together by the rule")
def _():
    for picture in pictures_of("bytes", (1,)):
        yield answer("BayerRG2RGB.bytes", picture), by_the_rule(picture.pixels.astype(int), interpolated_bytes)


@compared("BayerRG2RGB", "floats", "SciPy ndimage.correlate, put together by the rule")
def _():
    for picture in pictures_of("floats", (1,)):
        yield answer("BayerRG2RGB.floats", picture), by_the_rule(picture.floats, interpolated_floats)


# Histograms


def histogram_of_opencv(bins):
    for picture in pictures_of("bytes", (3, 4)):
        counts = answer(f"cv::calcHist.{bins}", picture).astype(float).reshape(bins, bins, bins).T
        yield answer(f"colorHistShader.{bins}", picture), counts.reshape(1, -1) / picture.pixels[..., 0].size


def histogram_of_scipy(depth, bins):
    for picture in pictures_of(depth, (3, 4)):
        height, width = picture.pixels.shape[:2]
        y, x = height // 4, width // 4
        part = colour_of(picture.pixels)[y:y + max(height // 2, 1), x:x + max(width // 2, 1)]
        for pixels, suffix in ((colour_of(picture.pixels), ""), (part, ".part")):
            pixels = pixels.reshape(-1, 3).astype(float)
            counts = scipy.stats.binned_statistic_dd(pixels, np.zeros(len(pixels)), "count", bins=bins,
                                                     range=[(0, 255 if depth == "bytes" else 1)] * 3).statistic
            yield answer(f"colorHistShader.{bins}{suffix}", picture), counts.T.reshape(1, -1) / len(pixels)


@compared("colorHistShader", "bytes, 8 bins", "OpenCV cv::calcHist with 0 to 256")
def _():
    return histogram_of_opencv(8)


@compared("colorHistShader", "bytes, 10 bins", "OpenCV cv::calcHist with edges")
def _():
    return histogram_of_opencv(10)


@compared("colorHistShader", "bytes, 8 bins", "SciPy stats.binned_statistic_dd")
def _():
    return histogram_of_scipy("bytes", 8)


@compared("colorHistShader", "bytes, 10 bins", "SciPy stats.binned_statistic_dd")
def _():
    return histogram_of_scipy("bytes", 10)


@compared("colorHistShader", "floats, 8 bins", "SciPy stats.binned_statistic_dd")
def _():
    return histogram_of_scipy("floats", 8)
