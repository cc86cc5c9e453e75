"""Writes windows.csv: window functions as SciPy computes them.

    python3 tests/golden/windows.py > tests/golden/windows.csv

The seven-term sum has no function of its own there: general_cosine gives one period of it, which is
read from its second sample on, beyond the end as well.
"""

import datetime

import numpy
import scipy
from scipy.signal import windows

SEVEN_TERMS = [0.271051400693424, 0.433297939234485, 0.21812299954311, 0.065925446388031,
               0.010811742098371, 0.000776584825226, 1.3887217352e-5]


def blackman_harris(size, sym):
    period = max(size - 1, 1) if sym else size
    # SciPy makes a window of one sample 1, so every second sample of a doubled period is taken.
    one_period = windows.general_cosine(2 * period, SEVEN_TERMS, sym=False)[::2]
    return numpy.take(one_period, range(1, size + 1), mode="wrap")


SHAPES = {
    "Rectangle": lambda size, sym, _: windows.boxcar(size, sym),
    "Hanning": lambda size, sym, _: windows.hann(size, sym),
    "Hamming": lambda size, sym, _: windows.hamming(size, sym),
    "Flattop": lambda size, sym, _: windows.flattop(size, sym),
    "Triangle": lambda size, sym, _: windows.bartlett(size, sym),
    "Blackman": lambda size, sym, _: windows.blackman(size, sym),
    "BlackmanHarris": lambda size, sym, _: blackman_harris(size, sym),
    "Exponential": lambda size, _, final: windows.exponential(
        size, center=0, tau=-size / numpy.log(final), sym=False),
    "Kaiser": lambda size, sym, beta: windows.kaiser(size, beta, sym),
}
PARAMETERS = {"Exponential": [0.01, 0.5], "Kaiser": [0.0, 2.5, 8.6]}

print(f"# source: scipy.signal.windows {scipy.__version__}, by windows.py; "
      f"{datetime.date.today()}; tolerance 1e-14 (double), 6e-8 (float)")
print("# shape,size,periodic,parameter,samples")
for shape, window in SHAPES.items():
    for size in (2, 5, 16, 33):
        for periodic in ([1] if shape == "Exponential" else [0, 1]):
            for parameter in PARAMETERS.get(shape, [0.0]):
                samples = window(size, not periodic, parameter)
                print(shape, size, periodic, parameter, *map(repr, map(float, samples)), sep=",")
