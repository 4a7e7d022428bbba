// The XML reader on arbitrary bytes: it must never crash, hang or read past
// the text; and whatever tree it builds must survive both writers, a reload
// of the compact form, a deep copy and the look-ups.
#include <cstddef>
#include <cstdint>
#include <string>

#include "xml/LXML.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    const std::string szText(reinterpret_cast<const char*>(pData), nSize);
    char szError[kXMLErrorBufferSize];

    // Both space rules: a document keeps text, a plain element trims it.
    LXMLDocument document;
    document.LoadFromText(szText.c_str(), szError);
    LXMLElement element;
    LXMLLoaderTemplate<char> loader(szText.c_str(), szError);
    element.LoadData(loader);

    std::string szIndented;
    document.SaveDocumentToString(szIndented);
    std::string szCompact;
    for (const LXMLElement* p = document.pFirstChild; p != nullptr; p = p->pNext) {
        p->SaveToStringNoFormatting(szCompact);
    }
    LXMLDocument reloaded;
    reloaded.LoadFromText(szCompact.c_str(), szError);

    LXMLElement copy(element);
    if (LXMLElement* pRoot = document.GetRootElement()) {
        char szValue[260];
        pRoot->GetString(pRoot->pFirstChild != nullptr ? pRoot->pFirstChild->szName : nullptr, "", szValue);
        pRoot->GetInt("a", 0);
        pRoot->GetFloat("a", 1.0);
        pRoot->DeleteElement("a");
    }
    return 0;
}
