// LDebugThreadRegistry.h: the debug thread registry, a fixed table in which
// an application's threads register a short name (at most 4 characters)
// and a last-dialog tag, so that bug reports and stack dumps can say which
// thread they come from.
//
// Thread safety: loDebugThreads (recursive) is held only to claim or free an
// entry and change gnDebugThreads, and never while a name is written.
// Look-ups read the count and the ids without it, as atomic loads; they are
// safe because each thread writes only its own entry's text, and a new
// entry gets its owner's id (a release store) only after its name and tag
// are written. All functions act on the calling thread, identified by
// LDebugGetCurrentThreadId.
//
// Lifetime: the table and the lock are process-wide and never freed. The
// lock exists (as a constant-initialised recursive mutex) before any
// constructor runs, so threads may register during static initialisation;
// at process exit the load sequence's teardown destroys it, after which the
// operations that need the lock do nothing.
#ifndef HARLUNE_DIAGNOSTICS_LDEBUGTHREADREGISTRY_H
#define HARLUNE_DIAGNOSTICS_LDEBUGTHREADREGISTRY_H

#include <atomic>
#include <cstdint>

#include <pthread.h>

inline constexpr uint32_t kDebugThreadFree = 0xFFFFFFFFu;     // entry not in use
inline constexpr uint32_t kDebugThreadStarting = 0xFFFFFFFEu; // claimed, not yet filled in
inline constexpr size_t kMaxDebugThreads = 64;

struct LDebugThreadData {
    std::atomic<uint32_t> dwThreadId{kDebugThreadFree}; // owner's thread id, or one of the two marks above
    char szLastDialog[32] = {};                          // last dialog tag; empty when registered
    char szName[8] = {};                                 // short name, at most 4 characters
};

extern LDebugThreadData gDebugThreadData[kMaxDebugThreads];
// One more than the index of the last entry that is not free; 0 when empty.
extern std::atomic<uint64_t> gnDebugThreads;
// Guards claiming and freeing entries and the count.
extern pthread_mutex_t loDebugThreads;

// Registers the calling thread under the first 4 characters of szName, or,
// for a null name, its id modulo 10000 with at least 4 digits ("0042"). A
// 65th concurrent registration is silently refused.
void LDebugThreadDataStartThread(const char* szName);
// Frees the calling thread's entry and trims free entries off the end of
// the count. Does nothing for an unregistered thread.
void LDebugThreadDataStopThread();
// The calling thread's entry, or null.
LDebugThreadData* LDebugThreadFindData();
// Renames the calling thread's entry (first 4 characters of szName).
void LDebugThreadSetName(const char* szName);
// Copies the calling thread's name into szName (at least 8 bytes); empty
// when it has no entry; a null buffer does nothing.
void LDebugThreadGetName(char* szName);
// Sets the tag followed by the units, tens and hundreds digits of the
// thread id ("Options" on thread 1234 gives "Options432"), cut to 31
// characters.
void LDebugThreadSetLastDialog(const char* szTag);
// True on the process's main thread.
bool LIsMainThread();

// The load sequence's lock steps: make the lock usable (it already is) and
// destroy it at exit. Not for applications.
void LDebugThreadsLockCreate();
void LDebugThreadsLockDestroy();

// Renames the calling thread's entry for the life of the scope and restores
// the name it found; scopes nest. On an unregistered thread it does
// nothing. Must be destroyed on the thread that made it.
class LBugReportBlockScope {
public:
    explicit LBugReportBlockScope(const char* szName);
    ~LBugReportBlockScope();
    LBugReportBlockScope(const LBugReportBlockScope&) = delete;
    LBugReportBlockScope& operator=(const LBugReportBlockScope&) = delete;

private:
    char szSavedName[8] = {}; // the entry's name before the scope began
    int32_t nIndex = -1;      // the entry's index, or -1 when the thread has none
};

#endif
