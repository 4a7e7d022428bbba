// LHangDetector.h: the hang detector's run-lock file.
//
// A running application marks itself with a run-lock file in the user's
// cache folder, named "_HarluneVADPlugin_rl_" and the login name, created
// exclusively and held under an exclusive flock for the life of the
// process, and removed at a normal exit. A run-lock file that exists but
// that no live process holds is the trace of a run that crashed or was
// ended by force; LDebugHangDetectorInit recognises and removes it. There is
// no watchdog or timer.
//
// The file holds one 16-byte record in native byte order: the start time in
// seconds since 1970 (8 bytes), then the start time in milliseconds computed
// in unsigned 32-bit arithmetic (wrapping), zero-extended to 8 bytes.
//
// On Linux the file is made unnamed (O_TMPFILE; else under a unique
// temporary name), locked and written, and only then linked into place, so
// no other process ever sees it unlocked; a link that finds the name taken
// means another run (live or stale) has it. flock locks die with their
// process, which is how a stale file is told from a held one.
//
// One instance, gLHangDetector, is made when the library is loaded: it only
// computes the path (which may create the cache folder). Its destructor, run
// at process exit, closes the file and removes the path, whether this
// process created it or not.
//
// Thread safety: none; the operations are called from one thread at a time
// (the application's main thread).
#ifndef HARLUNE_DIAGNOSTICS_LHANGDETECTOR_H
#define HARLUNE_DIAGNOSTICS_LHANGDETECTOR_H

#include "diagnostics/LFilePath.h"

#include <cstdint>

class LHangDetector {
public:
    // Computes szPath; opens nothing. With no known home folder the path is
    // empty and every operation leaves the disk alone.
    LHangDetector();
    // The exit teardown: closes the file if held and removes szPath.
    ~LHangDetector();
    LHangDetector(const LHangDetector&) = delete;
    LHangDetector& operator=(const LHangDetector&) = delete;

    char szPath[kLMaxPath] = {}; // full path of the run-lock file
    int nFile = -1;              // descriptor while this process holds the file, else -1
};

extern LHangDetector gLHangDetector;

// Creates, locks and writes the run-lock file and keeps it open; or, when
// the file exists and no process holds it, removes it (without making a new
// one in that call); or, when a live process holds it, does nothing.
// pView is not used. Returns true when this process now holds the file (the
// result is for tests and callers that care; nothing requires it).
bool LDebugHangDetectorInit(void* pView);

// Closes and removes the run-lock file and removes the two dump files
// ("HarluneVADPlugin_IP_Unreleased.dmp", "HarluneVADPlugin_HM_Unreleased.dmp")
// from the user's application support folder. Failures are ignored.
void LDebugHangDetectorDestroy();

// Writes the 16-byte run-lock record for the given time into arRecord.
void LHangDetectorMakeRecord(uint8_t* arRecord, int64_t nSeconds, int64_t nWallSeconds, int64_t nMicroseconds);

#endif
