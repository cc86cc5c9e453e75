"""Where the speed comes from, as it is said on the command line."""

from pathlib import Path

import numpy as np
import pytest

import turning
from harmotrack import Channel, HarmotrackError, Recording, Speed, find_speed, track
from harmotrack.cli.main import group, run
from harmotrack.recording import PulseTrain
from harmotrack.writers import write


def call(*arguments: object) -> int:
    return run(lambda: group.main([str(one) for one in arguments], standalone_mode=False))


def sentence(capsys: pytest.CaptureFixture) -> str:
    said = capsys.readouterr()
    (line,) = [line for line in said.err.splitlines() if line.startswith("harmotrack: ")]
    return line


@pytest.fixture(scope="module")
def recording(tmp_path_factory: pytest.TempPathFactory) -> Path:
    machine = turning.up_and_down().recording()
    return write(machine, tmp_path_factory.mktemp("machine") / "run.wav")[0]


@pytest.fixture
def speeds(monkeypatch: pytest.MonkeyPatch) -> list[Speed]:
    """Those that analyses are asked for with; they end there."""
    found: list[Speed] = []

    def taken(recording: Recording, speed: Speed, **options: object) -> None:
        found.append(speed)
        raise HarmotrackError("taken")

    monkeypatch.setattr("harmotrack.analysis.analyze", taken)
    return found


#: Each alone changes what the tacho of up_and_down() says: its pulses reach 5.
TACHO_OPTIONS = {
    "pulses": ["--pulses", "2"],
    "level": ["--level", "1"],
    "edge": ["--edge", "falling"],
    "gear_ratio": ["--gear-ratio", "2"],
    "max_rpm": ["--tacho-max-rpm", "2000"],
}


@pytest.mark.parametrize("name", TACHO_OPTIONS)
def test_options_of_the_tacho_apply_to_the_one_that_is_found(
    recording: Path, speeds: list[Speed], name: str
) -> None:
    for options in ([], TACHO_OPTIONS[name], ["--tacho", "tacho", *TACHO_OPTIONS[name]]):
        assert call("orders", recording, *options) == 2

    plain, found, named = speeds
    moments = np.linspace(2.0, 14.0, 50)
    np.testing.assert_array_equal(found.turns_at(moments), named.turns_at(moments))
    assert not np.array_equal(found.turns_at(moments), plain.turns_at(moments))


@pytest.mark.parametrize("tacho", [[], ["--tacho", "tacho"]])
def test_the_window_of_the_smoothing_goes_to_the_tacho(
    recording: Path, monkeypatch: pytest.MonkeyPatch, tacho: list[str]
) -> None:
    asked: dict[str, object] = {}

    def taken(channel: Channel, **options: object) -> None:
        asked.update(options)
        raise HarmotrackError("taken")

    monkeypatch.setattr(Speed, "from_tacho", taken)

    assert call("orders", recording, "--smoothing-turns", "16", *tacho) == 2

    assert asked["smoothing_turns"] == 16.0


def test_options_of_the_tacho_that_is_found_are_checked(
    recording: Path, capsys: pytest.CaptureFixture
) -> None:
    assert call("orders", recording, "--missing-teeth", "-1") == 2
    assert "The number of missing teeth is -1" in sentence(capsys)
    assert call("orders", recording, "--missing-teeth", 10**15) == 2
    assert "The number of missing teeth is 1e+15" in sentence(capsys)
    assert call("orders", recording, "--gear-ratio", "0") == 2
    assert "The gear ratio is 0, and it must be above 0." in sentence(capsys)
    assert call("orders", recording, "--missing-teeth", "2") == 2
    assert "a wheel of 1 must keep at least 4" in sentence(capsys)


@pytest.mark.parametrize(
    ("arguments", "words"),
    [
        (
            ["--level", "2", "--speed-channel", "x"],
            "--level goes with --tacho, and the speed comes from --speed-channel.",
        ),
        (
            ["--edge", "both", "--pulse-times", "pulses.csv"],
            "--edge goes with --tacho, and the speed comes from --pulse-times.",
        ),
        (
            ["--gear-ratio", "2", "--speed-csv", "speed.csv"],
            "--gear-ratio goes with --tacho or --pulse-times, and the speed comes from "
            "--speed-csv.",
        ),
        (
            ["--pulses", "2", "--track", "500:4000"],
            "--pulses goes with --tacho or --pulse-times, and the speed comes from --track.",
        ),
        (
            ["--speed-unit", "Hz"],
            "--speed-unit goes with --speed-channel or --speed-csv, and that is missing.",
        ),
        (["--track-orders", "1,2"], "--track-orders goes with --track, and that is missing."),
        (
            ["--speed-columns", "a,b", "--tacho", "3"],
            "--speed-columns goes with --speed-csv, and the speed comes from --tacho.",
        ),
        (
            ["--pulse-column", "a"],
            "--pulse-column goes with --pulse-times, and that is missing.",
        ),
        (
            ["--speed-csv", "speed.csv", "--speed-columns", "time_s"],
            "--speed-columns is 'time_s', and it must be two names with a comma",
        ),
        (
            ["--pulse-times", "a.csv", "--tacho", "3"],
            "The speed comes from one of --tacho and --pulse-times, not from several.",
        ),
    ],
)
def test_an_option_that_would_be_ignored_meets_a_sentence(
    recording: Path, capsys: pytest.CaptureFixture, arguments: list[str], words: str
) -> None:
    assert call("orders", recording, *arguments) == 2

    assert words in sentence(capsys)


def test_an_option_of_a_tacho_where_a_speed_channel_is_found_meets_a_sentence(
    tmp_path: Path, capsys: pytest.CaptureFixture
) -> None:
    machine = turning.up_and_down()
    channels = (
        Channel("x", machine.x, turning.RATE, "mm/s"),
        Channel("speed", machine.rpm, turning.RATE, "rpm"),
    )
    path, *_ = write(Recording(channels), tmp_path / "run.h5")

    assert call("orders", path, "--level", "2") == 2

    told = "--level is an option of a tacho, and the speed is that of the speed channel 'speed'."
    assert told in sentence(capsys)


#: Numbers of every option that takes one.
NUMBERS = {
    "orders": "pulses gear-ratio tacho-max-rpm smoothing-turns level rate full-scale min-rpm "
    "max-rpm step-rpm highest-order order-resolution harmonics row-overlap",
    "map": "reference",
    "simulate": "duration rate start-rpm end-rpm noise",
}


@pytest.mark.parametrize("value", ["nan", "inf", "-inf", "many"])
@pytest.mark.parametrize(
    ("command", "option"), [(name, option) for name in NUMBERS for option in NUMBERS[name].split()]
)
def test_what_is_no_finite_number_meets_a_sentence_that_names_the_option(
    tmp_path: Path, capsys: pytest.CaptureFixture, command: str, option: str, value: str
) -> None:
    target = tmp_path / "run.wav"
    if command != "simulate":
        write(turning.up_and_down().recording(), target)
        before = sorted(tmp_path.iterdir())
    else:
        before = []

    assert call(command, target, f"--{option}={value}") == 2

    told = sentence(capsys)
    assert f"--{option}" in told
    assert value in told
    assert sorted(tmp_path.iterdir()) == before


@pytest.mark.parametrize("limits", ["nan:nan", "500:inf", "500", "500:900:1000", "a:b"])
def test_a_range_of_speeds_is_two_finite_numbers(
    recording: Path, capsys: pytest.CaptureFixture, limits: str
) -> None:
    assert call("track", recording, "--track", limits) == 2

    assert f"--track is '{limits}', and it must be two speeds in rpm" in sentence(capsys)


# Turns of a shaft at 600 rpm; the wheel's are half as many where the gear doubles them.
@pytest.mark.parametrize(
    ("options", "times", "rpm"),
    [
        ([], np.arange(0.0, 10.0, 0.1), 600.0),
        (["--pulses", "4"], np.arange(0.0, 10.0, 0.025), 600.0),
        (["--gear-ratio", "2"], np.arange(0.0, 10.0, 0.2), 600.0),
        (
            ["--pulses", "60", "--missing-teeth", "2"],
            (np.arange(6000) / 600.0)[np.arange(6000) % 60 < 58],
            600.0,
        ),
    ],
)
def test_the_speed_comes_from_the_moments_of_pulses_and_their_wheel(
    recording: Path,
    speeds: list[Speed],
    tmp_path: Path,
    options: list[str],
    times: np.ndarray,
    rpm: float,
) -> None:
    np.savetxt(tmp_path / "pulses.csv", times, header="time [s]", comments="", fmt="%.9f")

    assert call("orders", recording, "--pulse-times", tmp_path / "pulses.csv", *options) == 2

    (speed,) = speeds
    np.testing.assert_allclose(speed.rpm_at([2.0, 5.0, 8.0]), rpm, rtol=1e-6)
    assert speed.notes == ()
    assert speed.has_mark == ("--gear-ratio" not in options)


def test_pulses_that_say_more_than_the_machine_can_are_dropped() -> None:
    times = np.sort([*np.arange(0.0, 10.0, 0.1), 2.03])

    speed = Speed.from_pulses(times, max_rpm=900.0)

    assert speed.notes == ("At 2.03 s a pulse says more than the limit of the speed: dropped.",)
    np.testing.assert_allclose(speed.rpm_at([2.0, 2.05]), 600.0)


def test_turns_of_a_wheel_with_missing_teeth_begin_behind_its_gap() -> None:
    teeth = np.arange(6000)
    times = (teeth / 600.0)[teeth % 60 < 58]  # the tooth behind the gap stands at whole turns

    speed = Speed.from_pulses(times, 60.0, missing_teeth=2)

    turns = speed.turns_at(np.arange(1.0, 9.0, 0.1))
    np.testing.assert_allclose(turns, np.round(turns), atol=1e-6)


def test_the_moments_of_pulses_in_the_recording_have_a_wheel_but_no_level() -> None:
    signal = Channel("x", np.zeros(1000), 100.0)
    pulses = PulseTrain("tacho", np.arange(0.0, 10.0, 0.1))
    recording = Recording((signal,), pulses=(pulses,))

    assert find_speed(recording, gear_ratio=2.0).rpm_at(5.0) == pytest.approx(1200.0)
    with pytest.raises(HarmotrackError, match="level has no meaning"):
        find_speed(recording, level=2.0)


def test_the_tacho_may_be_pulses_of_the_file(speeds: list[Speed], tmp_path: Path) -> None:
    rises = np.cumsum(0.1 + 0.003 * np.sin(np.arange(40)))
    rows = [row for at in rises for row in (f"{at:.6f},5,1", f"{at + 0.01:.6f},0,2")]
    (tmp_path / "edges.csv").write_text("\n".join(["time [s],slot,a", *rows]) + "\n")

    for options, rpm in ([], 600.0), (["--pulses", "2"], 300.0):
        assert call("orders", tmp_path / "edges.csv", "--tacho", "slot", *options) == 2
        assert speeds[-1].source == "39 pulses of 'slot'"
        np.testing.assert_allclose(speeds[-1].rpm_at([1.0, 2.0, 3.0]), rpm, rtol=0.04)


def test_the_speed_that_track_writes_is_read_as_it_was_tracked(
    recording: Path, speeds: list[Speed], tmp_path: Path
) -> None:
    options = ["--track", "400:4000", "-o", tmp_path / "tracked.csv"]
    assert call("track", recording, *options, "--channels", "x", "--track-orders", "1,2") == 0

    assert call("orders", recording, "--speed-csv", tmp_path / "tracked.csv") == 2

    tracked = track(recording, min_rpm=400.0, max_rpm=4000.0).speed
    np.testing.assert_allclose(
        speeds[0].rpm_at(np.arange(1.0, 15.0)), tracked.rpm_at(np.arange(1.0, 15.0)), rtol=1e-5
    )


def test_columns_of_a_speed_table_are_named(
    recording: Path, speeds: list[Speed], tmp_path: Path
) -> None:
    (tmp_path / "speed.csv").write_text("a,b,c\n1,0,10\n2,8,50\n3,16,10\n")
    options = ["--speed-columns", "b,c", "--speed-unit", "Hz"]

    assert call("orders", recording, "--speed-csv", tmp_path / "speed.csv", *options) == 2

    np.testing.assert_allclose(speeds[0].rpm_at([4.0, 8.0]), [1800.0, 3000.0])
