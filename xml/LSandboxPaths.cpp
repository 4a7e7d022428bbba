// LSandboxPaths.cpp: the container test and the mapping of container
// paths through symbolic links.
#include "xml/LSandboxPaths.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr size_t kPathCapacity = 260;

bool CopyOut(char* out, const std::string& szText) {
    if (szText.size() >= kPathCapacity) {
        out[0] = '\0';
        return false;
    }
    std::memcpy(out, szText.c_str(), szText.size() + 1);
    return true;
}

bool Container(std::string& szContainer) {
    const char* szEnv = std::getenv("HARLUNE_SANDBOX_CONTAINER");
    if (szEnv == nullptr || szEnv[0] != '/') {
        return false;
    }
    char szReal[PATH_MAX];
    szContainer = realpath(szEnv, szReal) != nullptr ? szReal : szEnv;
    while (szContainer.size() > 1 && szContainer.back() == '/') {
        szContainer.pop_back();
    }
    return true;
}

bool IsBelow(const std::string& szPath, const std::string& szFolder) {
    if (szFolder == "/") {
        return !szPath.empty() && szPath[0] == '/';
    }
    return szPath.size() >= szFolder.size() && strncasecmp(szPath.c_str(), szFolder.c_str(), szFolder.size()) == 0 &&
           (szPath.size() == szFolder.size() || szPath[szFolder.size()] == '/');
}

// The target of the link at szLink, absolute, resolved fully when it exists.
std::string LinkTarget(const std::string& szLink) {
    char szReal[PATH_MAX];
    if (realpath(szLink.c_str(), szReal) != nullptr) {
        return szReal;
    }
    char szTarget[PATH_MAX];
    const ssize_t nLength = readlink(szLink.c_str(), szTarget, sizeof szTarget - 1);
    if (nLength <= 0) {
        return std::string();
    }
    std::string szResult(szTarget, static_cast<size_t>(nLength));
    if (szResult[0] != '/') {
        szResult = szLink.substr(0, szLink.rfind('/') + 1) + szResult;
    }
    return szResult;
}

} // namespace

bool LSandboxGetContainer(char* out) {
    std::string szContainer;
    if (out == nullptr) {
        return false;
    }
    out[0] = '\0';
    return Container(szContainer) && CopyOut(out, szContainer);
}

namespace LFile {

bool IsPathInSandbox(const char* path) {
    std::string szContainer;
    return path != nullptr && Container(szContainer) && IsBelow(path, szContainer);
}

bool MakeNonSandboxedFilePath(char* out, const char* path) {
    if (out == nullptr) {
        return false;
    }
    out[0] = '\0';
    std::string szContainer;
    if (path == nullptr || !Container(szContainer) || !IsBelow(path, szContainer)) {
        return false;
    }
    struct stat st {};
    if (stat(path, &st) == 0) {
        char szReal[PATH_MAX];
        if (realpath(path, szReal) == nullptr || IsBelow(szReal, szContainer)) {
            return false;
        }
        return CopyOut(out, szReal);
    }
    // The path does not exist (yet): walk its folders below the container and
    // follow the first one that is a link.
    const std::string szPath(path);
    size_t nAt = szContainer.size();
    while (nAt < szPath.size()) {
        const size_t nNext = szPath.find('/', nAt + 1);
        const std::string szPrefix = szPath.substr(0, nNext);
        if (lstat(szPrefix.c_str(), &st) != 0) {
            return false;
        }
        if (S_ISLNK(st.st_mode)) {
            const std::string szTarget = LinkTarget(szPrefix);
            if (szTarget.empty() || IsBelow(szTarget, szContainer)) {
                return false;
            }
            return CopyOut(out, szTarget + (nNext == std::string::npos ? std::string() : szPath.substr(nNext)));
        }
        if (nNext == std::string::npos) {
            break;
        }
        nAt = nNext;
    }
    return false;
}

} // namespace LFile
