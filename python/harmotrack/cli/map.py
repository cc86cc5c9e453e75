"""harmotrack map FILE"""

from __future__ import annotations

from pathlib import Path
from typing import Any

import click

from harmotrack.cli import words
from harmotrack.cli.options import Request, analysis_options, file_argument, json_option
from harmotrack.errors import HarmotrackError

_KINDS = ("order", "frequency", "waterfall", "campbell", "full-spectrum")


@click.command("map")
@file_argument
@click.option(
    "--output", "-o", type=click.Path(path_type=Path), help="Picture: .png, .svg or .pdf."
)
@click.option("--kind", type=click.Choice(_KINDS), default="order", show_default=True)
@click.option("--linear", is_flag=True, help="Amplitudes instead of dB.")
@click.option("--reference", type=float, help="Of the dB, in the unit of the channel.")
@analysis_options
@json_option
def command(
    file: Path,
    output: Path | None,
    kind: str,
    linear: bool,
    reference: float | None,
    as_json: bool,
    **options: Any,
) -> None:
    """One picture: the order map of the first channel, or another kind of map."""
    import matplotlib as mpl

    mpl.use("Agg")
    from harmotrack.cli.analyze import save_picture
    from harmotrack.files import pending

    if output is None:
        output = file.with_name(f"{file.stem}_{kind.replace('-', '_')}_map.png")
    if output.suffix.lower() not in (".png", ".svg", ".pdf"):
        raise HarmotrackError(f"The name {output.name} must end in .png, .svg or .pdf.")
    analysis = Request(options).analyze(file)
    scale: dict[str, Any] = {"db": not linear, "reference": reference}
    if kind == "order":
        axes = analysis.plot_order_map(**scale)
    elif kind == "frequency":
        axes = analysis.plot_frequency_map(**scale)
    elif kind == "full-spectrum":
        axes = analysis.plot_full_spectrum(**scale)
    else:
        axes = getattr(analysis, f"plot_{kind}")()
    with pending(output) as hidden:
        save_picture(axes, hidden)
    if as_json:
        words.as_json({"picture": str(output)})
    else:
        print(output)
