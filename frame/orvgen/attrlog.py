"""The attribute-log adapter of an entity type: a few names per type over
the runtime's generic adapter (Orv::Entity::OrvNboAttrLogSa). Its inner
notifiee forwards each change by attribute identifier; a resynchronisation
writes the collections whole. State machines and counted objects have none."""

from . import names as N
from .writer import render

SA_NESTED = "class OrvNboAttrLogSa;"
SA_IS_DECL = """\
Orv::Ptr<Orv::Entity::OrvNboAttrLogSa> orvNboAttrLogSaIs(Orv::PtrInterface::NotifieeConst::Orv_BitSet flags, std::uint32_t id,
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
  OrvNboAttrLogSa($name$& e, Flags flags, std::uint32_t id, const Orv::Ptr<Orv::NboAttrLog::Out>& out)
      : Orv::NboAttrLogSaOf<$name$>(e, flags, id, out, attrIdsReqSync()) {}
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

Orv::Ptr<Orv::Entity::OrvNboAttrLogSa> $qname$::orvNboAttrLogSaIs(Orv::PtrInterface::NotifieeConst::Orv_BitSet flags, std::uint32_t id,
    const Orv::Ptr<Orv::NboAttrLog::Out>& out) {
  return Orv::frame::nboAttrLogSaIs<OrvNboAttrLogSa, OrvNboAttrLogSa::OrvNboAttrLogSaAdapter_>(*this, flags, id, out);
}"""
MEMBER_CHANGED = "void $handler$($key$ k) override { sa()->orvMemberChanged($id$, k); }"
ATTR_CHANGED = "void $handler$() override { sa()->orvAttrChanged($id$); }"

# Attribute kinds whose changes the adapter writes one by one.
SCALAR = ("stored", "ranged", "counter", "pointer")


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
    forwards, sync = [], []
    for a in (e.base.attrs if e.base is not None else ()) + e.attrs:
        if a.coll is not None and a.coll.shape != "reactors":
            forwards.append(render(MEMBER_CHANGED, handler=N.handler(a.name), key=N.param(a.coll.key), id=str(a.id)))
            sync.append(str(a.id))
        elif a.kind in SCALAR:
            forwards.append(render(ATTR_CHANGED, handler=N.handler(a.name), id=str(a.id)))
    return render(ADAPTER, qname=e.qname, forwards=forwards, sync=", ".join(sync + ["0"]))
