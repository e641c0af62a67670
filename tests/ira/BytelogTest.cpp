// Bytelog: messages come back as the text printf would have made, bad bytes
// are refused, a full log drops instead of growing.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <ipmodel/ipmodel.h>

namespace {

std::vector<std::string> text(const Bytelog::Log& log) {
  auto b = log.bytes();
  return Bytelog::print(b.data(), b.size());
}

TEST(Bytelog, MessagesPrintWithTheirArguments) {
  Bytelog::Log log;
  const std::string name = "Ethernet1";
  log.msg("intf %s up %u", name, true);
  log.msg("delta %d of %lu (100%%)", -3, std::uint64_t(1) << 40);
  log.msg("intf %s up %u", std::string("Ethernet2"), false);  // the format is written once
  log.msg("no arguments %s");
  EXPECT_EQ(text(log),
            (std::vector<std::string>{"intf Ethernet1 up 1", "delta -3 of 1099511627776 (100%)",
                                      "intf Ethernet2 up 0", "no arguments <missing>"}));
}

TEST(Bytelog, BadBytesAndAFullLog) {
  Bytelog::Log log;
  log.msg("x %u", 1u);
  auto b = log.bytes();
  const std::size_t formatEnd = 1 + 4 + 4 + 4;  // the format record alone is a whole log
  for (std::size_t cut = 1; cut < b.size(); ++cut) {
    if (cut == formatEnd) continue;
    EXPECT_THROW(Bytelog::print(b.data(), cut), Orv::NboAttrLogException) << cut;
  }
  const std::uint8_t undefined[] = {2, 0, 0, 0, 9, 0};
  EXPECT_THROW(Bytelog::print(undefined, sizeof undefined), Orv::NboAttrLogException);
  const std::uint8_t kind[] = {7, 0, 0, 0, 1};
  EXPECT_THROW(Bytelog::print(kind, sizeof kind), Orv::NboAttrLogException);

  Bytelog::Log small(16);
  for (int i = 0; i < 10; ++i) small.msg("message %d", i);
  EXPECT_EQ(text(small).size(), 1u);
  EXPECT_EQ(small.dropped(), 9u);
}

}  // namespace
