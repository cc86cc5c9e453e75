"""harmotrack track FILE"""

from __future__ import annotations

from pathlib import Path
from typing import TYPE_CHECKING, Any

import click

from harmotrack.cli import words
from harmotrack.cli.options import (
    Request,
    file_argument,
    json_option,
    reading_options,
    tracking_options,
)
from harmotrack.cli.speed_source import track_of
from harmotrack.errors import HarmotrackError
from harmotrack.files import check_places

if TYPE_CHECKING:
    from harmotrack.tracking import Track


@click.command("track")
@file_argument
@click.option(
    "--output",
    "-o",
    type=click.Path(path_type=Path),
    help="Table of the speed over the time to be written: a name that ends in .csv or .parquet.",
)
@click.option(
    "--picture",
    type=click.Path(path_type=Path),
    help="Picture of the speed to be drawn: a name that ends in .png, .svg or .pdf.",
)
@click.option(
    "--channels",
    metavar="CHANNEL",
    help="Channel whose signal is taken, by its name or by its number from 1; default: the first.",
)
@tracking_options
@reading_options
@json_option
def command(
    file: Path, output: Path | None, picture: Path | None, as_json: bool, **options: Any
) -> None:
    """Tells the speed of a machine from one of its signals, without a tacho, within --track
    MIN:MAX."""
    if options["track"] is None:
        raise HarmotrackError("The range of the speed is missing: --track MIN:MAX, in rpm.")
    if output is not None and output.suffix.lower() not in (".csv", ".parquet"):
        raise HarmotrackError(f"The name {output.name} must end in .csv or in .parquet.")
    if picture is not None and picture.suffix.lower() not in (".png", ".svg", ".pdf"):
        raise HarmotrackError(f"The name {picture.name} must end in .png, .svg or .pdf.")
    check_places(*(path for path in (output, picture) if path is not None))
    tracked = track_of(options, Request(options).read(file))
    table = tracked.table()
    _write(tracked, table, output, picture)
    if as_json:
        words.as_json(
            {
                "channel": tracked.channel,
                "orders": tracked.orders,
                "valid_share": float(tracked.valid.mean()),
                "lost": tracked.lost,
                "estimates": table.to_dict("list"),
            }
        )
        return
    print(f"{tracked.channel}: {tracked.summary}")
    for start, end in tracked.lost:
        print(f"lost from {start:.3g} s to {end:.3g} s")
    for path in (output, picture):
        if path is not None:
            print(path)


def _write(tracked: Track, table: Any, output: Path | None, picture: Path | None) -> None:
    """Both files or none."""
    from harmotrack.files import pending_together

    with pending_together(*(path for path in (output, picture) if path is not None)) as hidden:
        if output is not None:
            from harmotrack.storage import table_into

            table_into(table, hidden[0])
        if picture is not None:
            import matplotlib as mpl

            mpl.use("Agg")
            from harmotrack.cli.analyze import save_picture

            save_picture(tracked.plot(), hidden[-1])
