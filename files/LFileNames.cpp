// File and folder name rules, display forms of paths and sizes, MIME types.
#include "files/LFileNames.h"

#include "diagnostics/LFilePath.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr size_t kMaxNameBytes = kLMaxPath - 1;

bool IsControl(unsigned char c) { return c < 32; }
bool IsSeparator(unsigned char c) { return c == ':' || c == '\\' || c == '/'; }
bool IsContinuation(unsigned char c) { return (c & 0xC0) == 0x80; }

void CopyMessage(char* szMessage, const char* szText) {
    if (szMessage != nullptr) snprintf(szMessage, kLMaxPath, "%s", szText);
}

const char* FileMessage(int nCode) {
    switch (nCode) {
    case kLFileNameEmpty: return "File name is blank. Please provide a file name.";
    case kLFileNameTooLong: return "File name may not be more than 260 characters long";
    case kLFileNameTrailingSpaceOrDot: return "File name may not end with a space or period";
    case kLFileNameLeadingDot: return "File name may not start with a period";
    case kLFileNameControlCharacter: return "File name may not contain control characters";
    case kLFileNameSeparator: return "File name may not contain characters : / \\";
    case kLFileNameReserved: return "File name is reserved for use by the operating system";
    default: return "Invalid file name";
    }
}

// Number of UTF-8 characters: every byte that is not a continuation byte
// starts one (stray continuation bytes are counted with their lead).
size_t CountCharacters(const char* sz, size_t nBytes) {
    size_t n = 0;
    for (size_t i = 0; i < nBytes; ++i) {
        if (!IsContinuation(static_cast<unsigned char>(sz[i]))) ++n;
    }
    return n;
}

// Byte offset of the character with index nChar (nBytes when past the end).
size_t ByteOfCharacter(const char* sz, size_t nBytes, size_t nChar) {
    size_t nSeen = 0;
    for (size_t i = 0; i < nBytes; ++i) {
        if (!IsContinuation(static_cast<unsigned char>(sz[i]))) {
            if (nSeen == nChar) return i;
            ++nSeen;
        }
    }
    return nBytes;
}

// Largest length not above nLimit that does not end inside a UTF-8 sequence.
size_t CutAtCharacter(const char* sz, size_t nBytes, size_t nLimit) {
    if (nBytes <= nLimit) return nBytes;
    size_t n = nLimit;
    while (n > 0 && IsContinuation(static_cast<unsigned char>(sz[n]))) --n;
    return n;
}

// ASCII-only case-insensitive equality: extensions must compare the same
// whatever the process locale (a Turkish locale folds "I" differently).
bool EqualIgnoringAsciiCase(const char* a, const char* b) {
    for (;; ++a, ++b) {
        unsigned char ca = static_cast<unsigned char>(*a), cb = static_cast<unsigned char>(*b);
        if (ca >= 'A' && ca <= 'Z') ca = static_cast<unsigned char>(ca + 32);
        if (cb >= 'A' && cb <= 'Z') cb = static_cast<unsigned char>(cb + 32);
        if (ca != cb) return false;
        if (ca == '\0') return true;
    }
}

} // namespace

int LFileOrFolderNameValidate(const char* szName) {
    if (szName == nullptr || szName[0] == '\0') return kLFileNameEmpty;
    if (strnlen(szName, kMaxNameBytes + 1) > kMaxNameBytes) return kLFileNameTooLong;
    if (szName[0] == '.') return kLFileNameLeadingDot;
    for (const char* p = szName; *p != '\0'; ++p) {
        const unsigned char c = static_cast<unsigned char>(*p);
        if (IsControl(c)) return kLFileNameControlCharacter;
        if (IsSeparator(c)) return kLFileNameSeparator;
    }
    return kLFileNameValid;
}

bool LFileNameIsReserved(const char*) { return false; }

bool LFile::IsFileValid(const char* szName, char* szMessage) {
    if (szMessage != nullptr) szMessage[0] = '\0';
    const int nCode = LFileOrFolderNameValidate(szName);
    if (nCode == kLFileNameValid) return true;
    CopyMessage(szMessage, FileMessage(nCode));
    return false;
}

bool LFile::IsFolderValid(const char* szPath, char* szMessage) {
    if (szMessage != nullptr) szMessage[0] = '\0';
    if (szPath == nullptr || szPath[0] == '\0') {
        CopyMessage(szMessage, "Folder must not be empty");
        return false;
    }
    const size_t nLength = strnlen(szPath, kLMaxPath);
    if (nLength >= kLMaxPath) {
        CopyMessage(szMessage, "Folder must be less than 260 character long");
        return false;
    }
    if (szPath[0] != '/') {
        CopyMessage(szMessage, "Folder must begin with /");
        return false;
    }
    size_t nStart = 1;
    while (nStart < nLength) {
        size_t nEnd = nStart;
        while (nEnd < nLength && szPath[nEnd] != '/' && szPath[nEnd] != '\\') ++nEnd;
        char szComponent[kLMaxPath];
        memcpy(szComponent, szPath + nStart, nEnd - nStart);
        szComponent[nEnd - nStart] = '\0';
        const int nCode = LFileOrFolderNameValidate(szComponent);
        if (nCode != kLFileNameValid) {
            switch (nCode) {
            case kLFileNameEmpty: CopyMessage(szMessage, "Folder name must not be empty"); break;
            case kLFileNameTrailingSpaceOrDot:
                CopyMessage(szMessage, "Folder name must not end with a space or period");
                break;
            case kLFileNameLeadingDot: CopyMessage(szMessage, "Folder name must not start with a period"); break;
            case kLFileNameControlCharacter:
                CopyMessage(szMessage, "Folder name must not contain control characters");
                break;
            case kLFileNameSeparator: CopyMessage(szMessage, "Folder component must not contain character :"); break;
            case kLFileNameReserved:
                if (szMessage != nullptr) {
                    snprintf(szMessage, kLMaxPath, "'%s' is reserved for use by the operating system", szComponent);
                }
                break;
            default: CopyMessage(szMessage, "Invalid folder"); break;
            }
            return false;
        }
        // A separator that is the path's last character ends the path.
        nStart = nEnd + 1;
    }
    return true;
}

bool LFile::PreprocessName(const char* szTyped, char* szName) {
    if (szName == nullptr) return false;
    szName[0] = '\0';
    if (szTyped == nullptr) return false;
    size_t nKept = 0;
    for (const char* p = szTyped; *p != '\0'; ++p) {
        const unsigned char c = static_cast<unsigned char>(*p);
        if (IsControl(c) || IsSeparator(c)) continue;
        if (c == '.' && nKept == 0) continue;
        if (nKept == kMaxNameBytes) break;
        szName[nKept++] = static_cast<char>(c);
    }
    // Never leave half a UTF-8 sequence at the end of a cut name.
    if (nKept == kMaxNameBytes) {
        size_t nLead = nKept;
        while (nLead > 0 && IsContinuation(static_cast<unsigned char>(szName[nLead - 1]))) --nLead;
        if (nLead > 0) {
            const unsigned char cLead = static_cast<unsigned char>(szName[nLead - 1]);
            size_t nNeed = cLead >= 0xF0 ? 4 : cLead >= 0xE0 ? 3 : cLead >= 0xC0 ? 2 : 1;
            if (nKept - (nLead - 1) < nNeed) nKept = nLead - 1;
        }
    }
    szName[nKept] = '\0';
    return nKept > 0;
}

size_t LFile::EscapeFilePath(const char* szPath, char* szEscaped) {
    if (szEscaped == nullptr) return 0;
    size_t nOut = 0;
    for (const char* p = szPath != nullptr ? szPath : ""; *p != '\0'; ++p) {
        const bool bQuote = *p == '"' || *p == '`';
        if (nOut + (bQuote ? 2 : 1) > kMaxNameBytes) break;
        if (bQuote) szEscaped[nOut++] = '\\';
        szEscaped[nOut++] = *p;
    }
    szEscaped[nOut] = '\0';
    return nOut;
}

char* LFile::MakeUniqueOrderedFilePath(char* szOut, const char* szFolder, const char* szName,
                                       const char* szExtension) {
    if (szOut == nullptr) return nullptr;
    _MakeFilePath(szOut, szFolder, szName, szExtension);
    char szPrevious[kLMaxPath];
    char szNumbered[kLMaxPath];
    for (unsigned nCounter = 0; Exists(szOut); ++nCounter) {
        memcpy(szPrevious, szOut, kLMaxPath);
        snprintf(szNumbered, sizeof szNumbered, "%s_%u", szName != nullptr ? szName : "", nCounter);
        _MakeFilePath(szOut, szFolder, szNumbered, szExtension);
        if (strcmp(szPrevious, szOut) == 0) break;
    }
    return szOut;
}

void LFile::CompactFilePath(char* szOut, const char* szPath, unsigned long n) {
    if (szOut == nullptr) return;
    if (szPath == nullptr) szPath = "";
    const size_t nBytes = strlen(szPath);
    const size_t nChars = CountCharacters(szPath, nBytes);
    if (nChars < n) {
        const size_t nCopy = CutAtCharacter(szPath, nBytes, kMaxNameBytes);
        memcpy(szOut, szPath, nCopy);
        szOut[nCopy] = '\0';
        return;
    }
    if (n < 5) {
        if (n == 0) return;
        memcpy(szOut, "...", n - 1);
        szOut[n - 1] = '\0';
        return;
    }
    const size_t nHead = (n % 2) + (n - 4) / 2;
    const size_t nTail = n - 3 - nHead;
    const size_t nHeadBytes = ByteOfCharacter(szPath, nBytes, nHead);
    const size_t nTailStart = ByteOfCharacter(szPath, nBytes, nChars - nTail);
    size_t nOut = 0;
    auto append = [&](const char* sz, size_t nLength) {
        const size_t nRoom = kMaxNameBytes - nOut;
        const size_t nTake = CutAtCharacter(sz, nLength, nRoom < nLength ? nRoom : nLength);
        memcpy(szOut + nOut, sz, nTake);
        nOut += nTake;
    };
    append(szPath, nHeadBytes);
    append("...", 3);
    append(szPath + nTailStart, nBytes - nTailStart);
    szOut[nOut] = '\0';
}

void LFile::GetSizeFormattedBytes(unsigned long long nBytes, char* szOut) {
    if (szOut == nullptr) return;
    if (nBytes >= (1ULL << 40)) snprintf(szOut, 32, "%llu TB", nBytes >> 40);
    else if (nBytes >= (1ULL << 30)) snprintf(szOut, 32, "%llu GB", nBytes >> 30);
    else if (nBytes >= (1ULL << 20)) snprintf(szOut, 32, "%llu MB", nBytes >> 20);
    else if (nBytes >= 1024) snprintf(szOut, 32, "%llu KB", nBytes >> 10);
    else snprintf(szOut, 32, "%llu Bytes", nBytes);
}

void LFile::GetExactSizeFormattedBytes(unsigned long long nBytes, char* szOut) {
    if (szOut == nullptr) return;
    const double d = static_cast<double>(nBytes);
    if (nBytes >= (1ULL << 40)) snprintf(szOut, 32, "%.2lf TB", d / static_cast<double>(1ULL << 40));
    else if (nBytes >= (1ULL << 30)) snprintf(szOut, 32, "%.2lf GB", d / static_cast<double>(1ULL << 30));
    else if (nBytes >= (1ULL << 20)) snprintf(szOut, 32, "%.2lf MB", d / static_cast<double>(1ULL << 20));
    else if (nBytes >= 1024) snprintf(szOut, 32, "%llu KB", nBytes >> 10);
    else snprintf(szOut, 32, "%llu Bytes", nBytes);
}

const char* LFile::GetMimeTypeFromFileExtension(const char* szExtension) {
    static const struct {
        const char* szExtension;
        const char* szType;
    } kTypes[] = {
        {".txt", "text/plain"}, {".pdf", "application/pdf"}, {".jpeg", "image/jpeg"}, {".jpg", "image/jpg"},
        {".bmp", "image/bmp"},  {".gif", "image/gif"},       {".png", "image/png"},   {".mid", "audio/mid"},
        {".midi", "audio/mid"}, {".mp3", "audio/mpeg"},      {".wav", "audio/vnd.wav"}, {".mp4", "video/mp4"},
    };
    if (szExtension != nullptr) {
        for (const auto& t : kTypes) {
            if (EqualIgnoringAsciiCase(szExtension, t.szExtension)) return t.szType;
        }
    }
    return "application/octet-stream";
}

bool LIsFileExtensionInList(const char* const* arList, const char* szExtension) {
    if (arList == nullptr || szExtension == nullptr) return false;
    for (; *arList != nullptr; ++arList) {
        if (EqualIgnoringAsciiCase(*arList, szExtension)) return true;
    }
    return false;
}
