"""What the hosts of a live stream share: the wire, the camera's time, and how they run and end.

On the wire is H.264 in RTP, one packet in each message of SRT, which sends again what was lost and
hands over what arrived in order, at a constant delay. Its sender listens, its receivers call.
"""

from __future__ import annotations

import argparse
import re
import signal
import socket
import sys
import time
from pathlib import Path
from typing import Callable, NoReturn

import gi

gi.require_version("Gst", "1.0")
from gi.repository import GLib, Gst  # noqa: E402

TICKS = 90_000  # of RTP's clock for video, each second
WRAP = 1 << 32  # of which RTP counts so many

# What is too slow misses pictures, the oldest first, and never comes to lag behind.
KEEP_UP = "queue leaky=downstream max-size-buffers=3 max-size-bytes=0 max-size-time=0"
# Of an encoder or decoder for video that must not wait. Every fifteenth picture stands alone, so
# that a host that comes late, or lost something, soon sees pictures again: of 30 a second, within
# half a second.
ENCODE = ("openh264enc rate-control=bitrate complexity=low gop-size=15 bitrate={bits} ! "
          "video/x-h264,profile=constrained-baseline ! h264parse")
DECODE = "rtph264depay wait-for-keyframe=true ! h264parse ! openh264dec"
# SRT's live mode has messages of 1316 bytes at most.
PAY = ("rtph264pay name=pay mtu=1316 config-interval=-1 aggregate-mode=zero-latency "
       "timestamp-offset=0")
WIRE = "application/x-rtp,media=video,encoding-name=H264,clock-rate=90000,payload=96"
# For how many seconds a host may be silent, beside those for which SRT keeps packets: one that has
# sent something, and one that is being called, where what is lost is the call. So who sends less
# than one picture a second is called anew after each, and hardly one is seen.
SILENCE = 1.0
CALLING = 4.0


def fail(message: str) -> NoReturn:
    """End the program, which has not begun, with one line."""
    sys.exit(f"{program()}: {message}")


def program() -> str:
    """Return the name under which the program speaks."""
    return sys.argv[0].rsplit("/", 1)[-1].removesuffix(".py")


def address(text: str) -> str:
    """Take HOST:PORT as it is written on the command line."""
    if not re.fullmatch(r"([^\s:?/&!\"]+|\[[0-9a-fA-F:]+\]):\d{1,5}", text):
        raise argparse.ArgumentTypeError(f"expected HOST:PORT, got '{text}'")
    return text


def add_delay(parser: argparse.ArgumentParser) -> None:
    """Let a host that calls others say how long it waits for what was lost."""
    parser.add_argument("--delay", type=int, default=200,
                        help="milliseconds for what was lost to be sent again (default: 200)")


def add_passphrase(parser: argparse.ArgumentParser) -> None:
    """Let the hosts of a stream have a secret, which is on no command line for others to see."""
    parser.add_argument("--passphrase-file", dest="passphrase", type=passphrase,
                        help="holds what hosts must share, from 10 to 79 characters, to encrypt")


def passphrase(path: str) -> str:
    """Take a secret from the first line of a file."""
    try:
        secret = Path(path).read_text("utf-8").partition("\n")[0]
    except (OSError, UnicodeError) as error:
        raise argparse.ArgumentTypeError(f"cannot read '{path}': {error}") from None
    if not 10 <= len(secret.encode()) <= 79:
        raise argparse.ArgumentTypeError(f"'{path}' does not have 10 to 79 characters")
    return secret


def send(at: int, kbits: int) -> str:
    """Describe what encodes pictures and sends them to every host that calls at a port."""
    return (f"{KEEP_UP} ! videoconvert ! {ENCODE.format(bits=kbits * 1000)} ! {PAY} ! "
            f"srtsink name=out uri=srt://:{at}?mode=listener "
            "wait-for-connection=false sync=false async=false")


def numeric(at: str) -> str:
    """Return HOST:PORT with a name's IPv4 address.

    Hosts listen there, and SRT would call a name at its IPv6 address.
    """
    host, _, port = at.rpartition(":")
    try:
        return f"{socket.gethostbyname(host)}:{port}"
    except OSError:  # a number in brackets, or a name that nobody knows yet
        return at


def receive(name: str, at: str, delay: int) -> str:
    """Describe what calls a host and decodes its pictures; `name` is that of the call."""
    return (f"srtsrc name={name} uri=srt://{numeric(at)}?mode=caller latency={delay} "
            f"do-timestamp=true ! {WIRE} ! {DECODE}")


def camera_time(packet: Gst.Buffer) -> int:
    """Return when the camera took the picture that an RTP packet is of, in ns since 1970.

    RTP counts to 13 hours. Which they are, this host's clock says: it may be wrong by six.
    """
    ticks = int.from_bytes(packet.extract_dup(4, 4), "big")
    now = time.time_ns() * TICKS // 10**9
    ticks = now + (ticks - now + WRAP // 2) % WRAP - WRAP // 2
    return -(-ticks * 10**9 // TICKS)  # rounded up, so that it is the same tick when it is sent on


class Call:
    """A call of another host, made again when that falls silent.

    SRT takes five seconds to see that a host has gone, and GStreamer calls again only then.
    """

    def __init__(self, source: Gst.Element, handle: Callable[[Gst.Buffer], bool]) -> None:
        """Let `handle` see each packet that a source takes, and drop where it returns False."""
        self.source, self.handle = source, handle
        self.heard, self.patience = time.monotonic(), CALLING
        source.get_static_pad("src").add_probe(Gst.PadProbeType.BUFFER, self.take)
        GLib.timeout_add(100, self.check)

    def take(self, _: Gst.Pad, info: Gst.PadProbeInfo) -> Gst.PadProbeReturn:
        """Take a packet."""
        self.heard, self.patience = time.monotonic(), SILENCE
        is_good = self.handle(info.get_buffer())
        return Gst.PadProbeReturn.OK if is_good else Gst.PadProbeReturn.DROP

    def check(self) -> bool:
        """Call again after silence, and have this called again, too."""
        delay = self.source.get_property("latency") / 1000
        if time.monotonic() - self.heard > self.patience + delay:
            self.heard, self.patience = time.monotonic(), CALLING
            self.source.set_state(Gst.State.READY)
            self.source.sync_state_with_parent()
        return True


def parse(description: str, secret: str | None) -> Gst.Pipeline:
    """Make a pipeline that has a secret with other hosts, or say why there is none."""
    Gst.init(None)
    try:
        pipeline = Gst.parse_launch(description)
    except GLib.Error as error:
        fail(f"cannot make the pipeline: {error.message}")
    for name in ("camera", "operator", "out"):
        element = pipeline.get_by_name(name)
        if element and secret:
            element.set_property("passphrase", secret)
    return pipeline


def place(element: Gst.Object) -> str:
    """Return the file or the address of an element, or its name where it has none."""
    for name in ("location", "uri"):
        if element.find_property(name):
            return str(element.get_property(name))
    return str(element.get_name())


class Run:
    """A pipeline from its start to its end."""

    def __init__(self, pipeline: Gst.Pipeline, stop: Callable[[], bool] = lambda: False,
                 linger: int = 0) -> None:
        """Take a pipeline, and what is called at SIGINT or SIGTERM.

        `stop` returns whether there is an end of the stream to wait for. For `linger` milliseconds
        after the end, the pipeline stays.
        """
        self.pipeline, self.stop, self.linger = pipeline, stop, linger
        self.loop = GLib.MainLoop()
        self.code = 0

    def __call__(self) -> int:
        """Run until the stream ends or a signal comes, and return the exit code."""
        bus = self.pipeline.get_bus()
        bus.add_signal_watch()
        bus.connect("message", self.hear)
        for number in (signal.SIGINT, signal.SIGTERM):
            GLib.unix_signal_add(GLib.PRIORITY_HIGH, number, self.interrupt)
        self.pipeline.set_state(Gst.State.PLAYING)  # a failure is an error on the bus, too
        self.loop.run()
        self.pipeline.set_state(Gst.State.NULL)
        return self.code

    def hear(self, _: Gst.Bus, message: Gst.Message) -> None:
        """Take what elements say."""
        if message.type == Gst.MessageType.ERROR:
            error, detail = message.parse_error()
            reason = (detail or "").rsplit("\n", 1)[-1].rsplit("): ", 1)[-1]
            self.end(f"{place(message.src)}: {error.message} {reason}".strip())
        elif message.type == Gst.MessageType.WARNING:
            print(f"{program()}: {message.parse_warning()[0].message}", file=sys.stderr, flush=True)
        elif message.type == Gst.MessageType.EOS:
            GLib.timeout_add(self.linger, self.end)
        elif message.type == Gst.MessageType.STATE_CHANGED and message.src is self.pipeline:
            if message.parse_state_changed()[1] == Gst.State.PLAYING:
                print(f"{program()}: ready", flush=True)

    def interrupt(self) -> bool:
        """End at once, or at the end of the stream; at once when asked twice."""
        stop, self.stop = self.stop, lambda: False
        if not stop():
            self.end()
        return True

    def end(self, error: str = "") -> bool:
        """End with success, or with an error."""
        if error and not self.code:
            print(f"{program()}: {error}", file=sys.stderr, flush=True)
            self.code = 1
        self.loop.quit()
        return False
