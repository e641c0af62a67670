"""A computed attribute: hand-written getter (and setter when writable)."""

from .. import names as N
from ..writer import render
from .base import Sections, ValueSections, desc_row, dispatch_get, dispatch_stored, echo

GETTER = "$type$ $name$($params$) const;  // hand-written"
SETTER = "void $setter$($param$);  // hand-written"


class Emitter:
    kind = "computed"

    def entity(self, a, o):
        s = Sections()
        s.public.append(echo(a))
        s.public.append(render(GETTER, type=N.attr_cpp(a), name=a.name, params=""))
        if a.writable:
            s.public.append(render(SETTER, setter=N.setter(a.name), param=N.attr_param(a)))
            s.dispatch.append(dispatch_stored(a, N.get_call(a.name)))
        else:
            s.dispatch.append(dispatch_get(a, N.get_call(a.name)))
        s.desc.append(desc_row(a, o.qname, N.attr_cpp(a)))
        return s

    def value(self, a, o):
        s = ValueSections()
        s.public.append(echo(a))
        s.desc.append(desc_row(a, o.qname, N.attr_cpp(a)))
        s.public.append(render(GETTER, type=N.attr_cpp(a), name=a.name, params=self.params(a)))
        return s

    def params(self, a):
        return ""
