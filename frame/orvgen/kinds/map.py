"""A map from a value to a value: xIs(k, v) inserts or replaces and
notifies when the stored value changed."""

from .. import names as N
from ..writer import render
from .collection import Collection

DECL = "void $setter$($key$ k, $value$ v);"
DEF = """\
// $line$
void $owner$::$setter$($key$ k, $value$ v) {
  if (Orv::frame::collIs(*this, $id$, $member$, k, v)) $notify$(k);
}"""
SET = "$setter$(a.key.as<$keytype$>(), a.value.as<$valuetype$>()); return true;"


class Emitter(Collection):
    kind = "map"

    def mutator(self, a, o):
        c = a.coll
        names = dict(setter=N.setter(a.name), key=N.param(c.key), value=N.param(c.value))
        return (
            render(DECL, **names),
            render(DEF, line=a.line, id=str(a.id), owner=o.qname, member=N.member(a.name), notify=N.notify(a.name), **names),
            render(SET, setter=N.setter(a.name), keytype=N.cpp(c.key), valuetype=N.cpp(c.value)),
        )
