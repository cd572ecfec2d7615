"""What is understood as a chain, and what chains make of frames."""

from __future__ import annotations

import re
import time
from pathlib import Path

import numpy as np
import pytest
import velmor
from PIL import Image
from support import SOURCES, walk

from archive import catalogue
from archive.catalogue import OPERATORS, Choice, File, Number
from archive.chain import Chain, read_chain

FRAMES = walk(6, 1)
RED = velmor.ColourModel.from_covariance([[30, 0], [0, 30]], [200, 200])
GREEN = velmor.ColourModel.from_covariance([[30, 0], [0, 30]], [60, 140])
NOWHERE = velmor.ColourModel.from_covariance([[30, 0], [0, 30]], [120, 20])
FACES = "/usr/share/opencv4/haarcascades/haarcascade_frontalface_default.xml"
PHOTOGRAPH = "/usr/share/doc/opencv-doc/examples/data/messi5.jpg"


def outcomes(*chain: str) -> list:
    runner = Chain(read_chain(list(chain)))
    return [runner.run(frame) for frame in FRAMES]


@pytest.mark.parametrize(("chain", "text"), [
    (["Nothing"], "expected one of Not, .*FaceDetect, got 'Nothing'"),
    (["Not:strength=1"], "Not: expected no settings, got 'strength=1'"),
    (["Moments:area=1"], "Moments: expected least-area=..., most-regions=..., got 'area=1'"),
    (["Moments:least-area=-1"], "Moments: expected least-area to be a number on 0..5000, got '-1'"),
    (["Moments:most-regions=2.5"],
     "Moments: expected most-regions to be a whole number on -1..50, got '2.5'"),
    (["Moments:least-area=nan"],
     "Moments: expected least-area to be a number on 0..5000, got 'nan'"),
    (["Moments:least-area=1,least-area=2"], "Moments: 'least-area' is given more than once"),
    (["Laplacian:kernel=six"], "Laplacian: expected kernel to be one of 'eight around', "
                               "'four beside', 'eight, corners less', got 'six'"),
    (["ColourDetector"], "ColourDetector: expected model=FILE"),
    (["BGR2GRAY", "MotionSegment"],
     "MotionSegment: expected a picture of 3 channels before it, got one of 1"),
    (["Moments"], "Moments: expected a picture of 1 channels before it, got one of 3"),
    (["ColourHist2D", "Not"], "Not: nothing can follow histogram, which are no picture"),
])
def test_misuse_is_named(chain: list[str], text: str) -> None:
    with pytest.raises(ValueError, match=f"^{text}$"):
        read_chain(chain)


def test_settings_are_read() -> None:
    steps = read_chain(["BGR2GRAY", "Laplacian:kernel=eight, corners less",
                        "Moments:most-regions=3,least-area=2.5"])
    assert [step.values for step in steps] == [{}, {"kernel": 2},
                                               {"least-area": 2.5, "most-regions": 3}]
    assert read_chain(["BGR2GRAY", "Laplacian:kernel=1"])[1].values == {"kernel": 1}
    assert read_chain(["ColorGMM2:model=a,b.yml,model=c.yml"])[0].values == {
        "model": ["a,b.yml", "c.yml"]}


def entries_of_the_catalogue() -> dict[str, str]:
    """Give the names of all operators in its source, which no module gives, each with its text."""
    text = (SOURCES / "catalogue/Catalogue.cpp").read_text()
    table = text[text.index("kOperators = {"):]
    names = re.findall(r'(?:filter|filterOfTwo|cpuOperator)\("(\w+)"', table)
    entries = dict.fromkeys(names, "")
    for body in re.findall(r"\nOperator \w+\(\)\n{\n(.*?)\n}\n", text, re.DOTALL):
        entries[re.findall(r'"(\w+)"', body)[0]] = body
    return entries


ENTRIES = entries_of_the_catalogue()


def test_names_are_those_of_the_catalogue() -> None:
    no_video_gives_that = {"NonMaxSupression", "DebugUInt2Float"}
    assert set(OPERATORS) == set(ENTRIES) - no_video_gives_that


@pytest.mark.parametrize("name", sorted(OPERATORS))
def test_settings_are_those_of_the_catalogue(name: str) -> None:
    body = ENTRIES[name]
    of_shaders_alone = {"block", "tiles"}
    there = set(re.findall(r'(?:number|wholeNumber|choice)\(\s*"([\w-]+)"', body))
    files = {key for key, each in OPERATORS[name].parameters.items() if isinstance(each, File)}
    assert set(OPERATORS[name].parameters) - files == there - of_shaders_alone
    for key, parameter in OPERATORS[name].parameters.items():
        if isinstance(parameter, Choice):
            assert "{" + ", ".join(f'"{word}"' for word in parameter.words) + "}" in body
        elif isinstance(parameter, Number):
            function = "wholeNumber" if parameter.is_whole else "number"
            limits = f", {parameter.least}, {parameter.most})"
            assert re.search(rf'\b{function}\("{key}", "[^"]+"{re.escape(limits)}', body)
            variable = re.search(rf'Parameter (\w+) = \w+\("{key}"', body)
            initial = variable and re.search(rf"{variable[1]}\.initial =[^;]* (\d+);", body)
            assert parameter.initial == (int(initial[1]) if initial else parameter.least)


def test_pictures_have_means() -> None:
    made = outcomes("BGR2GRAY")
    for frame, outcome in zip(FRAMES, made):
        grey = frame @ np.array([0.212671, 0.715160, 0.072169])  # red comes first
        assert outcome.picture.shape == frame.shape[:2] and outcome.picture.dtype == np.uint8
        assert np.abs(outcome.picture - grey).max() <= 0.51  # rounded
        assert outcome.rows["mean"].tolist() == [[outcome.picture.mean()]]


def test_between_filters_nothing_is_cut_off() -> None:
    """Bytes in between would make 255 of what is above 1, and so 0 of its complement's."""
    for outcome, frame in zip(outcomes("Not", "Not"), FRAMES):
        assert np.array_equal(outcome.picture, frame)
    edges = outcomes("BGR2GRAY", "Laplacian", "Not")
    for outcome, frame in zip(edges, FRAMES):
        grey = velmor.bgr2gray(frame, dtype=np.float32)
        expected = 1 - velmor.laplacian(grey, dtype=np.float32)
        assert np.abs(outcome.picture - np.clip(expected, 0, 1) * 255).max() <= 0.51


def test_filters_of_two_take_the_frame_before() -> None:
    before = np.zeros_like(FRAMES[0]).astype(int)
    for outcome, frame in zip(outcomes("Subtract"), FRAMES):
        assert np.array_equal(outcome.picture, np.abs(frame - before))
        before = frame.astype(int)


def test_filters_of_two_remember_each_their_own() -> None:
    before = np.zeros_like(FRAMES[0]).astype(int)
    change_before = np.zeros_like(before)
    for outcome, frame in zip(outcomes("Subtract", "Subtract"), FRAMES):
        change = np.abs(frame - before)
        assert np.array_equal(outcome.picture, np.abs(change - change_before))
        before, change_before = frame.astype(int), change
    assert Chain(read_chain(["Subtract", "MotionSegment"])).lead == 2


def test_detector_takes_red_for_red(tmp_path: Path) -> None:
    RED.save(tmp_path / "red.yml")
    frame = np.zeros((4, 6, 3), np.uint8)
    frame[1, 2] = (200, 200, 0)
    frame[1, 3] = (0, 200, 200)
    mask = Chain(read_chain([f"ColourDetector:model={tmp_path}/red.yml"])).run(frame)
    assert mask.rows.tolist() == [(1,)] and mask.picture[1, 2] == 255
    kept = Chain(read_chain([f"ColorGMM:model={tmp_path}/red.yml,output=colours"])).run(frame)
    assert kept.picture[1, 2].tolist() == [200, 200, 0] and kept.rows["mean"].shape == (1, 3)


@pytest.mark.parametrize(("colours", "sizes"), [
    ((RED, GREEN), [3, 21]),
    ((GREEN, RED), [21, 3]),
    ((GREEN, RED, NOWHERE), [21, 3, 0]),
    ((RED,), [3]),  # gives a mask, not numbers of classes
])
def test_classes_have_sizes(tmp_path: Path, colours: tuple[velmor.ColourModel, ...],
                            sizes: list[int]) -> None:
    models = []
    for number, colour in enumerate(colours):
        colour.save(tmp_path / f"{number}.yml")
        models.append(f"model={tmp_path}/{number}.yml")
    frame = np.full((4, 6, 3), (60, 140, 0), np.uint8)
    frame[1, :3] = (200, 200, 0)
    outcome = Chain(read_chain(["ColorGMM2:" + ",".join(models)])).run(frame)
    assert outcome.rows["pixels"].tolist() == [sizes]


class CoarseMotion:
    """A MotionSegment after days of computing, when a float tells few times apart."""

    def __init__(self, width: int, height: int) -> None:
        self.history = np.zeros((height, width), np.float32)
        self._before = np.zeros((height, width), int)

    @staticmethod
    def time() -> np.float32:
        return np.float32(time.process_time() // 0.004 * 0.004 + 86400)

    def process(self, frame: np.ndarray) -> None:
        grey = frame.astype(int).sum(axis=2)
        self.history[np.abs(grey - self._before) > 60] = self.time()
        self._before = grey


@pytest.mark.parametrize("is_coarse", [False, True])
def test_motion_marks_the_newest_alone(monkeypatch: pytest.MonkeyPatch, is_coarse: bool) -> None:
    if is_coarse:
        monkeypatch.setattr(velmor, "MotionSegment", CoarseMotion)
        monkeypatch.setattr(catalogue, "_processor_time", CoarseMotion.time)
    runner = Chain(read_chain(["MotionSegment"]))
    frames = [np.zeros((2, 4, 3), np.uint8) for _ in range(40)]
    for number, frame in enumerate(frames):
        frame[0, number % 4] = 255
    assert runner.run(frames[0]).rows.tolist() == [(1,)]
    for frame in frames[1:]:
        assert runner.run(frame).rows.tolist() == [(2,)]  # one goes on, one off


def test_motion_weighs_red_as_red() -> None:
    """A change of 100 in red is 30 of grey, and one of 100 in blue 11: below the threshold."""
    runner = Chain(read_chain(["MotionSegment"]))
    frame = np.zeros((1, 2, 3), np.uint8)
    frame[0, 0, 0] = frame[0, 1, 2] = 100
    assert runner.run(frame).picture.tolist() == [[255, 0]]


def test_blobs_have_rows_and_frames_without_them_one() -> None:
    runner = Chain(read_chain(["MotionSegment", "Moments:least-area=20"]))
    still = np.zeros((30, 40, 3), np.uint8)
    two = still.copy()
    two[5:15, 8:18] = 255
    two[20:26, 30:36] = 255
    rows = runner.run(two).rows
    assert rows["found"].tolist() == [2, 2] and rows["number"].tolist() == [0, 1]
    assert rows["pixels"].tolist() == [136, 136]
    assert rows["area"].tolist() == [81, 25]  # between the centres of the outermost pixels
    assert rows[["left", "top", "width", "height"]].tolist() == [(8, 5, 10, 10), (30, 20, 6, 6)]
    assert rows["x"].tolist() == [12.5, 32.5]
    rows = runner.run(two).rows
    assert rows[["pixels", "found", "number", "area", "left"]].tolist() == [(0, 0, -1, -1, -1)]
    assert np.isnan(rows["x"]).all()


@pytest.mark.parametrize("name", ["ColourHist2D", "ColorHistShader"])
def test_histograms_have_all_bins(name: str) -> None:
    frame = np.full((3, 3, 3), (255, 1, 1), np.uint8)
    bins = Chain(read_chain([f"{name}:bins=4"])).run(frame).rows["bins"]
    assert bins.shape == (1, 4, 4, 4)
    assert bins[0, 3, 0, 0] == bins.sum() == 1


def test_faces_have_rows_and_frames_without_them_one() -> None:
    """In a photograph twice as large, a search in half of its width and height finds the same."""
    photograph = np.asarray(Image.open(PHOTOGRAPH).convert("RGB"))
    find = velmor.FaceDetect(FACES).find  # which takes blue first
    faces = find(photograph[..., ::-1])
    assert len(faces) > 1 and faces.tolist() != find(photograph).tolist()
    runner = Chain(read_chain([f"FaceDetect:cascade={FACES},reduced=2"]))
    rows = runner.run(photograph.repeat(2, axis=0).repeat(2, axis=1)).rows
    assert rows.tolist() == [(len(faces), number, *box) for number, box in enumerate(2 * faces)]
    assert runner.run(FRAMES[0]).rows.tolist() == [(0, -1, -1, -1, -1, -1)]


def test_pixel_count() -> None:
    assert outcomes("MotionSegment", "PixelCount")[0].rows["pixels"] == 64 * 48
