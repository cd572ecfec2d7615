"""Objects that are no arrays, but have memory of numbers; and what calls hold of it."""

from __future__ import annotations

import array
import ctypes
import mmap
import pathlib
import sys
import tracemalloc
import weakref
from collections.abc import Callable
from typing import Any

import numpy as np
import pytest
import velmor

from support import copies, random_picture

HEIGHT, WIDTH = 120, 200


class Interface:
    """Has memory by numpy's oldest protocol, and no other one."""

    def __init__(self, array_: np.ndarray) -> None:
        self.memory = array_
        self.__array_interface__ = array_.__array_interface__


class Structure:
    """The same for programs in C."""

    def __init__(self, array_: np.ndarray) -> None:
        self.memory = array_
        self.__array_struct__ = array_.__array_struct__


class Method:
    """Gives an array that it keeps."""

    def __init__(self, array_: np.ndarray) -> None:
        self.memory = array_

    def __array__(self, dtype: Any = None, copy: Any = None) -> np.ndarray:
        return self.memory


def c_array(picture: np.ndarray) -> Any:
    return (ctypes.c_ubyte * WIDTH * HEIGHT).from_buffer_copy(picture)


def memory_map(picture: np.ndarray) -> memoryview:
    memory = mmap.mmap(-1, picture.nbytes)
    memory.write(picture.tobytes())
    return memoryview(memory).cast("B", (HEIGHT, WIDTH))


OBJECTS = {
    "__array_interface__": Interface,
    "__array_struct__": Structure,
    "__array__": Method,
    "bytearray": lambda a: memoryview(bytearray(a.tobytes())).cast("B", (HEIGHT, WIDTH)),
    "array.array": lambda a: memoryview(array.array("B", a.tobytes())).cast("B", (HEIGHT, WIDTH)),
    "mmap": memory_map,
    "ctypes": c_array,
    "memoryview": lambda a: memoryview(a.copy()),
    "matrix": lambda a: np.asmatrix(a.copy()),
}


@pytest.mark.filterwarnings("ignore::PendingDeprecationWarning")
@pytest.mark.parametrize("kind", OBJECTS)
def test_memory_of_other_objects_is_read_and_written_in_place(kind):
    picture = random_picture(HEIGHT, WIDTH)
    source, out = OBJECTS[kind](picture), OBJECTS[kind](np.zeros_like(picture))
    result = np.empty_like(picture)
    velmor.not_(source, out=result)  # what numpy and Python keep of a first time is no copy
    assert copies(lambda: velmor.not_(source, out=result), picture.nbytes) == 0
    assert np.array_equal(result, 255 - picture)
    assert copies(lambda: velmor.not_(picture, out=out), picture.nbytes) == 0
    assert velmor.not_(picture, out=out) is out
    assert np.array_equal(np.asarray(out), 255 - picture)


def test_files_in_memory(tmp_path: pathlib.Path):
    picture = random_picture(HEIGHT, WIDTH)
    picture.tofile(tmp_path / "picture")
    source = np.memmap(tmp_path / "picture", np.uint8, "r", shape=(HEIGHT, WIDTH))
    out = np.memmap(tmp_path / "result", np.uint8, "w+", shape=(HEIGHT, WIDTH))
    assert copies(lambda: velmor.not_(source, out=out), picture.nbytes) == 0
    out.flush()
    written = np.fromfile(tmp_path / "result", np.uint8).reshape(picture.shape)
    assert np.array_equal(written, 255 - picture)
    assert type(velmor.not_(source)) is np.ndarray


def test_an_object_that_gives_a_copy_is_a_source_and_no_out():
    class Copying:
        def __array__(self, dtype: Any = None, copy: Any = None) -> np.ndarray:
            return np.full((5, 7), 3, np.uint8)

    assert (velmor.not_(Copying()) == 252).all()
    with pytest.raises(ValueError) as error:
        velmor.not_(np.zeros((5, 7), np.uint8), out=Copying())
    assert str(error.value) == ("velmor.not_(): expected out to be memory that can be written, "
                                "got an object that gives a copy")


def test_what_a_program_means_by_ctrl_c_comes_through():
    class Interrupted:
        def __array__(self, dtype: Any = None, copy: Any = None) -> np.ndarray:
            raise KeyboardInterrupt

    with pytest.raises(KeyboardInterrupt):
        velmor.not_(Interrupted())
    picture = random_picture(5, 7)
    assert np.array_equal(velmor.not_(picture), 255 - picture)


class Resizing:
    """Tries to give the other source other memory when it is asked for its own."""

    def __init__(self, resize: Callable[[], Any]) -> None:
        self.resize = resize
        self.refused: Exception | None = None

    def __array__(self, dtype: Any = None, copy: Any = None) -> np.ndarray:
        try:
            self.resize()
        except (BufferError, ValueError) as error:
            self.refused = error
        return np.zeros((HEIGHT, WIDTH), np.uint8)


def test_memory_stays_while_a_call_has_it():
    owner = np.ones((HEIGHT, WIDTH), np.uint8)
    bytes_ = bytearray(HEIGHT * WIDTH)
    for source, resize in (
        (owner, lambda: owner.resize((2000, 2000), refcheck=False)),
        (owner[:, :], lambda: owner.resize((2000, 2000), refcheck=False)),
        (memoryview(bytes_).cast("B", (HEIGHT, WIDTH)), lambda: bytes_.extend(b"more")),
    ):
        other = Resizing(resize)
        velmor.subtract(source, other)
        assert other.refused
    del source, other
    owner.resize((2, 2), refcheck=False)  # afterwards it may go


def test_calls_keep_no_memory():
    picture = random_picture(HEIGHT, WIDTH, 3)
    arguments = (picture, picture[:, ::-1], picture / 255, memoryview(picture), Interface(picture))

    def calls() -> None:
        for argument in arguments:
            velmor.not_(argument)
            with pytest.raises(ValueError):
                velmor.bgr2gray(picture[..., 0], out=argument)

    calls()
    tracemalloc.start()
    calls()
    before, _ = tracemalloc.get_traced_memory()
    for _ in range(20):
        calls()
    after, _ = tracemalloc.get_traced_memory()
    tracemalloc.stop()
    assert after - before < picture.nbytes / 4


def test_arguments_are_let_go():
    picture, out = random_picture(5, 7), np.empty((5, 7), np.uint8)
    references = sys.getrefcount(picture), sys.getrefcount(out)
    velmor.not_(picture, out=out)
    assert (sys.getrefcount(picture), sys.getrefcount(out)) == references
    picture.resize((7, 5))  # which numpy refuses while anybody holds it
    alive = weakref.ref(picture)
    del picture
    assert alive() is None
