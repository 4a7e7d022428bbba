// LFixedLengthStringWriter.h: a writer into a caller's fixed buffer that
// drops what does not fit.
//
// The writer appends characters while its length is below its capacity and
// silently drops the rest. It never writes the terminating zero itself:
// the owner calls Terminate() (or writes it) after the last append, so the
// buffer must hold capacity + 1 characters. Its formatted append copies
// plain format characters and "%s" arguments character by character, and
// formats every other conversion (with its flags, width, precision and
// length letters) on its own into a scratch buffer of 260 characters, then
// appends that.
//
// Thread safety: none; one writer belongs to one thread. The buffer belongs
// to the caller and must outlive the writer.
#ifndef HARLUNE_DIAGNOSTICS_LFIXEDLENGTHSTRINGWRITER_H
#define HARLUNE_DIAGNOSTICS_LFIXEDLENGTHSTRINGWRITER_H

#include <cstdarg>
#include <cstddef>

template <typename T>
class LFixedLengthStringWriterTemplate {
public:
    // pBuffer holds nCapacity + 1 characters; a null buffer takes nothing.
    LFixedLengthStringWriterTemplate(T* pBuffer, size_t nCapacity)
        : m_pBuffer(pBuffer), m_nLength(0), m_nCapacity(pBuffer != nullptr ? nCapacity : 0) {}

    void Append(T c) {
        if (m_nLength < m_nCapacity) m_pBuffer[m_nLength++] = c;
    }
    void Append(const T* sz) {
        for (; sz != nullptr && *sz != T(0) && m_nLength < m_nCapacity; ++sz) m_pBuffer[m_nLength++] = *sz;
    }
    void Append(const T* p, size_t n) {
        for (size_t i = 0; p != nullptr && i < n && m_nLength < m_nCapacity; ++i) m_pBuffer[m_nLength++] = p[i];
    }
    // Writes the terminating zero after what was appended.
    void Terminate() {
        if (m_pBuffer != nullptr) m_pBuffer[m_nLength] = T(0);
    }
    size_t GetLength() const { return m_nLength; }
    size_t GetCapacity() const { return m_nCapacity; }
    T* GetBuffer() const { return m_pBuffer; }

    // The formatted append (8-bit writers only).
    void sprintf(const char* szFormat, ...) __attribute__((format(printf, 2, 3)));
    void vsprintf(const char* szFormat, va_list args);

private:
    T* m_pBuffer;        // the caller's buffer
    size_t m_nLength;    // characters written
    size_t m_nCapacity;  // characters that fit, the terminator not counted
};

using LFixedLengthStringWriter = LFixedLengthStringWriterTemplate<char>;

#endif
