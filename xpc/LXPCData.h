// LXPCData.h: message values and key descriptors.
//
// A message is, on the program's side, a flat set of named, typed values.
// LXPCData is one value: a key name, a type and one payload word (or a
// double). LXPCDictionaryKey says under which name a value travels and with
// which wire type; key tables are static arrays of them ending with an empty
// name. The Listable forms are the elements of LList.
//
// Ownership: a value never owns what nValue points to and never closes a
// descriptor. For sending, the caller's buffers must stay valid until the
// send returns (the bytes are copied into the message). Received addresses
// point into the received message and are valid only during the callback
// that delivers them; a received object (kLXPCDataTypeValue) is not
// retained; a received descriptor is a new one the receiver must close.
#ifndef HARLUNE_XPC_LXPCDATA_H
#define HARLUNE_XPC_LXPCDATA_H

#include "xpc/LList.h"

#include <cstdint>

// The value types of messages. Values outside 1 to 10 behave like None.
enum LXPCDataType : std::int32_t {
    kLXPCDataTypeNone = 0,
    kLXPCDataTypeBool = 1,   // nValue: non-zero is true; received as 0 or 1
    kLXPCDataTypeInt64 = 2,  // nValue
    kLXPCDataTypeUInt64 = 3, // nValue as unsigned
    kLXPCDataTypeDouble = 4, // dValue
    kLXPCDataTypeDate = 5,   // nValue
    kLXPCDataTypeData = 6,   // nValue: address of the bytes, nLength: their count
    kLXPCDataTypeUUID = 7,   // nValue: address of 16 bytes
    kLXPCDataTypeString = 8, // nValue: address of a NUL-terminated string
    kLXPCDataTypeFd = 9,     // low 32 bits of nValue: a descriptor
    kLXPCDataTypeValue = 10, // nValue: any xpc_object_t, e.g. an endpoint
};

// Capacity of key names, terminator included: 259 characters at most.
inline constexpr std::size_t kLXPCKeySize = 260;

// Copies szSource into a key buffer, cutting it at 259 characters.
void LCopyXPCKey(char (&szKey)[kLXPCKeySize], const char* szSource);

struct LXPCData {
    char szKey[kLXPCKeySize] = {0}; // NUL-terminated key name
    LXPCDataType eType = kLXPCDataTypeNone;
    long nValue = -1;               // payload word; all bits set when fresh
    unsigned long nLength = 0;      // byte count of a data payload
    double dValue = 0.0;            // payload of a double

    LXPCData() = default;
    LXPCData(const char* szName, LXPCDataType type, long value = -1, unsigned long length = 0, double d = 0.0);
};

struct LXPCDataListable : LXPCData {
    LXPCDataListable* pNext = nullptr;

    LXPCDataListable() = default;
    explicit LXPCDataListable(const LXPCData& data) : LXPCData(data) {}
};

struct LXPCDictionaryKey {
    char szKey[kLXPCKeySize];   // NUL-terminated key name; empty ends a table
    LXPCDataType eType;         // the wire type of values under this name
};

struct LXPCDictionaryKeyListable : LXPCDictionaryKey {
    LXPCDictionaryKeyListable* pNext = nullptr;

    LXPCDictionaryKeyListable() : LXPCDictionaryKey{{0}, kLXPCDataTypeNone} {}
    LXPCDictionaryKeyListable(const char* szName, LXPCDataType type);
};

// Copies a value list into a new array in list order (caller delete[]s it);
// null for an empty list. *pnCount receives the element count.
LXPCData* LCopyXPCDataArrayFromList(const LList<LXPCDataListable>& values, unsigned long* pnCount);
// Prepends a copy of each array element, in array order, to values: the
// list then reads in reverse array order.
void LCopyXPCDataListFromArray(const LXPCData* pValues, unsigned long nCount, LList<LXPCDataListable>& values);

#endif
