"""Options that say where the speed comes from, and the speed as they say it."""

from __future__ import annotations

from dataclasses import replace
from pathlib import Path
from typing import TYPE_CHECKING, Any

import click

from harmotrack.cli import words
from harmotrack.cli.values import NUMBER, channel_name, channel_names, limits, numbers
from harmotrack.errors import HarmotrackError

if TYPE_CHECKING:
    from harmotrack.recording import Recording
    from harmotrack.speed import Speed
    from harmotrack.tracking import Track

SPEED = [
    click.option(
        "--tacho",
        metavar="CHANNEL",
        help="Channel of the tacho, by its name or by its number from 1; default: found by itself, "
        "if nothing is said of the speed.",
    ),
    click.option(
        "--pulse-times",
        type=click.Path(path_type=Path),
        metavar="FILE",
        help="File with the moments of tacho pulses, in seconds.",
    ),
    click.option(
        "--pulse-column", metavar="NAME", help="Column of --pulse-times that holds the moments."
    ),
    click.option(
        "--pulses",
        type=NUMBER,
        metavar="NUMBER",
        help="Tacho pulses per revolution of the shaft, or of the tacho's wheel where --gear-ratio "
        "is given; default: 1. A wheel with missing teeth counts as a whole one: 60 for 60-2.",
    ),
    click.option(
        "--missing-teeth",
        type=int,
        metavar="COUNT",
        help="Teeth that are missing at one place of the tacho's wheel, 2 for a 60-2 wheel; "
        "default: 0.",
    ),
    click.option(
        "--gear-ratio",
        type=NUMBER,
        metavar="RATIO",
        help="Revolutions of the shaft in one revolution of the tacho's wheel; default: 1.",
    ),
    click.option(
        "--tacho-max-rpm",
        type=NUMBER,
        metavar="RPM",
        help="Highest speed that the machine can reach: pulses that tell more are left out.",
    ),
    click.option(
        "--smoothing-turns",
        type=NUMBER,
        metavar="TURNS",
        help="Window in turns of the shaft over which the moments of the pulses are smoothed, or 0 "
        "for none; default: as much as a tacho needs whose pulses scatter by its sampling.",
    ),
    click.option(
        "--level",
        type=NUMBER,
        metavar="VALUE",
        help="Threshold of the tacho in the channel's unit; default: half the pulse height.",
    ),
    click.option(
        "--edge",
        type=click.Choice(["rising", "falling", "both"]),
        help="Flank of a tacho pulse that counts; default: rising.",
    ),
    click.option(
        "--speed-channel",
        metavar="CHANNEL",
        help="Channel of the speed itself, by its name or by its number from 1.",
    ),
    click.option(
        "--speed-csv",
        type=click.Path(path_type=Path),
        metavar="FILE",
        help="Table of the speed over the time, as analyze and track write it.",
    ),
    click.option(
        "--speed-columns",
        metavar="TIME,SPEED",
        help="Columns of --speed-csv that hold the time and the speed.",
    ),
    click.option(
        "--speed-unit",
        metavar="UNIT",
        help="Unit of --speed-channel or --speed-csv: rpm, Hz, rad/s or deg/s; default: what the "
        "file says, or rpm.",
    ),
]
TRACKING = [
    click.option(
        "--track",
        metavar="MIN:MAX",
        help="Track the speed in a signal, between two limits in rpm, as 600:6000.",
    ),
    click.option(
        "--track-orders",
        metavar="LIST",
        help="Orders by which --track tells the speed, at least two that the signal really shows; "
        "default: 1,2.",
    ),
]

#: Options of the wheel and of the signal of a tacho, with their names in Python.
_WHEEL = {
    "pulses": "pulses_per_revolution",
    "missing_teeth": "missing_teeth",
    "gear_ratio": "gear_ratio",
    "tacho_max_rpm": "max_rpm",
    "smoothing_turns": "smoothing_turns",
}
_SIGNAL = {"level": "level", "edge": "edge"}
_FOUND = ""  #: where nothing is said of the speed

#: What says where the speed comes from, with the options that go with it.
_SOURCES: dict[str, tuple[str, ...]] = {
    _FOUND: (*_WHEEL, *_SIGNAL),
    "tacho": (*_WHEEL, *_SIGNAL),
    "pulse_times": ("pulse_column", *_WHEEL),
    "speed_channel": ("speed_unit",),
    "speed_csv": ("speed_columns", "speed_unit"),
    "track": ("track_orders",),
}


def speed_of(options: dict[str, Any], recording: Recording) -> Speed:
    """The speed as it was asked for.

    Raises HarmotrackError if it was asked for in several ways, or by options that go with another
    way than the one that was taken.
    """
    ways = {
        "tacho": _of_tacho,
        "pulse_times": _of_pulse_times,
        "speed_channel": _of_channel,
        "speed_csv": _of_table,
        "track": _tracked,
        _FOUND: _found,
    }
    return ways[_source(options)](options, recording)


def _of_tacho(options: dict[str, Any], recording: Recording) -> Speed:
    from harmotrack.cli.progress import shown
    from harmotrack.speed import Speed
    from harmotrack.speed_finder import speed_of_train

    given = _given(options, _WHEEL | _SIGNAL)
    for train in recording.pulses:
        if train.name == options["tacho"]:
            return speed_of_train(train, **given)
    with shown("Reading the tacho") as progress:
        channel = recording[channel_name(recording, options["tacho"])]
        return Speed.from_tacho(channel, **given, progress=progress)


def _of_pulse_times(options: dict[str, Any], recording: Recording) -> Speed:
    from harmotrack.readers.speed_table import read_pulses
    from harmotrack.speed import Speed

    path = options["pulse_times"]
    speed = Speed.from_pulses(
        read_pulses(path, column=options["pulse_column"]), **_given(options, _WHEEL)
    )
    return replace(speed, source=f"{speed.source} of {path.name}")


def _of_channel(options: dict[str, Any], recording: Recording) -> Speed:
    from harmotrack.speed import Speed

    channel = recording[channel_name(recording, options["speed_channel"])]
    return Speed.from_channel(channel, options["speed_unit"])


def _of_table(options: dict[str, Any], recording: Recording) -> Speed:
    from harmotrack.readers.speed_table import read_speed

    time, speed = _columns(options["speed_columns"])
    return read_speed(
        options["speed_csv"], time=time, speed=speed, speed_unit=options["speed_unit"]
    )


def _tracked(options: dict[str, Any], recording: Recording) -> Speed:
    tracked = track_of(options, recording)
    words.note(f"The speed is tracked in {tracked.channel!r}: {tracked.summary}.")
    return tracked.speed


def track_of(options: dict[str, Any], recording: Recording) -> Track:
    """What --track finds, in the first of --channels."""
    from harmotrack.cli.progress import shown
    from harmotrack.tracking import track

    least, most = limits(options["track"], "track")
    listed = options["track_orders"]
    orders: dict[str, Any] = {} if listed is None else {"orders": numbers(listed, "track-orders")}
    channels = options["channels"]
    with shown("Tracking") as progress:
        return track(
            recording,
            channel=None if channels is None else channel_names(recording, channels)[0],
            min_rpm=least,
            max_rpm=most,
            progress=progress,
            **orders,
        )


def _source(options: dict[str, Any]) -> str:
    """The one option that says where the speed comes from, checked against the others."""
    given = [name for name in _SOURCES if name and options[name] is not None]
    if len(given) > 1:
        raise HarmotrackError(
            f"The speed comes from one of {_listed(given, 'and')}, not from several."
        )
    source = given[0] if given else _FOUND
    for option in {name: None for fitting in _SOURCES.values() for name in fitting}:
        if options[option] is not None and option not in _SOURCES[source]:
            fitting = [name for name, fit in _SOURCES.items() if name and option in fit]
            instead = f"the speed comes from {_said(source)}" if source else "that is missing"
            raise HarmotrackError(
                f"{_said(option)} goes with {_listed(fitting, 'or')}, and {instead}."
            )
    return source


def _found(options: dict[str, Any], recording: Recording) -> Speed:
    from harmotrack.cli.progress import shown
    from harmotrack.speed_finder import find_speed

    given = _given(options, _WHEEL | _SIGNAL)
    with shown("Looking for the speed") as progress:
        speed = find_speed(recording, progress=progress, **given)
    if given and speed.repairs is None:
        name = next(name for name in _WHEEL | _SIGNAL if options[name] is not None)
        raise HarmotrackError(
            f"{_said(name)} is an option of a tacho, and the speed is that of the {speed.source}."
        )
    words.note(f"The speed is that of the {speed.source}: found by itself.")
    return speed


def _given(options: dict[str, Any], names: dict[str, str]) -> dict[str, Any]:
    return {names[name]: options[name] for name in names if options[name] is not None}


def _columns(text: str | None) -> tuple[str | None, str | None]:
    if text is None:
        return None, None
    time, _, speed = (part.strip() for part in text.partition(","))
    if not time or not speed:
        raise HarmotrackError(
            f"--speed-columns is {text!r}, and it must be two names with a comma between them, "
            "that of the time first."
        )
    return time, speed


def _said(name: str) -> str:
    return f"--{name.replace('_', '-')}"


def _listed(names: list[str], word: str) -> str:
    return f" {word} ".join(_said(name) for name in names)
