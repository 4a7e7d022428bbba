// LXPCDictionary.h: the wire form of messages: value lists written into an
// XPC dictionary and read back out of one.
//
// The wire type of every value is decided by a key list, never by the value
// itself: a value travels only under a name found in the sender's key list
// (exact, case-sensitive match; the first key of that name wins), and only
// keys of the receiver's list are read. Unknown names, absent keys and keys
// of type None or out of range are skipped without a report. Pure functions
// over their arguments; thread-safe for distinct arguments.
#ifndef HARLUNE_XPC_LXPCDICTIONARY_H
#define HARLUNE_XPC_LXPCDICTIONARY_H

#include "xpc/LXPCData.h"

#include <xpc/xpc.h>

// Writes values into dictionary, typed by keys. An empty list writes
// nothing; of two values with one name the later in the list stays.
void SetXPCDictionary(xpc_object_t dictionary, LList<LXPCDictionaryKeyListable>& keys,
                      const LList<LXPCDataListable>& values);
// Prepends to values one new record per key of keys present in dictionary;
// the caller owns the records. The platform value's own type is not
// checked: the key's getter decides what is read.
void GetXPCDictionary(xpc_object_t dictionary, LList<LXPCDictionaryKeyListable>& keys,
                      LList<LXPCDataListable>& values);

// A new record (caller owns; null when memory is short) named and typed by
// key, with the payload word and length given and dValue 0.0.
LXPCDataListable* CreateXPCData(const LXPCDictionaryKeyListable& key, long value, unsigned long length);
// A new record for a double: nValue keeps its fresh -1.
LXPCDataListable* CreateXPCDataDouble(const LXPCDictionaryKeyListable& key, double value);

#endif
