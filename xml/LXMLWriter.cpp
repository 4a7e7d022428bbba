// LXMLWriter.cpp: writing an element tree back as text, indented with tabs
// and line breaks or compact.
#include <cstring>
#include <strings.h>

#include "xml/LXMLElement.h"

namespace {

bool IsBlankChar(char c) {
    return c == '\t' || c == '\n' || c == '\r' || c == ' ';
}

bool IsBlank(const char* szText) {
    for (; *szText != '\0'; ++szText) {
        if (!IsBlankChar(*szText)) {
            return false;
        }
    }
    return true;
}

// Escapes the four characters that would end a value or start markup; the
// apostrophe and everything else stays as it is.
void AppendEscaped(std::string& out, const char* pText, size_t nLength) {
    const char* pRun = pText;
    const char* const pEnd = pText + nLength;
    for (const char* p = pText; p != pEnd; ++p) {
        const char* szEntity;
        switch (*p) {
        case '<': szEntity = "&lt;"; break;
        case '>': szEntity = "&gt;"; break;
        case '"': szEntity = "&quot;"; break;
        case '&': szEntity = "&amp;"; break;
        default: continue;
        }
        out.append(pRun, static_cast<size_t>(p - pRun));
        out.append(szEntity);
        pRun = p + 1;
    }
    out.append(pRun, static_cast<size_t>(pEnd - pRun));
}

void AppendEscaped(std::string& out, const char* szText) {
    AppendEscaped(out, szText, std::strlen(szText));
}

// Escapes text line by line, every line break (CR, LF, CR LF, LF CR) as one LF.
void AppendTextLines(std::string& out, const char* szText) {
    const char* p = szText;
    for (;;) {
        const size_t nLine = std::strcspn(p, "\r\n");
        AppendEscaped(out, p, nLine);
        p += nLine;
        if (*p == '\0') {
            return;
        }
        out.push_back('\n');
        if ((p[0] == '\r' && p[1] == '\n') || (p[0] == '\n' && p[1] == '\r')) {
            p += 2;
        } else {
            p += 1;
        }
    }
}

void AppendTabs(std::string& out, int indent) {
    if (indent > 0) {
        out.append(static_cast<size_t>(indent), '\t');
    }
}

// The data a nameless node writes: its own, else its first child's, else "".
const char* TextOf(const LXMLElement& node) {
    return node.GetElementData();
}

// The end of a '!' element: "-->", "]]>" or ">".
const char* SpecialClose(const char* szName) {
    if (std::strcmp(szName, "!--") == 0) {
        return "-->";
    }
    if (strcasecmp(szName, "![CDATA[") == 0) {
        return "]]>";
    }
    return ">";
}

void AppendStartTag(std::string& out, const LXMLElement& element) {
    out.push_back('<');
    out.append(element.szName);
    const bool bDeclaration = std::strcmp(element.szName, "?xml") == 0;
    if (bDeclaration) {
        // The version comes first in a declaration, as readers expect.
        const char* szVersion = element.GetAttribute("version");
        if (szVersion != nullptr && szVersion[0] != '\0') {
            out.append(" version=\"");
            out.append(szVersion);
            out.push_back('"');
        }
    }
    for (const auto& [szKey, szValue] : element.mapAttributes) {
        if (bDeclaration && strcasecmp(szKey.c_str(), "version") == 0) {
            continue;
        }
        out.push_back(' ');
        out.append(szKey);
        out.append("=\"");
        AppendEscaped(out, szValue.c_str(), szValue.size());
        out.push_back('"');
    }
}

void AppendSpecialContent(std::string& out, const LXMLElement& element) {
    for (const LXMLElement* pChild = element.pFirstChild; pChild != nullptr; pChild = pChild->pNext) {
        out.append(TextOf(*pChild));
    }
    out.append(SpecialClose(element.szName));
}

} // namespace

bool LXMLElement::SaveToString(std::string& out, int indent) const {
    if (szName == nullptr) {
        const char* szText = TextOf(*this);
        if (IsBlank(szText)) {
            return false;
        }
        AppendTextLines(out, szText);
        return true;
    }
    AppendTabs(out, indent);
    if (szName[0] == '!') {
        out.push_back('<');
        out.append(szName);
        AppendSpecialContent(out, *this);
        out.push_back('\n');
        return true;
    }
    AppendStartTag(out, *this);

    enum class Content { none, text, elements } eContent = Content::none;
    for (const LXMLElement* pChild = pFirstChild; pChild != nullptr; pChild = pChild->pNext) {
        if (pChild->szName != nullptr) {
            eContent = Content::elements;
            break;
        }
        if (eContent == Content::none && pChild->szData != nullptr && !IsBlank(pChild->szData)) {
            eContent = Content::text;
        }
    }
    switch (eContent) {
    case Content::elements:
        out.append(">\n");
        for (const LXMLElement* pChild = pFirstChild; pChild != nullptr; pChild = pChild->pNext) {
            pChild->SaveToString(out, indent + 1);
        }
        AppendTabs(out, indent);
        break;
    case Content::text:
        // Text stays on the line of its tags.
        out.push_back('>');
        for (const LXMLElement* pChild = pFirstChild; pChild != nullptr; pChild = pChild->pNext) {
            pChild->SaveToString(out, indent + 1);
        }
        break;
    case Content::none:
        out.append(szName[0] == '?' ? "?>\n" : "/>\n");
        return true;
    }
    out.append("</");
    out.append(szName);
    out.append(">\n");
    return true;
}

bool LXMLElement::SaveToStringNoFormatting(std::string& out) const {
    if (szName == nullptr) {
        const char* szText = TextOf(*this);
        if (szText[0] == '\0') {
            return false;
        }
        AppendEscaped(out, szText);
        return true;
    }
    if (szName[0] == '!') {
        out.push_back('<');
        out.append(szName);
        AppendSpecialContent(out, *this);
        return true;
    }
    AppendStartTag(out, *this);

    bool bContent = false;
    for (const LXMLElement* pChild = pFirstChild; pChild != nullptr && !bContent; pChild = pChild->pNext) {
        bContent = pChild->szName != nullptr || (pChild->szData != nullptr && pChild->szData[0] != '\0');
    }
    if (!bContent) {
        out.append(szName[0] == '?' ? "?>" : "/>");
        return true;
    }
    out.push_back('>');
    for (const LXMLElement* pChild = pFirstChild; pChild != nullptr; pChild = pChild->pNext) {
        pChild->SaveToStringNoFormatting(out);
    }
    out.append("</");
    out.append(szName);
    out.push_back('>');
    return true;
}

bool LXMLElement::SaveToBuffer(LStringLongTemplate<char>& out, int indent) const {
    std::string szText;
    const bool bWritten = SaveToString(szText, indent);
    out.Append(szText.data(), szText.size());
    return bWritten;
}

bool LXMLElement::SaveToBufferNoFormatting(LStringLongTemplate<char>& out) const {
    std::string szText;
    const bool bWritten = SaveToStringNoFormatting(szText);
    out.Append(szText.data(), szText.size());
    return bWritten;
}
