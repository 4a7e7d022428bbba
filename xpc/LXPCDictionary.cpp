#include "xpc/LXPCDictionary.h"

#include <cstring>
#include <new>

#include <unistd.h>

namespace {

const LXPCDictionaryKeyListable* FindKey(LList<LXPCDictionaryKeyListable>& keys, const char* szName) {
    for (const LXPCDictionaryKeyListable* p = keys.Head(); p != nullptr; p = p->pNext) {
        if (std::strcmp(p->szKey, szName) == 0) {
            return p;
        }
    }
    return nullptr;
}

template <typename T>
T* AsPointer(long nValue) {
    return reinterpret_cast<T*>(static_cast<std::intptr_t>(nValue));
}

// Whether a value's word points at a payload: a fresh value holds -1 and a
// cleared one 0, and neither may be read through. Every type whose payload
// is an address or an object goes through this test.
bool HasPayload(long nValue) { return nValue != 0 && nValue != -1; }

template <typename T>
long AsWord(T* p) {
    return static_cast<long>(reinterpret_cast<std::intptr_t>(p));
}

} // namespace

void SetXPCDictionary(xpc_object_t dictionary, LList<LXPCDictionaryKeyListable>& keys,
                      const LList<LXPCDataListable>& values) {
    if (dictionary == nullptr) {
        return;
    }
    for (const LXPCDataListable* pValue = values.Head(); pValue != nullptr; pValue = pValue->pNext) {
        const LXPCDictionaryKeyListable* pKey = FindKey(keys, pValue->szKey);
        if (pKey == nullptr) {
            continue;
        }
        const char* szName = pValue->szKey;
        switch (pKey->eType) {
        case kLXPCDataTypeBool: xpc_dictionary_set_bool(dictionary, szName, pValue->nValue != 0); break;
        case kLXPCDataTypeInt64: xpc_dictionary_set_int64(dictionary, szName, pValue->nValue); break;
        case kLXPCDataTypeUInt64:
            xpc_dictionary_set_uint64(dictionary, szName, static_cast<std::uint64_t>(pValue->nValue));
            break;
        case kLXPCDataTypeDouble: xpc_dictionary_set_double(dictionary, szName, pValue->dValue); break;
        case kLXPCDataTypeDate: xpc_dictionary_set_date(dictionary, szName, pValue->nValue); break;
        case kLXPCDataTypeData:
            if (HasPayload(pValue->nValue)) {
                xpc_dictionary_set_data(dictionary, szName, AsPointer<const void>(pValue->nValue), pValue->nLength);
            }
            break;
        case kLXPCDataTypeUUID:
            if (HasPayload(pValue->nValue)) {
                xpc_dictionary_set_uuid(dictionary, szName, AsPointer<const unsigned char>(pValue->nValue));
            }
            break;
        case kLXPCDataTypeString:
            if (HasPayload(pValue->nValue)) {
                xpc_dictionary_set_string(dictionary, szName, AsPointer<const char>(pValue->nValue));
            }
            break;
        case kLXPCDataTypeFd:
            xpc_dictionary_set_fd(dictionary, szName, static_cast<int>(static_cast<std::uint32_t>(pValue->nValue)));
            break;
        case kLXPCDataTypeValue:
            if (HasPayload(pValue->nValue)) {
                xpc_dictionary_set_value(dictionary, szName, AsPointer<void>(pValue->nValue));
            }
            break;
        default: break;
        }
    }
}

void GetXPCDictionary(xpc_object_t dictionary, LList<LXPCDictionaryKeyListable>& keys,
                      LList<LXPCDataListable>& values) {
    if (dictionary == nullptr) {
        return;
    }
    for (const LXPCDictionaryKeyListable* pKey = keys.Head(); pKey != nullptr; pKey = pKey->pNext) {
        const char* szName = pKey->szKey;
        if (xpc_dictionary_get_value(dictionary, szName) == nullptr) {
            continue;
        }
        LXPCDataListable* pRecord = nullptr;
        switch (pKey->eType) {
        case kLXPCDataTypeBool:
            pRecord = CreateXPCData(*pKey, xpc_dictionary_get_bool(dictionary, szName) ? 1 : 0, 0);
            break;
        case kLXPCDataTypeInt64: pRecord = CreateXPCData(*pKey, xpc_dictionary_get_int64(dictionary, szName), 0); break;
        case kLXPCDataTypeUInt64:
            pRecord = CreateXPCData(*pKey, static_cast<long>(xpc_dictionary_get_uint64(dictionary, szName)), 0);
            break;
        case kLXPCDataTypeDouble:
            pRecord = CreateXPCDataDouble(*pKey, xpc_dictionary_get_double(dictionary, szName));
            break;
        case kLXPCDataTypeDate: pRecord = CreateXPCData(*pKey, xpc_dictionary_get_date(dictionary, szName), 0); break;
        case kLXPCDataTypeData: {
            std::size_t nLength = 0;
            const void* pBytes = xpc_dictionary_get_data(dictionary, szName, &nLength);
            pRecord = CreateXPCData(*pKey, AsWord(pBytes), nLength);
            break;
        }
        case kLXPCDataTypeUUID:
            pRecord = CreateXPCData(*pKey, AsWord(xpc_dictionary_get_uuid(dictionary, szName)), 0);
            break;
        case kLXPCDataTypeString:
            pRecord = CreateXPCData(*pKey, AsWord(xpc_dictionary_get_string(dictionary, szName)), 0);
            break;
        case kLXPCDataTypeFd:
        {
            // Sign-extended, so "no descriptor" (-1) stays -1. Without a
            // record nobody would close the duplicate, so it is closed here.
            const int fd = xpc_dictionary_dup_fd(dictionary, szName);
            pRecord = CreateXPCData(*pKey, static_cast<long>(fd), 0);
            if (pRecord == nullptr && fd >= 0) {
                close(fd);
            }
            break;
        }
        case kLXPCDataTypeValue:
            pRecord = CreateXPCData(*pKey, AsWord(xpc_dictionary_get_value(dictionary, szName)), 0);
            break;
        default: continue;
        }
        values.Add(pRecord);
    }
}

LXPCDataListable* CreateXPCData(const LXPCDictionaryKeyListable& key, long value, unsigned long length) {
    auto* p = new (std::nothrow) LXPCDataListable();
    if (p != nullptr) {
        LCopyXPCKey(p->szKey, key.szKey);
        p->eType = key.eType;
        p->nValue = value;
        p->nLength = length;
    }
    return p;
}

LXPCDataListable* CreateXPCDataDouble(const LXPCDictionaryKeyListable& key, double value) {
    auto* p = new (std::nothrow) LXPCDataListable();
    if (p != nullptr) {
        LCopyXPCKey(p->szKey, key.szKey);
        p->eType = key.eType;
        p->dValue = value;
    }
    return p;
}
