// One address change travelling from an interface status to the
// source-interface record that follows it, with N interfaces registered in
// the whole-system machine. The floor does the same work by hand: store the
// address, find the record and the status by interface name, copy the
// address over.
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <ipmodel/SrcIntf/SrcIntf.h>

#include "BenchMain.h"

namespace {

Lumen::IntfId intfName(std::size_t i) { return Lumen::IntfId("Ethernet" + std::to_string(i)); }

struct Model {
  L3::Intf::Input::StatusDir::Ptr l3 = L3::Intf::Input::statusDirFactory("l3");
  Ip::Input::Status::Ptr input = Ip::Input::statusFactory("input");
  Ip::Status::Ptr status = Ip::statusFactory("status");
  Ip::SourceIntf::SourceIntfDir::Ptr dir = Ip::SourceIntf::sourceIntfDirFactory("dir");
  Ip::SourceIntf::SourceIntfSm::Ptr sm;
  std::vector<Ip::IpIntfStatus::Ptr> intfs;
  std::vector<Ip::SourceIntf::SourceIntf::Ptr> records;

  explicit Model(std::size_t n) {
    sm = Ip::SourceIntf::SourceIntfSm::SourceIntfSmIs(dir, status);
    for (std::size_t i = 0; i < n; ++i) {
      auto id = intfName(i);
      auto s = input->ipIntfStatusIs(id, l3->intfStatusIs(id));
      status->ipIntfStatusIs(s);
      intfs.push_back(s);
      records.push_back(sm->registerSourceIntf(id));
    }
  }
  ~Model() {
    for (auto& r : records) sm->unregisterSourceIntf(r);
  }
};

void BM_AddressChangeToRecord(benchmark::State& state) {
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
  if (m.records[0]->ipAddr().isUnspecified()) state.SkipWithError("record did not follow");
}

// The same work without reactors.
struct PlainRecord {
  Lumen::IpAddr ipAddr;
};
struct PlainStatus {
  Lumen::IntfId intfId;
  Lumen::IpAddrWithMask active;
};

void BM_AddressChangeToRecordFloor(benchmark::State& state) {
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
  const Lumen::IpAddrWithMask a("10.0.0.1/24"), b("10.0.0.2/24");
  std::size_t i = 0;
  bool flip = false;
  for (auto _ : state) {
    PlainStatus* s = order[i];
    const auto& v = flip ? a : b;
    if (!(s->active == v)) {
      s->active = v;
      auto r = records.find(s->intfId);
      auto st = statuses.find(s->intfId);
      if (r != records.end() && st != statuses.end()) {
        const Lumen::IpAddr addr = st->second->active.address();
        if (!(r->second->ipAddr == addr)) r->second->ipAddr = addr;
      }
    }
    benchmark::DoNotOptimize(records.size());
    if (++i == n) {
      i = 0;
      flip = !flip;
    }
  }
}

BENCHMARK(BM_AddressChangeToRecord)->Arg(1000)->Arg(100000);
IPMODEL_BENCHMARK_FLOOR(BM_AddressChangeToRecordFloor, BM_AddressChangeToRecord)
    ->Arg(1000)
    ->Arg(100000);

}  // namespace

IPMODEL_BENCH_MAIN();
