#include "platform/LCommandLine.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

int gargc = 0;
char** gargv = nullptr;

namespace {

constexpr size_t kValueBytes = 260;

} // namespace

void LUnixAppCopyCommandLineArguments(int argc, char** argv) {
    free(gargv);
    gargv = nullptr;
    gargc = 0;
    const int nCount = argc > 0 && argv != nullptr ? argc : 0;
    auto** arCopy = static_cast<char**>(calloc(static_cast<size_t>(nCount) + 1, sizeof(char*)));
    if (arCopy == nullptr) {
        return;
    }
    int nCopied = 0;
    for (int i = 0; i < nCount; ++i) {
        if (i == 1 && argv[i] != nullptr && strncmp(argv[i], "-psn", 4) == 0) {
            continue;
        }
        arCopy[nCopied++] = argv[i];
    }
    arCopy[nCopied] = nullptr;
    gargv = arCopy;
    gargc = nCopied;
}

int LRemoveCommandLineArgument(int nIndex) {
    if (gargv == nullptr || nIndex < 0 || nIndex >= gargc) {
        return gargc;
    }
    for (int i = nIndex; i < gargc - 1; ++i) {
        gargv[i] = gargv[i + 1];
    }
    --gargc;
    gargv[gargc] = nullptr;
    return gargc;
}

void LGetCommandLineArgumentValue(const char* szName, char* szValue) {
    if (szValue == nullptr) {
        return;
    }
    szValue[0] = '\0';
    if (szName == nullptr || gargv == nullptr) {
        return;
    }
    for (int i = 1; i < gargc - 1; ++i) {
        if (gargv[i] != nullptr && strcmp(gargv[i], szName) == 0) {
            if (gargv[i + 1] != nullptr) {
                snprintf(szValue, kValueBytes, "%s", gargv[i + 1]);
            }
            return;
        }
    }
}
