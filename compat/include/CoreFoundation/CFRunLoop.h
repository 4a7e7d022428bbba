/*
 * CFRunLoop.h: running the main thread.
 *
 * Only the part of the run loop that programs need to run their main thread:
 * run, run for a time, stop, wake. The main run loop's one source is the main
 * dispatch queue: running it on the main thread runs the main queue's work,
 * in order, until the run ends.
 *
 * Differences from Apple's platform:
 *   - There are no sources, timers or observers to add; modes are accepted
 *     and ignored (every mode serves the main queue).
 *   - The main run loop always has the main queue as its source, so running
 *     it never ends with kCFRunLoopRunFinished; it waits for work, a stop or
 *     its time.
 *   - Every other thread's run loop has nothing to run: running it returns
 *     kCFRunLoopRunFinished at once. Those threads share one run loop object;
 *     stopping or waking it does nothing.
 *   - Run loops are immortal: CFRetain and CFRelease do nothing to them.
 *
 * Thread safety: CFRunLoopStop and CFRunLoopWakeUp may be called from any
 * thread; running a run loop belongs to its own thread.
 */
#ifndef HARLUNE_COMPAT_CFRUNLOOP_H
#define HARLUNE_COMPAT_CFRUNLOOP_H

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFString.h>

CF_EXTERN_C_BEGIN

typedef struct __CFRunLoop *CFRunLoopRef;
typedef CFStringRef CFRunLoopMode;

typedef SInt32 CFRunLoopRunResult;
enum {
    kCFRunLoopRunFinished = 1,      /* nothing to run in the run loop */
    kCFRunLoopRunStopped = 2,       /* CFRunLoopStop ended the run */
    kCFRunLoopRunTimedOut = 3,      /* the time given ran out */
    kCFRunLoopRunHandledSource = 4  /* work ran and the caller asked to return after it */
};

CF_EXPORT const CFRunLoopMode kCFRunLoopDefaultMode;
CF_EXPORT const CFRunLoopMode kCFRunLoopCommonModes;

CF_EXPORT CFTypeID CFRunLoopGetTypeID(void);
/* The calling thread's run loop (the main run loop on the main thread). */
CF_EXPORT CFRunLoopRef CFRunLoopGetCurrent(void);
CF_EXPORT CFRunLoopRef CFRunLoopGetMain(void);

/* Runs the current thread's run loop until it is stopped (or has nothing to
 * run). */
CF_EXPORT void CFRunLoopRun(void);
/* Runs the current thread's run loop for at most `seconds` (0 or less: runs
 * what is ready and returns). With `returnAfterSourceHandled`, returns once
 * a batch of main-queue work ran. Inside main-queue work the main queue's
 * further work does not run (the queue is serial): the run only waits. */
CF_EXPORT CFRunLoopRunResult CFRunLoopRunInMode(CFRunLoopMode mode, CFTimeInterval seconds,
                                                Boolean returnAfterSourceHandled);
/* Ends the innermost run of the run loop; when it is not running, its next
 * run ends at once with kCFRunLoopRunStopped. */
CF_EXPORT void CFRunLoopStop(CFRunLoopRef rl);
/* Wakes a waiting run, which then goes on unless something ends it. */
CF_EXPORT void CFRunLoopWakeUp(CFRunLoopRef rl);

CF_EXTERN_C_END

#endif
