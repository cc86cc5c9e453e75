"""Static analysis: clang-tidy, and only where something changed.

    python3 scripts/tidy.py [--tests] build/release

Without --tests, all sources but those below tests/; with it, these alone. The folder must be built:
its compile commands say which files there are and how they are compiled, ninja's record which
headers each of them reads. A file that was found clean is remembered, in the user's cache folder, by
the contents of everything that goes into the finding; so another clone of the repository profits
too. Ends with 1 if anything was found.
"""

import hashlib
import json
import os
import pathlib
import shlex
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from functools import lru_cache

TIDY = "clang-tidy-14"
ROOT = pathlib.Path(__file__).resolve().parent.parent


def clean_files_folder():
    cache = os.environ.get("XDG_CACHE_HOME") or os.path.join(os.path.expanduser("~"), ".cache")
    folder = pathlib.Path(cache, "harmotrack", "tidy")
    folder.mkdir(parents=True, exist_ok=True)
    return folder


def read_headers(build):
    """What each object file was made from: {object: [path, ...]}."""
    text = subprocess.run(["ninja", "-C", str(build), "-t", "deps"], check=True,
                          capture_output=True, encoding="utf-8").stdout
    headers = {}
    for paragraph in text.split("\n\n"):
        lines = paragraph.strip().splitlines()
        if lines and "(VALID)" in lines[0]:
            headers[lines[0].split(": #deps")[0]] = [line.strip() for line in lines[1:]]
    return headers


@lru_cache(maxsize=None)
def identity(path):
    """Name and content of a file of ours, or name, size and age of a system header."""
    if ROOT in path.parents:
        return f"{path.relative_to(ROOT)} {hashlib.sha256(path.read_bytes()).hexdigest()}"
    stat = path.stat()
    return f"{path} {stat.st_size} {stat.st_mtime_ns}"


def key_of(entry, headers, rules):
    """What a finding depends on, as a hash; None if the file's headers are not known."""
    words = shlex.split(entry["command"])
    read = headers.get(words[words.index("-o") + 1])
    if read is None:
        return None
    command = entry["command"].replace(str(ROOT), "")
    paths = {pathlib.Path(os.path.normpath(os.path.join(entry["directory"], header)))
             for header in read}
    whole = "\n".join([rules, command, *sorted(identity(path) for path in paths)])
    return hashlib.sha256(whole.encode()).hexdigest()


def findings(build, file):
    """The text of what clang-tidy finds in a file, empty if there is nothing."""
    run = subprocess.run([TIDY, "-p", str(build), "--quiet", file], capture_output=True,
                         encoding="utf-8", check=False)
    return "" if run.returncode == 0 else run.stdout + run.stderr


@lru_cache(maxsize=None)
def rules():
    """All that decides what is a finding, besides the sources."""
    version = subprocess.run([TIDY, "--version"], check=True, capture_output=True,
                             encoding="utf-8").stdout
    files = [ROOT / folder / ".clang-tidy" for folder in (".", "src/autotracker", "tests")]
    return version + "".join(file.read_text(encoding="utf-8") for file in files)


def main(build, of_tests):
    entries = json.loads((build / "compile_commands.json").read_text(encoding="utf-8"))
    ours = {entry["file"]: entry for entry in entries if str(build) not in entry["file"]}
    sources = {file: entry for file, entry in ours.items()
               if ("tests" in pathlib.Path(file).relative_to(ROOT).parts) == of_tests}
    headers = read_headers(build)
    clean = clean_files_folder()
    keys = {file: key_of(entry, headers, rules()) for file, entry in sources.items()}
    pending = [file for file, key in keys.items() if key is None or not (clean / key).exists()]

    failed = 0
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        for file, text in zip(pending, pool.map(lambda file: findings(build, file), pending)):
            if text:
                failed += 1
                print(text, flush=True)
            elif keys[file]:
                (clean / keys[file]).touch()
    print(f"clang-tidy: {len(sources) - failed} files clean, {failed} with findings; "
          f"{len(pending)} looked at, {len(sources) - len(pending)} unchanged.")
    return 1 if failed else 0


if __name__ == "__main__":
    *options, folder = sys.argv[1:]
    sys.exit(main(pathlib.Path(folder).resolve(), of_tests="--tests" in options))
