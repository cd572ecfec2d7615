"""Each host ends when it is asked to, whoever else is there, and says what is wrong."""

import socket
from pathlib import Path

import numpy as np
import pytest
from hosts import COMMANDS, Hosts, Process, free_port, wait_for
from pictures import NOTHING, Joined, read, read_sides
from PIL import Image
from stream import OPERATOR, Stream

NOBODY = "127.0.0.1:9"
TEST_SOURCE = "videotestsrc is-live=true ! video/x-raw,width=160,height=120"


def last_line(process: Process) -> str:
    """Wait for a process that fails, and return what it says at last."""
    assert process.wait() == 1, process.said()
    return process.lines[-1][1]


def test_a_host_alone_ends(hosts: Hosts, tmp_path: Path) -> None:
    file = tmp_path / "joined.mkv"
    camera = hosts.run("camera", TEST_SOURCE, "--port", str(free_port()))
    operator = hosts.run("operator", NOBODY, OPERATOR, "--port", str(free_port()))
    joining = hosts.run("joining", NOBODY, NOBODY, str(file))
    for host in (camera, operator, joining):
        host.wait_until_ready()
    assert camera.interrupt() == 0, camera.said()
    assert operator.interrupt() == 0, operator.said()
    assert joining.interrupt() == 1
    assert last_line(joining) == (
        f"joining_host: wrote nothing: no picture came from {NOBODY} or {NOBODY}")
    assert not file.exists()


def has_address(name: str) -> bool:
    """Say whether a name of a host leads anywhere: a bare root has no /etc/hosts."""
    try:
        return bool(socket.getaddrinfo(name, None))
    except socket.gaierror:
        return False


@pytest.mark.skipif(not has_address("localhost"), reason="localhost has no address here")
def test_a_host_is_called_by_name(hosts: Hosts, tmp_path: Path) -> None:
    at = f"localhost:{free_port()}"  # which has addresses of both kinds
    hosts.run("camera", TEST_SOURCE, "--port", at.split(":")[1]).wait_until_ready()
    joining = hosts.start("camera", "/usr/bin/python3", str(COMMANDS / "joining_host.py"), at, at,
                          str(tmp_path / "%03d.png"))
    wait_for((tmp_path / "005.png").exists, "a picture")
    assert joining.interrupt() == 0, joining.said()


def test_others_end_after_the_camera_was_lost(hosts: Hosts, tmp_path: Path) -> None:
    stream = Stream(hosts, tmp_path, 0, 1)
    camera, operator = stream.camera(range(2000)), stream.operator()
    files = ["joined.mkv", "joined.mp4", "%03d.png"]  # a host sends to as many as call
    joining = [stream.joining(name) for name in files]
    stream.wait_for_joined(lambda one: NOTHING not in one)
    wait_for((tmp_path / "020.png").exists, "pictures")
    camera.kill()
    assert operator.interrupt() == 0, operator.said()
    for host in joining:
        assert host.interrupt() == 0, host.said()

    def shows_both(joined: list[Joined]) -> bool:
        return any(one.camera.number == one.operator.number >= 0 for one in joined)

    assert shows_both(read(tmp_path / "joined.mkv"))
    assert shows_both(read(tmp_path / "joined.mp4"))
    pictures = [Image.open(path).convert("L") for path in sorted(tmp_path.glob("*.png"))]
    assert shows_both([Joined(0, *read_sides(np.asarray(picture))) for picture in pictures])


@pytest.mark.parametrize(("name", "arguments", "said"), [
    ("operator", [NOBODY, "nonsense"],
     'operator_host: cannot make the pipeline: no element "nonsense"'),
    ("operator", ["nowhere", "identity"],
     "operator_host.py: error: argument camera: expected HOST:PORT, got 'nowhere'"),
    ("joining", [NOBODY, NOBODY, "joined.avi"],
     "joining_host: 'joined.avi' ends in none of .mkv, .mp4, .png"),
    *(("joining", [NOBODY, NOBODY, name],
       f"joining_host: '{name}' has no place for the number of a picture, such as %05d")
      for name in ("joined.png", "%d%d.png", "%5d.png", "%d/joined.png")),
])
def test_says_what_is_wrong(hosts: Hosts, name: str, arguments: list[str], said: str) -> None:
    process = hosts.run(name, *arguments)
    assert process.wait() in (1, 2)
    assert process.lines[-1][1] == said


def test_says_what_is_in_the_way(hosts: Hosts, tmp_path: Path) -> None:
    stream = Stream(hosts, tmp_path, 0, 1)
    camera = stream.camera(range(2000))
    camera.wait_until_ready()
    again = last_line(stream.camera(range(2000, 2001)))  # with a film of its own
    assert again.startswith(f"camera_host: srt://:{stream.camera_port}") and "Cannot bind" in again

    file = tmp_path / "kept.mkv"
    file.write_text("kept")
    assert last_line(stream.joining(file.name)) == f"joining_host: '{file}' exists"
    assert file.read_text() == "kept"
    # Of these the last would be written over, as the thirteenth picture.
    for name in ("[kept]-last.png", "[kept]001.png", "[kept]0012.png"):
        (tmp_path / name).write_text("kept")
    assert last_line(stream.joining("[kept]%04d.png")) == (
        f"joining_host: '{tmp_path}/[kept]0012.png' exists")
    nowhere = last_line(stream.joining("no/such.mkv"))
    assert str(tmp_path / "no/such.mkv") in nowhere and "No such file" in nowhere
    # A disk that is full looks like a file that may not grow.
    small = last_line(stream.joining("small.mkv", limit=5000))
    assert str(tmp_path / "small.mkv") in small and "File too large" in small
    assert camera.interrupt() == 0, camera.said()


def test_hosts_with_one_secret_understand_each_other_alone(hosts: Hosts, tmp_path: Path) -> None:
    (tmp_path / "ours").write_text("a secret of ours\n")
    (tmp_path / "theirs").write_text("a secret of theirs\n")
    stream = Stream(hosts, tmp_path, 0, 1, "--passphrase-file", str(tmp_path / "ours"))
    camera, operator, joining = stream.camera(range(2000)), stream.operator(), stream.joining()
    stream.options = ("--passphrase-file", str(tmp_path / "theirs"))
    stranger = stream.joining("stranger.mkv")
    stream.wait_for_joined(lambda one: NOTHING not in one)
    wait_for(lambda: "Failed to authenticate" in stranger.said(), "a stranger to be refused")
    assert stranger.interrupt() == 1
    assert not (tmp_path / "stranger.mkv").exists()
    for host in (joining, operator, camera):
        assert host.interrupt() == 0, host.said()
