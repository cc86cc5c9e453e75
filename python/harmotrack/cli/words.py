"""What the command line says: results on standard output, remarks on standard error."""

from __future__ import annotations

import json
import sys
from contextlib import suppress
from typing import Any


def note(sentence: str) -> None:
    with suppress(OSError):  # where nobody can read it, the results count
        print(sentence, file=sys.stderr, flush=True)


def as_json(value: Any) -> None:
    every_letter = str(getattr(sys.stdout, "encoding", "")).lower().startswith("utf")
    print(json.dumps(_plain(value), indent=2, ensure_ascii=not every_letter, allow_nan=False))


def _plain(value: Any) -> Any:
    """Without NumPy's types, and with null for what is no number."""
    if isinstance(value, dict):
        return {str(key): _plain(entry) for key, entry in value.items()}
    if isinstance(value, (list, tuple)):
        return [_plain(entry) for entry in value]
    if hasattr(value, "tolist"):
        return _plain(value.tolist())
    if isinstance(value, float) and value - value != 0.0:
        return None
    return value if isinstance(value, (str, int, float, bool, type(None))) else str(value)


def table(title: str, columns: list[str], rows: list[list[str]]) -> None:
    """Numbers to the right; as wide as the terminal, or as the contents in a pipe."""
    from rich.console import Console
    from rich.table import Table

    shown = Table(title=title, title_justify="left", title_style="bold")
    for k, column in enumerate(columns):
        shown.add_column(column, justify="left" if k == 0 else "right", overflow="fold")
    for row in rows:
        shown.add_row(*row)
    console = Console()
    if not console.is_terminal:
        console = Console(width=200)
    console.print(shown)
