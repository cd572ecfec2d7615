"""FaceDetect on a photograph, and on files that are no cascades."""

import os
import threading
from pathlib import Path

import numpy as np
import pytest
import velmor
from operators import huge, in_threads, layouts, refused
from support import random_picture

FACES = "/usr/share/opencv4/haarcascades/haarcascade_frontalface_alt.xml"
MORE_FACES = "/usr/share/opencv4/haarcascades/haarcascade_frontalface_default.xml"
PHOTOGRAPH = "/usr/share/doc/opencv-doc/examples/data/messi5.jpg"

# Where a person sees the middle of the footballer's face.
X, Y = 242, 109


@pytest.fixture(scope="module")
def photograph():
    """Give the photograph as blue, green, red."""
    if "VELMOR_TEST_PHOTOGRAPH" in os.environ:  # where Pillow, which needs libxcb, cannot be loaded
        pixels = np.load(os.environ["VELMOR_TEST_PHOTOGRAPH"])
    else:
        from PIL import Image

        pixels = np.asarray(Image.open(PHOTOGRAPH).convert("RGB"))
    return pixels[..., ::-1].copy()


@pytest.mark.parametrize("cascade", [FACES, MORE_FACES])
def test_the_face_is_found(photograph, cascade):
    faces = velmor.FaceDetect(cascade).find(photograph)
    assert faces.dtype == np.int32 and faces.ndim == 2 and faces.shape[1] == 4
    hits = [(x, y, w, h) for x, y, w, h in faces if x < X < x + w and y < Y < y + h]
    assert len(hits) == 1
    x, y, width, height = hits[0]
    assert abs(x + width / 2 - X) < 10 and abs(y + height / 2 - Y) < 10
    assert 40 <= width == height <= 80


def test_nothing_is_found_where_nothing_is():
    faces = velmor.FaceDetect(FACES).find(np.zeros((100, 120, 3), np.uint8))
    assert faces.shape == (0, 4) and faces.dtype == np.int32
    assert velmor.FaceDetect(FACES).find(np.zeros((1, 1), np.uint8)).shape == (0, 4)


def test_grey_pictures_are_taken(photograph):
    # The weights of blue, green and red
    grey = np.rint(photograph @ [0.114, 0.587, 0.299]).astype(np.uint8)
    detector = velmor.FaceDetect(FACES)
    [face] = detector.find(photograph)
    for picture in (grey, grey[..., None]):
        [same] = detector.find(picture)
        assert np.abs(same - face).max() <= 4


def test_a_reduced_search_gives_multiples(photograph):
    detector = velmor.FaceDetect(FACES)
    for scale in (2, 3):
        # Each pixel became a block of equal ones, so that reducing gives the photograph again.
        large = photograph.repeat(scale, axis=0).repeat(scale, axis=1)
        assert np.array_equal(detector.find(large, scale), scale * detector.find(photograph))
    assert detector.find(photograph, scale=1).tolist() == detector.find(photograph).tolist()


def test_any_layout(photograph):
    detector = velmor.FaceDetect(FACES)
    expected = detector.find(photograph)
    for name, same in layouts(photograph).items():
        assert np.array_equal(detector.find(same), expected), name


def test_a_cascade_is_read_once(tmp_path):
    """A pipe gives its bytes once: no program changes them between the check and the use."""
    pipe = tmp_path / "cascade.xml"
    os.mkfifo(pipe)
    writer = threading.Thread(target=lambda: pipe.write_bytes(Path(FACES).read_bytes()))
    writer.start()
    detector = velmor.FaceDetect(pipe)
    writer.join()
    assert detector.find(np.zeros((50, 50), np.uint8)).shape == (0, 4)


@pytest.mark.parametrize("kind", [str, os.fsencode, Path])
def test_paths_of_every_kind(tmp_path, kind):
    file = tmp_path / "visages ☃.xml"
    file.symlink_to(FACES)
    assert velmor.FaceDetect(kind(str(file))).find(np.zeros((50, 50), np.uint8)).shape == (0, 4)


def test_files_without_a_cascade_raise(tmp_path):
    whole = Path(FACES).read_text()
    pieces = whole.split()
    files = {
        "empty": "",
        "text": "no cascade\n",
        "cut off": whole[: len(whole) // 2],
        "one end": whole[:-20],
        "photograph": Path(PHOTOGRAPH).read_bytes(),
        "no end": "<opencv_storage><cascade>" * 5000,
        "another storage": "<?xml version='1.0'?><opencv_storage><a>1</a></opencv_storage>",
        "nan": whole.replace("<stageThreshold>", "<stageThreshold>nan ", 1),
        "a feature that is not there": whole.replace(
            "<internalNodes>\n            0 -1 0 ", "<internalNodes>\n            0 -1 1000000 ", 1
        ),
        "other numbers": " ".join(reversed(pieces)),
        "too large": " " * (2**24 + 1),
    }
    for name, content in files.items():
        assert content != whole, name
        file = tmp_path / f"{name}.xml"
        file.write_bytes(content if isinstance(content, bytes) else content.encode())
        start = rf"^velmor\.FaceDetect\(\): cannot load '{file}': ."
        with pytest.raises(RuntimeError, match=start):
            velmor.FaceDetect(file)
    with pytest.raises(
        RuntimeError, match="^velmor.FaceDetect\\(\\): cannot load '/missing.xml': No such file"
    ):
        velmor.FaceDetect("/missing.xml")
    with pytest.raises(RuntimeError, match=f"cannot load '{tmp_path}': "):
        velmor.FaceDetect(tmp_path)


def test_no_descriptor_stays_open(tmp_path):
    wrong = tmp_path / "wrong.xml"
    wrong.write_text("no cascade")
    before = len(os.listdir("/proc/self/fd"))
    for _ in range(3):
        velmor.FaceDetect(FACES)
        with pytest.raises(RuntimeError):
            velmor.FaceDetect(wrong)
    assert len(os.listdir("/proc/self/fd")) == before


def test_arguments_are_checked():
    find, picture = velmor.FaceDetect(FACES).find, random_picture(50, 60, 3)
    takes = (
        "velmor.FaceDetect.find(): expected an array of bool or uint8 of shape (height, width) or "
        "(height, width, 3), got "
    )
    refused(lambda: find(random_picture(5, 6, 4)), takes + "uint8 of shape (5, 6, 4)")
    refused(lambda: find(picture.astype(np.float32)), takes + "float32 of shape (50, 60, 3)")
    refused(
        lambda: find(picture[:0]),
        "velmor.FaceDetect.find(): expected an array with at least 1 pixel, got uint8 of "
        "shape (0, 60, 3)",
    )
    for scale in (0, -1, 2**31):
        refused(
            lambda scale=scale: find(picture, scale),
            f"velmor.FaceDetect.find(): expected scale from 1 to 2147483647, got {scale}",
        )
    refused(
        lambda: find(picture, 51),
        "velmor.FaceDetect.find(): expected scale to be at most the height and the width, got 51",
    )
    assert find(picture, 50).shape == (0, 4)
    with pytest.raises(ValueError, match="expected an array"):
        find(huge(2**31, 3))


def test_threads_share_an_object(photograph):
    detector = velmor.FaceDetect(FACES)
    pictures = [photograph, photograph[:, ::-1], photograph[20:, 30:]]
    expected = [detector.find(picture) for picture in pictures]
    answers = in_threads(
        [lambda picture=picture: detector.find(picture) for picture in pictures], rounds=3
    )
    for right, given in zip(expected, answers):
        assert len(right) >= 1
        assert all(np.array_equal(each, right) for each in given)
