"""The report: one HTML file that shows an analysis in any browser, without a network.

    write_report(harmotrack.load("run.nc"), "run.html")

It holds the results themselves, so that moving over the order map shows the spectrum, the levels
and the phases of that speed. What the results say stands at its beginning as text.
"""

from __future__ import annotations

from collections.abc import Mapping
from pathlib import Path

from harmotrack.checks import check_type, checked_path
from harmotrack.files import pending_together
from harmotrack.order_analysis import OrderAnalysis
from harmotrack.report.page import render

__all__ = ["render", "write_report", "write_reports"]


def write_report(analysis: OrderAnalysis, path: str | Path) -> Path:
    """Writes render(analysis) to a file, which appears under its name when it is whole."""
    check_type("analysis", analysis, OrderAnalysis, "an OrderAnalysis, or one of TwoPasses")
    path = checked_path(path)
    write_reports({path: analysis})
    return path


def write_reports(analyses: Mapping[Path, OrderAnalysis]) -> None:
    """The same of several, by the paths of their pages: all of them or none."""
    pages = [render(analysis) for analysis in analyses.values()]
    with pending_together(*analyses) as hidden:
        for place, page in zip(hidden, pages, strict=True):
            place.write_text(page, encoding="utf-8", newline="\n")
