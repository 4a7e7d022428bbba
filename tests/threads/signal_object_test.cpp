// Signal objects and groups: state, waits, descriptor hygiene.
#include "threads/LSignalObject.h"
#include "threads/LSignalObjectGroup.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

long ElapsedMs(Clock::time_point tStart) {
  return static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - tStart).count());
}

TEST(SignalObject, BothEndsAreNonBlockingAndCloseOnExec) {
  LSignalObject so;
  ASSERT_TRUE(so.IsValid());
  const LSignalObjectRef ref = so;
  for (int nFd : {ref.nReadFd, ref.nWriteFd}) {
    EXPECT_NE(fcntl(nFd, F_GETFL) & O_NONBLOCK, 0) << nFd;
    EXPECT_NE(fcntl(nFd, F_GETFD) & FD_CLOEXEC, 0) << nFd;
  }
}

TEST(SignalObject, DestructionClosesBothEnds) {
  LSignalObjectRef ref;
  {
    LSignalObject so;
    ref = so;
  }
  EXPECT_EQ(fcntl(ref.nReadFd, F_GETFD), -1);
  EXPECT_EQ(fcntl(ref.nWriteFd, F_GETFD), -1);
}

// The event is a level: waiting does not consume it, one reset clears any
// number of signals, even more than the pipe holds.
struct LevelCase {
  const char* name;
  int nSignals;
  bool bReset;
  bool bExpectSignalled;
};

class SignalObjectLevel : public testing::TestWithParam<LevelCase> {};

TEST_P(SignalObjectLevel, FollowsSignalsAndResets) {
  LSignalObject so;
  for (int i = 0; i < GetParam().nSignals; ++i) so.Signal();
  EXPECT_TRUE(so.IsSignaled() || GetParam().nSignals == 0);  // waiting consumes nothing
  if (GetParam().bReset) so.Reset();
  EXPECT_EQ(so.IsSignaled(), GetParam().bExpectSignalled);
  EXPECT_EQ(so.WaitSignal(0), GetParam().bExpectSignalled);
}

INSTANTIATE_TEST_SUITE_P(Cases, SignalObjectLevel,
                         testing::Values(LevelCase{"New", 0, false, false}, LevelCase{"Once", 1, false, true},
                                         LevelCase{"TwiceThenResetOnce", 2, true, false},
                                         LevelCase{"PastThePipesCapacity", 70000, true, false},
                                         LevelCase{"ResetWhenClear", 0, true, false}),
                         [](const auto& info) { return std::string(info.param.name); });

// Which of three events is signalled, and what each wait form answers.
struct WaitCase {
  const char* name;
  int nSignalled;  // 0 none, else 1..3
  bool bSingle;    // first.WaitSignal
  bool bDual;      // first.WaitSignalDual(second)
  bool bTriple;    // first.WaitSignalTriple(second, third)
};

class SignalObjectWaits : public testing::TestWithParam<WaitCase> {};

TEST_P(SignalObjectWaits, SeeExactlyTheirEvents) {
  LSignalObject arSo[3];
  if (GetParam().nSignalled > 0) arSo[GetParam().nSignalled - 1].Signal();
  const LSignalObjectRef first = arSo[0], second = arSo[1], third = arSo[2];
  EXPECT_EQ(first.WaitSignal(10), GetParam().bSingle);
  EXPECT_EQ(first.WaitSignalDual(second, 10), GetParam().bDual);
  EXPECT_EQ(first.WaitSignalTriple(second, third, 10), GetParam().bTriple);
}

INSTANTIATE_TEST_SUITE_P(Cases, SignalObjectWaits,
                         testing::Values(WaitCase{"None", 0, false, false, false},
                                         WaitCase{"First", 1, true, true, true},
                                         WaitCase{"Second", 2, false, true, true},
                                         WaitCase{"Third", 3, false, false, true}),
                         [](const auto& info) { return std::string(info.param.name); });

// Tolerance: the lower bound is exact (poll never returns early without an
// event); the upper bound only guards against a wait that ignores its time,
// and allows for a loaded two-core machine under a sanitizer.
TEST(SignalObject, WaitRunsItsTimeWhenNothingComes) {
  LSignalObject so;
  const auto tStart = Clock::now();
  EXPECT_FALSE(so.WaitSignal(60));
  const long nMs = ElapsedMs(tStart);
  EXPECT_GE(nMs, 59);
  EXPECT_LT(nMs, 5000);
}

TEST(SignalObject, SignalFromAnotherThreadEndsAWaitWithoutLimit) {
  LSignalObject so;
  std::thread signaller([&so] {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    so.Signal();
  });
  EXPECT_TRUE(so.WaitSignal(kLWaitForever));
  signaller.join();
}

// A wait that can never be satisfied must fail at once, not hang: an empty
// reference, and a pipe whose write end is closed (a hang-up, not a signal).
TEST(SignalObject, FailedWaitsReturnFalseAtOnce) {
  EXPECT_FALSE(LSignalObjectRef().WaitSignal(kLWaitForever));
  int arFds[2];
  ASSERT_EQ(pipe2(arFds, O_NONBLOCK | O_CLOEXEC), 0);
  close(arFds[1]);
  const LSignalObjectRef hungUp(arFds[0], -1);
  EXPECT_FALSE(hungUp.WaitSignal(kLWaitForever));
  EXPECT_FALSE(hungUp.IsSignaled());
  close(arFds[0]);
}

TEST(SignalObjectGroup, EmptyNeverSignals) {
  LSignalObjectGroup group;
  EXPECT_FALSE(group.Select(kLWaitForever));
  EXPECT_FALSE(group.IsSignaled());
}

TEST(SignalObjectGroup, FindsWhichEntryIsSignalled) {
  LSignalObject arSo[4];
  LSignalObjectGroup group;
  for (auto& so : arSo) EXPECT_TRUE(group.Add(so));
  EXPECT_FALSE(group.Select(10));
  arSo[2].Signal();
  EXPECT_TRUE(group.Select(kLWaitForever));
  for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(group.IsEntrySignaled(i), i == 2) << i;
  arSo[2].Reset();
  EXPECT_FALSE(group.IsSignaled());
}

TEST(SignalObjectGroup, HoldsAtMost256Entries) {
  auto arSo = std::make_unique<LSignalObject[]>(257);
  LSignalObjectGroup group;
  for (int i = 0; i < 256; ++i) ASSERT_TRUE(group.Add(arSo[i]));
  EXPECT_FALSE(group.Add(arSo[256]));
  EXPECT_EQ(group.GetCount(), 256u);
  arSo[256].Signal();
  EXPECT_FALSE(group.IsSignaled());  // the refused event is not watched
  arSo[255].Signal();
  EXPECT_TRUE(group.IsSignaled());
}

TEST(SignalObjectGroup, AddingAGroupTakesWhatFits) {
  auto arSo = std::make_unique<LSignalObject[]>(260);
  LSignalObjectGroup big, small;
  for (int i = 0; i < 250; ++i) big.Add(arSo[i]);
  for (int i = 250; i < 260; ++i) small.Add(arSo[i]);
  big.Add(small);
  EXPECT_EQ(big.GetCount(), 256u);
  EXPECT_EQ(big.GetDescriptor(255), LSignalObjectRef(arSo[255]).nReadFd);
  // A group added to itself doubles, up to the limit.
  LSignalObjectGroup self;
  self.Add(arSo[0]);
  self.Add(arSo[1]);
  self.Add(self);
  EXPECT_EQ(self.GetCount(), 4u);
}

}  // namespace
