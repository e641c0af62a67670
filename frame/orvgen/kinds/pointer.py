"""A stored counted pointer to an entity: compared, stored and notified
like any stored attribute, passed by const reference."""

from . import stored


class Emitter(stored.Emitter):
    kind = "pointer"
