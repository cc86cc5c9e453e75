"""Order analysis of rotating machinery.

    recording = harmotrack.read("run_up.flac")
    analysis = harmotrack.analyze(recording)
    analysis.plot_order_map()

The names below are loaded when they are first used: a command line that only shows its help pays
for none of them.
"""

from __future__ import annotations

from importlib import import_module
from typing import TYPE_CHECKING, Any

__version__ = "0.1.0"

if TYPE_CHECKING:
    from harmotrack.errors import HarmotrackError as HarmotrackError
    from harmotrack.errors import MissingPackageError as MissingPackageError
    from harmotrack.order_analysis import OrderAnalysis as OrderAnalysis
    from harmotrack.settings import AnalysisSettings as AnalysisSettings
    from harmotrack.storage import load as load

_HOMES = {
    "AnalysisSettings": "settings",
    "HarmotrackError": "errors",
    "MissingPackageError": "errors",
    "OrderAnalysis": "order_analysis",
    "load": "storage",
}

__all__ = ["__version__", *_HOMES]  # noqa: PLE0604


def __getattr__(name: str) -> Any:
    if name not in _HOMES:
        raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
    value = getattr(import_module(f"{__name__}.{_HOMES[name]}"), name)
    globals()[name] = value
    return value


def __dir__() -> list[str]:
    return sorted({*globals(), *_HOMES})
