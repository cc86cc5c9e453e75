"""The command as a user calls it: in a process of its own, from another folder."""

import json
import os
import re
import subprocess
import sys
from pathlib import Path

import matplotlib.pyplot as plt
import numpy as np
import pytest
import scipy.io
from click.testing import CliRunner

import turning
from harmotrack import TwoPasses, analyze, load, read, settings
from harmotrack.cli.analyze import command as analyze_command
from harmotrack.cli.analyze import pictures_of
from harmotrack.cli.main import _COMMANDS, group, main, run
from harmotrack.readers import FORMATS
from harmotrack.writers import write


@pytest.fixture(scope="module")
def recording(tmp_path_factory: pytest.TempPathFactory) -> Path:
    path = tmp_path_factory.mktemp("machine") / "run.flac"
    assert call("simulate", path, "--duration", 6, "--rate", 6400, "--end-rpm", 3600) == 0
    return path


def call(*arguments: object) -> int:
    """The exit code; what is printed goes where pytest looks for it."""
    return run(lambda: group.main([str(one) for one in arguments], standalone_mode=False))


def test_the_installed_command_answers_in_a_process_of_its_own(tmp_path: Path) -> None:
    command = Path(sys.executable).with_name("harmotrack")

    answer = subprocess.run(
        [command, "--version"], capture_output=True, text=True, cwd=tmp_path, check=True
    )

    assert answer.stdout.startswith("harmotrack, version ")
    # FFTW, or the transform that takes its place: a name with a version, and a file.
    assert re.search(
        r"^Fourier transforms by (fftw|rustfft)-\d[^ ]*, .*libfftw3", answer.stdout, re.MULTILINE
    )


# What is loaded decides how soon the command answers.
def test_help_loads_neither_numpy_nor_the_library() -> None:
    code = (
        "import sys; from harmotrack.cli.main import group\n"
        "group.main(['--help'], standalone_mode=False)\n"
        "print([name for name in ('numpy', 'xarray', 'rich', 'harmotrack._native')"
        " if name in sys.modules])"
    )

    answer = subprocess.run(
        [sys.executable, "-c", code], capture_output=True, text=True, check=True
    )

    assert answer.stdout.splitlines()[-1] == "[]"


@pytest.mark.parametrize("name", _COMMANDS)
def test_every_command_explains_itself(name: str) -> None:
    answer = CliRunner().invoke(group, [name, "--help"])

    assert answer.exit_code == 0
    assert "Usage:" in answer.output


# The help does not load what checks the options, so it names their choices itself.
@pytest.mark.parametrize(
    ("option", "choices"),
    [
        ("--format", FORMATS),
        ("--window", settings.WINDOWS),
        ("--amplitude", settings.AMPLITUDES),
        ("--averaging", settings.AVERAGINGS),
        ("--block-mode", settings.BLOCK_MODES),
        ("--phase-mode", settings.PHASE_MODES),
        ("--weighting", settings.WEIGHTINGS),
    ],
)
def test_the_help_names_every_choice(option: str, choices: tuple[str, ...]) -> None:
    (found,) = [one for one in analyze_command.params if option in one.opts]

    words = set(found.help.replace(",", " ").replace(";", " ").replace(".", " ").split())
    assert set(choices) <= words


@pytest.mark.parametrize("name", _COMMANDS)
def test_every_option_is_explained(name: str) -> None:
    command = group.get_command(None, name)

    for option in command.params:
        if option.param_type_name == "option":
            assert len(option.help.split()) >= 2, option.name


@pytest.mark.parametrize("encoding", ["ascii", "latin-1", "utf-8"])
def test_an_output_without_all_letters_is_written_all_the_same(
    tmp_path: Path, encoding: str
) -> None:
    rows = "".join(f"{k / 100.0:.2f},{k % 7}\n" for k in range(1000))
    (tmp_path / "run.csv").write_text(f"time [s],Ω [µm]\n{rows}", encoding="utf-8")

    def told(*options: str) -> str:
        return subprocess.run(
            [Path(sys.executable).with_name("harmotrack"), "info", "run.csv", *options],
            cwd=tmp_path,
            env={**os.environ, "PYTHONIOENCODING": encoding},
            capture_output=True,
            check=True,
        ).stdout.decode(encoding)

    (channel,) = json.loads(told("--json"))["channels"]
    assert (channel["name"], channel["unit"]) == ("Ω", "µm")
    assert ("Ω" if encoding == "utf-8" else "\\u03a9") in told()


def test_completion_for_bash_is_offered() -> None:
    answer = subprocess.run(
        [Path(sys.executable).with_name("harmotrack")],
        env={**os.environ, "_HARMOTRACK_COMPLETE": "bash_source"},
        capture_output=True,
        text=True,
        check=True,
    )

    assert "complete" in answer.stdout


def test_a_report_is_made_of_a_recording_or_of_stored_results(
    recording: Path, tmp_path: Path, capsys: pytest.CaptureFixture
) -> None:
    assert call("analyze", recording, "-o", tmp_path, "--no-pictures", "--tables", "none") == 0
    capsys.readouterr()

    assert call("report", tmp_path / "results.nc", "-o", tmp_path / "stored.html") == 0
    assert call("report", recording, "-o", tmp_path / "fresh.html") == 0

    out = capsys.readouterr().out.splitlines()
    assert out == [str(tmp_path / "stored.html"), str(tmp_path / "fresh.html")]
    assert (tmp_path / "stored.html").read_text() == (tmp_path / "fresh.html").read_text()


def test_a_report_is_named_html(recording: Path, capsys: pytest.CaptureFixture) -> None:
    assert call("report", recording, "-o", recording.with_name("report.pdf")) == 2

    assert "The name report.pdf must end in .html." in capsys.readouterr().err


# With and without pictures, which can't draw what was not measured.
@pytest.mark.parametrize("options", [[], ["--no-pictures"]])
def test_a_range_that_the_machine_never_met_is_refused(
    recording: Path, tmp_path: Path, capsys: pytest.CaptureFixture, options: list[str]
) -> None:
    out = tmp_path / "out"

    assert call("analyze", recording, "--min-rpm", "9000", "-o", out, *options) == 2

    assert "met none of the bins asked for, 9000 to 9000 rpm" in capsys.readouterr().err
    assert not out.exists()


def test_info_names_the_likely_tacho(recording: Path, capsys: pytest.CaptureFixture) -> None:
    assert call("info", recording, "--json") == 0

    told = json.loads(capsys.readouterr().out)
    assert [channel["name"] for channel in told["channels"]] == ["x", "y", "tacho"]
    assert told["channels"][2]["role"].startswith("likely tacho")
    assert told["channels"][0]["role"] == ""
    assert told["channels"][0]["unit"] == "mm/s"
    assert told["channels"][0]["rate_hz"] == 6400.0


def test_info_of_a_file_whose_name_does_not_tell_its_kind(
    tmp_path: Path, capsys: pytest.CaptureFixture
) -> None:
    rows = "".join(f"{k / 100.0:.2f},{k % 7}\n" for k in range(1000))
    (tmp_path / "run.uff").write_text(f"time [s],x [V]\n{rows}")

    assert call("info", tmp_path / "run.uff", "--format", "csv", "--json") == 0
    (channel,) = json.loads(capsys.readouterr().out)["channels"]
    assert (channel["name"], channel["unit"], channel["rate_hz"]) == ("x", "V", 100.0)

    assert call("info", tmp_path / "run.uff", "--format", "csv", "--rate", "200", "--json") == 0
    (channel,) = json.loads(capsys.readouterr().out)["channels"]
    assert channel["rate_hz"] == 200.0

    assert call("info", tmp_path / "run.uff", "--format", "ods") == 2
    assert "The format is 'ods', and it must be one of 'wav', 'flac'" in sentence(capsys)


def test_info_shows_a_table(recording: Path, capsys: pytest.CaptureFixture) -> None:
    assert call("info", recording) == 0

    assert "likely tacho" in capsys.readouterr().out


# Edges of a tacho at uneven times, the first of 40 rises at the start: 39 pulses from 0.1 s on.
def test_info_tells_the_pulses_and_the_constant_speed_of_the_file(
    tmp_path: Path, capsys: pytest.CaptureFixture
) -> None:
    rises = np.cumsum(0.1 + 0.003 * np.sin(np.arange(40)))
    rows = [row for at in rises for row in (f"{at:.6f},5", f"{at + 0.01:.6f},0")]
    (tmp_path / "edges.csv").write_text("\n".join(["time [s],tacho", *rows]) + "\n")
    scipy.io.savemat(tmp_path / "run.mat", {"a": np.arange(2000.0), "fs": 1000.0, "RPM": 1797.0})

    assert call("info", tmp_path / "edges.csv", "--json") == 0
    told = json.loads(capsys.readouterr().out)
    (train,) = told["pulses"]
    assert (train["name"], train["pulses"]) == ("tacho", 39)
    assert train["from_s"] == pytest.approx(rises[1], abs=1e-6)
    assert train["to_s"] == pytest.approx(rises[-1], abs=1e-6)
    assert (told["channels"], told["constant_rpm"]) == ([], None)
    assert call("info", tmp_path / "edges.csv") == 0
    shown = capsys.readouterr().out
    assert re.search(r"tacho\W+39\W", shown)
    assert "RMS" not in shown

    assert call("info", tmp_path / "run.mat", "--json") == 0
    told = json.loads(capsys.readouterr().out)
    assert (told["pulses"], told["constant_rpm"]) == ([], 1797.0)
    assert call("info", tmp_path / "run.mat") == 0
    assert "Constant speed: 1797 rpm" in capsys.readouterr().out


def test_analyze_finds_the_tacho_and_says_so(
    recording: Path, tmp_path: Path, capsys: pytest.CaptureFixture
) -> None:
    assert call("analyze", recording, "-o", tmp_path / "out", "--directional", "x,y") == 0

    said = capsys.readouterr()
    assert "tacho 'tacho'" in said.err
    assert "found by itself" in said.err
    names = {path.name for path in (tmp_path / "out").iterdir()}
    assert {"order_map_1.png", "bode_2.png", "orbit.png", "full_spectrum.png"} <= names
    assert {"order_map.csv", "harmonics.csv", "results.nc"} <= names
    for picture in (tmp_path / "out").glob("*.png"):
        assert picture.read_bytes().startswith(b"\x89PNG")
    assert load(tmp_path / "out" / "results.nc").channels == ("x", "y")


def test_analyze_tells_scripts_what_it_found(
    recording: Path, tmp_path: Path, capsys: pytest.CaptureFixture
) -> None:
    options = ["--no-pictures", "--json", "--channels", 1, "--harmonics", "1,2"]
    assert call("analyze", recording, "-o", tmp_path, *options) == 0

    told = json.loads(capsys.readouterr().out)
    (channel,) = told["channels"]
    assert [order["order"] for order in channel["orders"]] == [1.0, 2.0]
    assert channel["orders"][0]["at_rpm"] == pytest.approx(2450.0, abs=150.0)
    assert sorted(Path(path).name for path in told["files"]) == sorted(os.listdir(tmp_path))


@pytest.mark.parametrize("kind", ["order", "frequency", "waterfall", "campbell", "full-spectrum"])
def test_map_draws_one_picture(recording: Path, tmp_path: Path, kind: str) -> None:
    options = ["--kind", kind, "--directional", "x,y"]
    assert call("map", recording, "-o", tmp_path / "map.svg", *options) == 0

    assert [path.name for path in tmp_path.iterdir()] == ["map.svg"]
    assert "<svg" in (tmp_path / "map.svg").read_text()


def test_orders_are_those_of_the_python_package(
    recording: Path, tmp_path: Path, capsys: pytest.CaptureFixture
) -> None:
    assert call("orders", recording, "--channels", "x", "--harmonics", "2", "--json") == 0

    rows = json.loads(capsys.readouterr().out)["rows"]
    cut = analyze(recording, harmonics=(2,)).order_amplitudes.sel(channel="x", harmonic=2.0)
    cut = cut.dropna("speed")
    np.testing.assert_allclose([row["amplitude"] for row in rows], cut.values, rtol=1e-6)


@pytest.mark.parametrize(
    "options",
    [
        ["--tacho", "tacho"],
        ["--tacho", "3", "--pulses", "1", "--level", "2.5"],
        ["--speed-csv", "speed.csv"],
        ["--track", "500:4000", "--track-orders", "1,2"],
    ],
)
def test_the_speed_comes_from_where_it_was_told(
    recording: Path, tmp_path: Path, monkeypatch: pytest.MonkeyPatch, options: list[str]
) -> None:
    monkeypatch.chdir(tmp_path)
    (tmp_path / "speed.csv").write_text("time [s],speed [rpm]\n0,600\n3,2100\n6,3600\n")

    assert call("orders", recording, "-o", "orders.csv", "--channels", "x", *options) == 0

    header, first = (tmp_path / "orders.csv").read_text().splitlines()[:2]
    assert header == "channel,unit,speed_rpm,order,amplitude,phase_deg,coherence,slice"
    assert first.startswith("x,mm/s,")


def test_track_writes_the_speed_and_draws_it(
    recording: Path, tmp_path: Path, capsys: pytest.CaptureFixture
) -> None:
    files = ["-o", tmp_path / "speed.csv", "--picture", tmp_path / "speed.png"]
    assert call("track", recording, "--track", "500:4000", *files, "--json") == 0

    told = json.loads(capsys.readouterr().out)
    assert told["channel"] == "x"
    assert told["valid_share"] > 0.5
    header = (tmp_path / "speed.csv").read_text().splitlines()[0]
    assert header == "time_s,speed_rpm,valid,explained"
    assert (tmp_path / "speed.png").exists()


@pytest.mark.parametrize(
    "name", ["a.wav", "a.flac", "a.csv", "a.parquet", "a.h5", "a.mat", "a.tdms", "a.mf4"]
)
def test_converted_recordings_hold_the_same(recording: Path, tmp_path: Path, name: str) -> None:
    assert call("convert", recording, tmp_path / name, "--channels", "x,tacho") == 0

    original, converted = read(recording), read(tmp_path / name)
    for channel in ("x", "tacho"):
        assert converted[channel].rate == original[channel].rate
        np.testing.assert_allclose(converted[channel].samples, original[channel].samples, atol=3e-6)
        if name != "a.mat":  # which has no place for it
            assert converted[channel].unit == original[channel].unit


def sentence(capsys: pytest.CaptureFixture) -> str:
    said = capsys.readouterr()
    assert said.out == ""
    lines = [line for line in said.err.splitlines() if line.startswith("harmotrack: ")]
    assert len(lines) == 1
    return lines[0]


@pytest.mark.parametrize(
    ("arguments", "words"),
    [
        (["analyze", "none.wav"], "There is no file none.wav"),
        (["info", "RUN", "--rate", "-1"], "The rate is -1"),
        (["analyze", "RUN", "--tacho", "9"], "There is no channel 9; run.flac has 3"),
        (["analyze", "RUN", "--track", "fast"], "--track is 'fast', and it must be two speeds"),
        (["track", "RUN"], "The range of the speed is missing: --track MIN:MAX"),
        (["analyze", "RUN", "--channels", "x,q"], "There is no channel 'q'"),
        (["analyze", "RUN", "--tacho", "3", "--speed-channel", "1"], "one of --tacho and --speed"),
        (["analyze", "RUN", "--speed-channel", "1"], "The unit of the speed channel 'x' is 'mm/s'"),
        (["analyze", "RUN", "--harmonics", "one"], "--harmonics is 'one', and it must be numbers"),
        (["analyze", "RUN", "--window", "hann"], "The window is 'hann', and it must be one of"),
        (["analyze", "RUN", "--directional", "x"], "--directional is 'x', and it must be two"),
        (["map", "RUN", "-o", "map.jpg"], "The name map.jpg must end in .png"),
        (["orders", "RUN", "-o", "orders.xlsx"], "The name orders.xlsx must end in .csv"),
        (["convert", "RUN", "a.xyz"], "The name a.xyz must end in .wav"),
        (["simulate", "a.mp3"], "The name a.mp3 must end in .flac or in .wav"),
        (["simulate", "a.wav", "--rate", "10"], "The rate is 10 Hz"),
        (["analyze", "RUN", "--min-rpm", "many"], "Invalid value for '--min-rpm'"),
        (["analyse", "RUN"], "No such command 'analyse'"),
        (["analyze"], "Missing argument 'FILE'"),
    ],
)
def test_bad_input_meets_one_sentence_and_exit_code_2(
    recording: Path,
    tmp_path: Path,
    monkeypatch: pytest.MonkeyPatch,
    capsys: pytest.CaptureFixture,
    arguments: list[str],
    words: str,
) -> None:
    monkeypatch.chdir(tmp_path)

    code = call(*(recording if one == "RUN" else one for one in arguments))

    assert code == 2
    assert words in sentence(capsys)
    assert list(tmp_path.iterdir()) == []


def test_main_ends_the_process_with_the_code() -> None:
    with pytest.raises(SystemExit) as end:
        main(["info", "none.wav"])

    assert end.value.code == 2


@pytest.fixture(scope="module")
def up_and_down(tmp_path_factory: pytest.TempPathFactory) -> Path:
    recording = turning.up_and_down().recording()
    return write(recording, tmp_path_factory.mktemp("machine") / "both.wav")[0]


def test_passes_apart_have_results_and_pages_of_their_own(
    up_and_down: Path, tmp_path: Path, capsys: pytest.CaptureFixture
) -> None:
    options = ["--passes", "apart", "--row-overlap", "50", "--highest-order", "10"]
    assert call("analyze", up_and_down, "-o", tmp_path, *options, "--no-pictures", "--json") == 0

    told = json.loads(capsys.readouterr().out)
    assert list(told["passes"]) == ["rising", "falling"]
    assert "order_spectrogram.csv" in os.listdir(tmp_path)
    assert isinstance(load(tmp_path / "results.nc"), TwoPasses)
    assert call("report", tmp_path / "results.nc", "-o", tmp_path / "page.html") == 0
    pages = sorted(path.name for path in tmp_path.glob("*.html"))
    assert pages == ["page_falling.html", "page_rising.html"]


def test_passes_apart_have_pictures_of_their_own() -> None:
    machine = turning.up_and_down()
    run = analyze(
        machine.recording(),
        machine.speed(),
        passes="apart",
        row_overlap_percent=50.0,
        highest_order=10.0,
    )

    names = pictures_of(run)

    for kind in ("order_map_1", "bode_2", "overall_1", "orders_1"):
        assert {f"{kind}_rising", f"{kind}_falling"} <= set(names)
    assert {"orders_1", "orders_2", "order_spectrogram_2", "speed"} <= set(names)
    for name in ("orders_1", "order_spectrogram_2", "order_map_2_falling"):
        plt.close(names[name]().figure)


@pytest.mark.parametrize("kind", ["order", "waterfall", "order-time"])
def test_a_map_of_passes_apart_shows_both(up_and_down: Path, tmp_path: Path, kind: str) -> None:
    options = ["--kind", kind, "--passes", "apart", "--highest-order", "10"]
    assert call("map", up_and_down, "-o", tmp_path / "map.svg", *options) == 0

    drawn = (tmp_path / "map.svg").read_text()
    assert ("falling" in drawn) == (kind != "order-time")


def test_orders_of_passes_apart_name_the_pass(
    up_and_down: Path, capsys: pytest.CaptureFixture
) -> None:
    options = ["--passes", "apart", "--channels", "x", "--harmonics", "2", "--highest-order", "10"]
    assert call("orders", up_and_down, *options, "--json") == 0
    rows = json.loads(capsys.readouterr().out)["rows"]
    assert call("orders", up_and_down, *options) == 0

    assert {row["pass"] for row in rows} == {"rising", "falling"}
    assert "falling" in capsys.readouterr().out


def test_remarks_are_printed_and_told_to_scripts(
    tmp_path: Path, capsys: pytest.CaptureFixture
) -> None:
    path, _ = write(turning.stopping().recording(), tmp_path / "stopping.wav")
    options = ["--no-pictures", "--tables", "none", "--highest-order", "10"]

    assert call("analyze", path, "-o", tmp_path / "out", *options, "--json") == 0

    said = capsys.readouterr()
    (remark,) = json.loads(said.out)["remarks"]
    assert "the angle begins anew" in remark
    assert said.err.count(remark) == 1


@pytest.mark.parametrize(
    ("error", "words"),
    [
        (MemoryError(), "The memory is too small for this"),
        (PermissionError(13, "Permission denied", "/locked"), "/locked can't be used: permission"),
    ],
)
def test_what_the_system_refuses_anywhere_meets_one_sentence(
    capsys: pytest.CaptureFixture, error: Exception, words: str
) -> None:
    def refused() -> None:
        raise error

    assert run(refused) == 2
    assert words in sentence(capsys)
