#!/usr/bin/env python3
"""Puts FFTW for Windows, as the tests need it, where it is asked for.

    windows_fftw.py CACHE_FOLDER DLL

The file comes out of a Python package that ships it; the package is downloaded once, into the cache
folder, and recognised by its checksum.
"""
import pathlib
import shutil
import subprocess
import sys
import zipfile

REQUIREMENT = pathlib.Path(__file__).with_suffix(".txt")
MEMBER = "pyfftw/libfftw3-3.dll"


def package(cache):
    """The downloaded package, checked against the checksum of the requirement."""
    subprocess.run(
        [
            sys.executable, "-m", "pip", "download", "--disable-pip-version-check", "--quiet",
            "--no-deps", "--only-binary=:all:", "--platform=win_amd64", "--python-version=3.11",
            "--require-hashes", f"--requirement={REQUIREMENT}", f"--dest={cache}",
        ],
        check=True,
    )
    (wheel,) = cache.glob("pyfftw-*.whl")
    return wheel


def main():
    cache, target = map(pathlib.Path, sys.argv[1:])
    cached = cache / target.name
    if not cached.exists():
        cache.mkdir(parents=True, exist_ok=True)
        part = cached.with_suffix(".part")
        with zipfile.ZipFile(package(cache)) as wheel:
            part.write_bytes(wheel.read(MEMBER))
        part.replace(cached)
    shutil.copyfile(cached, target)


if __name__ == "__main__":
    main()
