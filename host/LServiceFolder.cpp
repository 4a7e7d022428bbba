#include "host/LServiceFolder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace harlune::host {

std::string LServiceFolderPath() {
    const char* szConfigured = std::getenv("HARLUNE_XPC_SERVICE_DIR");
    if (szConfigured != nullptr && szConfigured[0] != '\0') {
        return szConfigured;
    }
    const char* szRuntime = std::getenv("XDG_RUNTIME_DIR");
    if (szRuntime != nullptr && szRuntime[0] != '\0') {
        return std::string(szRuntime) + "/harlune-xpc";
    }
    return "/tmp/harlune-xpc-" + std::to_string(geteuid());
}

bool LCheckServiceFolder(std::string* pszProblem) {
    const std::string szFolder = LServiceFolderPath();
    auto fail = [&](const std::string& szWhat) {
        if (pszProblem != nullptr) {
            *pszProblem = "the service folder " + szWhat;
        }
        return false;
    };
    if (mkdir(szFolder.c_str(), 0700) != 0 && errno != EEXIST) {
        return fail(szFolder + " cannot be made: " + std::strerror(errno));
    }
    struct stat st {};
    if (lstat(szFolder.c_str(), &st) != 0) {
        return fail(szFolder + " cannot be read: " + std::strerror(errno));
    }
    if (S_ISLNK(st.st_mode)) {
        return fail(szFolder + " is a symbolic link; it must be a real folder");
    }
    if (!S_ISDIR(st.st_mode)) {
        return fail(szFolder + " is not a folder");
    }
    if (st.st_uid != geteuid()) {
        return fail(szFolder + " belongs to user " + std::to_string(st.st_uid) + ", not to you (user " +
                    std::to_string(geteuid()) + ")");
    }
    if ((st.st_mode & 07777) != 0700) {
        char szMode[16];
        std::snprintf(szMode, sizeof szMode, "%04o", static_cast<unsigned>(st.st_mode & 07777));
        return fail(szFolder + " has mode " + szMode + "; it must be 0700 (chmod 700 " + szFolder + ")");
    }
    return true;
}

} // namespace harlune::host
