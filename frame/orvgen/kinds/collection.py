"""What every collection shape of an entity shares: the container member,
the handlers, iteration, lookup, the per-key notification (by attribute id,
so an attached adapter's hook takes it), removal and the generic-access
case. A shape supplies its lookup, its mutator and what its
removal answers."""

from .. import names as N
from ..writer import render
from .base import Sections, desc_row, echo

MEMBER = "$type$ $member$;"
HANDLER_KEY = "virtual void $handler$($key$) {}"
HANDLER = "virtual void $handler$() {}"
IMMEDIATE = "$handler$();"
RANGE = "Orv::CollRange<$const$$type$> $name$()$qual$ { return Orv::CollRange<$const$$type$>($member$); }"
LOOKUP_DECL = "$ret$ $name$($key$ k) const;"
LOOKUP = """\
inline $ret$ $owner$::$name$($key$ k) const {
  $body$
}"""
LOOKUP_IN_CLASS = "$ret$ $name$($key$ k) const { $body$ }"
FIND = """\
auto* p = $member$.find(k);
return p ? *p : $ret$();"""
FIND_IN_CLASS = "auto* p = $member$.find(k); return p ? *p : $ret$();"
NOTIFY = "void $notify$($key$ k) const { orvNotifyMember<NotifieeConst>($id$, k, &NotifieeConst::$handler$); }"
DEL_DECL = "$ret$ $del_$($key$ k);"
DEL_ALL_DECL = "void $delall$();"
DEL = "$ret$ $owner$::$del_$($key$ k) { Orv::frame::delCheck(*this, $id$, $member$, k); return Orv::frame::$owned$Del($member$, k, [&] { $notify$(k); }); }"
DEL_ALL = "void $owner$::$delall$() { Orv::frame::delAllCheck(*this, $id$, $member$); Orv::frame::$owned$DelAll(*this, $member$, [&]($key$ k) { $notify$(k); }); }"
DISPATCH = """\
case $id$:
  return Orv::frame::attrColl<$keytype$>(
      op, arg, $member$, [&]($key$ k) { return $call$(k); },
      [&](Orv::AttrArg& a) { $set$ },
      [&]($key$ k) { $remove$ }, [&] { $delall$(); });"""
REMOVE = "return $del_$(k);"


class Collection:
    """Base of the collection shapes of entities."""

    owned = "coll"  # runtime removal helpers: collDel / memberDel
    del_ret = None  # what removal answers; the member type when None

    def entity(self, a, o):
        c = a.coll
        s = Sections()
        m = N.member(a.name)
        kp, mt, ct = N.param(c.key), N.coll_member(c), N.coll_cpp(c)
        s.public.append(echo(a))
        s.members.append(render(MEMBER, type=ct, member=m))
        s.handlers.append(render(HANDLER_KEY, handler=N.handler(a.name), key=kp))
        s.handlers.append(render(HANDLER, handler=N.immediate_handler(a.name)))
        s.handlers.append(render(HANDLER, handler=N.handler(a.name)))
        s.immediate.append(render(IMMEDIATE, handler=N.immediate_handler(a.name)))
        s.desc.append(desc_row(a, o.qname, self.value_type(c), N.cpp(c.key), N.coll_kind(c)))
        s.public.append(render(RANGE, const="const ", type=ct, name=a.name, qual=" const", member=m))
        if self.mutable_range(c):
            s.public.append(render(RANGE, const="", type=ct, name=a.name, qual="", member=m))
        if self.lookup_in_class(c):
            s.public.append(render(LOOKUP_IN_CLASS, ret=mt, name=a.name, key=kp, body=self.lookup(a, c, True)))
        else:
            s.public.append(render(LOOKUP_DECL, ret=mt, name=a.name, key=kp))
            s.inline.append(render(LOOKUP, ret=mt, owner=o.qname, name=a.name, key=kp, body=self.lookup(a, c)))
        s.public.append(render(NOTIFY, notify=N.notify(a.name), key=kp, id=str(a.id), handler=N.handler(a.name)))
        decl, definition, set_arg = self.mutator(a, o)
        s.public.append(decl)
        s.source.append(definition)
        del_ret = self.del_ret or mt
        s.public.append(render(DEL_DECL, ret=del_ret, del_=N.deleter(a.name), key=kp))
        s.public.append(render(DEL_ALL_DECL, delall=N.delete_all(a.name)))
        common = dict(owner=o.qname, id=str(a.id), member=m, notify=N.notify(a.name), owned=self.owned)
        s.source.append(render(DEL, ret=del_ret, del_=N.deleter(a.name), key=kp, **common))
        s.source.append(render(DEL_ALL, delall=N.delete_all(a.name), key=kp, **common))
        s.dispatch.append(render(DISPATCH, id=str(a.id), keytype=N.cpp(c.key), member=m, key=kp, call=N.call(a.name),
                                 set=set_arg, remove=render(REMOVE, del_=N.deleter(a.name)),
                                 delall=N.delete_all(a.name)))
        self.extra(a, s)
        return s

    def value_type(self, c):
        """The value type the descriptor names."""
        return N.coll_member(c)

    def mutable_range(self, c):
        return False

    def lookup_in_class(self, c):
        """Whether the lookup is defined in the class body: only when its
        member type is a value, which is complete there (an entity may be
        defined later in the header)."""
        return not N.coll_member(c).startswith("Orv::Ptr<")

    def lookup(self, a, c, one_line=False):
        return render(FIND_IN_CLASS if one_line else FIND, member=N.member(a.name), ret=N.coll_member(c))

    def mutator(self, a, o):
        """(declaration, definition, generic-access statement) of xIs."""
        raise NotImplementedError

    def extra(self, a, s):
        """Further code of a shape (destructor statements)."""
