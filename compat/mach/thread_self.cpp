/*
 * The calling task's and thread's names, and the main-thread test.
 */
#include <mach/mach_init.h>
#include <pthread.h>

#include <sys/syscall.h>
#include <unistd.h>

mach_port_t mach_task_self(void) { return HARLUNE_MACH_TASK_SELF; }

// The raw system call rather than gettid(): it caches nothing, so it is
// correct in a forked child and safe in a signal handler.
mach_port_t mach_thread_self(void) { return static_cast<mach_port_t>(syscall(SYS_gettid)); }

int pthread_main_np(void) { return syscall(SYS_gettid) == getpid() ? 1 : 0; }
