"""A chain of operators: how it is written, and what it makes of the frames of a video."""

from __future__ import annotations

import re
from dataclasses import dataclass
from typing import Any

import numpy as np
import velmor
from numpy.typing import NDArray

from archive.catalogue import OPERATORS, File, Operator, Picture, Values

CHANNELS = {"colour": 3, "grey": 1, "mask": 1}  # of the kinds that are pictures

ITEM = [("found", "i8"), ("number", "i8")]  # how many a frame has, and which of them this is
BOX = [(side, "i8") for side in ("left", "top", "width", "height")]
BLOB = [(name, "f8") for name in ("x", "y", "angle", "major_axis", "minor_axis")]
SIZE = [("area", "i8"), ("number_of_points", "i8")]


@dataclass(frozen=True)
class Step:
    """An operator of a chain with the values of all its parameters."""

    name: str
    values: Values

    @property
    def operator(self) -> Operator:
        """Give its entry of the catalogue."""
        return OPERATORS[self.name]


@dataclass(frozen=True)
class Outcome:
    """What a chain makes of a frame."""

    rows: NDArray[np.void]  # of Chain.fields
    picture: Picture  # the last one, of bytes


# ---- How a chain is written


def read_value(step: str, key: str, texts: list[str]) -> Any:
    """Give the value of a parameter; that of a file is its path."""
    parameter = OPERATORS[step].parameters[key]
    if len(texts) > 1 and not (isinstance(parameter, File) and parameter.is_list):
        raise ValueError(f"{step}: '{key}' is given more than once")
    if isinstance(parameter, File):
        if not texts:
            raise ValueError(f"{step}: expected {key}=FILE")
        return texts if parameter.is_list else texts[0]
    try:
        return parameter.read(texts[0]) if texts else parameter.initial
    except ValueError:
        raise ValueError(f"{step}: expected {key} to be {parameter}, got '{texts[0]}'") from None


def read_step(text: str) -> Step:
    """Understand a step such as "Moments:least-area=25,most-regions=3"."""
    name, _, settings = text.partition(":")
    if name not in OPERATORS:
        raise ValueError(f"expected one of {', '.join(OPERATORS)}, got '{name}'")
    parameters = OPERATORS[name].parameters
    texts: dict[str, list[str]] = {key: [] for key in parameters}
    # A comma may be part of a value: one that begins the next setting has a name and = behind it.
    for setting in re.split(r",(?=[a-z-]+=)", settings) if settings else []:
        key, equals, value = setting.partition("=")
        if not equals or key not in parameters:
            known = ", ".join(f"{each}=..." for each in parameters) or "no settings"
            raise ValueError(f"{name}: expected {known}, got '{setting}'")
        texts[key].append(value)
    return Step(name, {key: read_value(name, key, texts[key]) for key in parameters})


def kind_after(step: Step, kind: str) -> str:
    """Give the kind of what a step makes of a picture of a kind, or say why it cannot."""
    if kind not in CHANNELS:
        raise ValueError(f"{step.name}: nothing can follow {kind}, which are no picture")
    takes = step.operator.takes
    if takes == "colour" and kind != "colour" or takes == "grey" and kind == "colour":
        raise ValueError(f"{step.name}: expected a picture of {CHANNELS[takes]} channels before it,"
                         f" got one of {CHANNELS[kind]}")
    made = step.operator.kind(step.values)
    if made == "no mask":
        return "grey" if kind == "mask" else kind
    return kind if made == "same" else made


def read_chain(texts: list[str]) -> list[Step]:
    """Understand a chain, and check that each step takes what the one before it gives."""
    steps = [read_step(text) for text in texts]
    kind = "colour"
    for step in steps:
        kind = kind_after(step, kind)
    return steps


# ---- What it makes of frames


def as_bytes(picture: Picture) -> Picture:
    """Give a picture as bytes; what is outside 0..1 is cut off."""
    if picture.dtype == np.uint8:
        return picture
    cut_off: Picture = np.rint(np.clip(picture, 0, 1) * 255).astype(np.uint8)
    return cut_off


class Chain:
    """The operators of a chain at work on the frames of one video, one after the other.

    Between filters pictures are floats, which are not cut off at 0..1. Red comes first.
    """

    def __init__(self, steps: list[Step]) -> None:
        self._steps = steps
        self._calls = [step.operator.make(step.values) for step in steps]
        self._before: dict[int, Picture] = {}  # what steps of two sources took last
        self.kind = "colour"
        for step in steps:
            self.kind = kind_after(step, self.kind)
        self.fields = self._fields()

    @property
    def lead(self) -> int:
        """How many frames before the first one of a part it has to see, for the same result."""
        return sum(step.operator.remembers for step in self._steps)

    def _fields(self) -> list[Any]:
        last = self._steps[-1].values
        if self.kind == "histogram":
            return [("bins", "f8", (last["bins"],) * 3)]
        if self.kind == "classes":
            return [("pixels", "i8", (len(last["model"]),))]
        if self.kind == "blobs":
            return [("pixels", "i8"), *ITEM, *BLOB, *SIZE, *BOX]
        if self.kind == "rectangles":
            return [*ITEM, *BOX]
        if self.kind in ("mask", "count"):
            return [("pixels", "i8")]
        return [("mean", "f8", (CHANNELS[self.kind],))]

    def _takes_floats(self, step: int) -> bool:
        return step < len(self._steps) and self._steps[step].operator.takes_floats

    def _call(self, number: int, picture: Picture) -> Any:
        operator = self._steps[number].operator
        if not operator.takes_floats:
            picture = as_bytes(picture)
        sources = [picture]
        if operator.sources == 2:  # the frame before the first one is black, as in MotionSegment
            before = self._before.get(number)
            sources = [np.zeros_like(picture) if before is None else before, picture]
            self._before[number] = picture
        if not operator.depth_is_asked:
            return self._calls[number](*sources)
        floats = self._takes_floats(number + 1)
        return self._calls[number](*sources, dtype=np.float32 if floats else np.uint8)

    def run(self, frame: Picture) -> Outcome:
        """Take the next frame."""
        made: Any = frame
        for number in range(len(self._steps)):
            picture, made = made, self._call(number, made)
        if self.kind in CHANNELS:
            made = picture = as_bytes(made)
        return Outcome(self._rows(made, picture), as_bytes(picture))

    def _rows(self, made: Any, picture: Picture) -> NDArray[np.void]:
        if self.kind == "blobs":
            return self._blob_rows(made, picture)
        if self.kind == "rectangles":
            return self._with_boxes(made)
        row = np.zeros(1, self.fields)
        if self.kind == "histogram":
            row["bins"] = made
        elif self.kind == "classes":
            row["pixels"] = self._class_sizes(made)
        elif self.kind == "count":
            row["pixels"] = made
        elif self.kind == "mask":
            row["pixels"] = velmor.pixel_count(made)
        else:  # sums of bytes are exact, in whatever order they are taken
            row["mean"] = made.sum((0, 1), np.int64) / (made.shape[0] * made.shape[1])
        return row

    def _class_sizes(self, classes: Picture) -> NDArray[np.int64]:
        count = len(self._steps[-1].values["model"])
        if count == 1:  # a mask, by design
            return np.array([np.count_nonzero(classes)])
        return np.bincount(classes.ravel(), minlength=count)

    def _with_boxes(self, boxes: NDArray[Any]) -> NDArray[np.void]:
        """Give a row for each box; a frame without any has one too, whose number is -1."""
        rows = np.zeros(max(1, len(boxes)), self.fields)
        rows["found"] = len(boxes)
        rows["number"] = np.arange(len(rows)) if len(boxes) else -1
        for column, (side, _) in enumerate(BOX):
            rows[side] = boxes[:, column] if len(boxes) else -1
        return rows

    def _blob_rows(self, blobs: NDArray[np.void], mask: Picture) -> NDArray[np.void]:
        rows = self._with_boxes(blobs["bounding_box"])
        rows["pixels"] = np.count_nonzero(mask)
        for name, _ in BLOB:
            rows[name] = blobs[name] if len(blobs) else np.nan
        for name, _ in SIZE:
            rows[name] = blobs[name] if len(blobs) else -1
        return rows
