"""What runs that were killed have left, and what runs that live still need."""

import os
import signal
import subprocess
import sys
import time
from pathlib import Path

import pytest

import made
from harmotrack import load
from harmotrack.files import OutputFolder, pending
from harmotrack.unfinished import sweep, unfinished

#: Begins a file and waits to be killed.
BEGINNING = """
import sys, time
from harmotrack.files import pending

with pending(sys.argv[1]) as hidden:
    hidden.write_text("half")
    print("begun", flush=True)
    time.sleep(600)
"""


def hidden_in(folder: Path) -> list[Path]:
    return list(folder.glob(".harmotrack-*"))


def beginning(path: Path) -> subprocess.Popen:
    process = subprocess.Popen(
        [sys.executable, "-c", BEGINNING, path], stdout=subprocess.PIPE, text=True
    )
    assert process.stdout is not None
    assert process.stdout.readline() == "begun\n"
    return process


def kill(process: subprocess.Popen) -> None:
    process.kill()
    process.communicate()


def test_the_next_run_sweeps_what_a_killed_one_has_left(tmp_path: Path) -> None:
    kill(beginning(tmp_path / "run.csv"))
    assert len(hidden_in(tmp_path)) == 1

    with pending(tmp_path / "other.csv") as hidden:
        hidden.write_text("whole")

    assert [path.name for path in tmp_path.iterdir()] == ["other.csv"]


def test_a_run_that_lives_keeps_its_folder(tmp_path: Path) -> None:
    process = beginning(tmp_path / "run.csv")
    try:
        (of_the_other,) = hidden_in(tmp_path)

        with OutputFolder(tmp_path) as output:
            (output / "tables.csv").write_text("whole")

        assert hidden_in(tmp_path) == [of_the_other]
        assert (of_the_other / "run.csv").read_text() == "half"
        assert (tmp_path / "tables.csv").read_text() == "whole"
    finally:
        kill(process)


def test_two_of_one_run_do_not_sweep_each_other(tmp_path: Path) -> None:
    with unfinished(tmp_path) as first, unfinished(tmp_path) as second:
        assert first.is_dir()
        assert second.is_dir()

    assert hidden_in(tmp_path) == []


# Whether a run on another machine lives can't be seen from here.
def test_what_another_machine_has_left_goes_after_a_day(tmp_path: Path) -> None:
    foreign = tmp_path / ".harmotrack-00000000-abcdefgh"
    foreign.mkdir()
    for name in (".lock", "run.csv"):
        (foreign / name).write_text("half")

    sweep(tmp_path)
    assert foreign.is_dir()

    two_days_ago = time.time() - 2 * 86400.0
    for path in (foreign / ".lock", foreign / "run.csv", foreign):
        os.utime(path, (two_days_ago, two_days_ago))
    sweep(tmp_path)
    assert not foreign.exists()


def test_other_files_and_links_are_no_leftovers(tmp_path: Path) -> None:
    (tmp_path / "kept").mkdir()
    (tmp_path / "kept" / "file").write_text("kept")
    (tmp_path / ".harmotrack-link").symlink_to(tmp_path / "kept")
    (tmp_path / ".harmotrack-note").write_text("a file")

    sweep(tmp_path)

    assert (tmp_path / "kept" / "file").read_text() == "kept"
    assert (tmp_path / ".harmotrack-link").is_symlink()
    assert (tmp_path / ".harmotrack-note").exists()


# The folder of a run that has no lock yet may be taken for a leftover: it makes another one.
def test_a_folder_that_is_swept_before_it_is_locked_is_made_anew(
    tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    usual, opened = os.open, []

    def swept_once(path: Path, *options: int) -> int:
        opened.append(path)
        if len(opened) == 1:
            Path(path).parent.rmdir()
        return usual(path, *options)

    monkeypatch.setattr(os, "open", swept_once)
    with unfinished(tmp_path) as hidden:
        monkeypatch.undo()
        assert hidden_in(tmp_path) == [hidden]

    assert len(opened) == 2


#: Writes results of the titles 0, 1, 2 ... under two names, in a process that is killed at some
#: moment; several times over.
KILLED = """
import os, random, signal, sys, time
import h5netcdf, xarray, zarr
import made
from harmotrack.files import pending

random.seed(int(sys.argv[1]))
small = [made.analysis(title=str(k)) for k in range(100)]
for _ in range(12):
    begun, told = os.pipe()
    child = os.fork()
    if child == 0:
        for k, analysis in enumerate(small):
            for name in ("run.nc", "run.zarr"):
                analysis.save(name)
            with pending("pair.csv") as hidden:
                hidden.write_text(f"{k}\\n" * 100_000)
            if k == 0:
                os.write(told, b"!")
        os._exit(0)
    os.read(begun, 1)
    time.sleep(random.uniform(0.0, 0.2))
    os.kill(child, signal.SIGKILL)
    os.waitpid(child, 0)
    print("killed", flush=True)
    sys.stdin.readline()
"""


def test_a_kill_at_any_moment_leaves_the_old_or_the_new(tmp_path: Path) -> None:
    seed = 12
    with subprocess.Popen(
        [sys.executable, "-c", KILLED, str(seed)],
        cwd=tmp_path,
        env={**os.environ, "PYTHONPATH": str(Path(__file__).parent)},
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        text=True,
    ) as process:
        assert process.stdin is not None
        assert process.stdout is not None
        while process.stdout.readline():
            titles = [int(load(tmp_path / name).title) for name in ("run.nc", "run.zarr")]
            lines = (tmp_path / "pair.csv").read_text().splitlines()
            assert titles[0] - titles[1] in (0, 1)
            assert lines == [lines[0]] * 100_000
            assert len(hidden_in(tmp_path)) <= 1  # those of the runs before are swept
            process.stdin.write("\n")
            process.stdin.flush()
    assert process.returncode == 0

    made.analysis(title="last").save(tmp_path / "run.nc")
    assert sorted(path.name for path in tmp_path.iterdir()) == ["pair.csv", "run.nc", "run.zarr"]


def test_a_terminated_run_is_swept_too(tmp_path: Path) -> None:
    process = beginning(tmp_path / "run.csv")
    process.send_signal(signal.SIGTERM)
    process.communicate()

    sweep(tmp_path)

    assert list(tmp_path.iterdir()) == []
