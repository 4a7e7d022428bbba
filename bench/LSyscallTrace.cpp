#include "bench/LSyscallTrace.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

namespace harlune::bench {
namespace {

std::string ReadFile(const std::string& szPath) {
    std::ifstream in(szPath, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

// The strace program: the first on PATH, else the package's path; empty
// when there is none.
std::string FindStrace() {
    const char* szPath = std::getenv("PATH");
    std::istringstream in(szPath != nullptr ? szPath : "");
    std::string szFolder;
    while (std::getline(in, szFolder, ':')) {
        const std::string szCandidate = (szFolder.empty() ? "." : szFolder) + "/strace";
        if (access(szCandidate.c_str(), X_OK) == 0) {
            return szCandidate;
        }
    }
    return access("/usr/bin/strace", X_OK) == 0 ? "/usr/bin/strace" : std::string();
}

// The pid of the tracer of thread tid of this process; 0 when untraced,
// -1 when the thread is gone.
pid_t TracerOf(pid_t tid) {
    std::ifstream in("/proc/self/task/" + std::to_string(tid) + "/status");
    if (!in) {
        return -1;
    }
    std::string szLine;
    while (std::getline(in, szLine)) {
        if (szLine.rfind("TracerPid:", 0) == 0) {
            return static_cast<pid_t>(std::atol(szLine.c_str() + 10));
        }
    }
    return -1;
}

} // namespace

LSyscallCounts LCountStraceCalls(std::string_view szTrace, pid_t tid) {
    LSyscallCounts counts;
    std::size_t nStart = 0;
    while (nStart < szTrace.size()) {
        std::size_t nEnd = szTrace.find('\n', nStart);
        if (nEnd == std::string_view::npos) {
            nEnd = szTrace.size();
        }
        std::string_view szLine = szTrace.substr(nStart, nEnd - nStart);
        nStart = nEnd + 1;
        // An optional thread ID and spaces before the call.
        std::size_t n = 0;
        while (n < szLine.size() && std::isdigit(static_cast<unsigned char>(szLine[n]))) {
            ++n;
        }
        if (n > 0 && n < szLine.size() && szLine[n] == ' ') {
            if (std::atol(std::string(szLine.substr(0, n)).c_str()) != tid) {
                continue;
            }
            szLine.remove_prefix(n);
            while (!szLine.empty() && szLine.front() == ' ') {
                szLine.remove_prefix(1);
            }
        } else if (n > 0) {
            continue; // digits that are no thread ID: not a call line
        }
        // A call's name: lower-case letters, digits and '_', not starting
        // with a digit, then '('. Resumed halves, signals and exits start
        // otherwise.
        std::size_t nName = 0;
        while (nName < szLine.size()) {
            const unsigned char c = static_cast<unsigned char>(szLine[nName]);
            if (!std::islower(c) && c != '_' && (nName == 0 || !std::isdigit(c))) {
                break;
            }
            ++nName;
        }
        if (nName == 0 || nName >= szLine.size() || szLine[nName] != '(') {
            continue;
        }
        ++counts[std::string(szLine.substr(0, nName))];
    }
    return counts;
}

LSyscallTrace::LSyscallTrace(std::string szFilePrefix)
    : m_szTraceFile(szFilePrefix + ".trace"), m_szLogFile(szFilePrefix + ".log") {}

LSyscallTrace::~LSyscallTrace() {
    if (m_pidStrace > 0) {
        kill(m_pidStrace, SIGKILL); // the kernel detaches the thread and lets it run on
        int nStatus = 0;
        waitpid(m_pidStrace, &nStatus, 0);
    }
    unlink(m_szTraceFile.c_str());
    unlink(m_szLogFile.c_str());
}

bool LSyscallTrace::Reap(std::chrono::milliseconds timeout, int* pnStatus) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (true) {
        const pid_t pid = waitpid(m_pidStrace, pnStatus, WNOHANG);
        if (pid == m_pidStrace || (pid < 0 && errno != EINTR)) {
            m_pidStrace = -1;
            return true;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

std::string LSyscallTrace::LastMessage() const {
    std::istringstream in(ReadFile(m_szLogFile));
    std::string szLine, szLast;
    while (std::getline(in, szLine)) {
        if (!szLine.empty()) {
            szLast = szLine;
        }
    }
    return szLast;
}

bool LSyscallTrace::Attach(pid_t tid, std::chrono::milliseconds timeout, std::string* pszReason) {
    std::string szIgnored;
    std::string& szReason = pszReason != nullptr ? *pszReason : szIgnored;
    if (m_pidStrace > 0 || tid <= 0) {
        szReason = m_pidStrace > 0 ? "already tracing" : "no thread to trace";
        return false;
    }
    if (TracerOf(tid) < 0) {
        szReason = "no thread " + std::to_string(tid) + " in this process";
        return false;
    }
    const std::string szStrace = FindStrace();
    if (szStrace.empty()) {
        szReason = "strace is not installed";
        return false;
    }
    // Everything the child needs is prepared before fork: between fork and
    // exec a multi-threaded process may only make async-signal-safe calls.
    const std::string szTid = std::to_string(tid);
    std::vector<std::string> arArgs = {szStrace, "-qq", "-o", m_szTraceFile, "-p", szTid};
    std::vector<char*> arArgv;
    for (std::string& sz : arArgs) {
        arArgv.push_back(sz.data());
    }
    arArgv.push_back(nullptr);
    const pid_t pid = fork();
    if (pid < 0) {
        szReason = "fork failed";
        return false;
    }
    if (pid == 0) {
        const int fdNull = open("/dev/null", O_RDWR);
        const int fdLog = open(m_szLogFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (fdNull >= 0) {
            dup2(fdNull, 0);
            dup2(fdNull, 1);
        }
        if (fdLog >= 0) {
            dup2(fdLog, 2);
        }
        execv(arArgv[0], arArgv.data());
        _exit(127);
    }
    m_pidStrace = pid;
    m_tid = tid;
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (true) {
        const pid_t pidTracer = TracerOf(tid);
        if (pidTracer == m_pidStrace) {
            return true;
        }
        int nStatus = 0;
        if (pidTracer < 0 || Reap(std::chrono::milliseconds(0), &nStatus)) {
            const std::string szMessage = LastMessage();
            if (pidTracer < 0) {
                szReason = "the thread to trace has ended";
            } else if (!szMessage.empty()) {
                szReason = szMessage;
            } else {
                const int nCode = WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 128 + WTERMSIG(nStatus);
                szReason = "strace ended with status " + std::to_string(nCode);
            }
            break;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            szReason = "strace did not attach within " + std::to_string(timeout.count()) + " ms";
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (m_pidStrace > 0) {
        kill(m_pidStrace, SIGKILL);
        int nStatus = 0;
        Reap(std::chrono::seconds(10), &nStatus);
    }
    return false;
}

bool LSyscallTrace::Detach(LSyscallCounts* pCounts, std::string* pszReason) {
    std::string szIgnored;
    std::string& szReason = pszReason != nullptr ? *pszReason : szIgnored;
    if (m_pidStrace <= 0 || pCounts == nullptr) {
        szReason = "strace is not attached";
        return false;
    }
    kill(m_pidStrace, SIGINT);
    int nStatus = 0;
    if (!Reap(std::chrono::seconds(10), &nStatus)) {
        szReason = "strace did not end on SIGINT";
        return false; // the destructor kills it
    }
    std::ifstream in(m_szTraceFile, std::ios::binary);
    if (!in) {
        szReason = "strace wrote no trace";
        return false;
    }
    *pCounts = LCountStraceCalls(ReadFile(m_szTraceFile), m_tid);
    return true;
}

} // namespace harlune::bench
