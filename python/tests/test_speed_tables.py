"""Tables of the speed that were written here, and are read again."""

from pathlib import Path

import numpy as np
import pandas as pd
import pytest

import turning
from harmotrack import analyze, find_speed
from harmotrack.readers.speed_table import read_speed
from harmotrack.storage import write_table
from harmotrack.tracking import Track


# As analyze writes it: a speed a turn. It stands still for four seconds.
@pytest.mark.parametrize("kind", ["csv", "parquet"])
def test_the_speed_that_analyze_writes_is_read_with_its_gaps(tmp_path: Path, kind: str) -> None:
    machine = turning.stopping()
    recording = machine.recording()
    written = find_speed(recording)
    analyze(recording, written, highest_order=10.0).save_tables(tmp_path, kind)

    speed = read_speed(tmp_path / f"speed.{kind}")

    assert len(speed.segments) == len(written.segments) == 2
    moments = np.concatenate([np.linspace(0.5, 5.5, 40), np.linspace(10.5, 15.5, 40)])
    np.testing.assert_allclose(speed.rpm_at(moments), written.rpm_at(moments), rtol=2e-3)
    assert np.isnan(speed.rpm_at(8.0)).all()


# Every tenth turn of a day at 3000 rpm stands at moments that differ in the seventh digit.
def test_moments_of_a_long_recording_stay_apart_in_a_table(tmp_path: Path) -> None:
    seconds = 86000.0 + np.arange(100) * 0.02
    table = pd.DataFrame({"time_s": seconds, "speed_rpm": np.full(100, 3000.0)})

    write_table(table, tmp_path / "SPEED.CSV")

    assert read_speed(tmp_path / "SPEED.CSV").turns == pytest.approx(99.0)
    assert (tmp_path / "SPEED.CSV").read_text().startswith("time_s,speed_rpm\n86000,3000\n")


# A stretch of three seconds is lost, and a single estimate, which the speed runs over.
def test_estimates_that_are_not_valid_are_passed_over(tmp_path: Path) -> None:
    seconds = np.arange(0.0, 20.0, 0.2)
    valid = ~((seconds > 8.0) & (seconds < 11.0)) & (np.arange(seconds.size) != 20)
    rpm = np.where(valid, 600.0 + 10.0 * seconds, 3000.0)
    tracked = Track("x", (1.0, 2.0), seconds, rpm, valid, np.ones(seconds.size), ())
    write_table(tracked.table(), tmp_path / "tracked.csv")

    speed = read_speed(tmp_path / "tracked.csv")

    np.testing.assert_allclose(speed.gaps, [(8.0, 11.0)], atol=1e-6)
    np.testing.assert_allclose(speed.rpm_at([4.0, 15.0]), [640.0, 750.0], rtol=1e-6)
    assert speed.turns == pytest.approx(tracked.speed.turns, rel=1e-6)
