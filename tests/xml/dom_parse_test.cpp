// The parsed tree and the byte offsets it records, checked against the text they came from.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "host/xml/detail/XmlDom.h"
#include "xml/XmlTestUtil.h"

namespace xmldsig::dom {
namespace {

std::vector<const Node*> elementsOf(const Document& doc) {
    std::vector<const Node*> out;
    for (const Node* n = doc.documentNode(); n; n = nextInDocumentOrder(n, doc.documentNode())) {
        if (n->isElement()) out.push_back(n);
    }
    return out;
}

std::string_view slice(std::string_view text, uint32_t b, uint32_t e) {
    return text.substr(b, e - b);
}

// Every offset of a text element must point at its own tags.
::testing::AssertionResult offsetsMatchText(std::string_view text, const Node& n) {
    const std::string_view startTag = slice(text, n.start, n.startTagEnd);
    if (startTag.substr(0, n.name.size() + 1) != "<" + std::string(n.name) ||
        startTag.back() != '>') {
        return ::testing::AssertionFailure() << "start tag of " << n.name << ": " << startTag;
    }
    if (n.endTagStart == n.end) {
        if (startTag.substr(startTag.size() - 2) != "/>" || n.end != n.startTagEnd) {
            return ::testing::AssertionFailure() << "empty tag of " << n.name << ": " << startTag;
        }
    } else {
        const std::string_view endTag = slice(text, n.endTagStart, n.end);
        if (endTag.substr(0, n.name.size() + 2) != "</" + std::string(n.name) ||
            endTag.back() != '>') {
            return ::testing::AssertionFailure() << "end tag of " << n.name << ": " << endTag;
        }
    }
    const Node* p = n.parent;
    if (p->isElement() && !p->fromEntity && (n.start < p->startTagEnd || n.end > p->endTagStart)) {
        return ::testing::AssertionFailure() << n.name << " lies outside its parent " << p->name;
    }
    return ::testing::AssertionSuccess();
}

ParseResult parseText(Document& doc, std::string_view text) {
    ParseResult r = doc.parse(text);
    EXPECT_TRUE(r.ok) << r.message << " at byte " << r.byteOffset;
    return r;
}

TEST(XmlDomParse, OffsetsOfNestedEmptyAndPrefixedElements) {
    const std::string text =
        "<?xml version=\"1.0\"?>\n<a:root xmlns:a=\"urn:a\"><b x=\"1\">t</b><c/>"
        "<a:d  ></a:d ><e\n/></a:root>";
    Document doc;
    parseText(doc, text);
    const auto els = elementsOf(doc);
    ASSERT_EQ(els.size(), 5u);
    const Node& root = *els[0];
    EXPECT_EQ(root.name, "a:root");
    EXPECT_EQ(root.prefix(), "a");
    EXPECT_EQ(root.localName(), "root");
    EXPECT_EQ(root.depth, 1u);
    EXPECT_EQ(root.start, text.find("<a:root"));
    EXPECT_EQ(root.startTagEnd, text.find("<b"));
    EXPECT_EQ(root.endTagStart, text.find("</a:root>"));
    EXPECT_EQ(root.end, text.size());

    const Node& b = *els[1];
    EXPECT_EQ(b.prefix(), "");
    EXPECT_EQ(b.localName(), "b");
    EXPECT_EQ(b.depth, 2u);
    EXPECT_EQ(slice(text, b.start, b.end), "<b x=\"1\">t</b>");
    EXPECT_EQ(slice(text, b.startTagEnd, b.endTagStart), "t");

    const Node& c = *els[2];
    EXPECT_EQ(slice(text, c.start, c.startTagEnd), "<c/>");
    EXPECT_EQ(c.endTagStart, c.end);
    EXPECT_EQ(c.end, c.startTagEnd);

    const Node& d = *els[3];
    EXPECT_EQ(slice(text, d.start, d.startTagEnd), "<a:d  >");
    EXPECT_EQ(slice(text, d.endTagStart, d.end), "</a:d >");

    const Node& e = *els[4];
    EXPECT_EQ(slice(text, e.start, e.end), "<e\n/>");
    for (const Node* n : els) EXPECT_TRUE(offsetsMatchText(text, *n));
}

TEST(XmlDomParse, ByteOffsetsCountUtf8Bytes) {
    const std::string text =
        "<r>\xC3\xA9\xE2\x82\xAC<\xC3\xBC a=\"\xC3\x9F\"/>\xF0\x9D\x84\x9E<x/></r>";
    Document doc;
    parseText(doc, text);
    const auto els = elementsOf(doc);
    ASSERT_EQ(els.size(), 3u);
    EXPECT_EQ(els[1]->name, "\xC3\xBC");
    EXPECT_EQ(els[1]->start, 3u + 2u + 3u);
    EXPECT_EQ(els[1]->attributes[0].value, "\xC3\x9F");
    EXPECT_EQ(els[2]->start, text.find("<x/>"));
    EXPECT_EQ(els[0]->firstChild->value, "\xC3\xA9\xE2\x82\xAC");
}

TEST(XmlDomParse, AttributeDefaultsFromTheInternalSubsetAreMarked) {
    Document doc;
    parseText(doc,
              "<!DOCTYPE r [<!ATTLIST r d CDATA \"dv\" s CDATA #IMPLIED i CDATA #IMPLIED>]>"
              "<r s=\"x\"/>");
    const Node* r = doc.rootElement();
    ASSERT_NE(r, nullptr);
    EXPECT_TRUE(doc.hadDoctype());
    ASSERT_EQ(r->attributes.size(), 2u);
    EXPECT_EQ(r->attributes[0].name, "s");
    EXPECT_TRUE(r->attributes[0].specified);
    EXPECT_EQ(r->attributes[1].name, "d");
    EXPECT_EQ(r->attributes[1].value, "dv");
    EXPECT_FALSE(r->attributes[1].specified);
    EXPECT_EQ(r->attributeValue("i"), nullptr);
}

TEST(XmlDomParse, EntitiesAndCharacterReferencesAreReplaced) {
    const std::string text =
        "<!DOCTYPE r [<!ENTITY e \"A&#38;#38;B\"><!ENTITY el \"<i k='v'>x</i>\">]>"
        "<r a=\"&e;&#x9;\t&quot;\">&e;&lt;&#x41;&el;<z/></r>";
    Document doc;
    parseText(doc, text);
    const Node* r = doc.rootElement();
    ASSERT_NE(r, nullptr);
    // A literal tab is normalized to a space, a character reference to one is kept.
    EXPECT_EQ(*r->attributeValue("a"), "A&B\t \"");
    ASSERT_NE(r->firstChild, nullptr);
    EXPECT_EQ(r->firstChild->value, "A&B<A");
    const Node* i = r->firstChildElement();
    ASSERT_NE(i, nullptr);
    EXPECT_EQ(i->name, "i");
    EXPECT_TRUE(i->fromEntity);
    EXPECT_EQ(i->start, text.find("&el;"));
    EXPECT_EQ(i->end, text.find("&el;") + 4);
    EXPECT_EQ(i->firstChild->value, "x");
    const Node* z = i->nextSiblingElement();
    ASSERT_NE(z, nullptr);
    EXPECT_FALSE(z->fromEntity);
    EXPECT_EQ(z->start, text.find("<z/>"));
    EXPECT_EQ(doc.elementStartingAt(i->start), nullptr);
    EXPECT_EQ(doc.elementStartingAt(z->start), z);
}

TEST(XmlDomParse, CdataMergesWithAdjacentTextAndLineEndsBecomeLf) {
    Document doc;
    parseText(doc, "<r>a<![CDATA[<b>&amp;]]>c\r\nd\re<!--k-->f</r>");
    const Node* r = doc.rootElement();
    ASSERT_NE(r->firstChild, nullptr);
    EXPECT_EQ(r->firstChild->type, NodeType::Text);
    EXPECT_EQ(r->firstChild->value, "a<b>&amp;c\nd\ne");
    const Node* comment = r->firstChild->nextSibling;
    ASSERT_NE(comment, nullptr);
    EXPECT_EQ(comment->type, NodeType::Comment);
    EXPECT_EQ(comment->value, "k");
    ASSERT_NE(comment->nextSibling, nullptr);
    EXPECT_EQ(comment->nextSibling->value, "f");
    EXPECT_EQ(comment->nextSibling->nextSibling, nullptr);
}

TEST(XmlDomParse, CommentsAndPisOutsideTheRootAreNodesButNotThoseInTheDtd) {
    Document doc;
    parseText(doc,
              "<?xml version=\"1.0\"?><?pi data here?>\n<!--before-->"
              "<!DOCTYPE r [<!--in dtd--><?dtdpi x?><!ELEMENT r ANY>]><r/><!--after--><?end?>");
    std::vector<std::pair<NodeType, std::string>> seen;
    for (const Node* n = doc.documentNode()->firstChild; n; n = n->nextSibling) {
        seen.emplace_back(n->type, n->isElement() || n->type == NodeType::ProcessingInstruction
                                       ? n->name
                                       : n->value);
    }
    const std::vector<std::pair<NodeType, std::string>> expected = {
        {NodeType::ProcessingInstruction, "pi"},
        {NodeType::Comment, "before"},
        {NodeType::Element, "r"},
        {NodeType::Comment, "after"},
        {NodeType::ProcessingInstruction, "end"}};
    EXPECT_EQ(seen, expected);
    EXPECT_EQ(doc.documentNode()->firstChild->value, "data here");
}

TEST(XmlDomParse, FailureReportsMessageOffsetLineAndColumnAndLeavesNoTree) {
    Document doc;
    parseText(doc, "<ok/>");
    const std::string bad = "<r>\n  <a></r>";
    const ParseResult r = doc.parse(bad);
    EXPECT_FALSE(r);
    EXPECT_EQ(r.message, "mismatched tag");
    EXPECT_EQ(r.byteOffset, bad.find("</r>") + 2);
    EXPECT_EQ(r.line, 2u);
    EXPECT_EQ(r.column, r.byteOffset - bad.find('\n'));  // 1-based: offset - line start + 1
    EXPECT_EQ(doc.rootElement(), nullptr);
    EXPECT_EQ(doc.nodeCount(), 1u);
}

TEST(XmlDomParse, DocumentOrderWalkStaysInsideItsScope) {
    Document doc;
    parseText(doc, "<r><a><b/><c/></a><d/></r>");
    const Node* a = doc.rootElement()->firstChildElement();
    std::string names;
    for (const Node* n = a; n; n = nextInDocumentOrder(n, a)) names += n->name;
    EXPECT_EQ(names, "abc");
    const Node* d = a->nextSiblingElement();
    EXPECT_EQ(nextInDocumentOrder(d, d), nullptr);
}

// xmllint (libxml2) as the oracle for how many elements a document holds.
long xmllintElementCount(const std::filesystem::path& p) {
    int status = -1;
    const std::string out = xmltest::run(
        "xmllint --noent --nonet --xpath 'count(//*)' '" + p.string() + "' 2>/dev/null", &status);
    return status == 0 && !out.empty() ? std::strtol(out.c_str(), nullptr, 10) : -1;
}

TEST(XmlDomParse, CorpusOffsetsPointAtTheirTagsAndCountsMatchXmllint) {
    std::size_t files = 0, compared = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(XMLDSIG_CORPUS_DIR)) {
        if (!entry.is_regular_file() || entry.path().extension() != ".xml") continue;
        const std::string text = xmltest::readFile(entry.path());
        Document doc;
        if (!doc.parse(text)) continue;  // documents that need external entities
        ++files;
        const auto els = elementsOf(doc);
        for (const Node* n : els) {
            if (!n->fromEntity) ASSERT_TRUE(offsetsMatchText(text, *n)) << entry.path();
        }
        const long expected = xmllintElementCount(entry.path());
        if (expected < 0) continue;
        ++compared;
        EXPECT_EQ(static_cast<long>(els.size()), expected) << entry.path();
    }
    EXPECT_GT(files, 200u);
    EXPECT_GT(compared, 200u);
}

}  // namespace
}  // namespace xmldsig::dom
