#!/usr/bin/python3
"""Let an operator work on a camera host's pictures, and send what it makes to hosts that call.

    operator_host.py camera:7000 "velmorfilter operator=Not"

The operator is a part of a GStreamer pipeline, as gst-launch-1.0 takes it.
"""

from __future__ import annotations

import argparse
import sys

from streams import (KEEP_UP, Call, Gst, Run, add_delay, add_passphrase, address, camera_time,
                     parse, receive, send)


def stamp(packet: Gst.Buffer) -> bool:
    """Let a packet have the camera's time, with which what is made of it is sent on."""
    packet.pts = packet.dts = camera_time(packet)
    return True


def main() -> int:
    """Run the command line."""
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("camera", type=address, help="the camera host's HOST:PORT")
    parser.add_argument("operator", help="the part of a pipeline that works on the pictures")
    parser.add_argument("--port", type=int, default=7001, help="hosts call here (default: 7001)")
    parser.add_argument("--kbits", type=int, default=3000,
                        help="kilobits for each second of video (default: 3000)")
    add_delay(parser)
    add_passphrase(parser)
    arguments = parser.parse_args()

    pipeline = parse(f"{receive('camera', arguments.camera, arguments.delay)} ! "
                     f"{KEEP_UP} ! videoconvert ! {arguments.operator} ! "
                     f"{send(arguments.port, arguments.kbits)}",
                     arguments.passphrase)
    Call(pipeline.get_by_name("camera"), stamp)
    return Run(pipeline)()


if __name__ == "__main__":
    sys.exit(main())
