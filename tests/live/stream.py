"""The three hosts at work: a camera's film, the operator Not, and both joined."""

from __future__ import annotations

from pathlib import Path
from typing import Callable

from hosts import Hosts, Process, free_port, wait_for
from pictures import HEIGHT, RATE, WIDTH, Joined, film, read

OPERATOR = "velmorfilter operator=Not"


class Stream:
    """A stream over hosts, with relays to those that others call."""

    def __init__(self, hosts: Hosts, folder: Path, loss: float, delay: int,
                 *options: str) -> None:
        """Take hosts, a folder for films and what is joined, and options of each command."""
        self.hosts, self.folder, self.file = hosts, folder, folder / "joined.mkv"
        self.options = options
        self.camera_port, self.operator_port = free_port(), free_port()
        self.camera_relay = hosts.relay("camera", self.camera_port, loss, delay)
        self.operator_relay = hosts.relay("operator", self.operator_port, loss, delay)

    def camera(self, numbers: range) -> Process:
        """Start the camera host."""
        source = film(self.folder / f"film{numbers.start}.gray", numbers)
        return self.hosts.run("camera", source, "--port", str(self.camera_port), "--kbits", "500",
                              *self.options)

    def operator(self, operator: str = OPERATOR) -> Process:
        """Start the operator host."""
        hub = self.hosts.hub("operator")
        return self.hosts.run("operator", f"{hub}:{self.camera_relay}", operator,
                              "--port", str(self.operator_port), "--kbits", "500",
                              *self.options)

    def joining(self, name: str = "joined.mkv", limit: int | None = None) -> Process:
        """Start the joining host, which may write so many bytes to a file."""
        hub = self.hosts.hub("joining")
        return self.hosts.run(
            "joining", f"{hub}:{self.camera_relay}", f"{hub}:{self.operator_relay}",
            str(self.folder / name), "--size", f"{WIDTH}x{HEIGHT}", "--rate", str(RATE),
            *self.options, limit=limit)

    def joined(self) -> list[Joined]:
        """Return what is joined so far."""
        return read(self.file)

    def wait_for_joined(self, is_it: Callable[[Joined], bool], since: float = 0) -> float:
        """Wait until such a picture is joined, not before a time, and return its own."""
        found: list[Joined] = []

        def has_come() -> bool:
            found[:] = [one for one in self.joined() if one.time >= since and is_it(one)]
            return bool(found)

        wait_for(has_come, f"a picture in {self.file}")
        return found[0].time
