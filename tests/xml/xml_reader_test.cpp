// The reader: trees and first errors (with line and column) for inputs that
// exercise every token reader and every error path.
#include <gtest/gtest.h>

#include <cctype>
#include <string>

#include "tests/xml/LXMLDump.h"
#include "threads/LProcessInterfaceVoid.h"
#include "xml/LXML.h"

namespace {

using harlune::test::DumpChildren;

struct ReadCase {
    const char* szName;
    bool bDocument; // loaded into a document (text kept) or a plain element (text trimmed)
    const char* szInput;
    const char* szTree;
    const char* szError; // "" when the load has no error
};

const ReadCase kReadCases[] = {
    {"attribute quoting", false, "<a x=1 y='2' z=\"3\"/>", "(a @x=1 @y=2 @z=3)", ""},
    {"attributes sorted, last repeat wins", false, "<a b=\"2\" a=\"1\" b=\"3\"/>", "(a @a=1 @b=3)", ""},
    {"space around equals", false, "<a x = \"1\"/>", "(a @x=1)", ""},
    {"other quote inside value", false, "<a x=\"it's\" y='say \"hi\"'/>", "(a @x=it's @y=say \"hi\")", ""},
    {"delimiters inside quotes", false, "<a x=\"p/q = r>s\"/>", "(a @x=p/q = r>s)", ""},
    {"attribute without value", false, "<a flag/>", "(a @flag=)", ""},
    {"entity in attribute", false, "<a x=\"&lt;&#x263A;&gt;\"/>", "(a @x=<\u263a>)", ""},
    {"empty element forms", false, "<r><br/><a x=\"1\" /><c></c></r>", "(r (br) (a @x=1) (c))", ""},
    {"document keeps spaces", true, "<v>  7  </v>", "(v \"  7  \")", ""},
    {"element trims control characters", false, "<v>\t7\n</v>", "(v \"7\")", ""},
    {"element keeps spaces", false, "<v>  7  </v>", "(v \"  7  \")", ""},
    {"xml:space keeps control characters", false, "<v XML:Space=\"x\">\t7\n</v>", "(v \"\\t7\\n\")", ""},
    {"space flag inherited", false, "<a xml:space=\"preserve\"><b>\tx\t</b></a>", "(a (b \"\\tx\\t\"))", ""},
    {"character references", false, "<t>&#x41;&#65;&#X41;</t>", "(t \"AA\")", ""},
    {"hex reference skips other characters", false, "<t>&#x4g1;</t>", "(t \"A\")", ""},
    {"reference above 16 bits is cut", false, "<t>&#x10041;</t>", "(t \"A\")", ""},
    {"reference zero and surrogate give nothing", false, "<t>a&#0;&#xD800;b</t>", "(t \"ab\")", ""},
    {"named entities", false, "<t>&amp;&lt;&gt;&quot;&apos;</t>", "(t \"&<>\\\"'\")", ""},
    {"unknown entity", false, "<t>&unknown;</t>", "(t \"&\")", ""},
    {"entity of 23 characters", false, "<t>&abcdefghijklmnopqrstuvw;x</t>", "(t \"&x\")", ""},
    {"entity of 24 characters", false, "<t>&abcdefghijklmnopqrstuvwx;</t>", "(t \";\")",
     "Ln 1, Col 29: Strings starting with an ampersand (&) must end with a semicolon (;). Either replace the '&' "
     "with '&amp;' or add a ';' at the end of the control string."},
    {"ampersand before space", false, "<t>a & b</t>", "(t \"a b\")",
     "Ln 1, Col 8: Strings starting with an ampersand (&) must end with a semicolon (;). Either replace the '&' "
     "with '&amp;' or add a ';' at the end of the control string."},
    {"ampersand at end of text", false, "<t>a&b", "(t \"a\")",
     "Ln 1, Col 7: Strings starting with an ampersand (&) must end with a semicolon (;). Either replace the '&' "
     "with '&amp;' or add a ';' at the end of the control string."},
    {"line breaks become LF", true, "<t>a\r\nb\n\rc\rd\ne</t>", "(t \"a\\nb\\nc\\nd\\ne\")", ""},
    {"comment", false, "<!-- note -->", "(!-- \" note \")", ""},
    {"empty comment", false, "<!---->", "(!-- \"\")", ""},
    {"comment holding markup", false, "<!--<a>&amp;-->", "(!-- \"<a>&amp;\")", ""},
    {"cdata", false, "<r><![CDATA[<x>&amp;]]]></r>", "(r (![CDATA[ \"<x>&amp;]\"))", ""},
    {"doctype with internal subset", false, "<!DOCTYPE a [<!ELEMENT a (#PCDATA)>]><a/>",
     "(!DOCTYPE \" a [<!ELEMENT a (#PCDATA)>]\") (a)", ""},
    {"declaration", false, "<?xml version=\"1.0\" encoding=\"UTF-8\"?><r/>", "(?xml @encoding=UTF-8 @version=1.0) (r)",
     ""},
    {"declaration in a document", true, "<?xml version=\"1.0\"?>\n<r/>\n", "(?xml @version=1.0) \"\\n\" (r) \"\\n\"", ""},
    {"end tag with space before its >", false, "<a>x</a >y", "(a \"x\") \"y\"", ""},
    {"end tag name read its >", false, "<a>x</a>y", "(a \"x\") \"y\"", ""},
    {"mismatched end tag", false, "<a>1</b>", "(a \"1\")",
     "Ln 1, Col 9: Element <a> should be terminated with </a>, was with b. Check you have terminated your element "
     "properly."},
    {"mismatch on a later line", false, "<a>\n  <b>\n</a>", "(a \"  \" (b))",
     "Ln 3, Col 5: Element <b> should be terminated with </b>, was with a. Check you have terminated your element "
     "properly."},
    {"only the first error is kept", false, "<a>1</b><c>&x y</c>", "(a \"1\") (c \"y\")",
     "Ln 1, Col 9: Element <a> should be terminated with </a>, was with b. Check you have terminated your element "
     "properly."},
    {"end of text inside an element", false, "<a><b>x", "(a (b \"x\"))",
     "Ln 1, Col 8: (EOF) Element <b> should be terminated with </b>. Check you have terminated your element "
     "properly."},
    {"end of text inside a comment", false, "<r><!-- open", "(r (!--))",
     "Ln 1, Col 13: (EOF) Element <!--> should be terminated with </!-->. Check you have terminated your element "
     "properly."},
    {"end of text inside a start tag", false, "<a x=\"1\"", "(a @x=1)",
     "Ln 1, Col 9: Tag <a> does not have a closing '>'"},
    {"less-than without a name", false, "<a>1 < 2</a>", "(a \"1 \") \"2\"",
     "Ln 1, Col 8: Misplaced < without name. Use &lt; instead of < if appropriate."},
    {"end tag at document level", true, "</x>", "",
     "Ln 1, Col 5: Misplaced </x> which does not match a <x>."},
    {"unquoted value ended by slash makes the element empty", false, "<a href=x/y>t</a>", "(a @href=x @y=) \"t\"",
     "Misplaced </a> which does not match a <a>."},
    {"unknown bang element runs to the end", false, "<!foo>bar", "(!foo)",
     "Ln 1, Col 10: (EOF) Element <!foo> should be terminated with </!foo>. Check you have terminated your element "
     "properly."},
    {"characters 128 to 255 kept", false, "<\xc3\xa9 \xc3\xa0=\"\xe2\x82\xac\">\xf0\x9f\x98\x80</\xc3\xa9>",
     "(\xc3\xa9 @\xc3\xa0=\xe2\x82\xac \"\xf0\x9f\x98\x80\")", ""},
};

class XMLReadTable : public testing::TestWithParam<ReadCase> {};

TEST_P(XMLReadTable, BuildsTreeAndReportsFirstError) {
    const ReadCase& c = GetParam();
    char szError[kXMLErrorBufferSize] = "stale";
    LXMLDocument document;
    LXMLElement element;
    LXMLElement& root = c.bDocument ? static_cast<LXMLElement&>(document) : element;
    LXMLLoaderTemplate<char> loader(c.szInput, szError);
    root.LoadData(loader);
    EXPECT_EQ(DumpChildren(root), c.szTree);
    const std::string szExpected = c.szError;
    if (szExpected.rfind("Ln ", 0) == 0 || szExpected.empty()) {
        EXPECT_EQ(std::string(szError), szExpected);
    } else {
        // Only the message matters here, not where it was found.
        EXPECT_NE(std::string(szError).find(szExpected), std::string::npos) << szError;
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, XMLReadTable, testing::ValuesIn(kReadCases), [](const auto& info) {
    std::string szName;
    for (const char* p = info.param.szName; *p != '\0'; ++p) {
        szName.push_back(std::isalnum(static_cast<unsigned char>(*p)) ? *p : '_');
    }
    return szName;
});

struct TagCase {
    const char* szInput;
    const char* szName;
    char cEnd;
};

TEST(XMLLoadTag, SpecialNamesEndAsSoonAsComplete) {
    const TagCase kCases[] = {
        {"!--x", "!--", '-'},
        {"!DOCTYPE x", "!DOCTYPE", 'E'},
        {"![CDATA[x", "![CDATA[", '['},
        {"!-x-", "!-x-", '\0'},
        {"name/>", "name", '/'},
        {"a\"b c\"d e", "ab cd", ' '},
        {"a&amp;b=", "a&b", '='},
        {"", "", '\0'},
    };
    for (const TagCase& c : kCases) {
        char szName[kXMLNameBufferSize];
        LXMLLoaderTemplate<char> loader(c.szInput, nullptr);
        EXPECT_EQ(XMLLoadTag(loader, szName), c.cEnd) << c.szInput;
        EXPECT_STREQ(szName, c.szName) << c.szInput;
    }
}

TEST(XMLLoadTag, KeepsAtMost259Characters) {
    const std::string szInput = std::string(300, 'n') + ">";
    char szName[kXMLNameBufferSize];
    LXMLLoaderTemplate<char> loader(szInput.c_str(), nullptr);
    EXPECT_EQ(XMLLoadTag(loader, szName), '>');
    EXPECT_EQ(std::string(szName), std::string(259, 'n'));
    EXPECT_EQ(loader.nColumn, 302);
}

TEST(XMLLoadAttribute, SkipsOneSpaceAndStopsAtDelimiter) {
    const struct {
        const char* szInput;
        const char* szValue;
        char cEnd;
    } kCases[] = {
        {" \"v\" ", "v", ' '}, {"  v", "", ' '}, {"v/>", "v", '/'}, {"'a>b'>", "a>b", '>'}, {"&gt;x", ">x", '\0'},
    };
    for (const auto& c : kCases) {
        LStringLongTemplate<char> value("stale");
        LXMLLoaderTemplate<char> loader(c.szInput, nullptr);
        EXPECT_EQ(XMLLoadAttribute(loader, value), c.cEnd) << c.szInput;
        EXPECT_STREQ(value.Get(), c.szValue) << c.szInput;
    }
}

TEST(XMLReader, ErrorMessagesAreCutTo259Characters) {
    const std::string szName(259, 'a');
    const std::string szInput = "<" + szName + ">";
    char szError[kXMLErrorBufferSize];
    LXMLElement root;
    LXMLLoaderTemplate<char> loader(szInput.c_str(), szError);
    root.LoadData(loader);
    EXPECT_EQ(std::string(szError).size(), 259u);
    EXPECT_EQ(std::string(szError).rfind("Ln 1, Col 262: (EOF) Element <aaa", 0), 0u) << szError;
}

TEST(XMLReader, DeepNestingIsReportedNotCrashed) {
    std::string szInput;
    for (int i = 0; i < 100000; ++i) {
        szInput += "<d>";
    }
    char szError[kXMLErrorBufferSize];
    LXMLElement root;
    LXMLLoaderTemplate<char> loader(szInput.c_str(), szError);
    root.LoadData(loader);
    EXPECT_NE(std::string(szError).find("nested more than 1000 levels"), std::string::npos) << szError;
    int nDepth = 0;
    for (const LXMLElement* p = root.pFirstChild; p != nullptr; p = p->pFirstChild) {
        ++nDepth;
    }
    EXPECT_EQ(nDepth, 1000);
}

TEST(XMLReader, WideDocumentsLoadInLinearTime) {
    // Appending by walking the child list would make this quadratic (some
    // 10^10 steps), far beyond the test's timeout.
    constexpr int kSiblings = 200000;
    std::string szInput = "<r>";
    for (int i = 0; i < kSiblings; ++i) {
        szInput += "<i>1</i>";
    }
    szInput += "</r>";
    LXMLDocument document;
    char szError[kXMLErrorBufferSize];
    ASSERT_TRUE(document.LoadFromText(szInput.c_str(), szError)) << szError;
    int nCount = 0;
    for (LXMLElement::ConstNamedElementIterator it(*document.GetRootElement(), "i"); it; it.Next()) {
        ++nCount;
    }
    EXPECT_EQ(nCount, kSiblings);
}

// Stops after a fixed number of questions.
class LStopAfter : public LProcessInterfaceVoid {
public:
    explicit LStopAfter(int nAnswers) : nLeft(nAnswers) {}
    bool IsToStop() override {
        ++nAsked;
        return nLeft-- <= 0;
    }
    int nLeft;
    int nAsked = 0;
};

TEST(XMLReader, StopRequestEndsEveryLevelWithoutMessage) {
    // The first question comes after the 5000 characters of b, the second
    // after those of c.
    const std::string szInput =
        "<r><a><b>" + std::string(5000, 'x') + "</b><c>" + std::string(5000, 'y') + "</c></a><after/></r>";
    LStopAfter process(1);
    char szError[kXMLErrorBufferSize];
    LXMLElement root;
    LXMLLoaderTemplate<char> loader(szInput.c_str(), szError, &process);
    root.LoadData(loader);
    EXPECT_STREQ(szError, "");
    EXPECT_GE(process.nAsked, 2);
    EXPECT_EQ(root.GetElement("r")->GetElement("after"), nullptr);
}

} // namespace
