"""The stubs agree with the modules, and the package and the examples with mypy --strict."""

import os
import re
import subprocess
import sys
from pathlib import Path

import pytest
import velmor

SOURCES = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(SOURCES / "python"))

import stubs  # noqa: E402


@pytest.fixture(scope="module")
def cache(tmp_path_factory):
    return tmp_path_factory.mktemp("mypy")


def mypy(*arguments, **environment):
    """Run a program of mypy in the sources, which it leaves as they are."""
    return subprocess.run(
        [sys.executable, "-m", *map(str, arguments)], cwd=SOURCES, text=True,
        stdout=subprocess.PIPE, stderr=subprocess.STDOUT, env=os.environ | environment,
    )  # fmt: skip


def test_stubs_say_what_the_modules_say():
    folder = SOURCES / "python" / "src" / "velmor"
    written = {file.name: file.read_text() for file in folder.glob("*.pyi")}
    assert written == stubs.stubs(), "run python/stubs.py"


def test_nothing_is_missing_in_stubs(tmp_path, cache):
    # Classes of pybind11 have a metaclass that stubs do not name; their members are compared. Filters without parameters
    # share the constructor of their base, to which each gives its name.
    allowed = tmp_path / "allowed"
    allowed.write_text(r"velmor\.(\w+\.)?[A-Z]\w*(\.[A-Z]\w*)?" "\n" r"velmor\._?gl\.[\w.]+\.__init__" "\n")
    config = tmp_path / "mypy.ini"
    config.write_text(f"[mypy]\ncache_dir = {cache}\n")
    done = mypy("mypy.stubtest", "velmor", "--allowlist", allowed, "--mypy-config-file", config,
                MYPYPATH="python/src", MYPY_CACHE_DIR=str(cache))
    assert done.returncode == 0, done.stdout


def test_package_and_examples_keep_to_their_types(cache):
    done = mypy("mypy", f"--cache-dir={cache}")
    assert done.returncode == 0, done.stdout


@pytest.mark.parametrize(
    ("call", "error"),
    [
        ("velmor.not_(picture)", None),
        ("velmor.not_(memoryview(b''), out=picture, dtype='float32')", None),
        ("velmor.ColourModel.load('skin')", None),
        ("velmor.Moments().find(picture)[0].major_axis + 1.0", None),
        ("velmor.Moments().find(picture, structured=True)['area']", None),
        ("velmor.not_([[1, 2]])", "list"),
        ("velmor.not_(picture, region=(0, 0, 1, 1))", "region"),
        ("velmor.colour_hist2d(picture, format='hls')", "hls"),
        ("velmor.Moments().find(picture)['area']", "str"),
        ("velmor.nothing(picture)", "nothing"),
    ],
)
def test_a_call_is_judged(tmp_path, cache, call, error):
    file = tmp_path / "call.py"
    file.write_text(f"import numpy as np\nimport velmor\npicture = np.zeros((3, 3), np.uint8)\n{call}\n")
    done = mypy("mypy", f"--cache-dir={cache}", file)
    if error is None:
        assert done.returncode == 0, done.stdout
    else:
        assert done.returncode == 1
        assert re.search(rf"call.py:4: error: .*{error}", done.stdout, re.I), done.stdout


def test_all_public_names_are_announced():
    assert set(velmor.__all__) == {name for name in dir(velmor) if not name.startswith("_")} - {"blobs", "gl"}


def test_the_version_stands_in_one_place():
    found = re.search(r"project\(velmor\s+VERSION (\S+)", (SOURCES / "CMakeLists.txt").read_text())
    assert found and velmor.__version__ == found[1]
