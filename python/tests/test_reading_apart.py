"""What reads files in a process of its own outlives all that such a process may do."""

import os
import threading
from pathlib import Path

import numpy as np
import pytest

from harmotrack import HarmotrackError
from harmotrack.readers import apart


@pytest.fixture
def file(tmp_path: Path) -> Path:
    (tmp_path / "run.mat").write_bytes(bytes(100))
    return tmp_path / "run.mat"


def test_arrays_come_back_as_they_are(file: Path) -> None:
    found = apart.call("misbehaving:arrays", file, 2.0)

    np.testing.assert_array_equal(found[0], [0.0, 2.0, 4.0, 6.0, 8.0])
    assert found[1].size == 0
    np.testing.assert_array_equal(found[2], [[0, 2], [4, 6], [8, 10]])
    found[0][0] = 1.0  # as every array that was read


@pytest.mark.parametrize(
    ("work", "sentence"),
    [
        ("crash", "can't be read, it may be damaged: the library that reads it ends in SIGSEGV"),
        ("hang", "can't be read within 1 s, which is far beyond its size: it may be damaged"),
        ("sleep", "can't be read within 1 s, which is far beyond its size: it may be damaged"),
        ("take_memory", "needs more than 1.1 GB of memory, which is far beyond its size"),
        ("refuse", "run.mat is refused"),
    ],
)
def test_whatever_happens_is_a_sentence(
    file: Path, monkeypatch: pytest.MonkeyPatch, work: str, sentence: str
) -> None:
    monkeypatch.setattr(apart.Limits, "of", lambda path: apart.Limits(1 << 30, 1))

    with pytest.raises(HarmotrackError) as error:
        apart.call(f"misbehaving:{work}", file)

    assert str(error.value).startswith(str(file))
    assert sentence in str(error.value)
    assert "\n" not in str(error.value)
    assert len(apart.call("misbehaving:arrays", file, 1.0)) == 3


def test_an_exception_of_a_library_keeps_its_words(file: Path) -> None:
    with pytest.raises(apart.ReadingFailedError, match="'a member'"):
        apart.call("misbehaving:fail", file)


def test_relative_paths_mean_the_folder_of_now(
    file: Path, tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    apart.call("misbehaving:folder", file)
    (tmp_path / "deep").mkdir()
    monkeypatch.chdir(tmp_path / "deep")

    assert apart.call("misbehaving:folder", Path("../run.mat")) == str(tmp_path / "deep")


def test_a_server_that_has_gone_is_replaced(file: Path) -> None:
    apart.call("misbehaving:folder", file)
    apart._server._process.kill()
    apart._server._process.wait()

    assert apart.call("misbehaving:folder", file) == os.getcwd()


def test_an_interrupt_ends_the_work(file: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    apart.call("misbehaving:folder", file)
    process = apart._server._process

    def interrupt(*_: object) -> None:
        raise KeyboardInterrupt

    monkeypatch.setattr(apart._Server, "ask", interrupt)
    with pytest.raises(KeyboardInterrupt):
        apart.call("misbehaving:hang", file)

    assert process.poll() is not None


def test_threads_read_side_by_side(file: Path) -> None:
    found: dict[int, np.ndarray] = {}

    def work(number: int) -> None:
        found[number] = apart.call("misbehaving:arrays", file, float(number))[0]

    threads = [threading.Thread(target=work, args=(number,)) for number in range(8)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()

    for number in range(8):
        np.testing.assert_array_equal(found[number], number * np.arange(5.0))


# A process may have a thousand open files, and more recordings than that.
def test_what_was_read_keeps_no_file_open(file: Path) -> None:
    apart.call("misbehaving:folder", file)
    before = len(os.listdir("/proc/self/fd"))

    kept = [apart.call("misbehaving:arrays", file, 1.0) for _ in range(20)]

    assert len(kept) == 20
    assert len(os.listdir("/proc/self/fd")) <= before


def test_large_arrays_come_back_as_they_are(file: Path) -> None:
    found = apart.call("misbehaving:large", file)

    np.testing.assert_array_equal(found, np.arange(3_000_000.0))
    found[0] = 1.0
