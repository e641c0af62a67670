"""Entities the collection creates: xIs(key, ...) answers the member under
key (checking that its further constructor parameters match) or creates
it, adopts it and notifies. Members are orphaned when the owner goes."""

from .. import names as N
from ..writer import render
from .collection import Collection

PARAM = "$type$ $name$"
DECL = "$ptr$ $setter$($params$);"
DEF = """\
// $line$
$ptr$ $owner$::$setter$($params$) {
  if (auto* p = Orv::frame::member($member$, k)) {
    $checks$
    return $ptr$(p);
  }
  orvWriteCheck($id$);
  $ptr$ e = $elem$::$typeIs$($args$);
  $insert$
  e->parentIs(this, $id$);
  $notify$(k);
  return e;
}"""
CHECK = "Orv::frame::checkReinstantiate(*p, $text$, p->$name$(), $param$);"
# A stored parameter is set on the existing member (notifying its notifiees).
SET_PARAM = "p->$setter$($param$);"
# Generic access passes further parameters as the constructor arguments.
SET = "$setter$(a.key.as<$keytype$>()$ctorargs$); return true;"
CTOR_ARG = ", Orv::frame::ctorArg<$type$>(a, $index$)"
LOOKUP_INTRUSIVE = "return $ptr$(const_cast<$elem$*>($member$.find(k)));"
INSERT = "$member$.insert(k, e);"
INSERT_INTRUSIVE = "$member$.insert(e);"
ORPHAN = "Orv::frame::orphanAll($member$);"


class Emitter(Collection):
    kind = "new"
    owned = "member"

    def value_type(self, c):
        return c.elem.qname

    def mutable_range(self, c):
        return c.order == "hashed"

    def lookup(self, a, c, one_line=False):
        if c.order == "hashed":
            return render(LOOKUP_INTRUSIVE, ptr=N.coll_member(c), elem=c.elem.qname, member=N.member(a.name))
        return super().lookup(a, c)

    def mutator(self, a, o):
        c = a.coll
        p, m = N.coll_member(c), N.member(a.name)
        params = ", ".join([render(PARAM, type=N.param(c.key), name="k")]
                           + [render(PARAM, type=N.attr_param(x), name=N.param_name(x.name)) for x in c.extra])
        args = ", ".join(["k"] + [N.param_name(x.name) for x in c.extra])
        checks = [render(CHECK, text=N.string_literal(x.name), name=x.name, param=N.param_name(x.name))
                  if x.category == "key" else render(SET_PARAM, setter=N.setter(x.name), param=N.param_name(x.name))
                  for x in c.extra]
        insert = render(INSERT_INTRUSIVE if c.order == "hashed" else INSERT, member=m)
        ctor_args = "".join(render(CTOR_ARG, type=N.attr_cpp(x), index=str(i)) for i, x in enumerate(c.extra))
        set_arg = render(SET, setter=N.setter(a.name), keytype=N.cpp(c.key), ctorargs=ctor_args)
        return (
            render(DECL, ptr=p, setter=N.setter(a.name), params=params),
            render(DEF, line=a.line, ptr=p, owner=o.qname, setter=N.setter(a.name), params=params, member=m,
                   checks=checks, elem=c.elem.qname, typeIs=N.type_is(c.elem.name), args=args, insert=insert,
                   id=str(a.id), notify=N.notify(a.name)),
            set_arg,
        )

    def extra(self, a, s):
        s.dtor.append(render(ORPHAN, member=N.member(a.name)))
