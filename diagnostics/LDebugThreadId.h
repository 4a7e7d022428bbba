// LDebugThreadId.h: the id by which the diagnostics know a thread.
//
// The id is the thread's Mach thread name (mach_thread_self); on Linux that
// is the kernel's thread id, unique among live threads and stable for the
// thread's life. The call is async-signal-safe, lock-free and allocates
// nothing, so it may be used anywhere, signal handlers included.
#ifndef HARLUNE_DIAGNOSTICS_LDEBUGTHREADID_H
#define HARLUNE_DIAGNOSTICS_LDEBUGTHREADID_H

#include <cstdint>

#include <mach/mach_init.h>

// The calling thread's id.
inline uint32_t LDebugGetCurrentThreadId() { return static_cast<uint32_t>(mach_thread_self()); }

#endif
