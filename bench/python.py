#!/usr/bin/python3
"""Times the Python package: what a call costs beyond the call in C++, operators beside those of
OpenCV's and scikit-image's packages on the same frames, and two Python threads at once.

bench/python.py <folder of velmor_bench_frames> <out.json> [--repetitions N] [--sizes VGA,1080p,4K]

PYTHONPATH says where the package is, and velmor_native_cost beside it. Results are compared before
anything is timed. The file that it writes has the shape of Google Benchmark's.
"""

from __future__ import annotations

import argparse
import json
import multiprocessing
import pathlib
import threading
import time
from collections.abc import Callable
from typing import Any

import cv2
import numpy as np
import outside
import velmor
import velmor_native_cost

Call = Callable[[], Any]
Check = Callable[[Any, Any], bool]
Runs = list[dict[str, Any]]

MOST_MICROSECONDS = 2.0

# Two threads are judged where two processes gain as much.
MOST_OF_THREADS, MOST_OF_PROCESSES = 0.65, 0.6

# Class -> function, and the pictures whose calls are timed: how many, their channels and type.
FILTERS = {
    "Not": (velmor.not_, 1, 3, "uint8"),
    "Subtract": (velmor.subtract, 2, 3, "uint8"),
    "And": (velmor.and_, 2, 3, "uint8"),
    "Or": (velmor.or_, 2, 3, "uint8"),
    "Xor": (velmor.xor, 2, 3, "uint8"),
    "Classify": (velmor.classify, 2, 3, "uint8"),
    "FlipV": (velmor.flip_v, 1, 3, "uint8"),
    "BGR2GRAY": (velmor.bgr2gray, 1, 3, "uint8"),
    "RGB2GRAY": (velmor.rgb2gray, 1, 3, "uint8"),
    "BGR2HSV": (velmor.bgr2hsv, 1, 3, "uint8"),
    "RGB2HSV": (velmor.rgb2hsv, 1, 3, "uint8"),
    "BayerRG2GRAY": (velmor.bayer_rg2gray, 1, 1, "uint8"),
    "BayerRG2RGB": (velmor.bayer_rg2rgb, 1, 1, "uint8"),
    "GRAY2Sobel": (velmor.gray2sobel, 1, 1, "uint8"),
    "Laplacian": (velmor.laplacian, 1, 3, "uint8"),
    "NonMaxSupression": (velmor.non_max_supression, 1, 3, "float32"),
    "DebugUInt2Float": (velmor.debug_uint2float, 1, 1, "uint16"),
}


def run(name: str, label: str, repetition: int, **figures: float) -> dict[str, Any]:
    """Give an entry of Google Benchmark."""
    return {"name": name, "run_type": "iteration", "repetition_index": repetition, "label": label,
            "real_time": 0.0, "time_unit": "us", **figures}


def seconds(call: Call, calls: int = 1) -> float:
    begin = time.perf_counter()
    for _ in range(calls):
        call()
    return (time.perf_counter() - begin) / calls


# ---- What a call costs

def call_costs(name: str, side: int = 64, calls: int = 300, rounds: int = 20) -> dict[str, float]:
    """Give microseconds of a call: in C++, in Python with out and without."""
    function, count, channels, dtype = FILTERS[name]
    random = np.random.default_rng(1)
    pictures = [random.integers(0, 256, (side, side, channels)).astype(dtype) for _ in range(count)]
    out = function(*pictures)
    # The fastest of some rounds: what else the machine does makes rounds slower, and none faster.
    native, own, new = (1e6 * min(times) for times in zip(*(
        (velmor_native_cost.seconds(name, pictures, out.reshape(side, side, -1), calls),
         seconds(lambda: function(*pictures, out=out), calls),
         seconds(lambda: function(*pictures), calls)) for _ in range(rounds))))
    return {"real_time": own, "native_us": native, "new_us": new,
            "missed": float(max(own, new) - native > MOST_MICROSECONDS)}


# ---- Beside other packages

WEIGHTS = np.array([[0.212671, 0.715160, 0.072169]])
EIGHT_AROUND = outside.EIGHT_AROUND / 255
EDGE = {"borderType": cv2.BORDER_REPLICATE}


def cv2_sobel(grey: np.ndarray) -> np.ndarray:
    level = cv2.Sobel(grey, cv2.CV_32F, 0, 1, scale=1 / 255, **EDGE)
    upright = cv2.Sobel(grey, cv2.CV_32F, 1, 0, scale=-1 / 255, **EDGE)
    return cv2.merge([level, upright, cv2.magnitude(level, upright)])


def same_hsv(own: np.ndarray, other: np.ndarray) -> bool:
    """The order is value, saturation, hue. Hue is a circle, of degrees in OpenCV."""
    hue = np.abs(own[..., 2] - other[..., 0] / 360)
    return (outside.near(own[..., 0], other[..., 2]) and outside.near(own[..., 1], other[..., 1])
            and np.minimum(hue, 1 - hue).max() <= 1e-4)


def within_one(own: np.ndarray, other: np.ndarray) -> bool:
    """Weights are rounded in another way there."""
    return own.size == other.size and cv2.absdiff(own.reshape(other.shape), other).max() <= 1


# Class -> type of pictures, what is called, the call there, and whether its result is the same.
OF_CV2: dict[str, tuple[str, str, Callable[..., Any], Check]] = {
    "Not": ("8UC3", "cv2.bitwise_not", cv2.bitwise_not, np.array_equal),
    "Subtract": ("8UC3", "cv2.absdiff", cv2.absdiff, np.array_equal),
    "Or": ("8UC3", "cv2.add", cv2.add, np.array_equal),
    "BGR2GRAY": ("8UC3", "cv2.transform", lambda a: cv2.transform(a, WEIGHTS), within_one),
    "BGR2HSV": ("32FC3", "cv2.cvtColor", lambda a: cv2.cvtColor(a, cv2.COLOR_RGB2HSV), same_hsv),
    "GRAY2Sobel": ("8UC1", "cv2.Sobel, twice, and cv2.magnitude", cv2_sobel, outside.near),
    "Laplacian": ("8UC3", "cv2.filter2D and numpy.abs",
                  lambda a: np.abs(cv2.filter2D(a, cv2.CV_32F, EIGHT_AROUND, **EDGE)),
                  outside.near),
    "FlipV": ("8UC3", "cv2.flip", lambda a: cv2.flip(a, 0), np.array_equal),
}


def pictures_of(name: str, types: str, folder: pathlib.Path, size: str) -> list[np.ndarray]:
    frame = np.load(folder / f"{'grey' if types.endswith('C1') else 'colours'}-{size}.npy")
    if types.startswith("32F"):
        frame = frame.astype(np.float32) / 255
    pictures = [frame, np.ascontiguousarray(outside.flipped(frame))]
    return pictures[:FILTERS[name][1]]


def others_of(name: str) -> list[tuple[str, str, str, Callable[..., Any], Check]]:
    """Give what a filter is compared with: package, types, what is called, the call, the check."""
    found = []
    if name in OF_CV2:
        found.append(("cv2", *OF_CV2[name]))
    for other in outside.OPERATORS:
        if other.name == name:
            # Those of two sources make the second one themselves.
            found.append(("outside", other.types, other.says,
                          lambda a, *_, call=other.call: call(a), other.agrees))
    return found


def beside(name: str, folder: pathlib.Path, sizes: list[str], repetitions: int) -> Runs:
    function, results = FILTERS[name][0], []
    for package, types, says, other, agrees in others_of(name):
        for size in sizes:
            pictures = pictures_of(name, types, folder, size)
            own, theirs = function(*pictures), other(*pictures)
            rows, columns = own.shape[:2]
            if not agrees(own.reshape(rows, columns, -1) if package == "outside" else own, theirs):
                raise SystemExit(f"bench/python.py: {says} and {name} differ; nothing is timed")
            for repetition in range(repetitions):
                own_ms = 1e3 * min(seconds(lambda: function(*pictures)) for _ in range(5))
                other_ms = 1e3 * min(seconds(lambda: other(*pictures)) for _ in range(3))
                results.append(run(f"beside/{name}/{types}/{package}/{size}", says, repetition,
                                   own_ms=own_ms, other_ms=other_ms, ratio=own_ms / other_ms))
    return results


# ---- Two threads at once

def hsv_of_floats(folder: pathlib.Path, size: str) -> Callable[[], Any]:
    picture = np.load(folder / f"colours-{size}.npy").astype(np.float32) / 255
    out = np.empty_like(picture)
    return lambda: velmor.bgr2hsv(picture, out=out)


def at_once(workers: list[Any], times: Any) -> float:
    """Run two workers, and give the seconds from the first one's begin to the last one's end."""
    for worker in workers:
        worker.start()
    for worker in workers:
        worker.join()
    return max(times[1::2]) - min(times[::2])


def work(number: int, barrier: Any, times: Any, folder: pathlib.Path, size: str,
         calls: int) -> None:
    call = hsv_of_floats(folder, size)
    call()
    barrier.wait()
    times[2 * number] = time.perf_counter()
    for _ in range(calls):
        call()
    times[2 * number + 1] = time.perf_counter()


def two_threads(folder: pathlib.Path, size: str, calls: int) -> float:
    barrier, times = threading.Barrier(2), [0.0] * 4
    return at_once([threading.Thread(target=work, args=(i, barrier, times, folder, size, calls))
                    for i in range(2)], times)


def two_processes(folder: pathlib.Path, size: str, calls: int) -> float:
    fork = multiprocessing.get_context("fork")
    barrier, times = fork.Barrier(2), fork.Array("d", 4)
    return at_once([fork.Process(target=work, args=(i, barrier, times, folder, size, calls))
                    for i in range(2)], times)


def two_at_once(folder: pathlib.Path, size: str, rounds: int = 3) -> dict[str, float]:
    """Give what two threads, and two processes, take of the time of the same calls in turn."""
    velmor.set_num_threads(1)
    call = hsv_of_floats(folder, size)
    call()
    calls = round(0.1 / seconds(call)) + 1  # else what threads and processes begin with weighs
    in_turn, threads, processes = (min(times) for times in zip(*(
        (seconds(call, 2 * calls) * 2 * calls, two_threads(folder, size, calls),
         two_processes(folder, size, calls)) for _ in range(rounds))))
    velmor.set_num_threads(None)
    missed = threads / in_turn > MOST_OF_THREADS and processes / in_turn <= MOST_OF_PROCESSES
    return {"in_turn_ms": 1e3 * in_turn, "threads_ratio": threads / in_turn,
            "processes_ratio": processes / in_turn, "missed": float(missed)}


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("out", type=pathlib.Path)
    parser.add_argument("--repetitions", type=int, default=5)
    parser.add_argument("--sizes", default="VGA,1080p,4K")
    given = parser.parse_args()
    sizes = given.sizes.split(",")

    results = []
    for name, (function, *_) in FILTERS.items():
        label = f"velmor.{function.__name__}"
        results += [run(f"call/{name}/64x64", label, repetition, **call_costs(name))
                    for repetition in range(given.repetitions)]
        results += beside(name, given.folder, sizes, given.repetitions)
    results += [run(f"at once/BGR2HSV/32FC3/{size}", "velmor.bgr2hsv", repetition,
                    **two_at_once(given.folder, size))
                for size in sizes for repetition in range(given.repetitions)]
    given.out.write_text(json.dumps({"benchmarks": results}, indent=1))


if __name__ == "__main__":
    main()
