"""What hypothesis draws as arguments: sensible ones most of the time, and now and then anything at all."""

import ctypes
import mmap

import numpy as np
import velmor
from hypothesis import strategies as st

PICTURE_DTYPES = ["u1", "f4", "u2", "u4", "?", "f8"]
OTHER_DTYPES = [
    ">f4", ">u2", ">f8", "i1", "i2", "i4", "i8", "u8", "f2", "g", "c8", "c16", "M8[s]", "m8[s]",
    "S3", "U2", "O", "V5", "u1,f4", "(2,2)u1,f4",
]  # fmt: skip
SPECIAL_NUMBERS = [0, 1, -1, 255, 256, 1e300, -1e300, 5e-324, float("inf"), float("-inf"), float("nan"), 2**31, 2**63]

#: Those written in C++, whose objects can be made without what holds their memory.
CLASSES = [kind for kind in vars(velmor).values() if type(kind).__name__ == "pybind11_type"]


def _contents(dtype: np.dtype, shape: tuple[int, ...], seed: int, special: bool) -> np.ndarray:
    """Fill an array of any dtype: with numbers of pictures, or with what its memory may hold at worst."""
    random = np.random.default_rng(seed)
    if dtype.hasobject:
        array = np.empty(shape, dtype)
        array.fill(seed)
        return array
    if dtype.kind == "f" and not special:
        return random.random(shape).astype(dtype)
    count = int(np.prod(shape, dtype=np.int64)) * dtype.itemsize
    array = np.frombuffer(bytearray(random.bytes(count)), dtype, -1 if count else 0)
    array = array.reshape(shape) if count else np.zeros(shape, dtype)
    if dtype.kind == "f" and array.size:
        with np.errstate(all="ignore"):
            array.flat[random.integers(0, array.size, 8)] = random.choice(SPECIAL_NUMBERS, 8)
    return array


_edges = st.one_of(st.integers(0, 4), st.integers(0, 40))


def shapes(*channels: int):
    """Draw shapes (height, width, channels) of one of these numbers of channels; 0 stands for (height, width)."""
    return st.builds(
        lambda height, width, last: (height, width, last)[: 3 if last else 2],
        _edges, _edges, st.sampled_from(channels),
    )  # fmt: skip


@st.composite
def pictures(draw, dtypes: list[str], *channels: int):
    """Draw pictures as a call takes them, and now and then other arrays."""
    return draw(arrays() if draw(st.integers(0, 7)) == 0 else arrays(dtypes, shapes(*channels)))


_any_shape = st.one_of(shapes(0, 1, 2, 3, 4, 5, 513), st.lists(st.integers(0, 6), max_size=5).map(tuple))


def _changed(draw, array: np.ndarray) -> np.ndarray:
    """Draw another view of an array, or another array of the same numbers."""
    kind = draw(st.sampled_from(["step", "reverse", "transpose", "fortran", "readonly", "swap", "unaligned", "inner"]))
    if kind == "step" and array.ndim:
        return array[:: draw(st.sampled_from([2, 3, -2]))]
    if kind == "reverse" and array.ndim > 1:
        return array[:, ::-1]
    if kind == "transpose":
        return array.swapaxes(0, 1) if array.ndim > 1 else array.T
    if kind == "fortran":
        return np.asfortranarray(array)
    if kind == "readonly":
        array = array.view()
        array.flags.writeable = False
        return array
    if kind == "swap" and array.dtype.kind in "ufic":
        return array.astype(array.dtype.newbyteorder())
    if kind == "unaligned" and not array.dtype.hasobject:
        memory = np.zeros(array.nbytes + 1, "u1")[1:]
        moved = memory.view(array.dtype) if array.ndim and array.nbytes else array.ravel()
        return moved.reshape(array.shape)
    if kind == "inner" and array.ndim > 2:
        return array[..., 1:]
    return array


@st.composite
def arrays(draw, dtypes=None, shape=None):
    """Draw arrays of every dtype, shape and stride."""
    dtype = np.dtype(draw(st.sampled_from(dtypes or PICTURE_DTYPES * 3 + OTHER_DTYPES)))
    size = draw(shape or _any_shape)
    array = _contents(dtype, size, draw(st.integers(0, 2**32 - 1)), draw(st.booleans()))
    for _ in range(draw(st.sampled_from([0, 0, 0, 1, 2]))):
        array = _changed(draw, array)
    return array


class _Interface:
    """An object whose memory numpy knows by `__array_interface__`, which may lie."""

    def __init__(self, interface: object, owner: object) -> None:
        self.__array_interface__ = interface
        self._owner = owner

    def __repr__(self) -> str:
        return f"<interface {self.__array_interface__} of {self._owner.nbytes} bytes>"


@st.composite
def _interfaces(draw):
    array = draw(arrays(PICTURE_DTYPES))  # numpy itself dies of a null pointer to records
    interface = dict(array.__array_interface__)
    broken = draw(st.sampled_from(["", "", "shape", "typestr", "strides", "version", "data", "all"]))
    if broken == "all":
        return _Interface(draw(st.one_of(st.none(), st.integers(), st.text())), array)
    if broken == "data":
        interface["data"] = (0, False)
        interface["shape"] = (0, 0)
    elif broken:
        interface[broken] = draw(st.sampled_from([None, "x", -1, (), ("a",), "|u3", 0]))
    return _Interface(interface, array)


def _buffers():
    size = st.integers(0, 64)
    return st.one_of(
        st.binary(max_size=64),
        st.builds(bytearray, size),
        st.builds(lambda n: memoryview(bytearray(n)), size),
        st.builds(lambda n: memoryview(bytearray(n * 4)).cast("B", [n, 4]) if n else memoryview(b""), size),
        st.builds(lambda n: (ctypes.c_float * n)(), size),
        st.builds(lambda n: mmap.mmap(-1, n + 1), size),
    )


#: Pictures whose memory is small, and whose size is huge.
_huge = st.builds(
    lambda dtype, shape: np.broadcast_to(np.zeros((1,) * len(shape), dtype), shape),
    st.sampled_from(["u1", "f4", "u2", "?", "f8"]),
    st.sampled_from([(2**31, 1), (1, 2**31), (2**31 - 1, 2), (70000, 70000), (2**31, 2**20), (50000, 50000, 3), (1, 1, 2**31)]),
)

numbers = st.one_of(
    st.integers(-3, 20),
    st.integers(),
    st.floats(),
    st.sampled_from(SPECIAL_NUMBERS),
    st.builds(np.float32, st.floats(width=32)),
    st.builds(np.int64, st.integers(-(2**63), 2**63 - 1)),
)

#: Names of files, of which none leads out of the folder that the search runs in to a file that is there.
words = st.one_of(
    st.text(max_size=8).map(lambda text: text.replace("/", "_").replace(".", "_")),
    st.sampled_from(["/", "/nowhere/at/all", "a\0b", "\udcff", "", ".", "model"]),
    st.binary(max_size=8).map(lambda name: name.replace(b"/", b"_").replace(b".", b"_")),
)

regions = st.one_of(
    st.none(),
    st.tuples(*[st.integers(0, 10)] * 4),
    st.tuples(*[st.integers(-5, 60)] * 4),
    st.tuples(*[numbers] * 4),
    st.lists(numbers, max_size=6),
)

#: Anything at all.
anything = st.one_of(
    arrays(),
    _interfaces(),
    _buffers(),
    _huge,
    numbers,
    words,
    regions,
    st.booleans(),
    st.none(),
    st.builds(object),
    st.sampled_from(CLASSES).map(lambda kind: kind.__new__(kind)),
    st.lists(numbers, max_size=3),
    st.builds(lambda a: [a, a], arrays()),
    st.sampled_from([np.ma.masked, np.float32, "float32", "u1", np.dtype("f8"), Ellipsis, int, {}, slice(None)]),
    st.builds(lambda a: np.ma.masked_array(a, a == a), arrays(["u1", "f4"])),
    st.builds(np.matrix, arrays(["u1", "f4"], shapes(0))),
)


@st.composite
def mostly(draw, sensible):
    """Draw what a caller means to give, and anything in one of sixteen draws."""
    return draw(anything if draw(st.integers(0, 15)) == 0 else sensible)
