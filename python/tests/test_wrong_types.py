"""Arguments of the wrong type: all that takes a recording, a path or a speed answers alike."""

from __future__ import annotations

from collections.abc import Callable
from pathlib import Path

import numpy as np
import pytest

import made
from harmotrack import (
    Channel,
    HarmotrackError,
    Monitor,
    Recording,
    Speed,
    analyze,
    find_speed,
    load,
    read,
    simulate_run_up,
    track,
)
from harmotrack.report import write_report

AXIS = {"min_rpm": 600.0, "max_rpm": 3000.0, "step_rpm": 100.0}


def recording() -> Recording:
    return simulate_run_up(duration=3.0, rate=3200.0, end_rpm=1200.0).recording


def monitor() -> Monitor:
    return Monitor(3200.0, "x", **AXIS)


def steady() -> Speed:
    return Speed.from_profile([0.0, 2.0], [600.0, 600.0])


@pytest.mark.parametrize(
    ("call", "sentence"),
    [
        (lambda: analyze(None), "The recording is None, and it must be a Recording, or the path"),
        (lambda: analyze(np.zeros(3)), "The recording is array"),
        (lambda: analyze(recording(), 1500.0), "The speed is 1500.0, and it must be a Speed"),
        (lambda: analyze(recording(), settings={}), "The value of settings is {}"),
        (lambda: analyze(recording(), channels=1.5), "The choice of channels is 1.5"),
        (lambda: analyze(recording(), directional=3), "The directional channels are 3"),
        (lambda: find_speed(None), "The recording is None"),
        (lambda: track(None, min_rpm=1.0, max_rpm=2.0), "The recording is None"),
        (
            lambda: track(recording(), min_rpm=600, max_rpm=1200, orders=("a", 2)),
            "The orders are",
        ),
        (lambda: read(None), "The path is None, and it must be the name of a file"),
        (lambda: load(3), "The path is 3, and it must be the name of a file"),
        (lambda: made.analysis().save(None), "The path is None"),
        (lambda: made.analysis().save_tables(None), "The path is None"),
        (lambda: write_report(None, "report.html"), "The analysis is None"),
        (lambda: write_report(made.analysis(), None), "The path is None"),
        (lambda: Speed.from_tacho("tacho"), "The tacho channel is 'tacho'"),
        (lambda: Speed.from_channel(None), "The speed channel is None"),
        (lambda: Speed.from_tracking(None), "The track is None"),
        (lambda: Speed.from_pulses("abc"), "The times of the pulses are 'abc', and they must be"),
        (lambda: Speed.from_profile([0, 1], ["a", "b"]), r"The speeds are \['a', 'b'\]"),
        (lambda: steady().turns_at([[0.0, 1.0]]), r"The times have the shape \(1, 2\), and they"),
        (lambda: steady().rpm_at(np.zeros((2, 3))), r"The times have the shape \(2, 3\), and they"),
        (lambda: steady().seconds_at([[0.0]]), r"The angles have the shape \(1, 1\), and they"),
        (lambda: steady().seconds_at("abc"), "The angles are 'abc', and they must be numbers"),
        (lambda: Channel("x", "samples", 100.0), "The samples of 'x' are 'samples'"),
        (lambda: Channel("x", [1.0], None), "The rate of 'x' is None, and it must be a number"),
        (lambda: Channel("x", [1.0], 1.0, start="0"), "The start of 'x' is '0'"),
        (lambda: Channel(1, [1.0], 1.0), "The name of the channel is 1"),
        (lambda: Recording(None), "The list of channels is None"),
        (lambda: Recording(("x",)), "The channel is 'x', and it must be a Channel"),
        (lambda: Recording.from_arrays([1.0], 1.0), "The value of signals is"),
        (lambda: Monitor(3200.0, None, **AXIS), "The list of channels is None"),
        (lambda: Monitor(None, "x", **AXIS), "The rate is None"),
        (lambda: monitor().feed("abc", [1.0]), "The samples are 'abc'"),
        (lambda: monitor().feed([1.0], "abc"), "The tacho's samples are 'abc'"),
    ],
)
def test_what_is_of_the_wrong_type_meets_a_sentence(
    call: Callable[[], object], sentence: str, tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.chdir(tmp_path)

    with pytest.raises(HarmotrackError, match=sentence):
        call()

    assert list(tmp_path.iterdir()) == []
