// LPlist.h: the library's handle on one property-list dictionary: read from
// and written to an XML property-list file by its path, keys answered and
// removed, and values converted between the platform's property-list
// objects and plain values (bool, 32-bit integer, 32-bit float, UTF-8 text,
// a nested LPlist).
//
// Ownership: an LPlist owns one reference to a mutable dictionary, or none.
// Values handed out by GetValue belong to the dictionary (no extra
// reference); values made by ConvertToValue carry one reference the caller
// gives up (CFRelease). Copies share nothing: copying makes a mutable copy.
//
// Thread safety: none; one LPlist belongs to one thread at a time.
#ifndef HARLUNE_XML_LPLIST_H
#define HARLUNE_XML_LPLIST_H

#include <CoreFoundation/CoreFoundation.h>

#include "text/LStringLongTemplate.h"

class LPlist {
public:
    LPlist() = default;
    LPlist(const LPlist& other);
    LPlist& operator=(const LPlist& other);
    ~LPlist();

    // Reads the file at `path` (locked for reading like every text file)
    // as an XML property list. A top-level value that is not a dictionary,
    // a file that is not a property list or cannot be read: false, and the
    // old dictionary stays.
    bool CreateFromFile(const char* path);
    // Writes the dictionary as an XML property list, replacing the file
    // under its exclusive lock (taken before truncating); true when it was
    // written. An LPlist without a dictionary writes an empty one.
    bool WriteToFile(const char* path) const;
    // Replaces the dictionary by a mutable copy of `dictionary`; false for
    // a null dictionary (the old one stays).
    bool CreateFromDictionary(const CFDictionaryRef& dictionary);

    bool TestKeyExists(const char* key) const;
    // True when some key holds `value` (compared with CFEqual).
    bool TestValueExists(const void*& value) const;
    void RemoveValue(const char* key);
    void RemoveAllValues();
    unsigned long GetSize() const;
    bool GetValue(const char* key, const void*& value) const;
    // True only when the key holds an array; `size` is its count.
    bool GetValueArraySize(const char* key, unsigned long& size) const;
    // Sets (retaining) or, with a null value, removes the key's value.
    bool SetValue(const char* key, const void* value);
    // The dictionary itself (owned by this LPlist), or null.
    CFMutableDictionaryRef GetDictionary() const { return pDictionary; }

    static bool ConvertToValue(bool bValue, const void*& value);
    static bool ConvertToValue(int nValue, const void*& value);
    static bool ConvertToValue(float fValue, const void*& value);
    static bool ConvertToValue(const char* szValue, const void*& value);
    static bool ConvertToValue(const LStringLongTemplate<char>& szValue, const void*& value);
    static bool ConvertToValue(const LPlist& plist, const void*& value);

    // Each checks the value's type first and leaves the plain value alone
    // when it differs. The plain-buffer text form copies the whole text:
    // the caller's buffer must hold it.
    static bool ConvertFromValue(bool& bValue, const void*& value);
    static bool ConvertFromValue(int& nValue, const void*& value);
    static bool ConvertFromValue(float& fValue, const void*& value);
    static bool ConvertFromValue(char* szValue, const void*& value);
    static bool ConvertFromValue(LStringLongTemplate<char>& szValue, const void*& value);
    static bool ConvertFromValue(LPlist& plist, const void*& value);

private:
    void Replace(CFMutableDictionaryRef pNew);
    CFMutableDictionaryRef pDictionary = nullptr; // owned reference, or null
};

#endif
