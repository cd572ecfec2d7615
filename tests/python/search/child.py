"""Makes calls until its time is over: child.py <file of notes> <seconds> <seed>. See __main__.py."""

import copy
import mmap
import operator
import os
import pickle
import resource
import sys
import time
import traceback
import warnings
from collections.abc import Callable
from typing import Any

import calls
import numpy as np
import velmor
from arguments import CLASSES
from hypothesis import HealthCheck, Phase, given, seed, settings

try:
    from velmor import gl
except ImportError as error:  # no OpenGL here
    print(f"search: not velmor.gl: {error}", file=sys.stderr)
    gl = None
else:
    import gl_calls

EXPECTED = (ValueError, TypeError, RuntimeError, MemoryError, OverflowError)
Arguments = tuple[list[Any], dict[str, Any]]
MEMORY_BYTES = 2 << 30


def text(value: object) -> str:
    """Write an argument so that a person can make it again."""
    if isinstance(value, np.ndarray):
        layout = f"strides={value.strides}, writeable={value.flags.writeable}"
        few = f", values={value.ravel()[:16].tolist()!r}" if value.size and value.size < 10**6 else ""
        return f"<{type(value).__name__} {value.dtype.str} {value.shape} {layout}{few}>"
    try:
        return repr(value)
    except RuntimeError:  # of an object whose memory was never made
        return object.__repr__(value)


def content(value: object) -> bytes | None:
    """Tell what a call that fails must leave as it was: arrays, and objects whose state can be had."""
    if isinstance(value, np.ndarray):
        return np.asarray(value).tobytes() if value.nbytes < 10**6 and not value.dtype.hasobject else None
    if type(value) not in CLASSES:
        return None
    try:
        return pickle.dumps(value)
    except (*EXPECTED, pickle.PicklingError):  # of an object that has none
        return None


class Notes:
    """What is called now, in a file that outlives the process."""

    def __init__(self, file: str) -> None:
        descriptor = os.open(file, os.O_RDWR)
        self._memory = mmap.mmap(descriptor, 0)
        os.close(descriptor)

    def write(self, what: str) -> None:
        data = what.encode("utf-8", "backslashreplace")[: len(self._memory) - 1]
        self._memory[: len(data) + 1] = data + b"\0"


class Caller:
    """Makes calls, each noted before it is made, and counts how they end."""

    def __init__(self, notes: Notes) -> None:
        self._notes = notes
        self.counts = dict.fromkeys(("returned", *(kind.__name__ for kind in EXPECTED)), 0)

    def call(self, said: str, function: Callable[..., Any], values: list[Any], named: dict[str, Any]) -> Any:
        if named.get("out") is calls.AS_RESULT:
            del named["out"]
            result = self.call(said, function, values, named)
            named["out"] = np.zeros_like(result) if isinstance(result, np.ndarray) else None
        arguments = [text(value) for value in values] + [f"{key}={text(value)}" for key, value in named.items()]
        self._notes.write(f"{said}({', '.join(arguments)})")
        involved = [getattr(function, "__self__", None), *values, *named.values()]
        before = [content(value) for value in involved]
        try:
            result = function(*values, **named)
        except EXPECTED as error:
            if not isinstance(error, MemoryError):
                assert before == [content(value) for value in involved], f"what it got has changed: {error}"
            kind = next(kind for kind in EXPECTED if isinstance(error, kind))
            self.counts[kind.__name__] += 1
            return None
        self.counts["returned"] += 1
        return result


def make_round(caller: Caller, name: str, given: Arguments, methods: list[tuple[str, Arguments]]) -> None:
    """Call a function once, or make an object, use it, and copy it."""
    kind = operator.attrgetter(name)(velmor)
    thing = caller.call(f"velmor.{name}", kind, *given)
    if not methods:
        return
    if thing is None:
        if kind not in CLASSES:
            return
        thing = kind.__new__(kind)
    for method, values in methods:
        caller.call(f"{name}.{method}", getattr(thing, method) if method else thing, *values)
    for attribute, value in vars(kind).items():
        if isinstance(value, property):
            caller.call(f"{name}.{attribute}", getattr, [thing, attribute], {})
    caller.call(f"copy of {name}", copy.deepcopy, [thing], {})


def public_names() -> set[str]:
    """Tell what of the package can be called."""
    names = {name for name in velmor.__all__ if callable(getattr(velmor, name))}
    return names | {f"gl.{name}" for name in (gl.__all__ if gl else []) if callable(getattr(gl, name))}


def run_child(file: str, seconds: float, first: int) -> None:
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY_BYTES, MEMORY_BYTES))
    warnings.simplefilter("ignore")
    np.seterr(all="ignore")
    if gl:
        calls.OBJECTS |= gl_calls.OBJECTS
    caller = Caller(Notes(file))
    covered = calls.FUNCTIONS.keys() | calls.OBJECTS.keys()
    assert covered == public_names(), f"the search covers other names: {covered ^ public_names()}"

    @settings(
        max_examples=200,
        deadline=None,
        database=None,
        phases=[Phase.generate],
        suppress_health_check=list(HealthCheck),
    )
    @given(calls.rounds())
    def one_round(drawn: tuple) -> None:
        if gl:
            gl_calls.CONTEXT.make_current()
        try:
            make_round(caller, *drawn)
        except Exception:
            # Not left to hypothesis, which would draw and call again and again to find a smaller case.
            traceback.print_exc()
            os._exit(1)

    end = time.monotonic() + seconds
    while time.monotonic() < end:
        seed(first)(one_round)()
        first += 1
    total = sum(caller.counts.values())
    print(f"search: {total} calls, {caller.counts}", file=sys.stderr)
    # A search that never gets past the checks of arguments finds nothing.
    assert caller.counts["returned"] > 0.2 * total


if __name__ == "__main__":
    run_child(sys.argv[1], float(sys.argv[2]), int(sys.argv[3]))
