"""Amplitudes of orders whatever the phases of their blocks, and how steady those phases were.

The means of harmonics are complex: blocks whose phases differ cancel each other, as those of an
order between two lines do, or of a speed that is not quite right. So the amplitude of an order is
read from its lines of the order map, which are means of moduli, and the phase from the complex
mean; their ratio, the coherence, says how far that phase is to be believed.
"""

from __future__ import annotations

from fractions import Fraction
from typing import TYPE_CHECKING

import numpy as np
import xarray as xr

from harmotrack.native import _native
from harmotrack.settings import WINDOW_NUMBERS, WINDOWS, check_choice

if TYPE_CHECKING:
    from numpy.typing import ArrayLike, NDArray

    from harmotrack.order_analysis import OrderAnalysis

#: Below it the phase of a complex mean is not shown.
LEAST_COHERENCE: float = _native.LEAST_COHERENCE

_AXES = ("channel", "harmonic", "speed")
_ON_A_LINE = 0.01  #: of a line's distance
_LEAST_ABOVE_NOISE = 4.0  #: of the median line, for an order whose phase is looked at
_MOST_REVOLUTIONS = 1000  #: of a block


def band_amplitudes(
    spectra: ArrayLike, orders: ArrayLike, order: float, window: str, reach: float | None = None
) -> NDArray[np.float32]:
    """The root of the energy of all lines round an order, over the noise bandwidth of the window.

    Parameters
    ----------
    spectra
        Shape (..., orders): amplitudes.
    orders
        Shape (orders), rising from 0.
    reach
        To either side, in orders; by default that of the window's main lobe, no more than a quarter
        of an order: a sine on a line reads its own amplitude, and one between two lines too.

    Returns
    -------
    Shape (...), in the unit and the convention of the spectra; NaN where they are.

    Raises HarmotrackError if there is no such window.
    """
    axis = np.ascontiguousarray(orders, dtype=np.float64)
    rows = np.ascontiguousarray(spectra, dtype=np.float32)
    check_choice("window", window, WINDOWS)
    number = WINDOW_NUMBERS[window]
    if reach is None:
        reach = _native.reach_of_order(number, line_distance(axis))
    flat = rows.reshape(-1, axis.size)
    values = _native.band_amplitudes(flat, axis, float(order), float(reach), number)
    return np.asarray(values).reshape(rows.shape[:-1])


def line_distance(axis: NDArray[np.float64]) -> float:
    """The distance of two lines; 0 of an axis that has only one."""
    return float((axis[-1] - axis[0]) / (axis.size - 1)) if axis.size > 1 else 0.0


def coherence_of(
    harmonics: NDArray[np.complex64], amplitudes: NDArray[np.float32]
) -> NDArray[np.float32]:
    """The modulus of the complex mean over the amplitude: 1 of phases that agree, near 0 of phases
    that cancel, NaN where nothing was measured or nothing sounds."""
    with np.errstate(divide="ignore", invalid="ignore"):
        ratio = np.abs(harmonics) / amplitudes
    return np.where(amplitudes > 0.0, np.minimum(ratio, 1.0), np.nan).astype(np.float32)


def with_amplitudes(dataset: xr.Dataset) -> xr.Dataset:
    """Results with ``order_amplitudes`` and ``coherence``, out of their map and harmonics."""
    spectra, orders = dataset["order_map"].values, dataset["order"].values
    amplitudes = np.empty([dataset.sizes[axis] for axis in _AXES], dtype=np.float32)
    for k, order in enumerate(dataset["harmonic"].values):
        amplitudes[:, k] = band_amplitudes(spectra, orders, order, dataset.attrs["window"])
    coherence = coherence_of(dataset["harmonics"].values, amplitudes)
    for values in (amplitudes, coherence):
        values.flags.writeable = False
    attrs = {**dataset["order_map"].attrs, "long_name": "Amplitude of order"}
    return dataset.assign(
        order_amplitudes=(_AXES, amplitudes, attrs),
        coherence=(_AXES, coherence, {"long_name": "Coherence of phase", "units": "1"}),
    )


def phasors(analysis: OrderAnalysis) -> xr.DataArray:
    """Shape (channels, harmonics, speeds): the amplitudes of orders, with the phases of their
    complex means. Where ``coherence`` is below LEAST_COHERENCE the phase says nothing."""
    turned = np.exp(1j * np.angle(analysis.harmonics.values.astype(np.complex128)))
    return analysis.harmonics.copy(data=analysis.order_amplitudes.values * turned)


def phase_remarks(analysis: OrderAnalysis) -> list[str]:
    """Sentences on orders that stand on no line, and on those whose phases are not steady."""
    resolution = float(analysis.order_map.attrs["resolution"])
    remarks = []
    for order in (float(one) for one in analysis.harmonics["harmonic"].values):
        lines = order / resolution if resolution > 0 else 0.0
        if abs(lines - round(lines)) > _ON_A_LINE:
            remarks.append(_between_lines(order, resolution))
        remarks += _unsteady(analysis, order)
    return remarks


def _between_lines(order: float, resolution: float) -> str:
    revolutions = Fraction(order).limit_denominator(_MOST_REVOLUTIONS).denominator
    finer = f"; order_resolution={1.0 / revolutions:.6g} has one at it" if revolutions > 1 else ""
    return (
        f"Order {order:g} stands between two order lines, {resolution:.3g} apart: its amplitude is "
        f"read from those round it, and its phase from the nearest{finer}."
    )


def _unsteady(analysis: OrderAnalysis, order: float) -> list[str]:
    """Where an order that stands out of the noise has no steady phase at most of its speeds."""
    remarks = []
    advice = _advice(analysis)
    for channel in analysis.channels:
        chosen = {"channel": channel, "harmonic": order}
        noise = np.median(analysis.order_map.sel(channel=channel).values, axis=1)
        amplitudes = analysis.order_amplitudes.sel(chosen).values
        seen = amplitudes > _LEAST_ABOVE_NOISE * noise
        low = seen & (analysis.coherence.sel(chosen).values < LEAST_COHERENCE)
        if 2 * low.sum() > seen.sum():
            remarks.append(
                f"Order {order:g} of {channel!r} has no steady phase at {low.sum()} of "
                f"{seen.sum()} speeds (coherence below {LEAST_COHERENCE:g}): its amplitudes hold, "
                f"its phases say nothing there; {advice}."
            )
    return remarks


def _advice(analysis: OrderAnalysis) -> str:
    if not analysis.attrs.get("has_mark", 1):
        return "what turns with the shaft would get one by a tacho"
    return "the order map shows at which order it really stands"
