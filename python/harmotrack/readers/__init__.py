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

from dataclasses import dataclass, replace
from importlib import import_module
from importlib.util import find_spec
from pathlib import Path
from stat import S_ISBLK, S_ISCHR, S_ISDIR, S_ISFIFO, S_ISREG, S_ISSOCK

from harmotrack.checks import checked_path
from harmotrack.errors import HarmotrackError, missing_package
from harmotrack.readers.apart import call
from harmotrack.readers.assembly import ReadOptions
from harmotrack.recording import Recording
from harmotrack.settings import check_choice


@dataclass(frozen=True)
class _Kind:
    format: str
    title: str
    suffixes: tuple[str, ...]
    signature: bytes  #: what such files begin with
    module: str
    package: str
    extra: str
    apart: bool = False  #: in a process of its own, as the library may crash or hang


_KINDS = (
    _Kind("wav", "Sound files", (".wav", ".wave"), b"RIFF", "audio", "soundfile", "all"),
    _Kind("flac", "Sound files", (".flac",), b"fLaC", "audio", "soundfile", "all"),
    _Kind("w64", "Sound files", (".w64",), b"riff\x2e\x91\xcf\x11", "audio", "soundfile", "all"),
    _Kind("aiff", "Sound files", (".aif", ".aiff", ".aifc"), b"FORM", "audio", "soundfile", "all"),
    _Kind("hdf5", "HDF5 files", (".h5", ".hdf5", ".hdf"), b"\x89HDF", "hdf5", "h5py", "all", True),
    _Kind("mat", "MATLAB files", (".mat",), b"MATLAB", "mat", "scipy", "mat", True),
    _Kind("tdms", "TDMS files", (".tdms",), b"TDSm", "tdms", "nptdms", "tdms", True),
    _Kind("mdf", "MDF files", (".mf4", ".mdf"), b"MDF ", "mdf", "asammdf", "mdf", True),
    _Kind(
        "parquet",
        "Parquet files",
        (".parquet", ".pq"),
        b"PAR1",
        "table",
        "pyarrow",
        "parquet",
        True,
    ),
    _Kind("uff", "UFF files", (".uff", ".unv"), b"    -1", "uff", "pyuff", "uff", True),
    _Kind("csv", "Tables", (".csv", ".txt", ".tsv"), b"", "table", "pandas", "all"),
)

#: What read() can be told that a file is.
FORMATS = tuple(kind.format for kind in _KINDS)


def read(
    path: str | Path,
    *,
    rate: float | None = None,
    time: str | None = None,
    time_unit: str | None = None,
    units: dict[str, str] | None = None,
    full_scale: float | None = None,
    in_memory: bool = True,
    format: str | None = None,
) -> Recording:
    """Reads all channels of a file.

    Parameters
    ----------
    rate
        Samples in a second, Hz, where the file does not say it or says it wrong: it wins over the
        file's own rate, and over the steps of its time stamps.
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
    format
        One of FORMATS, where neither what the file begins with nor the end of its name tells what
        it is.

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
    options = ReadOptions(rate, time, time_unit, dict(units or {}), full_scale, in_memory, format)
    kind = kind_of(path, format)
    options = replace(options, format=kind.format)
    if find_spec(kind.package) is None:
        raise missing_package(kind.title, kind.package, kind.extra)
    try:
        recording = _read(path, options, kind)
    except HarmotrackError as error:
        if path.name in str(error):
            raise
        raise type(error)(f"{path}: {error}") from error
    except MemoryError as error:
        raise HarmotrackError(f"{path} is larger than the memory.") from error
    except Exception as error:
        raise HarmotrackError(
            f"{path} can't be read as {_article(kind.title)}, it may be cut or damaged: "
            f"{' '.join(str(error).split()).rstrip('.') or type(error).__name__}."
        ) from error
    return _with_units(recording, options)


def _read(path: Path, options: ReadOptions, kind: _Kind) -> Recording:
    module = f"harmotrack.readers.{kind.module}"
    if kind.apart:
        recording: Recording = call(f"{module}:read", path, options)
    else:
        recording = import_module(module).read(path, options)
    return recording


def kind_of(path: Path, told: str | None = None) -> _Kind:
    """As told; or by what the file begins with; by its name where that does not tell; or a table,
    if it is a text with rows of numbers."""
    check_is_file(path)
    if told is not None:
        check_choice("format", told, FORMATS)
        return next(kind for kind in _KINDS if kind.format == told)
    try:
        with path.open("rb") as file:
            head = file.read(16)
    except OSError as error:
        raise HarmotrackError(f"{path} can't be opened: {str(error.strerror).lower()}.") from error
    if not head:
        raise HarmotrackError(f"{path} is empty.")
    named = next((kind for kind in _KINDS if path.suffix.lower() in kind.suffixes), None)
    if named is not None and named.module == "mat":
        return named  # of which version 7.3 begins like HDF5
    for kind in _KINDS:
        if kind.signature and head.lstrip(b"\r\n").startswith(kind.signature):
            return kind
    return named or _table(path)


def _table(path: Path) -> _Kind:
    from harmotrack.readers.table import is_table

    if not is_table(path):
        known = sorted({suffix for kind in _KINDS for suffix in kind.suffixes})
        raise HarmotrackError(
            f"{path} is of no known kind; names that can be read end in {', '.join(known)}, or say "
            f"which it is (format): {', '.join(FORMATS)}."
        )
    return next(kind for kind in _KINDS if kind.format == "csv")


def check_is_file(path: Path) -> None:
    """A HarmotrackError if nothing stands there, or something that could be read without end."""
    try:
        mode = path.stat().st_mode
    except OSError as error:
        if path.is_symlink() or not isinstance(error, FileNotFoundError | NotADirectoryError):
            reason = str(error.strerror).lower()
            raise HarmotrackError(f"{path} can't be opened: {reason}.") from error
        raise HarmotrackError(f"There is no file {path}.") from error
    except ValueError as error:
        raise HarmotrackError(f"There is no file {str(path)!r}.") from error
    if not S_ISREG(mode):
        what = next((words for is_one, words in _NO_FILES if is_one(mode)), "no file")
        raise HarmotrackError(f"{path} is {what}, and it must be a file.")


_NO_FILES = (
    (S_ISDIR, "a folder"),
    (S_ISFIFO, "a pipe"),
    (S_ISSOCK, "a socket"),
    (S_ISCHR, "a device"),
    (S_ISBLK, "a device"),
)


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
