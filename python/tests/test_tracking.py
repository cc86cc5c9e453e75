"""Against a simulated machine, whose speed is known."""

from functools import cache

import matplotlib.pyplot as plt
import numpy as np
import pytest

from harmotrack import HarmotrackError, Speed, Track, analyze, simulate_run_up, track


@cache
def machine():
    return simulate_run_up(duration=12.0, rate=6400.0, end_rpm=3600.0)


@cache
def tracked() -> Track:
    return track(machine().recording, channel="x", min_rpm=500.0, max_rpm=4000.0, orders=(1, 2))


# What a block of a run-up of 250 rpm/s allows; the C++ tests of the tracker are narrower.
def test_the_speed_is_found_without_the_tacho() -> None:
    found = tracked()

    assert found.valid.mean() > 0.8
    true = machine().rpm(found.seconds[found.valid])
    error = np.abs(found.rpm[found.valid] / true - 1.0)
    assert np.quantile(error, 0.9) < 0.01


def test_an_analysis_takes_the_tracked_speed() -> None:
    speed = Speed.from_tracking(tracked())

    result = analyze(machine().recording, speed, channels="x", harmonics=(1, 2), highest_order=10)

    assert not speed.has_mark
    assert result.attrs["speed_source"].startswith("tracking of 'x', ")
    assert result.attrs["phase_mode"] == "first-order"
    found = np.abs(result.harmonics.sel(channel="x", harmonic=2.0))
    true = np.abs(machine().truth(found["speed"].values).sel(component="misalignment", channel="x"))
    error = np.abs(found.values - true.values) / true.values
    assert np.nanmedian(error) < 0.03


def test_profile_and_table_hold_the_estimates() -> None:
    found = tracked()

    assert found.profile.size == int(found.valid.sum())
    assert list(found.table().columns) == ["time_s", "speed_rpm", "valid", "explained"]
    assert len(found.table()) == found.seconds.size


def test_the_picture_shows_valid_and_doubtful_estimates() -> None:
    axes = tracked().plot()

    assert axes.get_ylabel() == "Speed in rpm"
    assert [text.get_text() for text in axes.get_legend().get_texts()] == ["doubtful", "valid"]
    plt.close(axes.figure)


def test_progress_reaches_the_end_and_may_stop_the_work() -> None:
    def stop(share: float) -> None:
        raise KeyboardInterrupt

    with pytest.raises(KeyboardInterrupt):
        track(machine().recording, min_rpm=500.0, max_rpm=4000.0, progress=stop)


@pytest.mark.parametrize(
    ("options", "sentence"),
    [
        ({"min_rpm": 900, "max_rpm": 600}, "The max_rpm is 600 rpm"),
        ({"min_rpm": 0, "max_rpm": 600, "orders": "12"}, "The orders are '12'"),
        ({"min_rpm": 500, "max_rpm": 600, "orders": (2, 4)}, "All orders are multiples of 2"),
        ({"min_rpm": 500, "max_rpm": 600, "channel": "z"}, "There is no channel 'z'"),
    ],
)
def test_what_cannot_be_tracked_meets_a_sentence(options: dict, sentence: str) -> None:
    with pytest.raises(HarmotrackError, match=sentence):
        track(machine().recording, **options)
