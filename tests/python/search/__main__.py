"""Searches for arguments that end the process, or that raise what no caller expects.

    python3 tests/python/search [seconds] [seed]

A child process makes calls with arguments that hypothesis draws, and notes each before it is made. A call may return,
or raise one of the errors that child.py lists. When the process dies or hangs, or when a call raises something else, the
call is printed.
"""

import os
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

CASCADE = "/usr/share/opencv4/lbpcascades/lbpcascade_frontalface_improved.xml"
NOTE_BYTES = 1 << 16


def search(seconds: float, first: int) -> int:
    with tempfile.TemporaryDirectory() as folder, tempfile.NamedTemporaryFile() as note:
        note.truncate(NOTE_BYTES)
        shutil.copy(CASCADE, f"{folder}/cascade.xml")
        program = Path(__file__).resolve().with_name("child.py")
        command = [sys.executable, "-X", "faulthandler", program, note.name, str(seconds), str(first)]
        try:
            # What operators print is of no interest.
            ended = subprocess.run(
                command, timeout=seconds + 120, cwd=folder, stdout=subprocess.DEVNULL
            ).returncode
        except subprocess.TimeoutExpired:
            ended = "hung"
        if ended:
            note.seek(0)
            last = note.read().split(b"\0")[0].decode()
            print(f"search: the process ended with {ended}; its last call: {last}; the seed was {first}")
    return 1 if ended else 0


if __name__ == "__main__":
    sys.exit(
        search(
            float(sys.argv[1]) if len(sys.argv) > 1 else 20,
            int(sys.argv[2]) if len(sys.argv) > 2 else int.from_bytes(os.urandom(4), "little"),
        )
    )
