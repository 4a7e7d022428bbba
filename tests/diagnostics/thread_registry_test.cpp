// The debug thread registry: claiming, trimming and reuse of entries,
// names, dialog tags and nested block scopes.
#include "diagnostics/LDiagnostics.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

// A thread that runs what it is handed, one call at a time, and waits for
// each to finish, so a case can act "as" several threads in a fixed order.
class Worker {
public:
    Worker() : m_thread([this] { Loop(); }) {}
    ~Worker() {
        Run(nullptr);
        m_thread.join();
    }
    void Run(std::function<void()> fn) {
        std::unique_lock<std::mutex> lock(m_mtx);
        m_fn = std::move(fn);
        m_bQuit = !m_fn;
        m_bPending = true;
        m_cv.notify_all();
        m_cv.wait(lock, [this] { return !m_bPending; });
    }

private:
    void Loop() {
        for (;;) {
            std::unique_lock<std::mutex> lock(m_mtx);
            m_cv.wait(lock, [this] { return m_bPending; });
            if (m_bQuit) {
                m_bPending = false;
                m_cv.notify_all();
                return;
            }
            m_fn();
            m_bPending = false;
            m_cv.notify_all();
        }
    }
    std::mutex m_mtx;
    std::condition_variable m_cv;
    std::function<void()> m_fn;
    bool m_bPending = false;
    bool m_bQuit = false;
    std::thread m_thread;
};

// Index of a worker's entry, or -1.
int IndexOf(Worker& w) {
    int nIndex = -1;
    w.Run([&] {
        LDebugThreadData* p = LDebugThreadFindData();
        nIndex = p == nullptr ? -1 : static_cast<int>(p - gDebugThreadData);
    });
    return nIndex;
}

struct Step {
    int nWorker;
    bool bStart;          // start (true) or stop (false)
    uint64_t nCountAfter; // gnDebugThreads after the step
    int nIndexAfter;      // the worker's entry index after the step
};

struct RegistryCase {
    const char* szCase;
    std::vector<Step> arSteps;
};

TEST(ThreadRegistry, ClaimTrimAndReuse) {
    const RegistryCase arCases[] = {
        {"claims in order", {{0, true, 1, 0}, {1, true, 2, 1}, {2, true, 3, 2}}},
        {"stop last then middle trims to one",
         {{0, true, 1, 0}, {1, true, 2, 1}, {2, true, 3, 2}, {2, false, 2, -1}, {1, false, 1, -1}}},
        {"stop middle then last trims to one",
         {{0, true, 1, 0}, {1, true, 2, 1}, {2, true, 3, 2}, {1, false, 3, -1}, {2, false, 1, -1}}},
        {"a freed entry below the count is reused",
         {{0, true, 1, 0}, {1, true, 2, 1}, {2, true, 3, 2}, {1, false, 3, -1}, {3, true, 3, 1}}},
        {"stopping an unregistered thread changes nothing", {{0, true, 1, 0}, {1, false, 1, -1}}},
        {"all stopped: empty", {{0, true, 1, 0}, {0, false, 0, -1}}},
    };
    for (const RegistryCase& c : arCases) {
        std::vector<std::unique_ptr<Worker>> arWorkers;
        for (int i = 0; i < 4; ++i) arWorkers.push_back(std::make_unique<Worker>());
        for (const Step& s : c.arSteps) {
            Worker& w = *arWorkers[s.nWorker];
            w.Run([&] { s.bStart ? LDebugThreadDataStartThread("T") : LDebugThreadDataStopThread(); });
            EXPECT_EQ(gnDebugThreads.load(), s.nCountAfter) << c.szCase;
            EXPECT_EQ(IndexOf(w), s.nIndexAfter) << c.szCase;
        }
        for (auto& w : arWorkers) w->Run([] { LDebugThreadDataStopThread(); });
        ASSERT_EQ(gnDebugThreads.load(), 0u) << c.szCase;
    }
}

TEST(ThreadRegistry, TheSixtyFifthIsRefusedUntilOneStops) {
    std::vector<std::unique_ptr<Worker>> arWorkers;
    for (size_t i = 0; i < kMaxDebugThreads + 1; ++i) arWorkers.push_back(std::make_unique<Worker>());
    for (size_t i = 0; i < kMaxDebugThreads; ++i) arWorkers[i]->Run([] { LDebugThreadDataStartThread("W"); });
    Worker& late = *arWorkers.back();
    late.Run([] { LDebugThreadDataStartThread("Late"); });
    EXPECT_EQ(gnDebugThreads.load(), kMaxDebugThreads);
    EXPECT_EQ(IndexOf(late), -1);
    char szName[8] = "x";
    late.Run([&] { LDebugThreadGetName(szName); });
    EXPECT_STREQ(szName, "");

    arWorkers[10]->Run([] { LDebugThreadDataStopThread(); });
    late.Run([] { LDebugThreadDataStartThread("Late"); });
    EXPECT_EQ(IndexOf(late), 10);
    for (auto& w : arWorkers) w->Run([] { LDebugThreadDataStopThread(); });
    EXPECT_EQ(gnDebugThreads.load(), 0u);
}

struct NameCase {
    const char* szCase;
    std::function<void()> fnAct; // run on a fresh thread
    std::string szExpectedName;  // empty: computed from the thread id
    std::string szExpectedDialog;
};

TEST(ThreadRegistry, NamesAndDialogTags) {
    auto generated = [] {
        char sz[8];
        snprintf(sz, sizeof sz, "%.4u", LDebugGetCurrentThreadId() % 10000);
        return std::string(sz);
    };
    auto dialogDigits = [](const char* szTag) {
        const uint32_t id = LDebugGetCurrentThreadId();
        return std::string(szTag) + std::to_string(id % 10) + std::to_string((id % 100) / 10) +
               std::to_string((id % 1000) / 100);
    };
    const NameCase arCases[] = {
        {"long name cut to four", [] { LDebugThreadDataStartThread("Worker"); }, "Work", ""},
        {"short name kept", [] { LDebugThreadDataStartThread("IO"); }, "IO", ""},
        {"null name is the id", [] { LDebugThreadDataStartThread(nullptr); }, "", ""},
        {"renamed", [] { LDebugThreadDataStartThread("A"); LDebugThreadSetName("Render"); }, "Rend", ""},
        {"unregistered has no name", [] { LDebugThreadSetName("Nope"); }, "-", ""},
        {"dialog tag with id digits", [] { LDebugThreadDataStartThread("D"); LDebugThreadSetLastDialog("Options"); },
         "D", "*Options"},
        {"long dialog tag cut to 31",
         [] { LDebugThreadDataStartThread("D"); LDebugThreadSetLastDialog("abcdefghijklmnopqrstuvwxyz0123456789"); },
         "D", "abcdefghijklmnopqrstuvwxyz01234"},
    };
    for (const NameCase& c : arCases) {
        Worker w;
        std::string szName, szDialog, szGenerated, szDigits;
        bool bFound = false;
        w.Run([&] {
            c.fnAct();
            char sz[8];
            LDebugThreadGetName(sz);
            szName = sz;
            LDebugThreadData* p = LDebugThreadFindData();
            bFound = p != nullptr;
            szDialog = p ? p->szLastDialog : "";
            szGenerated = generated();
            szDigits = dialogDigits("Options");
            LDebugThreadDataStopThread();
        });
        if (c.szExpectedName == "-") {
            EXPECT_FALSE(bFound) << c.szCase;
            EXPECT_EQ(szName, "") << c.szCase;
            continue;
        }
        EXPECT_EQ(szName, c.szExpectedName.empty() ? szGenerated : c.szExpectedName) << c.szCase;
        EXPECT_EQ(szDialog, c.szExpectedDialog == "*Options" ? szDigits : c.szExpectedDialog) << c.szCase;
    }
    LDebugThreadGetName(nullptr); // a null buffer does nothing
}

TEST(ThreadRegistry, NestedBlockScopesRestoreWhatTheyFound) {
    Worker w;
    std::vector<std::string> arSeen;
    auto name = [] {
        char sz[8];
        LDebugThreadGetName(sz);
        return std::string(sz);
    };
    w.Run([&] {
        LDebugThreadDataStartThread("MAIN");
        {
            LBugReportBlockScope save("Save");
            arSeen.push_back(name());
            {
                LBugReportBlockScope load("Loading");
                arSeen.push_back(name());
            }
            arSeen.push_back(name());
        }
        arSeen.push_back(name());
        LDebugThreadDataStopThread();
        {
            LBugReportBlockScope none("None"); // unregistered: nothing to rename
            arSeen.push_back(name());
        }
        arSeen.push_back(name());
    });
    EXPECT_EQ(arSeen, (std::vector<std::string>{"Save", "Load", "Save", "MAIN", "", ""}));
}

TEST(ThreadRegistry, MainThreadIsTheProcesssFirst) {
    EXPECT_TRUE(LIsMainThread());
    bool bOther = true;
    std::thread([&] { bOther = LIsMainThread(); }).join();
    EXPECT_FALSE(bOther);
}

} // namespace
