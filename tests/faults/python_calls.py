#!/usr/bin/env python3
"""Run the samples of all docstrings of velmor or velmor.gl with each allocation failing in turn.

    LD_PRELOAD=libvelmor_failing_memory.so python_calls.py core|gl

Each statement of a sample has one allocation of ours that fails, or all from one on. It ends with
a MemoryError or does what it does with memory. After an error the objects of the sample are as they
were, and the statement, with memory, does what it does. What Python and numpy ask for is left
alone.
"""

from __future__ import annotations

import ctypes
import doctest
import inspect
import os
import pickle
import sys
import tempfile
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import numpy as np
import velmor

ROOT = Path(__file__).parents[2]
sys.path.insert(0, str(ROOT / "python"))  # where the script is that knows the package's names

from reference import public_names  # noqa: E402

ALL = ctypes.c_size_t(-1).value
#: The allocations of a statement from which on some are left out, more and more of them.
MOST = ALL if "VELMOR_EACH_ALLOCATION" in os.environ else 20 if sys.argv[1] == "core" else 2

#: What samples load takes a tenth of a second, and the other one does the same.
CASCADE = "/usr/share/opencv4/haarcascades/haarcascade_frontalface_alt.xml"
SMALL_CASCADE = ROOT / "tests/fuzz/cascades/haar.xml"

GL_INFO_LOG_LENGTH = 0x8B84
ALIVE: list[Any] = []  #: what OpenGL calls

memory = ctypes.CDLL(os.environ["LD_PRELOAD"])
memory.velmor_begin_failing.argtypes = [ctypes.c_size_t, ctypes.c_size_t]
memory.velmor_end_failing.restype = ctypes.c_bool


def have_no_messages() -> None:
    """Let the driver have no messages about shaders and programs.

    Without memory for one the process ends by design.
    """
    glew = ctypes.CDLL("libGLEW.so.2.2")
    kind = ctypes.CFUNCTYPE(None, ctypes.c_uint, ctypes.c_uint, ctypes.POINTER(ctypes.c_int))
    for name in ("__glewGetShaderiv", "__glewGetProgramiv"):
        function = kind.in_dll(glew, name)
        replaced = kind(ctypes.cast(function, ctypes.c_void_p).value)

        def answer(shader, what, value, replaced=replaced):
            if what == GL_INFO_LOG_LENGTH:
                value[0] = 0
            else:
                replaced(shader, what, value)

        ALIVE.append(kind(answer))
        ctypes.c_void_p.in_dll(glew, name).value = ctypes.cast(ALIVE[-1], ctypes.c_void_p).value


class Sample:
    """A sample, statement by statement."""

    def __init__(self, name: str, text: str, given: dict[str, Any]) -> None:
        self.name = name
        self.given = given
        self.statements = [compile(example.source, name, "single")
                           for example in doctest.DocTestParser().get_examples(text)]

    def run(self, first: int, count: int) -> Iterator[tuple[str, bool]]:
        """Give what each statement says, and whether an allocation of its first try has failed."""
        names = dict(self.given)
        for statement in self.statements:
            before = contents(names)
            memory.velmor_begin_failing(first, count)
            try:
                said = result_of(statement, names)
            except MemoryError:
                said = None
            finally:
                failed = memory.velmor_end_failing()
            if said is None:
                assert failed, "there was memory"
                after = contents(names)
                assert after == before, f"{sorted(after)} are not as before"
                said = result_of(statement, names)
            yield said, failed


def result_of(statement: Any, names: dict[str, Any]) -> str:
    """Run a statement. What it says is its value, as the interpreter writes it, or its error."""
    values: list[str] = []
    sys.displayhook = lambda value: values.append(repr(value))
    try:
        exec(statement, names)
    except MemoryError:
        raise
    except Exception as error:
        values.append(repr(error))
    return "".join(values)


def contents(names: dict[str, Any]) -> dict[str, bytes]:
    """Tell what a statement that fails must leave as it was: arrays, and what has a state."""
    found = {}
    for name, value in names.items():
        if isinstance(value, np.ndarray):
            found[name] = value.tobytes()
        elif type(value).__module__ == "velmor":
            try:
                found[name] = pickle.dumps(value)
            except TypeError:  # it has no state that could be had
                continue
    return found


def check(sample: Sample) -> int:
    """Let each allocation fail in turn, and give their number."""
    expected = [said for said, _ in sample.run(ALL, 1)]
    first = 0
    for count in (1, ALL):
        first = 0
        while True:
            answers = list(sample.run(first, count))
            assert [said for said, _ in answers] == expected, f"allocation {first}: {answers}"
            if not any(failed for _, failed in answers):
                break
            first += 1 + first // MOST
    return first


def main() -> None:
    velmor.set_num_threads(1)
    module, given = velmor, {"velmor": velmor, "np": np}
    if sys.argv[1] == "gl":
        from velmor import gl as module
        given["gl"] = module
        given["context"] = module.Context()
        have_no_messages()
    os.chdir(tempfile.mkdtemp())
    names = public_names(module, "" if module is velmor else "gl.")
    for name, value in names.items():
        if isinstance(value, property) or name == "set_num_threads":
            continue
        text = (inspect.getdoc(value) or "").replace(CASCADE, str(SMALL_CASCADE))
        text = text.replace("with gl.Context():", "if context:")  # to adapt one takes long
        text = text.replace("gl.Context()", "gl.Context(adapt_driver=False)")
        sample = Sample(name, text, given)
        print(name, check(sample), flush=True)


if __name__ == "__main__":
    main()
