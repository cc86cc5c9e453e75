#!/usr/bin/python3
"""Writes fir_filter.csv: filters of the window method, for the tests of Fir::Filter.

Even orders come from scipy.signal.firwin as they stand. For odd orders, which lean to one side by
half a sample and which firwin does not make, and for the Hilbert type, which it does not know, the
ideal response is summed here with NumPy and takes its window from scipy.signal.get_window.

Usage: fir_filter.py > fir_filter.csv
"""

import numpy as np
import scipy
from scipy.signal import firwin, get_window, kaiser_beta, kaiserord

RATE = 1000.0
LOW_PASS, HIGH_PASS, BAND_PASS, BAND_STOP, HILBERT = range(5)
BLACKMAN, RECTANGLE, HAMMING, HANNING, KAISER, FLATTOP = range(6)
NAMES = ["blackman", "boxcar", "hamming", "hann", "kaiser", "flattop"]
FACTORS = [11.13, 1.84, 6.64, 6.22, None, 4.0]


def order_of(window, width, attenuation):
    if window == KAISER:
        return kaiserord(max(8, abs(attenuation)), width / (RATE / 2))[0] - 1
    return int(np.floor(RATE / (4 * width) * FACTORS[window] + 0.5))


def ideal(kind, order, cutoff1, cutoff2):
    d = np.arange(order + 1) - order // 2
    w1, w2 = cutoff1 / (RATE / 2), cutoff2 / (RATE / 2)

    def cut(w):
        return w * np.sinc(d * w)

    if kind == LOW_PASS:
        return cut(w1)
    if kind == HIGH_PASS:
        return (d == 0) - cut(w1)
    if kind == BAND_PASS:
        return cut(w2) - cut(w1)
    if kind == BAND_STOP:
        return (d == 0) - (cut(w2) - cut(w1))
    return np.where(d % 2 != 0, 2 / (np.pi * np.where(d == 0, 1, d)), 0.0)


def taps(kind, window, order, cutoff1, cutoff2, attenuation):
    shape = ("kaiser", kaiser_beta(attenuation)) if window == KAISER else NAMES[window]
    f0 = [0, RATE / 2, (cutoff1 + cutoff2) / 2, 0, RATE / 4][kind]
    h = ideal(kind, order, cutoff1, cutoff2) * get_window(shape, order + 1, fftbins=False)
    h /= abs(np.sum(h * np.exp(2j * np.pi * np.arange(order + 1) * f0 / RATE)))
    if order % 2 or kind == HILBERT:
        return h
    cutoffs = cutoff1 if kind in (LOW_PASS, HIGH_PASS) else [cutoff1, cutoff2]
    scipys = firwin(order + 1, cutoffs, window=shape, pass_zero=kind in (LOW_PASS, BAND_STOP), fs=RATE)
    assert np.allclose(h, scipys, rtol=0, atol=1e-12)
    return scipys


print("# Window-method filters at a rate of 1000 Hz. Source: fir_filter.py, SciPy", scipy.__version__, "on 2026-11-21")
print("# Tolerance: 1e-6 of the greatest tap (a tap is rounded to float four times on its way)")
print("type,window,transition width,cutoff1,cutoff2,attenuation,taps")
for kind in range(5):
    for window in range(6):
        for width in (60.0, 63.0, 100.0, 113.0):
            cutoff1, cutoff2 = {LOW_PASS: (125, 0), HIGH_PASS: (210, 0), HILBERT: (0, 0)}.get(kind, (120, 280))
            for attenuation in (60.0, 30.0, 15.0) if window == KAISER else (60.0,):
                order = order_of(window, width, attenuation)
                h = taps(kind, window, order, cutoff1, cutoff2, attenuation)
                text = " ".join(f"{tap:.10g}" for tap in h)
                print(kind, window, width, float(cutoff1), float(cutoff2), attenuation, text, sep=",")
