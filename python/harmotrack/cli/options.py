"""Options that several subcommands share, and what they say of a recording."""

from __future__ import annotations

from collections.abc import Callable
from dataclasses import dataclass
from pathlib import Path
from typing import TYPE_CHECKING, Any, TypeVar

import click

from harmotrack.cli import words
from harmotrack.cli.speed_source import SPEED, TRACKING, speed_of
from harmotrack.cli.values import NUMBER, channel_names, numbers
from harmotrack.errors import HarmotrackError

if TYPE_CHECKING:
    from harmotrack.order_analysis import OrderAnalysis
    from harmotrack.recording import Recording
    from harmotrack.two_passes import TwoPasses

F = TypeVar("F", bound=Callable[..., Any])


def added(options: list[Callable[[Any], Any]]) -> Callable[[F], F]:
    def add(function: F) -> F:
        for option in reversed(options):
            function = option(function)
        return function

    return add


file_argument = click.argument("file", type=click.Path(path_type=Path))
json_option = click.option(
    "--json", "as_json", is_flag=True, help="Print the results as JSON, for scripts."
)
channels_option = click.option(
    "--channels",
    metavar="LIST",
    help="Channels to take, by their names or by their numbers from 1, with commas between them; "
    "default: all.",
)

_READING = [
    click.option(
        "--format",
        metavar="KIND",
        help="Kind of FILE, where neither its contents nor its name tell it: wav, flac, w64, aiff, "
        "hdf5, mat, tdms, mdf, parquet, uff or csv.",
    ),
    click.option(
        "--rate",
        type=NUMBER,
        metavar="HZ",
        help="Sampling rate; goes before what FILE says of it, and before its time stamps.",
    ),
    click.option("--time", metavar="NAME", help="Column or channel that holds the time stamps."),
    click.option(
        "--time-unit", metavar="UNIT", help="Unit of the time stamps: s, ms, us, ns or min."
    ),
    click.option(
        "--full-scale",
        type=NUMBER,
        metavar="VALUE",
        help="Value of a sound file's full scale, in the unit of the channels; default: what the "
        ".json file beside it says, or 1.",
    ),
    click.option(
        "--unit",
        "units",
        multiple=True,
        metavar="[CHANNEL=]UNIT",
        help="Unit of all channels, or of one; may be given several times.",
    ),
]
_SETTINGS = [
    channels_option,
    click.option(
        "--directional",
        metavar="X,Y",
        help="Two channels whose sensors stand a quarter turn apart, to be analysed as one motion "
        "in a plane.",
    ),
    click.option(
        "--min-rpm",
        type=NUMBER,
        metavar="RPM",
        help="Lowest speed of the speed axis; default: the lowest of the recording.",
    ),
    click.option(
        "--max-rpm",
        type=NUMBER,
        metavar="RPM",
        help="Highest speed of the speed axis; default: the highest of the recording.",
    ),
    click.option(
        "--step-rpm",
        type=NUMBER,
        metavar="RPM",
        help="Distance of two speeds of the speed axis; default: what gives about 80 of them.",
    ),
    click.option(
        "--highest-order",
        type=NUMBER,
        metavar="ORDER",
        help="Highest order of the order maps; default: 40, or what the sampling rate allows.",
    ),
    click.option(
        "--order-resolution",
        type=NUMBER,
        metavar="ORDERS",
        help="Distance of two lines of an order map, 1 divided by the revolutions of a block; "
        "default: 0.1.",
    ),
    click.option(
        "--harmonics",
        metavar="LIST",
        help="Orders whose amplitudes and phases are taken over the speed, with commas between "
        "them; default: 1,2,3,4.",
    ),
    click.option(
        "--window",
        metavar="NAME",
        help="Window of the spectra: rectangle, hanning, hamming, flattop, triangle, blackman or "
        "blackman-harris; default: hanning.",
    ),
    click.option(
        "--amplitude",
        metavar="KIND",
        help="Kind of the amplitudes: peak, rms or peak-to-peak; default: rms if all channels are "
        "pressures, else peak.",
    ),
    click.option(
        "--averaging",
        metavar="KIND",
        help="Treatment of several blocks at one speed: mean, peak-hold, keep-first or overwrite; "
        "default: mean.",
    ),
    click.option(
        "--block-mode",
        metavar="KIND",
        help="Place of the blocks: at-crossing, one where the shaft passes a speed of the axis, or "
        "contiguous, edge to edge; default: at-crossing unless the speed is steady.",
    ),
    click.option(
        "--phase-mode",
        metavar="KIND",
        help="Reference of the phases: shaft, the mark on the shaft, or first-order, the phase of "
        "order 1; default: shaft if the speed comes from a tacho.",
    ),
    click.option(
        "--weighting",
        metavar="KIND",
        help="Weighting of the signals: none, a, c, integrate, double-integrate, differentiate or "
        "double-differentiate; default: none.",
    ),
    click.option(
        "--passes",
        type=click.Choice(["together", "apart"]),
        default="together",
        show_default=True,
        help="Results of rising and of falling speed in one, or each in results of their own.",
    ),
    click.option(
        "--row-overlap",
        type=NUMBER,
        metavar="PERCENT",
        help="Add order spectra over the time, of blocks that overlap by this share of their "
        "length.",
    ),
]

reading_options = added(_READING)
tracking_options = added(TRACKING)
analysis_options = added([*_READING, *SPEED, *TRACKING, *_SETTINGS])

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
            format=self.options["format"],
        )
        for everywhere in (unit for name, _, unit in units if not name):
            named = {name for name, _, _ in units if name}
            recording = recording.scaled(
                {name: (1.0, everywhere) for name in recording.names if name not in named}
            )
        for note in recording.notes:
            words.note(note)
        return recording

    def analyze(self, file: Path) -> OrderAnalysis | TwoPasses:
        from harmotrack.analysis import analyze
        from harmotrack.cli.progress import shown

        recording = self.read(file)
        speed = speed_of(self.options, recording)
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
        return None if text is None else channel_names(recording, text)
