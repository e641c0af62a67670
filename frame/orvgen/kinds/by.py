"""Values keyed by one of their attributes: xIs(v) inserts or replaces
under v.by() and notifies when the stored value changed."""

from .. import names as N
from ..writer import render
from .collection import Collection

DECL = "void $setter$($value$ v);"
DEF = """\
// $line$
void $owner$::$setter$($value$ v) {
  const $keytype$ k = v.$by$();
  if (Orv::frame::collIs(*this, $id$, $member$, k, v)) $notify$(k);
}"""
SET = "$setter$(a.value.as<$valuetype$>()); return true;"


class Emitter(Collection):
    kind = "by"

    def mutator(self, a, o):
        c = a.coll
        return (
            render(DECL, setter=N.setter(a.name), value=N.param(c.value)),
            render(DEF, line=a.line, id=str(a.id), owner=o.qname, setter=N.setter(a.name), value=N.param(c.value),
                   keytype=N.cpp(c.key), by=c.by, member=N.member(a.name), notify=N.notify(a.name)),
            render(SET, setter=N.setter(a.name), valuetype=N.cpp(c.value)),
        )
