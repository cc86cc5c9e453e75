"""The page: its skeleton, and the results that its scripts show."""

from __future__ import annotations

import base64
import hashlib
import json
from html import escape
from typing import TYPE_CHECKING, Any

import numpy as np

from harmotrack.amplitudes import LEAST_COHERENCE
from harmotrack.decibels import CONVENTIONS, decibels
from harmotrack.order_analysis import OrderAnalysis
from harmotrack.report import sections
from harmotrack.report.bundle import asset, bundle
from harmotrack.report.findings import Findings, find
from harmotrack.report.levels import encode_array, encode_levels
from harmotrack.report.resonances import LEAST_ABOVE_FLOOR_DB, noise_floor

if TYPE_CHECKING:
    from numpy.typing import NDArray

#: A speed profile of more values is drawn by the least and the largest one of equal parts.
MOST_PROFILE_VALUES = 8000
#: Cuts that are drawn from the beginning.
MOST_FIRST_CUTS = 6


def render(analysis: OrderAnalysis) -> str:
    """The page as text. The same analysis makes the same page."""
    findings = find(analysis)
    maps = _encoded_maps(analysis)
    style = asset("uplot/uPlot.min.css") + asset("report.css")
    scripts = [bundle("theme_early"), _uplot() + bundle("main")]
    parts = {
        "policy": _policy(style, scripts),
        "title": escape(analysis.title or "Order analysis"),
        "style": style,
        "early": scripts[0],
        "subtitle": sections.subtitle(analysis, findings),
        "findings": sections.findings(analysis, findings),
        "channels": _options(analysis.channels),
        "directional": sections.directional_panels(analysis, findings),
        "phase_note": sections.phase_note(analysis),
        "settings": sections.settings(analysis, findings),
        "version": escape(str(analysis.attrs.get("harmotrack", ""))),
        "analysis": _json(_description(analysis, findings, maps)),
        "levels": _level_blocks(maps),
        "script": scripts[1],
    }
    # One pass, so that a name that looks like a placeholder stays a name.
    pieces = asset("report.html").split("%%")
    return "".join(parts[piece] if index % 2 else piece for index, piece in enumerate(pieces))


def _uplot() -> str:
    licence = asset("uplot/LICENSE").strip()
    return f"/*\nuPlot\n\n{licence}\n*/\n{asset('uplot/uPlot.iife.min.js').strip()}\n"


def _policy(style: str, scripts: list[str]) -> str:
    """Only these scripts run, nothing is fetched: whatever the recording's names contain."""

    def digest(text: str) -> str:
        return "'sha256-" + base64.b64encode(hashlib.sha256(text.encode()).digest()).decode() + "'"

    allowed = " ".join(map(digest, scripts))
    return (
        f"default-src 'none'; script-src {allowed}; style-src {digest(style)}; "
        "base-uri 'none'; form-action 'none'"
    )


def _options(names: tuple[str, ...]) -> str:
    return "".join(
        f'<option value="{index}">{escape(name)}</option>' for index, name in enumerate(names)
    )


def _json(value: Any) -> str:
    """JSON that can't end the element it stands in."""
    text = json.dumps(value, ensure_ascii=False, allow_nan=False, separators=(",", ":"))
    return text.replace("<", "\\u003c").replace("\u2028", "\\u2028").replace("\u2029", "\\u2029")


def _description(
    analysis: OrderAnalysis, findings: Findings, maps: dict[str, dict[str, Any]]
) -> dict[str, Any]:
    harmonics = analysis.harmonics
    orders = harmonics["harmonic"].values
    time, rpm = _thinned(
        analysis.speed_profile["time"].values, analysis.speed_profile.values, MOST_PROFILE_VALUES
    )
    arrays = {
        "speed": analysis.order_map["speed"].values,
        "orders": analysis.order_map["order"].values,
        "frequencies": analysis.frequency_map["frequency"].values,
        "harmonicOrders": orders,
        "amplitudes": analysis.order_amplitudes.values,
        "phases": np.degrees(np.angle(harmonics.values.astype(np.complex128))),
        "coherence": analysis.coherence.values,
        "slices": analysis.order_slices.values,
        "overall": analysis.overall.values,
        "profileTime": time,
        "profileSpeed": rpm,
    }
    if analysis.directional is not None:
        arrays["directionalOrders"] = analysis.directional["directional_order"].values
    return {
        "channels": [_channel(analysis, findings, name) for name in analysis.channels],
        "convention": CONVENTIONS[analysis.order_map.attrs["amplitude"]],
        "orderResolution": float(analysis.order_map.attrs["resolution"]),
        "hasPhase": [_shows_phase(analysis, float(order)) for order in orders],
        "leastCoherence": LEAST_COHERENCE,
        "shownCuts": _first_cuts(analysis),
        "start": _start(analysis, findings),
        "arrays": {name: encode_array(values) for name, values in arrays.items()},
        "levels": {
            name: {key: value for key, value in encoded.items() if key != "data"}
            for name, encoded in maps.items()
        },
    }


def _shows_phase(analysis: OrderAnalysis, order: float) -> bool:
    """Blocks begin anywhere in a turn, so only whole orders have phases that can be compared; and
    against order 1 its own says nothing."""
    least = 2 if analysis.attrs.get("phase_mode") == "first-order" else 1
    return order > least - 0.5 and abs(order - round(order)) < 1e-6


def _channel(analysis: OrderAnalysis, findings: Findings, name: str) -> dict[str, Any]:
    unit = analysis.unit(name)
    levels = decibels(unit, analysis.order_map.attrs["amplitude"])
    return {
        "name": name,
        "unit": unit,
        "reference": levels.reference,
        "referenceLevel": 20.0 * float(np.log10(levels.zero)),
        "levelConvention": levels.convention,
        "overallReferenceLevel": 20.0 * float(np.log10(decibels(unit, "rms").zero)),
        "orderSummary": sections.order_map_summary(analysis, findings, name),
        "frequencySummary": sections.frequency_map_summary(analysis, name),
    }


def _start(analysis: OrderAnalysis, findings: Findings) -> dict[str, float]:
    """Where the cursor stands at first: on what is largest in the first channel."""
    first = [one for one in findings.dominance if one.channel == analysis.channels[0]]
    if not first:
        return {"order": 1.0, "rpm": float(analysis.order_map["speed"].values[0])}
    largest = max(first, key=lambda one: one.amplitude)
    return {"order": largest.order, "rpm": largest.amplitude_rpm}


def _first_cuts(analysis: OrderAnalysis) -> list[int]:
    """The extracted orders that stand out of the noise of a channel at any speed, or all."""
    measured = analysis.measured
    least = noise_floor(analysis)[:, None, measured] * 10 ** (LEAST_ABOVE_FLOOR_DB / 20)
    above = analysis.order_amplitudes.values[:, :, measured] > least
    seen = np.flatnonzero(above.sum(axis=2).max(axis=0, initial=0) >= 3)
    chosen = seen if seen.size else np.arange(analysis.harmonics.sizes["harmonic"])
    return [int(index) for index in chosen[:MOST_FIRST_CUTS]]


def _encoded_maps(analysis: OrderAnalysis) -> dict[str, dict[str, Any]]:
    """By name: order-0, order-1 ... of the channels, frequency-0 ... and directional."""
    maps = {
        f"{name}-{channel}": encode_levels(values)
        for name, variable in (
            ("order", analysis.order_map.values),
            ("frequency", analysis.frequency_map.values),
        )
        for channel, values in enumerate(variable)
    }
    if analysis.directional is not None:
        maps["directional"] = encode_levels(analysis.directional.values)
    return maps


def _level_blocks(maps: dict[str, dict[str, Any]]) -> str:
    return "\n".join(
        f'<script type="text/plain" id="levels-{name}">{encoded["data"]}</script>'
        for name, encoded in maps.items()
    )


def _thinned(
    time: NDArray[np.float64], values: NDArray[np.float64], most: int
) -> tuple[NDArray[np.float64], NDArray[np.float64]]:
    """The least and the largest value of each part of a long curve, in the order of time."""
    if values.size <= most:
        return time, values
    kept = [
        part[index]
        for part in np.array_split(np.arange(values.size), most // 2)
        for index in sorted({int(np.argmin(values[part])), int(np.argmax(values[part]))})
    ]
    return time[kept], values[kept]
