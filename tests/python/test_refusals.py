"""What calls say that are refused: what was expected, and what came."""

from __future__ import annotations

from typing import Any

import numpy as np
import pytest
import velmor


def masked() -> np.ndarray:
    return np.ma.array(np.zeros((5, 7), np.uint8), mask=False)


def released() -> memoryview:
    view = memoryview(bytes(35)).cast("B", (5, 7))
    view.release()
    return view


def raising() -> Any:
    class Raising:
        def __array__(self, dtype: Any = None, copy: Any = None) -> np.ndarray:
            raise RuntimeError("it is elsewhere\nfar away")

    return Raising()


def read_only() -> np.ndarray:
    result = np.zeros((5, 7), np.uint8)
    result.flags.writeable = False
    return result


BYTES = np.zeros((5, 7), np.uint8)
FLOATS = np.zeros((5, 7, 3), np.float32)
NUMBERS = "an array of bool, uint8, float32 or float64 of shape"
ANY = f"{NUMBERS} (height, width), (height, width, 3) or (height, width, 4)"


@pytest.mark.parametrize("call, text", [
    (lambda: velmor.not_(None), "not_(): expected an array, got NoneType"),
    (lambda: velmor.not_([[1, 2], [3, 4]]), "not_(): expected an array, got list"),
    (lambda: velmor.not_(7), "not_(): expected an array, got int"),
    (lambda: velmor.not_("picture"), "not_(): expected an array, got str"),
    (lambda: velmor.not_(b"picture"), f"not_(): expected {ANY}, got uint8 of shape (7,)"),
    (lambda: velmor.not_(np.float32(7)), f"not_(): expected {ANY}, got float32 of shape ()"),
    (lambda: velmor.not_(BYTES[0]), f"not_(): expected {ANY}, got uint8 of shape (7,)"),
    (lambda: velmor.not_(FLOATS[None]),
     f"not_(): expected {ANY}, got float32 of shape (1, 5, 7, 3)"),
    (lambda: velmor.not_(FLOATS[..., :2]),
     f"not_(): expected {ANY}, got float32 of shape (5, 7, 2)"),
    (lambda: velmor.not_(FLOATS[..., :0]),
     f"not_(): expected {ANY}, got float32 of shape (5, 7, 0)"),
    (lambda: velmor.not_(BYTES[:0]),
     "not_(): expected an array with at least 1 pixel, got uint8 of shape (0, 7)"),
    (lambda: velmor.not_(FLOATS[:, :0]),
     "not_(): expected an array with at least 1 pixel, got float32 of shape (5, 0, 3)"),
    (lambda: velmor.not_(np.broadcast_to(np.uint8(0), (2**28 + 1, 1))),
     "not_(): expected sides of at most 268435456 pixels, got uint8 of shape (268435457, 1)"),
    (lambda: velmor.bayer_rg2rgb(np.broadcast_to(np.uint8(0), (1, 2**62))),
     "bayer_rg2rgb(): expected sides of at most 268435456 pixels, "
     "got uint8 of shape (1, 4611686018427387904)"),
    (lambda: velmor.not_(released()),
     "not_(): expected an array in main memory, got memoryview that gives none "
     "(ValueError: operation forbidden on released memoryview object)"),
    (lambda: velmor.not_(masked()), "not_(): expected an array without a mask, got a masked array"),
    (lambda: velmor.not_(raising()),
     "not_(): expected an array in main memory, "
     "got Raising that gives none (RuntimeError: it is elsewhere)"),
    (lambda: velmor.bgr2gray(BYTES),
     f"bgr2gray(): expected {NUMBERS} (height, width, 3) or (height, width, 4), "
     "got uint8 of shape (5, 7)"),
    (lambda: velmor.gray2sobel(FLOATS),
     f"gray2sobel(): expected {NUMBERS} (height, width), "
     "got float32 of shape (5, 7, 3)"),
    (lambda: velmor.debug_uint2float(BYTES),
     "debug_uint2float(): expected an array of uint16 or uint32 of shape (height, width) or "
     "(height, width, 4), got uint8 of shape (5, 7)"),
    (lambda: velmor.non_max_supression(FLOATS > 0),
     "non_max_supression(): expected an array of float32 or float64 of shape (height, width, 3) or "
     "(height, width, 4), got bool of shape (5, 7, 3)"),
    (lambda: velmor.pixel_count(FLOATS),
     f"pixel_count(): expected {NUMBERS} (height, width), got float32 of shape (5, 7, 3)"),
    (lambda: velmor.subtract(BYTES, BYTES[1:]),
     "subtract(): expected arrays of one shape and type, "
     "got uint8 of shape (5, 7) and uint8 of shape (4, 7)"),
    (lambda: velmor.and_(BYTES, BYTES / 255),
     "and_(): expected arrays of one shape and type, "
     "got uint8 of shape (5, 7) and float64 of shape (5, 7)"),
    (lambda: velmor.not_(BYTES, dtype="int8"),
     "not_(): expected dtype to be uint8 or float32, got int8"),
    (lambda: velmor.not_(BYTES, dtype=float),
     "not_(): expected dtype to be uint8 or float32, got float64"),
    (lambda: velmor.not_(BYTES, dtype="bytes?"),
     "not_(): expected dtype to be uint8 or float32, got 'bytes?'"),
    (lambda: velmor.gray2sobel(BYTES, dtype="uint8"),
     "gray2sobel(): expected dtype to be float32, got uint8"),
    (lambda: velmor.not_(BYTES, out=BYTES[1:]),
     "not_(): expected out to be uint8 of shape (5, 7), got uint8 of shape (4, 7)"),
    (lambda: velmor.not_(BYTES, out=BYTES[..., None]),
     "not_(): expected out to be uint8 of shape (5, 7), got uint8 of shape (5, 7, 1)"),
    (lambda: velmor.not_(FLOATS, out=FLOATS.astype(">f4")),
     "not_(): expected out to be float32 of shape (5, 7, 3), got >f4 of shape (5, 7, 3)"),
    (lambda: velmor.not_(BYTES, out=BYTES, dtype="float32"),
     "not_(): expected out to be float32 of shape (5, 7), got uint8 of shape (5, 7)"),
    (lambda: velmor.not_(BYTES, out=read_only()),
     "not_(): expected out to be writeable, got a read-only array"),
    (lambda: velmor.not_(BYTES, out=memoryview(BYTES).toreadonly()),
     "not_(): expected out to be writeable, got a read-only array"),
    (lambda: velmor.not_(BYTES, out=masked()),
     "not_(): expected out to be an array without a mask, got a masked array"),
    (lambda: velmor.not_(BYTES, out=(BYTES,)), "not_(): expected out to be an array, got tuple"),
    (lambda: velmor.laplacian(BYTES, 3), "laplacian(): expected kernel from 0 to 2, got 3"),
    (lambda: velmor.laplacian(BYTES, -1), "laplacian(): expected kernel from 0 to 2, got -1"),
    (lambda: velmor.laplacian(BYTES, 2**70),
     f"laplacian(): expected kernel from 0 to 2, got {2**70}"),
    (lambda: velmor.laplacian(BYTES, 1.0),
     "laplacian(): expected kernel from 0 to 2, a whole number, got 1.0"),
    (lambda: velmor.laplacian(BYTES, True),
     "laplacian(): expected kernel from 0 to 2, a whole number, got True"),
])
def test_errors_say_what_was_expected_and_what_came(call, text):
    with pytest.raises(ValueError) as error:
        call()
    assert str(error.value) == f"velmor.{text}"


def test_a_refused_call_writes_nothing():
    out = np.full((5, 7), 9, np.uint8)
    for call in (lambda: velmor.not_(FLOATS, out=out),
                 lambda: velmor.subtract(BYTES, BYTES[1:], out=out),
                 lambda: velmor.not_(BYTES, out=out, dtype="float32")):
        with pytest.raises(ValueError):
            call()
    assert (out == 9).all()
