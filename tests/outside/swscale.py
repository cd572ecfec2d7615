"""FFmpeg's demosaicing, out of its library for scaling and converting pictures."""

import ctypes
import ctypes.util

import numpy as np


def _library(name):
    found = ctypes.util.find_library(name)
    if not found:
        raise OSError(f"lib{name} is not there, which OpenCV's video module needs")
    return ctypes.CDLL(found)


def demosaic(raw):
    """Red, green and blue of bytes in the pattern red and green, green and blue. Both sides are even."""
    util, scale = _library("avutil"), _library("swscale")
    height, width = raw.shape
    formats = [util.av_get_pix_fmt(name) for name in (b"bayer_rggb8", b"rgb24")]
    assert min(formats) >= 0
    scale.sws_getContext.restype = ctypes.c_void_p
    context = ctypes.c_void_p(
        scale.sws_getContext(width, height, formats[0], width, height, formats[1], 0, None, None, None))
    assert context

    # Four planes, of which the first alone is there. Rows are longer than their pixels, for reading past the end.
    source, result = np.zeros((height, width + 64), np.uint8), np.zeros((height, 3 * width + 64), np.uint8)
    source[:, :width] = raw

    def plane(pixels):
        return (ctypes.c_void_p * 4)(pixels.ctypes.data), (ctypes.c_int * 4)(pixels.strides[0])
    rows = scale.sws_scale(context, *plane(source), 0, height, *plane(result))
    scale.sws_freeContext(context)
    assert rows == height
    return result[:, :3 * width].reshape(height, width, 3).copy()
