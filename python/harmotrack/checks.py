"""Arguments of the wrong kind meet a sentence, as wrong values do."""

from __future__ import annotations

import os
import reprlib
from pathlib import Path
from typing import TYPE_CHECKING, Any

import numpy as np

from harmotrack.errors import HarmotrackError

if TYPE_CHECKING:
    from numpy.typing import NDArray


def check_type(name: str, value: object, types: type | tuple[type, ...], allowed: str) -> None:
    """Raises HarmotrackError if a value is of none of the types, which ``allowed`` says in words.
    True and False are no numbers."""
    if not isinstance(value, types) or (isinstance(value, bool) and types is not bool):
        raise HarmotrackError(f"The {name} is {reprlib.repr(value)}, and it must be {allowed}.")


def checked_path(path: object) -> Path:
    """Raises HarmotrackError if it is none."""
    check_type("path", path, (str, os.PathLike), "the name of a file, as a str or a Path")
    return Path(path)  # type: ignore[arg-type]


def numbers_of(name: str, values: Any) -> NDArray[np.float64]:
    """Values as float64, contiguous, in any shape. Raises HarmotrackError if one is no number."""
    try:
        return np.ascontiguousarray(values, dtype=np.float64)
    except (TypeError, ValueError):
        raise HarmotrackError(
            f"{name} are {reprlib.repr(values)}, and they must be numbers."
        ) from None
