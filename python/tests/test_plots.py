from collections.abc import Iterator

import matplotlib.pyplot as plt
import numpy as np
import pytest
from matplotlib.axes import Axes
from matplotlib.collections import QuadMesh
from matplotlib.text import Text

import made
import turning
from harmotrack import HarmotrackError, analyze
from harmotrack.plots.curves import unwrapped_degrees


@pytest.fixture(autouse=True)
def _no_figures_left() -> Iterator[None]:
    yield
    plt.close("all")


def colour_bar_label(axes: Axes) -> str:
    axes.figure.canvas.draw()
    return axes.figure.axes[-1].get_ylabel()


def mesh_of(axes: Axes) -> QuadMesh:
    return next(one for one in axes.collections if isinstance(one, QuadMesh))


# A colour without convention, unit and reference says nothing.
@pytest.mark.parametrize(
    ("unit", "options", "label"),
    [
        ("mm/s", {}, "Amplitude, peak, dB re 1 mm/s"),
        ("mm/s", {"db": False}, "Amplitude in mm/s, peak"),
        ("mm/s", {"reference": 1e-6}, "Amplitude, peak, dB re 1e-06 mm/s"),
        ("Pa", {}, "Amplitude, RMS, dB re 20 µPa"),
        ("mPa", {}, "Amplitude, RMS, dB re 20 µPa"),
        ("Pa", {"db": False}, "Amplitude in Pa, peak"),
        ("Pa", {"reference": 1.0}, "Amplitude, peak, dB re 1 Pa"),
    ],
)
def test_colour_bars_name_convention_unit_and_reference(
    unit: str, options: dict, label: str
) -> None:
    axes = made.analysis(units=[unit, unit]).plot_order_map(**options)

    assert colour_bar_label(axes) == label


def test_the_order_map_shows_the_decibels_of_the_amplitudes() -> None:
    analysis = made.analysis()

    cells = mesh_of(analysis.plot_order_map()).get_array()

    row = list(made.SPEED).index(1800.0)
    assert cells[row, 20] == pytest.approx(20.0 * np.log10(0.5), abs=1e-4)  # order 2
    assert cells[made.EMPTY].mask.all()  # nothing was measured there
    assert cells.mask.sum() == made.ORDERS.size


def test_cells_stand_round_their_orders_and_speeds() -> None:
    analysis = made.analysis()

    corners = mesh_of(analysis.plot_order_map()).get_coordinates()

    np.testing.assert_allclose(corners[0, 0], [-0.05, 550.0])
    np.testing.assert_allclose(corners[-1, -1], [10.05, 3050.0])


def test_the_order_spectrogram_runs_upwards_in_time() -> None:
    rows = np.full((2, 3, made.ORDERS.size), 1e-3)
    rows[:, :, 20] = 0.5
    analysis = made.analysis(
        order_rows=rows, row_times=[1.0, 2.0, 3.0], row_speeds=[600.0, 600.0, 600.0]
    )

    axes = analysis.plot_order_spectrogram()

    assert axes.get_ylabel() == "Time in s"
    np.testing.assert_allclose(mesh_of(axes).get_coordinates()[0, 0], [-0.05, 0.5])
    assert mesh_of(axes).get_array()[2, 20] == pytest.approx(20.0 * np.log10(0.5), abs=1e-4)
    with pytest.raises(HarmotrackError, match="There is no order spectrogram: ask for it"):
        made.analysis().plot_order_spectrogram()


# Blocks of ten turns, edge to edge: each cell spans the time of its own turns.
def test_cells_of_the_order_spectrogram_span_the_turns_of_their_blocks() -> None:
    machine = turning.Machine([(0.0, 600.0), (10.0, 3000.0)], [1.0])
    found = analyze(
        machine.recording(),
        machine.speed(),
        channels="x",
        highest_order=10.0,
        row_overlap_percent=0.0,
    )

    borders = mesh_of(found.plot_order_spectrogram()).get_coordinates()[:, 0, 1]

    assert found.order_spectrogram is not None
    middles = found.order_spectrogram["block_time"].values
    turns = np.interp(middles, machine.seconds, machine.turns)
    np.testing.assert_allclose(np.diff(turns), 10.0, atol=1e-3)
    at_borders = np.interp(borders[1:-1], machine.seconds, machine.turns)
    np.testing.assert_allclose(at_borders, turns[:-1] + 5.0, atol=0.01)


def test_the_order_spectrogram_is_grey_where_the_shaft_stood_still() -> None:
    rows = np.full((2, 4, made.ORDERS.size), 0.5)
    analysis = made.analysis(
        order_rows=rows, row_times=[1.0, 2.0, 7.0, 8.0], row_speeds=[600.0] * 4
    )

    mesh = mesh_of(analysis.plot_order_spectrogram())

    np.testing.assert_allclose(mesh.get_coordinates()[:, 0, 1], [0.5, 1.5, 2.5, 6.5, 7.5, 8.5])
    assert mesh.get_array().mask.all(axis=1).tolist() == [False, False, True, False, False]


# Matplotlib reads what stands between two dollars as a formula.
@pytest.mark.parametrize(
    "kind",
    [
        "order_map",
        "frequency_map",
        "waterfall",
        "campbell",
        "orders",
        "bode",
        "polar",
        "overall",
        "speed",
        "orbit",
        "full_spectrum",
    ],
)
def test_names_and_units_with_dollars_are_drawn_as_they_stand(kind: str) -> None:
    analysis = made.analysis(
        channels=["$x_{", "$y^^$"],
        units=["$\\frac$", "$\\frac$"],
        directional_pair=("$x_{", "$y^^$"),
        title="$a$ and $b_$",
        speed_source="the $ channel $",
    )

    axes = getattr(analysis, f"plot_{kind}")()

    figure = np.atleast_1d(axes)[0].figure
    figure.canvas.draw()
    shown = [text.get_text().replace("\\$", "$") for text in figure.findobj(Text)]
    assert any("$a$ and $b_$" in text for text in shown)


# Maps of two analyses can be compared only in the same colours.
def test_colours_run_between_the_limits_given() -> None:
    axes = made.analysis().plot_order_map(limits=(-40.0, 20.0))

    assert mesh_of(axes).get_clim() == (-40.0, 20.0)
    assert mesh_of(axes).get_cmap().name == "viridis"
    with pytest.raises(HarmotrackError, match="The upper colour limit is -50"):
        made.analysis().plot_order_map(limits=(-40.0, -50.0))


def test_rays_of_the_frequency_map_run_through_the_order_frequencies() -> None:
    axes = made.analysis().plot_frequency_map(rays=[2.0])

    (ray,) = axes.get_lines()
    through = np.array([ray.get_xy1(), ray.get_xy2()])
    assert list(through[0]) == [0.0, 0.0]
    assert through[1, 0] / through[1, 1] == pytest.approx(2.0 / 60.0)


# Order 1 passes its natural speed of 1800 rpm with 180 degrees of lag on the way.
def test_bode_shows_the_phase_fall_by_half_a_turn_through_a_resonance() -> None:
    phase, amplitude = made.analysis().plot_bode(order=1.0)

    fall = phase.get_lines()[0].get_ydata()
    assert np.all(np.diff(fall) < 0.0)
    assert fall[0] - fall[-1] == pytest.approx(165.0, abs=6.0)  # 600 and 3000 rpm are not ends
    assert "peak" in amplitude.get_ylabel()
    assert "mm/s" in amplitude.get_ylabel()


def test_unwrapped_phases_have_no_jumps() -> None:
    turning = np.exp(1j * np.radians(np.arange(0.0, -1000.0, -50.0))).astype(np.complex64)

    degrees = unwrapped_degrees(turning)

    np.testing.assert_allclose(np.diff(degrees), -50.0, atol=1e-3)
    assert abs(np.median(degrees)) <= 180.0


def test_bode_says_by_how_much_the_phase_turns() -> None:
    phase, _ = made.analysis().plot_bode(order=1.0)

    (text,) = phase.texts
    fall = phase.get_lines()[0].get_ydata()
    assert text.get_text() == f"turns by {round(fall[-1] - fall[0])}° from 600 to 3000 rpm"
    assert phase.get_ylim() == (-180.0, 0.0)


# A phase that jumps tells nothing of a turn.
def test_bode_says_nothing_of_a_phase_that_jumps() -> None:
    cuts = made.analysis().order_amplitudes.values * np.exp(2.0j * np.arange(made.SPEED.size))

    phase, _ = made.analysis(harmonics=cuts).plot_bode(order=1.0)

    assert list(phase.texts) == []


# Each channel's phases begin at its own order 1: two of them make no orbit.
def test_phases_against_order_1_make_no_orbit() -> None:
    against_order_1 = made.analysis(attributes={"phase_mode": "first-order"})

    with pytest.raises(HarmotrackError, match="stand each against its own order 1"):
        against_order_1.plot_orbit()


def test_the_speed_shows_where_it_is_not_known() -> None:
    times = np.concatenate([np.arange(0.0, 5.0, 0.1), np.arange(9.0, 12.0, 0.1)])

    axes = made.analysis(speed_times=times, speed_values=np.full(times.size, 600.0)).plot_speed()

    (line,) = axes.get_lines()
    assert list(np.flatnonzero(np.isnan(line.get_xdata()))) == [50]


# x = 1 and y = -j: y lags x by a quarter turn, which is a circle with the shaft.
def test_a_forward_orbit_is_drawn_counter_clockwise() -> None:
    axes = made.analysis().plot_orbit(order=2.0, speeds=[1800.0])

    x, y = axes.get_lines()[0].get_data()
    np.testing.assert_allclose(np.hypot(x, y), 0.5, rtol=1e-6)
    assert np.all(np.diff(np.unwrap(np.arctan2(y, x))) > 0.0)


def test_the_full_spectrum_has_forward_at_the_right() -> None:
    axes = made.analysis().plot_full_spectrum(speed=1800.0, db=False)

    orders, radii = axes.get_lines()[0].get_data()
    assert orders[np.argmax(radii)] == pytest.approx(1.0)
    assert "Radius in mm/s, peak" in axes.get_ylabel()


def test_campbell_circles_stand_at_the_frequencies_of_the_orders() -> None:
    axes = made.analysis().plot_campbell()

    points = axes.collections[0].get_offsets()
    orders = np.unique(np.round(60.0 * points[:, 1] / points[:, 0], 6))
    assert list(orders) == [1.0, 2.0]


def test_order_cuts_carry_the_amplitudes() -> None:
    axes = made.analysis().plot_orders(orders=[2.0])

    np.testing.assert_allclose(axes.get_lines()[0].get_ydata(), 0.5)


def test_polar_overall_speed_and_waterfall_name_their_axes() -> None:
    analysis = made.analysis()

    assert "peak" in analysis.plot_polar().get_xlabel()
    assert analysis.plot_overall().get_ylabel() == "Overall level in mm/s, RMS"
    assert analysis.plot_speed().get_ylabel() == "Speed in rpm"
    assert analysis.plot_waterfall().get_ylabel() == "Speed in rpm"


def test_a_picture_is_drawn_into_the_axes_given() -> None:
    _, axes = plt.subplots()

    assert made.analysis().plot_overall(axes=axes) is axes


def test_what_cannot_be_drawn_meets_a_sentence() -> None:
    flat = made.analysis(directional=None)

    with pytest.raises(HarmotrackError, match="The order 3 was not extracted; the orders are 1, 2"):
        flat.plot_bode(order=3.0)
    with pytest.raises(HarmotrackError, match="There is no directional spectrum"):
        flat.plot_orbit()
