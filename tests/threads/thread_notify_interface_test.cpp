// LThreadNotifyInterface: a thread's reports arrive at the target on the
// main thread, as the target's own calls.
#include "threads/LProcessInterfaceVoid.h"
#include "threads/LQueuedNotifyDataSender.h"
#include "threads/LThreadNotifyInterface.h"

#include "main_thread_support.h"

#include <gtest/gtest.h>

#include <pthread.h>

#include <cmath>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace {

using harlune::test::RunMainFor;
using harlune::test::RunMainUntil;

// Records the reports that reach it, one text each.
class RecordingTarget : public LProcessInterfaceVoid {
public:
  void SetError(const char* szText) override { Note(std::string("error ") + szText); }
  void SetStatus(const char* szText, int nLine) override {
    Note("status " + std::to_string(nLine) + " " + szText);
  }
  void SetProgress(double fFraction) override {
    char szText[64];
    std::snprintf(szText, sizeof szText, "progress %.2f", fFraction);
    Note(szText);
  }
  void SetProgressIndeterminateOn() override { Note("indeterminate on"); }
  void SetProgressIndeterminateOff() override { Note("indeterminate off"); }

  void Note(const std::string& szWhat) {
    arCalls.push_back(szWhat);
    bAllOnMain = bAllOnMain && pthread_main_np() != 0;
  }
  std::vector<std::string> arCalls;
  bool bAllOnMain = true;
};

class ReportingThread : public LThreadNotifyInterface {
public:
  ReportingThread(LProcessInterface* pTarget, std::function<void(LProcessInterface&)> fnBody)
      : LThreadNotifyInterface(pTarget), fnBody(std::move(fnBody)) {}
  ~ReportingThread() override { StopThreadAndWait(); }

protected:
  void ThreadCallback() override { fnBody(*this); }

private:
  std::function<void(LProcessInterface&)> fnBody;
};

struct ReportCase {
  const char* name;
  void (*report)(LProcessInterface& process);
  std::vector<std::string> expected;
};

class ThreadNotifyInterfaceReports : public testing::TestWithParam<ReportCase> {};

// The body reports and returns before the main thread runs at all; then
// the main thread runs until the expected calls (or more) have arrived.
TEST_P(ThreadNotifyInterfaceReports, ArriveAtTheTargetOnTheMainThread) {
  RecordingTarget target;
  {
    ReportingThread thread(&target, GetParam().report);
    ASSERT_TRUE(thread.Start());
    ASSERT_TRUE(thread.GetStopped().WaitSignal(20000));
    const std::size_t nExpected = GetParam().expected.size();
    RunMainUntil([&] { return target.arCalls.size() >= nExpected; });
    RunMainFor(0.02);  // nothing more may come
  }
  EXPECT_EQ(target.arCalls, GetParam().expected);
  EXPECT_TRUE(target.bAllOnMain);
}

const std::string gszLong(300, 'L');

INSTANTIATE_TEST_SUITE_P(
    Reports, ThreadNotifyInterfaceReports,
    testing::Values(
        ReportCase{"Error", [](LProcessInterface& p) { p.SetError("disk full"); }, {"error disk full"}},
        ReportCase{"FormattedError", [](LProcessInterface& p) { p.SetErrorF("code %d", 5); }, {"error code 5"}},
        ReportCase{"StatusLines",
                   [](LProcessInterface& p) {
                     p.SetStatus("first", 0);
                     p.SetStatus("second", 1);
                   },
                   {"status 0 first", "status 1 second"}},
        // Both posts read the line at delivery: the latest text, twice.
        ReportCase{"StatusChangedTwiceBeforeDelivery",
                   [](LProcessInterface& p) {
                     p.SetStatus("A", 0);
                     p.SetStatus("B", 0);
                   },
                   {"status 0 B", "status 0 B"}},
        ReportCase{"StatusOfAnotherLineIsIgnored",
                   [](LProcessInterface& p) {
                     p.SetStatus("x", 2);
                     p.SetStatus("y", -1);
                   },
                   {}},
        ReportCase{"LongStatusIsCut", [](LProcessInterface& p) { p.SetStatus(gszLong.c_str(), 1); },
                   {"status 1 " + std::string(259, 'L')}},
        ReportCase{"ProgressHalf", [](LProcessInterface& p) { p.SetProgress(0.5); }, {"progress 0.50"}},
        ReportCase{"ProgressIsWholePercent", [](LProcessInterface& p) { p.SetProgress(0.1234); },
                   {"progress 0.12"}},
        ReportCase{"NegativeProgressIsZero", [](LProcessInterface& p) { p.SetProgress(-0.5); }, {"progress 0.00"}},
        ReportCase{"NotANumberIsZero", [](LProcessInterface& p) { p.SetProgress(std::nan("")); },
                   {"progress 0.00"}},
        ReportCase{"HugeProgressIsClamped", [](LProcessInterface& p) { p.SetProgress(1e12); },
                   {"progress 21474836.47"}},
        ReportCase{"Indeterminate",
                   [](LProcessInterface& p) {
                     p.SetProgressIndeterminateOn();
                     p.SetProgress(1.0);
                     p.SetProgressIndeterminateOff();
                   },
                   {"indeterminate on", "progress 1.00", "indeterminate off"}}),
    [](const auto& info) { return std::string(info.param.name); });

// Other senders may post to the interface: code 0 without bytes, codes it
// does not know, and an error text without its terminator.
TEST(ThreadNotifyInterface, IgnoresWhatItCannotDeliver) {
  RecordingTarget target;
  ReportingThread thread(&target, [](LProcessInterface&) {});
  LQueuedNotifyDataSender stranger(&thread);
  stranger.NotifyData(LThreadNotifyInterface::kLNotifyError);
  stranger.NotifyData(6, 1L);
  stranger.NotifyData(99, "zz", 2);
  stranger.NotifyData(LThreadNotifyInterface::kLNotifyError, "abc", 2);
  RunMainUntil([&] { return !target.arCalls.empty(); });
  RunMainFor(0.02);
  EXPECT_EQ(target.arCalls, std::vector<std::string>{"error ab"});
}

TEST(ThreadNotifyInterface, NothingReachesTheTargetAfterDestruction) {
  RecordingTarget target;
  {
    ReportingThread thread(&target, [](LProcessInterface& p) {
      for (int i = 0; i < 50; ++i) p.SetProgress(i * 0.01);
      p.ProcessWaitUntilStopped();
    });
    ASSERT_TRUE(thread.Start());
  }
  RunMainFor(0.1);
  EXPECT_TRUE(target.arCalls.empty());
}

TEST(ThreadNotifyInterface, IsAStoppableThread) {
  RecordingTarget target;
  ReportingThread thread(&target, [](LProcessInterface& p) {
    p.SetStatus("working", 0);
    p.ProcessWaitUntilStopped();
    p.SetStatus("stopped", 0);
  });
  ASSERT_TRUE(thread.Start());
  ASSERT_TRUE(RunMainUntil([&] { return !target.arCalls.empty(); }));
  thread.StopThreadSoon();
  ASSERT_TRUE(thread.GetStopped().WaitSignal(20000));
  ASSERT_TRUE(RunMainUntil([&] { return target.arCalls.size() == 2; }));
  EXPECT_EQ(target.arCalls.back(), "status 0 stopped");
}

}  // namespace
