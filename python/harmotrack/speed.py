"""How a shaft turns: its angle over time, from a tacho, pulses, a profile or tracking."""

from __future__ import annotations

from dataclasses import dataclass, field
from typing import TYPE_CHECKING

import numpy as np

from harmotrack.errors import HarmotrackError
from harmotrack.native import _native
from harmotrack.recording import Channel
from harmotrack.settings import check_choice, check_number

if TYPE_CHECKING:
    import xarray as xr
    from numpy.typing import ArrayLike, NDArray

    from harmotrack.tracking import Track

EDGES = ("rising", "falling", "both")

#: Events of a tacho that are told one by one.
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

    Attributes
    ----------
    source
        Where it came from, in words.
    has_mark
        Whether whole turns stand at a mark on the shaft, so that phases can be compared with those
        of another run.
    channel
        Name of the channel of the recording that it was read from, if it was.
    notes
        Sentences about what was mended or dropped, the first few of many.
    repairs
        All of them; None where there are no pulses to mend.
    """

    angle: _native.ShaftAngle = field(repr=False)
    source: str
    has_mark: bool
    channel: str | None = None
    notes: tuple[str, ...] = ()
    repairs: tuple[str, ...] | None = None

    @classmethod
    def from_tacho(
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
    ) -> Speed:
        """From the pulses of an analogue tacho channel.

        Parameters
        ----------
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

        Missing and extra pulses are mended, which ``notes`` tells.
        """
        settings = tachometer(
            f"The tacho channel {channel.name!r}",
            pulses_per_revolution,
            level,
            hysteresis_percent,
            edge,
            missing_teeth,
            gear_ratio,
            max_rpm,
        )
        segments, pulses, events = _native.read_tacho(
            channel.samples, channel.rate, channel.start, settings
        )
        notes = list(events[:_MOST_NOTES])
        if len(events) > _MOST_NOTES:
            notes.append(f"And {len(events) - _MOST_NOTES} more such pulses.")
        angle, gaps = _longest(segments, channel)
        per_turn = "a pulse" if pulses_per_revolution == 1 else f"{pulses_per_revolution:g} pulses"
        return cls(
            angle,
            f"tacho {channel.name!r}, {pulses} pulses, {per_turn} a revolution",
            gear_ratio == 1.0,
            channel.name,
            (*notes, *gaps),
            (*events, *gaps),
        )

    @classmethod
    def from_pulses(cls, seconds: ArrayLike, pulses_per_revolution: float = 1.0) -> Speed:
        """From the times of pulses, rising; the first one is angle 0."""
        times = _row("The times of the pulses", seconds)
        check_number("number of pulses a revolution", pulses_per_revolution, 1e-6, 1e6)
        angle = _native.ShaftAngle.from_pulses(times, float(pulses_per_revolution))
        return cls(angle, f"{times.size} pulses", True)

    @classmethod
    def from_profile(cls, seconds: ArrayLike, rpm: ArrayLike) -> Speed:
        """From speeds at any times; the angle at the first one counts as 0."""
        times = _row("The times of the speed", seconds)
        values = _row("The speeds", rpm)
        if times.size != values.size:
            raise HarmotrackError(
                f"There are {times.size} times and {values.size} speeds, and there must be as many."
            )
        angle = _native.ShaftAngle.from_speed(times, values)
        return cls(angle, f"speed profile of {times.size} values", False)

    @classmethod
    def from_channel(cls, channel: Channel, unit: str | None = None) -> Speed:
        """From a channel of the speed, in rpm unless its unit says Hz, rad/s or the like."""
        factor = rpm_of(unit or channel.unit or "rpm")
        if factor is None:
            raise HarmotrackError(
                f"The unit of the speed channel {channel.name!r} is {unit or channel.unit!r}, and "
                "it must be one of speed of rotation, as rpm, Hz or rad/s."
            )
        speed = cls.from_profile(channel.times, channel.samples * factor)
        return cls(speed.angle, f"speed channel {channel.name!r}", False, channel.name)

    @classmethod
    def from_tracking(cls, track: Track) -> Speed:
        """From what track() found in a signal."""
        return track.speed

    @property
    def start(self) -> float:
        """First moment of known angle, seconds."""
        return self.angle.start

    @property
    def end(self) -> float:
        """Last moment of known angle, seconds."""
        return self.angle.end

    @property
    def turns(self) -> float:
        """Turns from the start to the end."""
        return self.angle.turns

    def turns_at(self, seconds: ArrayLike) -> NDArray[np.float64]:
        """Angle at some times, turns from the start; times outside count as the nearest end."""
        return self.angle.turns_at(np.atleast_1d(np.asarray(seconds, dtype=np.float64)))

    def rpm_at(self, seconds: ArrayLike) -> NDArray[np.float64]:
        """Speed at some times, the derivative of the angle."""
        return self.angle.rpm_at(np.atleast_1d(np.asarray(seconds, dtype=np.float64)))

    def seconds_at(self, turns: ArrayLike) -> NDArray[np.float64]:
        """The moments of some angles."""
        return self.angle.seconds_at(np.atleast_1d(np.asarray(turns, dtype=np.float64)))

    def turning(self, start: float = -np.inf, end: float = np.inf) -> xr.DataArray:
        """Speed in rpm, the mean over the turn round each moment, four times a turn."""
        import xarray as xr

        turns = np.arange(0.5, self.turns - 0.5, 0.25)
        seconds = self.seconds_at(turns)
        rpm = 60.0 / (self.seconds_at(turns + 0.5) - self.seconds_at(turns - 0.5))
        inside = (seconds >= start) & (seconds <= end)
        return xr.DataArray(
            rpm[inside],
            dims="time",
            coords={"time": ("time", seconds[inside], {"units": "s"})},
            attrs={"long_name": "Speed", "units": "rpm"},
            name="speed",
        )


def pulse_times(
    channel: Channel,
    *,
    level: float | None = None,
    hysteresis_percent: float = 15.0,
    edge: str = "rising",
) -> NDArray[np.float64]:
    """Times of the pulses of an analogue tacho channel as they stand there, seconds."""
    settings = tachometer(
        f"The tacho channel {channel.name!r}", 1.0, level, hysteresis_percent, edge
    )
    return _native.pulse_times(channel.samples, channel.rate, channel.start, settings)


def tachometer(
    name: str,
    pulses_per_revolution: float,
    level: float | None,
    hysteresis_percent: float,
    edge: str,
    missing_teeth: int = 0,
    gear_ratio: float = 1.0,
    max_rpm: float | None = None,
) -> _native.TachometerSettings:
    """How a tacho's pulses are read; checked."""
    check_choice("edge", edge, EDGES)
    check_number("number of pulses a revolution", pulses_per_revolution, 1e-6, 1e6)
    settings = _native.TachometerSettings()
    settings.name = name
    settings.pulses_per_revolution = float(pulses_per_revolution)
    settings.level = level
    settings.hysteresis_percent = float(hysteresis_percent)
    settings.edge = EDGES.index(edge)
    settings.missing_teeth = missing_teeth
    settings.gear_ratio = float(gear_ratio)
    settings.max_rpm = max_rpm
    settings.validate()
    return settings


def _longest(
    segments: list[_native.ShaftAngle], channel: Channel
) -> tuple[_native.ShaftAngle, tuple[str, ...]]:
    """The segment of the most turns, and a note if it is not the only one: where pulses are missing
    for long, the angle begins anew."""
    if not segments:
        raise HarmotrackError(f"The tacho channel {channel.name!r} gives too few pulses.")
    longest = max(segments, key=lambda segment: segment.turns)
    if len(segments) == 1:
        return longest, ()
    stops = (
        f"The tacho stops {len(segments) - 1} times; what is between {longest.start:.4g} s and "
        f"{longest.end:.4g} s counts."
    )
    return longest, (stops,)


def _row(what: str, values: ArrayLike) -> NDArray[np.float64]:
    row = np.ascontiguousarray(values, dtype=np.float64)
    if row.ndim != 1:
        raise HarmotrackError(f"{what} have the shape {row.shape}, and they must be one row.")
    return row
