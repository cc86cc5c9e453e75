"""The one exception that bad input meets."""

from __future__ import annotations

import os


class HarmotrackError(ValueError):
    """What is wrong with the input, in one sentence: its name, its value and what is allowed."""


class MissingPackageError(HarmotrackError, ImportError):
    """A package that reads or writes one kind of file is not installed; the sentence names it."""


def missing_package(purpose: str, package: str, extra: str) -> MissingPackageError:
    """For instance: "UFF files need the package pyuff: pip install 'harmotrack[uff]'."."""
    return MissingPackageError(
        f"{purpose} need the package {package}: pip install 'harmotrack[{extra}]'."
    )


def reason(error: OSError) -> str:
    """What the system says, as "no space left on device"."""
    return (os.strerror(error.errno) if error.errno else str(error)).lower().rstrip(".")
