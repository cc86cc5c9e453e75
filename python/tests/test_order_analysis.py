import numpy as np
import pytest

import made
from harmotrack import AnalysisSettings, HarmotrackError


def test_maps_name_unit_convention_and_resolution() -> None:
    analysis = made.analysis()

    assert analysis.order_map.attrs["units"] == "mm/s"
    assert analysis.order_map.attrs["amplitude"] == "peak"
    assert analysis.order_map.attrs["resolution"] == pytest.approx(0.1)
    assert analysis.frequency_map.attrs["resolution"] == 2.0


def test_speeds_without_a_block_hold_nan() -> None:
    analysis = made.analysis()

    empty = analysis.order_map.isnull().all(dim=("channel", "order")).values
    assert list(np.flatnonzero(empty)) == [made.EMPTY]
    assert bool(analysis.harmonics.isnull()[:, :, made.EMPTY].all())
    assert bool(analysis.overall.isnull()[:, made.EMPTY].all())


# Blocks of equal angles and of equal times fall into bins of their own.
def test_frequency_spectra_and_overall_levels_go_by_their_own_blocks() -> None:
    blocks = np.ones(made.SPEED.size, dtype=int)
    blocks[7] = 0

    analysis = made.analysis(frequency_blocks=blocks)

    assert list(np.flatnonzero(~analysis.measured)) == [made.EMPTY]
    assert list(np.flatnonzero(~analysis.frequency_measured)) == [7]
    assert list(np.flatnonzero(analysis.overall.isnull()[0])) == [7]
    tables = analysis.tables()
    assert made.SPEED[7] not in set(tables["overall"]["speed_rpm"])
    assert made.SPEED[made.EMPTY] in set(tables["overall"]["speed_rpm"])


# Three lines A/2, A, A/2 carry 1.5 A², and the noise bandwidth of the Hanning window is 1.5.
def test_a_sine_within_an_order_slice_reads_its_own_amplitude() -> None:
    analysis = made.analysis()

    second = analysis.order_slices.sel(channel="x", harmonic=2.0, speed=1800.0).item()

    assert second == pytest.approx(0.5, rel=1e-4)  # the floor of 1e-3 adds 3e-6


def test_an_order_slice_is_never_below_its_largest_line() -> None:
    narrow = made.analysis(settings=AnalysisSettings(slice_width=0.0))

    second = narrow.order_slices.sel(channel="x", harmonic=2.0, speed=1800.0).item()

    assert second == 0.5


def test_arrays_are_read_only() -> None:
    analysis = made.analysis()

    with pytest.raises(ValueError, match="read-only"):
        analysis.order_map.values[0, 0, 0] = 1.0


def test_units_of_several_kinds_stand_with_the_channels() -> None:
    analysis = made.analysis(units=["mm/s", "Pa"])

    assert "units" not in analysis.order_map.attrs
    assert [analysis.unit(name) for name in analysis.channels] == ["mm/s", "Pa"]


def test_channels_are_known_by_name_and_by_number() -> None:
    analysis = made.analysis()

    assert analysis.channel() == "x"
    assert analysis.channel(1) == analysis.channel("y") == analysis.channel(-1) == "y"
    with pytest.raises(HarmotrackError, match="There is no channel 'z'; the analysis has 'x', 'y'"):
        analysis.channel("z")


def test_arrays_that_do_not_fit_their_axes_are_refused() -> None:
    with pytest.raises(HarmotrackError, match=r"The shape of overall is \(2, 3\)"):
        made.analysis(overall=np.zeros((2, 3)))
