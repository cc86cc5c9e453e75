"""WAV, FLAC, W64 and AIFF, by soundfile."""

from __future__ import annotations

import json
import re
from collections.abc import Iterator
from pathlib import Path
from typing import TYPE_CHECKING, Any

import numpy as np
import soundfile

from harmotrack.errors import HarmotrackError
from harmotrack.readers.assembly import ReadOptions
from harmotrack.recording import BLOCK_SAMPLES, Channel, Recording, StoredChannel

if TYPE_CHECKING:
    from numpy.typing import NDArray

#: The log of libsndfile, where the file's own length in bytes is another than it says.
_LENGTH = re.compile(r"^(?:RIFF|riff|FORM) *: (\d+) \(should be (\d+)\)", re.MULTILINE)
_UNKNOWN_LENGTH = 0xFFFFFFFF - 8  #: and above: written by a program that could not know it
_FEW_SAMPLES = 256  #: at a time, up to where a file is damaged


class SoundFile:
    """The samples of a sound file, to be read a part at a time; shapes are (samples, channels)."""

    def __init__(self, path: Path) -> None:
        self.path = path
        with soundfile.SoundFile(path) as file:
            self.frames: int = file.frames  #: that the file promises
            self.channels: int = file.channels
            self.rate = float(file.samplerate)
            self.log: str = file.extra_info

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
        return np.asarray(samples)

    def blocks(self, length: int) -> Iterator[NDArray[np.float64]]:
        """As SampleStore tells; the array is the same one again and again."""
        with soundfile.SoundFile(self.path) as file:
            block = np.empty((length, self.channels))
            for first in range(0, self.frames, length):
                count = min(length, self.frames - first)
                read = file.read(count, out=block[:count])
                self._check(first + len(read), first + count)
                yield block[:count]

    def columns(self) -> list[NDArray[np.float64]]:
        """All samples that are there, a row of each channel; of a damaged file those before the
        damage."""
        columns = [np.empty(self.frames) for _ in range(self.channels)]
        done = 0
        damage: soundfile.SoundFileError | None = None
        for length in (BLOCK_SAMPLES, _FEW_SAMPLES):
            with soundfile.SoundFile(self.path) as file:
                block = np.empty((length, self.channels))
                try:
                    file.seek(done)
                    while done < self.frames:
                        read = file.read(min(length, self.frames - done), out=block)
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


def read(path: Path, options: ReadOptions) -> Recording:
    file = SoundFile(path)
    described = {} if options.full_scale is not None else _described(path)
    about = [described.get(k + 1, {}) for k in range(file.channels)]
    names = [str(one.get("name", f"channel {k}")) for k, one in enumerate(about, start=1)]
    units = [str(one.get("unit", "" if options.full_scale else "FS")) for one in about]
    scales = [options.full_scale or float(one.get("full_scale", 1.0)) for one in about]
    rate = options.rate or file.rate
    notes: list[str] = []
    channels: list[Channel]
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
        channels = [
            Channel(name, column, rate, unit)
            for name, column, unit in zip(names, columns, units, strict=True)
        ]
    _note_what_is_missing(file, size, notes)
    return Recording(tuple(channels), path.name, tuple(notes))


def _note_what_is_missing(file: SoundFile, size: int, notes: list[str]) -> None:
    length = _LENGTH.search(file.log)
    if length and int(length[2]) < int(length[1]) < _UNKNOWN_LENGTH:
        notes.append(
            f"{file.path.name} is cut short: it has {length[2]} of {length[1]} bytes, and "
            f"{size} samples."
        )
    elif size < file.frames:
        notes.append(f"{file.path.name} is cut short: {size} of {file.frames} samples are there.")


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
