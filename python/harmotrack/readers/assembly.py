"""From the arrays of a file to channels: rates, time stamps and names."""

from __future__ import annotations

import re
from collections.abc import Mapping
from dataclasses import dataclass, field
from typing import TYPE_CHECKING, Any

import numpy as np

from harmotrack.errors import HarmotrackError
from harmotrack.native import _native
from harmotrack.recording import Channel

if TYPE_CHECKING:
    from numpy.typing import NDArray

_TIME_UNITS = {"s": 1.0, "ms": 1e-3, "us": 1e-6, "µs": 1e-6, "ns": 1e-9, "min": 60.0}
_SECOND_NAMES = {"sec": "s", "seconds": "s", "second": "s", "msec": "ms", "milliseconds": "ms"}
_TIME_NAME = re.compile(r"^(rel(ative)?[ ._]*)?(time|t|zeit|timestamps?|seconds?)$", re.IGNORECASE)
_NAME_WITH_UNIT = re.compile(r"^(.*?)\s*[\[(]([^\])]*)[\])]\s*$")

#: Stamps this near to equal steps, in steps, are equal ones that were rounded.
_JITTER = 0.05
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
    """ "Speed [rpm]" and "Speed (rpm)" carry their unit."""
    match = _NAME_WITH_UNIT.match(text.strip())
    return (match[1], match[2].strip()) if match and match[1] else (text.strip(), "")


def says_time(name: str) -> bool:
    return bool(_TIME_NAME.match(name.strip()))


def cleaned_unit(unit: str) -> str:
    """Headers in another encoding lose their ² and °."""
    unit = unit.strip().strip("\x00")
    if unit.upper() in ("NONE", "-", "1"):
        return ""
    return unit.replace("s\ufffd", "s²").replace("m/s^2", "m/s²").replace("m/s2", "m/s²")


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
) -> list[Channel]:
    """Channels that share time stamps, in seconds.

    Equal steps give the rate; uneven ones are brought to equal ones by a spline, at the mean rate.
    A rate that was declared beside the stamps and contradicts them loses, with a note.
    """
    stamps = np.asarray(times, dtype=np.float64)
    keep = _increasing(stamps, notes)
    stamps = stamps[keep]
    if stamps.size < 2:
        raise HarmotrackError(
            f"There are {stamps.size} time stamps, and no rate follows from them."
        )
    rate = _rounded_rate((stamps.size - 1) / (stamps[-1] - stamps[0]))
    if declared_rate is not None:
        if abs(declared_rate / rate - 1.0) > 1e-3:
            notes.append(
                f"The rate of {declared_rate:g} Hz contradicts the time stamps, which say "
                f"{rate:g} Hz: the stamps count."
            )
        elif abs(declared_rate / rate - 1.0) < 1e-5:
            rate = declared_rate
    regular = stamps[0] + np.arange(stamps.size) / rate
    if np.abs(stamps - regular).max() * rate <= _JITTER:
        kept = [Signal(one.name, one.values[keep], one.unit) for one in signals]
        return channels_at_rate(kept, rate, float(stamps[0]), notes)
    steps = np.diff(stamps)
    notes.append(
        f"The time steps vary from {steps.min():.3g} s to {steps.max():.3g} s: "
        f"{_few(signals)} resampled to {rate:.6g} Hz by a spline."
    )
    channels = []
    for signal in signals:
        kept_signal = Signal(signal.name, signal.values[keep], signal.unit)
        start, mean_rate, samples = _native.to_uniform(stamps, finite(kept_signal, notes))
        channels.append(Channel(signal.name, samples, mean_rate, cleaned_unit(signal.unit), start))
    return channels


def _few(signals: list[Signal]) -> str:
    if len(signals) > 4:
        return f"{len(signals)} channels"
    return ", ".join(repr(signal.name) for signal in signals)


def _increasing(stamps: NDArray[np.float64], notes: list[str]) -> NDArray[np.bool_]:
    """Which stamps are later than all before them."""
    finite_stamps = np.where(np.isfinite(stamps), stamps, -np.inf)
    before = np.concatenate([[-np.inf], np.maximum.accumulate(finite_stamps)[:-1]])
    keep = finite_stamps > before
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


def _rounded_rate(rate: float) -> float:
    """Stamps and steps are printed with six digits or so: 65535.95 Hz is 65536 Hz."""
    nearest = round(rate)
    return float(nearest) if nearest > 0 and abs(rate / nearest - 1.0) < 2e-6 else rate


def rate_of_step(seconds: float) -> float:
    """Of the distance of two samples."""
    if not 0.0 < seconds < np.inf:
        raise HarmotrackError(f"The distance of two samples is {seconds:g} s.")
    return _rounded_rate(1.0 / seconds)


def told_apart(channels: list[Channel]) -> tuple[Channel, ...]:
    """Later channels of a name that was there get a number behind it."""
    from dataclasses import replace

    seen: dict[str, int] = {}
    apart = []
    for channel in channels:
        name = channel.name.strip() or "channel"
        seen[name] = seen.get(name, 0) + 1
        apart.append(replace(channel, name=name if seen[name] == 1 else f"{name} ({seen[name]})"))
    return tuple(apart)


def table_channels(
    signals: list[Signal],
    options: ReadOptions,
    notes: list[str],
    declared_rate: float | None = None,
) -> list[Channel]:
    """Columns of equal length, of which one may hold the time stamps."""
    stamps = _time_signal(signals, options)
    rate = options.rate or declared_rate
    if stamps is None:
        if rate is None:
            raise HarmotrackError(
                "Nothing says the sampling rate: name the column of the time stamps (time) or give "
                f"the rate (rate). The columns are {', '.join(repr(s.name) for s in signals)}."
            )
        return channels_at_rate(signals, rate, 0.0, notes)
    rest = [signal for signal in signals if signal is not stamps]
    if not rest:
        raise HarmotrackError(f"There are no channels beside the time stamps {stamps.name!r}.")
    seconds = np.asarray(stamps.values, dtype=np.float64) * options.seconds(stamps.unit)
    return channels_at_times(seconds, rest, notes, rate)


def _time_signal(signals: list[Signal], options: ReadOptions) -> Signal | None:
    if options.time is None:
        return next((signal for signal in signals if says_time(signal.name)), None)
    for signal in signals:
        if signal.name == options.time:
            return signal
    raise HarmotrackError(
        f"There is no column {options.time!r} for the time stamps; the columns of numbers are "
        f"{', '.join(repr(signal.name) for signal in signals)}."
    )
