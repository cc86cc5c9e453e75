"""Each reader on a file that its library's own writer made, and on cut and damaged ones."""

import json
import warnings
from collections.abc import Callable
from pathlib import Path

import h5py
import numpy as np
import pandas as pd
import pytest
import pyuff
import scipy.io
import soundfile
from asammdf import MDF
from asammdf import Signal as MdfSignal
from nptdms import ChannelObject, TdmsWriter

from harmotrack import HarmotrackError, read
from harmotrack.readers import _KINDS

RATE = 5000.0
SAMPLES = 4000
TIMES = np.arange(SAMPLES) / RATE
X = 0.5 * np.sin(2.0 * np.pi * 50.0 * TIMES)
Y = 0.25 * np.cos(2.0 * np.pi * 120.0 * TIMES)


def write_audio(subtype: str, kind: str) -> Callable[[Path], None]:
    def write(path: Path) -> None:
        soundfile.write(path, np.column_stack([X, Y]), int(RATE), subtype, format=kind)

    return write


def write_hdf5(path: Path) -> None:
    with h5py.File(path, "w") as file:
        file.attrs["fs"] = RATE
        for name, values in (("x", X), ("y", Y)):
            file[name] = values
            file[name].attrs["unit"] = "m/s²"


def write_mat(path: Path) -> None:
    scipy.io.savemat(path, {"x": X, "y": Y, "fs": RATE})


def write_mat_73(path: Path) -> None:
    """As MATLAB lays it out: a user block of 512 bytes with the version before the HDF5."""
    with h5py.File(path, "w", userblock_size=512) as file:
        for name, values in (("x", X), ("y", Y), ("fs", np.array(RATE))):
            data = file.create_dataset(name, data=np.atleast_2d(values).T)
            data.attrs["MATLAB_class"] = np.bytes_("double")
    with path.open("r+b") as raw:
        raw.write(b"MATLAB 7.3 MAT-file, Platform: GLNXA64".ljust(124) + b"\x00\x02IM")


def write_uff(binary: int) -> Callable[[Path], None]:
    def write(path: Path) -> None:
        file = pyuff.UFF(str(path))
        for name, values in (("x", X), ("y", Y)):
            data = pyuff.prepare_58(
                binary=binary,
                func_type=1,
                rsp_ent_name=name,
                rsp_node=1,
                rsp_dir=1,
                ref_node=1,
                ref_dir=1,
                ord_data_type=4,
                num_pts=SAMPLES,
                abscissa_spacing=1,
                abscissa_min=0.0,
                abscissa_inc=1.0 / RATE,
                abscissa_spec_data_type=17,
                ordinate_spec_data_type=12,
                ordinate_axis_units_lab="m/s2",
                orddenom_spec_data_type=0,
                z_axis_spec_data_type=0,
                data=values,
                x=TIMES,
            )
            with warnings.catch_warnings():
                warnings.simplefilter("ignore")  # of deprecated calls inside pyuff
                file.write_sets([data], "add")

    return write


def write_tdms(path: Path) -> None:
    about = {"wf_increment": 1.0 / RATE, "wf_start_offset": 0.0, "unit_string": "m/s²"}
    with TdmsWriter(path) as file:
        file.write_segment(
            [ChannelObject("run", "x", X, about), ChannelObject("run", "y", Y, about)]
        )


def write_mdf(path: Path) -> None:
    with MDF(version="4.10") as file:
        file.append(
            [
                MdfSignal(samples=values, timestamps=TIMES, name=name, unit="m/s²")
                for name, values in (("x", X), ("y", Y))
            ]
        )
        file.save(path, overwrite=True)


def write_csv(path: Path) -> None:
    table = pd.DataFrame({"Time [s]": TIMES, "x [m/s²]": X, "y [m/s²]": Y})
    table.to_csv(path, index=False)


def write_parquet(path: Path) -> None:
    pd.DataFrame({"Time [s]": TIMES, "x [m/s²]": X, "y [m/s²]": Y}).to_parquet(path)


FILES: dict[str, Callable[[Path], None]] = {
    "run.wav": write_audio("FLOAT", "WAV"),
    "run.flac": write_audio("PCM_24", "FLAC"),
    "run.w64": write_audio("FLOAT", "W64"),
    "run.aiff": write_audio("FLOAT", "AIFF"),
    "run.h5": write_hdf5,
    "run.mat": write_mat,
    "run73.mat": write_mat_73,
    "run.uff": write_uff(binary=0),
    "binary.uff": write_uff(binary=1),
    "run.tdms": write_tdms,
    "run.mf4": write_mdf,
    "run.csv": write_csv,
    "run.parquet": write_parquet,
}
STORES_UNITS = [
    name for name in FILES if Path(name).suffix not in (".wav", ".flac", ".w64", ".aiff", ".mat")
]
every_file = pytest.mark.parametrize("name", FILES)


@every_file
def test_channels_and_rate_are_those_that_were_written(tmp_path: Path, name: str) -> None:
    FILES[name](tmp_path / name)

    recording = read(tmp_path / name)

    assert len(recording) == 2
    assert [channel.rate for channel in recording] == [RATE, RATE]
    assert [channel.start for channel in recording] == [0.0, 0.0]
    # FLAC has 24 bits, text six digits, sound files 32 bits of float.
    np.testing.assert_allclose(recording[0].samples, X, atol=2e-6)
    np.testing.assert_allclose(recording[1].samples, Y, atol=2e-6)
    assert recording.notes == ()


@pytest.mark.parametrize("name", STORES_UNITS)
def test_units_and_names_are_those_that_were_written(tmp_path: Path, name: str) -> None:
    FILES[name](tmp_path / name)

    recording = read(tmp_path / name)

    assert recording.names == ("x", "y")
    assert {channel.unit for channel in recording} == {"m/s²"}


# Either a sentence, or what is there with a note; never a library's own error.
@every_file
@pytest.mark.parametrize("share", [0.02, 0.5, 0.9])
def test_a_cut_file_meets_a_sentence_or_says_so(tmp_path: Path, name: str, share: float) -> None:
    FILES[name](tmp_path / name)
    whole = (tmp_path / name).read_bytes()
    (tmp_path / name).write_bytes(whole[: int(len(whole) * share)])

    try:
        recording = read(tmp_path / name)
    except HarmotrackError as error:
        assert "\n" not in str(error)
    else:
        samples = recording[0].samples
        np.testing.assert_allclose(samples, X[: samples.size], atol=2e-6)
        assert samples.size == SAMPLES or recording.notes


@every_file
def test_a_damaged_file_meets_a_sentence_or_gives_numbers(tmp_path: Path, name: str) -> None:
    FILES[name](tmp_path / name)
    damaged = bytearray((tmp_path / name).read_bytes())
    rng = np.random.default_rng(7)
    for place in rng.integers(8, len(damaged), 200):
        damaged[place] = rng.integers(256)
    (tmp_path / name).write_bytes(bytes(damaged))

    try:
        recording = read(tmp_path / name)
    except HarmotrackError as error:
        assert "\n" not in str(error)
    else:
        assert all(np.isfinite(channel.samples).all() for channel in recording)


def test_files_that_are_none_meet_a_sentence(tmp_path: Path) -> None:
    (tmp_path / "empty.wav").touch()
    (tmp_path / "run.xyz").write_bytes(b"no such kind")

    with pytest.raises(HarmotrackError, match="There is no file"):
        read(tmp_path / "none.wav")
    with pytest.raises(HarmotrackError, match="is a folder"):
        read(tmp_path)
    with pytest.raises(HarmotrackError, match=r"empty.wav is empty"):
        read(tmp_path / "empty.wav")
    with pytest.raises(HarmotrackError, match=r"is of no known kind; names that can be read end"):
        read(tmp_path / "run.xyz")


@pytest.mark.parametrize("kind", [kind for kind in _KINDS if kind.extra != "all"])
def test_a_missing_library_is_named_with_its_extra(
    tmp_path: Path, monkeypatch: pytest.MonkeyPatch, kind: object
) -> None:
    path = tmp_path / f"run{kind.suffixes[0]}"
    path.write_bytes(kind.signature.ljust(20))
    monkeypatch.setattr("harmotrack.readers.find_spec", lambda _: None)

    with pytest.raises(HarmotrackError) as error:
        read(path)

    assert f"pip install 'harmotrack[{kind.extra}]'" in str(error.value)
    assert kind.package in str(error.value)


def test_the_kind_is_known_by_the_content_too(tmp_path: Path) -> None:
    write_audio("FLOAT", "WAV")(tmp_path / "run.wav")
    (tmp_path / "run.wav").rename(tmp_path / "run.bin")

    assert len(read(tmp_path / "run.bin")) == 2


def test_a_json_file_beside_a_sound_file_names_its_channels(tmp_path: Path) -> None:
    write_audio("FLOAT", "WAV")(tmp_path / "run.wav")
    about = [{"number": 2, "name": "bearing", "unit": "mm/s", "full_scale": 25.0}]
    (tmp_path / "run.json").write_text(json.dumps({"channels": about}))

    recording = read(tmp_path / "run.wav")

    assert recording.names == ("channel 1", "bearing")
    assert recording["bearing"].unit == "mm/s"
    np.testing.assert_allclose(recording["bearing"].samples, 25.0 * Y, atol=1e-5)


def test_a_full_scale_that_was_told_wins(tmp_path: Path) -> None:
    write_audio("FLOAT", "WAV")(tmp_path / "run.wav")

    recording = read(tmp_path / "run.wav", full_scale=10.0, units={"channel 1": "V"})

    assert recording["channel 1"].unit == "V"
    np.testing.assert_allclose(recording[0].samples, 10.0 * X, atol=1e-5)


def csv(tmp_path: Path, text: str, **options: object) -> object:
    (tmp_path / "table.csv").write_text(text, encoding="utf-8")
    return read(tmp_path / "table.csv", **options)


def test_tables_with_semicolons_decimal_commas_and_rows_of_units_are_read(tmp_path: Path) -> None:
    text = "measured on Monday\nZeit;Drehzahl;a\ns;rpm;m/s²\n" + "".join(
        f"{k / 100:.2f};{600 + k};{k},5\n".replace(".", ",") for k in range(50)
    )

    recording = csv(tmp_path, text)

    assert recording.names == ("Drehzahl", "a")
    assert recording["a"].unit == "m/s²"
    assert recording["a"].rate == 100.0
    assert recording["a"].samples[3] == 3.5


def test_columns_without_numbers_are_named_in_a_note(tmp_path: Path) -> None:
    text = "time,a,state\n" + "".join(f"{k},{k},ok\n" for k in range(20))

    recording = csv(tmp_path, text)

    assert recording.names == ("a",)
    assert recording.notes == ("Left out, as they hold no numbers or gaps: state.",)


# The spline through uneven samples of a slow sine is within the error of its fourth derivative.
def test_uneven_time_steps_become_even_ones_with_a_note(tmp_path: Path) -> None:
    rng = np.random.default_rng(3)
    times = np.cumsum(rng.uniform(12.0, 18.0, 400))
    values = np.sin(2.0 * np.pi * 2.0 * times / 1000.0)
    text = "clock,a\n" + "".join(f"{t:.6f},{v:.9f}\n" for t, v in zip(times, values, strict=True))

    recording = csv(tmp_path, text, time="clock", time_unit="ms")

    (channel,) = recording
    assert channel.rate == pytest.approx(1000.0 * 399 / (times[-1] - times[0]), rel=1e-6)
    inner = slice(20, -20)
    expected = np.sin(2.0 * np.pi * 2.0 * channel.times)
    np.testing.assert_allclose(channel.samples[inner], expected[inner], atol=2e-4)
    assert "The time steps vary from 0.012 s to 0.018 s" in recording.notes[0]


def test_a_rate_that_was_given_wins_over_the_time_stamps_with_a_note(tmp_path: Path) -> None:
    text = "time,a\n" + "".join(f"{2 + k / 100},{k}\n" for k in range(50))

    recording = csv(tmp_path, text, rate=120.0)

    assert recording[0].rate == 120.0
    assert recording[0].start == 2.0
    assert recording.notes == (
        "The rate was given, 120 Hz, so that the time stamps say no more than when the recording "
        "begins.",
    )


def test_rows_that_go_back_in_time_are_left_out_if_they_are_few(tmp_path: Path) -> None:
    rows = [f"{k / 100},{k}\n" for k in range(300)]
    rows.insert(100, rows[99])

    recording = csv(tmp_path, "time,a\n" + "".join(rows))

    assert recording[0].samples.size == 300
    assert "1 rows were left out" in recording.notes[0]


@pytest.mark.parametrize(
    ("text", "sentence"),
    [
        ("a,b\n1,2\n3,4\n5,6\n", "Nothing says the sampling rate"),
        ("time,a\n" + "1,2\n" * 50, "The time stamps do not increase: 49 of 50"),
        ("time\n1\n2\n3\n", "There are no channels beside the time stamps"),
        ("only\nwords\nhere\n", "has no row of numbers"),
    ],
)
def test_tables_that_make_no_recording_meet_a_sentence(
    tmp_path: Path, text: str, sentence: str
) -> None:
    with pytest.raises(HarmotrackError, match=sentence):
        csv(tmp_path, text)


def test_options_out_of_range_meet_a_sentence(tmp_path: Path) -> None:
    with pytest.raises(HarmotrackError, match="The rate is -1, and it must be above 0"):
        csv(tmp_path, "time,a\n1,2\n", rate=-1.0)
    with pytest.raises(HarmotrackError, match="The time unit is 'h'"):
        csv(tmp_path, "time,a\n1,2\n", time_unit="h")
    with pytest.raises(HarmotrackError, match="There is no column 'clock' for the time stamps"):
        csv(tmp_path, "time,a\n1,2\n", time="clock")


def test_time_stamps_of_an_hdf5_group_give_the_rate(tmp_path: Path) -> None:
    with h5py.File(tmp_path / "run.h5", "w") as file:
        file["run/time"] = TIMES + 3.0
        file["run/data"] = np.column_stack([X, Y])
        file["run"].attrs["channels"] = ["x", "y"]

    recording = read(tmp_path / "run.h5")

    assert recording.names == ("run/x", "run/y")
    assert recording[0].rate == RATE
    assert recording[0].start == pytest.approx(3.0)


def test_structures_of_matlab_are_read_by_their_fields(tmp_path: Path) -> None:
    scipy.io.savemat(tmp_path / "run.mat", {"run": {"time": TIMES, "acc": X}})

    recording = read(tmp_path / "run.mat")

    assert recording.names == ("run.acc",)
    assert recording[0].rate == RATE


def test_groups_of_mdf_keep_their_own_rates(tmp_path: Path) -> None:
    slow = np.arange(80) / 100.0
    with MDF(version="4.10") as file:
        file.append([MdfSignal(samples=X, timestamps=TIMES, name="x", unit="V")])
        file.append([MdfSignal(samples=600 + slow, timestamps=slow, name="n", unit="rpm")])
        file.save(tmp_path / "run.mf4", overwrite=True)

    recording = read(tmp_path / "run.mf4")

    assert {channel.name: channel.rate for channel in recording} == {"x": RATE, "n": 100.0}
