// LXMLElement.h: one node of the library's XML element tree.
//
// A node is one of:
// - a named element (szName set, szData null) with attributes and an ordered
//   list of children;
// - a text node (szName null, szData set);
// - a special element whose name begins with '!' ("!--", "![CDATA[",
//   "!DOCTYPE") holding exactly one text node with its raw content;
// - a processing instruction, whose name begins with '?' (such as "?xml"),
//   with attributes and no children.
// A document (LXMLDocument) is a nameless root whose children are the
// top-level nodes.
//
// Text is 8-bit (UTF-8 as loaded); names and values compare byte for byte,
// and a null name compares as "".
//
// Ownership: an element owns its children, its attributes and both strings;
// destroying it destroys its subtree (without recursion, so any depth can be
// freed). Copies are deep; a copy's pNext is null. Nodes are allocated with
// malloc (class operator new) so that the reader can place a node's name or
// text in the node's own allocation, halving the allocations of a load;
// such strings are freed with their node. Change szName and szData only
// through the member functions. Pointers returned by the
// look-ups stay valid until that child is deleted or its parent destroyed.
//
// Thread safety: none. A tree may be read from several threads at once only
// while nobody changes it.
#ifndef HARLUNE_XML_LXMLELEMENT_H
#define HARLUNE_XML_LXMLELEMENT_H

#include <cstdint>
#include <map>
#include <string>

#include "text/LStringLongTemplate.h"
#include "xml/LXMLLoader.h"

class LXMLElement {
public:
    // The attribute map: names in ascending byte order; a name occurs once.
    using AttributeMap = std::map<std::string, std::string>;

    // An empty nameless element whose text runs are trimmed.
    LXMLElement() = default;
    // An element whose name was just read by XMLLoadTag (`endChar` ended
    // it): reads its attributes and, unless it is empty, its content, up to
    // and including its end tag. `bPreserveSpace` is inherited from the
    // parent; "xml:space" in the start tag sets it.
    LXMLElement(const char* name, char endChar, LXMLLoaderTemplate<char>& loader, bool bPreserveSpace);
    LXMLElement(const LXMLElement& other);
    LXMLElement& operator=(const LXMLElement& other);
    virtual ~LXMLElement();

    // Nodes live in malloc'ed memory (see the ownership note above).
    static void* operator new(size_t nSize);
    static void operator delete(void* p) noexcept;

    // --- loading -----------------------------------------------------------
    // Parses content into this element until its end tag (or, for a
    // nameless root, to the end of the text). Clears the children first.
    void LoadData(LXMLLoaderTemplate<char>& loader);

    // --- reading and changing (direct children, exact name match) --------
    // szData if set; else the first child's data if set; else "".
    const char* GetElementData() const;
    LXMLElement* GetElement(const char* name);
    const LXMLElement* GetElement(const char* name) const;
    // A new named child at the end, with this element's space flag.
    LXMLElement* AddElement(const char* name);
    // Copies the child's value into `out` (260 bytes; cut at a character
    // boundary), or `defaultValue` when there is no such child.
    void GetString(const char* name, const char* defaultValue, char* out) const;
    // Replaces the children of the existing child `name` by one text node
    // holding `value`; does nothing when there is no such child.
    void SetString(const char* name, const char* value);
    int GetInt(const char* name, int defaultValue) const;
    void SetInt(const char* name, int value);
    void SetFloat(const char* name, double value);
    // strtod of the value; 0.0 when the child is missing.
    double GetFloat(const char* name) const;
    // strtod of the value when it is not empty, else `defaultValue`.
    double GetFloat(const char* name, double defaultValue) const;
    bool TestFieldExists(const char* name) const;
    // Removes every child called `name` (so that a duplicate can never
    // resurface after the first is removed) and leaves the others in their
    // order. Returns whether anything was removed.
    bool DeleteElement(const char* name);

    // Attributes by exact name: the value, or null when there is none.
    const char* GetAttribute(const char* name) const;
    // Sets (or replaces) an attribute.
    void SetAttribute(const char* name, const char* value);

    // --- writing -----------------------------------------------------------
    // Appends this node indented by `indent` tabs, with line breaks. False
    // only for a text node with nothing to write.
    bool SaveToBuffer(LStringLongTemplate<char>& out, int indent) const;
    // Appends this node without indentation or line breaks. False only for
    // an empty text node.
    bool SaveToBufferNoFormatting(LStringLongTemplate<char>& out) const;
    // The same two writers into a standard string (the library's own path;
    // the forms above append their result in one step).
    bool SaveToString(std::string& out, int indent) const;
    bool SaveToStringNoFormatting(std::string& out) const;

    // Iterates the direct children called `name`. Keeps the link that
    // points at the current match, so the match can be removed in place.
    class NamedElementIterator {
    public:
        NamedElementIterator(LXMLElement& parent, const char* name);
        // Moves to the next later sibling with the name; false when there
        // is none (or no current element).
        bool Next();
        // Removes and destroys the current match and moves to the next one;
        // false when there is none afterwards.
        bool Remove();
        LXMLElement* Get() const { return ppLink != nullptr ? *ppLink : nullptr; }
        LXMLElement* operator->() const { return Get(); }
        LXMLElement& operator*() const { return *Get(); }
        explicit operator bool() const { return Get() != nullptr; }

    private:
        void Seek(LXMLElement** ppFrom);
        LXMLElement** ppLink; // link holding the current match; null when there is none
        const char* szName;   // the name looked for (null compares as "")
    };

    class ConstNamedElementIterator {
    public:
        ConstNamedElementIterator(const LXMLElement& parent, const char* name);
        bool Next();
        const LXMLElement* Get() const { return pCurrent; }
        const LXMLElement* operator->() const { return pCurrent; }
        const LXMLElement& operator*() const { return *pCurrent; }
        explicit operator bool() const { return pCurrent != nullptr; }

    private:
        const LXMLElement* pCurrent; // the current match, or null
        const char* szName;          // the name looked for (null compares as "")
    };

    // Removes leading characters 1 to 31 and trailing characters below 32.
    static void TrimControlChars(std::string& text);

    // A text node holding a copy of `data`, with the given space flag.
    static LXMLElement* NewTextNode(const char* data, size_t nLength, bool bPreserveSpace);

    LXMLElement* pNext = nullptr;       // next sibling in the parent's list; null at the end
    bool bPreserveSpace = false;        // text runs loaded into this element are kept untrimmed

protected:
    // Strings placed in this node's own allocation, not freed on their own.
    // (Kept beside the flag, in what would be padding: a node of 96 bytes
    // plus a short name stays within the allocator's fast bins.)
    enum : uint8_t { kInlineName = 1, kInlineData = 2 };
    uint8_t nInline = 0; // kInline... bits

public:
    AttributeMap mapAttributes;         // attributes, ascending byte order of names
    LXMLElement* pFirstChild = nullptr; // head of the child list, in document order
    char* szName = nullptr;             // tag name (heap); null for a text node
    char* szData = nullptr;             // text of a text node (heap); null for a named element

protected:
    void DeleteChildren();
    void FreeStrings();
    void AppendChild(LXMLElement* pChild);

private:
    struct LNameInPlace {};
    // The parser's constructor for a node whose name already sits after it.
    LXMLElement(LNameInPlace, char* name, char endChar, LXMLLoaderTemplate<char>& loader, bool bPreserveSpace);
    static LXMLElement* ParseChild(const char* name, char endChar, LXMLLoaderTemplate<char>& loader, bool bPreserveSpace);
    void ReadContent(char endChar, LXMLLoaderTemplate<char>& loader);
    void CopyFrom(const LXMLElement& other);
    void ReadSpecialContent(LXMLLoaderTemplate<char>& loader);
    void ReadAttributes(char cEnd, LXMLLoaderTemplate<char>& loader);
    const char* ChildValue(const LXMLElement& child, const char* defaultValue) const;
};

// Compares element names byte for byte; null is "".
bool LXMLNameEquals(const char* a, const char* b);

#endif
