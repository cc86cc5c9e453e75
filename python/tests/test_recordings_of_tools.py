"""What programs say of their recordings: rates, starts and speeds, in the words of each."""

import json
import os
import socket
from collections.abc import Callable
from datetime import datetime, timedelta
from pathlib import Path

import h5py
import numpy as np
import pytest
import scipy.io
import soundfile
from nptdms import ChannelObject, TdmsWriter

from harmotrack import HarmotrackError, Recording, read
from harmotrack.recording import blocks_of
from harmotrack.speed_finder import find_speed

SAMPLES = np.sin(np.arange(2000) / 7.0)


def mat(tmp_path: Path, **members: object) -> Path:
    scipy.io.savemat(tmp_path / "run.mat", members)
    return tmp_path / "run.mat"


@pytest.mark.parametrize(
    ("name", "number"),
    [
        *((name, 48828.0) for name in ("sr", "fs", "Fs", "FS", "Fs_Hz", "samplingRate", "fsamp")),
        *((name, 48828.0) for name in ("SampleFrequency", "f_s", "sample_rate", "SamplingRate")),
        ("fs_kHz", 48.828),
        ("dt", 1.0 / 48828.0),
        ("Ts", 1.0 / 48828.0),
        ("dt_ms", 1000.0 / 48828.0),
        ("rate", 48828.0),
    ],
)
def test_a_member_of_a_structure_gives_the_rate(tmp_path: Path, name: str, number: float) -> None:
    recording = read(mat(tmp_path, bearing={"gs": SAMPLES, name: number, "load": 270.0}))

    assert recording.names == ("bearing.gs",)
    assert recording[0].rate == pytest.approx(48828.0, rel=1e-12)


# As a public set of bearing faults has it: "rate" is the shaft's, in Hz.
def test_a_member_named_rate_counts_only_if_nothing_else_does(tmp_path: Path) -> None:
    path = mat(tmp_path, bearing={"rate": 25.0, "sr": 48828.0, "gs": SAMPLES})

    assert read(path)[0].rate == 48828.0


def test_a_low_number_named_rate_alone_is_no_sampling_rate(tmp_path: Path) -> None:
    path = mat(tmp_path, bearing={"rate": 25.0, "gs": SAMPLES})

    with pytest.raises(HarmotrackError, match="and 25 may be another rate, as that of the shaft"):
        read(path)
    assert read(path, rate=48828.0)[0].rate == 48828.0


def test_structures_keep_their_own_rates(tmp_path: Path) -> None:
    path = mat(
        tmp_path, fs=100.0, n=SAMPLES[:50], fast={"fs": 1e4, "a": SAMPLES, "deep": {"b": SAMPLES}}
    )

    rates = {channel.name: channel.rate for channel in read(path)}

    assert rates == {"n": 100.0, "fast.a": 1e4, "fast.deep.b": 1e4}


def test_two_rates_of_one_structure_meet_a_sentence(tmp_path: Path) -> None:
    path = mat(tmp_path, fs=1000.0, dt=0.01, a=SAMPLES)

    with pytest.raises(HarmotrackError, match="is told twice, 'fs' 1000 Hz and 'dt' 100 Hz"):
        read(path)
    assert read(path, rate=1000.0)[0].rate == 1000.0


def test_a_number_named_rpm_is_the_constant_speed(tmp_path: Path) -> None:
    recording = read(mat(tmp_path, X097_DE_time=SAMPLES, X097RPM=1797.0, fs=12000.0))

    assert recording.constant_rpm == 1797.0
    assert recording.select([0]).constant_rpm == 1797.0
    speed = find_speed(recording)
    np.testing.assert_allclose(speed.rpm_at([0.0, 0.1]), 1797.0)
    assert (speed.start, speed.end) == (0.0, pytest.approx(2000 / 12000))
    assert "constant 1797 rpm" in speed.source


@pytest.mark.parametrize(
    "members", [{"max_rpm": 6000.0}, {"rpm": 0.0}, {"rpm": 600.0, "shaft": {"rpm": 700.0}}, {}]
)
def test_no_constant_speed_is_made_of_what_is_none(
    tmp_path: Path, members: dict[str, object]
) -> None:
    recording = read(mat(tmp_path, a=SAMPLES, fs=1000.0, **members))

    assert recording.constant_rpm is None


def test_rows_of_structures_are_counted(tmp_path: Path) -> None:
    rows = np.array([{"a": SAMPLES}, {"a": 2.0 * SAMPLES}], dtype=object)

    recording = read(mat(tmp_path, run=rows, fs=1000.0))

    assert recording.names == ("run1.a", "run2.a")
    np.testing.assert_array_equal(recording["run2.a"].samples, 2.0 * SAMPLES)


NOON = datetime(2024, 5, 17, 12, 0, 0)


def tdms(tmp_path: Path, **tasks: dict[str, object]) -> Recording:
    with TdmsWriter(tmp_path / "run.tdms") as file:
        file.write_segment(
            [
                ChannelObject(group, "x", SAMPLES, {"wf_increment": 0.001, **about})
                for group, about in tasks.items()
            ]
        )
    return read(tmp_path / "run.tdms")


def test_tasks_stand_on_one_time_axis_by_their_starts(tmp_path: Path) -> None:
    recording = tdms(
        tmp_path,
        second={"wf_start_time": NOON + timedelta(seconds=2), "wf_start_offset": 0.25},
        first={"wf_start_time": NOON, "wf_start_offset": 0.5},
    )

    assert {c.name: c.start for c in recording} == {"second/x": 2.25, "first/x": 0.5}
    assert recording.notes == ()


def test_a_task_without_a_clock_starts_with_the_first(tmp_path: Path) -> None:
    recording = tdms(
        tmp_path,
        a={"wf_start_time": datetime(1904, 1, 1)},
        b={"wf_start_time": NOON},
        c={"wf_start_time": NOON + timedelta(seconds=1)},
    )

    assert [channel.start for channel in recording] == [0.0, 0.0, 1.0]
    assert recording.notes == ("When 'x' started is not told: with the first channel.",)


def test_the_only_group_stands_in_no_name(tmp_path: Path) -> None:
    assert tdms(tmp_path, only={}).names == ("x",)


@pytest.fixture
def sound(tmp_path: Path) -> Path:
    soundfile.write(tmp_path / "run.wav", np.column_stack([SAMPLES, SAMPLES]), 8000, "FLOAT")
    return tmp_path / "run.wav"


def test_samples_that_are_no_numbers_are_bridged_or_told(tmp_path: Path) -> None:
    path = tmp_path / "run.wav"
    broken = np.linspace(0.0, 0.5, 2000)
    broken[[5, 700]] = np.nan, np.inf
    soundfile.write(path, broken, 8000, "DOUBLE")

    bridged = read(path)

    np.testing.assert_allclose(bridged[0].samples, np.linspace(0.0, 0.5, 2000), atol=1e-15)
    assert bridged.notes == (
        "2 missing samples of 'channel 1' were bridged by straight lines.",
    )  # fmt: skip
    stored = read(path, in_memory=False)
    with pytest.raises(HarmotrackError, match=r"Sample 6 of channel 1 of .*run.wav is nan"):
        list(blocks_of(stored.channels))
    soundfile.write(path, np.full(2000, np.nan), 8000, "DOUBLE")
    with pytest.raises(HarmotrackError, match="2000 of the 2000 samples of 'channel 1' are miss"):
        read(path)


@pytest.mark.parametrize(
    ("text", "sentence"),
    [
        ('{"channels": [', "can't be read as JSON: "),
        ("\ufffd".encode("utf-16").decode("latin-1"), "can't be read as JSON: "),
        ('{"channels": [{"number": 3}]}', "of the number 3, and it must be 1 to 2"),
        ('{"channels": [{"number": 1, "full_scale": Infinity}]}', "the full scale inf of"),
        ('{"channels": [{"number": 1, "full_scale": NaN}]}', "the full scale nan of channel 1"),
        ('{"channels": [{"number": 1, "full_scale": 0}]}', "the full scale 0 of channel 1"),
        ('{"channels": [{"number": 1, "full_scale": "V"}]}', "the full scale 'V' of channel 1"),
        ('{"channels": [{"number": 1, "name": 7}]}', "has the name 7 and the unit 'FS'"),
        ('{"channels": [{"number": 1, "unit": null}]}', "and the unit None of channel 1"),
    ],
)  # fmt: skip
def test_a_broken_json_beside_a_sound_file_meets_a_sentence(
    sound: Path, text: str, sentence: str
) -> None:
    sound.with_suffix(".json").write_text(text, encoding="latin-1")

    with pytest.raises(HarmotrackError, match=r"run\.json") as error:
        read(sound)

    assert sentence in str(error.value)
    assert read(sound, full_scale=1.0)[0].size == SAMPLES.size


@pytest.mark.parametrize(
    ("about", "why"),
    [
        ([1, 2], "numbers no channels"),
        ({"channels": []}, "numbers no channels"),
        ({"channels": ["left", "right"]}, "numbers no channels"),
        ({"recording": "other.wav", "channels": [{"number": 1}]}, "is about 'other.wav'"),
    ],
)
def test_a_json_of_something_else_is_passed_over_with_a_note(
    sound: Path, about: object, why: str
) -> None:
    sound.with_suffix(".json").write_text(json.dumps(about))

    recording = read(sound)

    assert recording.names == ("channel 1", "channel 2")
    assert recording.notes == (
        f"run.json {why}, and was passed over: samples are shares of full scale.",
    )


def test_names_of_a_json_that_stand_twice_are_told_apart(sound: Path) -> None:
    about = [{"number": 1, "name": "a"}, {"number": 2, "name": "a"}]
    sound.with_suffix(".json").write_text(json.dumps({"channels": about}))

    for in_memory in (True, False):
        assert read(sound, in_memory=in_memory).names == ("a", "a #2")


# Opening one of these would wait for someone to write, without end.
def test_what_is_no_file_meets_a_sentence_before_it_is_opened(tmp_path: Path) -> None:
    os.mkfifo(tmp_path / "pipe.wav")
    with socket.socket(socket.AF_UNIX) as listening:
        listening.bind(str(tmp_path / "s.wav"))
        with pytest.raises(HarmotrackError, match=r"s\.wav is a socket, and it must be a file"):
            read(tmp_path / "s.wav")
    with pytest.raises(HarmotrackError, match=r"pipe\.wav is a pipe, and it must be a file"):
        read(tmp_path / "pipe.wav")
    with pytest.raises(HarmotrackError, match="zero is a device, and it must be a file"):
        read("/dev/zero")
    (tmp_path / "circle.wav").symlink_to("circle.wav")
    with pytest.raises(HarmotrackError, match=r"circle\.wav can't be opened"):
        read(tmp_path / "circle.wav")


def declared_hdf5(path: Path) -> None:
    """A terabyte that was never written, as a program leaves it that was killed."""
    with h5py.File(path, "w") as file:
        file.attrs["fs"] = 1000.0
        file.create_dataset("x", shape=(1 << 37,), dtype="f8", chunks=(1 << 16,))


def declared_mat(path: Path) -> None:
    scipy.io.savemat(path, {"x": SAMPLES, "fs": 1000.0})
    content = bytearray(path.read_bytes())
    content[132:136] = (0xFFFFFFF0).to_bytes(4, "little")  # the size of the first element
    path.write_bytes(content)


@pytest.mark.parametrize("write", [declared_hdf5, declared_mat])
def test_what_a_file_declares_is_held_against_its_size(
    tmp_path: Path, write: Callable[[Path], None]
) -> None:
    path = tmp_path / ("run.h5" if write is declared_hdf5 else "run.mat")
    write(path)

    with pytest.raises(HarmotrackError, match=r"declares .* bytes .* in all: it may be cut"):
        read(path)


# FLAC tells its length in the header, in 36 bits; at 21 they say how many samples there are.
def test_a_sound_file_takes_no_memory_for_samples_that_it_can_not_hold(tmp_path: Path) -> None:
    path = tmp_path / "run.flac"
    soundfile.write(path, SAMPLES, 8000, "PCM_24")
    content = bytearray(path.read_bytes())
    content[21] |= 0x0F
    path.write_bytes(content)

    recording = read(path)

    there = recording[0].size  # of the last samples not all come, as they are read by a few
    assert there > 1700
    np.testing.assert_allclose(recording[0].samples, SAMPLES[:there], atol=1e-6)
    assert f"{there} of 64424511440 samples are there" in recording.notes[0]
