"""Amplitudes of orders whose complex means cancel, and what is said of their phases."""

from __future__ import annotations

from pathlib import Path

import numpy as np
import pytest

import made
import turning
from harmotrack import (
    AnalysisSettings,
    Channel,
    HarmotrackError,
    Monitor,
    OrderAnalysis,
    Recording,
    Speed,
    analyze,
    load,
)
from harmotrack.amplitudes import band_amplitudes

RATE = turning.RATE
RUN_UP = [(0.0, 900.0), (40.0, 2700.0)]
UP_AND_DOWN = [(0.0, 600.0), (20.0, 3000.0), (40.0, 600.0)]


def turning_order(
    order: float, corners: list[tuple[float, float]], slip: float = 0.0, **options: object
) -> OrderAnalysis:
    """A machine of amplitude 1 at an order, in a little noise. With a slip, as rolling bearings
    have it, the phase swings to and fro by so many radians in 7 s."""
    machine = turning.Machine(corners, [1.0] * (len(corners) - 1))
    turns = machine.turns
    noise = np.random.default_rng(5).normal(0.0, 0.02, turns.size)
    swing = slip * np.sin(2.0 * np.pi * machine.seconds / 7.0)
    signal = np.cos(2.0 * np.pi * order * turns + swing) + noise
    recording = Recording((Channel("x", signal, RATE, "mm/s"),), "machine")
    settings = {
        "step_rpm": 100.0,
        "block_mode": "contiguous",
        "highest_order": 10.0,
        "phase_mode": "shaft",
    }
    return analyze(recording, machine.speed(), **{**settings, **options})


def bearing() -> OrderAnalysis:
    """Between two lines, and with a slip."""
    return turning_order(5.415, RUN_UP, slip=4.0, harmonics=(5.415,))


def steady_machine(told_rpm: float = 1501.0) -> OrderAnalysis:
    """One minute at 1500 rpm, told as another speed: at 1501 rpm the phase of order 1 makes a whole
    turn, so that its complex mean is 0."""
    seconds = np.arange(round(60.0 * RATE)) / RATE
    generator = np.random.default_rng(5)
    signal = np.cos(2.0 * np.pi * 25.0 * seconds) + generator.normal(0.0, 0.05, seconds.size)
    recording = Recording((Channel("x", signal, RATE, "mm/s"),), "steady")
    speed = Speed.from_profile([0.0, 60.0], [told_rpm, told_rpm])
    return analyze(recording, speed, highest_order=10.0, phase_mode="shaft")


# A Hanning window reads 0.9996 of a sine half a line off, and a slip moves the order by a few
# tenths of a line more.
def test_an_order_between_two_lines_reads_its_amplitude() -> None:
    found = bearing()

    amplitudes = found.order_amplitudes.values[0, 0, found.measured]
    np.testing.assert_allclose(amplitudes, 1.0, rtol=0.02)
    assert np.median(np.abs(found.harmonics.values[0, 0, found.measured])) < 0.5  # their means


def test_an_order_whose_phase_drifts_reads_its_amplitude() -> None:
    found = steady_machine()

    row = int(np.argmax(found.order_blocks.values))
    assert found.order_amplitudes.values[0, 0, row] == pytest.approx(1.0, rel=0.01)
    assert np.abs(found.harmonics.values[0, 0, row]) < 0.1
    assert found.coherence.values[0, 0, row] < 0.1


# Of order 5.42 line 5.4 reads 0.974 and its neighbours the rest of its energy, whether the speed
# rises or falls.
def test_an_order_beside_its_line_reads_its_amplitude_at_every_speed() -> None:
    found = turning_order(5.42, UP_AND_DOWN, harmonics=(5.4,))

    amplitudes = found.order_amplitudes.values[0, 0, found.measured]
    assert np.median(amplitudes) == pytest.approx(1.0, rel=0.01)
    np.testing.assert_allclose(amplitudes, 1.0, rtol=0.05)


def test_tables_state_amplitudes_and_coherence() -> None:
    between = bearing().tables()["harmonics"]
    on_line = turning_order(5.0, RUN_UP, harmonics=(5,)).tables()["harmonics"]

    for table in (between, on_line):
        np.testing.assert_allclose(table["amplitude"], 1.0, rtol=0.02)
    assert between["coherence"].median() < 0.5
    assert on_line["coherence"].min() > 0.99


def test_the_coherence_of_a_clean_order_is_1() -> None:
    found = turning_order(5.0, RUN_UP, harmonics=(5,), min_rpm=500)

    np.testing.assert_allclose(found.coherence.values[:, :, found.measured], 1.0, atol=0.01)
    assert found.coherence.isnull().values[:, :, ~found.measured].all()


def test_amplitudes_keep_the_convention() -> None:
    rms = turning_order(5.0, RUN_UP, harmonics=(5,), amplitude="rms")

    amplitudes = rms.order_amplitudes.values[0, 0, rms.measured]
    np.testing.assert_allclose(amplitudes, np.sqrt(0.5), rtol=0.01)
    assert rms.order_amplitudes.attrs["amplitude"] == "rms"


# A slice may be as wide as someone wants: the amplitude of an order is that of its own lobe.
def test_the_width_of_slices_changes_no_amplitude() -> None:
    usual = made.analysis()
    wide = made.analysis(settings=AnalysisSettings(slice_width=3.0))

    np.testing.assert_array_equal(usual.order_amplitudes, wide.order_amplitudes)


# sqrt(0.5² + 1² + 0.5²) / sqrt(1.5) = 1
def test_bands_of_spectra_of_any_shape() -> None:
    spectra = np.zeros((2, 3, 11))
    spectra[..., 4:7] = [0.5, 1.0, 0.5]

    found = band_amplitudes(spectra, 0.1 * np.arange(11), 0.5, "hanning")

    assert found.shape == (2, 3)
    np.testing.assert_allclose(found, 1.0, rtol=1e-6)


def test_remarks_say_which_order_stands_on_no_line_and_what_has_one() -> None:
    found = turning_order(5.415, RUN_UP, harmonics=(5.415,))

    assert found.remarks == (
        "Order 5.415 stands between two order lines, 0.1 apart: its amplitude is read from those "
        "round it, and its phase from the nearest; order_resolution=0.005 has one at it.",
    )


def test_remarks_say_which_order_has_no_steady_phase() -> None:
    (remark,) = steady_machine().remarks

    assert remark.startswith("Order 1 of 'x' has no steady phase at ")
    assert remark.endswith("what turns with the shaft would get one by a tacho.")
    assert steady_machine(told_rpm=1500.0).remarks == ()
    *_, remark = bearing().remarks
    assert remark.startswith("Order 5.415 of 'x' has no steady phase at ")


def test_results_of_an_earlier_version_get_their_amplitudes_when_loaded(tmp_path: Path) -> None:
    analysis = made.analysis()
    earlier = analysis.dataset.drop_vars(["order_amplitudes", "coherence"])

    OrderAnalysis(earlier).save(tmp_path / "earlier.nc")

    loaded = load(tmp_path / "earlier.nc")
    assert isinstance(loaded, OrderAnalysis)
    np.testing.assert_array_equal(loaded.order_amplitudes, analysis.order_amplitudes)
    np.testing.assert_array_equal(loaded.coherence, analysis.coherence)


def test_a_monitor_gives_amplitudes_and_coherence() -> None:
    machine = turning.Machine(RUN_UP, [1.0])
    turns = machine.turns
    signal = 0.5 * np.cos(4.0 * np.pi * turns) + np.cos(2.0 * np.pi * 5.42 * turns)
    monitor = Monitor(
        RATE,
        "x",
        min_rpm=1000.0,
        max_rpm=2500.0,
        step_rpm=100.0,
        highest_order=10.0,
        harmonics=(2, 5.4),
        block_mode="contiguous",
    )

    results = monitor.feed(signal, machine.tacho())

    last = [one for one in results if one.amplitudes is not None and one.speed == 2000.0][-1]
    np.testing.assert_allclose(last.amplitudes, [0.5, 1.0], rtol=0.02)
    assert last.coherence is not None
    assert last.coherence[0] > 0.99
    assert last.coherence[1] < 0.7


def test_a_bode_plot_leaves_phases_out_that_are_not_steady() -> None:
    phase, amplitude = bearing().plot_bode()

    drawn = phase.get_lines()[0].get_ydata()
    assert np.isnan(drawn).mean() > 0.5
    (text,) = phase.texts
    assert "not steady at " in text.get_text()
    np.testing.assert_allclose(amplitude.get_lines()[0].get_ydata(), 1.0, rtol=0.02)


def test_a_polar_plot_draws_phases_that_are_not_steady_faintly() -> None:
    axes = bearing().plot_polar()

    steady, all_of_them = axes.get_lines()[:2]
    assert np.isnan(steady.get_ydata()).mean() > 0.5
    assert all_of_them.get_alpha() == 0.25
    np.testing.assert_allclose(all_of_them.get_ydata(), 1.0, rtol=0.02)


def test_unknown_windows_have_no_band() -> None:
    with pytest.raises(HarmotrackError, match="The window is 'hat', and it must be one of"):
        band_amplitudes(np.zeros((1, 11)), 0.1 * np.arange(11), 0.5, "hat")
