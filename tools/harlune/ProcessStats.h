// ProcessStats.h: what a process holds, read from /proc: open descriptors,
// resident memory, threads and CPU time. For the soak benchmark and the fault tests,
// which watch the host and the helper service for growth. pid 0 is the
// calling process. Each answers -1 when the process cannot be read.
#ifndef HARLUNE_TOOLS_PROCESSSTATS_H
#define HARLUNE_TOOLS_PROCESSSTATS_H

#include <sys/types.h>

namespace harlune::tools {

long LCountDescriptors(pid_t pid);
long LResidentKiB(pid_t pid);
long LThreadCount(pid_t pid);
// User and system CPU time the process has used so far, in seconds.
double LCpuSeconds(pid_t pid);

} // namespace harlune::tools

#endif
