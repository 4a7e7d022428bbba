// harlune report: what a bug report from an application that hosts the
// library would carry: its "xi" code, the machine data and the newest crash
// report of the product, or (--url) the composed bug-report address.
#include "tools/harlune/Commands.h"

#include "diagnostics/LDiagnostics.h"

#include <cstdio>
#include <memory>
#include <string>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace harlune::tools {
namespace {

const char kReportUsage[] =
    "usage: harlune report [--app PATH] [--reports FOLDER] [--prefix TEXT] [--url]\n"
    "\n"
    "Prints the \"xi\" code, the machine data (plain and percent-encoded) and the\n"
    "newest crash report of the product for an application.\n"
    "\n"
    "  --app PATH        the application: its bundle folder or executable\n"
    "                    (default: this program)\n"
    "  --reports FOLDER  where crash reports are looked for\n"
    "                    (default: ~/Library/Logs/DiagnosticReports of the real user)\n"
    "  --prefix TEXT     the \"xi\" code's prefix (default: HarluneVADPlugin)\n"
    "  --url             print the bug-report address instead (nothing is opened)\n";

std::string LastComponent(const std::string& szPath) {
    std::string sz = szPath;
    while (sz.size() > 1 && sz.back() == '/') sz.pop_back();
    const size_t n = sz.find_last_of("/\\");
    return n == std::string::npos ? sz : sz.substr(n + 1);
}

} // namespace

int LRunReportCommand(const std::vector<std::string>& arArgs) {
    std::string szApp, szReports, szPrefix = "HarluneVADPlugin";
    bool bURL = false;
    for (size_t i = 0; i < arArgs.size(); ++i) {
        const std::string& sz = arArgs[i];
        const bool bHasValue = i + 1 < arArgs.size();
        if (sz == "--help" || sz == "-h") {
            std::fputs(kReportUsage, stdout);
            return 0;
        } else if (sz == "--url") {
            bURL = true;
        } else if (sz == "--app" && bHasValue) {
            szApp = arArgs[++i];
        } else if (sz == "--reports" && bHasValue) {
            szReports = arArgs[++i];
        } else if (sz == "--prefix" && bHasValue) {
            szPrefix = arArgs[++i];
        } else {
            std::fprintf(stderr, "harlune report: unexpected argument '%s'\n\n%s", sz.c_str(), kReportUsage);
            return 2;
        }
    }
    if (bURL) {
        auto szURL = std::make_unique<char[]>(kLBugReportTextMax + 1);
        LDebugComposeBugReportURL(szURL.get());
        std::printf("%s\n", szURL.get());
        return 0;
    }

    char szXI[kLMaxPath];
    LDebugGenerateXIString(szXI, szPrefix.c_str(), "1.0");
    std::printf("xi:           %s\n", szXI);

    auto szPlain = std::make_unique<char[]>(kLBugReportTextMax + 1);
    LFixedLengthStringWriter writer(szPlain.get(), kLBugReportTextMax);
    LDebugGetMachineDataForCrashReport(writer, static_cast<int32_t>(LMemoryGetFreeHeapSize() >> 20),
                                       static_cast<int32_t>(LMemoryGetLargestFreeRegionSize() >> 20));
    writer.Terminate();
    auto szEncoded = std::make_unique<char[]>(kLBugReportTextMax + 1);
    LDebugPercentEncode(szEncoded.get(), szPlain.get());
    std::printf("machine data: %s\n", szPlain.get());
    std::printf("encoded:      %s\n", szEncoded.get());

    uint8_t nMajor = 0, nMinor = 0, nPatch = 0;
    LGetOSVersion(nMajor, nMinor, nPatch);
    std::printf("os version:   %u.%u.%u\n", nMajor, nMinor, nPatch);

    char szReport[kLMaxPath];
    bool bFound = false;
    if (szApp.empty() && szReports.empty()) {
        bFound = LMacGetLatestCrashReport(szReport);
    } else {
        if (szReports.empty()) {
            const struct passwd* pw = getpwuid(getuid());
            szReports = std::string(pw != nullptr ? pw->pw_dir : "") + "/Library/Logs/DiagnosticReports";
        }
        std::string szExecutable = szApp;
        struct stat st;
        if (!szApp.empty() && stat(szApp.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) {
            // A bundle folder: its executable lives in Contents/Linux under
            // the bundle's own name.
            std::string szName = LastComponent(szApp);
            szName = szName.substr(0, szName.rfind('.'));
            szExecutable = szApp + "/Contents/Linux/" + szName;
        }
        if (szApp.empty()) {
            char sz[4096];
            const ssize_t n = readlink("/proc/self/exe", sz, sizeof sz - 1);
            szApp = szExecutable = n > 0 ? std::string(sz, static_cast<size_t>(n)) : std::string();
            szApp = szApp.substr(0, szApp.rfind('/'));
        }
        bFound = LMacFindLatestCrashReport(szReport, szReports.c_str(), LastComponent(szApp).c_str(),
                                           szExecutable.c_str());
    }
    std::printf("crash report: %s\n", bFound ? szReport : "(none)");
    return 0;
}

} // namespace harlune::tools
