#include "tools/harlune/DatedFileName.h"

#include "datetime/LDateTime.h"

#include <sys/stat.h>

namespace harlune::tools {

std::string LDatedRecordingPath(long nStart, const std::string& szFolder, const char* szExtension) {
    char szDate[20];
    char szTime[20];
    LDateTime::GetDateYYYYHMMHDD(nStart, szDate);
    LDateTime::GetTimeHHHMMHSS(nStart, szTime);
    const std::string szBase = (szFolder.empty() ? std::string() : szFolder + "/") + szDate + "_" + szTime;
    const std::string szSuffix = szExtension == nullptr ? "" : szExtension;
    std::string szPath = szBase + szSuffix;
    struct stat info {};
    for (int n = 2; lstat(szPath.c_str(), &info) == 0; ++n) {
        szPath = szBase + "_" + std::to_string(n) + szSuffix;
    }
    return szPath;
}

} // namespace harlune::tools
