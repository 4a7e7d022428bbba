// LThread: start, stop, restart, its waits as a process interface, teardown.
#include "threads/LSignalObjectGroup.h"
#include "threads/LThread.h"

#include "diagnostics/LDebugThreadId.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace {

// A thread whose body is a function of the thread; the body runs until it
// returns (most wait for a stop request).
class FunctionThread : public LThread {
public:
  explicit FunctionThread(std::function<void(FunctionThread&)> fnBody) : fnBody(std::move(fnBody)) {}
  ~FunctionThread() override { StopThreadAndWait(); }

  std::atomic<int> nRuns{0};
  std::atomic<uint32_t> dwSeenId{0};

protected:
  void ThreadCallback() override {
    ++nRuns;
    dwSeenId = LDebugGetCurrentThreadId();
    fnBody(*this);
  }

private:
  std::function<void(FunctionThread&)> fnBody;
};

void WaitForStop(FunctionThread& thread) { thread.ProcessWaitUntilStopped(); }

TEST(Thread, DestroyingOneThatNeverStartedReturnsAtOnce) {
  auto thread = std::make_unique<FunctionThread>(&WaitForStop);
  EXPECT_FALSE(thread->IsRunning());
  EXPECT_EQ(thread->GetThreadId(), LThread::kLNoThreadId);
  thread.reset();
  SUCCEED();
}

TEST(Thread, StartsStopsAndStartsAgain) {
  FunctionThread thread(&WaitForStop);
  for (int nRound = 1; nRound <= 3; ++nRound) {
    ASSERT_TRUE(thread.Start());
    // Start returns once the thread began: its id is known.
    EXPECT_TRUE(thread.IsRunning());
    EXPECT_NE(thread.GetThreadId(), LThread::kLNoThreadId);
    EXPECT_FALSE(thread.IsToStop());  // a new start clears the old request
    EXPECT_TRUE(thread.Start());      // running already: nothing more
    thread.StopThreadSoon();
    ASSERT_TRUE(thread.GetStopped().WaitSignal(20000));
    EXPECT_EQ(thread.nRuns, nRound);
    EXPECT_TRUE(thread.IsToStop());  // stays signalled until the next start
  }
  EXPECT_FALSE(thread.IsRunning());
  EXPECT_EQ(thread.GetThreadId(), LThread::kLNoThreadId);
}

TEST(Thread, ReportsTheKernelsThreadId) {
  std::atomic<uint32_t> dwIdWhileRunning{0};
  FunctionThread thread(&WaitForStop);
  ASSERT_TRUE(thread.Start());
  dwIdWhileRunning = thread.GetThreadId();
  thread.StopThreadSoon();
  ASSERT_TRUE(thread.GetStopped().WaitSignal(20000));
  EXPECT_EQ(dwIdWhileRunning, thread.dwSeenId);
  EXPECT_NE(dwIdWhileRunning, LDebugGetCurrentThreadId());
}

TEST(Thread, DestructionStopsAndWaitsForTheBody) {
  auto bBodyDone = std::make_shared<std::atomic<bool>>(false);
  {
    FunctionThread thread([bBodyDone](FunctionThread& self) {
      self.ProcessWaitUntilStopped();
      bBodyDone->store(true);
    });
    ASSERT_TRUE(thread.Start());
  }
  EXPECT_TRUE(*bBodyDone);
}

TEST(Thread, PriorityRequestsNeverFail) {
  FunctionThread thread(&WaitForStop);
  thread.SetPriority(LThread::kLPriorityRealTime);  // no thread: remembered only
  ASSERT_TRUE(thread.Start(LThread::kLPriorityRealTime));
  thread.SetPriority(0);
  thread.SetPriority(47);
  EXPECT_EQ(thread.GetPriority(), 47);
  EXPECT_TRUE(thread.IsRunning());
}

// ProcessWaitSignal seen from the body: what is signalled decides the result.
struct WaitCase {
  const char* name;
  bool bStop;
  bool bSignal;
  int nExpected;
};

class ThreadWaitSignal : public testing::TestWithParam<WaitCase> {};

TEST_P(ThreadWaitSignal, AnswersStopBeforeSignal) {
  FunctionThread thread(&WaitForStop);  // never started: the waits work on the object alone
  LSignalObject so;
  if (GetParam().bStop) thread.StopThreadSoon();
  if (GetParam().bSignal) so.Signal();
  EXPECT_EQ(thread.ProcessWaitSignal(so, 10), GetParam().nExpected);
  LSignalObjectGroup group;
  group.Add(so);
  EXPECT_EQ(thread.ProcessWaitSignalObjectGroup(group, 10), GetParam().nExpected);
  EXPECT_EQ(group.GetCount(), 2u);  // the stop request stays in the group...
  EXPECT_EQ(thread.ProcessWaitSignalObjectGroup(group, 10), GetParam().nExpected);
  EXPECT_EQ(group.GetCount(), 2u);  // ...once
  EXPECT_EQ(thread.ProcessWait(0), GetParam().bStop);
}

INSTANTIATE_TEST_SUITE_P(Cases, ThreadWaitSignal,
                         testing::Values(WaitCase{"Neither", false, false, kLProcessWaitTimedOut},
                                         WaitCase{"Signal", false, true, kLProcessWaitSignaled},
                                         WaitCase{"Stop", true, false, kLProcessWaitStopRequested},
                                         WaitCase{"Both", true, true, kLProcessWaitStopRequested}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(Thread, WaitOnAFullGroupStillSeesTheStopRequest) {
  FunctionThread thread(&WaitForStop);
  auto arSo = std::make_unique<LSignalObject[]>(LSignalObjectGroup::kLMaxEntries);
  LSignalObjectGroup group;
  for (std::size_t i = 0; i < LSignalObjectGroup::kLMaxEntries; ++i) group.Add(arSo[i]);
  EXPECT_EQ(thread.ProcessWaitSignalObjectGroup(group, 5), kLProcessWaitTimedOut);
  arSo[LSignalObjectGroup::kLMaxEntries - 1].Signal();  // the last entry is not the stop request
  EXPECT_EQ(thread.ProcessWaitSignalObjectGroup(group, 5), kLProcessWaitSignaled);
  thread.StopThreadSoon();
  EXPECT_EQ(thread.ProcessWaitSignalObjectGroup(group, 5), kLProcessWaitStopRequested);
  EXPECT_EQ(group.GetCount(), LSignalObjectGroup::kLMaxEntries);
}

TEST(Thread, AStopRequestEndsABodysWaitWithoutLimit) {
  LSignalObject neverSignalled;
  std::atomic<int> nResult{-1};
  FunctionThread thread([&](FunctionThread& self) { nResult = self.ProcessWaitSignalForever(neverSignalled); });
  ASSERT_TRUE(thread.Start());
  thread.StopThreadSoon();
  ASSERT_TRUE(thread.GetStopped().WaitSignal(20000));
  EXPECT_EQ(nResult, kLProcessWaitStopRequested);
}

}  // namespace
