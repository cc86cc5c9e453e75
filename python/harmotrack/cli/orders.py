"""harmotrack orders FILE"""

from __future__ import annotations

from pathlib import Path
from typing import Any

import click

from harmotrack.cli import words
from harmotrack.cli.options import Request, analysis_options, file_argument, json_option
from harmotrack.errors import HarmotrackError
from harmotrack.files import check_places


@click.command("orders")
@file_argument
@click.option(
    "--output",
    "-o",
    type=click.Path(path_type=Path),
    help="Table to be written, a name that ends in .csv or .parquet; default: on the terminal.",
)
@analysis_options
@json_option
def command(file: Path, output: Path | None, as_json: bool, **options: Any) -> None:
    """Lists the amplitudes and phases of orders over the speed, on the terminal or in a table."""
    if output is not None and output.suffix.lower() not in (".csv", ".parquet"):
        raise HarmotrackError(f"The name {output.name} must end in .csv or in .parquet.")
    if output is not None:
        check_places(output)
    from harmotrack.order_analysis import OrderAnalysis

    analysis = Request(options).analyze(file)
    table = analysis.tables()["harmonics"]
    if output is not None:
        from harmotrack.storage import write_table

        write_table(table, output)
        if as_json:
            words.as_json({"table": str(output), "remarks": analysis.remarks})
        else:
            print(output)
        return
    one = analysis if isinstance(analysis, OrderAnalysis) else analysis.rising
    if as_json:
        words.as_json(
            {
                "amplitude": one.attrs["amplitude"],
                "phase_reference": one.attrs["phase_reference"],
                "remarks": analysis.remarks,
                "rows": table.to_dict("records"),
            }
        )
        return
    by_pass = ["pass"] if "pass" in table else []
    words.table(
        f"{analysis.title}: orders, {one.attrs['amplitude']}",
        [*by_pass, "channel", "order", "rpm", "amplitude", "unit", "phase in degrees", "coherence"],
        [
            [
                *(row[name] for name in by_pass),
                row["channel"],
                f"{row['order']:g}",
                f"{row['speed_rpm']:g}",
                f"{row['amplitude']:.4g}",
                row["unit"],
                f"{row['phase_deg']:.0f}",
                f"{row['coherence']:.2f}",
            ]
            for row in table.to_dict("records")
        ],
    )
