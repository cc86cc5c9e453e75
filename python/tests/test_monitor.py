"""A run in pieces against the same run at once, and against the simulated truth."""

from functools import cache
from itertools import pairwise

import numpy as np
import pytest

from harmotrack import (
    HarmotrackError,
    Monitor,
    MonitorResult,
    OrderAnalysis,
    analyze,
    simulate_run_up,
)

AXIS = {"min_rpm": 700.0, "max_rpm": 3500.0, "step_rpm": 50.0, "highest_order": 20.0}


@cache
def machine():
    return simulate_run_up(duration=12.0, rate=6400.0, end_rpm=3600.0)


def monitored(*sizes: int) -> tuple[list[MonitorResult], OrderAnalysis]:
    """What comes of chunks of these sizes, again and again."""
    recording = machine().recording
    signals = np.stack([recording["x"].samples, recording["y"].samples])
    tacho = recording["tacho"].samples
    monitor = Monitor(6400.0, ["x", "y"], units="mm/s", harmonics=(1, 2), **AXIS)
    results: list[MonitorResult] = []
    place = chunk = 0
    while place < tacho.size:
        end = place + sizes[chunk % len(sizes)]
        results += monitor.feed(signals[:, place:end], tacho[place:end])
        place, chunk = end, chunk + 1
    return results, monitor.finish()


def test_results_come_before_the_end_and_in_the_order_of_time() -> None:
    results, _ = monitored(640)

    of_angles = [one for one in results if one.order_spectrum is not None and one.channel == "x"]
    assert len(of_angles) > 40
    times = [one.seconds for one in of_angles]
    assert times == sorted(times)
    for one in of_angles:
        assert one.rpm == pytest.approx(machine().rpm(one.seconds).item(), rel=0.01)
        assert one.speed == pytest.approx(one.rpm, abs=25.5)  # half a bin


def test_order_spectra_carry_the_amplitude_that_was_simulated() -> None:
    results, _ = monitored(640)

    near = [one for one in results if one.channel == "x" and one.speed == 3000.0]
    (one,) = [result for result in near if result.order_spectrum is not None]
    truth = machine().truth(3000.0).sel(component="misalignment", channel="x").item()
    assert one.order_spectrum[20] == pytest.approx(abs(truth), rel=0.01)
    assert one.harmonics[1] == pytest.approx(truth, abs=0.01 * abs(truth))


def test_the_size_of_the_chunks_changes_nothing() -> None:
    _, coarse = monitored(6400)
    _, fine = monitored(1, 7, 900, 64)

    np.testing.assert_array_equal(fine.order_map.values, coarse.order_map.values)
    np.testing.assert_array_equal(fine.harmonics.values, coarse.harmonics.values)


def test_the_end_is_what_an_analysis_at_once_finds() -> None:
    _, live = monitored(1000)
    at_once = analyze(machine().recording, harmonics=(1, 2), **AXIS)

    assert live.channels == at_once.channels
    np.testing.assert_allclose(
        live.order_map.values, at_once.order_map.values, atol=1e-4, equal_nan=True
    )


def test_a_speed_that_is_told_takes_the_place_of_a_tacho() -> None:
    recording = machine().recording
    monitor = Monitor(
        6400.0, "x", units="mm/s", pulses_per_revolution=None, harmonics=(1, 2), **AXIS
    )
    results: list[MonitorResult] = []
    for second in range(12):
        times = second + np.arange(0.0, 1.01, 0.1)[1 if second else 0 :]
        results += monitor.feed_speed(times, machine().rpm(times))
        piece = slice(6400 * second, 6400 * (second + 1))
        results += monitor.feed(recording["x"].samples[piece])

    assert len(results) > 40
    assert monitor.finish().attrs["phase_mode"] == "first-order"


def feed(samples: object, tacho: object = None, **options: object) -> None:
    Monitor(6400.0, ["x", "y"], **{**AXIS, **options}).feed(samples, tacho)


@pytest.mark.parametrize(
    ("act", "sentence"),
    [
        (lambda: Monitor(6400.0, "x"), "A monitor has to be told its speed axis: min_rpm, max_rpm"),
        (lambda: Monitor(0.0, "x", **AXIS), "The rate is 0 Hz"),
        (lambda: Monitor(6400.0, [], **AXIS), "A monitor needs at least one channel"),
        (lambda: feed(np.zeros((3, 9)), np.zeros(9)), r"it must be \(2, n\)"),
        (lambda: feed(np.zeros((2, 9))), "The samples of the tacho are missing"),
        (lambda: feed(np.zeros((2, 9)), np.zeros(8)), r"and it must be \(9,\)"),
        (lambda: feed(np.full((2, 9), np.nan), np.zeros(9)), "A sample is not a finite number"),
        (
            lambda: feed(np.zeros((2, 9)), np.zeros(9), pulses_per_revolution=None),
            "This monitor has no tacho",
        ),
        (
            lambda: Monitor(6400.0, "x", **AXIS).feed_speed([0.0], [600.0]),
            "This monitor reads its speed from the tacho",
        ),
    ],
)
def test_what_cannot_be_monitored_meets_a_sentence(act: object, sentence: str) -> None:
    with pytest.raises(HarmotrackError, match=sentence):
        act()


# The pair needs not come first, nor in this order.
def test_a_directional_pair_has_the_radii_of_both_circles() -> None:
    recording = machine().recording
    signals = np.stack([recording[name].samples for name in ("y", "tacho", "x")])
    options = {"directional": ("x", "y"), "harmonics": (1, 2), **AXIS}
    monitor = Monitor(6400.0, ["y", "other", "x"], units="mm/s", **options)
    results = monitor.feed(signals, recording["tacho"].samples)

    live = monitor.finish().directional

    at_once = analyze(recording, **options).directional
    assert live is not None
    np.testing.assert_allclose(live.values, at_once.values, atol=1e-4, equal_nan=True)
    row = live.sel(speed=3000.0)
    assert row.sel(directional_order=2.0, method="nearest").item() == pytest.approx(1.2, rel=0.02)
    assert row.sel(directional_order=-2.0, method="nearest").item() == pytest.approx(0.5, rel=0.02)
    of_pair = [result for result in results if result.directional is not None]
    assert {result.channel for result in of_pair} == {"x"}
    newest = {result.speed: result.directional for result in of_pair}
    np.testing.assert_array_equal(newest[3000.0], row.values)


# The device says 6400 Hz, and its clock 0.1 % less.
def test_time_stamps_that_contradict_the_rate_are_remarked_on() -> None:
    recording = machine().recording
    for slower, expected in ((1.001, 1), (1.0, 0)):
        monitor = Monitor(6400.0, ["x"], **AXIS)
        for first in range(0, 76800, 6400):
            piece = slice(first, first + 6400)
            x, tacho = (recording[name].samples[piece] for name in ("x", "tacho"))
            monitor.feed(x, tacho, stamp=100.0 + slower * first / 6400.0)

        remarks = monitor.finish().remarks

        assert len(remarks) == expected
        assert all("Hz" in remark for remark in remarks)


def test_a_gap_in_the_speed_is_remarked_on() -> None:
    monitor = Monitor(6400.0, "x", pulses_per_revolution=None, **AXIS)
    times = np.arange(0.0, 12.0, 0.1)
    rpm = np.where((times > 4.0) & (times < 6.0), 0.0, machine().rpm(times))

    monitor.feed_speed(times, rpm)
    monitor.feed(machine().recording["x"].samples)

    (remark,) = monitor.finish().remarks
    assert "the shaft stands still: the angle begins anew" in remark


# Order 2 grows in proportion to the speed.
def test_spectra_by_sample_count_come_whatever_the_speed() -> None:
    recording = machine().recording
    monitor = Monitor(6400.0, ["x"], row_overlap_percent=50.0, harmonics=(2,), **AXIS)

    results = monitor.feed(recording["x"].samples, recording["tacho"].samples)

    rows = [one for one in results if one.speed is None]
    assert len(rows) > 60
    for one in rows:
        assert one.harmonics is None
        assert one.order_spectrum is not None
        rpm = machine().rpm(one.seconds).item()
        truth = machine().truth(rpm).sel(component="misalignment", channel="x").item()
        assert one.order_spectrum[20] == pytest.approx(abs(truth), rel=0.05)
        assert rpm < one.rpm < 1.2 * rpm  # at the end of the block
    assert monitor.finish().order_spectrogram is None


@pytest.mark.parametrize(
    ("options", "sentence"),
    [
        ({"directional": ("x", "x")}, "The directional channels are both 'x'"),
        ({"directional": ("x", "z")}, "There is no channel 'z'; the monitor has 'x', 'y'"),
        ({"directional": "xy"}, "The directional channels are 'xy', and they must be two"),
        ({"passes": "both"}, "The passes is 'both'"),
        ({"row_overlap_percent": 100}, "The row_overlap_percent is 100, and 0 to 99.9 is allowed"),
    ],
)
def test_monitors_that_cannot_be_made_meet_a_sentence(options: dict, sentence: str) -> None:
    with pytest.raises(HarmotrackError, match=sentence):
        Monitor(6400.0, ["x", "y"], **AXIS, **options)


def test_a_time_stamp_that_is_no_number_is_refused() -> None:
    with pytest.raises(HarmotrackError, match="The time stamp is nan"):
        Monitor(6400.0, "x", **AXIS).feed(np.zeros(9), np.zeros(9), stamp=np.nan)


def test_a_start_that_no_clock_shows_meets_a_sentence() -> None:
    with pytest.raises(HarmotrackError, match=r"The time of the first sample is 1e\+18 s"):
        Monitor(6400.0, ["x"], start=1e18, pulses_per_revolution=None, **AXIS)


def test_many_extra_pulses_are_the_first_remark_of_the_monitor() -> None:
    recording = machine().recording
    tacho = np.array(recording["tacho"].samples)
    rises = np.flatnonzero((tacho[:-1] < 2.5) & (tacho[1:] >= 2.5))
    for before, after in pairwise(rises[40:81]):
        tacho[before + (after - before) * 2 // 3 : after - 4] = 0.0
        tacho[before + (after - before) * 2 // 3 : before + (after - before) * 3 // 4] = 5.0
    monitor = Monitor(6400.0, ["x"], **AXIS)
    monitor.feed(recording["x"].samples, tacho)
    first = monitor.finish().remarks[0]
    assert "pulses of the tacho" in first
    assert "were dropped or filled in" in first


def test_the_window_of_the_smoothing_goes_to_the_tacho() -> None:
    recording = machine().recording
    for turns, said in ((0.0, False), (20.0, True)):
        monitor = Monitor(6400.0, ["x"], smoothing_turns=turns, **AXIS)
        monitor.feed(recording["x"].samples, recording["tacho"].samples)
        remarks = monitor.finish().remarks
        assert any("smoothed over up to 20 turns" in remark for remark in remarks) == said
    with pytest.raises(HarmotrackError, match="smoothing"):
        Monitor(6400.0, ["x"], smoothing_turns=-1.0, **AXIS)
