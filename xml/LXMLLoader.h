// LXMLLoader.h: the state of one XML load and the token readers shared by
// the element tree's parser: characters with line and column tracking, tag
// and attribute names, attribute values, entities, and the first-error
// record.
//
// The reader is forgiving by design: it never stops by exception and never
// reads past the terminating NUL of its text. The first problem it meets is
// written as "Ln %d, Col %d: %s" into the caller's 260-byte buffer; later
// problems are not recorded, and parsing goes on as far as it can.
//
// Every line break (CR, LF, CR LF or LF CR) reaches the parser as one LF, so
// line and column numbers count what a text editor shows. The column always
// names the character after the last one read.
//
// Thread safety: a loader belongs to the one thread that runs the load. The
// text and the error buffer are the caller's and must outlive the loader.
#ifndef HARLUNE_XML_LXMLLOADER_H
#define HARLUNE_XML_LXMLLOADER_H

#include <cstdint>
#include <string>

#include "text/LStringLongTemplate.h"

class LProcessInterface;

// Longest tag or attribute name kept; further characters are dropped.
inline constexpr unsigned kXMLNameMax = 259;
// Size of a name buffer handed to XMLLoadTag, terminator included.
inline constexpr unsigned kXMLNameBufferSize = 260;
// Size of the caller's error buffer, terminator included.
inline constexpr unsigned kXMLErrorBufferSize = 260;
// Deepest nesting of elements a load builds. The parser recurses once per
// level; the bound keeps a hostile document from exhausting the stack of a
// thread with a small stack. Deeper content is reported and not loaded.
inline constexpr unsigned kXMLMaxDepth = 1000;

template <typename T>
class LXMLLoaderTemplate;

template <>
class LXMLLoaderTemplate<char> {
public:
    // Starts a load of `text` (NUL-terminated; null reads as ""). `error`
    // (260 bytes, may be null to ignore errors) is emptied. `process`, when
    // set, is asked IsToStop() about every 512 characters.
    LXMLLoaderTemplate(const char* text, char* error, LProcessInterface* process = nullptr);

    // Reads one character: 0 at the end of the text (without advancing);
    // every line break as one LF.
    char ReadChar() {
        const char c = szText[nPos];
        if (c == '\0') {
            return '\0';
        }
        ++nPos;
        if (c != '\r' && c != '\n') {
            // Wraps rather than overflowing on a line of more than 2^31 characters.
            nColumn = static_cast<int32_t>(static_cast<uint32_t>(nColumn) + 1);
            return c;
        }
        const char cNext = szText[nPos];
        if ((c == '\r' && cNext == '\n') || (c == '\n' && cNext == '\r')) {
            ++nPos;
        }
        nLine = static_cast<int32_t>(static_cast<uint32_t>(nLine) + 1);
        nColumn = 1;
        return '\n';
    }

    // The next raw character, not consumed.
    char Peek() const { return szText[nPos]; }

    // Records "Ln %d, Col %d: <message>" unless an error is recorded already.
    void RecordError(const char* szMessage);
    // The same with a message formatted from a printf format (built in a
    // 780-byte buffer first, so that three full names fit before the cut).
    void RecordErrorF(const char* szFormat, ...) __attribute__((format(printf, 2, 3)));
    bool HasError() const { return szError != nullptr && szError[0] != '\0'; }

    // True once the load must end everywhere: the process interface asked
    // to stop, or the nesting bound was reached. Asks the process interface
    // when 512 or more characters were consumed since it was last asked.
    bool CheckStop();

    const char* szText;          // the whole text, NUL-terminated
    char* szError;               // caller's 260-byte buffer; only the first error is written
    uint64_t nPos;               // index of the next character
    int32_t nLine;               // current line, from 1
    int32_t nColumn;             // current column, from 1
    LProcessInterface* pProcess; // asked IsToStop() during long loads; may be null

    // Bookkeeping of this implementation, after the fields above.
    uint64_t nCheckedPos = 0;    // nPos when the process interface was last asked
    uint32_t nDepth = 0;         // elements open at the current position
    bool bStopped = false;       // every level's content ends at once
    char szNameScratch[kXMLNameBufferSize] = {}; // names read by the parser before they are copied
};

// Reads a tag or attribute name into `name` (260 bytes; at most 259
// characters are kept). Outside quotes it ends at space, tab, LF, '/', '='
// or '>', which is returned; quotes group characters and are not stored;
// entities are decoded. "!--", "!DOCTYPE" and "![CDATA[" end the name as soon
// as they are complete. Returns 0 at the end of the text.
char XMLLoadTag(LXMLLoaderTemplate<char>& loader, char* name);

// Reads an attribute value after its '=' into `value` (emptied first); one
// space after the equals sign is skipped. Returns the character that ended
// the value (0 at the end of the text).
char XMLLoadAttribute(LXMLLoaderTemplate<char>& loader, LStringLongTemplate<char>& value);

namespace harlune::xml {

// The same reader into a standard string, for the parser's own use.
char LoadAttributeValue(LXMLLoaderTemplate<char>& loader, std::string& value);

// Decodes one entity after its '&' into `out` and returns its byte count
// (0 to 3): the five named entities, decimal and hexadecimal character
// references (one 16-bit unit as UTF-8; 0 and lone surrogates give nothing),
// and a plain '&' for any other name. A name not ended by ';' within 23
// characters is an error and gives nothing.
unsigned DecodeEntity(LXMLLoaderTemplate<char>& loader, char out[4]);

} // namespace harlune::xml

#endif
