"""What suits a recording where nothing else was asked for."""

from __future__ import annotations

import math
from collections.abc import Sequence
from dataclasses import replace
from typing import Any

from harmotrack.decibels import usual_convention
from harmotrack.errors import HarmotrackError
from harmotrack.recording import Channel
from harmotrack.settings import AnalysisSettings
from harmotrack.speed import Speed

_BINS = 80
_USUAL_ORDER = 40.0
_STEADY = 0.05  #: of the highest speed: a machine whose speed changes by less is steady
_PASSED_SHARE = 0.45  #: of the sampling rate, in which the resampling keeps amplitudes


def resolved(
    settings: AnalysisSettings, signals: Sequence[Channel], speed: Speed, passes: str = "together"
) -> AnalysisSettings:
    """Settings in which nothing is left to be chosen, for signals that are sampled together.

    speed axis   from the lowest to the highest speed, in about 80 steps of 1, 2 or 5 times a power
                 of ten; one step for all of a steady speed, which changes by less than 5 %
    orders       up to 40, or what 45 % of the sampling rate allows at the highest speed
    resolution   0.1, blocks of ten revolutions; coarser if no stretch of known speed has 50
    harmonics    1, 2, 3 and 4, as far as there are such orders
    blocks       one where the speed crosses a bin's centre; edge to edge of a steady speed, as it
                 crosses hardly any, if passes are together
    phases       against the mark of the shaft if there is one, else against order 1
    amplitudes   RMS if all signals are pressures, else peaks
    """
    signal = signals[0]
    turning = speed.turning(signal.start, signal.start + signal.duration)
    if turning.size == 0:
        raise HarmotrackError(
            f"The recording from {signal.start:g} s to {signal.start + signal.duration:g} s and "
            f"the speed ({speed.source}) from {speed.start:g} s to {speed.end:g} s share less than "
            "two revolutions."
        )
    lowest, highest = float(turning.min()), float(turning.max())
    highest_order = settings.highest_order or _highest_order(highest, signal.rate)
    check_reach(highest_order, highest, signal.rate)
    harmonics = settings.harmonics
    if harmonics is None:
        harmonics = tuple(order for order in (1.0, 2.0, 3.0, 4.0) if order <= highest_order)
    steady = is_steady(lowest, highest) and passes == "together"
    return replace(
        settings,
        **_speed_axis(settings, lowest, highest, steady),
        highest_order=highest_order,
        order_resolution=settings.order_resolution
        or _resolution(max(segment.turns for segment in speed.segments)),
        harmonics=harmonics,
        block_mode=settings.block_mode or ("contiguous" if steady else "at-crossing"),
        phase_mode=settings.phase_mode or ("shaft" if speed.has_mark else "first-order"),
        amplitude=settings.amplitude or usual_convention(signal.unit for signal in signals),
    )


def is_steady(lowest_rpm: float, highest_rpm: float) -> bool:
    """Whether a machine counts as one of a single speed."""
    return highest_rpm - lowest_rpm < _STEADY * highest_rpm


def round_step(value: float) -> float:
    """1, 2 or 5 times a power of ten, the nearest to a value by ratio."""
    decade = 10.0 ** math.floor(math.log10(value))
    return min((f * decade for f in (1, 2, 5, 10)), key=lambda s: abs(math.log(s / value)))


def _speed_axis(
    settings: AnalysisSettings, lowest: float, highest: float, steady: bool
) -> dict[str, Any]:
    if steady and (settings.min_rpm, settings.max_rpm, settings.step_rpm) == (None, None, None):
        return _one_bin(lowest, highest)
    least = lowest if settings.min_rpm is None else settings.min_rpm
    most = highest if settings.max_rpm is None else settings.max_rpm
    # A steady machine gets steps of a thousandth of its speed.
    span = max(most - least, 0.001 * highest * _BINS)
    step = settings.step_rpm or round_step(span / _BINS)
    if settings.min_rpm is None:
        least = max(round(least / step), 0) * step
    if settings.max_rpm is None:
        most = max(round(most / step) * step, least)
    return {"min_rpm": least, "max_rpm": most, "step_rpm": step}


def _one_bin(lowest: float, highest: float) -> dict[str, Any]:
    """Round figures, with room for the speed of single blocks to either side."""
    unit = round_step(0.0001 * highest)
    centre = round(0.5 * (lowest + highest) / unit) * unit
    least = round_step(0.01 * highest)
    step = least * math.ceil(max(1.1 * (highest - lowest) / least, 1.0))
    return {"min_rpm": centre, "max_rpm": centre, "step_rpm": step}


def _highest_order(highest_rpm: float, rate: float) -> float:
    reach = _PASSED_SHARE * rate * 60.0 / highest_rpm
    sure = 0.99 * reach  # the run sees the speed at closer steps
    allowed = min(_USUAL_ORDER, math.floor(sure) if sure >= 2.0 else math.floor(10.0 * sure) / 10.0)
    if allowed < 1.0:
        raise HarmotrackError(
            f"Order 1 is {highest_rpm / 60.0:g} Hz at the highest speed, above 45 % of the "
            f"sampling rate of {rate:g} Hz."
        )
    return float(allowed)


def check_reach(order: float, rpm: float, rate: float) -> None:
    """The resampling to equal angles keeps amplitudes up to a share of the sampling rate."""
    reach = _PASSED_SHARE * rate
    hertz = order * rpm / 60.0
    if hertz > reach * (1.0 + 1e-6):
        raise HarmotrackError(
            f"Order {order:g} is {hertz:g} Hz at {rpm:g} rpm, above 45 % of the sampling rate of "
            f"{rate:g} Hz; the highest order possible is "
            f"{math.floor(10.0 * reach * 60.0 / rpm) / 10.0:g}."
        )


def _resolution(turns: float) -> float:
    if turns >= 50.0:
        return 0.1
    return 0.2 if turns >= 25.0 else 0.5
