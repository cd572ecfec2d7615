"""The operators that a chain is made of, by the names of the catalogue.

This is the one table of them here. An operator takes a picture of a video, or what the operator
before it gives. A filter of two pictures takes that of the frame before, and that of the frame.
"""

from __future__ import annotations

import time
from dataclasses import dataclass, field
from typing import Any, Callable

import numpy as np
import velmor
from numpy.typing import NDArray

Picture = NDArray[Any]
Values = dict[str, Any]
Call = Callable[..., Any]


@dataclass(frozen=True)
class Number:
    """A parameter that is a number."""

    least: float
    most: float
    initial: float
    is_whole: bool = True

    def read(self, text: str) -> float:
        """Give the number that a text stands for."""
        number = float(text)
        if not self.least <= number <= self.most or self.is_whole and number != int(number):
            raise ValueError
        return int(number) if self.is_whole else number

    def __str__(self) -> str:
        return f"{'a whole' if self.is_whole else 'a'} number on {self.least:g}..{self.most:g}"


@dataclass(frozen=True)
class Choice:
    """A parameter that is one of a few words, the first one unless given, or the word's number."""

    words: tuple[str, ...]
    initial: int = 0

    def read(self, text: str) -> int:
        """Give the number that a text stands for."""
        number = self.words.index(text) if text in self.words else int(text)
        if number not in range(len(self.words)):
            raise ValueError
        return number

    def __str__(self) -> str:
        return "one of " + ", ".join(f"'{word}'" for word in self.words)


@dataclass(frozen=True)
class File:
    """A parameter that is a file, which has to be given."""

    is_list: bool = False  # whether it may be given more than once

    def __str__(self) -> str:
        return "files" if self.is_list else "a file"


@dataclass(frozen=True)
class Operator:
    """What a step of a chain may be.

    Pictures are of a kind: "colour", with three channels, "grey" and "mask", with one. What is
    none ends a chain: "classes", "count", "histogram", "blobs" and "rectangles".
    """

    make: Callable[[Values], Call]
    takes: str = "any"  # or "colour", or "grey", which a mask is too
    gives: str | Callable[[Values], str] = "same"
    parameters: dict[str, Number | Choice | File] = field(default_factory=dict)
    sources: int = 1
    takes_floats: bool = True  # as well as bytes
    depth_is_asked: bool = False  # gives floats or bytes
    remembers: bool = False  # the frame before has a part in what is made of a frame

    def kind(self, values: Values) -> str:
        """Give the kind of what it makes, or "same" for that of what it takes."""
        return self.gives if isinstance(self.gives, str) else self.gives(values)


# ---- Filters


def _named(function: str) -> Callable[[Values], Call]:
    """Make a function of the package by its name, as those of the package do not travel."""
    def make(values: Values) -> Call:
        call: Call = getattr(velmor, function)
        return call

    return make


def _filter(function: str, takes: str = "any", gives: str = "same") -> Operator:
    return Operator(_named(function), takes, gives, depth_is_asked=True)


def _filter_of_two(function: str) -> Operator:
    return Operator(_named(function), sources=2, depth_is_asked=True, remembers=True)


def _laplacian(values: Values) -> Call:
    return lambda picture, dtype: velmor.laplacian(picture, values["kernel"], dtype=dtype)


def _color_gmm(values: Values) -> Call:
    model = velmor.ColourModel.load(values["model"])
    return velmor.ColorGMM(model, binary=values["output"] == 0)


def _color_gmm2(values: Values) -> Call:
    return velmor.ColorGMM2([velmor.ColourModel.load(file) for file in values["model"]])


def _color_hist_shader(values: Values) -> Call:
    return lambda picture: velmor.color_hist_shader(picture, values["bins"]).bins


# ---- Operators on images


def _colour_detector(values: Values) -> Call:
    model = velmor.ColourModel.load(values["model"])
    return velmor.ColourDetector(model, bool(values["morphology"])).process


def _colour_hist2d(values: Values) -> Call:
    return lambda picture: velmor.colour_hist2d(picture, values["bins"]).bins


def _moments(values: Values) -> Call:
    # Moments keep what they found until they go: one for each frame keeps memory level.
    return lambda mask: velmor.Moments().find(mask, values["most-regions"], values["least-area"],
                                              structured=True)


def _face_detect(values: Values) -> Call:
    detector = velmor.FaceDetect(values["cascade"])

    def find(picture: Picture) -> Any:
        blue_first = picture[..., ::-1] if picture.ndim == 3 else picture
        return detector.find(blue_first, values["reduced"])

    return find


def _processor_time() -> np.float32:
    """Give the time that a motion history has if it is updated now."""
    return np.float32(time.process_time_ns() // 1000 / 1e6)


class _NewestMotion:
    """Marks the pixels that move in the newest frame.

    MotionSegment's own picture fades with the processor time that was spent, so it is another one
    in each run. Which pixels have the newest time is always the same.
    """

    def __init__(self, values: Values) -> None:
        self._motion: velmor.MotionSegment | None = None

    def __call__(self, frame: Picture) -> Picture:
        """Give the mask of a frame, 255 where it differs from the one before."""
        if self._motion is None:
            self._motion = velmor.MotionSegment(frame.shape[1], frame.shape[0])
        before = _processor_time()
        while _processor_time() <= before:
            pass  # no two frames have one time, though a float of some days has coarse steps
        self._motion.process(frame[..., ::-1])  # which takes blue first
        return np.multiply(self._motion.history > before, 255, dtype=np.uint8)


OPERATORS: dict[str, Operator] = {
    "Not": _filter("not_"),
    "Subtract": _filter_of_two("subtract"),
    "And": _filter_of_two("and_"),
    "Or": _filter_of_two("or_"),
    "Xor": _filter_of_two("xor"),
    "Classify": _filter_of_two("classify"),
    "BGR2GRAY": _filter("bgr2gray", "colour", "grey"),
    "RGB2GRAY": _filter("rgb2gray", "colour", "grey"),
    "BGR2HSV": _filter("bgr2hsv", "colour", "colour"),
    "RGB2HSV": _filter("rgb2hsv", "colour", "colour"),
    "BayerRG2RGB": _filter("bayer_rg2rgb", "grey", "colour"),
    "BayerRG2GRAY": _filter("bayer_rg2gray", "grey", "grey"),
    "GRAY2Sobel": Operator(_named("gray2sobel"), "grey", "colour"),
    "Laplacian": Operator(
        _laplacian, gives="no mask", depth_is_asked=True,
        parameters={"kernel": Choice(("eight around", "four beside", "eight, corners less"))}),
    "FlipV": _filter("flip_v"),
    "ColorGMM": Operator(
        _color_gmm, "colour", lambda values: "colour" if values["output"] else "mask",
        {"model": File(), "output": Choice(("mask", "colours"))}),
    "ColorGMM2": Operator(_color_gmm2, "colour", "classes", {"model": File(is_list=True)}),
    "ColorHistShader": Operator(_color_hist_shader, "colour", "histogram",
                                {"bins": Number(2, 10, 4)}),
    "PixelCount": Operator(_named("pixel_count"), "grey", "count"),
    "ColourDetector": Operator(
        _colour_detector, "colour", "mask", {"model": File(), "morphology": Choice(("off", "on"))},
        takes_floats=False),
    "ColourHist2D": Operator(_colour_hist2d, "colour", "histogram", {"bins": Number(2, 32, 8)},
                             takes_floats=False),
    "Moments": Operator(
        _moments, "grey", "blobs",
        {"least-area": Number(0, 5000, 50, is_whole=False), "most-regions": Number(-1, 50, -1)},
        takes_floats=False),
    "MotionSegment": Operator(_NewestMotion, "colour", "mask", takes_floats=False, remembers=True),
    "FaceDetect": Operator(_face_detect, "any", "rectangles",
                           {"cascade": File(), "reduced": Number(1, 4, 1)}, takes_floats=False),
}
