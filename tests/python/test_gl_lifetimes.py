"""Contexts, and what is in them: every order of their ends, other threads, forks, the interpreter's end."""

import gc
import itertools
import os
import subprocess
import sys
import threading
import time
import weakref

import numpy as np
import pytest
from support import IS_SANITIZED, PATIENCE, in_child, random_picture, weighs_memory
from velmor import gl

CLOSED = "expected a context that is open, got one that is closed"
OTHER_THREAD = "expected the thread that made the context, got another thread"
NOT_CURRENT = "expected its context to be current, got "
FORKED = "expected the process that used OpenGL first, got a fork of it, in which OpenGL does not work: "


class Everything:
    """A filter with its textures, which ran once, and all that can be called."""

    def __init__(self):
        self.array = random_picture(5, 7, 4)
        self.source = gl.Texture.from_array(self.array)
        self.result = gl.Texture(7, 5, gl.Format.RGBA8)
        self.filter = gl.Not()
        self.filter.prepare_execution(self.source, self.result)
        self.run()

    def run(self):
        self.filter.execute()
        assert np.array_equal(self.result.to_array(), 255 - self.array)

    def calls(self):
        return [
            lambda: self.source.to_array(),
            lambda: self.source.upload(self.array),
            lambda: self.filter.prepare_execution(self.source, self.result),
            lambda: self.filter.execute(),
        ]

    def all_raise(self, text):
        for call in self.calls():
            with pytest.raises(RuntimeError) as error:
                call()
            assert text in str(error.value)


def in_thread(function):
    """Call a function in another thread, and give what it gives or raise what it raises."""
    answers, errors = [], []

    def work():
        try:
            answers.append(function())
        except BaseException as error:
            errors.append(error)

    thread = threading.Thread(target=work)
    thread.start()
    thread.join()
    if errors:
        raise errors[0]
    return answers[0]


def test_a_context_says_what_it_runs_on():
    with gl.Context() as context:
        assert "OpenGL" in context.description
        assert not context.closed
    assert context.closed


def test_a_context_closes_more_than_once():
    context = gl.Context()
    context.close()
    context.close()
    with pytest.raises(RuntimeError, match=r"velmor.gl.Context.make_current\(\): " + CLOSED):
        context.make_current()
    with pytest.raises(RuntimeError, match=r"velmor.gl.Context.__enter__\(\): " + CLOSED):
        with context:
            pass


def test_a_machine_without_egl_raises():
    out = run_quietly("""
import os
os.environ["__EGL_VENDOR_LIBRARY_FILENAMES"] = "/dev/null"
from velmor import gl
try:
    gl.Context()
except RuntimeError as error:
    print(error)
""")
    assert out.startswith("velmor.gl.Context(): cannot make an OpenGL context; ")


def test_without_a_context_nothing_is_made():
    for call in (gl.Not, lambda: gl.Texture(1, 1, gl.Format.R32F), lambda: gl.StateGuard().__enter__(),
                 gl.DriverAdapter.install, gl.DriverAdapter.remove):
        with pytest.raises(RuntimeError, match="expected a context of velmor.gl to be current on this thread, got none"):
            call()


def test_what_is_in_a_closed_context_raises():
    with gl.Context():
        everything = Everything()
    everything.all_raise(CLOSED)
    assert everything.source.width == 7 and everything.source.format == gl.Format.RGBA8
    with gl.Context():
        everything.all_raise(CLOSED)


def test_what_is_in_another_threads_context_raises():
    with gl.Context() as context:
        everything = Everything()
        in_thread(lambda: everything.all_raise(OTHER_THREAD))
        for call in (context.close, context.make_current):
            with pytest.raises(RuntimeError, match=OTHER_THREAD):
                in_thread(call)

        def with_a_context_there():
            with gl.Context():
                everything.all_raise(OTHER_THREAD)

        in_thread(with_a_context_there)
        everything.run()


def test_the_inner_of_two_contexts_is_current_until_it_closes():
    with gl.Context() as outer:
        one = Everything()
        with gl.Context() as inner:
            one.all_raise(NOT_CURRENT + "another one")
            two = Everything()
            outer.make_current()
            one.run()
            two.all_raise(NOT_CURRENT + "another one")
            inner.make_current()
            two.run()
        one.run()
        two.all_raise(CLOSED)


def test_closing_what_is_not_current_leaves_the_other_current():
    with gl.Context() as first:
        one = Everything()
        with gl.Context():
            two = Everything()
            first.close()
            two.run()
            one.all_raise(CLOSED)
    with pytest.raises(RuntimeError, match="got none"):
        gl.Not()


def test_the_last_open_one_before_becomes_current():
    first = gl.Context()
    one = Everything()
    second, third = gl.Context(), gl.Context()
    second.close()
    third.close()
    one.run()
    first.close()


def test_textures_of_two_contexts_do_not_mix():
    with gl.Context():
        foreign = gl.Texture(7, 5, gl.Format.RGBA8)
        with gl.Context():
            everything = Everything()
            with pytest.raises(ValueError, match="expected textures of the filter's context, got one of another"):
                everything.filter.prepare_execution(foreign, everything.result)
            everything.run()


def test_a_filter_keeps_its_textures():
    with gl.Context():
        everything = Everything()
        source = weakref.ref(everything.source)
        del everything.source
        gc.collect()
        everything.run()
        assert source() is None  # Python's object went; what the filter draws from did not


def test_what_is_in_a_context_keeps_it():
    everything = [gl.Context()]
    everything.append(Everything())
    context = weakref.ref(everything[0])
    everything[0] = None
    gc.collect()
    assert context() is None
    everything[1].run()
    everything.clear()
    with pytest.raises(RuntimeError, match="got none"):
        gl.Not()


ENDS = """
import sys, gc
import numpy as np
from velmor import gl
context = gl.Context(adapt_driver=False)
source = gl.Texture.from_array(np.full((5, 7, 4), 3, np.uint8))
result = gl.Texture(7, 5, gl.Format.RGBA8)
filter = gl.Not()
filter.prepare_execution(source, result)
filter.execute()
guard = gl.StateGuard()
guard.__enter__()
for name in sys.argv[1].split():
    if name == "close":
        context.close()
    elif name == "leave":
        if not context.closed:
            guard.__exit__(None, None, None)
    else:
        del globals()[name]
        gc.collect()
"""


def run_quietly(script, *arguments):
    """Run a script in a Python of its own, which must not say anything on its error stream."""
    # Python 3.12 warns of forks beside threads, which drivers have.
    command = [sys.executable, "-W", "ignore:This process:DeprecationWarning", "-c", script, *arguments]
    done = subprocess.run(command, capture_output=True, text=True, timeout=120, check=False)
    assert (done.returncode, done.stderr) == (0, "")
    return done.stdout


@pytest.mark.parametrize("order", itertools.permutations(["context", "source", "result", "filter"]))
def test_any_order_of_ends(order, capfd):
    objects = {"context": gl.Context(adapt_driver=False)}
    everything = Everything()
    objects.update(vars(everything))
    del everything
    for name in order:
        del objects[name]
        gc.collect()
    with gl.Context(adapt_driver=False):
        Everything()
    assert capfd.readouterr().err == ""


@pytest.mark.parametrize("order", [
    "", "context source result filter", "filter result source context", "source filter context result", "close",
    "source close filter", "filter close", "guard", "leave guard close", "close leave guard",
    "guard context filter result source"])
def test_an_order_of_ends_before_the_interpreters_is_quiet(order):
    run_quietly(ENDS, order)


@pytest.mark.parametrize("script", [
    # the context in a cycle, which the end of the interpreter breaks
    "context = gl.Context(False); a = [gl.Not(), context]; a.append(a)",
    # held by a module that goes last
    "import sys; context = gl.Context(False); sys.kept = [gl.Not(), gl.Texture(3, 3, gl.Format.R32F), context]",
    # used by an exit handler that was registered before, and so runs after
    "",
    # in a thread that has ended
    "import threading; kept = []; t = threading.Thread(target=lambda: kept.extend([gl.Context(False), gl.Not()]))\n"
    "t.start(); t.join()",
    # in a thread that is still there
    "import threading; e = threading.Event()\n"
    "def work():\n    c = gl.Context(False); n = gl.Not(); e.set(); threading.Event().wait()\n"
    "threading.Thread(target=work, daemon=True).start(); e.wait()",
    # in a thread that works while the interpreter ends
    "import threading; e = threading.Event()\n"
    "def work():\n"
    "    c = gl.Context(False); n = gl.Not(); a, b = (gl.Texture(300, 300, gl.Format.RGBA32F) for _ in range(2))\n"
    "    n.prepare_execution(a, b)\n"
    "    while True:\n        n.execute(); e.set()\n"
    "threading.Thread(target=work, daemon=True).start(); e.wait()",
    # a guard that is never left
    "context = gl.Context(False); guard = gl.StateGuard(); guard.__enter__()",
    "import os; context = gl.Context(False); n = gl.Not(); os._exit(0)",
])
def test_the_end_of_the_interpreter_is_quiet(script):
    before = ("import atexit\nobjects = []\n"
              "def late():\n    try:\n        objects[0].to_array()\n    except RuntimeError as error:\n"
              "        print('late:', error)\n"
              "atexit.register(late)\n")
    if script:
        run_quietly("from velmor import gl\n" + script)
    else:
        text = run_quietly(before + "from velmor import gl\ncontext = gl.Context()\n"
                           "objects.append(gl.Texture(3, 3, gl.Format.R32F))")
        assert "late: velmor.gl.Texture.to_array(): expected a running interpreter, got one that is ending" in text


def test_a_thread_that_draws_while_the_interpreter_ends_says_nothing():
    run_quietly("import atexit, threading, time\n"
                "atexit.register(time.sleep, 0.5)  # runs after the one of the module\n"
                "from velmor import gl\n"
                "drawn = threading.Event()\n"
                "def work():\n"
                "    c = gl.Context(False); n = gl.Not(); a, b = (gl.Texture(3, 3, gl.Format.R32F) for _ in range(2))\n"
                "    n.prepare_execution(a, b)\n"
                "    while True:\n        n.execute(); drawn.set()\n"
                "threading.Thread(target=work, daemon=True).start(); drawn.wait()")


@pytest.mark.skipif(IS_SANITIZED, reason="without memory the sanitizers end the process themselves")
def test_a_filter_that_ends_the_process_does_not_hang():
    # It ends the process where there is no memory for the driver's message about a shader. The package reads the
    # message before, and is told of a short one.
    script = ("import ctypes, resource\n"
              "from velmor import gl\n"
              "context = gl.Context(False)\n"
              "@ctypes.CFUNCTYPE(None, ctypes.c_uint, ctypes.c_uint, ctypes.POINTER(ctypes.c_int))\n"
              "def tell_of_2_gib(shader, name, value, lengths=[0, 2 ** 31 - 1]):\n"
              "    value[0] = lengths.pop() if name == 0x8B84 else 1  # GL_INFO_LOG_LENGTH\n"
              "function = ctypes.c_void_p.in_dll(ctypes.CDLL('libGLEW.so.2.2'), '__glewGetShaderiv')\n"
              "function.value = ctypes.cast(tell_of_2_gib, ctypes.c_void_p).value\n"
              "used = int(open('/proc/self/statm').read().split()[0]) * resource.getpagesize()\n"
              "resource.setrlimit(resource.RLIMIT_AS, (used + 2 ** 30, used + 2 ** 30))\n"
              "gl.Not()\n")
    done = subprocess.run([sys.executable, "-c", script], capture_output=True, text=True, timeout=120, check=False)
    assert (done.returncode, done.stderr) == (1, "Could not allocate InfoLog buffer\n")


def test_what_another_thread_drops_is_deleted_here():
    with gl.Context():
        everything = [Everything()]
        kept = everything[0]
        textures = live_names()
        del kept
        in_thread(everything.clear)
        gl.Texture(1, 1, gl.Format.R32F)
        assert live_names() < textures


def test_a_thread_that_ends_closes_its_contexts():
    kept = []

    def work():
        kept.append(gl.Context())
        kept.append(Everything())

    in_thread(work)
    end = time.monotonic() + PATIENCE
    while not kept[0].closed and time.monotonic() < end:
        time.sleep(0.01)  # Python's thread has ended a moment before the system's
    kept[1].all_raise(CLOSED)
    kept.clear()


def test_contexts_on_several_threads():
    errors = []

    def work(seed):
        try:
            for _ in range(5):
                with gl.Context():
                    everything = Everything()
                    for _ in range(20):
                        everything.run()
        except BaseException as error:
            errors.append(error)

    threads = [threading.Thread(target=work, args=(seed,)) for seed in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert errors == []


def test_one_filter_on_many_threads_raises_and_does_not_crash():
    with gl.Context():
        everything = Everything()
        done = threading.Event()

        def work():
            while not done.is_set():
                everything.all_raise(OTHER_THREAD)

        threads = [threading.Thread(target=work) for _ in range(3)]
        for thread in threads:
            thread.start()
        for _ in range(200):
            everything.run()
        done.set()
        for thread in threads:
            thread.join()


def test_a_fork_cannot_use_what_its_parent_has():
    with gl.Context() as context:
        everything = Everything()

        def child():
            everything.all_raise(FORKED)
            for call in (gl.Context, gl.Not, context.make_current, gl.Context.adopt):
                with pytest.raises(RuntimeError, match=FORKED):
                    call()
            closed = context.closed
            context.close()
            return closed

        assert in_child(child) is True
        everything.run()


def test_a_fork_that_ends_as_a_program_does_is_quiet():
    run_quietly("""
import os, sys
import numpy as np
from velmor import gl
with gl.Context() as context:
    source = gl.Texture.from_array(np.zeros((5, 7, 4), np.uint8))
    filter = gl.Not()
    child = os.fork()
    if child == 0:
        del filter
        sys.exit(0)
    assert os.waitpid(child, 0)[1] == 0
    gl.Not()
""")


def test_a_fork_of_who_only_imported_it_has_contexts():
    out = run_quietly("""
import os
from velmor import gl
child = os.fork()
if child == 0:
    with gl.Context():
        gl.Not()
    print("drawn")
else:
    assert os.waitpid(child, 0)[1] == 0
""")
    assert "drawn" in out


def live_names():
    """Count the names of OpenGL that are in use: a new texture gets the least free one."""
    import ctypes
    library = ctypes.CDLL("libGL.so.1")
    textures = sum(library.glIsTexture(name) for name in range(1, 2000))
    programs = sum(library.glIsProgram(name) + library.glIsShader(name) for name in range(1, 2000))
    framebuffers = sum(library.glIsFramebuffer(name) for name in range(1, 2000))
    return textures + programs + framebuffers


def test_filters_and_textures_come_and_go_without_growth():
    with gl.Context():
        everything = Everything()
        del everything
        gl.Texture(1, 1, gl.Format.R32F)
        first = live_names()
        for _ in range(150):
            Everything()
            gl.Texture(3, 3, gl.Format.RGBA32F)
        gl.Texture(1, 1, gl.Format.R32F)
        assert live_names() == first


def test_a_filter_prepared_anew_does_not_grow():
    with gl.Context():
        everything = Everything()
        first = live_names()
        for _ in range(1000):
            everything.result = gl.Texture(7, 5, gl.Format.RGBA8)
            everything.filter.prepare_execution(everything.source, everything.result)
        everything.run()
        assert live_names() <= first + 1  # the last one that was replaced waits for the next call


@weighs_memory
def test_contexts_come_and_go_without_growth():
    def memory():
        with open("/proc/self/statm", encoding="ascii") as statm:
            return int(statm.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")

    def use(times):
        for i in range(times):
            context = gl.Context(adapt_driver=False)  # the trials of the driver take most of the time
            texture = gl.Texture(128, 128, gl.Format.RGBA32F)
            if i % 2:
                context.close()
            del context, texture

    use(50)
    before = memory()
    use(250)
    assert memory() - before < 60 * 2**20  # the texels alone would be 62 MiB
