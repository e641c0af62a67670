// The route-distinguisher decision: the published winner must equal the
// rule (highest precedence, then first input name) applied to the inputs'
// current entries, after every event and in every order of events.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include <ipmodel/Ip/RouteDistinguisherSm.h>

namespace {

using Precedence = Ip::RouteDistinguisherInput::ClientPrecedence;
using Lumen::RouteDistinguisher;

const L3::VrfName kRed("red");

RouteDistinguisher rd(std::uint32_t n) { return RouteDistinguisher::type0(65000, n); }

// The rule, computed from scratch.
std::pair<RouteDistinguisher, Precedence> expected(
    const std::vector<Orv::Ptr<Ip::RouteDistinguisherInput>>& inputs, const L3::VrfName& vrf) {
  const Ip::RouteDistinguisherInput* best = nullptr;
  for (const auto& in : inputs) {
    if (!in->routeDistinguisher().contains(vrf)) continue;
    if (!best || in->clientPrecedence() > best->clientPrecedence() ||
        (in->clientPrecedence() == best->clientPrecedence() && in->name() < best->name())) {
      best = in.ptr();
    }
  }
  if (!best) return {RouteDistinguisher(), Precedence::invalid};
  return {best->routeDistinguisher(vrf), best->clientPrecedence()};
}

struct Fixture {
  Ip::AllVrfStatusGlobal::Ptr global = Ip::allVrfStatusGlobalFactory("global");
  Ip::VrfStatusGlobal::Ptr red = global->vrfIs(kRed);
  Ip::RouteDistinguisherSm::Ptr sm = Ip::routeDistinguisherSmFactory(global);
  std::vector<Orv::Ptr<Ip::RouteDistinguisherInput>> inputs{
      Ip::bgpRouteDistinguisherInputFactory("bgp-a"),
      Ip::bgpRouteDistinguisherInputFactory("bgp-b"),
      Ip::vrfDefinitionRouteDistinguisherInputFactory("config"),
  };
  Fixture() {
    for (const auto& in : inputs) sm->inputIs(in);
  }
  ~Fixture() { sm->inputDelAll(); }
  void check(const std::string& where) const {
    auto [r, p] = expected(inputs, kRed);
    EXPECT_EQ(red->routeDistinguisher(), r) << where;
    EXPECT_EQ(red->routeDistinguisherPrecedence(), p) << where;
  }
};

TEST(RouteDistinguisherSm, EveryOrderOfAdditionsChangesAndWithdrawals) {
  // Each input offers, changes and withdraws; all 9! orders would be too
  // many, so every permutation of one offer per input plus two changes and
  // two withdrawals (each withdrawal of an input after its own offer) is run.
  struct Op {
    int input;
    int kind;  // 0 offer, 1 change, 2 withdraw
  };
  std::vector<Op> ops{{0, 0}, {1, 0}, {2, 0}, {2, 1}, {0, 1}, {2, 2}, {0, 2}};
  std::vector<int> order(ops.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = static_cast<int>(i);
  int runs = 0;
  do {
    // An input's change and withdrawal come after its offer, and its
    // withdrawal after its change.
    auto pos = [&](int input, int kind) {
      for (std::size_t i = 0; i < order.size(); ++i) {
        if (ops[order[i]].input == input && ops[order[i]].kind == kind) return i;
      }
      return order.size();
    };
    bool valid = true;
    for (int in = 0; in < 3 && valid; ++in) {
      std::size_t offer = pos(in, 0), change = pos(in, 1), withdraw = pos(in, 2);
      if (change < order.size() && change < offer) valid = false;
      if (withdraw < order.size() &&
          (withdraw < offer || (change < order.size() && withdraw < change)))
        valid = false;
    }
    if (!valid) continue;
    ++runs;
    Fixture f;
    std::string trail;
    for (int i : order) {
      const Op& op = ops[i];
      const auto& in = f.inputs[op.input];
      if (op.kind == 2) {
        in->routeDistinguisherDel(kRed);
      } else {
        in->routeDistinguisherIs(kRed, rd(static_cast<std::uint32_t>(10 * op.input + op.kind + 1)));
      }
      trail += " " + std::to_string(op.input) + "/" + std::to_string(op.kind);
      f.check(trail);
    }
    // At the end only bgp-b still offers.
    EXPECT_EQ(f.red->routeDistinguisherPrecedence(), Precedence::bgp);
    EXPECT_EQ(f.red->routeDistinguisher(), rd(11));
  } while (std::next_permutation(order.begin(), order.end()));
  EXPECT_GT(runs, 100);
}

TEST(RouteDistinguisherSm, InputsAndVrfsComingAndGoing) {
  Fixture f;
  auto& bgpA = f.inputs[0];
  auto& config = f.inputs[2];
  config->routeDistinguisherIs(kRed, rd(1));
  bgpA->routeDistinguisherIs(kRed, rd(2));
  EXPECT_EQ(f.red->routeDistinguisher(), rd(1));

  // Removing the winning input hands over; adding it back takes over again
  // with the entries it already holds.
  f.sm->inputDel(config->name());
  EXPECT_EQ(f.red->routeDistinguisher(), rd(2));
  EXPECT_EQ(f.red->routeDistinguisherPrecedence(), Precedence::bgp);
  f.sm->inputIs(config);
  EXPECT_EQ(f.red->routeDistinguisher(), rd(1));

  // A VRF added to the status later gets the decision at once; VRFs the
  // status does not hold are never created.
  const L3::VrfName blue("blue");
  bgpA->routeDistinguisherIs(blue, rd(3));
  EXPECT_FALSE(f.global->vrf(blue));
  auto blueStatus = f.global->vrfIs(blue);
  EXPECT_EQ(blueStatus->routeDistinguisher(), rd(3));
  EXPECT_EQ(blueStatus->routeDistinguisherPrecedence(), Precedence::bgp);

  // An input replaced by another entity of the same name: VRFs only the old
  // one held are decided without it.
  auto config2 = Ip::vrfDefinitionRouteDistinguisherInputFactory("config");
  config2->routeDistinguisherIs(blue, rd(4));
  f.sm->inputIs(config2);
  EXPECT_EQ(f.red->routeDistinguisher(), rd(2));
  EXPECT_EQ(f.red->routeDistinguisherPrecedence(), Precedence::bgp);
  EXPECT_EQ(blueStatus->routeDistinguisher(), rd(4));
  EXPECT_EQ(blueStatus->routeDistinguisherPrecedence(), Precedence::vrfDefinition);
  f.sm->inputIs(config);
  EXPECT_EQ(f.red->routeDistinguisher(), rd(1));
  EXPECT_EQ(blueStatus->routeDistinguisher(), rd(3));

  // The last withdrawal clears the status.
  f.sm->inputDelAll();
  EXPECT_EQ(f.red->routeDistinguisher(), RouteDistinguisher());
  EXPECT_EQ(f.red->routeDistinguisherPrecedence(), Precedence::invalid);
  EXPECT_EQ(blueStatus->routeDistinguisherPrecedence(), Precedence::invalid);

  // A machine built over existing inputs and status decides at once; once
  // it is gone, nothing is written.
  auto sm2 = Ip::routeDistinguisherSmFactory(f.global);
  sm2->inputIs(config);
  EXPECT_EQ(f.red->routeDistinguisher(), rd(1));
  sm2 = nullptr;
  config->routeDistinguisherIs(kRed, rd(9));
  EXPECT_EQ(f.red->routeDistinguisher(), rd(1));
}

TEST(RouteDistinguisherSm, ReadersSeeTheRouteDistinguisherBeforeThePrecedence) {
  Fixture f;
  struct StatusLog : Ip::VrfStatusGlobal::NotifieeConst {
    std::vector<std::string> seen;
    void onRouteDistinguisherPrecedence() override {
      seen.push_back(stringValue(notifier()->routeDistinguisherPrecedence()) + " " +
                     Orv::valueToStrep(notifier()->routeDistinguisher()));
    }
  } log;
  log.notifierIs(f.red);
  f.inputs[1]->routeDistinguisherIs(kRed, rd(5));
  f.inputs[1]->routeDistinguisherIs(kRed, rd(6));  // same precedence: no precedence change
  f.inputs[2]->routeDistinguisherIs(kRed, rd(7));
  EXPECT_EQ(log.seen, (std::vector<std::string>{"bgp 65000:5", "vrfDefinition 65000:7"}));
}

}  // namespace
