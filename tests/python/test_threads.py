"""Several Python threads at once, and the number of threads that a call uses."""

from __future__ import annotations

import os
import signal
import sys
import threading
import time
from collections.abc import Callable, Iterator
from contextlib import contextmanager
from typing import Any

import numpy as np
import pytest
import velmor

from rules import FILTERS
from support import random_picture, run_python

SMALL = random_picture(64, 64)
LARGE = (2160, 3840)


@pytest.fixture(autouse=True)
def default_threads() -> Iterator[None]:
    yield
    velmor.set_num_threads(None)


@contextmanager
def nobody_is_interrupted() -> Iterator[None]:
    """Let threads take turns only where one of them gives the interpreter away."""
    before = sys.getswitchinterval()
    sys.setswitchinterval(1000)
    try:
        yield
    finally:
        sys.setswitchinterval(before)


def others_work_meanwhile(work: Callable[[], Any], seconds: float) -> bool:
    """Tell whether another thread ends a call of an operator while this one works.

    The work is done again until it does, as a busy machine may let the other one sleep
    through many a short call.
    """
    ended, stop = 0, threading.Event()
    result = np.empty_like(SMALL)

    def call() -> None:
        nonlocal ended
        while not stop.is_set():
            velmor.not_(SMALL, out=result)
            ended += 1
            time.sleep(0)

    other = threading.Thread(target=call)
    with nobody_is_interrupted():
        other.start()
        while ended == 0:
            time.sleep(0.001)
        before, end = ended, time.monotonic() + seconds
        while ended == before and time.monotonic() < end:
            work()
        worked = ended > before
        stop.set()
    other.join()
    return worked


def sources_of(name: str) -> list[np.ndarray]:
    if name == "debug_uint2float":
        return [random_picture(*LARGE, dtype=np.uint16)]
    if name == "non_max_supression":
        return [random_picture(*LARGE, 3, dtype=np.float32)]
    if name == "pixel_count":
        return [random_picture(*LARGE)]
    sources, channels, _, _ = FILTERS[name]
    shape = LARGE if channels[0] == 1 else (*LARGE, channels[0])
    return [random_picture(*shape, seed=seed) for seed in range(sources)]


def test_a_python_loop_keeps_others_waiting():
    # Else the next test would take any switch of threads for a released interpreter.
    assert not others_work_meanwhile(lambda: sum(range(10**6)), 0.5)


@pytest.mark.parametrize(
    "name", [*FILTERS, "debug_uint2float", "non_max_supression", "pixel_count"])
def test_other_threads_call_operators_while_one_works(name: str):
    velmor.set_num_threads(1)
    sources, function = sources_of(name), getattr(velmor, name)
    assert others_work_meanwhile(lambda: function(*sources), 20)


def in_threads(count: int, function: Callable[[int], bool]) -> list[bool]:
    """Give what a function gives in each of some threads that begin together."""
    together, answers = threading.Barrier(count), [False] * count

    def work(number: int) -> None:
        together.wait()
        answers[number] = function(number)

    workers = [threading.Thread(target=work, args=(number,)) for number in range(count)]
    for worker in workers:
        worker.start()
    for worker in workers:
        worker.join()
    return answers


def test_threads_get_their_own_results():
    def work(number: int) -> bool:
        picture = random_picture(500, 400, 3, seed=number)
        return all(np.array_equal(velmor.not_(picture), 255 - picture) for _ in range(20))

    assert all(in_threads(6, work))


def test_the_number_of_threads_changes_while_operators_work():
    picture = random_picture(700, 900)

    def work(number: int) -> bool:
        if number == 0:
            for threads in list(range(1, 9)) * 10:
                velmor.set_num_threads(threads)
            return True
        return all(np.array_equal(velmor.not_(picture), 255 - picture) for _ in range(100))

    assert all(in_threads(4, work))


def test_results_are_the_same_with_any_number_of_threads():
    picture = random_picture(700, 900, 3, dtype=np.float32)
    velmor.set_num_threads(1)
    expected = velmor.bgr2hsv(picture)
    for threads in (2, 3, 16):
        velmor.set_num_threads(threads)
        assert np.array_equal(velmor.bgr2hsv(picture), expected)


def test_set_num_threads():
    for threads in (1, 2, 3, np.int8(5), 64):
        velmor.set_num_threads(threads)
        assert velmor.get_num_threads() == threads
    velmor.set_num_threads(n=2)
    assert velmor.get_num_threads() == 2
    velmor.set_num_threads(None)
    assert velmor.get_num_threads() == len(os.sched_getaffinity(0))


@pytest.mark.parametrize("threads, got", [
    (0, "from 1 to 1024, got 0"),
    (-1, "from 1 to 1024, got -1"),
    (1025, "from 1 to 1024, got 1025"),
    (2**31, "from 1 to 1024, got 2147483648"),
    (10**30, f"from 1 to 1024, got {10**30}"),
    (True, "from 1 to 1024, a whole number, got True"),
    (2.0, "from 1 to 1024, a whole number, got 2.0"),
    ("2", "from 1 to 1024, a whole number, got '2'"),
])
def test_other_numbers_of_threads_are_refused(threads: Any, got: str):
    before = velmor.get_num_threads()
    with pytest.raises(ValueError) as error:
        velmor.set_num_threads(threads)
    assert str(error.value) == f"velmor.set_num_threads(): expected n {got}"
    assert velmor.get_num_threads() == before


def test_an_array_that_changes_while_it_is_read():
    picture, stop = np.zeros((1000, 1000, 3), np.uint8), threading.Event()

    def change() -> None:
        value = 0
        while not stop.is_set():
            value = 255 - value
            picture[...] = value

    changer = threading.Thread(target=change)
    changer.start()
    results = [velmor.not_(picture) for _ in range(50)]
    stop.set()
    changer.join()
    assert all(np.isin(result, (0, 255)).all() for result in results)


def test_ctrl_c_while_an_operator_works():
    picture = random_picture(*LARGE, 3, dtype=np.float32)
    result = np.empty_like(picture)

    def interrupt() -> None:
        time.sleep(0.05)
        os.kill(os.getpid(), signal.SIGINT)

    interrupter = threading.Thread(target=interrupt)
    with pytest.raises(KeyboardInterrupt):
        interrupter.start()
        while True:
            velmor.bgr2hsv(picture, out=result)
    interrupter.join()
    assert np.array_equal(velmor.not_(SMALL), 255 - SMALL)
    assert np.array_equal(velmor.bgr2hsv(picture, out=result), velmor.bgr2hsv(picture))


@pytest.mark.parametrize("side", [32, 500, 2000])
def test_a_program_ends_while_threads_work(side: int):
    for _ in range(5):
        run_python("""
import sys
import threading
import time
import numpy as np
import velmor

picture = np.zeros((int(sys.argv[1]), int(sys.argv[1]), 3), np.float32)
result = np.empty_like(picture)

def work():
    while True:
        velmor.bgr2hsv(picture, out=result)
        velmor.set_num_threads(2)

for _ in range(2):
    threading.Thread(target=work, daemon=True).start()
time.sleep(0.05)
""", str(side))
