"""Every command with outputs that can't be written and inputs that can't be read."""

import errno
import os
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path
from typing import IO

import pytest

import turning
from harmotrack import HarmotrackError, load, simulate_run_up
from harmotrack.cli.main import group, run
from harmotrack.writers import write


def call(*arguments: object) -> int:
    return run(lambda: group.main([str(one) for one in arguments], standalone_mode=False))


def sentence(capsys: pytest.CaptureFixture) -> str:
    said = capsys.readouterr()
    assert said.out == ""
    (line,) = [line for line in said.err.splitlines() if line.startswith("harmotrack: ")]
    return line


@pytest.fixture(scope="module")
def recording(tmp_path_factory: pytest.TempPathFactory) -> Path:
    path = tmp_path_factory.mktemp("machine") / "run.flac"
    simulate_run_up(duration=6.0, rate=6400.0, end_rpm=3600.0).write(path)
    return path


@pytest.fixture
def folder(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> Path:
    """With a file, an empty file, a folder and a pipe in it."""
    monkeypatch.chdir(tmp_path)
    (tmp_path / "file").write_text("kept")
    (tmp_path / "empty.wav").touch()
    (tmp_path / "folder.wav").mkdir()
    os.mkfifo(tmp_path / "pipe.wav")
    return tmp_path


@contextmanager
def full_for(name: str) -> Iterator[None]:
    """A disk that is full when the file of a name is written."""
    usual = Path.open

    def refused(path: Path, *options: object, **more: object) -> IO:
        if path.name == name:
            raise OSError(errno.ENOSPC, os.strerror(errno.ENOSPC), str(path))
        return usual(path, *options, **more)

    with pytest.MonkeyPatch.context() as patch:
        patch.setattr(Path, "open", refused)
        yield


def listed(folder: Path) -> list[str]:
    return sorted(str(path.relative_to(folder)) for path in folder.rglob("*"))


FEW = ("--channels", "x", "--highest-order", "10")

#: What each command writes; OUT is the place of it.
WRITING = {
    "analyze": ["analyze", "RUN", "--no-pictures", *FEW, "-o", "OUT"],
    "report": ["report", "RUN", *FEW, "-o", "OUT.html"],
    "map": ["map", "RUN", *FEW, "-o", "OUT.png"],
    "orders": ["orders", "RUN", *FEW, "-o", "OUT.csv"],
    "track": ["track", "RUN", "--track", "500:4000", "-o", "OUT.csv"],
    "track, picture": ["track", "RUN", "--track", "500:4000", "--picture", "OUT.png"],
    "simulate": ["simulate", "OUT.flac", "--duration", "1"],
    "convert": ["convert", "RUN", "OUT.h5"],
    "convert, sound": ["convert", "RUN", "OUT.wav"],
}

LONG = "n" * 300  #: no file system takes it
PLACES = {
    "below a file": "file/out",
    "in no folder": "none/out",
    "of a name that is too long": LONG,
    "below a name that is too long": f"{LONG}/out",
}
CASES = [
    (name, place)
    for name in WRITING
    for place in PLACES
    if (name, place) != ("analyze", "in no folder")  # it makes the folder
]


@pytest.mark.parametrize(("name", "place"), CASES)
def test_a_place_that_can_not_be_written_meets_one_sentence(
    recording: Path, folder: Path, capsys: pytest.CaptureFixture, name: str, place: str
) -> None:
    before = listed(folder)
    arguments = [one.replace("OUT", PLACES[place]) for one in WRITING[name]]

    assert call(*(recording if one == "RUN" else one for one in arguments)) == 2

    assert PLACES[place].split("/")[0] in sentence(capsys)
    assert listed(folder) == before


# An hour of analysis is not lost for a wrong name.
@pytest.mark.parametrize(("name", "place"), [case for case in CASES if case[0] != "simulate"])
def test_a_place_is_looked_at_before_the_recording_is_read(
    recording: Path, folder: Path, monkeypatch: pytest.MonkeyPatch, name: str, place: str
) -> None:
    arguments = [one.replace("OUT", PLACES[place]) for one in WRITING[name]]

    def read(*_: object, **__: object) -> None:
        pytest.fail("the recording was read")

    monkeypatch.setattr("harmotrack.readers.read", read)

    assert call(*(recording if one == "RUN" else one for one in arguments)) == 2


@pytest.mark.parametrize("name", [name for name in WRITING if name != "analyze"])
def test_a_folder_in_the_place_of_a_file_meets_one_sentence(
    recording: Path, folder: Path, capsys: pytest.CaptureFixture, name: str
) -> None:
    (target,) = [one for one in WRITING[name] if "OUT" in one]
    (folder / target / "kept").mkdir(parents=True)
    before = listed(folder)

    assert call(*(recording if one == "RUN" else one for one in WRITING[name])) == 2

    assert f"{target} can't be written: is a directory." in sentence(capsys)
    assert listed(folder) == before


def test_a_file_in_the_place_of_a_folder_meets_one_sentence(
    recording: Path, folder: Path, capsys: pytest.CaptureFixture
) -> None:
    before = listed(folder)

    assert call("analyze", recording, "--no-pictures", *FEW, "-o", "file") == 2

    assert "file is no folder, so no files can be put into it." in sentence(capsys)
    assert listed(folder) == before
    assert (folder / "file").read_text() == "kept"


#: What each command reads; IN is the place of it.
READING = {
    "info": ["info", "IN"],
    "analyze": ["analyze", "IN", "-o", "out"],
    "report": ["report", "IN", "-o", "out.html"],
    "map": ["map", "IN", "-o", "out.png"],
    "orders": ["orders", "IN", "-o", "out.csv"],
    "track": ["track", "IN", "--track", "500:4000", "-o", "out.csv"],
    "convert": ["convert", "IN", "out.csv"],
    "speed table": ["orders", "RUN", "--speed-csv", "IN", "-o", "out.csv"],
    "pulse times": ["orders", "RUN", "--pulse-times", "IN", "-o", "out.csv"],
}
INPUTS = {
    "none.wav": "There is no file none.wav.",
    "empty.wav": "empty.wav is empty.",
    "folder.wav": "folder.wav is a folder, and",
    "pipe.wav": "pipe.wav is a pipe, and",
    "file/run.wav": "There is no file file/run.wav.",
    f"{LONG}.wav": "file name too long",
}


@pytest.mark.parametrize("place", INPUTS)
@pytest.mark.parametrize("name", READING)
def test_an_input_that_can_not_be_read_meets_one_sentence(
    recording: Path, folder: Path, capsys: pytest.CaptureFixture, name: str, place: str
) -> None:
    before = listed(folder)
    arguments = [{"IN": place, "RUN": str(recording)}.get(one, one) for one in READING[name]]

    assert call(*arguments) == 2

    assert INPUTS[place] in sentence(capsys)
    assert listed(folder) == before


@pytest.mark.parametrize("end", [".nc", ".zarr"])
@pytest.mark.parametrize("what", ["pipe", "folder", "empty", "none"])
def test_results_that_can_not_be_read_meet_one_sentence(
    folder: Path, capsys: pytest.CaptureFixture, what: str, end: str
) -> None:
    path = Path(f"{what}{end}")
    if what == "pipe":
        os.mkfifo(path)
    elif what == "folder":
        path.mkdir()
    elif what == "empty":
        path.touch()
    before = listed(folder)

    assert call("report", path, "-o", "out.html") == 2

    assert str(path) in sentence(capsys)
    assert listed(folder) == before
    with pytest.raises(HarmotrackError):
        load(path)


# The analysis is refused before its folder is made.
def test_an_analysis_that_fails_makes_no_folder(
    recording: Path, folder: Path, capsys: pytest.CaptureFixture
) -> None:
    before = listed(folder)

    assert call("analyze", recording, "-o", "deep/out", "--channels", "q") == 2

    assert "There is no channel 'q'" in sentence(capsys)
    assert listed(folder) == before


def test_pictures_that_fail_leave_no_folder(
    recording: Path, folder: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    def fail(*_: object) -> None:
        raise HarmotrackError("can't be drawn")

    before = listed(folder)
    monkeypatch.setattr("harmotrack.cli.analyze.save_picture", fail)

    assert call("analyze", recording, "-o", "deep/out", *FEW) == 2

    assert listed(folder) == before


# Which would end the process with a traceback, as the numbers of NumPy's are.
def test_a_seed_below_zero_meets_a_sentence(folder: Path, capsys: pytest.CaptureFixture) -> None:
    assert call("simulate", "run.wav", "--seed", "-1") == 2

    assert "--seed" in sentence(capsys)


# The second of two files has no place.
@pytest.mark.parametrize(
    ("arguments", "second"),
    [
        (["track", "RUN", "--track", "500:4000", "-o", "a.csv", "--picture", "b.png"], "b.png"),
        (["report", "BOTH", "--passes", "apart", "-o", "a.html", *FEW], "a_falling.html"),
        (["simulate", "a.flac", "--duration", "1"], "a.json"),
    ],
)
def test_of_files_that_belong_together_none_is_left(
    recording: Path, folder: Path, capsys: pytest.CaptureFixture, arguments: list[str], second: str
) -> None:
    both = write(turning.up_and_down().recording(), folder / "both.wav")[0]
    places = {"RUN": recording, "BOTH": both}
    before = {*listed(folder), second}

    with full_for(second):
        assert call(*(places.get(one, one) for one in arguments)) == 2

    assert second in sentence(capsys)
    assert {*listed(folder), second} == before


def test_options_of_an_analysis_that_is_done_meet_a_sentence(
    recording: Path, folder: Path, capsys: pytest.CaptureFixture
) -> None:
    assert call("analyze", recording, "--no-pictures", "--tables", "none", "-o", "out") == 0
    capsys.readouterr()

    assert call("report", "out/results.nc", "-o", "page.html", "--unit", "mm/s") == 2

    told = "out/results.nc holds results, and --unit would need the recording."
    assert told in sentence(capsys)
    assert not (folder / "page.html").exists()
