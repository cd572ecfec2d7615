"""What the tests of the archive share: videos, what one process makes of them, and workers."""

from __future__ import annotations

import os
import re
import select
import signal
import socket
import subprocess
import sys
import threading
import time
from collections.abc import Callable, Iterator
from contextlib import contextmanager
from pathlib import Path

import av
import numpy as np

SOURCES = Path(__file__).resolve().parents[2]
PROGRAM = SOURCES / "examples/archive_on_dask.py"
PATIENCE = 60.0  # seconds for what takes one or two on a quiet machine

av.logging.set_level(av.logging.PANIC)
# In the background of a script it is ignored, and what begins here would inherit that.
signal.signal(signal.SIGINT, signal.default_int_handler)
sys.path[:0] = [str(SOURCES / "examples"), str(SOURCES / "examples/python")]  # the archive's parts


# ---- Videos


def write_video(file: Path, frames: list[np.ndarray], codec: str = "ffv1", pixels: str = "bgr0",
                key_every: int = 12) -> None:
    """Write frames, without loss unless the codec has some."""
    with av.open(str(file), "w") as video:
        stream = video.add_stream(codec, rate=25)
        stream.height, stream.width = frames[0].shape[:2]
        stream.pix_fmt = pixels
        stream.codec_context.gop_size = key_every
        for frame in frames:
            video.mux(stream.encode(av.VideoFrame.from_ndarray(frame, format="rgb24")))
        video.mux(stream.encode(None))


def walk(count: int, seed: int, width: int = 64, height: int = 48) -> list[np.ndarray]:
    """Make frames in which a red square and some dots go about."""
    random = np.random.default_rng(seed)
    frames = []
    for number in range(count):
        frame = np.full((height, width, 3), (20, 30, 40), np.uint8)
        left, top = (3 * number + 7 * seed) % (width - 14), (2 * number + seed) % (height - 14)
        frame[top:top + 11, left:left + 13] = (220, 40, 30)
        dots = random.integers(0, (height, width), (random.integers(0, 6), 2))
        frame[dots[:, 0], dots[:, 1]] = (200, 200, 60)
        frames.append(frame)
    return frames


def motion_table(videos: dict[str, list[np.ndarray]]) -> bytes:
    """Give the table of the chain MotionSegment, by the rule and numpy alone."""
    lines = ["video,frame,time,pixels"]
    for name, frames in sorted(videos.items()):
        before = np.zeros(frames[0].shape[:2], int)
        for number, frame in enumerate(frames):
            red, green, blue = (frame[..., k].astype(int) for k in range(3))
            grey = (4899 * red + 9617 * green + 1868 * blue + 8192) >> 14
            moved = np.count_nonzero(np.abs(grey - before) > 20)
            lines.append(f"{name},{number},{number / 25!r},{moved}")
            before = grey
    return ("\n".join(lines) + "\n").encode()


def make_archive(folder: Path, count: int, length: int, **size: int) -> bytes:
    """Make a folder of videos; give the table of the chain MotionSegment."""
    folder.mkdir()
    videos = {f"{number}.mkv": walk(length, number, **size) for number in range(count)}
    for name, frames in videos.items():
        write_video(folder / name, frames)
    return motion_table(videos)


# ---- Processes


def until(condition: Callable[[], object], what: str) -> None:
    """Wait for a condition."""
    end = time.monotonic() + PATIENCE
    while not condition():
        assert time.monotonic() < end, f"waited for {what} for {PATIENCE:g} s"
        time.sleep(0.005)


def environment(**more: str) -> dict[str, str]:
    """Give the environment of a process that finds the package and nothing else."""
    return {**os.environ, "PYTHONDONTWRITEBYTECODE": "1", **more}


def command(videos: Path, out: Path, *options: object) -> list[str]:
    """Give the command line of a run."""
    return [sys.executable, str(PROGRAM), str(videos), str(out), *map(str, options)]


# A line of Dask's log, and the exception that it may tell of, or that there is none.
DASKS_RECORD = re.compile(r"""
    ^.*\ -\ distributed\..*\n
    (?:NoneType:\ None\n
    |  (?:\n|The\ above\ .*\n|During\ handling\ .*\n)*
       Traceback\ .*\n(?:[ ].*\n)*\S.*\n)*""", re.MULTILINE | re.VERBOSE)


def own_words(errors: str) -> str:
    """Leave out what Dask says of its own, which differs from version to version."""
    return DASKS_RECORD.sub("", errors)


def run(videos: Path, out: Path, *options: object) -> subprocess.CompletedProcess[str]:
    """Run to the end; what Dask says of its own is left out."""
    done = subprocess.run(command(videos, out, *options), capture_output=True, text=True,
                          env=environment(), timeout=2 * PATIENCE, check=False)
    done.stderr = own_words(done.stderr)
    return done


def start(videos: Path, out: Path, *options: object, **more: str) -> subprocess.Popen[str]:
    """Begin a run, in a process group of its own as a shell does."""
    return subprocess.Popen(command(videos, out, *options), stdout=subprocess.PIPE,
                            stderr=subprocess.PIPE, text=True, env=environment(**more),
                            start_new_session=True)


def parts(out: Path) -> list[Path]:
    """Give the parts that are done."""
    return list((out / "parts").glob("[!.]*.npy"))


def children(process: int) -> list[int]:
    """Give the processes that a process has begun."""
    found = []
    for task in Path(f"/proc/{process}/task").iterdir():
        found += map(int, (task / "children").read_text().split())
    return found


def workers_of(process: int) -> list[int]:
    """Give the workers that a process has begun."""
    return [child for child in children(process)
            if b"spawn_main" in Path(f"/proc/{child}/cmdline").read_bytes()]


@contextmanager
def held(process: int) -> Iterator[None]:
    """Have a process stand still for a while."""
    os.kill(process, signal.SIGSTOP)
    try:
        yield
    finally:
        os.kill(process, signal.SIGCONT)


def is_alive(process: int) -> bool:
    """Say whether a process is there and no zombie."""
    try:
        return Path(f"/proc/{process}/stat").read_text().rpartition(") ")[2][0] != "Z"
    except OSError:
        return False


@contextmanager
def process(*arguments: object, cwd: Path,
            **more: str) -> Iterator[tuple[subprocess.Popen[str], list[str]]]:
    """Have a process of Dask's for a while; its lines are gathered as they come."""
    with subprocess.Popen(list(map(str, arguments)), cwd=cwd, text=True,
                          stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                          env=environment(**more), start_new_session=True) as begun:
        lines: list[str] = []

        def gather() -> None:
            for line in begun.stderr or ():
                lines.append(line)

        reader = threading.Thread(target=gather)
        reader.start()
        try:
            yield begun, lines
        finally:
            group = begun.pid
            begun.send_signal(signal.SIGINT)
            try:
                begun.wait(10)
            except subprocess.TimeoutExpired:
                pass
            try:
                os.killpg(group, signal.SIGKILL)
            except ProcessLookupError:
                pass
            reader.join()


def said(lines: list[str], pattern: str) -> re.Match[str] | None:
    """Look for a pattern in the lines so far."""
    return next(filter(None, (re.search(pattern, line) for line in list(lines))), None)


@contextmanager
def scheduler(folder: Path, **more: str) -> Iterator[int]:
    """Have a scheduler, as it is started by hand; give its port."""
    with process("dask", "scheduler", "--host", "127.0.0.1", "--port", 0,
                 "--no-dashboard", cwd=folder, **more) as (_, lines):
        until(lambda: said(lines, r"tcp://127.0.0.1:\d+"), "the scheduler")
        found = said(lines, r"tcp://127.0.0.1:(\d+)")
        assert found
        yield int(found[1])


@contextmanager
def worker(folder: Path, port: int, *options: object) -> Iterator[tuple[int, list[str]]]:
    """Have a worker and its nanny, as they are started by hand; give the nanny's process."""
    with process("dask", "worker", f"tcp://127.0.0.1:{port}", "--nthreads", 1,
                 "--no-dashboard", "--local-directory", folder, *options,
                 cwd=folder) as (begun, lines):
        until(lambda: said(lines, "Registered to"), "a worker")
        yield begun.pid, lines


class Relay:
    """Passes bytes on to a port, until it is cut, and after it is mended."""

    def __init__(self, port: int) -> None:
        self._target = port
        self._listening = socket.create_server(("127.0.0.1", 0))
        self.port = self._listening.getsockname()[1]
        self._pairs: list[tuple[socket.socket, socket.socket]] = []
        self._is_cut = False
        self.refused = 0
        self.passed = 0
        self._lock = threading.Lock()
        threading.Thread(target=self._accept, daemon=True).start()

    def _accept(self) -> None:
        while True:
            try:
                here, _ = self._listening.accept()
            except OSError:
                return
            with self._lock:
                if self._is_cut:
                    here.close()
                    self.refused += 1
                    continue
                there = socket.create_connection(("127.0.0.1", self._target))
                self._pairs.append((here, there))
                self.passed += 1
            threading.Thread(target=self._pass_on, args=(here, there), daemon=True).start()

    def _pass_on(self, here: socket.socket, there: socket.socket) -> None:
        others = {here: there, there: here}
        try:
            while True:
                for one in select.select([here, there], [], [])[0]:
                    content = one.recv(1 << 16)
                    if not content:
                        return
                    others[one].sendall(content)
        except (OSError, ValueError):
            pass
        finally:
            here.close()
            there.close()

    def cut(self) -> None:
        """Break all connections, and refuse new ones."""
        with self._lock:
            self._is_cut = True
            for pair in self._pairs:
                for one in pair:
                    try:
                        one.shutdown(socket.SHUT_RDWR)
                    except OSError:
                        pass
            self._pairs.clear()

    def mend(self) -> None:
        """Let connections through again."""
        with self._lock:
            self._is_cut = False

    def close(self) -> None:
        """End for good."""
        self.cut()
        self._listening.close()
