"""A constant: a static function answering the model's value."""

from .. import names as N
from ..writer import render
from .base import Sections, ValueSections, desc_row, dispatch_get, echo

GETTER = "static $type$ $name$() { return $value$; }"


def getter(a):
    return render(GETTER, type=N.attr_cpp(a), name=a.name, value=N.default_expr(a.type, a.default))


class Emitter:
    kind = "constant"

    def entity(self, a, o):
        s = Sections()
        s.public.append(echo(a))
        s.public.append(getter(a))
        s.desc.append(desc_row(a, o.qname, N.attr_cpp(a)))
        s.dispatch.append(dispatch_get(a, N.get_call(a.name)))
        return s

    def value(self, a, o):
        s = ValueSections()
        s.public.append(echo(a))
        s.desc.append(desc_row(a, o.qname, N.attr_cpp(a)))
        s.public.append(getter(a))
        return s
