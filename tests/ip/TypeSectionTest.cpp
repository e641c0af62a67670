// The library file lists the qualified name of every type it defines in its
// .orv.type section: NUL-terminated strings, each on a boundary set by its
// size, unit by unit in reverse registration order, gaps zero.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include <ipmodel/Ip/Ip.h>

#include "TypeSection.h"

namespace {

// Types of the IPv4 unit (the source-interface unit shares the namespace).
bool inIpUnit(const std::string& n) {
  // The IPv4 unit's own types: not the source-interface or decision machines.
  return n.rfind("Ip::", 0) == 0 && n.rfind("Ip::SourceIntf::", 0) != 0 &&
         n != "Ip::RouteDistinguisherSm";
}

TEST(TypeSection, ListsEveryTypeAlignedByItsSize) {
  const std::string lib = typesection::libraryPath();
  ASSERT_FALSE(lib.empty());
  std::uint64_t align = 0;
  auto sec = typesection::readSection(lib, ".orv.type", align);
  ASSERT_FALSE(sec.empty()) << "no .orv.type section in " << lib;
  EXPECT_GE(align, 32u);

  std::vector<std::string> listed;
  for (const auto& e : typesection::entries(sec)) {
    EXPECT_EQ(e.offset % typesection::boundaryOf(e.name), 0u)
        << e.name << " at offset " << e.offset;
    listed.push_back(e.name);
  }

  // Every type registered by the library is listed once.
  std::set<std::string> registered;
  for (const auto* t : Orv::typeNodes()) registered.insert(t->name);
  std::set<std::string> listedSet(listed.begin(), listed.end());
  EXPECT_EQ(listedSet.size(), listed.size());
  for (const auto& n : registered) {
    if (n.rfind("Kitchen::", 0) == 0) continue;
    EXPECT_TRUE(listedSet.count(n)) << n << " registered but not listed";
  }

  // The IPv4 unit's names stand together, in reverse registration order.
  std::vector<std::string> ipListed, ipRegistered;
  for (const auto& n : listed) {
    if (inIpUnit(n)) ipListed.push_back(n);
  }
  for (const auto* t : Orv::typeNodes()) {
    if (inIpUnit(t->name)) ipRegistered.push_back(t->name);
  }
  std::reverse(ipRegistered.begin(), ipRegistered.end());
  EXPECT_EQ(ipListed, ipRegistered);
  ASSERT_GE(ipListed.size(), 4u);
  EXPECT_EQ(std::vector<std::string>(ipListed.begin(), ipListed.begin() + 4),
            (std::vector<std::string>{"Ip::BgpRouteDistinguisherInput", "Ip::IpInputStatusDir",
                                      "Ip::IpAddrScope", "Ip::VrfStatusGlobal"}));
}

}  // namespace
