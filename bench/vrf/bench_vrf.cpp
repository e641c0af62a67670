// Route-distinguisher decisions at scale: N VRFs, each offered a route
// distinguisher by a BGP input and by a VRF-definition input, with the
// decision machine publishing the winner in each VRF's global status. One
// iteration is one input event: a change of either input's value, or a
// withdrawal followed by the same offer again. The floor does the same work
// by hand on plain hash maps: store the input's value, look the VRF up in
// both inputs, pick the winner and store it in the VRF's status.
#include <string>
#include <unordered_map>
#include <vector>

#include <ipmodel/Ip/RouteDistinguisherSm.h>

#include "BenchMain.h"

namespace {

using Precedence = Ip::RouteDistinguisherInput::ClientPrecedence;
using Lumen::RouteDistinguisher;

std::vector<L3::VrfName> vrfNames(std::size_t n) {
  std::vector<L3::VrfName> out;
  out.reserve(n);
  for (std::size_t i = 0; i < n; ++i) out.emplace_back("vrf" + std::to_string(i));
  return out;
}

RouteDistinguisher rd(std::uint32_t n) { return RouteDistinguisher::type0(65000, n); }

struct Model {
  std::vector<L3::VrfName> names;
  Ip::AllVrfStatusGlobal::Ptr global = Ip::allVrfStatusGlobalFactory("global");
  Ip::BgpRouteDistinguisherInput::Ptr bgp = Ip::bgpRouteDistinguisherInputFactory("bgp");
  Ip::VrfDefinitionRouteDistinguisherInput::Ptr def =
      Ip::vrfDefinitionRouteDistinguisherInputFactory("config");
  Ip::RouteDistinguisherSm::Ptr sm = Ip::routeDistinguisherSmFactory(global);
  std::vector<Ip::VrfStatusGlobal::Ptr> statuses;

  explicit Model(std::size_t n) : names(vrfNames(n)) {
    sm->inputIs(bgp);
    sm->inputIs(def);
    for (std::size_t i = 0; i < n; ++i) {
      statuses.push_back(global->vrfIs(names[i]));
      bgp->routeDistinguisherIs(names[i], rd(1));
      def->routeDistinguisherIs(names[i], rd(2));
    }
  }
  ~Model() { sm->inputDelAll(); }
};

// Plain maps: each input's offers and each VRF's published choice.
struct PlainStatus {
  RouteDistinguisher rd;
  Precedence precedence = Precedence::invalid;
};
struct Plain {
  std::vector<L3::VrfName> names;
  std::unordered_map<std::string, RouteDistinguisher> bgp, def;
  std::unordered_map<std::string, PlainStatus> status;

  explicit Plain(std::size_t n) : names(vrfNames(n)) {
    for (std::size_t i = 0; i < n; ++i) {
      const std::string& k = names[i].stringValue();
      bgp.emplace(k, rd(1));
      def.emplace(k, rd(2));
      status.emplace(k, PlainStatus{rd(2), Precedence::vrfDefinition});
    }
  }
  void decide(const std::string& k) {
    auto s = status.find(k);
    if (s == status.end()) return;
    RouteDistinguisher r;
    Precedence p = Precedence::invalid;
    if (auto d = def.find(k); d != def.end()) {
      r = d->second;
      p = Precedence::vrfDefinition;
    } else if (auto b = bgp.find(k); b != bgp.end()) {
      r = b->second;
      p = Precedence::bgp;
    }
    if (!(s->second.rd == r)) s->second.rd = r;
    if (s->second.precedence != p) s->second.precedence = p;
  }
  void offer(std::unordered_map<std::string, RouteDistinguisher>& in, const std::string& k,
             const RouteDistinguisher& v) {
    auto it = in.find(k);
    if (it == in.end()) {
      in.emplace(k, v);
    } else if (!(it->second == v)) {
      it->second = v;
    } else {
      return;
    }
    decide(k);
  }
  void withdraw(std::unordered_map<std::string, RouteDistinguisher>& in, const std::string& k) {
    if (in.erase(k) != 0) decide(k);
  }
};

// Changes alternate between the inputs: the definition's change moves the
// winner's value, the BGP change is decided and loses.
void BM_RdChange(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  Model m(n);
  std::size_t i = 0;
  std::uint32_t round = 3;
  ipmodel::bench::AllocCounter allocs;
  for (auto _ : state) {
    if (round & 1) {
      m.def->routeDistinguisherIs(m.names[i], rd(round));
    } else {
      m.bgp->routeDistinguisherIs(m.names[i], rd(round));
    }
    if (++i == n) {
      i = 0;
      ++round;
    }
  }
  ipmodel::bench::allocCountersIs(state, allocs);
  if (m.statuses[0]->routeDistinguisherPrecedence() != Precedence::vrfDefinition) {
    state.SkipWithError("winner not published");
  }
}

void BM_RdChangeFloor(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  Plain p(n);
  std::size_t i = 0;
  std::uint32_t round = 3;
  for (auto _ : state) {
    p.offer((round & 1) ? p.def : p.bgp, p.names[i].stringValue(), rd(round));
    if (++i == n) {
      i = 0;
      ++round;
    }
  }
  benchmark::DoNotOptimize(p.status.size());
}

// A withdrawal and the same offer again: the winner hands over to the other
// input and takes back over.
void BM_RdWithdrawAndOffer(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  Model m(n);
  std::size_t i = 0;
  ipmodel::bench::AllocCounter allocs;
  for (auto _ : state) {
    m.def->routeDistinguisherDel(m.names[i]);
    m.def->routeDistinguisherIs(m.names[i], rd(2));
    if (++i == n) i = 0;
  }
  ipmodel::bench::allocCountersIs(state, allocs);
  if (m.statuses[0]->routeDistinguisher() != rd(2)) state.SkipWithError("winner not restored");
}

void BM_RdWithdrawAndOfferFloor(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  Plain p(n);
  std::size_t i = 0;
  for (auto _ : state) {
    const std::string& k = p.names[i].stringValue();
    p.withdraw(p.def, k);
    p.offer(p.def, k, rd(2));
    if (++i == n) i = 0;
  }
  benchmark::DoNotOptimize(p.status.size());
}

BENCHMARK(BM_RdChange)->Arg(10000);
IPMODEL_BENCHMARK_FLOOR(BM_RdChangeFloor, BM_RdChange)->Arg(10000);
BENCHMARK(BM_RdWithdrawAndOffer)->Arg(10000);
IPMODEL_BENCHMARK_FLOOR(BM_RdWithdrawAndOfferFloor, BM_RdWithdrawAndOffer)->Arg(10000);

}  // namespace

IPMODEL_BENCH_MAIN();
