"""MDF 4 (and 3), by asammdf."""

from __future__ import annotations

import logging
from pathlib import Path
from typing import TYPE_CHECKING, Any

import numpy as np
from asammdf import MDF

from harmotrack.errors import HarmotrackError
from harmotrack.readers.assembly import (
    ReadOptions,
    Signal,
    channels_of_stamps,
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
        groups = _groups(file)
    for times, signals in groups.values():
        channels += channels_of_stamps(times, signals, notes, options)
    if not channels:
        raise HarmotrackError(f"{path} has no channels of numbers.")
    return recorded(path, channels, notes)


def _groups(file: Any) -> Groups:
    groups: Groups = {}
    for signal in file.iter_channels(skip_master=True):
        values, times = np.asarray(signal.samples), np.asarray(signal.timestamps, dtype=np.float64)
        if values.ndim == 1 and values.size > 1 and is_numeric(values):
            one = Signal(signal.name, values, signal.unit or "")
            groups.setdefault(times.tobytes(), (times, []))[1].append(one)
    return groups
