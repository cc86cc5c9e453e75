"""The command `harmotrack`. Each subcommand loads what it needs when it runs, so that help and
completion answer at once."""

from __future__ import annotations

import errno
import io
import sys
from collections.abc import Callable
from contextlib import suppress
from importlib import import_module
from typing import Any

import click

from harmotrack.cli import words
from harmotrack.errors import HarmotrackError, reason

_COMMANDS = {
    "info": "List the channels of a recording, and which one is likely the tacho.",
    "analyze": "Write pictures and tables of everything into a folder.",
    "report": "Write one HTML file that shows everything in any browser.",
    "map": "Draw one picture, the order map or another one.",
    "orders": "List the amplitudes and phases of orders over the speed.",
    "track": "Tell the speed of a machine from one of its signals, without a tacho.",
    "simulate": "Simulate a machine that runs up through its resonances.",
    "convert": "Write a recording as another kind of file.",
}

_UNREAD = 1
_REFUSED = 2
_INTERRUPTED = 130


class _Commands(click.Group):
    """Knows the names and the purposes of the subcommands before it loads one."""

    def list_commands(self, context: click.Context) -> list[str]:
        return list(_COMMANDS)

    def get_command(self, context: click.Context, name: str) -> click.Command | None:
        if name not in _COMMANDS:
            return None
        command: click.Command = import_module(f"harmotrack.cli.{name}").command
        return command

    def format_commands(self, context: click.Context, formatter: click.HelpFormatter) -> None:
        with formatter.section("Commands"):
            formatter.write_dl(list(_COMMANDS.items()))


def _show_version(context: click.Context, _parameter: click.Parameter, asked: bool) -> None:
    if not asked or context.resilient_parsing:
        return
    from harmotrack.native import _native
    from harmotrack.version import __version__

    click.echo(f"harmotrack, version {__version__}")
    try:
        click.echo("Fourier transforms by {}, {}".format(*_native.transform_in_use()))
    except RuntimeError as error:
        click.echo(f"No Fourier transforms: {error}")
    context.exit()


@click.group(
    cls=_Commands,
    context_settings={"help_option_names": ["-h", "--help"]},
    epilog='Completion in bash: eval "$(_HARMOTRACK_COMPLETE=bash_source harmotrack)"',
)
@click.option(
    "--version",
    is_flag=True,
    is_eager=True,
    expose_value=False,
    callback=_show_version,
    help="Show the version, and what does the Fourier transforms, and exit.",
)
def group() -> None:
    """Order analysis of rotating machinery."""


def main(arguments: list[str] | None = None) -> None:
    """Runs the command and ends the process: 0; 2 after one sentence about bad input, or about what
    the system refuses; 130 after an interrupt; 1 without a word where nobody reads the output any
    more."""
    if isinstance(sys.stdout, io.TextIOWrapper):  # what it has no letters for is no reason to fail
        sys.stdout.reconfigure(errors="backslashreplace")
    sys.exit(run(lambda: group.main(arguments, "harmotrack", standalone_mode=False)))


def run(action: Callable[[], Any]) -> int:
    try:
        action()
        _flush_output()
    except click.exceptions.Exit as end:
        return end.exit_code
    except BrokenPipeError:
        _drop_output()
        return _UNREAD
    except (KeyboardInterrupt, click.Abort):
        complain("interrupted; nothing was left half written.")
        return _INTERRUPTED
    except (HarmotrackError, click.ClickException, MemoryError, OSError) as error:
        if isinstance(error, OSError) and not error.filename:
            _drop_output()
        complain(_sentence(error))
        return _REFUSED
    return 0


def complain(sentence: str) -> None:
    words.note(f"harmotrack: {sentence}")


def _sentence(error: Exception) -> str:
    if isinstance(error, click.ClickException):
        return error.format_message()
    if isinstance(error, MemoryError):
        return "The memory is too small for this: take fewer channels, or a shorter recording."
    if isinstance(error, OSError):
        return f"{error.filename or 'Standard output'} can't be used: {reason(error)}."
    return str(error)


def _flush_output() -> None:
    """What the system refuses shows here, and not when the interpreter ends."""
    if sys.stdout is None:  # it was closed before the start
        raise OSError(errno.EBADF, "closed")
    sys.stdout.flush()


def _drop_output() -> None:
    """Else the interpreter would try it once more, and tell the whole story."""
    if sys.stdout is not None:
        with suppress(OSError):
            sys.stdout.close()
