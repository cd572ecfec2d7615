#!/usr/bin/env python3
"""Print the reference page of the Python package, as the imported package has it.

    reference.py > python_reference.md
"""

from __future__ import annotations

import inspect
import re
import textwrap
from functools import partial
from types import WrapperDescriptorType
from typing import Any

HEADING = """# Python reference {#python_reference}

What `import velmor` and `import velmor.gl` give. The chapter "Python" says how they go together. In the samples
`np` is numpy, and `gl` is `velmor.gl`."""


def is_enumeration(value: Any) -> bool:
    """Say whether a class is one of pybind11's enumerations, whose text has its members."""
    return inspect.isclass(value) and hasattr(value, "__members__")


def public_names(owner: Any, prefix: str) -> dict[str, Any]:
    """Give all that a module or class has for its users; what a class has comes behind it."""
    names: dict[str, Any] = {}
    for name in vars(owner):
        value = getattr(owner, name)
        if name.startswith("_") or not (callable(value) or isinstance(value, property)):
            continue
        names[prefix + name] = value
        if inspect.isclass(value) and not is_enumeration(value):
            names.update(public_names(value, f"{prefix}{name}."))
    return names


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
    inner = r"(?<=\w)\[[^\[\]]*\]"  # what stands in brackets may have brackets of its own
    while re.search(inner, arguments):
        arguments = re.sub(inner, "", arguments)
    arguments = re.sub(r": [\w.]+(?=,| =|$)", "", arguments)
    return re.sub(r"^self(?:, )?", "", arguments).replace(" = ", "=")


def calls_of(value: Any) -> list[str]:
    """Give the ways to call a function or class; nothing else has any."""
    if inspect.isclass(value):
        if is_enumeration(value) or isinstance(value.__init__, WrapperDescriptorType):
            return []  # nobody makes one
        if isinstance(value.__init__, partial):  # a filter's, which its name is bound to
            return ["()"]
        value = value.__init__
    elif isinstance(value, property):
        return []
    call, _ = signature_and_text(value)
    if call:
        return [call]
    overloads = re.findall(r"(?m)^\d+\. \w+\((.*)\) -> .*$", inspect.getdoc(value) or "")
    if overloads:
        return [f"({without_types(arguments)})" for arguments in overloads]
    arguments = [name for name in inspect.signature(value).parameters if name != "self"]
    return [f"({', '.join(arguments)})"]


def with_fences(text: str) -> str:
    """Mark samples as Python; behind a list they would be a part of it."""
    # Where all but the first line is a sample, getdoc() takes its indentation away.
    return re.sub(r"(?m)^( {4}|)>>> .*(?:\n\1.+)*",
                  lambda sample: f"```py\n{textwrap.dedent(sample[0])}\n```", text)


def text_of(value: Any) -> str:
    """Give what is said about a name, but for how it is called."""
    text = inspect.getdoc(value) or "" if inspect.isclass(value) else signature_and_text(value)[1]
    if is_enumeration(value):
        text = text.partition("Members:\n\n")[0]  # their bare names, which the text has too
    return text.strip("\n")


def show(name: str, value: Any, level: int) -> None:
    """Print the section of a name."""
    calls = [name + call for call in calls_of(value)]
    print(f"\n{'#' * level} {name}\n")
    if calls:
        print("\n".join(["```py", *calls, "```\n"]))
    print(with_fences(text_of(value)))


def main() -> None:
    """Print the page."""
    import velmor
    import velmor.gl

    print(HEADING)
    for module in (velmor, velmor.gl):
        prefix = module.__name__ + "."
        for name, value in public_names(module, prefix).items():
            show(name, value, 2 + name.removeprefix(prefix).count("."))


if __name__ == "__main__":
    main()
