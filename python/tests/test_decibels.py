import numpy as np
import pytest

import made
from harmotrack import Channel, HarmotrackError, Monitor, Recording, Speed, analyze
from harmotrack.decibels import decibels


# 20 log10(1 Pa / 20 µPa) = 93.98 dB: a calibrator of 94 dB, 1 Pa RMS, in any unit and convention.
@pytest.mark.parametrize(
    ("unit", "pascal"),
    [("Pa", 1.0), ("mPa", 1e3), ("µPa", 1e6), ("\u03bcPa", 1e6), ("hPa", 1e-2), ("kPa", 1e-3)],
)
@pytest.mark.parametrize(
    ("convention", "of_rms"), [("peak", 2**0.5), ("rms", 1.0), ("peak-to-peak", 8**0.5)]
)
def test_a_calibrator_reads_94_decibels(
    unit: str, pascal: float, convention: str, of_rms: float
) -> None:
    levels = decibels(unit, convention)

    assert 20.0 * np.log10(of_rms * pascal / levels.zero) == pytest.approx(93.979, abs=1e-3)
    assert levels.words == "RMS, dB re 20 µPa"


def test_other_levels_are_those_of_the_convention() -> None:
    assert decibels("mm/s", "peak").words == "peak, dB re 1 mm/s"
    assert decibels("mm/s", "peak").zero == 1.0
    assert decibels("", "rms").words == "RMS, dB re 1"
    assert decibels("Pa", "peak", 20e-6).words == "peak, dB re 2e-05 Pa"
    assert decibels("Pa", "peak", 20e-6).zero == 20e-6
    with pytest.raises(HarmotrackError, match="The dB reference is 0"):
        decibels("Pa", "peak", 0.0)


# Order 2 of 0.5 mPa peak: 20 log10(0.5e-3 / sqrt(2) / 20e-6) = 24.95 dB.
def test_maps_show_sound_pressure_levels() -> None:
    axes = made.analysis(units=["mPa", "mPa"]).plot_order_map()

    cells = axes.collections[0].get_array()
    assert cells[12, 20] == pytest.approx(24.949, abs=1e-3)


# A tone of 1 Pa RMS at order 1: its peaks are sqrt(2) Pa.
@pytest.mark.parametrize(
    ("beside", "settings", "stated", "read"),
    [
        ((), {}, "rms", 1.0),
        (("Pa",), {}, "rms", 1.0),
        (("mm/s",), {}, "peak", 2**0.5),
        ((), {"amplitude": "peak"}, "peak", 2**0.5),
    ],
)
def test_sounds_are_stated_in_rms_unless_other_units_stand_beside_them(
    beside: tuple[str, ...], settings: dict[str, str], stated: str, read: float
) -> None:
    tone = 2**0.5 * np.sin(2.0 * np.pi * 20.0 * np.arange(20480) / 1024.0)
    units = ("Pa", *beside)
    channels = [Channel(f"channel {k}", tone, 1024.0, unit) for k, unit in enumerate(units)]
    speed = Speed.from_profile([0.0, 20.0], [1200.0, 1200.0])

    analysis = analyze(Recording(channels), speed, harmonics=(1.0,), **settings)

    assert analysis.attrs["amplitude"] == stated
    sizes = analysis.order_amplitudes.values[0, 0]
    assert sizes[analysis.measured] == pytest.approx(read, rel=1e-3)


def test_a_monitor_of_sounds_states_them_in_rms() -> None:
    axis = {"min_rpm": 600.0, "max_rpm": 1200.0, "step_rpm": 50.0}
    assert Monitor(6400.0, ["left", "right"], units="Pa", **axis).settings.amplitude == "rms"
    assert Monitor(6400.0, ["left"], units="mm/s", **axis).settings.amplitude == "peak"
