#!/usr/bin/env python3
"""Print the reference page of the Python package, as the imported package has it.

    reference.py > python_reference.md
"""

from __future__ import annotations

import inspect
import re
import textwrap
from typing import Any, Iterator

HEADING = """# Python reference {#python_reference}

What `import velmor` and `import velmor.gl` give. The chapter "Python" says how they go together. In the samples
`np` is numpy, and `gl` is `velmor.gl`."""


def public_names(module: Any, prefix: str) -> dict[str, Any]:
    """Give all that a module has for its users; the members of a class come behind it."""
    names: dict[str, Any] = {}
    for name, value in vars(module).items():
        if name.startswith("_") or not callable(value):
            continue
        names[prefix + name] = value
        if inspect.isclass(value) and not hasattr(value, "__members__"):  # of an enumeration
            names.update((f"{prefix}{name}.{member}", what) for member, what in members(value))
    return names


def members(owner: type) -> Iterator[tuple[str, Any]]:
    """Give the methods and properties of a class."""
    for name in vars(owner):
        value = getattr(owner, name)
        is_member = callable(value) or isinstance(value, property)
        if is_member and not name.startswith("_") and not inspect.isclass(value):
            yield name, value


def signature_and_text(value: Any) -> tuple[str, str]:
    """Take a docstring apart: how to call it, where the binding says so, and what it does."""
    text = inspect.getdoc(value) or ""
    if isinstance(value, property):
        return "", text
    if text.startswith("__init__("):
        text = text.removeprefix("__init__")
    if "Overloaded function." in text:
        return "", text.partition("\n\n")[2].partition("\n\n")[2].partition("\n\n2. ")[0]
    first, _, rest = text.partition("\n")
    match = re.match(r"\w*\((.*)\)(?: -> .*)?$", first)
    if not match:
        return "", text
    return f"({without_types(match[1])})", rest.strip()


def without_types(arguments: str) -> str:
    """Leave the types of arguments out, which the text says better, and the object itself."""
    arguments = re.sub(r": (?:[\w.]+(?:\[[^=]*?\])?)(?=,| =|$)", "", arguments)
    return re.sub(r"^self(?:, )?", "", arguments).replace(" = ", "=")


def call_of(value: Any) -> str:
    """Give how a function or class is called, or nothing."""
    if inspect.isclass(value):
        if value.__init__ is object.__init__ or hasattr(value, "__members__"):
            return ""
        value = value.__init__
    elif isinstance(value, property):
        return ""
    call, _ = signature_and_text(value)
    if call:
        return call
    try:
        arguments = [name for name in inspect.signature(value).parameters if name != "self"]
        return f"({', '.join(arguments)})"
    except ValueError:
        return ""


def with_fences(text: str) -> str:
    """Mark samples as Python; behind a list they would be a part of it."""
    return re.sub(r"(?m)^    >>> .*(?:\n    .*)*",
                  lambda sample: f"```py\n{textwrap.dedent(sample[0])}\n```", text)


def show(name: str, value: Any, level: int) -> None:
    """Print the section of a name."""
    call = call_of(value)
    print(f"\n{'#' * level} {name}\n")
    if call:
        print(f"```py\n{name}{call}\n```\n")
    text = inspect.getdoc(value) if inspect.isclass(value) else signature_and_text(value)[1]
    print(with_fences(text or ""))


def main() -> None:
    """Print the page."""
    import velmor
    import velmor.gl

    print(HEADING)
    for module in (velmor, velmor.gl):
        prefix = module.__name__ + "."
        for name, value in public_names(module, prefix).items():
            show(name, value, 3 if "." in name.removeprefix(prefix) else 2)


if __name__ == "__main__":
    main()
