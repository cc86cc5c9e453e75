"""Whether time stamps are those of equal steps, rounded when they were printed or stored."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, NamedTuple

import numpy as np

if TYPE_CHECKING:
    from numpy.typing import NDArray

#: Stamps this near to equal steps, in steps, are equal ones whatever their digits.
_JITTER = 0.05
_EXACT = 1e-6  #: steps; at most so far off the grid, no digit was lost
_MOST_DECIMALS = 15
_MOST_CUTS = 50
_ROUNDING = 4.0 * np.finfo(float).eps  #: of a stamp, by a calculation or two


class Grid(NamedTuple):
    """Stamp k is start + k / rate."""

    rate: float
    start: float


def even_grid(stamps: NDArray[Any]) -> Grid | None:
    """Equal steps on which all stamps stand, in seconds; None if there are none.

    A stamp stands on the grid if it is within a twentieth of a step of it, or if the moment of the
    grid would be printed so, rounded or cut, with as many digits as the stamps have. Steps may be
    finer than the last of the digits. Of the rates that are possible a whole number wins.
    """
    if (exact := exact_grid(stamps)) is not None:
        return exact
    times = np.asarray(stamps, dtype=np.float64)
    if times.size < 2 or not np.isfinite(times).all() or times[-1] <= times[0]:
        return None
    quantum = _quantum(stamps) + _ROUNDING * np.abs(times)
    for below in (0.5, 0.0):  # rounded, or else cut
        bounds = _Bounds(times - below * quantum, times + (1.0 - below) * quantum)
        step = bounds.possible_step((times[-1] - times[0]) / (times.size - 1))
        if step is None:
            continue
        whole = round(1.0 / step)
        rate = float(whole) if whole > 0 and bounds.start(1.0 / whole) is not None else 1.0 / step
        # Else a row is there too often, or one is missing.
        start = bounds.start(1.0 / rate)
        if start is not None and (np.abs(np.diff(times) - 1.0 / rate) < _between(quantum)).all():
            return Grid(rate, float(times[0]) if bounds.hold(times[0], 1.0 / rate) else start)
    return _grid_from_ends(times, _JITTER)


def exact_grid(stamps: NDArray[Any]) -> Grid | None:
    """Equal steps on which all stamps stand as if no digit was lost; None if there are none."""
    return _grid_from_ends(np.asarray(stamps, dtype=np.float64), _EXACT)


def _grid_from_ends(times: NDArray[np.float64], tolerance: float) -> Grid | None:
    """The steps are those from the first stamp to the last, the tolerance is in steps."""
    if times.size < 2 or not np.isfinite(times).all() or times[-1] <= times[0]:
        return None
    rate = (times.size - 1) / (times[-1] - times[0])
    if np.abs(times - times[0] - np.arange(times.size) / rate).max() * rate > tolerance:
        return None
    return Grid(rounded_rate(rate), float(times[0]))


def rounded_rate(rate: float) -> float:
    """Stamps and steps are printed with six digits or so: 65535.95 Hz is 65536 Hz."""
    nearest = round(rate)
    return float(nearest) if nearest > 0 and abs(rate / nearest - 1.0) < 2e-6 else rate


class _Bounds:
    """Where the moment of each stamp may lie, shapes (n)."""

    def __init__(self, least: NDArray[np.float64], most: NDArray[np.float64]) -> None:
        self._least, self._most = least, most
        self._places = np.arange(least.size, dtype=np.float64)
        self._slack = 1e-6 * float((most - least).max()) + _ROUNDING * float(np.abs(most).max())

    def start(self, step: float) -> float | None:
        """Of a grid of such steps: the middle of what is possible."""
        least = float((self._least - self._places * step).max())
        most = float((self._most - self._places * step).min())
        return 0.5 * (least + most) if least <= most + self._slack else None

    def hold(self, start: float, step: float) -> bool:
        moments = start + self._places * step
        return bool(((self._least <= moments) & (moments <= self._most)).all())

    def possible_step(self, step: float) -> float | None:
        """Near ``step``, by cutting planes: the two stamps that contradict each other most bound
        the step from above or from below."""
        low, high = 0.0, np.inf
        for _ in range(_MOST_CUTS):
            i = int(np.argmax(self._least - self._places * step))
            j = int(np.argmin(self._most - self._places * step))
            if self._least[i] - i * step <= self._most[j] - j * step + self._slack:
                return step
            if i == j:
                return None
            bound = float((self._most[j] - self._least[i]) / (j - i))
            low, high = (low, min(high, bound)) if j > i else (max(low, bound), high)
            if low > high or high <= 0.0:
                return None
            step = 0.5 * (low + high) if low > 0.0 and np.isfinite(high) else bound
        return None


def _between(quantum: NDArray[np.float64]) -> NDArray[np.float64]:
    """How much less than this the distance of two neighbours is off the step."""
    return np.maximum(quantum[1:], quantum[:-1]) * (1.0 - 1e-6)


def _quantum(stamps: NDArray[Any]) -> NDArray[np.float64]:
    """What the last digit of each stamp is worth: as many decimals as the stamps of its decade
    show, or the distance of two numbers of single precision."""
    if stamps.dtype == np.float32:
        return np.spacing(np.abs(stamps)).astype(np.float64)
    times = np.abs(np.asarray(stamps, dtype=np.float64))
    decade = np.full(times.shape, -_MOST_DECIMALS)
    above = times > 10.0**-_MOST_DECIMALS
    decade[above] = np.floor(np.log10(times[above]))
    decades, which = np.unique(decade, return_inverse=True)
    worth = np.array([10.0 ** -_decimals(times[which == k]) for k in range(decades.size)])
    # Numbers of more places before the point have no more behind it, and with a fixed number of
    # digits ten times fewer: what a decade of few stamps shows is held against the others.
    worth = np.minimum.accumulate(worth[::-1])[::-1]
    for k in range(1, worth.size):
        worth[k] = min(worth[k], worth[k - 1] * 10.0 ** (decades[k] - decades[k - 1]))
    return np.where(worth > 10.0**-_MOST_DECIMALS, worth, 0.0)[which]


def _decimals(values: NDArray[np.float64]) -> int:
    """As many as all values need."""
    for decimals in range(_MOST_DECIMALS):
        shifted = values * 10.0**decimals
        error = np.maximum(1e-9, _ROUNDING * shifted)
        if error.max() > 0.1:
            break
        if (np.abs(shifted - np.round(shifted)) <= error).all():
            return decimals
    return _MOST_DECIMALS
