/*
 * LStringLongTemplate.h: the library's growable, NUL-terminated string of
 * 8-bit (UTF-8), 16-bit (UTF-16, "Unicode" in the library's names) or 32-bit
 * (wchar_t) units, and LUTF8StringLongRef, a read-only view of a UTF-8 one.
 *
 * Representation: a buffer allocated with new[], the number of units before
 * the terminator, and the number of units allocated (terminator included).
 * A null buffer is the empty string; every reader sees it as "". With a
 * buffer, buffer[length] is always 0.
 *
 * Growth: Reserve(n) reallocates only when the capacity is below n and then
 * allocates exactly n units. Appending one unit grows to
 * max(length + 2 + capacity, 260) units, so a string built unit by unit
 * reallocates O(log n) times and short texts take one allocation of the
 * library's usual 260-unit size.
 *
 * Ownership: the string owns its buffer. Copies are deep; a moved-from string
 * is empty with a null buffer.
 *
 * Failure: allocation failure propagates as std::bad_alloc (a size whose byte
 * count overflows fails the same way, through new[]). Nothing else throws.
 *
 * Thread safety: none of its own; a string may be read from several threads
 * at once, but must not be read while another thread changes it.
 */
#ifndef HARLUNE_TEXT_LSTRINGLONGTEMPLATE_H
#define HARLUNE_TEXT_LSTRINGLONGTEMPLATE_H

#include <algorithm>
#include <cstdint>
#include <utility>

template <typename T>
class LStringLongTemplate {
public:
    LStringLongTemplate() noexcept = default;
    explicit LStringLongTemplate(const T *sz) { Assign(sz); }
    LStringLongTemplate(const T *p, uint64_t n) { Assign(p, n); }
    LStringLongTemplate(const LStringLongTemplate &other) { CopyFrom(other); }
    LStringLongTemplate(LStringLongTemplate &&other) noexcept { Swap(other); }
    ~LStringLongTemplate() { delete[] pBuffer; }

    LStringLongTemplate &operator=(const LStringLongTemplate &other) {
        if (this != &other) {
            CopyFrom(other);
        }
        return *this;
    }
    LStringLongTemplate &operator=(LStringLongTemplate &&other) noexcept {
        if (this != &other) {
            Free();
            Swap(other);
        }
        return *this;
    }

    /* The text, never null: "" for a string without a buffer. */
    const T *Get() const noexcept { return pBuffer ? pBuffer : EmptyText(); }
    /* The buffer itself, null for a string that never allocated. Writers may
     * fill up to GetCapacity() units and must then call SetLength(). */
    T *GetBuffer() noexcept { return pBuffer; }
    const T *GetBuffer() const noexcept { return pBuffer; }
    uint64_t GetLength() const noexcept { return nLength; }
    uint64_t GetCapacity() const noexcept { return nCapacity; }
    bool IsEmpty() const noexcept { return nLength == 0; }

    /* Makes room for n units (terminator included); keeps the text. */
    void Reserve(uint64_t n) {
        if (nCapacity >= n) {
            return;
        }
        T *pNew = new T[n];
        if (pBuffer) {
            std::copy(pBuffer, pBuffer + nLength, pNew);
        }
        pNew[nLength] = 0;
        delete[] pBuffer;
        pBuffer = pNew;
        nCapacity = n;
    }

    /* Appends one unit, growing by the rule in the header comment. */
    void Append(T ch) {
        if (nLength + 2 > nCapacity) {
            Reserve(std::max<uint64_t>(nLength + 2 + nCapacity, 260));
        }
        pBuffer[nLength++] = ch;
        pBuffer[nLength] = 0;
    }

    /* Appends n units of p (which need not be terminated). */
    void Append(const T *p, uint64_t n) {
        if (!p || n == 0) {
            return;
        }
        if (nLength + n + 1 > nCapacity) {
            Reserve(std::max<uint64_t>(nLength + n + 1 + nCapacity, 260));
        }
        std::copy(p, p + n, pBuffer + nLength);
        nLength += n;
        pBuffer[nLength] = 0;
    }

    /* Replaces the text by a NUL-terminated one: a new buffer of exactly
     * length + 1 units. A null sz empties the string and frees the buffer. */
    void Assign(const T *sz) {
        if (!sz) {
            Free();
            return;
        }
        Assign(sz, Measure(sz));
    }

    /* Replaces the text by n units of p: a new buffer of n + 1 units. */
    void Assign(const T *p, uint64_t n) {
        T *pNew = new T[n + 1];
        if (p) {
            std::copy(p, p + n, pNew);
        } else {
            n = 0;
        }
        pNew[n] = 0;
        delete[] pBuffer;
        pBuffer = pNew;
        nLength = n;
        nCapacity = n + 1;
    }

    /* Sets the length after a writer filled the buffer, and terminates.
     * A length that does not fit the capacity is cut to capacity - 1, so a
     * wrong count can never write past the buffer. */
    void SetLength(uint64_t n) noexcept {
        if (!pBuffer) {
            return;
        }
        nLength = std::min(n, nCapacity - 1);
        pBuffer[nLength] = 0;
    }

    /* Length 0; keeps the buffer for reuse. */
    void Empty() noexcept { SetLength(0); }

    /* Length 0 and no buffer. */
    void Free() noexcept {
        delete[] pBuffer;
        pBuffer = nullptr;
        nLength = 0;
        nCapacity = 0;
    }

    void Swap(LStringLongTemplate &other) noexcept {
        std::swap(pBuffer, other.pBuffer);
        std::swap(nLength, other.nLength);
        std::swap(nCapacity, other.nCapacity);
    }

    /* Units before the terminator of a NUL-terminated text (0 for null). */
    static uint64_t Measure(const T *sz) noexcept {
        uint64_t n = 0;
        if (sz) {
            while (sz[n]) {
                ++n;
            }
        }
        return n;
    }

private:
    static const T *EmptyText() noexcept {
        static const T empty[1] = {0};
        return empty;
    }

    /* A copy of a string without a buffer has none either; otherwise the
     * copy's buffer holds exactly the text and its terminator. */
    void CopyFrom(const LStringLongTemplate &other) {
        if (!other.pBuffer) {
            Free();
            return;
        }
        Assign(other.pBuffer, other.nLength);
    }

    T *pBuffer = nullptr;    // new[] array, or null for the empty string
    uint64_t nLength = 0;    // units before the terminator
    uint64_t nCapacity = 0;  // units allocated, terminator included
};

typedef LStringLongTemplate<char> LStringLong;
typedef LStringLongTemplate<char16_t> LUnicodeStringLong;
typedef LStringLongTemplate<wchar_t> LWideStringLong;

/*
 * A read-only view of a UTF-8 string's text: the string's buffer, or a static
 * "" when it has none. The view does not own the text; it is valid while the
 * string lives and is not changed.
 */
class LUTF8StringLongRef {
public:
    explicit LUTF8StringLongRef(const LStringLongTemplate<char> &s) noexcept : szText(s.Get()) {}
    const char *Get() const noexcept { return szText; }
    operator const char *() const noexcept { return szText; }

private:
    const char *szText;  // never null
};

/* Assigns a NUL-terminated UTF-8 text: exactly strlen + 1 bytes are
 * allocated. A null text empties the string. */
inline void LCopyToUTF8(LStringLongTemplate<char> &out, const char *in) { out.Assign(in); }

/* Copies a UTF-8 string; a source without a buffer leaves none in out. */
inline void LCopyToUTF8(LStringLongTemplate<char> &out, const LStringLongTemplate<char> &in) { out = in; }

#endif
