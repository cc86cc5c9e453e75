"""harmotrack report FILE"""

from __future__ import annotations

from pathlib import Path
from typing import TYPE_CHECKING, Any

import click
from click.core import ParameterSource

from harmotrack.cli import words
from harmotrack.cli.options import Request, analysis_options, file_argument, json_option
from harmotrack.errors import HarmotrackError

if TYPE_CHECKING:
    from harmotrack.order_analysis import OrderAnalysis
    from harmotrack.two_passes import TwoPasses

_RESULTS = (".nc", ".zarr")


@click.command("report")
@file_argument
@click.option(
    "--output",
    "-o",
    type=click.Path(path_type=Path),
    help="Page to be written; default: FILE's name with .html.",
)
@analysis_options
@json_option
def command(file: Path, output: Path | None, as_json: bool, **options: Any) -> None:
    """Writes one HTML file that shows everything in any browser, to explore and to send on.

    FILE is a recording, or results that were stored by analyze or save(). Passes apart give a page
    each, whose names end in _rising and _falling.
    """
    from harmotrack.cli.analyze import passes_of
    from harmotrack.files import check_places
    from harmotrack.report import write_reports

    if output is None:
        output = file.with_suffix(".html")
    if output.suffix.lower() not in (".html", ".htm"):
        raise HarmotrackError(f"The name {output.name} must end in .html.")
    check_places(output)
    if file.suffix.lower() in _RESULTS:
        from harmotrack.storage import load

        _refuse_settings(file)
        analysis: OrderAnalysis | TwoPasses = load(file)
    else:
        analysis = Request(options).analyze(file)
    pages = {
        output.with_stem(f"{output.stem}_{name}") if name else output: one
        for name, one in passes_of(analysis).items()
    }
    write_reports(pages)
    if as_json:
        first = {"report": str(output)} if list(pages) == [output] else {}
        told = {"reports": [str(page) for page in pages], "remarks": analysis.remarks}
        words.as_json({**first, **told})
    else:
        print("\n".join(str(page) for page in pages))


def _refuse_settings(file: Path) -> None:
    """A HarmotrackError if there are options that results leave nothing to do for."""
    context = click.get_current_context()
    for option in context.command.params:
        given = context.get_parameter_source(str(option.name)) is ParameterSource.COMMANDLINE
        if given and option.name not in ("file", "output", "as_json"):
            raise HarmotrackError(
                f"{file} holds results, and {option.opts[-1]} would need the recording."
            )
