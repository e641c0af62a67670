"""A key attribute: set once by the constructor, read by its getter."""

from .. import names as N
from ..writer import render
from .base import Sections, desc_row, dispatch_get, echo, value_plain

GETTER = "$ret$ $name$() const { return $member$; }"
MEMBER = "$type$ $member$$init$;"


class Emitter:
    kind = "key"

    def entity(self, a, o):
        s = Sections()
        m = N.member(a.name)
        s.public.append(echo(a))
        s.public.append(render(GETTER, ret=N.getter_ret(a), name=a.name, member=m))
        s.members.append(render(MEMBER, type=N.attr_cpp(a), member=m, init=N.member_init(a)))
        s.desc.append(desc_row(a, o.qname, N.attr_cpp(a)))
        s.dispatch.append(dispatch_get(a, m))
        return s

    def value(self, a, o):
        return value_plain(a, o, writable=False)
