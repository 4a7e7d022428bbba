// CFLocale: the current locale's identifier from the environment.
#include "cf_test_support.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>

using cftest::Owned;

namespace {

// Sets or removes one environment variable for the scope.
class EnvironmentScope {
public:
    EnvironmentScope(const char *name, const char *value) : name_(name) {
        if (const char *old = getenv(name)) old_ = old;
        if (value == nullptr) {
            unsetenv(name);
        } else {
            setenv(name, value, 1);
        }
    }
    ~EnvironmentScope() {
        if (old_) {
            setenv(name_.c_str(), old_->c_str(), 1);
        } else {
            unsetenv(name_.c_str());
        }
    }

private:
    std::string name_;
    std::optional<std::string> old_;
};

TEST(CFLocale, IdentifierFromTheEnvironment) {
    struct Case {
        const char *lcAll;
        const char *lang;
        const char *identifier;
    } cases[] = {
        {nullptr, "en_US.UTF-8", "en_US"},
        {"de_DE.UTF-8@euro", "en_US.UTF-8", "de_DE"},
        {"", "fr_CA", "fr_CA"},
        {"sr_RS@latin", nullptr, "sr_RS"},
        {nullptr, "C", ""},
        {nullptr, "C.UTF-8", ""},
        {"POSIX", "en_US.UTF-8", ""},
        {nullptr, nullptr, ""},
        {nullptr, "ja", "ja"},
        {nullptr, "en_US.\xff", "en_US"},
        {nullptr, "\xff\xfe", ""},
    };
    EnvironmentScope noMessages("LC_MESSAGES", "sv_SE.UTF-8");  // never consulted
    for (const Case &c : cases) {
        EnvironmentScope all("LC_ALL", c.lcAll);
        EnvironmentScope lang("LANG", c.lang);
        Owned<CFLocaleRef> locale(CFLocaleCopyCurrent());
        ASSERT_NE(locale.get(), nullptr);
        EXPECT_EQ(CFGetTypeID(locale), CFLocaleGetTypeID());
        EXPECT_EQ(cftest::text(CFLocaleGetIdentifier(locale)), c.identifier)
            << "LC_ALL=" << (c.lcAll ? c.lcAll : "(unset)") << " LANG=" << (c.lang ? c.lang : "(unset)");
    }
}

TEST(CFLocale, WrongArgumentsGiveNull) {
    EXPECT_EQ(CFLocaleGetIdentifier(nullptr), nullptr);
    Owned<CFStringRef> notALocale(CFStringCreateWithCString(nullptr, "en_US", kCFStringEncodingUTF8));
    EXPECT_EQ(CFLocaleGetIdentifier(reinterpret_cast<CFLocaleRef>(notALocale.get())), nullptr);
}

TEST(CFLocale, LocalesWithTheSameIdentifierAreEqual) {
    EnvironmentScope all("LC_ALL", "it_IT.UTF-8");
    Owned<CFLocaleRef> first(CFLocaleCopyCurrent());
    Owned<CFLocaleRef> second(CFLocaleCopyCurrent());
    EXPECT_TRUE(CFEqual(first, second));
    EXPECT_EQ(CFHash(first), CFHash(second));
    Owned<CFStringRef> description(CFCopyDescription(first));
    EXPECT_NE(cftest::text(description).find("it_IT"), std::string::npos);
}

}  // namespace
