"""The filters that are made of models, against their formulas in numpy."""

import numpy as np
import pytest
import velmor
from mixtures import all_pairs, clear_of, density, model, skin
from operators import in_threads, layouts, refused
from support import random_picture


def test_binary_output_is_where_the_density_is_above_the_threshold():
    made, picture = skin(), all_pairs()
    values = density(made, picture)
    found = velmor.ColorGMM(made, binary=True)(picture)
    assert found.shape == (256, 256) and found.dtype == np.uint8
    clear = clear_of(values, made.threshold)
    assert clear.mean() > 0.99
    assert 0.05 < (found == 255).mean() < 0.5
    assert np.array_equal(found[clear], np.where(values > made.threshold, 255, 0)[clear])


@pytest.mark.parametrize("channels", [2, 3, 4])
@pytest.mark.parametrize("dtype", [np.uint8, np.float32])
def test_pixels_are_kept_as_they_are(channels, dtype):
    made, picture = skin(), random_picture(60, 70, channels, dtype=dtype)
    colours = picture.astype(float) * (255 if dtype == np.float32 else 1)
    values = density(made, colours)
    found = velmor.ColorGMM(made)(picture)
    assert found.shape == picture.shape and found.dtype == dtype
    assert np.array_equal(found, np.where((values > made.threshold)[..., None], picture, 0))


def test_classes_are_those_of_the_largest_density():
    classes = [
        skin(),
        model((1.0, (40, 60), ((600, 0), (0, 300))), threshold=1.0),
        model((1.0, (200, 220), ((500, 100), (100, 500))), threshold=1.0),
    ]
    picture = all_pairs()
    values = np.stack([density(each, picture) for each in classes])
    sorted_values = np.sort(values, axis=0)
    clear = sorted_values[-1] > sorted_values[-2] * (1 + 1e-9)
    found = velmor.ColorGMM2(classes)(picture)
    assert clear.mean() > 0.99
    assert np.unique(found).tolist() == [0, 1, 2]
    assert np.array_equal(found[clear], values.argmax(axis=0)[clear])


def test_one_class_is_marked_with_255():
    made, picture = skin(), all_pairs()
    assert np.array_equal(
        velmor.ColorGMM2([made])(picture), velmor.ColorGMM(made, binary=True)(picture)
    )


def test_the_first_class_wins_a_tie_and_takes_what_is_far_from_all():
    far = model((1.0, (0, 0), ((1, 0), (0, 1))), threshold=0.5)
    picture = np.full((3, 4, 3), 255, np.uint8)
    assert not velmor.ColorGMM2([far, far])(picture).any()
    assert not velmor.ColorGMM2([skin()] * 256)(all_pairs()).any()


def test_results_go_where_out_says():
    filter_, picture = velmor.ColorGMM(skin()), random_picture(20, 30, 3)
    expected = filter_(picture)
    assert expected.any()
    for name, out in layouts(np.zeros_like(picture)).items():
        if name != "read-only":
            assert filter_(picture, out=out) is out, name
            assert np.array_equal(out, expected), name
    assert filter_(picture, out=picture) is picture
    assert np.array_equal(picture, expected)


def test_sources_may_have_any_layout():
    filter_, picture = velmor.ColorGMM(skin(), binary=True), random_picture(20, 30, 3)
    expected = filter_(picture)
    for name, same in layouts(picture).items():
        assert np.array_equal(filter_(same), expected), name


def test_a_filter_keeps_the_model_that_it_was_made_of():
    made, picture = skin(), all_pairs()
    filter_, classes = velmor.ColorGMM(made, binary=True), velmor.ColorGMM2([made])
    expected = filter_(picture)
    made.threshold = 1.0
    del made
    assert np.array_equal(filter_(picture), expected)
    assert np.array_equal(classes(picture), expected)


@pytest.mark.parametrize("threshold", [np.inf, -np.inf, 1e300, -1e300, 0.0])
def test_thresholds_may_be_any_number(threshold):
    made = skin(threshold)
    expected = np.where(density(made, all_pairs()) > threshold, 255, 0)
    assert np.array_equal(velmor.ColorGMM(made, binary=True)(all_pairs()), expected)


def test_a_model_without_components_fits_nothing():
    empty = velmor.ColourModel([], np.empty((0, 2)), np.empty((0, 2, 2)), -1.0)
    assert velmor.ColorGMM(empty, binary=True)(all_pairs()).all()  # 0 is above -1
    empty.threshold = 0.0
    assert not velmor.ColorGMM(empty, binary=True)(all_pairs()).any()


def test_arguments_are_checked():
    filter_ = velmor.ColorGMM(skin())
    for wrong in (
        random_picture(4, 5),
        random_picture(4, 5, 5),
        random_picture(4, 5, 3).astype(np.uint16),
        np.empty((0, 5, 3), np.uint8),
        [1, 2],
        None,
    ):
        with pytest.raises(ValueError, match=r"^velmor\.ColorGMM\(\): expected an array"):
            filter_(wrong)
    refused(lambda: velmor.ColorGMM2([]), "velmor.ColorGMM2(): expected 1 to 256 models, got 0")
    refused(
        lambda: velmor.ColorGMM2([skin()] * 257),
        "velmor.ColorGMM2(): expected 1 to 256 models, got 257",
    )
    refused(
        lambda: velmor.ColorGMM2(skin()),
        "velmor.ColorGMM2(): expected a sequence of models, got ColourModel",
    )
    refused(
        lambda: velmor.ColorGMM2([skin(), 3]),
        "velmor.ColorGMM2(): expected models of type ColourModel, got int",
    )
    with pytest.raises(TypeError):
        velmor.ColorGMM(None)


def test_threads_share_a_filter():
    filter_, pictures = velmor.ColorGMM(skin()), [
        random_picture(90, 80, 3, seed=seed) for seed in range(4)
    ]
    expected = [filter_(picture) for picture in pictures]
    answers = in_threads([lambda picture=picture: filter_(picture) for picture in pictures])
    for right, given in zip(expected, answers):
        assert all(np.array_equal(each, right) for each in given)
