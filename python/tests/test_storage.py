import os
from collections.abc import Callable
from pathlib import Path

import numpy as np
import pandas as pd
import pytest
import xarray as xr

import made
from harmotrack import HarmotrackError, load

Change = Callable[[xr.Dataset], xr.Dataset]


@pytest.mark.parametrize("name", ["run.nc", "run.zarr"])
def test_what_was_saved_is_loaded_to_the_last_bit(tmp_path: Path, name: str) -> None:
    analysis = made.analysis(units=["m/s²", "m/s²"])
    analysis.save(tmp_path / name)

    loaded = load(tmp_path / name)

    xr.testing.assert_identical(loaded.dataset, analysis.dataset)
    assert [path.name for path in tmp_path.iterdir()] == [name]


@pytest.mark.parametrize("name", ["run.nc", "run.zarr"])
def test_saving_again_replaces(tmp_path: Path, name: str) -> None:
    made.analysis().save(tmp_path / name)
    made.analysis(title="second").save(tmp_path / name)

    assert load(tmp_path / name).title == "second"


def test_a_failed_save_leaves_the_old_file(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    path = made.analysis().save(tmp_path / "run.nc")

    def fail(*_: object, **__: object) -> None:
        raise KeyboardInterrupt

    monkeypatch.setattr(xr.Dataset, "dump_to_store", fail)
    with pytest.raises(KeyboardInterrupt):
        made.analysis(title="second").save(path)

    assert load(path).title == "made by hand"
    assert [entry.name for entry in tmp_path.iterdir()] == ["run.nc"]


def test_other_names_other_files_and_missing_ones_meet_a_sentence(tmp_path: Path) -> None:
    with pytest.raises(HarmotrackError, match=r"The name run.txt must end in .nc"):
        made.analysis().save(tmp_path / "run.txt")
    with pytest.raises(HarmotrackError, match="There is no folder"):
        made.analysis().save(tmp_path / "none" / "run.nc")
    with pytest.raises(HarmotrackError, match="There is no file"):
        load(tmp_path / "run.nc")
    os.mkfifo(tmp_path / "pipe.nc")
    with pytest.raises(HarmotrackError, match=r"pipe\.nc is a pipe, and it must be a file"):
        load(tmp_path / "pipe.nc")
    (tmp_path / "cut.nc").write_bytes(b"\x89HDF\r\n\x1a\n")
    with pytest.raises(HarmotrackError, match="can't be read as the results of an analysis"):
        load(tmp_path / "cut.nc")
    xr.Dataset({"other": 1}).to_netcdf(tmp_path / "other.nc", engine="h5netcdf")
    with pytest.raises(HarmotrackError, match="holds no results of an analysis"):
        load(tmp_path / "other.nc")


def without(name: str) -> Change:
    return lambda dataset: dataset.drop_vars(name)


def changed(name: str, place: object, value: float) -> Change:
    def change(dataset: xr.Dataset) -> xr.Dataset:
        values = dataset[name].values.copy()
        values[place] = value
        return dataset.assign({name: dataset[name].copy(data=values)})

    return change


def attribute(name: str, attribute: str, value: object) -> Change:
    def change(dataset: xr.Dataset) -> xr.Dataset:
        dataset[name].attrs[attribute] = value
        return dataset

    return change


@pytest.mark.parametrize(
    ("change", "sentence"),
    [
        (without("overall"), "there is no 'overall'"),
        (without("harmonics_imag"), "harmonics_imag"),
        (without("unit"), "there is no 'unit' of each channel"),
        (without("frequency"), "there is no 'frequency' of 'frequency_map'"),
        (lambda d: d.assign(overall=d["overall"].isel(channel=0, drop=True)),
         "'overall' stands over speed, and it must stand over channel, speed"),
        (lambda d: d.transpose("speed", ...), "'order_map' stands over speed, channel, order"),
        (lambda d: d.assign(overall=d["overall"].fillna(0).astype(int)), "'overall' must hold"),
        (changed("order_map", (0, 5, 7), np.inf), "'order_map' must hold amplitudes of 0 or more"),
        (changed("overall", (1, 2), -1.0), "'overall' must hold amplitudes of 0 or more"),
        (changed("harmonics_real", (0, 1, 2), np.inf), "'harmonics' must hold no infinite ones"),
        (changed("order_blocks", 4, -2), "'order_blocks' must hold counts of 0 or more"),
        (changed("coherence", (0, 1, 2), 1.5), "'coherence' must hold shares of 0 to 1"),
        (lambda d: d.assign_attrs(window="none"), "the window of the results is 'none'"),
        (changed("speed_profile", 9, np.nan), "'speed_profile' must hold finite numbers"),
        (changed("speed", 3, 100.0), "'speed' must hold finite numbers that rise"),
        (changed("order", 3, np.nan), "'order' must hold finite numbers that rise"),
        (changed("time", 3, 1e9), "'time' must hold finite numbers that rise"),
        (lambda d: d.assign_coords(channel=["x", "x"]), "each name must stand once"),
        (attribute("order_map", "amplitude", "loud"), "the amplitude of the order_map is 'loud'"),
        (attribute("order_map", "resolution", "fine"), "the resolution of the order_map is 'fine'"),
        (attribute("order_slices", "width", 0.0), "the width of the order_slices is"),
        (lambda d: d.assign_attrs(directional_x="q"), "the directional_x of the results is 'q'"),
        (lambda d: d.assign_attrs(amplitude=3), "the amplitude of the results is"),
    ],
)  # fmt: skip
def test_what_no_analysis_gives_is_refused_in_a_sentence(
    tmp_path: Path, change: Change, sentence: str
) -> None:
    path = made.analysis().save(tmp_path / "run.nc")
    with xr.open_dataset(path, engine="h5netcdf") as stored:
        dataset = stored.load()
    change(dataset).to_netcdf(tmp_path / "other.nc", engine="h5netcdf")

    with pytest.raises(HarmotrackError) as error:
        load(tmp_path / "other.nc")

    assert str(error.value).startswith(str(tmp_path / "other.nc"))
    assert sentence in str(error.value)
    assert "\n" not in str(error.value)


def test_damaged_results_meet_a_sentence_or_are_whole(tmp_path: Path) -> None:
    path = made.analysis().save(tmp_path / "run.nc")
    whole = path.read_bytes()
    rng = np.random.default_rng(11)

    for case in range(60):
        damaged = bytearray(whole[: rng.integers(1, len(whole))] if case % 3 == 0 else whole)
        head = min(len(damaged), 6000 if case % 3 == 1 else len(whole))
        for place in rng.integers(0, head, 1 << (case % 7)):
            damaged[place] = rng.integers(256)
        path.write_bytes(damaged)
        try:
            loaded = load(path)
        except HarmotrackError as error:
            assert "run.nc" in str(error)
            assert "\n" not in str(error)
        else:
            assert np.isfinite(loaded.speed_profile.values).all()
            assert len(loaded.tables()) > 4


def test_tables_hold_the_measured_speeds_alone(tmp_path: Path) -> None:
    analysis = made.analysis()

    tables = analysis.tables()

    measured = made.SPEED.size - 1
    assert len(tables["order_map"]) == 2 * measured
    assert len(tables["harmonics"]) == 2 * 2 * measured
    row = tables["harmonics"].query("channel == 'y' and order == 2 and speed_rpm == 1800").iloc[0]
    assert row["amplitude"] == pytest.approx(0.5)
    assert row["phase_deg"] == pytest.approx(-90.0)


@pytest.mark.parametrize("kind", ["csv", "parquet"])
def test_table_files_hold_the_tables(tmp_path: Path, kind: str) -> None:
    analysis = made.analysis()

    files = analysis.save_tables(tmp_path / "deep" / "tables", kind)

    assert sorted(path.stem for path in files) == sorted(analysis.tables())
    read = pd.read_csv if kind == "csv" else pd.read_parquet
    table = read(tmp_path / "deep" / "tables" / f"order_map.{kind}")
    expected = analysis.tables()["order_map"]
    assert list(table.columns) == list(expected.columns)
    np.testing.assert_allclose(table["1"], expected["1"], rtol=1e-6)  # seven digits


def test_an_unknown_kind_of_table_leaves_no_folder(tmp_path: Path) -> None:
    with pytest.raises(HarmotrackError, match="The kind of tables is 'xlsx'"):
        made.analysis().save_tables(tmp_path / "tables", "xlsx")

    assert list(tmp_path.iterdir()) == []


def test_the_order_spectrogram_is_stored_and_becomes_a_table(tmp_path: Path) -> None:
    rows = np.arange(2.0 * 3 * made.ORDERS.size).reshape(2, 3, made.ORDERS.size)
    analysis = made.analysis(
        order_rows=rows, row_times=[1.0, 2.0, 3.0], row_speeds=[600.0, 700.0, 800.0]
    )
    analysis.save(tmp_path / "run.nc")

    xr.testing.assert_identical(load(tmp_path / "run.nc").dataset, analysis.dataset)
    table = analysis.tables()["order_spectrogram"]
    assert list(table.columns[:4]) == ["channel", "unit", "time_s", "speed_rpm"]
    assert table.query("channel == 'y' and time_s == 2")["0"].item() == rows[1, 1, 0]
