"""Writing where the system refuses it: in a process of its own, whose files can't grow.

A limit of the size of files (RLIMIT_FSIZE) ends a write as a full disk does, with another reason.
"""

import errno
import json
import os
import subprocess
import sys
from pathlib import Path

import pytest

from harmotrack import simulate_run_up

TOO_LARGE = os.strerror(errno.EFBIG).lower()
FEW = ("--channels", "x", "--highest-order", "10")
WRITING = {
    "analyze": ["analyze", "RUN", "-o", "out", "--no-pictures", *FEW],
    "analyze, results alone": ["analyze", "RUN", "--no-pictures", "--tables", "none", "-o", "out"],
    "analyze, parquet": ["analyze", "RUN", "-o", "out", "--no-pictures", "--tables", "parquet"],
    "analyze, pictures": ["analyze", "RUN", "-o", "out", "--tables", "none", *FEW],
    "report": ["report", "RUN", "-o", "report.html", *FEW],
    **{f"map, {kind}": ["map", "RUN", "-o", f"map.{kind}", *FEW] for kind in ("png", "svg", "pdf")},
    "orders": ["orders", "RUN", "-o", "orders.csv", "--harmonics", "1,2,3,4"],
    "track": ["track", "RUN", "--track", "500:4000", "-o", "speed.csv"],
    "track, picture": ["track", "RUN", "--track", "500:4000", "--picture", "speed.png"],
    "simulate": ["simulate", "run.flac", "--duration", "1"],
    **{
        f"convert, {kind}": ["convert", "RUN", f"converted.{kind}", "--channels", "x,tacho"]
        for kind in ("wav", "flac", "w64", "aiff", "csv", "parquet", "h5", "mat", "tdms", "mf4")
    },
    **{f"save, {kind}": ["save", f"results.{kind}"] for kind in ("nc", "zarr")},
}

#: Runs each command in a folder of its own and tells, a line each, how it ended and what it left.
LIMITED = """
import contextlib, io, json, os, resource, sys
import asammdf, h5netcdf, matplotlib.font_manager, nptdms, pyarrow.parquet, scipy.io, zarr
from harmotrack import analyze
from harmotrack.cli.main import group, run

recording, limit, commands = sys.argv[1], int(sys.argv[2]), json.loads(sys.argv[3])
analysis = analyze(recording)
resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit))

def act(arguments):
    if arguments[0] == "save":
        analysis.save(arguments[1])
    else:
        words = [recording if one == "RUN" else one for one in arguments]
        group.main(words, standalone_mode=False)

for name, arguments in commands.items():
    os.mkdir(name)
    os.chdir(name)
    said = io.StringIO()
    with contextlib.redirect_stderr(said), contextlib.redirect_stdout(io.StringIO()):
        code = run(lambda: act(arguments))
    left = [name for _, folders, files in os.walk(".") for name in folders + files]
    print(json.dumps({"name": name, "code": code, "said": said.getvalue(), "left": left}))
    os.chdir("..")
"""


@pytest.fixture(scope="module")
def recording(tmp_path_factory: pytest.TempPathFactory) -> Path:
    path = tmp_path_factory.mktemp("machine") / "run.flac"
    simulate_run_up(duration=6.0, rate=6400.0, end_rpm=3600.0).write(path)
    return path


@pytest.fixture(scope="module", params=[0, 1000], ids=["at once", "amid the file"])
def answers(
    request: pytest.FixtureRequest, recording: Path, tmp_path_factory: pytest.TempPathFactory
) -> dict[str, dict]:
    arguments = [recording, str(request.param), json.dumps(WRITING)]
    answer = subprocess.run(
        [sys.executable, "-c", LIMITED, *arguments],
        cwd=tmp_path_factory.mktemp("full"),
        capture_output=True,
        text=True,
        check=False,
    )
    assert (answer.returncode, answer.stderr) == (0, "")
    return {told["name"]: told for told in map(json.loads, answer.stdout.splitlines())}


@pytest.mark.parametrize("name", WRITING)
def test_a_full_disk_meets_one_sentence_and_leaves_nothing(
    answers: dict[str, dict], name: str
) -> None:
    told = answers[name]

    (sentence,) = [line for line in told["said"].splitlines() if line.startswith("harmotrack: ")]
    assert sentence.endswith(f": {TOO_LARGE}.")
    assert ".harmotrack" not in sentence
    assert "Traceback" not in told["said"]
    assert told["code"] == 2
    assert told["left"] == []


@pytest.fixture(scope="module")
def command() -> Path:
    return Path(sys.executable).with_name("harmotrack")


PRINTING = {
    "info": ["info", "RUN"],
    "info, JSON": ["info", "RUN", "--json"],
    "orders": ["orders", "RUN", *FEW],
    "help": ["--help"],
    "version": ["--version"],
}


def printing(name: str, command: Path, recording: Path, shell: str) -> tuple[int, list[str]]:
    """Runs a line of the shell in which $@ is a command that prints: the code, and what it says."""
    arguments = [str(recording) if one == "RUN" else one for one in PRINTING[name]]
    answer = subprocess.run(
        ["bash", "-c", shell, "bash", command, *arguments],
        capture_output=True,
        text=True,
        check=False,
    )
    remark = "The speed is that of"
    return answer.returncode, [
        line for line in answer.stderr.splitlines() if not line.startswith(remark)
    ]


@pytest.mark.parametrize("name", PRINTING)
def test_a_full_standard_output_meets_one_sentence(
    command: Path, recording: Path, name: str
) -> None:
    full = printing(name, command, recording, '"$@" > /dev/full')

    reason = os.strerror(errno.ENOSPC).lower()
    assert full == (2, [f"harmotrack: Standard output can't be used: {reason}."])


@pytest.mark.parametrize("name", PRINTING)
def test_a_closed_standard_output_meets_one_sentence(
    command: Path, recording: Path, name: str
) -> None:
    closed = printing(name, command, recording, '"$@" >&-')

    reason = os.strerror(errno.EBADF).lower()
    assert closed == (2, [f"harmotrack: Standard output can't be used: {reason}."])


@pytest.mark.parametrize("name", PRINTING)
def test_a_reader_that_has_enough_ends_the_command_without_a_word(
    command: Path, recording: Path, name: str
) -> None:
    # The reader is gone before anything is written.
    unread = '{ sleep 1; "$@"; echo "code $?" >&2; } | :'

    _, said = printing(name, command, recording, unread)

    assert said == ["code 1"]


@pytest.mark.parametrize("errors", ["2> /dev/full", "2>&-"])
def test_remarks_that_nobody_can_read_stop_nothing(
    command: Path, recording: Path, errors: str
) -> None:
    assert printing("orders", command, recording, f'"$@" {errors}') == (0, [])
