/*
 * mach/mach.h: what this layer offers of the Mach interface on Linux, which
 * is only the result type and codes. Mach ports, tasks and threads are not
 * provided; the clock lives in <mach/mach_time.h>, as on Apple's platform.
 */
#ifndef HARLUNE_COMPAT_MACH_MACH_H
#define HARLUNE_COMPAT_MACH_MACH_H

#include <mach/kern_return.h>

#endif
