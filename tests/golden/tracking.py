"""Writes tracking.csv: the estimates of a tracker on a run-up, by a model of the method in NumPy.

    python3 tests/golden/tracking.py > tests/golden/tracking.csv

The likelihood is a logarithm here, and its residual energy that of a least-squares fit by singular
values; the bracket closes in by recursion. So the two have the method in common and no formula.
"""

import datetime

import numpy

RATE = 1000.0
TURN = 2 * numpy.pi
ORDERS = numpy.array([1.0, 2.0, 3.0])
N = 100
HOP = 50
GOLDEN = 0.61803398874989

generator = numpy.random.default_rng(11)
t = numpy.arange(800) / RATE
turns = 20 * t + 0.5 * 25 * t * t
signal = (numpy.cos(TURN * turns) + 0.6 * numpy.cos(2 * TURN * turns + 1) +
          0.4 * numpy.cos(3 * TURN * turns + 2) + 0.08 * generator.standard_normal(t.size))
signal = numpy.round(signal, 3)


class Model:
    def __init__(self, rpm):
        unit = 60.0 if rpm else 1.0
        self.factor = unit / TURN
        self.low, self.high = 10 * unit, 100 * unit
        self.step = 0.5
        self.sigma = 0.01 * self.high / self.factor
        self.current = self.previous = self.low / self.factor
        self.first = True

    def score(self, x, use_prior):
        angles = numpy.outer(numpy.arange(N) / RATE, ORDERS) * x
        design = numpy.hstack([numpy.ones((N, 1)), numpy.cos(angles), numpy.sin(angles)])
        amplitudes = numpy.linalg.lstsq(design, self.block, rcond=None)[0]
        residual = numpy.sum((self.block - design @ amplitudes) ** 2)
        score = ((7 - N) / 2 * numpy.log(residual) -
                 numpy.log(numpy.linalg.norm(design.T @ design)))
        if use_prior:
            score -= 0.5 * ((x - 2 * self.current + self.previous) / self.sigma) ** 2
        return score

    def golden(self, lower, upper):
        x = lower + GOLDEN * (upper - lower)
        return x, self.score(x, True)

    def refine(self, a, b, c):
        if self.step / self.factor > c - a:
            return b[0]
        if b[0] - a > c - b[0]:
            d = self.golden(a, b[0])
            return self.refine(a, d, b[0]) if d[1] > b[1] else self.refine(d[0], b, c)
        d = self.golden(b[0], c)
        return self.refine(b[0], d, c) if d[1] > b[1] else self.refine(a, b, d[0])

    def estimate(self, block):
        self.block = block
        if self.first:
            low, high = self.low / self.factor, self.high / self.factor
        else:
            predicted = 2 * self.current - self.previous
            low, high = predicted - 3 * self.sigma, predicted + 3 * self.sigma
        step = self.step / 100 * self.low * 5
        grid = numpy.arange(low, high, step)
        best = grid[numpy.argmax([self.score(x, not self.first) for x in grid])]
        estimate = self.refine(best - step, self.golden(best - step, best + step), best + step)
        self.previous = estimate if self.first else self.current
        self.current = estimate
        self.first = False
        return estimate * self.factor


print(f"# source: NumPy {numpy.__version__}, by tracking.py; {datetime.date.today()}; "
      "relative tolerance 1e-9")
print("# first row: samples at 1000 Hz; then rpm (0: Hz),estimates")
print("samples", *map(repr, map(float, signal)), sep=",")
for rpm in (0, 1):
    model = Model(rpm)
    print(rpm, *(repr(float(model.estimate(signal[start:start + N])))
                 for start in range(0, t.size - N + 1, HOP)), sep=",")
