"""The page's scripts, from their modules."""

from __future__ import annotations

import re
from functools import cache
from importlib.resources import files

_IMPORT = re.compile(r'^import \{([^}]*)\} from "\./(\w+)\.js";\n', re.MULTILINE)
_EXPORT = re.compile(r"^export ((?:async )?function|const|class) (\w+)", re.MULTILINE)


def asset(name: str) -> str:
    """The text of a file of the folder assets/."""
    return files("harmotrack.report").joinpath("assets", *name.split("/")).read_text("utf-8")


@cache
def bundle(entry: str) -> str:
    """One classic script from a module and all that it imports.

    A module of a page that came by mail can't be imported: a file has no origin. So each module
    becomes a function that returns its exports, and stands after those that it imports. The
    modules keep to one form: `import { a, b } from "./name.js";` and `export` before a function,
    constant or class.
    """
    parts: dict[str, str] = {}
    _add(entry, parts, ())
    body = "\n".join(parts.values())
    return f'"use strict";\n(() => {{\nconst modules = {{}};\n{body}\n}})();\n'


def _add(name: str, parts: dict[str, str], importers: tuple[str, ...]) -> None:
    if name in parts:
        return
    if name in importers:
        raise RuntimeError(f"The module {name}.js imports itself: {' -> '.join(importers)}.")
    source = asset(f"{name}.js")
    for imported in _IMPORT.finditer(source):
        _add(imported[2], parts, (*importers, name))
    exports = [match[2] for match in _EXPORT.finditer(source)]
    body = _IMPORT.sub(lambda match: f"const {{{match[1]}}} = modules.{match[2]};\n", source)
    body = _EXPORT.sub(r"\1 \2", body)
    parts[name] = f"modules.{name} = (() => {{\n{body}return {{ {', '.join(exports)} }};\n}})();"
