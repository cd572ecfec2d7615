"""MotionSegment, against its formula in numpy. Its clock is the process's computing time."""

import gc
import time

import numpy as np
import pytest
import velmor
from operators import huge, in_threads, layouts, refused
from support import random_picture

DURATION = 0.4


def grey(values):
    """Give a colour frame whose grey values are these."""
    return np.repeat(np.asarray(values, np.uint8)[..., None], 3, axis=2)


def compute(seconds):
    """Let the process compute for a while."""
    end = time.process_time() + seconds
    while time.process_time() < end:
        pass


def test_pixels_that_change_by_more_than_20_move():
    motion = velmor.MotionSegment(40, 30)
    history = np.zeros((30, 40), np.float32)
    before = np.zeros((30, 40), int)
    for seed in range(6):
        values = np.clip(before + random_picture(30, 40, seed=seed) % 81 - 40, 0, 255)
        first = time.process_time()
        shown = motion.process(grey(values))
        last = time.process_time()
        moving = np.abs(values - before) > 20
        assert 0.1 < moving.mean() < 0.9
        stamps = motion.history
        [stamp] = np.unique(stamps[moving])
        assert first - 1e-5 <= stamp <= last + 1e-5
        assert (shown[moving] == 255).all()
        history[moving] = stamp
        history[~moving & (history < np.float32(stamp - DURATION))] = 0
        assert np.array_equal(stamps, history)
        exact = 255 * (history.astype(float) + DURATION - stamp) / DURATION
        faded = np.where(history == 0, 0, np.clip(np.rint(exact), 0, 255))
        assert np.abs(shown - faded).max() <= 1  # floats are rounded, and so is their sum
        before = values


def test_motion_fades_with_computing_time_and_ends():
    motion = velmor.MotionSegment(8, 8)
    still = grey(np.full((8, 8), 100))
    assert (motion.process(still) == 255).all()
    compute(0.1)
    shown, now = motion.process(still), time.process_time()
    assert (shown == shown[0, 0]).all()
    assert shown[0, 0] == pytest.approx(255 * (1 - (now - motion.history[0, 0]) / DURATION), abs=3)
    assert shown[0, 0] < 200
    compute(DURATION)
    assert not motion.process(still).any()
    assert not motion.history.any()


def test_frames_are_blue_green_and_red():
    # Of 100 the weights of blue, green and red make 11, 59 and 30.
    frame = np.zeros((1, 3, 3), np.uint8)
    frame[0, range(3), range(3)] = 100
    assert velmor.MotionSegment(3, 1).process(frame).tolist() == [[0, 255, 255]]


def test_the_history_is_a_read_only_view_that_keeps_the_object_alive():
    motion = velmor.MotionSegment(9, 7)
    history = motion.history
    assert history.shape == (7, 9) and history.dtype == np.float32
    assert not history.any() and not history.flags.writeable and not history.flags.owndata
    motion.process(np.full((7, 9, 3), 255, np.uint8))
    assert (history > 0).all()
    assert np.shares_memory(history, motion.history)
    kept = history.copy()
    del motion
    gc.collect()
    velmor.MotionSegment(9, 7)
    assert np.array_equal(history, kept)


def test_any_layout_and_any_out():
    frames = [random_picture(20, 30, 3, seed=seed) for seed in range(2)]
    moved = np.abs(
        np.diff([frame.astype(float) @ [0.114, 0.587, 0.299] for frame in frames], axis=0)[0]
    )
    clear, moves = np.abs(moved - 20) > 1.5, moved > 20
    for name, second in layouts(frames[1]).items():
        for out_name, out in layouts(np.full((20, 30), 9, np.uint8)).items():
            if out_name == "read-only":
                continue
            motion = velmor.MotionSegment(30, 20)
            motion.process(frames[0])
            stamp = motion.history.max()
            compute(0.001)  # stamps are floats: two of the same moment may be equal
            assert motion.process(second, out=out) is out, (name, out_name)
            newest = motion.history > stamp
            assert np.array_equal(newest[clear], moves[clear]), (name, out_name)
            assert (out[newest] == 255).all(), (name, out_name)


def test_out_may_lie_in_the_frame():
    frame = grey(random_picture(20, 30))
    memory = frame.copy()
    out = memory.reshape(-1)[1:601].reshape(20, 30)
    motion = velmor.MotionSegment(30, 20)
    motion.process(memory, out=out)
    assert np.array_equal(out == 255, frame[..., 0] > 20)
    assert np.array_equal(motion.history > 0, frame[..., 0] > 20)


def test_the_centre_of_mass_is_weighted_by_the_bytes():
    image = random_picture(31, 45)
    y, x = np.indices(image.shape)
    total = image.sum()
    motion = velmor.MotionSegment(3, 2)
    expected = ((x * image).sum() / total, (y * image).sum() / total)
    assert motion.mass_center(image) == pytest.approx(expected, rel=1e-14)
    for same in layouts(image).values():
        assert motion.mass_center(same) == pytest.approx(expected, rel=1e-14)
    assert all(np.isnan(motion.mass_center(np.zeros((4, 5), np.uint8))))


def test_sizes_are_checked():
    def make(*size):
        return lambda: velmor.MotionSegment(*size)

    for size in ((0, 5), (5, 0), (-1, 5), (2**27, 1), (2**31, 1), (1, 2**31)):
        with pytest.raises(
            ValueError, match=r"^velmor\.MotionSegment\(\): expected (width|height) from 1 to"
        ):
            make(*size)()
    refused(
        make(23171, 23171),
        "velmor.MotionSegment(): expected less than 2**29 pixels, got 23171 x 23171",
    )
    refused(
        make(2**27 - 1, 2**31 - 1),
        "velmor.MotionSegment(): expected less than 2**29 pixels, got 134217727 x 2147483647",
    )
    refused(
        make(2.5, 1),
        "velmor.MotionSegment(): expected width from 1 to 134217727, a whole number, got 2.5",
    )
    assert velmor.MotionSegment(1, 1).process(np.full((1, 1, 3), 9, np.uint8)).tolist() == [[0]]


def test_frames_are_checked():
    motion = velmor.MotionSegment(5, 4)
    refused(
        lambda: motion.process(np.zeros((5, 4, 3), np.uint8)),
        "velmor.MotionSegment.process(): expected frames of shape (4, 5, 3), got uint8 "
        "of shape (5, 4, 3)",
    )
    takes = (
        "velmor.MotionSegment.process(): expected an array of bool or uint8 of "
        "shape (height, width, 3), got "
    )
    refused(lambda: motion.process(np.zeros((4, 5), np.uint8)), takes + "uint8 of shape (4, 5)")
    refused(lambda: motion.process(np.zeros((4, 5, 3))), takes + "float64 of shape (4, 5, 3)")
    refused(
        lambda: motion.process(np.zeros((4, 5, 3), np.uint8), out=np.zeros((4, 5))),
        "velmor.MotionSegment.process(): expected out to be uint8 of shape (4, 5), got "
        "float64 of shape (4, 5)",
    )
    for wrong in (huge(2**30, 2**30, 3), np.zeros((0, 5, 3), np.uint8), None):
        with pytest.raises(
            ValueError, match=r"^velmor\.MotionSegment\.process\(\): expected an array"
        ):
            motion.process(wrong)
    with pytest.raises(
        ValueError, match=r"^velmor\.MotionSegment\.mass_center\(\): expected an array"
    ):
        motion.mass_center(np.zeros((4, 5, 3), np.uint8))
    assert not motion.history.any()


def test_threads_share_an_object():
    # So large that a thread is still at work when the next one comes.
    motion = velmor.MotionSegment(4000, 3000)
    frames = [grey(np.full((3000, 4000), value)) for value in (60, 120, 180)]
    for given in in_threads(
        [lambda frame=frame: motion.process(frame) for frame in frames], rounds=5
    ):
        # Each frame is of one grey: all of it moves, or what moved before fades.
        assert all((each == each[0, 0]).all() for each in given)
    assert len(np.unique(motion.history)) == 1
