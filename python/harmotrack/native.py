"""The module of C++, with the library that stands beside it."""

from pathlib import Path

from harmotrack import _native

_native.load_library(str(Path(_native.__file__).with_name("libharmotrack64.so")))

__all__ = ["_native"]
