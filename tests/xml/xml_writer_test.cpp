// The writers: indented and compact text of loaded and built trees.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "xml/LXML.h"

namespace {

struct WriteCase {
    const char* szInput;  // loaded into a document
    int nIndent;          // for the indented writer
    const char* szIndented;
    const char* szCompact;
};

const WriteCase kWriteCases[] = {
    {"<a x=1 y='2' z=\"3\"/>", 0, "<a x=\"1\" y=\"2\" z=\"3\"/>\n", "<a x=\"1\" y=\"2\" z=\"3\"/>"},
    {"<a b=\"2\" a=\"1\" b=\"3\"/>", 0, "<a a=\"1\" b=\"3\"/>\n", "<a a=\"1\" b=\"3\"/>"},
    {"<A>x</A>", 2, "\t\t<A>x</A>\n", "<A>x</A>"},
    {"<a v=\"&lt;&amp;&quot;'&gt;\">x&lt;y'</a>", 0, "<a v=\"&lt;&amp;&quot;'&gt;\">x&lt;y'</a>\n",
     "<a v=\"&lt;&amp;&quot;'&gt;\">x&lt;y'</a>"},
    {"<e>  \n\t</e>", 0, "<e/>\n", "<e>  \n\t</e>"},
    {"<e></e>", 1, "\t<e/>\n", "<e/>"},
    {"<!-- note -->", 0, "<!-- note -->\n", "<!-- note -->"},
    {"<![CDATA[a<b]]>", 0, "<![CDATA[a<b]]>\n", "<![CDATA[a<b]]>"},
    {"<!DOCTYPE r [<!ENTITY e \"x\">]>", 0, "<!DOCTYPE r [<!ENTITY e \"x\">]>\n", "<!DOCTYPE r [<!ENTITY e \"x\">]>"},
    {"<?xml encoding=\"UTF-8\" version=\"1.0\"?>", 0, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n",
     "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"},
    {"<?xml VERSION=\"2\" a=\"b\"?>", 0, "<?xml a=\"b\"?>\n", "<?xml a=\"b\"?>"},
    {"<?pi x=\"1\"?>", 0, "<?pi x=\"1\"?>\n", "<?pi x=\"1\"?>"},
    {"<a><b>x</b><c/></a>", 0, "<a>\n\t<b>x</b>\n\t<c/>\n</a>\n", "<a><b>x</b><c/></a>"},
    {"<a>\n\t<b>x</b>\n</a>", 1, "\t<a>\n\t\t<b>x</b>\n\t</a>\n", "<a>\n\t<b>x</b>\n</a>"},
    {"<t>one\r\ntwo\n\rthree\rfour</t>", 0, "<t>one\ntwo\nthree\nfour</t>\n", "<t>one\ntwo\nthree\nfour</t>"},
};

class XMLWriteTable : public testing::TestWithParam<WriteCase> {};

TEST_P(XMLWriteTable, IndentedAndCompact) {
    const WriteCase& c = GetParam();
    LXMLDocument document;
    char szError[kXMLErrorBufferSize];
    ASSERT_TRUE(document.LoadFromText(c.szInput, szError)) << szError;
    ASSERT_NE(document.pFirstChild, nullptr);
    const LXMLElement& node = *document.pFirstChild;

    LStringLongTemplate<char> indented("before:");
    EXPECT_TRUE(node.SaveToBuffer(indented, c.nIndent));
    EXPECT_EQ(std::string(indented.Get()), std::string("before:") + c.szIndented);

    LStringLongTemplate<char> compact;
    EXPECT_TRUE(node.SaveToBufferNoFormatting(compact));
    EXPECT_STREQ(compact.Get(), c.szCompact);
}

INSTANTIATE_TEST_SUITE_P(Cases, XMLWriteTable, testing::ValuesIn(kWriteCases));

TEST(XMLWriter, DocumentOfTheSettingsFileShape) {
    const char* szInput =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n"
        "<!--settings-->\r\n"
        "<Settings><Item>5</Item><Group><A>x</A></Group></Settings>\r\n";
    LXMLDocument document;
    char szError[kXMLErrorBufferSize];
    ASSERT_TRUE(document.LoadFromText(szInput, szError)) << szError;
    std::string szSaved;
    document.SaveDocumentToString(szSaved);
    EXPECT_EQ(szSaved,
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<!--settings-->\n"
              "<Settings>\n"
              "\t<Item>5</Item>\n"
              "\t<Group>\n"
              "\t\t<A>x</A>\n"
              "\t</Group>\n"
              "</Settings>\n");

    // What was written reads back as the same tree and writes the same text.
    LXMLDocument reloaded;
    ASSERT_TRUE(reloaded.LoadFromText(szSaved.c_str(), szError)) << szError;
    std::string szAgain;
    reloaded.SaveDocumentToString(szAgain);
    EXPECT_EQ(szAgain, szSaved);
}

TEST(XMLWriter, TextNodesReportWhetherTheyWrote) {
    const struct {
        const char* szData;
        bool bIndented;
        bool bCompact;
    } kCases[] = {{"", false, false}, {" \t\r\n", false, true}, {"x", true, true}};
    for (const auto& c : kCases) {
        LXMLElement* pText = LXMLElement::NewTextNode(c.szData, std::strlen(c.szData), false);
        LStringLongTemplate<char> out;
        EXPECT_EQ(pText->SaveToBuffer(out, 3), c.bIndented) << '"' << c.szData << '"';
        EXPECT_EQ(pText->SaveToBufferNoFormatting(out), c.bCompact) << '"' << c.szData << '"';
        delete pText;
    }
}

TEST(XMLWriter, BuiltTreeRoundTripsThroughText) {
    LXMLDocument document;
    LXMLElement* pRoot = document.AddElement("Root");
    pRoot->SetAttribute("quote", "a\"b&c<d>");
    LXMLElement* pItem = pRoot->AddElement("Item");
    pRoot->SetString("Item", "line 1\r\nline <2> & \"3\"");
    pItem->AddElement("ignored");
    pRoot->SetString("Item", "tab\there");

    std::string szText;
    document.SaveDocumentToString(szText);
    LXMLDocument reloaded;
    char szError[kXMLErrorBufferSize];
    ASSERT_TRUE(reloaded.LoadFromText(szText.c_str(), szError)) << szError;
    const LXMLElement* pLoaded = reloaded.GetRootElement();
    ASSERT_NE(pLoaded, nullptr);
    EXPECT_STREQ(pLoaded->GetAttribute("quote"), "a\"b&c<d>");
    char szValue[260];
    pLoaded->GetString("Item", "", szValue);
    EXPECT_STREQ(szValue, "tab\there");
}

} // namespace
