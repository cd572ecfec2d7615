"""Write the stubs of the package from the signatures that its built modules give.

    PYTHONPATH=build/default/python python3 python/stubs.py [folder]

The stubs stand beside the sources, where editors and type checkers find them without a build; a
test compares them with what this gives. A signature says "object" where the module looks at what
it gets: the tables below tell by the name of the argument what that may be. A name that they lack
stops this.
"""

from __future__ import annotations

import ast
import importlib
import re
import sys
from functools import partialmethod
from pathlib import Path
from types import GetSetDescriptorType, ModuleType, WrapperDescriptorType
from typing import Any

# By name of the argument; of one function's, or of one class's, where that differs.
ARGUMENTS = {
    "_Picture": "a array b frame image mask out samples source",
    "npt.ArrayLike": "covariance covariances mean means weights",
    "npt.DTypeLike": "dtype",
    "int": "components height kernel max_blobs n scale tiles width",
    "float": "min_area threshold weight",
    "bool": "binary copy",
    "int | Sequence[int]": "bins",
    "Sequence[int]": "ColorHistShader.bins ColourHistogram.bins region",
    "Sequence[Sequence[int]]": "regions",
    'Literal["rgb", "hsv", "bgr"]': "colour_hist2d.format",
    "str | os.PathLike[str]": "cascade path",
    "ColourModel": "model",
    "Sequence[ColourModel]": "models",
    "Texture": "destination source1 source2 prepare_execution.source",
    "dict[int, Any]": "__deepcopy__.memo",
    "object": "args other",
}

# What comes back, where a signature says no more than "object", "list" or "tuple".
RETURNS = {
    "BLOB_DTYPE": "np.dtype[np.void]",
    "__array__": "npt.NDArray[Any]",
    "__enter__": "Self",
    "dtype": "np.dtype[Any]",
    "findings": "list[DriverAdapter.Finding]",
    "mass_center": "tuple[float, float]",
    "regions": "list[tuple[int, int, int, int]]",
    "shape": "tuple[int, ...]",
}

# A function whose result depends on an argument: the argument, and what comes back for each.
OVERLOADS = {
    "find": ("structured", {"False": "list[Blob]", "True": "npt.NDArray[np.void]"}),
}

# What every object has, and what only pickling calls.
UNNAMED = {
    "__doc__", "__entries", "__getstate__", "__module__", "__repr__", "__setstate__", "__str__"
}
BUILT_IN = (GetSetDescriptorType, WrapperDescriptorType)

HEADER = '''# Written by python/stubs.py.
import os
from collections.abc import Sequence
from typing import Any, ClassVar, Literal, Protocol, Self, overload

import numpy as np
import numpy.typing as npt

{imports}
class _SupportsArray(Protocol):
    def __array__(self) -> npt.NDArray[Any]: ...

class _SupportsArrayInterface(Protocol):
    @property
    def __array_interface__(self) -> dict[str, Any]: ...

class _SupportsDLPack(Protocol):
    def __dlpack__(self) -> Any: ...

_Picture = (
    npt.NDArray[Any]
    | bytes
    | bytearray
    | memoryview
    | _SupportsArray
    | _SupportsArrayInterface
    | _SupportsDLPack
)
'''

BY_ARGUMENT = {name: type_ for type_, names in ARGUMENTS.items() for name in names.split()}
PLAIN = {"bool", "bytes", "dict", "float", "int", "str", "None"}


def of_any(texts: dict[str, str], *names: str) -> str:
    """Return what a table says of the first of these names that it has."""
    for name in names:
        if name in texts:
            return texts[name]
    raise SystemExit(f"python/stubs.py: the tables lack {' and '.join(names)}")


def stub_type(said: ast.expr | None, table: dict[str, str], *names: str) -> str:
    """Return the type that a signature says, or where it says none, that of the table."""
    text = ast.unparse(said) if said else "object"
    text = re.sub(r"\bvelmor\.(_core\.|_gl\.|gl\.)?", "", text).replace("List[", "list[")
    text = re.sub(r"^Optional\[(.*)\]$", r"\1 | None", text)
    if text.startswith("numpy.ndarray"):
        return "npt.NDArray[Any]"
    if text in ("object", "handle", "tuple", "list", "args") or names[-1] in table:
        return of_any(table, *names)
    return text


class Function:
    """A function, a method or an accessor of a property, by one line of its docstring."""

    def __init__(self, line: str, name: str, owner: str = "") -> None:
        plain = re.sub(r"<[^<>]*>", "...", line)  # values of enumerations
        parsed = ast.parse(f"def {name}{plain[plain.index('('):]}: ...").body[0]
        assert isinstance(parsed, ast.FunctionDef)
        self.name, self.owner = name, owner
        self.arguments, self.returned = parsed.args, parsed.returns

    def argument(self, arg: ast.arg, default: ast.expr | None) -> str:
        """Return an argument as the stub has it."""
        if arg.arg == "self" and self.owner:
            return "self"
        name = "other" if re.match(r"arg\d", arg.arg) else arg.arg
        if self.name == "__deepcopy__":
            name = "memo"
        names = (f"{self.owner}.{name}", f"{self.name}.{name}", name)
        type_ = stub_type(arg.annotation, BY_ARGUMENT, *names)
        if default is None:
            return f"{name}: {type_}" + (", /" if name != arg.arg else "")
        takes_none = type_.endswith(("None", "DTypeLike"))
        if isinstance(default, ast.Constant) and default.value is None and not takes_none:
            type_ += " | None"
        return f"{name}: {type_} = {ast.unparse(default)}"

    def all_arguments(self) -> list[str]:
        """Return the arguments as the stub has them."""
        has = self.arguments
        defaults = [None] * (len(has.args) - len(has.defaults)) + list(has.defaults)
        texts = [self.argument(*each) for each in zip(has.args, defaults)]
        if has.vararg:
            texts.append("*args: object")
        elif has.kwonlyargs:
            texts.append("*")
        return texts + [self.argument(*each) for each in zip(has.kwonlyargs, has.kw_defaults)]

    def result(self) -> str:
        """Return the type of what comes back."""
        if any(arg.arg == "out" for arg in self.arguments.args + self.arguments.kwonlyargs):
            return "npt.NDArray[Any]"
        return stub_type(self.returned, RETURNS, f"{self.owner}.{self.name}", self.name)

    def lines(self) -> list[str]:
        """Return the function as the stub has it."""
        arguments = self.all_arguments()
        by, results = OVERLOADS.get(self.name, ("", {}))
        at = next((i for i, text in enumerate(arguments) if text.startswith(f"{by}: ")), None)
        if not by or at is None:
            return [f"def {self.name}({', '.join(arguments)}) -> {self.result()}: ..."]
        lines = []
        for value, result in results.items():
            default = f" = {value}" if arguments[at].endswith(f"= {value}") else ""
            arguments[at] = f"{by}: Literal[{value}]{default}"
            lines += ["@overload", f"def {self.name}({', '.join(arguments)}) -> {result}: ..."]
        return lines


def signatures(function: Any, name: str) -> list[str]:
    """Return the lines of a docstring that are signatures."""
    text = function.__doc__ or ""
    if "Overloaded function." in text:
        return re.findall(rf"^\d+\. ({name}\(.*) *$", text, re.MULTILINE)
    return text.splitlines()[:1]


def function_lines(function: Any, name: str, owner: str = "") -> list[str]:
    """Return a function, or all its overloads, as the stub has it."""
    if name == "__hash__" and function is None:
        return ["__hash__: ClassVar[None]  # type: ignore[assignment]"]
    if name == "__eq__":
        return ["def __eq__(self, other: object, /) -> bool: ..."]
    found = [Function(line, name, owner).lines() for line in signatures(function, name)]
    many = ["@overload"] if len(found) > 1 else []
    return [line for lines in found for line in [*many, *lines]]


def property_lines(value: property, name: str, owner: str) -> list[str]:
    """Return a property as the stub has it."""
    getter = Function(signatures(value.fget, name)[0], name, owner)
    lines = ["@property", f"def {name}(self) -> {getter.result()}: ..."]
    if value.fset:
        lines += [f"@{name}.setter", f"def {name}(self, value: {getter.result()}) -> None: ..."]
    return lines


def member_lines(value: Any, name: str, class_: type) -> list[str]:
    """Return a member of a class as the stub has it."""
    if isinstance(value, type):
        return class_lines(value)
    if isinstance(value, partialmethod):
        return [f"def {name}(self) -> None: ..."]
    if name == "__members__":
        return [f"__members__: ClassVar[dict[str, {class_.__qualname__}]]"]
    if isinstance(value, property):
        return property_lines(value, name, class_.__name__)
    if isinstance(value, staticmethod):
        return ["@staticmethod", *function_lines(value.__func__, name, class_.__name__)]
    if isinstance(value, class_):
        return [f"{name}: ClassVar[{class_.__qualname__}]"]
    return function_lines(value, name, class_.__name__)


def class_lines(class_: type) -> list[str]:
    """Return a class as the stub has it."""
    base = class_.__mro__[1]
    bases = f"({base.__name__})" if base.__module__.startswith("velmor") else ""
    lines = []
    for name, value in vars(class_).items():
        if name not in UNNAMED and not isinstance(value, BUILT_IN):
            lines += member_lines(value, name, class_)
    return [f"class {class_.__name__}{bases}:", *(f"    {line}" for line in lines or ["..."])]


def module_stub(module: ModuleType, imports: str) -> str:
    """Return the stub of a module that is written in C++."""
    lines = [HEADER.format(imports=imports)]
    for name, value in vars(module).items():
        if isinstance(value, type):
            lines += [*class_lines(value), ""]
        elif callable(value):
            lines += function_lines(value, name)
        elif name == "__version__" or not name.startswith("_"):
            plain = type(value).__name__
            lines.append(f"{name}: {plain if plain in PLAIN else of_any(RETURNS, name)}")
    return "\n".join(lines) + "\n"


def package_stub(package: ModuleType, origins: dict[str, str]) -> str:
    """Return the stub of a module that hands on the names of others."""
    lines = ["# Written by python/stubs.py."]
    for name in sorted({*package.__all__, *({"__version__"} & vars(package).keys())}):
        lines.append(f"from {origins.get(name, origins[''])} import {name} as {name}")
    names = [f'    "{name}",' for name in sorted(package.__all__)]
    return "\n".join([*lines, "", "__all__ = [", *names, "]"]) + "\n"


def stubs() -> dict[str, str]:
    """Return the texts of the stubs by the names of their files."""
    velmor, core, gl, native_gl = (
        importlib.import_module(f"velmor{name}") for name in ("", "._core", ".gl", "._gl")
    )
    records = "from ._core import ColourHistogram, ColourModel\n\n"
    return {
        "__init__.pyi": package_stub(velmor, {"": "._core", "Blob": ".blobs"}),
        "_core.pyi": module_stub(core, "from .blobs import Blob\n\n"),
        "gl.pyi": package_stub(gl, {"": "._gl"}),
        "_gl.pyi": module_stub(native_gl, records),
    }


def main() -> None:
    """Write the stubs into the folder that is named, or beside the sources."""
    beside = Path(__file__).resolve().parent / "src" / "velmor"
    folder = Path(sys.argv[1]) if len(sys.argv) > 1 else beside
    for name, text in stubs().items():
        (folder / name).write_text(text)


if __name__ == "__main__":
    main()
