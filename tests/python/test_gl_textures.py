"""Textures from arrays and back."""

import sys

import numpy as np
import pytest
from support import random_picture
from velmor import gl

FORMATS = {
    gl.Format.GREY8: (np.uint8, 1),
    gl.Format.RGB8: (np.uint8, 3),
    gl.Format.RGBA8: (np.uint8, 4),
    gl.Format.R32F: (np.float32, 1),
    gl.Format.RGBA32F: (np.float32, 4),
    gl.Format.R16UI: (np.uint16, 1),
    gl.Format.R32UI: (np.uint32, 1),
    gl.Format.RGBA16UI: (np.uint16, 4),
    gl.Format.RGBA32UI: (np.uint32, 4),
}


@pytest.fixture(autouse=True, scope="module")
def context():
    with gl.Context() as context:
        yield context


def shaped(height, width, channels):
    return (height, width) if channels == 1 else (height, width, channels)


def test_every_format_is_tried():
    assert set(FORMATS) == set(gl.Format.__members__.values())


@pytest.mark.parametrize("format", FORMATS)
@pytest.mark.parametrize("size", [(1, 1), (1, 13), (17, 1), (31, 37)])
def test_what_goes_up_comes_down(format, size):
    dtype, channels = FORMATS[format]
    array = random_picture(*shaped(*size, channels), dtype=dtype)
    texture = gl.Texture.from_array(array)
    assert texture.format == format
    assert (texture.height, texture.width) == size
    assert texture.shape == array.shape and texture.dtype == array.dtype
    result = texture.to_array()
    assert result.dtype == array.dtype and np.array_equal(result, array)


@pytest.mark.parametrize("format", FORMATS)
def test_a_new_texture_is_all_zero(format):
    dtype, channels = FORMATS[format]
    texture = gl.Texture(5, 3, format)
    assert np.array_equal(texture.to_array(), np.zeros(shaped(3, 5, channels), dtype))


def test_floats_are_not_clamped():
    array = np.array([[-2.5, 0.0, 1e30, np.inf]], np.float32)
    assert np.array_equal(gl.Texture.from_array(array).to_array(), array)


def test_channel_0_is_red():
    """BGR2GRAY takes its first channel for red, and weighs it with 0.2125."""
    source = gl.Texture.from_array(np.array([[[255, 0, 0]]], np.uint8))
    result = gl.Texture(1, 1, gl.Format.R32F)
    luminance = gl.BGR2GRAY()
    luminance.prepare_execution(source, result)
    luminance.execute()
    assert abs(result.to_array()[0, 0] - 0.2125) < 0.001  # between 0.2125 and 0.2126, as the weights are rounded


@pytest.mark.parametrize("layout", [
    lambda a: a[::-1], lambda a: a[:, ::-1], lambda a: a[::2, 1::3], np.asfortranarray,
    lambda a: a[1:-1, 2:-2], lambda a: a[..., ::-1],
])
def test_any_layout_of_an_array_goes_up(layout):
    array = layout(random_picture(12, 15, 4))
    assert np.array_equal(gl.Texture.from_array(array).to_array(), array)


def test_other_numbers_are_converted():
    truths = np.array([[True, False]])
    assert np.array_equal(gl.Texture.from_array(truths).to_array(), [[255, 0]])
    doubles = np.array([[0.1, 2.5]])
    texture = gl.Texture.from_array(doubles)
    assert texture.format == gl.Format.R32F
    assert np.array_equal(texture.to_array(), doubles.astype(np.float32))
    big_endian = np.array([[1, 258]], ">u2")
    assert np.array_equal(gl.Texture.from_array(big_endian).to_array(), [[1, 258]])


def test_bytes_go_into_other_formats():
    grey = random_picture(3, 5)
    shades = gl.Texture.from_array(grey, gl.Format.RGBA8).to_array()
    assert all(np.array_equal(shades[..., i], grey) for i in range(3))
    assert np.all(shades[..., 3] == 255)
    floats = gl.Texture.from_array(grey, gl.Format.R32F).to_array()
    assert np.max(np.abs(floats - grey / 255)) < 1e-6  # a float's rounding
    colours = random_picture(3, 5, 3)
    with_alpha = gl.Texture.from_array(colours, gl.Format.RGBA8).to_array()
    assert np.array_equal(with_alpha[..., :3], colours) and np.all(with_alpha[..., 3] == 255)
    integers = gl.Texture.from_array(grey, gl.Format.R32UI).to_array()
    assert np.array_equal(integers, grey)


def test_three_floats_get_alpha_1():
    colours = random_picture(3, 5, 3, dtype=np.float32)
    result = gl.Texture.from_array(colours).to_array()
    assert np.array_equal(result[..., :3], colours) and np.all(result[..., 3] == 1)


@pytest.mark.parametrize("layout", [lambda a: a, lambda a: a[::-1], lambda a: a[:, ::-1], lambda a: a[:, :, ::-1]])
def test_out_is_filled_and_given_back(layout):
    array = random_picture(7, 5, 4)
    out = layout(np.zeros_like(array))
    assert gl.Texture.from_array(array).to_array(out=out) is out
    assert np.array_equal(out, array)


def test_an_upload_replaces_the_texels():
    texture = gl.Texture.from_array(np.zeros((4, 6), np.uint8))
    array = random_picture(4, 6)
    texture.upload(array)
    assert np.array_equal(texture.to_array(), array)


@pytest.mark.parametrize("call, text", [
    (lambda: gl.Texture(0, 3, gl.Format.R32F),
     "velmor.gl.Texture(): expected a width and a height of at least 1, got 0 x 3 texels"),
    (lambda: gl.Texture(3, -1, gl.Format.R32F),
     "velmor.gl.Texture(): expected a width and a height of at least 1, got 3 x -1 texels"),
    (lambda: gl.Texture(3, 3, gl.Format(99)), "velmor.gl.Texture(): expected a member of Format, got 99"),
    (lambda: gl.Texture.from_array(np.zeros((3, 4, 2), np.uint8)),
     "velmor.gl.Texture.from_array(): expected an array of 1 or 4 channels, or of 3 of uint8 or float32, got uint8 of "
     "shape (3, 4, 2)"),
    (lambda: gl.Texture.from_array(np.zeros((3, 4, 3), np.uint8), gl.Format.R32F),
     "velmor.gl.Texture.from_array(): expected an array that fits the format R32F, got uint8 of shape (3, 4, 3)"),
    (lambda: gl.Texture.from_array(np.zeros((3, 4), np.uint16), gl.Format.R32UI),
     "velmor.gl.Texture.from_array(): expected an array that fits the format R32UI, got uint16 of shape (3, 4)"),
    (lambda: gl.Texture(3, 4, gl.Format.GREY8).upload(np.zeros((3, 4), np.uint8)),
     "velmor.gl.Texture.upload(): expected an array of 3 x 4 texels, got one of 4 x 3 texels"),
    (lambda: gl.Texture(3, 4, gl.Format.GREY8).to_array(np.zeros((4, 3), np.float32)),
     "velmor.gl.Texture.to_array(): expected out of shape (4, 3) and uint8, got one of shape (4, 3) and float32"),
    (lambda: gl.Texture(3, 4, gl.Format.GREY8).to_array(np.frombuffer(bytes(12), np.uint8).reshape(4, 3)),
     "velmor.gl.Texture.to_array(): expected out to be writeable, got a read-only array"),
    (lambda: gl.Texture(3, 4, gl.Format.GREY8).to_array("out"),
     "velmor.gl.Texture.to_array(): expected out to be an array of numpy, got str"),
])
def test_misuse_raises(call, text):
    with pytest.raises(ValueError) as error:
        call()
    assert str(error.value) == text


@pytest.mark.parametrize("array", [np.zeros((0, 4), np.uint8), np.zeros((4, 0), np.uint8), np.zeros((4, 4), np.int64),
                                   np.zeros(4, np.uint8), "text", None, np.zeros((2, 2, 2, 2), np.uint8)])
def test_what_is_no_picture_is_refused(array):
    with pytest.raises(ValueError, match=r"^velmor.gl.Texture.from_array\(\): expected "):
        gl.Texture.from_array(array)


def test_a_size_that_the_driver_refuses_raises():
    with pytest.raises(RuntimeError, match=r"^velmor.gl.Texture\(\): cannot make a rectangle texture of 1000000 x 1 "):
        gl.Texture(1000000, 1, gl.Format.R32F)
    with pytest.raises(ValueError):
        gl.Texture(2**62, 1, gl.Format.R32F)


def test_none_and_what_was_never_made_raise():
    for call in (gl.Texture.to_array, gl.Texture.width.fget):
        with pytest.raises((TypeError, RuntimeError)):
            call(None)
        with pytest.raises((TypeError, RuntimeError)):
            call(gl.Texture.__new__(gl.Texture))


def test_textures_show_what_they_are():
    assert repr(gl.Texture(7, 5, gl.Format.RGBA8)) == "<velmor.gl.Texture of 7 x 5 texels RGBA8>"


def test_references_are_as_before():
    array, out = random_picture(5, 7, 4), np.empty((5, 7, 4), np.uint8)
    with gl.Context(adapt_driver=False):
        texture = gl.Texture.from_array(array)
        before = sys.getrefcount(array), sys.getrefcount(out)
        for _ in range(20):
            texture = gl.Texture.from_array(array)
            texture.upload(array)
            texture.to_array(out=out)
            result = texture.to_array()
            assert sys.getrefcount(result) == 2  # its name, and the argument's
        assert (sys.getrefcount(array), sys.getrefcount(out)) == before
