// LXMLDocument.cpp: loading and saving whole documents.
#include "xml/LXMLDocument.h"

bool LXMLDocument::LoadFromText(const char* text, char* error) {
    LXMLLoaderTemplate<char> loader(text, error);
    LoadData(loader);
    return error == nullptr || error[0] == '\0';
}

void LXMLDocument::SaveDocumentToString(std::string& out) const {
    for (const LXMLElement* pChild = pFirstChild; pChild != nullptr; pChild = pChild->pNext) {
        pChild->SaveToString(out, 0);
    }
}

bool LXMLDocument::SaveDocumentToBuffer(LStringLongTemplate<char>& out) const {
    std::string szText;
    SaveDocumentToString(szText);
    out.Append(szText.data(), szText.size());
    return true;
}

LXMLElement* LXMLDocument::GetRootElement() {
    for (LXMLElement* pChild = pFirstChild; pChild != nullptr; pChild = pChild->pNext) {
        if (pChild->szName != nullptr && pChild->szName[0] != '?' && pChild->szName[0] != '!') {
            return pChild;
        }
    }
    return nullptr;
}

const LXMLElement* LXMLDocument::GetRootElement() const {
    return const_cast<LXMLDocument*>(this)->GetRootElement();
}
