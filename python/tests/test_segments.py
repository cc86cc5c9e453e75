"""Shafts that stop between: every stretch of known angle counts."""

from functools import cache

import numpy as np
import pytest

import turning
from harmotrack import (
    Channel,
    HarmotrackError,
    OrderAnalysis,
    Recording,
    Speed,
    Track,
    analyze,
)

AXIS = {"min_rpm": 800.0, "max_rpm": 2200.0, "step_rpm": 50.0, "highest_order": 10.0}


@cache
def speed() -> Speed:
    return Speed.from_tacho(turning.stopping().recording()["tacho"])


def analysis(of: Speed) -> OrderAnalysis:
    return analyze(turning.stopping().recording(), of, channels="x", harmonics=(2,), **AXIS)


def from_pulses() -> Speed:
    tacho = turning.stopping().tacho()
    rising = np.flatnonzero((tacho[:-1] < 2.5) & (tacho[1:] >= 2.5))
    share = (2.5 - tacho[rising]) / (tacho[rising + 1] - tacho[rising])
    return Speed.from_pulses((rising + share) / turning.RATE)


def from_tracking() -> Speed:
    machine = turning.stopping()
    seconds, rpm = machine.seconds[::320], machine.rpm[::320]
    believed = rpm > 0.0
    return Track("x", (1.0, 2.0), seconds, rpm, believed, np.ones(rpm.size), ()).speed


# Order 2 is 1 in the first run-up and 3 in the second: 2 on the average.
@pytest.mark.parametrize(
    "make", [speed, from_pulses, turning.stopping().speed, from_tracking], ids=lambda make: ""
)
def test_both_run_ups_fall_into_the_bins(make: object) -> None:
    found = analysis(make())

    inner = slice(4, -4)
    np.testing.assert_array_equal(found.order_blocks.values[inner], 2)
    second = found.order_map.sel(channel="x").sel(order=2.0, method="nearest")
    np.testing.assert_allclose(second.values[inner], 2.0, rtol=0.02)


def test_the_results_remark_on_the_gap() -> None:
    assert any("the angle begins anew" in remark for remark in analysis(speed()).remarks)
    stands = analysis(turning.stopping().speed()).remarks
    assert any("the shaft stands still: the angle begins anew" in remark for remark in stands)


def test_the_angle_is_known_in_segments() -> None:
    first, second = speed().segments

    ((gap_start, gap_end),) = speed().gaps
    assert (gap_start, gap_end) == (first.end, second.start)
    assert gap_start == pytest.approx(6.0, abs=0.05)
    assert gap_end == pytest.approx(10.0, abs=0.11)
    assert speed().turns == pytest.approx(first.turns + second.turns)


def test_in_the_gap_nothing_is_known() -> None:
    times = [1.0, 8.0, 15.0]

    np.testing.assert_allclose(speed().rpm_at(times), [900.0, np.nan, 2100.0], rtol=1e-3)
    assert np.isnan(speed().turns_at(8.0)).all()


def test_turns_go_on_behind_the_gap_and_stay_whole_at_the_mark() -> None:
    turns = np.array([10.0, 100.5, 155.0, 200.25])
    seconds = speed().seconds_at(turns)

    np.testing.assert_allclose(speed().turns_at(seconds), turns, atol=1e-9)
    tacho = np.interp(
        speed().seconds_at([30.0, 200.0]), turning.stopping().seconds, turning.stopping().tacho()
    )
    np.testing.assert_allclose(tacho, 2.5, atol=0.1)


def test_the_signal_over_the_angle_rises_through_the_gap() -> None:
    signal = analysis(speed()).angle_signal

    assert signal is not None
    angle = signal["angle"].values
    assert np.all(np.diff(angle) > 0.0)
    at_marks = signal.sel(channel="x").values[np.isclose(angle % 1.0, 0.0)]
    assert np.ptp(at_marks[5:120]) < 0.02  # order 2 has the same phase at every mark
    assert np.ptp(at_marks[-100:-5]) < 0.06


def test_a_gap_in_a_profile_is_bridged_unless_it_is_too_long() -> None:
    seconds, rpm = [0.0, 1.0, 9.0, 10.0], [600.0, 600.0, 1200.0, 1200.0]

    assert len(Speed.from_profile(seconds, rpm).segments) == 1
    apart = Speed.from_profile(seconds, rpm, longest_gap=5.0)
    assert apart.gaps == ((1.0, 9.0),)
    assert "the speed is not known" in apart.notes[0]


def test_a_value_that_is_no_number_is_passed_over() -> None:
    speed = Speed.from_profile([0.0, 1.0, 2.0], [600.0, np.nan, 1200.0])

    assert speed.rpm_at(1.0).item() == pytest.approx(900.0)


def test_a_shaft_that_never_turns_meets_a_sentence() -> None:
    with pytest.raises(HarmotrackError, match=r"of 3 values \(0 to 600 rpm\) has no two above 0"):
        Speed.from_profile([0.0, 1.0, 2.0], [0.0, 600.0, 0.0])


def two_runs(start: float) -> Speed:
    """600 rpm from ``start`` to 4 s, a gap, and 600 rpm from 6.3 to 12 s."""
    before = np.arange(start, 4.01, 0.25)
    behind = np.arange(6.3, 12.0, 0.25)
    seconds = np.concatenate([before, behind])
    return Speed.from_profile(seconds, np.full(seconds.size, 600.0), longest_gap=1.0)


@pytest.mark.parametrize(
    "of",
    [
        speed,
        lambda: two_runs(0.0),
        lambda: two_runs(2.5),
        lambda: two_runs(-20.03),
        lambda: Speed.from_profile(np.arange(5.0, 12.0), np.full(7, 600.0)),
    ],
    ids=["tacho", "gap", "late and gap", "early and gap", "late"],
)
def test_the_signal_over_the_angle_counts_as_the_speed_does(of: object) -> None:
    spoken = of()
    signal = turning.stopping().recording()
    found = analyze(
        signal,
        spoken,
        channels="x",
        min_rpm=500.0,
        max_rpm=2200.0,
        step_rpm=50.0,
        highest_order=10.0,
        angle_signal=True,
    ).angle_signal

    np.testing.assert_allclose(
        found.angle.values, spoken.turns_at(found.angle_time.values), rtol=0.0, atol=1e-6
    )


def test_an_error_code_among_the_speeds_is_left_out_and_told() -> None:
    rpm = np.full(20, 600.0)
    rpm[7] = 4294967295.0
    spoken = Speed.from_profile(np.arange(20.0), rpm)

    assert spoken.turns == pytest.approx(190.0)
    assert any("4.29497e+09 rpm at 7 s" in remark for remark in spoken.notes)


# A table of the speed in which one time counts from 1970 or is an error code: 1e10 turns lie
# between two of its values, of which 64-bit numbers know the angle to 2e-6 turns.
@pytest.mark.parametrize("seconds", [(0.0, 20.0, 1e9), (-1e9, 0.0, 20.0)], ids=str)
def test_a_speed_may_reach_far_beyond_the_recording(seconds: tuple[float, ...]) -> None:
    times = np.arange(19 * 2000) / 2000.0
    signal = Channel("x", np.cos(2.0 * np.pi * 10.0 * times), 2000.0, "g")

    speed = Speed.from_profile(seconds, (600.0, 600.0, 600.0))
    found = analyze(Recording([signal]), speed, highest_order=10.0)

    assert speed.turning(0.0, 19.0).size == pytest.approx(4 * 190, abs=2)
    order_1 = found.order_map.sel(channel="x").sel(order=1.0, method="nearest")
    np.testing.assert_allclose(order_1.values, 1.0, rtol=1e-3)
