// Internal to threads/: the one poll() loop behind every wait of the kit.
#pragma once

#include <poll.h>

#include <cstddef>
#include <cstdint>

// Waits until one of the entries is readable or the time has passed
// (kLWaitForever: no limit), resuming after interrupts with the time that is
// left. Sets each entry's events to POLLIN first. Returns the number of
// readable entries, 0 for a timeout, -1 for a failed wait. A hang-up or
// error on a descriptor is not a signal: when poll() reports only those, the
// wait has failed and returns -1 at once rather than spin. With no valid
// descriptor it fails at once, whatever the time.
int LPollReadable(pollfd* arEntries, std::size_t nEntries, uint32_t dwMilliseconds);

// Milliseconds of the monotonic clock.
uint64_t LMonotonicMilliseconds();

// Sleeps the whole time, resuming after interrupts.
void LSleepMilliseconds(uint32_t dwMilliseconds);
