/*
 * LCodeConverter.h: one conversion between two character encodings, named as
 * iconv names them. The engine behind the library's code-page functions; not
 * part of the umbrella header.
 *
 * glibc's iconv does the work, with one exception: Mac OS Roman to and from
 * UTF-8. glibc's "MACINTOSH" table predates Apple's final one and maps byte
 * 0xC6 to U+0394 and byte 0xF0 to a private code point; text written on the
 * home platform has U+2206 (increment) and U+F8FF (the Apple logo) there, and
 * the platform's own strings agree. So that pair is converted here from
 * glibc's table with those two entries corrected, in both directions.
 *
 * Lifetime: Open() once; the converter closes itself when destroyed. Not
 * copyable. Thread safety: one thread at a time per converter.
 */
#ifndef HARLUNE_TEXT_LCODECONVERTER_H
#define HARLUNE_TEXT_LCODECONVERTER_H

#include <iconv.h>

#include <cstddef>
#include <string>

class LCodeConverter {
public:
    enum EStatus {
        eDone,     // the whole input was converted
        eFull,     // the output filled up; everything before was converted
        eInvalid,  // an invalid or unconvertible input sequence; everything before was converted
    };

    LCodeConverter() = default;
    ~LCodeConverter();
    LCodeConverter(const LCodeConverter &) = delete;
    LCodeConverter &operator=(const LCodeConverter &) = delete;

    /* False when the pair of encodings is unknown. */
    bool Open(const char *szToCode, const char *szFromCode);

    /* Like iconv(): converts whole characters from *ppIn into *ppOut and
     * advances both pointers and counts. Ends the output of a stateful
     * encoding in its initial state when the whole input was converted. */
    EStatus Convert(const char **ppIn, size_t *pnIn, char **ppOut, size_t *pnOut);

    /* Converts all nIn bytes into sOut (replacing it); all or nothing: false
     * and an empty sOut for any invalid or unconvertible sequence. */
    bool ConvertWhole(const char *pIn, size_t nIn, std::string &sOut);

private:
    enum EMode { eClosed, eIconv, eMacRomanToUTF8, eUTF8ToMacRoman };

    EStatus ConvertMacRoman(const char **ppIn, size_t *pnIn, char **ppOut, size_t *pnOut);

    EMode eMode = eClosed;              // which engine converts
    iconv_t hIconv = (iconv_t)-1;       // glibc's converter in eIconv mode
};

/* The iconv name of UTF-16 in this machine's byte order. */
const char *LNativeUTF16Name();

#endif
