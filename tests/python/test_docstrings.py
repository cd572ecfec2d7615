"""The script that makes docstrings of class pages, on pages made for it."""

from __future__ import annotations

import re
from pathlib import Path

import pytest
from samples import ROOT

import docstrings  # which samples makes known

PAGE = """
/// Turns A into B, as DoesB2C does: `out = |A|`.
///
///     a formula   that stays as it is
///
/// Sources: two pictures of bytes or floats.
/// There are no parameters. Each pixel is computed from its own place alone.
///
/// Misuse stops on an assertion.
///
/// Example:
///
///     const native::DoesB2C filter;
///     filter.execute(a, b);
class VELMOR_NATIVE_EXPORT DoesB2C : public Filter
{
public:
    /// Counts.
    /// @param mostBlobs  the most
    ///                   there may be
    /// @param[out] blobs  replaced
    /// @return            the number
    /// @throws std::runtime_error  when it fails
    int count(int mostBlobs, Blobs& blobs);
};
"""

WORDS = ((r"There are no parameters[.:] ?", ""), (r" ?Misuse stops[^.]*\.", ""))


@pytest.fixture
def sources(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> Path:
    """Give a folder of sources with one page and one entry."""
    monkeypatch.setattr(docstrings, "WORDS", WORDS)
    (tmp_path / "native").mkdir()
    (tmp_path / "native/DoesB2C.h").write_text(PAGE)
    (tmp_path / "python").mkdir()
    return tmp_path


def made_of(sources: Path, entries: str) -> dict[str, str]:
    (sources / docstrings.ENTRIES).write_text(entries)
    return docstrings.docstrings(sources)


def test_docstring_is_the_page_and_the_entry(sources: Path) -> None:
    made = made_of(sources, """# Title

### end

Raises nothing.

## does_b2c

Page: native/DoesB2C.h

- `a`: a picture

{end}

    >>> 1
    1
""")
    assert made == {"does_b2c": """\
Turns A into B, as does_b2c does: `out = |A|`.

    a formula   that stays as it is

Sources: two pictures of bytes or floats. Each pixel is computed from its own place
alone.

- `a`: a picture

Raises nothing.

    >>> 1
    1
"""}


def test_member_and_paragraphs_left_out(sources: Path) -> None:
    made = made_of(sources, """
## does_b2c

Page: native/DoesB2C.h
Without: Turns A

## does_b2c.count

Page: native/DoesB2C.h count
""")
    assert made["does_b2c"] == """\
    a formula   that stays as it is

Sources: two pictures of bytes or floats. Each pixel is computed from its own place
alone.
"""
    assert made["does_b2c.count"] == """\
Counts.
- `most_blobs`: the most there may be
Returns the number.
Raises RuntimeError when it fails.
"""


@pytest.mark.parametrize("entry, trouble", [
    ("{missing}", "x: there is no piece missing"),
    ("Page: native/DoesB2C.h\nWithout: Nothing",
     "native/DoesB2C.h: x: the page has no paragraph that begins with ['Nothing']"),
    ("Page: native/DoesB2C.h lost", "native/DoesB2C.h: no comment of lost"),
    ("Text.", "no page says " + str([pattern for pattern, _ in WORDS]) + " any more"),
])
def test_trouble(sources: Path, entry: str, trouble: str) -> None:
    with pytest.raises(docstrings.Trouble, match="^" + re.escape(trouble) + "$"):
        made_of(sources, f"## x\n\n{entry}\n\n")


def test_source_gives_what_was_made() -> None:
    source = docstrings.as_source({"a": "One.\n", "b": "Two.\n"})
    assert re.findall(r'\{"(\w)", R"doc\((.*?)\)doc"\},', source, re.DOTALL) == [
        ("a", "One.\n"), ("b", "Two.\n")]


def test_each_class_page_begins_its_docstring() -> None:
    """The first words of each header, found without the script's own way of reading."""
    made = docstrings.docstrings(ROOT)
    entries = (ROOT / docstrings.ENTRIES).read_text()
    pages = re.findall(r"(?m)^## (\S+)\n\nPage: (native/\w+\.h)$", entries)
    headers = {f"native/{path.name}" for path in (ROOT / "native").glob("*.h")}
    assert {page for _, page in pages} == headers - {"native/Filter.h"}
    for name, page in pages:
        lines = (ROOT / page).read_text().splitlines()
        first = next(line for line in lines if line.startswith("/// "))
        assert " ".join(made[name].split()).startswith(first[4:].split(":")[0])
