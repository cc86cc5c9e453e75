"""harmotrack convert FILE TARGET"""

from __future__ import annotations

from pathlib import Path
from typing import Any

import click

from harmotrack.cli import words
from harmotrack.cli.options import (
    Request,
    channels_option,
    file_argument,
    json_option,
    reading_options,
)


@click.command("convert")
@file_argument
@click.argument("target", type=click.Path(path_type=Path))
@channels_option
@reading_options
@json_option
def command(file: Path, target: Path, as_json: bool, **options: Any) -> None:
    """Writes a recording as another kind of file, which the end of TARGET's name tells: .wav,
    .flac, .w64, .aiff, .csv, .parquet, .h5, .mat, .tdms or .mf4."""
    from harmotrack.files import check_places
    from harmotrack.writers import write

    check_places(target)
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
