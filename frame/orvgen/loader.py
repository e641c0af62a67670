"""Reads model files and resolves them, imports first."""

import os

from .errors import ModelError
from .model import resolve
from .parser import parse_text

# The unit declaring the platform's value types. A model names them without
# importing it; it is read when a model first names a type found nowhere else.
PLATFORM_UNIT = "Platform"
# Where the platform unit is when no unit folder or --root holds it: the
# tree this generator belongs to.
DEFAULT_PLATFORM = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "platform",
                                PLATFORM_UNIT + ".model")


def load(path, import_paths=(), folder=None, _cache=None, roots=(), read=None):
    """Resolves the model file at path. An imported unit's model file is the
    one given in import_paths, else <Unit>.model in a folder next to the
    importing file's folder or below one of roots. read, when given, collects
    the path of every model file read (for the build's depfile)."""
    cache = {} if _cache is None else _cache
    imports = []
    by_unit = {}
    for ip in import_paths:
        u = _load_one(ip, cache, roots)
        by_unit[u.name] = u
    text, syn = _read(path)
    loading = [os.path.abspath(path)]
    for name, pos in syn.imports:
        if name not in by_unit:
            found = _find_unit_file(path, name, roots)
            if found is None:
                raise ModelError([f"{pos}: error: cannot find the model file of unit '{name}'"])
            by_unit[name] = _load_one(found, cache, roots, loading, pos)
        imports.append(by_unit[name])
    unit = resolve(syn, text.split("\n"), imports, folder or os.path.basename(os.path.dirname(os.path.abspath(path))),
                   _platform(path, syn, cache, roots))
    if read is not None:
        read.extend([os.path.abspath(path)] + sorted(cache))
    return unit


def default_platform():
    """The platform unit of this generator's tree (for callers resolving a
    model text of their own)."""
    return _load_one(DEFAULT_PLATFORM, {})


def _read(path):
    """(text, syntax tree) of a model file whose unit is named as the file."""
    try:
        with open(path, encoding="utf-8") as f:
            text = f.read()
    except (OSError, UnicodeDecodeError) as e:
        raise ModelError([f"{_display(path)}: error: cannot read the model file: {getattr(e, 'strerror', None) or e}"])
    syn = parse_text(text, _display(path))
    stem = os.path.splitext(os.path.basename(path))[0]
    if syn.unit is not None and syn.unit != stem:
        # The build names the outputs after the file, the generator after the unit.
        raise ModelError([f"{syn.unit_pos}: error: unit '{syn.unit}' is declared in {os.path.basename(path)}; "
                          f"its file is {syn.unit}.model"])
    return text, syn


def _load_one(path, cache, roots=(), loading=(), import_pos=None):
    """The resolved unit of a model file imported at import_pos by the files
    being loaded (loading, outermost first)."""
    key = os.path.abspath(path)
    if key in loading:
        cycle = [os.path.splitext(os.path.basename(p))[0] for p in loading[loading.index(key):]]
        raise ModelError([f"{import_pos}: error: units import each other: {' -> '.join(cycle + [cycle[0]])}"])
    if key not in cache:
        text, syn = _read(path)
        deps = []
        for name, pos in syn.imports:
            sibling = _find_unit_file(path, name, roots)
            if sibling is None:
                raise ModelError([f"{pos}: error: cannot find the model file of unit '{name}'"])
            deps.append(_load_one(sibling, cache, roots, list(loading) + [key], pos))
        folder = os.path.basename(os.path.dirname(os.path.abspath(path)))
        cache[key] = resolve(syn, text.split("\n"), deps, folder, _platform(path, syn, cache, roots))
    return cache[key]


def _platform(path, syn, cache, roots):
    """Loads the platform unit for a model that names its types without
    importing it; None for the platform unit itself."""
    if syn.unit == PLATFORM_UNIT:
        return None

    def load_platform():
        found = _find_unit_file(path, PLATFORM_UNIT, roots)
        if found is None and os.path.isfile(DEFAULT_PLATFORM):
            found = DEFAULT_PLATFORM
        return _load_one(found, cache, roots) if found else None

    return load_platform


def _find_unit_file(from_path, unit, roots=()):
    """<unit>.model in a child folder of the importing file's grandparent
    (its sibling unit folders) or of one of roots."""
    seen = set()
    for root in [os.path.dirname(os.path.dirname(os.path.abspath(from_path)))] + [os.path.abspath(r) for r in roots]:
        if root in seen or not os.path.isdir(root):
            continue
        seen.add(root)
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
