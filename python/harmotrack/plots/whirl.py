"""The motion of a shaft in the plane of two channels."""

from __future__ import annotations

from collections.abc import Iterable
from typing import TYPE_CHECKING

import numpy as np

from harmotrack.errors import HarmotrackError
from harmotrack.plots.curves import extracted
from harmotrack.plots.maps import draw_map
from harmotrack.plots.style import COLOURS, Scale, axes_or_new, order_name, plain, titled

if TYPE_CHECKING:
    import xarray as xr
    from matplotlib.axes import Axes

    from harmotrack.order_analysis import OrderAnalysis


def _pair(analysis: OrderAnalysis) -> tuple[str, str]:
    if analysis.directional is None:
        raise HarmotrackError(
            "There is no directional spectrum: name the two channels of the plane "
            "(directional=) in the analysis."
        )
    return str(analysis.attrs["directional_x"]), str(analysis.attrs["directional_y"])


def full_spectrum(
    analysis: OrderAnalysis,
    *,
    axes: Axes | None = None,
    speed: float | None = None,
    db: bool = True,
    reference: float | None = None,
    highest_order: float | None = 10.0,
    colours: str = COLOURS,
    limits: tuple[float, float] | None = None,
) -> Axes:
    """Radii of the circles that make up the motion, over order and speed; forward orders stand at
    the right.

    Parameters
    ----------
    speed
        Draws one spectrum instead: that at the measured speed next to it, rpm.
    highest_order
        Up to which is drawn to either side; None draws all.
    db, reference, colours, limits
        As in order_map().
    """
    pair = _pair(analysis)
    most = None if highest_order is None else float(highest_order)
    least = None if most is None else -most
    assert analysis.directional is not None
    values = analysis.directional.sel(directional_order=slice(least, most))
    axes = axes_or_new(axes, (9.0, 6.0))
    scale = Scale(values.attrs["amplitude"], str(values.attrs.get("units", "")), db, reference)
    if speed is None:
        draw_map(axes, values, "directional_order", scale, colours, limits, "Radius")
        axes.axvline(0.0, color="white", linewidth=0.6)
        axes.set_ylabel("Speed in rpm")
    else:
        row = values.dropna("speed", how="all").sel(speed=speed, method="nearest")
        axes.plot(values["directional_order"].values, scale.of(row.values), linewidth=1.0)
        axes.axvline(0.0, color="0.5", linewidth=0.6)
        axes.grid(alpha=0.4)
        axes.set_ylabel(scale.labelled("Radius"))
    axes.set_xlabel("backward  ←   Order   →  forward")
    at = "" if speed is None else f"{float(row['speed']):g} rpm"
    titled(axes, analysis.title, " / ".join(pair), at)
    return axes


def orbit(
    analysis: OrderAnalysis,
    *,
    axes: Axes | None = None,
    order: float | None = None,
    speeds: Iterable[float] | None = None,
) -> Axes:
    """x and y of one order over a whole cycle, at some speeds; by default at five, one of them that
    of the largest motion. The dot is the moment of the mark, and the cycle ends short of it, so the
    gap shows the sense of the motion.

    It needs phases of both channels against one angle (phase_mode "shaft"). Speeds at which the
    coherence of either is below 0.7 have no orbit.
    """
    x_name, y_name = _pair(analysis)
    if analysis.attrs.get("phase_mode") == "first-order":
        raise HarmotrackError(
            f"The phases of {x_name!r} and of {y_name!r} stand each against its own order 1, and "
            "say nothing of their orbit: take phase_mode='shaft' in the analysis."
        )
    known = analysis.harmonics["harmonic"].values
    wanted = float(known[0]) if order is None else order
    x = extracted(analysis, x_name, wanted)
    y = extracted(analysis, y_name, wanted)
    axes = axes_or_new(axes, (6.5, 6.5))
    phase = np.linspace(0.0, 2.0 * np.pi * 0.94, 200)
    for row in _rows(x, y, speeds):
        to_the_sides, upwards = (
            (complex(cut["phasor"].values[row]) * np.exp(1j * phase)).real for cut in (x, y)
        )
        (line,) = axes.plot(
            to_the_sides, upwards, label=f"{x['speed'].values[row]:.0f} rpm", linewidth=1.2
        )
        axes.plot(to_the_sides[0], upwards[0], "o", color=line.get_color())
    axes.set_aspect("equal", "datalim")
    axes.grid(alpha=0.4)
    if axes.lines:
        axes.legend()
    else:
        axes.text(0.5, 0.5, "no steady phase at any speed", transform=axes.transAxes, ha="center")
    axes.set_xlabel(_with_unit(x_name, analysis.unit(x_name)))
    axes.set_ylabel(_with_unit(y_name, analysis.unit(y_name)))
    convention = analysis.harmonics.attrs["amplitude"]
    titled(axes, analysis.title, order_name(wanted), f"{convention} amplitudes")
    return axes


def _with_unit(name: str, unit: str) -> str:
    return plain(f"{name} in {unit}" if unit else name)


def _rows(x: xr.Dataset, y: xr.Dataset, speeds: Iterable[float] | None) -> list[int]:
    measured = x["speed"].values
    if measured.size == 0:
        raise HarmotrackError("There is no orbit to be drawn: no speed was measured.")
    steady = np.flatnonzero(x["steady"].values & y["steady"].values)
    if steady.size == 0:
        return []
    if speeds is not None:
        return [int(steady[np.argmin(np.abs(measured[steady] - speed))]) for speed in speeds]
    size = x["amplitude"].values ** 2 + y["amplitude"].values ** 2
    largest = int(steady[np.argmax(size[steady])])
    evenly = steady[np.linspace(0, steady.size - 1, 5).round().astype(int)]
    return sorted({largest, *(int(k) for k in evenly[1:])})
