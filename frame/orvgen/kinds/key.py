"""A key attribute: set once by the constructor, read by its getter."""

from .. import names as N
from ..writer import render
from .base import dispatch_get, held, value_plain

# A key that refers to an entity may be bound later (Orv::frame::attrKeyRef).
DISPATCH_REF = "case $id$: return Orv::frame::attrKeyRef(op, arg, $member$);"


class Emitter:
    kind = "key"

    def entity(self, a, o):
        s = held(a, o)
        if a.target is not None:
            s.dispatch.append(render(DISPATCH_REF, id=str(a.id), member=N.member(a.name)))
        else:
            s.dispatch.append(dispatch_get(a, N.member(a.name)))
        return s

    def value(self, a, o):
        return value_plain(a, o, writable=False)
