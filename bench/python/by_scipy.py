"""What one writes with NumPy and SciPy: pulses by straight lines, the angle by a cubic spline, the
signal at equal angles by another one, and ShortTimeFFT over either axis."""

import numpy as np
from contestant import HIGHEST_ORDER, ORDER_RESOLUTION, at_speeds, measure
from scipy.interpolate import CubicSpline
from scipy.signal import ShortTimeFFT
from scipy.signal.windows import hann

SAMPLES_PER_TURN = 80
TIME_BLOCK = 4096


def pulses(tacho: np.ndarray, rate: float) -> np.ndarray:
    level = 0.5 * (tacho.min() + tacho.max())
    before = np.flatnonzero((tacho[:-1] < level) & (tacho[1:] >= level))
    return (before + (level - tacho[before]) / (tacho[before + 1] - tacho[before])) / rate


def amplitudes(signal: np.ndarray, block: int, rate: float) -> tuple[np.ndarray, np.ndarray]:
    """Peak amplitudes, shape (blocks, lines), of blocks that overlap by three quarters, and the
    places of their middles."""
    transform = ShortTimeFFT(hann(block, sym=False), block // 4, rate, scale_to="magnitude")
    spectra = 2.0 * np.abs(transform.stft(signal)).T
    return spectra, transform.t(signal.size)


def work(x: np.ndarray, tacho: np.ndarray, rate: float) -> np.ndarray:
    seconds = pulses(tacho, rate)
    times = CubicSpline(np.arange(seconds.size), seconds)
    turns = np.arange((seconds.size - 1) * SAMPLES_PER_TURN) / SAMPLES_PER_TURN
    at_angles = CubicSpline(np.arange(x.size) / rate, x)(times(turns))
    block = round(SAMPLES_PER_TURN / ORDER_RESOLUTION)
    spectra, middles = amplitudes(at_angles, block, SAMPLES_PER_TURN)
    middle = np.clip(middles, 0.0, seconds.size - 1.0)
    rpm = 60.0 / times(middle, 1)
    order_map = at_speeds(rpm, spectra)[:, : round(HIGHEST_ORDER / ORDER_RESOLUTION) + 1]
    of_time, middles = amplitudes(x, TIME_BLOCK, rate)  # the frequency map, which analyze() has too
    at_speeds(np.interp(middles, times(middle), rpm), of_time)
    return order_map


measure(work)
