"""What the tests of the operators on images share."""

from __future__ import annotations

import re
import threading
from collections.abc import Callable
from typing import Any

import numpy as np
import pytest


def refused(call: Callable[[], Any], text: str, error: type[Exception] = ValueError) -> None:
    """Check the whole text of an error."""
    with pytest.raises(error, match=f"^{re.escape(text)}$"):
        call()


def layouts(array: np.ndarray) -> dict[str, np.ndarray]:
    """Give the same numbers in memory of other layouts."""
    wide = np.zeros((array.shape[0], array.shape[1] + 5, *array.shape[2:]), array.dtype)
    wide[:, 2:-3] = array
    steps = np.zeros((2 * array.shape[0], 3 * array.shape[1], *array.shape[2:]), array.dtype)
    steps[::2, ::3] = array
    read_only = array.copy()
    read_only.flags.writeable = False
    return {
        "part": wide[:, 2:-3],
        "steps": steps[::2, ::3],
        "Fortran": np.asfortranarray(array),
        "upside down": array[::-1].copy()[::-1],
        "mirrored": array[:, ::-1].copy()[:, ::-1],
        "read-only": read_only,
    }


def huge(*shape: int) -> np.ndarray:
    """Give an array that repeats one byte of memory, as often as anybody likes."""
    return np.broadcast_to(np.uint8(7), shape)


def in_threads(calls: list[Callable[[], Any]], rounds: int = 20) -> list[list[Any]]:
    """Make calls in threads at once, each many times, and give what each of them gave."""
    start = threading.Barrier(len(calls))
    answers: list[list[Any]] = [[] for _ in calls]
    errors = []

    def run(number: int) -> None:
        start.wait()
        try:
            for _ in range(rounds):
                answers[number].append(calls[number]())
        except BaseException as error:  # which a thread would swallow
            errors.append(error)

    threads = [threading.Thread(target=run, args=(number,)) for number in range(len(calls))]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not errors, errors
    return answers
