"""harmotrack info FILE"""

from __future__ import annotations

from pathlib import Path
from typing import TYPE_CHECKING, Any

import click

from harmotrack.cli import words
from harmotrack.cli.options import Request, file_argument, json_option, reading_options

if TYPE_CHECKING:
    from harmotrack.recording import Channel, PulseTrain


@click.command("info")
@file_argument
@reading_options
@json_option
def command(file: Path, as_json: bool, **options: Any) -> None:
    """Lists the channels of a recording: rates, levels, and which one is likely the tacho; and the
    pulses of a tacho and the constant speed, if the file tells them."""
    from harmotrack.speed_finder import likely_speed_channels, likely_tachos

    recording = Request(options).read(file)
    tachos = {guess.channel: guess for guess in likely_tachos(recording)}
    speeds = likely_speed_channels(recording)
    channels: list[dict[str, Any]] = []
    for number, channel in enumerate(recording, start=1):
        role = ""
        if channel.name in tachos:
            role = f"likely tacho, {tachos[channel.name].pulses} pulses"
        elif channel.name in speeds:
            role = "likely speed"
        channels.append(
            {
                "number": number,
                "name": channel.name,
                "unit": channel.unit,
                "rate_hz": channel.rate,
                "samples": channel.size,
                "duration_s": channel.duration,
                **_levels(channel),
                "role": role,
            }
        )
    pulses = [_pulses(train) for train in recording.pulses]
    if as_json:
        words.as_json(
            {
                "file": str(file),
                "notes": recording.notes,
                "channels": channels,
                "pulses": pulses,
                "constant_rpm": recording.constant_rpm,
            }
        )
        return
    _show_channels(recording.name, channels)
    _show_pulses(pulses)
    if recording.constant_rpm is not None:
        print(f"Constant speed: {recording.constant_rpm:g} rpm")


def _show_channels(title: str, channels: list[dict[str, Any]]) -> None:
    if not channels:
        return
    words.table(
        title,
        ["channel", "no.", "unit", "rate in Hz", "samples", "seconds", "least", "most", "RMS", ""],
        [
            [
                c["name"],
                str(c["number"]),
                c["unit"],
                f"{c['rate_hz']:.7g}",
                str(c["samples"]),
                f"{c['duration_s']:.4g}",
                f"{c['least']:.4g}",
                f"{c['most']:.4g}",
                f"{c['rms']:.4g}",
                c["role"],
            ]
            for c in channels
        ],
    )


def _show_pulses(pulses: list[dict[str, Any]]) -> None:
    if not pulses:
        return
    words.table(
        "Pulses of a tacho",
        ["tacho", "pulses", "from s", "to s"],
        [
            [
                train["name"],
                str(train["pulses"]),
                *("" if end is None else f"{end:.7g}" for end in (train["from_s"], train["to_s"])),
            ]
            for train in pulses
        ],
    )


def _pulses(train: PulseTrain) -> dict[str, Any]:
    """Their number, and the times of the first and the last one."""
    ends = (train.seconds[0], train.seconds[-1]) if train.seconds.size else (None, None)
    return {
        "name": train.name,
        "pulses": train.seconds.size,
        "from_s": ends[0],
        "to_s": ends[1],
    }


def _levels(channel: Channel) -> dict[str, float]:
    """A block at a time, as the channel may be longer than the memory."""
    import numpy as np

    from harmotrack.recording import blocks_of

    least, most, total, energy = np.inf, -np.inf, 0.0, 0.0
    for (samples,) in blocks_of([channel]):
        least = min(least, float(samples.min()))
        most = max(most, float(samples.max()))
        total += float(samples.sum())
        energy += float(np.square(samples).sum())
    mean, rms = total / channel.size, float(np.sqrt(energy / channel.size))
    return {"least": least, "most": most, "mean": mean, "rms": rms}
