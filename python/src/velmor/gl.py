"""The filters on textures, with OpenGL.

Everything happens in the OpenGL context that is current on the calling thread: make a `Context`
and keep it, or adopt the one of another library. Rows of arrays are rows of textures, from the
first on, and channel 0 is red.

- What is in a context is used on the context's thread, while the context is current. Elsewhere,
  after it was closed and in a forked process a call raises RuntimeError.
- A new context becomes current. When it is closed, the one before becomes current again, if that
  is an open `Context`. A thread's contexts are closed when the thread ends.
- Objects may be dropped in any order and on any thread. Their textures and programs are deleted
  with the next call in their context, or when it closes.
- A filter keeps its textures until it is prepared with others.
- What filters print about their shaders goes to the process's own output.
"""

import atexit

try:
    from . import _gl
except ImportError as error:
    raise ImportError(
        "velmor.gl needs OpenGL, with the libraries GL, EGL, GLU, GLEW and glut: " + str(error)
    ) from error

from ._gl import *  # noqa: F403

__all__ = [name for name in dir(_gl) if not name.startswith("_")]

for _name in __all__:
    getattr(_gl, _name).__module__ = __name__

# While the interpreter still runs, before the driver's own end: it closes what is left open.
atexit.register(_gl._end)
