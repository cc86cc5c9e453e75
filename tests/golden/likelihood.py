"""Writes likelihood.csv: the likelihood of candidate frequencies as NumPy evaluates it.

    python3 tests/golden/likelihood.py > tests/golden/likelihood.csv

The residual energy is that of a least-squares fit by singular values, which shares neither normal
equations nor inverse with the library.
"""

import datetime

import numpy
import scipy
from scipy import stats

RATE = 1000.0
TURN = 2 * numpy.pi

generator = numpy.random.default_rng(7)
t = numpy.arange(400) / RATE
signal = (numpy.cos(TURN * 32 * t) + 0.6 * numpy.cos(TURN * 64 * t + 1) +
          0.4 * numpy.cos(TURN * 96 * t + 2) + 0.08 * generator.standard_normal(t.size))
# Three digits, so that both sides start from the same doubles.
signal = numpy.round(signal, 3)


def likelihood(block, orders, candidate):
    time = numpy.arange(block.size) / RATE
    angles = numpy.outer(time, numpy.float32(orders).astype(float)) * candidate
    design = numpy.hstack([numpy.ones((block.size, 1)), numpy.cos(angles), numpy.sin(angles)])
    amplitudes = numpy.linalg.lstsq(design, block, rcond=None)[0]
    residual = numpy.sum((block - design @ amplitudes) ** 2)
    exponent = (2 * len(orders) - block.size + 1) / 2
    return residual**exponent / numpy.linalg.norm(design.T @ design)


def prior(candidate, predicted_hz, sigma_percent, top_hz):
    sigma = sigma_percent / 100 * top_hz * TURN
    return stats.norm.pdf(candidate, predicted_hz * TURN, sigma)


print(f"# source: NumPy {numpy.__version__}, SciPy {scipy.__version__}, by likelihood.py; "
      f"{datetime.date.today()}; relative tolerance 1e-10")
print("# first row: samples at 1000 Hz; then")
print("# N,candidate (rad/s),prior,predicted (Hz),sigma (%),top (Hz),likelihood,orders")
print("samples", *map(repr, map(float, signal)), sep=",")
for size in (60, 101, 200):
    for orders in ([1, 2, 3], [1], [0.5, 1, 2.25, 5.1]):
        for hertz in (30.7, 31.9, 32.0, 33.0, 48.0, 64.1):
            value = likelihood(signal[:size], orders, hertz * TURN)
            print(size, repr(hertz * TURN), 0, 0, 0, 0, repr(float(value)), *orders, sep=",")
            if hertz < 40:
                value *= prior(hertz * TURN, 31.0, 0.5, 300.0)
                print(size, repr(hertz * TURN), 1, 31.0, 0.5, 300.0, repr(float(value)), *orders,
                      sep=",")
print(60, repr(200.0), 0, 0, 0, 0, repr(float(likelihood(signal[:60], [], 200.0))), sep=",")
