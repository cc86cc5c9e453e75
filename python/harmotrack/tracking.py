"""The speed of a machine from one of its signals, without a tacho."""

from __future__ import annotations

from collections.abc import Callable, Iterable
from dataclasses import dataclass, replace
from os import PathLike
from pathlib import Path
from typing import TYPE_CHECKING

import numpy as np

from harmotrack.checks import check_type, numbers_of
from harmotrack.errors import HarmotrackError
from harmotrack.native import _native
from harmotrack.recording import RECORDING_OR_PATH, Recording
from harmotrack.settings import check_number
from harmotrack.speed import Speed

if TYPE_CHECKING:
    import pandas as pd
    import xarray as xr
    from matplotlib.axes import Axes
    from numpy.typing import NDArray

#: Valid estimates no further apart than this many blocks, or seconds, are one stretch.
_GAP_BLOCKS = 4
_GAP_SECONDS = 1.0


@dataclass(frozen=True, eq=False)
class Track:
    """What tracking found: one estimate a block, at the middle of the block.

    Attributes
    ----------
    seconds, rpm
        Shape (n); the speed is 0 where there is no estimate.
    valid
        Shape (n): whether the estimate is to be believed.
    explained
        Shape (n): share of the block's energy that the orders explain at that speed, 0 to 1.
    lost
        Stretches without a valid estimate: from and to, seconds.
    """

    channel: str
    orders: tuple[float, ...]
    seconds: NDArray[np.float64]
    rpm: NDArray[np.float64]
    valid: NDArray[np.bool_]
    explained: NDArray[np.float64]
    lost: tuple[tuple[float, float], ...]

    @property
    def speed(self) -> Speed:
        """The shaft as the valid estimates tell it, with a segment for each stretch that they
        cover. It has no mark: the angle of each begins at 0.

        Raises HarmotrackError if no two valid estimates follow each other.
        """
        source = f"tracking of {self.channel!r}, {self.summary}"
        if not self.valid.any():
            raise HarmotrackError(f"The speed can't be told from {self.channel!r}: {self.summary}.")
        return replace(speed_of_estimates(self.seconds, self.rpm, self.valid), source=source)

    @property
    def summary(self) -> str:
        """In words."""
        if not self.valid.any():
            return "nothing was found"
        speeds = self.rpm[self.valid]
        return (
            f"{speeds.min():.0f} to {speeds.max():.0f} rpm, "
            f"{100.0 * self.valid.mean():.0f} % of {self.valid.size} estimates valid"
        )

    @property
    def profile(self) -> xr.DataArray:
        """The valid estimates: rpm over the time in seconds, shape (valid)."""
        import xarray as xr

        return xr.DataArray(
            self.rpm[self.valid],
            dims="time",
            coords={"time": ("time", self.seconds[self.valid], {"units": "s"})},
            attrs={"long_name": "Speed", "units": "rpm"},
            name="speed",
        )

    def table(self) -> pd.DataFrame:
        """All estimates: columns time_s, speed_rpm, valid (0 or 1) and explained."""
        import pandas as pd

        return pd.DataFrame(
            {
                "time_s": self.seconds,
                "speed_rpm": self.rpm,
                "valid": self.valid.astype(int),
                "explained": self.explained,
            }
        )

    def plot(self, *, axes: Axes | None = None) -> Axes:
        """The speed over time, with the estimates that are not to be believed in grey."""
        from harmotrack.plots import tracked

        return tracked(self, axes=axes)


def speed_of_estimates(
    seconds: NDArray[np.float64], rpm: NDArray[np.float64], valid: NDArray[np.bool_]
) -> Speed:
    """The speed as the valid ones of some estimates tell it, shape (n) each.

    Raises HarmotrackError if no two valid estimates follow each other.
    """
    hop = float(seconds[1] - seconds[0]) if seconds.size > 1 else 0.0
    gap = max(_GAP_SECONDS, _GAP_BLOCKS * hop)
    return Speed.from_profile(seconds[valid], rpm[valid], longest_gap=gap)


def track(
    recording: Recording | str | Path,
    *,
    min_rpm: float,
    max_rpm: float,
    orders: Iterable[float] = (1.0, 2.0),
    channel: str | int | None = None,
    block_seconds: float = 0.0,
    least_explained: float = 0.1,
    progress: Callable[[float], object] | None = None,
) -> Track:
    """Tracks the speed of a machine by the orders that it shows in a signal.

    Parameters
    ----------
    recording
        Or the path of one that read() can read.
    min_rpm, max_rpm
        The range that is searched, as narrow as it is known.
    orders
        That the machine really shows: at least two that stand out, without a common divisor.
    channel
        By default the first one.
    block_seconds
        Length of a block; 0 chooses it. Shorter blocks follow faster changes, longer ones stand
        more noise.
    least_explained
        Share of a block's energy that the orders must explain for an estimate to be valid, 0 to 1.
    progress
        Called now and then with the share that is done, 0 to 1; what it raises ends the tracking.

    Returns
    -------
    Track

    Each block's spectrum is compared with the orders at all speeds of the range: the speed at which
    they explain most of its energy, by least squares, is the estimate. The best rows of estimates
    are then followed forward and backward.

    Raises
    ------
    HarmotrackError
        What is wrong with the recording or an option: orders that all are multiples of one, a
        signal shorter than a block, a sample that is not a finite number.
    """
    check_type("recording", recording, (Recording, str, PathLike), RECORDING_OR_PATH)
    if not isinstance(recording, Recording):
        from harmotrack.readers import read

        recording = read(recording)
    check_number("min_rpm", min_rpm, 0.0, 1e9, "rpm")
    check_number("max_rpm", max_rpm, min_rpm, 1e9, "rpm")
    if isinstance(orders, str) or not isinstance(orders, Iterable):
        raise HarmotrackError(f"The orders are {orders!r}, and they must be numbers, as (1, 2).")
    listed = tuple(numbers_of("The orders", [*orders]).tolist())
    signal = recording[0 if channel is None else channel]
    found = _native.track(
        signal.samples,
        signal.rate,
        signal.start,
        float(min_rpm),
        float(max_rpm),
        listed,
        float(block_seconds),
        float(least_explained),
        progress,
    )
    return Track(
        signal.name,
        listed,
        found.seconds,
        found.rpm,
        found.valid.astype(bool),
        found.explained,
        tuple(found.lost),
    )
