"""DLPack: memory of other libraries as arguments, and results as theirs."""

from __future__ import annotations

import ctypes
from typing import Any

import numpy as np
import pytest
import velmor

from support import copies, random_picture

HEIGHT, WIDTH = 120, 200


class Tensor:
    """Has memory by DLPack, and by nothing else."""

    def __init__(self, array: np.ndarray) -> None:
        self.memory = array

    def __dlpack__(self, **arguments: Any) -> Any:
        return self.memory.__dlpack__(**arguments)

    def __dlpack_device__(self) -> tuple[int, int]:
        return self.memory.__dlpack_device__()


class TensorElsewhere(Tensor):
    """Says that its memory is a graphics card's."""

    def __dlpack__(self, **arguments: Any) -> Any:
        capsule = self.memory.__dlpack__()
        pointer = ctypes.pythonapi.PyCapsule_GetPointer
        pointer.restype, pointer.argtypes = ctypes.c_void_p, [ctypes.py_object, ctypes.c_char_p]
        # The kind of device comes behind the address of the memory.
        ctypes.c_int32.from_address(pointer(capsule, b"dltensor") + 8).value = 2
        return capsule

    def __dlpack_device__(self) -> tuple[int, int]:
        return 2, 0


@pytest.fixture(name="torch")
def torch_module() -> Any:
    return pytest.importorskip("torch", reason="torch is not installed: it is very large")


@pytest.mark.parametrize("dtype", [np.uint8, np.float32])
@pytest.mark.parametrize("shape", [(HEIGHT, WIDTH), (HEIGHT, WIDTH, 3)])
def test_a_tensor_is_read_where_it_is(shape: tuple[int, ...], dtype: Any):
    picture = random_picture(*shape, dtype=dtype)
    result = np.empty_like(picture)
    assert copies(lambda: velmor.flip_v(Tensor(picture), out=result), picture.nbytes) == 0
    assert np.array_equal(result, picture[::-1])


def test_tensors_of_other_layouts():
    picture = random_picture(HEIGHT, WIDTH, 3)
    for view in (picture[::2], picture[:, ::2], picture[..., :1], picture.swapaxes(0, 1)):
        assert np.array_equal(velmor.not_(Tensor(view)), 255 - view)


def test_a_tensor_is_let_go():
    picture = random_picture(HEIGHT, WIDTH)
    velmor.not_(Tensor(picture))
    picture.resize((WIDTH, HEIGHT))  # which numpy refuses while anybody holds it


def test_a_tensor_as_out_is_written_or_refused():
    # Memory says so since DLPack 1.0 alone. numpy takes what is older as read-only.
    picture, memory = random_picture(HEIGHT, WIDTH), np.zeros((HEIGHT, WIDTH), np.uint8)
    out = Tensor(memory)
    if np.from_dlpack(out).flags.writeable:
        assert velmor.not_(picture, out=out) is out
        assert np.array_equal(memory, 255 - picture)
    else:
        with pytest.raises(ValueError) as error:
            velmor.not_(picture, out=out)
        assert str(error.value) == (
            "velmor.not_(): expected out to be writeable, got a read-only array")
        assert not memory.any()


def test_a_tensor_elsewhere_is_refused():
    with pytest.raises(ValueError, match=r"^velmor\.not_\(\): expected an array in main memory, "
                                         r"got TensorElsewhere that gives none \("):
        velmor.not_(TensorElsewhere(random_picture(HEIGHT, WIDTH)))


@pytest.mark.parametrize("dtype", ["uint8", "float32"])
def test_numpy_takes_a_result_without_a_copy(dtype: str):
    picture = random_picture(HEIGHT, WIDTH, 3)
    result = velmor.not_(picture, dtype=dtype)
    taken = np.from_dlpack(result)
    assert taken.ctypes.data == result.ctypes.data
    expected = result.copy()
    del result
    np.ones((HEIGHT, WIDTH, 3), dtype)  # which would come to lie there, were the memory free
    assert np.array_equal(taken, expected)


def test_torch_takes_a_result_without_a_copy(torch: Any):
    result = velmor.not_(random_picture(HEIGHT, WIDTH, 3))
    taken = torch.from_dlpack(result)
    assert taken.data_ptr() == result.ctypes.data
    result[0, 0] = 7
    assert taken[0, 0].tolist() == [7, 7, 7]


def test_a_tensor_of_torch_is_read_and_written_where_it_is(torch: Any):
    picture = random_picture(HEIGHT, WIDTH, 3)
    source, out = torch.from_numpy(picture), torch.zeros((HEIGHT, WIDTH, 3), dtype=torch.uint8)
    assert copies(lambda: velmor.not_(source, out=out), picture.nbytes) == 0
    assert velmor.not_(source, out=out) is out
    assert np.array_equal(out.numpy(), 255 - picture)


def test_tensors_of_torch_that_no_picture_is_are_refused(torch: Any):
    for tensor in (torch.zeros(3, 3, requires_grad=True), torch.zeros(3, 3, dtype=torch.int64),
                   torch.zeros(3, 3, dtype=torch.bfloat16), torch.zeros(3, 3).to_sparse(),
                   torch.zeros(3, 3, device="meta")):
        with pytest.raises(ValueError, match=r"^velmor\.not_\(\): expected an array"):
            velmor.not_(tensor)
