"""The attribute-log adapter of an entity type: a few names per type over
the runtime's generic adapter (Orv::Entity::OrvNboAttrLogSa). Its inner
notifiee takes each change through the entities' change hooks, by attribute
identifier; stored attributes travel typed both ways through a table of
typed log functions (one row each); a resynchronisation writes the
collections whole. State machines and counted objects have none."""

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
  // The typed log functions of the stored attributes, by attribute identifier.
  static const Orv::NboAttrLog::ApplyTable* applyTable();
  OrvNboAttrLogSa($name$& e, Flags flags, std::uint32_t id, const Orv::Ptr<Orv::NboAttrLog::Out>& out)
      : Orv::NboAttrLogSaOf<$name$>(e, flags, id, out, attrIdsReqSync(), applyTable()) {}
};"""
ADAPTER = """\
class $qname$::OrvNboAttrLogSa::OrvNboAttrLogSaAdapter_ : public Orv::frame::NboAttrLogSaAdapterOf<$qname$> {
 public:
  using NboAttrLogSaAdapterOf::NboAttrLogSaAdapterOf;
};

const std::uint16_t* $qname$::OrvNboAttrLogSa::attrIdsReqSync() {
  static const std::uint16_t ids[] = {$sync$};
  return ids;
}

const Orv::NboAttrLog::ApplyTable* $qname$::OrvNboAttrLogSa::applyTable() {
  $apply$
}

Orv::Ptr<Orv::Entity::OrvNboAttrLogSa> $qname$::orvNboAttrLogSaIs(Orv::PtrInterface::NotifieeConst::Orv_BitSet flags, std::uint32_t id,
    const Orv::Ptr<Orv::NboAttrLog::Out>& out) {
  return Orv::frame::nboAttrLogSaIs<OrvNboAttrLogSa, OrvNboAttrLogSa::OrvNboAttrLogSaAdapter_>(*this, flags, id, out);
}"""
APPLY_TABLE = """\
static constexpr Orv::NboAttrLog::LogFns fns[] = {
  $fns$
};
static constexpr Orv::NboAttrLog::ApplyTable table{$first$, $count$, fns};
return &table;"""
APPLY_FN = "Orv::frame::logFns<$qname$, $type$, &$qname$::$getter$, &$qname$::$setter$>(),"

# Attribute kinds whose values travel typed both ways (pointers travel as
# entity references, resolved through the stream's peer: the generic path).
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
    """The adapter's inner notifiee (its runtime base takes every change
    through the change hooks, by attribute id), the resynchronised
    collections, its base's included, and the adapter's factory."""
    if not has_attr_log(e):
        return ""
    attrs = (e.base.attrs if e.base is not None else ()) + e.attrs
    sync = [str(a.id) for a in attrs if a.coll is not None and a.coll.shape != "reactors"]
    valued = [a for a in attrs if a.coll is None and a.kind in VALUED]
    return render(ADAPTER, qname=e.qname, sync=", ".join(sync + ["0"]), apply=apply_table(e, valued))


def apply_table(e, valued):
    """The body of applyTable(): the typed log functions of each valued
    attribute, indexed by identifier from the lowest, null in the gaps."""
    if not valued:
        return "return nullptr;"
    first = min(a.id for a in valued)
    count = max(a.id for a in valued) - first + 1
    fns = ["{},"] * count
    for a in valued:
        fns[a.id - first] = render(APPLY_FN, qname=e.qname, getter=a.name, setter=N.setter(a.name),
                                    type=N.attr_cpp(a))
    return render(APPLY_TABLE, fns=fns, first=str(first), count=str(count))
