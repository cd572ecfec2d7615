"""Both sides of the joined picture show what the camera took at once, and nothing is lost."""

from pathlib import Path

from hosts import Hosts
from pictures import NOTHING, RATE, share_in_step
from stream import OPERATOR, Stream

COUNT = 5 * RATE


def test_both_sides_show_each_picture_at_once_though_packets_are_lost(
        hosts: Hosts, tmp_path: Path) -> None:
    stream = Stream(hosts, tmp_path, 0.05, 20)
    joining, operator = stream.joining(), stream.operator()
    joining.wait_until_ready()
    operator.wait_until_ready()
    camera = stream.camera(range(COUNT))
    # What no packet follows is not missed where it is lost, so the last pictures may not come.
    stream.wait_for_joined(lambda one: min(one.camera.number, one.operator.number) >= COUNT - 3)
    assert camera.wait() == 0, camera.said()
    assert operator.interrupt() == 0, operator.said()
    assert joining.interrupt() == 0, joining.said()

    joined = stream.joined()
    # Hosts call four times a second, and each waits for a picture that stands alone: two a second.
    begun = next(index for index, one in enumerate(joined) if NOTHING not in one)
    assert joined[begun].camera.number < 3 * RATE
    both = [one for one in joined[begun:] if one.camera != NOTHING or one.operator != NOTHING]
    assert all(one.operator.is_complement and not one.camera.is_complement for one in both)
    assert share_in_step(both) >= 0.9
    numbers = [one.camera.number for one in both]
    assert numbers == sorted(numbers)
    # The joined pictures have a clock of their own: where a picture comes just between two of them,
    # one is shown twice and the next one not. Without what is sent again, a third would be missing.
    missing = set(range(numbers[0], COUNT)) - set(numbers)
    assert len(missing) <= COUNT // 10, missing


def test_slow_operator_misses_pictures_and_does_not_lag(hosts: Hosts, tmp_path: Path) -> None:
    stream = Stream(hosts, tmp_path, 0, 1)
    joining = stream.joining()
    operator = stream.operator(f"{OPERATOR} ! identity sleep-time=100000")
    operator.wait_until_ready()
    camera = stream.camera(range(20 * RATE))
    # At ten pictures a second it would be behind by more than two seconds by then.
    stream.wait_for_joined(lambda one: one.camera.number >= 4 * RATE and
                           one.camera.number - one.operator.number < RATE)
    for host in (joining, operator, camera):
        assert host.interrupt() == 0, host.said()
