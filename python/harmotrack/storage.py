"""Results to files and back, and as tables."""

from __future__ import annotations

from importlib.util import find_spec
from pathlib import Path

import numpy as np
import pandas as pd
import xarray as xr

from harmotrack.errors import HarmotrackError, missing_package
from harmotrack.files import OutputFolder, pending
from harmotrack.order_analysis import OrderAnalysis

#: Of the files; a reader refuses those of a later number.
FORMAT_VERSION = 1


def save(analysis: OrderAnalysis, path: str | Path) -> Path:
    path = Path(path)
    kind = _kind(path)
    dataset = _split_complex(analysis.dataset)
    dataset.attrs["harmotrack_format"] = FORMAT_VERSION
    with pending(path) as hidden:
        if kind == "netcdf":
            encoding = {
                name: {"zlib": True, "complevel": 3} for name, v in dataset.items() if v.size > 1000
            }
            dataset.to_netcdf(hidden, engine="h5netcdf", encoding=encoding)
        else:
            dataset.to_zarr(hidden, mode="w", consolidated=False, zarr_format=2)
    return path


def load(path: str | Path) -> OrderAnalysis:
    """Reads what OrderAnalysis.save() stored."""
    path = Path(path)
    kind = _kind(path)
    if not path.exists():
        raise HarmotrackError(f"There is no file {path}.")
    try:
        if kind == "netcdf":
            with xr.open_dataset(path, engine="h5netcdf") as stored:
                dataset = stored.load()
        else:
            with xr.open_zarr(path, consolidated=False) as stored:
                dataset = stored.load()
    except Exception as error:
        raise HarmotrackError(
            f"{path} can't be read as the results of an analysis: {error}"
        ) from error
    version = dataset.attrs.pop("harmotrack_format", None)
    if version is None or "order_map" not in dataset:
        raise HarmotrackError(f"{path} holds no results of an analysis.")
    if version > FORMAT_VERSION:
        raise HarmotrackError(
            f"{path} was written by a later version, {dataset.attrs.get('harmotrack')}; this one "
            "can't read it."
        )
    return OrderAnalysis(_join_complex(dataset))


def _kind(path: Path) -> str:
    suffix = path.suffix.lower()
    if suffix == ".nc":
        return "netcdf"
    if suffix == ".zarr":
        if find_spec("zarr") is None:
            raise missing_package("Zarr stores", "zarr", "zarr")
        return "zarr"
    raise HarmotrackError(f"The name {path.name} must end in .nc (NetCDF) or in .zarr (Zarr).")


# NetCDF knows no complex numbers: `name` becomes `name_real` and `name_imag`.


def _split_complex(dataset: xr.Dataset) -> xr.Dataset:
    split = dataset.copy()
    for name, variable in dataset.items():
        if np.iscomplexobj(variable.values):
            split = split.drop_vars(str(name))
            for part in ("real", "imag"):
                values = getattr(variable, part)
                values.attrs = dict(variable.attrs)
                split[f"{name}_{part}"] = values
    return split


def _join_complex(dataset: xr.Dataset) -> xr.Dataset:
    for real in [str(name) for name in dataset if str(name).endswith("_real")]:
        name = real.removesuffix("_real")
        values = dataset[real] + 1j * dataset[f"{name}_imag"]
        values.attrs = dict(dataset[real].attrs)
        dataset = dataset.drop_vars([real, f"{name}_imag"])
        dataset[name] = values.astype(np.complex64)
    return dataset


def tables(analysis: OrderAnalysis) -> dict[str, pd.DataFrame]:
    """Every result as a table whose first columns are the channel, its unit and the speed."""
    found = {
        "order_map": _map_table(analysis.order_map, "order", analysis.order_blocks),
        "frequency_map": _map_table(analysis.frequency_map, "frequency", analysis.frequency_blocks),
        "harmonics": _harmonic_table(analysis),
        "overall": _overall_table(analysis),
        "speed": pd.DataFrame(
            {
                "time_s": analysis.speed_profile["time"].values,
                "speed_rpm": analysis.speed_profile.values,
            }
        ),
    }
    if analysis.directional is not None:
        pair = analysis.directional.expand_dims(
            channel=[f"{analysis.attrs['directional_x']} / {analysis.attrs['directional_y']}"]
        ).assign_coords(unit=("channel", [analysis.directional.attrs["units"]]))
        found["directional"] = _map_table(pair, "directional_order", analysis.order_blocks)
    return found


def _map_table(values: xr.DataArray, axis: str, blocks: xr.DataArray) -> pd.DataFrame:
    columns = [f"{value:.6g}" for value in values[axis].values]
    frames = []
    measured = blocks.values > 0
    for channel in values["channel"].values:
        rows = values.sel(channel=channel)
        frame = pd.DataFrame(rows.values[measured], columns=columns)
        frame.insert(0, "blocks", blocks.values[measured])
        frame.insert(0, "speed_rpm", values["speed"].values[measured])
        frame.insert(0, "unit", str(rows["unit"].item()))
        frame.insert(0, "channel", str(channel))
        frames.append(frame)
    return pd.concat(frames, ignore_index=True)


def _harmonic_table(analysis: OrderAnalysis) -> pd.DataFrame:
    frames = []
    measured = analysis.order_blocks.values > 0
    for channel in analysis.channels:
        for order in analysis.harmonics["harmonic"].values:
            cut = analysis.harmonics.sel(channel=channel, harmonic=order).values[measured]
            band = analysis.order_slices.sel(channel=channel, harmonic=order).values[measured]
            frames.append(
                pd.DataFrame(
                    {
                        "channel": channel,
                        "unit": analysis.unit(channel),
                        "speed_rpm": analysis.harmonics["speed"].values[measured],
                        "order": order,
                        "amplitude": np.abs(cut),
                        "phase_deg": np.degrees(np.angle(cut)),
                        "slice": band,
                    }
                )
            )
    columns = ["channel", "unit", "speed_rpm", "order", "amplitude", "phase_deg", "slice"]
    return pd.concat(frames, ignore_index=True) if frames else pd.DataFrame(columns=columns)


def _overall_table(analysis: OrderAnalysis) -> pd.DataFrame:
    measured = analysis.order_blocks.values > 0
    frames = [
        pd.DataFrame(
            {
                "channel": channel,
                "unit": analysis.unit(channel),
                "speed_rpm": analysis.overall["speed"].values[measured],
                "overall_rms": analysis.overall.sel(channel=channel).values[measured],
            }
        )
        for channel in analysis.channels
    ]
    return pd.concat(frames, ignore_index=True)


def save_tables(analysis: OrderAnalysis, folder: str | Path, kind: str = "csv") -> list[Path]:
    with OutputFolder(folder) as output:
        write_tables(analysis, output, kind)
    return output.files


def write_tables(analysis: OrderAnalysis, output: OutputFolder, kind: str = "csv") -> None:
    """The tables into a folder that is being filled."""
    if kind not in ("csv", "parquet"):
        raise HarmotrackError(f"The kind of tables is {kind!r}, and it must be 'csv' or 'parquet'.")
    for name, table in tables(analysis).items():
        _write_table(table, output / f"{name}.{kind}")


def write_table(table: pd.DataFrame, path: str | Path) -> Path:
    """One table under a name that ends in .csv or .parquet."""
    with pending(path) as hidden:
        _write_table(table, hidden)
    return Path(path)


def _write_table(table: pd.DataFrame, path: Path) -> None:
    if path.suffix == ".csv":
        table.to_csv(path, index=False, float_format="%.7g")
        return
    if find_spec("pyarrow") is None:
        raise missing_package("Parquet files", "pyarrow", "parquet")
    table.to_parquet(path, index=False, engine="pyarrow")
