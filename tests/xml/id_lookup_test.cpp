// Id attribute names and the unambiguous lookup of an element by Id.
#include <gtest/gtest.h>

#include "host/xml/detail/IdLookup.h"

namespace xmldsig::detail {
namespace {

TEST(IdLookupNames, RecognisesIdAttributesAndNothingElse) {
    const struct {
        const char* name;
        bool isId;
    } cases[] = {
        {"Id", true},          {"ID", true},
        {"id", true},          {"wsu:Id", true},
        {"xml:id", true},      {"ds:ID", true},
        {"AssertionID", true}, {"ResponseID", true},
        {"RequestID", true},   {"saml:AssertionID", true},
        {"xmlns:Id", false},   {"xmlns", false},
        {"iD", false},         {"Ids", false},
        {"identifier", false}, {"AssertionId", false},
        {"Id:x", false},       {"", false},
        {"ref", false},
    };
    for (const auto& c : cases) EXPECT_EQ(isIdAttributeName(c.name), c.isId) << c.name;
}

const dom::Node* lookup(const dom::Document& doc, const char* id, std::string& error) {
    error.clear();
    return findElementById(doc, id, error);
}

TEST(IdLookupFind, FindsTheOneElementAndNamesTheIdWhenItCannot) {
    dom::Document doc;
    ASSERT_TRUE(doc.parse(R"(<r xmlns:wsu="urn:w"><a Id="one"/><b wsu:Id="two"/>)"
                          R"(<c ID="dup"/><d xml:id="dup"/><e other="one"/></r>)")
                    .ok);
    std::string error;
    const dom::Node* one = lookup(doc, "one", error);
    ASSERT_NE(one, nullptr) << error;
    EXPECT_EQ(one->name, "a");
    const dom::Node* two = lookup(doc, "two", error);
    ASSERT_NE(two, nullptr) << error;
    EXPECT_EQ(two->name, "b");
    EXPECT_EQ(lookup(doc, "dup", error), nullptr);
    EXPECT_NE(error.find("\"dup\""), std::string::npos) << error;
    EXPECT_NE(error.find("More than one"), std::string::npos) << error;
    EXPECT_EQ(lookup(doc, "none", error), nullptr);
    EXPECT_NE(error.find("\"none\""), std::string::npos) << error;
    EXPECT_EQ(lookup(doc, "", error), nullptr);
}

TEST(IdLookupFind, WalksDeepDocumentsWithoutRecursion) {
    std::string text;
    for (int i = 0; i < 9000; ++i) text += "<a>";
    text += "<b Id=\"bottom\"/>";
    for (int i = 0; i < 9000; ++i) text += "</a>";
    dom::Document doc;
    ASSERT_TRUE(doc.parse(text).ok);
    std::string error;
    const dom::Node* found = lookup(doc, "bottom", error);
    ASSERT_NE(found, nullptr) << error;
    EXPECT_EQ(found->depth, 9001u);
}

}  // namespace
}  // namespace xmldsig::detail
