#include "tools/harlune/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

extern char** environ;

namespace harlune::tools {

std::string LSelfExecutable() {
    char sz[4096] = {0};
    const ssize_t n = readlink("/proc/self/exe", sz, sizeof sz - 1);
    return n > 0 ? std::string(sz, static_cast<std::size_t>(n)) : std::string();
}

LChildProcess::~LChildProcess() {
    if (m_pid > 0) {
        Signal(SIGKILL);
        Wait(std::chrono::seconds(10));
    }
    if (m_fdOut >= 0) {
        close(m_fdOut);
    }
}

bool LChildProcess::Start(const std::string& szProgram, const std::vector<std::string>& arArgs,
                          const std::vector<std::string>& arEnvironment) {
    int fds[2];
    if (m_pid > 0 || pipe2(fds, O_CLOEXEC) != 0) {
        return false;
    }
    std::vector<std::string> arArgv = {szProgram};
    arArgv.insert(arArgv.end(), arArgs.begin(), arArgs.end());
    std::vector<char*> argv;
    for (std::string& s : arArgv) {
        argv.push_back(s.data());
    }
    argv.push_back(nullptr);
    std::vector<std::string> arEnv;
    for (char** p = environ; *p != nullptr; ++p) {
        arEnv.emplace_back(*p);
    }
    arEnv.insert(arEnv.end(), arEnvironment.begin(), arEnvironment.end());
    std::vector<char*> envp;
    for (std::string& s : arEnv) {
        envp.push_back(s.data());
    }
    envp.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
    // The child starts with no signal blocked, whatever its parent blocks.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    const int nError = posix_spawn(&m_pid, szProgram.c_str(), &actions, &attributes, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    close(fds[1]);
    if (nError != 0) {
        close(fds[0]);
        m_pid = -1;
        return false;
    }
    m_fdOut = fds[0];
    return true;
}

bool LChildProcess::ReadSome(std::chrono::milliseconds timeout) {
    if (m_fdOut < 0) {
        return false;
    }
    pollfd pfd = {m_fdOut, POLLIN, 0};
    if (poll(&pfd, 1, static_cast<int>(timeout.count())) <= 0) {
        return true; // nothing yet
    }
    char buffer[4096];
    const ssize_t n = read(m_fdOut, buffer, sizeof buffer);
    if (n <= 0) {
        close(m_fdOut);
        m_fdOut = -1;
        return false;
    }
    m_szOutput.append(buffer, static_cast<std::size_t>(n));
    return true;
}

bool LChildProcess::WaitForLine(const std::string& szLine, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        std::size_t nEnd = 0;
        while ((nEnd = m_szOutput.find('\n', m_nScanned)) != std::string::npos) {
            const bool bMatch = m_szOutput.compare(m_nScanned, nEnd - m_nScanned, szLine) == 0;
            m_nScanned = nEnd + 1;
            if (bMatch) {
                return true;
            }
        }
        const auto now = std::chrono::steady_clock::now();
        if (now >= deadline) {
            return false;
        }
        if (!ReadSome(std::chrono::duration_cast<std::chrono::milliseconds>(deadline - now))) {
            return false;
        }
    }
}

const std::string& LChildProcess::Output() {
    while (m_fdOut >= 0) {
        pollfd pfd = {m_fdOut, POLLIN, 0};
        if (poll(&pfd, 1, 0) <= 0 || !ReadSome(std::chrono::milliseconds(0))) {
            break;
        }
    }
    return m_szOutput;
}

void LChildProcess::Signal(int nSignal) {
    if (m_pid > 0) {
        kill(m_pid, nSignal);
    }
}

int LChildProcess::Wait(std::chrono::milliseconds timeout) {
    if (m_pid <= 0) {
        return -1;
    }
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        int nStatus = 0;
        const pid_t r = waitpid(m_pid, &nStatus, WNOHANG);
        if (r == m_pid) {
            m_pid = -1;
            Output();
            return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 128 + WTERMSIG(nStatus);
        }
        if (r < 0 && errno != EINTR) {
            m_pid = -1;
            return -1;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            return -1;
        }
        // Keep the pipe drained so a chatty child never blocks on it.
        ReadSome(std::chrono::milliseconds(10));
    }
}

} // namespace harlune::tools
