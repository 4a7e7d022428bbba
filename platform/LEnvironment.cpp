#include "platform/LEnvironment.h"

#include <cstdlib>
#include <cstring>

bool LSetEnvironmentVariable(const char* szName, const char* szValue) {
    if (szName == nullptr || szName[0] == '\0' || strchr(szName, '=') != nullptr) {
        return false;
    }
    return (szValue == nullptr ? unsetenv(szName) : setenv(szName, szValue, 1)) == 0;
}

unsigned int LGetEnvironmentVariable(const char* szName, char* szValue, unsigned int nSize) {
    const char* szFound = szName == nullptr ? nullptr : getenv(szName);
    if (szFound == nullptr) {
        szFound = "";
    }
    const size_t nLength = strlen(szFound);
    if (szValue != nullptr && nSize > 0) {
        const size_t nCopied = nLength < nSize ? nLength : nSize - 1;
        memcpy(szValue, szFound, nCopied);
        szValue[nCopied] = '\0';
    }
    return static_cast<unsigned int>(nLength);
}
