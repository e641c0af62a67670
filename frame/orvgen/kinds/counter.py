"""A stored unsigned counter: a stored attribute plus xInc(n) / xDec(n),
which wrap, notify through the setter and answer the new count."""

from .. import names as N
from ..writer import render
from . import stored

DECL = "$type$ $fn$($type$ n);  // $what$ n, wrapping; returns the new count"
DEF = """\
$type$ $owner$::$fn$($type$ n) {
  $setter$(static_cast<$type$>($member$ $sign$ n));
  return $member$;
}"""


class Emitter(stored.Emitter):
    kind = "counter"

    def extra(self, a, o, s):
        t = N.attr_cpp(a)
        ops = ((N.increment(a.name), "adds", "+"), (N.decrement(a.name), "subtracts", "-"))
        for fn, what, _ in ops:
            s.public.append(render(DECL, type=t, fn=fn, what=what))
        for fn, _, sign in ops:
            s.source.append(render(DEF, type=t, owner=o.qname, fn=fn, setter=N.setter(a.name),
                                   member=N.member(a.name), sign=sign))
