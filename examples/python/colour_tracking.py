#!/usr/bin/python3
"""Follow a colour through a video.

The colour is learnt from a patch of the first frame, given by its left, top, width and height:

    colour_tracking.py vtest.avi 658 256 16 32

Prints for each frame how many pixels have the colour, and where the region is that was followed.
Writes two pictures: path.png, the way that it went, and histogram.png, the colours of
the frame and of the patch, as far as the model sees them: red and green.
"""

from __future__ import annotations

import argparse
import itertools
import math
import sys
from pathlib import Path
from typing import NamedTuple

import matplotlib

matplotlib.use("Agg")  # draws into files, with or without a display

import matplotlib.pyplot as plt  # noqa: E402
import numpy as np  # noqa: E402
import velmor  # noqa: E402
from matplotlib.colors import LogNorm  # noqa: E402
from matplotlib.patches import Rectangle  # noqa: E402
from videos import Frame, UnreadableError, read_frames  # noqa: E402

BINS = 32  # of red and of green in the histogram


class Patch(NamedTuple):
    """A rectangle of a frame, in pixels."""

    left: int
    top: int
    width: int
    height: int

    def of(self, frame: Frame) -> Frame:
        """Give the pixels of the patch, which stay those of the frame."""
        return frame[self.top:self.top + self.height, self.left:self.left + self.width]

    def is_inside(self, frame: Frame) -> bool:
        """Say whether all of the patch lies in the frame."""
        height, width = frame.shape[:2]
        return (self.left >= 0 and self.top >= 0 and self.width >= 2 and self.height >= 2
                and self.left + self.width <= width and self.top + self.height <= height)


class Tracker:
    """Finds the region of a colour that is nearest to where it was last."""

    def __init__(self, frame: Frame, patch: Patch) -> None:
        model = velmor.ColourModel.train(patch.of(frame), components=2)
        self._has_colour = velmor.ColorGMM(model, binary=True)
        self._least_area = patch.width * patch.height / 4
        self._reach = 2.0 * max(patch.width, patch.height)
        self._place = (patch.left + patch.width / 2, patch.top + patch.height / 2)

    def follow(self, frame: Frame) -> tuple[int, tuple[float, float] | None]:
        """Give how many pixels have the colour, and the place, or None where it is lost."""
        mask = self._has_colour(frame)
        # Moments keep what they found until they go: one for each frame keeps memory level.
        blobs = velmor.Moments().find(mask, min_area=self._least_area)
        places = [(blob.x, blob.y) for blob in blobs]
        nearest = min(places, key=lambda place: math.dist(place, self._place), default=None)
        if nearest is not None and math.dist(nearest, self._place) < self._reach:
            self._place = nearest
            return velmor.pixel_count(mask), nearest
        return velmor.pixel_count(mask), None


def draw_path(frame: Frame, patch: Patch, path: list[tuple[float, float]], file: Path) -> None:
    """Draw where the colour went over the first frame."""
    height, width = frame.shape[:2]
    figure = plt.figure(figsize=(8, 8 * height / width))
    axes = figure.add_axes((0, 0, 1, 1))
    axes.set_axis_off()
    axes.imshow(frame)
    axes.add_patch(Rectangle(patch[:2], *patch[2:], fill=False, edgecolor="white"))
    axes.plot(*zip(*path), color="tab:red", linewidth=2)
    axes.plot(*path[-1], "o", color="tab:red")
    figure.savefig(file, dpi=100)
    plt.close(figure)


def draw_histogram(frame: Frame, patch: Patch, file: Path) -> None:
    """Draw how often each red and green occurs, in the frame and in the patch."""
    figure, panels = plt.subplots(1, 2, figsize=(9, 4.5), layout="constrained", sharey=True)
    for axes, title, region in zip(panels, ("The first frame", "The patch"), (None, patch)):
        histogram = velmor.color_hist_shader(frame, bins=(BINS, BINS, 1), region=region)
        percent = 100 * histogram.bins[:, :, 0].T  # green goes up, red to the right
        picture = axes.imshow(np.where(percent > 0, percent, np.nan), origin="lower",
                              extent=(0, 255, 0, 255), norm=LogNorm(0.001, 100))
        axes.set(title=title, xlabel="red", facecolor="0.9")
    panels[0].set(ylabel="green")
    figure.colorbar(picture, ax=panels, label="% of the pixels")
    figure.savefig(file, dpi=100)
    plt.close(figure)


def track(video: Path, patch: Patch, folder: Path, frames: int | None) -> None:
    """Follow the colour of the patch, and draw what was found."""
    first: Frame | None = None
    path: list[tuple[float, float]] = []
    for number, frame in enumerate(itertools.islice(read_frames(video), frames), start=1):
        if first is None:
            if not patch.is_inside(frame):
                raise ValueError("expected a patch of at least 2 x 2 pixels inside the frame")
            first = frame
            tracker = Tracker(frame, patch)
        count, place = tracker.follow(frame)
        if place is None:
            print(f"frame {number}: {count} pixels, lost")
        else:
            path.append(place)
            print(f"frame {number}: {count} pixels, at {place[0]:.0f}, {place[1]:.0f}")
    if first is None:
        raise UnreadableError(f"cannot read '{video}': it has no frames")
    draw_path(first, patch, path, folder / "path.png")
    draw_histogram(first, patch, folder / "histogram.png")


def main() -> None:
    """Read the command line and follow the colour."""
    parser = argparse.ArgumentParser(description="Follow a colour through a video.")
    parser.add_argument("video", type=Path)
    for name in Patch._fields:
        parser.add_argument(name, type=int, help="of the patch with the colour, in pixels")
    parser.add_argument("--out", type=Path, default=Path(), help="folder for the two pictures")
    parser.add_argument("--frames", type=int, help="stop after so many")
    given = parser.parse_args()
    patch = Patch(given.left, given.top, given.width, given.height)
    try:
        given.out.mkdir(parents=True, exist_ok=True)
        track(given.video, patch, given.out, given.frames)
    except (UnreadableError, ValueError, RuntimeError, OSError) as error:
        sys.exit(f"colour_tracking: {error}")
    except KeyboardInterrupt:
        sys.exit(130)


if __name__ == "__main__":
    main()
