"""Work that ends as reading a damaged file may end."""

import os
import signal
from pathlib import Path

import numpy as np

from harmotrack import HarmotrackError


def crash(_: Path) -> None:
    os.kill(os.getpid(), signal.SIGSEGV)


def hang(_: Path) -> None:
    while True:
        pass


def sleep(_: Path) -> None:
    while True:
        signal.pause()


def take_memory(_: Path) -> np.ndarray:
    return np.ones(1 << 28)  # 2 GiB


def refuse(path: Path) -> None:
    raise HarmotrackError(f"{path} is refused.")


def fail(_: Path) -> None:
    raise KeyError("a member")


def arrays(_: Path, factor: float) -> list[np.ndarray]:
    return [factor * np.arange(5.0), np.empty(0), np.arange(12).reshape(3, 4)[:, ::2]]


def large(_: Path) -> np.ndarray:
    return np.arange(3_000_000.0)  # 24 MB


def folder(_: Path) -> str:
    return os.getcwd()
