"""Reads model files and resolves them, imports first."""

import os

from .errors import ModelError
from .model import resolve
from .parser import parse_text


def load(path, import_paths=(), folder=None, _cache=None):
    cache = {} if _cache is None else _cache
    imports = []
    by_unit = {}
    for ip in import_paths:
        u = _load_one(ip, cache)
        by_unit[u.name] = u
    with open(path, encoding="utf-8") as f:
        text = f.read()
    syn = parse_text(text, _display(path))
    for name, pos in syn.imports:
        if name not in by_unit:
            raise ModelError([f"{pos}: error: import of unit '{name}' whose model file was not given"])
        imports.append(by_unit[name])
    return resolve(syn, text.split("\n"), imports, folder or os.path.basename(os.path.dirname(os.path.abspath(path))))


def _load_one(path, cache):
    key = os.path.abspath(path)
    if key not in cache:
        with open(path, encoding="utf-8") as f:
            text = f.read()
        syn = parse_text(text, _display(path))
        deps = []
        for name, pos in syn.imports:
            sibling = _find_unit_file(path, name)
            if sibling is None:
                raise ModelError([f"{pos}: error: cannot find the model file of unit '{name}'"])
            deps.append(_load_one(sibling, cache))
        folder = os.path.basename(os.path.dirname(os.path.abspath(path)))
        cache[key] = resolve(syn, text.split("\n"), deps, folder)
    return cache[key]


def _find_unit_file(from_path, unit):
    root = os.path.dirname(os.path.dirname(os.path.abspath(from_path)))
    for d in sorted(os.listdir(root)):
        cand = os.path.join(root, d, unit + ".model")
        if os.path.isfile(cand):
            return cand
    return None


def _display(path):
    """Paths in diagnostics and banners are relative to the working directory
    when below it, so output does not depend on where the tree lives."""
    ap = os.path.abspath(path)
    cwd = os.getcwd()
    if ap.startswith(cwd + os.sep):
        return os.path.relpath(ap, cwd)
    return path
