"""Amplitudes over two axes."""

from __future__ import annotations

from collections.abc import Iterable
from typing import TYPE_CHECKING

import matplotlib.pyplot as plt
import numpy as np

from harmotrack.errors import HarmotrackError
from harmotrack.plots.style import (
    COLOURS,
    UNMEASURED,
    Scale,
    axes_or_new,
    colour_limits,
    edges,
    rows_of_time,
    titled,
)

if TYPE_CHECKING:
    import xarray as xr
    from matplotlib.axes import Axes
    from numpy.typing import NDArray

    from harmotrack.order_analysis import Channel, OrderAnalysis


def order_map(
    analysis: OrderAnalysis,
    channel: Channel = None,
    *,
    axes: Axes | None = None,
    db: bool = True,
    reference: float | None = None,
    highest_order: float | None = None,
    colours: str = COLOURS,
    limits: tuple[float, float] | None = None,
) -> Axes:
    """Orders are vertical lines, resonances of the structure hyperbolas.

    Parameters
    ----------
    db, reference
        Levels over a reference in the channel's unit, or amplitudes. By default levels of pressures
        are those of their RMS re 20 µPa, whatever the convention of the amplitudes; of other units
        they are re 1.
    highest_order
        Up to which is drawn.
    colours, limits
        Matplotlib's name of the colour map, and the values at its ends, in dB or amplitude.
    """
    name = analysis.channel(channel)
    values = analysis.order_map.sel(channel=name, order=slice(None, highest_order))
    scale = Scale(values.attrs["amplitude"], analysis.unit(name), db, reference)
    axes = axes_or_new(axes, (9.0, 6.0))
    draw_map(axes, values, "order", scale, colours, limits)
    axes.set_ylabel("Speed in rpm")
    _name_orders(axes, analysis, name, values)
    return axes


def _name_orders(axes: Axes, analysis: OrderAnalysis, name: str, values: xr.DataArray) -> None:
    axes.set_xlabel("Order")
    titled(axes, analysis.title, name, f"order resolution {values.attrs['resolution']:.3g}")


def frequency_map(  # noqa: PLR0913 -- keywords
    analysis: OrderAnalysis,
    channel: Channel = None,
    *,
    axes: Axes | None = None,
    db: bool = True,
    reference: float | None = None,
    highest_frequency: float | None = None,
    rays: Iterable[float] | None = None,
    colours: str = COLOURS,
    limits: tuple[float, float] | None = None,
) -> Axes:
    """Orders are rays from the origin, resonances of the structure vertical lines.

    Parameters
    ----------
    highest_frequency
        Up to which is drawn, Hz; by default that of the highest order at the highest speed.
    rays
        Orders whose rays are drawn; by default those extracted.
    db, reference, colours, limits
        As in order_map().
    """
    name = analysis.channel(channel)
    if highest_frequency is None:
        highest_frequency = _interesting_frequency(analysis)
    values = analysis.frequency_map.sel(channel=name, frequency=slice(None, highest_frequency))
    axes = axes_or_new(axes, (9.0, 6.0))
    scale = Scale(values.attrs["amplitude"], analysis.unit(name), db, reference)
    draw_map(axes, values, "frequency", scale, colours, limits)
    frame = axes.axis()
    shown = analysis.harmonics["harmonic"].values if rays is None else np.asarray([*rays])
    for order in shown:
        if order > 0:
            _ray(axes, float(order), frame)
    axes.axis(frame)
    axes.set_xlabel("Frequency in Hz")
    axes.set_ylabel("Speed in rpm")
    resolution = values.attrs["resolution"]
    titled(axes, analysis.title, name, f"frequency resolution {resolution:.3g} Hz", pad=16.0)
    return axes


def order_spectrogram(
    analysis: OrderAnalysis,
    channel: Channel = None,
    *,
    axes: Axes | None = None,
    db: bool = True,
    reference: float | None = None,
    highest_order: float | None = None,
    colours: str = COLOURS,
    limits: tuple[float, float] | None = None,
) -> Axes:
    """Orders are vertical lines, time runs upwards; options as in order_map(). A block's cell spans
    the time of its turns, half of those that it shares with the next."""
    name = analysis.channel(channel)
    if analysis.order_spectrogram is None:
        raise HarmotrackError(
            "There is no order spectrogram: ask for it (row_overlap_percent=) in the analysis."
        )
    values = analysis.order_spectrogram.sel(channel=name, order=slice(None, highest_order))
    if values.size == 0:
        raise HarmotrackError("The recording is too short for an order spectrogram.")
    scale = Scale(values.attrs["amplitude"], analysis.unit(name), db, reference)
    axes = axes_or_new(axes, (9.0, 6.0))
    times, speeds = values["block_time"].values, values["block_speed"].values
    borders, blocks = rows_of_time(times, speeds)
    draw_map(axes, values, "order", scale, colours, limits, rows=(borders, blocks))
    axes.set_ylabel("Time in s")
    _name_orders(axes, analysis, name, values)
    return axes


def _interesting_frequency(analysis: OrderAnalysis) -> float:
    """That of the highest order at the highest speed: what lies above was not asked for."""
    speeds = analysis.order_map["speed"].values
    highest = float(analysis.order_map["order"].values[-1]) * float(speeds[-1]) / 60.0
    return min(highest, float(analysis.frequency_map["frequency"].values[-1]))


def _ray(axes: Axes, order: float, limits: tuple[float, float, float, float]) -> None:
    """A thin line of frequency = order · speed / 60, named where it leaves the picture."""
    _, right, _, top = limits
    axes.axline((0.0, 0.0), (order / 60.0, 1.0), color="white", linewidth=0.6, alpha=0.7)
    at = (order * top / 60.0, top) if order * top / 60.0 <= right else (right, 60.0 * right / order)
    axes.annotate(
        f"{order:g}",
        at,
        (2, 2),
        textcoords="offset points",
        fontsize="x-small",
        annotation_clip=False,
    )


def draw_map(
    axes: Axes,
    values: xr.DataArray,
    axis: str,
    scale: Scale,
    colours: str,
    limits: tuple[float, float] | None = None,
    quantity: str = "Amplitude",
    rows: tuple[NDArray[np.float64], NDArray[np.intp]] | None = None,
) -> None:
    """Cells over an axis and the speed, with a colour bar; grey where nothing was measured. Or over
    other ``rows``: their borders, and the number of the spectrum in each, -1 for none."""
    cells = scale.of(values.transpose(..., axis).values)
    borders = edges(values["speed"].values) if rows is None else rows[0]
    if rows is not None:
        cells = np.where(rows[1][:, None] < 0, np.nan, cells[rows[1]])
    least, most = colour_limits(cells, scale, limits)
    palette = plt.get_cmap(colours).with_extremes(bad=UNMEASURED)
    # An amplitude of 0 is below every level, not unmeasured.
    cells = np.where(np.isneginf(cells), least, cells)
    mesh = axes.pcolormesh(
        edges(values[axis].values),
        borders,
        np.ma.masked_invalid(cells),
        cmap=palette,
        vmin=least,
        vmax=most,
        rasterized=True,
    )
    axes.figure.colorbar(
        mesh, ax=axes, label=scale.labelled(quantity), extend="min" if scale.db else "neither"
    )


def waterfall(
    analysis: OrderAnalysis,
    channel: Channel = None,
    *,
    axes: Axes | None = None,
    highest_order: float | None = 10.0,
    lines: int = 40,
) -> Axes:
    """Order spectra one behind the other; the scale at the right is that of their heights.

    Parameters
    ----------
    highest_order
        Up to which is drawn; None draws all.
    lines
        How many spectra, evenly out of all.
    """
    name = analysis.channel(channel)
    values = analysis.order_map.sel(channel=name, order=slice(None, highest_order))
    measured = np.flatnonzero(analysis.measured)
    if measured.size == 0:
        raise HarmotrackError("There is no spectrum to be drawn: no speed was measured.")
    chosen = measured[np.unique(np.linspace(0, measured.size - 1, lines).round().astype(int))]
    axes = axes_or_new(axes, (8.0, 7.0))
    orders, speeds = values["order"].values, values["speed"].values
    largest = float(np.nanmax(values.values))
    span = max(float(speeds[chosen[-1]] - speeds[chosen[0]]), 1.0)
    height = 0.35 * span / (largest or 1.0)
    for depth, row in enumerate(chosen[::-1]):
        curve = speeds[row] + height * values.values[row]
        axes.fill_between(orders, speeds[row], curve, facecolor="white", zorder=depth)
        axes.plot(orders, curve, color="tab:blue", linewidth=0.8, zorder=depth + 0.5)
    axes.set_xlim(orders[0], orders[-1])
    axes.margins(y=0.01)
    axes.set_xlabel("Order")
    axes.set_ylabel("Speed in rpm")
    scale = Scale(values.attrs["amplitude"], analysis.unit(name), db=False)
    right = axes.secondary_yaxis(
        "right",
        functions=(
            lambda y: (np.asarray(y) - speeds[chosen[0]]) / height,
            lambda a: speeds[chosen[0]] + height * np.asarray(a),
        ),
    )
    right.set_ylabel(f"{scale.label} (above each line's speed)")
    right.set_yticks(np.linspace(0.0, largest, 3))
    right.yaxis.set_major_formatter("{x:.3g}")
    titled(axes, analysis.title, name)
    return axes


def campbell(
    analysis: OrderAnalysis,
    channel: Channel = None,
    *,
    axes: Axes | None = None,
    highest_order: float | None = 10.0,
    rays: Iterable[float] | None = None,
    floor: float = 0.02,
) -> Axes:
    """Peaks of the spectra as circles at speed and frequency, their areas in proportion to the
    amplitude. Orders are rays, resonances of the structure horizontal lines.

    Parameters
    ----------
    highest_order
        Up to which is drawn; None draws all.
    rays
        Orders whose rays are drawn; by default up to eight at which the largest peaks stand.
    floor
        Share of the largest peak below which one is left out.
    """
    name = analysis.channel(channel)
    values = analysis.order_map.sel(channel=name, order=slice(None, highest_order))
    axes = axes_or_new(axes, (8.0, 6.0))
    amplitudes = np.nan_to_num(values.values.astype(np.float64))
    largest = float(amplitudes.max())
    rows, lines = _peaks(amplitudes, floor * largest)
    speeds, orders = values["speed"].values, values["order"].values
    heights = amplitudes[rows, lines]
    axes.scatter(
        speeds[rows],
        orders[lines] * speeds[rows] / 60.0,
        s=400.0 * heights / (largest or 1.0),
        facecolor="none",
        edgecolor="tab:blue",
        linewidth=0.9,
    )
    top = float(orders[-1] * speeds[-1]) / 60.0
    shown = _strong_orders(orders, lines, heights) if rays is None else [*rays]
    for order in shown:
        axes.axline((0.0, 0.0), (60.0, order), color="0.6", linewidth=0.6, zorder=0)
        axes.annotate(
            f"{order:g}",
            (speeds[-1], order * speeds[-1] / 60.0),
            (4, 0),
            textcoords="offset points",
            fontsize="x-small",
        )
    axes.set_xlim(0.0, 1.04 * speeds[-1])
    axes.set_ylim(0.0, min(top, 1.15 * max([o * speeds[-1] / 60.0 for o in shown], default=top)))
    axes.set_xlabel("Speed in rpm")
    axes.set_ylabel("Frequency in Hz")
    label = Scale(values.attrs["amplitude"], analysis.unit(name), db=False).label
    titled(axes, analysis.title, name, f"largest circle {largest:.3g}: {label}")
    return axes


def _peaks(
    amplitudes: NDArray[np.float64], least: float
) -> tuple[NDArray[np.intp], NDArray[np.intp]]:
    """Rows and lines of all cells above both neighbours in their row."""
    inner = amplitudes[:, 1:-1]
    higher = (inner > amplitudes[:, :-2]) & (inner >= amplitudes[:, 2:]) & (inner > least)
    rows, lines = np.nonzero(higher)
    return rows, lines + 1


def _strong_orders(
    orders: NDArray[np.float64], lines: NDArray[np.intp], heights: NDArray[np.float64]
) -> list[float]:
    """The orders that peaks stand at, up to eight, the strongest by their sum."""
    if lines.size == 0:
        return []
    sums = np.bincount(lines, heights, minlength=orders.size)
    best = np.argsort(sums)[::-1][:8]
    return sorted(float(orders[line]) for line in best if sums[line] > 0.02 * sums.max())
