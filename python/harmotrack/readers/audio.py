"""WAV, FLAC, W64 and AIFF, by soundfile."""

from __future__ import annotations

import json
import re
from pathlib import Path
from typing import Any

import soundfile

from harmotrack.errors import HarmotrackError
from harmotrack.readers.assembly import ReadOptions
from harmotrack.recording import Channel, Recording

#: The log of libsndfile, where the file's own length in bytes is another than it says.
_LENGTH = re.compile(r"^(?:RIFF|riff|FORM) *: (\d+) \(should be (\d+)\)", re.MULTILINE)
_UNKNOWN_LENGTH = 0xFFFFFFFF - 8  #: and above: written by a program that could not know it


def read(path: Path, options: ReadOptions) -> Recording:
    notes: list[str] = []
    with soundfile.SoundFile(path) as file:
        promised, log = file.frames, file.extra_info
        rate = options.rate or float(file.samplerate)
        samples = file.read(dtype="float64", always_2d=True)
    if samples.shape[0] == 0:
        raise HarmotrackError(f"{path} has no samples.")
    length = _LENGTH.search(log)
    if length and int(length[2]) < int(length[1]) < _UNKNOWN_LENGTH:
        notes.append(
            f"{path.name} is cut short: it has {length[2]} of {length[1]} bytes, and "
            f"{samples.shape[0]} samples."
        )
    elif samples.shape[0] < promised:
        notes.append(
            f"{path.name} is cut short: {samples.shape[0]} of {promised} samples are there."
        )
    described = {} if options.full_scale is not None else _described(path)
    channels = []
    for k in range(samples.shape[1]):
        about = described.get(k + 1, {})
        full_scale = options.full_scale or float(about.get("full_scale", 1.0))
        channels.append(
            Channel(
                str(about.get("name", f"channel {k + 1}")),
                samples[:, k] * full_scale,
                rate,
                str(about.get("unit", "" if options.full_scale else "FS")),
            )
        )
    return Recording(tuple(channels), path.name, tuple(notes))


def _described(path: Path) -> dict[int, dict[str, Any]]:
    """What the file of the same name with .json says of the channels, by their numbers from 1."""
    beside = path.with_suffix(".json")
    if not beside.is_file():
        return {}
    try:
        text = json.loads(beside.read_text(encoding="utf-8"))
        if text.get("recording", path.name) != path.name:
            return {}
        return {int(about["number"]): about for about in text["channels"]}
    except (ValueError, KeyError, TypeError, AttributeError):
        return {}  # of something else
