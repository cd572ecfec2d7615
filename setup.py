"""Build the Python package velmor: CMake builds its modules, setuptools puts them into a wheel."""

import atexit
import os
import re
import shutil
import subprocess
import sys
import tempfile
from importlib import metadata
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

SOURCES = Path(__file__).resolve().parent

# A build folder of CMake that is configured already, whose objects are used again.
CONFIGURED = os.environ.get("VELMOR_BUILD_FOLDER")


def version() -> str:
    """Read the version, which stands in CMakeLists.txt alone."""
    found = re.search(r"project\(velmor\s+VERSION (\S+)", (SOURCES / "CMakeLists.txt").read_text())
    if not found:
        raise RuntimeError("setup.py: CMakeLists.txt names no version")
    return found[1]


def requirements() -> list[str]:
    """Return what the package needs: arrays of numpy 2 are known to pybind11 2.12 and later."""
    first = metadata.version("numpy").split(".")[0]
    return ["numpy>=1.24,<2" if first == "1" else "numpy>=1.24"]


def build_folder() -> Path:
    """Return a folder in build/, or one that is removed in the end where sources are read-only."""
    if CONFIGURED:
        return Path(CONFIGURED).resolve()
    if os.access(SOURCES, os.W_OK):
        return SOURCES / "build" / sys.implementation.cache_tag
    folder = tempfile.mkdtemp(prefix="velmor-")
    atexit.register(shutil.rmtree, folder, ignore_errors=True)
    return Path(folder)


def cmake(*arguments: str) -> None:
    """Run cmake; where it fails, show its first errors rather than all that it said."""
    if not shutil.which("cmake"):
        raise SystemExit("velmor: expected cmake to be installed, found none in the path")
    command = ["cmake", *arguments]
    done = subprocess.run(
        command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, encoding="utf-8", errors="replace"
    )
    if done.returncode:
        lines = done.stdout.splitlines()
        error = re.compile("CMake Error|error:|FAILED")
        first = next((i for i, line in enumerate(lines) if error.search(line)), 0)
        shown = "\n".join(lines[max(first - 3, 0) : first + 15])
        raise SystemExit(f"velmor: '{' '.join(command)}' failed:\n{shown}")


class BuildWithCMake(build_ext):
    """Build and install the modules of the wheel, and the libraries that they hold."""

    def run(self) -> None:
        folder = str(BUILD)
        if not CONFIGURED:
            cmake(
                "-S", str(SOURCES), "-B", folder,
                "-DCMAKE_BUILD_TYPE=Release",
                "-DVELMOR_BUILD_TESTS=OFF",
                "-DVELMOR_BUILD_EXAMPLES=OFF",
                "-DVELMOR_BUILD_GSTREAMER=OFF",
                "-DVELMOR_BUILD_WHEEL=ON",
                f"-DPython3_EXECUTABLE={sys.executable}",
            )
        processors = str(len(os.sched_getaffinity(0)))
        cmake("--build", folder, "--target", "velmor_python_wheel", "--parallel", processors)
        package = str(Path(self.get_ext_fullpath("velmor._core")).parent)
        cmake("--install", folder, "--component", "python_wheel", "--strip", "--prefix", package)


BUILD = build_folder()
if shutil.which("ninja"):  # which builds the objects alone, without the shared libraries
    os.environ.setdefault("CMAKE_GENERATOR", "Ninja")
OWN = BUILD / "setuptools"
OWN.mkdir(parents=True, exist_ok=True)

setup(
    version=version(),
    install_requires=requirements(),
    ext_modules=[Extension("velmor._core", [])],  # so that the wheel is for this machine's kind
    cmdclass={"build_ext": BuildWithCMake},
    options={
        "build": {"build_base": str(OWN)},
        "egg_info": {"egg_base": str(OWN)},
        "bdist_wheel": {"bdist_dir": str(OWN / "wheel")},
    },
)
