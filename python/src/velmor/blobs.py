"""Regions of an image, as Moments finds them."""

from __future__ import annotations

from dataclasses import dataclass, fields
from typing import Any

import numpy as np
import numpy.typing as npt


@dataclass(frozen=True, eq=False)
class Blob:
    """One region of an image, as Moments.find() gives it.

    Lengths are in pixels; rows count downwards. Blobs are equal where all their numbers are.

    - `x`, `y`: column and row of the centroid
    - `angle`: of the longer axis against the rows, in degrees, -90 <= angle < 90
    - `major_axis`, `minor_axis`: half the lengths of the axes of the equivalent ellipse
    - `area`: in whole pixels
    - `number_of_points`: of the contour
    - `bounding_box`: x, y, width and height of the smallest upright rectangle around the contour
    - `covariance`: an array of shape (2, 2), in square pixels
    - `eigenvectors`: those of the covariance, an array of shape (2, 2) with them as rows, that of
      the larger eigenvalue first
    - `eigenvalues`: an array of shape (2,), in square pixels, the larger one first

        >>> mask = np.zeros((20, 30), np.uint8)
        >>> mask[5:7, 8:18] = 255
        >>> blob = velmor.Moments().find(mask)[0]
        >>> blob.bounding_box, blob.area
        ((8, 5, 10, 2), 9)
    """

    x: float
    y: float
    angle: float
    major_axis: float
    minor_axis: float
    area: int
    number_of_points: int
    bounding_box: tuple[int, int, int, int]
    covariance: npt.NDArray[np.float64]
    eigenvectors: npt.NDArray[np.float64]
    eigenvalues: npt.NDArray[np.float64]

    def __eq__(self, other: object) -> bool:
        """Compare every number. Those that are not numbers differ from themselves, as elsewhere."""
        if not isinstance(other, Blob):
            return NotImplemented
        names = (field.name for field in fields(self))
        return all(np.array_equal(getattr(self, name), getattr(other, name)) for name in names)

    __hash__ = None  # type: ignore[assignment]  # its arrays can be written


def from_records(records: npt.NDArray[np.void]) -> list[Blob]:
    """Make blobs of an array of BLOB_DTYPE, whose memory their arrays share."""
    columns: dict[str, Any] = {name: records[name] for name in records.dtype.names or ()}
    columns["bounding_box"] = map(tuple, columns["bounding_box"].tolist())
    for name in ("x", "y", "angle", "major_axis", "minor_axis", "area", "number_of_points"):
        columns[name] = columns[name].tolist()
    return [Blob(*values) for values in zip(*columns.values())]
