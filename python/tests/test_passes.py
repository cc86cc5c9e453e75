"""Run-ups and coast-downs apart."""

from functools import cache
from pathlib import Path

import matplotlib.pyplot as plt
import numpy as np
import pytest
import xarray as xr

import turning
from harmotrack import HarmotrackError, Monitor, OrderAnalysis, TwoPasses, analyze, load

AXIS = {"min_rpm": 800.0, "max_rpm": 2800.0, "step_rpm": 50.0, "highest_order": 10.0}


@cache
def apart() -> TwoPasses:
    machine = turning.up_and_down()
    return analyze(
        machine.recording(),
        machine.speed(),
        passes="apart",
        channels=("x", "y"),
        directional=("x", "y"),
        harmonics=(2,),
        row_overlap_percent=50.0,
        **AXIS,
    )


def second_order(analysis: OrderAnalysis) -> np.ndarray:
    spectra = analysis.order_map.sel(channel="x")
    return spectra.sel(order=2.0, method="nearest").values[5:-5]


# Order 2 is 1 while the speed rises and 2 while it falls.
def test_each_pass_holds_its_own_amplitude() -> None:
    np.testing.assert_allclose(second_order(apart().rising), 1.0, rtol=0.01)
    np.testing.assert_allclose(second_order(apart().falling), 2.0, rtol=0.01)
    for one, radius in zip(apart(), (1.0, 2.0), strict=True):
        assert one.directional is not None
        forward = one.directional.sel(speed=2000.0).sel(directional_order=2.0, method="nearest")
        assert forward.item() == pytest.approx(radius, rel=0.01)


def test_together_both_fall_into_the_same_bins() -> None:
    machine = turning.up_and_down()

    together = analyze(machine.recording(), machine.speed(), harmonics=(2,), **AXIS)

    np.testing.assert_allclose(second_order(together), 1.5, rtol=0.01)
    assert together.attrs["movement"] == "both"


def test_passes_share_their_axes_and_what_belongs_to_the_whole_recording() -> None:
    rising, falling = apart()

    for name in ("movement", "direction"):
        assert (rising.attrs[name], falling.attrs[name]) == ("rising", "falling")
    difference = falling.order_amplitudes - rising.order_amplitudes
    assert difference.sel(channel="x", harmonic=2.0, speed=2000.0).item() == pytest.approx(1, 0.02)
    for name in ("speed_profile", "angle_signal", "order_spectrogram"):
        xr.testing.assert_identical(rising.dataset[name], falling.dataset[name])


def test_a_pass_that_never_came_is_empty() -> None:
    machine = turning.Machine([(0.0, 600.0), (8.0, 3000.0)], [1.0])

    found = analyze(machine.recording(), machine.speed(), passes="apart", **AXIS)

    assert list(found.measured) == ["rising"]
    assert bool(found.falling.order_map.isnull().all())


@pytest.mark.parametrize("name", ["run.nc", "run.zarr"])
def test_both_passes_are_stored_in_one_file(tmp_path: Path, name: str) -> None:
    apart().save(tmp_path / name)

    loaded = load(tmp_path / name)

    assert isinstance(loaded, TwoPasses)
    for one, original in zip(loaded, apart(), strict=True):
        xr.testing.assert_identical(one.dataset, original.dataset)


def test_tables_name_the_pass() -> None:
    tables = apart().tables()

    harmonics = tables["harmonics"].query("channel == 'x' and speed_rpm == 2000")
    assert list(harmonics["pass"]) == ["rising", "falling"]
    np.testing.assert_allclose(harmonics["amplitude"], [1.0, 2.0], rtol=0.01)
    assert "pass" not in tables["speed"]


def test_one_picture_shows_the_orders_of_both() -> None:
    axes = apart().plot_orders("x")

    assert [text.get_text() for text in axes.get_legend().get_texts()] == [
        "order 2, rising",
        "order 2, falling",
    ]
    rising, falling = axes.get_lines()
    assert np.nanmedian(falling.get_ydata()) == pytest.approx(2.0, rel=0.01)
    assert (rising.get_linestyle(), falling.get_linestyle()) == ("-", "--")
    assert rising.get_color() == falling.get_color()
    plt.close(axes.figure)


def test_a_monitor_keeps_passes_apart_too() -> None:
    machine = turning.up_and_down()
    monitor = Monitor(
        turning.RATE,
        ["x"],
        passes="apart",
        pulses_per_revolution=None,
        harmonics=(2,),
        **AXIS,
    )

    monitor.feed_speed(machine.seconds[::64], machine.rpm[::64])
    results = monitor.feed(machine.x)
    found = monitor.finish()

    of_angles = [one for one in results if one.order_spectrum is not None]
    turn = 8.0
    assert {one.movement for one in of_angles if one.seconds < turn - 1.0} == {"rising"}
    assert {one.movement for one in of_angles if one.seconds > turn + 1.0} == {"falling"}
    assert isinstance(found, TwoPasses)
    np.testing.assert_array_equal(second_order(found.falling), second_order(apart().falling))


@pytest.mark.parametrize(
    ("options", "sentence"),
    [
        ({"passes": "both"}, "The passes is 'both', and it must be one of 'together' or 'apart'"),
        ({"passes": "apart", "block_mode": "contiguous"}, "Passes apart need blocks at crossings"),
        ({"passes": "apart", "direction": "rising"}, "Passes apart need blocks at crossings"),
    ],
)
def test_what_cannot_be_kept_apart_meets_a_sentence(options: dict, sentence: str) -> None:
    machine = turning.up_and_down()

    with pytest.raises(HarmotrackError, match=sentence):
        analyze(machine.recording(), machine.speed(), **AXIS, **options)
