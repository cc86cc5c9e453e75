import dataclasses
import math

import pytest

from harmotrack import AnalysisSettings, HarmotrackError
from harmotrack.settings import weighted_unit


def test_settings_cannot_be_changed() -> None:
    settings = AnalysisSettings(highest_order=20)

    with pytest.raises(dataclasses.FrozenInstanceError):
        settings.highest_order = 30  # type: ignore[misc]


# The sentence must name the setting, its value and what is allowed.
@pytest.mark.parametrize(
    ("setting", "sentence"),
    [
        ({"window": "hann"}, "The window is 'hann', and it must be one of 'rectangle', 'hanning'"),
        ({"highest_order": 0.5}, "The highest_order is 0.5, and 1 to 3000 is allowed."),
        ({"highest_order": math.nan}, "The highest_order is nan, and 1 to 3000 is allowed."),
        ({"highest_order": "ten"}, "The highest_order is 'ten', and it must be a number."),
        ({"min_rpm": 900, "max_rpm": 600}, "The max_rpm is 600 rpm, and 900 to 1e+09 is allowed."),
        ({"order_resolution": 0.3}, "The order_resolution is 0.3, and it must be 1 divided by"),
        ({"harmonics": 1}, "The harmonics are 1, and they must be orders"),
        ({"harmonics": "12"}, "The harmonics are '12', and they must be orders"),
        (
            {"harmonics": (1, 50), "highest_order": 40},
            "The order to be extracted is 50, and 0 to 40 is allowed.",
        ),
        ({"time_lines": 3}, "The time_lines is 3, and 4 to 1048576 is allowed."),
        ({"hysteresis_percent": 101}, "The hysteresis_percent is 101, and 0 to 100 is allowed."),
    ],
)
def test_a_setting_out_of_range_meets_a_sentence(setting: dict, sentence: str) -> None:
    with pytest.raises(HarmotrackError) as error:
        AnalysisSettings(**setting)

    assert str(error.value).startswith(sentence)


def test_weightings_over_time_change_the_unit() -> None:
    assert weighted_unit("m/s²", "integrate") == "m/s"
    assert weighted_unit("m/s^2", "double-integrate") == "m"
    assert weighted_unit("mm/s", "differentiate") == "mm/s²"
    assert weighted_unit("V", "integrate") == "V·s"
    assert weighted_unit("Pa", "a") == "Pa"
