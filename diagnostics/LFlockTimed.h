// LFlockTimed.h: an advisory file lock with a bounded wait.
//
// flocktimed tries flock() without blocking and, while the lock is held
// elsewhere, sleeps and tries again with a doubling wait: the first wait is
// nMilliseconds / 32 + 1 milliseconds, and it gives up (without a further
// try) once the doubled wait reaches the allowance. With 1000 milliseconds
// the lock is tried at 0, 32, 96, 224 and 480 milliseconds and the call
// gives up at 992. Sleeps interrupted by a signal continue for the time
// left.
//
// Thread safety: none needed; the call keeps no state. It blocks the calling
// thread for up to about the allowance, so it must not be used on a thread
// that may not wait (the audio IO path).
#ifndef HARLUNE_DIAGNOSTICS_LFLOCKTIMED_H
#define HARLUNE_DIAGNOSTICS_LFLOCKTIMED_H

// nOperation is LOCK_SH or LOCK_EX (LOCK_NB is added if missing: the wait is
// this function's, never the kernel's). A negative allowance counts as 0.
// Returns 0 when the lock was taken; -1 with errno set when it was not (a
// failure other than EWOULDBLOCK gives up at once).
int flocktimed(int nFile, int nOperation, int nMilliseconds);

// The same with the sleep supplied by the caller, so the schedule can be
// checked without waiting. pfnSleep is called on the calling thread with the
// whole wait in milliseconds and must not return early.
using LFlockSleepFn = void (*)(void* pContext, unsigned nMilliseconds);
int LFlockTimedWithSleep(int nFile, int nOperation, int nMilliseconds, LFlockSleepFn pfnSleep, void* pContext);

#endif
