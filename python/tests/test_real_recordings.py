"""Recordings of real machines; HARMOTRACK_RECORDINGS names their folder, and without it none of
these tests exists."""

import os
from pathlib import Path

import numpy as np
import pytest

from harmotrack import HarmotrackError, Speed, analyze, read

if folder := os.environ.get("HARMOTRACK_RECORDINGS"):
    RECORDINGS = Path(folder)
    UFF = RECORDINGS / "format_fixtures_pyuff"

    # Text with six digits of the step 1 / 65536 s, 4-byte and 8-byte binary, a short last line.
    @pytest.mark.parametrize(
        ("name", "channel", "unit", "samples", "rate"),
        [
            ("Sample_UFF58_ascii.uff", "Mic 01", "Pa", 79292, 65536.0),
            ("Sample_UFF58b_bin.uff", "Mic 01", "Pa", 79292, 65536.0),
            ("binary8byte.uff", "sine 5 Hz", "g", 250, 100.0),
            ("time-history-not-all-columns-filled.uff", "1x", "m/s²", 13, 20000.0),
        ],
    )
    def test_awkward_uff_files_are_read(
        name: str, channel: str, unit: str, samples: int, rate: float
    ) -> None:
        (read_channel,) = read(UFF / name)

        assert read_channel.name == channel
        assert read_channel.unit == unit
        assert read_channel.samples.size == samples
        assert read_channel.rate == rate

    @pytest.mark.parametrize(
        "name", ["1858.uff", "non_ascii_header.uff", "sample_dataset58_psd.uff"]
    )
    def test_uff_files_without_time_histories_meet_a_sentence(name: str) -> None:
        with pytest.raises(HarmotrackError, match="holds no time histories"):
            read(UFF / name)

    # A rotor rig whose speed is measured; the shaft's own order stands out of everything else.
    def test_order_1_is_a_straight_line_in_the_map_of_the_rotor_rig() -> None:
        path = RECORDINGS / "rosa_rotor_imu" / "merged_data306.csv"
        recording = read(path, time="Rel Time", time_unit="ms")
        speed = Speed.from_channel(recording["Actual Speed"], "rpm")

        analysis = analyze(recording, speed, channels=["LinAcc. x"], highest_order=4)

        spectra = analysis.order_map.sel(channel="LinAcc. x").dropna("speed", how="all")
        above_the_mean = spectra.where(spectra["order"] > 0.5)
        strongest = spectra["order"].values[np.nanargmax(above_the_mean.values, axis=1)]
        assert np.mean(np.abs(strongest - 1.0) < 0.15) > 0.9
