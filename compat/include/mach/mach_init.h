/*
 * mach/mach_init.h: the calling task's and thread's own names.
 *
 * mach_task_self() names the process; it is a constant and needs no release.
 * mach_thread_self() is the kernel's id of the calling thread (gettid), so it
 * is unique among the live threads of the machine and stable for the
 * thread's life, as the thread port name is on Apple's platform. Apple's
 * call adds a send right the caller should release; here there is nothing to
 * release, and mach_port_deallocate of a thread name is a harmless no-op.
 * Both are async-signal-safe.
 */
#ifndef HARLUNE_COMPAT_MACH_MACH_INIT_H
#define HARLUNE_COMPAT_MACH_MACH_INIT_H

#include <mach/port.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The one task name of this process. */
#define HARLUNE_MACH_TASK_SELF ((mach_port_t)0x7FFF0103)

__attribute__((visibility("default"))) mach_port_t mach_task_self(void);
__attribute__((visibility("default"))) mach_port_t mach_thread_self(void);

#ifdef __cplusplus
}
#endif

#endif
