"""Resonances of orders: where an amplitude peaks over the speed and its phase turns.

An order of a machine drives it at order × speed / 60 Hz. Near a natural frequency a lightly damped
machine answers as one degree of freedom does (Ewins, Modal Testing, chapter 4),

    h(r) = n(r) / (1 - r² + 2i ζ r),    r = speed / natural speed,

with an excitation n that changes little across the peak: the amplitude rises and falls, and the
phase falls by nearly 180 degrees.
"""

from __future__ import annotations

from dataclasses import dataclass
from typing import TYPE_CHECKING, Any

import numpy as np

from harmotrack.amplitudes import LEAST_COHERENCE, phasors
from harmotrack.order_analysis import OrderAnalysis

if TYPE_CHECKING:
    from numpy.typing import NDArray

    Floats = NDArray[np.float64]

#: A peak of an order stands at least this far above the lines between the orders ...
LEAST_ABOVE_FLOOR_DB = 15.0
#: ... no more than this below the channel's highest level ...
MOST_BELOW_TOP_DB = 40.0
#: ... and rises by this much, or more, above the valleys on both sides; where no phase can tell a
#: resonance from scatter, by the second figure.
LEAST_PROMINENCE_DB = 3.0
LEAST_PROMINENCE_WITHOUT_PHASE_DB = 6.0
#: Across a resonance the phase of a linear machine falls by 90 degrees between its half-power
#: points. Half of that tells it from an excitation that is merely strongest at one speed.
LEAST_TURN_DEG = 45.0


@dataclass(frozen=True)
class Resonance:
    """A peak of an order over the speed; angles in degrees, amplitudes in the channel's unit."""

    channel: str
    order: float
    rpm: float
    """where the amplitude is largest"""
    amplitude: float
    phase: float | None
    """there; None if the order has no phase against the shaft"""
    turn: float | None
    """change of the phase from turn_from to turn_to, negative where it falls"""
    turn_from: float
    turn_to: float
    natural_rpm: float | None
    """of the model that fits amplitude and phase round the peak; None if none fits"""
    damping: float | None
    """damping ratio of that model; without phases, from the half-power width"""

    @property
    def hertz(self) -> float:
        return self.order * self.rpm / 60.0

    @property
    def is_certain(self) -> bool:
        return self.turn is not None and self.turn <= -LEAST_TURN_DEG


def noise_floor(analysis: OrderAnalysis) -> Floats:
    """Median line of each spectrum, shape (channel, speed): what stands between the orders."""
    values = analysis.order_map.values
    floor = np.full(values.shape[:2], np.nan)
    measured = analysis.measured
    floor[:, measured] = np.median(values[:, measured], axis=2)
    return floor


def has_phase(analysis: OrderAnalysis, order: float) -> bool:
    """Whether the phases of an order can be compared from one speed to the next."""
    if analysis.attrs.get("phase_mode") == "first-order" or not analysis.attrs.get("has_mark", 1):
        return False
    return abs(order - round(order)) < 1e-6 and order > 0


def find_resonances(analysis: OrderAnalysis) -> tuple[Resonance, ...]:
    """Those of every extracted order of every channel, the strongest of a channel first."""
    measured = analysis.measured
    speed = analysis.harmonics["speed"].values[measured]
    if speed.size < 5:
        return ()
    found: list[Resonance] = []
    floors = noise_floor(analysis)[:, measured]
    responses = phasors(analysis)
    for channel, floor in zip(analysis.channels, floors, strict=True):
        cuts = responses.sel(channel=channel).values[:, measured]
        steady = analysis.coherence.sel(channel=channel).values[:, measured] >= LEAST_COHERENCE
        top = float(np.nanmax(np.abs(cuts), initial=0.0))
        least = np.maximum(
            floor * 10 ** (LEAST_ABOVE_FLOOR_DB / 20), top * 10 ** (-MOST_BELOW_TOP_DB / 20)
        )
        of_channel: list[Resonance] = []
        orders = (float(order) for order in analysis.harmonics["harmonic"].values)
        for order, cut, is_steady in zip(orders, cuts, steady, strict=True):
            if not np.isfinite(cut).all():
                continue
            against_shaft = has_phase(analysis, order)
            for peak in _peaks(np.abs(cut), against_shaft):
                phase_counts = against_shaft and bool(is_steady[peak - 1 : peak + 2].all())
                if abs(cut[peak]) > least[peak]:
                    of_channel.append(_describe(channel, order, speed, cut, peak, phase_counts))
        found += sorted(of_channel, key=lambda one: -one.amplitude)
    return tuple(found)


def _peaks(amplitude: Floats, phase_counts: bool) -> list[int]:
    """Indices of the inner maxima that rise enough above the valleys to either side."""
    least = LEAST_PROMINENCE_DB if phase_counts else LEAST_PROMINENCE_WITHOUT_PHASE_DB
    factor = 10 ** (least / 20)
    peaks = []
    for index in range(1, amplitude.size - 1):
        value = amplitude[index]
        if not (value > amplitude[index - 1] and value >= amplitude[index + 1]):
            continue
        left = _valley(amplitude[index::-1])
        right = _valley(amplitude[index:])
        if value >= factor * max(left, right):
            peaks.append(index)
    return peaks


def _valley(amplitude: Floats) -> float:
    """The least value on the way from the first one to where it is exceeded."""
    above = np.flatnonzero(amplitude > amplitude[0])
    return float(amplitude[: above[0] if above.size else None].min())


def _describe(
    channel: str, order: float, speed: Floats, cut: NDArray[Any], peak: int, phase_counts: bool
) -> Resonance:
    rpm, amplitude = _vertex(speed, np.abs(cut), peak)
    low, high = _half_power(speed, np.abs(cut), peak, amplitude)
    natural, damping = None, None
    if phase_counts:
        natural, damping = _fit(speed, cut, rpm, high - low)
    elif speed[0] < low and high < speed[-1]:
        damping = (high - low) / (2.0 * rpm)
    phase = np.unwrap(np.angle(cut))
    phase_there = float(np.degrees(np.interp(rpm, speed, phase)))
    # Three half widths to either side a single resonance has turned the phase by 143 degrees.
    reach = 3.0 * (damping * rpm if damping else 0.5 * (high - low))
    turn_from, turn_to = max(speed[0], rpm - reach), min(speed[-1], rpm + reach)
    turn = float(np.degrees(np.diff(np.interp([turn_from, turn_to], speed, phase))[0]))
    return Resonance(
        channel=channel,
        order=order,
        rpm=rpm,
        amplitude=amplitude,
        phase=_wrapped(phase_there) if phase_counts else None,
        turn=turn if phase_counts else None,
        turn_from=float(turn_from),
        turn_to=float(turn_to),
        natural_rpm=natural,
        damping=damping,
    )


def _wrapped(degrees: float) -> float:
    return -((180.0 - degrees) % 360.0 - 180.0)


def _vertex(speed: Floats, amplitude: Floats, peak: int) -> tuple[float, float]:
    """Place and height of the parabola through a peak and its neighbours."""
    around = slice(peak - 1, peak + 2)
    a, b, c = np.polyfit(speed[around] - speed[peak], amplitude[around], 2)
    if a >= 0:
        return float(speed[peak]), float(amplitude[peak])
    offset = -b / (2 * a)
    return float(speed[peak] + offset), float(c - b * b / (4 * a))


def _half_power(speed: Floats, amplitude: Floats, peak: int, top: float) -> tuple[float, float]:
    """The speeds to both sides at which a half of the power is left, or the ends of the axis."""
    half = top / np.sqrt(2.0)
    low, high = float(speed[0]), float(speed[-1])
    for i in range(peak, 0, -1):
        if amplitude[i - 1] < half:
            low = float(np.interp(half, amplitude[i - 1 : i + 1], speed[i - 1 : i + 1]))
            break
    for i in range(peak, speed.size - 1):
        if amplitude[i + 1] < half:
            high = float(np.interp(-half, -amplitude[i : i + 2], speed[i : i + 2]))
            break
    return low, high


def _fit(
    speed: Floats, cut: NDArray[Any], rpm: float, width: float
) -> tuple[float | None, float | None]:
    """Natural speed and damping ratio of the model above, by linear least squares.

    With x = speed / rpm, h (p - x² + i q x) = n(x) is linear in p = natural², q = 2 ζ natural and
    the coefficients of n, a polynomial of second degree. Each round weighs the equations by the
    denominator of the round before (Sanathanan and Koerner 1963), so that errors of h count alike.
    """
    reach = max(width, 4.0 * float(np.median(np.diff(speed))))
    near = np.abs(speed - rpm) <= reach
    if np.count_nonzero(near) < 8:
        return None, None
    x, h = speed[near] / rpm, cut[near]
    powers = (x[:, None] - 1.0) ** np.arange(3)
    weight = np.ones(x.size)
    p, q = 1.0, 0.0
    excitation = np.zeros(3, dtype=complex)
    for _ in range(8):
        columns = np.column_stack([h, 1j * x * h, -powers, -1j * powers]) * weight[:, None]
        right = x**2 * h * weight
        solution = np.linalg.lstsq(
            np.vstack([columns.real, columns.imag]), np.concatenate([right.real, right.imag])
        )[0]
        p, q = solution[:2]
        excitation = solution[2:5] + 1j * solution[5:8]
        denominator = np.abs(p - x**2 + 1j * q * x)
        weight = 1.0 / np.maximum(denominator, 1e-6)
    if p <= 0:
        return None, None
    natural, damping = float(np.sqrt(p)), float(q / (2.0 * np.sqrt(p)))
    model = powers @ excitation / (p - x**2 + 1j * q * x)
    misfit = np.linalg.norm(model - h) / np.linalg.norm(h)
    if misfit > 0.1 or not 0.85 < natural < 1.15 or not 1e-4 < damping < 0.5:
        return None, None
    return natural * rpm, damping
