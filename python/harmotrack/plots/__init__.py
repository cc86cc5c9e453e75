"""Pictures of results, with Matplotlib, in the conventions of the field."""

from harmotrack.plots.curves import bode, orders, overall, polar, speed, tracked
from harmotrack.plots.maps import campbell, frequency_map, order_map, waterfall
from harmotrack.plots.whirl import full_spectrum, orbit

__all__ = [
    "bode",
    "campbell",
    "frequency_map",
    "full_spectrum",
    "orbit",
    "order_map",
    "orders",
    "overall",
    "polar",
    "speed",
    "tracked",
    "waterfall",
]
