#!/usr/bin/python3
"""Times pipelines of GStreamer from a compressed video on: how many frames a second a core lets
through, what a second core adds, and how much memory a pipeline takes.

bench/streams.py [--frames N] [--repetitions N]

GST_PLUGIN_PATH says where the plugin is, PYTHONPATH where the package is. Prints the tables of
docs/streams.md. Takes some minutes. Each pipeline runs in a process of its own, which is bound to
one core. What counts is the processor time that it takes: on a core that does nothing else that is
the time on the wall, and on a busy one nearly so much.
"""

from __future__ import annotations

import argparse
import os
import re
import statistics
import subprocess
import sys
import tempfile
import time
from fractions import Fraction
from itertools import islice
from pathlib import Path

import av

VIDEO = "/usr/share/doc/opencv-doc/examples/data/vtest.avi"
CASCADE = "/usr/share/opencv4/haarcascades/haarcascade_frontalface_alt.xml"
RATE = 25
SIZES = {"VGA": (640, 480), "1080p": (1920, 1080)}

TO_GREY = "videoconvert ! video/x-raw,format=GRAY8"
TO_RGB = "videoconvert ! video/x-raw,format=RGB"
PIPELINES = {
    "decode": "identity",
    "decode, colours": TO_RGB,
    "decode, `Laplacian` of grey": f"{TO_GREY} ! velmorfilter operator=Laplacian",
    "decode, colours, `BGR2HSV`": f"{TO_RGB} ! velmorfilter operator=BGR2HSV",
    "decode, colours, `velmormotion`": f"{TO_RGB} ! velmormotion post-messages=false",
    "decode, colours, `velmorcolour`":
        f"{TO_RGB} ! velmorcolour model=yellow.yml post-messages=false",
    "decode, grey, `velmorfaces`":
        f"{TO_GREY} ! velmorfaces cascade={CASCADE} post-messages=false",
    "decode, `Laplacian` of grey, encode":
        f"{TO_GREY} ! velmorfilter operator=Laplacian ! videoconvert"
        " ! openh264enc complexity=low rate-control=bitrate bitrate={bits}",
}


def run(place: Path, launch: str, core: int) -> subprocess.Popen[str]:
    """Begin a pipeline on a core. It prints what time_pipeline() says."""
    return subprocess.Popen([sys.executable, __file__, "--on", str(core), "--launch", launch],
                            cwd=place, stdout=subprocess.PIPE, text=True)


def time_pipeline(core: int, launch: str) -> None:
    """Print the processor time from the first frame that comes out to the last, their number less
    one, and the most memory that the process had.
    """
    os.sched_setaffinity(0, {core})
    import gi
    gi.require_version("Gst", "1.0")
    from gi.repository import Gst
    Gst.init(None)
    times: list[int] = []

    def count(_: Gst.Pad, __: Gst.PadProbeInfo) -> Gst.PadProbeReturn:
        times.append(time.process_time_ns())
        return Gst.PadProbeReturn.OK

    pipeline = Gst.parse_launch(f"{launch} ! fakesink name=end sync=false")
    pipeline.get_by_name("end").get_static_pad("sink").add_probe(Gst.PadProbeType.BUFFER, count)
    pipeline.set_state(Gst.State.PLAYING)
    message = pipeline.get_bus().timed_pop_filtered(
        Gst.CLOCK_TIME_NONE, Gst.MessageType.EOS | Gst.MessageType.ERROR)
    assert message.type == Gst.MessageType.EOS, message.parse_error()
    pipeline.set_state(Gst.State.NULL)
    most = re.search(r"VmHWM:\s+(\d+) kB", Path("/proc/self/status").read_text())
    assert most
    print(times[-1] - times[0], len(times) - 1, most[1])


def rate(place: Path, launch: str, cores: list[int]) -> tuple[float, float]:
    """Give the frames a second of as many pipelines at once as there are cores, and the megabytes
    of the largest.
    """
    total, most = 0.0, 0.0
    for process in [run(place, launch, core) for core in cores]:
        said, _ = process.communicate()
        assert process.returncode == 0, launch
        nanoseconds, frames, kilobytes = map(int, said.split())
        total += frames / nanoseconds * 1e9
        most = max(most, kilobytes * 1.024e-3)
    return total, most


def repeat(times: int, place: Path, launch: str, cores: list[int]) -> tuple[float, float]:
    """Give the median rate of some runs, and the most megabytes."""
    rates, megabytes = zip(*(rate(place, launch, cores) for _ in range(times)))
    return statistics.median(rates), max(megabytes)


def film(place: Path, size: str, frames: int) -> str:
    """Write a real video as a camera would send it, and give its name."""
    width, height = SIZES[size]
    name = f"{size}.mp4"
    with av.open(VIDEO) as source, av.open(str(place / name), "w") as result:
        stream = result.add_stream("libx264", rate=RATE)
        stream.width, stream.height, stream.pix_fmt = width, height, "yuv420p"
        stream.bit_rate, stream.gop_size = bits(size), RATE
        for number, frame in enumerate(islice(source.decode(video=0), frames)):
            resized = frame.reformat(width, height, "yuv420p")
            resized.pts, resized.time_base = number, Fraction(1, RATE)
            resized.pict_type = av.video.frame.PictureType.NONE
            result.mux(stream.encode(resized))
        result.mux(stream.encode(None))
    return name


def bits(size: str) -> int:
    """Give how many bits a second the camera sends."""
    return {"VGA": 2_500_000, "1080p": 10_000_000}[size]


def make_model(place: Path) -> None:
    """Write a model of a colour."""
    import numpy as np
    import velmor
    yellow = np.random.default_rng(1).normal((200, 200, 40), 6, (64, 64, 3)).astype(np.uint8)
    velmor.ColourModel.train(yellow).save(str(place / "yellow.yml"))


def main() -> None:
    """Measure and print."""
    parser = argparse.ArgumentParser(description="Time pipelines of GStreamer.")
    parser.add_argument("--frames", type=int, default=300)
    parser.add_argument("--repetitions", type=int, default=3)
    parser.add_argument("--on", type=int, help=argparse.SUPPRESS)
    parser.add_argument("--launch", help=argparse.SUPPRESS)
    given = parser.parse_args()
    if given.launch:
        return time_pipeline(given.on, given.launch)
    cores = sorted(os.sched_getaffinity(0))[:2]
    with tempfile.TemporaryDirectory() as folder:
        place = Path(folder)
        make_model(place)
        for size in SIZES:
            name = film(place, size, given.frames)
            sent = (place / name).stat().st_size * 8 / given.frames * RATE / 1e6
            print(f"\n| {size}, {sent:.1f} Mbit/s | frames a second on one core | on two cores"
                  " | gained | memory of one |")
            print("|---|---|---|---|---|")
            for what, part in PIPELINES.items():
                if "velmorfaces" in part and size != "VGA":
                    continue  # a second a frame
                launch = (f"filesrc location={name} ! qtdemux ! h264parse ! avdec_h264 ! "
                          + part.format(bits=bits(size)))
                one, memory = repeat(given.repetitions, place, launch, cores[:1])
                two, _ = repeat(given.repetitions, place, launch, cores)
                print(f"| {what} | {one:.0f} | {two:.0f} | {two / one:.2f} times"
                      f" | {memory:.0f} MB |", flush=True)


if __name__ == "__main__":
    main()
