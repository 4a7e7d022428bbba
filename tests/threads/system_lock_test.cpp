// The system-wide mutex between processes: key, exclusion, release by the
// kernel when a holder dies, stop requests, a removed semaphore set.
#include "threads/LProcessInterfaceVoid.h"
#include "threads/LSystemLockMutex.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

struct KeyCase {
  const char* name;
  const char* szInput;
  int32_t nKey;
};

class SystemLockKey : public testing::TestWithParam<KeyCase> {};

TEST_P(SystemLockKey, IsComputedFromTheNamesBytes) {
  EXPECT_EQ(LSystemLockMutex::ComputeKey(GetParam().szInput), GetParam().nKey);
}

INSTANTIATE_TEST_SUITE_P(
    Names, SystemLockKey,
    testing::Values(KeyCase{"AB", "AB", 11494498}, KeyCase{"Empty", "", 11223}, KeyCase{"Null", nullptr, 11223},
                    // Bytes above 127 count as negative characters.
                    KeyCase{"HighByte", "\xff", 11223 * 32 - 1},
                    // 32-bit wrap-around: 11223 * 32^7 overflows.
                    KeyCase{"Wraps", "AAAAAAA", static_cast<int32_t>(0xC6318C61u)},
                    // Eight bytes shift the start out of 32 bits, and each pair
                    // (1, -32) adds 32 - 32: the key is 0, which becomes 1.
                    KeyCase{"ZeroBecomesOne", "\x01\xe0\x01\xe0\x01\xe0\x01\xe0", 1}),
    [](const auto& info) { return std::string(info.param.name); });

// Each test uses a name of its own process, and removes the set at the end.
class SystemLock : public testing::Test {
protected:
  void SetUp() override {
    szName = "harlune-test-" + std::to_string(getpid()) + "-" +
             testing::UnitTest::GetInstance()->current_test_info()->name();
  }
  void TearDown() override { LSystemLockMutex(szName.c_str()).Remove(); }

  // Forks a child that takes the lock, tells the parent, then waits for the
  // parent to close the pipe (or to be killed). Returns the child's pid.
  pid_t ForkHolder(int* pnRelease) {
    int arReady[2], arRelease[2];
    if (pipe(arReady) != 0 || pipe(arRelease) != 0) return -1;
    const pid_t child = fork();
    if (child == 0) {
      close(arReady[0]);
      close(arRelease[1]);
      LProcessInterfaceVoid process;
      LSystemLockMutexScope scope(process, szName.c_str());
      const char cLocked = scope.IsLocked() ? 'y' : 'n';
      if (write(arReady[1], &cLocked, 1) != 1) _exit(3);
      char c;
      while (read(arRelease[0], &c, 1) > 0) {
      }
      _exit(0);  // the scope's destructor does not run: the kernel's undo releases
    }
    close(arReady[1]);
    close(arRelease[0]);
    char cLocked = 0;
    if (read(arReady[0], &cLocked, 1) != 1 || cLocked != 'y') {
      close(arReady[0]);
      close(arRelease[1]);
      return -1;
    }
    close(arReady[0]);
    *pnRelease = arRelease[1];
    return child;
  }

  std::string szName;
};

TEST_F(SystemLock, ExcludesAnotherProcessUntilItReleases) {
  int nRelease = -1;
  const pid_t child = ForkHolder(&nRelease);
  ASSERT_GT(child, 0);
  LSystemLockMutex mutex(szName.c_str());
  ASSERT_TRUE(mutex.IsValid());
  // Tolerance: 30 tries with 10 ms sleeps cannot take less than 300 ms; the
  // upper bound only catches a wait that ignores its allowance.
  const auto tStart = Clock::now();
  EXPECT_FALSE(mutex.Lock(300));
  const auto nMs = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - tStart).count();
  EXPECT_GE(nMs, 300);
  EXPECT_LT(nMs, 10000);
  close(nRelease);
  int nStatus = 0;
  ASSERT_EQ(waitpid(child, &nStatus, 0), child);
  EXPECT_TRUE(mutex.Lock(5000));
  EXPECT_TRUE(mutex.Unlock());
}

TEST_F(SystemLock, IsReleasedWhenItsHolderIsKilled) {
  int nRelease = -1;
  const pid_t child = ForkHolder(&nRelease);
  ASSERT_GT(child, 0);
  LSystemLockMutex mutex(szName.c_str());
  EXPECT_FALSE(mutex.Lock(20));
  kill(child, SIGKILL);
  int nStatus = 0;
  ASSERT_EQ(waitpid(child, &nStatus, 0), child);
  close(nRelease);
  EXPECT_TRUE(mutex.Lock(5000));
  mutex.Unlock();
}

// A process interface that says stop after a number of questions.
class StopAfter : public LProcessInterfaceVoid {
public:
  explicit StopAfter(int nAnswers) : nLeft(nAnswers) {}
  bool IsToStop() override { return ++nAsked, nLeft-- <= 0; }
  int nLeft;
  int nAsked = 0;
};

TEST_F(SystemLock, ScopeGivesUpWhenAskedToStop) {
  int nRelease = -1;
  const pid_t child = ForkHolder(&nRelease);
  ASSERT_GT(child, 0);
  StopAfter process(1);
  {
    LSystemLockMutexScope scope(process, szName.c_str());
    EXPECT_FALSE(scope.IsLocked());
    EXPECT_EQ(process.nAsked, 2);
  }
  // The scope that did not get the lock must not have released the
  // holder's: the lock is still taken.
  LSystemLockMutex mutex(szName.c_str());
  EXPECT_FALSE(mutex.Lock(20));
  close(nRelease);
  int nStatus = 0;
  waitpid(child, &nStatus, 0);
}

TEST_F(SystemLock, ScopeHoldsAndReleases) {
  LProcessInterfaceVoid process;
  {
    LSystemLockMutexScope scope(process, szName.c_str());
    EXPECT_TRUE(scope.IsLocked());
    LSystemLockMutex other(szName.c_str());
    EXPECT_EQ(other.GetKey(), scope.GetKey());
    // The holder is this process; another object still finds it taken,
    // because the semaphore counts holds, not processes.
    EXPECT_FALSE(other.Lock(0));
  }
  LSystemLockMutex mutex(szName.c_str());
  EXPECT_TRUE(mutex.Lock(0));
  mutex.Unlock();
}

TEST_F(SystemLock, GivesUpOnARemovedSetInsteadOfSpinning) {
  LSystemLockMutex holder(szName.c_str());
  ASSERT_TRUE(holder.LockForever());
  LSystemLockMutex waiter(szName.c_str());
  std::atomic<bool> bRemoved{false};
  StopAfter never(1 << 30);
  std::thread remover([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    bRemoved = LSystemLockMutex(szName.c_str()).Remove();
  });
  EXPECT_FALSE(waiter.Lock(never));
  remover.join();
  EXPECT_TRUE(bRemoved);
  EXPECT_TRUE(waiter.IsGone());
  EXPECT_LT(never.nAsked, 1000);
}

}  // namespace
