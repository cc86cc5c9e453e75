"""Version of the package: that of the library in it, whose C header says it."""

from importlib.metadata import version

__version__ = version("harmotrack")
