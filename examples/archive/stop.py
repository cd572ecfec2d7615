"""Ctrl-C and SIGTERM, which end a run wherever it is."""

from __future__ import annotations

import signal
import sys
from types import FrameType


class Stopped(BaseException):
    """Says which signal ends the run."""

    def __init__(self, by: int) -> None:
        super().__init__(signal.Signals(by).name)
        self.by = by


class Stop:
    """Takes both signals from now on.

    Python drops what a signal raises while an object is being deleted, as the futures of Dask are
    all the time. So a run also looks now and then whether there was one.
    """

    def __init__(self) -> None:
        self._by: int | None = None
        for by in (signal.SIGINT, signal.SIGTERM):
            if signal.getsignal(by) != signal.SIG_IGN:  # as it is in the background of a script
                signal.signal(by, self._take)
        sys.unraisablehook = _tell_dropped

    def _take(self, by: int, _: FrameType | None) -> None:
        self._by = by
        self.check()

    def check(self) -> None:
        """Raise Stopped if there was a signal."""
        if self._by is not None:
            raise Stopped(self._by)


def _tell_dropped(dropped: sys.UnraisableHookArgs) -> None:
    if dropped.exc_type is not Stopped:
        sys.__unraisablehook__(dropped)
