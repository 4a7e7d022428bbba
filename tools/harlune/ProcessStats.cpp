#include "tools/harlune/ProcessStats.h"

#include <dirent.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

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

} // namespace harlune::tools
