"""Makes one table of the parts: rows by video, frame and number, whoever made them and when."""

from __future__ import annotations

import csv
import io
import zipfile
from pathlib import Path
from typing import Any, Iterator

import numpy as np
from numpy.typing import NDArray

from archive.store import Part, Video, read_part, replacing

FRAME = [("video", "i8"), ("frame", "i8"), ("time", "f8")]
IN_ALL_FRAMES = {"video", "frame", "time", "found", "pixels", "mean", "bins"}


def column_names(rows: np.dtype[Any]) -> list[str]:
    """Give the columns, one for each number: those of an array have its indices."""
    names = []
    for name in rows.names or ():
        shape = rows[name].shape
        names += ["_".join([name, *map(str, index)]) for index in np.ndindex(shape)]
    return names


def _cells(rows: NDArray[np.void], name: str) -> list[list[Any]]:
    """Give the cells of a field, by row; what a row has not is empty."""
    cells: list[list[Any]] = rows[name].reshape(len(rows), -1).tolist()
    if name not in IN_ALL_FRAMES:
        numbers: Any = rows["number"].tolist()
        return [cell if number >= 0 else [""] for cell, number in zip(cells, numbers)]
    return [["" if value != value else value for value in cell] for cell in cells]


def write_csv(file: Path, fields: list[Any], out: Path, done: dict[Video, list[Part]]) -> int:
    """Write the table as text; give the number of rows."""
    count = 0
    with replacing(file) as writing:
        text = io.TextIOWrapper(writing, "utf-8", "surrogateescape", newline="",
                                write_through=True)
        table = csv.writer(text, lineterminator="\n")
        table.writerow(["video", *column_names(np.dtype(FRAME[1:] + fields))])
        for video, parts in done.items():
            for part in parts:
                rows = read_part(out, video.key, part)
                columns = [_cells(rows, name) for name in rows.dtype.names or ()]
                table.writerows([video.name, *(cell for cells in row for cell in cells)]
                                for row in zip(*columns))
                count += len(rows)
        text.detach()  # the file is closed by who opened it
    return count


def _numbered_rows(fields: list[Any], out: Path,
                   done: dict[Video, list[Part]]) -> Iterator[NDArray[np.void]]:
    for number, (video, parts) in enumerate(done.items()):
        for part in parts:
            rows = read_part(out, video.key, part)
            numbered = np.empty(len(rows), FRAME + fields)
            numbered["video"] = number
            for name in rows.dtype.names or ():
                numbered[name] = rows[name]
            yield numbered


def _write_array(archive: zipfile.ZipFile, name: str, length: int, dtype: np.dtype[Any],
                 pieces: Iterator[NDArray[Any]]) -> None:
    """Add an array to an archive, a piece at a time."""
    with archive.open(f"{name}.npy", "w", force_zip64=True) as writing:
        header = {"descr": dtype.descr if dtype.names else dtype.str, "fortran_order": False,
                  "shape": (length,)}
        np.lib.format.write_array_header_1_0(writing, header)  # type: ignore[no-untyped-call]
        for piece in pieces:
            writing.write(piece.tobytes())


def write_npz(file: Path, fields: list[Any], out: Path, done: dict[Video, list[Part]]) -> int:
    """Write the table as arrays, `videos` with the names and `rows`; give the number of rows."""
    count = sum(len(read_part(out, video.key, part))
                for video, parts in done.items() for part in parts)
    names = np.array([video.name for video in done], "U")
    with replacing(file) as writing, zipfile.ZipFile(writing, "w") as archive:
        _write_array(archive, "videos", len(names), names.dtype, iter([names]))
        _write_array(archive, "rows", count, np.dtype(FRAME + fields),
                     _numbered_rows(fields, out, done))
    return count


WRITERS = {"csv": write_csv, "npz": write_npz}


def write_table(kind: str, fields: list[Any], out: Path, done: dict[Video, list[Part]]) -> int:
    """Write the table of all videos that are done, which come in the order of their names."""
    return WRITERS[kind](out / f"table.{kind}", fields, out, done)
