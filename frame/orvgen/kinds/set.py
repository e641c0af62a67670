"""A set of values: xIs(k) inserts and notifies when k is new; removal
answers whether k was there. A value type may hold a hashed set."""

from .. import names as N
from ..writer import render
from .base import ValueSections, desc_row, echo, value_field
from .collection import Collection

DECL = "void $setter$($key$ k);"
DEF = """\
// $line$
void $owner$::$setter$($key$ k) {
  Orv::frame::setCheck(*this, $id$, $member$, k);
  if ($member$.insert(k, Orv::Unit{}).second) $notify$(k);
}"""
SET = "$setter$(a.key.as<$keytype$>()); return true;"
LOOKUP = "return $member$.find(k) != nullptr;"

VALUE_MEMBERS = """\
Orv::CollRange<const $type$> $name$() const { return Orv::CollRange<const $type$>($member$); }
bool $name$($key$ k) const { return $member$.contains(k); }
void $setter$($key$ k) { $member$.insert(k, Orv::Unit{}); }
bool $del_$($key$ k) { return static_cast<bool>($member$.extract(k)); }
void $delall$() { $member$.clear(); }"""
VALUE_MEMBER = "$type$ $member$;"


class Emitter(Collection):
    kind = "set"
    del_ret = "bool"

    def value_type(self, c):
        return N.cpp(c.key)

    def lookup(self, a, c, one_line=False):
        return render(LOOKUP, member=N.member(a.name))

    def mutator(self, a, o):
        c = a.coll
        return (
            render(DECL, setter=N.setter(a.name), key=N.param(c.key)),
            render(DEF, line=a.line, id=str(a.id), owner=o.qname, setter=N.setter(a.name), key=N.param(c.key),
                   member=N.member(a.name), notify=N.notify(a.name)),
            render(SET, setter=N.setter(a.name), keytype=N.cpp(c.key)),
        )

    def value(self, a, o):
        c = a.coll
        ct, m = N.coll_cpp(c), N.member(a.name)
        s = ValueSections()
        s.public.append(echo(a))
        s.desc.append(desc_row(a, o.qname, ct, N.cpp(c.key), N.coll_kind(c)))
        s.members.append(render(VALUE_MEMBER, type=ct, member=m))
        s.public.extend(render(VALUE_MEMBERS, type=ct, name=a.name, member=m, key=N.param(c.key),
                               setter=N.setter(a.name), del_=N.deleter(a.name),
                               delall=N.delete_all(a.name)).split("\n"))
        s.fields.append(value_field(a, o))
        return s
