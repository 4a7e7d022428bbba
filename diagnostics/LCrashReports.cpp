// The newest crash report of this product.
#include "diagnostics/LCrashReports.h"
#include "diagnostics/LFilePath.h"
#include "diagnostics/LFlockTimed.h"

#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <unistd.h>

namespace {

constexpr size_t kDateSlots = 1000;
constexpr size_t kLineMax = 259;
constexpr const char* kProduct = "HarluneVADPlugin";

// Reads one line of at most kLineMax characters (the rest of a longer line
// is dropped); line ends are LF, CR or CR LF. False at the end of the file.
bool ReadLine(FILE* file, char* szLine) {
    size_t n = 0;
    int c = fgetc(file);
    if (c == EOF) return false;
    while (c != EOF && c != '\n' && c != '\r') {
        if (n < kLineMax) szLine[n++] = static_cast<char>(c);
        c = fgetc(file);
    }
    if (c == '\r') {
        const int cNext = fgetc(file);
        if (cNext != '\n' && cNext != EOF) ungetc(cNext, file);
    }
    szLine[n] = '\0';
    return true;
}

struct Conditions {
    bool bProcess = false;
    bool bPath = false;
    bool bIdentifier = false;
    bool bVersion = false;
    bool bDate = false;
    int64_t nDate = 0;
    bool All() const { return bProcess && bPath && bIdentifier && bVersion && bDate; }
};

bool PathFits(const char* szValue, const char* szExecutable, const char* szAppName) {
    if (szAppName == nullptr || szAppName[0] == '\0') return false;
    const char* pValue = strstr(szValue, szAppName);
    const char* pExecutable = strstr(szExecutable ? szExecutable : "", szAppName);
    return pValue != nullptr && pExecutable != nullptr && strcmp(pValue, pExecutable) == 0;
}

void ReadTextReport(const std::string& szPath, const char* szAppName, const char* szExecutable, Conditions* p) {
    const int nFile = open(szPath.c_str(), O_RDONLY | O_CLOEXEC);
    if (nFile < 0) return;
    if (flocktimed(nFile, LOCK_SH, 1000) != 0) {
        close(nFile);
        return; // treated as empty: nothing holds
    }
    FILE* file = fdopen(nFile, "r");
    if (file == nullptr) {
        close(nFile);
        return;
    }
    char szLine[kLineMax + 1];
    while (ReadLine(file, szLine)) {
        const char* pKey = szLine;
        while (*pKey != '\0' && static_cast<unsigned char>(*pKey) < 33) ++pKey;
        const char* pKeyEnd = pKey;
        while (static_cast<unsigned char>(*pKeyEnd) > 32) ++pKeyEnd;
        const std::string szKey(pKey, pKeyEnd);
        const char* szValue = pKeyEnd;
        while (*szValue == ' ' || *szValue == '\t') ++szValue;
        if (szKey == "Process:" && !p->bProcess) {
            p->bProcess = strstr(szValue, kProduct) != nullptr;
        } else if (szKey == "Path:" && !p->bPath) {
            p->bPath = PathFits(szValue, szExecutable, szAppName);
        } else if (szKey == "Identifier:" && !p->bIdentifier) {
            p->bIdentifier = strcmp(szValue, kProduct) == 0;
        } else if (szKey == "Version:" && !p->bVersion) {
            const size_t nWord = strcspn(szValue, " \t");
            p->bVersion = nWord == 3 && strncmp(szValue, "1.0", 3) == 0;
        } else if (szKey == "Date/Time:" && !p->bDate) {
            int y, mo, d, h, mi, s;
            if (sscanf(szValue, "%d-%d-%d %d:%d:%d", &y, &mo, &d, &h, &mi, &s) == 6) {
                p->nDate = LCrashReportLocalTime(y, mo, d, h, mi, s);
            }
            p->bDate = true;
        }
    }
    fclose(file); // closes the descriptor and its lock
}

void ReadIpsName(const std::string& szName, Conditions* p) {
    std::string szStem = szName.substr(0, szName.rfind('.'));
    const size_t nDash = szStem.find('-');
    if (nDash == std::string::npos) return;
    int y, mo, d, h, mi, s;
    if (sscanf(szStem.c_str() + nDash + 1, "%d-%d-%d-%2d%2d%2d", &y, &mo, &d, &h, &mi, &s) != 6) return;
    p->nDate = LCrashReportLocalTime(y, mo, d, h, mi, s);
    p->bDate = p->bProcess = p->bPath = p->bIdentifier = p->bVersion = true;
}

std::string LastPathComponent(const std::string& szPath) {
    const size_t n = szPath.find_last_of("/\\");
    return n == std::string::npos ? szPath : szPath.substr(n + 1);
}

std::string URLPath(CFURLRef url) {
    char sz[4096];
    if (url == nullptr || !CFURLGetFileSystemRepresentation(url, true, reinterpret_cast<UInt8*>(sz), sizeof sz)) {
        return {};
    }
    return sz;
}

} // namespace

bool LFileNameMatchesPattern(const char* szName, const char* szPattern) {
    if (szName == nullptr || szPattern == nullptr) return false;
    // Iterative glob with one backtracking point for the last "*".
    const char* pStar = nullptr;
    const char* pStarName = nullptr;
    while (*szName != '\0') {
        if (*szPattern == '*') {
            pStar = szPattern++;
            pStarName = szName;
        } else if (*szPattern == '?' ||
                   (*szPattern != '\0' && tolower(static_cast<unsigned char>(*szPattern)) ==
                                              tolower(static_cast<unsigned char>(*szName)))) {
            ++szPattern;
            ++szName;
        } else if (pStar != nullptr) {
            szPattern = pStar + 1;
            szName = ++pStarName;
        } else {
            return false;
        }
    }
    while (*szPattern == '*') ++szPattern;
    return *szPattern == '\0';
}

int64_t LCrashReportLocalTime(int nYear, int nMonth, int nDay, int nHour, int nMinute, int nSecond) {
    struct tm tmLocal = {};
    if (nYear >= 70 && nYear <= 1899) tmLocal.tm_year = nYear;
    else if (nYear < 70) tmLocal.tm_year = nYear + 100;
    else tmLocal.tm_year = nYear - 1900;
    tmLocal.tm_mon = nMonth - 1;
    tmLocal.tm_mday = nDay;
    tmLocal.tm_hour = nHour;
    tmLocal.tm_min = nMinute;
    tmLocal.tm_sec = nSecond;
    tmLocal.tm_isdst = -1;
    const time_t t = mktime(&tmLocal);
    return t == static_cast<time_t>(-1) ? 0 : static_cast<int64_t>(t);
}

bool LMacFindLatestCrashReport(char* szOut, const char* szFolder, const char* szAppName, const char* szExecutable) {
    if (szOut == nullptr || szFolder == nullptr) return false;
    std::vector<int64_t> arDates(kDateSlots, 0);
    std::vector<std::pair<int64_t, std::string>> lAccepted;
    DIR* dir = opendir(szFolder);
    if (dir == nullptr) return false;
    char szPattern[kLMaxPath];
    snprintf(szPattern, sizeof szPattern, "%s*", kProduct);
    size_t nIndex = 0;
    while (dirent* e = readdir(dir)) {
        const std::string szName = e->d_name;
        if (szName == "." || szName == ".." || szName.rfind("__MACOSX", 0) == 0) continue;
        if (!LFileNameMatchesPattern(szName.c_str(), szPattern)) continue;
        const size_t i = nIndex++;
        if (i >= kDateSlots) continue; // past the table: not considered
        char szPath[kLMaxPath];
        LFile::_MakeFilePath(szPath, szFolder, szName.c_str(), nullptr);
        Conditions conditions;
        const size_t nDot = szName.rfind('.');
        if (nDot != std::string::npos && szName.compare(nDot, std::string::npos, ".ips") == 0) {
            ReadIpsName(szName, &conditions);
        } else {
            ReadTextReport(szPath, szAppName, szExecutable, &conditions);
        }
        if (conditions.bDate) arDates[i] = conditions.nDate;
        if (!conditions.All()) continue;
        auto it = std::find_if(lAccepted.begin(), lAccepted.end(),
                               [&](const auto& entry) { return entry.first == conditions.nDate; });
        if (it != lAccepted.end()) it->second = szPath;
        else lAccepted.emplace_back(conditions.nDate, szPath);
    }
    closedir(dir);
    if (lAccepted.empty()) return false;
    std::sort(arDates.begin(), arDates.end(), std::greater<int64_t>());
    for (const auto& [nDate, szPath] : lAccepted) {
        if (nDate == arDates[0] && !szPath.empty()) {
            snprintf(szOut, kLMaxPath, "%s", szPath.c_str());
            return true;
        }
    }
    return false;
}

bool LMacGetLatestCrashReport(char* szOut) {
    if (szOut == nullptr) return false;
    struct passwd pw;
    struct passwd* pResult = nullptr;
    char arBuffer[4096];
    if (getpwuid_r(getuid(), &pw, arBuffer, sizeof arBuffer, &pResult) != 0 || pResult == nullptr) return false;
    char szFolder[kLMaxPath];
    LFile::_MakeFilePath(szFolder, pw.pw_dir, "Library/Logs/DiagnosticReports", nullptr);
    std::string szAppName, szExecutable;
    if (CFBundleRef bundle = CFBundleGetMainBundle()) {
        CFURLRef url = CFBundleCopyBundleURL(bundle);
        szAppName = LastPathComponent(URLPath(url));
        if (url) CFRelease(url);
        url = CFBundleCopyExecutableURL(bundle);
        szExecutable = URLPath(url);
        if (url) CFRelease(url);
    }
    return LMacFindLatestCrashReport(szOut, szFolder, szAppName.c_str(), szExecutable.c_str());
}
