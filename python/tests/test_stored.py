"""Sound files that are read a block at a time."""

import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest
import soundfile

import turning
from harmotrack import HarmotrackError, Recording, Speed, analyze, find_speed, read
from harmotrack.recording import BLOCK_SAMPLES, blocks_of
from harmotrack.writers import write


@pytest.fixture(scope="module")
def recording() -> Recording:
    return turning.up_and_down().recording()


@pytest.fixture(scope="module", params=["run.wav", "run.flac", "run.w64", "run.aiff"])
def path(
    request: pytest.FixtureRequest, recording: Recording, tmp_path_factory: pytest.TempPathFactory
) -> Path:
    return write(recording, tmp_path_factory.mktemp("stored") / request.param)[0]


def test_stored_channels_have_the_samples_of_loaded_ones(path: Path) -> None:
    stored, loaded = read(path, in_memory=False), read(path)

    assert stored.names == loaded.names
    for one, other in zip(stored, loaded, strict=True):
        assert type(one).__name__ == "StoredChannel"
        assert one.sampled_with(other)
        assert one.unit == other.unit
        np.testing.assert_array_equal(one.samples, other.samples)


def test_blocks_are_those_of_the_samples(path: Path) -> None:
    stored, loaded = read(path, in_memory=False), read(path)

    # Channels of a file and of the memory may be gone through together.
    mixed = [stored["tacho"], loaded["x"], stored["y"]]
    blocks = [np.stack(block).copy() for block in blocks_of(mixed, 1000)]

    assert {block.shape[1] for block in blocks[:-1]} == {1000}
    np.testing.assert_array_equal(
        np.concatenate(blocks, axis=1), np.stack([loaded[c].samples for c in ("tacho", "x", "y")])
    )


def test_an_excerpt_stands_evenly_over_the_whole_channel(path: Path) -> None:
    stored, loaded = read(path, in_memory=False)["x"], read(path)["x"]

    np.testing.assert_array_equal(stored.excerpt(10**6), loaded.samples)
    few = stored.excerpt(3000)
    assert few.size == 3000
    np.testing.assert_array_equal(few, loaded.excerpt(3000))


def test_what_is_found_in_a_file_is_what_is_found_in_the_memory(path: Path) -> None:
    options = {"harmonics": (2,), "highest_order": 10.0}

    of_file, of_memory = analyze(path, **options), analyze(read(path), **options)

    np.testing.assert_array_equal(of_file.order_map.values, of_memory.order_map.values)
    np.testing.assert_array_equal(of_file.frequency_map.values, of_memory.frequency_map.values)
    assert of_file.attrs == of_memory.attrs


def test_stored_channels_take_units_and_scales(path: Path) -> None:
    stored = read(path, in_memory=False, units={"x": "m/s"})

    assert stored["x"].unit == "m/s"
    scaled = stored.scaled({"x": (1000.0, "mm/s")})["x"]
    np.testing.assert_allclose(scaled.samples, 1000.0 * stored["x"].samples, rtol=1e-14)
    assert scaled.unit == "mm/s"


def test_channels_in_memory_are_not_copied(recording: Recording) -> None:
    for (block,) in blocks_of([recording["x"]]):
        assert block.size <= BLOCK_SAMPLES
        assert np.shares_memory(block, recording["x"].samples)


# A file that promises more than it has is read whole, and its end is where it breaks off.
def test_a_cut_file_is_read_into_the_memory(recording: Recording, tmp_path: Path) -> None:
    whole, _ = write(recording, tmp_path / "run.flac")
    whole.write_bytes(whole.read_bytes()[: whole.stat().st_size // 2])

    cut = read(whole, in_memory=False)

    assert type(cut["x"]).__name__ == "Channel"
    assert "run.flac is cut short" in cut.notes[0]
    assert "run.flac is cut short" in analyze(whole, highest_order=10.0).remarks[0]


def test_a_file_that_shrinks_meanwhile_meets_a_sentence(
    recording: Recording, tmp_path: Path
) -> None:
    path, _ = write(recording, tmp_path / "run.wav")
    stored = read(path, in_memory=False)
    soundfile.write(path, np.zeros((1000, 3)), 6400)

    with pytest.raises(HarmotrackError, match="ends at sample 1000 of 102400, it may be damaged"):
        Speed.from_tacho(stored["tacho"])


PEAK = """
import sys
import harmotrack, harmotrack.cli.main, matplotlib
for path in sys.argv[1:]:
    harmotrack.analyze(path, angle_signal=False, harmonics=(2,), highest_order=10.0)
    lines = open("/proc/self/status").read().splitlines()
    print([line.split()[1] for line in lines if line.startswith("VmHWM")][0])
"""


# Ten minutes of three channels are 92 MB of float64; a block of them is 2 MB.
def test_memory_does_not_grow_with_the_file(tmp_path: Path) -> None:
    one = turning.up_and_down()
    minute = np.tile(np.column_stack([one.x, one.y, 0.15 * one.tacho()]), (4, 1))
    paths = []
    for name, minutes in (("short.wav", 1), ("long.wav", 10)):
        paths.append(tmp_path / name)
        with soundfile.SoundFile(paths[-1], "w", 6400, 3, "PCM_16") as file:
            for _ in range(minutes):
                file.write(0.3 * minute)

    answer = subprocess.run(
        [sys.executable, "-c", PEAK, *paths], capture_output=True, text=True, check=True
    )

    short, long = (int(peak) / 1024.0 for peak in answer.stdout.split())
    assert long - short < 20.0


def test_the_speed_is_found_in_a_file_of_any_length(path: Path) -> None:
    assert find_speed(read(path, in_memory=False)).channel == "tacho"
