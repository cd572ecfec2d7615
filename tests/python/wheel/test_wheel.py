"""The installed wheel: what it holds, and what it brings into a process."""

import importlib.metadata
import importlib.util
import os
import re
import subprocess
import sys
from pathlib import Path

import pytest
import velmor

PACKAGE = Path(velmor.__file__).parent

# What every Python on Linux has, or a compiler's runtime, which numpy needs as well.
RUNTIME = {"libc", "libm", "libpthread", "libdl", "ld-linux-x86-64", "libstdc++", "libgcc_s"}
# What is the machine's own, as its driver and its display are.
GRAPHICS = {"libGL", "libGLX", "libOpenGL", "libEGL", "libGLU", "libGLEW", "libglut"}

USE = """
import numpy as np
import velmor
picture = np.random.default_rng(1).integers(0, 256, (480, 640, 3), np.uint8)
assert np.array_equal(velmor.not_(picture), 255 - picture)
velmor.bgr2hsv(picture.astype(np.float32))
"""
MAPS = """
for line in open("/proc/self/maps"):
    file = line.split(maxsplit=5)[5:]
    if file and ".so" in file[0]:
        print(file[0].strip())
"""
WITH_CV2 = """
import cv2
assert np.array_equal(cv2.bitwise_not(picture), velmor.not_(picture))
blurred = cv2.GaussianBlur(picture, (0, 0), 3)
assert np.array_equal(cv2.bitwise_not(blurred), velmor.not_(blurred))
assert np.array_equal(cv2.absdiff(picture, blurred), velmor.subtract(picture, blurred))
"""


def run(program: str) -> str:
    """Run a program in a process of its own, and return what it prints."""
    done = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True)
    assert done.returncode == 0 and not done.stderr, done.stderr
    return done.stdout


def libraries_of(program: str) -> set[str]:
    """Return the shared libraries that are in the process when a program ends."""
    return set(run(program + MAPS).split("\n")) - {""}


def name_of(library: str | Path) -> str:
    """Return the name of a library without its version."""
    return os.path.basename(library).split(".so")[0]


def dynamic(file: Path, entry: str) -> list[str]:
    """Return an entry of the dynamic section of a library."""
    listing = subprocess.run(["readelf", "-dW", file], capture_output=True, text=True, check=True)
    return re.findall(rf"\({entry}\).*\[(.*)\]", listing.stdout)


def modules() -> list[Path]:
    found = sorted(PACKAGE.glob("_*.so"))
    assert [file.name.split(".")[0] for file in found][0] == "_core"
    return found


def held() -> list[Path]:
    return sorted((PACKAGE / "libs").iterdir())


def test_nothing_of_opengl_x11_and_shared_opencv_comes_into_the_process():
    libraries = libraries_of(USE)
    print(len(libraries), "libraries, of which not numpy's:")
    for file in sorted(libraries - libraries_of("import numpy")):
        print(file, os.path.getsize(file))
    unwanted = re.compile(r"lib(GL|OpenGL|EGL|glut|X|xcb|opencv|wayland|gl[a-z]*api)[^/]*$")
    assert not [file for file in libraries if unwanted.search(file)]
    # A process that asks for them has them, so this test can find some.
    try:
        found = libraries_of("import ctypes\nctypes.CDLL('libX11.so.6')")
    except AssertionError:
        return  # they are hidden: nothing could have loaded them
    assert [file for file in found if unwanted.search(file)]


def test_beside_python_and_numpy_come_the_held_libraries_alone():
    brought = libraries_of(USE) - libraries_of("import numpy, numpy.linalg, numpy.random")
    own = {file for file in brought if Path(file).is_relative_to(PACKAGE) or "/lib-dynload/" in file}
    foreign = brought - own
    assert {name_of(file) for file in foreign} <= RUNTIME
    assert {name_of(file) for file in brought} >= {name_of(file) for file in held()}


@pytest.mark.parametrize("file", [*modules(), *held()], ids=lambda file: file.name)
def test_what_a_library_needs_is_held_or_is_everywhere(file):
    allowed = RUNTIME | {name_of(each) for each in held()}
    if file.name.startswith("_gl"):
        allowed |= GRAPHICS
    assert {name_of(needed) for needed in dynamic(file, "NEEDED")} <= allowed


def test_held_libraries_have_names_of_their_own():
    for file in held():
        assert dynamic(file, "SONAME") == [file.name]
        assert file.name.startswith("libvelmor_")


def test_licences_of_what_it_holds_go_along():
    texts = {file.stem: file.read_text() for file in (PACKAGE / "licenses").iterdir()}
    libraries = {"libblas", "libexpat1", "libhwy", "liblapack", "libopencv-core", "libtbb", "pybind11", "zlib1g"}
    assert texts.keys() == {"Apache-2.0", *(f"{name}-dev" for name in libraries)}
    for name, text in texts.items():
        assert ("Apache License" if name == "Apache-2.0" else "Copyright") in text


@pytest.mark.parametrize("file", modules(), ids=lambda file: file.name)
def test_a_module_exports_its_beginning_alone(file):
    command = ["nm", "--dynamic", "--defined-only", "--format=posix", file]
    listing = subprocess.run(command, capture_output=True, text=True, check=True).stdout
    name = file.name.split(".")[0]
    assert [line.split()[0] for line in listing.splitlines()] == [f"PyInit_{name}"]


def needs(module: str, package: str) -> pytest.MarkDecorator:
    """Mark a test that takes another module."""
    missing = importlib.util.find_spec(module) is None
    return pytest.mark.skipif(missing, reason=f"{package} is not installed")


@needs("cv2", "python3-opencv")
@pytest.mark.parametrize("first", ["cv2", "numpy", "velmor"])
def test_cv2_works_in_the_same_process(first):
    run(f"import {first}" + USE + WITH_CV2)


@needs("cv2", "python3-opencv")
def test_cv2_keeps_its_own_number_of_threads():
    run("import cv2, velmor\ncv2.setNumThreads(2)\nvelmor.set_num_threads(1)\n"
        "assert (cv2.getNumThreads(), velmor.get_num_threads()) == (2, 1)")


@needs("torch", "python3-torch")
@pytest.mark.parametrize("first", ["torch", "velmor"])
def test_torch_works_in_the_same_process(first):
    run(f"import {first}" + USE + "import torch\n"
        "tensor = torch.from_numpy(picture)\n"
        "assert np.array_equal((255 - tensor).numpy(), velmor.not_(picture))")


def test_records_cross_between_the_modules():
    """Each of the two holds a copy of all that it calls."""
    run(USE + """
from velmor import gl
model = velmor.ColourModel([0.5, 0.5], [(200, 100)] * 2, [np.eye(2) * 25] * 2, 1e-4)
picture = np.zeros((9, 8, 3), np.uint8)
picture[2:4, 1:3] = (203, 97, 50)
with gl.Context():
    source = gl.Texture.from_array(picture)
    mask = gl.Texture(8, 9, gl.Format.GREY8)
    skin = gl.ColorGMM(model, binary=True)
    skin.prepare_execution(source, mask)
    skin.execute()
    assert np.array_equal(mask.to_array(), velmor.ColorGMM(model, binary=True)(picture))
    counter = gl.ColorHistShader()
    counter.prepare_execution(source, source, gl.Texture(8, 9, gl.Format.RGBA32F))
    counter.execute()
    assert isinstance(counter.copy_histo_from_gpu(), velmor.ColourHistogram)
""")


def test_the_version_is_that_of_the_distribution():
    assert importlib.metadata.version("velmor") == velmor.__version__ == os.environ["VERSION"]


def test_types_are_announced():
    assert (PACKAGE / "py.typed").is_file()
    for module in modules():
        assert (PACKAGE / f"{module.name.split('.')[0]}.pyi").is_file()
