"""Pictures of results, with Matplotlib, in the conventions of the field."""

from harmotrack.plots.curves import (
    bode,
    orders,
    orders_of_passes,
    overall,
    polar,
    speed,
    tracked,
)
from harmotrack.plots.maps import (
    campbell,
    frequency_map,
    order_map,
    order_spectrogram,
    waterfall,
)
from harmotrack.plots.whirl import full_spectrum, orbit

__all__ = [
    "bode",
    "campbell",
    "frequency_map",
    "full_spectrum",
    "orbit",
    "order_map",
    "order_spectrogram",
    "orders",
    "orders_of_passes",
    "overall",
    "polar",
    "speed",
    "tracked",
    "waterfall",
]
