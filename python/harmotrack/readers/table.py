"""Tables: CSV and its relatives, and Parquet."""

from __future__ import annotations

from dataclasses import dataclass
from itertools import islice
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
    table_channels,
    told_apart,
)
from harmotrack.recording import Recording

if TYPE_CHECKING:
    from numpy.typing import NDArray

_HEAD_LINES = 60


def read(path: Path, options: ReadOptions) -> Recording:
    with path.open("rb") as file:
        is_parquet = file.read(4) == b"PAR1"
    notes: list[str] = []
    units: dict[str, str] = {}
    if is_parquet or path.suffix.lower() in (".parquet", ".pq"):
        frame = pd.read_parquet(path, engine="pyarrow").reset_index()
        frame = frame.drop(columns=[name for name in frame if name == "index"])
    else:
        layout = _layout(path)
        frame = _read_csv(path, layout)
        units = layout.units
        frame = _without_cut_row(path, frame, notes)
    signals = _numbers(frame, units, notes)
    if not signals:
        raise HarmotrackError(f"{path} has no column of numbers.")
    channels = told_apart(table_channels(signals, options, notes))
    return Recording(channels, path.name, tuple(notes))


@dataclass(frozen=True)
class _Layout:
    """How a text holds its table."""

    encoding: str
    separator: str
    decimal: str
    skip: int  #: lines before the first row of numbers
    names: list[str]
    units: dict[str, str]


def _layout(path: Path) -> _Layout:
    """Finds the first row of numbers; above it stand the names, and under them the units."""
    encoding, lines = _head(path)
    for separator in _separators(lines):
        rows = [line.split(separator) for line in lines]
        decimal = "," if separator != "," and _has_decimal_comma(rows) else "."
        first = next((k for k, row in enumerate(rows) if _is_numbers(row, decimal)), None)
        if first is not None:
            break
    else:
        raise HarmotrackError(f"{path} has no row of numbers in its first {_HEAD_LINES} lines.")
    width = len(rows[first])
    above = [row for row in rows[:first] if len(row) == width]
    names = [text.strip().strip('"').strip() for text in above[0]] if above else []
    names = _filled(names, width)
    told = [text.strip().strip('"').strip("[]() ") for text in above[1]] if len(above) > 1 else []
    units = {name: unit for name, unit in zip(names, told, strict=False) if unit}
    return _Layout(encoding, separator, decimal, first, names, units)


def _head(path: Path) -> tuple[str, list[str]]:
    for encoding in ("utf-8-sig", "latin-1"):
        try:
            with path.open(encoding=encoding) as file:
                return encoding, [line.rstrip("\r\n") for line in islice(file, _HEAD_LINES)]
        except UnicodeDecodeError:
            continue
    raise AssertionError("every file is latin-1")


def _separators(lines: list[str]) -> list[str]:
    """Those that occur, the likeliest first: a comma may be a decimal one."""
    text = "\n".join(lines)
    return [separator for separator in ("\t", ";", ",") if separator in text] or [","]


def _is_number(text: str, decimal: str) -> bool:
    try:
        float(text.strip().strip('"').replace(decimal, "."))
    except ValueError:
        return False
    return True


def _is_numbers(row: list[str], decimal: str) -> bool:
    """Whether at least half of the filled cells are numbers."""
    filled = [cell for cell in row if cell.strip()]
    numbers = sum(_is_number(cell, decimal) for cell in filled)
    return numbers > 0 and 2 * numbers >= len(filled)


def _has_decimal_comma(rows: list[list[str]]) -> bool:
    cells = [cell for row in rows for cell in row if "," in cell]
    return any(_is_number(cell, ",") for cell in cells)


def _filled(names: list[str], width: int) -> list[str]:
    names = names or [""] * width
    seen: dict[str, int] = {}
    filled = []
    for k, name in enumerate(names):
        text = name or f"column {k + 1}"
        seen[text] = seen.get(text, 0) + 1
        filled.append(text if seen[text] == 1 else f"{text} ({seen[text]})")
    return filled


def _read_csv(path: Path, layout: _Layout) -> pd.DataFrame:
    try:
        return pd.read_csv(
            path,
            sep=layout.separator,
            decimal=layout.decimal,
            encoding=layout.encoding,
            skiprows=layout.skip,
            header=None,
            names=layout.names,
            index_col=False,
            low_memory=False,
            skip_blank_lines=True,
        )
    except UnicodeDecodeError as error:
        raise HarmotrackError(f"{path} is no text: {error}.") from error


def _numbers(frame: pd.DataFrame, units: dict[str, str], notes: list[str]) -> list[Signal]:
    """The columns of numbers; the others are left out, and named in a note."""
    signals, left_out = [], []
    for heading in frame.columns:
        values = _as_numbers(frame[heading])
        if values is None:
            left_out.append(str(heading))
            continue
        name, unit = name_and_unit(str(heading))
        if pd.api.types.is_datetime64_any_dtype(frame[heading]):
            unit = "s"
        signals.append(Signal(name, values, units.get(str(heading), unit)))
    if left_out:
        notes.append(f"Left out, as they hold no numbers or gaps: {', '.join(left_out)}.")
    return signals


def _without_cut_row(path: Path, frame: pd.DataFrame, notes: list[str]) -> pd.DataFrame:
    """Whether a last line without an end is whole, no one knows: a cut number is still a number."""
    with path.open("rb") as file:
        file.seek(-1, SEEK_END)
        if file.read(1) in b"\r\n" or len(frame) < 2:
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
