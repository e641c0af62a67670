"""Counted pointers to entities keyed by one of their attributes: xIs(p)
refuses a null pointer, inserts or replaces under p->by() (a replaced
member must have the same key) and notifies on a change."""

from .. import names as N
from ..writer import render
from .collection import Collection

DECL = "void $setter$(const $ptr$& v);"
DEF = """\
// $line$
void $owner$::$setter$(const $ptr$& v) {
  if (!v) throw Orv::RangeException($message$);
  const $keytype$ k = v->$by$();
  if (Orv::frame::collIs(*this, $id$, $member$, k, v, [&](const $ptr$& old) { ORV_ASSERT(old->$by$() == k); })) {
    $notify$(k);
  }
}"""
SET = "$setter$(a.value.as<$ptr$>()); return true;"


class Emitter(Collection):
    kind = "ptrby"

    def mutator(self, a, o):
        c = a.coll
        p = N.coll_member(c)
        return (
            render(DECL, setter=N.setter(a.name), ptr=p),
            render(DEF, line=a.line, id=str(a.id), owner=o.qname, setter=N.setter(a.name), ptr=p,
                   message=N.string_literal(N.null_message(o.qname, a.name)), keytype=N.cpp(c.key), by=c.by,
                   member=N.member(a.name), notify=N.notify(a.name)),
            render(SET, setter=N.setter(a.name), ptr=p),
        )
