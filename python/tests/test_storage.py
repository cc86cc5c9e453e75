from pathlib import Path

import numpy as np
import pandas as pd
import pytest
import xarray as xr

import made
from harmotrack import HarmotrackError, load


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

    monkeypatch.setattr(xr.Dataset, "to_netcdf", fail)
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
    (tmp_path / "cut.nc").write_bytes(b"\x89HDF\r\n\x1a\n")
    with pytest.raises(HarmotrackError, match="can't be read as the results of an analysis"):
        load(tmp_path / "cut.nc")
    xr.Dataset({"other": 1}).to_netcdf(tmp_path / "other.nc", engine="h5netcdf")
    with pytest.raises(HarmotrackError, match="holds no results of an analysis"):
        load(tmp_path / "other.nc")


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
