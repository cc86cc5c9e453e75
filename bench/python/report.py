"""How fast is the report of two noisy maps of 1000 × 2000 cells, in the browser?

    build/python-check/bin/python bench/python/report.py

Prints the size of the file, when the page is ready, and what a move of the cursor over the order
map costs: the time that the page's scripts take until everything is drawn, and that of a frame
while the cursor moves in each of them. Without a screen the processor does the work of a graphics
card, so the frames of a desk are shorter.
"""

from __future__ import annotations

import shutil
import statistics
import sys
import tempfile
from pathlib import Path

import numpy as np
from playwright.sync_api import Page, sync_playwright

from harmotrack.report import write_report

sys.path.insert(0, str(Path(__file__).parents[2] / "python" / "tests"))
import machine

MOVES = 300
OPENINGS = 5

#: A frame's scripts end when the small tasks that they left behind have run; uPlot draws in one.
STOPWATCH = """
  window.frameTimes = [];
  const ask = window.requestAnimationFrame.bind(window);
  window.requestAnimationFrame = (act) => ask((now) => {
    const start = performance.now();
    act(now);
    queueMicrotask(() => window.frameTimes.push(performance.now() - start));
  });
  new MutationObserver(() => {
    if (document.documentElement.dataset.ready) window.readyAt ??= performance.now();
  }).observe(document, { attributes: true, subtree: true });
"""

SWEEP = """
  (moves) => new Promise((done) => {
    const canvas = document.querySelector("#order-map .overlay");
    const box = canvas.getBoundingClientRect();
    let move = 0;
    window.frameTimes = [];
    const begin = performance.now();
    const step = () => {
      if (move === moves) return done([window.frameTimes, performance.now() - begin]);
      move += 1;
      canvas.dispatchEvent(new PointerEvent("pointermove", {
        clientX: box.left + 60 + (box.width - 80) * (move / moves),
        clientY: box.top + 10 + (box.height - 60) * Math.abs(Math.sin(move / 20)),
      }));
      setTimeout(() => window.requestAnimationFrame(step), 0);
    };
    step();
  })
"""


def ready_seconds(page: Page, path: Path) -> float:
    page.goto(path.as_uri())
    page.wait_for_selector("html[data-ready=yes]")
    return float(page.evaluate("window.readyAt")) / 1000.0


def main() -> None:
    analysis = machine.noise_only(speeds=1000, lines=2000)
    program = shutil.which("chromium")
    with tempfile.TemporaryDirectory() as folder, sync_playwright() as playwright:
        path = write_report(analysis, Path(folder) / "noise.html")
        print(f"file                     {path.stat().st_size / 1e6:8.2f} MB")
        browser = playwright.chromium.launch(executable_path=program, args=["--no-sandbox"])
        page = browser.new_page(viewport={"width": 1400, "height": 1000})
        page.add_init_script(STOPWATCH)
        ready = [ready_seconds(page, path) for _ in range(OPENINGS)]
        print(f"ready, median of {OPENINGS}       {1000 * statistics.median(ready):8.0f} ms")
        times, total = page.evaluate(SWEEP, MOVES)
        # Every other frame only asks for the next move.
        moves = sorted(times, reverse=True)[:MOVES]
        print(f"a move, median           {np.median(moves):8.1f} ms")
        print(f"a move, 95 of 100 below  {np.quantile(moves, 0.95):8.1f} ms")
        print(f"frame by frame           {total / MOVES:8.1f} ms")
        browser.close()


if __name__ == "__main__":
    main()
