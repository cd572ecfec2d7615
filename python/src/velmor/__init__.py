"""Image operators for visual object tracking."""

from . import _core
from ._core import *  # noqa: F403
from ._core import __version__ as __version__
from .blobs import Blob as Blob

__all__ = [*(name for name in dir(_core) if not name.startswith("_")), "Blob"]

Blob.__module__ = __name__
