"""Operators in forked processes, where the threads of the parent are gone."""

from __future__ import annotations

import multiprocessing
import os
import subprocess
import sys
import threading
import time
from collections.abc import Iterator
from contextlib import contextmanager

import numpy as np
import pytest
import velmor

from support import PATIENCE, in_child, random_picture

THREADS = 4
OTHERS = 2  # the thread that calls and the one that watches

# Large enough for a call to use several threads.
PICTURE = random_picture(1080, 1920, 3)
COMPLEMENT = 255 - PICTURE


@pytest.fixture(autouse=True)
def threads() -> Iterator[None]:
    """Let the parent use threads first: these are what a child misses."""
    velmor.set_num_threads(THREADS)
    velmor.not_(PICTURE)
    yield
    velmor.set_num_threads(None)


@contextmanager
def at_work() -> Iterator[None]:
    """Keep a thread inside an operator nearly all of the time."""
    picture, stop = random_picture(1080, 1920, 3, dtype=np.float32), threading.Event()
    result = np.empty_like(picture)

    def work() -> None:
        while not stop.is_set():
            velmor.bgr2hsv(picture, out=result)

    worker = threading.Thread(target=work)
    worker.start()
    try:
        yield
    finally:
        stop.set()
        worker.join()


def is_right() -> bool:
    return np.array_equal(velmor.not_(PICTURE), COMPLEMENT)


def threads_seen(enough: int = THREADS - 1) -> int:
    """Give how many threads this process has at most while operators work.

    On a busy machine the last of them may begin late: calls go on for it.
    """
    picture, most, done = random_picture(1080, 1920, 3, dtype=np.float32), 0, threading.Event()

    def watch() -> None:
        nonlocal most
        while not done.is_set():
            most = max(most, len(os.listdir("/proc/self/task")))

    watcher = threading.Thread(target=watch)
    watcher.start()
    calls, end = 0, time.monotonic() + PATIENCE / 3
    while calls < 30 or (most - OTHERS < enough and time.monotonic() < end):
        velmor.bgr2hsv(picture)
        calls += 1
    done.set()
    watcher.join()
    return most - OTHERS


def right_in_threads() -> bool:
    answers: list[bool] = []
    workers = [threading.Thread(target=lambda: answers.extend(is_right() for _ in range(5)))
               for _ in range(3)]
    for worker in workers:
        worker.start()
    for worker in workers:
        worker.join()
    return len(answers) == 15 and all(answers)


def test_a_child_computes_the_same():
    assert in_child(is_right)


def test_a_child_uses_several_threads():
    assert in_child(threads_seen) >= THREADS - 1


def test_a_child_uses_several_python_threads():
    assert in_child(right_in_threads)


def test_a_child_keeps_the_number_of_threads_and_sets_its_own():
    def numbers() -> tuple[int, int, bool, int]:
        before = velmor.get_num_threads()
        velmor.set_num_threads(2)
        after = velmor.get_num_threads()
        right = is_right()
        velmor.set_num_threads(1)
        return before, after, right, threads_seen(enough=0)

    assert in_child(numbers) == (THREADS, 2, True, 0)
    assert velmor.get_num_threads() == THREADS


def test_a_child_has_as_many_threads_as_cores_by_default():
    velmor.set_num_threads(None)

    def numbers() -> tuple[int, int]:
        inherited = velmor.get_num_threads()
        velmor.set_num_threads(3)
        velmor.set_num_threads(None)
        return inherited, velmor.get_num_threads()

    expected = velmor.get_num_threads()
    assert in_child(numbers) == (expected, expected)


def test_children_of_a_parent_that_is_at_work():
    with at_work():
        for _ in range(20):
            assert in_child(is_right)


def test_a_child_of_a_parent_that_is_at_work_uses_several_threads():
    with at_work():
        assert in_child(threads_seen) >= THREADS - 1


def test_a_child_of_a_parent_that_sets_threads_meanwhile():
    stop = threading.Event()

    def set_threads() -> None:
        while not stop.is_set():
            velmor.set_num_threads(2)
            velmor.set_num_threads(THREADS)

    setter = threading.Thread(target=set_threads)
    setter.start()
    try:
        for _ in range(20):
            assert in_child(is_right)
    finally:
        stop.set()
        setter.join()


def test_a_child_of_a_child():
    def child() -> tuple[bool, bool, int]:
        with at_work():
            return is_right(), in_child(right_in_threads), in_child(threads_seen)

    right, right_in_its_child, seen = in_child(child)
    assert right
    assert right_in_its_child
    assert seen >= THREADS - 1


def test_the_parent_goes_on():
    with at_work():
        in_child(is_right)
        assert right_in_threads()


def test_programs_start_while_operators_work():
    with at_work():
        for _ in range(5):
            # What is called before the program begins is Python's, so that it has to fork.
            done = subprocess.run([sys.executable, "-c", "print(1)"], preexec_fn=os.getpid,
                                  capture_output=True, timeout=PATIENCE, check=True)
            assert done.stdout == b"1\n"


def complement(picture: np.ndarray) -> np.ndarray:
    return velmor.not_(picture)


@pytest.mark.parametrize("method", ["fork", "spawn", "forkserver"])
def test_pools(method: str):
    pictures = [random_picture(480, 640, seed=seed) for seed in range(4)]
    context = multiprocessing.get_context(method)
    with at_work(), context.Pool(2) as pool:
        results = pool.map_async(complement, pictures).get(PATIENCE)
    assert all(np.array_equal(result, 255 - picture)
               for picture, result in zip(pictures, results))
