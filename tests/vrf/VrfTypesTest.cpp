// Multi-agent VRF types: the fixed agent group, clock-stamped launch status,
// the agent reinstantiation checks and the clean-up entry value.
#include <gtest/gtest.h>

#include <limits>
#include <set>
#include <string>

#include <ipmodel/Orv/Clock.h>
#include <ipmodel/VrfTypes/VrfTypes.h>

namespace {

TEST(VrfTypes, RibAgentsHoldTheFixedGroup) {
  auto agents = VrfTypes::ribVrfAgentsFactory();
  EXPECT_TRUE(agents->init());
  std::set<std::string> names;
  for (auto it = agents->agents().begin(); it != agents->agents().end(); ++it) {
    EXPECT_TRUE(it.value()) << it.key();
    names.insert(it.key());
  }
  EXPECT_EQ(names, (std::set<std::string>{"Rib", "Ospf", "Ospf3", "Isis"}));
}

TEST(VrfTypes, LaunchStatusIsStampedWithTheClock) {
  Orv::clockIs([] { return 1234.5; });
  auto status = VrfTypes::vrfProtocolLaunchStatusFactory("bgp");
  Orv::clockIs(nullptr);
  EXPECT_EQ(status->startTime(), 1234.5);
  EXPECT_EQ(status->initAgentConditionalMountsTime(), -std::numeric_limits<double>::infinity());
  EXPECT_EQ(status->loadPluginsTime(), -std::numeric_limits<double>::infinity());
  struct Log : VrfTypes::VrfProtocolLaunchStatus::NotifieeConst {
    int plugins = 0;
    void onLoadPluginsTime() override { ++plugins; }
  } log;
  log.notifierIs(status);
  status->loadPluginsTimeIs(-std::numeric_limits<double>::infinity());
  status->loadPluginsTimeIs(1240.0);
  status->loadPluginsTimeIs(1240.0);
  EXPECT_EQ(log.plugins, 1);
}

TEST(VrfTypes, AgentsAreReinstantiatedOnlyWithTheSameDirectories) {
  auto config = VrfTypes::multiAgentVrfProtoConfigFactory("config");
  auto red = config->vrfConfigIs("red");
  struct Log : VrfTypes::MultiAgentVrfProtocolEntry::NotifieeConst {
    int agent = 0;
    void onAgent(const Orv::Name&) override { ++agent; }
  } log;
  log.notifierIs(red);
  auto bgp = red->agentIs("Bgp", "/launch", "/qual");
  EXPECT_EQ(red->agentIs("Bgp", "/launch", "/qual"), bgp);
  EXPECT_EQ(log.agent, 1);
  EXPECT_EQ(bgp->launchDir(), "/launch");
  EXPECT_EQ(bgp->qualPathDir(), "/qual");

  auto message = [&](const char* launch, const char* qual) {
    try {
      red->agentIs("Bgp", launch, qual);
    } catch (const Orv::NameInUseException& e) {
      return std::string(e.what());
    }
    return std::string("no exception");
  };
  // The launch directory is checked first, even when both differ.
  EXPECT_EQ(message("/other", "/elsewhere"),
            "Reinstantiating the entity with fullName /config/vrfConfig/red/agent/Bgp where "
            "constructor parameter attribute 'launchDir' has a different value of /other than the "
            "current value of /launch not allowed");
  EXPECT_EQ(
      message("/launch", "/elsewhere"),
      "Reinstantiating the entity with fullName /config/vrfConfig/red/agent/Bgp where "
      "constructor parameter attribute 'qualPathDir' has a different value of /elsewhere than "
      "the current value of /qual not allowed");
  EXPECT_EQ(red->agent("Bgp"), bgp);
  EXPECT_EQ(red->agent().size(), 1u);
  EXPECT_EQ(log.agent, 1);
}

TEST(VrfTypes, CleanupEntriesAndIndicator) {
  EXPECT_TRUE(!VrfTypes::VrfCleanupEntry());
  const VrfTypes::VrfCleanupEntry done("isis", true);
  EXPECT_FALSE(!done);
  EXPECT_FALSE(!VrfTypes::VrfCleanupEntry("isis", false));
  EXPECT_EQ(Orv::valueToStrep(done),
            "Value('VrfTypes::VrfCleanupEntry', ** {'pluginName': isis, 'cleanupDone': true})");
  EXPECT_EQ(Orv::strepToValue<VrfTypes::VrfCleanupEntry>(Orv::valueToStrep(done)), done);

  auto indicator = VrfTypes::vrfCleanupIndicatorFactory();
  indicator->stateIs(VrfTypes::VrfCleanupEntry("isis", false));
  indicator->stateIs(done);
  EXPECT_EQ(indicator->state("isis"), done);
  EXPECT_EQ(indicator->state().size(), 1u);
  EXPECT_FALSE(indicator->doPluginCleanup());
}

}  // namespace
