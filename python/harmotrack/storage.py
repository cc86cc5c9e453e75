"""Results to files and back, and as tables."""

from __future__ import annotations

import io
from importlib.util import find_spec
from pathlib import Path
from typing import TYPE_CHECKING, Any

import numpy as np
import pandas as pd
import xarray as xr

from harmotrack.amplitudes import with_amplitudes
from harmotrack.checks import checked_path
from harmotrack.errors import HarmotrackError, missing_package
from harmotrack.files import OutputFolder, pending
from harmotrack.order_analysis import OrderAnalysis
from harmotrack.readers import check_is_file
from harmotrack.readers.apart import call
from harmotrack.stored_results import check
from harmotrack.two_passes import TwoPasses

if TYPE_CHECKING:
    from numpy.typing import NDArray

#: Of the files; a reader refuses those of a later number.
FORMAT_VERSION = 1
_PASSES = ("rising", "falling")  #: groups of a file of both
_LEAST_GAP_TURNS = 1.5  #: elsewhere a turn lies between two speeds of a profile


def save(analysis: OrderAnalysis | TwoPasses, path: str | Path) -> Path:
    """Stores results under a name that ends in .nc or .zarr; two passes as groups of one file."""
    path = checked_path(path)
    _kind(path)
    with pending(path) as hidden:
        write_results(analysis, hidden)
    return path


def write_results(analysis: OrderAnalysis | TwoPasses, path: Path) -> None:
    """The same, without a care for what stands there or for a disk that is full amid it.

    All is built in memory first: the libraries of both kinds stand no error of the disk.
    """
    head = {"harmotrack_format": FORMAT_VERSION}
    groups = {"": xr.Dataset(attrs=head)}
    if isinstance(analysis, OrderAnalysis):
        groups = {"": analysis.dataset.assign_attrs(head)}
    else:
        groups |= {name: one.dataset for name, one in zip(_PASSES, analysis, strict=True)}
    split = {name: _split_complex(dataset) for name, dataset in groups.items()}
    if _kind(path) == "netcdf":
        path.write_bytes(_netcdf(split))
        return
    for key, value in _zarr(split).items():
        file = path / key
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_bytes(value)


def load(path: str | Path) -> OrderAnalysis | TwoPasses:
    """Reads what save() of OrderAnalysis or of TwoPasses stored, to the last bit.

    Raises HarmotrackError if there is no such file, or it holds something else.
    """
    path = checked_path(path)
    kind = _kind(path)
    if not path.is_dir() or kind == "netcdf":
        check_is_file(path)
    try:
        dataset, *passes = call("harmotrack.storage:read_groups", path, kind)
    except HarmotrackError:
        raise
    except Exception as error:
        raise HarmotrackError(_unreadable(path, error)) from error
    version = dataset.attrs.pop("harmotrack_format", None)
    if version is None or any("order_map" not in one for one in passes or [dataset]):
        raise HarmotrackError(f"{path} holds no results of an analysis.")
    if not isinstance(version, (int, np.integer)) or version > FORMAT_VERSION:
        raise HarmotrackError(
            f"{path} was written by a later version, {dataset.attrs.get('harmotrack')}; this one "
            "can't read it."
        )
    try:
        found = [OrderAnalysis(_completed(one)) for one in passes or [dataset]]
    except (HarmotrackError, KeyError, TypeError, ValueError) as error:
        raise HarmotrackError(_unreadable(path, error)) from error
    return TwoPasses(*found) if passes else found[0]


def _unreadable(path: Path, error: Exception) -> str:
    reason = " ".join(str(error).split()).rstrip(".")
    return f"{path} can't be read as the results of an analysis: {reason}."


def _completed(stored: xr.Dataset) -> xr.Dataset:
    """Checked; earlier versions stored neither the amplitudes of orders nor their coherence."""
    dataset = _join_complex(stored)
    check(dataset)
    both = {"coherence", "order_amplitudes"} <= set(dataset)
    return dataset if both else with_amplitudes(dataset)


def read_groups(path: Path, kind: str) -> list[xr.Dataset]:
    """The data set at the top of a file, and those of two passes if it holds such."""
    top = _read(path, kind)
    if top.attrs.get("harmotrack_format") and "order_map" not in top:
        return [top, *(_read(path, kind, name) for name in _PASSES)]
    return [top]


def _netcdf(groups: dict[str, xr.Dataset]) -> memoryview:
    import h5netcdf

    image = io.BytesIO()
    with h5netcdf.File(image, "w") as file:
        for name, dataset in groups.items():
            encoding = {
                key: {"zlib": True, "complevel": 3} for key, v in dataset.items() if v.size > 1000
            }
            place = file.create_group(name) if name else file
            dataset.dump_to_store(xr.backends.H5NetCDFStore(place), encoding=encoding)
    return image.getbuffer()


def _zarr(groups: dict[str, xr.Dataset]) -> dict[str, bytes]:
    """The files of a store by their paths in it."""
    store: dict[str, Any] = {}
    for name, dataset in groups.items():
        dataset.to_zarr(store, mode="a", consolidated=False, zarr_format=2, group=name or None)
    return {
        key: value if isinstance(value, bytes) else value.to_bytes() for key, value in store.items()
    }


def _read(path: Path, kind: str, group: str | None = None) -> xr.Dataset:
    if kind == "netcdf":
        with xr.open_dataset(path, engine="h5netcdf", group=group) as stored:
            return stored.load()
    with xr.open_zarr(path, consolidated=False, group=group) as stored:
        return stored.load()


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


def tables(analysis: OrderAnalysis | TwoPasses) -> dict[str, pd.DataFrame]:
    """Every result as a table whose first columns are the channel, its unit and the speed; of two
    passes with the pass before them."""
    if isinstance(analysis, OrderAnalysis):
        return {**_tables_of_speeds(analysis), **_tables_of_times(analysis)}
    both = {name: _tables_of_speeds(one) for name, one in zip(_PASSES, analysis, strict=True)}
    joined = {
        name: pd.concat(
            [both[one][name].assign(**{"pass": one}) for one in both], ignore_index=True
        )
        for name in both["rising"]
    }
    for table in joined.values():
        table.insert(0, "pass", table.pop("pass"))
    return {**joined, **_tables_of_times(analysis.rising)}


def _tables_of_speeds(analysis: OrderAnalysis) -> dict[str, pd.DataFrame]:
    found = {
        "order_map": _map_table(
            analysis.order_map, "order", analysis.measured, analysis.order_blocks
        ),
        "frequency_map": _map_table(
            analysis.frequency_map,
            "frequency",
            analysis.frequency_measured,
            analysis.frequency_blocks,
        ),
        "harmonics": _harmonic_table(analysis),
        "overall": _overall_table(analysis),
    }
    if analysis.directional is not None:
        pair = analysis.directional.expand_dims(
            channel=[f"{analysis.attrs['directional_x']} / {analysis.attrs['directional_y']}"]
        ).assign_coords(unit=("channel", [analysis.directional.attrs["units"]]))
        found["directional"] = _map_table(
            pair, "directional_order", analysis.measured, analysis.order_blocks
        )
    return found


def _tables_of_times(analysis: OrderAnalysis) -> dict[str, pd.DataFrame]:
    """Of what belongs to the whole recording."""
    found = {"speed": _speed_table(analysis.speed_profile)}
    if (rows := analysis.order_spectrogram) is not None:
        columns = [f"{order:.6g}" for order in rows["order"].values]
        frames = []
        for channel in analysis.channels:
            frame = pd.DataFrame(rows.sel(channel=channel).values, columns=columns)
            frame.insert(0, "speed_rpm", rows["block_speed"].values)
            frame.insert(0, "time_s", rows["block_time"].values)
            frame.insert(0, "unit", analysis.unit(channel))
            frame.insert(0, "channel", channel)
            frames.append(frame)
        found["order_spectrogram"] = pd.concat(frames, ignore_index=True)
    return found


def _speed_table(speed: xr.DataArray) -> pd.DataFrame:
    """A speed a turn; a row of speed 0 stands where the angle begins anew, so that nobody takes the
    shaft to turn there."""
    seconds, rpm = speed["time"].values, speed.values
    turns = np.diff(seconds) * (rpm[1:] + rpm[:-1]) / 120.0
    gaps = np.flatnonzero(turns > _LEAST_GAP_TURNS) + 1
    middles = (seconds[gaps] + seconds[gaps - 1]) / 2.0
    return pd.DataFrame(
        {"time_s": np.insert(seconds, gaps, middles), "speed_rpm": np.insert(rpm, gaps, 0.0)}
    )


def _map_table(
    values: xr.DataArray, axis: str, measured: NDArray[np.bool_], blocks: xr.DataArray
) -> pd.DataFrame:
    columns = [f"{value:.6g}" for value in values[axis].values]
    frames = []
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
    measured = analysis.measured
    for channel in analysis.channels:
        for order in analysis.harmonics["harmonic"].values:
            chosen = {"channel": channel, "harmonic": order}
            mean = analysis.harmonics.sel(chosen).values[measured]
            frames.append(
                pd.DataFrame(
                    {
                        "channel": channel,
                        "unit": analysis.unit(channel),
                        "speed_rpm": analysis.harmonics["speed"].values[measured],
                        "order": order,
                        "amplitude": analysis.order_amplitudes.sel(chosen).values[measured],
                        "phase_deg": np.degrees(np.angle(mean)),
                        "coherence": analysis.coherence.sel(chosen).values[measured],
                        "slice": analysis.order_slices.sel(chosen).values[measured],
                    }
                )
            )
    columns = ("channel", "unit", "speed_rpm", "order", "amplitude", "phase_deg", "coherence")
    empty = pd.DataFrame(columns=[*columns, "slice"])
    return pd.concat(frames, ignore_index=True) if frames else empty


def _overall_table(analysis: OrderAnalysis) -> pd.DataFrame:
    measured = analysis.frequency_measured
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


def save_tables(
    analysis: OrderAnalysis | TwoPasses, folder: str | Path, kind: str = "csv"
) -> list[Path]:
    """All tables or none; the files."""
    with OutputFolder(checked_path(folder)) as output:
        write_tables(analysis, output, kind)
    return output.files


def write_tables(
    analysis: OrderAnalysis | TwoPasses, output: OutputFolder, kind: str = "csv"
) -> None:
    """The tables into a folder that is being filled."""
    if kind not in ("csv", "parquet"):
        raise HarmotrackError(f"The kind of tables is {kind!r}, and it must be 'csv' or 'parquet'.")
    for name, table in tables(analysis).items():
        table_into(table, output / f"{name}.{kind}")


def write_table(table: pd.DataFrame, path: str | Path) -> Path:
    """One table under a name that ends in .csv or .parquet."""
    with pending(path) as hidden:
        table_into(table, hidden)
    return Path(path)


def table_into(table: pd.DataFrame, path: Path) -> None:
    """The same, without a care for what stands there or for a disk that is full amid it."""
    if path.suffix.lower() == ".csv":
        if "time_s" in table:  # turns can be told apart after a day
            table = table.assign(time_s=[f"{seconds:.10g}" for seconds in table["time_s"]])
        table.to_csv(path, index=False, float_format="%.7g")
        return
    if find_spec("pyarrow") is None:
        raise missing_package("Parquet files", "pyarrow", "parquet")
    table.to_parquet(path, index=False, engine="pyarrow")
