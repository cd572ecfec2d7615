"""ColourDetector, against its formula in numpy."""

import gc

import numpy as np
import pytest
import velmor
from mixtures import all_pairs, clear_of, skin
from operators import huge, in_threads, layouts, refused
from support import random_picture


def likelihood(made, colours):
    """Give the likelihood: both differences are taken from the first element of the mean."""
    total = np.zeros(colours.shape[:-1])
    components = zip(made.weights, made.means, made.inverse_covariances, made.determinants)
    for weight, mean, inverse, determinant in components:
        d0, d1 = (mean[0] - colours[..., k].astype(float) for k in (0, 1))
        q = (inverse[0, 0] * d0 + inverse[1, 0] * d1) * d0 + (
            inverse[0, 1] * d0 + inverse[1, 1] * d1
        ) * d1
        total += np.exp(-q / 2) / (2 * np.pi * np.sqrt(determinant)) * weight
    return total


def test_the_mask_is_where_the_likelihood_is_above_the_threshold():
    made, picture = skin(), all_pairs()
    values = likelihood(made, picture)
    mask = velmor.ColourDetector(made).process(picture)
    assert mask.shape == (256, 256) and mask.dtype == np.uint8
    clear = clear_of(values, made.threshold)
    assert clear.mean() > 0.99
    assert 0.05 < (mask == 255).mean() < 0.5
    assert np.array_equal(mask[clear], np.where(values > made.threshold, 255, 0)[clear])
    assert (
        mask != velmor.ColorGMM(made, binary=True)(picture)
    ).mean() > 0.01  # which takes the second mean


def morphed(mask, take, outside):
    """Give the least or the largest of 3 x 3 pixels; neighbours outside the image do not count."""
    padded = np.pad(mask, 1, constant_values=outside)
    height, width = mask.shape
    return take([padded[y : y + height, x : x + width] for y in range(3) for x in range(3)], axis=0)


def test_morphology_erodes_and_dilates_once():
    made, picture = skin(), all_pairs()
    picture[::7, ::5] = 0  # holes, which the erosion widens
    detector = velmor.ColourDetector(made, use_morphology=True)
    assert detector.use_morphology is True
    opened = detector.process(picture)
    detector.use_morphology = False
    plain = detector.process(picture)
    assert np.array_equal(opened, morphed(morphed(plain, np.min, 255), np.max, 0))
    assert not np.array_equal(opened, plain)


def test_the_model_counts_as_it_is_at_each_call():
    made, picture = skin(), all_pairs()
    detector = velmor.ColourDetector(made)
    before = detector.process(picture)
    made.threshold = np.inf
    assert not detector.process(picture).any()
    made.threshold = 2e-5
    assert np.array_equal(detector.process(picture), before)
    assert detector.model is made


def test_a_detector_keeps_its_model_alive():
    picture = all_pairs()
    expected = velmor.ColourDetector(skin()).process(picture)
    detector = velmor.ColourDetector(skin())
    gc.collect()
    detector.model.threshold = 1.0
    assert not detector.process(picture).any()
    detector.model.threshold = 2e-5
    assert np.array_equal(detector.process(picture), expected)


def test_any_layout_and_any_out():
    detector, picture = velmor.ColourDetector(skin()), random_picture(33, 47, 3)
    expected = detector.process(picture)
    assert expected.any()
    for name, same in layouts(picture).items():
        assert np.array_equal(detector.process(same), expected), name
    for name, out in layouts(np.full((33, 47), 9, np.uint8)).items():
        if name != "read-only":
            assert detector.process(picture, out=out) is out, name
            assert np.array_equal(out, expected), name


@pytest.mark.parametrize("morphology", [False, True])
def test_out_may_lie_in_the_source(morphology):
    detector, picture = velmor.ColourDetector(skin(), morphology), random_picture(33, 48, 3)
    expected = detector.process(picture)
    flat = picture.reshape(-1).copy()
    for start in (0, 1, 33 * 48, 2 * 33 * 48):
        memory = flat.copy()
        out = memory[start : start + 33 * 48].reshape(33, 48)
        detector.process(memory.reshape(33, 48, 3), out=out)
        assert np.array_equal(out, expected), start
    channel = picture.copy()
    detector.process(channel, out=channel[..., 1])
    assert np.array_equal(channel[..., 1], expected)
    assert np.array_equal(channel[..., [0, 2]], picture[..., [0, 2]])


def test_rows_may_lie_further_apart_than_an_image_of_opencv_has():
    detector, picture = velmor.ColourDetector(skin()), random_picture(2, 4, 3)
    step = 2**30
    memory = np.zeros(step + 100, np.uint8)  # of which two pages are touched
    far = np.lib.stride_tricks.as_strided(memory, (2, 4, 3), (step, 3, 1))
    far[:] = picture
    assert np.array_equal(detector.process(far), detector.process(picture))
    out = np.lib.stride_tricks.as_strided(memory[50:], (2, 4), (step, 1))
    out[:] = 9
    detector.process(picture, out=out)
    assert np.array_equal(out, detector.process(picture))


@pytest.mark.parametrize("shape", [(1, 1, 3), (1, 40, 3), (40, 1, 3), (2, 9, 3)])
@pytest.mark.parametrize("morphology", [False, True])
def test_small_images(shape, morphology):
    picture = random_picture(*shape)
    made = skin()
    plain = np.where(likelihood(made, picture) > made.threshold, 255, 0).astype(np.uint8)
    expected = morphed(morphed(plain, np.min, 255), np.max, 0) if morphology else plain
    assert np.array_equal(velmor.ColourDetector(made, morphology).process(picture), expected)


def test_arguments_are_checked():
    detector, picture = velmor.ColourDetector(skin()), random_picture(4, 5, 3)
    takes = (
        "velmor.ColourDetector.process(): expected an array of bool or uint8 of "
        "shape (height, width, 3), got "
    )
    refused(lambda: detector.process(picture[..., 0]), takes + "uint8 of shape (4, 5)")
    refused(lambda: detector.process(random_picture(4, 5, 4)), takes + "uint8 of shape (4, 5, 4)")
    refused(
        lambda: detector.process(picture.astype(np.float32)), takes + "float32 of shape (4, 5, 3)"
    )
    refused(
        lambda: detector.process(picture[:0]),
        "velmor.ColourDetector.process(): expected an array with at least 1 pixel, got "
        "uint8 of shape (0, 5, 3)",
    )
    refused(
        lambda: detector.process(huge(2**30, 2**30, 3)),
        "velmor.ColourDetector.process(): expected an array of less than 2 GiB, got uint8 of shape "
        "(1073741824, 1073741824, 3)",
    )
    refused(
        lambda: detector.process(picture, out=np.zeros((5, 4), np.uint8)),
        "velmor.ColourDetector.process(): expected out to be uint8 of shape (4, 5), got "
        "uint8 of shape (5, 4)",
    )
    for wrong in (None, 3, "model"):
        with pytest.raises(TypeError):
            velmor.ColourDetector(wrong)


def test_threads_share_a_detector_and_its_model():
    made = skin()
    detector = velmor.ColourDetector(made)
    # So large that a thread is still at work when the next one comes, with another threshold.
    pictures = [random_picture(3000, 4000 + k, 3, seed=k) for k in range(2)]
    allowed = []
    for threshold in (2e-5, 4e-5):
        made.threshold = threshold
        allowed.append([detector.process(picture) for picture in pictures])

    def call(picture):
        made.threshold = 6e-5 - made.threshold
        return detector.process(picture)

    answers = in_threads([lambda picture=picture: call(picture) for picture in pictures], rounds=10)
    for number, given in enumerate(answers):
        for each in given:
            assert any(np.array_equal(each, right[number]) for right in allowed)
