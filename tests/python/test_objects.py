"""Objects of the package that are not there: methods raise, and the process goes on."""

import inspect

import numpy as np
import pytest
import velmor

CLASSES = [
    each for each in vars(velmor).values() if inspect.isclass(each) and each is not velmor.Blob
]


def members(cls):
    """Give the functions of a class that take an object first, by their names."""
    for name, member in vars(cls).items():
        if isinstance(member, property):
            yield f"{name}.fget", member.fget
            if member.fset:
                yield f"{name}.fset", member.fset
        elif (
            callable(member)
            and not isinstance(member, staticmethod)
            and not inspect.isclass(member)
        ):
            if name not in ("__new__", "_pybind11_conduit_v1_"):
                yield name, member


def test_classes_are_those_of_the_package():
    names = {cls.__name__ for cls in CLASSES}
    assert names >= {
        "ColourModel",
        "ColourHistogram",
        "ColorGMM",
        "ColorGMM2",
        "ColourDetector",
        "Moments",
        "MotionSegment",
        "FaceDetect",
    }
    assert all(cls.__module__ == "velmor" for cls in CLASSES)
    assert len([name for cls in CLASSES for name, _ in members(cls)]) > 40


ARGUMENTS = (
    [],
    [None],
    [1.0],
    ["a.yml"],
    [np.zeros((4, 4, 3), np.uint8)],
    [1, 2],
    [np.zeros((4, 4), np.uint8), 1],
)


NO_OBJECTS = {
    "None": lambda cls: None,
    "made by __new__() alone": lambda cls: cls.__new__(cls),
    "of another class": lambda cls: np.zeros(3),
}


@pytest.mark.parametrize("cls", CLASSES, ids=lambda cls: cls.__name__)
@pytest.mark.parametrize("kind", NO_OBJECTS)
def test_methods_raise_without_an_object(cls, kind):
    for name, function in members(cls):
        if name in ("__init__", "__setstate__"):  # which make the object
            continue
        for arguments in ARGUMENTS:
            try:
                assert function(NO_OBJECTS[kind](cls), *arguments) is NotImplemented, name
            except (TypeError, RuntimeError):
                pass


@pytest.mark.parametrize("cls", CLASSES, ids=lambda cls: cls.__name__)
def test_nothing_is_no_object_to_begin_with(cls):
    for arguments in ARGUMENTS:
        with pytest.raises(TypeError):
            cls.__init__(None, *arguments)


def test_an_object_begins_once():
    made = velmor.ColourModel.from_covariance(np.eye(2), [1, 2])
    made.__setstate__((1.0, []))
    made.__init__([], np.empty((0, 2)), np.empty((0, 2, 2)))
    assert made == velmor.ColourModel.from_covariance(np.eye(2), [1, 2])
    motion = velmor.MotionSegment(4, 3)
    history = motion.history
    motion.__init__(400, 300)
    assert np.shares_memory(motion.history, history)
