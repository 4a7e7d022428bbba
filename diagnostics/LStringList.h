// LStringList.h: an ordered list of owned strings.
//
// Thread safety: none; one list belongs to one thread at a time.
#ifndef HARLUNE_DIAGNOSTICS_LSTRINGLIST_H
#define HARLUNE_DIAGNOSTICS_LSTRINGLIST_H

#include <cstddef>
#include <string>
#include <vector>

template <typename T>
class LStringListTemplate {
public:
    // Appends a copy of sz (a null text counts as empty).
    void Add(const T* sz) { m_lStrings.emplace_back(sz != nullptr ? sz : std::basic_string<T>()); }
    void Clear() { m_lStrings.clear(); }
    size_t GetCount() const { return m_lStrings.size(); }
    // The string at nIndex, or null past the end; valid until the list changes.
    const T* Get(size_t nIndex) const { return nIndex < m_lStrings.size() ? m_lStrings[nIndex].c_str() : nullptr; }

private:
    std::vector<std::basic_string<T>> m_lStrings; // in the order added
};

using LStringList = LStringListTemplate<char>;

#endif
