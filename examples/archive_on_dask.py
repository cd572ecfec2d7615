#!/usr/bin/python3
"""Run a chain of operators over all videos of a folder, on the workers of Dask.

    archive_on_dask.py recordings results --chain ColourDetector:model=red.yml Moments:least-area=25
    archive_on_dask.py recordings results --chain MotionSegment --scheduler tcp://host:8786

Without --scheduler the workers are processes of this machine. Of all frames one table is made, and
pictures where they are asked for. A run that was stopped goes on where it was when it is started
again; docs/archives.md says what the table holds, and what happens when something fails.
"""

from __future__ import annotations

import argparse
import os
import signal
import sys
import tempfile
from contextlib import ExitStack
from pathlib import Path
from typing import Any

import distributed
import velmor

sys.path.insert(0, str(Path(__file__).resolve().parent / "python"))  # with videos.py

from archive.catalogue import OPERATORS, File  # noqa: E402
from archive.chain import Chain, Step, read_chain  # noqa: E402
from archive.run import KEEP_MEMORY, Run, find_videos, unfinished  # noqa: E402
from archive.stop import Stop, Stopped  # noqa: E402
from archive.store import Store, StoreError, finished, parts_in  # noqa: E402
from archive.table import WRITERS, write_table  # noqa: E402
from archive.work import Job, StopError  # noqa: E402

DONE, FAILED, LEFT_OUT = 0, 1, 3  # 2 is argparse's
CODES = """\
exit codes:
  0    all videos are in the table
  1    the run could not begin or go on; started again, it goes on where it was
  2    the command line is not understood
  3    some videos were left out; started again, the run tries them once more
  130  stopped by Ctrl-C, 143 by SIGTERM; started again, it goes on where it was
"""


def operators() -> str:
    """List what a chain is made of."""
    lines = ["steps of a chain:"]
    for name, operator in OPERATORS.items():
        settings = [f"{key}={'FILE' if isinstance(parameter, File) else parameter.initial}"
                    for key, parameter in operator.parameters.items()]
        lines.append(f"  {name}{':' if settings else ''}{','.join(settings)}")
    return "\n".join(lines)


def positive(text: str) -> int:
    """Read a whole number above 0."""
    number = int(text)
    if number < 1:
        raise ValueError
    return number


def read_arguments() -> argparse.Namespace:
    """Read the command line."""
    parser = argparse.ArgumentParser(
        description="Run a chain of operators over all videos of a folder, on the workers of Dask.",
        epilog=f"{operators()}\n\n{CODES}", formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("videos", type=Path, help="folder of videos, which may lie in folders")
    parser.add_argument("out", type=Path, help="folder of results; a run that was stopped goes on")
    parser.add_argument("--chain", nargs="+", required=True, metavar="STEP",
                        help="operators with their settings, as Moments:least-area=25")
    parser.add_argument("--scheduler", metavar="ADDRESS",
                        help="of a scheduler, as tcp://host:8786 (default: workers here)")
    parser.add_argument("--workers", type=positive, default=len(os.sched_getaffinity(0)),
                        help="how many work here without --scheduler (default %(default)s)")
    parser.add_argument("--chunk", type=positive, default=500,
                        help="frames of a task (default %(default)s)")
    parser.add_argument("--table", choices=sorted(WRITERS), default="csv",
                        help="text, or arrays of numpy (default %(default)s)")
    parser.add_argument("--pictures", type=positive, default=0, metavar="N",
                        help="keep what every Nth frame became, as PNG")
    return parser.parse_args()


def keep_files(steps: list[Step], kept: Store) -> tuple[list[Step], list[list[Any]]]:
    """Copy the files of a chain into the folder of results; give it with the copies and digests."""
    copied, asked = [], []
    for step in steps:
        values, digests = dict(step.values), dict(step.values)
        for key, parameter in step.operator.parameters.items():
            if isinstance(parameter, File):
                files = values[key] if parameter.is_list else [values[key]]
                copies = [kept.keep_file(file) for file in files]
                values[key], digests[key] = (list(each) if parameter.is_list else each[0]
                                             for each in zip(*copies))
        copied.append(Step(step.name, values))
        asked.append([step.name, digests])
    return copied, asked


def connect(given: argparse.Namespace, stack: ExitStack) -> distributed.Client:
    """Give a client of the scheduler, or of workers that are started here."""
    if given.scheduler:
        return stack.enter_context(distributed.Client(given.scheduler))
    place = stack.enter_context(tempfile.TemporaryDirectory(prefix="archive-on-dask-"))
    os.environ.update({**KEEP_MEMORY, **os.environ})
    # Ctrl-C reaches all processes of a terminal. The workers that begin here inherit that it is
    # ignored. A worker that Dask begins later, in place of one that died, ends by it.
    interrupt = signal.signal(signal.SIGINT, signal.SIG_IGN)
    cluster = stack.enter_context(distributed.LocalCluster(
        n_workers=given.workers, threads_per_worker=1, host="127.0.0.1",
        dashboard_address="127.0.0.1:0", local_directory=place))
    signal.signal(signal.SIGINT, interrupt)
    return stack.enter_context(distributed.Client(cluster))


def go(given: argparse.Namespace, stop: Stop) -> int:
    """Do what the command line asks; give the exit code."""
    steps = read_chain(given.chain)
    folder, out = given.videos.resolve(), given.out.resolve()
    if not folder.is_dir():
        raise StoreError(f"expected a folder of videos, got '{given.videos}'")
    if out == folder:
        raise StoreError(f"expected a folder of results that is not that of the videos, got"
                         f" '{given.out}'")
    kept = Store(out)
    steps, asked = keep_files(steps, kept)
    chain = Chain(steps)
    kept.ask({"chain": asked, "chunk": given.chunk, "pictures": given.pictures,
              "version": velmor.__version__})
    videos, left_out = find_videos(folder, out)
    for reason in left_out.values():
        print(f"archive_on_dask: {reason}; left out", file=sys.stderr)
    kept.write_manifest(videos, left_out)
    todo = unfinished(videos, out)
    if todo:
        job = Job(str(folder), str(out), [vars(step) for step in steps], given.chunk,
                  given.pictures, velmor.__version__)
        with ExitStack() as stack:
            Run(connect(given, stack), job, todo, left_out).go(stop.check)
    kept.write_manifest(videos, left_out)
    done = finished(videos, parts_in(out))
    rows = write_table(given.table, chain.fields, out, done)
    frames = sum(each[0].frames for each in done.values())
    print(f"{out / f'table.{given.table}'}: {len(done)} videos, {frames} frames, {rows} rows"
          + (f"; {len(left_out)} videos left out" if left_out else ""))
    return LEFT_OUT if left_out else DONE


def main() -> None:
    """Run, and say in one line what stands in the way."""
    given = read_arguments()
    stop = Stop()
    try:
        sys.exit(go(given, stop))
    except (StopError, StoreError, ValueError, RuntimeError, OSError) as error:
        print(f"archive_on_dask: {error}", file=sys.stderr)
        sys.exit(FAILED)
    except Stopped as stopped:
        print("archive_on_dask: stopped; start it again to go on", file=sys.stderr)
        sys.exit(128 + stopped.by)


if __name__ == "__main__":
    main()
