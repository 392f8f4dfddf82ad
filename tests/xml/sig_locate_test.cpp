// Locating signatures in raw text: the reported offsets are checked against the bytes they name,
// and every ambiguity (duplicate Id, duplicate digest, doubled SignedInfo) must fail loudly.
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "host/log/_tvLogger.h"
#include "host/xml/XmlSigLocate.h"
#include "support/DataTable.h"
#include "xml/XmlTestUtil.h"

namespace xmldsig {
namespace {

using xmltest::XmlPtr;

const char* kNs = "xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\"";

std::string sig(const std::string& id, const std::string& digest, const std::string& extra = "") {
    return "<ds:Signature " + std::string(kNs) + (id.empty() ? "" : " Id=\"" + id + "\"") +
           "><ds:SignedInfo><ds:Reference URI=\"\"><ds:DigestValue>" + digest +
           "</ds:DigestValue></ds:Reference></ds:SignedInfo><ds:SignatureValue>c2ln"
           "</ds:SignatureValue>" +
           extra + "</ds:Signature>";
}

// The element whose start tag begins at loc has this local name (any when empty), and
// [loc, loc+len) is exactly that element (its end tag closes the span).
::testing::AssertionResult spanIsElement(const std::string& text, uint32_t loc, uint32_t len,
                                         const std::string& local, bool mayStartText = false) {
    if ((loc == 0 && !mayStartText) || loc >= text.size()) {
        return ::testing::AssertionFailure() << "no location";
    }
    static const std::regex startTag("^<([A-Za-z0-9_.-]+:)?([A-Za-z0-9_.-]+)[\\s>/]");
    std::smatch m;
    const std::string head = text.substr(loc, 200);
    if (!std::regex_search(head, m, startTag) || (!local.empty() && m[2] != local)) {
        return ::testing::AssertionFailure() << "at " << loc << ": " << head.substr(0, 60);
    }
    if (len == 0) return ::testing::AssertionSuccess();
    const std::string qname = m[1].str() + m[2].str();
    const std::string span = text.substr(loc, len);
    const bool closes = (span.size() >= qname.size() + 3 &&
                         span.compare(span.size() - qname.size() - 3, std::string::npos,
                                      "</" + qname + ">") == 0) ||
                        span.compare(span.size() - 2, 2, "/>") == 0;
    if (!closes)
        return ::testing::AssertionFailure() << "span ends: " << span.substr(span.size() - 40);
    return ::testing::AssertionSuccess();
}

struct Located {
    bool ok = false;
    XmlSigLocate loc;
    std::string log;
};

Located byId(const std::string& text, const std::string& id, bool xades = false) {
    Located r;
    r.loc.m_getXadesLocations = xades;
    _tvXmlDtd dtd;
    _tvLogger log;
    r.ok = r.loc.FindXmlSigById(StringBuffer(id), StringBuffer(text), dtd, log);
    r.log = log.renderText();
    return r;
}

Located byDigest(const std::string& text, const std::string& digest, bool xades = false) {
    Located r;
    r.loc.m_getXadesLocations = xades;
    _tvXmlDtd dtd;
    _tvLogger log;
    r.ok = r.loc.FindXmlSigByRefDigest(StringBuffer(digest), StringBuffer(text), dtd, log);
    r.log = log.renderText();
    return r;
}

TEST(XmlSigLocateFailures, AmbiguityAndAbsenceFailWithTheCauseNamed) {
    for (const test::DataRow& c : test::loadTable("xml/sig_locate_failures.tsv")) {
        const Located r =
            c["by"] == "id" ? byId(c["text"], c["key"]) : byDigest(c["text"], c["key"]);
        EXPECT_FALSE(r.ok) << c["name"];
        EXPECT_NE(r.log.find(c["log"]), std::string::npos) << c["name"] << "\n" << r.log;
        EXPECT_EQ(r.loc.m_signatureLoc, 0u) << c["name"];
    }
}

TEST(XmlSigLocate, OffsetsOfTheCoreParts) {
    const std::string text = "<?xml version=\"1.0\"?>\r\n<r>\xC3\xA9" + sig("one", "AAAA") +
                             "<x/>" + sig("", "BB\nBB") + "</r>";
    const Located a = byId(text, "one");
    ASSERT_TRUE(a.ok) << a.log;
    EXPECT_EQ(a.loc.m_signatureLoc, text.find("<ds:Signature"));
    EXPECT_EQ(a.loc.m_signatureLen, sig("one", "AAAA").size());
    EXPECT_TRUE(spanIsElement(text, a.loc.m_signedInfoLoc, a.loc.m_signedInfoLen, "SignedInfo"));
    EXPECT_EQ(a.loc.m_signedInfoLoc, text.find("<ds:SignedInfo"));
    EXPECT_TRUE(spanIsElement(text, a.loc.m_signatureValueLoc, 0, "SignatureValue"));
    EXPECT_EQ(a.loc.m_qualifyingPropertiesLoc, 0u);
    EXPECT_EQ(a.loc.m_objectAnchorLoc, 0u);  // XAdES locations only on request

    const Located b = byDigest(text, "BBBB");  // white space ignored on both sides
    ASSERT_TRUE(b.ok) << b.log;
    EXPECT_EQ(b.loc.m_signatureLoc, text.rfind("<ds:Signature "));
    EXPECT_EQ(b.loc.m_signatureLoc + b.loc.m_signatureLen, text.size() - 4);
}

TEST(XmlSigLocate, AuthSignatureOfEbicsIsLocatedByDigest) {
    const std::string text = xmltest::readFile(xmltest::corpusPath("ebics/epics_sta_response.xml"));
    std::smatch m;
    ASSERT_TRUE(std::regex_search(text, m, std::regex("<ds:DigestValue>([^<]*)</ds:DigestValue>")));
    const Located r = byDigest(text, m[1]);
    ASSERT_TRUE(r.ok) << r.log;
    EXPECT_EQ(r.loc.m_signatureLoc, text.find("<AuthSignature>"));
    EXPECT_TRUE(spanIsElement(text, r.loc.m_signatureLoc, r.loc.m_signatureLen, "AuthSignature"));
    EXPECT_TRUE(spanIsElement(text, r.loc.m_signedInfoLoc, r.loc.m_signedInfoLen, "SignedInfo"));
}

TEST(XmlSigLocateXades, ContainerSkipsObjectsThatAreSignedOrFull) {
    const std::string objects =
        "<ds:Object Id=\"signedObj\">a</ds:Object>"
        "<ds:Object><p Id=\"inner\">b</p></ds:Object>"
        "<ds:Object Id=\"xp\">c</ds:Object>"
        "<ds:Object Id=\"free\">d</ds:Object>"
        "<ds:Object>last</ds:Object>";
    const std::string text =
        "<r><ds:Signature " + std::string(kNs) +
        " Id=\"s\"><ds:SignedInfo><ds:Reference URI=\"#signedObj\"/><ds:Reference "
        "URI=\"#inner\"/><ds:Reference URI=\"#xpointer(id('xp'))\"/></ds:SignedInfo>"
        "<ds:SignatureValue>v</ds:SignatureValue>" +
        objects + "</ds:Signature></r>";
    const Located r = byId(text, "s", true);
    ASSERT_TRUE(r.ok) << r.log;
    EXPECT_EQ(r.loc.m_containerLoc, text.find("<ds:Object Id=\"free\">"));
    EXPECT_EQ(r.loc.m_objectAnchorLoc, text.find("<ds:Object>last"));
    EXPECT_EQ(r.loc.m_objectAnchorLen, std::string("<ds:Object>last</ds:Object>").size());
    EXPECT_EQ(r.loc.m_qualifyingPropertiesLoc, 0u);
    EXPECT_EQ(r.loc.m_signedPropertiesLen, 0u);

    // An empty Object after a signed one is the container (the insertion opens it); when every
    // Object is signed there is none.
    const std::string withEmpty =
        "<ds:Signature " + std::string(kNs) +
        " Id=\"s\"><ds:SignedInfo><ds:Reference URI=\"#o\"/></ds:SignedInfo>"
        "<ds:Object Id=\"o\">x</ds:Object><ds:Object/></ds:Signature>";
    const Located empty = byId(withEmpty, "s", true);
    ASSERT_TRUE(empty.ok) << empty.log;
    EXPECT_EQ(empty.loc.m_containerLoc, withEmpty.find("<ds:Object/>"));
    EXPECT_EQ(empty.loc.m_signatureValueLoc, 0u);
    EXPECT_EQ(empty.loc.m_objectAnchorLoc, withEmpty.find("<ds:Object/>"));
    const std::string allSigned =
        "<ds:Signature " + std::string(kNs) +
        " Id=\"s\"><ds:SignedInfo><ds:Reference URI=\"#o\"/>"
        "</ds:SignedInfo><ds:Object Id=\"o\">x</ds:Object></ds:Signature>";
    const Located none = byId(allSigned, "s", true);
    ASSERT_TRUE(none.ok) << none.log;
    EXPECT_EQ(none.loc.m_containerLoc, 0u);
}

TEST(XmlSigLocateXades, QualifyingPropertiesFamily) {
    const std::string qp =
        "<xades:QualifyingProperties xmlns:xades=\"http://uri.etsi.org/01903/v1.3.2#\" "
        "Target=\"#s\"><xades:SignedProperties Id=\"sp\"><xades:SignedSignatureProperties/>"
        "</xades:SignedProperties><xades:UnsignedProperties><xades:UnsignedSignatureProperties>"
        "</xades:UnsignedSignatureProperties></xades:UnsignedProperties>"
        "</xades:QualifyingProperties>";
    const std::string text =
        "<ds:Signature " + std::string(kNs) +
        " Id=\"s\"><ds:SignedInfo><ds:Reference URI=\"#sp\"/></ds:SignedInfo>"
        "<ds:SignatureValue Id=\"v\">x</ds:SignatureValue><ds:Object Id=\"plain\">p</ds:Object>"
        "<ds:Object>" +
        qp + "</ds:Object></ds:Signature>";
    const Located r = byId(text, "s", true);
    ASSERT_TRUE(r.ok) << r.log;
    EXPECT_EQ(r.loc.m_qualifyingPropertiesLoc, text.find("<xades:QualifyingProperties"));
    EXPECT_EQ(r.loc.m_signedPropertiesLoc, text.find("<xades:SignedProperties"));
    EXPECT_TRUE(spanIsElement(text, r.loc.m_signedPropertiesLoc, r.loc.m_signedPropertiesLen,
                              "SignedProperties"));
    EXPECT_EQ(r.loc.m_unsignedPropertiesLoc, text.find("<xades:UnsignedProperties"));
    EXPECT_EQ(r.loc.m_unsignedSignaturePropertiesLoc,
              text.find("<xades:UnsignedSignatureProperties"));
    EXPECT_EQ(r.loc.m_containerLoc, text.find("<ds:Object Id=\"plain\">"));
    EXPECT_EQ(r.loc.m_signatureValueLoc, text.find("<ds:SignatureValue"));

    const Located plain = byId(text, "s", false);
    ASSERT_TRUE(plain.ok);
    EXPECT_EQ(plain.loc.m_qualifyingPropertiesLoc, 0u);
    EXPECT_EQ(plain.loc.m_containerLoc, 0u);
}

// First occurrence of an element with this local name (any prefix) in the raw text.
std::size_t firstTag(const std::string& text, const std::string& local) {
    std::smatch m;
    if (!std::regex_search(text, m, std::regex("<([A-Za-z0-9_.-]+:)?" + local + "[\\s>/]"))) {
        return 0;
    }
    return static_cast<std::size_t>(m.position(0));
}

// Every signature of every corpus document is located (by Id when it has one, else by its first
// reference digest) and each reported offset names the right bytes.
TEST(XmlSigLocateCorpus, OffsetsNameTheirElements) {
    std::size_t located = 0, xadesDocs = 0;
    for (const std::string& rel : xmltest::manifestPaths()) {
        const std::string text = xmltest::readFile(xmltest::corpusPath(rel));
        XmlPtr doc(ClsXml::createNewCls());
        _tvLogger loadLog;
        if (!doc->loadXml(StringBuffer(text), false, loadLog)) continue;
        ExtPtrArrayRc sigs;
        ASSERT_TRUE(doc->findSignatures(sigs, loadLog));
        for (int i = 0; i < sigs.getSize(); ++i) {
            const auto* s = static_cast<const ClsXml*>(sigs.elementAt(i));
            StringBuffer id, digest;
            Located r;
            if (s->getAttrValue("Id", id)) {
                r = byId(text, id.str(), true);
            } else if (s->getChildContentUtf8("*:SignedInfo|*:Reference|*:DigestValue", digest,
                                              false)) {
                r = byDigest(text, digest.str(), true);
            } else {
                continue;
            }
            if (!r.ok) {
                // Only ambiguity may stop a search for a signature that is there.
                EXPECT_TRUE(r.log.find("More than one") != std::string::npos ||
                            r.log.find("has no SignedInfo") != std::string::npos)
                    << rel << "\n"
                    << r.log;
                continue;
            }
            ++located;
            EXPECT_EQ(r.loc.m_signatureLoc, s->node()->start) << rel;
            EXPECT_TRUE(spanIsElement(text, r.loc.m_signatureLoc, r.loc.m_signatureLen,
                                      std::string(s->node()->localName()), true))
                << rel;
            EXPECT_TRUE(
                spanIsElement(text, r.loc.m_signedInfoLoc, r.loc.m_signedInfoLen, "SignedInfo"))
                << rel;
            if (r.loc.m_signatureValueLoc != 0) {
                EXPECT_TRUE(spanIsElement(text, r.loc.m_signatureValueLoc, 0, "SignatureValue"))
                    << rel;
            }
            // The anchor is the last child element: only white space follows it.
            EXPECT_TRUE(spanIsElement(text, r.loc.m_objectAnchorLoc, r.loc.m_objectAnchorLen, ""))
                << rel;
            const uint32_t anchorEnd = r.loc.m_objectAnchorLoc + r.loc.m_objectAnchorLen;
            const std::size_t sigEndTag =
                text.rfind("</", r.loc.m_signatureLoc + r.loc.m_signatureLen - 1);
            EXPECT_EQ(text.find_first_not_of(" \t\r\n", anchorEnd), sigEndTag) << rel;
            if (r.loc.m_qualifyingPropertiesLoc == 0) continue;
            ++xadesDocs;
            EXPECT_TRUE(
                spanIsElement(text, r.loc.m_qualifyingPropertiesLoc, 0, "QualifyingProperties"))
                << rel;
            EXPECT_TRUE(spanIsElement(text, r.loc.m_signedPropertiesLoc,
                                      r.loc.m_signedPropertiesLen, "SignedProperties"))
                << rel;
            if (r.loc.m_unsignedSignaturePropertiesLoc != 0) {
                EXPECT_TRUE(spanIsElement(text, r.loc.m_unsignedSignaturePropertiesLoc, 0,
                                          "UnsignedSignatureProperties"))
                    << rel;
            }
            if (sigs.getSize() == 1) {  // the text's only QualifyingProperties is this one
                EXPECT_EQ(r.loc.m_qualifyingPropertiesLoc, firstTag(text, "QualifyingProperties"))
                    << rel;
                EXPECT_EQ(r.loc.m_signedPropertiesLoc, firstTag(text, "SignedProperties")) << rel;
                EXPECT_EQ(r.loc.m_unsignedPropertiesLoc, firstTag(text, "UnsignedProperties"))
                    << rel;
            }
        }
    }
    EXPECT_GT(located, 250u);
    EXPECT_GE(xadesDocs, 25u);  // zatca, myinvois and the DigiDoc containers
}

}  // namespace
}  // namespace xmldsig
