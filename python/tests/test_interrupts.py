"""Commands that the user interrupts: in a process of its own, by the signal of Ctrl+C."""

import signal
import subprocess
import sys
import time
from pathlib import Path

import pytest

from harmotrack import simulate_run_up


@pytest.fixture(scope="module")
def recording(tmp_path_factory: pytest.TempPathFactory) -> Path:
    path = tmp_path_factory.mktemp("machine") / "run.flac"
    simulate_run_up(duration=6.0, rate=6400.0, end_rpm=3600.0).write(path)
    return path


#: A background job of a shell ignores interrupts, and what it starts does so too.
INTERRUPTIBLE = """
import signal, sys
from harmotrack.cli.main import main

signal.signal(signal.SIGINT, signal.default_int_handler)
main(sys.argv[1:])
"""


# The interrupt comes while pictures are drawn; whether it comes earlier or later, the same holds.
def test_an_interrupt_leaves_no_half_written_file(recording: Path, tmp_path: Path) -> None:
    output = tmp_path / "out"
    process = subprocess.Popen(
        [sys.executable, "-c", INTERRUPTIBLE, "analyze", recording, "-o", output],
        stderr=subprocess.PIPE,
        text=True,
    )
    until = time.monotonic() + 60.0
    while not list(tmp_path.glob("out/.harmotrack-*/*.png")) and time.monotonic() < until:
        time.sleep(0.01)
    process.send_signal(signal.SIGINT)
    _, said = process.communicate(timeout=60)

    assert process.returncode == 130
    assert said.splitlines()[-1] == "harmotrack: interrupted; nothing was left half written."
    assert not output.exists()


FEW = ("--channels", "x", "--highest-order", "10")
WRITING = {
    "analyze": ["analyze", "RUN", "-o", "out", "--no-pictures", *FEW],
    "report": ["report", "RUN", "-o", "report.html", *FEW],
    "map": ["map", "RUN", "-o", "map.png", *FEW],
    "orders": ["orders", "RUN", "-o", "orders.csv", *FEW],
    "track": ["track", "RUN", "--track", "500:4000", "-o", "speed.csv"],
    "track --picture": ["track", "RUN", "--track", "500:4000", "--picture", "speed.png"],
    "simulate": ["simulate", "run.flac", "--duration", "1"],
    "convert to sound": ["convert", "RUN", "converted.wav"],
    "convert": ["convert", "RUN", "converted.h5"],
}

#: Everything is written but has no name yet; the user interrupts.
INTERRUPTED_BEFORE = """
import os, signal, sys
from harmotrack import files
from harmotrack.cli.main import main

usual = files.uninterrupted

def interrupted():
    assert any(".harmotrack-" in folder for folder, _, _ in os.walk("."))
    os.kill(os.getpid(), signal.SIGINT)
    return usual()

files.uninterrupted = interrupted
signal.signal(signal.SIGINT, signal.default_int_handler)
main(sys.argv[1:])
"""

#: The first of the files has got its name.
INTERRUPTED_AMID = """
import os, signal, sys
from harmotrack import files
from harmotrack.cli.main import main

usual = files.replace

def replace(source, target):
    usual(source, target)
    if ".harmotrack-" not in str(target):
        os.kill(os.getpid(), signal.SIGINT)
    return target

files.replace = replace
signal.signal(signal.SIGINT, signal.default_int_handler)
main(sys.argv[1:])
"""


def interrupted(script: str, name: str, recording: Path, folder: Path) -> list[str]:
    """The files that are there after the command was interrupted."""
    arguments = [str(recording) if one == "RUN" else one for one in WRITING[name]]

    answer = subprocess.run(
        [sys.executable, "-c", script, *arguments],
        cwd=folder,
        capture_output=True,
        text=True,
        check=False,
    )

    assert answer.returncode == 130
    assert answer.stderr.splitlines()[-1] == (
        "harmotrack: interrupted; nothing was left half written."
    )
    return sorted(str(path.relative_to(folder)) for path in folder.rglob("*"))


@pytest.mark.parametrize("name", WRITING)
def test_every_command_that_writes_leaves_nothing_of_an_interrupted_one(
    recording: Path, tmp_path: Path, name: str
) -> None:
    assert interrupted(INTERRUPTED_BEFORE, name, recording, tmp_path) == []


# An interrupt that comes too late leaves all of them, not some.
@pytest.mark.parametrize("name", ["analyze", "simulate", "convert to sound"])
def test_files_that_belong_together_come_together(
    recording: Path, tmp_path: Path, name: str
) -> None:
    expected = {
        "simulate": ["run.flac", "run.json"],
        "convert to sound": ["converted.json", "converted.wav"],
    }

    there = interrupted(INTERRUPTED_AMID, name, recording, tmp_path)

    if name == "analyze":
        assert {"out/results.nc", "out/harmonics.csv", "out/order_map.csv"} <= set(there)
        assert not any("harmotrack-" in path for path in there)
    else:
        assert there == expected[name]


def test_an_interrupt_leaves_what_stood_there_before(recording: Path, tmp_path: Path) -> None:
    (tmp_path / "converted.h5").write_text("before")

    assert interrupted(INTERRUPTED_BEFORE, "convert", recording, tmp_path) == ["converted.h5"]
    assert (tmp_path / "converted.h5").read_text() == "before"


# As a background job does.
def test_what_ignores_interrupts_is_not_interrupted(recording: Path, tmp_path: Path) -> None:
    ignoring = INTERRUPTED_AMID.replace("default_int_handler", "SIG_IGN")

    answer = subprocess.run(
        [sys.executable, "-c", ignoring, "convert", recording, "converted.wav"],
        cwd=tmp_path,
        check=False,
        capture_output=True,
    )

    assert answer.returncode == 0
    assert (tmp_path / "converted.wav").exists()
