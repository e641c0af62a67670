"""The attribute-log adapter of an entity type: a few names per type over
the runtime's generic adapter (Orv::Entity::OrvNboAttrLogSa)."""

from . import names as N

SA_CLASS = """\
class IPMODEL_API $q$::OrvNboAttrLogSa : public Orv::NboAttrLogSaOf<$q$> {
 public:
  class OrvNboAttrLogSaAdapter_;
  using FlowOut = Orv::NboAttrLog::FlowOut;
  // The collections a resynchronisation writes whole, zero-terminated.
  static const std::uint16_t* attrIdsReqSync();
  OrvNboAttrLogSa($q$& e, std::uint32_t flags, std::uint32_t id, const Orv::Ptr<Orv::NboAttrLog::Out>& out)
      : Orv::NboAttrLogSaOf<$q$>(e, flags, id, out, attrIdsReqSync()) {}
};"""


def has_attr_log(e):
    return not e.sm and not e.counted


def public(e):
    """Declarations inside the entity class."""
    if not has_attr_log(e):
        return []
    out = [
        "Orv::Ptr<Orv::Entity::OrvNboAttrLogSa> orvNboAttrLogSaIs(std::uint32_t flags, std::uint32_t id,\n"
        "                                                       const Orv::Ptr<Orv::NboAttrLog::Out>& out) override;"
    ]
    if e.named:
        out.append("bool orvHasAttrLogInterface() const override { return true; }")
        out.append("bool hasBackupSupport() const override { return false; }")
    return out


def nested(e):
    return ["class OrvNboAttrLogSa;"] if has_attr_log(e) else []


def header(e):
    if not has_attr_log(e):
        return ""
    return SA_CLASS.replace("$q$", e.name)


def source(e):
    if not has_attr_log(e):
        return []
    q = e.qname
    fwd, sync = [], []
    for a in e.attrs:
        if a.coll is not None and a.coll.shape != "reactor":
            fwd.append(f"  void {N.handler(a.name)}({a.coll.key.param} k) override {{ sa()->orvMemberChanged({a.id}, k); }}")
            sync.append(str(a.id))
        elif a.coll is None and a.reactor is None and a.category in ("stored", "pointer"):
            fwd.append(f"  void {N.handler(a.name)}() override {{ sa()->orvAttrChanged({a.id}); }}")
    sa = f"{q}::OrvNboAttrLogSa"
    adapter = f"{sa}::OrvNboAttrLogSaAdapter_"
    return [
        f"class {adapter} : public Orv::frame::NboAttrLogSaAdapterOf<{q}> {{\n public:\n"
        f"  using NboAttrLogSaAdapterOf::NboAttrLogSaAdapterOf;\n" + "\n".join(fwd) + "\n};",
        f"const std::uint16_t* {sa}::attrIdsReqSync() {{\n"
        f"  static const std::uint16_t ids[] = {{{', '.join(sync + ['0'])}}};\n  return ids;\n}}",
        f"Orv::Ptr<Orv::Entity::OrvNboAttrLogSa> {q}::orvNboAttrLogSaIs(std::uint32_t flags, std::uint32_t id,\n"
        f"    const Orv::Ptr<Orv::NboAttrLog::Out>& out) {{\n"
        f"  return Orv::frame::nboAttrLogSaIs<OrvNboAttrLogSa, {adapter}>(*this, flags, id, out);\n}}",
    ]
