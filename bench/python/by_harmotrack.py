"""analyze(): order map, frequency map, complex orders and levels."""

import numpy as np
from contestant import HIGHEST_ORDER, ORDER_RESOLUTION, SPEEDS, measure

import harmotrack
import harmotrack.analysis
import harmotrack.order_analysis


def work(x: np.ndarray, tacho: np.ndarray, rate: float) -> np.ndarray:
    recording = harmotrack.Recording.from_arrays({"x": x, "tacho": tacho}, rate)
    analysis = harmotrack.analyze(
        recording,
        harmotrack.Speed.from_tacho(recording["tacho"]),
        min_rpm=SPEEDS[0],
        max_rpm=SPEEDS[-1],
        step_rpm=SPEEDS[1] - SPEEDS[0],
        order_resolution=ORDER_RESOLUTION,
        highest_order=HIGHEST_ORDER,
        angle_signal=False,
    )
    return np.nan_to_num(analysis.order_map.values[0])


measure(work)
