"""What an analysis found."""

from __future__ import annotations

from collections.abc import Mapping, Sequence
from dataclasses import dataclass, replace
from pathlib import Path
from typing import TYPE_CHECKING, Any

import numpy as np
import xarray as xr

from harmotrack.amplitudes import band_amplitudes, line_distance, with_amplitudes
from harmotrack.errors import HarmotrackError
from harmotrack.native import _native
from harmotrack.settings import WINDOW_NUMBERS, AnalysisSettings, weighted_unit

if TYPE_CHECKING:
    import pandas as pd
    from matplotlib.axes import Axes
    from numpy.typing import ArrayLike, NDArray

    Channel = str | int | None


@dataclass(frozen=True, eq=False)
class OrderAnalysis:
    """Order spectra, frequency spectra, orders and levels of a recording, over the speed.

    Everything stands in one xarray data set, ``dataset``; the members below are its variables.
    Amplitudes are float32 in the unit of the signal and in the convention of
    ``attrs["amplitude"]`` ("peak", "rms" or "peak-to-peak"); rows of speeds at which no block was
    measured hold NaN.

    ===================  ==============================  =========================================
    member               dimensions                      holds
    ===================  ==============================  =========================================
    order_map            channel, speed, order           amplitudes
    frequency_map        channel, speed, frequency       amplitudes
    order_amplitudes     channel, harmonic, speed        amplitudes of the extracted orders
    harmonics            channel, harmonic, speed        their complex means; the phase is that of
                                                         a cos(order · φ + phase)
    coherence            channel, harmonic, speed        of those phases, 0 to 1: the modulus of the
                                                         complex mean over the amplitude
    order_slices         channel, harmonic, speed        amplitudes of all that lies within
                                                         slice_width round each order
    overall              channel, speed                  RMS, whatever the convention
    directional          speed, directional_order        radii of circles in the plane of two
                                                         channels: forward at positive orders,
                                                         backward at negative ones; or None
    angle_signal         channel, angle                  the signals at equal angles, or None
    order_spectrogram    channel, block_time, order      amplitudes over the time, whatever the
                                                         speed did, or None
    speed_profile        time                            speed of the shaft, rpm, once a turn
    order_blocks         speed                           blocks that fell into each bin
    frequency_blocks     speed                           likewise, of the frequency spectra
    ===================  ==============================  =========================================

    ====================  ==================  ======================================================
    coordinate            dimension           holds
    ====================  ==================  ======================================================
    channel               channel             names
    unit                  channel             units of the results
    speed                 speed               bin centres, rpm, rising
    order                 order               0, resolution, 2 resolution ...
    frequency             frequency           Hz, likewise
    harmonic              harmonic            the orders that were extracted
    directional_order     directional_order   -highest ... highest
    angle                 angle               turns of the shaft, rising; whole at its mark
    angle_time            angle               when it stood there, seconds
    block_time            block_time          middle of the block, seconds
    block_speed           block_time          speed there, rpm
    time                  time                seconds of the recording
    ====================  ==================  ======================================================

    Each variable has ``attrs["long_name"]``, and ``attrs["units"]`` if all channels share one.
    The maps have ``attrs["resolution"]``, the distance of two lines that was really achieved, in
    orders or Hz, and ``attrs["noise_bandwidth"]``, that of the window in lines. The data set's own
    attributes are the settings by their names (AnalysisSettings), and

        title              name of the recording
        speed_source       where the speed came from, in words
        has_mark           1 if phases stand against a mark on the shaft
        movement           of the speed, that fell into the bins: "both", "rising" or "falling"
        remarks            sentences on what was mended, left out or looked strange on the way from
                           the file to these results, one a line; empty if nothing was
        lowest_rpm, highest_rpm   extremes of the speed
        speed_repairs      sentences on what was mended in the pulses of a tacho, one a line, empty
                           if nothing was; missing if that is not known
        directional_x, directional_y   the channels of the directional spectrum, if there is one
        harmotrack         version that made it

    Objects are immutable as far as Python allows: the arrays are read-only.
    """

    dataset: xr.Dataset

    # Of arrays: for results that come from elsewhere, and for tests.

    @classmethod
    def from_arrays(  # noqa: PLR0913 -- as many as there are members
        cls,
        *,
        channels: Sequence[str],
        units: Sequence[str],
        speed: ArrayLike,
        orders: ArrayLike,
        order_map: ArrayLike,
        frequencies: ArrayLike,
        frequency_map: ArrayLike,
        harmonic_orders: ArrayLike,
        harmonics: ArrayLike,
        overall: ArrayLike,
        order_blocks: ArrayLike,
        frequency_blocks: ArrayLike,
        speed_times: ArrayLike,
        speed_values: ArrayLike,
        directional_orders: ArrayLike | None = None,
        directional: ArrayLike | None = None,
        directional_pair: tuple[str, str] | None = None,
        angle: ArrayLike | None = None,
        angle_time: ArrayLike | None = None,
        angle_signal: ArrayLike | None = None,
        row_times: ArrayLike | None = None,
        row_speeds: ArrayLike | None = None,
        order_rows: ArrayLike | None = None,
        settings: AnalysisSettings | None = None,
        title: str = "",
        speed_source: str = "unknown",
        has_mark: bool = True,
        movement: str = "both",
        attributes: Mapping[str, Any] | None = None,
    ) -> OrderAnalysis:
        """Labels arrays whose shapes are those of the table above.

        ``units`` are those of the signals; what a weighting makes of them is worked out here.
        Amplitudes are peaks unless ``settings.amplitude`` says otherwise.
        Rows of the maps whose number of blocks is 0 become NaN. ``order_rows``, ``row_times`` and
        ``row_speeds`` are order_spectrogram with its block_time and block_speed.

        Raises
        ------
        HarmotrackError
            Shapes do not fit together, a name stands twice, or what belongs together is not there.
        """
        settings = settings or AnalysisSettings()
        settings = replace(settings, amplitude=settings.amplitude or "peak")
        builder = _Builder(channels, units, speed, settings)
        builder.add_maps(
            orders, order_map, order_blocks, frequencies, frequency_map, frequency_blocks
        )
        builder.add_curves(harmonic_orders, harmonics, overall)
        if directional is not None:
            if directional_orders is None or directional_pair is None:
                raise HarmotrackError("A directional spectrum needs its orders and its channels.")
            builder.add_directional(directional_orders, directional, directional_pair)
        if angle_signal is not None:
            if angle is None or angle_time is None:
                raise HarmotrackError("An angle signal needs its angles and their times.")
            builder.add_angle_signal(angle, angle_time, angle_signal)
        if order_rows is not None:
            if row_times is None or row_speeds is None:
                raise HarmotrackError("An order spectrogram needs its times and speeds.")
            builder.add_rows(row_times, row_speeds, order_rows)
        builder.add_speed(speed_times, speed_values)
        dataset = builder.dataset
        dataset.attrs.update(
            {
                "title": title,
                "speed_source": speed_source,
                "has_mark": int(has_mark),
                "movement": movement,
                **dict(attributes or {}),
            }
        )
        return cls(dataset)

    # The members.

    @property
    def order_map(self) -> xr.DataArray:
        """Shape (channels, speeds, orders): amplitudes in the unit of the channel."""
        return self.dataset["order_map"]

    @property
    def frequency_map(self) -> xr.DataArray:
        """Shape (channels, speeds, frequencies): amplitudes in the unit of the channel."""
        return self.dataset["frequency_map"]

    @property
    def order_amplitudes(self) -> xr.DataArray:
        """Shape (channels, harmonics, speeds): amplitudes of the extracted orders, whatever the
        phases of their blocks were: the root of the energy of the lines within the window's main
        lobe, over its noise bandwidth. A sine reads its own amplitude on a line and between two."""
        return self.dataset["order_amplitudes"]

    @property
    def harmonics(self) -> xr.DataArray:
        """Shape (channels, harmonics, speeds): complex means of the extracted orders, for their
        phases. Blocks whose phases differ cancel: amplitudes stand in order_amplitudes."""
        return self.dataset["harmonics"]

    @property
    def coherence(self) -> xr.DataArray:
        """Shape (channels, harmonics, speeds): how far the phases of the blocks agreed, 0 to 1; the
        modulus of harmonics over order_amplitudes. Below 0.7 a phase says little."""
        return self.dataset["coherence"]

    @property
    def order_slices(self) -> xr.DataArray:
        """Shape (channels, harmonics, speeds): the root of the energy of all lines within
        slice_width round each order, over the noise bandwidth of the window."""
        return self.dataset["order_slices"]

    @property
    def overall(self) -> xr.DataArray:
        """Shape (channels, speeds): RMS of a block in the unit of the channel."""
        return self.dataset["overall"]

    @property
    def directional(self) -> xr.DataArray | None:
        """Shape (speeds, directional orders): radii of circles, forward at positive orders; None
        without a directional pair."""
        return self.dataset.get("directional")

    @property
    def angle_signal(self) -> xr.DataArray | None:
        """Shape (channels, angles): samples in the unit of the signal, before any weighting; None
        if they were left out."""
        return self.dataset.get("angle_signal")

    @property
    def order_spectrogram(self) -> xr.DataArray | None:
        """Shape (channels, blocks, orders): amplitudes over the time; None unless
        row_overlap_percent asked for it."""
        return self.dataset.get("order_spectrogram")

    @property
    def speed_profile(self) -> xr.DataArray:
        """Shape (turns): rpm over the time in seconds, a value a turn, or every second, fourth ...
        of a recording of more than a hundred thousand."""
        return self.dataset["speed_profile"]

    @property
    def order_blocks(self) -> xr.DataArray:
        """Shape (speeds): how many blocks of equal angles fell into each bin."""
        return self.dataset["order_blocks"]

    @property
    def frequency_blocks(self) -> xr.DataArray:
        """Shape (speeds): how many blocks of equal times fell into each bin."""
        return self.dataset["frequency_blocks"]

    @property
    def measured(self) -> NDArray[np.bool_]:
        """Shape (speeds): where a block of equal angles fell into the bin, so that there are order
        spectra, orders, and directional spectra."""
        return np.asarray(self.order_blocks.values > 0)

    @property
    def frequency_measured(self) -> NDArray[np.bool_]:
        """Shape (speeds): where a block of equal times fell into the bin, so that there are
        frequency spectra and an overall level."""
        return np.asarray(self.frequency_blocks.values > 0)

    @property
    def attrs(self) -> dict[str, Any]:
        """The settings, and what else is known of the analysis; names stand above."""
        return self.dataset.attrs

    @property
    def remarks(self) -> tuple[str, ...]:
        """Sentences on what was mended, left out or looked strange: missing pulses of the tacho,
        gaps in the speed, a sampling rate that contradicts the time stamps ..."""
        return tuple(str(self.dataset.attrs.get("remarks", "")).splitlines())

    @property
    def title(self) -> str:
        """Name of the recording."""
        return str(self.dataset.attrs.get("title", ""))

    @property
    def channels(self) -> tuple[str, ...]:
        """Names of the channels."""
        return tuple(str(name) for name in self.dataset["channel"].values)

    def channel(self, which: Channel = None) -> str:
        """The name of a channel given by name or by number from 0; None is the first one."""
        names = self.channels
        if which is None:
            return names[0]
        if isinstance(which, str) and which in names:
            return which
        if isinstance(which, (int, np.integer)) and -len(names) <= which < len(names):
            return names[which]
        raise HarmotrackError(
            f"There is no channel {which!r}; the analysis has {', '.join(map(repr, names))}."
        )

    def unit(self, which: Channel = None) -> str:
        """Of the results of a channel, given as in channel()."""
        return str(self.dataset["unit"].sel(channel=self.channel(which)).item())

    def __repr__(self) -> str:
        sizes = self.dataset.sizes
        return (
            f"<OrderAnalysis {self.title!r}: {', '.join(self.channels)}; "
            f"{sizes['speed']} speeds, {sizes['order']} orders, "
            f"{sizes['frequency']} frequencies>"
        )

    def _repr_html_(self) -> str:
        return str(self.dataset._repr_html_())

    # Storage.

    def save(self, path: str | Path) -> Path:
        """Stores everything: NetCDF under a name that ends in .nc, Zarr under one in .zarr.

        What stood there before is replaced once all is written. Raises HarmotrackError if the name
        ends otherwise or the file can't be written.
        """
        from harmotrack import storage

        return storage.save(self, path)

    def tables(self) -> dict[str, pd.DataFrame]:
        """The results as tables by name: order_map, frequency_map, harmonics, overall, speed, and
        directional and order_spectrogram if there are such. The maps have a row for each channel
        and measured speed, and a column for each order or frequency."""
        from harmotrack import storage

        return storage.tables(self)

    def save_tables(self, folder: str | Path, kind: str = "csv") -> list[Path]:
        """Writes tables() into a folder, as "csv" or as "parquet"; all of them or none.

        Returns the files. Raises HarmotrackError if the kind is another, or the folder can't be
        written.
        """
        from harmotrack import storage

        return storage.save_tables(self, folder, kind)

    # Pictures. Each draws into the axes given (axes=) or into new ones, and returns them; the other
    # options stand with the functions of harmotrack.plots. What can't be drawn meets a
    # HarmotrackError: an order that was not extracted, a directional spectrum that is not there.

    def plot_order_map(self, channel: Channel = None, **options: Any) -> Axes:
        """Colour map of the amplitudes over order and speed; orders are vertical lines."""
        from harmotrack import plots

        return plots.order_map(self, channel, **options)

    def plot_frequency_map(self, channel: Channel = None, **options: Any) -> Axes:
        """Colour map over frequency and speed; orders are rays from the origin."""
        from harmotrack import plots

        return plots.frequency_map(self, channel, **options)

    def plot_waterfall(self, channel: Channel = None, **options: Any) -> Axes:
        """Order spectra one behind the other, from the lowest speed to the highest."""
        from harmotrack import plots

        return plots.waterfall(self, channel, **options)

    def plot_campbell(self, channel: Channel = None, **options: Any) -> Axes:
        """Campbell diagram: frequencies over speed, circles as large as the amplitudes."""
        from harmotrack import plots

        return plots.campbell(self, channel, **options)

    def plot_orders(self, channel: Channel = None, **options: Any) -> Axes:
        """Order cuts: the amplitudes of the extracted orders over the speed."""
        from harmotrack import plots

        return plots.orders(self, channel, **options)

    def plot_bode(self, channel: Channel = None, **options: Any) -> NDArray[np.object_]:
        """Phase (above) and amplitude (below) of one order over the speed; two axes."""
        from harmotrack import plots

        return plots.bode(self, channel, **options)

    def plot_polar(self, channel: Channel = None, **options: Any) -> Axes:
        """Amplitude and phase of one order in the plane, with the speed along the curve."""
        from harmotrack import plots

        return plots.polar(self, channel, **options)

    def plot_orbit(self, **options: Any) -> Axes:
        """The path of the shaft in the plane of two channels, of one order at some speeds."""
        from harmotrack import plots

        return plots.orbit(self, **options)

    def plot_full_spectrum(self, **options: Any) -> Axes:
        """Colour map of the directional spectrum: forward to the right, backward to the left."""
        from harmotrack import plots

        return plots.full_spectrum(self, **options)

    def plot_order_spectrogram(self, channel: Channel = None, **options: Any) -> Axes:
        """Colour map of the amplitudes over order and time; orders are vertical lines."""
        from harmotrack import plots

        return plots.order_spectrogram(self, channel, **options)

    def plot_overall(self, channel: Channel = None, **options: Any) -> Axes:
        """The overall level over the speed."""
        from harmotrack import plots

        return plots.overall(self, channel, **options)

    def plot_speed(self, **options: Any) -> Axes:
        """The speed of the shaft over time."""
        from harmotrack import plots

        return plots.speed(self, **options)


class _Builder:
    """Labels arrays and checks that their shapes fit together."""

    def __init__(
        self,
        channels: Sequence[str],
        units: Sequence[str],
        speed: ArrayLike,
        settings: AnalysisSettings,
    ) -> None:
        if len(channels) == 0 or len(set(channels)) != len(channels):
            raise HarmotrackError(
                f"The channels are {', '.join(map(repr, channels))}, and each name must stand once."
            )
        if len(units) != len(channels):
            raise HarmotrackError(f"There are {len(units)} units for {len(channels)} channels.")
        self._settings = settings
        self._units = [weighted_unit(unit, settings.weighting) for unit in units]
        self._sources = list(units)
        self.dataset = xr.Dataset(
            coords={
                "channel": ("channel", np.asarray(channels, dtype=str)),
                "unit": ("channel", np.asarray(self._units, dtype=str)),
                "speed": ("speed", _frozen(speed, np.float64), _attrs("Speed", "rpm")),
            },
            attrs=settings.describe(),
        )

    def add_maps(
        self,
        orders: ArrayLike,
        order_map: ArrayLike,
        order_blocks: ArrayLike,
        frequencies: ArrayLike,
        frequency_map: ArrayLike,
        frequency_blocks: ArrayLike,
    ) -> None:
        self._coordinate("order", orders, "Order", "1")
        self._coordinate("frequency", frequencies, "Frequency", "Hz")
        self._add("order_blocks", ("speed",), _frozen(order_blocks, np.int64), "Blocks", "1")
        self._add(
            "frequency_blocks", ("speed",), _frozen(frequency_blocks, np.int64), "Blocks", "1"
        )
        bandwidth = _native.noise_bandwidth(WINDOW_NUMBERS[self._settings.window])
        for name, axis, given, blocks in (
            ("order_map", "order", order_map, "order_blocks"),
            ("frequency_map", "frequency", frequency_map, "frequency_blocks"),
        ):
            values = np.array(given, dtype=np.float32)
            self._fits(name, ("channel", "speed", axis), values)
            values[:, self.dataset[blocks].values == 0] = np.nan
            self._add(name, ("channel", "speed", axis), values, "Amplitude", self._common_unit())
            self.dataset[name].attrs.update(
                resolution=line_distance(self.dataset[axis].values),
                noise_bandwidth=bandwidth,
                amplitude=self._settings.amplitude,
            )

    def add_curves(
        self, harmonic_orders: ArrayLike, harmonics: ArrayLike, overall: ArrayLike
    ) -> None:
        self._coordinate("harmonic", harmonic_orders, "Order", "1")
        empty = self.dataset["order_blocks"].values == 0
        cuts = np.array(harmonics, dtype=np.complex64)
        self._fits("harmonics", ("channel", "harmonic", "speed"), cuts)
        cuts[:, :, empty] = np.nan
        unit = self._common_unit()
        self._add(
            "harmonics", ("channel", "harmonic", "speed"), cuts, "Complex mean of order", unit
        )
        self._add(
            "order_slices",
            ("channel", "harmonic", "speed"),
            self._slices(),
            "Amplitude of order slice",
            unit,
        )
        self.dataset["harmonics"].attrs.update(
            amplitude=self._settings.amplitude, phase_reference=self._settings.phase_reference
        )
        self.dataset["order_slices"].attrs.update(
            amplitude=self._settings.amplitude, width=self._settings.slice_width
        )
        self.dataset = with_amplitudes(self.dataset)
        levels = np.array(overall, dtype=np.float32)
        self._fits("overall", ("channel", "speed"), levels)
        levels[:, self.dataset["frequency_blocks"].values == 0] = np.nan
        self._add("overall", ("channel", "speed"), levels, "Overall level", unit)
        self.dataset["overall"].attrs.update(amplitude="rms")

    def add_directional(self, orders: ArrayLike, values: ArrayLike, pair: tuple[str, str]) -> None:
        self._coordinate("directional_order", orders, "Order, backward below 0", "1")
        radii = np.array(values, dtype=np.float32)
        self._fits("directional", ("speed", "directional_order"), radii)
        radii[self.dataset["order_blocks"].values == 0] = np.nan
        names = [str(name) for name in self.dataset["channel"].values]
        self._add(
            "directional",
            ("speed", "directional_order"),
            radii,
            "Radius of circular motion",
            self._units[names.index(pair[0])],
        )
        self.dataset["directional"].attrs.update(
            resolution=line_distance(self.dataset["directional_order"].values),
            amplitude=self._settings.amplitude,
        )
        self.dataset.attrs.update(directional_x=pair[0], directional_y=pair[1])

    def add_angle_signal(self, angle: ArrayLike, times: ArrayLike, values: ArrayLike) -> None:
        self._coordinate("angle", angle, "Angle of the shaft", "turns")
        self.dataset = self.dataset.assign_coords(
            angle_time=("angle", _frozen(times, np.float64), _attrs("Time", "s"))
        )
        # A weighting acts on spectra; the signals stay what they were.
        units = set(self._sources)
        self._add(
            "angle_signal",
            ("channel", "angle"),
            np.asarray(values),
            "Signal",
            units.pop() if len(units) == 1 else None,
        )

    def add_rows(self, times: ArrayLike, speeds: ArrayLike, rows: ArrayLike) -> None:
        self._coordinate("block_time", times, "Time", "s")
        self.dataset = self.dataset.assign_coords(
            block_speed=("block_time", _frozen(speeds, np.float64), _attrs("Speed", "rpm"))
        )
        values = np.array(rows, dtype=np.float32)
        if values.size == 0:
            sizes = self.dataset.sizes
            values = values.reshape(sizes["channel"], sizes["block_time"], sizes["order"])
        dims = ("channel", "block_time", "order")
        self._add("order_spectrogram", dims, values, "Amplitude", self._common_unit())
        self.dataset["order_spectrogram"].attrs.update(
            resolution=line_distance(self.dataset["order"].values),
            amplitude=self._settings.amplitude,
        )

    def add_speed(self, times: ArrayLike, values: ArrayLike) -> None:
        self._coordinate("time", times, "Time", "s")
        self._add("speed_profile", ("time",), _frozen(values, np.float64), "Speed", "rpm")

    def _coordinate(self, name: str, values: ArrayLike, long_name: str, unit: str) -> None:
        self.dataset = self.dataset.assign_coords(
            {name: (name, _frozen(values, np.float64), _attrs(long_name, unit))}
        )

    def _add(
        self,
        name: str,
        dims: tuple[str, ...],
        values: NDArray[Any],
        long_name: str,
        unit: str | None,
    ) -> None:
        self._fits(name, dims, values)
        values.flags.writeable = False
        self.dataset[name] = (dims, values, _attrs(long_name, unit))

    def _fits(self, name: str, dims: tuple[str, ...], values: NDArray[Any]) -> None:
        shape = tuple(self.dataset.sizes[dim] for dim in dims)
        if values.shape != shape:
            raise HarmotrackError(
                f"The shape of {name} is {values.shape}, and its axes ({', '.join(dims)}) ask for "
                f"{shape}."
            )

    def _common_unit(self) -> str | None:
        return self._units[0] if len(set(self._units)) == 1 else None

    def _slices(self) -> NDArray[np.float32]:
        """A sine reads its own amplitude wherever it stands within the slice; a slice narrower than
        the window's main lobe holds no less than its largest line."""
        spectra, orders = self.dataset["order_map"].values, self.dataset["order"].values
        shape = tuple(self.dataset.sizes[dim] for dim in ("channel", "harmonic", "speed"))
        slices = np.empty(shape, dtype=np.float32)
        for k, order in enumerate(self.dataset["harmonic"].values):
            reach = 0.5 * self._settings.slice_width
            slices[:, k] = band_amplitudes(spectra, orders, order, self._settings.window, reach)
        return slices


def _attrs(long_name: str, unit: str | None) -> dict[str, Any]:
    return {"long_name": long_name} if unit is None else {"long_name": long_name, "units": unit}


def _frozen(values: ArrayLike, dtype: Any) -> NDArray[Any]:
    array = np.array(values, dtype=dtype)
    array.flags.writeable = False
    return array
