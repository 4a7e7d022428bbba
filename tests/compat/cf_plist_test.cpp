// XML property lists: round trips of every type, the exact output layout,
// mutability options, and a strict reader that refuses malformed input.
#include "cf_test_support.h"

#include <gtest/gtest.h>

#include <string>

using cftest::Owned;
using cftest::text;

namespace {

CFDataRef dataOf(const std::string &xml) {
    return CFDataCreate(nullptr, reinterpret_cast<const UInt8 *>(xml.data()), static_cast<CFIndex>(xml.size()));
}

std::string xmlOf(CFDataRef data) {
    return std::string(reinterpret_cast<const char *>(CFDataGetBytePtr(data)), static_cast<size_t>(CFDataGetLength(data)));
}

CFPropertyListRef parse(const std::string &xml, CFOptionFlags options = kCFPropertyListImmutable) {
    Owned<CFDataRef> data(dataOf(xml));
    return CFPropertyListCreateWithData(nullptr, data, options, nullptr, nullptr);
}

std::string plist(const std::string &body) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
           "<plist version=\"1.0\">\n" + body + "</plist>\n";
}

std::string nestedArrays(int depth) {
    std::string xml;
    for (int i = 0; i < depth; ++i) xml += "<array>";
    for (int i = 0; i < depth; ++i) xml += "</array>";
    return plist(xml);
}

/* A dictionary holding every property-list type, nested. */
CFDictionaryRef makeEverything() {
    CFMutableDictionaryRef dict =
        CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    auto set = [&](CFStringRef key, CFTypeRef value) {
        CFDictionarySetValue(dict, key, value);
        CFRelease(value);
    };
    set(CFSTR("string"), cftest::makeString("<tag> & \"quotes\" 'apos' caf\xC3\xA9 \xF0\x9F\x8E\xB5"));
    set(CFSTR("empty string"), cftest::makeString(""));
    SInt64 big = INT64_MIN;
    set(CFSTR("integer"), CFNumberCreate(nullptr, kCFNumberSInt64Type, &big));
    double real = -0.1;
    set(CFSTR("real"), CFNumberCreate(nullptr, kCFNumberFloat64Type, &real));
    CFDictionarySetValue(dict, CFSTR("yes"), kCFBooleanTrue);
    CFDictionarySetValue(dict, CFSTR("no"), kCFBooleanFalse);
    UInt8 bytes[256];
    for (int i = 0; i < 256; ++i) bytes[i] = static_cast<UInt8>(i);
    set(CFSTR("data"), CFDataCreate(nullptr, bytes, 256));
    set(CFSTR("date"), CFDateCreate(nullptr, 600000000.0));
    CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    const void *innerKeys[] = {CFSTR("k&<>")};
    const void *innerValues[] = {CFSTR("v")};
    CFDictionaryRef inner = CFDictionaryCreate(nullptr, innerKeys, innerValues, 1, &kCFTypeDictionaryKeyCallBacks,
                                               &kCFTypeDictionaryValueCallBacks);
    CFArrayAppendValue(array, inner);
    CFRelease(inner);
    CFArrayRef emptyArray = CFArrayCreate(nullptr, nullptr, 0, &kCFTypeArrayCallBacks);
    CFArrayAppendValue(array, emptyArray);
    CFRelease(emptyArray);
    set(CFSTR("array"), array);
    set(CFSTR("empty dict"), CFDictionaryCreate(nullptr, nullptr, nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                                &kCFTypeDictionaryValueCallBacks));
    return dict;
}

}  // namespace

TEST(CFPropertyList, RoundTripsEveryTypeNested) {
    Owned<CFDictionaryRef> original(makeEverything());
    ASSERT_TRUE(CFPropertyListIsValid(original, kCFPropertyListXMLFormat_v1_0));
    CFErrorRef error = nullptr;
    Owned<CFDataRef> xml(CFPropertyListCreateData(nullptr, original, kCFPropertyListXMLFormat_v1_0, 0, &error));
    ASSERT_NE(xml.get(), nullptr);
    EXPECT_EQ(error, nullptr);

    CFPropertyListFormat format = kCFPropertyListBinaryFormat_v1_0;
    Owned<CFPropertyListRef> back(
        CFPropertyListCreateWithData(nullptr, xml, kCFPropertyListImmutable, &format, &error));
    ASSERT_NE(back.get(), nullptr) << xmlOf(xml);
    EXPECT_EQ(format, kCFPropertyListXMLFormat_v1_0);
    EXPECT_TRUE(CFEqual(back, original)) << cftest::describe(back);
    // Writing the result again gives the same bytes: output is deterministic.
    Owned<CFDataRef> again(CFPropertyListCreateData(nullptr, back, kCFPropertyListXMLFormat_v1_0, 0, nullptr));
    EXPECT_EQ(xmlOf(again), xmlOf(xml));
}

TEST(CFPropertyList, WritesTheStandardLayout) {
    const void *keys[] = {CFSTR("b"), CFSTR("a"), CFSTR("list")};
    SInt32 one = 1;
    Owned<CFNumberRef> number(CFNumberCreate(nullptr, kCFNumberSInt32Type, &one));
    const void *items[] = {number.get(), kCFBooleanTrue};
    Owned<CFArrayRef> list(CFArrayCreate(nullptr, items, 2, &kCFTypeArrayCallBacks));
    const UInt8 bytes[] = {0, 1, 2};
    Owned<CFDataRef> data(CFDataCreate(nullptr, bytes, 3));
    const void *values[] = {data.get(), CFSTR("x<y"), list.get()};
    Owned<CFDictionaryRef> dict(CFDictionaryCreate(nullptr, keys, values, 3, &kCFTypeDictionaryKeyCallBacks,
                                                   &kCFTypeDictionaryValueCallBacks));
    Owned<CFDataRef> xml(CFPropertyListCreateData(nullptr, dict, kCFPropertyListXMLFormat_v1_0, 0, nullptr));
    EXPECT_EQ(xmlOf(xml), plist("<dict>\n"
                                "\t<key>a</key>\n"
                                "\t<string>x&lt;y</string>\n"
                                "\t<key>b</key>\n"
                                "\t<data>\n"
                                "\tAAEC\n"
                                "\t</data>\n"
                                "\t<key>list</key>\n"
                                "\t<array>\n"
                                "\t\t<integer>1</integer>\n"
                                "\t\t<true/>\n"
                                "\t</array>\n"
                                "</dict>\n"));
}

TEST(CFPropertyList, DecodesEntitiesCDataAndComments) {
    Owned<CFPropertyListRef> value(parse(plist(
        "<!-- a comment --><string>&lt;&gt;&amp;&quot;&apos;&#65;&#x42;&#x1F3B5;<![CDATA[<raw&>]]></string>\n")));
    EXPECT_EQ(text(static_cast<CFStringRef>(value.get())), "<>&\"'AB\xF0\x9F\x8E\xB5<raw&>");
    // A bare value without the <plist> wrapper is accepted too.
    Owned<CFPropertyListRef> bare(parse("<integer> -0x10 </integer>"));
    SInt64 number = 0;
    CFNumberGetValue(static_cast<CFNumberRef>(bare.get()), kCFNumberSInt64Type, &number);
    EXPECT_EQ(number, -16);
}

TEST(CFPropertyList, RefusesMalformedInput) {
    struct Case {
        const char *name;
        std::string xml;
    } cases[] = {
        {"empty input", ""},
        {"declaration only", "<?xml version=\"1.0\"?>"},
        {"unclosed dict", plist("<dict><key>a</key><string>b</string>")},
        {"mismatched end tag", plist("<array></dict>")},
        {"unknown element", plist("<dict><key>a</key><color/></dict>")},
        {"string as dictionary key", plist("<dict><string>a</string><string>b</string></dict>")},
        {"key without value", plist("<dict><key>a</key></dict>")},
        {"key outside dictionary", plist("<key>a</key>")},
        {"text between elements", plist("<array>junk<true/></array>")},
        {"element inside string", plist("<string>a<b/>c</string>")},
        {"text inside true", plist("<true>yes</true>")},
        {"bad base64 character", plist("<data>AA*=</data>")},
        {"bad base64 length", plist("<data>QQ=</data>")},
        {"data after padding", plist("<data>QQ==QQ==</data>")},
        {"integer with junk", plist("<integer>12a</integer>")},
        {"integer overflow", plist("<integer>9223372036854775808</integer>")},
        {"empty integer", plist("<integer></integer>")},
        {"bad real", plist("<real>1.2.3</real>")},
        {"bad month", plist("<date>2020-13-01T00:00:00Z</date>")},
        {"date without zone", plist("<date>2020-01-01T00:00:00</date>")},
        {"unknown entity", plist("<string>&nbsp;</string>")},
        {"NUL character reference", plist("<string>&#0;</string>")},
        {"surrogate reference", plist("<string>&#xD800;</string>")},
        {"unterminated entity", plist("<string>&amp</string>")},
        {"invalid UTF-8 text", plist("<string>\xC3</string>")},
        {"two roots", plist("<true/><false/>")},
        {"content after plist", plist("<true/>") + "<false/>"},
        {"empty plist", "<plist version=\"1.0\"/>"},
        {"unquoted attribute", "<plist version=1.0><true/></plist>"},
        {"unterminated comment", plist("<!-- <true/>")},
        {"unterminated CDATA", plist("<string><![CDATA[abc</string>")},
        {"nesting beyond the limit", nestedArrays(513)},
        {"binary format", "bplist00\x01\x02"},
    };
    for (const Case &c : cases) {
        Owned<CFDataRef> data(dataOf(c.xml));
        CFErrorRef error = nullptr;
        Owned<CFPropertyListRef> result(
            CFPropertyListCreateWithData(nullptr, data, kCFPropertyListImmutable, nullptr, &error));
        EXPECT_EQ(result.get(), nullptr) << c.name;
        ASSERT_NE(error, nullptr) << c.name;
        EXPECT_TRUE(CFEqual(CFErrorGetDomain(error), kCFErrorDomainCocoa)) << c.name;
        CFRelease(error);
    }
}

TEST(CFPropertyList, AcceptsNestingUpToTheLimitAndNamesTheFaultyLine) {
    Owned<CFPropertyListRef> deep(parse(nestedArrays(512)));
    ASSERT_NE(deep.get(), nullptr);
    Owned<CFDataRef> written(CFPropertyListCreateData(nullptr, deep, kCFPropertyListXMLFormat_v1_0, 0, nullptr));
    EXPECT_NE(written.get(), nullptr);

    Owned<CFDataRef> data(dataOf(plist("<dict>\n<key>a</key>\n<integer>x</integer>\n</dict>\n")));
    CFErrorRef error = nullptr;
    EXPECT_EQ(CFPropertyListCreateWithData(nullptr, data, 0, nullptr, &error), nullptr);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(CFErrorGetCode(error), kCFPropertyListReadCorruptError);
    Owned<CFStringRef> description(CFErrorCopyDescription(error));
    EXPECT_NE(text(description).find("line 6"), std::string::npos) << text(description);
    CFRelease(error);
}

TEST(CFPropertyList, HonoursMutabilityOptions) {
    const std::string xml = plist("<dict><key>list</key><array><string>s</string></array></dict>");
    Owned<CFPropertyListRef> immutable(parse(xml, kCFPropertyListImmutable));
    auto dict = static_cast<CFMutableDictionaryRef>(const_cast<void *>(immutable.get()));
    CFDictionarySetValue(dict, CFSTR("new"), kCFBooleanTrue);
    EXPECT_EQ(CFDictionaryGetCount(dict), 1);

    Owned<CFPropertyListRef> containers(parse(xml, kCFPropertyListMutableContainers));
    dict = static_cast<CFMutableDictionaryRef>(const_cast<void *>(containers.get()));
    CFDictionarySetValue(dict, CFSTR("new"), kCFBooleanTrue);
    EXPECT_EQ(CFDictionaryGetCount(dict), 2);
    auto list = static_cast<CFMutableArrayRef>(const_cast<void *>(CFDictionaryGetValue(dict, CFSTR("list"))));
    CFArrayAppendValue(list, kCFBooleanFalse);
    EXPECT_EQ(CFArrayGetCount(list), 2);
    auto leaf = static_cast<CFMutableStringRef>(const_cast<void *>(CFArrayGetValueAtIndex(list, 0)));
    CFStringAppend(leaf, CFSTR("!"));
    EXPECT_EQ(text(leaf), "s");

    Owned<CFPropertyListRef> leaves(parse(xml, kCFPropertyListMutableContainersAndLeaves));
    list = static_cast<CFMutableArrayRef>(
        const_cast<void *>(CFDictionaryGetValue(static_cast<CFDictionaryRef>(leaves.get()), CFSTR("list"))));
    leaf = static_cast<CFMutableStringRef>(const_cast<void *>(CFArrayGetValueAtIndex(list, 0)));
    CFStringAppend(leaf, CFSTR("!"));
    EXPECT_EQ(text(leaf), "s!");
}

TEST(CFPropertyList, ValidatesTreesBeforeWriting) {
    Owned<CFURLRef> url(CFURLCreateWithFileSystemPath(nullptr, CFSTR("/tmp"), kCFURLPOSIXPathStyle, true));
    SInt32 one = 1;
    Owned<CFNumberRef> number(CFNumberCreate(nullptr, kCFNumberSInt32Type, &one));
    const void *badKeys[] = {number.get()};
    const void *badValues[] = {CFSTR("v")};
    Owned<CFDictionaryRef> numberKey(CFDictionaryCreate(nullptr, badKeys, badValues, 1, &kCFTypeDictionaryKeyCallBacks,
                                                        &kCFTypeDictionaryValueCallBacks));
    const void *urlItem[] = {url.get()};
    Owned<CFArrayRef> withURL(CFArrayCreate(nullptr, urlItem, 1, &kCFTypeArrayCallBacks));
    Owned<CFMutableArrayRef> cycle(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
    CFArrayAppendValue(cycle, cycle);

    for (CFTypeRef invalid : {static_cast<CFTypeRef>(numberKey.get()), static_cast<CFTypeRef>(withURL.get()), static_cast<CFTypeRef>(cycle.get())}) {
        EXPECT_FALSE(CFPropertyListIsValid(invalid, kCFPropertyListXMLFormat_v1_0));
        CFErrorRef error = nullptr;
        EXPECT_EQ(CFPropertyListCreateData(nullptr, invalid, kCFPropertyListXMLFormat_v1_0, 0, &error), nullptr);
        EXPECT_NE(error, nullptr);
        CFRelease(error);
    }
    CFArrayRemoveAllValues(cycle);  // break the cycle so the array can be freed

    EXPECT_EQ(CFPropertyListCreateData(nullptr, CFSTR("s"), kCFPropertyListBinaryFormat_v1_0, 0, nullptr), nullptr);
    EXPECT_FALSE(CFPropertyListIsValid(number, kCFPropertyListOpenStepFormat));
}

TEST(CFPropertyList, DeepCopiesAreEqualAndIndependent) {
    Owned<CFDictionaryRef> original(makeEverything());
    Owned<CFPropertyListRef> copy(
        CFPropertyListCreateDeepCopy(nullptr, original, kCFPropertyListMutableContainersAndLeaves));
    ASSERT_TRUE(CFEqual(copy, original));
    auto dict = static_cast<CFMutableDictionaryRef>(const_cast<void *>(copy.get()));
    auto string = static_cast<CFMutableStringRef>(const_cast<void *>(CFDictionaryGetValue(dict, CFSTR("string"))));
    CFStringAppend(string, CFSTR("changed"));
    EXPECT_FALSE(CFEqual(copy, original));
}
