"""Recordings from files, each kind read by the field's own library.

=======================  =======================  ==========  =================================
kind                     names                    library     extra to install
=======================  =======================  ==========  =================================
sound                    .wav .flac .w64 .aiff    soundfile   none
HDF5                     .h5 .hdf5                h5py        none
tables                   .csv .txt .tsv           pandas      none
Parquet                  .parquet                 pyarrow     harmotrack[parquet]
MATLAB 5 and 7.3         .mat                     scipy       harmotrack[mat]
universal file 58, 58b   .uff .unv                pyuff       harmotrack[uff]
TDMS                     .tdms                    npTDMS      harmotrack[tdms]
MDF 4                    .mf4 .mdf                asammdf     harmotrack[mdf]
=======================  =======================  ==========  =================================
"""

from __future__ import annotations

from collections.abc import Callable
from dataclasses import dataclass, replace
from importlib import import_module
from importlib.util import find_spec
from pathlib import Path

from harmotrack.checks import checked_path
from harmotrack.errors import HarmotrackError, missing_package
from harmotrack.readers.assembly import ReadOptions
from harmotrack.recording import Recording


@dataclass(frozen=True)
class _Kind:
    title: str
    suffixes: tuple[str, ...]
    signature: bytes  #: what such files begin with
    module: str
    package: str
    extra: str


_KINDS = (
    _Kind("Sound files", (".wav", ".wave"), b"RIFF", "audio", "soundfile", "all"),
    _Kind("Sound files", (".flac",), b"fLaC", "audio", "soundfile", "all"),
    _Kind("Sound files", (".w64",), b"riff\x2e\x91\xcf\x11", "audio", "soundfile", "all"),
    _Kind("Sound files", (".aif", ".aiff", ".aifc"), b"FORM", "audio", "soundfile", "all"),
    _Kind("HDF5 files", (".h5", ".hdf5", ".hdf"), b"\x89HDF", "hdf5", "h5py", "all"),
    _Kind("MATLAB files", (".mat",), b"MATLAB", "mat", "scipy", "mat"),
    _Kind("TDMS files", (".tdms",), b"TDSm", "tdms", "nptdms", "tdms"),
    _Kind("MDF files", (".mf4", ".mdf", ".dat"), b"MDF ", "mdf", "asammdf", "mdf"),
    _Kind("Parquet files", (".parquet", ".pq"), b"PAR1", "table", "pyarrow", "parquet"),
    _Kind("UFF files", (".uff", ".unv"), b"    -1", "uff", "pyuff", "uff"),
    _Kind("Tables", (".csv", ".txt", ".tsv"), b"", "table", "pandas", "all"),
)


def read(
    path: str | Path,
    *,
    rate: float | None = None,
    time: str | None = None,
    time_unit: str | None = None,
    units: dict[str, str] | None = None,
    full_scale: float | None = None,
    in_memory: bool = True,
) -> Recording:
    """Reads all channels of a file.

    Parameters
    ----------
    rate
        Samples in a second, where the file does not say it: Hz.
    time
        Name of the column or the channel that holds the time stamps, where it can't be told by its
        name. Stamps at irregular steps are brought to equal ones, which Recording.notes tells.
    time_unit
        "s", "ms", "us", "ns" or "min"; by default what the file says, or seconds.
    units
        Of channels by name, where the file says none.
    full_scale
        Of sound files: the value of a sample at full scale. By default, what the file of the same
        name with .json in its place says of its channels (number, name, unit, full_scale); or 1.
    in_memory
        False leaves the samples of a sound file where they are: what is done with the recording
        then reads them a block at a time, so that one of hours needs no more memory than one of
        minutes. Files of other kinds, and damaged ones, are read all the same.

    Returns
    -------
    Recording
        Samples are float64 in the unit of their channel. ``notes`` tell what was found and mended.

    Raises
    ------
    HarmotrackError
        There is no such file, it is of no known kind, it is damaged, nothing says its rate, or an
        option does not fit it; in one sentence.
    MissingPackageError
        The package that reads this kind is not installed; the sentence says how to get it.
    """
    path = checked_path(path)
    if not path.exists():
        raise HarmotrackError(f"There is no file {path}.")
    if path.is_dir():
        raise HarmotrackError(f"{path} is a folder, and a recording is a file.")
    options = ReadOptions(rate, time, time_unit, dict(units or {}), full_scale, in_memory)
    kind = _kind_of(path)
    if find_spec(kind.package) is None:
        raise missing_package(kind.title, kind.package, kind.extra)
    reader: Callable[[Path, ReadOptions], Recording] = import_module(
        f"harmotrack.readers.{kind.module}"
    ).read
    try:
        recording = reader(path, options)
    except HarmotrackError:
        raise
    except MemoryError as error:
        raise HarmotrackError(f"{path} is larger than the memory.") from error
    except Exception as error:
        raise HarmotrackError(
            f"{path} can't be read as {_article(kind.title)}, it may be cut or damaged: "
            f"{str(error).strip().rstrip('.') or type(error).__name__}."
        ) from error
    return _with_units(recording, options)


def _kind_of(path: Path) -> _Kind:
    """By what the file begins with; by its name where that does not tell."""
    with path.open("rb") as file:
        head = file.read(16)
    if not head:
        raise HarmotrackError(f"{path} is empty.")
    named = next((kind for kind in _KINDS if path.suffix.lower() in kind.suffixes), None)
    if named is not None and named.module == "mat":
        return named  # of which version 7.3 begins like HDF5
    for kind in _KINDS:
        if kind.signature and head.lstrip(b"\r\n").startswith(kind.signature):
            return kind
    if named is None:
        known = sorted({suffix for kind in _KINDS for suffix in kind.suffixes})
        raise HarmotrackError(
            f"{path} is of no known kind; names that can be read end in {', '.join(known)}."
        )
    return named


def _article(title: str) -> str:
    single = title.removesuffix("s")
    return f"{'an' if single[0] in 'AEIOUHM' and single.split()[0].isupper() else 'a'} {single}"


def _with_units(recording: Recording, options: ReadOptions) -> Recording:
    for name in options.units:
        recording[name]  # a sentence if there is none
    return replace(
        recording,
        channels=tuple(
            channel.with_unit(options.units.get(channel.name, channel.unit))
            for channel in recording
        ),
    )
