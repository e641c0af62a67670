// The IP status mounter: which mounts, in which order, with which cell id,
// and what it traces.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <ipmodel/ipmodel.h>

namespace {

std::vector<std::string> rows(const Orv::Ptr<Statedb::MountGroup>& mg) {
  std::vector<std::string> r;
  for (const auto& m : mg->mounts()) r.push_back(m.path() + " " + m.typeName() + " " + m.flags());
  return r;
}

// A group whose server is not there: mounts are recorded and wait.
Orv::Ptr<Statedb::MountGroup> offline() {
  return Statedb::MountGroup::mountGroupIs("/nonexistent/statedb.sock");
}

TEST(IpStatusMounter, V4OnlyMountsLayer3FirstThenTheIpv4Trees) {
  auto mg = offline();
  Ira::IraIpStatusMounter::doMountEntities(mg, true, false);
  EXPECT_EQ(rows(mg), (std::vector<std::string>{
                          "l3/intf/input/status/system L3::Intf::Input::StatusDir r",
                          "cell/1/l3/intf/input/status-1 L3::Intf::Input::StatusDir r",
                          "ip/input/status Orv::Dir ri",
                          "cell/1/ip/input/status-1 Ip::Input::Status r",
                          "ip/status Ip::Status r",
                      }));
  EXPECT_EQ(mg->state("ip/status"), Statedb::MountState::pending);
  EXPECT_TRUE(Orv::ptr_cast<Ip::Status>(mg->entity("ip/status")));
}

TEST(IpStatusMounter, BothFamiliesInTableOrderInThisCell) {
  Cell::cellIdIs(7);
  auto mg = offline();
  Ira::IraIpStatusMounter::doMountEntities(mg, true, true);
  Cell::cellIdIs(1);
  EXPECT_EQ(rows(mg), (std::vector<std::string>{
                          "l3/intf/input/status/system L3::Intf::Input::StatusDir r",
                          "cell/7/l3/intf/input/status-7 L3::Intf::Input::StatusDir r",
                          "ip/input/status Orv::Dir ri",
                          "cell/7/ip/input/status-7 Ip::Input::Status r",
                          "ip/status Ip::Status r",
                          "ip6/input/status Orv::Dir ri",
                          "cell/7/ip6/input/status-7 Ip6::Input::Status r",
                          "ip6/status Ip6::Status r",
                      }));
}

TEST(IpStatusMounter, TracesOnItsHandleAndAsABytelogMessage) {
  std::vector<std::string> lines;
  auto old = Orv::traceSinkIs([&](const Orv::TraceRecord& r) { lines.emplace_back(r.message); });
  ASSERT_TRUE(Orv::traceLevelIs("Ira::IpStatusMounter", 8, true));
  Bytelog::defaultLog().clear();
  auto mg = offline();
  Ira::IraIpStatusMounter::doMountEntities(mg, false, true);
  Orv::traceLevelIs("Ira::IpStatusMounter", 8, false);
  Orv::traceSinkIs(old);
  const std::string want =
      "static void Ira::IraIpStatusMounter::doMountEntities(const Orv::Ptr<Statedb::MountGroup>&, "
      "bool, bool) mountV4 0 mountV6 1";
  EXPECT_EQ(lines, std::vector<std::string>{want});
  auto b = Bytelog::defaultLog().bytes();
  EXPECT_EQ(Bytelog::print(b.data(), b.size()), std::vector<std::string>{want});
  EXPECT_EQ(mg->mounts().size(), 5u);
}

TEST(IpStatusMounterDeathTest, NeitherFamilyIsAProgrammingError) {
  auto mg = offline();
  EXPECT_DEATH(Ira::IraIpStatusMounter::doMountEntities(mg, false, false),
               "mountV4 \\|\\| mountV6");
}

TEST(MountGroup, BadMountsAreRefusedAtOnce) {
  auto mg = offline();
  EXPECT_THROW(mg->doMount(Statedb::Mount("a", "No::Such", "r")), Orv::RangeException);
  EXPECT_THROW(mg->doMount(Statedb::Mount("a", "Ip::Status", "rw")), Orv::RangeException);
  mg->doMount(Statedb::Mount("a", "Ip::Status", "r"));
  EXPECT_THROW(mg->doMount(Statedb::Mount("a", "Ip::Status", "r")), Orv::RangeException);
  EXPECT_EQ(Statedb::handleFlags("ri"), Statedb::readOnlyFlag | Statedb::includeFlag);
}

}  // namespace
