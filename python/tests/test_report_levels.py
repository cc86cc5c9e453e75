import base64
import zlib
from typing import Any

import numpy as np
import pytest
from numpy.typing import NDArray

from harmotrack.report.levels import STEP_DB, encode_array, encode_levels


def decode(encoded: dict[str, Any]) -> NDArray[np.float64]:
    """Written from the description of the format, without its code."""
    shape = encoded["rows"], encoded["columns"]
    data = np.frombuffer(zlib.decompress(base64.b64decode(encoded["data"])), np.uint8)
    low, high = data.reshape(2, *shape).astype(np.int64)
    codes = low + 256 * high
    if encoded["predictor"] != "none":
        codes = np.cumsum(codes, axis={"above": 0, "before": 1}[encoded["predictor"]]) % 65536
    levels = encoded["base"] + encoded["step"] * (codes - 2.0)
    return np.where(codes == 0, np.nan, np.where(codes == 1, -np.inf, levels))


def _noise() -> NDArray[Any]:
    return np.random.default_rng(1).rayleigh(1.0, (40, 70))


def _ramp(axis: int) -> NDArray[Any]:
    ramp = 10.0 ** (np.arange(300) * 0.16 / 20.0)  # steps of 8 codes
    return np.repeat(np.expand_dims(ramp, 1 - axis), 300, axis=1 - axis)


# Half a step of 0.02 dB, and what rounding of doubles adds.
@pytest.mark.parametrize("amplitudes", [_noise(), _ramp(0), _ramp(1), np.full((2, 3), 5.0)])
def test_levels_are_within_a_hundredth_of_a_decibel(amplitudes: NDArray[Any]) -> None:
    levels = decode(encode_levels(amplitudes))

    expected = 20.0 * np.log10(amplitudes)
    np.testing.assert_allclose(levels, expected, rtol=0, atol=0.5 * STEP_DB + 1e-9)


def test_maps_are_kept_in_the_form_that_is_smallest() -> None:
    assert encode_levels(_noise())["predictor"] == "none"
    steps = STEP_DB * np.random.default_rng(2).integers(1, 5, (300, 300))
    assert encode_levels(10.0 ** (steps.cumsum(axis=0) / 20.0))["predictor"] == "above"
    assert encode_levels(10.0 ** (steps.cumsum(axis=1) / 20.0))["predictor"] == "before"


def test_what_was_not_measured_and_what_is_silent_differ() -> None:
    levels = decode(encode_levels(np.array([[np.nan, 0.0, 1.0]])))

    assert np.isnan(levels[0, 0])
    assert np.isneginf(levels[0, 1])
    assert levels[0, 2] == 0.0


def test_nothing_at_all_is_encoded_too() -> None:
    assert np.isnan(decode(encode_levels(np.full((2, 2), np.nan)))).all()
    assert np.isneginf(decode(encode_levels(np.zeros((2, 2))))).all()


# 65533 steps reach 1310.66 dB below the top; what lies deeper counts as silent.
def test_the_top_is_kept_where_the_range_is_too_wide() -> None:
    levels = decode(encode_levels(np.array([[1e-40, 1.0, 1e38]])))

    assert np.isneginf(levels[0, 0])
    np.testing.assert_allclose(levels[0, 1:], [0.0, 760.0], atol=0.5 * STEP_DB + 1e-9)


@pytest.mark.parametrize("dtype", [np.float32, np.float64])
def test_arrays_are_kept_to_the_last_bit(dtype: Any) -> None:
    values = np.array([1.0 / 3.0, np.nan, -0.0], dtype=dtype)

    encoded = encode_array(values)

    width = {"f32": "<f4", "f64": "<f8"}[encoded["type"]]
    assert np.dtype(width) == dtype
    assert base64.b64decode(encoded["data"]) == values.tobytes()
