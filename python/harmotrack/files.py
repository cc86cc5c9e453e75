"""Files that appear under their names whole, or not at all."""

from __future__ import annotations

import shutil
import tempfile
from collections.abc import Callable, Iterator
from contextlib import contextmanager
from pathlib import Path
from typing import TypeVar

from harmotrack.errors import HarmotrackError

T = TypeVar("T")


class OutputFolder:
    """Collects files in a hidden folder beside their final place, and gives all of them their
    names at the end of the `with` block; an exception or an interrupt leaves nothing behind.

        with OutputFolder("results") as output:
            write(output / "overall.csv")
    """

    def __init__(self, folder: str | Path) -> None:
        self.folder = Path(folder)
        self.files: list[Path] = []
        self._made: list[Path] = []

    def __enter__(self) -> OutputFolder:
        for parent in [*reversed(self.folder.parents), self.folder]:
            if not parent.exists():
                _or_sentence(f"The folder {parent} can't be made", parent.mkdir)
                self._made.append(parent)
        if not self.folder.is_dir():
            raise HarmotrackError(f"{self.folder} is no folder, so no files can be put into it.")
        self._hidden = Path(
            _or_sentence(
                f"No files can be put into the folder {self.folder}",
                lambda: tempfile.mkdtemp(prefix=".harmotrack-", dir=self.folder),
            )
        )
        return self

    def __truediv__(self, name: str) -> Path:
        """Where to write the file of a name for now."""
        return self._hidden / name

    def __exit__(self, kind: object, error: object, trace: object) -> None:
        try:
            if kind is None:
                for pending in sorted(self._hidden.iterdir()):
                    self.files.append(replace(pending, self.folder / pending.name))
        finally:
            shutil.rmtree(self._hidden, ignore_errors=True)
            if kind is not None:
                for folder in reversed(self._made):
                    folder.rmdir()


@contextmanager
def pending(path: str | Path) -> Iterator[Path]:
    """A place to write a file, or a folder such as a Zarr store, until it is whole."""
    path = Path(path)
    if not path.parent.is_dir():
        raise HarmotrackError(f"There is no folder {path.parent} to put {path.name} into.")
    hidden = Path(
        _or_sentence(
            f"No files can be put into the folder {path.parent}",
            lambda: tempfile.mkdtemp(prefix=".harmotrack-", dir=path.parent),
        )
    )
    try:
        yield hidden / path.name
        replace(hidden / path.name, path)
    finally:
        shutil.rmtree(hidden, ignore_errors=True)


def replace(source: Path, target: Path) -> Path:
    if target.is_dir() and source.is_dir():
        shutil.rmtree(target)
    _or_sentence(f"{target} can't be written", lambda: source.replace(target))
    return target


def _or_sentence(what: str, action: Callable[[], T]) -> T:
    try:
        return action()
    except OSError as error:
        raise HarmotrackError(f"{what}: {(error.strerror or str(error)).lower()}.") from error
