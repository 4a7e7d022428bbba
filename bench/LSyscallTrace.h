// LSyscallTrace.h: counts the system calls one thread of this process makes
// over a stretch of time, by attaching strace to that thread alone
// (`strace -qq -o FILE -p TID`, without -f: given a thread ID with -f,
// strace attaches to every thread of the process, and would also follow
// threads the traced one starts).
//
// strace stops the thread at every system call, so the traced thread runs
// slower; the number and kind of its calls are what this measures, never
// their duration. Attaching interrupts the call the thread is in, which
// the kernel then resumes as "restart_syscall": one such line per attach.
//
// Thread safety: one object per trace, used from one thread. Lifetime: the
// destructor kills and reaps a strace still running and removes the trace
// and message files, so nothing is left behind.
#ifndef HARLUNE_BENCH_LSYSCALLTRACE_H
#define HARLUNE_BENCH_LSYSCALLTRACE_H

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace harlune::bench {

// System call name to number of calls.
using LSyscallCounts = std::map<std::string, std::uint64_t>;

// Counts the calls in strace's output, one per call however strace split
// it: a call interrupted by another traced thread's line is written as
// "name(... <unfinished ...>" and later "<... name resumed> ...", and only
// the first counts. Signal ("--- ") and exit ("+++ ") lines and anything
// not shaped like a call are ignored. Lines prefixed by a thread ID (when
// strace traces several threads) count only when the ID is tid.
LSyscallCounts LCountStraceCalls(std::string_view szTrace, pid_t tid);

class LSyscallTrace {
public:
    // szFilePrefix: where the trace (".trace") and strace's own messages
    // (".log") go while tracing, in a folder the caller owns.
    explicit LSyscallTrace(std::string szFilePrefix);
    ~LSyscallTrace();
    LSyscallTrace(const LSyscallTrace&) = delete;
    LSyscallTrace& operator=(const LSyscallTrace&) = delete;

    // Starts strace on thread tid of this process and returns once the
    // thread is traced (its TracerPid is strace's). False, with a reason
    // in *pszReason (strace missing, ptrace refused, no attach within
    // timeout), and no strace left running, otherwise.
    bool Attach(pid_t tid, std::chrono::milliseconds timeout, std::string* pszReason);
    // Stops strace (SIGINT: it detaches and ends), waits for it and counts
    // the calls traced since Attach into *pCounts. False, with a reason,
    // when strace was not attached or its trace cannot be read.
    bool Detach(LSyscallCounts* pCounts, std::string* pszReason);

private:
    bool Reap(std::chrono::milliseconds timeout, int* pnStatus);
    std::string LastMessage() const;

    std::string m_szTraceFile;  // strace -o output
    std::string m_szLogFile;    // strace's standard error
    pid_t m_pidStrace = -1;     // the running strace; -1 when none
    pid_t m_tid = 0;            // the traced thread
};

} // namespace harlune::bench

#endif
