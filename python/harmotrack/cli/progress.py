"""A progress bar on standard error, where someone looks at it."""

from __future__ import annotations

import sys
from collections.abc import Callable, Iterator
from contextlib import contextmanager


@contextmanager
def shown(title: str) -> Iterator[Callable[[float], object] | None]:
    """Gives a function of the share that is done, or None if nobody looks."""
    if sys.stderr is None or not sys.stderr.isatty():
        yield None
        return
    from rich.console import Console
    from rich.progress import Progress

    with Progress(console=Console(stderr=True), transient=True) as bar:
        task = bar.add_task(title, total=1.0)
        yield lambda share: bar.update(task, completed=share)
