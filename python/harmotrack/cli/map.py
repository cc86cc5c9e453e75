"""harmotrack map FILE"""

from __future__ import annotations

from collections.abc import Callable
from pathlib import Path
from typing import TYPE_CHECKING, Any

import click

from harmotrack.cli import words
from harmotrack.cli.options import Request, analysis_options, file_argument, json_option
from harmotrack.cli.values import NUMBER
from harmotrack.errors import HarmotrackError

if TYPE_CHECKING:
    from matplotlib.axes import Axes

    from harmotrack.order_analysis import OrderAnalysis
    from harmotrack.two_passes import TwoPasses

_KINDS = {
    "order": "plot_order_map",
    "frequency": "plot_frequency_map",
    "waterfall": "plot_waterfall",
    "campbell": "plot_campbell",
    "full-spectrum": "plot_full_spectrum",
    "order-time": "plot_order_spectrogram",
}
_PLAIN = ("waterfall", "campbell")  #: without decibels
_OF_THE_WHOLE = "order-time"  #: over the time, whatever the speed did
_USUAL_OVERLAP = 50.0


@click.command("map")
@file_argument
@click.option(
    "--output",
    "-o",
    type=click.Path(path_type=Path),
    help="Picture to be drawn, a name that ends in .png, .svg or .pdf; default: FILE's name with "
    "_map.png.",
)
@click.option(
    "--kind",
    type=click.Choice([*_KINDS]),
    default="order",
    show_default=True,
    help="Kind of the map.",
)
@click.option("--linear", is_flag=True, help="Show amplitudes instead of decibels.")
@click.option(
    "--reference", type=NUMBER, metavar="VALUE", help="Value of 0 dB, in the unit of the channel."
)
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
    """Draws one picture: the order map of the first channel, or another kind of map."""
    import matplotlib as mpl

    mpl.use("Agg")
    from harmotrack.cli.analyze import save_picture
    from harmotrack.files import check_places, pending

    if output is None:
        output = file.with_name(f"{file.stem}_{kind.replace('-', '_')}_map.png")
    if output.suffix.lower() not in (".png", ".svg", ".pdf"):
        raise HarmotrackError(f"The name {output.name} must end in .png, .svg or .pdf.")
    check_places(output)
    if kind == _OF_THE_WHOLE and options["row_overlap"] is None:
        options["row_overlap"] = _USUAL_OVERLAP
    analysis = Request(options).analyze(file)
    axes = _drawn(analysis, kind, {"db": not linear, "reference": reference})
    with pending(output) as hidden:
        save_picture(axes, hidden)
    if as_json:
        words.as_json({"picture": str(output), "remarks": analysis.remarks})
    else:
        print(output)


def _drawn(analysis: OrderAnalysis | TwoPasses, kind: str, scale: dict[str, Any]) -> Axes:
    """Two passes side by side, in the same colours."""
    import matplotlib.pyplot as plt

    from harmotrack.cli.analyze import passes_of

    passes = passes_of(analysis)
    if kind == _OF_THE_WHOLE:
        passes = {"": next(iter(passes.values()))}
    if list(passes) == [""]:
        return _draw(passes[""], kind, scale)
    size = (9.0 * len(passes), 6.0)
    _, places = plt.subplots(1, len(passes), figsize=size, layout="constrained", squeeze=False)
    drawn = []
    for (name, one), place in zip(passes.items(), places[0], strict=True):
        axes = _draw(one, kind, {**scale, "axes": place})
        axes.set_title(f"{axes.get_title()} – {name}", fontsize="medium", pad=16.0)
        drawn += [mesh for mesh in axes.collections if mesh.get_array() is not None]
    if drawn and kind not in _PLAIN:
        ends = [mesh.get_clim() for mesh in drawn]
        for mesh in drawn:
            mesh.set_clim(min(least for least, _ in ends), max(most for _, most in ends))
    return places[0][0]


def _draw(analysis: OrderAnalysis, kind: str, options: dict[str, Any]) -> Axes:
    if kind in _PLAIN:
        options = {name: value for name, value in options.items() if name == "axes"}
    draw: Callable[..., Axes] = getattr(analysis, _KINDS[kind])
    return draw(**options)
