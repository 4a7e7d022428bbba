// LXMLElementAccess.cpp: look-ups, typed getters and setters, deletion and
// the name-filtered iterators of LXMLElement.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "text/LText.h"
#include "xml/LXMLElement.h"

namespace {

// Size of the fixed buffers of GetString and of formatted numbers.
constexpr unsigned long kValueBufferSize = 260;

} // namespace

const char* LXMLElement::GetElementData() const {
    if (szData != nullptr) {
        return szData;
    }
    if (pFirstChild != nullptr && pFirstChild->szData != nullptr) {
        return pFirstChild->szData;
    }
    return "";
}

LXMLElement* LXMLElement::GetElement(const char* name) {
    for (LXMLElement* pChild = pFirstChild; pChild != nullptr; pChild = pChild->pNext) {
        if (LXMLNameEquals(pChild->szName, name)) {
            return pChild;
        }
    }
    return nullptr;
}

const LXMLElement* LXMLElement::GetElement(const char* name) const {
    return const_cast<LXMLElement*>(this)->GetElement(name);
}

LXMLElement* LXMLElement::AddElement(const char* name) {
    LXMLElement* pChild = new LXMLElement();
    pChild->bPreserveSpace = bPreserveSpace;
    pChild->szName = strdup(name != nullptr ? name : "");
    AppendChild(pChild);
    return pChild;
}

// The value of a child: a named child yields its own data, else its first
// child's, else ""; a text node yields its data, or the default when none.
const char* LXMLElement::ChildValue(const LXMLElement& child, const char* defaultValue) const {
    if (child.szName != nullptr) {
        return child.GetElementData();
    }
    return child.szData != nullptr ? child.szData : defaultValue;
}

void LXMLElement::GetString(const char* name, const char* defaultValue, char* out) const {
    if (out == nullptr) {
        return;
    }
    const LXMLElement* pChild = GetElement(name);
    const char* szValue = pChild != nullptr ? ChildValue(*pChild, defaultValue) : defaultValue;
    utf8strlcpy(out, szValue != nullptr ? szValue : "", kValueBufferSize);
}

void LXMLElement::SetString(const char* name, const char* value) {
    LXMLElement* pChild = GetElement(name);
    if (pChild == nullptr) {
        return;
    }
    const char* szValue = value != nullptr ? value : "";
    pChild->DeleteChildren();
    pChild->AppendChild(NewTextNode(szValue, std::strlen(szValue), pChild->bPreserveSpace));
}

int LXMLElement::GetInt(const char* name, int defaultValue) const {
    const LXMLElement* pChild = GetElement(name);
    if (pChild == nullptr) {
        return defaultValue;
    }
    const char* szValue = ChildValue(*pChild, nullptr);
    if (szValue == nullptr) {
        return defaultValue;
    }
    return static_cast<int>(std::strtol(szValue, nullptr, 10));
}

void LXMLElement::SetInt(const char* name, int value) {
    char szValue[kValueBufferSize];
    std::snprintf(szValue, sizeof(szValue), "%d", value);
    SetString(name, szValue);
}

void LXMLElement::SetFloat(const char* name, double value) {
    char szValue[kValueBufferSize];
    std::snprintf(szValue, sizeof(szValue), "%f", value);
    SetString(name, szValue);
}

double LXMLElement::GetFloat(const char* name) const {
    const LXMLElement* pChild = GetElement(name);
    if (pChild == nullptr) {
        return 0.0;
    }
    const char* szValue = ChildValue(*pChild, "");
    return std::strtod(szValue, nullptr);
}

double LXMLElement::GetFloat(const char* name, double defaultValue) const {
    const LXMLElement* pChild = GetElement(name);
    const char* szValue = pChild != nullptr ? ChildValue(*pChild, "") : "";
    return szValue[0] != '\0' ? std::strtod(szValue, nullptr) : defaultValue;
}

bool LXMLElement::TestFieldExists(const char* name) const {
    const LXMLElement* pChild = GetElement(name);
    return pChild != nullptr && (pChild->szName != nullptr || pChild->szData != nullptr);
}

bool LXMLElement::DeleteElement(const char* name) {
    bool bRemoved = false;
    for (NamedElementIterator it(*this, name); it;) {
        it.Remove();
        bRemoved = true;
    }
    return bRemoved;
}

const char* LXMLElement::GetAttribute(const char* name) const {
    const auto it = mapAttributes.find(name != nullptr ? name : "");
    return it != mapAttributes.end() ? it->second.c_str() : nullptr;
}

void LXMLElement::SetAttribute(const char* name, const char* value) {
    mapAttributes.insert_or_assign(std::string(name != nullptr ? name : ""), std::string(value != nullptr ? value : ""));
}

LXMLElement::NamedElementIterator::NamedElementIterator(LXMLElement& parent, const char* name)
    : ppLink(nullptr), szName(name) {
    Seek(&parent.pFirstChild);
}

void LXMLElement::NamedElementIterator::Seek(LXMLElement** ppFrom) {
    ppLink = nullptr;
    for (LXMLElement** pp = ppFrom; *pp != nullptr; pp = &(*pp)->pNext) {
        if (LXMLNameEquals((*pp)->szName, szName)) {
            ppLink = pp;
            return;
        }
    }
}

bool LXMLElement::NamedElementIterator::Next() {
    if (Get() == nullptr) {
        return false;
    }
    Seek(&(*ppLink)->pNext);
    return ppLink != nullptr;
}

bool LXMLElement::NamedElementIterator::Remove() {
    LXMLElement* pCurrent = Get();
    if (pCurrent == nullptr) {
        return false;
    }
    // The link now leads to the following sibling; search from there.
    LXMLElement** ppHere = ppLink;
    *ppHere = pCurrent->pNext;
    pCurrent->pNext = nullptr;
    delete pCurrent;
    Seek(ppHere);
    return ppLink != nullptr;
}

LXMLElement::ConstNamedElementIterator::ConstNamedElementIterator(const LXMLElement& parent, const char* name)
    : pCurrent(parent.GetElement(name)), szName(name) {}

bool LXMLElement::ConstNamedElementIterator::Next() {
    if (pCurrent == nullptr) {
        return false;
    }
    for (pCurrent = pCurrent->pNext; pCurrent != nullptr; pCurrent = pCurrent->pNext) {
        if (LXMLNameEquals(pCurrent->szName, szName)) {
            return true;
        }
    }
    return false;
}
