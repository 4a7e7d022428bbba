// Detached threads: they delete themselves when done, and their owner stops,
// waits for and deletes the rest.
#include "threads/LDetachedThread.h"
#include "threads/LProcessInterfaceVoid.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>

namespace {

std::atomic<int> gnLive{0};  // detached test threads not yet deleted

class CountedThread : public LDetachedThread {
public:
  // bWaitForStop: the body waits for a stop request; else it returns at once.
  explicit CountedThread(bool bWaitForStop) : bWaitForStop(bWaitForStop) { ++gnLive; }
  ~CountedThread() override {
    StopThreadAndWait();
    --gnLive;
  }

protected:
  void ThreadCallback() override {
    if (bWaitForStop) ProcessWaitUntilStopped();
  }

private:
  const bool bWaitForStop;
};

class DetachedThreads : public testing::Test {
protected:
  void SetUp() override { gnLive = 0; }
  CountedThread* StartOne(LDetachedThreadsOwner& owner, bool bWaitForStop) {
    auto* pThread = new CountedThread(bWaitForStop);
    owner.Add(pThread);
    EXPECT_EQ(pThread->StartDetached(owner), 0);
    return pThread;
  }
  // Deletion by a finishing thread happens on that thread, after its last
  // signal: poll for it, bounded.
  static bool EventuallyNoneLive() {
    for (int i = 0; i < 20000 && gnLive != 0; ++i) usleep(1000);
    return gnLive == 0;
  }
};

TEST_F(DetachedThreads, DeleteThemselvesWhenTheirBodyReturns) {
  LDetachedThreadsOwner owner;
  for (int i = 0; i < 4; ++i) StartOne(owner, false);
  EXPECT_TRUE(EventuallyNoneLive());
  EXPECT_EQ(owner.GetCount(), 0u);
}

TEST_F(DetachedThreads, StopThreadsNowStopsAndDeletesEveryOne) {
  LDetachedThreadsOwner owner;
  for (int i = 0; i < 4; ++i) StartOne(owner, true);
  owner.Add(new CountedThread(true));  // listed, never started
  EXPECT_EQ(owner.GetCount(), 5u);
  owner.StopThreadsNow();
  EXPECT_EQ(owner.GetCount(), 0u);
  EXPECT_EQ(gnLive, 0);
}

TEST_F(DetachedThreads, WaitToStopWithNoTimeLeavesTheListAsItWas) {
  LDetachedThreadsOwner owner;
  CountedThread* pFirst = StartOne(owner, true);
  CountedThread* pSecond = StartOne(owner, true);
  LProcessInterfaceVoid process;
  EXPECT_FALSE(owner.WaitToStop(process, 0));
  EXPECT_EQ(owner.GetCount(), 2u);
  EXPECT_TRUE(owner.Contains(pFirst));
  EXPECT_TRUE(owner.Contains(pSecond));
  EXPECT_FALSE(owner.WaitToStop(process, 30));  // still running: time runs out
  EXPECT_EQ(owner.GetCount(), 2u);
  owner.StopThreadsSoon();
  EXPECT_TRUE(owner.WaitToStop(process, 20000));
  EXPECT_EQ(owner.GetCount(), 0u);
  EXPECT_TRUE(EventuallyNoneLive());
}

TEST_F(DetachedThreads, WaitToStopEndsOnTheWaitersStopRequest) {
  LDetachedThreadsOwner owner;
  StartOne(owner, true);
  class Stopped : public LProcessInterfaceVoid {
  public:
    int ProcessWaitSignal(LSignalObjectRef, uint32_t) override { return kLProcessWaitStopRequested; }
  } process;
  EXPECT_FALSE(owner.WaitToStop(process, 20000));
  EXPECT_EQ(owner.GetCount(), 1u);
}

TEST_F(DetachedThreads, DestructOfAStrangerDoesNothing) {
  LDetachedThreadsOwner owner;
  LDetachedThreadsOwner other;
  CountedThread* pThread = StartOne(owner, true);
  other.Destruct(pThread);
  other.Destruct(nullptr);
  EXPECT_TRUE(owner.Contains(pThread));
  owner.Destruct(pThread);
  EXPECT_FALSE(owner.Contains(pThread));
  EXPECT_EQ(gnLive, 0);
}

TEST_F(DetachedThreads, TheOwnersDestructorCleansUp) {
  {
    LDetachedThreadsOwner owner;
    for (int i = 0; i < 3; ++i) StartOne(owner, true);
  }
  EXPECT_EQ(gnLive, 0);
}

}  // namespace
