"""What all pictures share: axes, scales and the words on them."""

from __future__ import annotations

import re
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any

import matplotlib.pyplot as plt
import numpy as np

from harmotrack.decibels import CONVENTIONS, Decibels, decibels
from harmotrack.settings import check_number

if TYPE_CHECKING:
    from matplotlib.axes import Axes
    from numpy.typing import NDArray

COLOURS = "viridis"  #: of equal steps to the eye, in print and to the colour-blind too
UNMEASURED = "0.85"
DECIBELS_SHOWN = 60.0


@dataclass(frozen=True)
class Scale:
    """How amplitudes are drawn: linearly, or in dB over a reference in their own unit, by default
    that of decibels()."""

    amplitude: str
    unit: str
    db: bool
    reference: float | None = None

    @property
    def label(self) -> str:
        return self.labelled("Amplitude")

    def labelled(self, quantity: str) -> str:
        """What stands at an axis: quantity, convention, and unit or dB reference."""
        if self.db:
            return f"{quantity}, {plain(self._decibels.words)}"
        unit = f" in {plain(self.unit)}" if self.unit else ""
        return f"{quantity}{unit}, {CONVENTIONS[self.amplitude]}"

    def of(self, amplitudes: NDArray[Any]) -> NDArray[np.float64]:
        values = np.asarray(amplitudes, dtype=np.float64)
        if not self.db:
            return values
        with np.errstate(divide="ignore"):
            return np.asarray(20.0 * np.log10(values / self._decibels.zero))

    @property
    def _decibels(self) -> Decibels:
        return decibels(self.unit, self.amplitude, self.reference)


def axes_or_new(axes: Axes | None, size: tuple[float, float], **projection: Any) -> Axes:
    if axes is not None:
        return axes
    return plt.subplots(figsize=size, layout="constrained", subplot_kw=projection)[1]


def plain(text: str) -> str:
    """A text of the recording as it stands there: Matplotlib reads what two dollars enclose as a
    formula. Applied twice it changes nothing more."""
    return re.sub(r"(?<!\\)\$", r"\\$", text)


def titled(axes: Axes, *parts: str, pad: float | None = None) -> None:
    title = " – ".join(plain(part) for part in parts if part)
    axes.set_title(title, fontsize="medium", pad=pad)


def colour_limits(
    values: NDArray[np.float64], scale: Scale, limits: tuple[float, float] | None = None
) -> tuple[float, float]:
    """Those given; else from the largest value down to DECIBELS_SHOWN below it, or to the usual
    line if that is higher than it: what lies below says nothing."""
    if limits is not None:
        check_number("lower colour limit", limits[0], -1e300, 1e300)
        check_number("upper colour limit", limits[1], limits[0], 1e300)
        return limits
    finite = values[np.isfinite(values)]
    if finite.size == 0:
        return 0.0, 1.0
    largest = float(finite.max())
    if not scale.db:
        return 0.0, largest or 1.0
    usual = float(np.quantile(finite, 0.25))
    least = max(largest - DECIBELS_SHOWN, min(usual, largest - 30.0))
    return least, largest


def edges(centres: NDArray[np.float64]) -> NDArray[np.float64]:
    """The borders of cells round evenly spaced centres."""
    step = centres[1] - centres[0] if centres.size > 1 else max(abs(centres[0]) * 0.01, 1.0)
    return np.append(centres, centres[-1] + step) - 0.5 * step


def rows_of_time(
    times: NDArray[np.float64], rpm: NDArray[np.float64]
) -> tuple[NDArray[np.float64], NDArray[np.intp]]:
    """Borders of cells round blocks of equal turns, which stand at uneven times.

    Parameters
    ----------
    times, rpm
        Shape (n), rising: when the middle of each block's turns passed, and the speed there.

    Returns
    -------
    The borders, shape (cells + 1), and which block each cell shows, shape (cells); -1 of a gap,
    where blocks are missing. Two neighbours share the turns between them, half each, the speed
    running straight from one to the other.
    """
    if times.size < 2:
        return edges(times), np.arange(times.size)
    before, after, steps = rpm[:-1], rpm[1:], np.diff(times)
    turns = steps * (before + after) / 120.0
    hop = float(np.median(turns))
    root = np.sqrt(0.5 * (before**2 + after**2))
    shares = (before + after) / np.maximum(2.0 * (before + root), 1e-300)
    borders, cells = [times[0] - 30.0 * hop / rpm[0]], [0]
    for k in range(steps.size):
        if turns[k] > 1.5 * hop:
            borders += [times[k] + 30.0 * hop / before[k], times[k + 1] - 30.0 * hop / after[k]]
            cells.append(-1)
        else:
            borders.append(times[k] + shares[k] * steps[k])
        cells.append(k + 1)
    return np.array([*borders, times[-1] + 30.0 * hop / rpm[-1]]), np.array(cells)


def order_name(order: float) -> str:
    return f"order {order:g}"
