"""harmotrack simulate FILE"""

from __future__ import annotations

from pathlib import Path

import click

from harmotrack.cli import words
from harmotrack.cli.options import json_option


@click.command("simulate")
@click.argument("file", type=click.Path(path_type=Path))
@click.option("--duration", type=float, default=30.0, show_default=True, help="Seconds.")
@click.option("--rate", type=float, default=25600.0, show_default=True, help="Hz.")
@click.option("--start-rpm", type=float, default=600.0, show_default=True)
@click.option("--end-rpm", type=float, default=6000.0, show_default=True)
@click.option("--noise", type=float, default=0.02, show_default=True, help="RMS in mm/s.")
@click.option("--seed", type=int, default=1, show_default=True, help="Of the noise.")
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
    """A machine that runs up through its resonances: a .flac or .wav, and the truth about it as
    .json beside it."""
    from harmotrack.simulation import simulate_run_up

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
