import numpy as np
import pytest

from harmotrack import Channel, HarmotrackError, Recording


def two() -> Recording:
    return Recording.from_arrays(
        {"x": np.arange(4.0), "y": np.ones(4)}, 2.0, units={"x": "V"}, start=1.0, name="two"
    )


def test_channels_are_known_by_name_and_by_number() -> None:
    recording = two()

    assert recording["x"] is recording[0]
    assert recording[-1].name == "y"
    with pytest.raises(HarmotrackError, match="There is no channel 2; two has 'x', 'y'"):
        recording[2]


def test_samples_are_read_only_and_not_copied() -> None:
    samples = np.arange(4.0)

    channel = Channel("x", samples, 2.0)

    assert np.shares_memory(channel.samples, samples)
    assert not channel.samples.flags.writeable
    assert samples.flags.writeable  # the caller's own stay as they were


def test_times_count_from_the_start() -> None:
    np.testing.assert_array_equal(two()["x"].times, [1.0, 1.5, 2.0, 2.5])
    assert two()["x"].duration == 2.0


def test_scaling_changes_value_and_unit() -> None:
    scaled = two().scaled({"x": (25.0, "mm/s")})

    np.testing.assert_array_equal(scaled["x"].samples, [0.0, 25.0, 50.0, 75.0])
    assert scaled["x"].unit == "mm/s"
    assert scaled["y"].unit == ""


def test_a_recording_becomes_an_xarray_dataset() -> None:
    dataset = two().to_dataset()

    assert dataset["x"].attrs["units"] == "V"
    np.testing.assert_array_equal(dataset["time"].values, two()["x"].times)


@pytest.mark.parametrize(
    ("make", "sentence"),
    [
        (lambda: Recording((), "none"), "The recording none has no channels"),
        (lambda: Channel("x", np.ones((2, 2)), 1.0), "The samples of 'x' have the shape"),
        (lambda: Channel("x", np.ones(2), 0.0), "The rate of 'x' is 0 Hz, and it must be above 0"),
        (lambda: Channel("x", np.ones(2), 1.0, start=np.nan), "The start of 'x' is nan"),
        (
            lambda: Recording((Channel("x", np.ones(2), 1.0),) * 2, "r"),
            "The recording r has several channels of the name 'x'",
        ),
    ],
)
def test_what_is_no_recording_meets_a_sentence(make: object, sentence: str) -> None:
    with pytest.raises(HarmotrackError, match=sentence):
        make()
