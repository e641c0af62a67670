"""What every attribute emitter shares: the sections it writes into, the
descriptor row and the model line echoed above an attribute's code."""

from dataclasses import dataclass, field

from .. import names as N
from ..writer import render


@dataclass
class Sections:
    """Code of an entity's attributes, by where it goes."""

    public: list = field(default_factory=list)  # class body, public
    members: list = field(default_factory=list)  # class body, private data
    handlers: list = field(default_factory=list)  # notifiee virtual handlers
    immediate: list = field(default_factory=list)  # calls made when a notifiee attaches
    inline: list = field(default_factory=list)  # header, after every class
    source: list = field(default_factory=list)  # .cpp definitions
    desc: list = field(default_factory=list)  # descriptor rows
    dispatch: list = field(default_factory=list)  # generic access cases
    ctor_check: list = field(default_factory=list)  # constructor range checks
    dtor: list = field(default_factory=list)  # destructor statements

    def add(self, other):
        for k in self.__dataclass_fields__:
            getattr(self, k).extend(getattr(other, k))


@dataclass
class ValueSections:
    """Code of a value type's attributes."""

    public: list = field(default_factory=list)
    members: list = field(default_factory=list)
    desc: list = field(default_factory=list)
    fields: list = field(default_factory=list)  # entries of orvFields()

    def add(self, other):
        for k in self.__dataclass_fields__:
            getattr(self, k).extend(getattr(other, k))


DESC_ROW = "{$name$, &$owner$::orvType, $id$, Orv::AttrCategory::$category$, $writable$, $type$, $key$, $coll$},"


def desc_row(a, owner, value_type, key_type=None, coll_kind=None):
    """One attribute-table row; owner is the qualified name of the type
    whose table holds it."""
    return render(
        DESC_ROW,
        name=N.string_literal(a.name),
        owner=owner,
        id=str(a.id),
        category=a.category,
        writable="true" if a.writable else "false",
        type=N.string_literal(value_type),
        key=N.string_literal(key_type) if key_type else "nullptr",
        coll=N.string_literal(coll_kind) if coll_kind else "nullptr",
    )


def echo(a):
    return render("// $line$", line=a.line)


FIELD = "Orv::Field<$owner$, $type$>{$name$, &$owner$::$member$}"


def value_field(a, owner):
    return render(FIELD, owner=owner.name, type=N.attr_cpp(a), name=N.string_literal(a.name), member=N.member(a.name))


GET = "case $id$: return Orv::frame::attrGet(op, arg, $expr$);"
STORED = "case $id$: return Orv::frame::attrStored(op, arg, $expr$, [&](const $type$& v) { $setter$(v); });"


def dispatch_get(a, expr):
    return render(GET, id=str(a.id), expr=expr)


def dispatch_stored(a, expr, type_cpp=None):
    return render(STORED, id=str(a.id), expr=expr, type=type_cpp or N.attr_cpp(a), setter=N.setter(a.name))


GETTER = "$ret$ $name$() const { return $member$; }"
MEMBER = "$type$ $member$$init$;"


def held(a, o):
    """Sections of an attribute held in a data member: model line, getter,
    member and descriptor row (key and stored kinds build on it)."""
    s = Sections()
    m = N.member(a.name)
    s.public.append(echo(a))
    s.public.append(render(GETTER, ret=N.getter_ret(a), name=a.name, member=m))
    s.members.append(render(MEMBER, type=N.attr_cpp(a), member=m, init=N.member_init(a)))
    s.desc.append(desc_row(a, o.qname, N.attr_cpp(a)))
    return s


VALUE_GETTER = "$ret$ $name$() const { return $member$; }"
VALUE_SETTER = "void $setter$($param$ v) { $member$ = v; }"
VALUE_MEMBER = "$type$ $member$$init$;"


def value_plain(a, owner, writable):
    """A value type's stored or key attribute: getter, setter when
    writable, data member and field."""
    s = ValueSections()
    s.public.append(echo(a))
    s.desc.append(desc_row(a, owner.qname, N.attr_cpp(a)))
    s.public.append(render(VALUE_GETTER, ret=N.getter_ret(a), name=a.name, member=N.member(a.name)))
    if writable:
        s.public.append(render(VALUE_SETTER, setter=N.setter(a.name), param=N.attr_param(a), member=N.member(a.name)))
    s.members.append(render(VALUE_MEMBER, type=N.attr_cpp(a), member=N.member(a.name), init=N.member_init(a)))
    s.fields.append(value_field(a, owner))
    return s
