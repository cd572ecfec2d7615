#!/usr/bin/python3
"""Send a camera's pictures to every host that calls.

    camera_host.py "v4l2src ! video/x-raw,width=640,height=480,framerate=30/1"

The source is a part of a GStreamer pipeline, as gst-launch-1.0 takes it.
When it ends, so does this.
"""

from __future__ import annotations

import argparse
import sys

from streams import TICKS, WRAP, Gst, Run, add_passphrase, parse, send


def main() -> int:
    """Run the command line."""
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("source", help="the part of a pipeline that gives the pictures")
    parser.add_argument("--port", type=int, default=7000, help="hosts call here (default: 7000)")
    parser.add_argument("--kbits", type=int, default=3000,
                        help="kilobits for each second of video (default: 3000)")
    add_passphrase(parser)
    arguments = parser.parse_args()

    pipeline = parse(f"{arguments.source} ! {send(arguments.port, arguments.kbits)}",
                     arguments.passphrase)
    # RTP's time is that of this host's clock, so it goes on where it was after a new start.
    clock = Gst.SystemClock(clock_type=Gst.ClockType.REALTIME)
    start = clock.get_time()
    pipeline.use_clock(clock)
    pipeline.set_start_time(Gst.CLOCK_TIME_NONE)
    pipeline.set_base_time(start)
    pay = pipeline.get_by_name("pay")
    pay.set_property("timestamp-offset", start * TICKS // 10**9 % WRAP)
    # What was sent last may have to be sent again.
    return Run(pipeline, linger=1000)()


if __name__ == "__main__":
    sys.exit(main())
