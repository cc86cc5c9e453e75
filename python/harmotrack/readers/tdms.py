"""TDMS, by npTDMS."""

from __future__ import annotations

from pathlib import Path
from typing import TYPE_CHECKING

import numpy as np
from nptdms import TdmsFile

from harmotrack.errors import HarmotrackError
from harmotrack.readers.assembly import (
    ReadOptions,
    Signal,
    channels_at_rate,
    is_numeric,
    rate_of_step,
    recorded,
)
from harmotrack.readers.hdf5 import same_length_channels
from harmotrack.recording import Recording

if TYPE_CHECKING:
    from harmotrack.readers.assembly import Part


def read(path: Path, options: ReadOptions) -> Recording:
    """Channels with a waveform's step have their own rate; those of a group without one share a
    channel of time stamps."""
    notes: list[str] = []
    channels: list[Part] = []
    file = TdmsFile.read(path)
    if file.file_status.incomplete_final_segment:
        notes.append(f"{path.name} is cut short: its last part is incomplete.")
    for group in file.groups():
        together: list[Signal] = []
        for channel in group.channels():
            values = np.asarray(channel[:])
            if values.size == 0 or not is_numeric(values):
                continue
            unit = str(channel.properties.get("unit_string", ""))
            signal = Signal(channel.name, values, unit)
            step = float(channel.properties.get("wf_increment", 0.0))
            if options.rate is None and step <= 0.0:
                together.append(signal)
                continue
            rate = options.rate or rate_of_step(step)
            start = float(channel.properties.get("wf_start_offset", 0.0))
            channels += channels_at_rate([signal], rate, start, notes)
        if together:
            channels += same_length_channels(together, options, notes, None)
    if not channels:
        raise HarmotrackError(f"{path} has no channels with samples.")
    return recorded(path, channels, notes)
