"""Hosts for a live stream, each a network namespace of its own, and a bad network between them.

All that one host sends another goes through a relay, which stands on a hub between them: the hub
forwards nothing by itself. What holds a namespace ends with this process, however that ends, and
with its last process a namespace is gone.
"""

from __future__ import annotations

import os
import shutil
import signal
import socket
import subprocess
import threading
import time
from pathlib import Path
from typing import Callable

HERE = Path(__file__).parent
COMMANDS = HERE.parents[1] / "examples" / "live_stream"
LIMIT = 20  # seconds in which what must happen does, on a machine that has other things to do
NAMES = ["camera", "operator", "joining"]


def wait_for(happened: Callable[[], bool], what: str, limit: float = LIMIT) -> None:
    """Wait until something has happened."""
    end = time.monotonic() + limit
    while not happened():
        assert time.monotonic() < end, f"waited in vain for {what}"
        time.sleep(0.02)


def free_port() -> int:
    """Return a port that nobody has on this machine."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
        probe.bind(("", 0))
        return int(probe.getsockname()[1])


class Process:
    """A process on a host, and what it says."""

    def __init__(self, command: list[str]) -> None:
        self.lines: list[tuple[float, str]] = []  # with when each was said
        # It ends with us. Its parent is the thread that starts it, so that has to be the main one.
        assert threading.current_thread() is threading.main_thread()
        self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                        stderr=subprocess.STDOUT, text=True)
        self.listener = threading.Thread(target=self.listen, daemon=True)
        self.listener.start()

    def listen(self) -> None:
        """Keep what it says."""
        assert self.process.stdout
        for line in self.process.stdout:
            self.lines.append((time.time(), line.rstrip("\n")))

    def said(self) -> str:
        """Return what it has said."""
        return "\n".join(line for _, line in self.lines)

    def wait_until_ready(self) -> float:
        """Return when it said that it is ready."""
        def is_ready() -> bool:
            assert self.process.poll() is None, self.said()
            return any(line.endswith("ready") for _, line in self.lines)

        wait_for(is_ready, f"{self.process.args!r} to be ready")
        return next(when for when, line in self.lines if line.endswith("ready"))

    def kill(self) -> None:
        """Kill it where it stands."""
        self.process.kill()
        self.process.wait()

    def wait(self) -> int:
        """Return its exit code, once it has ended by itself and all that it said is kept."""
        try:
            code = self.process.wait(LIMIT)
        except subprocess.TimeoutExpired:
            raise AssertionError(f"hangs: {self.process.args!r}\n{self.said()}") from None
        self.listener.join(LIMIT)
        return code

    def interrupt(self) -> int:
        """Ask it to end, and return its exit code."""
        self.process.send_signal(signal.SIGINT)
        return self.wait()


class Hosts:
    """Three hosts and a hub between them, or this machine alone where it makes no namespaces."""

    def __init__(self) -> None:
        self.processes: list[Process] = []
        self.holders: dict[str, subprocess.Popen[bytes]] = {}
        self.as_root = os.geteuid() == 0
        self.has_namespaces = self.try_namespaces()
        if not self.has_namespaces:
            self.let_go()

    def try_namespaces(self) -> bool:
        """Make a namespace for each host and one for the hub, and links between."""
        if not all(map(shutil.which, ["ip", "unshare", "nsenter"])):
            return False
        # Who is not root is root in a namespace of users, which the hub makes and the hosts are in.
        if not self.hold("hub", [] if self.as_root else ["--user", "--map-root-user"]):
            return False
        for number, name in enumerate(NAMES):
            if not self.hold(name, [], self.enter("hub")):
                return False
            link = f"to_{name}"
            for command in (
                    f"ip link add {link} type veth peer name hub netns {self.holders[name].pid}",
                    f"ip address add 10.77.{number}.1/24 dev {link}", f"ip link set {link} up"):
                if not self.does("hub", command):
                    return False
            for command in (f"ip address add 10.77.{number}.2/24 dev hub", "ip link set hub up",
                            "ip link set lo up"):
                if not self.does(name, command):
                    return False
        return True

    def hold(self, name: str, options: list[str], before: list[str] | None = None) -> bool:
        """Make a namespace that is there until we are not: `cat` ends with the pipe it reads."""
        holder = subprocess.Popen(
            [*(before or []), "unshare", "--net", *options, "cat"],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.holders[name] = holder
        assert holder.stdin and holder.stdout
        try:
            holder.stdin.write(b"\n")
            holder.stdin.flush()
            return holder.stdout.read(1) == b"\n"  # only `cat` answers, so the namespace is there
        except BrokenPipeError:
            return False

    def enter(self, name: str) -> list[str]:
        """Return what stands before a command for it to run on a host or on the hub."""
        if name not in self.holders:
            return ["setpriv", "--pdeathsig", "KILL"]
        user = [] if self.as_root else ["--user", "--preserve-credentials"]
        return ["nsenter", "--target", str(self.holders[name].pid), "--net", *user,
                "setpriv", "--pdeathsig", "KILL"]

    def does(self, name: str, command: str) -> bool:
        """Run a short command there."""
        return subprocess.run([*self.enter(name), *command.split()], stderr=subprocess.DEVNULL,
                              check=False).returncode == 0

    def address(self, name: str) -> str:
        """Return the address of a host as the hub sees it."""
        return f"10.77.{NAMES.index(name)}.2" if self.has_namespaces else "127.0.0.1"

    def hub(self, name: str) -> str:
        """Return the address of the hub as a host sees it."""
        return f"10.77.{NAMES.index(name)}.1" if self.has_namespaces else "127.0.0.1"

    def start(self, name: str, *command: str) -> Process:
        """Start a command on a host, or on the hub."""
        process = Process([*self.enter(name), *command])
        self.processes.append(process)
        return process

    def run(self, name: str, *arguments: str, limit: int | None = None) -> Process:
        """Start on a host the command that is for it, whose files may have so many bytes."""
        before = [] if limit is None else ["prlimit", f"--fsize={limit}"]
        command = str(COMMANDS / f"{name}_host.py")
        return self.start(name, *before, "/usr/bin/python3", command, *arguments)

    def relay(self, name: str, port: int, loss: float, delay: int) -> int:
        """Relay to a host from the hub, and return the port there."""
        at = free_port()
        self.start("hub", "/usr/bin/python3", str(HERE / "relay.py"), str(at),
                   f"{self.address(name)}:{port}", str(loss), str(delay), name).wait_until_ready()
        return at

    def let_go(self) -> None:
        """End all that runs, and with that the namespaces."""
        for process in self.processes:
            if process.process.poll() is None:
                process.kill()
        for holder in self.holders.values():
            holder.communicate()
        self.holders.clear()

    def __str__(self) -> str:
        if not self.has_namespaces:
            return "loopback alone, since no network namespaces can be made here"
        return "network namespaces, made " + ("as root" if self.as_root else "in one of users")
