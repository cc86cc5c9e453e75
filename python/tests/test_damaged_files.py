"""Good files of every kind, damaged in many ways: each ends in a sentence or in finite samples."""

from collections.abc import Iterator
from pathlib import Path

import numpy as np
import pytest
from test_readers import FILES

from harmotrack import HarmotrackError, read
from harmotrack.recording import blocks_of

#: Of each file and of each way to damage it.
CASES = 8
#: Of files of no more than some hundred kilobytes.
MOST_SAMPLES = 1 << 24


def cuts(whole: bytes, rng: np.random.Generator) -> Iterator[bytes]:
    for share in np.linspace(0.0, 1.0, CASES, endpoint=False):
        yield whole[: int(len(whole) * (share + rng.uniform(0.0, 1.0 / CASES)))]


def bytes_anywhere(whole: bytes, rng: np.random.Generator) -> Iterator[bytes]:
    for number in 2 ** np.arange(CASES):
        yield overwritten(whole, rng.integers(0, len(whole), number), rng)


def bytes_of_the_head(whole: bytes, rng: np.random.Generator) -> Iterator[bytes]:
    """Where sizes, counts and offsets stand."""
    for number in range(1, CASES + 1):
        yield overwritten(whole, rng.integers(4, min(len(whole), 1024), number), rng)


def bytes_of_the_end(whole: bytes, rng: np.random.Generator) -> Iterator[bytes]:
    for number in range(1, CASES + 1):
        yield overwritten(whole, len(whole) - 1 - rng.integers(0, 2048, number), rng)


def largest_numbers(whole: bytes, rng: np.random.Generator) -> Iterator[bytes]:
    """Counts of which a part says that there is no end of what follows."""
    for place in rng.integers(8, min(len(whole), 2048) - 8, CASES):
        yield whole[:place] + b"\xff" * 4 + whole[place + 4 :]


def exchanged(whole: bytes, rng: np.random.Generator) -> Iterator[bytes]:
    for _ in range(CASES):
        first, second = np.sort(rng.integers(0, len(whole), 2))
        yield whole[second:] + whole[first:second] + whole[:first]


def overwritten(whole: bytes, places: np.ndarray, rng: np.random.Generator) -> bytes:
    changed = bytearray(whole)
    for place in places:
        changed[place] = rng.integers(256)
    return bytes(changed)


WAYS = [cuts, bytes_anywhere, bytes_of_the_head, bytes_of_the_end, largest_numbers, exchanged]


@pytest.mark.parametrize("way", WAYS)
@pytest.mark.parametrize("name", FILES)
def test_a_damaged_file_is_told_in_a_sentence_or_gives_finite_samples(
    tmp_path: Path, name: str, way: object
) -> None:
    path = tmp_path / name
    FILES[name](path)
    whole = path.read_bytes()
    rng = np.random.default_rng([WAYS.index(way), *name.encode()])

    for content in way(whole, rng):
        path.write_bytes(content)
        for in_memory in (True, False) if way is bytes_anywhere else (True,):
            try:
                recording = read(path, in_memory=in_memory)
            except HarmotrackError as error:
                assert name in str(error)
                assert "\n" not in str(error)
                assert str(error).endswith(".")
                continue
            for channel in recording:
                assert 0 < channel.size <= MOST_SAMPLES
                assert 0.0 < channel.rate < np.inf
                try:
                    assert all(np.isfinite(block).all() for (block,) in blocks_of([channel]))
                except HarmotrackError as error:
                    assert not in_memory
                    assert name in str(error)
