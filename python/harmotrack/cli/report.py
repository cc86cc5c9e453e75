"""harmotrack report FILE"""

from __future__ import annotations

from pathlib import Path
from typing import Any

import click

from harmotrack.cli import words
from harmotrack.cli.options import Request, analysis_options, file_argument, json_option
from harmotrack.errors import HarmotrackError

_RESULTS = (".nc", ".zarr")


@click.command("report")
@file_argument
@click.option(
    "--output", "-o", type=click.Path(path_type=Path), help="Page; FILE's name with .html."
)
@analysis_options
@json_option
def command(file: Path, output: Path | None, as_json: bool, **options: Any) -> None:
    """One HTML file that shows everything in any browser, to explore and to send on.

    FILE is a recording, or results that were stored by analyze or save().
    """
    from harmotrack.report import write_report

    if output is None:
        output = file.with_suffix(".html")
    if output.suffix.lower() not in (".html", ".htm"):
        raise HarmotrackError(f"The name {output.name} must end in .html.")
    if file.suffix.lower() in _RESULTS:
        from harmotrack.storage import load

        analysis = load(file)
    else:
        analysis = Request(options).analyze(file)
    write_report(analysis, output)
    if as_json:
        words.as_json({"report": str(output)})
    else:
        print(output)
