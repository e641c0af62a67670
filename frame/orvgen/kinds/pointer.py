"""A stored counted pointer to an entity: compared, stored and notified
like any stored attribute, passed by const reference. Storing it counts the
target, whose class may be defined later in the header than the owner's:
the setter is defined after every class."""

from . import stored


class Emitter(stored.Emitter):
    kind = "pointer"
    in_class = False
