"""Diagnostics pinned to file:line:col."""

from dataclasses import dataclass


@dataclass(frozen=True)
class Pos:
    file: str
    line: int
    col: int

    def __str__(self):
        return f"{self.file}:{self.line}:{self.col}"


class ModelError(Exception):
    """One or more errors in a model file; str() gives one diagnostic per line."""

    def __init__(self, diagnostics):
        self.diagnostics = list(diagnostics)
        super().__init__("\n".join(self.diagnostics))


class Diagnostics:
    """Collects errors so one run reports all of them."""

    def __init__(self):
        self.items = []

    def error(self, pos, message):
        self.items.append(f"{pos}: error: {message}")

    def check(self):
        if self.items:
            raise ModelError(self.items)
