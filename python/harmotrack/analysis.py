"""From a recording and a speed to results."""

from __future__ import annotations

from collections.abc import Callable, Iterable, Sequence, Sized
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass, replace
from os import PathLike, cpu_count
from pathlib import Path
from typing import TYPE_CHECKING, Any, Literal, TypeVar, overload

import numpy as np

import harmotrack
from harmotrack import settings as choices
from harmotrack.amplitudes import phase_remarks
from harmotrack.checks import check_type
from harmotrack.defaults import resolved
from harmotrack.errors import HarmotrackError
from harmotrack.native import _native
from harmotrack.order_analysis import OrderAnalysis
from harmotrack.recording import RECORDING_OR_PATH, Channel, Recording, blocks_of
from harmotrack.settings import AnalysisSettings, check_choice
from harmotrack.speed import Speed
from harmotrack.speed_finder import find_speed, likely_speed_channels, likely_tachos
from harmotrack.two_passes import TwoPasses

if TYPE_CHECKING:
    from numpy.typing import NDArray

    Progress = Callable[[float], object]

T = TypeVar("T")

#: Up to as many of a signal become part of the results unasked.
_MOST_ANGLES = 2_000_000
_MOST_NAMES = 8  #: of channels, that a sentence names


@overload
def analyze(
    recording: Recording | str | Path,
    speed: Speed | None = None,
    *,
    passes: Literal["together"] = "together",
    channels: Iterable[str | int] | None = None,
    directional: tuple[str | int, str | int] | None = None,
    angle_signal: bool | None = None,
    settings: AnalysisSettings | None = None,
    progress: Progress | None = None,
    **changes: Any,
) -> OrderAnalysis: ...


@overload
def analyze(
    recording: Recording | str | Path,
    speed: Speed | None = None,
    *,
    passes: Literal["apart"],
    channels: Iterable[str | int] | None = None,
    directional: tuple[str | int, str | int] | None = None,
    angle_signal: bool | None = None,
    settings: AnalysisSettings | None = None,
    progress: Progress | None = None,
    **changes: Any,
) -> TwoPasses: ...


def analyze(
    recording: Recording | str | Path,
    speed: Speed | None = None,
    *,
    passes: str = "together",
    channels: Iterable[str | int] | None = None,
    directional: tuple[str | int, str | int] | None = None,
    angle_signal: bool | None = None,
    settings: AnalysisSettings | None = None,
    progress: Progress | None = None,
    **changes: Any,
) -> OrderAnalysis | TwoPasses:
    """Analyses the channels of a recording against the rotation of a shaft.

    Parameters
    ----------
    recording
        Or the path of one that read() can read. A sound file given by its path is read a block at
        a time: memory does not grow with its length.
    speed
        How the shaft turns. By default that of the likeliest tacho of the recording, a pulse a
        revolution, or of its speed channel.
    passes
        "together": run-ups and coast-downs fall into the same speeds. "apart": each has results of
        its own, for a machine that answers differently to rising and to falling speed.
    channels
        Names or numbers from 0; by default all that are neither tacho nor speed and sampled
        together: of several such groups the one with the most samples a second. ``remarks`` name
        what was left out, and a channel that looks like a tacho but was analysed, as no channel
        gave the speed.
    directional
        Two channels from directions a quarter turn apart, x before y in the sense of rotation, as
        one motion in the plane.
    angle_signal
        Whether the signals over the angle become part of the results; they grow with the
        recording. By default, if they have no more than two million samples each.
    settings, changes
        AnalysisSettings, and keywords that replace single ones.
    progress
        Called now and then with the share that is done, 0 to 1; what it raises ends the analysis.

    Returns
    -------
    OrderAnalysis
        Or TwoPasses, if they are apart. Both have ``remarks``: what was mended, left out or looked
        strange on the way.

    Raises
    ------
    HarmotrackError
        What is wrong with the recording, the speed or the settings, in one sentence; or the speed
        met none of the bins of the speed axis.

    Signals go to equal angles by a band-limited resampling (amplitudes within 0.01 dB up to the
    highest order), and blocks of whole turns through windowed Fourier transforms: computed order
    tracking, as of Fyfe and Munck, Analysis of computed order tracking (1997).
    """
    check_choice("passes", passes, choices.PASSES)
    recording = _read(recording)
    settings = changed(settings, changes)
    if speed is None:
        speed = find_speed(recording)
    check_type("speed", speed, Speed, "a Speed, as Speed.from_tacho() makes it")
    pair = pair_of(directional, lambda which: recording[which].name)
    signals, left_out = _signals(recording, speed, channels, pair)
    settings = resolved(settings, signals, speed, passes)
    remarks = [*recording.notes, *speed.notes, *left_out]
    if angle_signal is None:
        angle_signal = _angles_are_few(settings, speed, remarks)
    runs = _plan(signals, pair, settings, passes, angle_signal)
    found = labelled(
        _run_all(runs, speed, progress),
        [[signals.index(channel) for channel in run.signals] for run in runs],
        channels=[channel.name for channel in signals],
        units=[channel.unit for channel in signals],
        settings=settings,
        samples_per_revolution=2 * runs[0].settings.max_order if angle_signal else None,
        directional_pair=pair,
        repairs=speed.repairs,
        remarks=remarks,
        title=recording.name,
        speed_source=speed.source,
        has_mark=speed.has_mark,
    )
    _check_measured([found] if isinstance(found, OrderAnalysis) else [*found], settings)
    return found


def _check_measured(passes: Sequence[OrderAnalysis], settings: AnalysisSettings) -> None:
    """Results without a single order spectrum are none."""
    if any(one.measured.any() for one in passes):
        return
    about = passes[0].attrs
    while_it = {"rising": " while it rose", "falling": " while it fell"}
    raise HarmotrackError(
        f"The speed, {about['lowest_rpm']:g} to {about['highest_rpm']:g} rpm, met none of the bins "
        f"asked for, {settings.min_rpm:g} to {settings.max_rpm:g} rpm in steps of "
        f"{settings.step_rpm:g}, with a whole block of "
        f"{1.0 / passes[0].order_map.attrs['resolution']:.4g} revolutions"
        f"{while_it.get(settings.direction, '')}."
    )


def _angles_are_few(settings: AnalysisSettings, speed: Speed, remarks: list[str]) -> bool:
    count = speed.turns * 2 * native_settings(settings).max_order
    if count <= _MOST_ANGLES:
        return True
    remarks.append(
        f"The signals over the angle were left out, as they have {count:.2g} samples each; "
        "angle_signal=True gives them."
    )
    return False


def _read(recording: Recording | str | Path) -> Recording:
    check_type("recording", recording, (Recording, str, PathLike), RECORDING_OR_PATH)
    if isinstance(recording, Recording):
        return recording
    from harmotrack.readers import read

    return read(recording, in_memory=False)


def changed(settings: AnalysisSettings | None, changes: dict[str, Any]) -> AnalysisSettings:
    """Settings with some replaced; HarmotrackError names the ones that there are."""
    unknown = sorted(set(changes) - set(AnalysisSettings.__dataclass_fields__))
    if unknown:
        raise HarmotrackError(
            f"There is no setting {unknown[0]!r}; the settings are "
            f"{', '.join(AnalysisSettings.__dataclass_fields__)}."
        )
    if settings is None:
        settings = AnalysisSettings()
    check_type("value of settings", settings, AnalysisSettings, "an AnalysisSettings")
    return replace(settings, **changes)


def _signals(
    recording: Recording,
    speed: Speed,
    channels: Iterable[str | int] | None,
    pair: tuple[str, str] | None,
) -> tuple[list[Channel], list[str]]:
    """With sentences on those that were left out unasked."""
    left_out: list[str] = []
    if channels is None:
        signals, left_out = default_signals(recording, speed)
        for name in pair or ():
            if recording[name] not in signals:
                signals.append(recording[name])
    else:
        if isinstance(channels, (str, int)):
            channels = (channels,)
        check_type("choice of channels", channels, Iterable, "names or numbers from 0")
        wanted = dict.fromkeys(recording[which].name for which in [*channels, *(pair or ())])
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
    return signals, [sentence for sentence in left_out if sentence]


def default_signals(recording: Recording, speed: Speed) -> tuple[list[Channel], list[str]]:
    """The channels that are sampled together, but those that say the speed; and sentences on those
    that were left out. Of several groups it is the one with the most samples a second.

    Where no channel gave the speed, one that looks like a tacho is a signal, and a sentence names
    it.
    """
    speeds = set(likely_speed_channels(recording)) - {speed.channel}
    tachos = {guess.channel for guess in likely_tachos(recording)} - speeds - {speed.channel}
    as_signals: set[str] = set()
    if speed.channel is None:
        tachos, as_signals = as_signals, tachos
    groups: dict[tuple[float, float, int], list[Channel]] = {}
    for channel in recording:
        if channel.name not in speeds | tachos | {speed.channel}:
            groups.setdefault((channel.rate, channel.start, channel.size), []).append(channel)
    if not groups:
        return [], []
    chosen = max(groups.values(), key=lambda group: group[0].rate * len(group))
    others = [group for group in groups.values() if group is not chosen]
    return chosen, [
        _left_out(sorted(speeds), "which may hold a speed"),
        _left_out(sorted(tachos), "which looks like a tacho"),
        *(
            _left_out(
                [channel.name for channel in group],
                f"of {_sampling(group[0])}, sampled otherwise than {chosen[0].name!r}",
            )
            for group in others
        ),
        _as_signals([channel.name for channel in chosen if channel.name in as_signals]),
    ]


def _left_out(names: Sequence[str], which: str) -> str:
    """A sentence; empty if there are none."""
    if not names:
        return ""
    it = "it, name it" if len(names) == 1 else "them, name them"
    return f"Left out: {_listed(names)}, {which}. To analyse {it} among the channels."


def _as_signals(names: Sequence[str]) -> str:
    """A sentence on tachos; empty if there are none."""
    if not names:
        return ""
    looks, it = ("looks", "it") if len(names) == 1 else ("look", "them")
    return (
        f"Analysed as a signal: {_listed(names)}, which {looks} like a tacho, as the speed comes "
        f"from elsewhere. To leave {it} out, name the other channels."
    )


def _listed(names: Sequence[str]) -> str:
    listed = ", ".join(map(repr, names[:_MOST_NAMES]))
    if len(names) > _MOST_NAMES:
        listed += f" and {len(names) - _MOST_NAMES} more"
    return listed


def _sampling(channel: Channel) -> str:
    return f"{channel.size} samples at {channel.rate:g} Hz from {channel.start:g} s"


def pair_of(
    directional: tuple[str | int, str | int] | None, name_of: Callable[[str | int], str]
) -> tuple[str, str] | None:
    """The names of both channels; checked."""
    if directional is None:
        return None
    if isinstance(directional, str) or not isinstance(directional, Sized) or len(directional) != 2:
        raise HarmotrackError(
            f"The directional channels are {directional!r}, and they must be two, x and y."
        )
    x, y = (name_of(which) for which in directional)
    if x == y:
        raise HarmotrackError(f"The directional channels are both {x!r}, and they must differ.")
    return x, y


@dataclass(frozen=True, eq=False)
class _Run:
    """One or two channels that go through the library together."""

    signals: Sequence[Channel]
    settings: _native.Settings


def native_settings(
    settings: AnalysisSettings,
    passes: str = "together",
    angle_signal: bool = False,
    two_sided: bool = False,
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
        "row_overlap_percent",
    ):
        setattr(native, name, getattr(settings, name))
    native.harmonics = list(settings.harmonics or ())
    native.window = choices.WINDOW_NUMBERS[settings.window]
    native.direction = choices.DIRECTIONS.index(settings.direction)
    native.amplitude = choices.AMPLITUDES.index(settings.amplitude or "peak")
    native.averaging = choices.AVERAGINGS.index(settings.averaging)
    native.phase_reference = choices.PHASE_REFERENCES.index(settings.phase_reference)
    native.weighting = choices.WEIGHTINGS.index(settings.weighting)
    native.block_mode = choices.BLOCK_MODES.index(settings.block_mode or "at-crossing")
    native.phase_mode = choices.PHASE_MODES.index(settings.phase_mode or "shaft")
    native.passes = choices.PASSES.index(passes)
    native.keep_angle_signal = angle_signal
    native.two_sided = two_sided
    native.validate()
    return native


def _plan(
    signals: list[Channel],
    pair: tuple[str, str] | None,
    settings: AnalysisSettings,
    passes: str,
    angle_signal: bool,
) -> list[_Run]:
    """The directional pair together, and the others two by two: that costs little more than one."""
    runs = []
    by_name = {channel.name: channel for channel in signals}
    if pair is not None:
        two_sided = native_settings(settings, passes, angle_signal, two_sided=True)
        runs.append(_Run([by_name.pop(name) for name in pair], two_sided))
    rest = list(by_name.values())
    native = native_settings(settings, passes, angle_signal)
    runs += [_Run(rest[k : k + 2], native) for k in range(0, len(rest), 2)]
    return runs


@dataclass(frozen=True, eq=False)
class RunResults:
    """What the library made of one or two channels: tables of the one pass or of both, and the
    spectra by sample count, if they were asked for."""

    passes: Sequence[_native.Results]
    row_seconds: NDArray[np.float64] | None = None
    rows: Sequence[NDArray[np.float32]] = ()  #: of each channel, shape (rows, orders)


def _run_all(runs: list[_Run], speed: Speed, progress: Progress | None) -> list[RunResults]:
    """Goes through all channels once; each run takes its part of a block on a thread of its own."""
    signals = [channel for run in runs for channel in run.signals]
    first = signals[0]
    segments = list(speed.segments)
    natives = [
        _native.Run(run.settings, segments, first.start, first.rate, len(run.signals))
        for run in runs
    ]
    ends = np.cumsum([len(run.signals) for run in runs])
    done = 0
    with ThreadPoolExecutor(min(len(runs), cpu_count() or 1)) as pool:
        for block in blocks_of(signals):
            parts = [
                block[end - len(run.signals) : end] for end, run in zip(ends, runs, strict=True)
            ]
            _on_threads(pool, _native.Run.feed, natives, parts)
            done += block[0].size
            if progress is not None:
                progress(done / first.size)
        passes = _on_threads(pool, _native.Run.finish, natives)
    return [
        RunResults(found, native.row_seconds, _rows(native, run))
        for run, native, found in zip(runs, natives, passes, strict=True)
    ]


def _on_threads(
    pool: ThreadPoolExecutor, work: Callable[..., T], *arguments: Iterable[Any]
) -> list[T]:
    return list(pool.map(work, *arguments))


def _rows(native: _native.Run, run: _Run) -> list[NDArray[np.float32]]:
    if run.settings.row_overlap_percent is None:
        return []
    return [native.rows(which) for which in range(len(run.signals))]


def labelled(
    results: Sequence[RunResults],
    groups: Sequence[Sequence[int]],
    *,
    channels: Sequence[str],
    settings: AnalysisSettings,
    samples_per_revolution: int | None = None,
    directional_pair: tuple[str, str] | None = None,
    repairs: Sequence[str] | None = None,
    remarks: Sequence[str] = (),
    **about: Any,
) -> OrderAnalysis | TwoPasses:
    """Of runs of one or two channels each; a group names the channels of its run by number. The
    directional spectrum is that of the first run."""
    about["settings"] = settings
    about["channels"] = channels
    by_channel = sorted(
        (number, k, which) for k, group in enumerate(groups) for which, number in enumerate(group)
    )
    runs = [(k, which) for _, k, which in by_channel]
    first = results[0].passes[0]
    if samples_per_revolution is not None:
        about.update(
            angle=first.angle(samples_per_revolution),
            angle_time=first.angle_seconds,
            angle_signal=np.array(
                [results[k].passes[0].angle_signal(which) for k, which in runs], dtype=np.float32
            ),
        )
    if settings.row_overlap_percent is not None:
        about.update(
            row_times=results[0].row_seconds,
            row_speeds=_speeds_at(results[0].row_seconds, first),
            order_rows=[results[k].rows[which] for k, which in runs],
        )
    said = [remark for run in results for remark in run.passes[0].remarks]
    about["attributes"] = {
        "lowest_rpm": first.lowest_rpm,
        "highest_rpm": first.highest_rpm,
        "harmotrack": harmotrack.__version__,
        **({} if repairs is None else {"speed_repairs": "\n".join(repairs)}),
    }
    found = [
        _of_pass([run.passes[number] for run in results], runs, directional_pair, about)
        for number in range(len(results[0].passes))
    ]
    _tell(found, [*remarks, *said])
    return found[0] if len(found) == 1 else TwoPasses(*found)


def _tell(passes: Sequence[OrderAnalysis], remarks: Iterable[str]) -> None:
    """Every pass gets the remarks of all, each sentence once."""
    of_phases = [remark for one in passes for remark in phase_remarks(one)]
    for one in passes:
        one.dataset.attrs["remarks"] = "\n".join(dict.fromkeys([*remarks, *of_phases]))


def movement_of(pass_number: int, settings: AnalysisSettings) -> str:
    """Of the speed, that a pass holds: that of its direction, if passes are together."""
    if pass_number == 0 and settings.direction in choices.MOVEMENTS:
        return settings.direction
    return choices.MOVEMENTS[pass_number]


def _first_movement(rpm: NDArray[np.float64], step: float | None) -> str:
    """Which way the speed first left its beginning by a step."""
    away = rpm - rpm[0] if rpm.size else rpm
    left = np.flatnonzero(np.abs(away) >= (step or 0.0))
    if left.size == 0:
        return "both"
    return "rising" if away[left[0]] > 0.0 else "falling"


def _speeds_at(
    seconds: NDArray[np.float64] | None, results: _native.Results
) -> NDArray[np.float64]:
    """By straight lines from turn to turn."""
    if seconds is None or results.seconds.size == 0:
        return np.empty(0)
    return np.interp(seconds, results.seconds, results.speed_rpm)


def _of_pass(
    results: list[_native.Results],
    runs: list[tuple[int, int]],
    directional_pair: tuple[str, str] | None,
    about: dict[str, Any],
) -> OrderAnalysis:
    """``runs`` says of each channel which run it was in, and which of its signals it was."""

    def of_all(member: str) -> list[Any]:
        return [getattr(results[k], member)(which) for k, which in runs]

    first = results[0]
    if directional_pair is not None:
        about = {
            **about,
            "directional_orders": first.directional_orders,
            "directional": first.directional,
            "directional_pair": directional_pair,
        }
    settings = about["settings"]
    movement = movement_of(first.pass_number, settings)
    if first.pass_number != 0:
        about = {**about, "settings": replace(settings, direction=movement)}
    elif settings.direction == "automatic":
        movement = _first_movement(first.speed_rpm, settings.step_rpm)
    orders = settings.harmonics or ()
    harmonics = np.array(of_all("harmonics"), dtype=np.complex64)
    return OrderAnalysis.from_arrays(
        speed=first.speed,
        orders=first.orders,
        order_map=of_all("order_map"),
        frequencies=first.frequencies,
        frequency_map=of_all("frequency_map"),
        harmonic_orders=orders,
        harmonics=harmonics.reshape(len(runs), len(orders), first.speed.size),
        overall=of_all("overall"),
        order_blocks=first.order_blocks,
        frequency_blocks=first.time_blocks,
        speed_times=first.seconds,
        speed_values=first.speed_rpm,
        movement=movement,
        **about,
    )
