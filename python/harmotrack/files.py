"""Files that appear under their names whole, or not at all."""

from __future__ import annotations

import ctypes
import os
import shutil
import signal
import threading
from collections.abc import Iterator
from contextlib import AbstractContextManager, ExitStack, contextmanager, suppress
from pathlib import Path
from types import FrameType

from harmotrack.errors import HarmotrackError, reason
from harmotrack.unfinished import contents, unfinished


class OutputFolder:
    """Collects files in a hidden folder beside their final place, and gives all of them their
    names at the end of the `with` block; an exception or an interrupt leaves nothing behind.

        with OutputFolder("results") as output:
            write(output / "overall.csv")

    An OSError within the block, as on a full disk, becomes a HarmotrackError.
    """

    def __init__(self, folder: str | Path) -> None:
        self.folder = Path(folder)
        self.files: list[Path] = []

    def __enter__(self) -> OutputFolder:
        self._collecting: AbstractContextManager[None] = self._collect()
        self._collecting.__enter__()
        return self

    def __truediv__(self, name: str) -> Path:
        """Where to write the file of a name for now."""
        return self._hidden / name

    def __exit__(self, *raised: object) -> None:
        self._collecting.__exit__(*raised)  # type: ignore[arg-type]

    @contextmanager
    def _collect(self) -> Iterator[None]:
        made: list[Path] = []
        try:
            with told(f"No files can be put into the folder {self.folder}"):
                self.check()
                self._make(made)
                with unfinished(self.folder) as self._hidden:
                    yield
                    self._name()
                    made.clear()
        finally:
            for folder in reversed(made):
                with suppress(OSError):  # someone else has put something there
                    folder.rmdir()

    def _make(self, made: list[Path]) -> None:
        for parent in [*reversed(self.folder.parents), self.folder]:
            if not parent.exists():
                parent.mkdir()
                made.append(parent)

    def check(self) -> None:
        """Raises HarmotrackError if a file stands in the way of the folder."""
        there = next(path for path in [self.folder, *self.folder.parents] if path.exists())
        if not there.is_dir():
            raise HarmotrackError(f"{there} is no folder, so no files can be put into it.")

    def _name(self) -> None:
        with uninterrupted():
            for pending in contents(self._hidden):
                self.files.append(replace(pending, self.folder / pending.name))


@contextmanager
def pending(path: str | Path) -> Iterator[Path]:
    """A place to write a file, or a folder such as a Zarr store, until it is whole."""
    with pending_together(path) as (hidden,):
        yield hidden


@contextmanager
def pending_together(*paths: str | Path) -> Iterator[list[Path]]:
    """The same for files that belong together: they get their names when all are whole.

    An OSError within the block, as on a full disk, becomes a HarmotrackError.
    """
    targets = [Path(path) for path in paths]
    check_places(*targets)
    names = " and ".join(map(str, targets))
    with told(f"{names} can't be written"), ExitStack() as folders:
        hidden = [
            folders.enter_context(unfinished(target.parent)) / target.name for target in targets
        ]
        yield hidden
        with uninterrupted():
            for source, target in zip(hidden, targets, strict=True):
                replace(source, target)


def check_places(*paths: Path) -> None:
    """Raises HarmotrackError if files have no folder to stand in or no name that the system takes,
    before the work of making them is done."""
    for path in paths:
        with told(f"{path} can't be written"), suppress(FileNotFoundError):
            if not path.parent.is_dir():
                raise HarmotrackError(f"There is no folder {path.parent} to put {path.name} into.")
            path.lstat()


@contextmanager
def told(what: str) -> Iterator[None]:
    """Makes a sentence of what the system refuses within the block."""
    try:
        yield
    except OSError as error:
        raise HarmotrackError(f"{what}: {reason(error)}.") from error


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
    with told(f"{target} can't be written"):
        if source.is_dir() and target.is_dir():
            _replace_folder(source, target)
        else:
            source.replace(target)
    return target


def _replace_folder(source: Path, target: Path) -> None:
    """In one step where the system can, so that a run killed amid it leaves the old one or the
    new one; elsewhere the old one stands beside, as .former, for a moment."""
    if not _exchanged(source, target):
        former = target.with_name(f"{target.name}.former")
        shutil.rmtree(former, ignore_errors=True)
        target.rename(former)
        source.rename(target)
        shutil.rmtree(former)


def _exchanged(source: Path, target: Path) -> bool:
    here, exchange = -100, 2  # AT_FDCWD and RENAME_EXCHANGE of Linux
    try:
        renameat2 = ctypes.CDLL(None).renameat2
    except AttributeError:
        return False
    return bool(renameat2(here, os.fsencode(source), here, os.fsencode(target), exchange) == 0)
