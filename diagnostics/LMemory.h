// LMemory.h: memory figures for bug and crash reports, in bytes.
//
// On Linux: physical memory from sysconf; free and inactive memory from
// /proc/meminfo; the task's virtual size from /proc/self/statm.
//
// Thread safety: every function may be called from any thread; none keeps
// state. They read small files of /proc, so they are not for the audio IO
// path.
#ifndef HARLUNE_DIAGNOSTICS_LMEMORY_H
#define HARLUNE_DIAGNOSTICS_LMEMORY_H

#include <cstdint>

// What the heap may still grow by: the soft data-segment limit minus the
// task's virtual size (minus 0 when the size cannot be read), or the
// available virtual memory when that is smaller, compared as signed 64-bit
// numbers. All bits set when the limit cannot be read. With an unlimited
// data limit the limit is all bits set, so the difference is negative as a
// signed number and wins the comparison: the result is then 2^64 - 1 minus
// the virtual size, a huge value meaning "no limit of its own".
uint64_t LMemoryGetFreeHeapSize();

// Free plus inactive memory; 0 when it cannot be read.
uint64_t LMemoryGetAvailableVirtualMemorySize();

// Free memory; 0 when it cannot be read.
uint64_t LMemoryGetLargestFreeRegionSize();

// Installed memory; 0 when it cannot be read.
uint64_t LMemoryGetPhysicalMemorySize();

// Finds the line "szKey: <number> kB" in text laid out as /proc/meminfo and
// stores the number of bytes it gives. False (and *pnBytes untouched) when
// the key is missing or its value is not a number.
bool LMemoryReadMeminfoBytes(const char* szText, const char* szKey, uint64_t* pnBytes);

#endif
