"""A speed profile from a table of its own."""

from __future__ import annotations

from dataclasses import replace
from pathlib import Path

from harmotrack.errors import HarmotrackError
from harmotrack.readers import read
from harmotrack.speed import Speed
from harmotrack.speed_finder import likely_speed_channels


def read_speed(path: Path) -> Speed:
    """From a file with time stamps and one speed; of several columns the one named like a speed.

    Raises HarmotrackError if it can't be read, or which column is the speed can't be told.
    """
    recording = read(path)
    names = list(recording.names)
    if len(names) > 1:
        names = likely_speed_channels(recording)
    if len(names) != 1:
        raise HarmotrackError(
            f"Which column of {path} is the speed can't be told; it has "
            f"{', '.join(map(repr, recording.names))}."
        )
    speed = Speed.from_channel(recording[names[0]])
    return replace(speed, source=f"{names[0]!r} of {path.name}", channel=None)
