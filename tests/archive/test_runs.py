"""Whole runs: what the table holds, what is refused, and what a second run does."""

from __future__ import annotations

import csv
import json
import os
import pty
import re
import shutil
import subprocess
from collections.abc import Callable, Iterator
from contextlib import ExitStack
from pathlib import Path
from threading import Thread

import av
import distributed
import numpy as np
import pytest
import velmor
from PIL import Image
from support import (PATIENCE, command, environment, held, make_archive, motion_table, own_words,
                     parts, run, scheduler, start, until, walk, worker, workers_of, write_video)

import archive.run
from archive.chain import read_chain
from archive.run import find_videos, unfinished
from archive.store import Store
from archive.work import Job, work

Run = Callable[..., "subprocess.CompletedProcess[str]"]
MOTION = ("--chain", "MotionSegment")


@pytest.fixture(scope="module")
def cluster(tmp_path_factory: pytest.TempPathFactory) -> Iterator[tuple[str, int]]:
    """Have a scheduler and a worker that all runs share; give its address and the nanny."""
    folder = tmp_path_factory.mktemp("elsewhere")
    with scheduler(folder) as port, worker(folder, port) as (nanny, _):
        yield f"tcp://127.0.0.1:{port}", nanny


@pytest.fixture
def address(cluster: tuple[str, int]) -> str:
    """Give the address of the shared scheduler."""
    return cluster[0]


@pytest.fixture
def run_there(address: str) -> Run:
    """Run on the shared worker."""
    return lambda *arguments: run(*arguments, "--scheduler", address)


def rows_of(out: Path) -> list[dict[str, str]]:
    with open(out / "table.csv", newline="") as file:
        return list(csv.DictReader(file))


# ---- The table


@pytest.mark.parametrize(("workers", "chunk"), [(1, 500), (2, 7)])
def test_table_is_the_same_however_it_is_made(tmp_path: Path, workers: int, chunk: int) -> None:
    expected = make_archive(tmp_path / "videos", 3, 20)
    out = tmp_path / "out"
    done = run(tmp_path / "videos", out, *MOTION, "--workers", workers, "--chunk", chunk)
    assert (done.returncode, done.stderr) == (0, "")
    assert done.stdout == f"{out}/table.csv: 3 videos, 60 frames, 60 rows\n"
    assert (out / "table.csv").read_bytes() == expected
    assert len(parts(out)) == 3 * -(-20 // chunk)


KINDS = {"mp4": ("libx264", "yuv420p"), "avi": ("mpeg4", "yuv420p"), "webm": ("libvpx", "yuv420p"),
         "ts": ("mpeg2video", "yuv420p"), "mov": ("mjpeg", "yuvj420p"), "m4v": ("mpeg4", "yuv420p")}


def test_videos_of_all_kinds_are_cut_where_frames_begin(tmp_path: Path, run_there: Run) -> None:
    """With frames that lean on later ones, hidden ones, and no times at all."""
    (tmp_path / "videos").mkdir()
    frames = {}
    for kind, (codec, pixels) in KINDS.items():
        file = tmp_path / f"videos/a.{kind}"
        write_video(file, walk(40, 3), codec, pixels)
        with av.open(str(file)) as video:
            frames[file.name] = [each.to_ndarray(format="rgb24") for each in video.decode(video=0)]
        assert len(frames[file.name]) == 40
    done = run_there(tmp_path / "videos", tmp_path / "out", *MOTION, "--chunk", 7)
    assert (done.returncode, done.stderr) == (0, "")
    found = [(row["video"], row["frame"], row["pixels"]) for row in rows_of(tmp_path / "out")]
    expected = motion_table(frames).decode().split()[1:]
    assert found == [tuple(line.split(",")[:2] + line.split(",")[3:]) for line in expected]
    manifest = json.loads((tmp_path / "out/manifest.json").read_text())["videos"]
    assert manifest["a.mp4"]["parts"] == manifest["a.avi"]["parts"] == 6


def test_arrays_hold_what_the_text_holds(tmp_path: Path, run_there: Run) -> None:
    (tmp_path / "videos").mkdir()
    for name, length in (("a", 6), ("b", 5)):
        frames = [np.maximum(frame, frame[::-1, ::-1]) for frame in walk(length, 1)]
        write_video(tmp_path / f"videos/{name}.mkv", [*frames, frames[-1]])
    chain = ("--chain", "MotionSegment", "Moments:least-area=20", "--chunk", 4)
    for kind in ("csv", "npz"):
        done = run_there(tmp_path / "videos", tmp_path / "out", *chain, "--table", kind)
        assert (done.returncode, done.stderr) == (0, "")
    table = np.load(tmp_path / "out/table.npz")
    rows = rows_of(tmp_path / "out")
    assert len(rows) == len(table["rows"])
    assert {0, 1, 2} <= set(table["rows"]["found"])
    for text, row in zip(rows, table["rows"]):
        assert text["video"] == table["videos"][row["video"]]
        for name in table["rows"].dtype.names[1:]:
            if row["number"] == -1 and name not in ("frame", "time", "pixels", "found"):
                assert text[name] == ""
                assert row[name] == -1 or np.isnan(row[name])
            else:
                assert float(text[name]) == row[name]


def test_real_videos_are_whole(tmp_path: Path, run_there: Run) -> None:
    """Among them one whose head counts frames that were dropped when it was made."""
    (tmp_path / "videos").mkdir()
    frames = {"tree.avi": 68, "Megamind.avi": 270}
    for name in frames:
        (tmp_path / "videos" / name).symlink_to(f"/usr/share/doc/opencv-doc/examples/data/{name}")
    done = run_there(tmp_path / "videos", tmp_path / "out", "--chain", "BGR2GRAY", "--chunk", 50)
    assert (done.returncode, done.stderr) == (0, "")
    rows = rows_of(tmp_path / "out")
    for name, count in frames.items():
        numbers = [int(row["frame"]) for row in rows if row["video"] == name]
        assert numbers == list(range(count))


def test_histograms_are_columns(tmp_path: Path, run_there: Run) -> None:
    (tmp_path / "videos").mkdir()
    write_video(tmp_path / "videos/red.mkv", [np.full((4, 4, 3), (250, 1, 1), np.uint8)])
    done = run_there(tmp_path / "videos", tmp_path / "out", "--chain", "ColourHist2D:bins=2")
    assert (done.returncode, done.stderr) == (0, "")
    assert (tmp_path / "out/table.csv").read_text() == (
        "video,frame,time,bins_0_0_0,bins_0_0_1,bins_0_1_0,bins_0_1_1,bins_1_0_0,bins_1_0_1,"
        "bins_1_1_0,bins_1_1_1\nred.mkv,0,0.0,0.0,0.0,0.0,0.0,1.0,0.0,0.0,0.0\n")


def test_pictures_are_the_masks(tmp_path: Path, run_there: Run) -> None:
    (tmp_path / "videos").mkdir()
    frames = walk(10, 2)
    write_video(tmp_path / "videos/a.mkv", frames)
    done = run_there(tmp_path / "videos", tmp_path / "out", *MOTION, "--chunk", 4, "--pictures", 3)
    assert (done.returncode, done.stderr) == (0, "")
    pictures = sorted((tmp_path / "out/pictures/a.mkv").rglob("*"))[1:]
    assert [picture.name for picture in pictures] == [f"{k:08}.png" for k in (0, 3, 6, 9)]
    for number, picture in zip((0, 3, 6, 9), pictures):
        mask = np.asarray(Image.open(picture))
        assert set(np.unique(mask)) <= {0, 255}
        assert str(np.count_nonzero(mask)) == rows_of(tmp_path / "out")[number]["pixels"]


def test_folders_in_folders_and_any_name(tmp_path: Path, run_there: Run) -> None:
    videos = tmp_path / "videos"
    (videos / "b/c").mkdir(parents=True)
    (videos / ".hidden").mkdir()
    names = ["a, \"b\".mkv", "b/c/x.mkv", "b/é.mkv", os.fsdecode(b"b/\xff.mkv")]
    for number, name in enumerate(names):
        write_video(tmp_path / "v.mkv", walk(3, number))
        (tmp_path / "v.mkv").rename(videos / name)
    (videos / ".hidden/x").write_text("no video")
    (videos / "link").symlink_to("b")  # is not entered
    for out in (tmp_path / "out", videos / "out"):  # which holds no videos either
        for _ in range(2):
            done = run_there(videos, out, *MOTION, "--pictures", 1)
            assert (done.returncode, done.stderr) == (0, "")
        with open(out / "table.csv", errors="surrogateescape", newline="") as table:
            assert [row["video"] for row in csv.DictReader(table)][::3] == sorted(names)


# ---- Videos that cannot be read


def test_broken_videos_are_left_out(tmp_path: Path, run_there: Run) -> None:
    videos, out = tmp_path / "videos", tmp_path / "out"
    expected = make_archive(videos, 2, 30)
    write_video(tmp_path / "whole.avi", walk(30, 1), "mjpeg", "yuvj420p")
    whole = videos / "0.mkv"
    broken = {
        "cut.avi": (tmp_path / "whole.avi").read_bytes()[:-9000],
        "cut.mkv": whole.read_bytes()[:whole.stat().st_size // 2],
        "empty.mkv": b"",
        "text.txt": b"no video\n",
    }
    for name, content in broken.items():
        (videos / name).write_bytes(content)
    (videos / "gone.mkv").symlink_to("nowhere")
    done = run_there(videos, out, *MOTION, "--chunk", 7)
    assert done.returncode == 3
    assert done.stdout == f"{out}/table.csv: 2 videos, 60 frames, 60 rows; 5 videos left out\n"
    lines = sorted(done.stderr.splitlines())
    patterns = ["cut.avi': .*", "cut.mkv': it ends after .* of 1.2 s", "empty.mkv': .*",
                "gone.mkv': No such file or directory", "text.txt': Invalid data .*"]
    for line, pattern in zip(lines, patterns):
        assert re.fullmatch(rf"archive_on_dask: cannot read '{videos}/{pattern}; left out", line)
    assert len(lines) == len(patterns)
    assert (out / "table.csv").read_bytes() == expected
    manifest = json.loads((out / "manifest.json").read_text())["videos"]
    assert [name for name in sorted(manifest) if "left out" in manifest[name]] == [
        "cut.avi", "cut.mkv", "empty.mkv", "gone.mkv", "text.txt"]
    for name in [*broken, "gone.mkv"]:
        (videos / name).unlink()
    assert run_there(videos, out, *MOTION, "--chunk", 7).returncode == 0


@pytest.mark.parametrize("fate", ["vanishes", "changes"])
def test_video_that_goes_during_the_run(tmp_path: Path, cluster: tuple[str, int],
                                        fate: str) -> None:
    videos, out = tmp_path / "videos", tmp_path / "out"
    address, nanny = cluster
    expected = make_archive(videos, 3, 12)
    lost = videos / "1.mkv"
    content = lost.read_bytes()
    options = (*MOTION, "--chunk", 4, "--scheduler", address)
    with held(workers_of(nanny)[0]):
        process = start(videos, out, *options)
        until((out / "manifest.json").exists, "the run to know its videos")
        if fate == "vanishes":
            lost.unlink()
        else:
            lost.write_bytes(content + b" ")
    _, said = process.communicate(timeout=PATIENCE)
    why = ("No such file or directory" if fate == "vanishes" else
           "it has changed during the run")
    assert process.returncode == 3
    assert own_words(said) == f"archive_on_dask: cannot read '{lost}': {why}; left out\n"
    lost.write_bytes(content)
    assert run(videos, out, *options).returncode == 0
    assert (out / "table.csv").read_bytes() == expected


# ---- A second run


def test_second_run_does_what_is_new(tmp_path: Path, run_there: Run) -> None:
    videos, out = tmp_path / "videos", tmp_path / "out"
    make_archive(videos, 2, 12)
    options = (*MOTION, "--chunk", 5)
    assert run_there(videos, out, *options).returncode == 0
    first = {part: part.stat().st_mtime_ns for part in parts(out)}
    table = (out / "table.csv").read_bytes()
    assert run_there(videos, out, *options).returncode == 0
    assert {part: part.stat().st_mtime_ns for part in parts(out)} == first
    assert (out / "table.csv").read_bytes() == table
    changed = {"0.mkv": walk(12, 0), "1.mkv": walk(7, 11), "2.mkv": walk(3, 12)}
    for name in ("1.mkv", "2.mkv"):
        write_video(videos / name, changed[name])
    assert run_there(videos, out, *options).returncode == 0
    assert (out / "table.csv").read_bytes() == motion_table(changed)
    now = {part: part.stat().st_mtime_ns for part in parts(out)}
    assert first.items() <= now.items() and len(now) == len(first) + 3
    os.utime(videos / "2.mkv")  # which may be another one of the same size
    (videos / "0.mkv").unlink()
    assert run_there(videos, out, *options).returncode == 0
    assert len(parts(out)) == len(now) + 1
    del changed["0.mkv"]
    assert (out / "table.csv").read_bytes() == motion_table(changed)


def test_another_question_needs_another_folder(tmp_path: Path, run_there: Run) -> None:
    videos, out = tmp_path / "videos", tmp_path / "out"
    make_archive(videos, 1, 3)
    model = tmp_path / "red.yml"
    velmor.ColourModel.from_covariance([[30, 0], [0, 30]], [200, 200]).save(model)
    chain = ("--chain", f"ColourDetector:model={model}")
    assert run_there(videos, out, *chain).returncode == 0
    table = (out / "table.csv").read_bytes()
    for options, name in ((MOTION, "chain"), ((*chain, "--chunk", 2), "chunk")):
        done = run_there(videos, out, *options)
        assert done.returncode == 1
        assert re.fullmatch(f"archive_on_dask: '{out}' was made with {name} .+, not .+: name"
                            " another folder\n", done.stderr)
    velmor.ColourModel.from_covariance([[40, 0], [0, 40]], [200, 200]).save(model)
    done = run_there(videos, out, *chain)  # by another model of the same name
    assert done.returncode == 1 and "was made with chain" in done.stderr
    assert (out / "table.csv").read_bytes() == table


def test_damaged_parts_and_manifests_are_named(tmp_path: Path, run_there: Run) -> None:
    videos, out = tmp_path / "videos", tmp_path / "out"
    make_archive(videos, 1, 3)
    assert run_there(videos, out, *MOTION).returncode == 0
    part = parts(out)[0]
    content = part.read_bytes()
    part.write_bytes(content[:20])
    done = run_there(videos, out, *MOTION)
    assert done.returncode == 1
    assert re.fullmatch(f"archive_on_dask: cannot read '{part}': .+; delete it and run again\n",
                        done.stderr)
    part.unlink()
    assert run_there(videos, out, *MOTION).returncode == 0
    assert part.read_bytes() == content
    (out / "manifest.json").write_text("{}")
    done = run_there(videos, out, *MOTION)
    assert done.returncode == 1 and "manifest.json' is no manifest" in done.stderr


def test_parts_that_do_not_fit_together_are_named(tmp_path: Path, run_there: Run) -> None:
    """As those that are there when another release of a library counts other frames."""
    videos, out = tmp_path / "videos", tmp_path / "out"
    expected = make_archive(videos, 2, 12)
    assert run_there(videos, out, *MOTION, "--chunk", 5).returncode == 0
    manifest = json.loads((out / "manifest.json").read_text())["videos"]
    key = manifest["0.mkv"]["key"]
    others = sorted((out / "parts").glob(f"{key}-*"))
    others[1].rename(out / f"parts/{key}-00000005-00000009-00000012.npy")
    shutil.copy(others[2], out / f"parts/{key}-00000009-00000012-00000012.npy")
    done = run_there(videos, out, *MOTION, "--chunk", 5)
    assert done.returncode == 3
    assert done.stderr == (
        f"archive_on_dask: the parts of '{videos}/0.mkv' do not fit together: run again, or first"
        f" delete '{out}/parts/{key}-*' if it stays so; left out\n")
    assert (out / "table.csv").read_bytes() == b"".join(
        line for line in expected.splitlines(True) if not line.startswith(b"0.mkv"))
    for part in (out / "parts").glob(f"{key}-*"):
        part.unlink()
    assert run_there(videos, out, *MOTION, "--chunk", 5).returncode == 0
    assert (out / "table.csv").read_bytes() == expected


# ---- What is refused, and what a person sees


def test_one_run_at_a_time(tmp_path: Path, run_there: Run) -> None:
    videos, out = tmp_path / "videos", tmp_path / "out"
    make_archive(videos, 1, 2)
    other = Store(out)
    done = run_there(videos, out, *MOTION)
    assert done.returncode == 1
    assert done.stderr == f"archive_on_dask: another run works in '{out}': wait for its end\n"
    del other
    assert run_there(videos, out, *MOTION).returncode == 0


@pytest.mark.parametrize(("options", "text"), [
    (("--chain", "Moments"), "Moments: expected a picture of 1 channels before it, got one of 3"),
    (("--chain", "ColourDetector:model=no.yml"), r".*No such file or directory: 'no.yml'"),
    (("--chain", "Not", "--scheduler", "tcp://127.0.0.1:1"), r"Timed out .* tcp://127.0.0.1:1 .*"),
])
def test_misuse_is_one_line(tmp_path: Path, options: tuple[str, ...], text: str) -> None:
    make_archive(tmp_path / "videos", 1, 2)
    begun = start(tmp_path / "videos", tmp_path / "out", *options,
                  DASK_DISTRIBUTED__COMM__TIMEOUTS__CONNECT="1s")
    _, said = begun.communicate(timeout=60)
    assert begun.returncode == 1
    assert re.fullmatch(f"archive_on_dask: {text}\n", own_words(said))


def test_runs_of_one_scheduler_do_not_meet(tmp_path: Path) -> None:
    """Two runs over the same videos, which a scheduler without workers has both at a time."""
    videos = tmp_path / "videos"
    make_archive(videos, 1, 5)
    chains = ("Not", "FlipV")
    jobs = [Job(str(videos), str(tmp_path / chain), [vars(step) for step in read_chain([chain])],
                5, 0, velmor.__version__) for chain in chains]
    todo, left_out = find_videos(videos, tmp_path)
    threads = []
    with scheduler(tmp_path) as port, ExitStack() as stack:
        for job in jobs:
            Store(Path(job.out))  # makes its folders
            client = stack.enter_context(distributed.Client(f"tcp://127.0.0.1:{port}"))
            one = archive.run.Run(client, job, todo, left_out)
            threads.append(Thread(target=one.go, daemon=True))
            threads[-1].start()
            until(lambda: client.futures, "a task")
        with worker(tmp_path, port):
            for thread in threads:
                thread.join(PATIENCE)
    assert left_out == {}
    assert [unfinished(todo, Path(job.out)) for job in jobs] == [[], []]


class Ended:
    """A future that has ended with a result."""

    status = "finished"

    def __init__(self, result: object) -> None:
        self._result = result

    def add_done_callback(self, put: Callable[[object], None]) -> None:
        put(self)

    def result(self) -> object:
        return self._result


class Lost(Ended):
    """A future whose connection is cut before its result is there: Dask's raise the result."""

    def result(self) -> object:
        self.status = "cancelled"
        raise self._result  # type: ignore[misc]


class CutClient:
    """A client whose first future is lost. The work is done here."""

    status = "running"

    def __init__(self) -> None:
        self.submitted = 0

    def nthreads(self) -> dict[str, int]:
        return {"here": 1}

    def submit(self, function: Callable[..., object], *task: object, pure: bool) -> object:
        assert not pure
        self.submitted += 1
        return (Lost if self.submitted == 1 else Ended)(function(*task))

    def cancel(self, futures: list[object]) -> None:
        assert futures == []


def test_a_result_that_is_lost_on_its_way_is_asked_for_again(tmp_path: Path) -> None:
    videos, out = tmp_path / "videos", tmp_path / "out"
    make_archive(videos, 1, 5)
    Store(out)  # makes its folders
    job = Job(str(videos), str(out), [vars(step) for step in read_chain(["Not"])], 5, 0,
              velmor.__version__)
    todo, left_out = find_videos(videos, out)
    client = CutClient()
    archive.run.Run(client, job, todo, left_out).go()
    assert client.submitted == 2
    assert left_out == {}
    assert unfinished(todo, out) == []


def test_folder_of_videos_has_to_be_there(tmp_path: Path) -> None:
    done = run(tmp_path / "no", tmp_path / "out", *MOTION)
    assert done.returncode == 1
    assert done.stderr == (f"archive_on_dask: expected a folder of videos, got '{tmp_path}/no'\n")
    assert not (tmp_path / "out").exists()
    assert run(tmp_path, tmp_path / "out").returncode == 2


def test_folder_of_results_is_another_one(tmp_path: Path) -> None:
    make_archive(tmp_path / "videos", 1, 2)
    (tmp_path / "link").symlink_to("videos")
    done = run(tmp_path / "videos", tmp_path / "link", *MOTION)
    assert done.returncode == 1
    assert done.stderr == ("archive_on_dask: expected a folder of results that is not that of the"
                           f" videos, got '{tmp_path}/link'\n")
    assert os.listdir(tmp_path / "videos") == ["0.mkv"]


def test_folders_that_cannot_be_read_are_named(tmp_path: Path) -> None:
    videos = tmp_path / "videos"
    make_archive(videos, 1, 2)
    (videos / "more").mkdir(mode=0)
    # root reads all folders, unless it gives up the right to
    as_others = ["setpriv", "--bounding-set=-dac_override,-dac_read_search"]
    done = subprocess.run([*(as_others if os.getuid() == 0 else []),
                           *command(videos, tmp_path / "out", *MOTION)],
                          capture_output=True, text=True, env=environment(), check=False)
    assert done.returncode == 1
    assert done.stderr == (f"archive_on_dask: cannot read folder '{videos}/more': Permission"
                           " denied\n")


def test_worker_elsewhere_ends_the_run(tmp_path: Path) -> None:
    """Before it tries to load a model, which is not there either."""
    job = {"videos": str(tmp_path / "videos"), "out": str(tmp_path), "length": 5, "pictures": 0,
           "steps": [{"name": "ColourDetector", "values": {"model": "no.yml", "morphology": 0}}],
           "version": "0.1"}

    def stop() -> str:
        return work(job, {"name": "0.mkv", "size": 1, "time": 1}, None)["stop"]

    assert re.match(rf"the package is {velmor.__version__} and not 0\.1, on .", stop())
    job["version"] = velmor.__version__
    assert stop().startswith(f"there is no folder '{tmp_path}/parts', on ")
    (tmp_path / "parts").mkdir()
    assert stop().startswith(f"there is no folder '{tmp_path}/videos', on ")


def test_bar_shows_frames_per_second(tmp_path: Path, address: str) -> None:
    make_archive(tmp_path / "videos", 3, 20)
    seen, terminal = pty.openpty()
    subprocess.run(command(tmp_path / "videos", tmp_path / "out", *MOTION, "--scheduler", address),
                   stdout=subprocess.PIPE, stderr=terminal, env=environment(), check=True)
    os.close(terminal)
    text = b""
    while True:
        try:
            text += os.read(seen, 1 << 16)
        except OSError:
            break
    os.close(seen)
    assert re.search(rb"60\.0/60\.0 \[.*frames/s\]", text), text
