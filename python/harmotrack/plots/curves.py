"""Amplitudes, phases and levels over the speed."""

from __future__ import annotations

from collections.abc import Iterable
from typing import TYPE_CHECKING

import matplotlib.pyplot as plt
import numpy as np
import xarray as xr
from matplotlib.ticker import MultipleLocator

from harmotrack.amplitudes import LEAST_COHERENCE, phasors
from harmotrack.errors import HarmotrackError
from harmotrack.plots.style import Scale, axes_or_new, order_name, titled

if TYPE_CHECKING:
    from matplotlib.axes import Axes
    from numpy.typing import NDArray

    from harmotrack.order_analysis import Channel, OrderAnalysis
    from harmotrack.tracking import Track
    from harmotrack.two_passes import TwoPasses

_PHASE_REFERENCES = {"cosine": "a maximum", "sine": "a rising zero"}


def extracted(analysis: OrderAnalysis, channel: str, order: float) -> xr.Dataset:
    """One extracted order at the measured speeds: ``phasor``, the amplitude with the phase as a
    complex number; ``amplitude``, ``slice``; and ``steady``, whether its phase says something."""
    known = analysis.harmonics["harmonic"].values
    near = np.flatnonzero(np.isclose(known, order))
    if near.size == 0:
        raise HarmotrackError(
            f"The {order_name(order)} was not extracted; the orders are "
            f"{', '.join(f'{one:g}' for one in known)}."
        )
    cut = xr.Dataset(
        {
            "phasor": phasors(analysis),
            "amplitude": analysis.order_amplitudes,
            "slice": analysis.order_slices,
            "steady": analysis.coherence >= LEAST_COHERENCE,
        }
    )
    return cut.sel(channel=channel).isel(harmonic=near[0], speed=analysis.measured)


def orders(
    analysis: OrderAnalysis,
    channel: Channel = None,
    *,
    axes: Axes | None = None,
    orders: Iterable[float] | None = None,
    slices: bool = False,
    db: bool = False,
    reference: float | None = None,
) -> Axes:
    """The amplitudes of extracted orders over the speed.

    Parameters
    ----------
    orders
        Of those extracted; by default all.
    slices
        The amplitudes of all that lies round each order (order_slices) instead.
    db, reference
        Levels over a reference in the channel's unit, instead of amplitudes.
    """
    axes = axes_or_new(axes, (8.0, 5.0))
    name = analysis.channel(channel)
    scale = Scale(analysis.attrs["amplitude"], analysis.unit(name), db, reference)
    _draw_orders(axes, analysis, name, orders, slices, scale)
    return axes


def orders_of_passes(
    passes: TwoPasses,
    channel: Channel = None,
    *,
    axes: Axes | None = None,
    orders: Iterable[float] | None = None,
    slices: bool = False,
    db: bool = False,
    reference: float | None = None,
) -> Axes:
    """The same of both passes: rising drawn through, falling dashed in the same colours."""
    axes = axes_or_new(axes, (8.0, 5.0))
    name = passes.rising.channel(channel)
    wanted = None if orders is None else [*orders]
    scale = Scale(passes.rising.attrs["amplitude"], passes.rising.unit(name), db, reference)
    for style, (which, analysis) in zip(
        ("-", "--"), (("rising", passes.rising), ("falling", passes.falling)), strict=True
    ):
        axes.set_prop_cycle(None)
        _draw_orders(axes, analysis, name, wanted, slices, scale, style, f", {which}")
    return axes


def _draw_orders(
    axes: Axes,
    analysis: OrderAnalysis,
    name: str,
    orders: Iterable[float] | None,
    slices: bool,
    scale: Scale,
    style: str = "-",
    suffix: str = "",
) -> None:
    known = analysis.order_amplitudes["harmonic"].values
    chosen = known if orders is None else [*orders]
    for order in chosen:
        cut = extracted(analysis, name, float(order))
        values = cut["slice" if slices else "amplitude"].values
        label = f"{order_name(float(order))}{suffix}"
        axes.plot(cut["speed"].values, scale.of(values), style, label=label)
    if slices:
        axes.legend(title=f"± {0.5 * analysis.order_slices.attrs['width']:g} orders")
    elif len(chosen) > 0:
        axes.legend()
    _over_speed(axes, scale.label)
    titled(axes, analysis.title, name)


def bode(
    analysis: OrderAnalysis,
    channel: Channel = None,
    *,
    axes: tuple[Axes, Axes] | None = None,
    order: float | None = None,
) -> NDArray[np.object_]:
    """Phase above, amplitude below. The phase is unwrapped, so a resonance shows as its fall: half
    a turn from far below to far above it.

    Where neighbouring speeds differ by less than a quarter turn throughout, the picture says by how
    much the phase turns from the first speed to the last. Phases whose coherence is below 0.7 are
    left out; the amplitude holds there too.

    Parameters
    ----------
    axes
        Two, for phase and amplitude.
    order
        One of those extracted; by default the first one.
    """
    name = analysis.channel(channel)
    cut = extracted(analysis, name, _first(analysis, order))
    if axes is None:
        _, (above, below) = plt.subplots(
            2, 1, figsize=(8.0, 6.0), sharex=True, layout="constrained", height_ratios=(2, 3)
        )
    else:
        above, below = axes
    _draw_phases(above, cut)
    reference = _PHASE_REFERENCES[analysis.harmonics.attrs["phase_reference"]]
    mark = "at the mark" if analysis.attrs.get("has_mark") else "against order 1"
    above.set_ylabel(f"Phase in degrees,\n0: {reference} {mark}")
    above.grid(alpha=0.4)
    scale = Scale(analysis.harmonics.attrs["amplitude"], analysis.unit(name), db=False)
    below.plot(cut["speed"].values, cut["amplitude"].values, color="tab:blue")
    below.set_ylim(bottom=0.0)
    _over_speed(below, scale.label)
    titled(above, analysis.title, name, order_name(float(cut["harmonic"])))
    return np.array([above, below], dtype=object)


def _draw_phases(axes: Axes, cut: xr.Dataset) -> None:
    """The steady ones; a gap, and a word on it, where others were measured."""
    steady = cut["steady"].values
    speeds = cut["speed"].values
    phases = np.full(speeds.size, np.nan)
    phases[steady] = unwrapped_degrees(cut["phasor"].values[steady])
    axes.plot(speeds, phases, color="tab:red", marker=None if steady.all() else ".")
    _phase_axis(axes, phases[steady])
    said = []
    if steady.sum() > 1 and np.abs(np.diff(phases[steady])).max() < 90.0:
        first, last = np.flatnonzero(steady)[[0, -1]]
        turn = round(phases[last] - phases[first])
        said.append(f"turns by {turn}° from {speeds[first]:.0f} to {speeds[last]:.0f} rpm")
    if not steady.all():
        said.append(f"not steady at {np.sum(~steady)} of {steady.size} speeds: left out there")
    if not said:
        return
    axes.annotate(
        "\n".join(said),
        (0.99, 0.95),
        xycoords="axes fraction",
        ha="right",
        va="top",
        fontsize="small",
    )


def _phase_axis(axes: Axes, phases: NDArray[np.float64]) -> None:
    """Whole quarter turns, at least one; marks every eighth, unless the phase turns on and on."""
    if phases.size == 0:
        return
    least = 90.0 * np.floor(phases.min() / 90.0)
    most = max(90.0 * np.ceil(phases.max() / 90.0), least + 90.0)
    axes.set_ylim(least, most)
    axes.yaxis.set_major_locator(MultipleLocator(45.0 if most - least <= 360.0 else 90.0))


def unwrapped_degrees(values: NDArray[np.complexfloating]) -> NDArray[np.float64]:
    """Phases without jumps, degrees, shape (n), of which the middle one lies within -180 to 180."""
    if values.size == 0:
        return np.empty(0)
    phases = np.degrees(np.unwrap(np.angle(values.astype(np.complex128))))
    return np.asarray(phases - 360.0 * np.round(np.median(phases) / 360.0))


def polar(
    analysis: OrderAnalysis,
    channel: Channel = None,
    *,
    axes: Axes | None = None,
    order: float | None = None,
    marks: int = 8,
) -> Axes:
    """Amplitude as radius, phase as angle, counted counter-clockwise; numbers are speeds in rpm.
    The curve is faint where the coherence of the phase is below 0.7.

    Parameters
    ----------
    order
        One of those extracted; by default the first one.
    marks
        How many speeds are named, at equal distances along the curve.
    """
    name = analysis.channel(channel)
    cut = extracted(analysis, name, _first(analysis, order))
    axes = axes_or_new(axes, (6.5, 6.5), projection="polar")
    values, steady = cut["phasor"].values, cut["steady"].values
    angles, radii = np.angle(values), np.abs(values)
    axes.plot(angles, np.where(steady, radii, np.nan), color="tab:blue")
    if not steady.all():
        axes.plot(angles, radii, color="tab:blue", linewidth=0.8, alpha=0.25)
    for k in np.flatnonzero(steady)[_evenly_along(values[steady], marks)]:
        axes.plot(angles[k], radii[k], ".", color="tab:blue")
        axes.annotate(
            f"{cut['speed'].values[k]:.0f}",
            (angles[k], radii[k]),
            (4, 4),
            textcoords="offset points",
            fontsize="x-small",
        )
    scale = Scale(analysis.harmonics.attrs["amplitude"], analysis.unit(name), db=False)
    axes.set_xlabel(f"{scale.label}; phase in degrees")
    titled(axes, analysis.title, name, order_name(float(cut["harmonic"])))
    return axes


def _evenly_along(values: NDArray[np.complexfloating], count: int) -> list[int]:
    """Indices of points at about equal distances along a curve."""
    if values.size < 2:
        return list(range(values.size))
    length = np.concatenate([[0.0], np.cumsum(np.abs(np.diff(values)))])
    targets = np.linspace(0.0, length[-1], count)
    return [
        int(k) for k in np.unique(np.clip(np.searchsorted(length, targets), 0, values.size - 1))
    ]


def _first(analysis: OrderAnalysis, order: float | None) -> float:
    if order is not None:
        return order
    known = analysis.harmonics["harmonic"].values
    if known.size == 0:
        raise HarmotrackError("No orders were extracted, so there is none to be drawn.")
    return float(known[0])


def overall(
    analysis: OrderAnalysis,
    channel: Channel = None,
    *,
    axes: Axes | None = None,
    db: bool = False,
    reference: float | None = None,
) -> Axes:
    """The RMS of all that a block holds, over the speed; in dB over a reference if asked for."""
    name = analysis.channel(channel)
    axes = axes_or_new(axes, (8.0, 4.0))
    level = analysis.overall.sel(channel=name).dropna("speed")
    scale = Scale("rms", analysis.unit(name), db, reference)
    axes.plot(level["speed"].values, scale.of(level.values), color="black")
    _over_speed(axes, scale.labelled("Overall level"))
    titled(axes, analysis.title, name)
    return axes


def speed(analysis: OrderAnalysis, *, axes: Axes | None = None) -> Axes:
    """The speed of the shaft over the time, once a turn; a gap where it is not known."""
    axes = axes_or_new(axes, (8.0, 3.5))
    times, rpm = analysis.speed_profile["time"].values, analysis.speed_profile.values
    gaps = np.flatnonzero(_is_gap(times, rpm)) + 1
    axes.plot(
        np.insert(times, gaps, np.nan), np.insert(rpm, gaps, np.nan), color="black", linewidth=1.0
    )
    axes.set_xlabel("Time in s")
    axes.set_ylabel("Speed in rpm")
    axes.grid(alpha=0.4)
    titled(axes, analysis.title, str(analysis.attrs.get("speed_source", "")))
    return axes


def _is_gap(times: NDArray[np.float64], rpm: NDArray[np.float64]) -> NDArray[np.bool_]:
    """Between which values lie many more turns than between the others."""
    if times.size < 3:
        return np.zeros(max(times.size - 1, 0), dtype=bool)
    turns = np.diff(times) * (rpm[1:] + rpm[:-1]) / 120.0
    return np.asarray(turns > 4.0 * max(float(np.median(turns)), 1.0))


def tracked(track: Track, *, axes: Axes | None = None) -> Axes:
    """The estimates; those that are not to be believed in grey."""
    axes = axes_or_new(axes, (8.0, 3.5))
    doubtful = ~track.valid & (track.rpm > 0.0)
    axes.plot(track.seconds[doubtful], track.rpm[doubtful], ".", color="0.75", label="doubtful")
    believed = np.where(track.valid, track.rpm, np.nan)
    axes.plot(track.seconds, believed, color="tab:blue", label="valid")
    axes.legend()
    axes.set_xlabel("Time in s")
    axes.set_ylabel("Speed in rpm")
    axes.grid(alpha=0.4)
    titled(axes, track.channel, track.summary)
    return axes


def _over_speed(axes: Axes, label: str) -> None:
    axes.set_xlabel("Speed in rpm")
    axes.set_ylabel(label)
    axes.grid(alpha=0.4)
