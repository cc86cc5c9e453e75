"""WAV, FLAC, W64 and AIFF, by soundfile."""

from __future__ import annotations

import json
import re
from collections.abc import Iterator
from dataclasses import dataclass
from pathlib import Path
from typing import TYPE_CHECKING, Any

import numpy as np
import soundfile

from harmotrack.errors import HarmotrackError
from harmotrack.readers.assembly import ReadOptions, Signal, finite, recorded
from harmotrack.recording import BLOCK_SAMPLES, Channel, Recording, StoredChannel

if TYPE_CHECKING:
    from numpy.typing import NDArray

    from harmotrack.readers.assembly import Part

#: The log of libsndfile, where the file's own length in bytes is another than it says.
_LENGTH = re.compile(r"^(?:RIFF|riff|FORM) *: (\d+) \(should be (\d+)\)", re.MULTILINE)
_UNKNOWN_LENGTH = 0xFFFFFFFF - 8  #: and above: written by a program that could not know it
_FEW_SAMPLES = 256  #: at a time, up to where a file is damaged
_BYTES = {"PCM_S8": 1, "PCM_U8": 1, "ULAW": 1, "ALAW": 1}  #: of a sample
_BYTES |= {"PCM_16": 2, "PCM_24": 3, "PCM_32": 4, "FLOAT": 4, "DOUBLE": 8}
_COMPRESSED = ("FLAC", "OGG", "MPEG")  #: whose subtype is that of what was compressed
_MOST_FRAMES_A_BYTE = 8192  #: FLAC of silence: 65535 in a frame of 8 bytes or more


class SoundFile:
    """The samples of a sound file, to be read a part at a time; shapes are (samples, channels)."""

    def __init__(self, path: Path) -> None:
        self.path = path
        with soundfile.SoundFile(path) as file:
            self.frames: int = file.frames  #: that the file promises
            self.channels: int = file.channels
            self.rate = float(file.samplerate)
            self.log: str = file.extra_info
            self.kind: str = file.format
            self._most_frames = self._frames_in(path.stat().st_size, file.subtype)

    def _frames_in(self, size: int, subtype: str) -> int:
        """No more than that can be in so many bytes, whatever the file promises."""
        least = _BYTES.get(subtype) if self.kind not in _COMPRESSED else None
        return size * _MOST_FRAMES_A_BYTE if least is None else size // (least * self.channels)

    def is_whole(self) -> bool:
        """Whether the last of the promised samples is there."""
        if self.frames == 0:
            return False
        with soundfile.SoundFile(self.path) as file:
            try:
                file.seek(self.frames - 1)
                return len(file.read(1, dtype="float64")) == 1
            except soundfile.SoundFileError:
                return False

    def part(self, first: int, count: int) -> NDArray[np.float64]:
        """As SampleStore tells."""
        with soundfile.SoundFile(self.path) as file:
            file.seek(first)
            samples = file.read(count, dtype="float64", always_2d=True)
        self._check(first + samples.shape[0], first + count)
        self._check_finite(samples, first)
        return np.asarray(samples)

    def blocks(self, length: int) -> Iterator[NDArray[np.float64]]:
        """As SampleStore tells; the array is the same one again and again."""
        with soundfile.SoundFile(self.path) as file:
            block = np.empty((length, self.channels))
            for first in range(0, self.frames, length):
                count = min(length, self.frames - first)
                read = file.read(count, out=block[:count])
                self._check(first + len(read), first + count)
                self._check_finite(block[:count], first)
                yield block[:count]

    def columns(self) -> list[NDArray[np.float64]]:
        """All samples that are there, a row of each channel; of a damaged file those before the
        damage."""
        size = min(self.frames, self._most_frames)
        columns = [np.empty(size) for _ in range(self.channels)]
        done = 0
        damage: soundfile.SoundFileError | None = None
        for length in (BLOCK_SAMPLES, _FEW_SAMPLES):
            with soundfile.SoundFile(self.path) as file:
                block = np.empty((length, self.channels))
                try:
                    file.seek(done)
                    while done < size:
                        read = file.read(min(length, size - done), out=block)
                        if len(read) == 0:
                            break
                        for k, column in enumerate(columns):
                            column[done : done + len(read)] = read[:, k]
                        done += len(read)
                except soundfile.SoundFileError as error:
                    damage = error
                else:
                    break
        if done == 0 and damage is not None:
            raise damage
        return [column[:done] for column in columns]

    def _check(self, there: int, promised: int) -> None:
        if there < promised:
            raise HarmotrackError(
                f"{self.path} ends at sample {there} of {self.frames}, it may be damaged: read it "
                "into memory, which takes what is there."
            )

    def _check_finite(self, samples: NDArray[np.float64], first: int) -> None:
        bad = ~np.isfinite(samples)
        if bad.any():
            sample, channel = np.argwhere(bad)[0]
            raise HarmotrackError(
                f"Sample {first + sample + 1} of channel {channel + 1} of {self.path} is "
                f"{samples[sample, channel]:g}: read it into memory, where a few such samples are "
                "bridged."
            )


def read(path: Path, options: ReadOptions) -> Recording:
    file = SoundFile(path)
    notes: list[str] = []
    about = _described(path, file.channels, notes) if options.full_scale is None else {}
    heads = [
        about.get(k, _About(f"channel {k}", "" if options.full_scale else "FS"))
        for k in range(1, file.channels + 1)
    ]
    names, units = [head.name for head in heads], [head.unit for head in heads]
    scales = [options.full_scale or head.full_scale for head in heads]
    rate = options.rate or file.rate
    channels: list[Part]
    if not options.in_memory and file.is_whole():
        size = file.frames
        channels = [
            StoredChannel(names[k], file, k, size, rate, units[k], scales[k])
            for k in range(file.channels)
        ]
    else:
        columns = file.columns()
        size = columns[0].size
        if size == 0:
            raise HarmotrackError(f"{path} has no samples.")
        for column, scale in zip(columns, scales, strict=True):
            np.multiply(column, scale, out=column)
        signals = [Signal(*one) for one in zip(names, columns, units, strict=True)]
        channels = [Channel(one.name, finite(one, notes), rate, one.unit) for one in signals]
    _note_what_is_missing(file, size, notes)
    return recorded(path, channels, notes)


def _note_what_is_missing(file: SoundFile, size: int, notes: list[str]) -> None:
    length = _LENGTH.search(file.log)
    if length and int(length[2]) < int(length[1]) < _UNKNOWN_LENGTH:
        notes.append(
            f"{file.path.name} is cut short: it has {length[2]} of {length[1]} bytes, and "
            f"{size} samples."
        )
    elif size < file.frames:
        notes.append(f"{file.path.name} is cut short: {size} of {file.frames} samples are there.")


@dataclass(frozen=True)
class _About:
    """What is said of a channel."""

    name: str
    unit: str
    full_scale: float = 1.0


def _described(path: Path, channels: int, notes: list[str]) -> dict[int, _About]:
    """What the file of the same name with .json says of the channels, by their numbers from 1. One
    that is of something else is passed over with a note."""
    beside = path.with_suffix(".json")
    if not beside.is_file():
        return {}
    try:
        text = json.loads(beside.read_text(encoding="utf-8-sig"))
    except (OSError, ValueError, RecursionError) as error:
        raise HarmotrackError(
            f"{beside}, which would say what the channels of {path.name} are, can't be read as "
            f"JSON: {' '.join(str(error).split())}."
        ) from error
    told = text.get("channels") if isinstance(text, dict) else None
    other = text.get("recording", path.name) if isinstance(text, dict) else path.name
    numbered = [one for one in told if _has_number(one)] if isinstance(told, list) else []
    if other != path.name or not numbered:
        why = f"is about {other!r}" if other != path.name else "numbers no channels"
        notes.append(f"{beside.name} {why}, and was passed over: samples are shares of full scale.")
        return {}
    return dict(_about(beside, one, channels) for one in numbered)


def _has_number(said: object) -> bool:
    return isinstance(said, dict) and "number" in said


def _about(beside: Path, said: dict[str, Any], channels: int) -> tuple[int, _About]:
    """The number and the rest; a sentence if it can't be that of a channel."""
    if said["number"] not in range(1, channels + 1):
        raise HarmotrackError(
            f"{beside} has a channel of the number {said['number']!r}, and it must be 1 to "
            f"{channels}."
        )
    number, scale = int(said["number"]), said.get("full_scale", 1.0)
    name, unit = said.get("name", f"channel {number}"), said.get("unit", "FS")
    if not isinstance(name, str) or not isinstance(unit, str):
        raise HarmotrackError(
            f"{beside} has the name {name!r} and the unit {unit!r} of channel {number}, and both "
            "must be texts."
        )
    try:
        factor = float(scale)
    except (TypeError, ValueError):
        factor = np.nan
    if not np.isfinite(factor) or factor == 0.0:
        raise HarmotrackError(
            f"{beside} has the full scale {scale!r} of channel {number}, and it must be a number "
            "other than 0."
        )
    return number, _About(name, unit, factor)
