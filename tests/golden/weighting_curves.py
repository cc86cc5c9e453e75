#!/usr/bin/env python3
"""Writes weighting_curves.csv: responses of all weightings, in extended precision.

    python3 weighting_curves.py > weighting_curves.csv

The formulas are written here from their definitions, in 80-bit arithmetic of NumPy, whose own
rounding lies three decimal digits below that of double.
"""

import numpy as np

L = np.longdouble
FREQUENCIES = ["0", "0.01", "0.5", "1", "7.3", "20", "50.5", "100", "440", "1000", "2500", "3162.3",
               "10000", "12194", "20000", "100000", "-60"]


def decimal(text):
    return L(text)


def poles(f, *corners):
    product = L(1)
    for corner in corners:
        product *= decimal(corner) ** 2 + f * f
    return product


def base(f):
    return decimal("12194") ** 2 * f**2 / poles(f, "20.6", "12194")


def a(f):
    return base(f) * L(10) ** decimal("0.1") * f**2 / np.sqrt(poles(f, "107.7", "737.9")), L(0)


def b(f):
    return base(f) * L(10) ** decimal("0.0085") * f / np.sqrt(poles(f, "158.5")), L(0)


def c(f):
    return base(f) * L(10) ** decimal("0.003"), L(0)


def d(f):
    numerator = (decimal("1037918.48") - f**2) ** 2 + decimal("1080769.16") * f**2
    denominator = (decimal("9837328") - f**2) ** 2 + decimal("11723776") * f**2
    root = np.sqrt(numerator / denominator / poles(f, "79919.29", "1345600"))
    return root * f / decimal("6.8966888496476e-5"), L(0)


def power_of_i_omega(n):
    def response(f):
        if f == 0 and n < 0:
            return L(0), L(0)
        omega = 2 * decimal("3.14159265358979323846264338") * f
        magnitude = omega**n
        return [(magnitude, L(0)), (L(0), magnitude), (-magnitude, L(0)), (L(0), -magnitude)][n % 4]

    return response


CURVES = [a, b, c, d, lambda f: (L(1), L(0)), power_of_i_omega(-1), power_of_i_omega(-2),
          power_of_i_omega(1), power_of_i_omega(2)]

print("# source: weighting_curves.py, NumPy 80-bit arithmetic; 2026-11-21")
print("# tolerance: 1e-14 of the value, some ten roundings of double")
print("# weighting number, frequency in hertz, real part, imaginary part")
for number, curve in enumerate(CURVES):
    for text in FREQUENCIES:
        re, im = curve(decimal(text))
        print(f"{number},{text},{re:.17g},{im:.17g}")
