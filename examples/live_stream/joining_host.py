#!/usr/bin/python3
"""Join a camera host's pictures and an operator host's into one video, side by side.

    joining_host.py camera:7000 operator:7001 joined.mkv

What was taken at once is shown at once. A side whose host is away stands still for a second, then
it is black. Ctrl-C ends it.
"""

from __future__ import annotations

import argparse
import glob
import re
import sys
from pathlib import Path

from streams import (ENCODE, Call, Gst, Run, add_delay, add_passphrase, address, camera_time, fail,
                     parse, receive)

STRAY = 200 * Gst.MSECOND  # how far the camera's clock and ours may part until the pictures jump


class CameraClock:
    """The camera's time in ours: a picture's time is when it comes here from the camera itself.

    Both sides have it from here, so what was taken at once is shown at once, whatever the clocks
    of the hosts say.
    """

    def __init__(self) -> None:
        self.offset: int | None = None

    def take_camera(self, packet: Gst.Buffer) -> bool:
        """Stamp a packet from the camera."""
        taken = camera_time(packet)
        if self.offset is None or abs(taken + self.offset - packet.pts) > STRAY:
            self.offset = packet.pts - taken
        return self.stamp(packet, taken)

    def take_other(self, packet: Gst.Buffer) -> bool:
        """Stamp a packet from elsewhere that has the camera's time."""
        return self.offset is not None and self.stamp(packet, camera_time(packet))

    def stamp(self, packet: Gst.Buffer, taken: int) -> bool:
        """Set a packet's time, unless that is before our own began."""
        assert self.offset is not None
        packet.pts = packet.dts = max(taken + self.offset, 0)
        return taken + self.offset >= 0


def size(text: str) -> tuple[int, int]:
    """Take WIDTHxHEIGHT as it is written on the command line."""
    width, _, height = text.partition("x")
    if not (width.isdecimal() and height.isdecimal() and int(width) and int(height)):
        raise argparse.ArgumentTypeError(f"expected WIDTHxHEIGHT, got '{text}'")
    return int(width), int(height)


def written_over(path: Path) -> str | None:
    """Return a file that would be written over: of pictures there are many, each with a number."""
    if path.suffix != ".png":
        return str(path) if path.exists() else None
    place = re.fullmatch(r"([^%]*)%(?:0\d)?d([^%/]*)", str(path))
    if not place:
        fail(f"'{path}' has no place for the number of a picture, such as %05d")
    begin, end = place.groups()
    for file in sorted(glob.glob(f"{glob.escape(begin)}*{glob.escape(end)}")):
        number = file[len(begin):len(file) - len(end)]
        if number.isdecimal() and str(path) % int(number) == file:
            return file
    return None


def write(path: Path, kbits: int) -> str:
    """Describe what writes pictures to a file of the kind that its name says."""
    encode = ENCODE.format(bits=kbits * 1000)
    # A file that waits for no picture: the hosts may come later.
    kinds = {".mkv": f"{encode} ! matroskamux offset-to-zero=true ! filesink name=file async=false",
             ".mp4": f"{encode} ! mp4mux ! filesink name=file async=false",
             ".png": "videoconvert ! pngenc ! multifilesink name=file async=false"}
    if path.suffix not in kinds:
        fail(f"'{path}' ends in none of {', '.join(kinds)}")
    return kinds[path.suffix]


def main() -> int:
    """Run the command line."""
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("camera", type=address, help="the camera host's HOST:PORT")
    parser.add_argument("operator", type=address, help="the operator host's HOST:PORT")
    parser.add_argument("file", type=Path, help="what to write, .mkv, .mp4 or %%05d.png")
    parser.add_argument("--size", type=size, default=(640, 480), metavar="WIDTHxHEIGHT",
                        help="of each side (default: 640x480)")
    parser.add_argument("--rate", type=int, default=30,
                        help="pictures a second (default: 30)")
    parser.add_argument("--kbits", type=int, default=6000,
                        help="kilobits for each second of video (default: 6000)")
    parser.add_argument("--wait", type=int, default=500,
                        help="milliseconds that the operator's side may come later (default: 500)")
    add_delay(parser)
    add_passphrase(parser)
    arguments = parser.parse_args()
    if taken := written_over(arguments.file):
        fail(f"'{taken}' exists")

    width, height = arguments.size
    sides = "".join(
        f" sink_{side}::xpos={side * width} sink_{side}::width={width} sink_{side}::height={height}"
        f" sink_{side}::max-last-buffer-repeat={Gst.SECOND}" for side in range(2))
    # Where one side waits for the other; when all wait for the file, the oldest are dropped.
    wait = "queue leaky=downstream max-size-buffers=0 max-size-bytes=0 max-size-time=2000000000"
    pipeline = parse(
        f"compositor name=join background=black start-time-selection=first "
        f"latency={arguments.wait * Gst.MSECOND}{sides} ! "
        f"video/x-raw,format=I420,width={2 * width},height={height},"
        f"framerate={arguments.rate}/1 ! "
        f"queue ! {write(arguments.file, arguments.kbits)} "
        f"{receive('camera', arguments.camera, arguments.delay)} ! {wait} ! join.sink_0 "
        f"{receive('operator', arguments.operator, arguments.delay)} ! {wait} ! join.sink_1",
        arguments.passphrase)
    pipeline.get_by_name("file").set_property("location", str(arguments.file))
    clock = CameraClock()
    Call(pipeline.get_by_name("camera"), clock.take_camera)
    Call(pipeline.get_by_name("operator"), clock.take_other)

    joined = pipeline.get_by_name("join").get_static_pad("src")
    has_begun = True

    def stop() -> bool:
        """Let the file end where it is: the hosts may never send an end."""
        nonlocal has_begun
        has_begun = joined.get_current_caps() is not None
        return has_begun and joined.push_event(Gst.Event.new_eos())

    code = Run(pipeline, stop)()
    if arguments.file.exists() and arguments.file.stat().st_size == 0:  # no picture has come
        arguments.file.unlink()
    if not has_begun:
        fail(f"wrote nothing: no picture came from {arguments.camera} or {arguments.operator}")
    return code


if __name__ == "__main__":
    sys.exit(main())
