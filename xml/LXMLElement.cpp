// LXMLElement.cpp: building, copying and destroying elements, and the
// one-pass parser (the element constructor and LoadData).
#include "xml/LXMLElement.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <strings.h>

namespace {

constexpr const char* kMessageEndTagMismatch =
    "Element <%s> should be terminated with </%s>, was with %s. Check you have terminated your element properly.";
constexpr const char* kMessageMisplacedEndTag = "Misplaced </%s> which does not match a <%s>.";
constexpr const char* kMessageMisplacedLess = "Misplaced < without name. Use &lt; instead of < if appropriate.";
constexpr const char* kMessageEndOfText =
    "(EOF) Element <%s> should be terminated with </%s>. Check you have terminated your element properly.";
constexpr const char* kMessageTagNotClosed = "Tag <%s> does not have a closing '>'";
constexpr const char* kMessageTooDeep = "Element <%s> is nested more than %u levels deep; its content is not loaded.";

char* DuplicateText(const char* szText, size_t nLength) {
    char* szCopy = static_cast<char*>(std::malloc(nLength + 1));
    if (szCopy == nullptr) {
        return nullptr;
    }
    std::memcpy(szCopy, szText, nLength);
    szCopy[nLength] = '\0';
    return szCopy;
}

char* DuplicateText(const char* szText) {
    return szText != nullptr ? DuplicateText(szText, std::strlen(szText)) : nullptr;
}

// Characters that end a plain run of content: everything else is copied to
// the pending text as it is, in bulk.
struct LContentStopTable {
    bool arStop[256] = {};
    constexpr LContentStopTable() {
        arStop[static_cast<unsigned char>('\0')] = true;
        arStop[static_cast<unsigned char>('<')] = true;
        arStop[static_cast<unsigned char>('&')] = true;
        arStop[static_cast<unsigned char>('\r')] = true;
        arStop[static_cast<unsigned char>('\n')] = true;
    }
};
constexpr LContentStopTable kContentStop;

// Appends children in document order in constant time each.
class LChildAppender {
public:
    explicit LChildAppender(LXMLElement& parent) : ppTail(&parent.pFirstChild) {
        while (*ppTail != nullptr) {
            ppTail = &(*ppTail)->pNext;
        }
    }
    void Append(LXMLElement* pChild) {
        *ppTail = pChild;
        ppTail = &pChild->pNext;
    }

private:
    LXMLElement** ppTail; // the link the next child goes into
};

} // namespace

bool LXMLNameEquals(const char* a, const char* b) {
    return std::strcmp(a != nullptr ? a : "", b != nullptr ? b : "") == 0;
}

void* LXMLElement::operator new(size_t nSize) {
    void* p = std::malloc(nSize);
    if (p == nullptr) {
        throw std::bad_alloc();
    }
    return p;
}

void LXMLElement::operator delete(void* p) noexcept {
    std::free(p);
}

// Room for a node and `nLength` + 1 bytes of text right after it, in one
// allocation; the text is copied and terminated.
static void* AllocateWithText(const char* pText, size_t nLength, char** ppText) {
    void* pBlock = LXMLElement::operator new(sizeof(LXMLElement) + nLength + 1);
    char* pTail = static_cast<char*>(pBlock) + sizeof(LXMLElement);
    std::memcpy(pTail, pText, nLength);
    pTail[nLength] = '\0';
    *ppText = pTail;
    return pBlock;
}

LXMLElement* LXMLElement::NewTextNode(const char* data, size_t nLength, bool bPreserve) {
    char* pData;
    void* pBlock = AllocateWithText(data, nLength, &pData);
    LXMLElement* pText = ::new (pBlock) LXMLElement();
    pText->bPreserveSpace = bPreserve;
    pText->szData = pData;
    pText->nInline = kInlineData;
    return pText;
}

LXMLElement* LXMLElement::ParseChild(const char* name, char endChar, LXMLLoaderTemplate<char>& loader, bool bPreserve) {
    char* pName;
    void* pBlock = AllocateWithText(name, std::strlen(name), &pName);
    return ::new (pBlock) LXMLElement(LNameInPlace{}, pName, endChar, loader, bPreserve);
}

LXMLElement::LXMLElement(const char* name, char endChar, LXMLLoaderTemplate<char>& loader, bool bPreserve)
    : bPreserveSpace(bPreserve), szName(DuplicateText(name != nullptr ? name : "")) {
    if (szName != nullptr) {
        ReadContent(endChar, loader);
    }
}

LXMLElement::LXMLElement(LNameInPlace, char* name, char endChar, LXMLLoaderTemplate<char>& loader, bool bPreserve)
    : bPreserveSpace(bPreserve), nInline(kInlineName), szName(name) {
    ReadContent(endChar, loader);
}

void LXMLElement::ReadContent(char endChar, LXMLLoaderTemplate<char>& loader) {
    if (szName[0] == '!') {
        ReadSpecialContent(loader);
    } else {
        ReadAttributes(endChar, loader);
    }
}

void LXMLElement::FreeStrings() {
    if ((nInline & kInlineName) == 0) {
        std::free(szName);
    }
    if ((nInline & kInlineData) == 0) {
        std::free(szData);
    }
    szName = nullptr;
    szData = nullptr;
    nInline = 0;
}

LXMLElement::LXMLElement(const LXMLElement& other) {
    CopyFrom(other);
}

LXMLElement& LXMLElement::operator=(const LXMLElement& other) {
    if (this == &other) {
        return *this;
    }
    // Copy first: `other` may live inside this element's own subtree.
    LXMLElement copy(other);
    DeleteChildren();
    FreeStrings();
    bPreserveSpace = copy.bPreserveSpace;
    mapAttributes.swap(copy.mapAttributes);
    pFirstChild = copy.pFirstChild;
    szName = copy.szName;
    szData = copy.szData;
    copy.pFirstChild = nullptr;
    copy.szName = nullptr;
    copy.szData = nullptr;
    return *this;
}

LXMLElement::~LXMLElement() {
    DeleteChildren();
    FreeStrings();
}

void LXMLElement::CopyFrom(const LXMLElement& other) {
    bPreserveSpace = other.bPreserveSpace;
    mapAttributes = other.mapAttributes;
    szName = DuplicateText(other.szName);
    szData = DuplicateText(other.szData);
    LChildAppender children(*this);
    for (const LXMLElement* pChild = other.pFirstChild; pChild != nullptr; pChild = pChild->pNext) {
        children.Append(new LXMLElement(*pChild));
    }
}

// Frees the subtree without recursion and without extra memory: a node
// that still has children hands its first child to the front of the list
// being freed and is visited again after it, so every node is touched a
// bounded number of times and depth never reaches the stack.
void LXMLElement::DeleteChildren() {
    LXMLElement* p = pFirstChild;
    pFirstChild = nullptr;
    while (p != nullptr) {
        LXMLElement* pChild = p->pFirstChild;
        if (pChild != nullptr) {
            p->pFirstChild = pChild->pNext;
            pChild->pNext = p;
            p = pChild;
            continue;
        }
        LXMLElement* pFollowing = p->pNext;
        p->pNext = nullptr;
        delete p;
        p = pFollowing;
    }
}

void LXMLElement::AppendChild(LXMLElement* pChild) {
    LChildAppender(*this).Append(pChild);
}

void LXMLElement::TrimControlChars(std::string& text) {
    size_t nEnd = text.size();
    while (nEnd > 0 && static_cast<unsigned char>(text[nEnd - 1]) < 32) {
        --nEnd;
    }
    size_t nStart = 0;
    while (nStart < nEnd && static_cast<unsigned char>(text[nStart]) >= 1 &&
           static_cast<unsigned char>(text[nStart]) <= 31) {
        ++nStart;
    }
    text.erase(nEnd);
    text.erase(0, nStart);
}

// Raw content of "!--", "![CDATA[", "!DOCTYPE" and any other '!' name, up
// to its end marker; it becomes one text node.
void LXMLElement::ReadSpecialContent(LXMLLoaderTemplate<char>& loader) {
    enum class Kind { comment, cdata, doctype, unterminated };
    Kind eKind = Kind::unterminated;
    if (std::strcmp(szName, "!--") == 0) {
        eKind = Kind::comment;
    } else if (std::strcmp(szName, "![CDATA[") == 0) {
        eKind = Kind::cdata;
    } else if (std::strcmp(szName, "!DOCTYPE") == 0) {
        eKind = Kind::doctype;
    }

    std::string szContent;
    bool bInBrackets = false;
    for (;;) {
        const char c = loader.ReadChar();
        if (c == '\0') {
            loader.RecordErrorF(kMessageEndOfText, szName, szName);
            return;
        }
        if (eKind == Kind::doctype) {
            if (c == '[') {
                bInBrackets = true;
            } else if (c == ']') {
                bInBrackets = false;
            } else if (c == '>' && !bInBrackets) {
                break;
            }
            szContent.push_back(c);
            continue;
        }
        szContent.push_back(c);
        const size_t n = szContent.size();
        if (c == '>' && n >= 3 &&
            ((eKind == Kind::comment && szContent.compare(n - 3, 3, "-->") == 0) ||
             (eKind == Kind::cdata && szContent.compare(n - 3, 3, "]]>") == 0))) {
            szContent.resize(n - 3);
            break;
        }
    }
    AppendChild(NewTextNode(szContent.data(), szContent.size(), bPreserveSpace));
}

// The rest of a start tag from the character that ended its name; then the
// content unless the element is empty or a processing instruction.
void LXMLElement::ReadAttributes(char cEnd, LXMLLoaderTemplate<char>& loader) {
    bool bEmpty = cEnd == '/';
    char c = cEnd;
    std::string szValue;
    char* szAttribute = loader.szNameScratch;
    for (;;) {
        if (c == '\0') {
            loader.RecordErrorF(kMessageTagNotClosed, szName);
            return;
        }
        if (c == '>') {
            if (!bEmpty && szName[0] != '?') {
                LoadData(loader);
            }
            return;
        }
        c = XMLLoadTag(loader, szAttribute);
        if (c == '/') {
            bEmpty = true;
        }
        szValue.clear();
        if (c == ' ' && loader.Peek() == '=') {
            c = loader.ReadChar();
        }
        if (c == '=') {
            c = harlune::xml::LoadAttributeValue(loader, szValue);
            if (c == '/') {
                bEmpty = true;
            }
        }
        if (szAttribute[0] == '\0') {
            continue;
        }
        if (strcasecmp(szAttribute, "xml:space") == 0) {
            bPreserveSpace = true;
            continue;
        }
        // The '?' that closes a "<?xml ...?>" declaration is not the value's.
        if (c == '>' && !szValue.empty() && szValue.back() == '?') {
            szValue.pop_back();
        }
        mapAttributes.insert_or_assign(std::string(szAttribute), szValue);
    }
}

void LXMLElement::LoadData(LXMLLoaderTemplate<char>& loader) {
    DeleteChildren();
    LChildAppender children(*this);
    std::string szPending;
    auto flush = [&] {
        if (szPending.empty()) {
            return;
        }
        if (!bPreserveSpace) {
            TrimControlChars(szPending);
        }
        if (!szPending.empty()) {
            children.Append(NewTextNode(szPending.data(), szPending.size(), bPreserveSpace));
        }
        szPending.clear();
    };

    for (;;) {
        if (loader.CheckStop()) {
            break;
        }
        // Plain characters in bulk: they only move the column.
        const char* pStart = loader.szText + loader.nPos;
        const char* pEnd = pStart;
        while (!kContentStop.arStop[static_cast<unsigned char>(*pEnd)]) {
            ++pEnd;
        }
        if (pEnd != pStart) {
            const size_t nRun = static_cast<size_t>(pEnd - pStart);
            szPending.append(pStart, nRun);
            loader.nPos += nRun;
            loader.nColumn = static_cast<int32_t>(static_cast<uint32_t>(loader.nColumn) + static_cast<uint32_t>(nRun));
        }

        const char c = loader.ReadChar();
        if (c == '<') {
            char* szTag = loader.szNameScratch;
            const char cEnd = XMLLoadTag(loader, szTag);
            if (szTag[0] != '\0') {
                flush();
                if (loader.nDepth >= kXMLMaxDepth) {
                    loader.RecordErrorF(kMessageTooDeep, szTag, kXMLMaxDepth);
                    loader.bStopped = true;
                    break;
                }
                ++loader.nDepth;
                LXMLElement* pChild = ParseChild(szTag, cEnd, loader, bPreserveSpace);
                --loader.nDepth;
                children.Append(pChild);
            } else if (cEnd == '/') {
                const char cTagEnd = XMLLoadTag(loader, szTag);
                if (szName != nullptr) {
                    if (std::strcmp(szName, szTag) != 0) {
                        loader.RecordErrorF(kMessageEndTagMismatch, szName, szName, szTag);
                    }
                } else {
                    loader.RecordErrorF(kMessageMisplacedEndTag, szTag, szTag);
                }
                if (cTagEnd != '>') {
                    char cSkip;
                    do {
                        cSkip = loader.ReadChar();
                    } while (cSkip != '\0' && cSkip != '>');
                }
                break;
            } else {
                loader.RecordError(kMessageMisplacedLess);
                break;
            }
        } else if (c == '\0') {
            if (szName != nullptr) {
                loader.RecordErrorF(kMessageEndOfText, szName, szName);
            }
            break;
        } else if (c == '&') {
            char arBytes[4];
            const unsigned nBytes = harlune::xml::DecodeEntity(loader, arBytes);
            szPending.append(arBytes, nBytes);
        } else {
            szPending.push_back(c);
        }
    }
    flush();
}
