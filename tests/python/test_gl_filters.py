"""The filters' pixels, against their rules in numpy, and what they refuse."""

import numpy as np
import pytest
import velmor
from rules import FILTERS, LAPLACIANS, around, correlated, function_of
from support import random_picture
from velmor import gl

SIZES = [(1, 1), (1, 17), (19, 1), (13, 31)]
# Sums and products of a few numbers on 0..1 in single precision, each rounded by half a unit in the last place.
ROUNDING = 2e-6


@pytest.fixture(autouse=True, scope="module")
def context():
    with gl.Context() as context:
        yield context


def run(filter, *arrays, format=gl.Format.RGBA32F, regions=None, fill=None):
    """Run a filter on arrays, and give what it draws."""
    sources = [gl.Texture.from_array(array) for array in arrays]
    result = gl.Texture(arrays[0].shape[1], arrays[0].shape[0], format)
    if fill is not None:
        result.upload(np.full(result.shape, fill, result.dtype))
    filter.prepare_execution(*sources, result, regions=regions)
    filter.execute()
    return result.to_array()


def floats(*size, seed=1, channels=4):
    return random_picture(*size, channels, dtype=np.float32, seed=seed)


FILTER_CLASSES = [name for name in gl.__all__ if isinstance(getattr(gl, name), type)
                  and issubclass(getattr(gl, name), gl.Filter) and name != "Filter"]
# Those with tests of their own: they are set with something, or take integers or directions.
OTHERS = ["NonMaxSupression", "Laplacian", "DebugUInt2Float", "ColorGMM", "ColorGMM2", "ColorHistShader", "PixelCount"]
BY_RULE = [name for name in FILTER_CLASSES if name not in OTHERS]

# What a texture gets in the channels beyond those that the rule gives.
ALPHA = {"BGR2HSV": 1, "RGB2HSV": 1, "BayerRG2RGB": 0}
IN_ALL_CHANNELS = ["BGR2GRAY", "RGB2GRAY"]
UNDEFINED = ["BayerRG2GRAY", "GRAY2Sobel"]


def by_rule(name, *arrays):
    """Give what the filter is to draw, as far as that is defined."""
    expected = FILTERS[function_of(name)][3](*(array.astype(float) for array in arrays))
    if name in IN_ALL_CHANNELS:
        return np.repeat(expected, 4, axis=2)
    if name in ALPHA:
        return np.dstack([expected, np.full(expected.shape[:2], ALPHA[name])])
    assert expected.shape[2] == 4 or name in UNDEFINED, f"which alpha does {name} give?"
    return expected


def test_every_filter_is_tried():
    assert set(OTHERS) <= set(FILTER_CLASSES)
    assert {function_of(name) for name in BY_RULE} == FILTERS.keys() - {"laplacian"}


@pytest.mark.parametrize("size", SIZES)
@pytest.mark.parametrize("name", BY_RULE)
def test_a_filter_keeps_to_its_rule(name, size):
    first, other = floats(*size), floats(*size, seed=2)
    arrays = [first]
    if FILTERS[function_of(name)][0] == 2:
        near = np.minimum(first + 0.25, 1)
        is_near = floats(*size, seed=3, channels=1) < 0.5
        arrays.append(np.where(is_near, near, other).astype(np.float32))
        first[::2, ::2] = 0
    expected = by_rule(name, *arrays)
    result = run(getattr(gl, name)(), *arrays)
    assert np.max(np.abs(result[..., :expected.shape[2]] - expected)) < ROUNDING


def test_bytes_are_on_0_to_1():
    array = random_picture(9, 14, 4)
    assert np.array_equal(run(gl.Not(), array, format=gl.Format.RGBA8), 255 - array)


@pytest.mark.parametrize("size", SIZES)
@pytest.mark.parametrize("kernel", LAPLACIANS)
def test_laplacian(kernel, size):
    array = floats(*size)
    expected = np.abs(correlated(array.astype(float), LAPLACIANS[kernel]))
    assert np.max(np.abs(run(gl.Laplacian(kernel=kernel), array) - expected)) < 4 * ROUNDING  # sums up to 16


def test_laplacian_takes_other_numbers_for_0():
    array = floats(7, 9)
    assert np.array_equal(run(gl.Laplacian(-3), array), run(gl.Laplacian(), array))


@pytest.mark.parametrize("size", SIZES)
def test_non_max_supression(size):
    """All gradients point right, so that a place is compared with the next ones left and right."""
    strength = np.round(floats(*size, channels=1)[..., 0] * 8) / 8
    array = np.stack([strength, (1.4142 * strength + 1) / 2, np.full_like(strength, 0.5), np.ones_like(strength)],
                     axis=-1).astype(np.float32)
    largest = (strength > around(strength, 1, 0)) & (strength > around(strength, -1, 0)) & (strength > 0)
    expected = np.where(largest, 1.4142 * strength, 0)
    result = run(gl.NonMaxSupression(), array)
    assert np.max(np.abs(result[..., :3] - expected[..., np.newaxis])) < ROUNDING


@pytest.mark.parametrize("dtype", [np.uint16, np.uint32])
@pytest.mark.parametrize("size", SIZES)
def test_integers_become_visible(dtype, size):
    array = random_picture(*size, 4, dtype=np.uint16).astype(dtype)
    assert np.max(np.abs(run(gl.DebugUInt2Float(), array) - array / 65535)) < ROUNDING


def model(*means, variance=400.0):
    count = len(means)
    return velmor.ColourModel(weights=[1 / count] * count, means=[list(mean) for mean in means],
                              covariances=[[[variance, 30.0], [30.0, variance]]] * count, threshold=1e-4)


def density(colour_model, array):
    colours = array[..., :2].astype(float) * 255
    total = np.zeros(array.shape[:2])
    for weight, mean, inverse, determinant in zip(colour_model.weights, colour_model.means,
                                                  colour_model.inverse_covariances, colour_model.determinants):
        delta = colours - mean
        distance = np.einsum("...i,ij,...j", delta, inverse, delta)
        total += weight * np.exp(-distance / 2) / (2 * np.pi * np.sqrt(determinant))
    return total


@pytest.mark.parametrize("size", [(13, 31), (64, 64)])
def test_color_gmm(size):
    skin = model((60, 80), (180, 200))
    array = floats(*size)
    expected = density(skin, array)
    clear = np.abs(expected / skin.threshold - 1) > 1e-3  # not within what single precision makes of an exponent
    kept = expected > skin.threshold
    assert clear.mean() > 0.9 and 0 < kept.mean() < 1
    binary = run(gl.ColorGMM(skin, binary=True), array)
    assert np.array_equal(binary[clear], np.repeat(kept[clear].astype(float)[:, np.newaxis], 4, axis=1))
    colours = run(gl.ColorGMM(skin), array)
    assert np.array_equal(colours[clear], np.where(kept[..., np.newaxis], array, 0)[clear])


@pytest.mark.parametrize("count", [2, 3, 11])
def test_color_gmm2(count):
    models = [model((20 * i, 250 - 20 * i), *[(17 * i + 9 * k, 40 + 20 * k) for k in range(i % 9)])
              for i in range(count)]
    array = floats(29, 31)
    densities = np.stack([density(each, array) for each in models])
    first, second = np.sort(densities, axis=0)[-1], np.sort(densities, axis=0)[-2]
    clear = (first - second > 1e-3 * first) & (first > 1e-30)  # single precision holds no less
    assert clear.mean() > 0.5
    result = run(gl.ColorGMM2(models), array, format=gl.Format.R32F)
    assert np.array_equal(result[clear], densities.argmax(axis=0)[clear])


def test_color_gmm2_of_one_class_marks_it():
    skin = model((100, 100), (180, 60), (30, 200))
    array = floats(29, 31)
    expected = density(skin, array)
    clear = np.abs(expected / skin.threshold - 1) > 1e-3
    result = run(gl.ColorGMM2([skin]), array, format=gl.Format.R32F)
    assert np.array_equal(result[clear], (expected > skin.threshold)[clear])


def test_filters_keep_copies_of_their_models():
    skin = model((60, 80), (180, 200))
    array = floats(9, 9)
    filter = gl.ColorGMM(skin, binary=True)
    before = run(filter, array)
    skin.threshold = 1e9
    del skin
    assert np.array_equal(run(filter, array), before)


@pytest.mark.parametrize("size, tiles", [((3, 40), 32), ((50, 47), 16), ((64, 128), 100), ((1, 2), 1)])
def test_pixel_count(size, tiles):
    mask = (floats(*size, channels=1)[..., 0] < 0.4).astype(np.float32)
    counter = gl.PixelCount(tiles=tiles)
    run(counter, mask, format=gl.Format.R32UI)
    assert counter.get_count() == int(mask.sum())
    assert 1 <= counter.get_nof_tiles() <= tiles


def test_pixel_count_has_its_count_whatever_runs_between():
    mask = np.ones((64, 64), np.float32)
    counter, other = gl.PixelCount(), gl.PixelCount()
    run(counter, mask, format=gl.Format.R32UI)
    run(other, 0 * mask, format=gl.Format.R32UI)
    run(gl.Not(), mask)
    assert (counter.get_count(), other.get_count()) == (64 * 64, 0)


def test_pixel_count_asks_for_tiles_anew_at_each_size():
    counter = gl.PixelCount()
    counter.set_max_nof_tiles(63)
    for side in (64, 65, 66, 80):
        run(counter, np.ones((side, side), np.float32), format=gl.Format.R32UI)
        assert counter.get_count() == side * side
        assert counter.get_nof_tiles() > 40  # of 49, by the seven of each side


@pytest.mark.parametrize("bins", [(4, 4, 4), (2, 6, 8), (10, 10, 10)])
def test_color_hist_shader(bins):
    array = random_picture(32, 64, 3)
    counter = gl.ColorHistShader(bins=bins, block_size=8)
    run(counter, array, array)
    expected = np.zeros(bins)
    index = tuple(np.minimum(array[..., i].astype(int) * bins[i] // 255, bins[i] - 1) for i in range(3))
    np.add.at(expected, index, 1)
    result = np.asarray(counter.copy_histo_from_gpu())
    assert result.shape == bins
    # The last cells are lost beyond the destination's width, four to a texel; by design.
    counted = np.arange(np.prod(bins)).reshape(bins, order="F") < 4 * 64
    assert np.max(np.abs(result - expected / array[..., 0].size)[counted]) < 1e-6


def test_color_hist_shader_counts_a_region():
    array = random_picture(32, 64, 3)
    counter = gl.ColorHistShader()
    run(counter, array, array, regions=[(16, 8, 32, 16)])
    part = array[8:24, 16:48].astype(int) * 4 // 255
    part = np.minimum(part, 3)
    expected = np.zeros((4, 4, 4))
    np.add.at(expected, tuple(part[..., i] for i in range(3)), 1)
    assert np.max(np.abs(np.asarray(counter.copy_histo_from_gpu()) - expected / (32 * 16))) < 1e-6


def test_regions_are_drawn_alone():
    array = floats(11, 13)
    expected = np.full_like(array, 7)
    for x, y, width, height in [(0, 0, 3, 4), (5, 6, 8, 5)]:
        expected[y:y + height, x:x + width] = 1 - array[y:y + height, x:x + width]
    filter = gl.Not()
    result = run(filter, array, regions=[(0, 0, 3, 4), (5, 6, 8, 5)], fill=7)
    assert np.max(np.abs(result - expected)) < ROUNDING
    whole = run(filter, array, fill=7)
    assert np.max(np.abs(whole - (1 - array))) < ROUNDING


def test_a_filter_follows_the_size_of_its_textures():
    filter = gl.Not()
    for size in [(3, 5), (40, 50), (7, 2)]:
        array = floats(*size)
        assert np.max(np.abs(run(filter, array) - (1 - array))) < ROUNDING


def test_filters_have_a_name():
    array = floats(3, 5)
    assert np.array_equal(run(gl.Filter("Not"), array), run(gl.Not(), array))
    assert gl.Not.__name__ == "Not" and gl.Not.__module__ == "velmor.gl" and gl.Not.__doc__


def texture(format=gl.Format.RGBA32F, width=64, height=4):
    return gl.Texture(width, height, format)


def components(count):
    return model(*[(i, i) for i in range(count)])


SKIN = components(2)
MISUSE = [
    (lambda: gl.Filter("Nothing"), "Filter(): expected the name of a filter class, got \"Nothing\""),
    (lambda: gl.Filter("Moments"), "Filter(): expected the name of a filter class, got \"Moments\""),
    (lambda: gl.Filter("PixelCount"),
     "Filter(): expected the name of a class of filters that are set with nothing, got \"PixelCount\""),
    (lambda: gl.Not().prepare_execution(texture(), texture(), texture()),
     "Not.prepare_execution(): expected one source and a destination, got two sources"),
    (lambda: gl.Or().prepare_execution(texture(), texture()),
     "Or.prepare_execution(): expected two sources and a destination, got one source"),
    (lambda: gl.Not().prepare_execution(*[texture()] * 2),
     "Not.prepare_execution(): expected a destination that is no source, got one that is a source too"),
    (lambda: gl.Not().prepare_execution(texture(gl.Format.R16UI), texture()),
     "Not.prepare_execution(): expected sources of bytes or floats, got one of the format R16UI"),
    (lambda: gl.Not().prepare_execution(texture(), texture(gl.Format.RGBA32UI)),
     "Not.prepare_execution(): expected a destination of bytes or floats, got one of the format RGBA32UI"),
    (lambda: gl.DebugUInt2Float().prepare_execution(texture(), texture()),
     "DebugUInt2Float.prepare_execution(): expected a source of integers, got one of the format RGBA32F"),
    (lambda: gl.Not().prepare_execution(texture(), texture(), regions=[(60, 0, 5, 1)]),
     "Not.prepare_execution(): expected regions (x, y, width, height) within 64 x 4 texels RGBA32F, got (60, 0, 5, 1)"),
    (lambda: gl.Not().prepare_execution(texture(), texture(), [(0, 0, 2**62, 2**62)]),
     "Not.prepare_execution(): expected regions (x, y, width, height) within 64 x 4 texels RGBA32F, got "
     "(0, 0, 4611686018427387904, 4611686018427387904)"),
    (lambda: gl.Not().prepare_execution(texture(), texture(), [(0, 0, 1, 0)]),
     "Not.prepare_execution(): expected regions (x, y, width, height) within 64 x 4 texels RGBA32F, got (0, 0, 1, 0)"),
    (lambda: gl.FlipV().prepare_execution(texture(), texture(), [(0, 0, 1, 1)]),
     "FlipV.prepare_execution(): expected no regions: the filter works on the whole picture, got 1 region"),
    (lambda: gl.PixelCount(0), "PixelCount(): expected at least 1 tile, and fewer than the destination is wide, got 0"),
    (lambda: gl.PixelCount().set_max_nof_tiles(2**31),
     "PixelCount.set_max_nof_tiles(): expected at least 1 tile, and fewer than the destination is wide, got 2147483648"),
    (lambda: gl.PixelCount(64).prepare_execution(texture(), texture(gl.Format.R32UI)),
     "PixelCount.prepare_execution(): expected fewer tiles than the destination is wide, got 64 for a width of 64"),
    (lambda: gl.PixelCount().prepare_execution(texture(), texture(gl.Format.R16UI)),
     "PixelCount.prepare_execution(): expected a destination of the format R32UI, got one of the format R16UI"),
    (lambda: gl.PixelCount().prepare_execution(texture(), texture(gl.Format.R32UI, 65)),
     "PixelCount.prepare_execution(): expected a destination of the source's size, 64 x 4, got one of 65 x 4"),
    (lambda: gl.ColorHistShader((4, 0, 4)), "ColorHistShader(): expected 1 to 255 bins of each channel, got 0"),
    (lambda: gl.ColorHistShader((256, 1, 1)), "ColorHistShader(): expected 1 to 255 bins of each channel, got 256"),
    (lambda: gl.ColorHistShader((16, 16, 8)), "ColorHistShader(): expected at most 1000 cells, got 2048"),
    (lambda: gl.ColorHistShader(block_size=0), "ColorHistShader(): expected a block size of at least 1, got 0"),
    (lambda: gl.ColorHistShader().prepare_execution(texture(), texture(), texture(gl.Format.RGBA8)),
     "ColorHistShader.prepare_execution(): expected a destination of the format RGBA32F, got one of the format RGBA8"),
    (lambda: gl.ColorHistShader((10, 10, 10)).prepare_execution(texture(), texture(), texture()),
     "ColorHistShader.prepare_execution(): expected a destination of at least as many texels as there are cells, 1000, "
     "got one of 256"),
    (lambda: gl.ColorHistShader().prepare_execution(texture(), texture(), texture(), [(0, 0, 1, 1)] * 2),
     "ColorHistShader.prepare_execution(): expected one region, got 2 regions"),
    (lambda: gl.ColorGMM(components(4)), "ColorGMM(): expected a model of 1 to 3 components, got one of 4"),
    (lambda: gl.ColorGMM2([]), "ColorGMM2(): expected 1 to 11 models, got 0"),
    (lambda: gl.ColorGMM2([SKIN] * 12), "ColorGMM2(): expected 1 to 11 models, got 12"),
    (lambda: gl.ColorGMM2([SKIN, components(10)]),
     "ColorGMM2(): expected a model of 1 to 9 components, got one of 10"),
]


@pytest.mark.parametrize("call, text", MISUSE, ids=[text for _, text in MISUSE])
def test_misuse_raises(call, text):
    with pytest.raises(ValueError) as error:
        call()
    assert str(error.value) == "velmor.gl." + text


@pytest.mark.parametrize("filter, call, text", [
    (gl.Not, lambda f: f.execute(), "Not.execute(): expected prepare_execution() before, got no preparation"),
    (gl.PixelCount, lambda f: f.get_count(), "PixelCount.get_count(): expected execute() before, got no pass"),
    (gl.ColorHistShader, lambda f: f.copy_histo_from_gpu(),
     "ColorHistShader.copy_histo_from_gpu(): expected execute() before, got no pass since the preparation"),
])
def test_a_call_too_early_raises(filter, call, text):
    with pytest.raises(RuntimeError) as error:
        call(filter())
    assert str(error.value).startswith("velmor.gl." + text)


def test_a_count_of_what_was_prepared_since_raises():
    counter = gl.PixelCount()
    run(counter, np.ones((4, 64), np.float32), format=gl.Format.R32UI)
    counter.set_max_nof_tiles(16)
    with pytest.raises(RuntimeError, match="expected execute"):
        counter.get_count()
    with pytest.raises(ValueError, match="fewer tiles"):
        counter.set_max_nof_tiles(64)


@pytest.mark.parametrize("count", [1, 3])
def test_a_model_without_a_shader_raises(count):
    """What is in the library for one component and for three is no valid shader; by design."""
    with pytest.raises(RuntimeError) as error:
        gl.ColorGMM(components(count))
    text = str(error.value)
    assert text.startswith("velmor.gl.ColorGMM(): expected a shader that the driver compiles, got \"")
    assert "p1" in text.splitlines()[0] if count == 1 else "p2" in text
    assert "\n1: #" in text  # the numbered lines
    gl.Not()  # filters are made as before


def test_a_driver_that_is_not_adapted_raises():
    with gl.Context(adapt_driver=False):
        for make in (lambda: gl.ColorGMM2([SKIN, SKIN]), gl.PixelCount, gl.ColorHistShader):
            with pytest.raises(RuntimeError, match="^velmor.gl.Col|^velmor.gl.Pix"):
                make()


def test_what_is_no_texture_is_a_type_error():
    filter = gl.Not()
    for arguments in [(None, None), (texture(), None), (1, 2), (), (texture(), texture(), 5)]:
        with pytest.raises(TypeError):
            filter.prepare_execution(*arguments)
    for make in (lambda: gl.ColorGMM(None), lambda: gl.ColorGMM2([None]), lambda: gl.Laplacian(2**40),
                 lambda: gl.Filter.execute(None)):
        with pytest.raises(TypeError):
            make()
    with pytest.raises((TypeError, RuntimeError)):
        gl.Not.__new__(gl.Not).execute()
    with pytest.raises((TypeError, RuntimeError)):
        gl.ColorGMM(velmor.ColourModel.__new__(velmor.ColourModel))
