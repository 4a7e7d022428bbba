/*
 * mach/task.h: the task's exception ports.
 *
 * On Linux the kernel raises no Mach exceptions; this layer bridges the
 * synchronous fault signals to them. task_set_exception_ports with a mask
 * that holds EXC_MASK_BAD_ACCESS, EXC_MASK_BAD_INSTRUCTION or
 * EXC_MASK_ARITHMETIC installs (once, for the life of the process) handlers
 * for SIGSEGV and SIGBUS (bad access), SIGILL (bad instruction) and SIGFPE
 * (arithmetic), remembering the actions that were installed before.
 *
 * When the kernel raises one of those signals (a fault, not a signal sent
 * with kill or raise) and a thread is receiving on the port set for its
 * kind, the faulting thread sends that port an exception request
 * (mach_exception_raise and its state forms; the behaviour must include
 * MACH_EXCEPTION_CODES) and waits for the reply, as the platform's kernel
 * holds a faulting thread. A reply of KERN_SUCCESS means handled: the thread
 * resumes at the faulting instruction. Any other reply, or no thread
 * receiving on the port (it served its one exception, was cancelled or never
 * started), or a fault in a forked child of the process that set the port,
 * or a second fault while one is being served, passes the signal on to what
 * was installed before: the earlier handler, or the default action, so the
 * process ends by the same signal with the same status as without the
 * bridge. The signal handler allocates nothing, takes no lock and uses no
 * thread-local storage. A port that has never had a receiver (its handler
 * thread may still be starting) is given up to one second for its first
 * one before the fault goes on. If the reply has not come within 10 seconds of the
 * receiver taking the request, the fault is passed on anyway, so a handler
 * that never answers cannot hang a crashing process.
 *
 * The other exception kinds are accepted in the mask but never raised.
 * Setting MACH_PORT_NULL stops the bridging of those kinds (the signal
 * handlers stay and pass everything on). The task holds no reference on the
 * port: a port that is later destroyed simply stops receiving exceptions.
 */
#ifndef HARLUNE_COMPAT_MACH_TASK_H
#define HARLUNE_COMPAT_MACH_TASK_H

#include <mach/exception_types.h>
#include <mach/kern_return.h>
#include <mach/port.h>
#include <mach/thread_status.h>

#ifdef __cplusplus
extern "C" {
#endif

/* KERN_INVALID_ARGUMENT for another task, a behaviour other than
 * EXCEPTION_DEFAULT, EXCEPTION_STATE or EXCEPTION_STATE_IDENTITY with
 * MACH_EXCEPTION_CODES, or a port name that is not a live port.
 * KERN_FAILURE when the signal handlers could not be installed. */
__attribute__((visibility("default"))) kern_return_t task_set_exception_ports(task_t task,
                                                                               exception_mask_t exception_mask,
                                                                               mach_port_t new_port,
                                                                               exception_behavior_t behavior,
                                                                               thread_state_flavor_t new_flavor);

#ifdef __cplusplus
}
#endif

#endif
