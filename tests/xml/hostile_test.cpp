// Hostile and broken XML: every row must fail with a message that says what was wrong, in
// bounded time and memory, without touching the file system.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "host/xml/detail/XmlDom.h"

namespace xmldsig::dom {
namespace {

std::string billionLaughs() {
    std::string s = "<!DOCTYPE lolz [<!ENTITY lol0 \"lol\">";
    for (int i = 1; i <= 9; ++i) {
        s += "<!ENTITY lol" + std::to_string(i) + " \"";
        for (int j = 0; j < 10; ++j) s += "&lol" + std::to_string(i - 1) + ";";
        s += "\">";
    }
    return s + "]><lolz>&lol9;</lolz>";
}

std::string quadraticBlowup() {
    std::string s = "<!DOCTYPE r [<!ENTITY a \"" + std::string(50000, 'a') + "\">]><r>";
    for (int i = 0; i < 50000; ++i) s += "&a;";
    return s + "</r>";
}

std::string deepNesting(std::size_t depth) {
    std::string s;
    for (std::size_t i = 0; i < depth; ++i) s += "<a>";
    for (std::size_t i = 0; i < depth; ++i) s += "</a>";
    return s;
}

std::string manyAttributes() {
    std::string s = "<r";
    for (int i = 0; i < 1000000; ++i) s += " a" + std::to_string(i) + "=\"\"";
    return s + "/>";
}

// A file whose content would show up in the tree if an entity or the DTD were ever loaded.
std::string tempFile(const std::string& name, const std::string& content) {
    const auto p = std::filesystem::temp_directory_path() / name;
    std::ofstream(p, std::ios::binary) << content;
    return p.string();
}

std::string externalEntity() {
    const std::string path = tempFile("xmldsig_hostile_ext.txt", "SECRET-FROM-DISK");
    return "<!DOCTYPE r [<!ENTITY x SYSTEM \"file://" + path + "\">]><r>&x;</r>";
}

std::string externalDtd() {
    const std::string path = tempFile("xmldsig_hostile.dtd", "<!ENTITY d \"SECRET-FROM-DTD\">");
    return "<!DOCTYPE r SYSTEM \"file://" + path + "\"><r>&d;</r>";
}

std::string externalParameterEntity() {
    const std::string path = tempFile("xmldsig_hostile_pe.dtd", "<!ENTITY d \"SECRET-FROM-PE\">");
    return "<!DOCTYPE r [<!ENTITY % p SYSTEM \"file://" + path + "\"> %p;]><r>&d;</r>";
}

struct HostileCase {
    const char* name;
    std::function<std::string()> input;
    const char* expectedMessage;
};

const HostileCase kCases[] = {
    {"BillionLaughs", billionLaughs, "amplification"},
    {"QuadraticBlowup", quadraticBlowup, "amplification"},
    {"DeepNesting", [] { return deepNesting(100000); }, "nested deeper than 10000 levels"},
    {"MillionAttributes", manyAttributes, "too many attributes on element <r>"},
    {"RecursiveEntity",
     [] { return std::string("<!DOCTYPE r [<!ENTITY a \"&b;\"><!ENTITY b \"&a;\">]><r>&a;</r>"); },
     "recursive entity reference"},
    {"TruncatedInTag", [] { return std::string("<root><child attr=\"va"); }, "unclosed token"},
    {"TruncatedContent", [] { return std::string("<root><child>text"); }, "no element found"},
    {"MismatchedTag", [] { return std::string("<a><b></a></b>"); }, "mismatched tag"},
    {"InvalidUtf8", [] { return std::string("<r>\xC3\x28</r>"); }, "not well-formed"},
    {"OverlongUtf8", [] { return std::string("<r>\xC0\xAF</r>"); }, "not well-formed"},
    {"NulByte", [] { return std::string("<r>a\0b</r>", 10); }, "not well-formed"},
    {"NulInName", [] { return std::string("<r\0/>", 5); }, "not well-formed"},
    {"ExternalEntity", externalEntity, "external entities are never loaded"},
    {"ExternalDtd", externalDtd, "not declared in the internal subset"},
    {"ExternalParameterEntity", externalParameterEntity, "not declared in the internal subset"},
    {"UndefinedEntity", [] { return std::string("<r>&nope;</r>"); }, "undefined entity"},
    {"EmptyInput", [] { return std::string(); }, "no element found"},
    {"WhitespaceOnly", [] { return std::string(" \n\t "); }, "no element found"},
    {"TwoRoots", [] { return std::string("<a/><b/>"); }, "junk after document element"},
    {"DuplicateAttribute", [] { return std::string("<r a=\"1\" a=\"2\"/>"); },
     "duplicate attribute"},
};

class XmlDomHostile : public ::testing::TestWithParam<HostileCase> {};

TEST_P(XmlDomHostile, FailsWithMessage) {
    const HostileCase& c = GetParam();
    const std::string input = c.input();
    Document doc;
    const ParseResult r = doc.parse(input);
    EXPECT_FALSE(r.ok);
    EXPECT_NE(r.message.find(c.expectedMessage), std::string::npos) << "message: " << r.message;
    EXPECT_LE(r.byteOffset, input.size());
    EXPECT_EQ(doc.rootElement(), nullptr) << "a failed parse must leave no tree";
}

INSTANTIATE_TEST_SUITE_P(Table, XmlDomHostile, ::testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(XmlDomHostileLimits, NodeBudgetStopsTheParse) {
    ParseLimits limits;
    limits.maxNodes = 100;
    std::string text = "<r>";
    for (int i = 0; i < 200; ++i) text += "<x/>";
    text += "</r>";
    Document doc;
    const ParseResult r = doc.parse(text, limits);
    EXPECT_FALSE(r.ok);
    EXPECT_NE(r.message.find("too many nodes"), std::string::npos) << r.message;
}

TEST(XmlDomHostileLimits, DeepTreeWithinRaisedLimitIsWalkedAndFreedWithoutRecursion) {
    ParseLimits limits;
    limits.maxDepth = 200000;
    const std::string text = deepNesting(100000);
    {
        Document doc;
        ASSERT_TRUE(doc.parse(text, limits));
        std::size_t elements = 0;
        const Node* deepest = nullptr;
        for (const Node* n = doc.documentNode(); n;
             n = nextInDocumentOrder(n, doc.documentNode())) {
            if (n->isElement()) {
                ++elements;
                deepest = n;
            }
        }
        EXPECT_EQ(elements, 100000u);
        ASSERT_NE(deepest, nullptr);
        EXPECT_EQ(deepest->depth, 100000u);
        EXPECT_EQ(deepest->start, 3u * 99999u);
    }  // the destructor runs here: it must not recurse through 100 000 levels
}

TEST(XmlDomHostileLimits, DeclaredButUnusedExternalEntityIsHarmless) {
    // Declaring is not loading: only a reference would need the file.
    Document doc;
    const ParseResult r =
        doc.parse("<!DOCTYPE r [<!ENTITY x SYSTEM \"file:///etc/passwd\">]><r>ok</r>");
    EXPECT_TRUE(r.ok) << r.message;
}

}  // namespace
}  // namespace xmldsig::dom
