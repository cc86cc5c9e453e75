"""Hidden folders for files that are not whole yet, and what killed runs have left of them.

A run holds a lock in its folder (flock) for as long as it lives: what can be locked belongs to a
run that was killed, and goes. A lock is believed where this kernel gave it, which the name of the
folder tells: on a shared folder, that of another machine stays for a day after its last change, as
does one of a file system that has no locks.
"""

from __future__ import annotations

import fcntl
import os
import platform
import shutil
import tempfile
import time
from collections.abc import Iterator
from contextlib import contextmanager, suppress
from pathlib import Path

_PREFIX = ".harmotrack-"
_LOCK = ".lock"
_ABANDONED_SECONDS = 86400.0


@contextmanager
def unfinished(parent: Path) -> Iterator[Path]:
    """A hidden folder beside what will get its name there; gone at the end, whatever happens."""
    sweep(parent)
    hidden, lock = _locked_folder(parent)
    try:
        yield hidden
    finally:
        os.close(lock)  # some file systems keep the name of an open file
        shutil.rmtree(hidden, ignore_errors=True)


def contents(hidden: Path) -> list[Path]:
    """What was put into a hidden folder, by name."""
    return sorted(path for path in hidden.iterdir() if path.name != _LOCK)


def sweep(parent: Path) -> None:
    """Removes what killed runs have left in a folder, and nothing of those that are alive."""
    for hidden in parent.glob(f"{_PREFIX}*"):
        if hidden.is_dir() and not hidden.is_symlink():
            with suppress(OSError):  # it is gone meanwhile, or another user's
                _sweep(hidden)


def _locked_folder(parent: Path) -> tuple[Path, int]:
    while True:
        hidden = Path(tempfile.mkdtemp(prefix=f"{_PREFIX}{_kernel()}-", dir=parent))
        try:
            lock = os.open(hidden / _LOCK, os.O_CREAT | os.O_RDWR, 0o600)
        except FileNotFoundError:
            continue  # another run has swept it before the lock was there
        if _hold(lock) is not False and (hidden / _LOCK).exists():
            return hidden, lock
        os.close(lock)


def _sweep(hidden: Path) -> None:
    if not any(hidden.iterdir()):
        hidden.rmdir()  # of a run that lives, at worst: it makes another one
        return
    try:
        lock = os.open(hidden / _LOCK, os.O_RDWR)
    except FileNotFoundError:  # it comes before all else, so this one was being removed
        shutil.rmtree(hidden)
        return
    try:
        if _abandoned(hidden, lock):
            shutil.rmtree(hidden)
    finally:
        os.close(lock)


def _abandoned(hidden: Path, lock: int) -> bool:
    """Whether its run is gone; if so, the lock is ours now."""
    held = _hold(lock) if hidden.name.startswith(f"{_PREFIX}{_kernel()}-") else None
    if held is None:
        return time.time() - _last_change(hidden) > _ABANDONED_SECONDS
    return held


def _hold(lock: int) -> bool | None:
    """Whether the lock is ours now; None where the file system has none."""
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        return False
    except OSError:
        return None
    return True


def _last_change(folder: Path) -> float:
    return max(path.stat().st_mtime for path in [folder, *folder.rglob("*")])


def _kernel() -> str:
    """Names the running kernel, whose locks are seen by all of its processes."""
    try:
        return Path("/proc/sys/kernel/random/boot_id").read_text()[:8]
    except OSError:
        return "".join(c for c in platform.node() if c.isalnum())
