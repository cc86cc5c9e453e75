"""HDF5, by h5py."""

from __future__ import annotations

from dataclasses import replace
from pathlib import Path
from typing import TYPE_CHECKING, Any

import h5py
import numpy as np

from harmotrack.errors import HarmotrackError
from harmotrack.readers.assembly import (
    ReadOptions,
    Signal,
    channels_at_rate,
    is_numeric,
    recorded,
    table_channels,
)
from harmotrack.recording import Recording

if TYPE_CHECKING:
    from collections.abc import Mapping

    from numpy.typing import NDArray

    from harmotrack.readers.assembly import Part

UNIT_NAMES = ("unit", "units", "Unit", "unit_string")
RATE_NAMES = ("rate", "fs", "Fs", "sample_rate", "SampleRate", "samplerate", "sampling_rate")
STEP_NAMES = ("dt", "wf_increment", "delta", "increment")
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
                _named(channel, prefix) for channel in _group_channels(group, options, notes)
            ]
    if not channels:
        raise HarmotrackError(f"{path} has no data sets of numbers that could be channels.")
    return recorded(path, channels, notes)


def _groups(file: h5py.File) -> list[h5py.Group]:
    groups: list[h5py.Group] = [file]
    file.visititems(lambda _, item: groups.append(item) if isinstance(item, h5py.Group) else None)
    return groups


def _named(channel: Part, prefix: str) -> Part:
    return replace(channel, name=f"{prefix}/{channel.name}") if prefix else channel


def _group_channels(group: h5py.Group, options: ReadOptions, notes: list[str]) -> list[Part]:
    signals: list[Signal] = []
    own: list[Part] = []
    inherited = {**dict(group.file.attrs), **dict(group.attrs)}
    for name, item in group.items():
        if not isinstance(item, h5py.Dataset) or item.ndim == 0 or not is_numeric(item):
            continue
        attrs = dict(item.attrs)
        columns = split_columns(name, item[()], _names_in({**inherited, **attrs}))
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
    rate = number_in(attrs, RATE_NAMES)
    if rate is not None and rate > 0.0:
        return rate
    step = number_in(attrs, STEP_NAMES)
    return 1.0 / step if step is not None and step > 0.0 else None


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
