// The process interfaces that are not threads: the never-stopped one, the
// nested one, and the formatting reports of the base.
#include "threads/LProcessInterfaceNested.h"
#include "threads/LProcessInterfaceVoid.h"
#include "threads/LSignalObjectGroup.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(ProcessInterfaceVoid, NeverStopsAndAnswersWaits) {
  LProcessInterfaceVoid process;
  LSignalObject so;
  LSignalObjectGroup group;
  EXPECT_FALSE(process.IsToStop());
  EXPECT_FALSE(process.ProcessWait(5));
  EXPECT_EQ(process.ProcessWaitSignal(so, 5), kLProcessWaitTimedOut);
  EXPECT_EQ(process.ProcessWaitSignalObjectGroup(group, kLWaitForever), kLProcessWaitTimedOut);
  group.Add(so);
  EXPECT_EQ(process.ProcessWaitSignalObjectGroup(group, 5), kLProcessWaitTimedOut);
  so.Signal();
  EXPECT_EQ(process.ProcessWaitSignal(so, 5), kLProcessWaitSignaled);
  EXPECT_EQ(process.ProcessWaitSignalForever(so), kLProcessWaitSignaled);
  EXPECT_EQ(process.ProcessWaitSignalObjectGroupForever(group), kLProcessWaitSignaled);
}

// A parent that records what reaches it and answers with fixed values.
class RecordingParent : public LProcessInterface {
public:
  bool IsToStop() override { return Note("IsToStop"), true; }
  bool ProcessWait(uint32_t) override { return Note("ProcessWait"), true; }
  int ProcessWaitSignal(LSignalObjectRef, uint32_t) override { return Note("ProcessWaitSignal"), 1; }
  int ProcessWaitSignalObjectGroup(LSignalObjectGroup&, uint32_t) override {
    return Note("ProcessWaitSignalObjectGroup"), 1;
  }
  void ProcessWaitUntilStopped() override { Note("ProcessWaitUntilStopped"); }
  int ProcessWaitSignalForever(LSignalObjectRef) override { return Note("ProcessWaitSignalForever"), 1; }
  int ProcessWaitSignalObjectGroupForever(LSignalObjectGroup&) override {
    return Note("ProcessWaitSignalObjectGroupForever"), 1;
  }
  void SetError(const char*) override { Note("SetError"); }

  void Note(const char* szWhat) { arCalls.push_back(szWhat); }
  std::vector<std::string> arCalls;
};

struct ForwardCase {
  const char* name;
  void (*call)(LProcessInterface& process);
};

class ProcessInterfaceNestedForwards : public testing::TestWithParam<ForwardCase> {};

TEST_P(ProcessInterfaceNestedForwards, EachQueryAndWaitToItsParent) {
  RecordingParent parent;
  LProcessInterfaceNested nested(&parent);
  GetParam().call(nested);
  EXPECT_EQ(parent.arCalls, std::vector<std::string>{GetParam().name});
}

LSignalObject gSignal;
LSignalObjectGroup gGroup;

INSTANTIATE_TEST_SUITE_P(
    Operations, ProcessInterfaceNestedForwards,
    testing::Values(
        ForwardCase{"IsToStop", [](LProcessInterface& p) { EXPECT_TRUE(p.IsToStop()); }},
        ForwardCase{"ProcessWait", [](LProcessInterface& p) { EXPECT_TRUE(p.ProcessWait(1)); }},
        ForwardCase{"ProcessWaitSignal", [](LProcessInterface& p) { EXPECT_EQ(p.ProcessWaitSignal(gSignal, 1), 1); }},
        ForwardCase{"ProcessWaitSignalObjectGroup",
                    [](LProcessInterface& p) { EXPECT_EQ(p.ProcessWaitSignalObjectGroup(gGroup, 1), 1); }},
        ForwardCase{"ProcessWaitUntilStopped", [](LProcessInterface& p) { p.ProcessWaitUntilStopped(); }},
        ForwardCase{"ProcessWaitSignalForever",
                    [](LProcessInterface& p) { EXPECT_EQ(p.ProcessWaitSignalForever(gSignal), 1); }},
        ForwardCase{"ProcessWaitSignalObjectGroupForever",
                    [](LProcessInterface& p) { EXPECT_EQ(p.ProcessWaitSignalObjectGroupForever(gGroup), 1); }}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(ProcessInterfaceNested, KeepsReportsToItselfAndSurvivesNoParent) {
  RecordingParent parent;
  LProcessInterfaceNested nested(&parent);
  nested.SetError("not forwarded");
  EXPECT_TRUE(parent.arCalls.empty());
  LProcessInterfaceNested orphan(nullptr);
  EXPECT_FALSE(orphan.IsToStop());
  EXPECT_EQ(orphan.ProcessWaitSignal(gSignal, 1), kLProcessWaitTimedOut);
}

class CapturingReports : public LProcessInterfaceVoid {
public:
  void SetError(const char* szText) override { szError = szText; }
  void SetStatus(const char* szText, int nLine) override {
    szStatus = szText;
    nStatusLine = nLine;
  }
  std::string szError, szStatus;
  int nStatusLine = -1;
};

TEST(ProcessInterface, FormattedReportsAreCutAt8191Characters) {
  CapturingReports process;
  process.SetErrorF("error %d: %s", 7, "disk full");
  EXPECT_EQ(process.szError, "error 7: disk full");
  process.SetStatusF(1, "%05.1f%%", 12.5);
  EXPECT_EQ(process.szStatus, "012.5%");
  EXPECT_EQ(process.nStatusLine, 1);
  const std::string szLong(10000, 'x');
  process.SetErrorF("%s", szLong.c_str());
  EXPECT_EQ(process.szError, std::string(8191, 'x'));
}

TEST(ProcessInterface, BaseReportsDoNothing) {
  LProcessInterfaceVoid process;
  process.SetError("e");
  process.SetStatus("s", 0);
  process.SetProgress(0.5);
  process.SetProgressIndeterminateOn();
  process.SetProgressIndeterminateOff();
  process.SetErrorF(nullptr);
  SUCCEED();
}

}  // namespace
