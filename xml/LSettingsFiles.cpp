// LSettingsFiles.cpp: the shared and hidden settings files.
#include <cstdio>
#include <cstring>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

#include "diagnostics/LFilePath.h"
#include "files/LFileLockedOpen.h"
#include "text/LText.h"
#include "threads/LProcessInterfaceVoid.h"
#include "xml/LSettingCipher.h"
#include "xml/LSettings.h"
#include "xml/LXMLFile.h"

namespace {

constexpr unsigned long kTextBufferSize = 260;
constexpr const char* kDataFolderName = "HarluneVADPlugin";

// A missing folder is made, with its missing parents (the data folder's
// parent may not exist yet on a fresh system); true when it exists
// afterwards.
bool MakeFolder(const char* szPath) {
    if (szPath[0] == '\0') {
        return false;
    }
    std::string szPart = szPath;
    for (size_t nSlash = szPart.find('/', 1); nSlash != std::string::npos; nSlash = szPart.find('/', nSlash + 1)) {
        szPart[nSlash] = '\0';
        mkdir(szPart.c_str(), 0777);
        szPart[nSlash] = '/';
    }
    return mkdir(szPath, 0777) == 0 || LFile::Exists(szPath);
}

// The data folder's subfolder `szSub` joined with `szFile`.
bool MakeSettingsPath(char* szPath, const char* szSub, const char* szFile) {
    if (szPath == nullptr) {
        return false;
    }
    char szFolder[kTextBufferSize];
    if (!LSettingsGetDataFolder(szFolder)) {
        szPath[0] = '\0';
        return false;
    }
    LFile::_MakeFilePath(szFolder, szFolder, szSub, "");
    if (!MakeFolder(szFolder)) {
        szPath[0] = '\0';
        return false;
    }
    LFile::_MakeFilePath(szPath, szFolder, szFile, "");
    return true;
}

void CopyCut(char* out, const char* szText) {
    if (out != nullptr) {
        utf8strlcpy(out, szText != nullptr ? szText : "", kTextBufferSize);
    }
}

std::string PasswordKey(const char* key) {
    return std::string("__") + (key != nullptr ? key : "");
}

} // namespace

bool LSettingsGetDataFolder(char* path) {
    if (path == nullptr) {
        return false;
    }
    char szSupport[kTextBufferSize];
    if (!GetUserSpecialFolder(szSupport, kLApplicationSupportDirectory, "Library/Application Support")) {
        path[0] = '\0';
        return false;
    }
    LFile::_MakeFilePath(path, szSupport, kDataFolderName, "");
    return MakeFolder(path);
}

bool LSharedSettingsGetPath(char* path) {
    return MakeSettingsPath(path, "Shared", "SharedSettings.xml");
}

bool LUserHiddenSettingsGetPath(char* path) {
    return MakeSettingsPath(path, ".zentalworks", "HarluneVADPlugin.xml");
}

void LXMLSettingsLoad(const char* file, LXMLDocument& document) {
    // A file that cannot be loaded leaves the document as it is: start empty.
    document = LXMLDocument();
    LProcessInterfaceVoid process;
    char szError[kXMLErrorBufferSize];
    if (file != nullptr) {
        XMLLoadFile(document, process, file, szError);
    }
}

bool LXMLSettingsSave(const char* file, const LXMLDocument& document) {
    std::string szText;
    for (const LXMLElement* p = document.pFirstChild; p != nullptr; p = p->pNext) {
        p->SaveToString(szText, 0);
    }
    // The lock is taken without waiting: a writer that does not get it
    // writes nothing, and the file keeps what the holder is reading or
    // writing.
    const int nFile = LFileOpenLocked(file, LFileLockedMode::replace, 0);
    if (nFile < 0) {
        return false;
    }
    const bool bWritten = harlune::files::WriteFully(nFile, szText.data(), szText.size()) == 0;
    return close(nFile) == 0 && bWritten;
}

bool LXMLSettingSetString(const char* file, const char* section, const char* key, const char* text) {
    if (file == nullptr || section == nullptr || key == nullptr) {
        return false;
    }
    LXMLDocument document;
    LXMLSettingsLoad(file, document);
    LXMLElement* pSection = document.GetElement(section);
    if (pSection == nullptr) {
        pSection = document.AddElement(section);
    }
    LXMLElement* pKey = pSection->GetElement(key);
    if (pKey == nullptr) {
        pKey = pSection->AddElement(key);
    }
    pKey->SetAttribute("value", text != nullptr ? text : "");
    return LXMLSettingsSave(file, document);
}

bool LXMLSettingGetString(const char* file, const char* section, const char* key, const char* defaultValue,
                          char* out) {
    LXMLDocument document;
    LXMLSettingsLoad(file, document);
    const LXMLElement* pSection = section != nullptr ? document.GetElement(section) : nullptr;
    const LXMLElement* pKey = pSection != nullptr && key != nullptr ? pSection->GetElement(key) : nullptr;
    const char* szValue = pKey != nullptr ? pKey->GetAttribute("value") : nullptr;
    CopyCut(out, szValue != nullptr ? szValue : defaultValue);
    return szValue != nullptr;
}

bool LXMLSettingSetPassword(const char* file, const char* section, const char* key, const char* text) {
    LStringLongTemplate<char> encoded;
    LSettingEncrypt(encoded, text);
    return LXMLSettingSetString(file, section, PasswordKey(key).c_str(), encoded.Get());
}

bool LXMLSettingGetPassword(const char* file, const char* section, const char* key, const char* defaultValue,
                            char* out) {
    char szEncoded[kTextBufferSize];
    const bool bFound = LXMLSettingGetString(file, section, PasswordKey(key).c_str(), "", szEncoded);
    LSettingDecrypt(szEncoded);
    CopyCut(out, szEncoded);
    return bFound;
}

void LSharedSettingsLoad(LXMLDocument& document) {
    char szPath[kTextBufferSize];
    LSharedSettingsGetPath(szPath);
    LXMLSettingsLoad(szPath[0] != '\0' ? szPath : nullptr, document);
}

bool LSharedSettingsSave(const LXMLDocument& document) {
    char szPath[kTextBufferSize];
    return LSharedSettingsGetPath(szPath) && LXMLSettingsSave(szPath, document);
}

#define HARLUNE_SETTINGS_FILE_STORE(Set, Get, SetPassword, GetPassword, PathOf)                                   \
    bool Set(const char* section, const char* key, const char* text) {                                            \
        char szPath[kTextBufferSize];                                                                             \
        return PathOf(szPath) && LXMLSettingSetString(szPath, section, key, text);                                \
    }                                                                                                             \
    bool Get(const char* section, const char* key, const char* defaultValue, char* out) {                         \
        char szPath[kTextBufferSize];                                                                             \
        if (!PathOf(szPath)) {                                                                                    \
            CopyCut(out, defaultValue);                                                                           \
            return false;                                                                                         \
        }                                                                                                         \
        return LXMLSettingGetString(szPath, section, key, defaultValue, out);                                     \
    }                                                                                                             \
    bool SetPassword(const char* section, const char* key, const char* text) {                                    \
        char szPath[kTextBufferSize];                                                                             \
        return PathOf(szPath) && LXMLSettingSetPassword(szPath, section, key, text);                              \
    }                                                                                                             \
    bool GetPassword(const char* section, const char* key, const char* defaultValue, char* out) {                 \
        char szPath[kTextBufferSize];                                                                             \
        if (!PathOf(szPath)) {                                                                                    \
            CopyCut(out, "");                                                                                     \
            return false;                                                                                         \
        }                                                                                                         \
        return LXMLSettingGetPassword(szPath, section, key, defaultValue, out);                                   \
    }

HARLUNE_SETTINGS_FILE_STORE(LSharedSettingSetString, _LSharedSettingGetString, LSharedSettingSetPassword,
                            LSharedSettingGetPassword, LSharedSettingsGetPath)
HARLUNE_SETTINGS_FILE_STORE(LUserHiddenSettingSetString, _LUserHiddenSettingGetString, LUserHiddenSettingSetPassword,
                            LUserHiddenSettingGetPassword, LUserHiddenSettingsGetPath)
