// Crash capture: a program that loaded the bundle ends a fault exactly as
// it would without it; loading adds one thread; the library's two signal
// handlers end (or do not end) the process as they promise.
#include "diagnostics/LDiagnostics.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <dlfcn.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
#if __has_feature(thread_sanitizer)
constexpr bool kThreadSanitized = true;
#else
constexpr bool kThreadSanitized = false;
#endif
#else
constexpr bool kSanitized = false;
constexpr bool kThreadSanitized = false;
#endif

// The program's environment. Under the thread sanitizer, the handler
// thread that served the one exception is never joined (by design: the
// process is about to end), and the sanitizer's report of that unjoined
// thread would change the exit status that is being compared.
std::vector<std::string> ChildEnvironment() {
    std::vector<std::string> ar;
    std::string szTsan = "TSAN_OPTIONS=";
    for (char** p = environ; *p != nullptr; ++p) {
        if (kThreadSanitized && std::strncmp(*p, "TSAN_OPTIONS=", 13) == 0) {
            szTsan = *p;
            continue;
        }
        ar.push_back(*p);
    }
    if (kThreadSanitized) ar.push_back(szTsan + " report_thread_leaks=0");
    return ar;
}

// Runs the fault program and returns its wait status.
int RunChild(const char* szMode, const char* szScenario) {
    const char* arArgs[] = {HARLUNE_FAULT_CHILD, szMode, szScenario, nullptr};
    pid_t pid = 0;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    // The sanitizers' and the kernel's reports are expected; keep the log short.
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    std::vector<std::string> arEnvironment = ChildEnvironment();
    std::vector<char*> arEnv;
    for (std::string& sz : arEnvironment) arEnv.push_back(sz.data());
    arEnv.push_back(nullptr);
    const int nSpawned =
        posix_spawn(&pid, HARLUNE_FAULT_CHILD, &actions, nullptr, const_cast<char**>(arArgs), arEnv.data());
    posix_spawn_file_actions_destroy(&actions);
    if (nSpawned != 0) return -1;
    int nStatus = 0;
    if (waitpid(pid, &nStatus, 0) != pid) return -1;
    return nStatus;
}

std::string Describe(int nStatus) {
    if (WIFSIGNALED(nStatus)) return "signal " + std::to_string(WTERMSIG(nStatus));
    if (WIFEXITED(nStatus)) return "exit " + std::to_string(WEXITSTATUS(nStatus));
    return "status " + std::to_string(nStatus);
}

struct FaultCase {
    const char* szScenario;
    std::string szExpected; // without sanitizers; with them only the two runs are compared
};

TEST(CrashCapture, FaultsEndAsWithoutTheLibrary) {
    const FaultCase arCases[] = {
        {"segv", "signal " + std::to_string(SIGSEGV)},
        {"fpe", "signal " + std::to_string(SIGFPE)},
        {"ill", "signal " + std::to_string(SIGILL)},
        {"bus", "signal " + std::to_string(SIGBUS)},
        {"thread", "signal " + std::to_string(SIGSEGV)},
        {"raise", "signal " + std::to_string(SIGSEGV)},   // sent, never an exception
        {"kill-ill", "signal " + std::to_string(SIGILL)},
        {"prior", "exit 42"},                            // the program's own handler still runs
        {"twice", "exit 12"},                            // recovered twice, no hang
        {"fork", "exit " + std::to_string(100 + SIGSEGV)}, // the forked child dies, does not hang
    };
    for (const FaultCase& c : arCases) {
        const std::string szWithout = Describe(RunChild("none", c.szScenario));
        const std::string szWith = Describe(RunChild("load", c.szScenario));
        EXPECT_EQ(szWith, szWithout) << c.szScenario;
        if (!kSanitized) EXPECT_EQ(szWith, c.szExpected) << c.szScenario;
    }
}

TEST(CrashCapture, TheOneExceptionIsServedByTheHandlerThread) {
    // The handler thread takes the first fault, answers it and ends; without
    // the library there is no such thread.
    EXPECT_EQ(Describe(RunChild("load", "served")), "exit 1");
    EXPECT_EQ(Describe(RunChild("none", "served")), "exit 0");
}

int CountThreads() {
    int n = 0;
    if (DIR* dir = opendir("/proc/self/task")) {
        while (dirent* e = readdir(dir)) n += e->d_name[0] != '.';
        closedir(dir);
    }
    return n;
}

TEST(CrashCapture, LoadingTheBundleAddsOneThread) {
    const int nBefore = CountThreads();
    void* hBundle = dlopen(HARLUNE_BUNDLE_PATH "/Contents/Linux/HarluneVirtualAudioDevice.so", RTLD_NOW);
    ASSERT_NE(hBundle, nullptr) << dlerror();
    EXPECT_EQ(CountThreads(), nBefore + 1);
    // The bundle stays mapped for the life of the process.
    dlclose(hBundle);
    EXPECT_NE(dlopen(HARLUNE_BUNDLE_PATH "/Contents/Linux/HarluneVirtualAudioDevice.so", RTLD_NOW | RTLD_NOLOAD),
              nullptr);
}

// Runs fn in a child and returns its wait status.
template <typename Fn>
int InChild(Fn fn) {
    pid_t pid = fork();
    if (pid == 0) {
        fn();
        _exit(77); // every call returned
    }
    int nStatus = 0;
    waitpid(pid, &nStatus, 0);
    return nStatus;
}

struct HandlerCase {
    const char* szCase;
    void (*pfnHandler)(int, siginfo_t*, void*);
    std::vector<int> arSignals; // handed to the handler in turn
    int nExpectedExit;
    bool bExpectTrapped;
};

TEST(SignalHandlers, EndTheProcessOrReturn) {
    const HandlerCase arCases[] = {
        {"segv exits 666", LDebugSignalHandler, {SIGSEGV}, 666 & 0xFF, true},
        {"abort exits 666", LDebugSignalHandler, {SIGABRT}, 154, true},
        {"bus by name", LDebugSignalHandler, {SIGBUS}, 154, true},
        {"ill returns", LDebugSignalHandler, {SIGILL}, 77, true},
        {"pipe then segv returns", LDebugSignalHandler, {SIGPIPE, SIGSEGV}, 77, true},
        {"int exits 0", LIntTermSignalHandler, {SIGINT}, 0, false},
        {"term exits 0", LIntTermSignalHandler, {SIGTERM}, 0, false},
        {"hup returns", LIntTermSignalHandler, {SIGHUP}, 77, false},
    };
    for (const HandlerCase& c : arCases) {
        const int nStatus = InChild([&] {
            for (int nSignal : c.arSignals) c.pfnHandler(nSignal, nullptr, nullptr);
            if (bLLibExceptionAlreadyTrapped != c.bExpectTrapped) _exit(78);
        });
        ASSERT_TRUE(WIFEXITED(nStatus)) << c.szCase;
        EXPECT_EQ(WEXITSTATUS(nStatus), c.nExpectedExit) << c.szCase;
    }
}

TEST(SignalHandlers, TheFirstSignalTrapsOnce) {
    // With the flag already set, even a fatal signal returns.
    const int nStatus = InChild([] {
        bLLibExceptionAlreadyTrapped = true;
        LDebugSignalHandler(SIGSEGV, nullptr, nullptr);
    });
    ASSERT_TRUE(WIFEXITED(nStatus));
    EXPECT_EQ(WEXITSTATUS(nStatus), 77);
}

} // namespace
