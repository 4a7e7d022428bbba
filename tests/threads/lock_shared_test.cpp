// The shared lock under contention, and its upgrade and downgrade.
#include "threads/LLockObjectShared.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>
#include <vector>

namespace {

// Readers check that no writer is inside while they are; writers check that
// nobody else is inside. A lock that does not exclude is caught by the
// counters, and the sum of the writers' increments by a lost update.
TEST(LockObjectShared, ExcludesWritersFromReadersAndEachOther) {
  LLockObjectShared lock;
  std::atomic<int> nReaders{0}, nWriters{0}, nViolations{0};
  long nTotal = 0;  // guarded by the exclusive hold only
  constexpr int kRounds = 2000;
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < kRounds; ++i) {
        lock.LockShared();
        ++nReaders;
        if (nWriters != 0) ++nViolations;
        --nReaders;
        lock.UnlockShared();
      }
    });
    threads.emplace_back([&] {
      for (int i = 0; i < kRounds; ++i) {
        lock.LockExclusive();
        if (++nWriters != 1 || nReaders != 0) ++nViolations;
        ++nTotal;
        --nWriters;
        lock.Unlock();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(nViolations, 0);
  EXPECT_EQ(nTotal, 3L * kRounds);
  EXPECT_EQ(lock.GetSharedCount(), 0);
}

TEST(LockObjectShared, ExclusiveWaitsForTheLastSharedHolder) {
  LLockObjectShared lock;
  lock.LockShared();
  lock.LockShared();
  auto writer = std::async(std::launch::async, [&lock] {
    lock.LockExclusive();
    lock.Unlock();
  });
  EXPECT_EQ(writer.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  lock.UnlockShared();
  EXPECT_EQ(writer.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  lock.UnlockShared();
  EXPECT_EQ(writer.wait_for(std::chrono::seconds(20)), std::future_status::ready);
}

// The only shared holder upgrades while a writer already waits for it: once
// the upgraded hold ends, the waiting writer must get the lock.
TEST(LockObjectShared, UpgradeOfTheLastHolderLetsAWaitingWriterIn) {
  LLockObjectShared lock;
  lock.LockShared();
  auto writer = std::async(std::launch::async, [&lock] {
    lock.LockExclusive();
    lock.Unlock();
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(30));  // let the writer wait on the event
  lock.UpgradeLock();
  lock.Unlock();
  EXPECT_EQ(writer.wait_for(std::chrono::seconds(20)), std::future_status::ready);
}

// Each hold is taken and ended on one thread (the lock's mutex belongs to
// the thread that holds it exclusively), so the holders are threads and the
// test body only watches.
TEST(LockObjectShared, UpgradeWaitsForOtherReadersAndDowngradeAdmitsThem) {
  LLockObjectShared lock;
  std::promise<void> readerIn, readerMayLeave, upgraded, mayDowngrade, downgraded, mayLeave;
  auto reader = std::async(std::launch::async, [&] {
    lock.LockShared();
    readerIn.set_value();
    readerMayLeave.get_future().wait();
    lock.UnlockShared();
  });
  readerIn.get_future().wait();
  auto upgrader = std::async(std::launch::async, [&] {
    lock.LockShared();
    lock.UpgradeLock();
    upgraded.set_value();
    mayDowngrade.get_future().wait();
    lock.DowngradeLock();
    downgraded.set_value();
    mayLeave.get_future().wait();
    lock.UnlockShared();
  });
  auto upgradedFuture = upgraded.get_future();
  EXPECT_EQ(upgradedFuture.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  readerMayLeave.set_value();
  ASSERT_EQ(upgradedFuture.wait_for(std::chrono::seconds(20)), std::future_status::ready);
  reader.get();
  mayDowngrade.set_value();
  downgraded.get_future().wait();
  EXPECT_EQ(lock.GetSharedCount(), 1);
  // Downgraded: another reader gets in at once, a writer does not.
  auto secondReader = std::async(std::launch::async, [&lock] {
    lock.LockShared();
    lock.UnlockShared();
  });
  EXPECT_EQ(secondReader.wait_for(std::chrono::seconds(20)), std::future_status::ready);
  auto writer = std::async(std::launch::async, [&lock] {
    lock.LockExclusive();
    lock.Unlock();
  });
  EXPECT_EQ(writer.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  mayLeave.set_value();
  EXPECT_EQ(writer.wait_for(std::chrono::seconds(20)), std::future_status::ready);
  upgrader.get();
}

TEST(LockObjectShared, AnUnmatchedUnlockSharedIsIgnored) {
  LLockObjectShared lock;
  lock.UnlockShared();
  lock.LockShared();
  EXPECT_EQ(lock.GetSharedCount(), 1);
  lock.UnlockShared();
}

}  // namespace
