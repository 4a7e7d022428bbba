#include "tools/harlune/ProcessStats.h"

#include <dirent.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include <unistd.h>

namespace harlune::tools {
namespace {

std::string ProcFolder(pid_t pid) { return "/proc/" + (pid == 0 ? std::string("self") : std::to_string(pid)); }

long StatusField(pid_t pid, const char* szField) {
    std::ifstream in(ProcFolder(pid) + "/status");
    std::string szLine;
    while (std::getline(in, szLine)) {
        if (szLine.rfind(szField, 0) == 0) {
            return std::atol(szLine.c_str() + std::strlen(szField));
        }
    }
    return -1;
}

} // namespace

long LCountDescriptors(pid_t pid) {
    DIR* p = opendir((ProcFolder(pid) + "/fd").c_str());
    if (p == nullptr) {
        return -1;
    }
    long n = 0;
    while (const dirent* pEntry = readdir(p)) {
        n += pEntry->d_name[0] != '.' ? 1 : 0;
    }
    closedir(p);
    // The directory stream itself holds one descriptor of the caller's.
    return pid == 0 ? n - 1 : n;
}

long LResidentKiB(pid_t pid) { return StatusField(pid, "VmRSS:"); }

long LThreadCount(pid_t pid) { return StatusField(pid, "Threads:"); }

double LCpuSeconds(pid_t pid) {
    std::ifstream in(ProcFolder(pid) + "/stat");
    std::string szStat;
    std::getline(in, szStat);
    // The name in parentheses may hold spaces; the fields after it are
    // state (3), ... utime (14) and stime (15), counted from the pid.
    const std::size_t nClose = szStat.rfind(')');
    if (nClose == std::string::npos) {
        return -1;
    }
    std::istringstream fields(szStat.substr(nClose + 2));
    std::string szField;
    unsigned long long qwUser = 0, qwSystem = 0;
    for (int i = 3; i <= 15 && fields >> szField; ++i) {
        if (i == 14) {
            qwUser = std::strtoull(szField.c_str(), nullptr, 10);
        } else if (i == 15) {
            qwSystem = std::strtoull(szField.c_str(), nullptr, 10);
        }
    }
    return static_cast<double>(qwUser + qwSystem) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

} // namespace harlune::tools
