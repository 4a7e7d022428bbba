// LPlist.cpp: property-list dictionaries on the platform's CoreFoundation.
#include "xml/LPlist.h"

#include <cstring>
#include <string>
#include <vector>

#include <unistd.h>

#include "files/LFileLockedOpen.h"
#include "files/LTextFile.h"

namespace {

// A platform string of UTF-8 text; the caller releases it. Null when the
// text is null or not UTF-8.
CFStringRef MakeKey(const char* szKey) {
    return szKey != nullptr ? CFStringCreateWithCString(kCFAllocatorDefault, szKey, kCFStringEncodingUTF8) : nullptr;
}

bool HasType(const void* value, CFTypeID nType) {
    return value != nullptr && CFGetTypeID(static_cast<CFTypeRef>(value)) == nType;
}

// The UTF-8 text of a platform string.
bool CopyText(CFStringRef szText, std::string& out) {
    const CFIndex nRoom = CFStringGetMaximumSizeForEncoding(CFStringGetLength(szText), kCFStringEncodingUTF8) + 1;
    std::vector<char> arBuffer(static_cast<size_t>(nRoom));
    if (!CFStringGetCString(szText, arBuffer.data(), nRoom, kCFStringEncodingUTF8)) {
        return false;
    }
    out = arBuffer.data();
    return true;
}

} // namespace

LPlist::LPlist(const LPlist& other) {
    if (other.pDictionary != nullptr) {
        pDictionary = CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, other.pDictionary);
    }
}

LPlist& LPlist::operator=(const LPlist& other) {
    if (this != &other) {
        Replace(other.pDictionary != nullptr ? CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, other.pDictionary)
                                             : nullptr);
    }
    return *this;
}

LPlist::~LPlist() {
    Replace(nullptr);
}

void LPlist::Replace(CFMutableDictionaryRef pNew) {
    if (pDictionary != nullptr) {
        CFRelease(pDictionary);
    }
    pDictionary = pNew;
}

bool LPlist::CreateFromFile(const char* path) {
    LStringLongTemplate<char> bytes;
    if (path == nullptr || !LLoadText(path, bytes)) {
        return false;
    }
    CFDataRef data = CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.Get()),
                                  static_cast<CFIndex>(bytes.GetLength()));
    if (data == nullptr) {
        return false;
    }
    CFPropertyListRef list =
        CFPropertyListCreateWithData(kCFAllocatorDefault, data, kCFPropertyListMutableContainers, nullptr, nullptr);
    CFRelease(data);
    if (list == nullptr) {
        return false;
    }
    const bool bDictionary = HasType(list, CFDictionaryGetTypeID());
    if (bDictionary) {
        Replace(CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, static_cast<CFDictionaryRef>(list)));
    }
    CFRelease(list);
    return bDictionary;
}

bool LPlist::WriteToFile(const char* path) const {
    CFMutableDictionaryRef pEmpty = nullptr;
    CFDictionaryRef pWritten = pDictionary;
    if (pWritten == nullptr) {
        pEmpty = CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                           &kCFTypeDictionaryValueCallBacks);
        pWritten = pEmpty;
    }
    CFDataRef data = CFPropertyListCreateData(kCFAllocatorDefault, pWritten, kCFPropertyListXMLFormat_v1_0, 0, nullptr);
    if (pEmpty != nullptr) {
        CFRelease(pEmpty);
    }
    if (data == nullptr) {
        return false;
    }
    bool bWritten = false;
    const int nFile = LFileOpenLocked(path, LFileLockedMode::replace, kLTextSaveLockMilliseconds);
    if (nFile >= 0) {
        bWritten = harlune::files::WriteFully(nFile, CFDataGetBytePtr(data),
                                              static_cast<unsigned long long>(CFDataGetLength(data))) == 0;
        bWritten = close(nFile) == 0 && bWritten;
    }
    CFRelease(data);
    return bWritten;
}

bool LPlist::CreateFromDictionary(const CFDictionaryRef& dictionary) {
    if (dictionary == nullptr) {
        return false;
    }
    Replace(CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, dictionary));
    return true;
}

bool LPlist::GetValue(const char* key, const void*& value) const {
    CFStringRef szKey = MakeKey(key);
    if (szKey == nullptr) {
        return false;
    }
    const void* pFound = nullptr;
    const bool bFound = pDictionary != nullptr && CFDictionaryGetValueIfPresent(pDictionary, szKey, &pFound);
    CFRelease(szKey);
    if (bFound) {
        value = pFound;
    }
    return bFound;
}

bool LPlist::TestKeyExists(const char* key) const {
    const void* value = nullptr;
    return GetValue(key, value);
}

bool LPlist::TestValueExists(const void*& value) const {
    return pDictionary != nullptr && value != nullptr && CFDictionaryContainsValue(pDictionary, value);
}

void LPlist::RemoveValue(const char* key) {
    SetValue(key, nullptr);
}

void LPlist::RemoveAllValues() {
    if (pDictionary != nullptr) {
        CFDictionaryRemoveAllValues(pDictionary);
    }
}

unsigned long LPlist::GetSize() const {
    return pDictionary != nullptr ? static_cast<unsigned long>(CFDictionaryGetCount(pDictionary)) : 0;
}

bool LPlist::GetValueArraySize(const char* key, unsigned long& size) const {
    const void* value = nullptr;
    if (!GetValue(key, value) || !HasType(value, CFArrayGetTypeID())) {
        return false;
    }
    size = static_cast<unsigned long>(CFArrayGetCount(static_cast<CFArrayRef>(value)));
    return true;
}

bool LPlist::SetValue(const char* key, const void* value) {
    CFStringRef szKey = MakeKey(key);
    if (szKey == nullptr) {
        return false;
    }
    if (value == nullptr) {
        if (pDictionary != nullptr) {
            CFDictionaryRemoveValue(pDictionary, szKey);
        }
    } else {
        if (pDictionary == nullptr) {
            pDictionary = CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                                    &kCFTypeDictionaryValueCallBacks);
        }
        CFDictionarySetValue(pDictionary, szKey, value);
    }
    CFRelease(szKey);
    return true;
}

bool LPlist::ConvertToValue(bool bValue, const void*& value) {
    value = CFRetain(bValue ? kCFBooleanTrue : kCFBooleanFalse);
    return true;
}

bool LPlist::ConvertToValue(int nValue, const void*& value) {
    CFNumberRef number = CFNumberCreate(kCFAllocatorDefault, kCFNumberIntType, &nValue);
    value = number;
    return number != nullptr;
}

bool LPlist::ConvertToValue(float fValue, const void*& value) {
    CFNumberRef number = CFNumberCreate(kCFAllocatorDefault, kCFNumberFloatType, &fValue);
    value = number;
    return number != nullptr;
}

bool LPlist::ConvertToValue(const char* szValue, const void*& value) {
    CFStringRef szText = MakeKey(szValue);
    if (szText == nullptr) {
        return false;
    }
    value = szText;
    return true;
}

bool LPlist::ConvertToValue(const LStringLongTemplate<char>& szValue, const void*& value) {
    return ConvertToValue(szValue.Get(), value);
}

bool LPlist::ConvertToValue(const LPlist& plist, const void*& value) {
    CFMutableDictionaryRef pCopy =
        plist.pDictionary != nullptr
            ? CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, plist.pDictionary)
            : CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                        &kCFTypeDictionaryValueCallBacks);
    value = pCopy;
    return pCopy != nullptr;
}

bool LPlist::ConvertFromValue(bool& bValue, const void*& value) {
    if (!HasType(value, CFBooleanGetTypeID())) {
        return false;
    }
    bValue = CFBooleanGetValue(static_cast<CFBooleanRef>(value));
    return true;
}

bool LPlist::ConvertFromValue(int& nValue, const void*& value) {
    if (!HasType(value, CFNumberGetTypeID())) {
        return false;
    }
    int nRead = 0;
    const bool bExact = CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberIntType, &nRead);
    nValue = nRead;
    return bExact;
}

bool LPlist::ConvertFromValue(float& fValue, const void*& value) {
    if (!HasType(value, CFNumberGetTypeID())) {
        return false;
    }
    float fRead = 0.0f;
    const bool bExact = CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberFloatType, &fRead);
    fValue = fRead;
    return bExact;
}

bool LPlist::ConvertFromValue(char* szValue, const void*& value) {
    std::string szText;
    if (szValue == nullptr || !HasType(value, CFStringGetTypeID()) ||
        !CopyText(static_cast<CFStringRef>(value), szText)) {
        return false;
    }
    std::memcpy(szValue, szText.c_str(), szText.size() + 1);
    return true;
}

bool LPlist::ConvertFromValue(LStringLongTemplate<char>& szValue, const void*& value) {
    std::string szText;
    if (!HasType(value, CFStringGetTypeID()) || !CopyText(static_cast<CFStringRef>(value), szText)) {
        return false;
    }
    szValue.Assign(szText.data(), szText.size());
    return true;
}

bool LPlist::ConvertFromValue(LPlist& plist, const void*& value) {
    if (!HasType(value, CFDictionaryGetTypeID())) {
        return false;
    }
    return plist.CreateFromDictionary(static_cast<CFDictionaryRef>(value));
}
