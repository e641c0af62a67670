// One address change travelling from an interface status through the
// family-neutral view to a generic source-interface record, with N
// interfaces watched by the generic interface machine (one VRF), the generic
// status machine (whole system) and a generic source-interface machine that
// has every interface registered. Each iteration changes one interface's
// active address (round robin, always a real change).
//
// The floor does the same work by hand: store the address; for the VRF
// view clear, name and count the change; for the system view name, count
// and clear it; find the record by interface name and copy the generic
// address into it.
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <ipmodel/IpGen/IpGenIntfSm.h>
#include <ipmodel/IpGen/IpGenStatusSm.h>
#include <ipmodel/SrcIntf/SrcGenIntf.h>

#include "BenchMain.h"

namespace {

Lumen::IntfId intfName(std::size_t i) { return Lumen::IntfId("Ethernet" + std::to_string(i)); }

struct Model {
  L3::Intf::Input::StatusDir::Ptr l3 = L3::Intf::Input::statusDirFactory("l3");
  Ip::Input::Status::Ptr input = Ip::Input::statusFactory("input");
  Ip::Status::Ptr status = Ip::statusFactory("status");
  Ip::VrfIpIntfStatus::Ptr vrf = status->vrfIpIntfStatusIs(L3::VrfName("default"));
  IpGen::Status::Ptr genStatus = IpGen::ipv4StatusFactory(status);
  IpGen::IntfStatus::Ptr genIntfStatus = IpGen::ipv4IntfStatusFactory(vrf);
  IpGen::StatusSm::Ptr statusSm = IpGen::statusSmFactory(genStatus);
  IpGen::IntfSm::Ptr intfSm = IpGen::intfSmFactory(genIntfStatus);
  IpGen::SourceIntf::SourceIntfDir::Ptr dir = IpGen::SourceIntf::sourceIntfDirFactory("dir");
  IpGen::SourceIntf::SourceIntfSm::Ptr sm =
      IpGen::SourceIntf::SourceIntfSm::SourceIntfSmIs(dir, genStatus);
  std::vector<Ip::IpIntfStatus::Ptr> intfs;
  std::vector<IpGen::SourceIntf::SourceIntf::Ptr> records;

  explicit Model(std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) {
      auto id = intfName(i);
      auto s = input->ipIntfStatusIs(id, l3->intfStatusIs(id));
      status->ipIntfStatusIs(s);
      vrf->ipIntfStatusIs(s);
      intfs.push_back(s);
      records.push_back(sm->registerSourceIntf(id));
    }
  }
  ~Model() {
    for (auto& r : records) sm->unregisterSourceIntf(r);
  }
};

void BM_AddressChangeToGenericRecord(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  Model m(n);
  const Lumen::IpAddrWithMask a("10.0.0.1/24"), b("10.0.0.2/24");
  std::size_t i = 0;
  bool flip = false;
  ipmodel::bench::AllocCounter allocs;
  for (auto _ : state) {
    m.intfs[i]->activeAddrWithMaskIs(flip ? a : b);
    benchmark::DoNotOptimize(m.records[i]->ipAddr());
    if (++i == n) {
      i = 0;
      flip = !flip;
    }
  }
  ipmodel::bench::allocCountersIs(state, allocs);
  if (m.records[0]->ipAddr() == Lumen::IpGenAddr()) state.SkipWithError("record did not follow");
  if (m.genStatus->activeAddrChanged() == 0 || m.genIntfStatus->activeAddrChanged() == 0) {
    state.SkipWithError("generic counters did not move");
  }
}

// The same work without reactors: plain structs for the generic views.
struct PlainGeneric {
  L3::VrfName changedVrf;
  Lumen::IntfId changedIntf;
  Lumen::IpGenAddrWithMask changedAddr;
  std::uint32_t addrChanged = 0;
  std::uint32_t activeAddrChanged = 0;
};
struct PlainRecord {
  Lumen::IpGenAddr ipAddr;
};
struct PlainStatus {
  Lumen::IntfId intfId;
  Lumen::IpAddrWithMask active;
};

void BM_AddressChangeToGenericRecordFloor(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  std::unordered_map<Lumen::IntfId, std::unique_ptr<PlainStatus>> statuses;
  std::unordered_map<Lumen::IntfId, std::unique_ptr<PlainRecord>> records;
  std::vector<PlainStatus*> order;
  for (std::size_t i = 0; i < n; ++i) {
    auto id = intfName(i);
    auto s = std::make_unique<PlainStatus>(PlainStatus{id, {}});
    order.push_back(s.get());
    statuses.emplace(id, std::move(s));
    records.emplace(id, std::make_unique<PlainRecord>());
  }
  PlainGeneric vrfView, systemView;
  const Lumen::IpAddrWithMask a("10.0.0.1/24"), b("10.0.0.2/24");
  std::size_t i = 0;
  bool flip = false;
  for (auto _ : state) {
    PlainStatus* s = order[i];
    const auto& v = flip ? a : b;
    if (!(s->active == v)) {
      s->active = v;
      // The VRF view: clear, name, count.
      vrfView.changedIntf = Lumen::IntfId();
      vrfView.changedAddr = Lumen::IpGenAddrWithMask();
      vrfView.changedIntf = s->intfId;
      vrfView.changedAddr = v;
      ++vrfView.addrChanged;
      ++vrfView.activeAddrChanged;
      // The system view: name, count (the record follows), clear.
      systemView.changedIntf = s->intfId;
      systemView.changedAddr = v;
      ++systemView.addrChanged;
      ++systemView.activeAddrChanged;
      auto r = records.find(systemView.changedIntf);
      auto st = statuses.find(systemView.changedIntf);
      if (r != records.end() && st != statuses.end()) {
        const Lumen::IpGenAddr addr(st->second->active.address());
        if (!(r->second->ipAddr == addr)) r->second->ipAddr = addr;
      }
      systemView.changedVrf = L3::VrfName();
      systemView.changedIntf = Lumen::IntfId();
      systemView.changedAddr = Lumen::IpGenAddrWithMask();
    }
    benchmark::DoNotOptimize(vrfView);
    benchmark::DoNotOptimize(systemView);
    if (++i == n) {
      i = 0;
      flip = !flip;
    }
  }
}

// IPv6: the link-local address is the generic view's active address, so a
// change is two events, the old one removed and the new one added (which
// allocates its collection node). Whole-system machines only.
struct Model6 {
  L3::Intf::Input::StatusDir::Ptr l3 = L3::Intf::Input::statusDirFactory("l3");
  Ip6::Input::Status::Ptr input = Ip6::Input::statusFactory("input");
  Ip6::Status::Ptr status = Ip6::statusFactory("status");
  IpGen::Status::Ptr genStatus = IpGen::ipv6StatusFactory(status);
  IpGen::StatusSm::Ptr statusSm = IpGen::statusSmFactory(genStatus);
  IpGen::SourceIntf::SourceIntfDir::Ptr dir = IpGen::SourceIntf::sourceIntfDirFactory("dir");
  IpGen::SourceIntf::SourceIntfSm::Ptr sm =
      IpGen::SourceIntf::SourceIntfSm::SourceIntfSmIs(dir, genStatus);
  std::vector<Ip6::IntfStatus::Ptr> intfs;
  std::vector<IpGen::SourceIntf::SourceIntf::Ptr> records;

  explicit Model6(std::size_t n, const Lumen::Ip6AddrWithMask& first) {
    for (std::size_t i = 0; i < n; ++i) {
      auto id = intfName(i);
      auto s = input->intfIs(id, l3->intfStatusIs(id));
      s->addrIs(Ip6::AddressInfo(first));
      status->intfIs(s);
      intfs.push_back(s);
      records.push_back(sm->registerSourceIntf(id));
    }
  }
  ~Model6() {
    for (auto& r : records) sm->unregisterSourceIntf(r);
  }
};

void BM_LinkLocalChangeToGenericRecord(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  const Lumen::Ip6AddrWithMask a("fe80::1/64"), b("fe80::2/64");
  Model6 m(n, a);
  std::size_t i = 0;
  bool flip = false;
  ipmodel::bench::AllocCounter allocs;
  for (auto _ : state) {
    const auto& from = flip ? b : a;
    const auto& to = flip ? a : b;
    m.intfs[i]->addrDel(from);
    m.intfs[i]->addrIs(Ip6::AddressInfo(to));
    benchmark::DoNotOptimize(m.records[i]->ipAddr());
    if (++i == n) {
      i = 0;
      flip = !flip;
    }
  }
  ipmodel::bench::allocCountersIs(state, allocs);
  if (!m.records[0]->ipAddr().isV6()) state.SkipWithError("record did not follow");
}

struct PlainStatus6 {
  Lumen::IntfId intfId;
  std::unordered_map<Lumen::Ip6AddrWithMask, bool> addrs;
  Lumen::Ip6AddrWithMask linkLocal() const {
    for (const auto& [k, v] : addrs) {
      if (k.address().isLinkLocal()) return k;
    }
    return {};
  }
};

void BM_LinkLocalChangeToGenericRecordFloor(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  const Lumen::Ip6AddrWithMask a("fe80::1/64"), b("fe80::2/64");
  std::unordered_map<Lumen::IntfId, std::unique_ptr<PlainStatus6>> statuses;
  std::unordered_map<Lumen::IntfId, std::unique_ptr<PlainRecord>> records;
  std::vector<PlainStatus6*> order;
  for (std::size_t i = 0; i < n; ++i) {
    auto id = intfName(i);
    auto s = std::make_unique<PlainStatus6>();
    s->intfId = id;
    s->addrs.emplace(a, true);
    order.push_back(s.get());
    statuses.emplace(id, std::move(s));
    records.emplace(id, std::make_unique<PlainRecord>());
  }
  PlainGeneric systemView;
  // One announced change: name, count (the record follows), clear.
  auto announce = [&](PlainStatus6* s, const Lumen::Ip6AddrWithMask& changed) {
    systemView.changedIntf = s->intfId;
    systemView.changedAddr = changed;
    ++systemView.addrChanged;
    ++systemView.activeAddrChanged;
    auto r = records.find(systemView.changedIntf);
    auto st = statuses.find(systemView.changedIntf);
    if (r != records.end() && st != statuses.end()) {
      const Lumen::IpGenAddr addr = Lumen::IpGenAddrWithMask(st->second->linkLocal()).ipGenAddr();
      if (!(r->second->ipAddr == addr)) r->second->ipAddr = addr;
    }
    systemView.changedIntf = Lumen::IntfId();
    systemView.changedAddr = Lumen::IpGenAddrWithMask();
  };
  std::size_t i = 0;
  bool flip = false;
  for (auto _ : state) {
    PlainStatus6* s = order[i];
    const auto& from = flip ? b : a;
    const auto& to = flip ? a : b;
    if (s->addrs.erase(from)) announce(s, from);
    if (s->addrs.emplace(to, true).second) announce(s, to);
    benchmark::DoNotOptimize(systemView);
    if (++i == n) {
      i = 0;
      flip = !flip;
    }
  }
}

BENCHMARK(BM_AddressChangeToGenericRecord)->Arg(1000)->Arg(100000);
IPMODEL_BENCHMARK_FLOOR(BM_AddressChangeToGenericRecordFloor, BM_AddressChangeToGenericRecord)
    ->Arg(1000)
    ->Arg(100000);
BENCHMARK(BM_LinkLocalChangeToGenericRecord)->Arg(1000)->Arg(100000);
IPMODEL_BENCHMARK_FLOOR(BM_LinkLocalChangeToGenericRecordFloor, BM_LinkLocalChangeToGenericRecord)
    ->Arg(1000)
    ->Arg(100000);

}  // namespace

IPMODEL_BENCH_MAIN();
