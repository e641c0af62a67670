// Test main shared by every test program. After each test it checks that no
// object allocated through the framework is still alive.
#include <gtest/gtest.h>

#include <ipmodel/Orv/AllocTrack.h>

namespace {

class LeakCheck : public ::testing::EmptyTestEventListener {
  void OnTestStart(const ::testing::TestInfo&) override {
    before_ = Orv::AllocTrackTypeInfo::totalLiveObjects();
  }
  void OnTestEnd(const ::testing::TestInfo& info) override {
    auto after = Orv::AllocTrackTypeInfo::totalLiveObjects();
    if (after != before_) {
      ADD_FAILURE() << info.test_suite_name() << "." << info.name() << " left " << (after - before_)
                    << " tracked objects alive:\n"
                    << Orv::AllocTrackTypeInfo::liveReport();
    }
  }
  std::uint64_t before_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  ::testing::UnitTest::GetInstance()->listeners().Append(new LeakCheck);
  return RUN_ALL_TESTS();
}
