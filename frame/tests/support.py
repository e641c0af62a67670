"""Helpers shared by the generator's tests: resolving a model text and
collecting its diagnostics."""

import os
import sys
import textwrap

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.dirname(HERE))

from orvgen import emit  # noqa: E402
from orvgen.errors import ModelError  # noqa: E402
from orvgen.loader import default_platform  # noqa: E402
from orvgen.model import resolve  # noqa: E402
from orvgen.parser import parse_text  # noqa: E402

GOLDEN = os.path.join(HERE, "golden")


def model(text, path="m/T.model", imports=()):
    """The unit of a model text (dedented), with the platform's types."""
    text = textwrap.dedent(text)
    return resolve(parse_text(text, path), text.split("\n"), list(imports), "m", default_platform)


def diagnostics(text):
    try:
        model(text)
    except ModelError as e:
        return e.diagnostics
    raise AssertionError("model was accepted")


def generate(text):
    """The generated files of a model text: {name: text}."""
    return emit.emit_unit(model(text))
