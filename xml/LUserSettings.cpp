// LUserSettings.cpp: user settings in the platform's preferences.
#include "xml/LUserSettings.h"

#include <CoreFoundation/CoreFoundation.h>

#include <string>
#include <vector>

#include "text/LText.h"
#include "xml/LSettingCipher.h"
#include "xml/LSettings.h"

namespace {

constexpr unsigned long kTextBufferSize = 260;
// Longest preference key: a section and a key of 259 characters each and
// the "/" between them.
constexpr size_t kFullKeyMax = 519;

std::string FullKey(const char* section, const char* key) {
    std::string szKey = section;
    if (szKey.empty() || szKey.back() != '/') {
        szKey.push_back('/');
    }
    szKey += key;
    if (szKey.size() > kFullKeyMax) {
        char szCut[kFullKeyMax + 1];
        utf8strlcpy(szCut, szKey.c_str(), sizeof(szCut));
        szKey = szCut;
    }
    return szKey;
}

CFStringRef MakeString(const char* szText) {
    return CFStringCreateWithCString(kCFAllocatorDefault, szText, kCFStringEncodingUTF8);
}

CFStringRef ApplicationId() {
    static const CFStringRef szId = MakeString(kLSettingsApplicationId);
    return szId;
}

// The preference's text; false when it is missing or not a string.
bool CopyValue(const char* section, const char* key, std::string& szValue) {
    if (section == nullptr || key == nullptr) {
        return false;
    }
    CFStringRef szKey = MakeString(FullKey(section, key).c_str());
    if (szKey == nullptr) {
        return false;
    }
    CFPropertyListRef value =
        CFPreferencesCopyValue(szKey, ApplicationId(), kCFPreferencesCurrentUser, kCFPreferencesCurrentHost);
    CFRelease(szKey);
    if (value == nullptr) {
        return false;
    }
    bool bFound = false;
    if (CFGetTypeID(value) == CFStringGetTypeID()) {
        const auto szText = static_cast<CFStringRef>(value);
        const CFIndex nRoom = CFStringGetMaximumSizeForEncoding(CFStringGetLength(szText), kCFStringEncodingUTF8) + 1;
        std::vector<char> arBuffer(static_cast<size_t>(nRoom));
        bFound = CFStringGetCString(szText, arBuffer.data(), nRoom, kCFStringEncodingUTF8);
        if (bFound) {
            szValue = arBuffer.data();
        }
    }
    CFRelease(value);
    return bFound;
}

} // namespace

bool LUserSettingSetString(const char* section, const char* key, const char* text) {
    if (section == nullptr || key == nullptr) {
        return false;
    }
    CFStringRef szKey = MakeString(FullKey(section, key).c_str());
    CFStringRef szText = MakeString(text != nullptr ? text : "");
    bool bWritten = false;
    if (szKey != nullptr && szText != nullptr) {
        CFPreferencesSetValue(szKey, szText, ApplicationId(), kCFPreferencesCurrentUser, kCFPreferencesCurrentHost);
        bWritten = CFPreferencesSynchronize(ApplicationId(), kCFPreferencesCurrentUser, kCFPreferencesCurrentHost);
    }
    if (szKey != nullptr) {
        CFRelease(szKey);
    }
    if (szText != nullptr) {
        CFRelease(szText);
    }
    return bWritten;
}

bool _LUserSettingGetString(const char* section, const char* key, const char* defaultValue, char* out) {
    std::string szValue;
    const bool bFound = CopyValue(section, key, szValue);
    if (out != nullptr) {
        utf8strlcpy(out, bFound ? szValue.c_str() : (defaultValue != nullptr ? defaultValue : ""), kTextBufferSize);
    }
    return bFound;
}

bool _LUserSettingGetString(const char* section, const char* key, const char* defaultValue,
                            LStringLongTemplate<char>& out) {
    std::string szValue;
    const bool bFound = CopyValue(section, key, szValue);
    out.Assign(bFound ? szValue.c_str() : (defaultValue != nullptr ? defaultValue : ""));
    return bFound;
}

bool LUserSettingSetPassword(const char* section, const char* key, const char* text) {
    LStringLongTemplate<char> encoded;
    LSettingEncrypt(encoded, text);
    const std::string szKey = std::string("__") + (key != nullptr ? key : "");
    return LUserSettingSetString(section, szKey.c_str(), encoded.Get());
}

bool LUserSettingGetPassword(const char* section, const char* key, const char* defaultValue, char* out) {
    const std::string szKey = std::string("__") + (key != nullptr ? key : "");
    LStringLongTemplate<char> encoded;
    const bool bFound = _LUserSettingGetString(section, szKey.c_str(), "", encoded);
    LSettingDecrypt(encoded);
    if (out != nullptr) {
        utf8strlcpy(out, encoded.Get(), kTextBufferSize);
    }
    return bFound;
}
