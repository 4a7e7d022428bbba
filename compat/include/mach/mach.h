/*
 * mach/mach.h: what this layer offers of the Mach interface on Linux:
 * result codes, the task's and thread's names, process-local ports and
 * messages, and the task's exception ports for the fault signals. The clock
 * lives in <mach/mach_time.h>, as on Apple's platform.
 */
#ifndef HARLUNE_COMPAT_MACH_MACH_H
#define HARLUNE_COMPAT_MACH_MACH_H

#include <mach/boolean.h>
#include <mach/exception_types.h>
#include <mach/kern_return.h>
#include <mach/mach_init.h>
#include <mach/mach_port.h>
#include <mach/message.h>
#include <mach/mig_errors.h>
#include <mach/ndr.h>
#include <mach/port.h>
#include <mach/task.h>
#include <mach/thread_status.h>

#endif
