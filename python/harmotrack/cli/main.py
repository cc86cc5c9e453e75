"""The command `harmotrack`. Each subcommand loads what it needs when it runs, so that help and
completion answer at once."""

from __future__ import annotations

import sys
from collections.abc import Callable
from importlib import import_module
from typing import Any

import click

from harmotrack.errors import HarmotrackError

_COMMANDS = {
    "info": "Channels, rates, levels, and which channel is likely the tacho.",
    "analyze": "Pictures and tables of everything, into a folder.",
    "report": "One HTML file that shows everything in any browser.",
    "map": "One picture: the order map.",
    "orders": "The amplitudes and phases of orders over the speed.",
    "track": "The speed of a machine from one of its signals, without a tacho.",
    "simulate": "A machine that runs up through its resonances, with the truth about it.",
    "convert": "A recording from one kind of file to another.",
}

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
    """Runs the command and ends the process: 0; 2 after one sentence about bad input; 130 after an
    interrupt."""
    sys.exit(run(lambda: group.main(arguments, "harmotrack", standalone_mode=False)))


def run(action: Callable[[], Any]) -> int:
    try:
        action()
    except HarmotrackError as error:
        complain(str(error))
        return 2
    except click.exceptions.Exit as end:
        return end.exit_code
    except click.ClickException as error:
        complain(error.format_message())
        return 2
    except (KeyboardInterrupt, click.Abort):
        complain("interrupted; nothing was left half written.")
        return _INTERRUPTED
    except BrokenPipeError:
        sys.stderr.close()  # whoever read the output has enough of it
        return 0
    return 0


def complain(sentence: str) -> None:
    print(f"harmotrack: {sentence}", file=sys.stderr)
