"""Where a video is cut, and what is read of it there."""

from __future__ import annotations

import os
import subprocess
import sys
from pathlib import Path

import av
import numpy as np
import pytest
from support import SOURCES, environment, walk, write_video

from archive.cuts import frames_of, index
from videos import UnreadableError


def hide(file: Path, number: int) -> None:
    """Make a frame of VP8 one that is decoded and not shown, by a bit of its first byte."""
    with av.open(str(file)) as video:
        packets = [bytes(packet) for packet in video.demux(video=0) if packet.size]
    content, shown = file.read_bytes(), packets[number]
    assert content.count(shown) == 1 and shown[0] & 16
    file.write_bytes(content.replace(shown, bytes([shown[0] & ~16]) + shown[1:]))


@pytest.mark.parametrize("lead", [0, 1])
def test_hidden_frame_is_missed_in_its_part_alone(tmp_path: Path, lead: int) -> None:
    file = tmp_path / "a.webm"
    write_video(file, walk(40, 3), "libvpx", "yuv420p")
    hide(file, 17)
    cuts = index(file).cuts(7, lead)
    assert [(cut.first, cut.end) for cut in cuts] == [(7, 14), (14, 21), (21, 28), (28, 35),
                                                      (35, 40)]
    for cut in cuts:
        if cut.first == 14:
            with pytest.raises(UnreadableError, match=f"^cannot read '{file}': frame 20 is not"
                                                      " where its packet says$"):
                list(frames_of(file, cut))
        else:
            read = [(number, frame.time) for number, frame in frames_of(file, cut)]
            assert read == [(k, 40 * k) for k in range(cut.first - lead, cut.end)]


MOST_MEMORY = """
import re, sys
from pathlib import Path
from archive.cuts import index

def most():
    return 1024 * int(re.search(r"VmHWM:\\s+(\\d+)", Path("/proc/self/status").read_text())[1])

before = most()
print(len(index(Path(sys.argv[1])).times), most() - before)
"""


def test_data_of_packets_is_not_kept(tmp_path: Path) -> None:
    file = tmp_path / "a.avi"
    write_video(file, [np.zeros((480, 640, 3), np.uint8)] * 60, "rawvideo", "bgr24")
    places = [SOURCES / "examples", SOURCES / "examples/python", os.environ["PYTHONPATH"]]
    done = subprocess.run([sys.executable, "-c", MOST_MEMORY, file], check=True, text=True,
                          stdout=subprocess.PIPE,
                          env=environment(PYTHONPATH=":".join(map(str, places))))
    count, taken = map(int, done.stdout.split())
    assert count == 60
    assert taken < file.stat().st_size / 3
