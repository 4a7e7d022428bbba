// LXMLDump.h: a one-line picture of an element tree for table-driven tests.
//
// A named node is "(name @key=value ... children)", a text node is its data
// in double quotes with control characters, quotes and backslashes escaped
// as in C. Children are separated by single spaces.
#ifndef HARLUNE_TESTS_XML_LXMLDUMP_H
#define HARLUNE_TESTS_XML_LXMLDUMP_H

#include <cstdio>
#include <string>

#include "xml/LXMLElement.h"

namespace harlune::test {

inline void AppendQuoted(std::string& out, const char* sz) {
    out.push_back('"');
    for (const char* p = sz; *p != '\0'; ++p) {
        const unsigned char c = static_cast<unsigned char>(*p);
        if (c == '"' || c == '\\') {
            out.push_back('\\');
            out.push_back(static_cast<char>(c));
        } else if (c == '\n') {
            out.append("\\n");
        } else if (c == '\t') {
            out.append("\\t");
        } else if (c < 32) {
            char sz4[8];
            std::snprintf(sz4, sizeof(sz4), "\\x%02x", c);
            out.append(sz4);
        } else {
            out.push_back(static_cast<char>(c));
        }
    }
    out.push_back('"');
}

inline void DumpNode(std::string& out, const LXMLElement& node) {
    if (node.szName == nullptr) {
        AppendQuoted(out, node.szData != nullptr ? node.szData : "");
        return;
    }
    out.push_back('(');
    out.append(node.szName);
    for (const auto& [szKey, szValue] : node.mapAttributes) {
        out.append(" @");
        out.append(szKey);
        out.push_back('=');
        out.append(szValue);
    }
    for (const LXMLElement* p = node.pFirstChild; p != nullptr; p = p->pNext) {
        out.push_back(' ');
        DumpNode(out, *p);
    }
    out.push_back(')');
}

// The children of `root` (a document or any element), separated by spaces.
inline std::string DumpChildren(const LXMLElement& root) {
    std::string out;
    for (const LXMLElement* p = root.pFirstChild; p != nullptr; p = p->pNext) {
        if (!out.empty()) {
            out.push_back(' ');
        }
        DumpNode(out, *p);
    }
    return out;
}

} // namespace harlune::test

#endif
