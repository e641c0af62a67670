// The IPv6 unit's entries in the library's .orv.type section: every type of
// the unit listed once, together, in reverse registration order, each name
// on the boundary its size sets.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include <ipmodel/Ip6/Ip6.h>

#include "TypeSection.h"

namespace {

TEST(Ip6TypeSection, ListsTheUnitTogetherInReverseRegistrationOrder) {
  const std::string lib = typesection::libraryPath();
  ASSERT_FALSE(lib.empty());
  std::uint64_t align = 0;
  const auto entries = typesection::entries(typesection::readSection(lib, ".orv.type", align));
  ASSERT_FALSE(entries.empty());

  // The unit's names form one run.
  std::vector<std::string> listed;
  std::size_t first = entries.size(), last = 0;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (entries[i].name.rfind("Ip6::", 0) != 0) continue;
    listed.push_back(entries[i].name);
    first = std::min(first, i);
    last = i;
    EXPECT_EQ(entries[i].offset % typesection::boundaryOf(entries[i].name), 0u) << entries[i].name;
  }
  ASSERT_FALSE(listed.empty());
  EXPECT_EQ(last - first + 1, listed.size());

  std::vector<std::string> registered;
  for (const auto* t : Orv::typeNodes()) {
    if (std::string(t->name).rfind("Ip6::", 0) == 0) registered.push_back(t->name);
  }
  std::reverse(registered.begin(), registered.end());
  EXPECT_EQ(listed, registered);
  ASSERT_EQ(listed.size(), 14u);
  // 35 bytes with the NUL: on a 32-byte boundary; 13 bytes: on 8.
  EXPECT_EQ(listed.front(), "Ip6::MulticastGroupsForApplications");
  EXPECT_EQ(listed.back(), "Ip6::TristateBool");
}

}  // namespace
