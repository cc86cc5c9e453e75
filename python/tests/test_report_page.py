import hashlib
import re
from pathlib import Path

import numpy as np
import pytest
from matplotlib import colormaps

import machine
import made
from harmotrack import HarmotrackError
from harmotrack.report import render, write_report
from harmotrack.report.bundle import asset, bundle

CHECKOUT = Path(__file__).parents[2]
GOLDEN = Path(__file__).parent / "golden" / "report_skeleton.html"
"""Looked at in a browser; made anew by `python python/tests/test_report_page.py`."""

HOSTILE = '</script><script>alert(1)</script><img src=x onerror=alert(2)>"&%%script%%'


def skeleton(page: str) -> str:
    """The page without its styles, scripts and data, which have tests of their own."""
    page = re.sub(r"(<(style|script)[^>]*>).*?(</\2>)", r"\1\3", page, flags=re.DOTALL)
    return re.sub(r"'sha256-[^']*'", "'sha256-'", page)


def test_the_same_analysis_makes_the_same_page() -> None:
    assert render(made.analysis()) == render(made.analysis())


def test_the_skeleton_is_the_one_that_was_looked_at() -> None:
    assert skeleton(render(made.analysis())) == GOLDEN.read_text("utf-8")


# Only namespaces of SVG, which no browser fetches, would be allowed, and there are none.
def test_the_page_names_no_address_but_that_of_the_plot_library() -> None:
    page = render(machine.analysis())

    assert set(re.findall(r"https?://[^\s\"')]*", page)) == {"https://github.com/leeoniya/uPlot"}
    assert not re.search(r"<(link|iframe|img|base|object|embed)\b", page)
    assert re.search(r"<script[^>]*\bsrc=", page) is None
    assert "default-src 'none'" in page


def test_hostile_names_stay_text() -> None:
    page = render(
        machine.analysis(
            channels=[HOSTILE, "y"],
            units=[HOSTILE, "mm/s"],
            directional_pair=(HOSTILE, "y"),
            title=HOSTILE,
            speed_source=HOSTILE,
            attributes={
                "speed_repairs": HOSTILE,
                "remarks": f"{HOSTILE} too",
                "harmotrack": HOSTILE,
                "window": HOSTILE,
            },
        )
    )

    assert "<script>alert" not in page
    assert "<img" not in page
    assert page.count("</script>") == render(machine.analysis()).count("</script>")


def test_repairs_of_the_speed_are_listed() -> None:
    page = render(machine.analysis(attributes={"speed_repairs": "At 3 s a.\nAt 4 s b."}))

    assert "2 places were mended" in page
    assert "<li>At 3\u00a0s a.</li><li>At 4\u00a0s b.</li>" in page


def test_remarks_are_listed_but_for_those_on_repairs() -> None:
    about = {"remarks": "At 3 s a.\nThe rate is strange.", "speed_repairs": "At 3 s a."}

    assert "Remarks on the recording" not in render(machine.analysis())
    assert "<ul><li>The rate is strange.</li></ul>" in render(machine.analysis(attributes=about))


def test_a_report_appears_whole_or_not_at_all(tmp_path: Path) -> None:
    path = write_report(made.analysis(), tmp_path / "run.html")

    assert path.read_text("utf-8") == render(made.analysis())
    assert [entry.name for entry in tmp_path.iterdir()] == ["run.html"]
    with pytest.raises(HarmotrackError, match="There is no folder"):
        write_report(made.analysis(), tmp_path / "none" / "run.html")


# Noise is the worst case: 10.2 bits of each level are left when nothing repeats.
def test_two_noisy_maps_of_two_million_cells_stay_below_eight_megabytes() -> None:
    noisy = machine.noise_only(speeds=1000, lines=2000)

    assert len(render(noisy)) < 8e6


def test_modules_stand_after_those_that_they_import() -> None:
    script = bundle("main")

    assert script.index("modules.format =") < script.index("modules.map_view =")
    assert script.index("modules.map_view =") < script.index("modules.main =")
    assert "import " not in re.sub(r"//.*", "", script)
    assert "export " not in script


# scripts/uplot.sh puts these files there, out of the package of npm.
def test_the_plot_library_is_the_pinned_one() -> None:
    lines = (CHECKOUT / "scripts" / "uplot.sha256").read_text("utf-8").splitlines()
    sums = {name: digest for digest, name in (line.split() for line in lines)}

    for name, digest in sums.items():
        assert hashlib.sha256(asset(f"uplot/{name}").encode()).hexdigest() == digest
    assert sorted(sums) == ["LICENSE", "uPlot.iife.min.js", "uPlot.min.css"]


@pytest.mark.parametrize("name", ["viridis", "inferno", "cividis"])
def test_colours_are_those_of_matplotlib(name: str) -> None:
    table = asset("colours.js").split(f"  {name}: [")[1].split("]")[0]
    digits = "".join(re.findall(r"[0-9a-f]{6,}", table))

    colours = np.array([int(digits[i : i + 2], 16) for i in range(0, len(digits), 2)])

    expected = np.rint(255.0 * colormaps[name](np.arange(256))[:, :3]).reshape(-1)
    np.testing.assert_array_equal(colours, expected)


if __name__ == "__main__":
    GOLDEN.parent.mkdir(exist_ok=True)
    GOLDEN.write_text(skeleton(render(made.analysis())), "utf-8")
