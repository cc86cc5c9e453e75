"""Tables: CSV and its relatives, and Parquet."""

from __future__ import annotations

import csv
import re
from codecs import BOM_UTF16_BE, BOM_UTF16_LE, getincrementaldecoder
from dataclasses import dataclass
from itertools import groupby
from os import SEEK_END
from pathlib import Path
from typing import TYPE_CHECKING

import numpy as np
import pandas as pd

from harmotrack.errors import HarmotrackError
from harmotrack.readers.assembly import (
    ReadOptions,
    Signal,
    name_and_unit,
    recorded,
    says_time,
    table_channels,
)
from harmotrack.recording import Recording

if TYPE_CHECKING:
    from numpy.typing import NDArray

_HEAD_LINES = 60
_HEAD_BYTES = 1 << 20
_SPACES = r"\s+"
_SEPARATORS = ("\t", ";", ",", _SPACES)
#: A word with its unit behind it, or what stands in quotes: headings of columns set by spaces.
_HEADING = re.compile(r'"[^"]*"|[^\s\[("]+(?:\s*[\[(][^\])]*[\])])?')
_THOUSANDS = {
    ",": re.compile(r"[+-]?\d{1,3}(\.\d{3})+(,\d*)?"),
    ".": re.compile(r"[+-]?\d{1,3}(,\d{3})+(\.\d*)?"),
}


def read(path: Path, options: ReadOptions) -> Recording:
    signals, notes = columns(path, options)
    return recorded(path, table_channels(signals, options, notes), notes)


def columns(path: Path, options: ReadOptions) -> tuple[list[Signal], list[str]]:
    """The columns of numbers, the one of the time stamps too, and notes on what was left out."""
    with path.open("rb") as file:
        is_parquet = file.read(4) == b"PAR1"
    notes: list[str] = []
    if is_parquet or options.format == "parquet":
        frame = pd.read_parquet(path, engine="pyarrow").reset_index()
        frame = frame.drop(columns=[name for name in frame if name == "index"])
        headings, units = [str(name) for name in frame.columns], [""] * frame.shape[1]
    else:
        layout = _layout(path)
        frame = _read_csv(path, layout)
        headings, units = layout.names, layout.units
        frame = _without_cut_row(path, frame, notes)
    signals = _numbers(frame, headings, units, notes)
    if not signals:
        raise HarmotrackError(f"{path} has no column of numbers.")
    return signals, notes


def is_table(path: Path) -> bool:
    """Whether a file of any name is a text with rows of numbers."""
    try:
        _layout(path)
    except (HarmotrackError, UnicodeError):
        return False
    return True


@dataclass(frozen=True)
class _Layout:
    """How a text holds its table."""

    encoding: str
    separator: str
    decimal: str
    skip: int  #: lines before the first row of numbers
    names: list[str]
    units: list[str]


@dataclass(frozen=True)
class _Reading:
    """The first lines of a text, cut at one separator."""

    separator: str
    decimal: str
    rows: list[list[str]]
    first: int  #: row of numbers

    @property
    def rank(self) -> tuple[float, int]:
        """The more of its cells are numbers, in rows of equal length, the likelier."""
        width = len(self.rows[self.first])
        body = [row for row in self.rows[self.first :] if any(row)]
        cells = [cell for row in body for cell in row if cell.strip()]
        regular = sum(len(row) == width for row in body) / len(body)
        share = sum(_is_number(cell, self.decimal) for cell in cells) / len(cells)
        return round(regular * share, 2), width


def _layout(path: Path) -> _Layout:
    """Finds the first row of numbers; above it stand the names, and under them the units."""
    encoding, lines = _head(path)
    readings = [
        reading for separator in _SEPARATORS if (reading := _cut_at(separator, lines)) is not None
    ]
    if not readings:
        raise HarmotrackError(f"{path} has no row of numbers in its first {_HEAD_LINES} lines.")
    reading = max(readings, key=lambda one: one.rank)
    width = len(reading.rows[reading.first])
    names, units = _names_and_units(lines[: reading.first], reading, width)
    return _Layout(encoding, reading.separator, reading.decimal, reading.first, names, units)


def _names_and_units(
    lines: list[str], reading: _Reading, width: int
) -> tuple[list[str], list[str]]:
    """The line in which one column is named like a time, or else the first one of as many texts as
    there are columns; and the next such line."""
    rows = [_headings(line, reading.separator, width) for line in lines]
    above = [
        row
        for row in rows
        if row is not None and not any(_is_number(cell, reading.decimal) for cell in row)
    ]
    timed = [k for k, row in enumerate(above) if any(says_time(name_and_unit(c)[0]) for c in row)]
    above = above[timed[-1] :] if timed else above
    names, units, *_ = [*above, [""] * width, [""] * width]
    names = [name or f"column {k}" for k, name in enumerate(names, start=1)]
    return names, [text.strip("[]() ") for text in units]


def _head(path: Path) -> tuple[str, list[str]]:
    """The encoding and the first lines. A byte of another encoding further down does no harm."""
    with path.open("rb") as file:
        head = file.read(_HEAD_BYTES)
    if head.startswith((BOM_UTF16_LE, BOM_UTF16_BE)):
        encoding, newline = "utf-16", "\n".encode("utf-16")[2:]
    else:
        encoding, newline = "utf-8-sig", b"\n"
    if encoding == "utf-16":
        text = head[: len(head) // 2 * 2].decode(encoding, errors="replace")
    else:
        head = newline.join(head.split(newline, _HEAD_LINES)[:_HEAD_LINES])
        try:
            text = getincrementaldecoder(encoding)().decode(head)
        except UnicodeDecodeError:
            encoding = "latin-1"
            text = head.decode(encoding)
    return encoding, [line.rstrip("\r") for line in text.split("\n")[:_HEAD_LINES]]


def _cut_at(separator: str, lines: list[str]) -> _Reading | None:
    """The table is the longest run of rows of numbers that have the same width; None if there is
    none."""
    rows = [_cells(line, separator) for line in lines]
    decimal = "," if separator != "," and _has_decimal_comma(rows) else "."
    kinds = [len(row) if _is_numbers(row, decimal) else 0 for row in rows]
    runs = [(width, list(run)) for width, run in groupby(range(len(rows)), kinds.__getitem__)]
    runs = [(width, run) for width, run in runs if width > 0]
    if not runs:
        return None
    _, longest = max(runs, key=lambda one: len(one[1]))
    return _Reading(separator, decimal, rows, longest[0])


def _cells(line: str, separator: str) -> list[str]:
    if separator == _SPACES:
        return line.split()
    if '"' not in line:
        return line.split(separator)
    return next(
        csv.reader([line.replace("\0", "")], delimiter=separator, skipinitialspace=True), []
    )


def _headings(line: str, separator: str, width: int) -> list[str] | None:
    """The cells of a line above the numbers; None if they are not as many as there are columns."""
    line = line.strip().lstrip("#%").strip() if separator == _SPACES else line.lstrip("#%")
    rows = [_cells(line, separator)]
    if separator == _SPACES:
        rows += [re.split(r"\s{2,}|\t", line), _HEADING.findall(line)]
    cells = next((row for row in rows if len(row) == width), None)
    return None if cells is None else [cell.strip().strip('"').strip() for cell in cells]


def _is_number(text: str, decimal: str) -> bool:
    text = text.strip().strip('"').strip()
    if _THOUSANDS[decimal].fullmatch(text):
        return True
    if decimal == "," and "." in text:
        return False
    try:
        float(text.replace(decimal, "."))
    except ValueError:
        return False
    return True


def _is_numbers(row: list[str], decimal: str) -> bool:
    """Whether at least half of the filled cells are numbers."""
    filled = [cell for cell in row if cell.strip()]
    numbers = sum(_is_number(cell, decimal) for cell in filled)
    return numbers > 0 and 2 * numbers >= len(filled)


def _has_decimal_comma(rows: list[list[str]]) -> bool:
    """Of cells with a comma, more are numbers with it as the decimal one than as the other."""
    cells = [cell for row in rows for cell in row if "," in cell]
    decimal = sum(_is_number(cell, ",") for cell in cells)
    return decimal > 0 and decimal >= sum(_is_number(cell, ".") for cell in cells)


def _read_csv(path: Path, layout: _Layout) -> pd.DataFrame:
    try:
        return pd.read_csv(
            path,
            sep=layout.separator,
            decimal=layout.decimal,
            encoding=layout.encoding,
            encoding_errors="replace",
            skiprows=layout.skip,
            header=None,
            names=list(range(len(layout.names))),
            index_col=False,
            low_memory=False,
            skip_blank_lines=True,
            skipinitialspace=True,
        ).apply(_without_thousands, decimal=layout.decimal)
    except UnicodeError as error:
        raise HarmotrackError(f"{path} is no text: {error}.") from error


def _without_thousands(column: pd.Series, decimal: str) -> pd.Series:
    """A column of texts, some of which are numbers as 1.234,56."""
    if pd.api.types.is_numeric_dtype(column) or pd.api.types.is_bool_dtype(column):
        return column
    pattern = _THOUSANDS[decimal]
    other = "." if decimal == "," else ","
    texts = column.astype("string").str.strip()
    if not texts.str.fullmatch(pattern.pattern).fillna(value=False).any():
        return column
    plain = texts.str.replace(other, "", regex=False).where(
        texts.str.fullmatch(pattern.pattern).fillna(value=False),
        texts.where(~texts.str.contains(other, regex=False).fillna(value=False)),
    )
    return pd.to_numeric(plain.str.replace(decimal, ".", regex=False), errors="coerce")


def _numbers(
    frame: pd.DataFrame, headings: list[str], units: list[str], notes: list[str]
) -> list[Signal]:
    """The columns of numbers; the others are left out, and named in a note."""
    signals, left_out = [], []
    for (_, column), heading, told in zip(frame.items(), headings, units, strict=True):
        values = _as_numbers(column)
        if values is None:
            left_out.append(heading)
            continue
        name, unit = name_and_unit(heading)
        if pd.api.types.is_datetime64_any_dtype(column):
            unit = "s"
        signals.append(Signal(name, values, told or unit))
    if left_out:
        notes.append(f"Left out, as they hold no numbers or gaps: {', '.join(left_out)}.")
    return signals


def _without_cut_row(path: Path, frame: pd.DataFrame, notes: list[str]) -> pd.DataFrame:
    """Whether a last line without an end is whole, no one knows: a cut number is still a number."""
    with path.open("rb") as file:
        file.seek(max(file.seek(0, SEEK_END) - 2, 0))
        if file.read().rstrip(b"\0")[-1:] in (b"\r", b"\n") or len(frame) < 2:
            return frame
    notes.append("The last row has no end, so it may be cut, and was left out.")
    return frame.iloc[:-1]


def _as_numbers(column: pd.Series) -> NDArray[np.float64] | None:
    if pd.api.types.is_datetime64_any_dtype(column):
        return (column - column.iloc[0]).dt.total_seconds().to_numpy()
    if pd.api.types.is_bool_dtype(column):
        return None
    values = pd.to_numeric(column, errors="coerce").to_numpy(dtype=np.float64, na_value=np.nan)
    return values if np.isfinite(values).mean() > 0.99 else None
