"""harmotrack info FILE"""

from __future__ import annotations

from pathlib import Path
from typing import Any

import click

from harmotrack.cli import words
from harmotrack.cli.options import Request, file_argument, json_option, reading_options


@click.command("info")
@file_argument
@reading_options
@json_option
def command(file: Path, as_json: bool, **options: Any) -> None:
    """Channels, rates, levels, and which channel is likely the tacho."""
    import numpy as np

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
                "samples": channel.samples.size,
                "duration_s": channel.duration,
                "least": float(channel.samples.min()),
                "most": float(channel.samples.max()),
                "mean": float(channel.samples.mean()),
                "rms": float(np.sqrt(np.mean(np.square(channel.samples)))),
                "role": role,
            }
        )
    if as_json:
        words.as_json({"file": str(file), "notes": recording.notes, "channels": channels})
        return
    words.table(
        recording.name,
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
