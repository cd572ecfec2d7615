#!/usr/bin/python3
"""Times the archive on Dask: pixels a second with workers and without, what the scheduler takes of
that, and what a small file costs among up to 10,000.

bench/archive.py [--repetitions N] [--most-files N]

PYTHONPATH says where the package is. Prints the tables of docs/archives.md. Takes some minutes on
cores that do nothing else. Without workers means the same tasks in a loop in this process.
"""

from __future__ import annotations

import argparse
import os
import shutil
import statistics
import sys
import tempfile
import time
from collections.abc import Callable
from pathlib import Path

import av
import distributed
import numpy as np
import velmor

SOURCES = Path(__file__).resolve().parents[1]
sys.path[:0] = [str(SOURCES / "examples"), str(SOURCES / "examples/python")]

from archive.chain import Chain, read_chain  # noqa: E402
from archive.run import KEEP_MEMORY, Run, find_videos  # noqa: E402
from archive.store import Store, finished, parts_in  # noqa: E402
from archive.table import write_table  # noqa: E402
from archive.work import Job, work  # noqa: E402

STREET = Path("/usr/share/doc/opencv-doc/examples/data/vtest.avi")  # 795 frames of 768 x 576
STREET_PIXELS = 795 * 768 * 576
STREETS = 4
CHAINS = (["BGR2GRAY"], ["MotionSegment", "Moments"], ["ColourHist2D"],
          ["BGR2GRAY", "Laplacian"])
SMALL_FRAMES = 5

Workers = Callable[[Job], dict[str, str]]


def alone(job: Job) -> dict[str, str]:
    """Do all tasks in this process, one after the other."""
    left_out: dict[str, str] = {}
    for video in find_videos(Path(job.videos), Path(job.out))[0]:
        cuts = [None]
        while cuts:
            answer = work(vars(job), vars(video), cuts.pop())
            cuts += answer["cuts"]
    return left_out


def with_client(client: distributed.Client) -> Workers:
    """Give a function that does all tasks on the workers of a client."""
    def run(job: Job) -> dict[str, str]:
        left_out: dict[str, str] = {}
        videos = find_videos(Path(job.videos), Path(job.out))[0]
        Run(client, job, videos, left_out).go()
        return left_out

    return run


def seconds(workers: Workers, videos: Path, chain: list[str], length: int) -> tuple[float, float]:
    """Time the parts, and the table that is made of them; check that nothing is missing."""
    with tempfile.TemporaryDirectory(dir=videos.parent) as place:
        out = Path(place)
        Store(out)  # makes its folders
        steps = read_chain(chain)
        job = Job(str(videos), str(out), [vars(step) for step in steps], length, 0,
                  velmor.__version__)
        begin = time.perf_counter()
        left_out = workers(job)
        middle = time.perf_counter()
        found = find_videos(videos, out)[0]
        done = finished(found, parts_in(out))
        rows = write_table("csv", Chain(steps).fields, out, done)
        end = time.perf_counter()
        assert not left_out and len(done) == len(found) and rows > 0
        return middle - begin, end - middle


def measure_streets(place: Path, workers: dict[str, Workers], repetitions: int) -> None:
    """Print pixels a second of a real video. By the median, as a machine is never all quiet."""
    videos = place / "streets"
    videos.mkdir()
    for number in range(STREETS):
        shutil.copy(STREET, videos / f"{number}.avi")
    print("| chain | " + " | ".join(f"{name}, Mpix/s" for name in workers)
          + " | lost to the scheduler | gained by the second |")
    print("|" + "---|" * (len(workers) + 3))
    for chain in CHAINS:
        rates = []
        for run in workers.values():
            times = [seconds(run, videos, chain, 200)[0] for _ in range(repetitions)]
            rates.append(STREETS * STREET_PIXELS / statistics.median(times) / 1e6)
        figures = " | ".join(f"{rate:.0f}" for rate in rates)
        print(f"| `{' '.join(chain)}` | {figures} | {100 * (1 - rates[1] / rates[0]):.0f} %"
              f" | {rates[2] / rates[1]:.2f} times |", flush=True)


def make_small(file: Path) -> None:
    """Write a small video."""
    random = np.random.default_rng(1)
    with av.open(str(file), "w") as video:
        stream = video.add_stream("ffv1", rate=25)
        stream.width, stream.height, stream.pix_fmt = 64, 48, "bgr0"
        for _ in range(SMALL_FRAMES):
            pixels = random.integers(0, 256, (48, 64, 3), np.uint8)
            video.mux(stream.encode(av.VideoFrame.from_ndarray(pixels, format="rgb24")))
        video.mux(stream.encode(None))


def measure_files(place: Path, workers: dict[str, Workers], most: int) -> None:
    """Print what a small file costs."""
    make_small(place / "small.mkv")
    videos = place / "small"
    videos.mkdir()
    print("\n| files | " + " | ".join(f"{name}, ms a file" for name in workers)
          + " | table, ms a file |")
    print("|" + "---|" * (len(workers) + 2))
    count = 1
    while count <= most:
        for number in range(len(os.listdir(videos)), count):
            os.link(place / "small.mkv", videos / f"{number:06}.mkv")
        times = [seconds(run, videos, ["BGR2GRAY"], 200) for run in workers.values()]
        figures = " | ".join(f"{1000 * parts / count:.1f}" for parts, _ in times)
        table = 1000 * statistics.median(table for _, table in times) / count
        print(f"| {count:,} | {figures} | {table:.2f} |", flush=True)
        count *= 10


def cluster(workers: int, folder: str) -> distributed.LocalCluster:
    """Begin workers of one thread."""
    return distributed.LocalCluster(n_workers=workers, threads_per_worker=1, host="127.0.0.1",
                                    dashboard_address="127.0.0.1:0", local_directory=folder)


def main() -> None:
    """Measure and print."""
    parser = argparse.ArgumentParser(description="Time the archive on Dask.")
    parser.add_argument("--repetitions", type=int, default=3)
    parser.add_argument("--most-files", type=int, default=10_000)
    given = parser.parse_args()
    if not os.environ.keys() >= KEEP_MEMORY.keys():  # as the workers, from the beginning
        os.execve(sys.executable, [sys.executable, *sys.argv], {**os.environ, **KEEP_MEMORY})
    with (tempfile.TemporaryDirectory() as folder,
          cluster(1, folder) as one, distributed.Client(one) as client_of_one,
          cluster(2, folder) as two, distributed.Client(two) as client_of_two):
        workers: dict[str, Workers] = {"no workers": alone, "1 worker": with_client(client_of_one),
                                       "2 workers": with_client(client_of_two)}
        measure_streets(Path(folder), workers, given.repetitions)
        measure_files(Path(folder), workers, given.most_files)


if __name__ == "__main__":
    main()
