"""How an analysis is done: immutable, checked where they are made."""

from __future__ import annotations

import math
from collections.abc import Iterable
from dataclasses import dataclass
from typing import Any

from harmotrack.errors import HarmotrackError

WINDOWS = (
    "rectangle",
    "hanning",
    "hamming",
    "flattop",
    "triangle",
    "blackman",
    "blackman-harris",
)
AMPLITUDES = ("peak", "rms", "peak-to-peak")
BLOCK_MODES = ("at-crossing", "contiguous")
PASSES = ("together", "apart")
MOVEMENTS = ("both", "rising", "falling")  #: of the speed, that results hold
AVERAGINGS = ("overwrite", "keep-first", "mean", "peak-hold")
DIRECTIONS = ("both", "rising", "falling", "automatic")
PHASE_REFERENCES = ("sine", "cosine")
PHASE_MODES = ("shaft", "first-order")
WEIGHTINGS = (
    "none",
    "a",
    "c",
    "integrate",
    "double-integrate",
    "differentiate",
    "double-differentiate",
)

#: Of the windows, in the library's records.
WINDOW_NUMBERS = {**{name: k for k, name in enumerate(WINDOWS)}, "blackman-harris": 8}


def check_choice(name: str, value: str, choices: tuple[str, ...]) -> None:
    """Raises HarmotrackError if it is none of them."""
    if value not in choices:
        raise HarmotrackError(f"The {name} is {value!r}, and it must be one of {_listed(choices)}.")


def check_number(name: str, value: float, least: float, most: float, unit: str = "") -> None:
    """Both ends are allowed; NaN never is."""
    if isinstance(value, bool) or (not isinstance(value, (int, float)) and not _is_real(value)):
        raise HarmotrackError(f"The {name} is {value!r}, and it must be a number.")
    if not least <= value <= most:
        unit = f" {unit}" if unit else ""
        allowed = f"{least:.7g} to {most:.7g}" if math.isfinite(most) else f"{least:.7g} or more"
        raise HarmotrackError(f"The {name} is {value:.7g}{unit}, and {allowed} is allowed.")


def _is_real(value: object) -> bool:
    try:
        float(value)  # type: ignore[arg-type]
    except (TypeError, ValueError):
        return False
    return not isinstance(value, str)


def _listed(choices: tuple[str, ...]) -> str:
    return ", ".join(repr(choice) for choice in choices[:-1]) + f" or {choices[-1]!r}"


@dataclass(frozen=True, kw_only=True)
class AnalysisSettings:
    """What an analysis computes. Everything has a default; None is chosen from the recording.

    The speed axis has bins with their centres at min_rpm, min_rpm + step_rpm ... up to max_rpm; the
    order axis lines at 0, order_resolution, 2 order_resolution ... up to highest_order.

    Parameters
    ----------
    min_rpm, max_rpm, step_rpm
        The speed axis, rpm. By default all speeds of the recording in about 80 steps of 1, 2 or 5
        times a power of ten.
    direction
        Which changes of speed count: "both", "rising", "falling", or "automatic" (that of the
        beginning).
    hysteresis_percent
        Of step_rpm, 0 to 100: how far the speed must have left a bin's centre before the next
        crossing counts.
    highest_order
        1 to 3000. By default 40, or what 45 % of the sampling rate allows at the highest speed.
    order_resolution
        The inverse of a whole number of revolutions, 1 to 1000, which is the length of a block. By
        default 0.1, coarser in a recording of less than 50 revolutions.
    harmonics
        Orders to be extracted as complex amplitudes over the speed. By default 1, 2, 3 and 4.
    slice_width
        Width of an order slice, in orders: what lies within half of it to either side counts.
    window
        Of every block; each is corrected so that a sine on a line reads its own amplitude.
    amplitude
        How amplitudes are stated: "peak", "rms" or "peak-to-peak". By default rms if all channels
        are pressures, as sound is, else peak.
    block_mode
        "at-crossing": one block where the speed crosses a bin's centre. "contiguous": blocks edge
        to edge. By default contiguous if the speed changes by less than 5 %.
    averaging
        Of several blocks in one bin: "mean", "peak-hold", "keep-first" or "overwrite".
    phase_reference
        "cosine": phase 0 is a maximum at the shaft's mark; "sine": a rising zero.
    phase_mode
        "shaft": phases against the shaft's mark; "first-order": against the phase of order 1. By
        default shaft if the speed comes from pulses.
    weighting
        "a" and "c" are those of sound level meters; the others integrate or differentiate.
    remove_mean
        Subtract the mean of each block before it is transformed.
    time_lines
        Lines of the frequency spectra, 4 to 1048576; 0 takes blocks of about an order block's
        duration at max_rpm.
    row_overlap_percent
        Adds order spectra over the time (order_spectrogram), whatever the speed does: one again and
        again as the shaft turns on, with this share of a block in common with the one before, 0 to
        99.9. By default there are none.

    Raises
    ------
    HarmotrackError
        A setting is out of its range, or none of its choices; the sentence names both.
    """

    min_rpm: float | None = None
    max_rpm: float | None = None
    step_rpm: float | None = None
    direction: str = "both"
    hysteresis_percent: float = 25.0
    highest_order: float | None = None
    order_resolution: float | None = None
    harmonics: tuple[float, ...] | None = None
    slice_width: float = 0.5
    window: str = "hanning"
    amplitude: str | None = None
    block_mode: str | None = None
    averaging: str = "mean"
    phase_reference: str = "cosine"
    phase_mode: str | None = None
    weighting: str = "none"
    remove_mean: bool = True
    time_lines: int = 0
    row_overlap_percent: float | None = None

    def __post_init__(self) -> None:
        self._check_speed_axis()
        self._check_orders()
        check_choice("window", self.window, WINDOWS)
        if self.amplitude is not None:
            check_choice("amplitude", self.amplitude, AMPLITUDES)
        check_choice("averaging", self.averaging, AVERAGINGS)
        check_choice("direction", self.direction, DIRECTIONS)
        check_choice("phase_reference", self.phase_reference, PHASE_REFERENCES)
        check_choice("weighting", self.weighting, WEIGHTINGS)
        if self.block_mode is not None:
            check_choice("block_mode", self.block_mode, BLOCK_MODES)
        if self.phase_mode is not None:
            check_choice("phase_mode", self.phase_mode, PHASE_MODES)
        if self.row_overlap_percent is not None:
            check_number("row_overlap_percent", self.row_overlap_percent, 0.0, 99.9)
        if self.time_lines != 0:
            check_number("time_lines", self.time_lines, 4, 1 << 20)
        if self.time_lines != int(self.time_lines):
            raise HarmotrackError(f"The time_lines are {self.time_lines:g}, not a whole number.")

    def _check_speed_axis(self) -> None:
        if self.min_rpm is not None:
            check_number("min_rpm", self.min_rpm, 0.0, 1e9, "rpm")
        if self.max_rpm is not None:
            check_number("max_rpm", self.max_rpm, self.min_rpm or 0.0, 1e9, "rpm")
        if self.step_rpm is not None:
            check_number("step_rpm", self.step_rpm, 1e-6, 1e9, "rpm")
        check_number("hysteresis_percent", self.hysteresis_percent, 0.0, 100.0)

    def _check_orders(self) -> None:
        if self.highest_order is not None:
            check_number("highest_order", self.highest_order, 1.0, 3000.0)
        if self.order_resolution is not None:
            check_number("order_resolution", self.order_resolution, 0.001, 1.0)
            revolutions = 1.0 / self.order_resolution
            if abs(revolutions - round(revolutions)) > 1e-3:
                raise HarmotrackError(
                    f"The order_resolution is {self.order_resolution:g}, and it must be 1 divided "
                    "by a whole number of revolutions, as 0.1 or 0.25 are."
                )
        check_number("slice_width", self.slice_width, 0.0, 100.0)
        if self.harmonics is not None:
            if isinstance(self.harmonics, (str, bytes)) or not isinstance(self.harmonics, Iterable):
                raise HarmotrackError(
                    f"The harmonics are {self.harmonics!r}, and they must be orders, as (1, 2)."
                )
            for order in self.harmonics:
                check_number("order to be extracted", order, 0.0, self.highest_order or 3000.0)
            object.__setattr__(self, "harmonics", tuple(float(order) for order in self.harmonics))

    def describe(self) -> dict[str, Any]:
        """All settings that are known, as attributes of a data set can hold them."""
        described: dict[str, Any] = {}
        for name in self.__dataclass_fields__:
            value = getattr(self, name)
            if value is None or name == "harmonics":
                continue
            described[name] = int(value) if isinstance(value, bool) else value
        return described


_INTEGRALS = {"m/s²": "m/s", "m/s": "m", "mm/s²": "mm/s", "mm/s": "mm", "µm/s": "µm"}


def weighted_unit(unit: str, weighting: str) -> str:
    """The unit of a signal after its weighting: integration takes m/s² to m/s."""
    steps = {
        "integrate": 1,
        "double-integrate": 2,
        "differentiate": -1,
        "double-differentiate": -2,
    }.get(weighting, 0)
    derivatives = {integral: unit for unit, integral in _INTEGRALS.items()}
    for _ in range(abs(steps)):
        if steps > 0:
            unit = _INTEGRALS.get(unit.replace("m/s^2", "m/s²"), f"{unit}·s")
        else:
            unit = derivatives.get(unit, f"{unit}/s")
    return unit
