// LXMLDocument.h: a whole XML document: a nameless root element whose
// children are the top-level nodes (declaration, comments, doctype, the
// root element, and the text between them).
//
// A document keeps every text run as it was read (its space flag starts
// true), so reading and writing it back changes no text content.
//
// Ownership and thread safety: as LXMLElement.
#ifndef HARLUNE_XML_LXMLDOCUMENT_H
#define HARLUNE_XML_LXMLDOCUMENT_H

#include <string>

#include "xml/LXMLElement.h"

class LXMLDocument : public LXMLElement {
public:
    LXMLDocument() { bPreserveSpace = true; }

    // Parses `text` (NUL-terminated) into this document, replacing what it
    // held. `error` (260 bytes, may be null) receives the first error as
    // "Ln %d, Col %d: %s", or "" when there was none. Returns true when
    // there was no error; the tree holds what was read either way.
    bool LoadFromText(const char* text, char* error);

    // Writes every top-level node with indent 0 (the form of a saved file).
    bool SaveDocumentToBuffer(LStringLongTemplate<char>& out) const;
    void SaveDocumentToString(std::string& out) const;

    // The first top-level element that is neither a declaration nor a
    // comment, doctype or text: the document's root element, or null.
    LXMLElement* GetRootElement();
    const LXMLElement* GetRootElement() const;
};

#endif
