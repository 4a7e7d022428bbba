// LBugReport.h: the pieces of a bug or crash report: the "xi" code, the
// machine data (plain and percent-encoded), the bug-report address and
// opening it, and two debug-output hooks.
//
// Capacities: the "xi" code and its parts 259 characters; the machine data
// before and after encoding and the address 8193 characters (their buffers
// hold kLBugReportTextMax + 1 bytes). Longer text is cut, never reported.
//
// Thread safety: everything may run on any thread. LDebugGenerateXIString
// takes loDebugThreads while it reads the calling thread's registry entry.
#ifndef HARLUNE_DIAGNOSTICS_LBUGREPORT_H
#define HARLUNE_DIAGNOSTICS_LBUGREPORT_H

#include "diagnostics/LFixedLengthStringWriter.h"
#include "diagnostics/LStringList.h"

#include <cstddef>
#include <cstdint>

inline constexpr size_t kLBugReportTextMax = 8193;

// Writes "<prefix>-MacIntel<major><minor, 2 digits>-<detail>-<tail>" into
// szOut (at least 260 bytes), where the tail is the calling thread's
// registry name (empty for a generated one, "Unknown" when unregistered),
// its last dialog tag and, on the main thread only, the command tag of
// gwDebugCurrentCommand. Null prefix or detail count as empty.
void LDebugGenerateXIString(char* szOut, const char* szPrefix, const char* szDetail);

// What the machine data is made of, so its format can be checked with fixed
// facts.
struct LMachineFacts {
    uint64_t nPhysicalBytes = 0;  // installed memory
    const char* szCpuBrand = "";  // processor brand
    long nProcessors = 0;         // configured processors
    const LStringList* plDisplays = nullptr; // display controller names, in order
};
// The facts of this machine; the display names go into lDisplays.
LMachineFacts LMachineGetFacts(LStringList& lDisplays, char* szBrandBuffer);

// Appends "&memphys=<MiB>&cpu=<brand> (<n> CPUs)&disp=GPU0:<name>GPU1:<name>...".
void LDebugGetMachineDataForBugReport(LFixedLengthStringWriter& writer);
void LDebugGetMachineDataForBugReport(LFixedLengthStringWriter& writer, const LMachineFacts& facts);
// The same, percent-encoded into szOut (kLBugReportTextMax + 1 bytes).
void LDebugGetMachineDataForBugReport(char* szOut);

// Appends "memfrhp=<free heap>&memfrlg=<free memory>" and the bug-report
// machine data.
void LDebugGetMachineDataForCrashReport(LFixedLengthStringWriter& writer, int32_t nFreeHeapMiB,
                                        int32_t nFreeMemoryMiB);
void LDebugGetMachineDataForCrashReport(char* szOut, int32_t nFreeHeapMiB, int32_t nFreeMemoryMiB);

// Copies A-Z a-z 0-9 ! - . _ ~ and writes every other byte as "%XX"
// (upper-case hex), stopping at kLBugReportTextMax characters: an escape
// that does not fit whole is cut there and nothing follows it. szOut holds
// kLBugReportTextMax + 1 bytes and is always terminated. Returns the length.
size_t LDebugPercentEncode(char* szOut, const char* szText);

// The bug-report address for this machine and installation into szOut
// (kLBugReportTextMax + 1 bytes): https://<host>/software/bug.html?... with
// the "xi" situation code, the installation id read from the preferences
// (Software/IID of com.zentalworks.HarluneVADPlugin, current user and host)
// and the percent-encoded crash-report machine data. The host is the build's
// bug-report host.
void LDebugComposeBugReportURL(char* szOut);

// Composes the address and opens it. Neither argument is used.
void LDebugHangDetectorBugReport(bool bFlag, void* pView);

// Opens a URL or a file path with the desktop's handler (xdg-open found on
// PATH, started without waiting for it; nothing happens when there is none
// or when no URL can be made of the text). Text that contains "file://"
// opens the path that follows it; text starting with "/" opens
// that path; text without "://" gets "http://" in front.
void LOpenWebPage(const char* szText);
// The URL LOpenWebPage would open, into szOut (kLBugReportTextMax + 1
// bytes); false when none can be made.
bool LMakeWebPageURL(const char* szText, char* szOut);

// Formats at most 511 characters to the standard error stream and flushes it.
void OutputDebugStringF(const char* szFormat, ...) __attribute__((format(printf, 1, 2)));
// Reports a fault at a source position; in this build nothing visible
// happens (the message is formatted and discarded).
void LRDFAULT(const char* szFile, int nLine);
void LRDFAULTF(const char* szFormat, ...) __attribute__((format(printf, 1, 2)));

#endif
