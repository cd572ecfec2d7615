"""The module itself, the driver's adapter, the guard of OpenGL's state, and contexts of other libraries."""

import ctypes
import gc
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest
from support import PATIENCE, random_picture, run_python
from velmor import gl

VIEWPORT, ACTIVE_TEXTURE, FRAMEBUFFER = 0x0BA2, 0x84E0, 0x8CA6


@pytest.fixture
def opengl():
    return ctypes.CDLL("libGL.so.1")


def state_of(opengl, name):
    values = (ctypes.c_int * 4)()
    opengl.glGetIntegerv(name, values)
    return list(values)


def invert():
    array = random_picture(5, 7, 4)
    source, result = gl.Texture.from_array(array), gl.Texture(7, 5, gl.Format.RGBA8)
    filter = gl.Not()
    filter.prepare_execution(source, result)
    filter.execute()
    assert np.array_equal(result.to_array(), 255 - array)


def test_importing_velmor_imports_no_opengl_and_prints_nothing():
    assert run_python("import velmor, sys; assert 'velmor._gl' not in sys.modules; import velmor.gl") == ""


def test_without_opengl_the_import_says_what_is_missing():
    out = run_python("""
import sys
sys.modules["velmor._gl"] = None  # as where a library that it needs is missing
import velmor
try:
    import velmor.gl
except ImportError as error:
    print(error)
""")
    assert out.startswith("velmor.gl needs OpenGL, with the libraries GL, EGL, GLU, GLEW and glut: ")


def test_the_adapter_tells_what_it_found():
    with gl.Context(adapt_driver=False):
        report = gl.DriverAdapter.install()
        assert len(report.findings) > 3
        for finding in report.findings:
            assert finding.expectation
            assert finding.outcome in gl.DriverAdapter.Outcome.__members__.values()
            assert bool(finding.detail) == (finding.outcome != gl.DriverAdapter.Outcome.ACCEPTED)
            assert finding.expectation in str(report)
        always = gl.DriverAdapter.install(always=True)
        assert not [each for each in always.findings if each.outcome == gl.DriverAdapter.Outcome.ACCEPTED
                    and each.detail]
        gl.DriverAdapter.install()


def test_the_adapter_comes_and_goes():
    with gl.Context():
        report = gl.DriverAdapter.install()
        needed = [each for each in report.findings if each.outcome == gl.DriverAdapter.Outcome.ADAPTED]
        gl.DriverAdapter.remove()
        if needed:  # a driver that does all itself makes the filter both ways
            with pytest.raises(RuntimeError, match=r"^velmor.gl.PixelCount\(\): expected a "):
                gl.PixelCount()
        gl.DriverAdapter.install()
        gl.PixelCount()


def test_what_the_adapter_gave_needs_no_context():
    with gl.Context():
        report = gl.DriverAdapter.install()
    assert str(report) and report.findings[0].expectation
    for never in (gl.DriverAdapter.Report, gl.DriverAdapter.Finding):
        with pytest.raises(TypeError):
            never()


def test_a_guard_puts_back_what_a_filter_changes(opengl):
    with gl.Context():
        opengl.glViewport(1, 2, 3, 4)
        opengl.glActiveTexture(0x84C3)
        with gl.StateGuard():
            invert()
            assert state_of(opengl, VIEWPORT) == [0, 0, 7, 5]
        assert state_of(opengl, VIEWPORT) == [1, 2, 3, 4]
        assert state_of(opengl, ACTIVE_TEXTURE)[0] == 0x84C3
        invert()
        assert state_of(opengl, VIEWPORT) == [0, 0, 7, 5]


def test_guards_are_used_once_at_a_time():
    with gl.Context():
        guard = gl.StateGuard()
        with pytest.raises(RuntimeError, match=r"^velmor.gl.StateGuard.__exit__\(\): expected __enter__"):
            guard.__exit__(None, None, None)
        with guard:
            with pytest.raises(RuntimeError, match=r"^velmor.gl.StateGuard.__enter__\(\): expected a guard that is not"):
                guard.__enter__()
            with gl.StateGuard():
                invert()
        with guard:
            invert()


def test_a_guard_ends_in_its_context():
    with gl.Context():
        guard = gl.StateGuard().__enter__()
        with gl.Context():
            with pytest.raises(RuntimeError, match="expected its context to be current, got another one"):
                guard.__exit__(None, None, None)
        guard.__exit__(None, None, None)
    with gl.Context() as context:
        with gl.StateGuard():
            context.close()


def test_what_was_dropped_changes_no_state_when_it_goes(opengl):
    with gl.Context():
        filter = gl.Not()
        texture = gl.Texture(3, 3, gl.Format.R32F)
        name = (ctypes.c_uint * 1)()
        opengl.glGenFramebuffers(1, name)
        opengl.glBindFramebuffer(0x8D40, name[0])
        del filter
        gc.collect()
        texture.to_array()  # the filter is deleted here
        assert state_of(opengl, FRAMEBUFFER)[0] == name[0]


class ForeignContext:
    """A context that another library has made, here EGL itself."""

    def __init__(self):
        self.egl = egl = ctypes.CDLL("libEGL.so.1")
        pointer = ctypes.c_void_p
        for name in ("eglGetProcAddress", "eglCreateContext"):
            getattr(egl, name).restype = pointer
        egl.eglInitialize.argtypes = [pointer] * 3
        egl.eglChooseConfig.argtypes = [pointer, pointer, pointer, ctypes.c_int, pointer]
        egl.eglCreateContext.argtypes = egl.eglMakeCurrent.argtypes = [pointer] * 4
        egl.eglDestroyContext.argtypes = [pointer] * 2
        address = egl.eglGetProcAddress(b"eglGetPlatformDisplayEXT")
        get_display = ctypes.CFUNCTYPE(pointer, ctypes.c_uint, pointer, pointer)(address)
        self.display = get_display(0x31DD, None, None)  # EGL_PLATFORM_SURFACELESS_MESA
        assert egl.eglInitialize(self.display, None, None)
        assert egl.eglBindAPI(0x30A2)  # EGL_OPENGL_API
        config, count = pointer(), ctypes.c_int()
        attributes = (ctypes.c_int * 3)(0x3040, 8, 0x3038)  # EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT
        assert egl.eglChooseConfig(self.display, attributes, ctypes.byref(config), 1, ctypes.byref(count))
        self.context = egl.eglCreateContext(self.display, config, None, None)
        self.make_current(self.context)

    def make_current(self, context):
        assert self.egl.eglMakeCurrent(self.display, None, None, context)

    def close(self):
        self.make_current(None)
        assert self.egl.eglDestroyContext(self.display, self.context)


@pytest.fixture
def foreign():
    context = ForeignContext()
    yield context
    context.close()


def test_a_context_of_another_library_is_adopted(foreign):
    with pytest.raises(RuntimeError, match="got one of another library: see Context.adopt()"):
        gl.Not()
    context = gl.Context.adopt()
    assert gl.Context.adopt() is context
    invert()
    counter = gl.PixelCount()
    mask, sums = gl.Texture.from_array(np.ones((64, 64), np.float32)), gl.Texture(64, 64, gl.Format.R32UI)
    counter.prepare_execution(mask, sums)
    counter.execute()
    assert counter.get_count() == 64 * 64
    foreign.make_current(None)
    for call in (counter.execute, context.make_current):
        with pytest.raises(RuntimeError, match="got none|not current"):
            call()
    foreign.make_current(foreign.context)
    counter.execute()
    context.close()
    with pytest.raises(RuntimeError, match="got one that is closed"):
        counter.execute()
    with gl.Context.adopt():
        invert()


def test_an_adopted_context_that_is_gone_is_forgotten(foreign):
    context = gl.Context.adopt()
    texture = gl.Texture(3, 3, gl.Format.R32F)
    foreign.make_current(None)
    context.close()
    with pytest.raises(RuntimeError, match="got one that is closed"):
        texture.to_array()


def test_adopting_needs_a_foreign_context():
    with pytest.raises(RuntimeError, match=r"^velmor.gl.Context.adopt\(\): expected an OpenGL context to be current"):
        gl.Context.adopt()
    with gl.Context():
        with pytest.raises(RuntimeError, match="expected a context of another library to be current, got one of velmor"):
            gl.Context.adopt()


def test_a_window_of_another_toolkit_is_adopted():
    script = """
import ctypes
import re
import numpy as np
from velmor import gl

with open("/proc/self/maps", encoding="ascii") as maps:  # the toolkit that the filters can draw windows with
    glut = ctypes.CDLL(re.search(r"/\\S*libglut\\S*", maps.read()).group())
glut.glutInit(ctypes.byref(ctypes.c_int(1)), (ctypes.c_char_p * 2)(b"window", None))
glut.glutCreateWindow(b"window")
context = gl.Context.adopt()
array = np.arange(140, dtype=np.uint8).reshape(5, 7, 4)
source, result = gl.Texture.from_array(array), gl.Texture(7, 5, gl.Format.RGBA8)
filter = gl.Not()
with gl.StateGuard():
    filter.prepare_execution(source, result)
    filter.execute()
assert np.array_equal(result.to_array(), 255 - array)
try:
    gl.Context()  # EGL makes none current beside a window's
except RuntimeError as error:
    print("refused:", error)
assert np.array_equal(result.to_array(), 255 - array)
"""
    with_display = Path(__file__).parent.parent / "support" / "with-display.sh"
    done = subprocess.run([with_display, sys.executable, "-c", script], capture_output=True, text=True,
                          timeout=PATIENCE, check=False)
    assert (done.returncode, done.stderr) == (0, "")
    assert "refused: velmor.gl.Context(): cannot make an OpenGL context; " in done.stdout
