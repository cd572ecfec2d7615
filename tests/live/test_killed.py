"""The joined video goes on while a host is away, and has its side again when it is back."""

from pathlib import Path

from hosts import Hosts, Process
from pictures import NOTHING, RATE, Joined, share_in_step
from stream import Stream

BACK = 2 * RATE  # pictures until a host that is back is seen again: two seconds
STANDS = RATE  # pictures for which a side whose host is away stands still: one second
LATER = 2000  # the number with which the camera begins when it is back


def assert_goes_on(joined: list[Joined]) -> None:
    """Check that no joined picture is missing, whoever was away."""
    for index, one in enumerate(joined):
        assert abs(one.time - index / RATE) < 0.002, one


def pictures_taken(camera: Process, until: float) -> int:
    """Return how many pictures the camera, which began just before it was ready, had taken."""
    return int((until - camera.wait_until_ready()) * RATE)


def test_operator_host_killed_and_back(hosts: Hosts, tmp_path: Path) -> None:
    stream = Stream(hosts, tmp_path, 0.01, 20)
    camera, operator, joining = stream.camera(range(LATER)), stream.operator(), stream.joining()
    begun = stream.wait_for_joined(lambda one: NOTHING not in one)
    operator.kill()
    away = stream.wait_for_joined(lambda one: one.operator == NOTHING, since=begun)
    operator = stream.operator()
    back = pictures_taken(camera, operator.wait_until_ready())
    stream.wait_for_joined(lambda one: one.operator != NOTHING, since=away)
    assert joining.interrupt() == 0, joining.said()

    joined = stream.joined()
    assert_goes_on(joined)
    begun_at = next(index for index, one in enumerate(joined) if one.camera != NOTHING)
    seen = [one.camera.number for one in joined[begun_at:]]  # the camera's side is always there
    # It moves on: it never stands still for long, nor jumps.
    assert all(0 <= later - earlier < RATE // 2 for earlier, later in zip(seen, seen[1:]))
    assert max(map(seen.count, seen)) < RATE // 2

    sides = [one.operator for one in joined]
    came = next(index for index, side in enumerate(sides) if side != NOTHING)
    black = next(index for index in range(came, len(sides)) if sides[index] == NOTHING)
    back_at = next(index for index in range(black, len(sides)) if sides[index] != NOTHING)
    assert STANDS - 5 <= sides[:black].count(sides[black - 1]) <= STANDS + 5
    assert share_in_step(joined[back_at:]) >= 0.9
    again = joined[back_at]
    print(f"the operator's side is back {(again.camera.number - back) / RATE:.2f} s after its host")
    assert again.camera.number - back <= BACK

    assert operator.interrupt() == 0, operator.said()
    assert camera.interrupt() == 0, camera.said()


def test_camera_host_killed_and_back(hosts: Hosts, tmp_path: Path) -> None:
    stream = Stream(hosts, tmp_path, 0.01, 20)
    camera, operator, joining = stream.camera(range(LATER)), stream.operator(), stream.joining()
    begun = stream.wait_for_joined(lambda one: NOTHING not in one)
    camera.kill()
    stream.wait_for_joined(lambda one: one.camera == one.operator == NOTHING, since=begun)
    camera = stream.camera(range(LATER, 2 * LATER))
    camera.wait_until_ready()
    stream.wait_for_joined(lambda one: min(one.camera.number, one.operator.number) > LATER)
    assert joining.interrupt() == 0, joining.said()

    joined = stream.joined()
    assert_goes_on(joined)
    again = [one for one in joined if one.camera.number >= LATER]
    whole = [one for one in again if one.operator.number >= LATER]
    camera_late, operator_late = (one[0].camera.number - LATER for one in (again, whole))
    print(f"the camera's side is back {camera_late / RATE:.2f} s after its host, "
          f"the operator's {operator_late / RATE:.2f} s")
    assert camera_late <= BACK
    assert operator_late <= 2 * BACK  # its host has to call the camera's first
    assert share_in_step(whole) >= 0.9

    assert camera.interrupt() == 0, camera.said()
    assert operator.interrupt() == 0, operator.said()
