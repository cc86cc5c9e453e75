"""Arrays in a form that a page can hold: levels of maps compressed, everything else exact."""

from __future__ import annotations

import base64
import zlib
from typing import TYPE_CHECKING, Any

import numpy as np

if TYPE_CHECKING:
    from numpy.typing import ArrayLike, NDArray

#: Step of the levels of maps, dB: they are off by half of it at most.
STEP_DB = 0.02

NOT_MEASURED = 0
SILENT = 1
FIRST_LEVEL = 2
LAST_LEVEL = 65535


def encode_levels(amplitudes: ArrayLike) -> dict[str, Any]:
    """A map, shape (rows, columns), as levels in steps of STEP_DB.

        code 0       not measured (NaN)
        code 1       silent (0), or further below the top than the codes reach, 1310 dB
        code c > 1   base + STEP_DB (c - 2), dB re 1 of the unit

    Codes are 16 bits wide. Those of smooth maps shrink as differences, modulo 65536, to the row
    above or to the line before ("predictor"), those of noise as they are; the smallest of the
    three is kept. Low bytes stand before high bytes, for the high ones repeat and the low ones of
    noise don't; all of it is compressed by deflate (RFC 1950) and written in base64.
    """
    values = np.asarray(amplitudes, dtype=np.float64)
    measured = np.isfinite(values)
    sounding = measured & (values > 0)
    levels = 20.0 * np.log10(values, out=np.zeros_like(values), where=sounding)
    top = float(levels[sounding].max()) if sounding.any() else 0.0
    bottom = float(levels[sounding].min()) if sounding.any() else 0.0
    base = max(bottom, top - STEP_DB * (LAST_LEVEL - FIRST_LEVEL))
    steps = np.rint((levels - base) / STEP_DB)
    codes = np.where(sounding & (steps >= 0), steps + FIRST_LEVEL, SILENT)
    codes = np.where(measured, codes, NOT_MEASURED).astype(np.uint16)
    packed = {
        "none": _deflated(codes),
        "above": _deflated(np.diff(codes, axis=0, prepend=np.uint16(0))),
        "before": _deflated(np.diff(codes, axis=1, prepend=np.uint16(0))),
    }
    predictor = min(packed, key=lambda name: len(packed[name]))
    return {
        "rows": values.shape[0],
        "columns": values.shape[1],
        "base": base,
        "step": STEP_DB,
        "bottom": max(bottom, base),
        "top": top,
        "floor": float(np.median(levels[sounding])) if sounding.any() else 0.0,
        "predictor": predictor,
        "data": _text(packed[predictor]),
    }


def _deflated(codes: NDArray[np.uint16]) -> bytes:
    flat = codes.astype("<u2").reshape(-1).view(np.uint8)
    return zlib.compress(flat[0::2].tobytes() + flat[1::2].tobytes(), 6)


def encode_array(values: ArrayLike) -> dict[str, str]:
    """Numbers to the last bit, in base64, as 32 or 64 bits wide as they are."""
    array = np.asarray(values)
    wide = array.dtype == np.float64 or array.dtype.kind in "iu"
    kind, dtype = ("f64", "<f8") if wide else ("f32", "<f4")
    return {"type": kind, "data": _text(array.astype(dtype).tobytes())}


def _text(data: bytes) -> str:
    return base64.b64encode(data).decode("ascii")
