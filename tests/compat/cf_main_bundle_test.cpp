/*
 * The main bundle of a plain program: its executable's folder, with the
 * program itself as the executable.
 */
#include "cf_test_support.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

#include <unistd.h>

namespace {

std::string PathOf(CFURLRef url) {
    char sz[PATH_MAX];
    if (url == nullptr || !CFURLGetFileSystemRepresentation(url, true, reinterpret_cast<UInt8 *>(sz), sizeof sz)) {
        return "<none>";
    }
    return sz;
}

TEST(MainBundle, PlainProgramIsItsFolder) {
    char sz[PATH_MAX];
    const ssize_t n = readlink("/proc/self/exe", sz, sizeof sz - 1);
    ASSERT_GT(n, 0);
    const std::string szExecutable(sz, static_cast<size_t>(n));
    CFBundleRef bundle = CFBundleGetMainBundle();
    ASSERT_NE(bundle, nullptr);
    EXPECT_EQ(CFBundleGetMainBundle(), bundle); // made once
    cftest::Owned<CFURLRef> folder(CFBundleCopyBundleURL(bundle));
    cftest::Owned<CFURLRef> executable(CFBundleCopyExecutableURL(bundle));
    EXPECT_EQ(PathOf(folder), szExecutable.substr(0, szExecutable.rfind('/')));
    EXPECT_EQ(PathOf(executable), szExecutable);
}

} // namespace
