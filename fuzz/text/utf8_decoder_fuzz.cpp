// Differential fuzz target: the library's UTF-8 decoder against the reference
// model (tests/text/LUTF8Reference.h), at a capacity chosen by the input, and
// the validator, the UTF-16 round trip and the character walks on the same
// bytes. The first input byte picks the capacity; the rest is the text (cut
// at its first NUL, as the library sees NUL-terminated text).
#include <text/LText.h>

#include "tests/text/LUTF8Reference.h"

#include <cstdlib>
#include <string>
#include <vector>

namespace {

void Check(bool bCondition) {
    if (!bCondition) {
        abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, unsigned long size) {
    if (size == 0) {
        return 0;
    }
    const unsigned long capacity = data[0] == 0xFF ? 4096 : data[0] % 64;
    std::string sText(reinterpret_cast<const char *>(data + 1), size - 1);
    sText.resize(sText.find('\0') == std::string::npos ? sText.size() : sText.find('\0'));

    const lutf8ref::Result expected = lutf8ref::Decode(sText, capacity);
    std::vector<char32_t> arOut(capacity + 1, 0xCAFE);
    Check(LCopyUTF32FromUTF8Native(arOut.data(), sText.c_str(), capacity) == expected.nResult);
    Check(arOut[capacity] == 0xCAFE);
    if (capacity > 0) {
        Check(std::u32string(arOut.data()) == expected.sOut);
    }

    // The same text after a word-sized prefix and with room for all of it,
    // which takes the decoder's word-at-a-time path.
    const std::string sLong = "abcdefghi" + sText + "\xE6\x97\xA5zzzzzzzzzzzzzzzz";
    const lutf8ref::Result expectedLong = lutf8ref::Decode(sLong, sLong.size() + 1);
    std::vector<char32_t> arLong(sLong.size() + 1);
    Check(LCopyUTF32FromUTF8Native(arLong.data(), sLong.c_str(), arLong.size()) == expectedLong.nResult);
    Check(std::u32string(arLong.data()) == expectedLong.sOut);

    const bool bValid = lutf8ref::Decode(sText, sText.size() + 1).nResult == 0;
    Check(LCharsetsIsValidUTF8(sText.c_str()) == bValid);
    if (bValid) {
        std::vector<char16_t> arUTF16(sText.size() + 1);
        Check(LCopyUnicodeFromUTF8(arUTF16.data(), sText.c_str(), arUTF16.size()) == kLUTFResultOK);
        std::vector<char> arBack(sText.size() + 1);
        Check(LCopyUTF8FromUnicode(arBack.data(), arUTF16.data(), arBack.size()) == kLUTFResultOK);
        Check(std::string(arBack.data()) == sText);
    }

    // Walks and the character-safe copy must stay inside the text.
    const unsigned long nChars = utf8strlen(sText.c_str());
    Check(LCharsetsUTF8CharIndexToByteIndex(sText.c_str(), nChars + 1) <= sText.size());
    Check(LCharsetsUTF8ByteIndexToCharIndex(sText.c_str(), sText.size() + 1) == nChars);
    std::vector<char> arCopy(capacity + 1, 'x');
    const unsigned long nCopied = utf8strlcpy(arCopy.data(), sText.c_str(), capacity);
    Check(arCopy[capacity] == 'x');
    Check(capacity == 0 || nCopied <= sText.size());
    return 0;
}
