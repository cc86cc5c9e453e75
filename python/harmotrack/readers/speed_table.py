"""Speeds and pulses from tables of their own."""

from __future__ import annotations

from dataclasses import replace
from pathlib import Path
from typing import TYPE_CHECKING

import numpy as np

from harmotrack.errors import HarmotrackError
from harmotrack.readers import kind_of, read
from harmotrack.readers.assembly import (
    ReadOptions,
    Signal,
    channels_at_rate,
    increasing,
    time_signal,
)
from harmotrack.recording import Recording
from harmotrack.speed import Speed, rpm_of
from harmotrack.speed_finder import likely_speed_channels
from harmotrack.tracking import speed_of_estimates

if TYPE_CHECKING:
    from numpy.typing import NDArray

_VALID = "valid"


def read_speed(
    path: str | Path,
    *,
    time: str | None = None,
    speed: str | None = None,
    speed_unit: str | None = None,
    time_unit: str | None = None,
    format: str | None = None,
) -> Speed:
    """A speed from a file with time stamps at any steps; the tables of an analysis too.

    Parameters
    ----------
    time, speed
        Names of the columns. By default the time stamps are told by their name, and the speed is
        the only other column, or the one that is named like a speed or has the unit of one.
    speed_unit
        "rpm", "Hz", "rad/s" or the like; by default what the file says, or rpm.
    time_unit, format
        As of read().

    Where the speed is 0 or below, the shaft stands still. Of a table with a column "valid", as
    tracking writes it, the rows count in which that is above 0.

    Raises
    ------
    HarmotrackError
        The file can't be read, has no such column, or which column is the speed can't be told.
    """
    path = Path(path)
    signals = _columns(path, time, time_unit, format)
    options = ReadOptions(time=time, time_unit=time_unit)
    stamps = None if signals is None else time_signal(signals, options)
    if signals is None or stamps is None:
        recording = read(path, time=time, time_unit=time_unit, format=format)
        name = _speed_column(recording, speed, path)
        found = Speed.from_channel(recording[name], speed_unit)
    else:
        notes: list[str] = []
        seconds = np.asarray(stamps.values, dtype=np.float64) * options.seconds(stamps.unit)
        keep = increasing(seconds, notes)
        rest = [
            Signal(one.name, one.values[keep], one.unit) for one in signals if one is not stamps
        ]
        if not rest:
            raise HarmotrackError(f"{path} has no column beside the time stamps {stamps.name!r}.")
        table = Recording(tuple(channels_at_rate(rest, 1.0, 0.0, notes)), path.name)
        name = _speed_column(table, speed, path)
        unit = speed_unit or table[name].unit or "rpm"
        factor = rpm_of(unit)
        if factor is None:
            raise HarmotrackError(
                f"The unit of the column {name!r} of {path} is {unit!r}, and it must be one of "
                "speed of rotation, as rpm, Hz or rad/s."
            )
        rpm = table[name].samples * factor
        if _VALID in table.names:
            found = speed_of_estimates(seconds[keep], rpm, table[_VALID].samples > 0.0)
        else:
            found = Speed.from_profile(seconds[keep], rpm)
        found = replace(found, notes=(*notes, *found.notes))
    return replace(found, source=f"{name!r} of {path.name}", channel=None)


def read_pulses(
    path: str | Path,
    *,
    column: str | None = None,
    time_unit: str | None = None,
    format: str | None = None,
) -> NDArray[np.float64]:
    """Times of the pulses of a tacho from a file, seconds, shape (n), for Speed.from_pulses().

    Parameters
    ----------
    column
        Name of the column that holds the times. By default the only one, or the one that is named
        like a time; if a column of two levels stands beside it, the pulses are the moments at
        which that one rises.
    time_unit, format
        As of read().

    Raises
    ------
    HarmotrackError
        The file can't be read, or which of its columns holds the pulses can't be told.
    """
    path = Path(path)
    signals = _columns(path, column, time_unit, format)
    if signals is not None and (column is not None or len(signals) == 1):
        options = ReadOptions(time=column, time_unit=time_unit)
        times = time_signal(signals, options) or signals[0]
        return np.asarray(times.values, dtype=np.float64) * options.seconds(times.unit)
    recording = read(path, time_unit=time_unit, format=format)
    if len(recording.pulses) != 1:
        raise HarmotrackError(
            f"Which column of {path} holds the times of the pulses can't be told: name it."
        )
    return recording.pulses[0].seconds


def _columns(
    path: Path, time: str | None, time_unit: str | None, told: str | None
) -> list[Signal] | None:
    """Of a table, without changes; None if the file is of another kind."""
    kind = kind_of(path, told)
    if kind.module != "table":
        return None
    from harmotrack.readers.table import columns

    signals, _ = columns(path, ReadOptions(time=time, time_unit=time_unit, format=kind.format))
    return signals


def _speed_column(recording: Recording, told: str | None, path: Path) -> str:
    if told is not None:
        return recording[told].name
    names = list(recording.names)
    if len(names) > 1:
        names = likely_speed_channels(recording)
    if len(names) != 1:
        raise HarmotrackError(
            f"Which column of {path} is the speed can't be told; it has "
            f"{', '.join(map(repr, recording.names))}."
        )
    return names[0]
