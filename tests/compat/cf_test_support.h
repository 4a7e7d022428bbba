/*
 * Helpers shared by the CoreFoundation tests: scoped ownership of CF
 * references, conversions to std::string, and temporary folders that are
 * removed when the test ends.
 */
#ifndef HARLUNE_TESTS_CF_TEST_SUPPORT_H
#define HARLUNE_TESTS_CF_TEST_SUPPORT_H

#include <CoreFoundation/CoreFoundation.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace cftest {

/* Releases the reference it holds when it goes out of scope. */
template <class Ref>
class Owned {
public:
    explicit Owned(Ref ref = nullptr) : ref_(ref) {}
    Owned(const Owned &) = delete;
    Owned &operator=(const Owned &) = delete;
    ~Owned() {
        if (ref_ != nullptr) CFRelease(ref_);
    }
    Ref get() const { return ref_; }
    operator Ref() const { return ref_; }
    void reset(Ref ref = nullptr) {
        if (ref_ != nullptr) CFRelease(ref_);
        ref_ = ref;
    }

private:
    Ref ref_;
};

inline std::string text(CFStringRef string) {
    if (string == nullptr) return "<NULL>";
    const char *utf8 = CFStringGetCStringPtr(string, kCFStringEncodingUTF8);
    return utf8 != nullptr ? utf8 : "<no UTF-8>";
}

/* The description of any CF value, as text. */
inline std::string describe(CFTypeRef value) {
    Owned<CFStringRef> description(CFCopyDescription(value));
    return text(description);
}

inline CFStringRef makeString(const std::string &utf8) {
    return CFStringCreateWithCString(nullptr, utf8.c_str(), kCFStringEncodingUTF8);
}

/* A folder under the system's temporary directory, removed with its contents. */
class TempDir {
public:
    TempDir() {
        std::string pattern = (std::filesystem::temp_directory_path() / "harlune-cf-XXXXXX").string();
        if (mkdtemp(pattern.data()) != nullptr) path_ = pattern;
    }
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;
    ~TempDir() {
        std::error_code ignored;
        if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
    }
    const std::filesystem::path &path() const { return path_; }

    /* Writes a file (creating its folders) and returns its path. */
    std::filesystem::path write(const std::string &relative, const std::string &contents) const {
        const auto file = path_ / relative;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << contents;
        return file;
    }

private:
    std::filesystem::path path_;
};

}  // namespace cftest

#endif
