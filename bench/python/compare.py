"""Runs every contestant on the example recording, each in a process of its own, and compares.

    bench/python/run [ROUNDS]

Times are the least of all rounds; the contestants take turns, so that a slow moment of the machine
meets all of them. Memory is the peak of the process above what it had after loading its libraries
and the recording. Maps are compared at the speeds that harmotrack measured.
"""

from __future__ import annotations

import json
import subprocess
import sys
import tempfile
import timeit
from pathlib import Path

import numpy as np

import harmotrack

ROOT = Path(__file__).resolve().parents[2]
CONTESTANTS = ("harmotrack", "scipy", "peer")
LINES = {"order 1": 10, "order 2": 20, "order 24": 240}


def run(name: str, recording: Path, folder: Path) -> dict[str, float]:
    """Seconds and bytes of one round; its map stands in the folder afterwards."""
    python = ROOT / "build" / f"bench-{name}" / "bin" / "python"
    script = Path(__file__).with_name(f"by_{name}.py")
    answer = subprocess.run(
        [python, script, recording, folder / f"{name}.npz"],
        check=True,
        capture_output=True,
        text=True,
    )
    return json.loads(answer.stdout)


def main(rounds: int) -> None:
    with tempfile.TemporaryDirectory() as temporary:
        folder = Path(temporary)
        machine = harmotrack.simulate_run_up()
        channels = {channel.name: channel.samples for channel in machine.recording}
        np.savez(folder / "recording.npz", rate=machine.recording[0].rate, **channels)
        measured = {
            name: [run(name, folder / "recording.npz", folder) for _ in range(1)]
            for name in CONTESTANTS
        }
        for _ in range(rounds - 1):
            for name in CONTESTANTS:
                measured[name].append(run(name, folder / "recording.npz", folder))
        maps = {name: np.load(folder / f"{name}.npz") for name in CONTESTANTS}
        show_table(measured)
        truth = machine.truth(maps["harmotrack"]["speed"])
        show_errors(maps, truth)
    show_overheads()


def show_table(measured: dict[str, list[dict[str, float]]]) -> None:
    least = {
        name: {key: min(one[key] for one in rounds) for key in ("seconds", "bytes")}
        for name, rounds in measured.items()
    }
    ours = least["harmotrack"]
    print(f"{'':12} {'time':>9} {'ratio':>7} {'memory':>10} {'ratio':>7}")
    for name, one in least.items():
        print(
            f"{name:12} {one['seconds']:8.3f}s {one['seconds'] / ours['seconds']:7.2f} "
            f"{one['bytes'] / 2**20:7.0f}MiB {one['bytes'] / ours['bytes']:7.2f}"
        )


def show_errors(maps: dict[str, np.lib.npyio.NpzFile], truth: object) -> None:
    """Of the amplitudes of three orders against what was simulated, over the inner speeds."""
    names = {"order 1": "unbalance", "order 2": "misalignment", "order 24": "gear mesh"}
    inner = slice(5, -5)
    print(f"\n{'largest error, dB':18}" + "".join(f"{line:>10}" for line in LINES))
    for name, found in maps.items():
        errors = []
        for line, column in LINES.items():
            true = np.abs(truth.sel(component=names[line], channel="x").values)
            with np.errstate(divide="ignore"):
                decibels = 20.0 * np.log10(found["order_map"][:, column] / true)
            errors.append(np.abs(decibels[inner]).max())
        print(f"{name:18}" + "".join(f"{error:10.3f}" for error in errors))
    ours = maps["harmotrack"]["order_map"]
    print(f"\n{'largest difference of the maps to that of harmotrack, of its largest value':}")
    for name in CONTESTANTS[1:]:
        difference = np.abs(maps[name]["order_map"] - ours)[inner].max() / ours.max()
        print(f"{name:18}{100.0 * difference:9.2f} %")


def show_overheads() -> None:
    angle = harmotrack.Speed.from_pulses(np.arange(0.0, 10.0, 0.1)).segments[0]
    number = 200_000
    call = min(timeit.repeat(lambda: angle.turns, number=number, repeat=5)) / number
    command = Path(sys.executable).with_name("harmotrack")
    start = min(
        timeit.repeat(
            lambda: subprocess.run([command, "--help"], check=True, capture_output=True),
            number=1,
            repeat=10,
        )
    )
    bare = min(
        timeit.repeat(
            lambda: subprocess.run([sys.executable, "-c", ""], check=True), number=1, repeat=10
        )
    )
    print(f"\ncall into the module     {1e6 * call:.2f} µs")
    print(f"harmotrack --help        {start:.3f} s, of which Python itself {bare:.3f} s")


if __name__ == "__main__":
    main(int(sys.argv[1]) if len(sys.argv) > 1 else 5)
