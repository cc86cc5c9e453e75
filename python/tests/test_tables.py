"""Texts with columns of numbers, as loggers, spreadsheets and analysers write them."""

from collections.abc import Callable
from pathlib import Path

import numpy as np
import pytest

from harmotrack import HarmotrackError, Recording, read
from harmotrack.readers.speed_table import read_pulses, read_speed
from harmotrack.speed_finder import find_speed
from harmotrack.writers import write


def table(
    tmp_path: Path, text: str | bytes, name: str = "table.csv", **options: object
) -> Recording:
    content = text.encode() if isinstance(text, str) else text
    (tmp_path / name).write_bytes(content)
    return read(tmp_path / name, **options)


def lines(times: np.ndarray, *columns: np.ndarray, stamp: str, separator: str = ",") -> str:
    return "".join(
        separator.join([stamp % t, *(f"{x:.9g}" for x in row)]) + "\n"
        for t, *row in zip(times, *columns, strict=True)
    )


# Samples on an even grid are those that were written, so no spline may have touched them. With six
# digits stamps beyond 10 s are the same for five rows and more.
@pytest.mark.parametrize("rate", [51200.0, 12345.678, 1.0 / 0.00003])
@pytest.mark.parametrize(("stamp", "from_second"), [("%.7g", 9.5), ("%.6g", 9.5), ("%.4f", 3.0)])
def test_stamps_of_an_even_grid_within_their_printed_digits_are_even(
    tmp_path: Path, rate: float, stamp: str, from_second: float
) -> None:
    times = from_second + np.arange(round(rate)) / rate
    values = np.round(np.random.default_rng(1).normal(size=times.size), 6)

    recording = table(tmp_path, "time,a\n" + lines(times, values, stamp=stamp))

    (channel,) = recording
    np.testing.assert_array_equal(channel.samples, values)
    assert channel.rate == pytest.approx(rate, rel=2e-4)  # a stamp of 1e-4 s in 1 s
    assert channel.start == pytest.approx(from_second, abs=1e-4)
    assert recording.notes == ()


def test_of_the_rates_that_the_digits_allow_a_whole_number_wins(tmp_path: Path) -> None:
    times = np.arange(51200) / 51200.0

    recording = table(tmp_path, "time,a\n" + lines(times, times, stamp="%.5f"))

    assert recording[0].rate == 51200.0


# A grid would need the time of the missing row, which the digits do not leave open.
def test_a_missing_row_makes_the_steps_uneven_whatever_the_digits(tmp_path: Path) -> None:
    times = np.delete(np.arange(400) / 100.0, 150)

    recording = table(tmp_path, "time,a\n" + lines(times, times, stamp="%.2f"))

    assert "The time steps vary from 0.01 s to 0.02 s" in recording.notes[0]
    np.testing.assert_allclose(recording[0].samples, recording[0].times, atol=1e-9)


# The shaft turns at 600 rpm and a little; the slot is seen for a tenth of each turn.
def edges() -> tuple[np.ndarray, np.ndarray]:
    rises = np.cumsum(0.1 + 0.003 * np.sin(np.arange(40)))
    return np.column_stack([rises, rises + 0.01]).ravel(), np.tile([5.0, 0.0], 40)


def test_two_levels_at_uneven_times_are_the_edges_of_a_tacho(tmp_path: Path) -> None:
    times, levels = edges()

    recording = table(tmp_path, "time,tacho\n" + lines(times, levels, stamp="%.6f"))

    (train,) = recording.pulses
    assert train.name == "tacho"
    assert len(recording) == 0
    np.testing.assert_allclose(train.seconds, times[2::2], atol=1e-6)  # the first is no rise yet
    assert "is taken as the edges of a tacho, of which the 39 rising ones" in recording.notes[0]
    speed = find_speed(recording)
    assert speed.rpm_at(2.0)[0] == pytest.approx(600.0, rel=0.04)
    assert speed.source == "39 pulses of 'tacho'"
    with pytest.raises(HarmotrackError, match="has no channels to be written"):
        write(recording, tmp_path / "tacho.wav")
    with pytest.raises(HarmotrackError, match="has no channels"):
        recording.to_dataset()


# As a door or a brake that someone moves now and then.
def test_a_switch_is_no_tacho(tmp_path: Path) -> None:
    times = np.cumsum(np.random.default_rng(5).exponential(1.0, 60)) + 0.001 * np.arange(60)
    text = "time,door\n" + lines(times, np.tile([0.0, 1.0], 30), stamp="%.6f")

    recording = table(tmp_path, text)

    assert recording.pulses[0].seconds.size == 30
    with pytest.raises(HarmotrackError, match="looks like a tacho or a speed"):
        find_speed(recording)


def test_signals_beside_the_edges_become_channels(tmp_path: Path) -> None:
    times, levels = edges()

    recording = table(tmp_path, "time,tacho,a\n" + lines(times, levels, times, stamp="%.6f"))

    assert recording.names == ("a",)
    assert [train.name for train in recording.pulses] == ["tacho"]


# Each row: what the text is, the text, and the options that it needs.
ROWS = 40
WHOLE = range(ROWS)


@pytest.mark.parametrize(
    "content",
    {
        "spaces": "time a\n" + "".join(f"  {k / 100:.2f}   {k + 0.5}\n" for k in WHOLE),
        "spaces and units": "Time [s]   a [m/s²]\n"
        + "".join(f"{k / 100:.2f} {k + 0.5}\n" for k in WHOLE),
        "a comment": "# time a\n" + "".join(f"{k / 100:.2f} {k + 0.5}\n" for k in WHOLE),
        "no heading but spaces": "".join(f"{k / 100:.2f} {k + 0.5}\n" for k in WHOLE),
    }.items(),
    ids=lambda item: item[0],
)
def test_columns_set_by_spaces_are_read(tmp_path: Path, content: tuple[str, str]) -> None:
    kind, text = content
    time = "column 1" if kind.startswith("no heading") else None

    recording = table(tmp_path, text, "run.txt", time=time)

    (channel,) = recording
    assert channel.name == ("column 2" if time else "a")
    assert channel.unit == ("m/s²" if "units" in kind else "")
    assert channel.rate == 100.0
    np.testing.assert_array_equal(channel.samples, np.arange(ROWS) + 0.5)


def test_headings_in_quotes_may_hold_the_separator(tmp_path: Path) -> None:
    text = '"Time [s]","Bearing, drive end [m/s²]"\n' + "".join(f"{k / 100},{k}\n" for k in WHOLE)

    recording = table(tmp_path, text)

    assert recording.names == ("Bearing, drive end",)
    assert recording[0].unit == "m/s²"


@pytest.mark.parametrize("encoding", ["utf-16", "utf-16-le", "utf-16-be", "utf-8-sig", "cp1252"])
def test_the_encoding_is_told_by_the_first_bytes(tmp_path: Path, encoding: str) -> None:
    mark = {"utf-16-le": b"\xff\xfe", "utf-16-be": b"\xfe\xff"}.get(encoding, b"")
    text = "Zeit;Beschleunigung [m/s²]\r\n" + "".join(
        f"{k / 100:.2f};{k},5\r\n".replace(".", ",") for k in WHOLE
    )

    recording = table(tmp_path, mark + text.encode(encoding))

    assert recording[0].unit == "m/s²"
    np.testing.assert_array_equal(recording[0].samples, np.arange(ROWS) + 0.5)


def test_a_byte_of_another_encoding_far_down_costs_nothing(tmp_path: Path) -> None:
    rows = [f"{k / 100},{k},Grün\n".encode() for k in range(2000)]
    rows[1500] = "15,1500,20 °C\n".encode("latin-1")

    recording = table(tmp_path, b"time,a,remark\n" + b"".join(rows))

    np.testing.assert_array_equal(recording["a"].samples, np.arange(2000))


@pytest.mark.parametrize("grouped", ["{:,.2f}", '"{:,.2f}"'])
@pytest.mark.parametrize("german", [True, False])
def test_digits_in_groups_of_three_are_one_number(
    tmp_path: Path, grouped: str, german: bool
) -> None:
    swap = str.maketrans(",.", ".,") if german else {}
    values = 654.25 + 300.0 * np.arange(100)  # the first thousand stands in the third row
    text = "t;n\n" + "".join(
        f"{k / 100:.2f};{grouped.format(value)}\n".translate(swap) for k, value in enumerate(values)
    )

    recording = table(tmp_path, text)

    np.testing.assert_array_equal(recording["n"].samples, values)


def test_lines_of_numbers_above_the_table_are_no_part_of_it(tmp_path: Path) -> None:
    text = "rate;100\n3\nt;a\n" + "".join(f"{k / 100};{k}\n" for k in WHOLE)

    recording = table(tmp_path, text)

    assert recording.names == ("a",)
    assert recording[0].size == ROWS


def test_a_group_of_three_below_the_first_lines_is_no_decimal(tmp_path: Path) -> None:
    values = np.arange(1000) + 0.5
    text = "t;n\n" + "".join(
        f"{k / 100:.2f};{value:,.1f}\n".translate(str.maketrans(",.", ".,"))
        for k, value in enumerate([*values, 12345.5])
    )

    assert table(tmp_path, text)["n"].samples[-1] == 12345.5


@pytest.mark.parametrize("name", ["run", "run.log", "run.dat"])
def test_a_text_of_numbers_is_a_table_whatever_its_name(tmp_path: Path, name: str) -> None:
    text = "time,a\n" + "".join(f"{k / 100},{k}\n" for k in WHOLE)

    assert table(tmp_path, text, name)[0].size == ROWS


def test_the_format_can_be_told(tmp_path: Path) -> None:
    text = "    -1\n" + "".join(f"{k / 100},{k}\n" for k in WHOLE)  # which is how UFF begins

    recording = table(tmp_path, text, "run.uff", format="csv", time="column 1")

    assert recording[0].size == ROWS
    with pytest.raises(HarmotrackError, match="The format is 'excel', and it must be one of"):
        table(tmp_path, text, format="excel")


def test_a_name_that_stands_twice_gets_a_number_that_is_no_unit(tmp_path: Path) -> None:
    text = "time,a,a,a #2\n" + "".join(f"{k / 100},{k},{-k},1{k}\n" for k in WHOLE)

    recording = table(tmp_path, text)

    assert recording.names == ("a", "a #2", "a #2 #2")
    assert {channel.unit for channel in recording} == {""}
    again = table(tmp_path, text.replace("a,a,a #2", "a,a (2),b"))
    assert again.names == ("a", "a (2)", "b")
    assert again["a (2)"].unit == ""


SPEED = "time_s,speed_rpm\n0,600\n0.5,640\n2,760\n3,780\n"


@pytest.mark.parametrize(
    ("text", "options"),
    [
        (SPEED, {}),  # as an analysis and a tracking write it
        ("s,n,load\n0,10,3\n500,10.6666666667,4\n2000,12.6666666667,5\n3000,13,6\n",
         {"time": "s", "time_unit": "ms", "speed": "n", "speed_unit": "Hz"}),
    ],
)  # fmt: skip
def test_a_speed_table_of_uneven_steps_runs_straight_from_row_to_row(
    tmp_path: Path, text: str, options: dict[str, str]
) -> None:
    (tmp_path / "speed.csv").write_text(text)

    speed = read_speed(tmp_path / "speed.csv", **options)

    np.testing.assert_allclose(speed.rpm_at([0.25, 0.5, 1.25, 2.5]), [620.0, 640.0, 700.0, 770.0])


def test_a_speed_that_can_not_be_told_meets_a_sentence(tmp_path: Path) -> None:
    (tmp_path / "speed.csv").write_text("time,a,b\n0,1,2\n1,2,3\n")

    with pytest.raises(HarmotrackError, match=r"the speed can't be told; it has 'a', 'b'"):
        read_speed(tmp_path / "speed.csv")
    with pytest.raises(HarmotrackError, match="There is no channel 'c'"):
        read_speed(tmp_path / "speed.csv", speed="c")
    with pytest.raises(HarmotrackError, match="There is no column 'clock'"):
        read_speed(tmp_path / "speed.csv", time="clock")


PULSES = [0.1, 0.19, 0.3, 0.42, 0.5]


@pytest.mark.parametrize(
    ("write", "options"),
    [
        (lambda: "".join(f"{t}\n" for t in PULSES), {}),
        (lambda: "time_ms\n" + "".join(f"{1000 * t:g}\n" for t in PULSES), {}),
        (lambda: "n,when\n" + "".join(f"{k},{t}\n" for k, t in enumerate(PULSES)),
         {"column": "when"}),
        (lambda: "time,level\n" + "".join(f"{t - 0.01},0\n{t},5\n" for t in PULSES), {}),
    ],
)  # fmt: skip
def test_pulse_times_are_read_from_the_column_that_holds_them(
    tmp_path: Path, write: Callable[[], str], options: dict[str, str]
) -> None:
    (tmp_path / "pulses.csv").write_text(write())

    np.testing.assert_allclose(read_pulses(tmp_path / "pulses.csv", **options), PULSES)


def test_pulse_times_that_can_not_be_told_meet_a_sentence(tmp_path: Path) -> None:
    (tmp_path / "pulses.csv").write_text("time,b\n1,1\n2,2\n4,4\n5,5\n")

    with pytest.raises(HarmotrackError, match="holds the times of the pulses can't be told"):
        read_pulses(tmp_path / "pulses.csv")
