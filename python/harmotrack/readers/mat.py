"""MATLAB files: version 5 by scipy, version 7.3 by h5py."""

from __future__ import annotations

from collections.abc import Iterator
from pathlib import Path
from typing import TYPE_CHECKING, Any

import numpy as np
import scipy.io

from harmotrack.errors import HarmotrackError
from harmotrack.readers.assembly import ReadOptions, Signal, is_numeric, recorded
from harmotrack.readers.hdf5 import RATE_NAMES, STEP_NAMES, same_length_channels, split_columns
from harmotrack.recording import Recording

if TYPE_CHECKING:
    from numpy.typing import NDArray


def read(path: Path, options: ReadOptions) -> Recording:
    """Vectors and matrices of numbers are channels; a single number named fs, rate or dt is the
    rate or the step, and a vector named t or time the time stamps."""
    with path.open("rb") as file:
        head = file.read(128)
        hdf5 = head.startswith((b"\x89HDF", b"MATLAB 7.3"))
    arrays = list(_of_hdf5(path) if hdf5 else _of_version_5(path))
    rate = None
    signals: list[Signal] = []
    for name, values in arrays:
        last = name.rsplit(".", 1)[-1]
        if values.size == 1 and last in RATE_NAMES + STEP_NAMES:
            number = float(np.squeeze(values))
            rate = number if last in RATE_NAMES else 1.0 / number
        elif values.size > 1:
            signals += split_columns(name, values, [])
    if not signals:
        raise HarmotrackError(f"{path} has no vectors of numbers that could be channels.")
    for signal in signals:
        # The time stamps of a structure are known by the name of the field.
        if signal.name.rsplit(".", 1)[-1] in ("t", "time"):
            signal.name = signal.name.rsplit(".", 1)[-1]
    notes: list[str] = []
    channels = same_length_channels(signals, options, notes, rate)
    return recorded(path, channels, notes)


def _of_version_5(path: Path) -> Iterator[tuple[str, NDArray[Any]]]:
    loaded = scipy.io.loadmat(path, squeeze_me=True, struct_as_record=False)
    for name, value in loaded.items():
        if not name.startswith("__"):
            yield from _flattened(name, value)


def _flattened(name: str, value: Any) -> Iterator[tuple[str, NDArray[Any]]]:
    if isinstance(value, scipy.io.matlab.mat_struct):
        for field in value._fieldnames:
            yield from _flattened(f"{name}.{field}", getattr(value, field))
        return
    array = np.asarray(value)
    if is_numeric(array):
        yield name, array


def _of_hdf5(path: Path) -> Iterator[tuple[str, NDArray[Any]]]:
    import h5py

    found: list[tuple[str, NDArray[Any]]] = []

    def visit(name: str, item: Any) -> None:
        if name.startswith("#") or not isinstance(item, h5py.Dataset):
            return
        if is_numeric(item) and item.attrs.get("MATLAB_class", b"double") != b"char":
            found.append((name.replace("/", "."), item[()]))

    with h5py.File(path, "r") as file:
        file.visititems(visit)
    yield from found
