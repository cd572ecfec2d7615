"""What several of these tests need."""

from __future__ import annotations

import os
import pickle
import select
import signal
import subprocess
import sys
import traceback
import tracemalloc
from collections.abc import Callable
from typing import Any

import numpy as np
import pytest

# What a child may take that has work for milliseconds: a busy machine is slow, but not as slow as
# a child that hangs.
PATIENCE = 60.0

IS_SANITIZED = "libasan" in os.environ.get("LD_PRELOAD", "")

#: For tests of what happens without memory.
limits_addresses = pytest.mark.skipif(
    IS_SANITIZED, reason="sanitizers take more addresses than a limit leaves"
)

#: For tests of how much memory the process takes.
weighs_memory = pytest.mark.skipif(
    IS_SANITIZED, reason="sanitizers keep a part of the memory that is given back"
)


def random_picture(*shape: int, dtype: Any = np.uint8, seed: int = 1) -> np.ndarray:
    """Give random bytes, or random floats on 0..1."""
    random = np.random.default_rng(seed)
    if np.dtype(dtype).kind == "f":
        return random.random(shape).astype(dtype)
    return random.integers(0, np.iinfo(dtype).max, shape, dtype, endpoint=True)


def in_child(function: Callable[[], Any], seconds: float = PATIENCE) -> Any:
    """Call a function in a forked process, and give what it gives.

    A child that hangs is killed, and fails the test.
    """
    reading, writing = os.pipe()
    child = os.fork()
    if child == 0:
        status = 1
        try:
            answer = pickle.dumps(function())
            with os.fdopen(writing, "wb") as pipe:
                pipe.write(answer)
            status = 0
        except BaseException:
            traceback.print_exc()
        finally:
            os._exit(status)
    os.close(writing)
    with os.fdopen(reading, "rb") as pipe:
        answers = bool(select.select([pipe], [], [], seconds)[0])
        if not answers:
            os.kill(child, signal.SIGKILL)
        answer = pipe.read() if answers else b""
    _, status = os.waitpid(child, 0)
    assert answers, f"the child still hangs after {seconds:g} s"
    assert status == 0, f"the child ended with status {status}"
    return pickle.loads(answer)


def run_python(script: str, *arguments: str, seconds: float = PATIENCE) -> str:
    """Run a script in a Python of its own, and give what it prints."""
    done = subprocess.run([sys.executable, "-c", script, *arguments], capture_output=True,
                          text=True, timeout=seconds, check=False)
    assert done.returncode == 0, f"status {done.returncode}: {done.stderr}"
    return done.stdout


def copies(call: Callable[[], Any], size: int) -> int:
    """Count the pictures of a size in bytes that numpy has memory for at once during a call."""
    tracemalloc.start()
    try:
        before, _ = tracemalloc.get_traced_memory()
        tracemalloc.reset_peak()
        call()
        _, most = tracemalloc.get_traced_memory()
    finally:
        tracemalloc.stop()
    assert (most - before) % size < size // 4, "memory was made that is no whole picture"
    return (most - before) // size
