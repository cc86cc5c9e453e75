"""The page in a real browser: Debian's Chromium without a window, without a network."""

import math
import re
import shutil
from collections.abc import Callable, Iterator
from pathlib import Path
from typing import Any

import numpy as np
import pytest
from playwright.sync_api import Browser, Page, expect, sync_playwright

import machine
from harmotrack import OrderAnalysis
from harmotrack.report import write_report
from harmotrack.report.levels import encode_levels

#: Of the maps, in pixels: where their plots begin and end (map_view.js).
LEFT, RIGHT, TOP, BOTTOM = 58, 16, 26, 42

#: A window in which every panel is in sight, and so is drawn.
ALL_OF_IT = {"width": 1400, "height": 3600}
SMALL = {"width": 1400, "height": 600}

#: A level is off by half a step of 0.02 dB; the rest is the rounding of doubles.
HUNDREDTH_DB = 0.01 + 1e-6

#: The plots of the page with their data, for the tests: uPlot as the page calls it, and a list.
SPY = """
  window.plots = [];
  let real;
  Object.defineProperty(window, "uPlot", {
    configurable: true,
    set(value) { real = value; },
    get() {
      return real && new Proxy(real, {
        construct(made, given) {
          const plot = new made(...given);
          window.plots.push(plot);
          return plot;
        },
      });
    },
  });
"""


@pytest.fixture(scope="session")
def browser() -> Iterator[Browser]:
    program = shutil.which("chromium")
    assert program, "These tests need Chromium: apt-get install chromium"
    with sync_playwright() as playwright:
        # A container has no user namespaces for the sandbox, and the page is our own.
        started = playwright.chromium.launch(executable_path=program, args=["--no-sandbox"])
        yield started
        started.close()


class Opened:
    """A report in the browser, which must stay silent and ask for nothing."""

    def __init__(self, browser: Browser, path: Path, **context: Any) -> None:
        context.setdefault("viewport", ALL_OF_IT)
        self.context = browser.new_context(**context)
        self.context.set_offline(True)
        self.page: Page = self.context.new_page()
        self.page.set_default_timeout(10_000)
        self.complaints: list[str] = []
        self.requests: list[str] = []
        self.page.on("console", lambda message: self.complaints.append(message.text))
        self.page.on("pageerror", lambda error: self.complaints.append(str(error)))
        self.page.on("dialog", lambda dialog: self.complaints.append(dialog.message))
        self.page.on("request", lambda request: self.requests.append(request.url))
        self.page.add_init_script(SPY)
        self.page.goto(path.as_uri())
        self.page.wait_for_selector("html[data-ready=yes]")
        self.settle()

    def settle(self) -> None:
        """Waits until what was asked for in this frame is drawn."""
        self.page.evaluate(
            "() => new Promise((done) => requestAnimationFrame(() => requestAnimationFrame(done)))"
        )

    def value(self, selector: str) -> float:
        text = self.page.locator(selector).get_attribute("data-value")
        return math.nan if text in (None, "NaN") else float(text)

    def text(self, selector: str) -> str:
        return self.page.locator(selector).inner_text()

    def move(self, name: str, across: float, up: float) -> None:
        """Points at a place of a map, in parts of its width and height."""
        x, y = self.place(name, across, up)
        self.page.mouse.move(x, y)
        self.settle()

    def place(self, name: str, across: float, up: float) -> tuple[float, float]:
        box = self.page.locator(f"#{name} .overlay").bounding_box()
        assert box
        width, height = box["width"] - LEFT - RIGHT, box["height"] - TOP - BOTTOM
        return box["x"] + LEFT + across * width, box["y"] + TOP + (1.0 - up) * height

    def press(self, *keys: str) -> None:
        for key in keys:
            self.page.keyboard.press(key)
        self.settle()

    def plot(self, name: str) -> list[list[float | None]]:
        """The data of a line plot: x and each line."""
        data: list[list[float | None]] = self.page.evaluate(
            """(name) => window.plots.filter((plot) => plot.root.parentElement?.id === name)
               .at(-1).data.map((values) => Array.from(values))""",
            name,
        )
        return data

    def cuts(self) -> list[str | None]:
        return [one.get_attribute("data-order") for one in self.page.locator("#cuts li").all()]

    def lines(self, name: str) -> list[list[float]]:
        """The lines of the cursor on a map: pixels from the left, at the top and at the bottom."""
        lines: list[list[float]] = self.page.evaluate(
            """(name) => {
                 const marks = document.querySelector(`#${name} .marks`);
                 return [...marks.querySelectorAll(".hung:not([hidden])")].map((line) => {
                   const { c, d, e, f } = new DOMMatrix(line.style.transform);
                   const at = (y) => e + (c / d) * (y - f);
                   return [at(0), at(marks.clientHeight)];
                 });
               }""",
            name,
        )
        return lines

    def width(self, name: str) -> float:
        return float(self.page.locator(f"#{name} .marks").evaluate("(marks) => marks.clientWidth"))

    def pixels(self, selector: str) -> str:
        text: str = self.page.evaluate(
            "(selector) => document.querySelector(selector).toDataURL()", selector
        )
        return text


Open = Callable[..., Opened]


@pytest.fixture
def opened(browser: Browser, tmp_path: Path) -> Iterator[Open]:
    """Opens reports; afterwards none may have complained or asked for anything but itself."""
    reports: list[Opened] = []

    def open_report(analysis: OrderAnalysis, **context: Any) -> Opened:
        path = write_report(analysis, tmp_path / f"{len(reports)}.html")
        reports.append(Opened(browser, path, **context))
        return reports[-1]

    yield open_report
    for report in reports:
        assert report.complaints == []
        assert len(report.requests) == 1
        report.context.close()


@pytest.fixture(scope="module")
def example() -> OrderAnalysis:
    return machine.analysis()


def _row(analysis: OrderAnalysis, report: Opened) -> int:
    return int(np.flatnonzero(analysis.order_map["speed"].values == report.value("#at-speed"))[0])


def _db(amplitude: float) -> float:
    return 20.0 * math.log10(amplitude)


# A grid over the map, off the round places.
@pytest.mark.parametrize(
    ("across", "up"), [(0.013, 0.01), (0.21, 0.345), (0.5, 0.62), (0.99, 0.98)]
)
def test_levels_at_the_cursor_are_those_of_both_maps(
    opened: Open, example: OrderAnalysis, across: float, up: float
) -> None:
    report = opened(example)

    report.move("order-map", across, up)

    row = _row(example, report)
    orders = example.order_map["order"].values
    frequencies = example.frequency_map["frequency"].values
    assert report.value("#at-order") == pytest.approx(across * 30.05 - 0.05, abs=0.1)
    assert report.value("#at-speed") == pytest.approx(575.0 + up * 5450.0, abs=50.0)
    line = int(np.flatnonzero(orders == report.value("#at-order"))[0])
    level = _db(example.order_map.values[0, row, line])
    assert report.value("#at-order-level") == pytest.approx(level, abs=HUNDREDTH_DB)
    frequency = report.value("#at-frequency")
    nearest = np.argmin(np.abs(frequencies - orders[line] * report.value("#at-speed") / 60.0))
    assert frequency == frequencies[nearest]
    level = _db(example.frequency_map.values[0, row, nearest])
    assert report.value("#at-frequency-level") == pytest.approx(level, abs=HUNDREDTH_DB)
    assert report.value("#at-overall") == example.overall.values[0, row]


# Steps that grow from row to row, or from line to line, are kept as differences.
@pytest.mark.parametrize(("axis", "predictor"), [(1, "above"), (2, "before")])
def test_maps_that_were_kept_as_differences_are_whole_again(
    opened: Open, axis: int, predictor: str
) -> None:
    steps = 0.02 * np.random.default_rng(5).integers(1, 5, (2, 109, 301))
    analysis = machine.analysis(order_map=10.0 ** (steps.cumsum(axis=axis) / 20.0))
    assert encode_levels(analysis.order_map.values[0])["predictor"] == predictor
    report = opened(analysis)

    report.move("order-map", 0.7, 0.8)

    values = analysis.order_map.values[0, _row(analysis, report)]
    levels = report.plot("order-spectrum")[1]
    np.testing.assert_allclose(levels, 20.0 * np.log10(values), atol=HUNDREDTH_DB)


# Of 3001 lines in some 550 pixels each column shows what the line passes there: its highest point
# is that of the points inside and of the crossings of both borders. Two pixels are half the width
# of the line, the smoothed edge, and a rounding.
def test_a_dense_spectrum_reaches_the_peaks_of_its_line(opened: Open) -> None:
    analysis = machine.analysis(speeds=21, resolution=0.01)
    report = opened(analysis)
    report.page.locator("#low").fill("-80")
    report.page.locator("#low").press("Tab")
    report.move("order-map", 0.5, 0.5)

    tops = report.page.evaluate(
        """() => {
             const canvas = document.querySelector("#order-spectrum .moving");
             const { width, height } = canvas;
             const { data } = canvas.getContext("2d").getImageData(0, 0, width, height);
             const top = (x) => {
               for (let y = 0; y < height; y += 1) if (data[4 * (y * width + x) + 3] > 0) return y;
               return height;
             };
             return [height, ...Array.from({ length: width }, (_, x) => top(x))];
           }"""
    )

    height, *tops = tops
    high = float(report.page.locator("#high").input_value())
    levels = 20.0 * np.log10(analysis.order_map.values[0, _row(analysis, report)])
    places = (analysis.order_map["order"].values + 0.005) / 30.01 * len(tops)
    pixels = (high + 0.04 * (high + 80.0) - levels) / (1.04 * (high + 80.0)) * height
    expected = []
    for column in range(len(tops)):
        inside = pixels[(places >= column) & (places < column + 1)]
        borders = np.interp([column, column + 1], places, pixels)
        expected.append(min(*inside, *borders, height))
    np.testing.assert_allclose(tops, expected, rtol=0, atol=2.0)


def test_the_frequency_map_leads_to_the_order(opened: Open, example: OrderAnalysis) -> None:
    report = opened(example)

    report.move("frequency-map", 0.3, 0.5)

    order = 60.0 * report.value("#at-frequency") / report.value("#at-speed")
    assert report.value("#at-order") == pytest.approx(order, abs=0.051)  # half a line


def test_every_curve_follows_the_cursor(opened: Open, example: OrderAnalysis) -> None:
    report = opened(example)
    before = {name: report.plot(name) for name in ("order-spectrum", "frequency-spectrum")}
    polar = report.pixels("#polar canvas")

    report.move("order-map", 0.41, 0.77)

    row = _row(example, report)
    line = round(report.value("#at-order") / 0.1)
    for name, values in (
        ("order-spectrum", example.order_map.values[0, row]),
        ("frequency-spectrum", example.frequency_map.values[0, row]),
        ("directional-spectrum", example.directional.values[row]),
    ):
        np.testing.assert_allclose(report.plot(name)[1], 20 * np.log10(values), atol=HUNDREDTH_DB)
        assert report.plot(name) != before.get(name)
    ghost = report.plot("cut-amplitude")[1]
    expected = 20.0 * np.log10(example.order_map.values[0, :, line])
    np.testing.assert_allclose(ghost, expected, atol=HUNDREDTH_DB)
    directional = 20.0 * np.log10(example.directional.values[:, [300 + line, 300 - line]])
    np.testing.assert_allclose(report.plot("whirl")[1:], directional.T, atol=HUNDREDTH_DB)
    assert report.pixels("#polar canvas") != polar
    speed = 600.0 + 180.0 * report.value("#at-time")
    assert speed == pytest.approx(report.value("#at-speed"), abs=2.0)  # a turn of the profile


# Phases are worked out from the same floats, so only the last bit of a double is free.
def test_cuts_and_their_table_are_the_extracted_orders_exactly(
    opened: Open, example: OrderAnalysis
) -> None:
    report = opened(example)
    report.page.locator("#cut-table summary").click()
    report.settle()

    cells = report.page.evaluate(
        """() => [...document.querySelectorAll("#cut-table tbody tr")].map((row) =>
           [...row.cells].map((cell) => Number(cell.dataset.value)))"""
    )

    cuts = example.harmonics.values[0].astype(complex)
    amplitudes = example.order_amplitudes.values[0].astype(float)
    shown = [0, 1, 2, 4]  # order 3 is noise
    columns = [example.order_map["speed"].values]
    for index in shown:
        columns.append(amplitudes[index])
        if index != 0:  # blocks begin anywhere in a turn: 0.47 has no phase from speed to speed
            columns.append(np.degrees(np.arctan2(cuts[index].imag, cuts[index].real)))
            columns.append(example.coherence.values[0, index])
    columns.append(example.overall.values[0])
    np.testing.assert_allclose(cells, np.transpose(columns), rtol=1e-15)
    lines = report.plot("cut-amplitude")[2:]
    expected = [20.0 * np.log10(amplitudes[i]) for i in shown]
    np.testing.assert_allclose(lines, expected, rtol=0, atol=1e-12)
    phases = report.plot("cut-phase")[1:]
    np.testing.assert_allclose(phases, np.degrees(np.angle(cuts[[1, 2, 4]])), rtol=1e-14)


# Order 1 with half of its complex mean cancelled below 1500 rpm, at every second speed.
def test_phases_that_are_not_steady_are_left_out_and_told(opened: Open) -> None:
    harmonics = machine.analysis().harmonics.values.astype(complex)
    harmonics[:, 1, :18:2] *= 0.5
    made = machine.analysis(harmonics=harmonics)
    report = opened(made)

    missing = [value is None for value in report.plot("cut-phase")[1]]
    assert missing == [k < 18 and k % 2 == 0 for k in range(109)]
    report.page.locator("#order-map").focus()
    report.press(*["Shift+ArrowDown"] * 3, "ArrowDown")
    coherence = made.coherence.values[0, 1, _row(made, report)]
    assert coherence < 0.7
    phase = report.page.locator('#cuts li[data-order="1"] .phase')
    assert float(phase.get_attribute("data-coherence") or "nan") == coherence
    expect(phase).to_contain_text(f"(coherence {coherence:.2f})")


def test_a_click_adds_the_cut_of_an_order_and_another_one_removes_it(
    opened: Open, example: OrderAnalysis
) -> None:
    report = opened(example)
    names = report.cuts()
    report.move("order-map", 0.6, 0.5)

    report.page.mouse.click(*report.place("order-map", 0.6, 0.5))
    report.settle()

    order = report.value("#at-order")
    chip = f'#cuts li[data-order="{order:.12g}"]'
    line = round(order / 0.1)
    level = _db(report.value(f"{chip} .amplitude"))
    expected = _db(example.order_map.values[0, _row(example, report), line])
    assert level == pytest.approx(expected, abs=HUNDREDTH_DB)
    assert math.isnan(report.value(f"{chip} .phase"))
    np.testing.assert_allclose(
        report.plot("cut-amplitude")[-1],
        20.0 * np.log10(example.order_map.values[0, :, line]),
        atol=HUNDREDTH_DB,
    )
    report.page.mouse.click(*report.place("order-map", 0.6, 0.5))
    report.settle()
    assert report.cuts() == names


def test_an_order_that_is_typed_becomes_a_cut_with_its_phase(
    opened: Open, example: OrderAnalysis
) -> None:
    report = opened(example)

    report.page.locator("#cut-order").fill("3")
    report.page.get_by_role("button", name="Add cut").click()
    report.settle()

    row = _row(example, report)
    phase = np.degrees(np.angle(complex(example.harmonics.values[0, 3, row])))
    assert report.value('#cuts li[data-order="3"] .phase') == pytest.approx(phase, rel=1e-14)
    report.page.get_by_role("button", name="Remove the cut of order 3").click()
    assert report.page.locator('#cuts li[data-order="3"]').count() == 0


def test_slices_are_the_ones_of_the_analysis_exactly(opened: Open, example: OrderAnalysis) -> None:
    report = opened(example)

    report.page.get_by_label("Cuts as slices").check()
    report.settle()

    row = _row(example, report)
    shown = report.value('#cuts li[data-order="2"] .amplitude')
    assert shown == example.order_slices.values[0, 2, row]


def test_a_linear_scale_shows_amplitudes(opened: Open, example: OrderAnalysis) -> None:
    report = opened(example)
    colours = report.pixels("#order-map canvas")

    report.page.get_by_label("linear").check()
    report.settle()

    row = _row(example, report)
    values = example.order_map.values[0, row]
    np.testing.assert_allclose(
        report.plot("order-spectrum")[1], values, rtol=10 ** (HUNDREDTH_DB / 20) - 1
    )
    assert report.plot("overall")[1] == [float(value) for value in example.overall.values[0]]
    assert report.text("#colour-label") == "mm/s peak"
    assert report.pixels("#order-map canvas") != colours


# Levels of pressures are those of RMS, here of peak amplitudes: 0 dB is 20 sqrt(2) µPa of them.
def test_sound_pressures_are_shown_by_their_rms(opened: Open) -> None:
    made = machine.analysis(units=["mPa", "mPa"])
    report = opened(made)

    assert report.text("#colour-label") == "dB re 20 µPa, RMS"
    values = made.order_map.values[0, _row(made, report)]
    np.testing.assert_allclose(
        report.plot("order-spectrum")[1],
        20.0 * np.log10(values / (0.02 * np.sqrt(2.0))),
        atol=HUNDREDTH_DB,
    )
    levels = 20.0 * np.log10(made.overall.values[0].astype(float) / 0.02)
    np.testing.assert_allclose(report.plot("overall")[1], levels, atol=1e-9)


def test_another_channel_shows_its_own_results(opened: Open, example: OrderAnalysis) -> None:
    report = opened(example)

    report.page.get_by_label("Channel").select_option("y")

    row = _row(example, report)
    overall = float(example.overall.values[1, row])
    expect(report.page.locator("#at-overall")).to_have_attribute("data-value", f"{overall:.17g}")
    line = round(report.value("#at-order") / 0.1)
    level = _db(example.order_map.values[1, row, line])
    assert report.value("#at-order-level") == pytest.approx(level, abs=HUNDREDTH_DB)


def test_the_keyboard_moves_adds_and_zooms_and_is_spoken(
    opened: Open, example: OrderAnalysis
) -> None:
    report = opened(example)
    report.page.locator("#order-map").focus()

    report.press("Home", "ArrowRight", "Shift+ArrowRight", "PageDown", "ArrowDown")

    assert report.value("#at-order") == pytest.approx(1.1)
    assert report.value("#at-speed") == 1900.0  # from 2450: eleven rows of 50
    report.press("ArrowLeft")
    assert report.value("#at-order") == 1.0
    report.press("Enter")  # removes the cut of order 1
    assert report.page.locator('#cuts li[data-order="1"]').count() == 0
    whole = report.pixels("#order-map canvas")
    report.press("+")
    assert report.pixels("#order-map canvas") != whole
    report.press("0")
    assert report.pixels("#order-map canvas") == whole
    expect(report.page.locator("#announcement")).to_have_text(re.compile("^1900 rpm, order 1, "))


def test_dragging_zooms_into_the_map_and_its_spectrum(opened: Open, example: OrderAnalysis) -> None:
    report = opened(example)
    page = report.page
    whole = report.pixels("#order-map canvas")

    page.mouse.move(*report.place("order-map", 0.2, 0.3))
    page.mouse.down()
    page.mouse.move(*report.place("order-map", 0.4, 0.6), steps=4)
    page.mouse.up()
    report.settle()
    report.move("order-map", 0.0, 0.0)

    assert report.value("#at-order") == pytest.approx(0.2 * 30.05, abs=0.2)
    assert report.value("#at-speed") == pytest.approx(575.0 + 0.3 * 5450.0, abs=60.0)
    page.get_by_role("button", name="Whole maps").click()
    report.settle()
    assert report.pixels("#order-map canvas") == whole


def test_harmonic_cursors_show_on_maps_and_spectra(opened: Open, example: OrderAnalysis) -> None:
    report = opened(example)
    before = report.pixels("#order-spectrum .moving")

    report.page.get_by_label("Harmonic cursors").check()
    report.settle()

    assert report.pixels("#order-spectrum .moving") != before
    order = report.value("#at-order")
    lines = report.lines("order-map")
    assert len(lines) == 10
    width = report.width("order-map") / 30.1  # of an order
    for number, (top, bottom) in enumerate(lines, start=1):
        assert top == bottom == pytest.approx(width * (number * order + 0.05), abs=1.0)
    # On the frequency map the first line is upright, and each order leans from its frequency at the
    # lowest speed to that at the highest one.
    upright, *rays = report.lines("frequency-map")
    assert upright[0] == upright[1]
    # From half a line below 0 Hz, as far as the analysis, or 1.05 times as far as order 30.
    reach = min(1.05 * 30.0 * 6000.0 / 60.0, example.frequency_map["frequency"].values[-1] + 2.0)
    hertz = report.width("frequency-map") / (reach + 2.0)
    for number, (top, bottom) in enumerate(rays, start=1):
        assert top == pytest.approx(hertz * (number * order * 6025.0 / 60.0 + 2.0), abs=1.0)
        assert bottom == pytest.approx(hertz * (number * order * 575.0 / 60.0 + 2.0), abs=1.0)


# The colour of a cell is that of its level in the table: 256 equal parts of the range.
def test_the_colour_of_a_cell_is_that_of_its_level(opened: Open, example: OrderAnalysis) -> None:
    from matplotlib import colormaps

    report = opened(example)
    report.page.locator("#low").fill("-80")
    report.page.locator("#low").press("Tab")
    report.page.locator("#order-map").focus()
    report.press("+", "+", "+", "+", "+")  # cells larger than pixels
    x, y = report.place("order-map", 0.9, 0.9)
    report.page.mouse.move(x, y)
    report.settle()

    level = report.value("#at-order-level")
    index = int((level + 80.0) / 100.0 * 256.0)
    pixel = report.page.evaluate(
        """([x, y]) => {
             const canvas = document.querySelector("#order-map canvas");
             const box = canvas.getBoundingClientRect();
             const context = canvas.getContext("2d");
             return [...context.getImageData(x - box.left, y - box.top, 1, 1).data];
           }""",
        [x, y],
    )
    assert pixel == [*(round(255 * part) for part in colormaps["viridis"](index)[:3]), 255]


def test_dark_and_light_follow_the_system_and_the_switch(
    opened: Open, example: OrderAnalysis
) -> None:
    report = opened(example, color_scheme="dark")
    background = "getComputedStyle(document.body).backgroundColor"
    assert report.page.evaluate(background) == "rgb(14, 19, 25)"
    curve = report.pixels("#overall canvas")

    report.page.get_by_role("button", name="Use light colours").click()

    assert report.page.evaluate(background) == "rgb(244, 246, 248)"
    report.settle()
    assert report.pixels("#overall canvas") != curve


def test_paper_is_light_and_shows_the_maps(opened: Open, example: OrderAnalysis) -> None:
    report = opened(example, color_scheme="dark")

    report.page.emulate_media(media="print")
    report.settle()

    assert report.page.evaluate("document.documentElement.dataset.theme") == "light"
    assert not report.page.locator("#add-cut").is_visible()
    assert report.page.locator("#order-map canvas").first.bounding_box()["width"] == 350
    report.page.emulate_media(media="screen")
    report.settle()
    assert report.page.evaluate("document.documentElement.dataset.theme") == "dark"


def test_hostile_names_are_shown_as_they_are(opened: Open, example: OrderAnalysis) -> None:
    name = "<img src=x onerror=alert(1)></script><script>alert(2)</script>"
    report = opened(
        machine.analysis(channels=[name, "y"], directional_pair=(name, "y"), title=name)
    )

    assert report.text("h1") == name
    assert report.page.locator("#channel option").first.inner_text() == name
    assert report.page.locator("img").count() == 0


def test_one_channel_without_a_mark_works(opened: Open, example: OrderAnalysis) -> None:
    analysis = machine.only_first_channel(
        machine.analysis(has_mark=False, speed_source="the channel Actual Speed", attributes={})
    )
    report = opened(analysis)

    report.move("order-map", 0.3, 0.4)

    assert report.page.locator("#whirl").count() == 0
    assert "One channel can't tell" in report.text("main")
    row = _row(analysis, report)
    assert report.value("#at-overall") == analysis.overall.values[0, row]


def test_speeds_that_were_not_measured_are_told(opened: Open) -> None:
    blocks = np.ones(109, dtype=int)
    blocks[40:60] = 0
    report = opened(machine.analysis(order_blocks=blocks, frequency_blocks=blocks))

    report.move("order-map", 0.3, 50 / 109)

    assert report.text("#at-order-level") == "not measured"
    assert report.text("#at-overall") == "not measured"
    assert set(report.plot("order-spectrum")[1]) == {None}


# What can't be seen isn't drawn, so that a move costs no more than what it shows.
def test_a_panel_out_of_sight_follows_when_it_comes_into_sight(
    opened: Open, example: OrderAnalysis
) -> None:
    report = opened(example, viewport=SMALL)
    assert report.page.locator("#overall canvas").count() == 0
    report.page.locator("#order-map").focus()
    report.press("ArrowDown", "ArrowRight")
    assert report.page.locator("#overall canvas").count() == 0

    report.page.locator("#whirl").scroll_into_view_if_needed()
    report.settle()

    line = round(report.value("#at-order") / 0.1)
    radii = 20.0 * np.log10(example.directional.values[:, [300 + line, 300 - line]])
    np.testing.assert_allclose(report.plot("whirl")[1:], radii.T, atol=HUNDREDTH_DB)


def test_paper_shows_what_was_out_of_sight(opened: Open, example: OrderAnalysis) -> None:
    report = opened(example, viewport=SMALL)
    assert report.page.locator("#overall canvas").count() == 0

    report.page.emulate_media(media="print")
    report.settle()

    assert report.plot("overall")[1][0] == pytest.approx(_db(example.overall.values[0, 0]))


def test_a_narrow_window_needs_no_scrolling_sideways(opened: Open, example: OrderAnalysis) -> None:
    report = opened(example, viewport={"width": 390, "height": 844})

    assert report.page.evaluate("document.documentElement.scrollWidth") == 390
    too_wide = report.page.evaluate(
        """() => [...document.querySelectorAll("body *")]
           .filter((one) => !one.closest(".scroll, .unseen, .skip, .marks")
                            && one.getBoundingClientRect().right > 390)
           .map((one) => one.outerHTML.slice(0, 80))"""
    )
    assert too_wide == []


# For those who hear the page, or use no mouse: what Chromium hands to a screen reader.


def _heard(report: Opened) -> list[dict[str, Any]]:
    """The nodes of the accessibility tree: role, name, description and properties."""
    client = report.context.new_cdp_session(report.page)
    nodes = client.send("Accessibility.getFullAXTree")["nodes"]
    return [
        {
            **{key: node.get(key, {}).get("value", "") for key in ("role", "name", "description")},
            **{one["name"]: one["value"].get("value") for one in node.get("properties", [])},
        }
        for node in nodes
        if not node["ignored"]
    ]


CONTROLS = {
    "link": ["Skip to the maps"],
    "combobox": ["Channel", "Colours"],
    "radio": ["dB", "linear"],
    "spinbutton": [
        "Order of a new cut",
        "Lowest level of the colours, dB",
        "Highest level of the colours, dB",
    ],
    "checkbox": ["Harmonic cursors", "Cuts as slices"],
    "application": [
        "Order map over order and speed",
        "Frequency map over frequency and speed",
        "Whirl map over order and speed",
    ],
    "button": [
        "Use dark colours",
        "Add cut",
        "Whole maps",
        *(f"Remove the cut of order {order}" for order in ("0.47", "1", "2", "24")),
    ],
    "DisclosureTriangle": ["The cuts as a table"],
    "region": ["Resonances", "Strongest order by speed", "Whirl by order and speed"],
}


def test_every_control_has_a_role_and_a_name(opened: Open, example: OrderAnalysis) -> None:
    report = opened(example)

    found: dict[str, list[str]] = {}
    for node in _heard(report):
        if node.get("focusable") and node["role"] not in ("RootWebArea", "option"):
            found.setdefault(node["role"], []).append(node["name"])

    assert found == CONTROLS


def test_every_panel_has_a_title(opened: Open, example: OrderAnalysis) -> None:
    report = opened(example)

    figures = [node["name"] for node in _heard(report) if node["role"] == "figure"]

    assert len(figures) == 8
    assert all(figures)


# The crossing of orders 1 and 2, and the largest amplitude, are those of the machine's closed form.
def test_maps_say_what_an_eye_sees(opened: Open, example: OrderAnalysis) -> None:
    report = opened(example)

    maps = {one["name"]: one for one in _heard(report) if one["role"] == "application"}

    order = maps["Order map over order and speed"]["description"]
    assert re.match(
        r"Of x, the strongest is order 2 from 600 to \d+ rpm and order 1 from \d+ to 6000 rpm\. "
        r"The largest amplitude is 9\.\d+ mm/s, of order 1 at 2450 rpm\.",
        order,
    )
    frequency = maps["Frequency map over frequency and speed"]["description"]
    values = example.frequency_map.values[0]
    row, line = np.unravel_index(np.argmax(values), values.shape)
    assert f"at {4 * line} Hz and {600 + 50 * row} rpm" in frequency
    whirl = maps["Whirl map over order and speed"]["description"]
    assert re.search(r"Order 1 whirls forward from 600 to \d+ rpm, backward from", whirl)
    assert all("arrows" in one["description"] for one in maps.values())

    report.page.get_by_label("Channel").select_option("y")
    expect(report.page.locator("#order-summary")).to_contain_text("Of y, the strongest is order")


# The region speaks of moves by keyboard alone; numbers at the cursor that spoke of themselves
# would never end.
def test_moves_by_keyboard_are_spoken_and_nothing_else_is(
    opened: Open, example: OrderAnalysis
) -> None:
    report = opened(example)
    live = [node for node in _heard(report) if node.get("live") not in (None, "off")]
    assert len(live) <= 1  # empty regions may be left out
    report.move("order-map", 0.3, 0.4)
    assert report.text("#announcement") == ""

    report.page.locator("#order-map").focus()
    report.press("ArrowUp")

    level = report.page.locator("#at-order-level").inner_text()
    expect(report.page.locator("#announcement")).to_contain_text(level)
    live = [node for node in _heard(report) if node.get("live") not in (None, "off")]
    assert {node["live"] for node in live} == {"polite"}


FOCUS = """() => {
  const one = document.activeElement;
  const box = one.getBoundingClientRect();
  const words = (element) => [...element.childNodes]
    .filter((node) => node.nodeType === 3).map((node) => node.data).join("");
  const name = one.getAttribute("aria-label") ?? words(one.labels?.[0] ?? one);
  const middle = [box.x + box.width / 2, box.y + box.height / 2];
  const top = document.elementFromPoint(...middle);
  return {
    name: name.trim(),
    isShown: one.checkVisibility({ opacityProperty: true, visibilityProperty: true })
             && box.width > 4 && box.height > 4 && one.contains(top),
    isBody: one === document.body,
  };
}"""


def test_tab_passes_what_is_shown_from_top_to_bottom(opened: Open, example: OrderAnalysis) -> None:
    report = opened(example)
    stops = []
    for _ in range(40):
        report.press("Tab")
        stop = report.page.evaluate(FOCUS)
        if stop["isBody"]:
            break
        stops.append(stop)

    names = [stop["name"] for stop in stops]
    assert [stop["name"] for stop in stops if not stop["isShown"]] == []
    assert names[:2] == ["Skip to the maps", "Use dark colours"]
    maps = [names.index(name) for name in CONTROLS["application"]]
    assert maps == sorted(maps)
    assert names.index("Channel") < maps[0]
    assert names[-1] == "The cuts as a table"
    # One radio button stands for its group.
    count = sum(len(found) for found in CONTROLS.values()) - 1
    assert len(names) == count
    assert len(set(names)) == count


def _luminance(colour: list[float]) -> float:
    """Of sRGB, 0 to 255, after WCAG 2.2."""
    parts = [one / 255.0 for one in colour]
    linear = [one / 12.92 if one <= 0.04045 else ((one + 0.055) / 1.055) ** 2.4 for one in parts]
    return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]


def _contrast(one: list[float], other: list[float]) -> float:
    light, dark = sorted((_luminance(one), _luminance(other)), reverse=True)
    return (light + 0.05) / (dark + 0.05)


TEXTS = """() => {
  const parts = (colour) => {
    const found = colour.match(/[\\d.]+/g).map(Number);
    return found.length === 3 ? [...found, 1] : found;
  };
  const behind = (element) => {
    for (let one = element; one; one = one.parentElement) {
      const colour = parts(getComputedStyle(one).backgroundColor);
      if (colour[3] === 1) return colour.slice(0, 3);
      if (colour[3] > 0) throw new Error(`${one.outerHTML} lets its background shine through`);
    }
    return [255, 255, 255];
  };
  const shown = (element) => element.checkVisibility()
    && !element.closest(".unseen, .skip, caption, script, style, noscript, .uplot");
  return [...document.querySelectorAll("body *")]
    .filter((one) => shown(one) && (one.matches("input, select")
            || [...one.childNodes].some((node) => node.nodeType === 3 && node.data.trim())))
    .map((one) => [one.textContent.slice(0, 40), parts(getComputedStyle(one).color).slice(0, 3),
                   behind(one)]);
}"""

#: What is drawn: colour, what it stands on, and the least contrast of texts and of lines.
DRAWN = [
    ("muted", "card", 4.5),
    ("ink", "card", 4.5),
    *(("on-cut", f"cut-{index}", 4.5) for index in range(6)),
    *((f"cut-{index}", "card", 3.0) for index in range(6)),
    ("accent", "card", 3.0),
    ("ghost", "card", 3.0),
    ("forward", "card", 3.0),
    ("backward", "card", 3.0),
]


@pytest.mark.parametrize("theme", ["light", "dark"])
def test_texts_and_lines_stand_out(opened: Open, example: OrderAnalysis, theme: str) -> None:
    report = opened(example, color_scheme=theme)
    report.page.locator("#cut-table summary").click()

    texts = report.page.evaluate(TEXTS)

    assert len(texts) > 100
    assert [one for one in texts if _contrast(one[1], one[2]) < 4.5] == []
    for name, under, least in DRAWN:
        colours = [
            report.page.evaluate(
                """(name) => getComputedStyle(document.documentElement)
                     .getPropertyValue(`--${name}`).match(/[0-9a-f]{2}/g)
                     .map((digits) => parseInt(digits, 16))""",
                one,
            )
            for one in (name, under)
        ]
        assert _contrast(*colours) >= least, f"{name} on {under}"
