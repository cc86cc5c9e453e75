"""How fast is the report of two noisy maps of 1000 × 2000 cells, in the browser?

    build/python-check/bin/python bench/python/report.py

Prints the size of the file, when the page is ready, and what a move of the cursor costs while it
passes over the order map, with maps and spectra in sight and one move a frame: the time of the
page's scripts, and that of a whole frame. A frame is also the browser's work for styles, layout and
painting, and, without a graphics card, the processor's in its place. Some of that is in the frames
of any page: so a bare one, which changes a small canvas in every frame, runs in the same window,
and the difference is what the report adds.

These frames come as fast as they can, without waiting for a screen; those of the last lines are the
60 in a second that a screen asks for.
"""

from __future__ import annotations

import shutil
import statistics
import sys
import tempfile
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path

import numpy as np
from playwright.sync_api import Page, Playwright, sync_playwright

from harmotrack.report import write_report

sys.path.insert(0, str(Path(__file__).parents[2] / "python" / "tests"))
import machine

MOVES = 400
OPENINGS = 9
WINDOW = {"width": 1400, "height": 1000}
UNBOUND = ["--disable-frame-rate-limit", "--disable-gpu-vsync"]
FRAME_MS = 1000.0 / 60.0

#: A frame's scripts end when the small tasks that they left behind have run.
STOPWATCH = """
  window.scriptTimes = [];
  const ask = window.requestAnimationFrame.bind(window);
  window.requestAnimationFrame = (act) => ask((now) => {
    const start = performance.now();
    act(now);
    queueMicrotask(() => queueMicrotask(() => window.scriptTimes.push(performance.now() - start)));
  });
  new MutationObserver(() => {
    if (document.documentElement.dataset.ready) window.readyAt ??= performance.now();
  }).observe(document, { attributes: true, subtree: true });
  // One call of move() in each frame; the scripts that answer it run in the next one.
  window.sweep = (move, moves) => new Promise((done) => {
    const stamps = [];
    const step = () => {
      stamps.push(performance.now());
      if (stamps.length > moves) {
        done([window.scriptTimes, stamps.slice(1).map((stamp, i) => stamp - stamps[i])]);
        return;
      }
      move(stamps.length / moves);
      ask(step);
    };
    window.scriptTimes = [];
    ask(step);
  });
"""

MOVE_THE_CURSOR = """
  (moves) => {
    const map = document.querySelector("#order-map .overlay");
    const box = map.getBoundingClientRect();
    return window.sweep((part) => map.dispatchEvent(new PointerEvent("pointermove", {
      clientX: box.left + 60 + (box.width - 80) * part,
      clientY: box.top + 30 + (box.height - 80) * Math.abs(Math.sin(20 * part)),
    })), moves);
  }
"""

CHANGE_A_SMALL_CANVAS = """
  (moves) => {
    const canvas = document.body.appendChild(document.createElement("canvas"));
    [canvas.width, canvas.height] = [60, 20];
    const context = canvas.getContext("2d");
    return window.sweep((part) => {
      context.fillStyle = `rgb(${255 * part} 0 0)`;
      context.fillRect(0, 0, 60, 20);
    }, moves);
  }
"""

#: The maps stand below the bar that stays at the top of the window.
SHOW_THE_MAPS = """
  () => window.scrollBy(0, document.querySelector(".panels").getBoundingClientRect().top
                           - document.querySelector(".bar").offsetHeight)
"""


@contextmanager
def window(playwright: Playwright, options: list[str]) -> Iterator[Page]:
    browser = playwright.chromium.launch(
        executable_path=shutil.which("chromium"), args=["--no-sandbox", *options]
    )
    page = browser.new_page(viewport=WINDOW)
    page.add_init_script(STOPWATCH)
    yield page
    browser.close()


def ready_ms(page: Page, path: Path) -> float:
    page.goto(path.as_uri())
    page.wait_for_selector("html[data-ready=yes]")
    return float(page.evaluate("window.readyAt"))


def sweeps(page: Page, path: Path) -> tuple[np.ndarray, np.ndarray, np.ndarray]:
    """Milliseconds: of the bare page's frames, and of the report's scripts and frames."""
    page.goto("about:blank")
    page.evaluate(CHANGE_A_SMALL_CANVAS, MOVES // 4)
    _, bare = page.evaluate(CHANGE_A_SMALL_CANVAS, MOVES)
    ready_ms(page, path)
    page.evaluate(SHOW_THE_MAPS)
    page.evaluate(MOVE_THE_CURSOR, MOVES // 4)
    scripts, frames = page.evaluate(MOVE_THE_CURSOR, MOVES)
    return np.array(bare), np.array(scripts), np.array(frames)


def show(name: str, values: np.ndarray) -> None:
    median, most = np.median(values), np.quantile(values, 0.95)
    print(f"{name:<36}{median:8.1f} ms   95 of 100 below {most:6.1f} ms")


def main() -> None:
    analysis = machine.noise_only(speeds=1000, lines=2000)
    with tempfile.TemporaryDirectory() as folder, sync_playwright() as playwright:
        path = write_report(analysis, Path(folder) / "noise.html")
        print(f"{'file':<36}{path.stat().st_size / 1e6:8.2f} MB")
        with window(playwright, []) as page:
            times = [ready_ms(page, path) for _ in range(OPENINGS)]
        median = statistics.median(times)
        print(f"{f'ready, median of {OPENINGS}':<36}{median:8.0f} ms   most {max(times):6.0f} ms")
        with window(playwright, UNBOUND) as page:
            bare, scripts, frames = sweeps(page, path)
        show("a move: scripts", scripts)
        show("a move: whole frame", frames)
        show("a frame of a bare page", bare)
        added = np.median(frames) - np.median(bare)
        ratio = np.median(frames) / np.median(bare)
        print(f"{'the report adds':<36}{added:8.1f} ms   {ratio:.1f} times the bare page's frame")
        with window(playwright, []) as page:
            bare, _, frames = sweeps(page, path)
        for name, values in (("a move", frames), ("the bare page", bare)):
            kept = np.mean(values < 1.5 * FRAME_MS)
            print(f"{f'at 60 Hz: frames of {name} in time':<36}{100 * kept:8.0f} %")


if __name__ == "__main__":
    main()
