// LPlist: a property list written by Python's plistlib, values converted
// both ways, files written and read back (and read by plistlib when Python
// is there), and refusals that keep the old dictionary.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "tests/support/LTempFolder.h"
#include "xml/LPlist.h"

namespace {

using harlune::test::LTempFolder;

TEST(Plist, ReadsWhatPlistlibWrote) {
    LPlist plist;
    ASSERT_TRUE(plist.CreateFromFile(HARLUNE_XML_TEST_DATA "/plist_from_python.plist"));
    EXPECT_EQ(plist.GetSize(), 8u);
    const void* value = nullptr;

    bool bValue = false;
    ASSERT_TRUE(plist.GetValue("Enabled", value));
    EXPECT_TRUE(LPlist::ConvertFromValue(bValue, value));
    EXPECT_TRUE(bValue);
    ASSERT_TRUE(plist.GetValue("Disabled", value));
    EXPECT_TRUE(LPlist::ConvertFromValue(bValue, value));
    EXPECT_FALSE(bValue);

    int nValue = 0;
    float fValue = 0.0f;
    ASSERT_TRUE(plist.GetValue("Count", value));
    EXPECT_TRUE(LPlist::ConvertFromValue(nValue, value));
    EXPECT_EQ(nValue, 7);
    EXPECT_TRUE(LPlist::ConvertFromValue(fValue, value));
    EXPECT_EQ(fValue, 7.0f);
    ASSERT_TRUE(plist.GetValue("Negative", value));
    EXPECT_TRUE(LPlist::ConvertFromValue(nValue, value));
    EXPECT_EQ(nValue, -123456);
    ASSERT_TRUE(plist.GetValue("Ratio", value));
    EXPECT_TRUE(LPlist::ConvertFromValue(fValue, value));
    EXPECT_EQ(fValue, 0.5f);

    LStringLongTemplate<char> text;
    ASSERT_TRUE(plist.GetValue("Name", value));
    EXPECT_TRUE(LPlist::ConvertFromValue(text, value));
    EXPECT_STREQ(text.Get(), "Caf\xC3\xA9 <&> \"quoted\" \xF0\x9F\x98\x80");
    char szText[260];
    EXPECT_TRUE(LPlist::ConvertFromValue(szText, value));
    EXPECT_STREQ(szText, text.Get());
    nValue = 99;
    EXPECT_FALSE(LPlist::ConvertFromValue(nValue, value)) << "a string is not an integer";
    EXPECT_EQ(nValue, 99);

    unsigned long nSize = 0;
    EXPECT_TRUE(plist.GetValueArraySize("List", nSize));
    EXPECT_EQ(nSize, 3u);
    EXPECT_FALSE(plist.GetValueArraySize("Name", nSize));
    EXPECT_FALSE(plist.GetValueArraySize("Missing", nSize));

    LPlist nested;
    ASSERT_TRUE(plist.GetValue("Nested", value));
    ASSERT_TRUE(LPlist::ConvertFromValue(nested, value));
    EXPECT_TRUE(nested.TestKeyExists("Inner"));
    EXPECT_EQ(nested.GetSize(), 2u);
}

TEST(Plist, WritesAndReadsBackAndRefusesNonDictionaries) {
    LTempFolder folder;
    const std::string szPath = folder / "out.plist";
    LPlist plist;
    const void* value = nullptr;
    ASSERT_TRUE(LPlist::ConvertToValue(true, value));
    plist.SetValue("Flag", value);
    CFRelease(value);
    ASSERT_TRUE(LPlist::ConvertToValue(42, value));
    plist.SetValue("Answer", value);
    EXPECT_TRUE(plist.TestValueExists(value));
    CFRelease(value);
    ASSERT_TRUE(LPlist::ConvertToValue("text & <more>", value));
    plist.SetValue("Text", value);
    CFRelease(value);
    LPlist inner;
    ASSERT_TRUE(LPlist::ConvertToValue(1.5f, value));
    inner.SetValue("Half", value);
    CFRelease(value);
    ASSERT_TRUE(LPlist::ConvertToValue(inner, value));
    plist.SetValue("Inner", value);
    CFRelease(value);
    ASSERT_TRUE(plist.WriteToFile(szPath.c_str()));

    LPlist reread;
    ASSERT_TRUE(reread.CreateFromFile(szPath.c_str()));
    EXPECT_EQ(reread.GetSize(), 4u);
    bool bFlag = false;
    ASSERT_TRUE(reread.GetValue("Flag", value));
    EXPECT_TRUE(LPlist::ConvertFromValue(bFlag, value));
    EXPECT_TRUE(bFlag);

    // Python's plistlib reads the same file (when Python is there).
    const std::string szCommand =
        "python3 -c \"import plistlib,sys; d=plistlib.load(open(sys.argv[1],'rb')); "
        "sys.exit(0 if d=={'Flag':True,'Answer':42,'Text':'text & <more>','Inner':{'Half':1.5}} else 1)\" " +
        szPath + " 2>/dev/null";
    if (std::system("python3 -c 'import plistlib' 2>/dev/null") == 0) {
        EXPECT_EQ(std::system(szCommand.c_str()), 0) << "plistlib read the file differently";
    }

    // Not a property list, and a property list that is not a dictionary.
    const std::string szBad = folder / "bad.plist";
    for (const char* szContent :
         {"not xml at all", "<?xml version=\"1.0\"?><plist version=\"1.0\"><array><string>a</string></array></plist>"}) {
        std::ofstream(szBad, std::ios::trunc) << szContent;
        EXPECT_FALSE(reread.CreateFromFile(szBad.c_str())) << szContent;
        EXPECT_EQ(reread.GetSize(), 4u) << "the old dictionary stays";
    }
    EXPECT_FALSE(reread.CreateFromFile((folder / "missing.plist").c_str()));

    reread.RemoveValue("Flag");
    EXPECT_FALSE(reread.TestKeyExists("Flag"));
    reread.RemoveAllValues();
    EXPECT_EQ(reread.GetSize(), 0u);
}

} // namespace
