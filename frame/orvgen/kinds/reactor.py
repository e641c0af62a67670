"""A singular reactor of a state machine: one nested reactor object
watching one entity, (re)attached by xIs and dropped by xDel (or by xIs
with a null pointer)."""

from .. import names as N
from ..writer import render
from .base import Sections, desc_row, dispatch_stored, echo

GETTER_DECL = "$target$ $name$() const;"
REACTOR_GETTER = "$reactor$* $getter$() const { return $member$.ptr(); }"
SETTER_DECL = "void $setter$(const $target$& v);"
DEL_DECL = "void $del_$();"
MEMBER = "Orv::Ptr<$reactor$> $member$;"
GETTER = "inline $target$ $owner$::$name$() const { return $member$ ? $member$->notifier() : $target$(); }"
SETTER = """\
// $line$
void $owner$::$setter$(const $target$& v) {
  if (!v) {
    $del_$();
    return;
  }
  if ($member$ && $member$->notifier() == v) return;
  if (!$member$) $member$ = Orv::Ptr<$reactor$>(new $reactor$(this));
  $member$->notifierIs(v);
  $attach$
}"""
ATTACH = "$member$->$hook$();"
DEL = """\
void $owner$::$del_$() {
  if (!$member$) return;
  Orv::Ptr<$reactor$> r = std::move($member$);
  $ondel$
  r->notifierIs(nullptr);
  r->$smIs$(nullptr);
}"""
ONDEL = "r->$hook$();"
DTOR = "$del_$();"


class Emitter:
    kind = "reactor"

    def entity(self, a, o):
        r = a.reactor
        s = Sections()
        m, q, tp = N.member(a.name), o.qname, N.reactor_target_ptr(r)
        s.public.append(echo(a))
        s.public.append(render(GETTER_DECL, target=tp, name=a.name))
        s.public.append(render(REACTOR_GETTER, reactor=r.name, getter=N.reactor_getter(a.name), member=m))
        s.public.append(render(SETTER_DECL, setter=N.setter(a.name), target=tp))
        s.public.append(render(DEL_DECL, del_=N.deleter(a.name)))
        s.members.append(render(MEMBER, reactor=r.name, member=m))
        s.inline.append(render(GETTER, target=tp, owner=q, name=a.name, member=m))
        attach = render(ATTACH, member=m, hook=r.onattach) if r.onattach else ""
        s.source.append(render(SETTER, line=a.line, owner=q, setter=N.setter(a.name), target=tp,
                               del_=N.deleter(a.name), member=m, reactor=r.name, attach=attach))
        ondel = render(ONDEL, hook=r.ondel) if r.ondel else ""
        s.source.append(render(DEL, owner=q, del_=N.deleter(a.name), member=m, reactor=r.name, ondel=ondel,
                               smIs=N.REACTOR_SM_IS))
        s.dtor.append(render(DTOR, del_=N.deleter(a.name)))
        s.desc.append(desc_row(a, q, r.target.qname))
        s.dispatch.append(dispatch_stored(a, N.get_call(a.name), tp))
        return s
