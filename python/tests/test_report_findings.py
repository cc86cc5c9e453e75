from typing import Any

import numpy as np
import pytest

import machine
from harmotrack.report.findings import find, find_dominance, find_whirl, speed_quality, stretches
from harmotrack.report.resonances import find_resonances


# Natural speeds and damping stand in the machine's closed form; noise is 74 dB below the peak.
def test_resonances_are_found_with_natural_speed_damping_and_falling_phase() -> None:
    found = find_resonances(machine.analysis())

    assert [(one.channel, one.order) for one in found] == [("x", 1.0), ("y", 1.0)]
    for one in found:
        assert one.is_certain
        assert one.natural_rpm == pytest.approx(machine.NATURAL_RPM[one.channel], rel=1e-3)
        assert one.damping == pytest.approx(machine.DAMPING, rel=0.01)


# Between 1 - 3ζ and 1 + 3ζ one degree of freedom turns by 143 degrees, 2 atan(3) and a little.
def test_the_turn_of_a_resonance_spans_three_half_widths_to_either_side() -> None:
    one = find_resonances(machine.analysis())[0]

    assert one.turn == pytest.approx(-2.0 * np.degrees(np.arctan(3.0)), abs=2.0)


def test_the_peak_of_a_resonance_is_that_of_the_curve_between_the_speeds() -> None:
    fine = np.linspace(2300.0, 2600.0, 3001)
    curve = np.abs(machine.unbalance(fine)[0])

    one = find_resonances(machine.analysis())[0]

    assert one.rpm == pytest.approx(fine[np.argmax(curve)], rel=2e-3)
    assert one.amplitude == pytest.approx(curve.max(), rel=3e-3)
    at_peak = np.degrees(np.angle(machine.unbalance(np.array([one.rpm]))[0][0]))
    assert one.phase == pytest.approx(at_peak, abs=1.0)


def _with_order_1(cut: Any) -> Any:
    usual = machine.analysis()
    harmonics = usual.harmonics.values.astype(complex)
    harmonics[:, machine.HARMONICS.index(1.0)] = cut
    order_map = usual.order_map.values.astype(float)
    order_map[:, :, 9:12] = np.abs(cut)[:, None] * [0.5, 1.0, 0.5]
    return machine.analysis(harmonics=harmonics, order_map=order_map)


# A force that is strongest at one speed makes a peak whose phase stays where it was.
def test_a_peak_without_a_turn_of_phase_is_no_certain_resonance() -> None:
    speed = np.linspace(600.0, 6000.0, 109)

    found = find_resonances(_with_order_1(10.0 / (1.0 + ((speed - 2400.0) / 200.0) ** 2)))

    assert len(found) == 2
    assert not any(one.is_certain for one in found)


# Half the power is left 2ζ of the natural speed apart; of this machine the excitation grows with
# the cube of the speed, which widens the upper side.
def test_without_a_mark_peaks_have_no_phase_and_the_damping_of_their_width() -> None:
    found = find_resonances(machine.analysis(has_mark=False))

    assert len(found) == 2
    for one in found:
        assert one.phase is None
        assert one.turn is None
        assert not one.is_certain
        assert one.damping == pytest.approx(machine.DAMPING, rel=0.25)


def test_noise_alone_has_no_resonance() -> None:
    generator = np.random.default_rng(2)

    assert find_resonances(_with_order_1(generator.rayleigh(0.002, 109))) == ()


def test_the_strongest_order_changes_where_the_curves_cross() -> None:
    speed = np.linspace(600.0, 6000.0, 109)
    orbits = machine.orbits(speed)
    crossing = speed[np.argmax(np.abs(orbits[1.0][0]) > np.abs(orbits[2.0][0]))]

    found = [one for one in find_dominance(machine.analysis()) if one.channel == "x"]

    assert [one.order for one in found] == [2.0, 1.0]
    assert found[0].to_rpm == pytest.approx(crossing, abs=50.0)  # a row of the map
    assert found[1].from_rpm == found[0].to_rpm + 50.0
    assert found[1].amplitude_rpm == pytest.approx(2434.0, abs=50.0)


# The radii of the closed form: half of |x ± iy|.
def test_the_whirl_turns_backward_between_the_natural_speeds() -> None:
    speed = np.linspace(600.0, 6000.0, 109)
    x, y = machine.unbalance(speed)
    backward = speed[np.abs(x - 1j * y) > 1.1 * np.abs(x + 1j * y)]

    found = [one for one in find_whirl(machine.analysis()) if one.order == 1.0]

    assert [one.sense for one in found] == ["forward", "backward", "forward"]
    assert found[1].from_rpm == pytest.approx(backward[0], abs=50.0)
    assert found[1].to_rpm == pytest.approx(backward[-1], abs=50.0)
    assert machine.NATURAL_RPM["x"] < found[1].from_rpm < found[1].to_rpm
    assert found[1].to_rpm < machine.NATURAL_RPM["y"]


@pytest.mark.parametrize(
    ("names", "expected"),
    [
        ("", []),
        ("aaa", [(0, 3)]),
        ("aaabbb", [(0, 3), (3, 6)]),
        ("aaabaaa", [(0, 7)]),  # a single one belongs to what surrounds it
        ("aaabbccc", [(0, 5), (5, 8)]),
        ("baaa", [(0, 4)]),
    ],
)
def test_short_stretches_belong_to_their_neighbours(names: str, expected: Any) -> None:
    assert stretches(names) == expected


# Independent errors of 0.1 % on each value of a straight run-up.
def test_the_scatter_of_the_speed_is_that_of_its_values() -> None:
    times = np.linspace(0.0, 30.0, 5000)
    clean = 600.0 + 180.0 * times
    noisy = clean * (1.0 + 0.001 * np.random.default_rng(3).standard_normal(times.size))

    quality = speed_quality(machine.analysis(speed_times=times, speed_values=noisy))

    assert quality.scatter_percent == pytest.approx(0.1, rel=0.05)
    assert quality.reversals == 0


def test_a_single_spike_of_the_speed_is_told_with_its_time() -> None:
    times = np.linspace(0.0, 30.0, 301)
    speed = np.full(301, 1000.0)
    speed[100] = 1500.0

    quality = speed_quality(machine.analysis(speed_times=times, speed_values=speed))

    assert quality.largest_step_percent == 50.0
    assert quality.largest_step_time == pytest.approx(10.0)
    assert quality.scatter_percent == 0.0


def test_up_down_and_up_again_are_two_reversals() -> None:
    speed = np.concatenate([np.arange(0, 100), np.arange(100, 0, -1), np.arange(0, 100)]) + 500.0
    times = np.arange(speed.size) * 0.1

    assert speed_quality(machine.analysis(speed_times=times, speed_values=speed)).reversals == 2


def _limits(**changes: Any) -> str:
    return " ".join(find(machine.analysis(**changes)).limits)


def test_what_the_data_cannot_tell_is_said() -> None:
    blocks = np.ones(109, dtype=int)
    blocks[[10, 20, 21]] = 0

    limits = _limits(order_blocks=blocks, has_mark=False)

    assert "below 600 and above 6000 rpm" in limits
    assert "No block was measured at 1100, 1600 to 1650 rpm" in limits
    assert "without a mark on the shaft" in limits
    assert "Orders above 30 and frequencies above 3000 Hz" in limits
    assert "At the highest speed orders 0.47, 2 and 24 are largest" in limits
    assert "measured once" in limits


def test_one_channel_knows_no_whirl() -> None:
    one = machine.only_first_channel(machine.analysis())

    assert "One channel can't tell" in " ".join(find(one).limits)
    assert find(one).whirl == ()


def test_nothing_measured_finds_nothing_and_says_so() -> None:
    found = find(machine.analysis(order_blocks=np.zeros(109, dtype=int)))

    assert found.resonances == found.dominance == found.whirl == ()
    assert "No spectrum was measured at any speed" in found.limits[0]
