"""Signals with their units, rates and starts."""

from __future__ import annotations

from collections.abc import Iterable, Iterator, Mapping
from dataclasses import dataclass, replace
from typing import TYPE_CHECKING, Any

import numpy as np

from harmotrack.errors import HarmotrackError

if TYPE_CHECKING:
    from numpy.typing import ArrayLike, NDArray


@dataclass(frozen=True, eq=False)
class Channel:
    """One signal: sample k was taken at start + k / rate.

    Parameters
    ----------
    samples
        Shape (n); kept as read-only float64, without a copy if they are.
    rate
        Samples in a second, Hz.
    start
        Time of the first sample, seconds.
    """

    name: str
    samples: NDArray[np.float64]
    rate: float
    unit: str = ""
    start: float = 0.0

    def __post_init__(self) -> None:
        samples = np.ascontiguousarray(self.samples, dtype=np.float64)
        if samples.ndim != 1 or samples.size == 0:
            raise HarmotrackError(
                f"The samples of {self.name!r} have the shape {samples.shape}, and they must be "
                "a row of at least one."
            )
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
    def duration(self) -> float:
        """Seconds that the samples stand for."""
        return self.samples.size / self.rate

    @property
    def times(self) -> NDArray[np.float64]:
        """Seconds of each sample."""
        return self.start + np.arange(self.samples.size) / self.rate

    def scaled(self, factor: float, unit: str | None = None) -> Channel:
        """The channel in another unit."""
        return replace(
            self, samples=self.samples * factor, unit=self.unit if unit is None else unit
        )

    def sampled_with(self, other: Channel) -> bool:
        """Whether both have the same rate, start and length."""
        return (self.rate, self.start, self.samples.size) == (
            other.rate,
            other.start,
            other.samples.size,
        )

    def __repr__(self) -> str:
        return (
            f"Channel({self.name!r}, {self.samples.size} samples at {self.rate:g} Hz"
            f"{f' in {self.unit}' if self.unit else ''})"
        )


@dataclass(frozen=True, eq=False)
class Recording:
    """Channels that were taken together, on one time axis; their rates may differ.

    ``notes`` are sentences about what was found and mended on the way in.
    """

    channels: tuple[Channel, ...]
    name: str = ""
    notes: tuple[str, ...] = ()

    def __post_init__(self) -> None:
        object.__setattr__(self, "channels", tuple(self.channels))
        object.__setattr__(self, "notes", tuple(self.notes))
        if not self.channels:
            raise HarmotrackError(f"The recording {self.name} has no channels.")
        names = [channel.name for channel in self.channels]
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
        """Signals by name, sampled together. ``units`` is one for all or one by name."""
        return cls(
            tuple(
                Channel(
                    key,
                    np.asarray(values, dtype=np.float64),
                    rate,
                    units if isinstance(units, str) else units.get(key, ""),
                    start,
                )
                for key, values in signals.items()
            ),
            name,
        )

    def __getitem__(self, which: str | int) -> Channel:
        """A channel by its name, or by its number from 0."""
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
        return tuple(channel.name for channel in self.channels)

    def select(self, which: Iterable[str | int]) -> Recording:
        return replace(self, channels=tuple(self[one] for one in which))

    def without(self, *names: str) -> Recording:
        return replace(self, channels=tuple(c for c in self.channels if c.name not in names))

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
        """As an xarray data set: one variable a channel, over the time in seconds."""
        import xarray as xr

        if not all(channel.sampled_with(self.channels[0]) for channel in self.channels):
            raise HarmotrackError("The channels have different rates, so they share no time axis.")
        return xr.Dataset(
            {c.name: ("time", c.samples, {"units": c.unit}) for c in self.channels},
            coords={"time": ("time", self.channels[0].times, {"units": "s"})},
            attrs={"title": self.name},
        )

    def __repr__(self) -> str:
        lines = [f"<Recording {self.name!r}"]
        lines += [f"  {channel!r}" for channel in self.channels]
        lines += [f"  note: {note}" for note in self.notes]
        return "\n".join(lines) + ">"
