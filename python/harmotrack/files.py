"""Files that appear under their names whole, or not at all."""

from __future__ import annotations

import shutil
import signal
import tempfile
import threading
from collections.abc import Callable, Iterator
from contextlib import contextmanager, suppress
from pathlib import Path
from types import FrameType
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
                with uninterrupted():
                    for pending in sorted(self._hidden.iterdir()):
                        self.files.append(replace(pending, self.folder / pending.name))
                self._made = []
        finally:
            shutil.rmtree(self._hidden, ignore_errors=True)
            for folder in reversed(self._made):
                with suppress(OSError):  # someone else has put something there
                    folder.rmdir()


@contextmanager
def pending(path: str | Path) -> Iterator[Path]:
    """A place to write a file, or a folder such as a Zarr store, until it is whole."""
    with pending_together(path) as (hidden,):
        yield hidden


@contextmanager
def pending_together(*paths: str | Path) -> Iterator[list[Path]]:
    """The same for files that belong together: they get their names when all are whole."""
    hidden: list[Path] = []
    targets = [Path(path) for path in paths]
    try:
        for target in targets:
            hidden.append(_hidden_beside(target) / target.name)
        yield hidden
        with uninterrupted():
            for source, target in zip(hidden, targets, strict=True):
                replace(source, target)
    finally:
        for source in hidden:
            shutil.rmtree(source.parent, ignore_errors=True)


def _hidden_beside(path: Path) -> Path:
    if not path.parent.is_dir():
        raise HarmotrackError(f"There is no folder {path.parent} to put {path.name} into.")
    return Path(
        _or_sentence(
            f"No files can be put into the folder {path.parent}",
            lambda: tempfile.mkdtemp(prefix=".harmotrack-", dir=path.parent),
        )
    )


@contextmanager
def uninterrupted() -> Iterator[None]:
    """An interrupt waits until the block is done: for the moment in which files get their names."""
    usual = signal.getsignal(signal.SIGINT)
    in_main_thread = threading.current_thread() is threading.main_thread()
    if not in_main_thread or not callable(usual):
        yield  # interrupts come to the main thread alone, and this one may ignore them
        return
    came: list[tuple[int, FrameType | None]] = []
    signal.signal(signal.SIGINT, lambda number, frame: came.append((number, frame)))
    try:
        yield
    finally:
        signal.signal(signal.SIGINT, usual)
    if came:
        usual(*came[0])


def replace(source: Path, target: Path) -> Path:
    """Gives a file or a folder the name of another, whether that is there or not."""
    if target.is_dir() and source.is_dir():
        shutil.rmtree(target)
    _or_sentence(f"{target} can't be written", lambda: source.replace(target))
    return target


def _or_sentence(what: str, action: Callable[[], T]) -> T:
    try:
        return action()
    except OSError as error:
        raise HarmotrackError(f"{what}: {(error.strerror or str(error)).lower()}.") from error
