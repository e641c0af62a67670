"""The attribute emitters, one module per kind, chosen by the attribute's
kind from a table. A module here defines Emitter with `kind` (the model's
attribute kind it writes), entity(attr, owner) -> Sections and, when value
types may hold the kind, value(attr, owner) -> ValueSections. A new kind is
one new module; the table finds it."""

import importlib
import pkgutil

from .base import Sections, ValueSections, desc_row, echo  # noqa: F401

_SHARED = ("base", "collection")


def _table():
    table = {}
    for info in pkgutil.iter_modules(__path__):
        if info.name in _SHARED:
            continue
        mod = importlib.import_module(f"{__name__}.{info.name}")
        table[mod.Emitter.kind] = mod.Emitter()
    return table


EMITTERS = _table()


def emitter(a):
    """The emitter of an attribute's kind."""
    return EMITTERS[a.kind]


def entity_sections(a, owner):
    return emitter(a).entity(a, owner)


def value_sections(a, owner):
    e = emitter(a)
    if not hasattr(e, "value"):
        raise AssertionError(f"attribute kind {a.kind} does not apply to value types")
    return e.value(a, owner)
