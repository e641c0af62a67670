"""The attribute-log adapter of an entity type: a few names per type over
the runtime's generic adapter (Orv::Entity::OrvNboAttrLogSa). Its inner
notifiee hands a changed stored attribute's new value to the adapter, typed,
and forwards other changes by attribute identifier; incoming stored values
are read and set by a table of typed appliers; a resynchronisation writes
the collections whole. State machines and counted objects have none."""

from . import names as N
from .writer import render

SA_NESTED = "class OrvNboAttrLogSa;"
SA_IS_DECL = """\
Orv::Ptr<Orv::Entity::OrvNboAttrLogSa> orvNboAttrLogSaIs(std::uint32_t flags, std::uint32_t id,
                                                       const Orv::Ptr<Orv::NboAttrLog::Out>& out) override;"""
# Named entities are the roots a state database mounts; a hand-written member
# of the same name (a type with backup support) takes a line's place.
NAMED_PUBLIC = (
    ("orvHasAttrLogInterface", "bool orvHasAttrLogInterface() const override { return true; }"),
    ("hasBackupSupport", "bool hasBackupSupport() const override { return false; }"),
)
SA_CLASS = """\
class IPMODEL_API $name$::OrvNboAttrLogSa : public Orv::NboAttrLogSaOf<$name$> {
 public:
  class OrvNboAttrLogSaAdapter_;
  using FlowOut = Orv::NboAttrLog::FlowOut;
  // The collections a resynchronisation writes whole, zero-terminated.
  static const std::uint16_t* attrIdsReqSync();
  // The typed appliers of incoming stored values, by attribute identifier.
  static const Orv::NboAttrLog::ApplyTable* applyTable();
  OrvNboAttrLogSa($name$& e, std::uint32_t flags, std::uint32_t id, const Orv::Ptr<Orv::NboAttrLog::Out>& out)
      : Orv::NboAttrLogSaOf<$name$>(e, flags, id, out, attrIdsReqSync(), applyTable()) {}
};"""
ADAPTER = """\
class $qname$::OrvNboAttrLogSa::OrvNboAttrLogSaAdapter_ : public Orv::frame::NboAttrLogSaAdapterOf<$qname$> {
 public:
  using NboAttrLogSaAdapterOf::NboAttrLogSaAdapterOf;
  $forwards$
};

const std::uint16_t* $qname$::OrvNboAttrLogSa::attrIdsReqSync() {
  static const std::uint16_t ids[] = {$sync$};
  return ids;
}

const Orv::NboAttrLog::ApplyTable* $qname$::OrvNboAttrLogSa::applyTable() {
  $apply$
}

Orv::Ptr<Orv::Entity::OrvNboAttrLogSa> $qname$::orvNboAttrLogSaIs(std::uint32_t flags, std::uint32_t id,
    const Orv::Ptr<Orv::NboAttrLog::Out>& out) {
  return Orv::frame::nboAttrLogSaIs<OrvNboAttrLogSa, OrvNboAttrLogSa::OrvNboAttrLogSaAdapter_>(*this, flags, id, out);
}"""
MEMBER_CHANGED = "void $handler$($key$ k) override { sa()->orvMemberChanged($id$, k); }"
ATTR_CHANGED = "void $handler$() override { sa()->orvAttrChanged($id$); }"
VALUE_CHANGED = "void $handler$() override { sa()->orvValueChanged($id$, orvNotifier().$getter$()); }"
APPLY_TABLE = """\
static constexpr Orv::NboAttrLog::ApplyFn fns[] = {
  $fns$
};
static constexpr Orv::NboAttrLog::ApplyTable table{$first$, $count$, fns};
return &table;"""
APPLY_FN = "[](Orv::Entity& e, Orv::NboAttrLog::In& in) { static_cast<$qname$&>(e).$setter$(Orv::frame::logRead<$type$>(in)); },"

# Attribute kinds whose changes the adapter writes one by one.
SCALAR = ("stored", "ranged", "counter", "pointer")
# Those whose values travel typed both ways (pointers travel as entity
# references, resolved through the stream's peer: the generic path).
VALUED = ("stored", "ranged", "counter")


def has_attr_log(e):
    return e.kind == "entity"


def public(e):
    """Declarations inside the entity class."""
    if not has_attr_log(e):
        return []
    out = [SA_IS_DECL]
    if e.named and e.base is None:
        out += [decl for fn, decl in NAMED_PUBLIC if not any(f" {fn}(" in h for h in e.hands)]
    return out


def nested(e):
    return [SA_NESTED] if has_attr_log(e) else []


def header(e):
    return render(SA_CLASS, name=e.name) if has_attr_log(e) else ""


def source(e):
    """The adapter's forwarding notifiee, the resynchronised collections and
    the adapter's factory. A derived entity's adapter forwards its base's
    attributes too, which notify through it."""
    if not has_attr_log(e):
        return ""
    forwards, sync, valued = [], [], []
    for a in (e.base.attrs if e.base is not None else ()) + e.attrs:
        if a.coll is not None and a.coll.shape != "reactors":
            forwards.append(render(MEMBER_CHANGED, handler=N.handler(a.name), key=N.param(a.coll.key), id=str(a.id)))
            sync.append(str(a.id))
        elif a.kind in VALUED:
            forwards.append(render(VALUE_CHANGED, handler=N.handler(a.name), id=str(a.id), getter=a.name))
            valued.append(a)
        elif a.kind in SCALAR:
            forwards.append(render(ATTR_CHANGED, handler=N.handler(a.name), id=str(a.id)))
    return render(ADAPTER, qname=e.qname, forwards=forwards, sync=", ".join(sync + ["0"]),
                  apply=apply_table(e, valued))


def apply_table(e, valued):
    """The body of applyTable(): one applier per valued attribute, indexed
    by identifier from the lowest, null in the gaps."""
    if not valued:
        return "return nullptr;"
    first = min(a.id for a in valued)
    count = max(a.id for a in valued) - first + 1
    fns = ["nullptr,"] * count
    for a in valued:
        fns[a.id - first] = render(APPLY_FN, qname=e.qname, setter=N.setter(a.name), type=N.attr_cpp(a))
    return render(APPLY_TABLE, fns=fns, first=str(first), count=str(count))
