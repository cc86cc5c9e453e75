"""harmotrack simulate FILE"""

from __future__ import annotations

from pathlib import Path

import click

from harmotrack.cli import words
from harmotrack.cli.options import json_option
from harmotrack.cli.values import NUMBER


@click.command("simulate")
@click.argument("file", type=click.Path(path_type=Path))
@click.option(
    "--duration",
    type=NUMBER,
    metavar="SECONDS",
    default=30.0,
    show_default=True,
    help="Length of the recording.",
)
@click.option(
    "--rate",
    type=NUMBER,
    metavar="HZ",
    default=25600.0,
    show_default=True,
    help="Sampling rate.",
)
@click.option(
    "--start-rpm",
    type=NUMBER,
    metavar="RPM",
    default=600.0,
    show_default=True,
    help="Speed at the beginning.",
)
@click.option(
    "--end-rpm",
    type=NUMBER,
    metavar="RPM",
    default=6000.0,
    show_default=True,
    help="Speed at the end.",
)
@click.option(
    "--noise",
    type=NUMBER,
    metavar="RMS",
    default=0.02,
    show_default=True,
    help="Noise in the signals, in mm/s.",
)
@click.option(
    "--seed",
    type=click.IntRange(min=0),
    default=1,
    show_default=True,
    help="Number that the noise is made of: the same one gives the same recording.",
)
@json_option
def command(
    file: Path,
    duration: float,
    rate: float,
    start_rpm: float,
    end_rpm: float,
    noise: float,
    seed: int,
    as_json: bool,
) -> None:
    """Simulates a machine that runs up through its resonances: the recording as FILE, a name that
    ends in .flac or .wav, and the truth about it beside it, as .json."""
    from harmotrack.files import check_places
    from harmotrack.simulation import simulate_run_up

    check_places(file)
    run = simulate_run_up(
        duration=duration,
        rate=rate,
        start_rpm=start_rpm,
        end_rpm=end_rpm,
        noise_rms=noise,
        seed=seed,
    )
    recording, truth = run.write(file)
    if as_json:
        words.as_json({"recording": str(recording), "truth": str(truth)})
    else:
        print(f"{recording}\n{truth}")
