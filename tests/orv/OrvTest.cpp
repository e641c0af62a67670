// Framework pieces below the generated code: counted pointers and their
// thread-safe switch, assertions, built-in text forms, attribute-log streams,
// type-erased values and the registry.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <thread>
#include <vector>

#include <ipmodel/Orv/Orv.h>

namespace {

struct Counted : Orv::PtrInterface, Orv::AllocTracked<Counted> {
  int* deaths;
  explicit Counted(int* d) : deaths(d) {}
  ~Counted() override { ++*deaths; }
};

TEST(OrvPtr, CountsReferencesAndDestroysAtZero) {
  int deaths = 0;
  Orv::Ptr<Counted> a(new Counted(&deaths));
  EXPECT_EQ(a->references(), 1u);
  {
    Orv::Ptr<Counted> b = a;
    Orv::Ptr<const Counted> c = b;
    EXPECT_EQ(a->references(), 3u);
    Orv::Ptr<Counted> d = std::move(b);
    EXPECT_FALSE(b);
    EXPECT_EQ(a->references(), 3u);
  }
  EXPECT_EQ(a->references(), 1u);
  EXPECT_EQ(Orv::allocTrack<Counted>().liveObjects(), 1u);
  a = nullptr;
  EXPECT_EQ(deaths, 1);
  EXPECT_EQ(Orv::allocTrack<Counted>().liveObjects(), 0u);
}

TEST(OrvPtr, ThreadSafeSwitchMakesCountsAtomic) {
  int deaths = 0;
  Orv::threadSafePtrsIs(true);
  {
    Orv::Ptr<Counted> shared(new Counted(&deaths));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&] {
        for (int i = 0; i < 100000; ++i) {
          Orv::Ptr<Counted> copy = shared;
          if (!copy) std::abort();
        }
      });
    }
    for (auto& th : threads) th.join();
    EXPECT_EQ(shared->references(), 1u);
  }
  Orv::threadSafePtrsIs(false);
  EXPECT_EQ(deaths, 1);
}

TEST(OrvAssertDeathTest, StaysOnAndNamesExpressionAndFunction) {
  // This build defines NDEBUG (RelWithDebInfo); the assertion still fires.
  auto broken = [](int v) { ORV_ASSERT(v == 1); };
  EXPECT_DEATH(broken(2), "Assertion `v == 1' failed");
  EXPECT_DEATH(broken(2), "TestBody");
  EXPECT_DEATH(ORV_ASSERT_IN(1 + 1 == 3, "void Some::handler()"), "void Some::handler\\(\\)");
}

TEST(OrvStrep, BuiltinTextForms) {
  EXPECT_EQ(Orv::valueToStrep(true), "true");
  EXPECT_EQ(Orv::valueToStrep(std::uint8_t(200)), "200");
  EXPECT_EQ(Orv::valueToStrep(std::int32_t(-1)), "-1");
  EXPECT_EQ(Orv::valueToStrep(0.1), "0.1");
  EXPECT_EQ(Orv::valueToStrep(-std::numeric_limits<double>::infinity()), "-inf");
  EXPECT_EQ(Orv::valueToStrep(Orv::Ptr<Counted>()), "null");
  EXPECT_EQ(Orv::strepToValue<bool>("false"), false);
  EXPECT_EQ(Orv::strepToValue<std::uint16_t>("65535"), 65535);
  EXPECT_THROW(Orv::strepToValue<std::uint16_t>("65536"), Orv::StrepReadException);
  EXPECT_THROW(Orv::strepToValue<std::uint16_t>("-1"), Orv::StrepReadException);
  EXPECT_THROW(Orv::strepToValue<std::uint32_t>(" 1"), Orv::StrepReadException);
  EXPECT_THROW(Orv::strepToValue<bool>("True"), Orv::StrepReadException);
  EXPECT_EQ(Orv::strepToValue<double>("-inf"), -std::numeric_limits<double>::infinity());
  EXPECT_TRUE(std::isnan(Orv::strepToValue<double>("nan")));
  EXPECT_EQ(Orv::strepToValue<double>(Orv::valueToStrep(1.0 / 3)), 1.0 / 3);
  EXPECT_EQ(Orv::strepToValue<std::string>("any text"), "any text");
}

TEST(OrvNboAttrLog, NetworkOrderRoundTripAndBoundedReads) {
  auto out = Orv::NboAttrLog::Out::outIs();
  out << std::uint16_t(0x0102) << std::uint32_t(0x03040506) << true << std::string("ab")
      << std::uint64_t(7) << -2.5 << std::int32_t(-3);
  const auto& b = out->bytes();
  ASSERT_GE(b.size(), 6u);
  EXPECT_EQ(b[0], 0x01);
  EXPECT_EQ(b[1], 0x02);
  EXPECT_EQ(b[2], 0x03);
  EXPECT_EQ(b[5], 0x06);
  Orv::NboAttrLog::In in(b);
  std::uint16_t u16;
  std::uint32_t u32;
  bool flag;
  std::string s;
  std::uint64_t u64;
  double d;
  std::int32_t i32;
  in >> u16 >> u32 >> flag >> s >> u64 >> d >> i32;
  EXPECT_EQ(u16, 0x0102);
  EXPECT_EQ(u32, 0x03040506u);
  EXPECT_TRUE(flag);
  EXPECT_EQ(s, "ab");
  EXPECT_EQ(u64, 7u);
  EXPECT_EQ(d, -2.5);
  EXPECT_EQ(i32, -3);
  EXPECT_TRUE(in.atEnd());
  EXPECT_THROW(in.readU8(), Orv::NboAttrLogException);

  // A string length that runs past the end is refused before any copy.
  const std::uint8_t liar[] = {0, 0, 0, 9, 'a', 'b'};
  Orv::NboAttrLog::In l(liar, sizeof liar);
  try {
    l.readString();
    FAIL();
  } catch (const Orv::NboAttrLogException& e) {
    EXPECT_NE(std::string(e.what()).find("string of 9 bytes"), std::string::npos);
  }
  const std::uint8_t badBool[] = {2};
  Orv::NboAttrLog::In bb(badBool, 1);
  EXPECT_THROW(bb.readBool(), Orv::NboAttrLogException);
  auto small = Orv::NboAttrLog::Out::outIs(4);
  EXPECT_TRUE(small->hasRoom(4));
  EXPECT_FALSE(small->hasRoom(5));
}

TEST(OrvValue, CarriesAnyValueAndPrintsIt) {
  Orv::Value v = std::uint16_t(7);
  EXPECT_TRUE(v.is<std::uint16_t>());
  EXPECT_EQ(v.as<std::uint16_t>(), 7);
  EXPECT_EQ(v.strep(), "7");
  EXPECT_THROW(v.as<std::uint32_t>(), Orv::RangeException);
  Orv::Value e;
  EXPECT_TRUE(e.empty());
  EXPECT_EQ(e.strep(), "");
}

TEST(OrvRegistryDeathTest, OneNamePerDescriptor) {
  static const Orv::TypeDesc a = {"Test::Twice", Orv::TypeKind::value, nullptr, 0, nullptr, 0, 0};
  static const Orv::TypeDesc b = {"Test::Twice", Orv::TypeKind::value, nullptr, 0, nullptr, 0, 0};
  Orv::typeNodeIs(a);
  Orv::typeNodeIs(a);  // the same descriptor again: harmless
  EXPECT_EQ(Orv::typeNode("Test::Twice"), &a);
  EXPECT_DEATH(Orv::typeNodeIs(b), "two descriptors registered under one name");
}

}  // namespace
