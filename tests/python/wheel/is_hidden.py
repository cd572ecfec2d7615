"""Check that libraries cannot be loaded, and that the installed package is the one imported."""

import ctypes
import sys
from pathlib import Path

for file in sys.argv[1:]:
    try:
        ctypes.CDLL(file)
    except OSError:
        continue
    sys.exit(f"{file} is not hidden")
print(len(sys.argv) - 1, "libraries are hidden")

import velmor  # noqa: E402

if not Path(velmor.__file__).is_relative_to(sys.prefix):
    sys.exit(f"imported is {velmor.__file__}, not what is installed in {sys.prefix}")
