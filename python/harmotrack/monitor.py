"""Analysis while the samples come."""

from __future__ import annotations

from collections.abc import Iterator, Sequence
from dataclasses import dataclass, replace
from typing import TYPE_CHECKING, Any

import numpy as np

from harmotrack.analysis import changed, labelled, native_settings
from harmotrack.errors import HarmotrackError
from harmotrack.native import _native
from harmotrack.order_analysis import OrderAnalysis
from harmotrack.settings import AnalysisSettings, check_number
from harmotrack.speed import tachometer

if TYPE_CHECKING:
    from numpy.typing import ArrayLike, NDArray


@dataclass(frozen=True, eq=False)
class MonitorResult:
    """One block of a run that goes on.

    Attributes
    ----------
    channel
        Its name.
    seconds, rpm
        The middle of the block, and the speed when it was taken.
    speed
        Centre of the speed bin that the block fell into, rpm.
    order_spectrum
        Shape (orders): the bin's spectrum with this block in it; None of a block of equal times.
    harmonics
        Shape (harmonics): complex amplitudes, with order_spectrum.
    frequency_spectrum
        Shape (frequencies); None of a block of equal angles.
    overall
        RMS, with frequency_spectrum.
    """

    channel: str
    seconds: float
    rpm: float
    speed: float
    order_spectrum: NDArray[np.float32] | None
    harmonics: NDArray[np.complex64] | None
    frequency_spectrum: NDArray[np.float32] | None
    overall: float | None


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
    pulses_per_revolution
        Of the tacho; None if feed_speed() tells the speed.
    level, hysteresis_percent, edge
        As in Speed.from_tacho().
    settings, changes
        AnalysisSettings and keywords that replace single ones. The speed axis has to be told:
        min_rpm, max_rpm and step_rpm.
    """

    def __init__(  # noqa: PLR0913 -- keywords
        self,
        rate: float,
        channels: Sequence[str],
        *,
        units: str | Sequence[str] = "",
        start: float = 0.0,
        pulses_per_revolution: float | None = 1.0,
        level: float | None = None,
        hysteresis_percent: float = 15.0,
        edge: str = "rising",
        settings: AnalysisSettings | None = None,
        **changes: Any,
    ) -> None:
        check_number("rate", rate, 1e-3, 1e12, "Hz")
        self.channels = (channels,) if isinstance(channels, str) else tuple(channels)
        if not self.channels:
            raise HarmotrackError("A monitor needs at least one channel.")
        self._units = [units] * len(self.channels) if isinstance(units, str) else list(units)
        self._by_tacho = pulses_per_revolution is not None
        self.settings = _complete(changed(settings, changes), self._by_tacho)
        native = native_settings(self.settings)
        tacho = None
        if pulses_per_revolution is not None:
            tacho = tachometer("The tacho", pulses_per_revolution, level, hysteresis_percent, edge)
        # Two channels share a run: that costs little more than one.
        self._groups = [
            range(k, min(k + 2, len(self.channels))) for k in range(0, len(self.channels), 2)
        ]
        self._runs = [
            _native.Monitor(native, float(rate), float(start), len(group), tacho)
            for group in self._groups
        ]

    def feed(self, samples: ArrayLike, tacho: ArrayLike | None = None) -> list[MonitorResult]:
        """Takes samples, shape (channels, n), or (n) of a single channel, with those of the tacho,
        shape (n); the results that they complete.

        Raises HarmotrackError, and takes nothing, if a sample is not finite or a shape does not
        fit.
        """
        rows = np.atleast_2d(np.asarray(samples, dtype=np.float64))
        if rows.ndim != 2 or rows.shape[0] != len(self.channels):
            raise HarmotrackError(
                f"The samples have the shape {np.shape(samples)}, and of {len(self.channels)} "
                f"channels it must be ({len(self.channels)}, n)."
            )
        pulses = self._tacho_samples(tacho, rows.shape[1])
        if not np.isfinite(rows).all():
            raise HarmotrackError("A sample is not a finite number.")
        for run, group in zip(self._runs, self._groups, strict=True):
            if pulses is not None:
                run.feed_tacho(pulses)
            run.feed([np.ascontiguousarray(rows[k]) for k in group])
        return list(self._taken())

    def feed_speed(self, seconds: ArrayLike, rpm: ArrayLike) -> list[MonitorResult]:
        """Takes speeds, shape (n) both; the results that they complete."""
        if self._by_tacho:
            raise HarmotrackError("This monitor reads its speed from the tacho.")
        times = np.ascontiguousarray(np.atleast_1d(seconds), dtype=np.float64)
        values = np.ascontiguousarray(np.atleast_1d(rpm), dtype=np.float64)
        if times.shape != values.shape or times.ndim != 1:
            raise HarmotrackError(f"There are {times.size} times and {values.size} speeds.")
        for run in self._runs:
            run.feed_speed(times, values)
        return list(self._taken())

    def finish(self) -> OrderAnalysis:
        """Ends the run; all that was found."""
        results = [run.finish() for run in self._runs]
        return labelled(
            results,
            self._groups,
            channels=self.channels,
            units=self._units,
            settings=self.settings,
            title="monitor",
            speed_source="tacho" if self._by_tacho else "speeds",
            has_mark=self._by_tacho,
        )

    def _tacho_samples(self, tacho: ArrayLike | None, count: int) -> NDArray[np.float64] | None:
        if tacho is None:
            if self._by_tacho:
                raise HarmotrackError("The samples of the tacho are missing.")
            return None
        if not self._by_tacho:
            raise HarmotrackError("This monitor has no tacho (pulses_per_revolution is None).")
        pulses = np.ascontiguousarray(tacho, dtype=np.float64)
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
                yield MonitorResult(
                    self.channels[group[block.signal]],
                    block.seconds,
                    block.rpm,
                    least + block.bin * step,
                    block.order_spectrum if of_angles else None,
                    block.harmonics if of_angles else None,
                    None if of_angles else block.frequency_spectrum,
                    None if of_angles else block.overall,
                )


def _complete(settings: AnalysisSettings, has_mark: bool) -> AnalysisSettings:
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
    )
