// LCFHelpers.h: small conveniences for the host's use of CoreFoundation:
// an owning reference that releases on scope exit, and conversions between
// CFString and std::string (UTF-8). Header-only; thread-safe as CF is.
#ifndef HARLUNE_HOST_LCFHELPERS_H
#define HARLUNE_HOST_LCFHELPERS_H

#include <CoreFoundation/CoreFoundation.h>

#include <string>
#include <vector>

namespace harlune::host {

// Owns one reference to a CF object (null allowed) and releases it.
template <typename T>
class LCFOwned {
public:
    LCFOwned() = default;
    explicit LCFOwned(T ref) : m_ref(ref) {}
    ~LCFOwned() { reset(); }
    LCFOwned(const LCFOwned&) = delete;
    LCFOwned& operator=(const LCFOwned&) = delete;
    LCFOwned(LCFOwned&& other) noexcept : m_ref(other.release()) {}
    LCFOwned& operator=(LCFOwned&& other) noexcept {
        if (this != &other) {
            reset(other.release());
        }
        return *this;
    }
    T get() const { return m_ref; }
    T release() {
        T ref = m_ref;
        m_ref = nullptr;
        return ref;
    }
    void reset(T ref = nullptr) {
        if (m_ref != nullptr) {
            CFRelease(m_ref);
        }
        m_ref = ref;
    }
    explicit operator bool() const { return m_ref != nullptr; }

private:
    T m_ref = nullptr;
};

// The UTF-8 text of a CFString; empty for null.
inline std::string LStringFromCF(CFStringRef string) {
    if (string == nullptr) {
        return {};
    }
    const CFIndex nMax = CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), kCFStringEncodingUTF8) + 1;
    std::vector<char> buffer(static_cast<std::size_t>(nMax));
    if (!CFStringGetCString(string, buffer.data(), nMax, kCFStringEncodingUTF8)) {
        return {};
    }
    return std::string(buffer.data());
}

// A new CFString (caller releases) holding the UTF-8 text.
inline CFStringRef LCFString(const std::string& szText) {
    return CFStringCreateWithCString(nullptr, szText.c_str(), kCFStringEncodingUTF8);
}

} // namespace harlune::host

#endif
