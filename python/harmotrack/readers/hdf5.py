"""HDF5, by h5py."""

from __future__ import annotations

from pathlib import Path
from typing import TYPE_CHECKING, Any

import h5py
import numpy as np

from harmotrack.errors import HarmotrackError
from harmotrack.readers.assembly import (
    MOST_DEFLATED,
    ReadOptions,
    Signal,
    channels_at_rate,
    check_declared,
    is_numeric,
    rate_of_step,
    recorded,
    table_channels,
)
from harmotrack.readers.even_steps import rounded_rate
from harmotrack.recording import Recording

if TYPE_CHECKING:
    from collections.abc import Mapping

    from numpy.typing import NDArray

    from harmotrack.readers.assembly import Part

UNIT_NAMES = ("unit", "units", "Unit", "unit_string")
#: As rate_or_step() compares them: small, without underscores and without the unit.
_RATE_NAMES = (
    "fs",
    "sr",
    "fsamp",
    "fsample",
    "samprate",
    "samplerate",
    "samplingrate",
    "samplefrequency",
    "samplingfrequency",
    "samplefreq",
    "samplingfreq",
)
_STEP_NAMES = (
    "dt",
    "ts",
    "wfincrement",
    "delta",
    "deltat",
    "increment",
    "sampletime",
    "samplingtime",
    "sampleinterval",
    "samplinginterval",
)
_RATE_UNITS = {"hz": 1.0, "khz": 1e3, "mhz": 1e6}
_STEP_UNITS = {"s": 1.0, "ms": 1e-3, "us": 1e-6, "ns": 1e-9}
START_NAMES = ("start", "t0", "wf_start_offset", "start_time")
NAME_LISTS = ("channels", "names", "labels", "channel_names")


def read(path: Path, options: ReadOptions) -> Recording:
    """Every group with data sets of numbers is taken as channels that belong together."""
    notes: list[str] = []
    channels: list[Part] = []
    with h5py.File(path, "r") as file:
        for group in _groups(file):
            prefix = group.name.strip("/")
            channels += [
                _named(channel, prefix) for channel in _group_channels(path, group, options, notes)
            ]
    if not channels:
        raise HarmotrackError(f"{path} has no data sets of numbers that could be channels.")
    return recorded(path, channels, notes)


def _groups(file: h5py.File) -> list[h5py.Group]:
    groups: list[h5py.Group] = [file]
    file.visititems(lambda _, item: groups.append(item) if isinstance(item, h5py.Group) else None)
    return groups


def _named(channel: Part, prefix: str) -> Part:
    return channel.with_name(f"{prefix}/{channel.name}") if prefix else channel


def _group_channels(
    path: Path, group: h5py.Group, options: ReadOptions, notes: list[str]
) -> list[Part]:
    signals: list[Signal] = []
    own: list[Part] = []
    inherited = {**dict(group.file.attrs), **dict(group.attrs)}
    for name, item in group.items():
        if not isinstance(item, h5py.Dataset) or item.ndim == 0 or not is_numeric(item):
            continue
        attrs = dict(item.attrs)
        columns = split_columns(name, values_of(item, path), _names_in({**inherited, **attrs}))
        for column in columns:
            column.unit = text_in(attrs, UNIT_NAMES)
        rate = options.rate or rate_in(attrs)
        if rate is not None:
            start = number_in(attrs, START_NAMES) or 0.0
            own += channels_at_rate(columns, rate, start, notes)
        else:
            signals += columns
    if signals:
        own += same_length_channels(signals, options, notes, rate_in(inherited))
    return own


def values_of(data: h5py.Dataset, path: Path) -> NDArray[Any]:
    """All of a data set, whose size is held against that of the file."""
    if not data.is_virtual and not data.external:
        check_declared(path, data.nbytes, 1 if data.chunks is None else MOST_DEFLATED)
    return np.asarray(data[()])


def same_length_channels(
    signals: list[Signal], options: ReadOptions, notes: list[str], rate: float | None
) -> list[Part]:
    """Signals as long as the time stamps, or all that are as long as the longest."""
    longest = max(signal.values.size for signal in signals)
    taken = [signal for signal in signals if signal.values.size == longest]
    left_out = [signal.name for signal in signals if signal.values.size != longest]
    if left_out:
        notes.append(f"Left out, as they are shorter: {', '.join(left_out)}.")
    return table_channels(taken, options, notes, rate)


def split_columns(name: str, values: NDArray[Any], names: list[str]) -> list[Signal]:
    """A matrix holds channels along its shorter side."""
    values = np.squeeze(values)
    if values.ndim == 1:
        return [Signal(name, values)]
    if values.ndim != 2:
        return []
    if values.shape[0] > values.shape[1]:
        values = values.T
    if len(names) != values.shape[0]:
        names = [f"{name} {k + 1}" for k in range(values.shape[0])]
    return [Signal(one, row) for one, row in zip(names, values, strict=True)]


def _names_in(attrs: Mapping[str, Any]) -> list[str]:
    for key in NAME_LISTS:
        if key in attrs:
            return [_text(name) for name in np.atleast_1d(attrs[key])]
    return []


def rate_in(attrs: Mapping[str, Any]) -> float | None:
    """The rate that one of the names says, in Hz; the name "rate" alone counts last."""
    for name in [*(name for name in attrs if name != "rate"), "rate"]:
        number = number_in(attrs, (name,))
        if number is not None and (rate := said_rate(name, number)) is not None:
            return rate
    return None


def said_rate(name: str, number: float) -> float | None:
    """The rate in Hz, if a number of such a name is a rate or the step between two samples: fs,
    Fs_Hz, f_s, samplingRate, dt, Ts ..."""
    if not 0.0 < number < np.inf:
        return None
    words = name.lower().split("_")
    for names, units, power in ((_RATE_NAMES, _RATE_UNITS, 1), (_STEP_NAMES, _STEP_UNITS, -1)):
        if "".join(words) in names or (name == "rate" and power == 1):
            return number if power == 1 else rate_of_step(number)
        if words[-1] in units and "".join(words[:-1]) in names:
            return rounded_rate((number * units[words[-1]]) ** power)
    return None


def number_in(attrs: Mapping[str, Any], names: tuple[str, ...]) -> float | None:
    for name in names:
        if name in attrs and np.size(attrs[name]) == 1:
            try:
                return float(np.squeeze(attrs[name]))
            except (TypeError, ValueError):
                continue
    return None


def text_in(attrs: Mapping[str, Any], names: tuple[str, ...]) -> str:
    return next((_text(attrs[name]) for name in names if name in attrs), "")


def _text(value: Any) -> str:
    value = np.squeeze(value)[()] if isinstance(value, np.ndarray) else value
    return value.decode("utf-8", "replace") if isinstance(value, bytes) else str(value)
