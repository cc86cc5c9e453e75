"""MATLAB files: version 5 by scipy, version 7.3 by h5py."""

from __future__ import annotations

import re
from collections.abc import Iterator
from pathlib import Path
from struct import unpack
from typing import TYPE_CHECKING, Any

import numpy as np
import scipy.io

from harmotrack.errors import HarmotrackError
from harmotrack.readers.assembly import ReadOptions, Signal, is_numeric, recorded
from harmotrack.readers.hdf5 import said_rate, same_length_channels, split_columns, values_of
from harmotrack.recording import Recording

if TYPE_CHECKING:
    from numpy.typing import NDArray

    from harmotrack.readers.assembly import Part


#: A member that is called so and nothing else may be the shaft's, below so many Hz.
_LEAST_CERTAIN_RATE = 1000.0
_SPEED_NAME = re.compile(r"rpm|drehzahl", re.IGNORECASE)
_LIMIT_NAME = re.compile(r"min|max|step|limit|tol|res|std|var", re.IGNORECASE)
_DEEPEST = 20


def read(path: Path, options: ReadOptions) -> Recording:
    """Vectors and matrices of numbers are channels; a single number named fs, sr, dt ... is the
    rate or the step of the channels beside it and below, a vector named t or time the time stamps,
    and a single number named like rpm the speed of the shaft."""
    with path.open("rb") as file:
        head = file.read(128)
        hdf5 = head.startswith((b"\x89HDF", b"MATLAB 7.3"))
    arrays = dict(_of_hdf5(path) if hdf5 else _of_version_5(path, head))
    signals = [
        signal
        for name, values in arrays.items()
        if values.size > 1
        for signal in split_columns(name, values, [])
    ]
    if not signals:
        raise HarmotrackError(f"{path} has no vectors of numbers that could be channels.")
    notes: list[str] = []
    numbers = {name: float(np.squeeze(v)) for name, v in arrays.items() if v.size == 1}
    parts: list[Part] = []
    for rate, together in _by_rate(path, signals, numbers, options):
        for signal in together:
            # The time stamps of a structure are known by the name of the field.
            if _member(signal.name) in ("t", "time"):
                signal.name = _member(signal.name)
        parts += same_length_channels(together, options, notes, rate)
    return recorded(path, parts, notes, _constant_rpm(numbers, notes))


def _member(name: str) -> str:
    return name.rpartition(".")[2]


def _by_rate(
    path: Path, signals: list[Signal], numbers: dict[str, float], options: ReadOptions
) -> list[tuple[float | None, list[Signal]]]:
    """Signals that have the same rate, by the numbers of the structure in which they stand, or of
    the nearest one round it that says a rate."""
    found: dict[float | None, list[Signal]] = {}
    stamped = any(_member(s.name) in ("t", "time") or s.name == options.time for s in signals)
    for signal in signals:
        rate = options.rate
        scope = signal.name
        while rate is None and scope:
            scope = scope.rpartition(".")[0]
            rate = _rate_of(path, scope, numbers, stamped)
        found.setdefault(rate, []).append(signal)
    if stamped and None in found:  # stamps that stand outside of the structure
        return [(next((r for r in found if r is not None), None), signals)]
    return list(found.items())


def _rate_of(path: Path, scope: str, numbers: dict[str, float], stamped: bool) -> float | None:
    """What the numbers of one structure say, "" for those outside of all."""
    own = {_member(name): n for name, n in numbers.items() if name.rpartition(".")[0] == scope}
    said = {
        name: rate
        for name, number in own.items()
        if name != "rate" and (rate := said_rate(name, number)) is not None
    }
    if said:
        least, most = min(said.values()), max(said.values())
        if most > 1.001 * least:
            words = " and ".join(f"{name!r} {rate:g} Hz" for name, rate in said.items())
            raise HarmotrackError(
                f"The rate of {path} is told twice, {words}: say which it is (rate)."
            )
        return most
    rate = own.get("rate")
    if rate is None or stamped:
        return None
    if not _LEAST_CERTAIN_RATE <= rate < np.inf:
        raise HarmotrackError(
            f"Of {path} only a number named 'rate' may be the sampling rate, and {rate:g} may be "
            "another rate, as that of the shaft: give the sampling rate (rate)."
        )
    return rate


def _constant_rpm(numbers: dict[str, float], notes: list[str]) -> float | None:
    said = {
        name: number
        for name, number in numbers.items()
        if _SPEED_NAME.search(_member(name))
        and not _LIMIT_NAME.search(_member(name))
        and 1.0 <= number <= 1e6
    }
    if not said:
        return None
    if max(said.values()) > min(said.values()):
        names = ", ".join(f"{name!r} is {number:g}" for name, number in said.items())
        notes.append(f"The speed of the shaft is told more than once, and not the same: {names}.")
        return None
    name, rpm = next(iter(said.items()))
    notes.append(f"The constant speed is that of {name!r}: {rpm:g} rpm.")
    return rpm


def _check_elements(path: Path, head: bytes) -> None:
    """Each element of the file begins with its size, which is held against that of the file."""
    order = {b"IM": "<", b"MI": ">"}.get(head[126:128])
    if order is None:
        return  # of version 4, which the library knows
    size = path.stat().st_size
    with path.open("rb") as file:
        place = len(head)
        while place + 8 <= size:
            file.seek(place)
            _, length = unpack(f"{order}II", file.read(8))
            if place + 8 + length > size:
                raise HarmotrackError(
                    f"{path} declares {length} bytes from byte {place} on, and has {size} bytes in "
                    "all: it may be cut or damaged."
                )
            place += 8 + length


def _of_version_5(path: Path, head: bytes) -> Iterator[tuple[str, NDArray[Any]]]:
    _check_elements(path, head)
    loaded = scipy.io.loadmat(path, squeeze_me=True, struct_as_record=False)
    for name, value in loaded.items():
        if not name.startswith("__"):
            yield from _flattened(name, value)


def _flattened(name: str, value: Any, depth: int = 0) -> Iterator[tuple[str, NDArray[Any]]]:
    """The arrays of numbers in structures, and in rows of structures, which are counted from 1."""
    if depth > _DEEPEST:
        return
    if isinstance(value, scipy.io.matlab.mat_struct):
        for field in value._fieldnames:
            yield from _flattened(f"{name}.{field}", getattr(value, field), depth + 1)
        return
    array = np.asarray(value)
    if array.dtype == object:
        for number, one in enumerate(array.flat, start=1):
            yield from _flattened(f"{name}{number}", one, depth + 1)
    elif is_numeric(array):
        yield name, array


def _of_hdf5(path: Path) -> Iterator[tuple[str, NDArray[Any]]]:
    import h5py

    found: list[tuple[str, NDArray[Any]]] = []

    def visit(name: str, item: Any) -> None:
        if name.startswith("#") or not isinstance(item, h5py.Dataset):
            return
        if is_numeric(item) and item.attrs.get("MATLAB_class", b"double") != b"char":
            found.append((name.replace("/", "."), values_of(item, path)))

    with h5py.File(path, "r") as file:
        file.visititems(visit)
    yield from found
