"""Calls give back every reference that they take, those that are refused too."""

from __future__ import annotations

import gc
import sys
from collections.abc import Callable
from typing import Any

import numpy as np
import pytest
import velmor
from mixtures import skin
from rules import FILTERS
from support import random_picture

TIMES = 50

BYTES, COLOURS = random_picture(20, 30), random_picture(20, 30, 3)
DOUBLES = COLOURS[::2, ::-1] / 255  # which no picture can lie in
FLOATS = COLOURS.astype(np.float32)
WRONG = np.zeros((5, 7, 9), np.uint8)
BINS = (4, 5, 6)
MODEL, CASCADE = skin(), "no such file.xml"


def filter_calls() -> dict[str, tuple[Callable[..., Any], list[Any], dict[str, Any]]]:
    calls = {}
    for name, (sources, channels, *_) in FILTERS.items():
        function = getattr(velmor, name)
        picture = BYTES if 1 in channels else COLOURS
        out = np.empty_like(function(*[picture] * sources))
        calls[name] = function, [picture] * sources, {"out": out, "dtype": out.dtype}
        calls[f"{name}, new"] = function, [picture] * sources, {}
        calls[f"{name}, refused"] = function, [WRONG] * sources, {"out": out}
        calls[f"{name}, out refused"] = function, [picture] * sources, {"out": WRONG}
    return calls


def other_calls() -> dict[str, tuple[Callable[..., Any], list[Any], dict[str, Any]]]:
    motion, detector = velmor.MotionSegment(30, 20), velmor.ColourDetector(MODEL)
    histogram, blank = velmor.ColourHistogram(BINS), np.zeros((20, 30), np.uint8)
    weights, means, covariances = MODEL.weights, MODEL.means, MODEL.covariances
    return {
        "copied": (velmor.not_, [DOUBLES], {}),
        "non_max_supression": (velmor.non_max_supression, [FLOATS], {}),
        "debug_uint2float": (velmor.debug_uint2float, [BYTES.astype(np.uint16)], {}),
        "pixel_count": (velmor.pixel_count, [BYTES], {}),
        "colour_hist2d": (velmor.colour_hist2d, [COLOURS], {"bins": BINS, "mask": BYTES}),
        "colour_hist2d, refused": (velmor.colour_hist2d, [COLOURS], {"mask": WRONG}),
        "color_hist_shader": (velmor.color_hist_shader, [COLOURS], {"bins": BINS}),
        "color_hist_shader, refused": (velmor.color_hist_shader, [WRONG], {"bins": BINS}),
        "ColourModel": (velmor.ColourModel, [weights, means, covariances, 0.5], {}),
        "ColourModel, refused": (velmor.ColourModel, [weights, means, weights, 0.5], {}),
        "ColourModel.train": (velmor.ColourModel.train, [COLOURS], {"mask": BYTES}),
        "ColourModel.load, refused": (velmor.ColourModel.load, [CASCADE], {}),
        "ColourHistogram": (velmor.ColourHistogram, [BINS], {}),
        "ColourHistogram.bins": (lambda each: each.bins, [histogram], {}),
        "ColourHistogram as an array": (np.asarray, [histogram], {}),
        "ColorGMM": (velmor.ColorGMM, [MODEL], {}),
        "ColorGMM, called": (velmor.ColorGMM(MODEL), [COLOURS], {}),
        "ColorGMM2": (velmor.ColorGMM2, [[MODEL, MODEL]], {}),
        "ColorGMM2, refused": (velmor.ColorGMM2, [[MODEL, WRONG]], {}),
        "ColorGMM2, called": (velmor.ColorGMM2([MODEL, MODEL]), [COLOURS], {}),
        "ColourDetector": (velmor.ColourDetector, [MODEL], {}),
        "ColourDetector.process": (detector.process, [COLOURS], {}),
        "ColourDetector.process, refused": (detector.process, [WRONG], {}),
        "Moments.find": (velmor.Moments().find, [BYTES], {}),
        "Moments.find, structured": (velmor.Moments().find, [blank], {"structured": True}),
        "Moments.find, refused": (velmor.Moments().find, [WRONG], {}),
        "MotionSegment.process, refused": (motion.process, [WRONG], {}),
        "MotionSegment.history": (lambda each: each.history, [motion], {}),
        "FaceDetect, refused": (velmor.FaceDetect, [CASCADE], {}),
    }


CALLS = filter_calls() | other_calls()


def references(things: list[Any]) -> list[int]:
    gc.collect()
    return [sys.getrefcount(thing) for thing in things]


@pytest.mark.parametrize("name", CALLS)
def test_references_are_as_before(name: str) -> None:
    function, arguments, options = CALLS[name]

    def call() -> None:
        try:
            result = function(*arguments, **options)
            assert "refused" not in name
            # Nobody but this function has what is new: its own name, and the argument's.
            if not any(result is each for each in (*options.values(), *arguments)):
                assert name == "pixel_count" or sys.getrefcount(result) == 2
        except (ValueError, RuntimeError):
            assert "refused" in name

    call()  # which may fill a cache
    things = [*arguments, *options.values()]
    things += [type(thing) for thing in things] + [np.dtype(np.uint8), np.dtype(np.float32)]
    before = references(things)
    for _ in range(TIMES):
        call()
    assert [now - then for now, then in zip(references(things), before)] == [0] * len(things)
