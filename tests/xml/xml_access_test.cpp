// Look-ups, typed getters and setters, deletion, iterators and copies.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/xml/LXMLDump.h"
#include "xml/LXML.h"

namespace {

using harlune::test::DumpChildren;

LXMLElement Load(const char* szText) {
    LXMLElement root;
    char szError[kXMLErrorBufferSize];
    LXMLLoaderTemplate<char> loader(szText, szError);
    root.LoadData(loader);
    EXPECT_STREQ(szError, "") << szText;
    return root;
}

TEST(XMLAccess, GettersOfPresentAndMissingChildren) {
    const LXMLElement root = Load("<n>12abc</n><f> 2.5x</f><e></e><s>  spaced  </s><neg>-7</neg>");
    const struct {
        const char* szName;
        int nInt;
        double fFloat;
        double fFloatOrDefault;
        const char* szString;
    } kCases[] = {
        {"n", 12, 12.0, 12.0, "12abc"},
        {"f", 2, 2.5, 2.5, " 2.5x"},
        {"e", 0, 0.0, -1.0, ""},
        {"s", 0, 0.0, 0.0, "  spaced  "},
        {"neg", -7, -7.0, -7.0, "-7"},
        {"missing", 99, 0.0, -1.0, "default"},
    };
    for (const auto& c : kCases) {
        EXPECT_EQ(root.GetInt(c.szName, 99), c.nInt) << c.szName;
        EXPECT_DOUBLE_EQ(root.GetFloat(c.szName), c.fFloat) << c.szName;
        EXPECT_DOUBLE_EQ(root.GetFloat(c.szName, -1.0), c.fFloatOrDefault) << c.szName;
        char szValue[260];
        root.GetString(c.szName, "default", szValue);
        EXPECT_STREQ(szValue, c.szString) << c.szName;
    }
}

TEST(XMLAccess, TextNodeChildrenAnswerToTheEmptyName) {
    const LXMLElement root = Load("plain<a/>");
    EXPECT_TRUE(root.TestFieldExists(nullptr));
    EXPECT_TRUE(root.TestFieldExists(""));
    EXPECT_TRUE(root.TestFieldExists("a"));
    EXPECT_FALSE(root.TestFieldExists("b"));
    char szValue[260];
    root.GetString(nullptr, "default", szValue);
    EXPECT_STREQ(szValue, "plain");
    EXPECT_STREQ(root.GetElementData(), "plain");
}

TEST(XMLAccess, GetStringCutsAtACharacterBoundary) {
    // 129 two-byte characters: 258 bytes fit, the next character would not.
    std::string szValue;
    for (int i = 0; i < 130; ++i) {
        szValue += "\xc3\xa9";
    }
    LXMLElement root;
    root.AddElement("v");
    root.SetString("v", szValue.c_str());
    char szOut[260];
    root.GetString("v", "", szOut);
    EXPECT_EQ(std::string(szOut), szValue.substr(0, 258));
}

TEST(XMLAccess, SettersReplaceChildrenOfExistingElementsOnly) {
    LXMLElement root = Load("<a><x/><y>old</y></a><b>1</b>");
    root.SetString("a", "new");
    root.SetInt("b", -42);
    root.SetString("missing", "ignored");
    EXPECT_EQ(DumpChildren(root), "(a \"new\") (b \"-42\")");
    root.AddElement("f");
    root.SetFloat("f", 0.5);
    EXPECT_DOUBLE_EQ(root.GetFloat("f"), 0.5);
    char szValue[260];
    root.GetString("f", "", szValue);
    EXPECT_STREQ(szValue, "0.500000");
}

TEST(XMLAccess, DeleteElementRemovesEveryChildOfThatNameOnly) {
    const struct {
        const char* szInput;
        const char* szName;
        bool bRemoved;
        const char* szAfter;
    } kCases[] = {
        {"<a/><b/><a/><c/><a/>", "a", true, "(b) (c)"},
        {"<a/><b/>", "b", true, "(a)"},
        {"<a/><b/>", "z", false, "(a) (b)"},
        {"<item>1</item><__item>2</__item>", "item", true, "(__item \"2\")"},
    };
    for (const auto& c : kCases) {
        LXMLElement root = Load(c.szInput);
        EXPECT_EQ(root.DeleteElement(c.szName), c.bRemoved) << c.szInput;
        EXPECT_EQ(DumpChildren(root), c.szAfter) << c.szInput;
    }
}

std::vector<std::string> Values(LXMLElement& root, const char* szName) {
    std::vector<std::string> arValues;
    for (LXMLElement::NamedElementIterator it(root, szName); it; it.Next()) {
        arValues.emplace_back(it->GetElementData());
    }
    return arValues;
}

TEST(XMLAccess, IteratorsVisitOnlyTheirName) {
    LXMLElement root = Load("<i>1</i><j>x</j><i>2</i><i>3</i>");
    EXPECT_EQ(Values(root, "i"), (std::vector<std::string>{"1", "2", "3"}));
    EXPECT_EQ(Values(root, "j"), (std::vector<std::string>{"x"}));
    EXPECT_TRUE(Values(root, "k").empty());

    const LXMLElement& constRoot = root;
    std::vector<std::string> arConst;
    LXMLElement::ConstNamedElementIterator it(constRoot, "i");
    for (; it; it.Next()) {
        arConst.emplace_back(it->GetElementData());
    }
    EXPECT_EQ(arConst, (std::vector<std::string>{"1", "2", "3"}));
    EXPECT_FALSE(it.Next());
}

TEST(XMLAccess, IteratorRemovesInPlace) {
    LXMLElement root = Load("<i>1</i><j>x</j><i>2</i><i>3</i>");
    LXMLElement::NamedElementIterator it(root, "i");
    ASSERT_TRUE(it.Next());
    EXPECT_STREQ(it->GetElementData(), "2");
    EXPECT_TRUE(it.Remove());
    EXPECT_STREQ(it->GetElementData(), "3");
    EXPECT_FALSE(it.Remove());
    EXPECT_FALSE(it.Next());
    EXPECT_EQ(DumpChildren(root), "(i \"1\") (j \"x\")");
}

TEST(XMLAccess, CopiesAreDeepAndAssignmentFromOwnSubtreeIsSafe) {
    LXMLElement root = Load("<a k=\"v\"><b>t</b></a><c/>");
    LXMLElement copy(root);
    root.SetString("a", "changed");
    EXPECT_EQ(DumpChildren(copy), "(a @k=v (b \"t\")) (c)");
    EXPECT_EQ(copy.pNext, nullptr);

    LXMLElement* pA = copy.GetElement("a");
    copy = *pA;
    EXPECT_STREQ(copy.szName, "a");
    EXPECT_EQ(DumpChildren(copy), "(b \"t\")");
}

TEST(XMLAccess, AddedElementsInheritTheSpaceFlag) {
    LXMLDocument document;
    LXMLElement* pChild = document.AddElement("x");
    EXPECT_TRUE(pChild->bPreserveSpace);
    LXMLElement plain;
    EXPECT_FALSE(plain.bPreserveSpace);
    EXPECT_FALSE(plain.AddElement("y")->bPreserveSpace);
}

TEST(XMLAccess, VeryDeepBuiltTreeIsDestroyedWithoutRecursion) {
    auto* pRoot = new LXMLElement();
    LXMLElement* pLevel = pRoot;
    for (int i = 0; i < 1000000; ++i) {
        pLevel = pLevel->AddElement("d");
    }
    delete pRoot;
}

} // namespace
