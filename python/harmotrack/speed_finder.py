"""Finds what says the speed in a recording of which nothing was told."""

from __future__ import annotations

import re
from dataclasses import dataclass, replace
from typing import TYPE_CHECKING, Any

import numpy as np

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
_MOST_LOOKED_AT = 1 << 20  #: samples of a channel, to see its levels


@dataclass(frozen=True)
class TachoGuess:
    """How much a channel looks like a tacho.

    ``share`` is the share of samples at the low or the high level, ``steadiness`` that of pulses
    that follow the former one after about the same time as that one followed its own.
    """

    channel: str
    pulses: int
    share: float
    steadiness: float
    named: bool

    @property
    def likely(self) -> bool:
        return self.share >= _LEAST_SHARE_AT_LEVELS and self.steadiness >= 0.95

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
    steps = np.diff(seconds)
    ratios = steps[1:] / steps[:-1]
    steadiness = float(np.mean((ratios > 0.7) & (ratios < 1.4)))
    return TachoGuess(channel.name, int(seconds.size), share, steadiness, named)


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
    """The channels that hold a speed, by their unit or name, and no values below 0."""
    return [
        channel.name for channel in recording if _says_speed(channel) and _turns_forward(channel)
    ]


def _turns_forward(channel: Channel) -> bool:
    """Whether its values are numbers above 0, or 0 where the shaft stands still, but not all."""
    turns = False
    for (samples,) in blocks_of([channel]):
        if not np.isfinite(samples).all() or samples.min() < 0.0:
            return False
        turns = turns or bool(samples.max() > 0.0)
    return turns


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
    """The speed from pulses whose moments the file tells, from the likeliest tacho, from a speed
    channel, or the constant one that the file tells.

    A channel is likely a tacho if it stands at one of two levels most of the time and its pulses
    come steadily; of several the one that is named like one wins. A constant speed comes before a
    tacho that nothing but its shape speaks for.

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
    tell = progress or (lambda share: None)
    trains = [train for train in recording.pulses if train.seconds.size >= _LEAST_PULSES]
    if trains:
        train = min(trains, key=lambda one: not _TACHO_NAME.search(one.name))
        return speed_of_train(train, pulses_per_revolution=pulses_per_revolution, **tacho)
    tachos = likely_tachos(recording, lambda share: tell(0.7 * share))
    if tachos and (tachos[0].named or recording.constant_rpm is None):
        return Speed.from_tacho(
            recording[tachos[0].channel],
            pulses_per_revolution=pulses_per_revolution,
            progress=lambda share: tell(0.7 + 0.3 * share),
            **tacho,
        )
    channels = likely_speed_channels(recording)
    if len(channels) == 1:
        return Speed.from_channel(recording[channels[0]])
    if channels:
        raise HarmotrackError(
            f"Several channels may hold the speed ({', '.join(map(repr, channels))}): name one."
        )
    if recording.constant_rpm is not None and recording.channels:
        return _constant(recording, recording.constant_rpm)
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
