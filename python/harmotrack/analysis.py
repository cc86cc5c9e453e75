"""From a recording and a speed to results."""

from __future__ import annotations

import threading
from collections.abc import Callable, Iterable, Sequence
from concurrent.futures import ThreadPoolExecutor, wait
from dataclasses import dataclass, replace
from os import cpu_count
from pathlib import Path
from typing import TYPE_CHECKING, Any

import numpy as np

import harmotrack
from harmotrack import settings as choices
from harmotrack.defaults import resolved
from harmotrack.errors import HarmotrackError
from harmotrack.native import _native
from harmotrack.order_analysis import OrderAnalysis
from harmotrack.recording import Channel, Recording
from harmotrack.settings import AnalysisSettings
from harmotrack.speed import Speed
from harmotrack.speed_finder import find_speed, likely_speed_channels, likely_tachos

if TYPE_CHECKING:
    Progress = Callable[[float], object]

_WINDOW_NUMBERS = {**{name: k for k, name in enumerate(choices.WINDOWS)}, "blackman-harris": 8}


def analyze(
    recording: Recording | str | Path,
    speed: Speed | None = None,
    *,
    channels: Iterable[str | int] | None = None,
    directional: tuple[str | int, str | int] | None = None,
    angle_signal: bool = True,
    settings: AnalysisSettings | None = None,
    progress: Progress | None = None,
    **changes: Any,
) -> OrderAnalysis:
    """Analyses the channels of a recording against the rotation of a shaft.

    Parameters
    ----------
    recording
        Or the path of one that read() can read.
    speed
        How the shaft turns. By default that of the likeliest tacho of the recording, a pulse a
        revolution, or of its speed channel.
    channels
        Names or numbers from 0; by default all that are sampled like the first one and neither
        tacho nor speed.
    directional
        Two channels from directions a quarter turn apart, x before y in the sense of rotation, as
        one motion in the plane.
    angle_signal
        Whether the signals over the angle become part of the results.
    settings, changes
        AnalysisSettings, and keywords that replace single ones.
    progress
        Called now and then with the share that is done, 0 to 1; what it raises ends the analysis.

    Returns
    -------
    OrderAnalysis

    Raises
    ------
    HarmotrackError
        What is wrong with the recording, the speed or the settings, in one sentence.
    """
    recording = _read(recording)
    settings = changed(settings, changes)
    if speed is None:
        speed = find_speed(recording)
    signals = _signals(recording, speed, channels, directional)
    pair = _pair(recording, directional)
    settings = resolved(settings, signals[0], speed)
    runs = _plan(signals, pair, settings, angle_signal)
    results = _run_all(runs, speed, progress)
    return _collected(recording.name, signals, speed, settings, runs, results, pair, angle_signal)


def _read(recording: Recording | str | Path) -> Recording:
    if isinstance(recording, Recording):
        return recording
    from harmotrack.readers import read

    return read(recording)


def changed(settings: AnalysisSettings | None, changes: dict[str, Any]) -> AnalysisSettings:
    unknown = sorted(set(changes) - set(AnalysisSettings.__dataclass_fields__))
    if unknown:
        raise HarmotrackError(
            f"There is no setting {unknown[0]!r}; the settings are "
            f"{', '.join(AnalysisSettings.__dataclass_fields__)}."
        )
    return replace(settings or AnalysisSettings(), **changes)


def _signals(
    recording: Recording,
    speed: Speed,
    channels: Iterable[str | int] | None,
    directional: tuple[str | int, str | int] | None,
) -> list[Channel]:
    if channels is None:
        signals = default_signals(recording, speed)
        for which in directional or ():
            if recording[which] not in signals:
                signals.append(recording[which])
    else:
        if isinstance(channels, (str, int)):
            channels = (channels,)
        wanted = dict.fromkeys(recording[which].name for which in [*channels, *(directional or ())])
        signals = [recording[name] for name in wanted]
    if not signals:
        raise HarmotrackError(
            f"{recording.name or 'The recording'} has no channel besides that of the speed."
        )
    for channel in signals:
        if not channel.sampled_with(signals[0]):
            raise HarmotrackError(
                f"The channels {signals[0].name!r} ({_sampling(signals[0])}) and {channel.name!r} "
                f"({_sampling(channel)}) are not sampled together: analyse them one by one."
            )
    return signals


def default_signals(recording: Recording, speed: Speed) -> list[Channel]:
    """All channels sampled like the first one, but those that say the speed."""
    says_speed = {speed.channel, *likely_speed_channels(recording)}
    if speed.channel is not None:
        says_speed |= {guess.channel for guess in likely_tachos(recording)}
    rest = [channel for channel in recording if channel.name not in says_speed]
    return [channel for channel in rest if channel.sampled_with(rest[0])]


def _sampling(channel: Channel) -> str:
    return f"{channel.samples.size} samples at {channel.rate:g} Hz from {channel.start:g} s"


def _pair(
    recording: Recording, directional: tuple[str | int, str | int] | None
) -> tuple[str, str] | None:
    if directional is None:
        return None
    if isinstance(directional, str) or len(directional) != 2:
        raise HarmotrackError(
            f"The directional channels are {directional!r}, and they must be two, x and y."
        )
    x, y = (recording[which].name for which in directional)
    if x == y:
        raise HarmotrackError(f"The directional channels are both {x!r}, and they must differ.")
    return x, y


@dataclass(frozen=True, eq=False)
class _Run:
    """One or two channels that go through the library together."""

    signals: Sequence[Channel]
    settings: _native.Settings


def native_settings(
    settings: AnalysisSettings, angle_signal: bool = False, two_sided: bool = False
) -> _native.Settings:
    """Of settings in which nothing is left to be chosen."""
    native = _native.Settings()
    for name in (
        "min_rpm",
        "max_rpm",
        "step_rpm",
        "hysteresis_percent",
        "highest_order",
        "order_resolution",
        "remove_mean",
        "time_lines",
    ):
        setattr(native, name, getattr(settings, name))
    native.harmonics = list(settings.harmonics or ())
    native.window = _WINDOW_NUMBERS[settings.window]
    native.direction = choices.DIRECTIONS.index(settings.direction)
    native.amplitude = choices.AMPLITUDES.index(settings.amplitude)
    native.averaging = choices.AVERAGINGS.index(settings.averaging)
    native.phase_reference = choices.PHASE_REFERENCES.index(settings.phase_reference)
    native.weighting = choices.WEIGHTINGS.index(settings.weighting)
    native.block_mode = choices.BLOCK_MODES.index(settings.block_mode or "at-crossing")
    native.phase_mode = choices.PHASE_MODES.index(settings.phase_mode or "shaft")
    native.keep_angle_signal = angle_signal
    native.two_sided = two_sided
    native.validate()
    return native


def _plan(
    signals: list[Channel],
    pair: tuple[str, str] | None,
    settings: AnalysisSettings,
    angle_signal: bool,
) -> list[_Run]:
    """The directional pair together, and the others two by two: that costs little more than one."""
    runs = []
    by_name = {channel.name: channel for channel in signals}
    if pair is not None:
        runs.append(
            _Run(
                [by_name.pop(name) for name in pair], native_settings(settings, angle_signal, True)
            )
        )
    rest = list(by_name.values())
    native = native_settings(settings, angle_signal)
    runs += [_Run(rest[k : k + 2], native) for k in range(0, len(rest), 2)]
    return runs


class _CancelledError(Exception):
    pass


def _run_all(runs: list[_Run], speed: Speed, progress: Progress | None) -> list[_native.Results]:
    """Each run on a thread of its own; an exception of any, or an interrupt, ends all."""
    cancelled = threading.Event()
    shares = [0.0] * len(runs)

    def report(which: int, share: float) -> None:
        if cancelled.is_set():
            raise _CancelledError
        shares[which] = share
        if progress is not None:
            progress(sum(shares) / len(shares))

    def work(which: int) -> _native.Results:
        run = runs[which]
        first = run.signals[0]
        samples = [channel.samples for channel in run.signals]
        return _native.analyze(
            run.settings,
            speed.angle,
            first.start,
            first.rate,
            samples,
            lambda share: report(which, share),
        )

    if len(runs) == 1:
        return [work(0)]
    with ThreadPoolExecutor(min(len(runs), cpu_count() or 1)) as pool:
        futures = [pool.submit(work, which) for which in range(len(runs))]
        try:
            wait(futures, return_when="FIRST_EXCEPTION")
            for future in futures:
                if future.done() and (error := future.exception()) is not None:
                    raise error
        except BaseException:
            cancelled.set()
            pool.shutdown(cancel_futures=True)
            raise
        return [future.result() for future in futures]


def _collected(
    title: str,
    signals: list[Channel],
    speed: Speed,
    settings: AnalysisSettings,
    runs: list[_Run],
    results: list[_native.Results],
    pair: tuple[str, str] | None,
    angle_signal: bool,
) -> OrderAnalysis:
    names = [channel.name for channel in signals]
    groups = [[names.index(channel.name) for channel in run.signals] for run in runs]
    return labelled(
        results,
        groups,
        channels=names,
        units=[channel.unit for channel in signals],
        settings=settings,
        samples_per_revolution=2 * runs[0].settings.max_order if angle_signal else None,
        directional_pair=pair,
        title=title,
        speed_source=speed.source,
        has_mark=speed.has_mark,
        repairs=speed.repairs,
    )


def labelled(
    results: list[_native.Results],
    groups: Sequence[Sequence[int]],
    *,
    channels: Sequence[str],
    settings: AnalysisSettings,
    samples_per_revolution: int | None = None,
    directional_pair: tuple[str, str] | None = None,
    repairs: Sequence[str] | None = None,
    **about: Any,
) -> OrderAnalysis:
    """Of runs of one or two channels each; a group names the channels of its run by number. The
    directional spectrum is that of the first run."""
    where = {
        number: (result, which)
        for result, group in zip(results, groups, strict=True)
        for which, number in enumerate(group)
    }

    def of_all(member: str) -> list[Any]:
        return [
            getattr(result, member)(which)
            for result, which in (where[number] for number in range(len(channels)))
        ]

    first = results[0]
    if directional_pair is not None:
        about.update(
            directional_orders=first.directional_orders,
            directional=first.directional,
            directional_pair=directional_pair,
        )
    if samples_per_revolution is not None:
        about.update(
            angle=first.angle(samples_per_revolution),
            angle_time=first.angle_seconds,
            angle_signal=np.array(of_all("angle_signal"), dtype=np.float32),
        )
    orders = settings.harmonics or ()
    harmonics = np.array(of_all("harmonics"), dtype=np.complex64)
    return OrderAnalysis.from_arrays(
        channels=channels,
        speed=first.speed,
        orders=first.orders,
        order_map=of_all("order_map"),
        frequencies=first.frequencies,
        frequency_map=of_all("frequency_map"),
        harmonic_orders=orders,
        harmonics=harmonics.reshape(len(channels), len(orders), first.speed.size),
        overall=of_all("overall"),
        order_blocks=first.order_blocks,
        frequency_blocks=first.time_blocks,
        speed_times=first.seconds,
        speed_values=first.speed_rpm,
        settings=settings,
        attributes={
            "lowest_rpm": first.lowest_rpm,
            "highest_rpm": first.highest_rpm,
            "harmotrack": harmotrack.__version__,
            **({} if repairs is None else {"speed_repairs": "\n".join(repairs)}),
        },
        **about,
    )
