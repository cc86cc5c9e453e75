"""Finds what says the speed in a recording of which nothing was told."""

from __future__ import annotations

import re
from dataclasses import dataclass, replace
from typing import TYPE_CHECKING, Any

import numpy as np

from harmotrack.checks import check_type
from harmotrack.errors import HarmotrackError
from harmotrack.recording import Channel, PulseTrain, Recording, blocks_of
from harmotrack.speed import Speed, pulse_times, rpm_of

if TYPE_CHECKING:
    from collections.abc import Callable

    from numpy.typing import NDArray

    Progress = Callable[[float], object]

_TACHO_NAME = re.compile(r"tach|trigger|keyphas|pulse|1/rev|zphase|trig", re.IGNORECASE)
_SPEED_NAME = re.compile(r"speed|rpm|drehzahl|\bn\b", re.IGNORECASE)

#: A tacho stands at one of its two levels for most of the time, a sine near either for half of it.
_LEAST_SHARE_AT_LEVELS = 0.62
_NEAR_LEVEL = 0.15
_LEAST_PULSES = 8
_LEAST_RPM, _MOST_RPM = 1.0, 1e6  #: a guess that says less or more is no guess
_LEAST_STEADINESS = 0.95
_MOST_LOOKED_AT = 1 << 20  #: samples of a channel, to see its levels


@dataclass(frozen=True)
class TachoGuess:
    """How much a channel looks like a tacho.

    ``share`` is the share of samples at the low or the high level, ``steadiness`` that of pulses
    that follow the former one after about the same time as that one followed its own;
    ``pulses_per_minute`` is their median.
    """

    channel: str
    pulses: int
    share: float
    steadiness: float
    named: bool
    pulses_per_minute: float

    @property
    def likely(self) -> bool:
        return (
            self.share >= _LEAST_SHARE_AT_LEVELS
            and self.steadiness >= _LEAST_STEADINESS
            and self.pulses_per_minute >= _LEAST_RPM
        )

    def turns_possibly(self, pulses_per_revolution: float) -> bool:
        """Whether that makes a speed at which machines turn."""
        return _LEAST_RPM <= self.pulses_per_minute / pulses_per_revolution <= _MOST_RPM

    @property
    def rank(self) -> tuple[bool, float]:
        return self.named, self.share * self.steadiness


def guess_tacho(channel: Channel) -> TachoGuess | None:
    """None if the channel shows no pulses at all."""
    named = bool(_TACHO_NAME.search(channel.name))
    share = _share_at_levels(channel.excerpt(_MOST_LOOKED_AT))
    if share < _LEAST_SHARE_AT_LEVELS:
        return None
    try:
        seconds = pulse_times(channel)
    except HarmotrackError:
        return None
    if seconds.size < _LEAST_PULSES:
        return None
    per_minute = 60.0 / float(np.median(np.diff(seconds)))
    steadiness = _steadiness(seconds)
    return TachoGuess(channel.name, int(seconds.size), share, steadiness, named, per_minute)


def _steadiness(seconds: NDArray[np.float64]) -> float:
    """The share of pulses that TachoGuess tells."""
    steps = np.diff(seconds)
    ratios = steps[1:] / steps[:-1]
    return float(np.mean((ratios > 0.7) & (ratios < 1.4)))


def likely_pulses(recording: Recording) -> PulseTrain | None:
    """Of the pulses whose moments the file tells those that are named like a tacho, or else those
    that come steadily; a switch that someone moves does neither."""
    trains = [train for train in recording.pulses if train.seconds.size >= _LEAST_PULSES]
    named = [train for train in trains if _TACHO_NAME.search(train.name)]
    steady = [train for train in trains if _steadiness(train.seconds) >= _LEAST_STEADINESS]
    return next(iter([*named, *steady]), None)


def _share_at_levels(samples: NDArray[np.float64]) -> float:
    if not np.isfinite(samples).all():
        return 0.0
    low, high = np.quantile(samples, [0.001, 0.9995])
    height = high - low
    if height <= 0.0:
        return 0.0
    near = _NEAR_LEVEL * height
    return float(np.mean((samples < low + near) | (samples > high - near)))


def likely_tachos(recording: Recording, progress: Progress | None = None) -> list[TachoGuess]:
    """The channels that look like a tacho, the likeliest first."""
    guesses = []
    for number, channel in enumerate(recording, start=1):
        guesses.append(guess_tacho(channel))
        if progress is not None:
            progress(number / len(recording))
    likely = [guess for guess in guesses if guess is not None and guess.likely]
    return sorted(likely, key=lambda guess: guess.rank, reverse=True)


def likely_speed_channels(recording: Recording) -> list[str]:
    """The channels that hold a speed, by their unit or name: no values below 0, and the highest
    from 1 to a million rpm."""
    return [
        channel.name for channel in recording if _says_speed(channel) and _turns_forward(channel)
    ]


def _turns_forward(channel: Channel) -> bool:
    """Whether its values are numbers above 0, or 0 where the shaft stands still, and the highest
    is a speed at which machines turn."""
    highest = 0.0
    for (samples,) in blocks_of([channel]):
        if not np.isfinite(samples).all() or samples.min() < 0.0:
            return False
        highest = max(highest, float(samples.max()))
    return _LEAST_RPM <= highest * (rpm_of(channel.unit) or 1.0) <= _MOST_RPM


def _says_speed(channel: Channel) -> bool:
    if channel.unit:
        factor = rpm_of(channel.unit)
        return factor is not None and (factor == 1.0 or bool(_SPEED_NAME.search(channel.name)))
    return bool(_SPEED_NAME.search(channel.name))


def find_speed(
    recording: Recording,
    pulses_per_revolution: float = 1.0,
    progress: Progress | None = None,
    **tacho: Any,
) -> Speed:
    """The speed that the recording tells, or else that of the likeliest guess.

    In this order: pulses or a channel named like a tacho; the one channel whose unit or name is
    that of a speed; the constant speed that the file tells; pulses that come steadily; a channel
    that stands at one of two levels most of the time and whose pulses come steadily. What says less
    than 1 rpm or more than a million is none.

    Parameters
    ----------
    pulses_per_revolution
        Of the tacho.
    progress
        Called now and then with the share that is done, 0 to 1; what it raises ends the search.
    tacho
        Other options of Speed.from_tacho(), or of Speed.from_pulses() where the file tells the
        moments of pulses, for the tacho that is found.

    Raises
    ------
    HarmotrackError
        Nothing in the recording says the speed, or several speed channels do.
    """
    check_type("recording", recording, Recording, "a Recording")
    tell = progress or (lambda share: None)
    train = likely_pulses(recording)
    if train is not None and _TACHO_NAME.search(train.name):
        return speed_of_train(train, pulses_per_revolution=pulses_per_revolution, **tacho)
    tachos = [
        guess
        for guess in likely_tachos(recording, lambda share: tell(0.7 * share))
        if guess.turns_possibly(pulses_per_revolution)
    ]
    channels = likely_speed_channels(recording)
    named = bool(tachos) and tachos[0].named
    if len(channels) == 1 and not named:
        return Speed.from_channel(recording[channels[0]])
    if recording.constant_rpm is not None and recording.channels and not (named or channels):
        return _constant(recording, recording.constant_rpm)
    if train is not None and not named:
        return speed_of_train(train, pulses_per_revolution=pulses_per_revolution, **tacho)
    if tachos:
        return Speed.from_tacho(
            recording[tachos[0].channel],
            pulses_per_revolution=pulses_per_revolution,
            progress=lambda share: tell(0.7 + 0.3 * share),
            **tacho,
        )
    if channels:
        raise HarmotrackError(
            f"Several channels may hold the speed ({', '.join(map(repr, channels))}): name one."
        )
    raise HarmotrackError(
        f"No channel of {recording.name or 'the recording'} looks like a tacho or a speed: name "
        "one, give a speed profile, or track the speed."
    )


def speed_of_train(train: PulseTrain, **tacho: Any) -> Speed:
    """The speed from pulses whose moments the file tells, with the options of Speed.from_pulses().

    Raises HarmotrackError if the speed can't be told, or an option needs the samples of a tacho.
    """
    for option in ("level", "hysteresis_percent", "edge"):
        if option in tacho:
            raise HarmotrackError(
                f"The tacho {train.name!r} consists of the moments of its pulses, so {option} has "
                "no meaning for it."
            )
    speed = Speed.from_pulses(train.seconds, **tacho)
    return replace(speed, source=f"{speed.source} of {train.name!r}")


def _constant(recording: Recording, rpm: float) -> Speed:
    """From the first sample of all channels to the last."""
    start = min(channel.start for channel in recording)
    end = max(channel.start + channel.duration for channel in recording)
    speed = Speed.from_profile([start, end], [rpm, rpm])
    return replace(speed, source=f"constant {rpm:g} rpm, as {recording.name or 'the file'} says")
