"""Recordings to files, in the kinds that hold several channels with their units."""

from __future__ import annotations

import io
import json
from collections.abc import Callable, Iterable, Sequence
from importlib.util import find_spec
from pathlib import Path
from typing import TYPE_CHECKING

import numpy as np

from harmotrack.checks import checked_path
from harmotrack.errors import HarmotrackError, missing_package
from harmotrack.files import pending, pending_together
from harmotrack.recording import blocks_of

if TYPE_CHECKING:
    from harmotrack.recording import Channel, Recording

    Writer = Callable[[Recording, Path], None]


def write(recording: Recording, path: str | Path) -> list[Path]:
    """Writes a recording in the kind that the name's end says; the paths that were written.

    Sound files hold what lies within full scale: each channel is scaled, and a .json file of the
    same name says by how much, which read() takes account of. FLAC keeps 24 bits of each sample,
    the other kinds all of them.

    Raises HarmotrackError if there are no channels, the name ends otherwise, the kind needs
    channels that are sampled together and these are not, or the file can't be written;
    MissingPackageError if the kind's package is not installed.
    """
    path = checked_path(path)
    if not recording.channels:
        raise HarmotrackError(f"The recording {recording.name} has no channels to be written.")
    suffix = path.suffix.lower()
    if suffix in _SOUND:
        return _write_sound(recording, path, *_SOUND[suffix])
    if suffix not in _WRITERS:
        raise HarmotrackError(
            f"The name {path.name} must end in {', '.join([*_SOUND, *_WRITERS])}."
        )
    writer, package, extra = _WRITERS[suffix]
    if find_spec(package) is None:
        raise missing_package(f"{suffix} files", package, extra)
    with pending(path) as hidden:
        writer(recording, hidden)
    return [path]


_SOUND = {
    ".wav": ("WAV", "DOUBLE"),
    ".w64": ("W64", "DOUBLE"),
    ".aiff": ("AIFF", "DOUBLE"),
    ".flac": ("FLAC", "PCM_24"),
}


def _write_sound(recording: Recording, path: Path, kind: str, subtype: str) -> list[Path]:
    _together(recording, path)
    rate = recording.channels[0].rate
    if rate != round(rate):
        raise HarmotrackError(
            f"The rate is {rate:g} Hz, and sound files need a whole number: take another kind."
        )
    scales, about = [], []
    for number, channel in enumerate(recording, start=1):
        largest = float(np.abs(channel.samples).max()) or 1.0
        full_scale = largest * (1.0 + 2.0**-22)  # so that 24 bits don't overflow
        scales.append(full_scale)
        about.append(
            {
                "number": number,
                "name": channel.name,
                "unit": channel.unit,
                "full_scale": full_scale,
            }
        )
    beside = path.with_suffix(".json")
    if beside.exists() and "channels" not in beside.read_text(errors="replace"):
        raise HarmotrackError(f"{beside} would be replaced, and it is of something else.")
    with pending_together(path, beside) as (sound, text):
        write_sound(sound, recording.channels, scales, kind, subtype)
        text.write_text(json.dumps({"recording": path.name, "channels": about}, indent=1) + "\n")
    return [path, beside]


def write_sound(
    path: Path, channels: Sequence[Channel], full_scales: Iterable[float], kind: str, subtype: str
) -> None:
    """A sound file of channels that are sampled together, each divided by its full scale.

    It is made in memory: its library tells that a disk is full, but not that this is the reason.
    """
    import soundfile

    image, scales, rate = io.BytesIO(), np.array([*full_scales]), round(channels[0].rate)
    with soundfile.SoundFile(image, "w", rate, len(channels), subtype, format=kind) as file:
        for block in blocks_of(channels):
            file.write(np.column_stack(block) / scales)
    path.write_bytes(image.getbuffer())


def _together(recording: Recording, path: Path) -> None:
    first = recording.channels[0]
    for channel in recording:
        if not channel.sampled_with(first):
            raise HarmotrackError(
                f"{first.name!r} and {channel.name!r} are not sampled together, as "
                f"{path.suffix} files need it: choose channels that are."
            )


def _columns(recording: Recording, path: Path) -> dict[str, np.ndarray]:
    _together(recording, path)
    columns = {"time [s]": recording.channels[0].times}
    for channel in recording:
        heading = f"{channel.name} [{channel.unit}]" if channel.unit else channel.name
        columns[heading] = channel.samples
    return columns


def _write_csv(recording: Recording, path: Path) -> None:
    import pandas as pd

    pd.DataFrame(_columns(recording, path)).to_csv(path, index=False, float_format="%.12g")


def _write_parquet(recording: Recording, path: Path) -> None:
    import pandas as pd

    pd.DataFrame(_columns(recording, path)).to_parquet(path, index=False)


def _write_hdf5(recording: Recording, path: Path) -> None:
    import h5py

    image = io.BytesIO()  # the library does not survive a disk that is full
    with h5py.File(image, "w") as file:
        for channel in recording:
            data = file.create_dataset(channel.name, data=channel.samples)
            data.attrs["unit"] = channel.unit
            data.attrs["rate"] = channel.rate
            data.attrs["start"] = channel.start
    path.write_bytes(image.getbuffer())


def _write_mat(recording: Recording, path: Path) -> None:
    import scipy.io

    _together(recording, path)
    signals: dict[str, object] = {"fs": recording.channels[0].rate}
    for channel in recording:
        name = "".join(c if c.isalnum() and c.isascii() else "_" for c in channel.name)
        name = name if name[0].isalpha() else f"c_{name}"
        signals[name[:63]] = channel.samples
    scipy.io.savemat(path, signals, long_field_names=True, do_compression=True)


def _write_tdms(recording: Recording, path: Path) -> None:
    from nptdms import ChannelObject, TdmsWriter

    with TdmsWriter(path) as file:
        file.write_segment(
            [
                ChannelObject(
                    "recording",
                    channel.name,
                    channel.samples,
                    {
                        "wf_increment": 1.0 / channel.rate,
                        "wf_start_offset": channel.start,
                        "unit_string": channel.unit,
                    },
                )
                for channel in recording
            ]
        )


def _write_mdf(recording: Recording, path: Path) -> None:
    from asammdf import MDF, Signal

    with MDF(version="4.10", temporary_folder=str(path.parent)) as file:
        for channel in recording:
            file.append(
                [
                    Signal(
                        samples=channel.samples,
                        timestamps=channel.times,
                        name=channel.name,
                        unit=channel.unit,
                    )
                ]
            )
        file.save(path, overwrite=True)


_WRITERS: dict[str, tuple[Writer, str, str]] = {
    ".csv": (_write_csv, "pandas", "all"),
    ".parquet": (_write_parquet, "pyarrow", "parquet"),
    ".h5": (_write_hdf5, "h5py", "all"),
    ".mat": (_write_mat, "scipy", "mat"),
    ".tdms": (_write_tdms, "nptdms", "tdms"),
    ".mf4": (_write_mdf, "asammdf", "mdf"),
}
