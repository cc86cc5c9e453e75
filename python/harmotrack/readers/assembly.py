"""From the arrays of a file to channels: rates, time stamps and names."""

from __future__ import annotations

import re
from collections.abc import Mapping
from dataclasses import dataclass, field
from itertools import count
from pathlib import Path
from typing import TYPE_CHECKING, Any

import numpy as np

from harmotrack.errors import HarmotrackError
from harmotrack.native import _native
from harmotrack.readers.even_steps import Grid, even_grid, exact_grid, rounded_rate
from harmotrack.recording import Channel, PulseTrain, Recording
from harmotrack.speed import rpm_of

if TYPE_CHECKING:
    from numpy.typing import NDArray

    Part = Channel | PulseTrain

_TIME_UNITS = {"s": 1.0, "ms": 1e-3, "us": 1e-6, "µs": 1e-6, "ns": 1e-9, "min": 60.0}
_SECOND_NAMES = {"sec": "s", "seconds": "s", "second": "s", "msec": "ms", "milliseconds": "ms"}
_TIME_NAME = re.compile(
    r"^(rel(ative)?[ ._]*)?(time|t|zeit|timestamps?|seconds?)(_(s|ms|us|ns|min))?$", re.IGNORECASE
)
_NAME_WITH_UNIT = re.compile(r"^(.*?)\s*[\[(]([^\])]*)[\])]\s*$")

#: Stamps that do not increase are left out if they are no more than this share.
_MOST_DISORDER = 0.01


@dataclass(frozen=True)
class ReadOptions:
    """What read() was told beside the path."""

    rate: float | None = None
    time: str | None = None
    time_unit: str | None = None
    units: Mapping[str, str] = field(default_factory=dict)
    full_scale: float | None = None
    in_memory: bool = True
    format: str | None = None

    def __post_init__(self) -> None:
        for what, value in (("rate", self.rate), ("full scale", self.full_scale)):
            if value is not None and not 0.0 < value < np.inf:
                raise HarmotrackError(f"The {what} is {value:g}, and it must be above 0.")
        if self.time_unit is not None and self.time_unit not in _TIME_UNITS:
            raise HarmotrackError(
                f"The time unit is {self.time_unit!r}, and it must be one of "
                f"{', '.join(_TIME_UNITS)}."
            )

    def seconds(self, unit: str) -> float:
        """Of one unit of the time stamps; what was told wins over what the file says."""
        unit = self.time_unit or _SECOND_NAMES.get(unit.lower(), unit) or "s"
        if unit not in _TIME_UNITS:
            raise HarmotrackError(
                f"The time stamps are in {unit!r}, and they must be in one of "
                f"{', '.join(_TIME_UNITS)}: say which (time_unit)."
            )
        return _TIME_UNITS[unit]


@dataclass
class Signal:
    """An array of a file with what the file says of it."""

    name: str
    values: NDArray[Any]
    unit: str = ""


def name_and_unit(text: str) -> tuple[str, str]:
    """ "Speed [rpm]" and "Speed (rpm)" carry their unit, "time_s" and "speed_rpm" keep it in their
    names; "a (2)" is the second a."""
    text = text.strip()
    match = _NAME_WITH_UNIT.match(text)
    if match and match[1] and not match[2].strip().isdigit():
        return match[1], match[2].strip()
    stem, _, last = text.rpartition("_")
    if stem and last and (rpm_of(last) == 1.0 or (last in _TIME_UNITS and says_time(stem))):
        return text, last
    return text, ""


def says_time(name: str) -> bool:
    return bool(_TIME_NAME.match(name.strip()))


def cleaned_unit(unit: str) -> str:
    """Headers in another encoding lose their ² and °."""
    unit = unit.strip().strip("\x00")
    if unit.upper() in ("NONE", "-", "1"):
        return ""
    return unit.replace("s\ufffd", "s²").replace("m/s^2", "m/s²").replace("m/s2", "m/s²")


#: Bytes that one byte of a file may become: what deflate makes of zeros at best.
MOST_DEFLATED = 1032


def check_declared(path: Path, declared: int, most_of_a_byte: int = 1) -> None:
    """Before so many bytes of samples are asked for: a HarmotrackError if the file, of whose bytes
    each may hold some by compression, can't have them."""
    size = path.stat().st_size
    if declared > most_of_a_byte * size:
        raise HarmotrackError(
            f"{path} declares {declared:.3g} bytes of samples, and has {size} bytes in all: it may "
            "be cut or damaged."
        )


def is_numeric(values: NDArray[Any]) -> bool:
    return values.dtype.kind in "iufb"


def channels_at_rate(
    signals: list[Signal], rate: float, start: float, notes: list[str]
) -> list[Channel]:
    """Channels that share a rate and a start."""
    return [
        Channel(signal.name, finite(signal, notes), rate, cleaned_unit(signal.unit), start)
        for signal in signals
        if signal.values.size > 0
    ]


def finite(signal: Signal, notes: list[str]) -> NDArray[np.float64]:
    """Samples of a channel; a few missing ones are bridged by straight lines, and noted."""
    values = np.asarray(signal.values, dtype=np.float64)
    bad = ~np.isfinite(values)
    missing = int(bad.sum())
    if missing == 0:
        return values
    if missing > 0.01 * values.size:
        raise HarmotrackError(
            f"{missing} of the {values.size} samples of {signal.name!r} are missing, and up to a "
            "hundredth of them can be bridged."
        )
    notes.append(f"{missing} missing samples of {signal.name!r} were bridged by straight lines.")
    places = np.arange(values.size)
    return np.interp(places, places[~bad], values[~bad])


def channels_at_times(
    times: NDArray[Any],
    signals: list[Signal],
    notes: list[str],
    declared_rate: float | None = None,
) -> list[Part]:
    """Channels that share time stamps, in seconds.

    Equal steps give the rate, and so do stamps that are those of equal steps within what their
    printed digits leave open. Of uneven ones, signals of two levels are the edges of a tacho, and
    the others are brought to equal steps by a spline, at the mean rate. A rate that was declared
    beside the stamps and contradicts them loses, with a note.
    """
    stamps = np.asarray(times, dtype=np.float64)
    # A row that stands there twice is one too many, although coarser digits could explain it.
    later = _later(stamps)
    few_too_many = later.mean() >= 1.0 - _MOST_DISORDER and exact_grid(stamps[later]) is not None
    grid = exact_grid(stamps) if few_too_many else even_grid(np.asarray(times))
    if grid is not None:
        return [*channels_at_rate(signals, *_with_declared(grid, declared_rate, notes), notes)]
    edges = [signal for signal in signals if _has_two_levels(signal)]
    parts: list[Part] = [_pulses(stamps, signal, notes) for signal in edges]
    rest = [signal for signal in signals if signal not in edges]
    return parts + _channels_at_kept(stamps, rest, notes, declared_rate) if rest else parts


def _channels_at_kept(
    stamps: NDArray[np.float64],
    signals: list[Signal],
    notes: list[str],
    declared_rate: float | None,
) -> list[Part]:
    """Without the rows whose stamps do not increase."""
    keep = increasing(stamps, notes)
    stamps = stamps[keep]
    if stamps.size < 2:
        raise HarmotrackError(
            f"There are {stamps.size} time stamps, and no rate follows from them."
        )
    kept = [Signal(one.name, one.values[keep], one.unit) for one in signals]
    grid = even_grid(stamps)
    if grid is not None:
        return [*channels_at_rate(kept, *_with_declared(grid, declared_rate, notes), notes)]
    steps = np.diff(stamps)
    rate = (stamps.size - 1) / (stamps[-1] - stamps[0])
    notes.append(
        f"The time steps vary from {steps.min():.3g} s to {steps.max():.3g} s: "
        f"{_few(signals)} resampled to {rate:.6g} Hz by a spline."
    )
    channels: list[Part] = []
    for signal in kept:
        start, mean_rate, samples = _native.to_uniform(stamps, finite(signal, notes))
        channels.append(Channel(signal.name, samples, mean_rate, cleaned_unit(signal.unit), start))
    return channels


def _with_declared(grid: Grid, declared: float | None, notes: list[str]) -> Grid:
    if declared is None:
        return grid
    if abs(declared / grid.rate - 1.0) > 1e-3:
        notes.append(
            f"The rate of {declared:g} Hz contradicts the time stamps, which say "
            f"{grid.rate:g} Hz: the stamps count."
        )
    elif abs(declared / grid.rate - 1.0) < 1e-5:
        return Grid(declared, grid.start)
    return grid


def _has_two_levels(signal: Signal) -> bool:
    values = signal.values[np.isfinite(signal.values)]
    if values.size < 2:
        return False
    low, high = values.min(), values.max()
    return bool(low < high and ((values == low) | (values == high)).all())


def _pulses(stamps: NDArray[np.float64], signal: Signal, notes: list[str]) -> PulseTrain:
    """The moments at which a signal of two levels rises."""
    known = np.isfinite(stamps) & np.isfinite(signal.values)
    seconds, values = stamps[known], signal.values[known]
    rises = seconds[1:][np.diff(values) > 0.0]
    rises = rises[increasing(rises, notes)]
    notes.append(
        f"{signal.name!r} has two levels at uneven times: it is taken as the edges of a tacho, of "
        f"which the {rises.size} rising ones are its pulses."
    )
    return PulseTrain(signal.name, rises)


def _few(signals: list[Signal]) -> str:
    if len(signals) > 4:
        return f"{len(signals)} channels"
    return ", ".join(repr(signal.name) for signal in signals)


def increasing(stamps: NDArray[np.float64], notes: list[str]) -> NDArray[np.bool_]:
    """Which stamps are later than all before them; a sentence if many are not."""
    keep = _later(stamps)
    dropped = int((~keep).sum())
    if dropped > _MOST_DISORDER * stamps.size:
        first = int(np.flatnonzero(~keep)[0])
        raise HarmotrackError(
            f"The time stamps do not increase: {dropped} of {stamps.size} are not later than those "
            f"before them, the first in row {first + 1} ({stamps[first]:g})."
        )
    if dropped > 0:
        notes.append(f"{dropped} rows were left out, whose time stamps are not later than before.")
    return keep


def _later(stamps: NDArray[np.float64]) -> NDArray[np.bool_]:
    known = np.where(np.isfinite(stamps), stamps, -np.inf)
    return known > np.concatenate([[-np.inf], np.maximum.accumulate(known)])[:-1]


def rate_of_step(seconds: float) -> float:
    """Of the distance of two samples."""
    if not 0.0 < seconds < np.inf:
        raise HarmotrackError(f"The distance of two samples is {seconds:g} s.")
    return rounded_rate(1.0 / seconds)


def recorded(
    path: Path, parts: list[Part], notes: list[str], constant_rpm: float | None = None
) -> Recording:
    """The recording of a file. Later channels of a name that was there get a number behind it, in
    a form that is not taken for a unit where the name is read again."""
    used: set[str] = set()
    apart: list[Part] = []
    for part in parts:
        name = part.name.strip() or "channel"
        free = next(
            text for k in count(1) if (text := name if k == 1 else f"{name} #{k}") not in used
        )
        used.add(free)
        apart.append(part.with_name(free))
    return Recording(
        tuple(part for part in apart if isinstance(part, Channel)),
        path.name,
        tuple(notes),
        tuple(part for part in apart if isinstance(part, PulseTrain)),
        constant_rpm,
    )


def table_channels(
    signals: list[Signal],
    options: ReadOptions,
    notes: list[str],
    declared_rate: float | None = None,
) -> list[Part]:
    """Columns of equal length, of which one may hold the time stamps."""
    stamps = time_signal(signals, options)
    rate = options.rate or declared_rate
    if stamps is None:
        if rate is None:
            raise HarmotrackError(
                "Nothing says the sampling rate: name the column of the time stamps (time) or give "
                f"the rate (rate). The columns are {', '.join(repr(s.name) for s in signals)}."
            )
        return [*channels_at_rate(signals, rate, 0.0, notes)]
    rest = [signal for signal in signals if signal is not stamps]
    if not rest:
        raise HarmotrackError(f"There are no channels beside the time stamps {stamps.name!r}.")
    seconds = np.asarray(stamps.values, dtype=np.float64) * options.seconds(stamps.unit)
    return channels_of_stamps(seconds, rest, notes, options, declared_rate)


def channels_of_stamps(
    seconds: NDArray[Any],
    signals: list[Signal],
    notes: list[str],
    options: ReadOptions,
    declared_rate: float | None = None,
) -> list[Part]:
    """As channels_at_times(), but for a rate that was given: it wins over the stamps."""
    if options.rate is None:
        return channels_at_times(seconds, signals, notes, declared_rate)
    start = float(seconds[0]) if np.isfinite(seconds[0]) else 0.0
    note = (
        f"The rate was given, {options.rate:g} Hz, so that the time stamps say no more than when "
        "the recording begins."
    )
    if note not in notes:
        notes.append(note)
    return [*channels_at_rate(signals, options.rate, start, notes)]


def time_signal(signals: list[Signal], options: ReadOptions) -> Signal | None:
    if options.time is None:
        return next((signal for signal in signals if says_time(signal.name)), None)
    for signal in signals:
        if signal.name == options.time:
            return signal
    raise HarmotrackError(
        f"There is no column {options.time!r} for the time stamps; the columns of numbers are "
        f"{', '.join(repr(signal.name) for signal in signals)}."
    )
