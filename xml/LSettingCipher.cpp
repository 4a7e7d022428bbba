// LSettingCipher.cpp: Blowfish and base64 for password fields.
#include "xml/LSettingCipher.h"

#include <cstring>
#include <string>
#include <vector>

#include "xml/LBlowfish.h"

namespace {

// The library's pass phrase, held whole in the program (17 bytes).
constexpr char kPassPhrase[] = "commonsecret98765";
constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
// Base64 characters per line; a CR LF follows every full line but the last.
constexpr size_t kLineLength = 76;

const LBlowfish& Cipher() {
    static const LBlowfish cipher = [] {
        LBlowfish c;
        c.SetKey(reinterpret_cast<const uint8_t*>(kPassPhrase), sizeof(kPassPhrase) - 1);
        return c;
    }();
    return cipher;
}

uint32_t ReadLittle(const uint8_t* p) {
    return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 | static_cast<uint32_t>(p[2]) << 16 |
           static_cast<uint32_t>(p[3]) << 24;
}

void WriteLittle(uint8_t* p, uint32_t n) {
    p[0] = static_cast<uint8_t>(n);
    p[1] = static_cast<uint8_t>(n >> 8);
    p[2] = static_cast<uint8_t>(n >> 16);
    p[3] = static_cast<uint8_t>(n >> 24);
}

// Enciphers or deciphers every 8-byte block of `bytes` (a multiple of 8).
void Transform(std::vector<uint8_t>& bytes, bool bEncipher) {
    const LBlowfish& cipher = Cipher();
    for (size_t i = 0; i + 8 <= bytes.size(); i += 8) {
        uint32_t nLeft = ReadLittle(&bytes[i]);
        uint32_t nRight = ReadLittle(&bytes[i + 4]);
        if (bEncipher) {
            cipher.Encipher(nLeft, nRight);
        } else {
            cipher.Decipher(nLeft, nRight);
        }
        WriteLittle(&bytes[i], nLeft);
        WriteLittle(&bytes[i + 4], nRight);
    }
}

std::string Base64(const std::vector<uint8_t>& bytes) {
    std::string szOut;
    size_t nInLine = 0;
    auto put = [&](char c) {
        if (nInLine == kLineLength) {
            szOut.append("\r\n");
            nInLine = 0;
        }
        szOut.push_back(c);
        ++nInLine;
    };
    for (size_t i = 0; i < bytes.size(); i += 3) {
        const size_t nLeft = bytes.size() - i;
        const uint32_t n = static_cast<uint32_t>(bytes[i]) << 16 | (nLeft > 1 ? bytes[i + 1] << 8 : 0) |
                           (nLeft > 2 ? bytes[i + 2] : 0);
        put(kAlphabet[(n >> 18) & 63]);
        put(kAlphabet[(n >> 12) & 63]);
        put(nLeft > 1 ? kAlphabet[(n >> 6) & 63] : '=');
        put(nLeft > 2 ? kAlphabet[n & 63] : '=');
    }
    return szOut;
}

int Base64Value(char c) {
    if (c >= 'A' && c <= 'Z') {
        return c - 'A';
    }
    if (c >= 'a' && c <= 'z') {
        return c - 'a' + 26;
    }
    if (c >= '0' && c <= '9') {
        return c - '0' + 52;
    }
    if (c == '+') {
        return 62;
    }
    return c == '/' ? 63 : -1;
}

// Decodes to the text's end; characters outside the alphabet (padding,
// line breaks) are skipped; a last incomplete group gives the whole bytes
// its bits fill.
std::vector<uint8_t> FromBase64(const char* szText) {
    std::vector<uint8_t> bytes;
    uint32_t nBits = 0;
    int nBitCount = 0;
    for (const char* p = szText; *p != '\0'; ++p) {
        const int nValue = Base64Value(*p);
        if (nValue < 0) {
            continue;
        }
        nBits = (nBits << 6) | static_cast<uint32_t>(nValue);
        nBitCount += 6;
        if (nBitCount >= 8) {
            nBitCount -= 8;
            bytes.push_back(static_cast<uint8_t>(nBits >> nBitCount));
        }
    }
    return bytes;
}

// The deciphered text of `szText`, before its first zero byte.
std::string Decrypt(const char* szText) {
    std::vector<uint8_t> bytes = FromBase64(szText);
    bytes.resize((bytes.size() + 7) & ~static_cast<size_t>(7), 0);
    Transform(bytes, false);
    const auto* pEnd = static_cast<const uint8_t*>(std::memchr(bytes.data(), 0, bytes.size()));
    const size_t nLength = pEnd != nullptr ? static_cast<size_t>(pEnd - bytes.data()) : bytes.size();
    return std::string(reinterpret_cast<const char*>(bytes.data()), nLength);
}

} // namespace

void LSettingEncrypt(LStringLongTemplate<char>& out, const char* text) {
    out.Empty();
    if (text == nullptr || text[0] == '\0') {
        return;
    }
    const size_t nLength = std::strlen(text);
    std::vector<uint8_t> bytes((nLength + 8) & ~static_cast<size_t>(7), 0);
    std::memcpy(bytes.data(), text, nLength);
    Transform(bytes, true);
    const std::string szOut = Base64(bytes);
    out.Assign(szOut.data(), szOut.size());
}

void LSettingDecrypt(char* text) {
    if (text == nullptr || text[0] == '\0') {
        return;
    }
    // The last block is padded to 8 bytes, so a damaged text could decipher
    // to more bytes than it has characters: the result is cut to the room
    // the caller's text has.
    const std::string szPlain = Decrypt(text);
    const size_t nRoom = std::strlen(text);
    const size_t nLength = szPlain.size() < nRoom ? szPlain.size() : nRoom;
    std::memcpy(text, szPlain.data(), nLength);
    text[nLength] = '\0';
}

void LSettingDecrypt(LStringLongTemplate<char>& text) {
    if (text.IsEmpty()) {
        return;
    }
    const std::string szPlain = Decrypt(text.Get());
    text.Assign(szPlain.data(), szPlain.size());
}
