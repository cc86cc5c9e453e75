"""Layers: no file includes or imports what stands above it.

    python3 scripts/layers.py

CONTRIBUTING.md has the table of rooms ("Who knows whom"): each row names a folder or a file, and the
rooms that it may use besides itself. The innermost row counts for a file. Prints each include or
import that the table does not allow, each file that stands in no room, each circle of files, and each
arrow of the table that nothing uses; ends with 1 if there is any.
"""

import ast
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
TABLE = "## Who knows whom"
INCLUDE = re.compile(r'^\s*#\s*include\s+["<]([^">]+)[">]', re.MULTILINE)
INCLUDE_FOLDERS = ("", "src", "include")
SUFFIXES = (".h", ".hpp", ".c", ".cpp", ".py")


def rooms_of(text):
    """Of the table: {room: rooms that it may use}."""
    rows = re.findall(r"^\| `([^`]+)` \|(.*)\|$", text.split(TABLE, 1)[1].split("\n## ")[0], re.M)
    return {room: re.findall(r"`([^`]+)`", may) for room, may in rows}


def room_of(path, rooms):
    """The innermost room that a file stands in, None if it stands in none."""
    inside = [room for room in rooms if path == room or path.startswith(room + "/")]
    return max(inside, key=len, default=None)


def included(path, files):
    """What a C or C++ file includes of this repository."""
    folders = (str(pathlib.PurePosixPath(path).parent), *INCLUDE_FOLDERS)
    for name in INCLUDE.findall((ROOT / path).read_text(encoding="utf-8")):
        places = [str(pathlib.PurePosixPath(folder, name)) for folder in folders]
        yield from [place for place in places if place in files][:1]


def imported(path, files):
    """What a file of the package imports of it, wherever in the file."""
    for node in ast.walk(ast.parse((ROOT / path).read_text(encoding="utf-8"))):
        if isinstance(node, ast.Import):
            names = [alias.name for alias in node.names]
        elif isinstance(node, ast.ImportFrom) and node.level == 0:
            names = [f"{node.module}.{alias.name}" for alias in node.names]
        else:
            continue
        for name in names:
            yield from module_file(name.split("."), files)


def module_file(parts, files):
    """The file of a module, or of the one that has the last part as a member; none of others."""
    if parts[:2] == ["harmotrack", "_native"]:
        return ["python/native/native.cpp"]
    for end in (len(parts), len(parts) - 1):
        stem = "/".join(("python", *parts[:end]))
        for place in (f"{stem}.py", f"{stem}/__init__.py"):
            if place in files:
                return [place]
    return []


def circles(arrows):
    """Circles of files that include or import each other."""
    graph = {}
    for one, other in arrows:
        graph.setdefault(one, []).append(other)
    done, found = set(), []

    def visit(node, way):
        if node in way:
            found.append(way[way.index(node) :])
        elif node not in done:
            for other in graph.get(node, ()):
                visit(other, [*way, node])
            done.add(node)

    for node in sorted(graph):
        visit(node, [])
    return found


def findings(rooms, files):
    arrows = []
    for path in sorted(files):
        if room_of(path, rooms) is None:
            continue
        uses = imported if path.endswith(".py") else included
        arrows += [(path, other) for other in dict.fromkeys(uses(path, files)) if other != path]
    used = set()
    for a, b in arrows:
        above, below = room_of(a, rooms), room_of(b, rooms)
        used.add((above, below))
        if below is None:
            yield f"{a} uses {b}, which stands in no room."
        elif above != below and below not in rooms[above]:
            yield f"{a} uses {b}: {above} may not know {below}."
    for circle in circles(arrows):
        yield f"A circle: {' -> '.join([*circle, circle[0]])}"
    for room, may in rooms.items():
        yield from (
            f"No file of {room} uses {other}, which the table allows."
            for other in may
            if (room, other) not in used
        )


def main():
    text = (ROOT / "CONTRIBUTING.md").read_text(encoding="utf-8")
    rooms = rooms_of(text)
    folders = {ROOT / room.split("/")[0] for room in rooms}
    files = {
        path.relative_to(ROOT).as_posix()
        for folder in folders
        for path in folder.rglob("*")
        if path.suffix in SUFFIXES
    }
    found = list(findings(rooms, files))
    print("\n".join(found) or "No include and no import climbs.")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
