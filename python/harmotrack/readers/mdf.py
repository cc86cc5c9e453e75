"""MDF 4 (and 3), by asammdf."""

from __future__ import annotations

import logging
from pathlib import Path
from typing import TYPE_CHECKING, Any

import numpy as np
from asammdf import MDF

from harmotrack.errors import HarmotrackError
from harmotrack.readers.assembly import (
    MOST_DEFLATED,
    ReadOptions,
    Signal,
    channels_of_stamps,
    check_declared,
    is_numeric,
    recorded,
)
from harmotrack.recording import Recording

if TYPE_CHECKING:
    from numpy.typing import NDArray

    from harmotrack.readers.assembly import Part

    Groups = dict[bytes, tuple[NDArray[np.float64], list[Signal]]]


def read(path: Path, options: ReadOptions) -> Recording:
    """Channels with the same time stamps belong together."""
    logging.getLogger("asammdf").setLevel(logging.CRITICAL)
    notes: list[str] = []
    channels: list[Part] = []
    with MDF(path) as file:
        _check_size(path, file)
        groups = _groups(file)
    for times, signals in groups.values():
        channels += channels_of_stamps(times, signals, notes, options)
    if not channels:
        raise HarmotrackError(f"{path} has no channels of numbers.")
    return recorded(path, channels, notes)


def _check_size(path: Path, file: Any) -> None:
    heads = [group.channel_group for group in file.groups]
    records = sum(int(head.cycles_nr) * int(head.samples_byte_nr) for head in heads)
    check_declared(path, records, MOST_DEFLATED)


def _groups(file: Any) -> Groups:
    groups: Groups = {}
    for signal in file.iter_channels(skip_master=True):
        values, times = np.asarray(signal.samples), np.asarray(signal.timestamps, dtype=np.float64)
        if values.ndim == 1 and values.size > 1 and is_numeric(values):
            one = Signal(signal.name, values, signal.unit or "")
            groups.setdefault(times.tobytes(), (times, []))[1].append(one)
    return groups
