#!/usr/bin/python3
"""Writes equiripple.csv: equiripple designs by SciPy, for the tests of remez().

    error  least greatest weighted error that any filter of this length and symmetry reaches on
           the design's grid, found by linear programming (scipy.optimize.linprog, HiGHS), which
           knows nothing of extremes and exchanges
    taps   scipy.signal.remez; empty where it has no such design (gains that slope)

Usage: equiripple.py > equiripple.csv
"""

import numpy as np
import scipy
from scipy.optimize import linprog
from scipy.signal import remez

DENSITY = 16
SYMMETRIC, DIFFERENTIATOR, HILBERT = 1, 2, 3

# name, type, number of taps, band edges, gains at the edges, weights
DESIGNS = [
    ("lowPass31", SYMMETRIC, 31, [0, 0.1, 0.15, 0.5], [1, 1, 0, 0], [1, 1]),
    ("lowPass38", SYMMETRIC, 38, [0, 0.1, 0.16, 0.45], [1, 1, 0, 0], [1, 1]),
    ("highPass51", SYMMETRIC, 51, [0, 0.2, 0.24, 0.5], [0, 0, 1, 1], [1, 1]),
    ("bandPass41", SYMMETRIC, 41, [0, 0.1, 0.15, 0.3, 0.35, 0.5], [0, 0, 1, 1, 0, 0], [10, 1, 10]),
    ("bandStop31", SYMMETRIC, 31, [0, 0.1, 0.15, 0.3, 0.35, 0.5], [1, 1, 0, 0, 1, 1], [1, 5, 1]),
    ("slopes25", SYMMETRIC, 25, [0, 0.2, 0.25, 0.5], [0.2, 1, 1, 0], [1, 2]),
    ("hilbert31", HILBERT, 31, [0.05, 0.45], [1, 1], [1]),
    ("upToTheEnd31", HILBERT, 31, [0.05, 0.5], [1, 1], [1]),
    ("hilbert30", HILBERT, 30, [0.05, 0.5], [1, 1], [1]),
    ("differentiator31", DIFFERENTIATOR, 31, [0.02, 0.4], [0.02, 0.4], [1]),
    ("differentiator30", DIFFERENTIATOR, 30, [0.02, 0.5], [0.02, 0.5], [1]),
    ("fromZero30", DIFFERENTIATOR, 30, [0, 0.5], [0, 0.5], [1]),
]


def grid(kind, taps, bands, gains, weights):
    """Frequencies, desired gains and weights, spaced and rounded as the header of remez() says."""
    terms = taps // 2 + (taps % 2 if kind == SYMMETRIC else 0)
    delta = 0.5 / (DENSITY * terms)
    frequency, desired, weight = [], [], []
    for b, (lower, upper) in enumerate(zip(bands[::2], bands[1::2])):
        first = b == 0 and kind != SYMMETRIC
        start = max(lower, delta) if first else lower
        points = int((upper - start) / delta + 0.5) - first
        f = start + delta * np.arange(points)
        f[-1] = upper
        if kind != SYMMETRIC and taps % 2:
            f = np.minimum(f, 0.5 - delta)
        d = np.linspace(gains[2 * b], gains[2 * b + 1], points)
        w = np.full(points, float(weights[b]))
        if kind == DIFFERENTIATOR:
            w = np.where(d > 1e-4, w / f, w)
        frequency.append(f), desired.append(d), weight.append(w)
    return map(np.concatenate, (frequency, desired, weight))


def least_error(kind, taps, bands, gains, weights):
    f, d, w = grid(kind, taps, bands, gains, weights)
    wave = np.cos if kind == SYMMETRIC else np.sin
    offsets = np.arange(taps) - (taps - 1) / 2
    amplitude = wave(2 * np.pi * np.outer(f, offsets[offsets >= 0]))
    rows = w[:, None] * amplitude
    bound = -np.ones((len(f), 1))
    result = linprog(
        c=np.append(np.zeros(rows.shape[1]), 1),
        A_ub=np.block([[rows, bound], [-rows, bound]]),
        b_ub=np.append(w * d, -w * d),
        bounds=[(None, None)] * rows.shape[1] + [(0, None)],
        method="highs",
        options={"primal_feasibility_tolerance": 1e-10, "dual_feasibility_tolerance": 1e-10},
    )
    return result.x[-1]


def exchanged(kind, taps, bands, gains, weights):
    if kind == DIFFERENTIATOR or gains[::2] != gains[1::2]:
        return []
    name = "bandpass" if kind == SYMMETRIC else "hilbert"
    found = remez(taps, bands, gains[::2], weight=weights, type=name, fs=1, maxiter=40)
    return found if kind == SYMMETRIC else -found  # its antisymmetric taps have the other sign


def text(numbers):
    return " ".join(repr(float(number)) for number in numbers)


print("# Equiripple designs. Source: equiripple.py, SciPy", scipy.__version__, "on 2026-11-21")
print("# Tolerance: taps 1e-9 (the same exchange on the same grid, but for rounding);")
print("#            error 0.1 % (the exchange ends when the extremes agree to 0.01 %)")
print("name,type,tap count,bands,gains,weights,error,taps")
for name, kind, taps, *description in DESIGNS:
    bands, gains, weights = description
    error = least_error(kind, taps, bands, gains, weights)
    fields = [name, kind, taps, text(bands), text(gains), text(weights), repr(float(error))]
    print(*fields, text(exchanged(kind, taps, bands, gains, weights)), sep=",")
