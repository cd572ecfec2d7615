"""Colour models: their components, files, copies and pickles."""

import copy
import os
import pickle
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest
import velmor
from operators import huge, refused
from support import random_picture

MEANS = np.array([[120.0, 110.0], [40.0, 200.0]])
COVARIANCES = np.array([[[90.0, 20.0], [20.0, 60.0]], [[30.0, -5.0], [-5.0, 400.0]]])
WEIGHTS = np.array([0.25, 0.75])


def model(threshold: float = 1e-4) -> velmor.ColourModel:
    return velmor.ColourModel(WEIGHTS, MEANS, COVARIANCES, threshold)


def test_components_are_those_that_were_given():
    made = model()
    assert len(made) == 2
    assert np.array_equal(made.weights, WEIGHTS)
    assert np.array_equal(made.means, MEANS)
    assert np.allclose(made.covariances, COVARIANCES, rtol=1e-12, atol=0)
    assert np.allclose(made.inverse_covariances, np.linalg.inv(COVARIANCES), rtol=1e-12, atol=0)
    # It is kept as a float of 32 bits.
    assert np.array_equal(made.determinants, np.float32(np.linalg.det(COVARIANCES)))
    assert made.threshold == 1e-4
    assert repr(made) == "<velmor.ColourModel: 2 components, threshold 0.0001>"


def test_arrays_of_components_are_copies_that_nobody_writes():
    made = model()
    for name in ("weights", "means", "covariances", "inverse_covariances", "determinants"):
        array = getattr(made, name)
        assert array.dtype == np.float64, name
        assert not array.flags.writeable, name


def test_lists_and_other_numbers_make_models_too():
    assert velmor.ColourModel([1], [[3, 4]], [[[2, 0], [0, 2]]]).means.tolist() == [[3, 4]]
    assert velmor.ColourModel([True], np.float32([[3, 4]]), [np.eye(2)]).weights.tolist() == [1]


def test_a_model_may_have_no_component():
    empty = velmor.ColourModel([], np.empty((0, 2)), np.empty((0, 2, 2)))
    assert len(empty) == 0
    assert empty.weights.shape == (0,) and empty.means.shape == (0, 2)
    assert empty.covariances.shape == (0, 2, 2)
    assert empty.threshold == 1 / 65536


def test_from_covariance_has_one_component():
    made = velmor.ColourModel.from_covariance(COVARIANCES[0], MEANS[0])
    assert made == velmor.ColourModel([1.0], MEANS[:1], COVARIANCES[:1])
    assert velmor.ColourModel.from_covariance(COVARIANCES[0], MEANS[0], weight=0.5).weights == 0.5
    # What is below the diagonal is not read.
    upper = [[90.0, 20.0], [np.nan, 60.0]]
    assert velmor.ColourModel.from_covariance(upper, MEANS[0]) == made


@pytest.mark.parametrize(
    "matrix",
    [
        np.zeros((2, 2)),
        np.full((2, 2), np.nan),
        np.full((2, 2), np.inf),
        -np.eye(2),
        np.eye(2) * 1e300,
        np.eye(2) * 1e-300,
        [[1, 2], [2, 1]],
        [[1e300, 1e299], [1e299, 1e300]],
        [[1, 1e300], [1e300, 1]],
        [[5e-324, 0], [0, 5e-324]],
    ],
)
def test_what_is_no_covariance_is_refused(matrix):
    start = (
        r"^velmor\.ColourModel\.from_covariance\(\): expected a positive definite "
        r"covariance, got one with"
    )
    with pytest.raises(ValueError, match=start):
        velmor.ColourModel.from_covariance(matrix, [0, 0])


def test_arguments_of_another_shape_are_refused():
    make = velmor.ColourModel
    means = (
        "velmor.ColourModel(): expected means of shape (n, dimension), with at "
        "most 65536 of 1 to 16, got "
    )
    refused(lambda: make([1], [3, 4], [np.eye(2)]), means + "int64 of shape (2,)")
    refused(lambda: make([1], [[]], [np.eye(2)]), means + "float64 of shape (1, 0)")
    refused(lambda: make([1], ["ab"], [np.eye(2)]), means + "<U2 of shape (1,)")
    refused(lambda: make([1], [[1j, 2]], [np.eye(2)]), means + "complex128 of shape (1, 2)")
    refused(
        lambda: make([1], huge(2**31, 2), [np.eye(2)]), means + "uint8 of shape (2147483648, 2)"
    )
    refused(
        lambda: make([1], huge(1, 2**40), [np.eye(2)]),
        means + "uint8 of shape (1, 1099511627776)",
    )
    refused(
        lambda: make([1, 2], [[3, 4]], [np.eye(2)]),
        "velmor.ColourModel(): expected weights of shape (n,), as many as means, got "
        "int64 of shape (2,)",
    )
    refused(
        lambda: make([1], [[3, 4]], np.eye(2)),
        "velmor.ColourModel(): expected covariances of shape (n, dimension, dimension), "
        "as many as means, "
        "got float64 of shape (2, 2)",
    )
    refused(
        lambda: make.from_covariance(np.eye(3), [1, 2]),
        "velmor.ColourModel.from_covariance(): expected a covariance of shape "
        "(dimension, dimension), that of "
        "the mean, got float64 of shape (3, 3)",
    )


def test_numbers_that_make_no_model_are_refused():
    make = velmor.ColourModel
    refused(
        lambda: make([1], [[3, np.nan]], [np.eye(2)]),
        "velmor.ColourModel(): expected means to be finite, got nan",
    )
    for weight in (np.nan, np.inf, -np.inf, 1e39):
        with pytest.raises(ValueError, match="expected a weight that a float32 holds, got"):
            make([weight], [[3, 4]], [np.eye(2)])
    refused(
        lambda: model(np.nan), "velmor.ColourModel(): expected threshold to be a number, got nan"
    )
    refused(
        lambda: model("much"), "velmor.ColourModel(): expected threshold to be a number, got str"
    )
    refused(
        lambda: model(10**400),
        "velmor.ColourModel(): expected threshold to be a number that a float holds, got "
        "a larger one",
    )


def test_the_threshold_can_be_set():
    made = model()
    for threshold in (0.0, -1.0, np.inf, -np.inf, 5):
        made.threshold = threshold
        assert made.threshold == threshold

    def set_it():
        made.threshold = float("nan")

    refused(set_it, "velmor.ColourModel.threshold(): expected threshold to be a number, got nan")
    assert made.threshold == 5


# Training


def two_colours(random):
    """Give samples of two normal distributions, and what numpy estimates of each."""
    first = random.multivariate_normal([60, 90], [[40, 12], [12, 30]], 1500)
    second = random.multivariate_normal([180, 150], [[25, -8], [-8, 60]], 500)
    colours = np.clip(np.rint(np.concatenate([first, second])), 0, 255).astype(np.uint8)
    samples = np.dstack([colours.reshape(40, 50, 2), random.integers(0, 256, (40, 50), np.uint8)])
    return samples, colours[:1500].astype(float), colours[1500:].astype(float)


def test_one_component_is_mean_and_covariance():
    samples, *_ = two_colours(np.random.default_rng(5))
    colours = samples[..., :2].reshape(-1, 2).astype(float)
    made = velmor.ColourModel.train(samples)
    assert made.weights.tolist() == [1]
    assert np.allclose(made.means[0], colours.mean(axis=0), rtol=1e-6)
    rounding = np.eye(2) / 12
    assert np.allclose(made.covariances[0], np.cov(colours.T, bias=True) + rounding, rtol=1e-5)


def test_two_components_are_those_of_the_samples():
    samples, *parts = two_colours(np.random.default_rng(6))
    made = velmor.ColourModel.train(samples, components=2)
    for part, k in zip(parts, np.argsort(made.means[:, 0])):
        assert made.weights[k] == pytest.approx(len(part) / 2000, abs=1e-4)
        assert np.allclose(made.means[k], part.mean(axis=0), atol=0.02)
        assert np.allclose(
            made.covariances[k], np.cov(part.T, bias=True) + np.eye(2) / 12, atol=0.3
        )


def test_a_mask_selects_samples_and_the_same_ones_make_the_same_model():
    samples, *_ = two_colours(np.random.default_rng(7))
    mask = np.zeros((40, 50), np.uint8)
    mask[5:20, 3:] = 1
    made = velmor.ColourModel.train(samples, 1, mask)
    assert made == velmor.ColourModel.train(samples[5:20, 3:])
    assert made == velmor.ColourModel.train(samples, 1, mask.astype(bool))
    assert made != velmor.ColourModel.train(samples)


def test_one_pixel_is_a_model():
    made = velmor.ColourModel.train(np.array([[[9, 8, 7]]], np.uint8))
    assert made.means.tolist() == [[9, 8]]
    assert np.allclose(made.covariances, np.eye(2) / 12)


def test_samples_that_cannot_be_learnt_are_refused():
    train, samples = velmor.ColourModel.train, random_picture(4, 5, 3)
    refused(
        lambda: train(samples, 21),
        "velmor.ColourModel.train(): expected a pixel for each of 21 components, got 20",
    )
    refused(
        lambda: train(samples, 1, np.zeros((4, 5), np.uint8)),
        "velmor.ColourModel.train(): expected a pixel for each of 1 components, got 0",
    )
    refused(
        lambda: train(samples, 0),
        "velmor.ColourModel.train(): expected components from 1 to 2147483647, got 0",
    )
    refused(
        lambda: train(samples, 1, np.ones((5, 4), np.uint8)),
        "velmor.ColourModel.train(): expected a mask of shape (4, 5), got uint8 of shape (5, 4)",
    )
    for wrong in (
        samples[..., 0],
        random_picture(4, 5, 4),
        samples.astype(np.float32),
        samples[:0],
        "ab",
    ):
        with pytest.raises(ValueError, match=r"^velmor\.ColourModel\.train\(\): expected an array"):
            train(wrong)
    refused(
        lambda: train(huge(2**31 - 1, 1, 3)),
        "velmor.ColourModel.train(): expected an array of less than 2 GiB, got uint8 of "
        "shape (2147483647, 1, 3)",
    )


# Files


@pytest.mark.parametrize("name", ["model.yml", "model.yaml", "model.xml", "Modèle ☃.yml"])
@pytest.mark.parametrize("kind", [str, os.fsencode, Path])
def test_files_keep_every_bit(tmp_path, name, kind):
    made = velmor.ColourModel.train(random_picture(20, 20, 3), 3)
    made.threshold = 0.1 + 0.2
    file = kind(str(tmp_path / name))
    made.save(file)
    assert velmor.ColourModel.load(file) == made


def test_files_that_fail_are_told_with_their_name(tmp_path):
    load, save, error = velmor.ColourModel.load, model().save, RuntimeError
    missing = tmp_path / "missing.yml"
    refused(
        lambda: load(missing),
        f"velmor.ColourModel.load(): cannot load '{missing}': No such file or directory",
        error,
    )
    wrong = tmp_path / "wrong.yml"
    wrong.write_text("once upon a time")
    refused(
        lambda: load(wrong),
        f"velmor.ColourModel.load(): cannot load '{wrong}': it begins neither with %YAML "
        f"nor with <?xml",
        error,
    )
    refused(
        lambda: save(tmp_path / "model.txt"),
        f"velmor.ColourModel.save(): cannot save '{tmp_path}/model.txt': "
        "no model format has the extension '.txt'",
        error,
    )
    nowhere = tmp_path / "no" / "model.yml"
    with pytest.raises(
        error, match=r"^velmor\.ColourModel\.save\(\): cannot save '.*/no/model.yml': "
    ):
        save(nowhere)
    # A name that is no text
    refused(
        lambda: load(b"/missing-\xff.yml"),
        "velmor.ColourModel.load(): cannot load '/missing-\udcff.yml': No such file or directory",
        error,
    )


@pytest.mark.parametrize("call", [velmor.ColourModel.load, model().save, velmor.FaceDetect])
def test_what_is_no_path_is_refused(call):
    expected = r"^velmor\.[A-Za-z.]+\(\): expected a path: str, bytes or os\.PathLike, got "
    with pytest.raises(ValueError, match=expected + "int$"):
        call(7)
    for path in ("a\0b.yml", b"a\0b.yml", "\ud800.yml"):
        with pytest.raises(ValueError, match=expected + "one with characters that no path has$"):
            call(path)


def test_models_of_other_dimensions_are_read_and_refused_where_two_are_needed(tmp_path):
    made = velmor.ColourModel.from_covariance(np.eye(3), [1, 2, 3])
    file = tmp_path / "three.yml"
    made.save(file)
    made = velmor.ColourModel.load(file)
    assert made.means.shape == (1, 3) and made.covariances.shape == (1, 3, 3)
    for name, make in (
        ("ColorGMM", velmor.ColorGMM),
        ("ColourDetector", velmor.ColourDetector),
        ("ColorGMM2", lambda each: velmor.ColorGMM2([model(), each])),
    ):
        refused(
            lambda make=make: make(made),
            f"velmor.{name}(): expected a model of 2 colour components, got one of 3",
        )


def test_components_of_two_dimensions_and_of_three_are_no_array(tmp_path):
    texts = []
    for dimension in (2, 3):
        file = tmp_path / f"{dimension}.yml"
        velmor.ColourModel.from_covariance(np.eye(dimension), np.zeros(dimension)).save(file)
        texts.append(file.read_text())
    component = texts[1][texts[1].index("   -\n") : texts[1].index("number_of_components")]
    mixed = tmp_path / "mixed.yml"
    mixed.write_text(
        texts[0].replace("number_of_components: 1", component + "number_of_components: 2")
    )
    made = velmor.ColourModel.load(mixed)
    assert len(made) == 2 and made.weights.tolist() == [1, 1]
    with pytest.raises(
        ValueError, match="^velmor.ColourModel: expected components of one dimension, got 2 and 3$"
    ):
        made.means
    assert pickle.loads(pickle.dumps(made)) == made


# Copies


@pytest.mark.parametrize("protocol", range(2, pickle.HIGHEST_PROTOCOL + 1))
def test_pickles_keep_every_bit(protocol):
    made = velmor.ColourModel.train(random_picture(20, 20, 3, seed=4), 3)
    made.threshold = 0.1 + 0.2
    again = pickle.loads(pickle.dumps(made, protocol))
    assert again == made
    assert again.threshold == made.threshold
    assert np.array_equal(again.inverse_covariances, made.inverse_covariances)


def test_pickles_are_read_in_another_process():
    script = "import pickle, sys; print(len(pickle.load(sys.stdin.buffer)))"
    done = subprocess.run(
        [sys.executable, "-c", script], input=pickle.dumps(model()), capture_output=True, check=True
    )
    assert done.stdout == b"2\n"


@pytest.mark.parametrize(
    "state",
    [
        (),
        (1.0,),
        (1.0, 2),
        ("a", []),
        (1.0, [()]),
        (1.0, [(1.0, 1.0, [], [])]),
        (1.0, [(1.0, 1.0, [1.0], [1.0, 2.0])]),
        (1.0, [(1.0, 1.0, "ab", [1.0])]),
        (1.0, [(None, 1.0, [1.0], [1.0])]),
        (1.0, ["abcd"]),
    ],
)
def test_pickles_of_something_else_are_refused(state):
    fresh = velmor.ColourModel.__new__(velmor.ColourModel)
    with pytest.raises((TypeError, ValueError, IndexError, RuntimeError)):
        fresh.__setstate__(state)


@pytest.mark.parametrize("how", [copy.copy, copy.deepcopy])
def test_a_copy_has_a_threshold_of_its_own(how):
    made = model()
    other = how(made)
    assert other == made and other is not made
    other.threshold = 1.0
    assert made.threshold == 1e-4 and other != made


def test_models_are_equal_where_each_number_is():
    assert model() == model()
    assert model() != model(2e-4)
    for k in range(3):
        numbers = [WEIGHTS.copy(), MEANS.copy(), COVARIANCES.copy()]
        numbers[k].flat[0] += 1 / 16
        assert velmor.ColourModel(*numbers, 1e-4) != model()
    assert velmor.ColourModel(WEIGHTS[:1], MEANS[:1], COVARIANCES[:1], 1e-4) != model()
    assert model() != "model"
    with pytest.raises(TypeError):
        hash(model())


@pytest.mark.parametrize("name", ["weights", "means", "threshold", "__len__", "__repr__"])
def test_an_object_without_a_model_raises(name):
    fresh = velmor.ColourModel.__new__(velmor.ColourModel)
    with pytest.raises(RuntimeError):
        attribute = getattr(fresh, name)
        attribute()
