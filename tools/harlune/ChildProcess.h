// ChildProcess.h: a program started as a child process with its standard
// output read through a pipe, for commands and tests that run the helper
// service and recorders as real processes.
//
// The child inherits standard error. Destroying a running child kills it
// (SIGKILL) and reaps it, so nothing is left behind. Not thread-safe.
#ifndef HARLUNE_TOOLS_CHILDPROCESS_H
#define HARLUNE_TOOLS_CHILDPROCESS_H

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace harlune::tools {

class LChildProcess {
public:
    LChildProcess() = default;
    ~LChildProcess();
    LChildProcess(const LChildProcess&) = delete;
    LChildProcess& operator=(const LChildProcess&) = delete;

    // Starts szProgram with arArgs (argv[1]…) and the current environment
    // plus arEnvironment ("NAME=value"); false when it cannot be started.
    bool Start(const std::string& szProgram, const std::vector<std::string>& arArgs,
               const std::vector<std::string>& arEnvironment = {});
    // Waits until the child writes a line equal to szLine on standard
    // output; false on timeout or when its output ends first.
    bool WaitForLine(const std::string& szLine, std::chrono::milliseconds timeout);
    // Everything the child has written to standard output so far.
    const std::string& Output();
    void Signal(int nSignal);
    // Waits for the child to end; its exit code, 128 + signal, or -1 on timeout.
    int Wait(std::chrono::milliseconds timeout);
    pid_t Pid() const { return m_pid; }
    bool Running() const { return m_pid > 0; }

private:
    bool ReadSome(std::chrono::milliseconds timeout);

    pid_t m_pid = -1;
    int m_fdOut = -1;        // read end of the child's standard output
    std::string m_szOutput;  // what has been read
    std::size_t m_nScanned = 0; // start of the first line not yet matched
};

// The running program's own path, to start its subcommands.
std::string LSelfExecutable();

} // namespace harlune::tools

#endif
