"""A collection of reactors of a state machine, one per watched entity,
keyed by the entity's key attribute. The machine owns them: deleting one
(or the machine) runs its delete hook, then detaches it."""

from .. import names as N
from ..writer import render
from .base import Sections, desc_row, echo
from .collection import DISPATCH

MEMBER = "$type$ $member$;"
RANGE = "Orv::CollRange<const $type$> $name$() const { return Orv::CollRange<const $type$>($member$); }"
LOOKUP_DECL = "$ptr$ $name$($key$ k) const;"
LOOKUP = """\
inline $qptr$ $owner$::$name$($key$ k) const {
  auto* p = $member$.find(k);
  return p ? *p : $qptr$();
}"""
SETTER_DECL = "$ptr$ $setter$(const $target$& v);"
DEL_DECL = "void $del_$($key$ k);"
DEL_ALL_DECL = "void $delall$();"
SETTER = """\
// $line$
$qptr$ $owner$::$setter$(const $target$& v) {
  if (!v) throw Orv::RangeException($message$);
  const $keytype$ k = v->$by$();
  if (auto* p = $member$.find(k)) {
    if ((*p)->notifier() == v) return *p;
    $ptr$ r = *p;
    r->notifierIs(v);
    $attach_found$
    return r;
  }
  $ptr$ r(new $reactor$(this, k));
  $member$.insert(k, r);
  r->notifierIs(v);
  $attach_new$
  return r;
}"""
ATTACH = "r->$hook$();"
DEL = """\
void $owner$::$del_$($key$ k) {
  auto r = $member$.extract(k);
  if (!r) return;
  $ondel$
  r.value()->notifierIs(nullptr);
  r.value()->$smIs$(nullptr);
}"""
ONDEL = "r.value()->$hook$();"
DEL_ALL = """\
void $owner$::$delall$() {
  $member$.delAll([&](const $keytype$&, $ptr$& v) {
    $ondel$
    v->notifierIs(nullptr);
    v->$smIs$(nullptr);
  });
}"""
ONDEL_EACH = "v->$hook$();"
DTOR = "$delall$();"
SET = "$setter$(a.value.as<$target$>()); return true;"
# Removing a reactor answers nothing; generic access reports it done.
REMOVE = "$del_$(k); return true;"


def hook(template, name):
    return render(template, hook=name) if name else ""


class Emitter:
    kind = "reactors"

    def entity(self, a, o):
        c = a.coll
        r = c.reactor
        s = Sections()
        m, kp, q = N.member(a.name), N.param(c.key), o.qname
        ct, rp, rq, tp = N.coll_cpp(c), N.reactor_ptr(r), N.reactor_ptr(r, q), N.reactor_target_ptr(r)
        fn = dict(setter=N.setter(a.name), del_=N.deleter(a.name), delall=N.delete_all(a.name))
        s.public.append(echo(a))
        s.members.append(render(MEMBER, type=ct, member=m))
        s.public.append(render(RANGE, type=ct, name=a.name, member=m))
        s.public.append(render(LOOKUP_DECL, ptr=rp, name=a.name, key=kp))
        s.inline.append(render(LOOKUP, qptr=rq, owner=q, name=a.name, key=kp, member=m))
        s.public.append(render(SETTER_DECL, ptr=rp, setter=fn["setter"], target=tp))
        s.public.append(render(DEL_DECL, del_=fn["del_"], key=kp))
        s.public.append(render(DEL_ALL_DECL, delall=fn["delall"]))
        s.source.append(render(
            SETTER, line=a.line, qptr=rq, owner=q, setter=fn["setter"], target=tp,
            message=N.string_literal(N.null_message(q, a.name)), keytype=N.cpp(c.key), by=c.by, member=m, ptr=rp,
            attach_found=hook(ATTACH, r.onattach), reactor=r.name, attach_new=hook(ATTACH, r.onattach)))
        s.source.append(render(DEL, owner=q, del_=fn["del_"], key=kp, member=m, ondel=hook(ONDEL, r.ondel),
                               smIs=N.REACTOR_SM_IS))
        s.source.append(render(DEL_ALL, owner=q, delall=fn["delall"], member=m, keytype=N.cpp(c.key), ptr=rp,
                               ondel=hook(ONDEL_EACH, r.ondel), smIs=N.REACTOR_SM_IS))
        s.dtor.append(render(DTOR, delall=fn["delall"]))
        s.desc.append(desc_row(a, q, r.target.qname, N.cpp(c.key), N.coll_kind(c)))
        s.dispatch.append(render(DISPATCH, id=str(a.id), keytype=N.cpp(c.key), member=m, key=kp, call=N.call(a.name),
                                 set=render(SET, setter=fn["setter"], target=tp),
                                 remove=render(REMOVE, del_=fn["del_"]), delall=fn["delall"]))
        return s
