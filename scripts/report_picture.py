"""A small picture of the beginning of a report, as Chromium shows it.

    report_picture.py REPORT PICTURE

Needs Pillow, which comes with the package, and the program chromium.
"""

from __future__ import annotations

import subprocess
import sys
import tempfile
from pathlib import Path

from PIL import Image

WINDOW = (1400, 1860)
"""Findings and maps."""
WIDTH = 900
COLOURS = 256


def main(report: Path, picture: Path) -> None:
    with tempfile.TemporaryDirectory() as folder:
        screen = Path(folder) / "screen.png"
        subprocess.run(
            [
                "chromium",
                "--headless",
                "--no-sandbox",  # root has none, and the page is our own
                "--hide-scrollbars",
                f"--user-data-dir={folder}",
                f"--window-size={WINDOW[0]},{WINDOW[1]}",
                "--virtual-time-budget=5000",
                "--run-all-compositor-stages-before-draw",  # or tiles may be missing
                f"--screenshot={screen}",
                report.resolve().as_uri(),
            ],
            check=True,
        )
        with Image.open(screen) as image:
            size = WIDTH, round(WIDTH * image.height / image.width)
            small = image.convert("RGB").resize(size, Image.Resampling.LANCZOS)
        # Median cut finds the colours, k-means those that few pixels have.
        few = small.quantize(COLOURS, Image.Quantize.MEDIANCUT, kmeans=3, dither=Image.Dither.NONE)
        few.save(picture, optimize=True)


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit("Usage: report_picture.py REPORT PICTURE")
    main(Path(sys.argv[1]), Path(sys.argv[2]))
