"""Machines whose speed is a row of straight lines, with an order that is known at every moment."""

from __future__ import annotations

import numpy as np
from numpy.typing import NDArray

from harmotrack import Channel, Recording, Speed

RATE = 6400.0


class Machine:
    """Turns at speeds that run straight from corner to corner: seconds, rpm; at 0 it stands still.

    The signals hold order 2 as a cosine of the angle whose amplitude is told at every corner
    interval; y is a quarter turn behind x: a circle with the shaft.
    """

    def __init__(self, corners: list[tuple[float, float]], amplitudes: list[float]) -> None:
        times, rpm = (np.array(column) for column in zip(*corners, strict=True))
        self.seconds = np.arange(round(times[-1] * RATE)) / RATE
        self.rpm = np.interp(self.seconds, times, rpm)
        before = np.concatenate([[0.0], np.cumsum(np.diff(times) * (rpm[1:] + rpm[:-1]) / 120.0)])
        k = np.clip(np.searchsorted(times, self.seconds, side="right") - 1, 0, len(amplitudes) - 1)
        inside = self.seconds - times[k]
        self.turns = before[k] + (rpm[k] + self.rpm) / 120.0 * inside
        size = np.array(amplitudes)[k]
        self.x = size * np.cos(4.0 * np.pi * self.turns)
        self.y = size * np.sin(4.0 * np.pi * self.turns)

    def tacho(self) -> NDArray[np.float64]:
        """A smooth pulse a turn; nothing while it stands still."""
        pulse = 5.0 * np.exp(50.0 * (np.cos(2.0 * np.pi * (self.turns - 0.03)) - 1.0))
        return np.where(self.rpm > 0.0, pulse, 0.0)

    def recording(self) -> Recording:
        signals = {"x": self.x, "y": self.y, "tacho": self.tacho()}
        return Recording(
            tuple(Channel(name, values, RATE, "mm/s") for name, values in signals.items()),
            "machine",
        )

    def speed(self) -> Speed:
        """As it is known where the corners are."""
        return Speed.from_profile(self.seconds[::64], self.rpm[::64])


def up_and_down() -> Machine:
    """Twice as large an order 2 while the speed falls."""
    return Machine([(0.0, 600.0), (8.0, 3000.0), (16.0, 600.0)], [1.0, 2.0])


def stopping() -> Machine:
    """Two run-ups with a standstill of four seconds between them; the second is three times as
    large."""
    return Machine(
        [(0.0, 600.0), (6.0, 2400.0), (6.0, 0.0), (10.0, 0.0), (10.0, 600.0), (16.0, 2400.0)],
        [1.0, 0.0, 0.0, 0.0, 3.0],
    )
