"""python -m harmotrack is the command line."""

from harmotrack.cli.main import main

main()
