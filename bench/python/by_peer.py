"""The order map of rota-order, with its own reading of the tacho; it has no frequency map here."""

import numpy as np
import rota
from contestant import HIGHEST_ORDER, ORDER_RESOLUTION, at_speeds, measure


def work(x: np.ndarray, tacho: np.ndarray, rate: float) -> np.ndarray:
    rpm = rota.speed.tacho_to_rpm(tacho, rate)
    found = rota.maps.rpm_order_map(
        x,
        rate,
        rpm,
        order_resolution=ORDER_RESOLUTION,
        max_order=HIGHEST_ORDER,
        amplitude="peak",
    )
    lines = round(HIGHEST_ORDER / ORDER_RESOLUTION) + 1
    return at_speeds(found.rpm, found.magnitude.T)[:, :lines]


measure(work)
