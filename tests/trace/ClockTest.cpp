#include <gtest/gtest.h>

#include <ipmodel/Orv/Clock.h>

namespace {

class ClockTest : public ::testing::Test {
 protected:
  void TearDown() override { Orv::clockIs({}); }
};

TEST_F(ClockTest, RealClockIsWallTime) {
  // CLOCK_REALTIME, not a monotonic clock counting from boot: well past 2020.
  EXPECT_GT(Orv::now(), 1.6e9);
  EXPECT_NEAR(Orv::now(), Orv::realNow(), 60.0);
}

TEST_F(ClockTest, FakeClockIsReadUntilRemoved) {
  double t = 1000.25;
  Orv::clockIs([&t] { return t; });
  EXPECT_EQ(Orv::now(), 1000.25);
  t += 0.5;
  EXPECT_EQ(Orv::now(), 1000.75);
  EXPECT_GT(Orv::realNow(), 1.6e9);

  Orv::clockIs({});
  EXPECT_GT(Orv::now(), 1.6e9);
}

}  // namespace
