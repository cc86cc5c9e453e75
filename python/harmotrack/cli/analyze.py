"""harmotrack analyze FILE"""

from __future__ import annotations

import io
from collections.abc import Callable
from pathlib import Path
from typing import TYPE_CHECKING, Any

import click

from harmotrack.cli import words
from harmotrack.cli.options import Request, analysis_options, file_argument, json_option

if TYPE_CHECKING:
    from harmotrack.files import OutputFolder
    from harmotrack.order_analysis import OrderAnalysis
    from harmotrack.two_passes import TwoPasses


@click.command("analyze")
@file_argument
@click.option(
    "--output",
    "-o",
    type=click.Path(path_type=Path),
    help="Folder to be filled; default: FILE's name without its end.",
)
@click.option(
    "--tables",
    type=click.Choice(["csv", "parquet", "none"]),
    default="csv",
    show_default=True,
    help="Kind of the tables, or none of them.",
)
@click.option("--no-pictures", is_flag=True, help="Write tables and results alone.")
@analysis_options
@json_option
def command(
    file: Path, output: Path | None, tables: str, no_pictures: bool, as_json: bool, **options: Any
) -> None:
    """Analyses a recording into a folder: pictures and tables of everything, and results.nc, which
    the report and Python's harmotrack.load() read.

    Without options the tacho is found by itself, and all settings suit the recording.
    """
    from harmotrack.files import OutputFolder
    from harmotrack.storage import write_results, write_tables

    if output is None:
        output = file.with_suffix("") if file.suffix else Path(f"{file}_orders")
    place = OutputFolder(output)
    place.check()
    analysis = Request(options).analyze(file)
    with place as folder:
        if not no_pictures:
            write_pictures(analysis, folder)
        if tables != "none":
            write_tables(analysis, folder, tables)
        write_results(analysis, folder / "results.nc")
    summary = summary_of(analysis)
    if as_json:
        words.as_json({**summary, "files": [str(path) for path in folder.files]})
        return
    for name, one in passes_of(analysis).items():
        show_summary(one, name)
    print(f"{len(folder.files)} files in {output}")


def passes_of(analysis: OrderAnalysis | TwoPasses) -> dict[str, OrderAnalysis]:
    """Those that passed a speed, by what stands behind the names of their files."""
    from harmotrack.two_passes import TwoPasses

    return analysis.measured if isinstance(analysis, TwoPasses) else {"": analysis}


def pictures_of(analysis: OrderAnalysis | TwoPasses) -> dict[str, Callable[[], Any]]:
    """What draws each picture, by its name."""
    from harmotrack.two_passes import TwoPasses

    pictures: dict[str, Callable[[], Any]] = {}
    for name, one in passes_of(analysis).items():
        drawn = _pictures_of_speeds(one)
        pictures |= {f"{kind}_{name}" if name else kind: draw for kind, draw in drawn.items()}
    if isinstance(analysis, TwoPasses):
        for kind, channel in _numbered(analysis.rising, "orders"):
            pictures[kind] = _drawer(analysis.plot_orders, channel)
        analysis = analysis.rising
    rows = analysis.order_spectrogram
    if rows is not None and rows.size > 0:
        for kind, channel in _numbered(analysis, "order_spectrogram"):
            pictures[kind] = _drawer(analysis.plot_order_spectrogram, channel)
    pictures["speed"] = analysis.plot_speed
    return pictures


def _pictures_of_speeds(analysis: OrderAnalysis) -> dict[str, Callable[[], Any]]:
    kinds = ["order_map", "frequency_map", "waterfall", "campbell", "orders", "overall"]
    if analysis.harmonics.sizes["harmonic"] > 0:
        kinds += ["bode", "polar"]
    pictures: dict[str, Callable[[], Any]] = {}
    for kind in kinds:
        for name, channel in _numbered(analysis, kind):
            pictures[name] = _drawer(getattr(analysis, f"plot_{kind}"), channel)
    if analysis.directional is not None:
        pictures["full_spectrum"] = analysis.plot_full_spectrum
        against_one_angle = analysis.attrs["phase_mode"] == "shaft"
        if analysis.harmonics.sizes["harmonic"] > 0 and against_one_angle:
            pictures["orbit"] = analysis.plot_orbit
    return pictures


def _numbered(analysis: OrderAnalysis, kind: str) -> list[tuple[str, str]]:
    """Names of the pictures of a kind, with the channel of each."""
    if len(analysis.channels) == 1:
        return [(kind, analysis.channels[0])]
    return [(f"{kind}_{k}", channel) for k, channel in enumerate(analysis.channels, start=1)]


def _drawer(plot: Callable[[str], Any], channel: str) -> Callable[[], Any]:
    return lambda: plot(channel)


def write_pictures(analysis: OrderAnalysis | TwoPasses, folder: OutputFolder) -> None:
    import matplotlib as mpl

    mpl.use("Agg")
    from harmotrack.cli.progress import shown

    pictures = pictures_of(analysis)
    with shown("Drawing") as progress:
        for done, (name, draw) in enumerate(pictures.items(), start=1):
            save_picture(draw(), folder / f"{name}.png")
            if progress is not None:
                progress(done / len(pictures))


def save_picture(axes: Any, path: Path) -> None:
    """Of one axes or of several that share a figure; drawn in memory, as what draws stumbles over a
    full disk."""
    import matplotlib.pyplot as plt

    image = io.BytesIO()
    figure = (axes if hasattr(axes, "figure") else axes[0]).figure
    figure.savefig(image, format=path.suffix[1:], dpi=130)
    plt.close(figure)
    path.write_bytes(image.getbuffer())


def summary_of(analysis: OrderAnalysis | TwoPasses) -> dict[str, Any]:
    """What a script wants to know; of two passes, by their names."""
    passes = passes_of(analysis)
    shared = {"recording": analysis.title, "remarks": analysis.remarks}
    if list(passes) == [""]:
        return {**shared, **_summary_of_pass(passes[""])}
    return {**shared, "passes": {name: _summary_of_pass(one) for name, one in passes.items()}}


def _summary_of_pass(analysis: OrderAnalysis) -> dict[str, Any]:
    import numpy as np

    attrs = analysis.attrs
    channels = []
    cuts = analysis.dataset[["order_amplitudes", "harmonics", "coherence"]]
    for channel in analysis.channels:
        orders = []
        for order in analysis.harmonics["harmonic"].values:
            cut = cuts.sel(channel=channel, harmonic=order).isel(speed=analysis.measured)
            if cut.sizes["speed"] == 0:
                continue
            top = cut.isel(speed=int(np.argmax(cut["order_amplitudes"].values)))
            orders.append(
                {
                    "order": float(order),
                    "largest": float(top["order_amplitudes"]),
                    "at_rpm": float(top["speed"]),
                    "phase_deg": float(np.degrees(np.angle(top["harmonics"].item()))),
                    "coherence": float(top["coherence"]),
                }
            )
        overall = analysis.overall.sel(channel=channel).dropna("speed")
        channels.append(
            {
                "name": channel,
                "unit": analysis.unit(channel),
                "overall_rms": float(overall.max()) if overall.size else None,
                "orders": orders,
            }
        )
    return {
        "speed_source": attrs["speed_source"],
        "lowest_rpm": attrs["lowest_rpm"],
        "highest_rpm": attrs["highest_rpm"],
        "bins_measured": int(analysis.measured.sum()),
        "bins": int(analysis.order_blocks.size),
        "amplitude": attrs["amplitude"],
        "order_resolution": analysis.order_map.attrs["resolution"],
        "frequency_resolution_hz": analysis.frequency_map.attrs["resolution"],
        "channels": channels,
    }


def _range(lowest_rpm: float, highest_rpm: float) -> str:
    from harmotrack.defaults import is_steady

    if is_steady(lowest_rpm, highest_rpm):
        return f"steady at {0.5 * (lowest_rpm + highest_rpm):.0f} rpm"
    return f"{lowest_rpm:.0f} to {highest_rpm:.0f} rpm"


def show_summary(analysis: OrderAnalysis, name: str = "") -> None:
    summary = _summary_of_pass(analysis)
    if name:
        print(f"{name}:")
    print(
        f"{analysis.title}: {_range(summary['lowest_rpm'], summary['highest_rpm'])}, "
        f"speed from {summary['speed_source']}"
    )
    print(
        f"{summary['bins_measured']} of {summary['bins']} speeds measured; resolution "
        f"{summary['order_resolution']:.3g} orders and {summary['frequency_resolution_hz']:.3g} Hz"
    )
    words.table(
        f"Largest amplitudes, {summary['amplitude']}",
        ["channel", "order", "amplitude", "unit", "at rpm", "phase in degrees", "coherence"],
        [
            [
                channel["name"],
                f"{order['order']:g}",
                f"{order['largest']:.4g}",
                channel["unit"],
                f"{order['at_rpm']:.0f}",
                f"{order['phase_deg']:.0f}",
                f"{order['coherence']:.2f}",
            ]
            for channel in summary["channels"]
            for order in channel["orders"]
        ],
    )
