/*
 * File URLs. A URL keeps its decoded absolute path, whether it names a
 * directory, and its percent-encoded text.
 */
#include <CoreFoundation/CFURL.h>

#include "cf/CFRuntime.h"
#include "cf/CFStringInternal.h"

#include <cerrno>
#include <cstring>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

struct __CFURL final : harlune::cf::Object {
    static constexpr CFTypeID kTypeID = harlune::cf::kURLTypeID;

    __CFURL(std::string path, bool isDirectory, CFStringRef text)
        : Object(kTypeID), path(std::move(path)), isDirectory(isDirectory), text(text) {}
    ~__CFURL() override { CFRelease(text); }

    bool equals(const Object &other) const override {
        const auto &that = static_cast<const __CFURL &>(other);
        return path == that.path && isDirectory == that.isDirectory;
    }
    CFHashCode hash() const override { return harlune::cf::hashBytes(path.data(), path.size()); }
    void describe(std::string &out, unsigned) const override { out += harlune::cf::stringText(text); }

    /* The text after the last "/", or "/" for the root. */
    std::string_view lastComponent() const {
        if (path == "/") return path;
        return std::string_view(path).substr(path.rfind('/') + 1);
    }

    const std::string path;  // absolute, decoded, no trailing "/" except the root
    const bool isDirectory;
    const CFStringRef text;  // "file://" and the encoded path
};

namespace {

using harlune::cf::as;

/* Characters a path may carry unencoded in a URL. */
bool isPathCharacter(unsigned char c) {
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) return true;
    return strchr("-._~/!$&'()*+,;=:@", c) != nullptr && c != 0;
}

std::string percentEncode(std::string_view path) {
    static const char digits[] = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : path) {
        if (isPathCharacter(c)) {
            out.push_back(static_cast<char>(c));
        } else {
            out.push_back('%');
            out.push_back(digits[c >> 4]);
            out.push_back(digits[c & 0xF]);
        }
    }
    return out;
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool percentDecode(std::string_view text, std::string &out) {
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            out.push_back(text[i]);
            continue;
        }
        if (i + 2 >= text.size()) return false;
        const int high = hexValue(text[i + 1]);
        const int low = hexValue(text[i + 2]);
        if (high < 0 || low < 0) return false;
        out.push_back(static_cast<char>(high << 4 | low));
        i += 2;
    }
    return true;
}

/* The current directory, or an empty string if it cannot be read. */
std::string currentDirectory() {
    std::string buffer(256, '\0');
    while (getcwd(buffer.data(), buffer.size()) == nullptr) {
        if (errno != ERANGE || buffer.size() > (1u << 20)) return std::string();
        buffer.resize(buffer.size() * 2);
    }
    buffer.resize(strlen(buffer.c_str()));
    return buffer;
}

/* Makes a URL from a file-system path; see CFURL.h for the normalisation. */
CFURLRef makeFileURL(std::string_view rawPath, bool isDirectory) {
    if (rawPath.empty() || rawPath.find('\0') != std::string_view::npos) return nullptr;
    std::string absolute;
    if (rawPath.front() != '/') {
        absolute = currentDirectory();
        if (absolute.empty()) return nullptr;
        absolute.push_back('/');
    }
    absolute.append(rawPath);
    std::string path;
    for (char c : absolute) {
        if (c == '/' && !path.empty() && path.back() == '/') continue;
        path.push_back(c);
    }
    if (path.size() > 1 && path.back() == '/') path.pop_back();
    if (path == "/") isDirectory = true;
    std::string text = "file://" + percentEncode(path);
    if (isDirectory && path != "/") text.push_back('/');
    CFStringRef string = harlune::cf::makeString(std::move(text));
    if (string == nullptr) return nullptr;
    auto *url = harlune::cf::make<__CFURL>(std::move(path), isDirectory, string);
    if (url == nullptr) CFRelease(string);
    return url;
}

}  // namespace

extern "C" {

CFTypeID CFURLGetTypeID(void) { return __CFURL::kTypeID; }

CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef, CFStringRef filePath, CFURLPathStyle pathStyle,
                                       Boolean isDirectory) {
    return harlune::cf::guarded<CFURLRef>(nullptr, [&]() -> CFURLRef {
        if (pathStyle != kCFURLPOSIXPathStyle || as<__CFString>(filePath) == nullptr) return nullptr;
        return makeFileURL(harlune::cf::stringText(filePath), isDirectory);
    });
}

CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef, const UInt8 *buffer, CFIndex bufLen,
                                                 Boolean isDirectory) {
    return harlune::cf::guarded<CFURLRef>(nullptr, [&]() -> CFURLRef {
        if (buffer == nullptr || bufLen <= 0) return nullptr;
        return makeFileURL(std::string_view(reinterpret_cast<const char *>(buffer), static_cast<size_t>(bufLen)),
                           isDirectory);
    });
}

CFURLRef CFURLCreateWithString(CFAllocatorRef, CFStringRef URLString, CFURLRef baseURL) {
    return harlune::cf::guarded<CFURLRef>(nullptr, [&]() -> CFURLRef {
        if (baseURL != nullptr) return nullptr;
        std::string_view text = harlune::cf::stringText(URLString);
        constexpr std::string_view scheme = "file://";
        if (text.size() < scheme.size() || strncasecmp(text.data(), scheme.data(), scheme.size()) != 0) return nullptr;
        text.remove_prefix(scheme.size());
        const size_t slash = text.find('/');
        if (slash == std::string_view::npos) return nullptr;
        const std::string_view host = text.substr(0, slash);
        if (!host.empty() && host != "localhost") return nullptr;
        const std::string_view encodedPath = text.substr(slash);
        if (encodedPath.find_first_of("?#") != std::string_view::npos) return nullptr;
        std::string path;
        if (!percentDecode(encodedPath, path)) return nullptr;
        return makeFileURL(path, encodedPath.back() == '/');
    });
}

CFURLRef CFURLCreateCopyAppendingPathComponent(CFAllocatorRef, CFURLRef url, CFStringRef pathComponent,
                                               Boolean isDirectory) {
    return harlune::cf::guarded<CFURLRef>(nullptr, [&]() -> CFURLRef {
        auto *base = as<__CFURL>(url);
        if (base == nullptr || as<__CFString>(pathComponent) == nullptr) return nullptr;
        std::string path = base->path;
        if (path != "/") path.push_back('/');
        path.append(harlune::cf::stringText(pathComponent));
        return makeFileURL(path, isDirectory);
    });
}

CFURLRef CFURLCreateCopyDeletingLastPathComponent(CFAllocatorRef, CFURLRef url) {
    return harlune::cf::guarded<CFURLRef>(nullptr, [&]() -> CFURLRef {
        auto *base = as<__CFURL>(url);
        if (base == nullptr) return nullptr;
        const size_t slash = base->path.rfind('/');
        return makeFileURL(slash == 0 ? std::string_view("/") : std::string_view(base->path).substr(0, slash), true);
    });
}

CFURLRef CFURLCopyAbsoluteURL(CFURLRef relativeURL) {
    return as<__CFURL>(relativeURL) != nullptr ? static_cast<CFURLRef>(CFRetain(relativeURL)) : nullptr;
}

CFStringRef CFURLGetString(CFURLRef anURL) {
    auto *url = as<__CFURL>(anURL);
    return url == nullptr ? nullptr : url->text;
}

CFURLRef CFURLGetBaseURL(CFURLRef) { return nullptr; }

CFStringRef CFURLCopyFileSystemPath(CFURLRef anURL, CFURLPathStyle pathStyle) {
    return harlune::cf::guarded<CFStringRef>(nullptr, [&]() -> CFStringRef {
        auto *url = as<__CFURL>(anURL);
        if (url == nullptr || pathStyle != kCFURLPOSIXPathStyle) return nullptr;
        return harlune::cf::makeString(url->path);
    });
}

Boolean CFURLGetFileSystemRepresentation(CFURLRef anURL, Boolean, UInt8 *buffer, CFIndex maxBufLen) {
    auto *url = as<__CFURL>(anURL);
    if (url == nullptr || buffer == nullptr || maxBufLen <= 0) return false;
    if (url->path.size() >= static_cast<size_t>(maxBufLen)) return false;
    memcpy(buffer, url->path.c_str(), url->path.size() + 1);
    return true;
}

CFStringRef CFURLCopyLastPathComponent(CFURLRef anURL) {
    return harlune::cf::guarded<CFStringRef>(nullptr, [&]() -> CFStringRef {
        auto *url = as<__CFURL>(anURL);
        return url == nullptr ? nullptr : harlune::cf::makeString(std::string(url->lastComponent()));
    });
}

CFStringRef CFURLCopyPathExtension(CFURLRef anURL) {
    return harlune::cf::guarded<CFStringRef>(nullptr, [&]() -> CFStringRef {
        auto *url = as<__CFURL>(anURL);
        if (url == nullptr) return nullptr;
        const std::string_view last = url->lastComponent();
        const size_t dot = last.rfind('.');
        // A leading dot marks a hidden file, not an extension.
        if (dot == std::string_view::npos || dot == 0 || dot + 1 == last.size()) return nullptr;
        return harlune::cf::makeString(std::string(last.substr(dot + 1)));
    });
}

Boolean CFURLHasDirectoryPath(CFURLRef anURL) {
    auto *url = as<__CFURL>(anURL);
    return url != nullptr && url->isDirectory;
}

}  // extern "C"

Boolean CFURLResourceIsReachable(CFURLRef anURL, CFErrorRef *error) {
    if (error != nullptr) *error = nullptr;
    auto *url = as<__CFURL>(anURL);
    int nError = EINVAL;
    if (url != nullptr) {
        struct stat st;
        if (stat(url->path.c_str(), &st) == 0) return true;
        nError = errno;
    }
    if (error != nullptr) *error = CFErrorCreate(nullptr, kCFErrorDomainPOSIX, nError, nullptr);
    return false;
}
