"""The calls that the search makes: every public name of the package, with what its arguments are drawn from."""

import sys
from pathlib import Path

import arguments as a
import numpy as np
import velmor
from hypothesis import strategies as st

sys.path.insert(0, str(Path(__file__).resolve().parents[1]))
from rules import FILTERS  # noqa: E402

#: Dtypes of bytes and floats, as a call takes them and as it converts them.
_BOTH = ["u1", "f4", "u1", "f4", "?", "f8", ">f4"]
_BYTES = ["u1", "u1", "u1", "?"]
_any = a.pictures(_BOTH, 0, 1, 3, 4)
_colours = a.pictures(_BOTH, 3, 4)
_grey = a.pictures(_BOTH, 0, 1)
_byte_colours = a.pictures(_BYTES, 3)
_byte_grey = a.pictures(_BYTES, 0, 1)
_dtypes = st.sampled_from([None, None, "uint8", "float32", np.uint8, "float32", "float64", "bool", ">f4", "x", 7])
_counts = st.one_of(st.integers(-2, 8), a.numbers)
_bins = st.one_of(st.integers(0, 300), st.tuples(*[st.integers(0, 20)] * 3), st.lists(a.numbers, max_size=4))

#: Stands for an array such as the call gives without out.
AS_RESULT = object()
out = a.mostly(st.one_of(st.just(AS_RESULT), _any))
_filter = {"out": out, "dtype": _dtypes}


@st.composite
def _models(draw):
    """Draw models of every size, with numbers that make sense, and with any."""
    count = draw(st.sampled_from([0, 1, 1, 2, 3, 4, 5, 40]))
    random = np.random.default_rng(draw(st.integers(0, 2**32 - 1)))
    factors = random.normal(0, 30, (count, 2, 2))
    numbers = [random.random(count), random.uniform(0, 255, (count, 2)), factors @ factors.swapaxes(1, 2)]
    if count and draw(st.booleans()):
        array = numbers[draw(st.integers(0, 2))]
        array.flat[draw(st.integers(0, array.size - 1))] = draw(a.numbers.filter(lambda number: abs(number) < 1e308))
    try:
        return velmor.ColourModel(*numbers, draw(st.sampled_from([0, 1e-9, 1e-5, 1e-3, 1.0])))
    except ValueError:
        return velmor.ColourModel.from_covariance(np.eye(2), [100, 100])


model = _models()
_samples = a.arrays(["u1", "f8", "f4"], st.tuples(st.integers(0, 12), st.integers(0, 12), st.sampled_from([2, 3])))
_square = a.arrays(["f8", "f4", "f8", "i4"], st.sampled_from([(2, 2), (2, 2), (1, 1), (3, 3), (0, 0), (2,), (1, 2, 2)]))
_vector = a.arrays(["f8", "f4", "f8"], st.sampled_from([(2,), (2,), (1,), (3,), (0,), (2, 2), (1, 2)]))
_floats = st.lists(a.numbers, max_size=5)
_states = st.tuples(a.numbers, st.lists(st.tuples(a.numbers, a.numbers, _floats, _floats), max_size=3))

#: What each function takes: its arguments in order, then those by keyword, which may be left out.
FUNCTIONS: dict[str, tuple[list, dict]] = {}
for _name, (_sources, _channels, _, _) in FILTERS.items():
    _picture = a.pictures(_BOTH, *([0] if 1 in _channels else []), *_channels)
    FUNCTIONS[_name] = ([_picture] * _sources, _filter)
FUNCTIONS |= {
    "non_max_supression": ([a.pictures(["f4", "f8"], 3, 4)], _filter),
    "debug_uint2float": ([a.pictures(["u2", "u4", ">u2"], 0, 1, 4)], _filter),
    "laplacian": ([_any, st.integers(-1, 4)], _filter),
    "pixel_count": ([_grey], {}),
    "color_hist_shader": ([_colours, _bins], {"region": a.regions}),
    "colour_hist2d": (
        [_byte_colours, _bins],
        {"region": a.regions, "format": st.sampled_from(["rgb", "bgr", "hsv", "x", 1]), "mask": a.mostly(_byte_grey)},
    ),
    "set_num_threads": ([st.integers(-2, 4)], {}),
    "get_num_threads": ([], {}),
}

#: What makes each object, and what each of its methods takes. The empty name stands for the object itself.
OBJECTS: dict[str, tuple[tuple[list, dict], dict[str, tuple[list, dict]]]] = {
    "ColorGMM": (([model], {"binary": st.booleans()}), {"": ([_any], _filter)}),
    "ColorGMM2": (([st.lists(model, max_size=5)], {}), {"": ([_any], _filter)}),
    "ColourDetector": (
        ([model], {"use_morphology": st.booleans()}),
        {"process": ([_byte_colours], {"out": out})},
    ),
    "ColourHistogram": (([_bins], {}), {"__eq__": ([a.anything], {}), "__setstate__": ([_any], {})}),
    "ColourModel": (
        ([_vector, _square, _square], {"threshold": a.numbers}),
        {
            "train": ([_samples], {"components": _counts, "mask": a.mostly(_byte_grey)}),
            "load": ([a.words], {}),
            "save": ([a.words], {}),
            "from_covariance": ([_square, _vector], {"weight": a.numbers}),
            "__eq__": ([model], {}),
            "__setstate__": ([_states], {}),
            "__len__": ([], {}),
        },
    ),
    "FaceDetect": (
        ([st.sampled_from(["cascade.xml", "cascade.xml", "nothing.xml"])], {}),
        {"find": ([_byte_grey], {"scale": _counts})},
    ),
    "Moments": (([], {}), {"find": ([_byte_grey], {"max_blobs": _counts, "min_area": a.numbers, "structured": st.booleans()})}),
    "MotionSegment": (
        ([st.integers(0, 12), st.integers(0, 12)], {}),
        {"process": ([_byte_colours], {"out": out}), "mass_center": ([_byte_grey], {})},
    ),
    "Blob": (([a.anything] * 11, {}), {"__eq__": ([a.anything], {})}),
}


@st.composite
def arguments(draw, positional, keywords):
    """Draw arguments. Often the second picture and the result are of the first one's shape, or share its memory."""
    values = [draw(a.mostly(strategy)) for strategy in positional]
    if len(values) == 2 and isinstance(values[0], np.ndarray) and draw(st.booleans()):
        values[1] = _like(draw, values[0])
    if draw(st.integers(0, 15)) == 0:
        values = values[: draw(st.integers(0, len(values)))]
    named = {name: draw(strategy) for name, strategy in keywords.items() if draw(st.booleans())}
    if "out" in named and values and isinstance(values[0], np.ndarray) and draw(st.integers(0, 3)) == 0:
        named["out"] = _like(draw, values[0])
    return values, named


def _like(draw, array):
    """Draw an array of the same shape, which may overlap the given one."""
    kind = draw(st.sampled_from(["same", "copy", "reversed", "channel", "random"]))
    if kind == "same" or not array.ndim or array.nbytes > 10**6:
        return array
    if kind == "reversed":
        return array[::-1]
    if kind == "channel" and array.ndim == 3 and array.shape[2]:
        return array[..., 0]
    if kind == "random" and array.dtype.kind in "uf" and array.size:
        return draw(a.arrays([array.dtype.str], st.just(array.shape)))
    return array.copy()


@st.composite
def rounds(draw):
    """Draw a name with its arguments, and for an object which of its methods are called with what."""
    name = draw(st.sampled_from(sorted(FUNCTIONS | OBJECTS)))
    if name in FUNCTIONS:
        return name, draw(arguments(*FUNCTIONS[name])), []
    made, methods = OBJECTS[name]
    called = draw(st.lists(st.sampled_from(sorted(methods)), min_size=1, max_size=4))
    return name, draw(arguments(*made)), [(method, draw(arguments(*methods[method]))) for method in called]
