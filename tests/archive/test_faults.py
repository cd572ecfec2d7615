"""Whoever dies and whatever breaks: the table is what one process makes, in the same bytes."""

from __future__ import annotations

import os
import re
import signal
import subprocess
from collections.abc import Iterator
from pathlib import Path

import numpy as np
import pytest
from support import (PATIENCE, Relay, command, environment, is_alive, make_archive, own_words,
                     parts, run, scheduler, start, until, worker, workers_of, write_video)

COUNT, LENGTH = 6, 60
OPTIONS = ("--chain", "MotionSegment", "--chunk", 4)
TASKS = COUNT * LENGTH // 4


@pytest.fixture(scope="module")
def archive(tmp_path_factory: pytest.TempPathFactory) -> tuple[Path, bytes]:
    """Give a folder of videos that takes some seconds, and its table."""
    folder = tmp_path_factory.mktemp("archive") / "videos"
    return folder, make_archive(folder, COUNT, LENGTH, width=320, height=240)


def wait_for_some(out: Path, process: subprocess.Popen[str]) -> None:
    """Wait until a run is in the middle."""
    until(lambda: len(parts(out)) >= 5 or process.poll() is not None, "parts")
    assert process.poll() is None, process.communicate()
    assert len(parts(out)) < TASKS, "the run is too short to be in the middle"


def ended(process: subprocess.Popen[str]) -> str:
    """Wait for the end of a run that goes well; give what it said."""
    out, err = process.communicate(timeout=2 * PATIENCE)
    assert process.returncode == 0, err
    assert f"{COUNT} videos, {COUNT * LENGTH} frames" in out
    return err


def test_killed_worker(archive: tuple[Path, bytes], tmp_path: Path) -> None:
    process = start(archive[0], tmp_path / "out", *OPTIONS, "--workers", 2)
    wait_for_some(tmp_path / "out", process)
    os.kill(workers_of(process.pid)[0], signal.SIGKILL)
    ended(process)
    assert (tmp_path / "out/table.csv").read_bytes() == archive[1]


@pytest.mark.parametrize("by", [signal.SIGKILL, signal.SIGINT, signal.SIGTERM])
def test_killed_client_is_started_again(archive: tuple[Path, bytes], tmp_path: Path,
                                        by: signal.Signals) -> None:
    out = tmp_path / "out"
    options = (*OPTIONS, "--workers", 2, "--pictures", 4)  # one of each task
    process = start(archive[0], out, *options)
    wait_for_some(out, process)
    workers = workers_of(process.pid)
    if by == signal.SIGINT:
        os.killpg(process.pid, by)  # as the terminal does, workers included
    else:
        process.send_signal(by)
    _, err = process.communicate(timeout=PATIENCE)
    if by == signal.SIGKILL:
        assert process.returncode == -by
    else:
        assert process.returncode == 128 + by
        assert own_words(err) == "archive_on_dask: stopped; start it again to go on\n"
    assert not (out / "table.csv").exists()
    until(lambda: not any(map(is_alive, workers)), "the end of the workers")
    done = {part: part.stat().st_mtime_ns for part in parts(out)}
    assert 0 < len(done) < TASKS
    for folder in ("", "parts", "files", next(out.glob("pictures/*/*"))):
        (out / folder / ".a.0.new").touch()  # left by one that died as it wrote
    again = run(archive[0], out, *options)
    assert again.returncode == 0, again.stderr
    assert (out / "table.csv").read_bytes() == archive[1]
    assert len(list(out.glob("pictures/*/*/[!.]*.png"))) == TASKS
    kept = [part for part, time in done.items() if part.stat().st_mtime_ns == time]
    assert len(kept) >= len(done) - COUNT  # the first part of a video may be done twice
    assert len(parts(out)) == TASKS
    assert not list(out.rglob(".*.new"))


SIGNAL_AT_AN_UNLUCKY_MOMENT = """
import os, runpy, signal, sys, threading
import distributed

by, sys.argv = int(sys.argv[1]), sys.argv[2:]
given = False
forget = distributed.Future.__del__

def forget_and_give(future):
    global given
    if not given and threading.current_thread() is threading.main_thread():
        given = True
        signal.raise_signal(by)
    forget(future)

distributed.Future.__del__ = forget_and_give
sys.path.insert(0, os.path.dirname(sys.argv[0]))  # as Python does for a script
runpy.run_path(sys.argv[0], run_name="__main__")
"""


@pytest.mark.parametrize("by", [signal.SIGINT, signal.SIGTERM])
def test_stopped_while_python_drops_what_is_raised(archive: tuple[Path, bytes], tmp_path: Path,
                                                   by: signal.Signals) -> None:
    python, *rest = command(archive[0], tmp_path / "out", *OPTIONS, "--workers", 2)
    done = subprocess.run([python, "-c", SIGNAL_AT_AN_UNLUCKY_MOMENT, str(int(by)), *rest],
                          capture_output=True, text=True, env=environment(),
                          timeout=2 * PATIENCE, check=False)
    assert done.returncode == 128 + by, done.stderr
    assert own_words(done.stderr) == "archive_on_dask: stopped; start it again to go on\n"
    assert not (tmp_path / "out/table.csv").exists()


@pytest.fixture
def port(tmp_path: Path) -> Iterator[int]:
    """Have a scheduler in a folder of its own."""
    (tmp_path / "elsewhere").mkdir()
    with scheduler(tmp_path / "elsewhere") as number:
        yield number


def test_client_loses_the_scheduler_for_a_while(archive: tuple[Path, bytes], tmp_path: Path,
                                                port: int) -> None:
    out = tmp_path / "out"
    relay = Relay(port)
    with worker(tmp_path / "elsewhere", port):
        process = start(archive[0], out, *OPTIONS, "--scheduler", f"tcp://127.0.0.1:{relay.port}")
        wait_for_some(out, process)
        relay.cut()
        until(lambda: relay.refused > 0, "the client to miss its scheduler")
        relay.mend()
        ended(process)
    relay.close()
    assert (out / "table.csv").read_bytes() == archive[1]


def test_worker_loses_the_scheduler_and_is_started_again(archive: tuple[Path, bytes],
                                                         tmp_path: Path, port: int) -> None:
    """A worker of Dask's ends without its scheduler: whoever keeps it up begins another one."""
    out = tmp_path / "out"
    relay = Relay(port)
    with worker(tmp_path / "elsewhere", relay.port) as (nanny, _):
        process = start(archive[0], out, *OPTIONS, "--scheduler", f"tcp://127.0.0.1:{port}")
        wait_for_some(out, process)
        relay.cut()
        until(lambda: not is_alive(nanny), "the end of the worker")
    relay.mend()
    with worker(tmp_path / "elsewhere", relay.port):
        ended(process)
    relay.close()
    assert (out / "table.csv").read_bytes() == archive[1]


def test_lost_scheduler_ends_the_run(archive: tuple[Path, bytes], tmp_path: Path) -> None:
    out = tmp_path / "out"
    with scheduler(tmp_path) as port, worker(tmp_path, port):
        process = start(archive[0], out, *OPTIONS, "--scheduler", f"tcp://127.0.0.1:{port}",
                        DASK_DISTRIBUTED__COMM__TIMEOUTS__CONNECT="2s")
        wait_for_some(out, process)
    _, err = process.communicate(timeout=PATIENCE)
    assert process.returncode == 1
    assert err.endswith("archive_on_dask: the scheduler is lost; run this again to go on\n")
    again = run(archive[0], out, *OPTIONS)
    assert again.returncode == 0, again.stderr
    assert (out / "table.csv").read_bytes() == archive[1]


def test_worker_without_memory(tmp_path: Path) -> None:
    """What kills each worker is left out. What waited at the same workers is not."""
    videos = tmp_path / "videos"
    expected = make_archive(videos, 12, 8)
    write_video(videos / "0-huge.avi", [np.zeros((3000, 4000, 3), np.uint8)] * 12, "mjpeg",
                "yuvj420p")
    with (scheduler(tmp_path, DASK_DISTRIBUTED__SCHEDULER__ALLOWED_FAILURES="1") as port,
          worker(tmp_path, port, "--memory-limit", "300MB")):
        done = run(videos, tmp_path / "out", *OPTIONS, "--scheduler", f"tcp://127.0.0.1:{port}")
    assert done.returncode == 3, done.stderr
    assert done.stderr == (f"archive_on_dask: each worker that took '{videos}/0-huge.avi' died,"
                           " perhaps for want of memory; left out\n")
    assert (tmp_path / "out/table.csv").read_bytes() == expected


FULL_DISK = """
mount -t tmpfs -o size=200k tmpfs "$1"
code=0
$2 || code=$?
echo "code $code" >&2
mount -o remount,size=20m "$1"
$2 || exit
cat "$1/out/table.csv"
"""


def test_full_disk(archive: tuple[Path, bytes], tmp_path: Path) -> None:
    """A disk of a few pages, in a space of mounts of the test's own."""
    apart = ["unshare", "--mount"] + (["--user", "--map-root-user"] if os.getuid() else [])
    tried = subprocess.run([*apart, "mount", "-t", "tmpfs", "tmpfs", tmp_path],
                           capture_output=True, text=True, check=False)
    if tried.returncode != 0:
        pytest.skip(f"no small disk can be mounted here: {tried.stderr.strip()}")
    again = " ".join(command(archive[0], tmp_path / "out", *OPTIONS, "--workers", 2))
    done = subprocess.run([*apart, "bash", "-c", FULL_DISK, "full", tmp_path, again],
                          capture_output=True, env=environment(), timeout=2 * PATIENCE, check=False)
    said = own_words(done.stderr.decode())
    assert done.returncode == 0, said
    assert re.fullmatch(f"archive_on_dask: cannot write in '{tmp_path}/out': No space left on"
                        " device, on .+\ncode 1\n", said)
    table = done.stdout.partition(b"rows\n")[2]
    assert table == archive[1]
