#!/usr/bin/env python3
"""Write the docstrings of the Python package as a C++ source.

    docstrings.py <folder of the sources> <file to write>

Each name of docstrings.md gets the text of its class page, in the words of Python, and then what
stands in docstrings.md: arguments, result, errors and an example.
"""

from __future__ import annotations

import re
import sys
import textwrap
from dataclasses import dataclass, field
from pathlib import Path

ENTRIES = "python/docstrings.md"
WIDTH = 88  # of a line in the terminal of someone who calls help()

# What C++ calls otherwise: patterns, and what replaces them. Each has to occur somewhere.
WORDS = (
    (r"There are no parameters[.:] ?", ""),
    (r"depth unless another is asked for", "dtype unless another is asked for"),
    (r"of bytes or floats", "of uint8 or float32"),
    (r" in a `cv::Mat` of `CV_32S`, which are read as unsigned: -1 is 4294967295", ""),
    (r"throw std::bad_alloc", "raise MemoryError"),
    (r"`?cv::setNumThreads\(\)`?", "`set_num_threads()`"),
    (r" ?An object serves one thread at a time\.", ""),
    (r"one stream and one thread at a time", "one stream"),
    (r"ColourHist2d has bin", "ColourHistogram has bin"),
    (r" ?Misuse(?: \([^)]*\))? stops on an assertion[^.]*\.", ""),
    (r"OpenCV's cv::CascadeClassifier", "OpenCV's `CascadeClassifier`"),
    (r"getMHIImage\(\)", "`history`"),
    (r"getMHI\(\)", "`process()`"),
    (r"getMassCenter\(\)", "`mass_center()`"),
    (r", so there is no border rule", ""),
    (r"RectTexture::(\w+)", r"Format.\1"),
    (r"\bRectTexture\b", "Texture"),
    (r"makeCurrent\(\)", "make_current()"),
    (r" An application that calls glewInit\(\) itself[^.]*\.", ""),
    (r"getCount\(\)", "get_count()"),
    (r"kernelType (\d)", r"kernel \1    "),
)


class Trouble(Exception):
    """What is wrong with a page or an entry."""


@dataclass
class Entry:
    """A name of the package, and what docstrings.md says about it."""

    name: str
    page: str = ""  # header, and a member's name where it is not the class
    without: list[str] = field(default_factory=list)  # how paragraphs begin that hold in C++ alone
    text: str = ""


def read_entries(text: str) -> tuple[dict[str, str], list[Entry]]:
    """Take docstrings.md apart: the shared pieces by their names, and the entries."""
    pieces: dict[str, str] = {}
    entries: list[Entry] = []
    for section in re.split(r"^(?=###? )", text, flags=re.MULTILINE)[1:]:
        title, _, body = section.partition("\n")
        if title.startswith("### "):
            pieces[title[4:]] = body.strip()
            continue
        entry = Entry(title[3:])
        while match := re.match(r"\n*(Page|Without): (.+)\n", body):
            if match[1] == "Page":
                entry.page = match[2]
            else:
                entry.without.append(match[2])
            body = body[match.end():]
        entry.text = body.strip("\n")
        entries.append(entry)
    return pieces, entries


def comment_above(header: str, line: int) -> list[str]:
    """Give the lines of the comment above a line."""
    lines = header.splitlines()[:line]
    comment: list[str] = []
    while lines and lines[-1].lstrip().startswith("///"):
        comment.insert(0, lines.pop().lstrip()[3:].removeprefix(" "))
    return comment


def page_comment(header: str, member: str) -> list[str]:
    """Give the comment of a header's class, of the function in its place, or of a member."""
    declaration = rf"\b{member}\(" if member else r"^(?:class VELMOR_.*[^;]|VELMOR_.*\(.*)$"
    for number, line in enumerate(header.splitlines()):
        is_code = not line.lstrip().startswith("//")
        if is_code and re.search(declaration, line) and (comment := comment_above(header, number)):
            return comment
    raise Trouble(f"no comment of {member or 'a class'}")


def paragraphs(comment: list[str]) -> list[str]:
    """Join the lines of paragraphs, without the example; formulas and lists stay as they are."""
    result: list[str] = []
    skipping = False
    for line in comment:
        if line == "Example:":
            skipping = True
        elif skipping and line and not line.startswith("    "):
            skipping = False
        if skipping:
            continue
        continues_tag = line.startswith(" ") and result and result[-1].startswith("@")
        own_line = not line or re.match(r"    |- |@|[A-Z][a-z]+:", line)
        begins = own_line or not result or not result[-1] or result[-1].startswith("    ")
        if begins and not continues_tag:
            result.append(line)
        else:
            result[-1] += " " + line.strip()
    return result


def in_python(text: str, names: dict[str, str], used: set[str]) -> str:
    """Say in the words of Python what a page says."""
    for pattern, replacement in WORDS:
        text, count = re.subn(pattern, replacement, text)
        if count:
            used.add(pattern)
    for class_name, name in names.items():
        text = re.sub(rf"\b{class_name}\b", name, text)
    return text.rstrip()


def snake_case(name: str) -> str:
    """Give a C++ argument's name as Python writes it."""
    return re.sub(r"(?<=[a-z])(?=[A-Z])", "_", name).lower()


def page_text(comment: list[str], entry: Entry, names: dict[str, str], used: set[str]) -> list[str]:
    """Give the lines of a page that hold in Python."""
    kept: list[str] = []
    unused = set(entry.without)
    for line in paragraphs(comment):
        starts = [start for start in entry.without if line.startswith(start)]
        unused.difference_update(starts)
        if starts:
            continue
        line = re.sub(r"  +", " ", line) if line.startswith("@") else line
        if match := re.match(r"@param (\w+) (.+)", line):
            name = snake_case(match[1])
            line = "" if f"- `{name}`" in entry.text else f"- `{name}`: {match[2]}"
        elif match := re.match(r"@return (.+)", line):
            line = f"Returns {match[1]}."
        elif match := re.match(r"@throws std::(invalid_argument|runtime_error) (.+)", line):
            error = {"invalid_argument": "ValueError", "runtime_error": "RuntimeError"}[match[1]]
            line = "" if f"Raises {error}" in entry.text else f"Raises {error} {match[2]}."
        elif line.startswith("@"):
            continue
        kept.append(in_python(line, names, used))
    if unused:
        raise Trouble(f"{entry.name}: the page has no paragraph that begins with {sorted(unused)}")
    return kept


def wrap(line: str) -> str:
    """Break a line of prose; what is indented stays as it is."""
    if line.startswith("    ") or not line:
        return line
    indent = "  " if line.startswith("- ") else ""
    return textwrap.fill(line, WIDTH, subsequent_indent=indent, break_long_words=False,
                         break_on_hyphens=False)


def with_pieces(entry: Entry, pieces: dict[str, str]) -> str:
    """Give the text of an entry with the shared pieces in the place of their names."""
    text = entry.text
    while names := re.findall(r"^\{(.+)\}$", text, re.MULTILINE):
        for name in names:
            if name not in pieces:
                raise Trouble(f"{entry.name}: there is no piece {name}")
            text = text.replace("{" + name + "}", pieces[name])
    return text


def docstring(entry: Entry, root: Path, names: dict[str, str], used: set[str]) -> str:
    """Put a docstring together."""
    lines: list[str] = []
    if entry.page:
        path, _, member = entry.page.partition(" ")
        header = (root / path).read_text()
        try:
            lines = page_text(page_comment(header, member), entry, names, used)
        except Trouble as trouble:
            raise Trouble(f"{path}: {trouble}") from None
    body = paragraphs(entry.text.splitlines())
    whole = "\n".join(wrap(line) for line in [*lines, "", *body])
    return re.sub(r"\n{3,}", "\n\n", whole).strip("\n") + "\n"


def class_names(entries: list[Entry]) -> dict[str, str]:
    """Say what the classes are called in Python whose names are no words of English."""
    result = {}
    for entry in entries:
        stem = Path(entry.page.partition(" ")[0]).stem
        is_no_word = re.search(r"[A-Z]{2}|\d", stem)
        if entry.page.startswith("native/") and stem != entry.name and is_no_word:
            result[stem] = entry.name
    return result


def docstrings(root: Path) -> dict[str, str]:
    """Give all docstrings by the names in the package."""
    pieces, entries = read_entries((root / ENTRIES).read_text())
    functions = class_names(entries)
    used: set[str] = set()
    result = {}
    for entry in entries:
        names = {} if entry.name.startswith("gl.") else functions
        entry.text = with_pieces(entry, pieces)
        result[entry.name] = docstring(entry, root, names, used)
    if unused := [pattern for pattern, _ in WORDS if pattern not in used]:
        raise Trouble(f"no page says {unused} any more")
    return result


def as_source(texts: dict[str, str]) -> str:
    """Write the function that gives the docstrings."""
    table = "\n".join(f'        {{"{name}", R"doc({text})doc"}},' for name, text in texts.items())
    return f"""// Made by python/docstrings.py.
#include "python/binding/Docstrings.h"

#include <stdexcept>
#include <unordered_map>

namespace velmor::python {{

const char* docstring(const std::string& name)
{{
    static const std::unordered_map<std::string, const char*> texts = {{
{table}
    }};
    const auto found = texts.find(name);
    if (found == texts.end())
        throw std::logic_error("python/docstrings.md has no entry " + name);
    return found->second;
}}

}} // namespace velmor::python
"""


def main() -> None:
    """Write the source, or say what is missing."""
    root, source = Path(sys.argv[1]), Path(sys.argv[2])
    try:
        source.write_text(as_source(docstrings(root)))
    except Trouble as trouble:
        sys.exit(f"docstrings.py: {trouble}")


if __name__ == "__main__":
    main()
