// LProcessList.h: running processes by name, from the kernel's process table
// (sysctl CTL_KERN, KERN_PROC, KERN_PROC_ALL).
//
// Names are the kernel's command names: at most 16 characters on the
// platform and 15 on Linux, so a long application name never matches its
// running process. Look-ups compare what the kernel reports.
//
// Thread safety: any thread; each call reads the table afresh, so the
// answer is a snapshot that can be out of date as soon as it is returned.
#ifndef HARLUNE_PLATFORM_LPROCESSLIST_H
#define HARLUNE_PLATFORM_LPROCESSLIST_H

#include <sys/sysctl.h>

// Fetches the whole table into *pList and returns its number of records. The
// caller frees *pList with free(). On failure the result is 0 and *pList is
// null. When processes start between sizing and fetching, the table is
// sized and fetched again.
int LGetBSDProcessList(kinfo_proc** pList);

// The process id of the first process (lowest id) whose command name equals
// szName without regard to ASCII case; 0xFFFFFFFF when none does or szName
// is null.
unsigned int LGetBSDProcessUid(const char* szName);

// True when a process's command name equals szName exactly, with case.
bool LIsApplicationRunning(const char* szName);

#endif
