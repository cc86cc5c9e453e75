"""harmotrack convert FILE TARGET"""

from __future__ import annotations

from pathlib import Path
from typing import Any

import click

from harmotrack.cli import words
from harmotrack.cli.options import Request, file_argument, json_option, reading_options


@click.command("convert")
@file_argument
@click.argument("target", type=click.Path(path_type=Path))
@click.option("--channels", metavar="LIST", help="Names or numbers from 1, by commas.")
@reading_options
@json_option
def command(file: Path, target: Path, as_json: bool, **options: Any) -> None:
    """A recording from one kind of file to another, told by the end of TARGET's name."""
    from harmotrack.writers import write

    request = Request(options)
    recording = request.read(file, in_memory=True)
    names = request.names("channels", recording)
    if names is not None:
        recording = recording.select(names)
    written = write(recording, target)
    if as_json:
        words.as_json({"files": [str(path) for path in written]})
    else:
        print("\n".join(str(path) for path in written))
