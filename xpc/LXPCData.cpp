#include "xpc/LXPCData.h"

#include <cstring>
#include <new>

void LCopyXPCKey(char (&szKey)[kLXPCKeySize], const char* szSource) {
    if (szSource == nullptr) {
        szKey[0] = '\0';
        return;
    }
    std::size_t n = 0;
    while (n < kLXPCKeySize - 1 && szSource[n] != '\0') {
        szKey[n] = szSource[n];
        ++n;
    }
    szKey[n] = '\0';
}

LXPCData::LXPCData(const char* szName, LXPCDataType type, long value, unsigned long length, double d)
    : eType(type), nValue(value), nLength(length), dValue(d) {
    LCopyXPCKey(szKey, szName);
}

LXPCDictionaryKeyListable::LXPCDictionaryKeyListable(const char* szName, LXPCDataType type)
    : LXPCDictionaryKey{{0}, type} {
    LCopyXPCKey(szKey, szName);
}

LXPCData* LCopyXPCDataArrayFromList(const LList<LXPCDataListable>& values, unsigned long* pnCount) {
    const unsigned long nCount = static_cast<unsigned long>(values.Count());
    if (pnCount != nullptr) {
        *pnCount = nCount;
    }
    if (nCount == 0) {
        return nullptr;
    }
    LXPCData* pArray = new (std::nothrow) LXPCData[nCount];
    if (pArray == nullptr) {
        if (pnCount != nullptr) {
            *pnCount = 0;
        }
        return nullptr;
    }
    unsigned long i = 0;
    for (const LXPCDataListable* p = values.Head(); p != nullptr; p = p->pNext, ++i) {
        pArray[i] = static_cast<const LXPCData&>(*p);
    }
    return pArray;
}

void LCopyXPCDataListFromArray(const LXPCData* pValues, unsigned long nCount, LList<LXPCDataListable>& values) {
    if (pValues == nullptr) {
        return;
    }
    for (unsigned long i = 0; i < nCount; ++i) {
        if (auto* p = new (std::nothrow) LXPCDataListable(pValues[i])) {
            values.Add(p);
        }
    }
}
