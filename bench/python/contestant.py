"""What all contestants share: time, memory, and what they are asked for."""

from __future__ import annotations

import json
import sys
import time
from collections.abc import Callable
from pathlib import Path

import numpy as np

ORDER_RESOLUTION = 0.1
HIGHEST_ORDER = 30.0
SPEEDS = np.arange(650.0, 5951.0, 50.0)
"""Bin centres, rpm."""


def resident_bytes(name: str) -> int:
    """Of this process: VmRSS, now, or VmHWM, the most since forget_peak()."""
    status = Path("/proc/self/status").read_text(encoding="ascii")
    return 1024 * int(
        next(line for line in status.splitlines() if line.startswith(name)).split()[1]
    )


def forget_peak() -> None:
    Path("/proc/self/clear_refs").write_text("5", encoding="ascii")


def measure(work: Callable[[np.ndarray, np.ndarray, float], np.ndarray]) -> None:
    """`work` makes the order map, shape (speeds, orders), peak amplitudes, of x and the tacho."""
    recording = np.load(sys.argv[1])
    x, tacho, rate = recording["x"], recording["tacho"], float(recording["rate"])
    forget_peak()
    before_bytes, before = resident_bytes("VmRSS"), time.perf_counter()
    order_map = work(x, tacho, rate)
    seconds, used = time.perf_counter() - before, resident_bytes("VmHWM") - before_bytes
    np.savez(sys.argv[2], order_map=order_map, speed=SPEEDS)
    print(json.dumps({"seconds": seconds, "bytes": used}))


def at_speeds(rpm: np.ndarray, rows: np.ndarray) -> np.ndarray:
    """Of rows that were measured at rising speeds, those next to the bin centres."""
    return rows[np.abs(rpm[None, :] - SPEEDS[:, None]).argmin(axis=1)]
