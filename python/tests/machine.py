"""The example machine in closed form, as the arrays that an ideal analysis of it would give.

An unbalanced rotor on bearings of different stiffness: order 1 resonates at 2400 rpm in x and at
3000 rpm in y, both with a damping ratio of 0.08, and whirls backward between the two. Around it an
oil whirl at order 0.47, misalignment at order 2 and a gear mesh at order 24, which grow with the
speed.
"""

from __future__ import annotations

from typing import Any

import numpy as np
from numpy.typing import NDArray

from harmotrack import AnalysisSettings, OrderAnalysis

NATURAL_RPM = {"x": 2400.0, "y": 3000.0}
DAMPING = 0.08
HARMONICS = [0.47, 1.0, 2.0, 3.0, 24.0]

#: order: forward and backward circle at 3000 rpm, mm/s.
CIRCLES = {
    0.47: (0.70 * np.exp(0.17j), 0.10 * np.exp(1.3j)),
    2.0: (1.20 * np.exp(0.35j), 0.50 * np.exp(-1.05j)),
    24.0: (0.35 * np.exp(-1.2j), 0.25 * np.exp(1.9j)),
}


def unbalance(rpm: NDArray[np.float64]) -> tuple[NDArray[Any], NDArray[Any]]:
    """Velocity in x and y, mm/s peak with phase."""
    velocity = rpm * np.pi / 30.0 * 0.006
    heavy_spot = np.radians(35.0)
    x, y = (
        (rpm / natural) ** 2 / (1.0 - (rpm / natural) ** 2 + 2j * DAMPING * rpm / natural)
        for natural in NATURAL_RPM.values()
    )
    return velocity * np.exp(1j * heavy_spot) * 1j * x, velocity * np.exp(1j * heavy_spot) * y


def orbits(rpm: NDArray[np.float64]) -> dict[float, tuple[NDArray[Any], NDArray[Any]]]:
    found = {1.0: unbalance(rpm)}
    for order, (forward, backward) in CIRCLES.items():
        ahead, against = forward * rpm / 3000.0, np.conj(backward * rpm / 3000.0)
        found[order] = (ahead + against, -1j * (ahead - against))
    return found


def lobe(distance: NDArray[np.float64]) -> NDArray[np.float64]:
    """What a Hanning window makes of a sine that stands so many lines away."""
    x = np.abs(distance)
    with np.errstate(divide="ignore", invalid="ignore"):
        value = np.sinc(x) / (1.0 - x**2)
    return np.abs(np.where(np.abs(x - 1.0) < 1e-9, 0.5, value))


def analysis(
    speeds: int = 109, resolution: float = 0.1, hertz: float = 4.0, **changes: Any
) -> OrderAnalysis:
    generator = np.random.default_rng(1)
    speed = np.linspace(600.0, 6000.0, speeds)
    orders = np.arange(0.0, 30.0 + resolution / 2, resolution)
    frequencies = np.arange(0.0, 3000.0 + hertz / 2, hertz)
    directional_orders = np.concatenate([-orders[:0:-1], orders])
    shapes = (2, speeds, orders.size), (2, speeds, frequencies.size)
    order_map, frequency_map = (_noise(generator, shape) for shape in shapes)
    directional = _noise(generator, (speeds, directional_orders.size))
    cuts = np.array(_noise(generator, (2, len(HARMONICS), speeds)), dtype=complex)
    power = np.full((2, speeds), 0.02**2)
    for order, pair in orbits(speed).items():
        for channel, component in enumerate(pair):
            size = np.abs(component)[:, None]
            order_map[channel] += size * lobe((orders - order) / resolution)
            lines = (frequencies - order * speed[:, None] / 60.0) / hertz
            frequency_map[channel] += size * lobe(lines)
            cuts[channel, HARMONICS.index(order)] += component
            power[channel] += np.abs(component) ** 2 / 2.0
        forward = np.abs(pair[0] + 1j * pair[1]) / 2.0
        backward = np.abs(pair[0] - 1j * pair[1]) / 2.0
        directional += forward[:, None] * lobe((directional_orders - order) / resolution)
        directional += backward[:, None] * lobe((directional_orders + order) / resolution)
    times = np.linspace(0.0, 30.0, 1650)
    arrays: dict[str, Any] = {
        "channels": ["x", "y"],
        "units": ["mm/s", "mm/s"],
        "speed": speed,
        "orders": orders,
        "order_map": order_map,
        "frequencies": frequencies,
        "frequency_map": frequency_map,
        "harmonic_orders": HARMONICS,
        "harmonics": cuts,
        "overall": np.sqrt(power),
        "order_blocks": np.ones(speeds, dtype=int),
        "frequency_blocks": np.ones(speeds, dtype=int),
        "speed_times": times,
        "speed_values": 600.0 + 180.0 * times,
        "directional_orders": directional_orders,
        "directional": directional,
        "directional_pair": ("x", "y"),
        "settings": AnalysisSettings(order_resolution=resolution, highest_order=30.0),
        "title": "run_up.flac",
        "speed_source": "pulses of the channel tacho",
        "attributes": {"speed_repairs": "", "phase_mode": "shaft", "harmotrack": "0.1.0"},
    }
    arrays.update(changes)
    return OrderAnalysis.from_arrays(**arrays)


def _noise(generator: np.random.Generator, shape: tuple[int, ...]) -> NDArray[np.float64]:
    """Lines of white noise: Rayleigh distributed."""
    return generator.rayleigh(0.002, shape)


def only_first_channel(both: OrderAnalysis) -> OrderAnalysis:
    dataset = both.dataset.isel(channel=[0]).drop_vars(["directional", "directional_order"])
    return OrderAnalysis(dataset)


def noise_only(speeds: int, lines: int) -> OrderAnalysis:
    """One channel of noise, whose maps compress the least."""
    generator = np.random.default_rng(4)
    shape = 1, speeds, lines
    return OrderAnalysis.from_arrays(
        channels=["noise"],
        units=["m/s²"],
        speed=np.linspace(600.0, 6000.0, speeds),
        orders=np.arange(lines) * 0.05,
        order_map=_noise(generator, shape),
        frequencies=np.arange(lines) * 2.0,
        frequency_map=_noise(generator, shape),
        harmonic_orders=[1.0, 2.0],
        harmonics=_noise(generator, (1, 2, speeds)),
        overall=_noise(generator, (1, speeds)),
        order_blocks=np.ones(speeds, dtype=int),
        frequency_blocks=np.ones(speeds, dtype=int),
        speed_times=np.linspace(0.0, 60.0, 3300),
        speed_values=np.linspace(600.0, 6000.0, 3300),
        title="noise",
    )
