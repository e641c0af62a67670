"""A stored attribute: getter, and a one-line setter in the class body
calling the runtime's compare, store and notify (Orv::Entity::orvSet) with
the attribute's handler and id."""

from .. import names as N
from ..writer import render
from .base import dispatch_stored, held, value_plain

SETTER_DECL = "void $setter$($param$);"
HANDLER = "virtual void $handler$() {}"
SETTER_IN_CLASS = "void $setter$($param$ v) { $body$ }"
SETTER = "inline void $owner$::$setter$($param$ v) { $body$ }"
# Counted objects have no notifiees: compare and store only.
STORE_PLAIN = "if ($member$ == v) return; $member$ = v;"
STORE_NOTIFY = "orvSet<NotifieeConst>($member$, v, &NotifieeConst::$handler$, $id$);"
CTOR_CHECK = "if ($member$ > $max$) throw Orv::RangeException($message$);"
CTOR_CHECK_MIN = "if ($member$ < $min$ || $member$ > $max$) throw Orv::RangeException($message$);"
STORE_PLAIN_RANGED = "if ($member$ == v) return; $member$ = v; if (!($cond$)) throw Orv::RangeException($message$);"
STORE_NOTIFY_RANGED = "orvSetInRange<NotifieeConst>($member$, v, $cond$, $message$, &NotifieeConst::$handler$, $id$);"


RANGE_MAX = "v <= $max$"
RANGE_MIN_MAX = "v >= $min$ && v <= $max$"


def range_cond(r):
    lo = N.bound_expr(r.min)
    if lo is not None and lo != "0":
        return render(RANGE_MIN_MAX, min=lo, max=N.bound_expr(r.max))
    return render(RANGE_MAX, max=N.bound_expr(r.max))


class Emitter:
    kind = "stored"

    # The setter is defined in the class body, where the notifiee class is
    # complete; a kind whose store needs a type the class body may not see
    # complete defines it after every class instead.
    in_class = True

    def entity(self, a, o):
        s = held(a, o)
        m = N.member(a.name)
        names = dict(setter=N.setter(a.name), param=N.attr_param(a))
        if self.in_class:
            s.public.append(render(SETTER_IN_CLASS, body=self.store(a, o, s), **names))
        else:
            s.public.append(render(SETTER_DECL, **names))
            s.inline.append(render(SETTER, owner=o.qname, body=self.store(a, o, s), **names))
        self.extra(a, o, s)
        if not o.counted:
            s.handlers.append(render(HANDLER, handler=N.handler(a.name)))
        s.dispatch.append(dispatch_stored(a, m))
        return s

    def extra(self, a, o, s):
        """Further members of a refined kind, written after the setter."""

    def store(self, a, o, s):
        """The setter's body; a range, when the attribute has one, is
        checked there and in the constructor."""
        m = N.member(a.name)
        if a.range is not None:
            msg = N.string_literal(a.range.message)
            lo = N.bound_expr(a.range.min)
            if lo is not None and lo != "0":
                s.ctor_check.append(render(CTOR_CHECK_MIN, member=m, min=lo, max=N.bound_expr(a.range.max),
                                           message=msg))
            else:
                s.ctor_check.append(render(CTOR_CHECK, member=m, max=N.bound_expr(a.range.max), message=msg))
            if o.counted:
                return render(STORE_PLAIN_RANGED, member=m, cond=range_cond(a.range), message=msg)
            return render(STORE_NOTIFY_RANGED, member=m, cond=range_cond(a.range), message=msg,
                          handler=N.handler(a.name), id=str(a.id))
        if o.counted:
            return render(STORE_PLAIN, member=m)
        return render(STORE_NOTIFY, member=m, handler=N.handler(a.name), id=str(a.id))

    def value(self, a, o):
        return value_plain(a, o, writable=True)
