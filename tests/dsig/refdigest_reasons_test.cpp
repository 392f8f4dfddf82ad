// Reference digest outcomes: every RefFailReason value caused on purpose, external data from
// the caller and from reference directories, and the tolerances of the comparison.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>

#include "host/xml/ClsBinData.h"
#include "support/DsigTestUtil.h"

namespace xmldsig::test {
namespace {

std::string exampleText(const std::string& name) {
    return readFile(std::string(XMLDSIG_TEST_DATA_DIR) + "/../../examples/" + name);
}

std::string replaceOnce(std::string s, const std::string& from, const std::string& to) {
    auto pos = s.find(from);
    EXPECT_NE(pos, std::string::npos) << from;
    if (pos != std::string::npos) s.replace(pos, from.size(), to);
    return s;
}

// A detached signature over one external file; digest of "hello\n" in SHA-256, base64.
const char kHelloDigest[] = "WJG1tSLV3whtD/CxEPvZ0hu0/HFjrzTQgoai6Eb2vgM=";

std::string detached(const std::string& uri, const std::string& digest) {
    return "<ds:Signature xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\"><ds:SignedInfo>"
           "<ds:CanonicalizationMethod Algorithm=\"http://www.w3.org/2001/10/xml-exc-c14n#\"/>"
           "<ds:SignatureMethod Algorithm=\"http://www.w3.org/2001/04/xmldsig-more#rsa-sha256\"/>"
           "<ds:Reference URI=\"" +
           uri +
           "\"><ds:DigestMethod "
           "Algorithm=\"http://www.w3.org/2001/04/xmlenc#sha256\"/><ds:DigestValue>" +
           digest +
           "</ds:DigestValue></ds:Reference></ds:SignedInfo><ds:SignatureValue>AA==</"
           "ds:SignatureValue>"
           "</ds:Signature>";
}

struct TempDir {
    std::string path;
    TempDir() {
        char tmpl[] = "/tmp/xmldsig_refs_XXXXXX";
        path = mkdtemp(tmpl);
    }
    ~TempDir() { std::system(("rm -rf '" + path + "'").c_str()); }
    void write(const std::string& name, const std::string& content) const {
        std::ofstream(path + "/" + name, std::ios::binary) << content;
    }
};

TEST(RefFailReason, EachValueHasItsCause) {
    const std::string signedDoc = exampleText("invoice-enveloped.xml");
    struct Case {
        const char* name;
        std::string doc;
        int index;
        int reason;
    } cases[] = {
        {"matches", signedDoc, 0, 0},
        {"content changed", replaceOnce(signedDoc, "20.00</Total>", "21.00</Total>"), 0, 1},
        {"external data missing", detached("invoice.pdf", kHelloDigest), 0, 2},
        {"no reference at index", signedDoc, 3, 3},
        {"Id names no element",
         replaceOnce(signedDoc, "<ds:Reference URI=\"\">", "<ds:Reference URI=\"#nowhere\">"), 0,
         5},
        {"unknown transform",
         replaceOnce(
             signedDoc, "xml-exc-c14n#\"/>\n        </ds:Transforms>",
             "xml-exc-c14n#\"/><ds:Transform Algorithm=\"urn:x-unknown\"/></ds:Transforms>"),
         0, 99},
    };
    for (const auto& c : cases) {
        auto dsig = newDsig();
        ASSERT_TRUE(loadText(*dsig, c.doc)) << c.name;
        EXPECT_EQ(dsig->VerifyReferenceDigest(c.index), c.reason == 0) << c.name;
        EXPECT_EQ(dsig->get_RefFailReason(), c.reason) << c.name << "\n" << dsig->lastErrorText();
    }
}

TEST(RefDigest, FailureLogSaysWhatWasCompared) {
    auto dsig = newDsig();
    ASSERT_TRUE(
        loadText(*dsig, replaceOnce(exampleText("invoice-enveloped.xml"), "Widget", "Gadget")));
    EXPECT_FALSE(dsig->VerifyReferenceDigest(0));
    const std::string log = dsig->lastErrorText();
    EXPECT_NE(log.find("calculatedDigest: "), std::string::npos) << log;
    EXPECT_NE(log.find("storedRefDigest: "), std::string::npos) << log;
    EXPECT_NE(
        log.find("Retry with duplication of common XML canonicalization attribute sorting bug..."),
        std::string::npos)
        << log;
}

TEST(RefDigest, AllowXmlDigestErrorIsCaseSensitive) {
    const std::string tampered =
        replaceOnce(exampleText("invoice-enveloped.xml"), "Widget", "Gadget");
    for (const auto& [option, tolerated] :
         {std::pair<const char*, bool>{"AllowXmlDigestError", true},
          {"allowxmldigesterror", false}}) {
        auto dsig = newDsig();
        dsig->put_UncommonOptions(XString(option));
        ASSERT_TRUE(loadText(*dsig, tampered));
        EXPECT_EQ(dsig->VerifyReferenceDigest(0), tolerated) << option;
        EXPECT_EQ(dsig->get_RefFailReason(), tolerated ? 0 : 1) << option;
    }
}

TEST(RefDigest, HexStoredDigestIsAccepted) {
    std::string doc = exampleText("invoice-enveloped.xml");
    auto start = doc.find("<ds:DigestValue>") + 16;
    auto end = doc.find("</ds:DigestValue>");
    DataBuffer raw;
    raw.appendEncoded(doc.substr(start, end - start).c_str(), "base64");
    for (const char* enc : {"hex", "hex_lower"}) {
        StringBuffer hex;
        raw.encodeDB(enc, hex);
        std::string hexDoc = doc;
        hexDoc.replace(start, end - start, hex.str());
        auto dsig = newDsig();
        ASSERT_TRUE(loadText(*dsig, hexDoc));
        EXPECT_TRUE(dsig->VerifyReferenceDigest(0)) << enc << "\n" << dsig->lastErrorText();
        EXPECT_NE(
            dsig->lastErrorText().find("Checking to see if the signed XML's digest is hex.  Will"),
            std::string::npos);
    }
}

TEST(RefDigest, ExternalDataFromTheCallerAndFromDirectories) {
    TempDir first, second;
    first.write("payload.txt", "hello\n");
    second.write("payload.txt", "other\n");
    auto dsig = newDsig();
    ASSERT_TRUE(loadText(*dsig, detached("payload.txt", kHelloDigest)));

    EXPECT_FALSE(dsig->VerifyReferenceDigest(0));
    EXPECT_EQ(dsig->get_RefFailReason(), 2);
    EXPECT_NE(dsig->lastErrorText().find("Hint 2: Set the ExternalRefDirs"), std::string::npos);

    // The first directory that holds the file wins; empty pieces are skipped.
    dsig->put_ExternalRefDirs(XString((";" + first.path + ";" + second.path).c_str()));
    EXPECT_TRUE(dsig->VerifyReferenceDigest(0)) << dsig->lastErrorText();
    dsig->put_ExternalRefDirs(XString((second.path + ";" + first.path).c_str()));
    EXPECT_FALSE(dsig->VerifyReferenceDigest(0));
    EXPECT_EQ(dsig->get_RefFailReason(), 1);

    // Data supplied by the caller wins over any directory.
    ClsBinData bd;
    bd.m_data.appendStr("hello\n");
    ASSERT_TRUE(dsig->SetRefDataBd(0, bd));
    EXPECT_TRUE(dsig->VerifyReferenceDigest(0)) << dsig->lastErrorText();
    ASSERT_TRUE(dsig->SetRefDataFile(0, XString((second.path + "/payload.txt").c_str())));
    EXPECT_FALSE(dsig->VerifyReferenceDigest(0));
    ASSERT_TRUE(dsig->SetRefDataFile(0, XString((first.path + "/payload.txt").c_str())));
    EXPECT_TRUE(dsig->VerifyReferenceDigest(0));
    ASSERT_TRUE(dsig->SetRefDataFile(0, XString((first.path + "/absent.txt").c_str())));
    EXPECT_FALSE(dsig->VerifyReferenceDigest(0));
    EXPECT_EQ(dsig->get_RefFailReason(), 99);  // the file could not be opened
}

TEST(RefDigest, UrisThatLeaveTheDirectoriesAreNeverJoined) {
    TempDir base;
    std::system(("mkdir -p '" + base.path + "/inner'").c_str());
    base.write("payload.txt", "hello\n");
    const std::string inner = base.path + "/inner";
    const std::vector<std::string> uris = {"../payload.txt",
                                           "inner/../../payload.txt",
                                           base.path + "/payload.txt",
                                           "file:payload.txt",
                                           "file:///" + base.path + "/payload.txt",
                                           "C:payload.txt"};
    for (const std::string& uri : uris) {
        auto dsig = newDsig();
        ASSERT_TRUE(loadText(*dsig, detached(uri, kHelloDigest)));
        dsig->put_ExternalRefDirs(XString(inner.c_str()));
        EXPECT_FALSE(dsig->VerifyReferenceDigest(0)) << uri;
        EXPECT_EQ(dsig->get_RefFailReason(), 2) << uri;
    }
}

TEST(RefDigest, DuplicatedIdIsRefused) {
    // A wrapped copy of the signed body carrying the same Id must not be silently chosen.
    std::string doc = exampleText("soap-body-by-id.xml");
    doc =
        replaceOnce(doc, "<soap:Header>", "<soap:Header><Wrapper wsu:Id=\"Body-1\">evil</Wrapper>");
    auto dsig = newDsig();
    ASSERT_TRUE(loadText(*dsig, doc));
    EXPECT_FALSE(dsig->VerifyReferenceDigest(0));
    EXPECT_NE(dsig->lastErrorText().find("Body-1"), std::string::npos);
    EXPECT_NE(dsig->get_RefFailReason(), 0);
}

TEST(RefDigest, InjectedTextAfterTheSignatureBreaksTheDigest) {
    std::string doc = exampleText("invoice-enveloped.xml");
    doc =
        replaceOnce(doc, "</ds:Signature>", "</ds:Signature><Total currency=\"EUR\">0.01</Total>");
    auto dsig = newDsig();
    ASSERT_TRUE(loadText(*dsig, doc));
    EXPECT_FALSE(dsig->VerifyReferenceDigest(0));
    EXPECT_EQ(dsig->get_RefFailReason(), 1);
}

}  // namespace
}  // namespace xmldsig::test
