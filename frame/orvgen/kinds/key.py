"""A key attribute: set once by the constructor, read by its getter."""

from .. import names as N
from .base import dispatch_get, held, value_plain


class Emitter:
    kind = "key"

    def entity(self, a, o):
        s = held(a, o)
        s.dispatch.append(dispatch_get(a, N.member(a.name)))
        return s

    def value(self, a, o):
        return value_plain(a, o, writable=False)
