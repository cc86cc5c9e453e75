"""What 0 dB is: of sound pressures 20 µPa RMS, of everything else 1 of its unit."""

from __future__ import annotations

import math
from collections.abc import Iterable
from dataclasses import dataclass

from harmotrack.settings import check_number

#: Conventions of amplitudes in words.
CONVENTIONS = {"peak": "peak", "rms": "RMS", "peak-to-peak": "peak-to-peak"}

#: RMS of a sine whose amplitude is 1 in a convention.
_RMS = {"peak": math.sqrt(0.5), "rms": 1.0, "peak-to-peak": math.sqrt(0.125)}

#: Of a unit of pressure, in Pa. The micro sign has two characters.
_PASCALS = {
    "µPa": 1e-6,
    "\u03bcPa": 1e-6,
    "uPa": 1e-6,
    "mPa": 1e-3,
    "Pa": 1.0,
    "hPa": 1e2,
    "kPa": 1e3,
}
_SOUND = 20e-6  #: Pa RMS (ISO 1683)


def usual_convention(units: Iterable[str]) -> str:
    """How amplitudes in some units are stated: sound pressures in RMS, everything else, and
    pressures beside it, as peaks."""
    return "rms" if all(unit in _PASCALS for unit in units) else "peak"


@dataclass(frozen=True)
class Decibels:
    """Levels of amplitudes in one unit and convention: 20 log10(amplitude / zero)."""

    zero: float
    """the amplitude that reads 0 dB, in the unit and the convention of the amplitudes"""
    reference: str
    """the reference with its unit, as in "20 µPa" """
    convention: str
    """in which the levels are stated: peak, RMS or peak-to-peak"""

    @property
    def words(self) -> str:
        """As in "RMS, dB re 20 µPa"."""
        return f"{self.convention}, dB re {self.reference}"


def decibels(unit: str, convention: str, reference: float | None = None) -> Decibels:
    """Levels of amplitudes in a unit and a convention ("peak", "rms" or "peak-to-peak").

    A sound pressure level is one of RMS whatever the convention (IEC 61672-1): a calibrator of 94
    dB, 1 Pa RMS, reads 94 dB. Levels of other units, and those over a ``reference`` in the unit,
    are stated in the convention. Raises HarmotrackError if the reference is not above 0.
    """
    if reference is not None:
        check_number("dB reference", reference, 1e-300, 1e300)
    elif unit in _PASCALS:
        zero = _SOUND / _PASCALS[unit] / _RMS[convention]
        return Decibels(zero, "20 µPa", CONVENTIONS["rms"])
    zero = 1.0 if reference is None else float(reference)
    return Decibels(zero, f"{zero:g} {unit}".rstrip(), CONVENTIONS[convention])
