"""Signals with their units, rates and starts."""

from __future__ import annotations

import copy
from collections.abc import Iterable, Iterator, Mapping, Sequence
from dataclasses import dataclass, replace
from typing import TYPE_CHECKING, Any, Protocol

import numpy as np

from harmotrack.checks import check_type, numbers_of
from harmotrack.errors import HarmotrackError

if TYPE_CHECKING:
    from numpy.typing import ArrayLike, NDArray

    Samples = NDArray[np.float64]

#: Of each channel, where a recording is gone through in blocks.
BLOCK_SAMPLES = 1 << 16

RECORDING_OR_PATH = "a Recording, or the path of a file that read() can read"


@dataclass(frozen=True, eq=False)
class Channel:
    """One signal: sample k was taken at start + k / rate.

    Parameters
    ----------
    samples
        Shape (n); kept as read-only float64, without a copy if they are.
    rate
        Samples in a second, Hz.
    unit
        Of the samples, "" if it is not known.
    start
        Time of the first sample, seconds.

    Raises
    ------
    HarmotrackError
        The samples are no row of at least one, the rate is not above 0, or the start is no number.
    """

    name: str
    samples: NDArray[np.float64]
    rate: float
    unit: str = ""
    start: float = 0.0

    def __post_init__(self) -> None:
        check_type("name of the channel", self.name, str, "a str")
        samples = numbers_of(f"The samples of {self.name!r}", self.samples)
        if samples.ndim != 1 or samples.size == 0:
            raise HarmotrackError(
                f"The samples of {self.name!r} have the shape {samples.shape}, and they must be "
                "a row of at least one."
            )
        for quantity in ("rate", "start"):
            value = getattr(self, quantity)
            check_type(f"{quantity} of {self.name!r}", value, (int, float, np.number), "a number")
        if not 0.0 < self.rate < np.inf:
            raise HarmotrackError(
                f"The rate of {self.name!r} is {self.rate:g} Hz, and it must be above 0."
            )
        if not np.isfinite(self.start):
            raise HarmotrackError(f"The start of {self.name!r} is {self.start:g} s.")
        samples = samples.view()
        samples.flags.writeable = False
        object.__setattr__(self, "samples", samples)
        object.__setattr__(self, "rate", float(self.rate))
        object.__setattr__(self, "start", float(self.start))

    @property
    def size(self) -> int:
        """Number of samples."""
        return self.samples.size

    @property
    def duration(self) -> float:
        """Seconds that the samples stand for."""
        return self.size / self.rate

    @property
    def times(self) -> NDArray[np.float64]:
        """Seconds of each sample, shape (n)."""
        return self.start + np.arange(self.size) / self.rate

    def excerpt(self, most: int) -> NDArray[np.float64]:
        """All samples if they are no more than ``most``; else about as many, in pieces of
        BLOCK_SAMPLES or less that stand evenly from the first sample to the last."""
        if self.size <= most:
            return self._part(0, self.size)
        length = min(BLOCK_SAMPLES, most)
        firsts = np.linspace(0, self.size - length, max(most // length, 1)).astype(int)
        return np.concatenate([self._part(int(first), length) for first in firsts])

    def with_name(self, name: str) -> Channel:
        """The same samples under another name."""
        return replace(self, name=name)

    def with_unit(self, unit: str) -> Channel:
        """The same samples, in a unit that was not known or not right."""
        return replace(self, unit=unit)

    def scaled(self, factor: float, unit: str | None = None) -> Channel:
        """The channel in another unit: samples times ``factor``."""
        return replace(
            self, samples=self.samples * factor, unit=self.unit if unit is None else unit
        )

    def sampled_with(self, other: Channel) -> bool:
        """Whether both have the same rate, start and length."""
        return (self.rate, self.start, self.size) == (other.rate, other.start, other.size)

    def _part(self, first: int, count: int) -> NDArray[np.float64]:
        return self.samples[first : first + count]

    def __repr__(self) -> str:
        return (
            f"Channel({self.name!r}, {self.size} samples at {self.rate:g} Hz"
            f"{f' in {self.unit}' if self.unit else ''})"
        )


class SampleStore(Protocol):
    """A file whose channels are read when they are needed, a part at a time."""

    def part(self, first: int, count: int) -> NDArray[np.float64]:
        """Shape (count, channels); raises HarmotrackError if the file has no such samples."""

    def blocks(self, length: int) -> Iterator[NDArray[np.float64]]:
        """All samples in order, shape (length or less, channels); one array may be used again
        for all of them."""


class StoredChannel(Channel):
    """A channel that stays in its file: ``samples`` reads all of it anew each time, and what goes
    through it in blocks holds a block of it at a time.

    ``number`` is that of its column in the store, from 0, and ``factor`` what a stored value is
    multiplied by.
    """

    def __init__(
        self,
        name: str,
        store: SampleStore,
        number: int,
        size: int,
        rate: float,
        unit: str = "",
        factor: float = 1.0,
    ) -> None:
        about = {"name": name, "rate": float(rate), "unit": unit, "start": 0.0}
        about |= {"_store": store, "_number": number, "_size": size, "_factor": factor}
        self.__dict__.update(about)

    if TYPE_CHECKING:
        _store: SampleStore
        _number: int
        _size: int
        _factor: float
    else:

        @property
        def samples(self) -> NDArray[np.float64]:
            return self._part(0, self._size)

    @property
    def size(self) -> int:
        return self._size

    def column(self, block: NDArray[np.float64]) -> NDArray[np.float64]:
        """Its samples of a block of the store, in its unit."""
        return block[:, self._number] * self._factor

    def with_name(self, name: str) -> Channel:
        return self._changed(name=name)

    def with_unit(self, unit: str) -> Channel:
        return self._changed(unit=unit)

    def scaled(self, factor: float, unit: str | None = None) -> Channel:
        return self._changed(
            _factor=self._factor * factor, unit=self.unit if unit is None else unit
        )

    def _part(self, first: int, count: int) -> NDArray[np.float64]:
        return self.column(self._store.part(first, count))

    def _changed(self, **changes: Any) -> StoredChannel:
        changed = copy.copy(self)
        changed.__dict__.update(changes)
        return changed


def blocks_of(
    channels: Sequence[Channel], length: int = BLOCK_SAMPLES
) -> Iterator[list[NDArray[np.float64]]]:
    """Goes through channels of equal length: arrays of ``length`` samples or less, one of each
    channel. Samples in memory are not copied, and a file is read once for all of its channels."""
    stores = {id(c._store): c._store for c in channels if isinstance(c, StoredChannel)}
    reading = {key: store.blocks(length) for key, store in stores.items()}
    for first in range(0, channels[0].size, length):
        read = {key: next(blocks) for key, blocks in reading.items()}
        yield [
            channel.column(read[id(channel._store)])
            if isinstance(channel, StoredChannel)
            else channel.samples[first : first + length]
            for channel in channels
        ]


@dataclass(frozen=True, eq=False)
class PulseTrain:
    """A tacho of which the file tells the moments of its pulses, and no samples.

    Parameters
    ----------
    seconds
        Times of the pulses, shape (n), on the time axis of the channels.
    """

    name: str
    seconds: NDArray[np.float64]

    def with_name(self, name: str) -> PulseTrain:
        """The same pulses under another name."""
        return replace(self, name=name)

    def __repr__(self) -> str:
        return f"PulseTrain({self.name!r}, {self.seconds.size} pulses)"


@dataclass(frozen=True, eq=False)
class Recording:
    """Channels that were taken together, on one time axis; their rates may differ.

    Parameters
    ----------
    channels
        Each of a name of its own; at least one, unless there are pulses.
    name
        Of the recording, as it stands above pictures.
    notes
        Sentences about what was found and mended on the way in.
    pulses
        Tachos whose pulses stand in the file as moments, each of a name of its own.
    constant_rpm
        Speed of the shaft, if the file says that it was the same all the time; above 0.

    Raises
    ------
    HarmotrackError
        There are neither channels nor pulses, two of one name, or the speed is not above 0.
    """

    channels: tuple[Channel, ...]
    name: str = ""
    notes: tuple[str, ...] = ()
    pulses: tuple[PulseTrain, ...] = ()
    constant_rpm: float | None = None

    def __post_init__(self) -> None:
        check_type("list of channels", self.channels, Iterable, "one of Channel objects")
        object.__setattr__(self, "channels", tuple(self.channels))
        for channel in self.channels:
            check_type("channel", channel, Channel, "a Channel")
        object.__setattr__(self, "notes", tuple(self.notes))
        object.__setattr__(self, "pulses", tuple(self.pulses))
        if not self.channels and not self.pulses:
            raise HarmotrackError(f"The recording {self.name} has no channels.")
        if self.constant_rpm is not None and not 0.0 < self.constant_rpm < np.inf:
            raise HarmotrackError(
                f"The constant speed of {self.name} is {self.constant_rpm:g} rpm, and it must be "
                "above 0."
            )
        names = [*self.names, *(train.name for train in self.pulses)]
        twice = sorted({name for name in names if names.count(name) > 1})
        if twice:
            raise HarmotrackError(
                f"The recording {self.name} has several channels of the name {twice[0]!r}."
            )

    @classmethod
    def from_arrays(
        cls,
        signals: Mapping[str, ArrayLike],
        rate: float,
        *,
        units: Mapping[str, str] | str = "",
        start: float = 0.0,
        name: str = "",
    ) -> Recording:
        """Signals by name, sampled together.

        Parameters
        ----------
        signals
            Shape (n) each.
        rate
            Samples in a second, Hz.
        units
            One for all, or one by name.
        start
            Time of the first sample, seconds.

        Raises
        ------
        HarmotrackError
            A signal is no row of numbers, or the rate is not above 0.
        """
        check_type("value of signals", signals, Mapping, "arrays by name")
        return cls(
            tuple(
                Channel(
                    key,
                    numbers_of(f"The samples of {key!r}", values),
                    rate,
                    units if isinstance(units, str) else units.get(key, ""),
                    start,
                )
                for key, values in signals.items()
            ),
            name,
        )

    def __getitem__(self, which: str | int) -> Channel:
        """A channel by its name, or by its number from 0; a HarmotrackError if there is none."""
        if isinstance(which, (int, np.integer)):
            if -len(self.channels) <= which < len(self.channels):
                return self.channels[which]
        else:
            for channel in self.channels:
                if channel.name == which:
                    return channel
        raise HarmotrackError(
            f"There is no channel {which!r}; {self.name or 'the recording'} has "
            f"{', '.join(repr(channel.name) for channel in self.channels)}."
        )

    def __iter__(self) -> Iterator[Channel]:
        return iter(self.channels)

    def __len__(self) -> int:
        return len(self.channels)

    @property
    def names(self) -> tuple[str, ...]:
        """Of the channels, in their order."""
        return tuple(channel.name for channel in self.channels)

    def select(self, which: Iterable[str | int]) -> Recording:
        """The channels of some names or numbers, in that order."""
        return replace(self, channels=tuple(self[one] for one in which))

    def without(self, *names: str) -> Recording:
        """All channels and pulses but those of some names."""
        return replace(
            self,
            channels=tuple(c for c in self.channels if c.name not in names),
            pulses=tuple(p for p in self.pulses if p.name not in names),
        )

    def scaled(self, scales: Mapping[str | int, tuple[float, str]]) -> Recording:
        """Channels in other units: {"x": (25.0, "mm/s")} multiplies x by 25."""
        changed = {self[which].name: scale for which, scale in scales.items()}
        return replace(
            self,
            channels=tuple(
                channel.scaled(*changed[channel.name]) if channel.name in changed else channel
                for channel in self.channels
            ),
        )

    def to_dataset(self) -> Any:
        """As an xarray data set: one variable a channel, shape (n), over the time in seconds.

        Raises HarmotrackError if there are no channels, or they are not sampled together.
        """
        import xarray as xr

        if not self.channels:
            raise HarmotrackError(f"The recording {self.name} has no channels.")
        if not all(channel.sampled_with(self.channels[0]) for channel in self.channels):
            raise HarmotrackError("The channels have different rates, so they share no time axis.")
        return xr.Dataset(
            {c.name: ("time", c.samples, {"units": c.unit}) for c in self.channels},
            coords={"time": ("time", self.channels[0].times, {"units": "s"})},
            attrs={"title": self.name},
        )

    def __repr__(self) -> str:
        lines = [f"<Recording {self.name!r}"]
        lines += [f"  {one!r}" for one in (*self.channels, *self.pulses)]
        if self.constant_rpm is not None:
            lines.append(f"  at {self.constant_rpm:g} rpm")
        lines += [f"  note: {note}" for note in self.notes]
        return "\n".join(lines) + ">"
