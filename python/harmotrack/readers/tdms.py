"""TDMS, by npTDMS."""

from __future__ import annotations

from pathlib import Path
from typing import TYPE_CHECKING, Any

import numpy as np
from nptdms import TdmsFile

from harmotrack.errors import HarmotrackError
from harmotrack.readers.assembly import (
    ReadOptions,
    Signal,
    channels_at_rate,
    check_declared,
    is_numeric,
    rate_of_step,
    recorded,
)
from harmotrack.readers.hdf5 import same_length_channels
from harmotrack.recording import Recording

if TYPE_CHECKING:
    from harmotrack.readers.assembly import Part

_EPOCH = np.datetime64("1904-01-01", "ns")
_DAY = np.timedelta64(1, "D")


def read(path: Path, options: ReadOptions) -> Recording:
    """Channels with a waveform's step have their own rate; those of a group without one share a
    channel of time stamps. Times count from the task that started first."""
    notes: list[str] = []
    channels: list[Part] = []
    _check_size(path)
    file = TdmsFile.read(path)
    if file.file_status.incomplete_final_segment:
        notes.append(f"{path.name} is cut short: its last part is incomplete.")
    groups = [group for group in file.groups() if any(_has_numbers(c) for c in group.channels())]
    starts = _starts([channel for group in groups for channel in group.channels()], notes)
    for group in groups:
        prefix = f"{group.name}/" if len(groups) > 1 else ""
        together: list[Signal] = []
        for channel in filter(_has_numbers, group.channels()):
            unit = str(channel.properties.get("unit_string", ""))
            signal = Signal(prefix + channel.name, np.asarray(channel[:]), unit)
            step = float(channel.properties.get("wf_increment", 0.0))
            if options.rate is None and step <= 0.0:
                signal.name = channel.name  # of which the one of the stamps is known by its name
                together.append(signal)
                continue
            rate = options.rate or rate_of_step(step)
            offset = float(channel.properties.get("wf_start_offset", 0.0))
            start = starts.get(channel.path, 0.0) + offset
            channels += channels_at_rate([signal], rate, start, notes)
        if together:
            channels += [
                part.with_name(prefix + part.name)
                for part in same_length_channels(together, options, notes, None)
            ]
    if not channels:
        raise HarmotrackError(f"{path} has no channels with samples.")
    return recorded(path, channels, notes)


def _check_size(path: Path) -> None:
    about = TdmsFile.read_metadata(path)
    sizes = [
        len(channel) * (getattr(channel.data_type, "size", None) or 1)
        for group in about.groups()
        for channel in group.channels()
    ]
    check_declared(path, sum(sizes))


def _has_numbers(channel: Any) -> bool:
    return len(channel) > 0 and is_numeric(channel)


def _starts(channels: list[Any], notes: list[str]) -> dict[str, float]:
    """Seconds of each channel's waveform after the first one of all, by the channel's path. The
    epoch stands where a program had no clock; such a waveform starts with the first one."""
    told = {
        channel.path: np.datetime64(channel.properties["wf_start_time"], "ns")
        for channel in channels
        if "wf_start_time" in channel.properties
    }
    told = {path: start for path, start in told.items() if start > _EPOCH + _DAY}
    if not told:
        return {}
    first = min(told.values())
    starts = {path: float((start - first) / np.timedelta64(1, "s")) for path, start in told.items()}
    unknown = [channel.name for channel in channels if channel.path not in told]
    if unknown and max(starts.values()) > 0.0:
        notes.append(
            f"When {', '.join(map(repr, unknown))} started is not told: with the first channel."
        )
    return starts
