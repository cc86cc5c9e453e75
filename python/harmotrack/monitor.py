"""Analysis while the samples come."""

from __future__ import annotations

from collections.abc import Iterable, Iterator, Sequence
from dataclasses import dataclass, replace
from typing import TYPE_CHECKING, Any

import numpy as np

from harmotrack.amplitudes import band_amplitudes, coherence_of
from harmotrack.analysis import RunResults, changed, labelled, movement_of, native_settings, pair_of
from harmotrack.checks import check_type, numbers_of
from harmotrack.decibels import usual_convention
from harmotrack.errors import HarmotrackError
from harmotrack.native import _native
from harmotrack.settings import PASSES, AnalysisSettings, check_choice, check_number
from harmotrack.speed import tachometer

if TYPE_CHECKING:
    from numpy.typing import ArrayLike, NDArray

    from harmotrack.order_analysis import OrderAnalysis
    from harmotrack.two_passes import TwoPasses

    _Floats = NDArray[np.float32]


@dataclass(frozen=True, eq=False)
class MonitorResult:
    """One block of a run that goes on.

    Attributes
    ----------
    channel
        Its name.
    seconds, rpm
        The middle of the block, and the speed there; of a spectrum by sample count the speed at the
        end of its block.
    speed
        Centre of the speed bin that the block fell into, rpm; None of a spectrum by sample count
        (row_overlap_percent), whose order_spectrum is that of the block alone.
    order_spectrum
        Shape (orders): amplitudes in the channel's unit, the bin's spectrum with this block in it;
        None of a block of equal times.
    amplitudes
        Shape (harmonics): amplitudes of the extracted orders, with the order_spectrum of a bin.
    harmonics, coherence
        Shape (harmonics): their complex means, for the phases, and how far these agreed, 0 to 1.
    frequency_spectrum
        Shape (frequencies); None of a block of equal angles.
    directional
        Shape (directional orders): amplitudes from the highest backward order to the highest
        forward one, the bin's row of OrderAnalysis.directional; with the order_spectrum of the
        first of the directional channels.
    overall
        RMS, with frequency_spectrum.
    movement
        Of the speed, that the bin holds: "both", or "rising" or "falling" if passes are apart or
        the direction is one of these.
    """

    channel: str
    seconds: float
    rpm: float
    speed: float | None
    order_spectrum: NDArray[np.float32] | None
    amplitudes: NDArray[np.float32] | None
    harmonics: NDArray[np.complex64] | None
    coherence: NDArray[np.float32] | None
    directional: NDArray[np.float32] | None
    frequency_spectrum: NDArray[np.float32] | None
    overall: float | None
    movement: str


class Monitor:
    """Takes chunks of samples of any size, and gives results as they come.

        monitor = Monitor(25600.0, ["x", "y"], min_rpm=600, max_rpm=6000, step_rpm=50)
        for samples, tacho in device:                    # shapes (2, n) and (n)
            for result in monitor.feed(samples, tacho):
                show(result)
        analysis = monitor.finish()

    What comes out does not depend on how the samples were cut into chunks. Memory does not grow
    with time. An object serves one thread at a time.

    Parameters
    ----------
    rate
        Of the channels and of the tacho, Hz.
    channels
        Their names.
    units
        Of all channels, or one of each.
    start
        Time of the first sample, seconds.
    directional
        Two channels from directions a quarter turn apart, x before y in the sense of rotation, as
        one motion in the plane: results and finish() give their directional spectra.
    passes
        "together", or "apart": what comes while the speed rises and while it falls is kept apart.
    pulses_per_revolution
        Of the tacho; None if feed_speed() tells the speed.
    level, hysteresis_percent, edge, smoothing_turns
        As in Speed.from_tacho().
    settings, changes
        AnalysisSettings and keywords that replace single ones. The speed axis has to be told:
        min_rpm, max_rpm and step_rpm.

    Raises
    ------
    HarmotrackError
        A setting is missing or out of range, there is no channel, or the directional ones are not
        two of them.
    """

    def __init__(  # noqa: PLR0913 -- keywords
        self,
        rate: float,
        channels: Sequence[str],
        *,
        units: str | Sequence[str] = "",
        start: float = 0.0,
        directional: tuple[str | int, str | int] | None = None,
        passes: str = "together",
        pulses_per_revolution: float | None = 1.0,
        level: float | None = None,
        hysteresis_percent: float = 15.0,
        edge: str = "rising",
        smoothing_turns: float | None = None,
        settings: AnalysisSettings | None = None,
        **changes: Any,
    ) -> None:
        check_number("rate", rate, 1e-3, 1e12, "Hz")
        check_type("list of channels", channels, Iterable, "one of names")
        self.channels = (channels,) if isinstance(channels, str) else tuple(channels)
        if not self.channels:
            raise HarmotrackError("A monitor needs at least one channel.")
        self._units = [units] * len(self.channels) if isinstance(units, str) else list(units)
        check_choice("passes", passes, PASSES)
        self._by_tacho = pulses_per_revolution is not None
        self.settings = _complete(changed(settings, changes), self._by_tacho, self._units)
        tacho = None
        if pulses_per_revolution is not None:
            tacho = tachometer(
                "The tacho",
                pulses_per_revolution,
                level,
                hysteresis_percent,
                edge,
                smoothing_turns=smoothing_turns,
            )
        self._pair = pair_of(directional, self._name)
        self._groups = self._grouped()
        self._runs = [
            _native.Monitor(
                native_settings(self.settings, passes, two_sided=k == 0 and self._pair is not None),
                float(rate),
                float(start),
                len(group),
                tacho,
            )
            for k, group in enumerate(self._groups)
        ]

    def feed(
        self,
        samples: ArrayLike,
        tacho: ArrayLike | None = None,
        *,
        stamp: float | None = None,
    ) -> list[MonitorResult]:
        """Takes samples, and gives the results that they complete.

        Parameters
        ----------
        samples
            Shape (channels, n), or (n) of a single channel.
        tacho
            Shape (n): samples of the tacho at the same times.
        stamp
            When the first of these samples was taken by the device's clock, seconds. If the stamps
            say another sampling rate, or that samples were lost, ``remarks`` of finish() tell it.

        Raises
        ------
        HarmotrackError
            A sample or the stamp is not a finite number, a shape does not fit, or a speed is
            reached at which an order asked for lies above 45 % of the sampling rate. Of samples
            that are refused for the first two nothing is taken.
        """
        rows = np.atleast_2d(numbers_of("The samples", samples))
        if rows.ndim != 2 or rows.shape[0] != len(self.channels):
            raise HarmotrackError(
                f"The samples have the shape {np.shape(samples)}, and of {len(self.channels)} "
                f"channels it must be ({len(self.channels)}, n)."
            )
        pulses = self._tacho_samples(tacho, rows.shape[1])
        if not np.isfinite(rows).all():
            raise HarmotrackError("A sample is not a finite number.")
        if stamp is not None and not np.isfinite(stamp):
            raise HarmotrackError(f"The time stamp is {stamp}, and it must be a finite number.")
        for run, group in zip(self._runs, self._groups, strict=True):
            if stamp is not None:
                run.feed_stamp(float(stamp))
            if pulses is not None:
                run.feed_tacho(pulses)
            run.feed([np.ascontiguousarray(rows[k]) for k in group])
        return list(self._taken())

    def feed_speed(self, seconds: ArrayLike, rpm: ArrayLike) -> list[MonitorResult]:
        """Takes speeds, shape (n) both, and gives the results that they complete.

        Times rise from call to call. A speed of NaN is no information; where the shaft stands
        still, turns backwards or nothing is known for 10 s, the angle begins anew, which
        ``remarks`` of finish() tell. Raises HarmotrackError if this monitor has a tacho, the shapes
        differ or the times do not rise.
        """
        if self._by_tacho:
            raise HarmotrackError("This monitor reads its speed from the tacho.")
        times = numbers_of("The times", seconds)
        values = numbers_of("The speeds", rpm)
        if times.shape != values.shape or times.ndim != 1:
            raise HarmotrackError(f"There are {times.size} times and {values.size} speeds.")
        for run in self._runs:
            run.feed_speed(times, values)
        return list(self._taken())

    def finish(self) -> OrderAnalysis | TwoPasses:
        """Ends the run; all that was found, in the form that analyze() gives it.

        Where a substantial share of the tacho's pulses was dropped or filled in, its ``remarks``
        say so first.

        The monitor takes nothing more after it. Raises HarmotrackError if what came was too short
        for a single block.
        """
        results = [RunResults(run.finish()) for run in self._runs]
        return labelled(
            results,
            self._groups,
            channels=self.channels,
            units=self._units,
            # Spectra by sample count came one by one.
            settings=replace(self.settings, row_overlap_percent=None),
            directional_pair=self._pair,
            title="monitor",
            speed_source="tacho" if self._by_tacho else "speeds",
            has_mark=self._by_tacho,
        )

    def _name(self, which: str | int) -> str:
        if isinstance(which, str) and which in self.channels:
            return which
        if isinstance(which, int) and -len(self.channels) <= which < len(self.channels):
            return self.channels[which]
        raise HarmotrackError(
            f"There is no channel {which!r}; the monitor has {', '.join(map(repr, self.channels))}."
        )

    def _grouped(self) -> list[list[int]]:
        """The directional pair together, and the others two by two: that costs little more than
        one."""
        pair = [self.channels.index(name) for name in self._pair or ()]
        rest = [k for k in range(len(self.channels)) if k not in pair]
        pairs = [rest[k : k + 2] for k in range(0, len(rest), 2)]
        return [pair, *pairs] if pair else pairs

    def _tacho_samples(self, tacho: ArrayLike | None, count: int) -> NDArray[np.float64] | None:
        if tacho is None:
            if self._by_tacho:
                raise HarmotrackError("The samples of the tacho are missing.")
            return None
        if not self._by_tacho:
            raise HarmotrackError("This monitor has no tacho (pulses_per_revolution is None).")
        pulses = numbers_of("The tacho's samples", tacho)
        if pulses.shape != (count,):
            raise HarmotrackError(
                f"The tacho's samples have the shape {pulses.shape}, and it must be ({count},)."
            )
        if not np.isfinite(pulses).all():
            raise HarmotrackError("A sample of the tacho is not a finite number.")
        return pulses

    def _taken(self) -> Iterator[MonitorResult]:
        least, step = self.settings.min_rpm or 0.0, self.settings.step_rpm or 0.0
        for run, group in zip(self._runs, self._groups, strict=True):
            for block in run.take():
                of_angles = block.order_spectrum.size > 0
                in_bin = block.bin >= 0
                orders = self._orders(block) if of_angles and in_bin else (None, None, None)
                yield MonitorResult(
                    self.channels[group[block.signal]],
                    block.seconds,
                    block.rpm,
                    least + block.bin * step if in_bin else None,
                    block.order_spectrum if of_angles else None,
                    orders[0],
                    orders[1],
                    orders[2],
                    block.directional if block.directional.size else None,
                    None if of_angles else block.frequency_spectrum,
                    None if of_angles else block.overall,
                    movement_of(block.pass_number, self.settings) if in_bin else "both",
                )

    def _orders(self, block: _native.Block) -> tuple[_Floats, NDArray[np.complex64], _Floats]:
        """Amplitudes, complex means and coherence of the extracted orders."""
        spectrum = block.order_spectrum
        axis = np.arange(spectrum.size) * (self.settings.order_resolution or 0.0)
        amplitudes = np.array(
            [
                band_amplitudes(spectrum, axis, order, self.settings.window)
                for order in self.settings.harmonics or ()
            ],
            dtype=np.float32,
        )
        return amplitudes, block.harmonics, coherence_of(block.harmonics, amplitudes)


def _complete(settings: AnalysisSettings, has_mark: bool, units: Sequence[str]) -> AnalysisSettings:
    """Nothing is known of the samples to come: what is not told takes a fixed default."""
    missing = [
        name for name in ("min_rpm", "max_rpm", "step_rpm") if getattr(settings, name) is None
    ]
    if missing:
        raise HarmotrackError(f"A monitor has to be told its speed axis: {', '.join(missing)}.")
    highest = settings.highest_order or 40.0
    harmonics = settings.harmonics
    if harmonics is None:
        harmonics = tuple(order for order in (1.0, 2.0, 3.0, 4.0) if order <= highest)
    return replace(
        settings,
        highest_order=highest,
        order_resolution=settings.order_resolution or 0.1,
        harmonics=harmonics,
        block_mode=settings.block_mode or "at-crossing",
        phase_mode=settings.phase_mode or ("shaft" if has_mark else "first-order"),
        amplitude=settings.amplitude or usual_convention(units),
    )
