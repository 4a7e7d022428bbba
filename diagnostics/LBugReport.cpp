// The "xi" code, the machine data and the bug-report address.
#include "diagnostics/LBugReport.h"
#include "diagnostics/LDebugSignals.h"
#include "diagnostics/LDebugThreadRegistry.h"
#include "diagnostics/LMachineInfo.h"
#include "diagnostics/LMemory.h"
#include "diagnostics/LOSVersion.h"
#include "text/LPlatformString.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include <unistd.h>

#ifndef HARLUNE_BUG_REPORT_HOST
#define HARLUNE_BUG_REPORT_HOST "www.zentalworks.com"
#endif

namespace {

constexpr size_t kShortText = 259;

void CommandTag(char* szOut) {
    const uint32_t nCommand = gwDebugCurrentCommand;
    switch (nCommand) {
    case 1: strcpy(szOut, "GloIni1"); break;
    case 2: strcpy(szOut, "GuiIni2"); break;
    case 3: strcpy(szOut, "GuiDes3"); break;
    case 4: strcpy(szOut, "GloDes4"); break;
    case 5: snprintf(szOut, kShortText + 1, "Ukn0(LstCmd%u)", gwDebugLastCommand); break;
    default: snprintf(szOut, kShortText + 1, "(Cmd%u)", nCommand); break;
    }
}

} // namespace

void LDebugGenerateXIString(char* szOut, const char* szPrefix, const char* szDetail) {
    if (szOut == nullptr) return;
    szOut[0] = '\0';
    uint8_t nMajor = 0, nMinor = 0;
    LGetOSVersion(nMajor, nMinor);
    char szOsTag[kShortText + 1];
    snprintf(szOsTag, sizeof szOsTag, "Mac%s%d%02d", "Intel", nMajor, nMinor);

    char szName[kShortText + 1] = "Unknown";
    char szDialog[kShortText + 1] = "";
    if (pthread_mutex_lock(&loDebugThreads) == 0) {
        if (const LDebugThreadData* pEntry = LDebugThreadFindData()) {
            if (pEntry->szName[0] >= '0' && pEntry->szName[0] <= '9') szName[0] = '\0';
            else snprintf(szName, sizeof szName, "%s", pEntry->szName);
            snprintf(szDialog, sizeof szDialog, "%s", pEntry->szLastDialog);
        }
        pthread_mutex_unlock(&loDebugThreads);
    }
    char szCommand[kShortText + 1] = "";
    if (LIsMainThread()) CommandTag(szCommand);
    char szTail[kShortText + 1];
    snprintf(szTail, sizeof szTail, "%s%s%s", szName, szDialog, szCommand);
    snprintf(szOut, kShortText + 1, "%s-%s-%s-%s", szPrefix ? szPrefix : "", szOsTag, szDetail ? szDetail : "",
             szTail);
}

LMachineFacts LMachineGetFacts(LStringList& lDisplays, char* szBrandBuffer) {
    LMachineFacts facts;
    facts.nPhysicalBytes = LMemoryGetPhysicalMemorySize();
    LMachineGetCPUDescription(szBrandBuffer);
    facts.szCpuBrand = szBrandBuffer;
    facts.nProcessors = sysconf(_SC_NPROCESSORS_CONF);
    LMachineGetGPUDescriptions(lDisplays);
    facts.plDisplays = &lDisplays;
    return facts;
}

void LDebugGetMachineDataForBugReport(LFixedLengthStringWriter& writer, const LMachineFacts& facts) {
    char szCpu[kShortText + 1];
    snprintf(szCpu, sizeof szCpu, "%s (%d CPUs)", facts.szCpuBrand ? facts.szCpuBrand : "",
             static_cast<int>(facts.nProcessors));
    auto szDisplays = std::make_unique<char[]>(kLBugReportTextMax + 1);
    LFixedLengthStringWriter displays(szDisplays.get(), kLBugReportTextMax);
    for (size_t i = 0; facts.plDisplays != nullptr && i < facts.plDisplays->GetCount(); ++i) {
        displays.sprintf("GPU%zu:%s", i, facts.plDisplays->Get(i));
    }
    displays.Terminate();
    writer.sprintf("&memphys=%lu&cpu=%s&disp=%s", static_cast<unsigned long>(facts.nPhysicalBytes >> 20), szCpu,
                   szDisplays.get());
}

void LDebugGetMachineDataForBugReport(LFixedLengthStringWriter& writer) {
    LStringList lDisplays;
    char szBrand[kShortText + 1];
    LDebugGetMachineDataForBugReport(writer, LMachineGetFacts(lDisplays, szBrand));
}

void LDebugGetMachineDataForCrashReport(LFixedLengthStringWriter& writer, int32_t nFreeHeapMiB,
                                        int32_t nFreeMemoryMiB) {
    writer.sprintf("memfrhp=%d&memfrlg=%d", nFreeHeapMiB, nFreeMemoryMiB);
    LDebugGetMachineDataForBugReport(writer);
}

size_t LDebugPercentEncode(char* szOut, const char* szText) {
    if (szOut == nullptr) return 0;
    static const char kHex[] = "0123456789ABCDEF";
    LFixedLengthStringWriter writer(szOut, kLBugReportTextMax);
    for (const unsigned char* p = reinterpret_cast<const unsigned char*>(szText ? szText : ""); *p != 0; ++p) {
        if (writer.GetLength() >= writer.GetCapacity()) break;
        const unsigned char c = *p;
        if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '!' || c == '-' ||
            c == '.' || c == '_' || c == '~') {
            writer.Append(static_cast<char>(c));
        } else {
            writer.Append('%');
            writer.Append(kHex[c >> 4]);
            writer.Append(kHex[c & 15]);
        }
    }
    writer.Terminate();
    return writer.GetLength();
}

void LDebugGetMachineDataForBugReport(char* szOut) {
    if (szOut == nullptr) return;
    auto szPlain = std::make_unique<char[]>(kLBugReportTextMax + 1);
    LFixedLengthStringWriter writer(szPlain.get(), kLBugReportTextMax);
    LDebugGetMachineDataForBugReport(writer);
    writer.Terminate();
    LDebugPercentEncode(szOut, szPlain.get());
}

void LDebugGetMachineDataForCrashReport(char* szOut, int32_t nFreeHeapMiB, int32_t nFreeMemoryMiB) {
    if (szOut == nullptr) return;
    auto szPlain = std::make_unique<char[]>(kLBugReportTextMax + 1);
    LFixedLengthStringWriter writer(szPlain.get(), kLBugReportTextMax);
    LDebugGetMachineDataForCrashReport(writer, nFreeHeapMiB, nFreeMemoryMiB);
    writer.Terminate();
    LDebugPercentEncode(szOut, szPlain.get());
}

void LDebugComposeBugReportURL(char* szOut) {
    if (szOut == nullptr) return;
    char szIid[kShortText + 1] = "";
    CFStringRef key = LMacNSStringFromString("Software/IID");
    CFPropertyListRef value = CFPreferencesCopyValue(key, CFSTR("com.zentalworks.HarluneVADPlugin"),
                                                     kCFPreferencesCurrentUser, kCFPreferencesCurrentHost);
    if (value != nullptr) {
        if (CFGetTypeID(value) == CFStringGetTypeID()) {
            // A value that does not fit whole is cut: take the longest
            // prefix that converts.
            char szWhole[4096];
            if (CFStringGetCString(static_cast<CFStringRef>(value), szWhole, sizeof szWhole, kCFStringEncodingUTF8)) {
                snprintf(szIid, sizeof szIid, "%s", szWhole);
            }
        }
        CFRelease(value);
    }
    CFRelease(key);

    const int32_t nFreeHeap = static_cast<int32_t>(LMemoryGetFreeHeapSize() >> 20);
    const int32_t nFreeMemory = static_cast<int32_t>(LMemoryGetLargestFreeRegionSize() >> 20);
    auto szData = std::make_unique<char[]>(kLBugReportTextMax + 1);
    LDebugGetMachineDataForCrashReport(szData.get(), nFreeHeap, nFreeMemory);
    uint8_t nMajor = 0, nMinor = 0;
    LGetOSVersion(nMajor, nMinor);
    LFixedLengthStringWriter writer(szOut, kLBugReportTextMax);
    writer.Append("https://");
    writer.Append(HARLUNE_BUG_REPORT_HOST);
    writer.sprintf("/software/bug.html?software=HarluneVADPlugin&version=1.0&xi=AbTermOrHang-Mac%d%02d&iid=%s&data=%s",
                   nMajor, nMinor, szIid, szData.get());
    writer.Terminate();
}

void LDebugHangDetectorBugReport(bool, void*) {
    auto szURL = std::make_unique<char[]>(kLBugReportTextMax + 1);
    LDebugComposeBugReportURL(szURL.get());
    LOpenWebPage(szURL.get());
}

void OutputDebugStringF(const char* szFormat, ...) {
    if (szFormat == nullptr) return;
    char szText[512];
    va_list args;
    va_start(args, szFormat);
    vsnprintf(szText, sizeof szText, szFormat, args);
    va_end(args);
    fputs(szText, stderr);
    fflush(stderr);
}

void LRDFAULTF(const char* szFormat, ...) {
    if (szFormat == nullptr) return;
    va_list args;
    va_start(args, szFormat);
    va_list copy;
    va_copy(copy, args);
    const int n = vsnprintf(nullptr, 0, szFormat, copy);
    va_end(copy);
    if (n >= 0) {
        std::string szMessage(static_cast<size_t>(n) + 1, '\0');
        vsnprintf(szMessage.data(), szMessage.size(), szFormat, args);
    }
    va_end(args);
}

void LRDFAULT(const char* szFile, int nLine) { LRDFAULTF("%s: %d", szFile ? szFile : "", nLine); }
