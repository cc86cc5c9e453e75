"""What stored results must hold to be results: files come from anywhere, and may be damaged."""

from __future__ import annotations

from dataclasses import dataclass
from typing import TYPE_CHECKING, Any

import numpy as np

from harmotrack.errors import HarmotrackError
from harmotrack.settings import AMPLITUDES, PHASE_REFERENCES, WINDOWS

if TYPE_CHECKING:
    from collections.abc import Callable, Sequence

    import xarray as xr
    from numpy.typing import NDArray

    Rule = tuple[str, Callable[[Any], bool]]


def _one_of(choices: Sequence[str]) -> Rule:
    return f"one of {', '.join(choices)}", lambda value: value in choices


def _no_infinity(values: NDArray[Any]) -> bool:
    return not np.isinf(values).any()


_FINITE: Rule = ("finite numbers", lambda values: bool(np.isfinite(values).all()))
_RISING: Rule = (
    "finite numbers that rise",
    lambda values: bool(np.isfinite(values).all() and (np.diff(values) > 0.0).all()),
)
_NO_INFINITY: Rule = ("no infinite ones", _no_infinity)
_AMPLITUDES: Rule = (
    "amplitudes of 0 or more",
    lambda values: _no_infinity(values) and not (values < 0.0).any(),
)
_SHARES: Rule = (
    "shares of 0 to 1",
    lambda values: not ((values < 0.0) | (values > 1.0)).any(),
)
_COUNTS: Rule = (
    "counts of 0 or more",
    lambda values: bool(values.dtype.kind in "iu" and (values >= 0).all()),
)


@dataclass(frozen=True)
class _Member:
    axes: tuple[str, ...]
    kind: str  #: of its numbers, as NumPy names it
    rule: Rule
    needed: bool = True


# As the table of OrderAnalysis names them; rows that were not measured hold NaN.
_MEMBERS = {
    "order_map": _Member(("channel", "speed", "order"), "f", _AMPLITUDES),
    "frequency_map": _Member(("channel", "speed", "frequency"), "f", _AMPLITUDES),
    "harmonics": _Member(("channel", "harmonic", "speed"), "c", _NO_INFINITY),
    "order_slices": _Member(("channel", "harmonic", "speed"), "f", _AMPLITUDES),
    "order_amplitudes": _Member(("channel", "harmonic", "speed"), "f", _AMPLITUDES, needed=False),
    "coherence": _Member(("channel", "harmonic", "speed"), "f", _SHARES, needed=False),
    "overall": _Member(("channel", "speed"), "f", _AMPLITUDES),
    "order_blocks": _Member(("speed",), "iu", _COUNTS),
    "frequency_blocks": _Member(("speed",), "iu", _COUNTS),
    "speed_profile": _Member(("time",), "f", _FINITE),
    "directional": _Member(("speed", "directional_order"), "f", _AMPLITUDES, needed=False),
    "angle_signal": _Member(("channel", "angle"), "f", _FINITE, needed=False),
    "order_spectrogram": _Member(
        ("channel", "block_time", "order"), "f", _AMPLITUDES, needed=False
    ),
}
#: Of the axes on which the members stand, and what stands along them.
_COORDINATES = {
    "speed": ("speed", _RISING),
    "order": ("order", _RISING),
    "frequency": ("frequency", _RISING),
    "harmonic": ("harmonic", _FINITE),
    "time": ("time", _RISING),
    "directional_order": ("directional_order", _RISING),
    "angle": ("angle", _FINITE),
    "angle_time": ("angle", _FINITE),
    "block_time": ("block_time", _FINITE),
    "block_speed": ("block_time", _FINITE),
}
_POSITIVE: Rule = ("a number above 0", lambda value: 0.0 < float(value) < np.inf)
_NOT_NEGATIVE: Rule = ("a number of 0 or more", lambda value: 0.0 <= float(value) < np.inf)
_CONVENTION = _one_of(AMPLITUDES)
_ATTRIBUTES = {
    "order_map": {
        "amplitude": _CONVENTION,
        "resolution": _NOT_NEGATIVE,
        "noise_bandwidth": _POSITIVE,
    },
    "frequency_map": {
        "amplitude": _CONVENTION,
        "resolution": _NOT_NEGATIVE,
        "noise_bandwidth": _POSITIVE,
    },
    "harmonics": {
        "amplitude": _CONVENTION,
        "phase_reference": _one_of(PHASE_REFERENCES),
    },
    "order_amplitudes": {"amplitude": _CONVENTION},
    "order_slices": {"amplitude": _CONVENTION, "width": _POSITIVE},
    "directional": {"amplitude": _CONVENTION, "resolution": _NOT_NEGATIVE},
    "order_spectrogram": {"amplitude": _CONVENTION, "resolution": _NOT_NEGATIVE},
}


def check(dataset: xr.Dataset) -> None:
    """Raises HarmotrackError, in words that end a sentence about the file, if a member is not
    there, stands on other axes or holds what no analysis gives."""
    _check_names(dataset)
    for name, member in _MEMBERS.items():
        if name not in dataset:
            if member.needed:
                raise HarmotrackError(f"there is no {name!r}")
            continue
        _check_member(dataset[name], name, member)
        for attribute, rule in _ATTRIBUTES.get(name, {}).items():
            _check_attribute(dataset[name].attrs, attribute, rule, name)
    for attribute, choices in (("amplitude", AMPLITUDES), ("window", WINDOWS)):
        _check_attribute(dataset.attrs, attribute, _one_of(choices), "results")
    if "directional" in dataset:
        names = dataset["channel"].values.tolist()
        for attribute in ("directional_x", "directional_y"):
            _check_attribute(dataset.attrs, attribute, _one_of(names), "results")


def _check_names(dataset: xr.Dataset) -> None:
    for name in ("channel", "unit"):
        if name not in dataset.coords or dataset[name].dims != ("channel",):
            raise HarmotrackError(f"there is no {name!r} of each channel")
        if not all(isinstance(text, str) for text in dataset[name].values.tolist()):
            raise HarmotrackError(f"{name!r} holds something else than texts")
    names = dataset["channel"].values.tolist()
    if not names or len(set(names)) != len(names):
        raise HarmotrackError(f"the channels are {names}, and each name must stand once")


def _check_member(values: xr.DataArray, name: str, member: _Member) -> None:
    if values.dims != member.axes:
        raise HarmotrackError(
            f"{name!r} stands over {', '.join(map(str, values.dims)) or 'nothing'}, and it must "
            f"stand over {', '.join(member.axes)}"
        )
    if values.dtype.kind not in member.kind or not member.rule[1](values.values):
        raise HarmotrackError(f"{name!r} must hold {member.rule[0]}")
    for coordinate, (axis, (what, holds)) in _COORDINATES.items():
        if axis not in member.axes:
            continue
        if coordinate not in values.coords or values[coordinate].dims != (axis,):
            raise HarmotrackError(f"there is no {coordinate!r} of {name!r}")
        if values[coordinate].dtype.kind not in "fiu" or not holds(values[coordinate].values):
            raise HarmotrackError(f"{coordinate!r} must hold {what}")


def _check_attribute(attributes: dict[Any, Any], name: str, rule: Rule, of: str) -> None:
    what, holds = rule
    value = attributes.get(name)
    try:
        good = value is not None and holds(value)
    except (TypeError, ValueError):
        good = False
    if not good:
        raise HarmotrackError(f"the {name} of the {of} is {value!r}, and it must be {what}")
