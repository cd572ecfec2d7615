"""The calls of velmor.gl that the search makes, in a context that is current all the time."""

import arguments as a
import calls
from hypothesis import strategies as st
from rules import FILTERS, function_of
from velmor import gl

#: Kept for the whole search.
CONTEXT = gl.Context()

_formats = st.sampled_from(list(gl.Format.__members__.values()))
_sizes = st.one_of(st.integers(1, 20), st.sampled_from([0, -1, 1, 64, 10**5, 2**31, 2**63]))
_textures = st.builds(gl.Texture, st.integers(1, 20), st.integers(1, 20), _formats)
_plain = st.builds(gl.Texture, st.just(12), st.just(9), st.sampled_from([gl.Format.RGBA8, gl.Format.RGBA32F]))
_integers = st.builds(gl.Texture, st.just(12), st.just(9), st.sampled_from([gl.Format.R32UI, gl.Format.RGBA16UI]))
_kept = st.one_of(_plain, _textures, _integers)
_regions = st.one_of(st.none(), st.lists(st.tuples(*[st.integers(0, 9)] * 4), max_size=3), st.lists(a.regions, max_size=3))
_pictures = a.pictures(["u1", "f4", "u2", "u4", "f8"], 0, 3, 4)
_prepare = {
    1: ([_kept, _kept], {"regions": _regions}),
    2: ([_kept, _kept, _kept], {"regions": _regions}),
}

_MADE_WITH = {
    "Filter": ([st.sampled_from(["And", "Not", "PixelCount", "Nothing", ""])], {}),
    "ColorGMM": ([calls.model], {"binary": st.booleans()}),
    "ColorGMM2": ([st.lists(calls.model, max_size=4)], {}),
    "Laplacian": ([st.integers(-1, 4)], {}),
    "PixelCount": ([st.one_of(st.integers(-1, 40), a.numbers)], {}),
    "ColorHistShader": ([st.lists(a.numbers, min_size=3, max_size=3)], {"block_size": a.numbers, "no_geometry_shader": st.booleans()}),
}
_OWN_METHODS = {
    "PixelCount": {"get_count": ([], {}), "get_nof_tiles": ([], {}), "set_max_nof_tiles": ([a.numbers], {})},
    "ColorHistShader": {"copy_histo_from_gpu": ([], {})},
}

OBJECTS = {
    "gl.Texture": (
        ([_sizes, _sizes, _formats], {}),
        {
            "upload": ([_pictures], {}),
            "to_array": ([], {"out": calls.out}),
            "from_array": ([_pictures], {"format": st.one_of(st.none(), _formats)}),
        },
    ),
    "gl.Context": (
        ([], {"adapt_driver": st.booleans()}),
        {"make_current": ([], {}), "close": ([], {}), "__enter__": ([], {}), "__exit__": ([a.anything] * 3, {}), "adopt": ([], {})},
    ),
    "gl.StateGuard": (([], {}), {"__enter__": ([], {}), "__exit__": ([a.anything] * 3, {})}),
    "gl.DriverAdapter": (([], {}), {"install": ([st.booleans()], {}), "remove": ([], {})}),
    "gl.Format": (([a.numbers], {}), {"__eq__": ([a.anything], {})}),
}
for _name, _kind in vars(gl).items():
    if isinstance(_kind, type) and issubclass(_kind, gl.Filter):
        _sources = FILTERS[function_of(_name)][0] if function_of(_name) in FILTERS else 1
        _methods = {"execute": ([], {}), "prepare_execution": _prepare[_sources]}
        OBJECTS[f"gl.{_name}"] = (_MADE_WITH.get(_name, ([], {})), _methods | _OWN_METHODS.get(_name, {}))
