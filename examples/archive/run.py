"""Hands the videos out to the workers of a scheduler, and waits for what they make of them."""

from __future__ import annotations

import asyncio
import concurrent.futures
import os
import queue
import sys
import time
from dataclasses import dataclass
from pathlib import Path
from types import ModuleType
from typing import Any, Callable

import cloudpickle
import distributed
import videos
from tqdm import tqdm

import archive
from archive import catalogue, chain, cuts, store, work
from archive.cuts import Cut
from archive.store import Part, Video, finished, parts_in
from archive.work import Job, StopError

TASKS_PER_THREAD = 4  # that are with the workers, so that they never wait for more
SILENCE = 0.5  # seconds after which the connection is looked at
SILENCES = 20  # without a worker, after which a person is told; one that died is back sooner

LOST = (OSError, asyncio.CancelledError, concurrent.futures.CancelledError)  # a connection

# What workers are begun with. Dask has them give all memory back at once, and asking for each
# picture's anew takes as long as the operators do. These are glibc's settings, in bytes.
KEEP_MEMORY = {"MALLOC_MMAP_THRESHOLD_": str(1 << 25), "MALLOC_TRIM_THRESHOLD_": str(1 << 28)}

# The code goes along with each task: workers on other hosts need no more than what it imports.
CODE: tuple[ModuleType, ...] = (archive, catalogue, chain, cuts, store, videos, work)


def portable_work() -> Callable[..., dict[str, Any]]:
    """Give work() as a function that takes all code along that it needs."""
    for module in CODE:
        cloudpickle.register_pickle_by_value(module)

    def archive_part(*task: Any) -> dict[str, Any]:  # which plain pickle leaves to cloudpickle
        return work.work(*task)

    return archive_part


def _stop_at(error: OSError) -> None:
    raise StopError(f"cannot read folder '{error.filename}': {error.strerror}")


def find_videos(folder: Path, out: Path) -> tuple[list[Video], dict[str, str]]:
    """Give the files of a folder and those in it, by name, and which cannot be looked at."""
    found: list[Video] = []
    left_out: dict[str, str] = {}
    for place, folders, files in os.walk(folder, onerror=_stop_at):
        folders[:] = [each for each in folders
                      if each[0] != "." and not os.path.samefile(os.path.join(place, each), out)]
        for file in files:
            if file[0] == ".":
                continue
            name = os.path.relpath(os.path.join(place, file), folder)
            try:
                found.append(store.video_at(folder, name))
            except OSError as error:
                left_out[name] = f"cannot read '{folder / name}': {error.strerror}"
    return sorted(found), left_out


@dataclass(frozen=True)
class Task:
    """A part of a video; without a cut the first one, of which the others follow."""

    video: Video
    cut: Cut | None = None


class Run:
    """One run over all videos that are not done."""

    def __init__(self, client: distributed.Client, job: Job, todo: list[Video],
                 left_out: dict[str, str]) -> None:
        self._client = client
        self._job = job
        self._left_out = left_out
        self._videos = todo
        self._todo = [Task(video) for video in reversed(todo)]  # the last one is the next
        self._done = parts_in(Path(job.out))
        self._futures: dict[distributed.Future, Task] = {}
        self._ended: queue.SimpleQueue[distributed.Future] = queue.SimpleQueue()
        self._work = portable_work()
        self._suspects: list[Task] = []  # whose worker died, perhaps by another task's fault
        self._is_alone = False  # when only suspects are left, one task at a time
        self._silences = 0  # one after the other, without a worker
        self._known_threads = 0
        self._asked = float("-inf")  # when they were counted
        self._bar = tqdm(total=0, unit=" frames", unit_scale=True, disable=not sys.stderr.isatty())

    def go(self, check: Callable[[], None] = lambda: None) -> None:
        """Do all there is to do. Afterwards each video is done or left out.

        check is called now and then, and ends the run by what it raises.
        """
        try:
            while self._todo or self._futures or self._suspects:
                check()
                self._submit_some()
                try:
                    self._take(self._ended.get(timeout=SILENCE))
                except queue.Empty:
                    self._check_connection()
            check()
            self._check_parts()
        finally:
            self._bar.close()
            if self._client.status == "running":
                self._client.cancel(list(self._futures))

    def _check_parts(self) -> None:
        """Leave out videos of which parts are there, but not whole ones.

        So it is where two releases of a library counted their frames, or where the newest files of
        another host cannot be seen yet.
        """
        out = Path(self._job.out)
        for video in unfinished(self._videos, out):
            path = Path(self._job.videos) / video.name
            self._leave_out(video, f"the parts of '{path}' do not fit together: run again, or first"
                                   f" delete '{out}/parts/{video.key}-*' if it stays so")

    def _say(self, text: str) -> None:
        self._bar.write(f"archive_on_dask: {text}", file=sys.stderr)

    def _check_connection(self) -> None:
        # While it is "connecting", the client tries on for as long as Dask's settings say.
        if self._client.status in ("closing", "closed"):
            raise StopError("the scheduler is lost; run this again to go on")
        self._silences = self._silences + 1 if self._threads() == 0 else 0
        if self._silences == SILENCES:
            self._say("the scheduler has no workers, waiting for one")

    def _threads(self) -> int | None:
        """Give the number of threads that work, or None without a connection."""
        if self._client.status != "running":
            return None
        if time.monotonic() > self._asked + SILENCE:  # asking takes as long as a small task
            try:
                self._known_threads = sum(self._client.nthreads().values())
            except LOST:
                return None
            self._asked = time.monotonic()
        return self._known_threads

    def _submit_some(self) -> None:
        """Keep the workers busy, with no more than they soon need: that is soon told again."""
        threads = self._threads()
        if threads is None:
            return
        if not self._todo and not self._futures:
            self._is_alone = True
            self._todo.append(self._suspects.pop())
        most = 1 if self._is_alone else max(1, TASKS_PER_THREAD * threads)
        while self._todo and len(self._futures) < most:
            task = self._todo.pop()
            if task.video.name not in self._left_out:
                self._submit(task)

    def _submit(self, task: Task) -> None:
        future = self._client.submit(
            self._work, vars(self._job), vars(task.video), vars(task.cut) if task.cut else None,
            pure=False)  # a key that no other run on this scheduler has
        self._futures[future] = task
        future.add_done_callback(self._ended.put)

    def _take(self, future: distributed.Future) -> None:
        """Take what became of a task."""
        task = self._futures.pop(future)
        answer = error = None
        # What has ended may be lost, or fail anew, while it is asked for: then its status says so,
        # and Dask raises this or that, at times the result itself.
        try:
            answer = future.result() if future.status == "finished" else None
        except (Exception, asyncio.CancelledError):
            pass
        if future.status == "error":
            error = future.exception()
        if answer:
            self._take_answer(task, answer)
        elif error:
            self._take_error(task, error)
        else:  # the connection was lost, and with it what the scheduler knew
            self._todo.append(task)

    def _take_error(self, task: Task, error: BaseException) -> None:
        path = Path(self._job.videos) / task.video.name
        if not isinstance(error, distributed.scheduler.KilledWorker):
            self._leave_out(task.video, f"'{path}': {type(error).__name__}: {error}")
        elif self._is_alone:
            self._leave_out(task.video, f"each worker that took '{path}' died, perhaps for want of"
                                        " memory")
        else:
            self._suspects.append(task)

    def _take_answer(self, task: Task, answer: dict[str, Any]) -> None:
        if "stop" in answer:
            raise StopError(answer["stop"])
        if "left out" in answer:
            self._leave_out(task.video, answer["left out"])
            return
        part = Part(**answer["part"])
        if task.cut is None:
            self._bar.total += part.frames
        self._bar.update(part.end - part.first)
        done = self._done.get(task.video.key, [])
        for cut in reversed(answer["cuts"]):
            other = Part(cut["first"], cut["end"], cut["frames"])
            if other in done:
                self._bar.update(other.end - other.first)
            else:
                self._todo.append(Task(task.video, Cut(**cut)))

    def _leave_out(self, video: Video, reason: str) -> None:
        if video.name not in self._left_out:
            self._left_out[video.name] = reason
            self._say(f"{reason}; left out")


def unfinished(found: list[Video], out: Path) -> list[Video]:
    """Give the videos that are not wholly done."""
    done = finished(found, parts_in(out))
    return [video for video in found if video not in done]
