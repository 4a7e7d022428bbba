// LXMLLoader.cpp: characters, names, attribute values, entities and the
// first-error record of one XML load.
#include "xml/LXMLLoader.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "threads/LProcessInterface.h"

namespace {

// How often a long load asks its process interface whether to stop.
constexpr uint64_t kStopCheckInterval = 512;
// Longest entity name between '&' and ';'.
constexpr unsigned kEntityNameMax = 23;
// An attribute value stops growing once its capacity passed this size;
// further characters are dropped rather than exhausting memory.
constexpr size_t kValueGrowthLimit = 0x20000000;
// Room for a message that holds up to three names of 259 characters.
constexpr size_t kMessageBufferSize = 780;

constexpr const char* kMessageEntityNotTerminated =
    "Strings starting with an ampersand (&) must end with a semicolon (;). Either replace the '&' with "
    "'&amp;' or add a ';' at the end of the control string.";

bool IsDelimiter(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '/' || c == '=' || c == '>';
}

// UTF-8 of one 16-bit unit; surrogate halves alone are not characters and
// give nothing, as does 0.
unsigned EncodeUnit(uint32_t nUnit, char out[4]) {
    nUnit &= 0xFFFF;
    if (nUnit == 0 || (nUnit >= 0xD800 && nUnit <= 0xDFFF)) {
        return 0;
    }
    if (nUnit < 0x80) {
        out[0] = static_cast<char>(nUnit);
        return 1;
    }
    if (nUnit < 0x800) {
        out[0] = static_cast<char>(0xC0 | (nUnit >> 6));
        out[1] = static_cast<char>(0x80 | (nUnit & 0x3F));
        return 2;
    }
    out[0] = static_cast<char>(0xE0 | (nUnit >> 12));
    out[1] = static_cast<char>(0x80 | ((nUnit >> 6) & 0x3F));
    out[2] = static_cast<char>(0x80 | (nUnit & 0x3F));
    return 3;
}

int HexDigit(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

// The shared character loop of names and values: `store` receives each
// byte to keep; returns the character that ended the run.
template <typename Store>
char ReadToken(LXMLLoaderTemplate<char>& loader, Store&& store) {
    char cQuote = '\0';
    for (;;) {
        const char c = loader.ReadChar();
        if (!store.Check(c)) {
            return c;
        }
        if (c == '\0') {
            return c;
        }
        if (cQuote != '\0') {
            if (c == cQuote) {
                cQuote = '\0';
                continue;
            }
        } else if (IsDelimiter(c)) {
            return c;
        } else if (c == '"' || c == '\'') {
            cQuote = c;
            continue;
        }
        if (c == '&') {
            char arBytes[4];
            const unsigned nBytes = harlune::xml::DecodeEntity(loader, arBytes);
            for (unsigned i = 0; i < nBytes; ++i) {
                store.Add(arBytes[i]);
            }
            continue;
        }
        store.Add(c);
    }
}

// Name store: a fixed buffer of 259 characters, with the early end of the
// three special names "!--", "!DOCTYPE" and "![CDATA[".
struct LNameStore {
    char* szName;
    unsigned nLength = 0;

    // Called with every character before it is classified: false ends the
    // name here (the character is then the one returned).
    bool Check(char c) {
        if (nLength == 2 && c == '-' && szName[0] == '!' && szName[1] == '-') {
            Add(c);
            return false;
        }
        if (nLength == 7 && szName[0] == '!' &&
            ((c == 'E' && std::memcmp(szName, "!DOCTYP", 7) == 0) ||
             (c == '[' && std::memcmp(szName, "![CDATA", 7) == 0))) {
            Add(c);
            return false;
        }
        return true;
    }
    void Add(char c) {
        if (nLength < kXMLNameMax) {
            szName[nLength++] = c;
        }
    }
};

// Value store: unbounded up to the growth limit.
struct LValueStore {
    std::string& szValue;

    bool Check(char) { return true; }
    void Add(char c) {
        if (szValue.size() == szValue.capacity()) {
            if (szValue.capacity() > kValueGrowthLimit) {
                return;
            }
            szValue.reserve(szValue.capacity() * 4);
        }
        szValue.push_back(c);
    }
};

} // namespace

LXMLLoaderTemplate<char>::LXMLLoaderTemplate(const char* text, char* error, LProcessInterface* process)
    : szText(text != nullptr ? text : ""), szError(error), nPos(0), nLine(1), nColumn(1), pProcess(process) {
    if (szError != nullptr) {
        szError[0] = '\0';
    }
}

void LXMLLoaderTemplate<char>::RecordError(const char* szMessage) {
    if (szError == nullptr || szError[0] != '\0') {
        return;
    }
    std::snprintf(szError, kXMLErrorBufferSize, "Ln %d, Col %d: %s", nLine, nColumn, szMessage);
}

void LXMLLoaderTemplate<char>::RecordErrorF(const char* szFormat, ...) {
    if (szError == nullptr || szError[0] != '\0') {
        return;
    }
    char szMessage[kMessageBufferSize];
    va_list args;
    va_start(args, szFormat);
    std::vsnprintf(szMessage, sizeof(szMessage), szFormat, args);
    va_end(args);
    RecordError(szMessage);
}

bool LXMLLoaderTemplate<char>::CheckStop() {
    if (bStopped) {
        return true;
    }
    if (pProcess != nullptr && nPos - nCheckedPos >= kStopCheckInterval) {
        nCheckedPos = nPos;
        bStopped = pProcess->IsToStop();
    }
    return bStopped;
}

char XMLLoadTag(LXMLLoaderTemplate<char>& loader, char* name) {
    LNameStore store{name};
    const char c = ReadToken(loader, store);
    name[store.nLength] = '\0';
    return c;
}

char XMLLoadAttribute(LXMLLoaderTemplate<char>& loader, LStringLongTemplate<char>& value) {
    std::string szValue;
    const char c = harlune::xml::LoadAttributeValue(loader, szValue);
    value.Assign(szValue.data(), szValue.size());
    return c;
}

namespace harlune::xml {

char LoadAttributeValue(LXMLLoaderTemplate<char>& loader, std::string& value) {
    value.clear();
    if (loader.Peek() == ' ') {
        loader.ReadChar();
    }
    LValueStore store{value};
    return ReadToken(loader, store);
}

unsigned DecodeEntity(LXMLLoaderTemplate<char>& loader, char out[4]) {
    char szName[kEntityNameMax + 1];
    unsigned nLength = 0;
    for (;;) {
        const char c = loader.ReadChar();
        if (c == ';') {
            break;
        }
        if (c == '\0' || c == '\t' || c == '\n' || c == '\r' || c == ' ' || nLength == kEntityNameMax) {
            loader.RecordError(kMessageEntityNotTerminated);
            return 0;
        }
        szName[nLength++] = c;
    }
    szName[nLength] = '\0';

    static const struct {
        const char* szName;
        char c;
    } arNamed[] = {{"amp", '&'}, {"gt", '>'}, {"lt", '<'}, {"quot", '"'}, {"apos", '\''}};
    for (const auto& entity : arNamed) {
        if (std::strcmp(szName, entity.szName) == 0) {
            out[0] = entity.c;
            return 1;
        }
    }
    if (szName[0] == '#') {
        uint32_t nValue = 0;
        if (szName[1] == 'x') {
            for (const char* p = szName + 2; *p != '\0'; ++p) {
                const int nDigit = HexDigit(*p);
                if (nDigit >= 0) {
                    nValue = (nValue << 4) | static_cast<uint32_t>(nDigit);
                }
            }
        } else {
            // Out-of-range numbers saturate as strtol makes them; only the
            // low 16 bits are a character either way.
            nValue = static_cast<uint32_t>(std::strtol(szName + 1, nullptr, 10));
        }
        return EncodeUnit(nValue, out);
    }
    out[0] = '&';
    return 1;
}

} // namespace harlune::xml
