// The IP status mounter: the layer-3 input statuses of this cell and of the
// system, then per address family the input status directory, this cell's
// input status and the status.
#include <ipmodel/Ira/IpStatusMounter.h>

#include <cstdio>

#include <ipmodel/Bytelog/Bytelog.h>
#include <ipmodel/Orv/Assert.h>
#include <ipmodel/Orv/Trace.h>
#include <ipmodel/Statedb/Cell.h>

namespace Ira {

namespace {

Orv::TraceHandle trace("Ira::IpStatusMounter");

constexpr const char* kMount =
    "static void Ira::IraIpStatusMounter::doMountEntities(const Orv::Ptr<Statedb::MountGroup>&, "
    "bool, bool)";

std::string cellPath(const char* format, std::uint32_t cell) {
  char buf[96];
  std::snprintf(buf, sizeof buf, format, cell, cell);
  return buf;
}

void mount(const Orv::Ptr<Statedb::MountGroup>& mg, const std::string& path, const char* type,
           const char* flags) {
  mg->doMount(Statedb::Mount(path, type, flags), Statedb::MountFilter(false),
              Statedb::handleFlags(flags));
}

}  // namespace

void IraIpStatusMounter::doMountEntities(const Orv::Ptr<Statedb::MountGroup>& mg, bool mountV4,
                                         bool mountV6) {
  ORV_TRACE_FN(trace, 8, kMount, kMount << " mountV4 " << mountV4 << " mountV6 " << mountV6);
  Bytelog::defaultLog().msg("%s mountV4 %u mountV6 %u", kMount, mountV4, mountV6);
  ORV_ASSERT(mountV4 || mountV6);
  const std::uint32_t cell = Cell::cellId();
  mount(mg, "l3/intf/input/status/system", "L3::Intf::Input::StatusDir", "r");
  mount(mg, cellPath("cell/%u/l3/intf/input/status-%u", cell), "L3::Intf::Input::StatusDir", "r");
  if (mountV4) {
    mount(mg, "ip/input/status", "Orv::Dir", "ri");
    mount(mg, cellPath("cell/%u/ip/input/status-%u", cell), "Ip::Input::Status", "r");
    mount(mg, "ip/status", "Ip::Status", "r");
  }
  if (mountV6) {
    mount(mg, "ip6/input/status", "Orv::Dir", "ri");
    mount(mg, cellPath("cell/%u/ip6/input/status-%u", cell), "Ip6::Input::Status", "r");
    mount(mg, "ip6/status", "Ip6::Status", "r");
  }
}

}  // namespace Ira
