"""Makes the calls that an input of a fuzzer stands for; tests/fuzz/PythonFuzz.cpp calls one()."""

import os
import shutil
import sys
import warnings

import calls
import numpy as np
from child import Caller, make_round
from hypothesis import HealthCheck, given, settings

CASCADE = "/usr/share/opencv4/lbpcascades/lbpcascade_frontalface_improved.xml"


class Printed:
    """What is called now, for a person who runs one input again."""

    def __init__(self) -> None:
        self._is_wanted = "VELMOR_FUZZ_INPUT" in os.environ

    def write(self, what: str) -> None:
        if self._is_wanted:
            print(what, file=sys.stderr, flush=True)


_caller = Caller(Printed())


@settings(deadline=None, database=None, suppress_health_check=list(HealthCheck))
@given(calls.rounds())
def _round(drawn: tuple) -> None:
    make_round(_caller, *drawn)


def one(data: bytes) -> None:
    _round.hypothesis.fuzz_one_input(data)


def begin() -> None:
    """Work in a folder without files but a cascade."""
    warnings.simplefilter("ignore")
    np.seterr(all="ignore")
    shutil.rmtree("calls", ignore_errors=True)
    os.mkdir("calls")
    os.chdir("calls")
    shutil.copy(CASCADE, "cascade.xml")
