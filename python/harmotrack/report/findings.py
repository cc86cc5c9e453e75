"""What the results of an analysis say, worked out from their arrays."""

from __future__ import annotations

from collections.abc import Sequence
from dataclasses import dataclass
from typing import TYPE_CHECKING

import numpy as np

from harmotrack.order_analysis import OrderAnalysis
from harmotrack.report.resonances import (
    LEAST_ABOVE_FLOOR_DB,
    Resonance,
    find_resonances,
    noise_floor,
)

if TYPE_CHECKING:
    from numpy.typing import NDArray

    Floats = NDArray[np.float64]

#: Stretches of fewer speeds than this belong to their neighbours.
LEAST_STRETCH = 3
#: A whirl has a sense when one radius is larger than the other by this factor.
LEAST_WHIRL_RATIO = 1.1


@dataclass(frozen=True)
class Dominance:
    """A stretch of speeds at which one order is the strongest line of a channel."""

    channel: str
    order: float
    from_rpm: float
    to_rpm: float
    amplitude: float
    """the largest of the stretch"""
    amplitude_rpm: float


@dataclass(frozen=True)
class Whirl:
    """A stretch of speeds at which an order turns in one sense."""

    order: float
    sense: str
    """forward, backward, or straight if neither radius is much larger"""
    from_rpm: float
    to_rpm: float


@dataclass(frozen=True)
class SpeedQuality:
    """How well the speed is known, from its own course."""

    turns: int
    lowest_rpm: float
    highest_rpm: float
    scatter_percent: float | None
    """of single turns round the course of their neighbours; None of fewer than 5 turns"""
    largest_step_percent: float | None
    """change from a turn to the next"""
    largest_step_time: float | None
    reversals: int
    """passes up and down that span a tenth of the range or more, less one"""
    repairs: tuple[str, ...] | None
    """a sentence on each mended stretch of pulses; None if nothing is known of them"""


@dataclass(frozen=True)
class Findings:
    resonances: tuple[Resonance, ...]
    dominance: tuple[Dominance, ...]
    whirl: tuple[Whirl, ...]
    speed: SpeedQuality
    limits: tuple[str, ...]
    """what the data can't tell, in sentences"""


def find(analysis: OrderAnalysis) -> Findings:
    speed = speed_quality(analysis)
    return Findings(
        resonances=find_resonances(analysis),
        dominance=find_dominance(analysis),
        whirl=find_whirl(analysis),
        speed=speed,
        limits=_limits(analysis, speed),
    )


# Which order dominates where.


def find_dominance(analysis: OrderAnalysis) -> tuple[Dominance, ...]:
    """The stretches of every channel, by rising speed."""
    measured = analysis.measured
    speed = analysis.order_map["speed"].values[measured]
    orders = analysis.order_map["order"].values
    first = first_line_beside_zero(analysis)
    if speed.size == 0 or first >= orders.size:
        return ()
    found: list[Dominance] = []
    for channel in analysis.channels:
        rows = analysis.order_map.sel(channel=channel).values[measured][:, first:]
        lines = np.argmax(rows, axis=1)
        names = [_named(analysis, float(orders[first + line])) for line in lines]
        for start, stop in stretches(names):
            levels = rows[start:stop].max(axis=1)
            peak = int(np.argmax(levels))
            found.append(
                Dominance(
                    channel=channel,
                    order=_commonest(names[start:stop]),
                    from_rpm=float(speed[start]),
                    to_rpm=float(speed[stop - 1]),
                    amplitude=float(levels[peak]),
                    amplitude_rpm=float(speed[start + peak]),
                )
            )
    return tuple(found)


def first_line_beside_zero(analysis: OrderAnalysis) -> int:
    """What a constant offset leaks into is no order: it spans the window's main lobe."""
    bandwidth = float(analysis.order_map.attrs["noise_bandwidth"])
    return int(np.ceil(2.0 * bandwidth))


def _named(analysis: OrderAnalysis, order: float) -> float:
    """The extracted or whole order that a line belongs to, or the line's own order."""
    resolution = float(analysis.order_map.attrs["resolution"])
    known = [*(float(value) for value in analysis.harmonics["harmonic"].values), round(order)]
    nearest = min(known, key=lambda value: abs(value - order))
    return nearest if abs(nearest - order) <= 1.01 * resolution else round(order, 6)


def _commonest(names: Sequence[float]) -> float:
    return max(sorted(set(names)), key=list(names).count)


def stretches(names: Sequence[object]) -> list[tuple[int, int]]:
    """Runs of equal names as (start, stop), each at least LEAST_STRETCH long: shorter ones belong
    to the run before them, and those at the beginning to the first long one."""
    runs: list[tuple[int, int, object]] = []
    start = 0
    for stop in range(1, len(names) + 1):
        if stop < len(names) and names[stop] == names[start]:
            continue
        is_short = stop - start < LEAST_STRETCH
        if runs and (is_short or runs[-1][2] == names[start]):
            runs[-1] = (runs[-1][0], stop, runs[-1][2])
        elif runs and runs[-1][1] - runs[-1][0] < LEAST_STRETCH:
            runs[-1] = (runs[-1][0], stop, names[start])
        else:
            runs.append((start, stop, names[start]))
        start = stop
    return [(first, last) for first, last, _ in runs]


# Forward or backward.


def find_whirl(analysis: OrderAnalysis) -> tuple[Whirl, ...]:
    """Of each extracted order, where its motion stands out of the noise."""
    directional = analysis.directional
    if directional is None:
        return ()
    measured = analysis.measured
    speed = directional["speed"].values[measured]
    radii = directional.values[measured].astype(np.float64)
    orders = directional["directional_order"].values
    floor = np.median(radii, axis=1)
    found: list[Whirl] = []
    for order in analysis.harmonics["harmonic"].values:
        if order <= 0 or not orders[0] <= order <= orders[-1]:
            continue
        forward = radii[:, np.argmin(np.abs(orders - order))]
        backward = radii[:, np.argmin(np.abs(orders + order))]
        senses = [
            _sense(ahead, against, least)
            for ahead, against, least in zip(
                forward, backward, floor * 10 ** (LEAST_ABOVE_FLOOR_DB / 20), strict=True
            )
        ]
        for start, stop in stretches(senses):
            sense = max(sorted(set(senses[start:stop])), key=senses[start:stop].count)
            if sense and stop - start >= LEAST_STRETCH:
                found.append(
                    Whirl(float(order), sense, float(speed[start]), float(speed[stop - 1]))
                )
    return tuple(found)


def _sense(forward: float, backward: float, least: float) -> str:
    """Forward, backward or straight; empty if the motion is lost in the noise."""
    if max(forward, backward) < least:
        return ""
    if forward > LEAST_WHIRL_RATIO * backward:
        return "forward"
    return "backward" if backward > LEAST_WHIRL_RATIO * forward else "straight"


# The speed.


def speed_quality(analysis: OrderAnalysis) -> SpeedQuality:
    rpm = analysis.speed_profile.values
    times = analysis.speed_profile["time"].values
    repairs = analysis.attrs.get("speed_repairs")
    steps = 100.0 * np.abs(np.diff(rpm)) / np.maximum(rpm[:-1], 1e-9)
    largest = int(np.argmax(steps)) if steps.size else None
    return SpeedQuality(
        turns=int(rpm.size),
        lowest_rpm=float(rpm.min(initial=np.inf)) if rpm.size else 0.0,
        highest_rpm=float(rpm.max(initial=-np.inf)) if rpm.size else 0.0,
        scatter_percent=_scatter(rpm),
        largest_step_percent=None if largest is None else float(steps[largest]),
        largest_step_time=None if largest is None else float(times[largest + 1]),
        reversals=_reversals(rpm),
        repairs=None if repairs is None else tuple(str(repairs).splitlines()),
    )


def _scatter(rpm: Floats) -> float | None:
    """Standard deviation of single values round a cubic course, per cent of the speed.

    Fourth differences are 0 on a cubic, and of independent values they have 70 times the variance
    (1 + 16 + 36 + 16 + 1). The median absolute value, 0.6745 deviations, lets no spike count.
    """
    if rpm.size < 5:
        return None
    relative = np.diff(rpm, 4) / np.maximum(rpm[2:-2], 1e-9)
    return float(100.0 * np.median(np.abs(relative)) / 0.6745 / np.sqrt(70.0))


def _reversals(rpm: Floats) -> int:
    """Changes between rising and falling, each by at least a tenth of the range."""
    if rpm.size < 2:
        return 0
    least = 0.1 * float(np.ptp(rpm))
    count, direction = 0, 0
    low = high = rpm[0]
    for value in rpm:
        low, high = min(low, value), max(high, value)
        if direction <= 0 and value - low > least:
            count += direction < 0
            direction, high = 1, value
        elif direction >= 0 and high - value > least:
            count += direction > 0
            direction, low = -1, value
    return int(count)


# What the data can't tell.


def _limits(analysis: OrderAnalysis, speed: SpeedQuality) -> tuple[str, ...]:
    return tuple(
        sentence
        for sentence in (
            _range_limit(analysis),
            _empty_limit(analysis),
            _edge_limit(analysis),
            _axis_limit(analysis),
            _separation_limit(analysis),
            _floor_limit(analysis),
            _smear_limit(analysis),
            _phase_limit(analysis),
            _whirl_limit(analysis),
            _repeat_limit(analysis),
            _pass_limit(analysis, speed),
            _repair_limit(analysis, speed),
        )
        if sentence
    )


def number(value: float, digits: int = 4) -> str:
    """A number with so many significant digits, never as a power of ten."""
    if not np.isfinite(value):
        return "—"
    if value == 0:
        return "0"
    decimals = max(0, digits - 1 - int(np.floor(np.log10(abs(value)))))
    text = f"{value:.{decimals}f}"
    return text.rstrip("0").rstrip(".") if "." in text else text


def amount(value: float, unit: str, digits: int = 4) -> str:
    """A number with its unit, if it has one."""
    return f"{number(value, digits)} {unit}".rstrip()


def span(from_rpm: float, to_rpm: float) -> str:
    return f"{speeds(from_rpm, to_rpm)} rpm"


def speeds(from_rpm: float, to_rpm: float) -> str:
    return f"{number(from_rpm)} to {number(to_rpm)}"


def _measured_speeds(analysis: OrderAnalysis) -> Floats:
    speed: Floats = analysis.order_map["speed"].values
    return speed[analysis.measured]


def _range_limit(analysis: OrderAnalysis) -> str:
    speed = _measured_speeds(analysis)
    if speed.size == 0:
        return "No spectrum was measured at any speed, so nothing is known of the vibration."
    return (
        f"Nothing is known of speeds below {number(speed[0])} and above {number(speed[-1])} rpm; "
        "resonances there remain unseen."
    )


def _empty_limit(analysis: OrderAnalysis) -> str:
    speed = analysis.order_map["speed"].values
    measured = np.flatnonzero(analysis.measured)
    if measured.size == 0:
        return ""
    inside = np.arange(measured[0], measured[-1] + 1)
    empty = np.setdiff1d(inside, measured)
    if empty.size == 0:
        return ""
    runs = np.split(empty, np.flatnonzero(np.diff(empty) > 1) + 1)
    names = [
        number(speed[run[0]])
        if run.size == 1
        else f"{number(speed[run[0]])} to {number(speed[run[-1]])}"
        for run in runs
    ]
    listed = ", ".join(names[:6]) + (f" and {len(names) - 6} more" if len(names) > 6 else "")
    return f"No block was measured at {listed} rpm; these rows of the maps are empty."


def _edge_limit(analysis: OrderAnalysis) -> str:
    """Orders that are largest at an end of the range: their peak may lie beyond it."""
    measured = analysis.measured
    if np.count_nonzero(measured) < 3:
        return ""
    floors = noise_floor(analysis)[:, measured]
    ends: dict[str, set[float]] = {"lowest": set(), "highest": set()}
    for channel, floor in zip(analysis.channels, floors, strict=True):
        for order in analysis.harmonics["harmonic"].values:
            cuts = analysis.order_amplitudes.sel(channel=channel, harmonic=order)
            cut = cuts.values[measured]
            peak = int(np.argmax(cut))
            if cut[peak] > floor[peak] * 10 ** (LEAST_ABOVE_FLOOR_DB / 20):
                if peak == 0:
                    ends["lowest"].add(float(order))
                elif peak == cut.size - 1:
                    ends["highest"].add(float(order))
    return " ".join(
        f"At the {end} speed {_orders(orders)} {'is' if len(orders) == 1 else 'are'} largest; "
        "whether a resonance lies beyond, the run doesn't show."
        for end, orders in ends.items()
        if orders
    )


def _orders(orders: set[float]) -> str:
    names = [number(order) for order in sorted(orders)]
    if len(names) == 1:
        return f"order {names[0]}"
    return f"orders {', '.join(names[:-1])} and {names[-1]}"


def _axis_limit(analysis: OrderAnalysis) -> str:
    orders = analysis.order_map["order"].values
    frequencies = analysis.frequency_map["frequency"].values
    return (
        f"Orders above {number(orders[-1])} and frequencies above {number(frequencies[-1])} Hz "
        "are not analysed."
    )


def _separation_limit(analysis: OrderAnalysis) -> str:
    order = analysis.order_map.attrs
    frequency = analysis.frequency_map.attrs
    lines = 2.0 * float(order["noise_bandwidth"])
    return (
        f"Components closer together than about {number(lines * order['resolution'], 2)} orders "
        f"or {number(lines * frequency['resolution'], 2)} Hz are not told apart: that is the width "
        f"of the {analysis.attrs.get('window', '')} window."
    ).replace("the  window", "the window")


def _floor_limit(analysis: OrderAnalysis) -> str:
    floors = noise_floor(analysis)
    parts = [
        f"{amount(float(np.nanmedian(floor)), analysis.unit(channel), 2)} ({channel})"
        for channel, floor in zip(analysis.channels, floors, strict=True)
        if np.isfinite(floor).any()
    ]
    if not parts:
        return ""
    return f"Orders below the noise between them are not seen: a line of {', '.join(parts)}."


def _smear_limit(analysis: OrderAnalysis) -> str:
    """How much the speed changes while the shaft makes the turns of a block: one value a turn."""
    resolution = float(analysis.order_map.attrs["resolution"])
    turns = round(1.0 / resolution) if resolution > 0 else 0
    rpm = analysis.speed_profile.values
    if turns == 0 or rpm.size <= turns:
        return ""
    change = 100.0 * np.abs(rpm[turns:] / np.maximum(rpm[:-turns], 1e-9) - 1.0)
    return (
        f"A block of {turns} revolutions spans a change of the speed of "
        f"{number(float(np.median(change)), 2)} % typically and {number(float(change.max()), 2)} % "
        "at most; what changes faster over the speed is blurred."
    )


def _phase_limit(analysis: OrderAnalysis) -> str:
    if analysis.attrs.get("phase_mode") == "first-order":
        return (
            "Phases are taken against that of order 1, which itself has none; so neither the heavy "
            "spot nor a turn of order 1's phase through a resonance can be seen."
        )
    if not analysis.attrs.get("has_mark", 1):
        return (
            "The speed came without a mark on the shaft, so phases drift with the error of the "
            "speed, the heavy spot is unknown, and a peak can't be confirmed as a resonance by its "
            "phase."
        )
    return ""


def _whirl_limit(analysis: OrderAnalysis) -> str:
    if analysis.directional is not None:
        return (
            f"Forward and backward hold if {analysis.attrs['directional_y']} stands a quarter turn "
            f"after {analysis.attrs['directional_x']} in the sense of rotation."
        )
    if len(analysis.channels) == 1:
        return "One channel can't tell whether the shaft whirls forward or backward."
    return (
        "No pair of channels was named as directions a quarter turn apart, so whether the shaft "
        "whirls forward or backward is not known."
    )


def _repeat_limit(analysis: OrderAnalysis) -> str:
    blocks = analysis.order_blocks.values[analysis.measured]
    if blocks.size == 0 or np.median(blocks) > 1:
        return ""
    return "Most speeds were measured once, so nothing is known of how well they repeat."


def _pass_limit(analysis: OrderAnalysis, speed: SpeedQuality) -> str:
    if speed.reversals == 0 or analysis.attrs.get("direction", "both") != "both":
        return ""
    return (
        "The speed rises and falls in this recording, and both passes share the rows of the maps: "
        "what differs between run-up and coast-down is mixed."
    )


def _repair_limit(analysis: OrderAnalysis, speed: SpeedQuality) -> str:
    if speed.repairs is not None or not analysis.attrs.get("has_mark", 1):
        return ""  # only pulses mark the shaft
    return "Whether pulses of the speed signal were missing or mended was not recorded."
