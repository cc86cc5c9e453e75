"""Universal file format, sets 58 and 58b, by pyuff."""

from __future__ import annotations

import warnings
from pathlib import Path
from typing import TYPE_CHECKING, Any

import numpy as np
import pyuff

from harmotrack.errors import HarmotrackError
from harmotrack.readers.assembly import (
    ReadOptions,
    Signal,
    channels_at_rate,
    channels_of_stamps,
    cleaned_unit,
    rate_of_step,
    recorded,
)
from harmotrack.recording import Recording

if TYPE_CHECKING:
    from harmotrack.readers.assembly import Part

_TIME_RESPONSE = 1
_SET_58 = 58
_EVEN = 1
_DIRECTIONS = {1: "+X", 2: "+Y", 3: "+Z", -1: "-X", -2: "-Y", -3: "-Z"}


def read(path: Path, options: ReadOptions) -> Recording:
    notes: list[str] = []
    channels: list[Part] = []
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")  # of deprecated calls inside pyuff
        file = pyuff.UFF(str(path))
        types = [int(kind) for kind in file.get_set_types()]
        others = sum(kind != _SET_58 for kind in types)
        spectra = 0
        for k, kind in enumerate(types):
            if kind != _SET_58:
                continue
            data = file.read_sets(k)
            if data["func_type"] == _TIME_RESPONSE and not np.iscomplexobj(data["data"]):
                channels += _channel(data, len(channels) + 1, options, notes)
            else:
                spectra += 1
    if not channels:
        raise HarmotrackError(
            f"{path} holds no time histories; it has {spectra} functions of another kind, and "
            f"{others} sets that are no functions."
        )
    if spectra:
        notes.append(f"{spectra} functions that are no time histories were left out.")
    return recorded(path, channels, notes)


def _channel(
    data: dict[str, Any], number: int, options: ReadOptions, notes: list[str]
) -> list[Part]:
    unit = cleaned_unit(str(data.get("ordinate_axis_units_lab", "")))
    signal = Signal(_name(data, number), np.asarray(data["data"]), unit)
    promised = int(data.get("num_pts", signal.values.size))
    if signal.values.size != promised:
        notes.append(f"{signal.name!r} has {signal.values.size} of {promised} samples.")
    if data.get("abscissa_spacing") != _EVEN:
        times = np.asarray(data["x"], dtype=np.float64)
        return channels_of_stamps(times, [signal], notes, options)
    rate = options.rate or rate_of_step(float(data["abscissa_inc"]))
    return [*channels_at_rate([signal], rate, float(data.get("abscissa_min", 0.0)), notes)]


def _name(data: dict[str, Any], number: int) -> str:
    """The response's name, or where it was measured, or the first line of the set."""
    entity = str(data.get("rsp_ent_name", "")).strip()
    if entity and entity.upper() != "NONE":
        return entity
    node, direction = int(data.get("rsp_node", 0)), int(data.get("rsp_dir", 0))
    if node > 0:
        return f"{node}{_DIRECTIONS.get(direction, '')}"
    label = str(data.get("ordinate_axis_lab", "")).strip()
    if label and label.upper() != "NONE":
        return label
    first = str(data.get("id1", "")).strip()
    return first if first and first.upper() != "NONE" else f"channel {number}"
