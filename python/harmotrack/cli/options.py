"""Options that several subcommands share, and what they say of a recording."""

from __future__ import annotations

from collections.abc import Callable
from dataclasses import dataclass
from pathlib import Path
from typing import TYPE_CHECKING, Any, TypeVar

import click

from harmotrack.cli import words
from harmotrack.errors import HarmotrackError

if TYPE_CHECKING:
    from harmotrack.order_analysis import OrderAnalysis
    from harmotrack.recording import Recording
    from harmotrack.speed import Speed
    from harmotrack.tracking import Track
    from harmotrack.two_passes import TwoPasses

F = TypeVar("F", bound=Callable[..., Any])


def added(options: list[Callable[[Any], Any]]) -> Callable[[F], F]:
    def add(function: F) -> F:
        for option in reversed(options):
            function = option(function)
        return function

    return add


file_argument = click.argument("file", type=click.Path(path_type=Path))
json_option = click.option("--json", "as_json", is_flag=True, help="Say it in JSON, for scripts.")

_READING = [
    click.option("--rate", type=float, help="Sampling rate in Hz, where the file does not say it."),
    click.option("--time", help="Column or channel of the time stamps."),
    click.option("--time-unit", help="Of the time stamps: s, ms, us, ns or min."),
    click.option("--full-scale", type=float, help="Of sound files: value at full scale."),
    click.option(
        "--unit",
        "units",
        multiple=True,
        metavar="[CHANNEL=]UNIT",
        help="Of all channels or of one.",
    ),
]
_SPEED = [
    click.option("--tacho", metavar="CHANNEL", help="The tacho, by name or by number from 1."),
    click.option("--pulses", type=float, default=1.0, show_default=True, help="A revolution."),
    click.option("--level", type=float, help="Of the tacho whose crossing is a pulse."),
    click.option(
        "--edge",
        type=click.Choice(["rising", "falling", "both"]),
        default="rising",
        show_default=True,
    ),
    click.option("--missing-teeth", type=int, default=0, help="Of the tacho's wheel: 2 for 60-2."),
    click.option("--gear-ratio", type=float, default=1.0, help="Shaft turns in one of the wheel."),
    click.option("--speed-channel", metavar="CHANNEL", help="A channel that holds the speed."),
    click.option("--speed-unit", help="Of the speed channel, as rpm (the default), Hz or rad/s."),
    click.option(
        "--speed-csv", type=click.Path(path_type=Path), help="A table of time and speed in rpm."
    ),
]
_TRACKING = [
    click.option("--track", metavar="MIN:MAX", help="Track the speed between two limits in rpm."),
    click.option(
        "--track-orders",
        metavar="LIST",
        default="1,2",
        show_default=True,
        help="Orders that the machine shows.",
    ),
]
_SETTINGS = [
    click.option("--channels", metavar="LIST", help="Names or numbers from 1, by commas."),
    click.option(
        "--directional", metavar="X,Y", help="Two channels a quarter turn apart, as one motion."
    ),
    click.option("--min-rpm", type=float),
    click.option("--max-rpm", type=float),
    click.option("--step-rpm", type=float, help="Of the speed axis."),
    click.option("--highest-order", type=float),
    click.option("--order-resolution", type=float),
    click.option("--harmonics", metavar="LIST", help="Orders to be extracted, by commas."),
    click.option("--window", help="hanning, flattop, rectangle ..."),
    click.option("--amplitude", help="peak, rms or peak-to-peak."),
    click.option("--averaging", help="mean, peak-hold, keep-first or overwrite."),
    click.option("--block-mode", help="at-crossing or contiguous."),
    click.option("--phase-mode", help="shaft or first-order."),
    click.option("--weighting", help="none, a, c, integrate, differentiate ..."),
    click.option(
        "--passes",
        type=click.Choice(["together", "apart"]),
        default="together",
        show_default=True,
        help="Apart: results of rising and of falling speed for themselves.",
    ),
    click.option(
        "--row-overlap",
        type=float,
        metavar="PERCENT",
        help="Adds order spectra over the time; their blocks overlap by this share.",
    ),
]

reading_options = added(_READING)
tracking_options = added(_TRACKING)
analysis_options = added([*_READING, *_SPEED, *_TRACKING, *_SETTINGS])

_SETTING_NAMES = (
    "min_rpm",
    "max_rpm",
    "step_rpm",
    "highest_order",
    "order_resolution",
    "window",
    "amplitude",
    "averaging",
    "block_mode",
    "phase_mode",
    "weighting",
)


@dataclass(frozen=True)
class Request:
    """What was asked for on the command line: the values of the options above by their names."""

    options: dict[str, Any]

    def read(self, file: Path, in_memory: bool = False) -> Recording:
        """Where the kind of file allows it, samples stay there until they are needed."""
        from harmotrack.readers import read

        units = [text.rpartition("=") for text in self.options["units"]]
        recording = read(
            file,
            rate=self.options["rate"],
            time=self.options["time"],
            time_unit=self.options["time_unit"],
            full_scale=self.options["full_scale"],
            units={name: unit for name, _, unit in units if name},
            in_memory=in_memory,
        )
        for everywhere in (unit for name, _, unit in units if not name):
            named = {name for name, _, _ in units if name}
            recording = recording.scaled(
                {name: (1.0, everywhere) for name in recording.names if name not in named}
            )
        for note in recording.notes:
            words.note(note)
        return recording

    def speed(self, recording: Recording) -> Speed:
        from harmotrack.cli.progress import shown
        from harmotrack.speed import Speed
        from harmotrack.speed_finder import find_speed

        given = [
            name
            for name in ("tacho", "speed_channel", "speed_csv", "track")
            if self.options[name] is not None
        ]
        if len(given) > 1:
            said = " and ".join(f"--{name.replace('_', '-')}" for name in given)
            raise HarmotrackError(f"The speed comes from one of {said}, not from several.")
        if "tacho" in given:
            with shown("Reading the tacho") as progress:
                return Speed.from_tacho(
                    recording[channel_name(recording, self.options["tacho"])],
                    pulses_per_revolution=self.options["pulses"],
                    level=self.options["level"],
                    edge=self.options["edge"],
                    missing_teeth=self.options["missing_teeth"],
                    gear_ratio=self.options["gear_ratio"],
                    progress=progress,
                )
        if "speed_channel" in given:
            name = channel_name(recording, self.options["speed_channel"])
            return Speed.from_channel(recording[name], self.options["speed_unit"])
        if "speed_csv" in given:
            return _speed_of_table(self.options["speed_csv"])
        if "track" in given:
            tracked = self.track(recording)
            words.note(f"The speed is tracked in {tracked.channel!r}: {tracked.summary}.")
            return tracked.speed
        with shown("Looking for the speed") as progress:
            speed = find_speed(recording, self.options["pulses"], progress)
        words.note(f"The speed is that of the {speed.source}: found by itself.")
        return speed

    def track(self, recording: Recording) -> Track:
        from harmotrack.cli.progress import shown
        from harmotrack.tracking import track

        least, most = limits(self.options["track"])
        names = self.names("channels", recording)
        with shown("Tracking") as progress:
            return track(
                recording,
                channel=names[0] if names else None,
                min_rpm=least,
                max_rpm=most,
                orders=numbers(self.options["track_orders"], "track-orders"),
                progress=progress,
            )

    def analyze(self, file: Path) -> OrderAnalysis | TwoPasses:
        from harmotrack.analysis import analyze
        from harmotrack.cli.progress import shown

        recording = self.read(file)
        speed = self.speed(recording)
        for note in speed.notes:
            words.note(note)
        changes = {
            name: self.options[name] for name in _SETTING_NAMES if self.options[name] is not None
        }
        if self.options["row_overlap"] is not None:
            changes["row_overlap_percent"] = self.options["row_overlap"]
        if self.options["harmonics"] is not None:
            changes["harmonics"] = numbers(self.options["harmonics"], "harmonics")
        pair = self.names("directional", recording)
        if pair is not None and len(pair) != 2:
            raise HarmotrackError(
                f"--directional is {self.options['directional']!r}, and it must be two channels."
            )
        with shown("Analysing") as progress:
            analysis = analyze(
                recording,
                speed,
                passes=self.options["passes"],
                channels=self.names("channels", recording),
                directional=None if pair is None else (pair[0], pair[1]),
                progress=progress,
                **changes,
            )
        for remark in analysis.remarks:
            if remark not in recording.notes + speed.notes:
                words.note(remark)
        return analysis

    def names(self, option: str, recording: Recording) -> list[str] | None:
        text = self.options[option]
        if text is None:
            return None
        if text in recording.names:  # which may hold a comma
            return [text]
        return [channel_name(recording, part.strip()) for part in text.split(",")]


def channel_name(recording: Recording, text: str) -> str:
    """Of a channel given by its name, or by its number from 1."""
    if text in recording.names or not text.isdigit():
        return recording[text].name
    number = int(text)
    if not 1 <= number <= len(recording):
        raise HarmotrackError(
            f"There is no channel {number}; {recording.name} has {len(recording)}: "
            f"{', '.join(map(repr, recording.names))}."
        )
    return recording[number - 1].name


def numbers(text: str, option: str) -> tuple[float, ...]:
    try:
        return tuple(float(part) for part in text.split(","))
    except ValueError:
        raise HarmotrackError(
            f"--{option} is {text!r}, and it must be numbers with commas between them."
        ) from None


def limits(text: str) -> tuple[float, float]:
    """Of "600:6000"."""
    try:
        least, most = (float(part) for part in text.split(":"))
    except ValueError:
        raise HarmotrackError(
            f"--track is {text!r}, and it must be two speeds in rpm, as 600:6000."
        ) from None
    return least, most


def _speed_of_table(path: Path) -> Speed:
    from harmotrack.readers.speed_table import read_speed

    return read_speed(path)
