"""Results made by hand, so that what is drawn and stored from them is known."""

from __future__ import annotations

from typing import Any

import numpy as np

from harmotrack import AnalysisSettings, OrderAnalysis

SPEED = np.arange(600.0, 3001.0, 100.0)
ORDERS = np.linspace(0.0, 10.0, 101)
FREQUENCIES = np.arange(0.0, 501.0, 2.0)
EMPTY = 3
"""Index of the speed at which nothing was measured."""


def analysis(**changes: Any) -> OrderAnalysis:
    """Two channels, x and y in mm/s: order 1 of amplitude 2 with the lines of a Hanning window,
    through a resonance at 1800 rpm, and order 2 of amplitude 0.5; both forward circles."""
    ratio = SPEED / 1800.0
    first = 2.0 * ratio**2 / (1.0 - ratio**2 + 0.2j * ratio)
    second = np.full(SPEED.size, 0.5 + 0.0j)
    cuts = np.stack([first, second])
    order_map = np.full((SPEED.size, ORDERS.size), 1e-3)
    frequency_map = np.full((SPEED.size, FREQUENCIES.size), 1e-3)
    for order, cut in ((1.0, first), (2.0, second)):
        line = round(order / 0.1)
        order_map[:, line] = np.abs(cut)
        order_map[:, [line - 1, line + 1]] = 0.5 * np.abs(cut)[:, None]
        nearest = np.rint(order * SPEED / 60.0 / 2.0).astype(int)
        frequency_map[np.arange(SPEED.size), nearest] = np.abs(cut)
    radii = np.full((SPEED.size, 2 * ORDERS.size - 1), 1e-3)
    radii[:, ORDERS.size - 1 :] = order_map
    blocks = np.ones(SPEED.size, dtype=int)
    blocks[EMPTY] = 0
    arrays: dict[str, Any] = {
        "channels": ["x", "y"],
        "units": ["mm/s", "mm/s"],
        "speed": SPEED,
        "orders": ORDERS,
        "order_map": np.stack([order_map, order_map]),
        "frequencies": FREQUENCIES,
        "frequency_map": np.stack([frequency_map, frequency_map]),
        "harmonic_orders": [1.0, 2.0],
        "harmonics": np.stack([cuts, -1j * cuts]),
        "overall": np.stack([np.abs(first), np.abs(first)]) / np.sqrt(2.0),
        "order_blocks": blocks,
        "frequency_blocks": blocks,
        "speed_times": np.linspace(0.0, 24.0, 241),
        "speed_values": np.linspace(600.0, 3000.0, 241),
        "directional_orders": np.linspace(-10.0, 10.0, 201),
        "directional": radii,
        "directional_pair": ("x", "y"),
        "settings": AnalysisSettings(order_resolution=0.1, highest_order=10.0),
        "title": "made by hand",
        "speed_source": "pulses of the channel tacho",
    }
    arrays.update(changes)
    return OrderAnalysis.from_arrays(**arrays)
