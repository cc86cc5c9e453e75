"""How a shaft turns: its angle over time, from a tacho, pulses, a profile or tracking."""

from __future__ import annotations

from collections.abc import Callable, Iterator
from dataclasses import dataclass, field, replace
from typing import TYPE_CHECKING

import numpy as np

from harmotrack.checks import check_type, numbers_of
from harmotrack.errors import HarmotrackError
from harmotrack.native import _native
from harmotrack.recording import Channel, blocks_of
from harmotrack.settings import check_choice, check_number

if TYPE_CHECKING:
    import xarray as xr
    from numpy.typing import ArrayLike, NDArray

    from harmotrack.tracking import Track

EDGES = ("rising", "falling", "both")

#: Sentences about a tacho or a profile that are told one by one.
_MOST_NOTES = 10

#: Revolutions a minute of one unit of a speed channel.
_RPM = {
    "rpm": 1.0,
    "1/min": 1.0,
    "r/min": 1.0,
    "rev/min": 1.0,
    "min^-1": 1.0,
    "min⁻¹": 1.0,
    "u/min": 1.0,
    "krpm": 1000.0,
    "hz": 60.0,
    "1/s": 60.0,
    "rev/s": 60.0,
    "rad/s": 30.0 / np.pi,
    "deg/s": 1.0 / 6.0,
    "°/s": 1.0 / 6.0,
}


def rpm_of(unit: str) -> float | None:
    """What one unit of speed is in rpm; None if the unit is no speed of rotation."""
    return _RPM.get(unit.strip().lower())


@dataclass(frozen=True, eq=False)
class Speed:
    """The angle of a shaft over time, made by one of the functions below.

    Where the shaft stands still, or nothing is known of it for long, the angle begins anew: each
    segment between such gaps has an angle of its own, and what lies in a gap is not analysed.

    Attributes
    ----------
    segments
        Of known angle, in the order of time; at least one.
    source
        Where it came from, in words.
    has_mark
        Whether whole turns stand at a mark on the shaft, so that phases can be compared with those
        of another run.
    channel
        Name of the channel of the recording that it was read from, if it was.
    notes
        Sentences about what was mended, dropped or left out: first where a substantial share of the
        pulses was, then the first few of many.
    repairs
        All of those about pulses; None where there are none to mend.

    Between two known moments the angle is a cubic of time, monotone if it comes from pulses
    (Fritsch and Butland, A method for constructing local monotone piecewise cubic interpolants,
    1984), and the integral of straight lines if it comes from speeds.
    """

    segments: tuple[_native.ShaftAngle, ...] = field(repr=False)
    source: str
    has_mark: bool
    channel: str | None = None
    notes: tuple[str, ...] = ()
    repairs: tuple[str, ...] | None = None

    @classmethod
    def from_tacho(  # noqa: PLR0913 -- keywords
        cls,
        channel: Channel,
        *,
        pulses_per_revolution: float = 1.0,
        level: float | None = None,
        hysteresis_percent: float = 15.0,
        edge: str = "rising",
        missing_teeth: int = 0,
        gear_ratio: float = 1.0,
        max_rpm: float | None = None,
        smoothing_turns: float | None = None,
        progress: Callable[[float], object] | None = None,
    ) -> Speed:
        """From the pulses of an analogue tacho channel.

        Parameters
        ----------
        channel
            In any unit; pulses of either sign.
        pulses_per_revolution
            Of the wheel, above 0; need not be whole. A wheel with missing teeth is named by those
            it would have.
        level
            Whose crossing is the pulse, in the channel's unit; by default half the pulses' height.
        hysteresis_percent
            Of the pulses' height, 0 to 45: how far the signal must go beyond the level on either
            side for a crossing to count.
        edge
            "rising", "falling" or "both".
        missing_teeth
            Of a wheel that marks a turn by a gap: 2 for 60-2, whose pulses_per_revolution is 60.
        gear_ratio
            Revolutions of the shaft in one of the wheel; there is no mark unless it is 1.
        max_rpm
            What the machine can't exceed: pulses that say more are dropped.
        smoothing_turns
            Window, in turns of the shaft, over which a polynomial of third degree smooths the times
            of the pulses, 0 to 1000; 0 is none. By default it is up to 64 turns, where the channel
            has two values and its pulses scatter by no more than its samples; no pulse is moved by
            more than 0.6 samples then. ``notes`` tell it.
        progress
            Called now and then with the share that is done, 0 to 1; what it raises ends the
            reading.

        Missing and extra pulses are mended, which ``notes`` tells. The angle begins anew where
        pulses are missing for long.

        Raises
        ------
        HarmotrackError
            The channel shows no pulses or too few, holds a value that is not a finite number, or
            an option is out of range.
        """
        check_type("tacho channel", channel, Channel, "a Channel")
        settings = tachometer(
            f"The tacho channel {channel.name!r}",
            pulses_per_revolution,
            level,
            hysteresis_percent,
            edge,
            missing_teeth,
            gear_ratio,
            max_rpm,
            smoothing_turns=smoothing_turns,
        )
        reader = _native.TachoReader(settings, channel.rate, channel.start)
        done = 0
        for (samples,) in blocks_of([channel]):
            reader.feed(samples)
            done += samples.size
            if progress is not None:
                progress(done / channel.size)
        segments, pulses, repairs, remarks = reader.finish()
        if not segments:
            raise HarmotrackError(f"The tacho channel {channel.name!r} gives too few pulses.")
        per_turn = "a pulse" if pulses_per_revolution == 1 else f"{pulses_per_revolution:g} pulses"
        return cls(
            tuple(segments),
            f"tacho {channel.name!r}, {pulses} pulses, {per_turn} a revolution",
            gear_ratio == 1.0,
            channel.name,
            (*remarks, *_first_of(repairs, "such pulses")),
            tuple(repairs),
        )

    @classmethod
    def from_pulses(
        cls,
        seconds: ArrayLike,
        pulses_per_revolution: float = 1.0,
        *,
        missing_teeth: int = 0,
        gear_ratio: float = 1.0,
        max_rpm: float | None = None,
        smoothing_turns: float | None = None,
    ) -> Speed:
        """From the times of pulses; the first one is angle 0, or that behind the gap of a wheel
        with missing teeth.

        Parameters
        ----------
        seconds
            Shape (n), at least 4, rising.
        pulses_per_revolution, missing_teeth, gear_ratio, max_rpm
            As of from_tacho().
        smoothing_turns
            Window, in turns of the shaft, over which a polynomial of third degree smooths the times
            of the pulses, 0 to 1000; None is none too.

        Missing and extra pulses are mended, as those of a tacho channel.

        Raises
        ------
        HarmotrackError
            There are too few pulses, their times do not rise, or an option is out of range.
        """
        times = _row("The times of the pulses", seconds)
        _check_rising("The times of the pulses", times)
        settings = tachometer(
            "The shaft",
            pulses_per_revolution,
            missing_teeth=missing_teeth,
            gear_ratio=gear_ratio,
            max_rpm=max_rpm,
            smoothing_turns=smoothing_turns,
        )
        segments, _, repairs, remarks = _native.read_pulses(times, settings)
        if not segments:
            raise HarmotrackError(
                f"There are {times.size} pulses, and at least 4 that follow each other are needed."
            )
        notes = (*remarks, *_first_of(repairs, "such pulses"))
        source, marked = f"{times.size} pulses", gear_ratio == 1.0
        return cls(tuple(segments), source, marked, None, notes, tuple(repairs))

    @classmethod
    def from_profile(
        cls,
        seconds: ArrayLike,
        rpm: ArrayLike,
        *,
        standstill_rpm: float = 0.0,
        longest_gap: float = np.inf,
    ) -> Speed:
        """From speeds at any times, between which the speed runs straight; the angle begins at 0.

        Parameters
        ----------
        seconds
            Shape (n), rising; steps may differ.
        rpm
            Shape (n). NaN is no information, and is passed over; so is a million rpm and more, of
            which ``notes`` tell.
        standstill_rpm
            At or below it the shaft stands still, and the angle begins anew behind.
        longest_gap
            Of two values without another between them, seconds: where they stand further apart,
            the angle begins anew.

        Raises
        ------
        HarmotrackError
            The shapes differ, the times do not rise, a speed is infinite, or the shaft nowhere
            turns from one value to the next.
        """
        times = _row("The times of the speed", seconds)
        values = _row("The speeds", rpm)
        if times.size != values.size:
            raise HarmotrackError(
                f"There are {times.size} times and {values.size} speeds, and there must be as many."
            )
        check_number("speed of standstill", standstill_rpm, 0.0, 1e9, "rpm")
        check_number("longest_gap", longest_gap, 1e-9, np.inf, "s")
        segments, gaps = _native.read_profile(times, values, standstill_rpm, longest_gap)
        if not segments:
            extremes = (
                f"{np.nanmin(values):g} to {np.nanmax(values):g} rpm" if times.size else "none"
            )
            raise HarmotrackError(
                f"The speed profile of {times.size} values ({extremes}) has no two above "
                f"{standstill_rpm:g} rpm that follow each other."
            )
        source = f"speed profile of {times.size} values"
        return cls(tuple(segments), source, False, None, _first_of(gaps, "such stretches"))

    @classmethod
    def from_channel(cls, channel: Channel, unit: str | None = None) -> Speed:
        """From a channel of the speed, in rpm unless its unit says Hz, rad/s or the like.

        Where it is 0 or below, the shaft stands still, and the angle begins anew behind.

        Raises
        ------
        HarmotrackError
            The unit is none of speed of rotation, or the shaft nowhere turns.
        """
        check_type("speed channel", channel, Channel, "a Channel")
        factor = rpm_of(unit or channel.unit or "rpm")
        if factor is None:
            raise HarmotrackError(
                f"The unit of the speed channel {channel.name!r} is {unit or channel.unit!r}, and "
                "it must be one of speed of rotation, as rpm, Hz or rad/s."
            )
        speed = cls.from_profile(channel.times, channel.samples * factor)
        return replace(speed, source=f"speed channel {channel.name!r}", channel=channel.name)

    @classmethod
    def from_tracking(cls, track: Track) -> Speed:
        """From what track() found in a signal."""
        from harmotrack.tracking import Track

        check_type("track", track, Track, "a Track, as track() returns it")
        return track.speed

    @property
    def start(self) -> float:
        """First moment of known angle, seconds."""
        return self.segments[0].start

    @property
    def end(self) -> float:
        """Last moment of known angle, seconds."""
        return self.segments[-1].end

    @property
    def turns(self) -> float:
        """Turns in all segments."""
        return sum(segment.turns for segment in self.segments)

    @property
    def gaps(self) -> tuple[tuple[float, float], ...]:
        """Where the angle is not known between the start and the end: from and to, seconds."""
        return tuple(
            (before.end, after.start)
            for before, after in zip(self.segments[:-1], self.segments[1:], strict=True)
        )

    def turns_at(self, seconds: ArrayLike) -> NDArray[np.float64]:
        """Angle at some times, shape (n), turns; whole at the mark if there is one. Times outside
        count as the nearest end; NaN in a gap, behind which the count goes on.

        Raises HarmotrackError if the times are no numbers, or no row of them."""
        times = _row("The times", seconds)
        return self._joined(
            times, [segment.turns_at(times) + passed for segment, passed in self._passed()]
        )

    def rpm_at(self, seconds: ArrayLike) -> NDArray[np.float64]:
        """Speed at some times, shape (n), the derivative of the angle. Times outside count as the
        nearest end; NaN in a gap.

        Raises HarmotrackError if the times are no numbers, or no row of them."""
        times = _row("The times", seconds)
        return self._joined(times, [segment.rpm_at(times) for segment in self.segments])

    def seconds_at(self, turns: ArrayLike) -> NDArray[np.float64]:
        """The moments of some angles, shape (n), the inverse of turns_at(). Angles outside count
        as the nearest end.

        Raises HarmotrackError if the angles are no numbers, or no row of them."""
        angles = _row("The angles", turns)
        seconds = np.full(angles.shape, self.start)
        for segment, passed in self._passed():
            reached = angles >= segment.first_turn + passed
            seconds[reached] = segment.seconds_at(angles[reached] - passed)
        return seconds

    def turning(self, start: float = -np.inf, end: float = np.inf) -> xr.DataArray:
        """Speed in rpm over the time in seconds: the mean over the turn round each moment, four
        times a turn, of the moments from ``start`` to ``end``."""
        import xarray as xr

        moments, means = [], []
        for segment in self.segments:
            asked = np.clip((start, end), segment.start, segment.end)
            least, most = segment.turns_at(asked) - segment.first_turn
            # Half a turn from either end, and a quarter more than is asked for: times are rounded.
            first = max(np.floor(4.0 * least) - 1.0, 2.0)
            behind = min(np.ceil(4.0 * most) + 2.0, np.ceil(4.0 * segment.turns) - 2.0)
            turns = segment.first_turn + 0.25 * np.arange(first, behind)
            moments.append(segment.seconds_at(turns))
            means.append(60.0 / (segment.seconds_at(turns + 0.5) - segment.seconds_at(turns - 0.5)))
        seconds, rpm = np.concatenate(moments), np.concatenate(means)
        inside = (seconds >= start) & (seconds <= end)
        return xr.DataArray(
            rpm[inside],
            dims="time",
            coords={"time": ("time", seconds[inside], {"units": "s"})},
            attrs={"long_name": "Speed", "units": "rpm"},
            name="speed",
        )

    def _passed(self) -> Iterator[tuple[_native.ShaftAngle, float]]:
        """Each segment, and the whole turns that its own angle lacks."""
        return zip(self.segments, _native.turns_passed(self.segments), strict=True)

    def _joined(
        self, times: NDArray[np.float64], values: list[NDArray[np.float64]]
    ) -> NDArray[np.float64]:
        """Of the values of each segment those that count."""
        joined = values[0].copy()
        for segment, own in zip(self.segments[1:], values[1:], strict=True):
            begun = times >= segment.start
            joined[begun] = own[begun]
        for gap_start, gap_end in self.gaps:
            joined[(times > gap_start) & (times < gap_end)] = np.nan
        return joined


def pulse_times(
    channel: Channel,
    *,
    level: float | None = None,
    hysteresis_percent: float = 15.0,
    edge: str = "rising",
) -> NDArray[np.float64]:
    """Times of the pulses of an analogue tacho channel as they stand there, seconds, shape (n).

    Options and errors are those of Speed.from_tacho().
    """
    settings = tachometer(
        f"The tacho channel {channel.name!r}", 1.0, level, hysteresis_percent, edge
    )
    reader = _native.PulseReader(settings, channel.rate, channel.start)
    for (samples,) in blocks_of([channel]):
        reader.feed(samples)
    return reader.finish()


def tachometer(  # noqa: PLR0913 -- keywords
    name: str,
    pulses_per_revolution: float = 1.0,
    level: float | None = None,
    hysteresis_percent: float = 15.0,
    edge: str = "rising",
    missing_teeth: int = 0,
    gear_ratio: float = 1.0,
    max_rpm: float | None = None,
    *,
    smoothing_turns: float | None = None,
) -> _native.TachometerSettings:
    """How a tacho's pulses are read; checked."""
    check_choice("edge", edge, EDGES)
    check_number("number of pulses a revolution", pulses_per_revolution, 1e-6, 1e6)
    check_number("number of missing teeth", missing_teeth, 0, 1e6)
    settings = _native.TachometerSettings()
    settings.name = name
    settings.pulses_per_revolution = float(pulses_per_revolution)
    settings.level = level
    settings.hysteresis_percent = float(hysteresis_percent)
    settings.edge = EDGES.index(edge)
    settings.missing_teeth = missing_teeth
    settings.gear_ratio = float(gear_ratio)
    settings.max_rpm = max_rpm
    settings.smoothing_turns = smoothing_turns
    settings.validate()
    return settings


def _first_of(sentences: list[str], of_what: str) -> tuple[str, ...]:
    """As many as someone reads, and how many more there are."""
    if len(sentences) <= _MOST_NOTES:
        return tuple(sentences)
    return (*sentences[:_MOST_NOTES], f"And {len(sentences) - _MOST_NOTES} more {of_what}.")


def _check_rising(what: str, values: NDArray[np.float64]) -> None:
    steps = np.diff(values)
    if not (steps > 0.0).all():
        k = int(np.flatnonzero(~(steps > 0.0))[0])
        raise HarmotrackError(
            f"{what} must increase, and {values[k + 1]:g} s follows {values[k]:g} s."
        )


def _row(what: str, values: ArrayLike) -> NDArray[np.float64]:
    row = numbers_of(what, values)
    if row.ndim != 1:
        raise HarmotrackError(f"{what} have the shape {row.shape}, and they must be one row.")
    return row
