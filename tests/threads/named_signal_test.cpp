// Named events between processes: a waiter listening at a path in the
// user's application support folder, signallers that never block.
#include "threads/LSignalObjectNamed.h"

#include "tests/support/LTempFolder.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>

namespace {

using Clock = std::chrono::steady_clock;

// Points the application support folder at a private folder for the test.
class NamedSignal : public testing::Test {
protected:
  void SetUp() override {
    ASSERT_FALSE(folder.Path().empty());
    const char* szOld = std::getenv("XDG_DATA_HOME");
    bHadOld = szOld != nullptr;
    if (bHadOld) szOldDataHome = szOld;
    setenv("XDG_DATA_HOME", folder.Path().c_str(), 1);
  }
  void TearDown() override {
    if (bHadOld) {
      setenv("XDG_DATA_HOME", szOldDataHome.c_str(), 1);
    } else {
      unsetenv("XDG_DATA_HOME");
    }
  }
  bool PathExists(const char* szName) {
    struct stat st{};
    return stat((folder / szName).c_str(), &st) == 0;
  }

  harlune::test::LTempFolder folder;
  bool bHadOld = false;
  std::string szOldDataHome;
};

TEST_F(NamedSignal, PathIsTheNameInTheApplicationSupportFolder) {
  LSignalObjectNamedSignaller signaller("event");
  EXPECT_EQ(std::string(signaller.GetPath()), folder / "event");
}

TEST_F(NamedSignal, SignalBeforeTheWaitIsKept) {
  LSignalObjectNamedWaiter waiter("kept");
  ASSERT_TRUE(waiter.IsListening());
  LSignalObjectNamedSignaller("kept").Signal();
  EXPECT_TRUE(waiter.WaitSignal(20000));
  EXPECT_TRUE(waiter.WasSignaled());
  waiter.Reset();
}

TEST_F(NamedSignal, AWaitThatRunsOutAnswersTrueWithoutASignal) {
  LSignalObjectNamedWaiter waiter("quiet");
  const auto tStart = Clock::now();
  EXPECT_TRUE(waiter.WaitSignal(30));
  EXPECT_FALSE(waiter.WasSignaled());
  EXPECT_GE(Clock::now() - tStart, std::chrono::milliseconds(29));
}

TEST_F(NamedSignal, SignalFromAnotherProcess) {
  LSignalObjectNamedWaiter waiter("between");
  ASSERT_TRUE(waiter.IsListening());
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    LSignalObjectNamed("between").Signal();
    _exit(0);
  }
  EXPECT_TRUE(waiter.WaitSignal(20000));
  EXPECT_TRUE(waiter.WasSignaled());
  int nStatus = 0;
  ASSERT_EQ(waitpid(child, &nStatus, 0), child);
}

// Nobody listening, or a backlog nobody accepts: every signal returns at
// once (the test would hang otherwise) and leaves nothing behind.
TEST_F(NamedSignal, SignallersNeverBlock) {
  LSignalObjectNamedSignaller("nobody").Signal();
  EXPECT_FALSE(PathExists("nobody"));
  LSignalObjectNamedWaiter waiter("full");
  ASSERT_TRUE(waiter.IsListening());
  for (int i = 0; i < 200; ++i) LSignalObjectNamedSignaller("full").Signal();
  EXPECT_TRUE(waiter.WaitSignal(20000));
  EXPECT_TRUE(waiter.WasSignaled());
}

TEST_F(NamedSignal, ResetReadsTheKeptConnectionDry) {
  LSignalObjectNamedWaiter waiter("dry");
  LSignalObjectNamedSignaller("dry").Signal();
  ASSERT_TRUE(waiter.WaitSignal(20000));
  waiter.Reset();
  waiter.Reset();  // nothing left: returns at once
  SUCCEED();
}

TEST_F(NamedSignal, WaiterRemovesItsPathOnlyAfterAConnection) {
  {
    LSignalObjectNamedWaiter waiter("unused");
  }
  EXPECT_TRUE(PathExists("unused"));
  {
    LSignalObjectNamedWaiter waiter("used");
    LSignalObjectNamedSignaller("used").Signal();
    ASSERT_TRUE(waiter.WaitSignal(20000));
  }
  EXPECT_FALSE(PathExists("used"));
}

TEST_F(NamedSignal, ANewWaiterReplacesAStaleSocketFile) {
  { LSignalObjectNamedWaiter stale("stale"); }
  ASSERT_TRUE(PathExists("stale"));
  LSignalObjectNamedWaiter waiter("stale");
  EXPECT_TRUE(waiter.IsListening());
}

// Names that cannot make a socket address: refused, and the waiter's waits
// fail without hanging.
struct RefusedCase {
  const char* name;
  std::string szName;
};

class NamedSignalRefused : public NamedSignal, public testing::WithParamInterface<RefusedCase> {};

TEST_P(NamedSignalRefused, NeverListens) {
  LSignalObjectNamedWaiter waiter(GetParam().szName.c_str());
  EXPECT_FALSE(waiter.HasAddress());
  EXPECT_FALSE(waiter.IsListening());
  EXPECT_FALSE(waiter.WaitSignal(kLWaitForever));
  EXPECT_FALSE(waiter.WaitSignal(5));
  LSignalObjectNamedSignaller(GetParam().szName.c_str()).Signal();
}

INSTANTIATE_TEST_SUITE_P(Names, NamedSignalRefused,
                         testing::Values(RefusedCase{"Empty", ""}, RefusedCase{"TooLong", std::string(120, 'n')}),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
