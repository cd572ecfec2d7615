"""The reference page has all that the stubs know, which another script writes."""

from __future__ import annotations

import ast
import dataclasses
import re
from collections.abc import Iterator

import pytest
import velmor
from samples import ROOT

import reference

STUBS = {"_core.pyi": "velmor.", "_gl.pyi": "velmor.gl."}


def in_stubs() -> Iterator[tuple[str, ast.AST]]:
    """Give every public class, function, method and property, with its full name."""
    for file, prefix in STUBS.items():
        yield from inside(ast.parse((ROOT / "python/src/velmor" / file).read_text()), prefix)


def inside(owner: ast.AST, prefix: str) -> Iterator[tuple[str, ast.AST]]:
    for node in owner.body:
        if isinstance(node, (ast.ClassDef, ast.FunctionDef)) and not is_hidden(node):
            yield prefix + node.name, node
            if isinstance(node, ast.ClassDef) and not values_of(node):
                yield from inside(node, f"{prefix}{node.name}.")


def is_hidden(node: ast.ClassDef | ast.FunctionDef) -> bool:
    """Hide what is not public, and what assigns a property."""
    decorators = [ast.unparse(each) for each in getattr(node, "decorator_list", [])]
    return node.name.startswith("_") or any(each.endswith(".setter") for each in decorators)


def values_of(owner: ast.ClassDef) -> list[str]:
    """Give the values of an enumeration."""
    names = [node.target.id for node in owner.body if isinstance(node, ast.AnnAssign)]
    return [name for name in names if name != "__members__"] if "__members__" in names else []


@pytest.fixture(name="page")
def written_page(capsys: pytest.CaptureFixture[str]) -> str:
    reference.main()
    return capsys.readouterr().out


def sections(page: str) -> dict[str, str]:
    """Give the text under each heading but the first."""
    parts = re.split(r"(?m)^##+ (.*)\n", page)[1:]
    return dict(zip(parts[::2], parts[1::2]))


def test_everything_is_on_the_page(page: str) -> None:
    names = dict(in_stubs())
    assert "velmor.gl.DriverAdapter.Finding.detail" in names  # a property of a nested class
    assert {"velmor.not_", "velmor.ColourModel.load"} <= names.keys()
    assert sorted(sections(page)) == sorted([*names, "velmor.Blob"])  # which is written in Python
    assert [name for name, text in sections(page).items() if not text.strip()] == []


def test_values_of_enumerations_are_told(page: str) -> None:
    found = {name: values_of(node) for name, node in in_stubs() if isinstance(node, ast.ClassDef)}
    enumerations = {name: values for name, values in found.items() if values}
    assert {"velmor.gl.Format", "velmor.gl.DriverAdapter.Outcome"} <= enumerations.keys()
    for name, values in enumerations.items():
        assert [each for each in values if f"`{each}`" not in sections(page)[name]] == []


def test_calls_are_those_of_the_stubs(page: str) -> None:
    """The names of the arguments, in their order; a class without __init__() has no call."""
    for name, text in sections(page).items():
        called = re.findall(rf"(?m)^{re.escape(name)}\((.*)\)$", text)
        assert [arguments_of(ast.parse(f"def f({call}): ...").body[0]) for call in called] \
            == calls(name), name


def calls(name: str) -> list[list[str]]:
    """Give the arguments of each way to call what has this name."""
    if name == "velmor.Blob":
        return [[field.name for field in dataclasses.fields(velmor.Blob)]]
    found = []
    for node in (node for known, node in in_stubs() if known == name):
        if isinstance(node, ast.FunctionDef):
            found += [node] if not is_property(node) else []
        elif not values_of(node):
            found += [each for each in node.body if getattr(each, "name", "") == "__init__"]
    ways = [arguments_of(each) for each in found]
    return [way for i, way in enumerate(ways) if way not in ways[:i]]  # of other types alone


def is_property(node: ast.FunctionDef) -> bool:
    return "property" in [ast.unparse(each) for each in node.decorator_list]


def arguments_of(node: ast.FunctionDef) -> list[str]:
    arguments = node.args.posonlyargs + node.args.args + node.args.kwonlyargs
    return [each.arg for each in arguments if each.arg != "self"]


def test_types_in_types_are_left_out() -> None:
    # As pybind11 2.13 writes them.
    arguments = "self: X, regions: Optional[Annotated[list[int], FixedSize(4)]] = None, size: int"
    assert reference.without_types(arguments) == "regions=None, size"


def test_the_page_is_markdown(page: str) -> None:
    levels = [len(marks) for marks in re.findall(r"(?m)^(#+) ", page)]
    assert levels[0] == 1
    assert all(1 < level <= before + 1 for before, level in zip(levels, levels[1:]))
    fences = re.findall(r"(?m)^```.*$", page)
    assert fences == ["```py", "```"] * (len(fences) // 2)
    outside = re.sub(r"(?ms)^```py\n.*?^```$", "(a sample)", page)
    assert not re.search(r"(?m)^ *>>>|_core|_gl\b|\bself\b|Overloaded|Members:|\n\n\n", outside)
