"""A stored unsigned counter: a stored attribute plus xInc(n) / xDec(n),
which add or subtract n, wrapping, notify through the setter and answer
the new count."""

from .. import names as N
from ..writer import render
from . import stored

# In the class body, beside the setter they call.
OP = "$type$ $fn$($type$ n) { $setter$(static_cast<$type$>($member$ $sign$ n)); return $member$; }"


class Emitter(stored.Emitter):
    kind = "counter"

    def extra(self, a, o, s):
        t = N.attr_cpp(a)
        for fn, sign in ((N.increment(a.name), "+"), (N.decrement(a.name), "-")):
            s.public.append(render(OP, type=t, fn=fn, setter=N.setter(a.name), member=N.member(a.name), sign=sign))
