#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include <ipmodel/Orv/Clock.h>
#include <ipmodel/Orv/Exception.h>
#include <ipmodel/Orv/Trace.h>

namespace {

Orv::TraceHandle trace("TraceTest");

struct Line {
  double time;
  std::string handle;
  int level;
  std::string function;
  std::string message;
};

// Counts how often it is streamed, to tell whether a trace line was built.
struct Counted {
  int* count;
};
std::ostream& operator<<(std::ostream& os, const Counted& c) {
  ++*c.count;
  return os << "counted";
}

class TraceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Orv::traceSinkIs([this](const Orv::TraceRecord& r) {
      lines_.push_back({r.time, std::string(r.handle), r.level, std::string(r.function),
                        std::string(r.message)});
    });
  }
  void TearDown() override {
    Orv::traceSinkIs({});
    Orv::clockIs({});
    trace.levelMaskIs(0);
  }

  std::vector<Line> lines_;
};

void handleIntf(int intfId) { ORV_TRACE(trace, 8, "handleIntf(" << intfId << ")"); }

TEST_F(TraceTest, EnabledLevelReachesSinkWithContext) {
  Orv::clockIs([] { return 42.5; });
  trace.levelIs(8, true);
  handleIntf(7);
  ORV_TRACE_FN(trace, 8, "Ip::Reactor::onState", "state " << 3);

  ASSERT_EQ(lines_.size(), 2u);
  EXPECT_EQ(lines_[0].handle, "TraceTest");
  EXPECT_EQ(lines_[0].level, 8);
  EXPECT_EQ(lines_[0].message, "handleIntf(7)");
  EXPECT_NE(lines_[0].function.find("handleIntf"), std::string::npos) << lines_[0].function;
  EXPECT_EQ(lines_[0].time, 42.5);
  EXPECT_EQ(lines_[1].function, "Ip::Reactor::onState");
  EXPECT_EQ(lines_[1].message, "state 3");
}

TEST_F(TraceTest, DisabledLevelBuildsNothing) {
  int built = 0;
  trace.levelIs(5, true);
  ORV_TRACE(trace, 4, Counted{&built});
  ORV_TRACE(trace, 6, "x" << Counted{&built});
  EXPECT_EQ(built, 0);
  EXPECT_TRUE(lines_.empty());

  ORV_TRACE(trace, 5, Counted{&built});
  EXPECT_EQ(built, 1);
  ASSERT_EQ(lines_.size(), 1u);
  EXPECT_EQ(lines_[0].message, "counted");
}

TEST_F(TraceTest, LevelsAreIndependentWithinAndAcrossHandles) {
  Orv::TraceHandle other("TraceTestOther");
  trace.levelIs(0, true);
  trace.levelIs(9, true);
  other.levelIs(3, true);

  for (int level = 0; level <= 9; ++level) {
    EXPECT_EQ(trace.enabled(level), level == 0 || level == 9) << level;
    EXPECT_EQ(other.enabled(level), level == 3) << level;
  }
  EXPECT_EQ(trace.levelMask(), 0x201u);

  trace.levelIs(9, false);
  EXPECT_TRUE(trace.enabled(0));
  EXPECT_FALSE(trace.enabled(9));
  EXPECT_TRUE(other.enabled(3));

  ORV_TRACE(other, 3, "from other");
  ORV_TRACE(trace, 3, "from trace");
  ASSERT_EQ(lines_.size(), 1u);
  EXPECT_EQ(lines_[0].handle, "TraceTestOther");
}

TEST_F(TraceTest, LevelsOutsideZeroToNine) {
  trace.levelMaskIs(~0u);
  EXPECT_EQ(trace.levelMask(), 0x3ffu);
  EXPECT_FALSE(trace.enabled(-1));
  EXPECT_FALSE(trace.enabled(10));
  EXPECT_FALSE(trace.enabled(31));
  EXPECT_FALSE(trace.enabled(32));
  EXPECT_THROW(trace.levelIs(10, true), Orv::RangeException);
  EXPECT_THROW(trace.levelIs(-1, true), Orv::RangeException);
  EXPECT_THROW(Orv::traceLevelIs("TraceTest", 10, true), Orv::RangeException);
}

TEST_F(TraceTest, LookupByName) {
  EXPECT_EQ(Orv::traceHandle("TraceTest"), &trace);
  EXPECT_EQ(Orv::traceHandle("Orv"), &Orv::defaultTraceHandle());
  EXPECT_EQ(Orv::traceHandle("NoSuchHandle"), nullptr);
  EXPECT_FALSE(Orv::traceLevelIs("NoSuchHandle", 1, true));

  // A name shared by several compile units' handles switches all of them.
  {
    Orv::TraceHandle second("TraceTest");
    EXPECT_EQ(Orv::traceHandle("TraceTest"), &trace);
    EXPECT_TRUE(Orv::traceLevelIs("TraceTest", 2, true));
    EXPECT_TRUE(trace.enabled(2));
    EXPECT_TRUE(second.enabled(2));
    Orv::TraceHandle* self = &second;
    EXPECT_NE(std::find(Orv::traceHandles().begin(), Orv::traceHandles().end(), self),
              Orv::traceHandles().end());
  }
  {
    Orv::TraceHandle gone("TraceTestGone");
    EXPECT_EQ(Orv::traceHandle("TraceTestGone"), &gone);
  }
  EXPECT_EQ(Orv::traceHandle("TraceTestGone"), nullptr);
}

TEST_F(TraceTest, SinkMayTrace) {
  // The sink runs without the registry lock, so a sink that traces (or
  // replaces itself) does not deadlock.
  Orv::TraceHandle nested("TraceTestNested");
  nested.levelIs(1, true);
  trace.levelIs(1, true);
  std::vector<std::string> seen;
  Orv::traceSinkIs([&](const Orv::TraceRecord& r) {
    seen.emplace_back(r.message);
    if (r.handle == "TraceTest") ORV_TRACE(nested, 1, "nested");
  });
  ORV_TRACE(trace, 1, "outer");
  EXPECT_EQ(seen, (std::vector<std::string>{"outer", "nested"}));
}

TEST_F(TraceTest, ReplacedSinkIsHandedBackForRestoring) {
  trace.levelIs(1, true);
  std::vector<std::string> inner;
  Orv::TraceSink outer =
      Orv::traceSinkIs([&](const Orv::TraceRecord& r) { inner.emplace_back(r.message); });
  ORV_TRACE(trace, 1, "to inner");
  Orv::TraceSink mine = Orv::traceSinkIs(std::move(outer));
  ORV_TRACE(trace, 1, "to outer");
  ASSERT_EQ(inner, std::vector<std::string>{"to inner"});
  ASSERT_EQ(lines_.size(), 1u);
  EXPECT_EQ(lines_[0].message, "to outer");
  ASSERT_TRUE(mine);
  // The default sink comes back as an empty function.
  Orv::traceSinkIs({});
  EXPECT_FALSE(Orv::traceSinkIs(std::move(mine)));
}

TEST_F(TraceTest, DefaultSinkWritesOneLineToStderr) {
  Orv::traceSinkIs({});
  Orv::clockIs([] { return 1700000000.5; });
  trace.levelIs(7, true);
  ::testing::internal::CaptureStderr();
  ORV_TRACE_FN(trace, 7, "Fn", "a " << 1);
  ORV_TRACE_FN(trace, 6, "Fn", "hidden");
  std::string err = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(err, "1700000000.500000 TraceTest/7 Fn: a 1\n");
  EXPECT_TRUE(lines_.empty());
}

}  // namespace

namespace {

TEST(TraceLineFormat, NamesTheFunctionOnce) {
  Orv::TraceRecord withContext{1.5, "H", 8, "f()", "hello"};
  EXPECT_EQ(Orv::traceLine(withContext), "1.500000 H/8 f(): hello");
  Orv::TraceRecord selfNamed{1.5, "H", 8, "void A::f()", "void A::f():Ethernet1"};
  EXPECT_EQ(Orv::traceLine(selfNamed), "1.500000 H/8 void A::f():Ethernet1");
}

}  // namespace
