#!/usr/bin/python3
"""Measure a live stream over hosts: what arrives, how late, and how many bytes it takes.

usage: measure.py     prints a table; takes some minutes

A receiver runs as measure.py receive ADDRESS DELAY on a host, and ends with SIGINT.
"""

from __future__ import annotations

import json
import subprocess
import sys
import tempfile
import time
from itertools import cycle, islice
from pathlib import Path

import av
from hosts import COMMANDS, Hosts, Process, free_port, wait_for
from pictures import SOURCE
from stream import OPERATOR

sys.path.insert(0, str(COMMANDS))
from streams import Call, Gst, Run, camera_time, parse, receive  # noqa: E402

VIDEO = "/usr/share/doc/opencv-doc/examples/data/vtest.avi"
RATE = 30
SECONDS = 10
SIZES = {"VGA": (640, 480, 3000), "1080p": (1920, 1080, 10000)}


def film(path: Path, width: int, height: int) -> str:
    """Write a real video as a camera of that size would give it, and return what plays it."""
    with av.open(VIDEO) as container, path.open("wb") as file:
        frames = [frame.reformat(width, height, "gray").to_ndarray().tobytes()
                  for frame in islice(container.decode(video=0), 60)]
        file.writelines(islice(cycle(frames), SECONDS * RATE))
    return SOURCE.format(path=path, width=width, height=height, rate=RATE)


def take(address: str, delay: int) -> None:
    """Print how many pictures come from a host, of how many since the first, and how late."""
    taken: list[int] = []
    late: list[int] = []

    def handle(packet: Gst.Buffer) -> bool:
        packet.pts = packet.dts = camera_time(packet)
        return True

    def count(_: Gst.Pad, info: Gst.PadProbeInfo) -> Gst.PadProbeReturn:
        taken.append(info.get_buffer().pts)
        late.append(time.time_ns() - taken[-1])
        return Gst.PadProbeReturn.OK

    pipeline = parse(f"{receive('camera', address, delay)} ! "
                     "fakesink name=end sync=false async=false", None)
    Call(pipeline.get_by_name("camera"), handle)
    pipeline.get_by_name("end").get_static_pad("sink").add_probe(Gst.PadProbeType.BUFFER, count)
    Run(pipeline)()
    due = round((taken[-1] - taken[0]) * RATE / 1e9) + 1
    print(f"{len(taken)} {due} {sum(late) / len(late) / 1e6:.0f}", flush=True)


def bytes_from(hosts: Hosts, name: str) -> int:
    """Return how many bytes a host has sent the hub."""
    said = subprocess.run([*hosts.enter("hub"), "ip", "-s", "-j", "link", "show", f"to_{name}"],
                          stdout=subprocess.PIPE, check=True).stdout
    return int(json.loads(said)[0]["stats64"]["rx"]["bytes"])


def measure(folder: Path, size: str, loss: float, way: int, delay: int) -> None:
    """Print a line: one camera, one operator, and a receiver of each."""
    hosts = Hosts()
    width, height, kbits = SIZES[size]
    source = film(folder / "film", width, height)
    ports = {"camera": free_port(), "operator": free_port()}
    relays = {name: hosts.relay(name, port, loss, way) for name, port in ports.items()}
    rate = ["--kbits", str(kbits)]
    operator = hosts.run("operator", f"{hosts.hub('operator')}:{relays['camera']}", OPERATOR,
                         "--port", str(ports["operator"]), "--delay", str(delay), *rate)
    receivers = {name: hosts.start("joining", "/usr/bin/python3", __file__, "receive",
                                   f"{hosts.hub('joining')}:{relay}", str(delay))
                 for name, relay in relays.items()}
    for host in (operator, *receivers.values()):
        host.wait_until_ready()
    camera = hosts.run("camera", source, "--port", str(ports["camera"]), *rate)
    camera.wait_until_ready()
    wait_for(lambda: camera.process.poll() is not None, "the film's end", 3 * SECONDS)
    sent = {name: bytes_from(hosts, name) for name in ports}
    columns = [f"{size:6} {loss:5.0%} {way:4} ms {delay:5} ms"]
    for name, receiver in receivers.items():
        receiver.interrupt()
        count, due, late = receiver.lines[-1][1].split()
        callers = 2 if name == "camera" else 1
        each = sent[name] * 8 / 1e6 / SECONDS / callers
        columns.append(f"{name}: {count:>3} of {due}, {late:>4} ms late, {each:4.1f} Mbit/s")
    print("   ".join(columns), flush=True)
    hosts.let_go()


def main() -> None:
    """Run the command line."""
    if sys.argv[1:2] == ["receive"]:
        take(sys.argv[2], int(sys.argv[3]))
        return
    with tempfile.TemporaryDirectory() as folder:
        for loss, way, delay in [(0, 1, 200), (0.01, 20, 200), (0.05, 20, 200),
                                 (0.05, 20, 400), (0.1, 20, 200), (0.1, 20, 400),
                                 (0.01, 50, 400), (0.05, 50, 400), (0.1, 50, 400),
                                 (0.1, 50, 1000)]:
            measure(Path(folder), "VGA", loss, way, delay)
        measure(Path(folder), "1080p", 0, 1, 200)


if __name__ == "__main__":
    main()
