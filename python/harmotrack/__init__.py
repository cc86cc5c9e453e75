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

if TYPE_CHECKING:
    from harmotrack.analysis import analyze as analyze
    from harmotrack.errors import HarmotrackError as HarmotrackError
    from harmotrack.errors import MissingPackageError as MissingPackageError
    from harmotrack.monitor import Monitor as Monitor
    from harmotrack.monitor import MonitorResult as MonitorResult
    from harmotrack.order_analysis import OrderAnalysis as OrderAnalysis
    from harmotrack.readers import read as read
    from harmotrack.recording import Channel as Channel
    from harmotrack.recording import Recording as Recording
    from harmotrack.settings import AnalysisSettings as AnalysisSettings
    from harmotrack.simulation import RunUp as RunUp
    from harmotrack.simulation import simulate_run_up as simulate_run_up
    from harmotrack.speed import Speed as Speed
    from harmotrack.speed_finder import find_speed as find_speed
    from harmotrack.storage import load as load
    from harmotrack.tracking import Track as Track
    from harmotrack.tracking import track as track
    from harmotrack.two_passes import TwoPasses as TwoPasses
    from harmotrack.version import __version__ as __version__

_HOMES = {
    "AnalysisSettings": "settings",
    "Channel": "recording",
    "HarmotrackError": "errors",
    "MissingPackageError": "errors",
    "Monitor": "monitor",
    "MonitorResult": "monitor",
    "OrderAnalysis": "order_analysis",
    "Recording": "recording",
    "RunUp": "simulation",
    "Speed": "speed",
    "analyze": "analysis",
    "find_speed": "speed_finder",
    "load": "storage",
    "read": "readers",
    "simulate_run_up": "simulation",
    "Track": "tracking",
    "TwoPasses": "two_passes",
    "__version__": "version",
    "track": "tracking",
}

__all__ = [*_HOMES]  # noqa: PLE0604


def __getattr__(name: str) -> Any:
    if name not in _HOMES:
        raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
    value = getattr(import_module(f"{__name__}.{_HOMES[name]}"), name)
    globals()[name] = value
    return value


def __dir__() -> list[str]:
    return sorted({*globals(), *_HOMES})
