"""Against simulated machines, whose truth is a closed form."""

import threading
from functools import cache

import numpy as np
import pytest

import turning
from harmotrack import (
    Channel,
    HarmotrackError,
    OrderAnalysis,
    Recording,
    RunUp,
    Speed,
    analyze,
    find_speed,
    simulate_run_up,
)


@cache
def run_up() -> RunUp:
    """600 to 3600 rpm in 12 s, a quarter of the example's rate."""
    return simulate_run_up(duration=12.0, rate=6400.0, end_rpm=3600.0, noise_rms=0.005)


@cache
def analysis() -> OrderAnalysis:
    return analyze(
        run_up().recording, directional=("x", "y"), harmonics=(1, 2, 24), highest_order=30
    )


def in_the_middle(values: np.ndarray) -> np.ndarray:
    """Of the speeds that were measured, without the first and the last tenth."""
    measured = np.flatnonzero(np.isfinite(values))
    tenth = measured.size // 10
    return measured[tenth:-tenth]


def test_what_was_mended_in_the_tacho_stands_with_the_results() -> None:
    recording = run_up().recording
    tacho = recording["tacho"]
    samples = np.array(tacho.samples)
    rising = np.flatnonzero((samples[:-1] < 2.5) & (samples[1:] >= 2.5))
    samples[(rising[39] + rising[40]) // 2 : (rising[40] + rising[41]) // 2] = 0.0
    damaged = Speed.from_tacho(Channel("tacho", samples, tacho.rate))

    mended = analyze(recording, damaged, channels=["x"]).attrs["speed_repairs"].splitlines()

    assert len(mended) == 1
    assert "1 pulse is missing: filled in." in mended[0]
    assert analysis().attrs["speed_repairs"] == ""


def test_remarks_tell_what_was_mended_and_left_out(monkeypatch: pytest.MonkeyPatch) -> None:
    recording = run_up().recording
    noted = Recording(recording.channels, "noted", ("The file was cut short.",))
    monkeypatch.setattr("harmotrack.analysis._MOST_ANGLES", 1000)

    found = analyze(noted, channels="x", highest_order=10)

    assert found.angle_signal is None
    assert found.remarks[0] == "The file was cut short."
    assert "The signals over the angle were left out" in found.remarks[1]
    assert analysis().remarks == ()
    assert (
        analyze(noted, channels="x", highest_order=10, angle_signal=True).angle_signal is not None
    )


# Order 2 grows in proportion to the speed, and stands in the spectrum of every moment.
def test_the_order_spectrogram_stands_over_the_time() -> None:
    found = analyze(
        run_up().recording, channels="x", highest_order=30, row_overlap_percent=75.0
    ).order_spectrogram

    assert found is not None
    assert found.dims == ("channel", "block_time", "order")
    times, rpm = found["block_time"].values, found["block_speed"].values
    assert times.size > 120
    np.testing.assert_allclose(rpm, run_up().rpm(times), rtol=0.01)
    true = np.abs(run_up().truth(rpm).sel(component="misalignment", channel="x").values)
    second = found.sel(channel="x").sel(order=2.0, method="nearest").values
    np.testing.assert_allclose(second, true, rtol=0.05)


def test_progress_is_told_while_the_work_goes_on() -> None:
    shares: list[float] = []

    analyze(run_up().recording, channels="x", highest_order=10, progress=shares.append)

    assert len(shares) > 1


# Quasi-steady truth; a block of ten turns sees the resonance change by a few per cent.
@pytest.mark.parametrize(
    ("component", "order", "tolerance"), [("misalignment", 2.0, 0.01), ("gear mesh", 24.0, 0.02)]
)
def test_orders_have_the_amplitude_and_phase_that_were_simulated(
    component: str, order: float, tolerance: float
) -> None:
    found = analysis().harmonics.sel(harmonic=order)
    true = run_up().truth(found["speed"].values).sel(component=component)

    for channel in ("x", "y"):
        one, truth = found.sel(channel=channel).values, true.sel(channel=channel).values
        at = in_the_middle(np.abs(one))
        assert at.size > 40
        np.testing.assert_allclose(one[at], truth[at], atol=tolerance * np.abs(truth[at]).max())


# The machine passes its resonance in x at 2400 rpm.
def test_the_phase_of_order_1_falls_by_half_a_turn_through_the_resonance() -> None:
    cut = analysis().harmonics.sel(channel="x", harmonic=1.0).dropna("speed")

    phase = np.degrees(np.unwrap(np.angle(cut.values)))

    largest = float(cut["speed"].values[np.argmax(np.abs(cut.values))])
    assert largest == pytest.approx(2450.0, abs=100.0)
    assert phase[0] - phase[-1] == pytest.approx(160.0, abs=12.0)


def test_order_slices_read_the_amplitude_of_their_order() -> None:
    found = analysis().order_slices.sel(channel="x", harmonic=2.0)
    true = np.abs(run_up().truth(found["speed"].values).sel(component="misalignment", channel="x"))

    at = in_the_middle(found.values)
    np.testing.assert_allclose(found.values[at], true.values[at], rtol=0.03)


# Order 2 is the sum of a circle of 1.2 with the shaft and one of 0.5 against it, at 3000 rpm.
def test_the_directional_spectrum_has_the_radii_of_both_circles() -> None:
    directional = analysis().directional

    assert directional is not None
    row = directional.sel(speed=3000.0)
    assert row.sel(directional_order=2.0, method="nearest").item() == pytest.approx(1.2, rel=0.02)
    assert row.sel(directional_order=-2.0, method="nearest").item() == pytest.approx(0.5, rel=0.02)


# At equal angles, order 2 of the signal is a cosine of the angle with slowly growing amplitude.
def test_the_angle_signal_stands_over_whole_turns_of_the_mark() -> None:
    signal = analysis().angle_signal

    assert signal is not None
    turns = signal["angle"].values
    at_marks = signal["angle_time"].values[np.isclose(turns % 1.0, 0.0)]
    marks = run_up().marks
    first = round(float(turns[np.isclose(turns % 1.0, 0.0)][0]))
    np.testing.assert_allclose(at_marks, marks[first : first + at_marks.size], atol=2e-6)
    times = signal["angle_time"].values
    inner = slice(2000, -2000)
    np.testing.assert_allclose(
        signal.sel(channel="x").values[inner],
        np.interp(times, run_up().recording["x"].times, run_up().recording["x"].samples)[inner],
        atol=0.3,  # of 13; a straight line between samples misses the gear mesh by that
    )


def test_the_analysis_tells_what_it_did() -> None:
    attrs = analysis().attrs

    assert attrs["speed_source"].startswith("tacho 'tacho', ")
    assert attrs["has_mark"] == 1
    assert attrs["window"] == "hanning"
    assert attrs["order_resolution"] == 0.1
    assert analysis().order_map.attrs["resolution"] == pytest.approx(0.1)
    assert attrs["lowest_rpm"] == pytest.approx(600.0, rel=0.05)
    assert attrs["highest_rpm"] == pytest.approx(3600.0, rel=0.02)


def test_a_second_analysis_has_the_same_bits() -> None:
    again = analyze(
        run_up().recording, directional=("x", "y"), harmonics=(1, 2, 24), highest_order=30
    )

    np.testing.assert_array_equal(again.order_map.values, analysis().order_map.values)


# The pair takes one way through the library, a single channel another.
def test_a_channel_alone_reads_as_in_company() -> None:
    alone = analyze(run_up().recording, channels="y", harmonics=(2,), highest_order=30)

    np.testing.assert_allclose(
        alone.order_map.sel(channel="y").values,
        analysis().order_map.sel(channel="y").values,
        atol=1e-4,
    )


def test_more_channels_than_processors_keep_their_names_and_order() -> None:
    x = run_up().recording["x"]
    many = Recording(
        tuple(Channel(f"{k}", (k + 1.0) * x.samples, x.rate, "mm/s") for k in range(5))
    )

    result = analyze(many, run_up().speed, harmonics=(2,), highest_order=10)

    assert result.channels == ("0", "1", "2", "3", "4")
    at_3000 = np.abs(result.harmonics.sel(harmonic=2.0, speed=3000.0).values)
    np.testing.assert_allclose(at_3000 / at_3000[0], [1, 2, 3, 4, 5], rtol=1e-5)


# The last blocks of 8192 lines, 2.56 s, end after the run.
def test_no_overall_level_is_0_where_the_machine_turns() -> None:
    down = turning.Machine([(0.0, 3600.0), (12.0, 600.0)], [1.0])

    found = analyze(down.recording(), down.speed(), channels="x", time_lines=8192)

    levels = found.tables()["overall"]["overall_rms"]
    np.testing.assert_allclose(levels, np.sqrt(0.5), rtol=0.02)
    assert len(levels) < found.measured.sum()


def test_rms_is_the_peak_by_the_root_of_two() -> None:
    rms = analyze(
        run_up().recording, channels="x", harmonics=(2,), highest_order=30, amplitude="rms"
    )

    assert rms.order_map.attrs["amplitude"] == "rms"
    np.testing.assert_allclose(
        rms.order_map.values[0, :, 20] * np.sqrt(2.0),
        analysis().order_map.sel(channel="x").values[:, 20],
        rtol=1e-4,
    )


# 1500 rpm, and 1 % to and fro: one row that holds all blocks but those that filters begin with.
@pytest.mark.parametrize("wobble", [0.0, 1e-5, 1e-3, 0.01])
def test_a_steady_machine_has_one_row(wobble: float) -> None:
    corners = [(float(k), 1500.0 * (1.0 + wobble * (-1) ** k)) for k in range(31)]
    steady = turning.Machine(corners, [1.0] * (len(corners) - 1))

    found = analyze(steady.recording(), steady.speed(), channels="x", harmonics=(2,))

    assert list(found.order_map["speed"].values) == [1500.0]
    assert found.order_blocks.item() > 70  # of 75 blocks of ten turns
    assert found.order_amplitudes.item() == pytest.approx(1.0, rel=0.01)


@pytest.mark.parametrize(
    ("direction", "movement"),
    [("both", "both"), ("rising", "rising"), ("falling", "falling"), ("automatic", "rising")],
)
def test_the_movement_is_that_of_the_direction(direction: str, movement: str) -> None:
    machine = turning.up_and_down()

    found = analyze(machine.recording(), machine.speed(), channels="x", direction=direction)

    assert found.attrs["movement"] == movement
    speeds = found.order_amplitudes.sel(harmonic=2.0).values[0, found.measured][5:-5]
    truth = {"both": 1.5, "rising": 1.0, "falling": 2.0}[movement]
    np.testing.assert_allclose(speeds, truth, rtol=0.02)


def test_a_steady_machine_is_analysed_by_contiguous_blocks() -> None:
    steady = simulate_run_up(duration=6.0, rate=6400.0, start_rpm=3000.0, end_rpm=3001.0)

    result = analyze(steady.recording, harmonics=(2,), highest_order=30)

    assert result.attrs["block_mode"] == "contiguous"
    assert result.order_blocks.sum().item() > 10
    amplitude = np.nanmax(np.abs(result.harmonics.sel(channel="x", harmonic=2.0)))
    truth = np.abs(steady.truth(3000.0).sel(component="misalignment", channel="x")).item()
    assert amplitude == pytest.approx(truth, rel=0.01)


def test_progress_runs_from_the_beginning_to_the_end() -> None:
    shares: list[float] = []

    analyze(run_up().recording, highest_order=10, progress=shares.append)

    assert shares == sorted(shares)
    assert shares[-1] == 1.0


def test_what_progress_raises_ends_the_analysis() -> None:
    def stop(share: float) -> None:
        raise KeyboardInterrupt

    with pytest.raises(KeyboardInterrupt):
        analyze(run_up().recording, highest_order=10, progress=stop)


# While C++ works the interpreter runs other threads: a counter goes on.
def test_other_threads_run_meanwhile() -> None:
    counted = 0
    done = threading.Event()

    def count() -> None:
        nonlocal counted
        while not done.is_set():
            counted += 1
            done.wait(0.001)

    other = threading.Thread(target=count)
    other.start()
    analyze(run_up().recording, highest_order=30, angle_signal=False)
    done.set()
    other.join()

    assert counted > 3


def test_a_speed_channel_is_found_by_its_unit() -> None:
    machine = run_up()
    times = np.arange(0.0, 12.0, 0.1)
    n = Channel("n", machine.rpm(times), 10.0, "1/min")
    recording = Recording((machine.recording["x"], n))

    result = analyze(recording, harmonics=(2,), highest_order=20)

    assert result.channels == ("x",)
    assert result.attrs["speed_source"] == "speed channel 'n'"
    assert result.attrs["has_mark"] == 0
    assert result.attrs["phase_mode"] == "first-order"


@pytest.mark.parametrize(
    ("options", "sentence"),
    [
        (
            {"min_rpm": 9000.0},
            r"The speed, 6\d\d(\.\d+)? to 3[45]\d\d(\.\d+)? rpm, met none of the bins asked for, "
            r"9000 to 9000 rpm in steps of",
        ),
        (
            {"min_rpm": 100.0, "max_rpm": 500.0, "step_rpm": 20.0},
            r"100 to 500 rpm in steps of 20, with a whole block of 10 revolutions\.$",
        ),
        ({"direction": "falling"}, r"with a whole block of 10 revolutions while it fell\.$"),
    ],
)
def test_an_analysis_that_measured_nothing_is_refused(options: dict, sentence: str) -> None:
    with pytest.raises(HarmotrackError, match=sentence):
        analyze(run_up().recording, highest_order=10.0, **options)


def with_more(*more: Channel) -> Recording:
    """The signal x of the run-up and its tacho, behind other channels."""
    recording = run_up().recording
    return Recording((*more, recording["x"], recording["tacho"]), "machine")


def square_wave(name: str, hertz: float) -> Channel:
    times = run_up().recording["x"].times
    return Channel(name, np.where((times * hertz) % 1.0 < 0.5, 5.0, 0.0), 6400.0)


def test_a_slow_channel_in_front_does_not_decide_for_all() -> None:
    slow = [Channel(name, np.full(12, 20.0), 1.0, "°C") for name in ("oil", "air")]

    found = analyze(with_more(*slow), harmonics=(2,), highest_order=20)

    assert found.channels == ("x",)
    assert found.remarks == (
        "Left out: 'oil', 'air', of 12 samples at 1 Hz from 0 s, sampled otherwise than 'x'. To "
        "analyse them, name them among the channels.",
    )


def test_the_larger_group_of_channels_is_analysed() -> None:
    alone = Channel("alone", np.sin(np.arange(76800.0)), 7000.0)
    pair = [Channel(name, run_up().recording["x"].samples, 6400.0) for name in ("a", "b")]

    found = analyze(with_more(alone, *pair), harmonics=(2,), highest_order=20)

    assert found.channels == ("a", "b", "x")


def test_remarks_name_a_second_tacho_and_a_second_speed_that_were_left_out() -> None:
    n = Channel("n", np.linspace(600.0, 3600.0, 120), 10.0, "rpm")
    recording = with_more(square_wave("gate", 20.0), n)

    found = analyze(recording, Speed.from_tacho(recording["tacho"]), highest_order=20)

    assert found.channels == ("x",)
    first, second = found.remarks
    assert first.startswith("Left out: 'n', which may hold a speed.")
    assert second.startswith("Left out: 'gate', which looks like a tacho.")


def test_a_remark_names_a_tacho_that_is_analysed_as_a_signal() -> None:
    recording = with_more()
    profile = Speed.from_profile([0.0, 12.0], [600.0, 3600.0])

    found = analyze(recording, profile, highest_order=20)
    named = analyze(recording, profile, channels=["x", "tacho"], highest_order=20)

    assert found.channels == ("x", "tacho")
    told = (
        "Analysed as a signal: 'tacho', which looks like a tacho, as the speed comes from "
        "elsewhere. To leave it out, name the other channels."
    )
    assert told in found.remarks
    assert named.remarks == tuple(remark for remark in found.remarks if remark != told)


# A square wave of 20 Hz looks like a tacho, and nothing but its shape says so.
def test_a_channel_that_says_speed_comes_before_a_guess_by_shape() -> None:
    machine = run_up()
    n = Channel("n", machine.rpm(np.arange(0.0, 12.0, 0.1)), 10.0, "rpm")
    gate = square_wave("gate", 20.0)

    assert find_speed(Recording((machine.recording["x"], gate, n))).channel == "n"
    assert find_speed(Recording((machine.recording["x"], gate))).channel == "gate"
    assert find_speed(with_more(gate, n)).channel == "tacho"


# A pulse in 75 s is 0.8 rpm, and one in 50 s 1.2 rpm.
def test_a_guess_that_no_machine_turns_at_is_none() -> None:
    def switch(seconds: float) -> Recording:
        times = np.arange(0.0, 12.0 * seconds, 0.1)
        return Recording((Channel("valve", np.where(times % seconds < 5.0, 1.0, 0.0), 10.0),))

    with pytest.raises(HarmotrackError, match="looks like a tacho or a speed"):
        find_speed(switch(75.0))
    assert find_speed(switch(50.0)).channel == "valve"
    with pytest.raises(HarmotrackError, match="looks like a tacho or a speed"):
        find_speed(Recording((Channel("n", np.full(100, 2e4), 10.0, "krpm"),)))
    with pytest.raises(HarmotrackError, match="looks like a tacho or a speed"):
        find_speed(switch(50.0), pulses_per_revolution=60.0)


def x_only() -> Recording:
    return run_up().recording.select(["x"])


@pytest.mark.parametrize(
    ("options", "sentence"),
    [
        ({"colour": "red"}, "There is no setting 'colour'; the settings are min_rpm"),
        ({"channels": ["z"]}, "There is no channel 'z'; simulated run-up has 'x', 'y', 'tacho'"),
        ({"directional": ("x", "x")}, "The directional channels are both 'x'"),
        ({"directional": "xy"}, "The directional channels are 'xy', and they must be two"),
        ({"highest_order": 90}, "Order 90 is "),
        ({"order_resolution": 0.001}, "The recording has "),
    ],
)
def test_what_cannot_be_analysed_meets_a_sentence(options: dict, sentence: str) -> None:
    with pytest.raises(HarmotrackError) as error:
        analyze(run_up().recording, **options)

    assert str(error.value).startswith(sentence)


def test_a_recording_that_says_no_speed_meets_a_sentence() -> None:
    with pytest.raises(HarmotrackError, match="No channel of simulated run-up looks like a tacho"):
        analyze(x_only())


def test_a_sample_that_is_no_number_meets_a_sentence() -> None:
    samples = run_up().recording["x"].samples.copy()
    samples[6400] = np.nan
    broken = Recording.from_arrays({"x": samples}, 6400.0)

    with pytest.raises(HarmotrackError, match="Signal 1 holds a value that is not a finite number"):
        analyze(broken, run_up().speed, highest_order=10)


def test_channels_of_different_rates_are_not_analysed_together() -> None:
    x = run_up().recording["x"]
    slow = Channel("slow", x.samples[::2], 3200.0)

    with pytest.raises(HarmotrackError, match=r"The channels 'x' .* and 'slow' .* are not sampled"):
        analyze(Recording((x, slow)), run_up().speed, channels=("x", "slow"))


# Speeds.


def test_pulses_profile_and_tacho_say_the_same_speed() -> None:
    machine = run_up()
    times = np.linspace(1.0, 11.0, 50)
    profile_times = np.linspace(0.0, 12.0, 121)
    speeds = (
        Speed.from_tacho(machine.recording["tacho"]),
        Speed.from_pulses(machine.marks),
        Speed.from_profile(profile_times, machine.rpm(profile_times)),
        Speed.from_channel(Channel("n", machine.rpm(profile_times) / 60.0, 10.0, "Hz")),
    )

    for speed in speeds:
        np.testing.assert_allclose(speed.rpm_at(times), machine.rpm(times), rtol=2e-4)


def test_turns_and_seconds_are_inverse() -> None:
    speed = run_up().speed
    turns = np.linspace(1.0, speed.turns - 1.0, 100)

    np.testing.assert_allclose(speed.turns_at(speed.seconds_at(turns)), turns, atol=1e-9)


@pytest.mark.parametrize(
    ("make", "sentence"),
    [
        (lambda: Speed.from_pulses([1.0, 2.0]), "pulses"),
        (lambda: Speed.from_pulses([1.0, 2.0, 1.5, 3.0, 4.0]), "increas"),
        (lambda: Speed.from_pulses([1, 2, 3, 4, 5], 0), "The number of pulses a revolution is 0"),
        (lambda: Speed.from_profile([0.0, 1.0], [600.0]), "There are 2 times and 1 speeds"),
        (lambda: Speed.from_profile([0.0, 1.0], [600.0, -1.0]), "-1"),
        (lambda: Speed.from_profile([[0.0]], [600.0]), "they must be one row"),
        (lambda: Speed.from_channel(Channel("v", np.ones(9), 1.0, "m")), "The unit of the speed"),
        (lambda: Speed.from_tacho(Channel("t", np.zeros(99), 9.0)), "The tacho channel 't'"),
        (lambda: Speed.from_tacho(run_up().recording["tacho"], edge="up"), "The edge is 'up'"),
    ],
)
def test_what_is_no_speed_meets_a_sentence(make: object, sentence: str) -> None:
    with pytest.raises(HarmotrackError, match=sentence):
        make()


# Simulation.


def test_the_same_seed_gives_the_same_recording() -> None:
    first, second = (simulate_run_up(duration=1.0, rate=12800.0) for _ in range(2))

    np.testing.assert_array_equal(first.recording["x"].samples, second.recording["x"].samples)


def test_marks_pass_where_the_tacho_rises_through_its_level() -> None:
    machine = run_up()

    np.testing.assert_allclose(machine.turns(machine.marks), np.arange(420.0), atol=1e-9)
    found = Speed.from_tacho(machine.recording["tacho"], level=2.5)
    np.testing.assert_allclose(found.seconds_at(100.0), machine.marks[100], atol=1e-7)


@pytest.mark.parametrize(
    ("options", "sentence"),
    [
        ({"rate": 10.0}, "The rate is 10 Hz, and 1000 to 655350 is allowed"),
        ({"end_rpm": 1e6}, "The end_rpm is 1000000 rpm"),
        ({"duration": 0.1, "start_rpm": 60, "end_rpm": 60}, "less than two turns"),
    ],
)
def test_machines_that_cannot_be_simulated_meet_a_sentence(options: dict, sentence: str) -> None:
    with pytest.raises(HarmotrackError, match=sentence):
        simulate_run_up(**options)


def test_looking_for_the_speed_tells_its_progress() -> None:
    shares: list[float] = []

    find_speed(run_up().recording, progress=shares.append)

    assert shares == sorted(shares)
    assert shares[-1] == 1.0
