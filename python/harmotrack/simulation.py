"""A machine that runs up, with everything about it known."""

from __future__ import annotations

import json
from collections.abc import Callable
from dataclasses import dataclass, field
from pathlib import Path
from typing import TYPE_CHECKING, Any

import numpy as np

from harmotrack.errors import HarmotrackError
from harmotrack.files import pending_together
from harmotrack.recording import Channel, Recording
from harmotrack.settings import check_number

if TYPE_CHECKING:
    import xarray as xr
    from numpy.typing import ArrayLike, NDArray

    from harmotrack.speed import Speed

    Complex = NDArray[np.complex128]
    Orbit = Callable[[NDArray[np.float64]], tuple[Complex, Complex]]

_START_TURNS = -0.5  #: the first mark passes half a turn after the start
_FULL_SCALES = {"x": (25.0, "mm/s"), "y": (25.0, "mm/s"), "tacho": (10.0, "V")}

_ECCENTRICITY_MM = 0.006
_HEAVY_SPOT_DEG = 35.0
_NATURAL_RPM = {"x": 2400.0, "y": 3000.0}
_DAMPING_RATIO = 0.08
_WHIRL_REFERENCE_RPM = 3000.0
_WHIRLS = (
    # name, order, forward and backward circle at the reference speed: mm/s peak and degrees
    ("oil whirl", 0.47, (0.70, 10.0), (0.10, 75.0)),
    ("misalignment", 2.0, (1.20, 20.0), (0.50, -60.0)),
    ("gear mesh, lower sideband", 23.0, (0.12, 140.0), (0.05, 30.0)),
    ("gear mesh", 24.0, (0.35, -70.0), (0.25, 110.0)),
    ("gear mesh, upper sideband", 25.0, (0.16, -5.0), (0.04, -120.0)),
)

_TACHO_PEAK = 5.0
_TACHO_LEVEL = 2.5
_TACHO_SHARPNESS = 50.0


@dataclass(frozen=True)
class Component:
    """One order of the vibration: its share of x is Re(x(rpm) exp(i order φ)), likewise y.

    ``orbit`` gives both complex peak amplitudes, mm/s, at any speeds.
    """

    name: str
    order: float
    orbit: Orbit = field(repr=False)


@dataclass(frozen=True, eq=False)
class RunUp:
    """A simulated recording with the truth about it. φ is the angle of the shaft, 0 at the first
    mark of the tacho; the speed changes evenly.

    Attributes
    ----------
    recording
        Channels x and y in mm/s, and tacho in V.
    components
        What x and y are the sum of, besides noise.
    start_rpm, end_rpm, duration
        From which speed to which, in how many seconds.
    """

    recording: Recording
    components: tuple[Component, ...]
    start_rpm: float
    end_rpm: float
    duration: float

    def rpm(self, seconds: ArrayLike) -> NDArray[np.float64]:
        """Speed of the shaft at some times, of their shape."""
        slope = (self.end_rpm - self.start_rpm) / self.duration
        return self.start_rpm + slope * np.asarray(seconds, dtype=np.float64)

    def turns(self, seconds: ArrayLike) -> NDArray[np.float64]:
        """Angle of the shaft at some times, of their shape: turns, 0 at the first mark."""
        times = np.asarray(seconds, dtype=np.float64)
        return _START_TURNS + (self.start_rpm + self.rpm(times)) / 120.0 * times

    @property
    def marks(self) -> NDArray[np.float64]:
        """The times at which the mark passes, seconds, shape (marks)."""
        last = self.recording.channels[0].times[-1]
        travelled = np.arange(float(np.floor(self.turns(last))) + 1.0) - _START_TURNS
        f0 = self.start_rpm / 60.0
        slope = (self.end_rpm - self.start_rpm) / 60.0 / self.duration
        # The root in the form that loses no digits and knows no special case at constant speed.
        return np.asarray(2.0 * travelled / (f0 + np.sqrt(f0**2 + 2.0 * slope * travelled)))

    @property
    def speed(self) -> Speed:
        """The true speed, from the true marks."""
        from harmotrack.speed import Speed

        return Speed.from_pulses(self.marks)

    def truth(self, rpm: ArrayLike) -> xr.DataArray:
        """Complex peak amplitudes at some speeds, dimensions (component, channel, speed), mm/s, as
        harmonics have them: the component is |value| cos(order φ + phase). They are those of a
        machine that stays at each speed."""
        import xarray as xr

        speeds = np.atleast_1d(np.asarray(rpm, dtype=np.float64))
        return xr.DataArray(
            np.array([component.orbit(speeds) for component in self.components]),
            dims=("component", "channel", "speed"),
            coords={
                "component": [component.name for component in self.components],
                "order": ("component", [component.order for component in self.components]),
                "channel": ["x", "y"],
                "speed": ("speed", speeds, {"units": "rpm"}),
            },
            attrs={"units": "mm/s", "amplitude": "peak"},
        )

    def write(self, path: str | Path) -> tuple[Path, Path]:
        """The recording as FLAC or WAV of 24 bit, and the truth under the same name as JSON; that
        file tells read() the names, units and full scales of the channels too. Both paths.

        Raises HarmotrackError if the name ends otherwise, a channel reaches beyond its full scale,
        or the files can't be written.
        """
        from harmotrack.writers import write_sound

        path = Path(path)
        kind = {".flac": "FLAC", ".wav": "WAV"}.get(path.suffix.lower())
        if kind is None:
            raise HarmotrackError(f"The name {path.name} must end in .flac or in .wav.")
        for channel in self.recording:
            full_scale = _FULL_SCALES[channel.name][0]
            highest = np.abs(channel.samples).max()
            if highest >= full_scale:
                raise HarmotrackError(
                    f"The channel {channel.name} reaches {highest:g} {channel.unit}, beyond its "
                    f"full scale of {full_scale:g}: lower the noise or the speed."
                )
        truth = path.with_suffix(".json")
        with pending_together(path, truth) as (sound, text):
            scales = [_FULL_SCALES[channel.name][0] for channel in self.recording]
            write_sound(sound, self.recording.channels, scales, kind, "PCM_24")
            text.write_text(json.dumps(self._description(path.name), indent=1) + "\n")
        return path, truth

    def _description(self, name: str) -> dict[str, Any]:
        speeds = np.linspace(
            min(self.start_rpm, self.end_rpm), max(self.start_rpm, self.end_rpm), 541
        )
        truth = self.truth(speeds)
        return {
            "recording": name,
            "channels": [
                {"number": k + 1, "name": c, "unit": unit, "full_scale": scale}
                for k, (c, (scale, unit)) in enumerate(_FULL_SCALES.items())
            ],
            "convention": "amplitude * cos(order * phi + phase), amplitude is peak; phi is the "
            "angle of the shaft, 0 at the first mark",
            "speed": {
                "profile": "linear",
                "start_rpm": self.start_rpm,
                "end_rpm": self.end_rpm,
                "start_turns": _START_TURNS,
                "duration_s": self.duration,
            },
            "tacho": {"pulses_per_revolution": 1, "edge": "rising", "level": _TACHO_LEVEL},
            "table_rpm": np.round(speeds, 6).tolist(),
            "components": [
                {
                    "name": str(component),
                    "order": float(truth["order"][k]),
                    **{
                        channel: {
                            "amplitude": np.abs(truth.values[k, c]).round(6).tolist(),
                            "phase_deg": np.degrees(np.angle(truth.values[k, c])).round(4).tolist(),
                        }
                        for c, channel in enumerate(("x", "y"))
                    },
                }
                for k, component in enumerate(truth["component"].values)
            ],
        }


def simulate_run_up(
    *,
    duration: float = 30.0,
    rate: float = 25600.0,
    start_rpm: float = 600.0,
    end_rpm: float = 6000.0,
    noise_rms: float = 0.02,
    seed: int = 1,
) -> RunUp:
    """A rotor that runs up (or down) through its resonances, with a tacho of one pulse a turn.

    Two channels of vibration velocity, x and y, a quarter turn apart in the sense of rotation: an
    unbalance on bearings with natural speeds of 2400 rpm in x and 3000 rpm in y (Den Hartog,
    Mechanical Vibrations, section 2.11), an oil whirl at order 0.47, a misalignment at order 2, a
    gear mesh at order 24 with sidebands, and noise.

    Parameters
    ----------
    duration
        Seconds.
    rate
        Hz.
    start_rpm, end_rpm
        The speed changes evenly from one to the other.
    noise_rms
        Of white noise in x and in y, mm/s.
    seed
        Of the noise: the same one gives the same recording.

    Raises
    ------
    HarmotrackError
        A value is out of range, or the recording would hold less than two turns.
    """
    check_number("duration", duration, 0.1, 3600.0, "s")
    check_number("rate", rate, 1000.0, 655350.0, "Hz")
    most = 0.6 * rate  # a hundred samples a turn
    check_number("start_rpm", start_rpm, 1.0, most, "rpm")
    check_number("end_rpm", end_rpm, 1.0, most, "rpm")
    check_number("noise_rms", noise_rms, 0.0, 25.0, "mm/s")
    if (start_rpm + end_rpm) / 120.0 * duration < 2.0:
        raise HarmotrackError("The recording would hold less than two turns of the shaft.")
    components = (Component("unbalance", 1.0, _unbalance), *map(_whirl, _WHIRLS))
    seconds = np.arange(round(duration * rate)) / rate
    rpm = start_rpm + (end_rpm - start_rpm) / duration * seconds
    turns = _START_TURNS + (start_rpm + rpm) / 120.0 * seconds
    vibration = np.random.default_rng(seed).normal(0.0, noise_rms, (2, seconds.size))
    for component in components:
        turning = np.exp(2j * np.pi * component.order * turns)
        vibration += (np.array(component.orbit(rpm)) * turning).real
    named = {"x": vibration[0], "y": vibration[1], "tacho": _tacho(turns)}
    recording = Recording(
        tuple(Channel(name, named[name], rate, unit) for name, (_, unit) in _FULL_SCALES.items()),
        "simulated run-up",
    )
    return RunUp(recording, components, start_rpm, end_rpm, duration)


def _phasor(amplitude: float, degrees: float) -> complex:
    return complex(amplitude * np.exp(1j * np.radians(degrees)))


def _unbalance(rpm: NDArray[np.float64]) -> tuple[Complex, Complex]:
    velocity = rpm * np.pi / 30.0 * _ECCENTRICITY_MM

    def response(natural_rpm: float) -> Complex:
        r = rpm / natural_rpm
        return np.asarray(r**2 / (1.0 - r**2 + 2j * _DAMPING_RATIO * r))

    return (
        velocity * _phasor(1.0, _HEAVY_SPOT_DEG + 90.0) * response(_NATURAL_RPM["x"]),
        velocity * _phasor(1.0, _HEAVY_SPOT_DEG) * response(_NATURAL_RPM["y"]),
    )


def _whirl(whirl: tuple[str, float, tuple[float, float], tuple[float, float]]) -> Component:
    """x + iy = F exp(i order φ) + B exp(-i order φ), growing in proportion to the speed."""
    name, order, forward, backward = whirl
    f, b = _phasor(*forward), np.conj(_phasor(*backward))

    def orbit(rpm: NDArray[np.float64]) -> tuple[Complex, Complex]:
        growth = rpm / _WHIRL_REFERENCE_RPM
        return growth * (f + b), growth * -1j * (f - b)

    return Component(name, order, orbit)


def _tacho(turns: NDArray[np.float64]) -> NDArray[np.float64]:
    """A pulse smooth enough to be sampled without aliasing, that rises through its level at whole
    turns: peak exp(k (cos(φ - φpeak) - 1))."""
    peak = np.arccos(1.0 - np.log(_TACHO_PEAK / _TACHO_LEVEL) / _TACHO_SHARPNESS)
    pulse = np.exp(_TACHO_SHARPNESS * (np.cos(2.0 * np.pi * turns - peak) - 1.0))
    return np.asarray(_TACHO_PEAK * pulse)
