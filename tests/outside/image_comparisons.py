"""The operators on images, and the filters that are made of models, beside other programs. As in comparisons.py each
function is a row of the page. Ours are asked through Python's module."""

import functools
import time
from pathlib import Path

import cv2
import numpy as np
import scipy.ndimage
import scipy.stats
import skimage.draw
import skimage.feature
import skimage.measure
import skimage.morphology
import velmor

import pictures

COMPARISONS = {}

CASCADES = Path("/usr/share/opencv4")


def compared(operator, pixels, call):
    """Makes a function the comparison of a row."""
    def register(function):
        COMPARISONS[operator, pixels, call] = function
        return function
    return register


@functools.cache
def colours():
    """The pictures of bytes with three channels, and dark ones, of which many have a channel that is 0."""
    chosen = [each.pixels for each in pictures.make() if each.name.endswith(".3.bytes")]
    assert len(chosen) >= 8
    return chosen + [np.where(each < 90, 0, each) for each in chosen]


@functools.cache
def photograph():
    """The whole photograph, as blue, green, red."""
    image = cv2.imread(pictures.PHOTOGRAPH)
    assert image is not None, pictures.PHOTOGRAPH
    return image


def rows(values, width):
    """Numbers as an array of rows, also where there is none."""
    return np.array(list(values), float).reshape(-1, width)


# Mixtures and the colour detector


@functools.cache
def model():
    """Skin and what is around it in the photograph, with components that overlap; far from a multiple of the identity."""
    return velmor.ColourModel([0.5, 0.3, 0.2], [[110, 128], [150, 160], [60, 70]],
                              [[[900, 300], [300, 700]], [[500, -120], [-120, 1500]], [[800, 0], [0, 300]]], 1.7e-5)


def densities(means):
    """SciPy's density of every pair of bytes, with means of our choice."""
    pairs = np.stack(np.indices((256, 256)), axis=-1)
    parts = zip(model().weights, means, model().covariances)
    density = sum(weight * scipy.stats.multivariate_normal(mean, covariance).pdf(pairs)
                  for weight, mean, covariance in parts)
    assert np.abs(density / model().threshold - 1).min() > 1e-8, "a threshold that rounding decides about"
    return density


def marked(density, picture):
    return np.where(density > model().threshold, 255, 0)[picture[..., 0], picture[..., 1]]


@compared("ColorGMM", "bytes, binary", "SciPy stats.multivariate_normal")
def _():
    ours, density = velmor.ColorGMM(model(), binary=True), densities(model().means)
    for picture in colours():
        yield ours(picture), marked(density, picture)


@compared("ColourDetector", "bytes", "SciPy stats.multivariate_normal")
def _():
    ours, density = velmor.ColourDetector(model()), densities(model().means[:, [0, 0]])
    for picture in colours():
        yield ours.process(picture), marked(density, picture)


def opened(dilated_and_eroded):
    plain, ours = velmor.ColourDetector(model()), velmor.ColourDetector(model(), use_morphology=True)
    for picture in colours():
        yield ours.process(picture), dilated_and_eroded(plain.process(picture))


@compared("ColourDetector", "bytes, with morphology", "OpenCV cv2.morphologyEx")
def _():
    return opened(lambda mask: cv2.morphologyEx(mask, cv2.MORPH_OPEN, np.ones((3, 3), np.uint8)))


@compared("ColourDetector", "bytes, with morphology", "scikit-image morphology.binary_opening")
def _():
    return opened(lambda mask: skimage.morphology.binary_opening(mask > 0, np.ones((3, 3))) * 255)


# Histograms


def coloured(picture, hsv=False):
    """The pixels that ColourHist2D counts."""
    mask = (picture[..., 2:] != 0 if hsv else picture != 0).all(axis=2)
    mask[-1], mask[:, -1] = False, False
    return mask


def histograms(theirs, bins, **keywords):
    for picture in colours():
        mask = coloured(picture, hsv=keywords.get("format") == "hsv")
        counts = theirs(picture, mask, bins)
        yield velmor.colour_hist2d(picture, bins, **keywords).bins, counts * (1.0 / max(mask.sum(), 1))


def by_calc_hist(picture, mask, bins):
    return cv2.calcHist([picture], [0, 1, 2], mask.astype(np.uint8), bins, [0, 256] * 3).astype(float)


def by_histogramdd(picture, mask, bins):
    return np.histogramdd(picture[mask].reshape(-1, 3), bins, [(0, 256)] * 3)[0]


for _pixels, _bins, _keywords in (("bytes, 8 bins", (8, 8, 8), {}), ("bytes, 16 x 10 x 5 bins", (16, 10, 5), {}),
                                  ("bytes, HSV", (12, 7, 3), {"format": "hsv"})):
    for _call, _theirs in (("OpenCV cv2.calcHist with a mask", by_calc_hist), ("NumPy histogramdd", by_histogramdd)):
        compared("ColourHist2D", _pixels, _call)(
            lambda theirs=_theirs, bins=_bins, keywords=_keywords: histograms(theirs, bins, **keywords))


# Regions


@functools.cache
def masks():
    """Noise, fine and coarse, and a photograph: regions of every form, with holes and regions in these."""
    random = np.random.default_rng(16)
    noise = [random.random((60, 80)) < share for share in (0.1, 0.3, 0.5, 0.7)]
    coarse = [scipy.ndimage.gaussian_filter(random.normal(size=(120, 160)), sigma) > 0 for sigma in (1, 2, 4)]
    grey = photograph().mean(axis=2)
    # The outermost pixels count as background for us alone.
    return [np.pad(mask[1:-1, 1:-1], 1).astype(np.uint8) for mask in (*noise, *coarse, grey > 60, grey > 120)]


@functools.cache
def ellipses():
    """Filled ellipses of many forms and directions, one to a mask."""
    y, x = np.indices((241, 241)) - 120
    def ellipse(a, b, degrees):
        c, s = np.cos(np.radians(degrees)), np.sin(np.radians(degrees))
        return (((c * x + s * y) / a)**2 + ((c * y - s * x) / b)**2 <= 1).astype(np.uint8)
    return [ellipse(a, b, degrees) for a, b in ((100, 50), (70, 60), (90, 20)) for degrees in range(-85, 90, 17)]


def found(mask, names, **keywords):
    """What we find, with the numbers of these fields side by side."""
    records = velmor.Moments().find(mask, structured=True, **keywords)
    return np.concatenate([records[name].reshape(len(records), -1).astype(float) for name in names], axis=1)


def described_by_opencv(contour):
    """Our fields, of OpenCV's moments."""
    m = cv2.moments(contour)
    area = np.floor(m["m00"])
    covariance = np.array([[m["nu20"], -m["nu11"]], [-m["nu11"], m["nu02"]]]) * area
    values, vectors = (each[0] if each.shape[0] == 1 else each for each in cv2.eigen(covariance)[1:])
    angle = -np.degrees(np.arctan2(vectors[0, 1], vectors[0, 0]))
    return (m["m10"] / m["m00"], m["m01"] / m["m00"], area, len(contour), *cv2.boundingRect(contour),
            *covariance.ravel(), *values.ravel(), np.cos(2 * np.radians(angle)), np.sin(2 * np.radians(angle)))


def contours_of(mask, chain=cv2.CHAIN_APPROX_SIMPLE):
    """OpenCV's outer contours, by the row and column of their first points."""
    contours = cv2.findContours(mask, cv2.RETR_EXTERNAL, chain)[0]
    return sorted(contours, key=lambda contour: tuple(contour[0, 0, ::-1]))


@compared("Moments", "areas, points and boxes", "OpenCV cv2.findContours, cv2.moments, cv2.boundingRect")
def _():
    for mask in masks():
        theirs = [described_by_opencv(each)[2:8] for each in contours_of(mask) if cv2.contourArea(each) > 0]
        yield found(mask, ("area", "number_of_points", "bounding_box")), rows(theirs, 6)


@compared("Moments", "centroids, covariances and eigenvalues", "OpenCV cv2.moments and cv2.eigen")
def _():
    for mask in masks() + ellipses():
        theirs = [described_by_opencv(each) for each in contours_of(mask) if cv2.contourArea(each) > 0]
        theirs = rows([(*each[:2], *each[8:14]) for each in theirs], 8)
        ours = found(mask, ("x", "y", "covariance", "eigenvalues"))
        size = np.maximum(1, np.abs(theirs))  # relative where numbers are large
        yield ours / size, theirs / size


@compared("Moments", "angles of ellipses, in degrees", "OpenCV cv2.moments and cv2.eigen")
def _():
    for mask in ellipses():
        [contour] = contours_of(mask)
        *_, cosine, sine = described_by_opencv(contour)
        angle = np.degrees(np.arctan2(sine, cosine)) / 2
        ours = found(mask, ("angle",))
        yield ours, np.atleast_2d(angle) + np.round((ours - angle) / 180) * 180


def filled(mask):
    """The mask without holes, and so without regions in them. A hole ends where pixels touch at a side."""
    return scipy.ndimage.binary_fill_holes(mask)


def boxes(slices):
    """x, y, width and height."""
    return rows([(columns.start, lines.start, columns.stop - columns.start, lines.stop - lines.start)
                 for lines, columns in slices], 4)


@compared("Moments", "boxes of all regions", "SciPy ndimage.label and ndimage.find_objects")
def _():
    for mask in masks():
        labels, _ = scipy.ndimage.label(filled(mask), np.ones((3, 3)))
        yield found(mask, ("bounding_box",), min_area=-1), boxes(scipy.ndimage.find_objects(labels))


def regions_of(mask):
    """scikit-image's regions, by the row and column of their first pixels."""
    return skimage.measure.regionprops(skimage.measure.label(filled(mask), connectivity=2))


@compared("Moments", "boxes of all regions", "scikit-image measure.label and measure.regionprops")
def _():
    for mask in masks():
        yield found(mask, ("bounding_box",), min_area=-1), boxes(each.slice for each in regions_of(mask))


@compared("Moments", "areas of all regions, by Pick's theorem", "scikit-image measure.regionprops")
def _():
    for mask in masks():
        # A polygon through B pixels with an area A has A + B / 2 + 1 pixels.
        steps = np.array([len(each) for each in contours_of(mask, cv2.CHAIN_APPROX_NONE)])
        steps[steps == 1] = 0  # a single pixel has no step
        pixels = np.array([each.area for each in regions_of(mask)])
        yield found(mask, ("area",), min_area=-1)[:, 0], np.floor(pixels - steps / 2 - 1)


@compared("Moments", "centroids of ellipses", "SciPy ndimage.center_of_mass")
def _():
    for mask in ellipses():
        yield found(mask, ("x", "y")), rows([scipy.ndimage.center_of_mass(mask)[::-1]], 2)


def axes_of(mask):
    """Half axes, and the angle against the rows in degrees, as scikit-image has them."""
    [region] = regions_of(mask)
    return region.axis_major_length / 2, region.axis_minor_length / 2, 90 - np.degrees(region.orientation)


def finer(mask, factor=4):
    """The polygon of a mask's contour, filled in pixels that are so many times smaller."""
    [contour] = contours_of(mask)
    columns, lines = contour[:, 0].T * factor
    drawn = np.zeros(np.array(mask.shape) * factor, np.uint8)
    drawn[skimage.draw.polygon(lines, columns)] = 1
    return drawn


@compared("Moments", "half axes of ellipses", "scikit-image measure.regionprops")
def _():
    for mask in ellipses():
        of_polygon = np.array(axes_of(finer(mask))[:2]) / 4
        yield (found(mask, ("major_axis", "minor_axis")), rows([axes_of(mask)[:2]], 2), rows([of_polygon], 2))


@compared("Moments", "angles of ellipses, in degrees", "scikit-image measure.regionprops")
def _():
    for mask in ellipses():
        ours, angle = found(mask, ("angle",)), axes_of(mask)[2]
        yield ours, angle + np.round((ours - angle) / 180) * 180


# Motion


def compute(seconds):
    """Lets the process compute: that is what the operator's clock counts."""
    end = time.process_time() + seconds
    while time.process_time() < end:
        pass


def stream():
    """Frames of the photograph, which is moved and made brighter, and ours of each, with OpenCV's history."""
    motion, frame = velmor.MotionSegment(320, 200), photograph()[50:250, 100:420]
    history = np.zeros((200, 320), np.float32)
    before = np.zeros((200, 320), np.uint8)
    for number in range(12):
        now = cv2.add(np.roll(frame, 3 * number, axis=1), (number % 3, 10 * (number % 4), 5 * (number % 5), 0))
        now[number * 10:number * 10 + 10, :20] = 255 * (number % 2)
        shown = motion.process(now)
        grey = cv2.cvtColor(now, cv2.COLOR_BGR2GRAY)
        moving = (cv2.absdiff(grey, before) > 20).astype(np.uint8)
        stamp = float(motion.history.max())
        cv2.motempl.updateMotionHistory(moving, history, stamp, 0.4)
        yield motion, shown, history, stamp
        before = grey
        compute(0.06)


@compared("MotionSegment", "the history", "OpenCV cv2.motempl.updateMotionHistory")
def _():
    for motion, _, history, _ in stream():
        yield motion.history, history


@compared("MotionSegment", "the picture", "OpenCV cv2.convertScaleAbs")
def _():
    for _, shown, history, stamp in stream():
        theirs = cv2.convertScaleAbs(np.maximum(history + (0.4 - stamp), 0), alpha=255 / 0.4)
        yield shown, np.where(history == 0, 0, theirs)


def centres(theirs):
    for picture in colours():
        for channel in np.moveaxis(picture, -1, 0):
            if channel.any():
                yield rows([velmor.MotionSegment(1, 1).mass_center(channel)], 2), rows([theirs(channel)], 2)


@compared("MotionSegment", "the centre of mass", "SciPy ndimage.center_of_mass")
def _():
    return centres(lambda channel: scipy.ndimage.center_of_mass(channel.astype(float))[::-1])


@compared("MotionSegment", "the centre of mass", "OpenCV cv2.moments")
def _():
    def centre(channel):
        m = cv2.moments(np.ascontiguousarray(channel))
        return m["m10"] / m["m00"], m["m01"] / m["m00"]
    return centres(centre)


# Faces


def detected(cascade, image):
    """OpenCV's faces, with the settings that FaceDetect has, by row, then column, then size."""
    classifier = cv2.CascadeClassifier(str(cascade))
    faces = classifier.detectMultiScale(image, scaleFactor=1.1, minNeighbors=2, minSize=(40, 40))
    return rows(sorted(map(tuple, faces), key=lambda face: (face[1], face[0], face[3], face[2])), 4)


def counted(faces):
    """Faces, after their number: there may be none."""
    return np.concatenate([np.full((1, 4), len(faces)), faces])


def cascades():
    files = sorted(CASCADES.glob("*/*.xml"))
    assert len(files) >= 20
    return files


@compared("FaceDetect", "all cascades of opencv-data", "OpenCV cv2.CascadeClassifier")
def _():
    count = 0
    for cascade in cascades():
        ours = velmor.FaceDetect(cascade).find(photograph())
        count += len(ours)
        yield counted(ours), counted(detected(cascade, photograph()))
    assert count >= 10


@compared("FaceDetect", "a search with a scale", "OpenCV cv2.resize and cv2.CascadeClassifier")
def _():
    cascade = CASCADES / "haarcascades" / "haarcascade_frontalface_default.xml"
    image = cv2.resize(photograph(), None, fx=2.3, fy=2.7)
    for scale in (2, 3):
        size = image.shape[1] // scale, image.shape[0] // scale
        ours = velmor.FaceDetect(cascade).find(image, scale)
        assert len(ours) > 0
        yield counted(ours), counted(scale * detected(cascade, cv2.resize(image, size)))


def apart(a, b):
    """1 less the share of what two rectangles cover that both cover."""
    over = [max(0, min(a[k] + a[k + 2], b[k] + b[k + 2]) - max(a[k], b[k])) for k in (0, 1)]
    both = over[0] * over[1]
    return 1 - both / (a[2] * a[3] + b[2] * b[3] - both)


@compared("FaceDetect", "the faces that both find", "scikit-image feature.Cascade")
def _():
    cascade = CASCADES / "lbpcascades" / "lbpcascade_frontalface.xml"
    ours = velmor.FaceDetect(cascade).find(photograph())
    theirs = skimage.feature.Cascade(str(cascade)).detect_multi_scale(
        img=cv2.cvtColor(photograph(), cv2.COLOR_BGR2GRAY), scale_factor=1.1, step_ratio=1, min_size=(40, 40),
        max_size=photograph().shape[:2])
    for each in theirs:
        face = each["c"], each["r"], each["width"], each["height"]
        yield np.array(min(apart(face, own) for own in ours)), np.array(0)
