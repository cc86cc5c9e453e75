"""Values on the command line: numbers, lists of them, ranges and channels."""

from __future__ import annotations

import math
from typing import TYPE_CHECKING, Any

import click

from harmotrack.errors import HarmotrackError

if TYPE_CHECKING:
    from harmotrack.recording import Recording


class _Number(click.ParamType):
    name = "number"

    def convert(
        self, value: Any, param: click.Parameter | None, ctx: click.Context | None
    ) -> float:
        try:
            number = float(value)
        except ValueError:
            self.fail(f"{value!r} is no number.", param, ctx)
        if not math.isfinite(number):
            self.fail(f"{value!r} is no finite number.", param, ctx)
        return number


NUMBER = _Number()


def numbers(text: str, option: str) -> tuple[float, ...]:
    """Numbers with commas between them."""
    return _split(text, option, ",", "numbers with commas between them, as 1,2,4")


def limits(text: str, option: str) -> tuple[float, float]:
    """Two numbers with a colon between them."""
    allowed = "two speeds in rpm, as 600:6000"
    found = _split(text, option, ":", allowed)
    if len(found) != 2:
        raise HarmotrackError(f"--{option} is {text!r}, and it must be {allowed}.")
    return found[0], found[1]


def _split(text: str, option: str, separator: str, allowed: str) -> tuple[float, ...]:
    try:
        found = tuple(float(part) for part in text.split(separator))
    except ValueError:
        found = (math.nan,)
    if not all(map(math.isfinite, found)):
        raise HarmotrackError(f"--{option} is {text!r}, and it must be {allowed}.")
    return found


def channel_name(recording: Recording, text: str) -> str:
    """The name of a channel that is given by its name, or by its number from 1."""
    if text in recording.names or not text.isdecimal():
        return recording[text].name
    number = int(text)
    if not 1 <= number <= len(recording):
        raise HarmotrackError(
            f"There is no channel {number}; {recording.name} has {len(recording)}: "
            f"{', '.join(map(repr, recording.names))}."
        )
    return recording[number - 1].name


def channel_names(recording: Recording, text: str) -> list[str]:
    """The same of several, with commas between them."""
    if text in recording.names:  # which may hold a comma
        return [text]
    return [channel_name(recording, part.strip()) for part in text.split(",")]
