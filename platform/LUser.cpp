#include "platform/LUser.h"

#include <cstdlib>
#include <cstring>
#include <grp.h>
#include <pwd.h>
#include <unistd.h>
#include <vector>

namespace {

bool IsAdministratorGroup(gid_t nGroup) {
    std::vector<char> arBuffer(16384);
    group entry {};
    group* pFound = nullptr;
    if (getgrgid_r(nGroup, &entry, arBuffer.data(), arBuffer.size(), &pFound) != 0 || pFound == nullptr) {
        return false;
    }
    for (const char* szName : {"admin", "sudo", "wheel"}) {
        if (strcmp(pFound->gr_name, szName) == 0) {
            return true;
        }
    }
    return false;
}

} // namespace

bool LIsUserRoot() {
    if (getuid() == 0) {
        return true;
    }
    const char* szUser = getenv("USER");
    return szUser != nullptr && strcmp(szUser, "root") == 0;
}

bool LIsUserAdministrator() {
    if (LIsUserRoot()) {
        return true;
    }
    const long nLimit = sysconf(_SC_NGROUPS_MAX);
    std::vector<gid_t> arGroups(static_cast<size_t>(nLimit > 0 ? nLimit : 65536));
    const int nCount = getgroups(static_cast<int>(arGroups.size()), arGroups.data());
    arGroups.resize(nCount > 0 ? static_cast<size_t>(nCount) : 0);
    arGroups.push_back(getegid());
    for (gid_t nGroup : arGroups) {
        if (IsAdministratorGroup(nGroup)) {
            return true;
        }
    }
    return false;
}

bool LIsUserRunningAsAdministrator() { return LIsUserAdministrator(); }

bool LSwitchToUser() {
    const char* szName = getenv("LOGNAME");
    if (szName == nullptr || szName[0] == '\0') {
        szName = getenv("USER");
    }
    if (szName == nullptr || szName[0] == '\0') {
        return false;
    }
    std::vector<char> arBuffer(16384);
    passwd entry {};
    passwd* pFound = nullptr;
    if (getpwnam_r(szName, &entry, arBuffer.data(), arBuffer.size(), &pFound) != 0 || pFound == nullptr) {
        return false;
    }
    return seteuid(pFound->pw_uid) == 0;
}

bool LSwitchToRoot() { return seteuid(0) == 0; }
