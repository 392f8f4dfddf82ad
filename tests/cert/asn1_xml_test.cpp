// Asn1XmlConverter: the rendering of each ASN.1 type (held against DER that `openssl asn1parse
// -genconf` encodes), byte-exact round trips of every certificate in the corpus, the generic
// forms for values without a faithful text form, and hostile DER and XML.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "cert/CertTestUtil.h"
#include "host/cert/Asn1XmlConverter.h"
#include "host/cert/TavolinX509.h"
#include "host/log/LogNull.h"
#include "host/log/_tvLogger.h"
#include "host/text/ContentCoding.h"
#include "host/text/DataBuffer.h"
#include "host/text/ExtPtrArray.h"
#include "host/text/StringBuffer.h"
#include "host/xml/ClsXml.h"
#include "support/DataTable.h"

namespace xmldsig {
namespace {

using testutil::fromHex;
using testutil::fromText;
using testutil::toHex;

DataBuffer bytesOf(const testutil::Bytes& b) {
    DataBuffer db;
    db.append(b.data(), b.size());
    return db;
}

// Parses xml and converts its root element (or the child at childIndex) back to DER.
bool xmlTextToDer(const std::string& xml, DataBuffer& der, _tvLogger& log, int childIndex = -1) {
    ClsXml* doc = ClsXml::createNewCls();
    if (doc == nullptr) return false;
    bool ok = doc->loadXml(StringBuffer(xml), false, log);
    if (ok && childIndex >= 0) ok = doc->getChild2(childIndex);
    if (ok) ok = Asn1XmlConverter::xmlToDer(*doc, der, log);
    doc->decRefCount();
    return ok;
}

// derToXml under all four flag settings, each converted back: every one must give der again.
void expectRoundTrip(const DataBuffer& der) {
    for (int flags = 0; flags < 4; ++flags) {
        SCOPED_TRACE("flags " + std::to_string(flags));
        _tvLogger log;
        StringBuffer xml;
        ASSERT_TRUE(Asn1XmlConverter::derToXml(der, flags & 1, flags & 2, xml, nullptr, log))
            << log.renderText();
        DataBuffer back;
        ASSERT_TRUE(xmlTextToDer(xml.str(), back, log)) << log.renderText() << xml.str();
        EXPECT_TRUE(back.equals(der)) << toHex(back) << "\n" << toHex(der);
    }
}

// --- rendering of each type ---

TEST(Asn1XmlConverterTypes, RendersOpensslEncodedValues) {
    const std::string genconf =
        "asn1=SEQUENCE:seq\n[seq]\n"
        "i=INTEGER:1\nb=BOOLEAN:TRUE\nn=NULL\no=OID:1.2.840.113549\n"
        "os=FORMAT:HEX,OCTETSTRING:6869\nbs=FORMAT:HEX,BITSTRING:F0\n"
        "u=FORMAT:UTF8,UTF8String:\xC3\xA9<&>\np=PRINTABLESTRING:Abc\nia=IA5STRING:a@b\n"
        "t=UTCTIME:260308220447Z\ng=GENTIME:20260308220447Z\ne=ENUMERATED:3\n"
        "ex=EXPLICIT:0,INTEGER:5\nim=IMPLICIT:1,FORMAT:HEX,OCTETSTRING:6162\n"
        "st=SET:set1\nbmp=FORMAT:UTF8,BMPSTRING:A\xC3\xA9\n"
        "[set1]\nx=INTEGER:-129\n";
    const std::string expectedXml =
        "<sequence><int>01</int><bool>true</bool><null/><oid>1.2.840.113549</oid>"
        "<octets>aGk=</octets><bits unused=\"0\">8A==</bits>"
        "<utf8String>\xC3\xA9&lt;&amp;&gt;</utf8String><printableString>Abc</printableString>"
        "<ia5String>a@b</ia5String><utcTime>260308220447Z</utcTime>"
        "<generalizedTime>20260308220447Z</generalizedTime><enumerated>03</enumerated>"
        "<contextSpecific tag=\"0\" constructed=\"true\"><int>05</int></contextSpecific>"
        "<contextSpecific tag=\"1\">YWI=</contextSpecific><set><int>FF7F</int></set>"
        "<bmpString>A\xC3\xA9</bmpString></sequence>";
    testutil::CertFactory dir;
    const std::string conf = dir.path("gen.cnf"), out = dir.path("gen.der");
    {
        std::ofstream f(conf, std::ios::binary);
        f << genconf;
    }
    ASSERT_TRUE(testutil::CertFactory::run("openssl asn1parse -genconf " +
                                           testutil::shellQuote(conf) + " -noout -out " +
                                           testutil::shellQuote(out)));
    const DataBuffer opensslDer = testutil::fileBytes(out);
    ASSERT_FALSE(opensslDer.isEmpty());

    _tvLogger log;
    StringBuffer xml;
    ASSERT_TRUE(Asn1XmlConverter::derToXml(opensslDer, false, false, xml, nullptr, log));
    EXPECT_EQ(xml.str(), expectedXml);
    DataBuffer ours;
    ASSERT_TRUE(xmlTextToDer(expectedXml, ours, log)) << log.renderText();
    EXPECT_EQ(toHex(ours), toHex(opensslDer));
}

// Values that have no faithful form of their type, and BER leftovers, go out generically and
// still come back byte for byte.
TEST(Asn1XmlConverterTypes, GenericFormsRoundTrip) {
    for (const test::DataRow& r : test::loadTable("cert/asn1_generic_forms.tsv")) {
        SCOPED_TRACE(r["name"]);
        const DataBuffer der = bytesOf(fromHex(r["der"]));
        _tvLogger log;
        StringBuffer xml;
        ASSERT_TRUE(Asn1XmlConverter::derToXml(der, false, false, xml, nullptr, log))
            << log.renderText();
        EXPECT_EQ(xml.str(), r["xml"]);
        expectRoundTrip(der);
    }
}

// --- the corpus ---

// The DER of every certificate a corpus file holds: a certificate file, or the X509Certificate
// and BinarySecurityToken contents of a signed document.
std::vector<DataBuffer> certificatesIn(const std::string& path) {
    std::vector<DataBuffer> out;
    LogNull quiet;
    const std::string text = testutil::readFileText(path);
    if (path.size() < 4 || path.compare(path.size() - 4, 4, ".xml") != 0) {
        TavolinX509 cert;
        DataBuffer der;
        if (cert.loadX509Any(testutil::fileBytes(path), quiet)) cert.getCertDer(der);
        if (!der.isEmpty()) out.push_back(der);
        return out;
    }
    for (const char* tag : {"X509Certificate", "BinarySecurityToken"}) {
        for (std::size_t pos = text.find(tag); pos != std::string::npos;
             pos = text.find(tag, pos + 1)) {
            const std::size_t open = text.find('>', pos);
            const std::size_t close = open == std::string::npos ? open : text.find('<', open);
            if (close == std::string::npos || text[pos - 1] == '/') continue;
            std::string b64 = text.substr(open + 1, close - open - 1);
            for (const char* entity : {"&#13;", "&#xD;"})
                for (std::size_t e; (e = b64.find(entity)) != std::string::npos;)
                    b64.erase(e, std::strlen(entity));
            DataBuffer der;
            TavolinX509 cert;
            if (ContentCoding::decodeBase64ToDb(b64.data(), b64.size(), der) &&
                cert.loadX509Der(der, quiet))
                out.push_back(der);
        }
    }
    return out;
}

std::vector<std::string> corpusSources() {
    std::vector<std::string> sources = testutil::corpusCertFiles();
    std::error_code ec;
    for (auto it = std::filesystem::recursive_directory_iterator(XMLDSIG_CORPUS_DIR, ec);
         !ec && it != std::filesystem::recursive_directory_iterator(); it.increment(ec)) {
        if (it->path().extension() != ".xml") continue;
        const std::string text = testutil::readFileText(it->path().string());
        if (text.find("X509Certificate") != std::string::npos ||
            text.find("BinarySecurityToken") != std::string::npos)
            sources.push_back(it->path().string());
    }
    std::sort(sources.begin(), sources.end());
    return sources;
}

class Asn1XmlConverterCorpus : public ::testing::TestWithParam<std::string> {};

TEST_P(Asn1XmlConverterCorpus, CertificatesRoundTripByteForByte) {
    for (const DataBuffer& der : certificatesIn(GetParam())) {
        expectRoundTrip(der);
        // A certificate is a SEQUENCE of the signed part, the algorithm and the signature bits.
        _tvLogger log;
        StringBuffer xml;
        ExtPtrArray parts;
        ASSERT_TRUE(Asn1XmlConverter::derToXml(der, false, false, xml, &parts, log));
        EXPECT_EQ(xml.str().rfind("<sequence><sequence>", 0), 0u);
        EXPECT_NE(xml.str().find("</sequence><bits unused=\"0\">"), std::string::npos);
        ASSERT_EQ(parts.getSize(), 3);
        DataBuffer joined;
        for (int i = 0; i < 3; ++i) joined.append(*static_cast<DataBuffer*>(parts.elementAt(i)));
        EXPECT_EQ(joined.getSize() + 4, der.getSize());  // header of a certificate-sized SEQUENCE
    }
}

INSTANTIATE_TEST_SUITE_P(Files, Asn1XmlConverterCorpus, ::testing::ValuesIn(corpusSources()),
                         [](const ::testing::TestParamInfo<std::string>& info) {
                             return testutil::testNameFor(info.param);
                         });

TEST(Asn1XmlConverterCorpus, FindsManyCertificates) {
    std::size_t total = 0;
    for (const std::string& s : corpusSources()) total += certificatesIn(s).size();
    EXPECT_GT(total, 200u);
}

// What a WS-Security X509PKIPathv1 token needs: the last element of a SEQUENCE OF certificates
// converted back on its own is that certificate's exact DER.
TEST(Asn1XmlConverterPkiPath, LastChildIsTheLastCertificate) {
    const std::string keys = std::string(XMLDSIG_CORPUS_DIR) + "/xmlsec/keys/";
    std::vector<DataBuffer> certs;
    for (const char* f : {"cacert.der", "ca2cert.der", "rsa/rsa-2048-cert.der"})
        certs.push_back(testutil::fileBytes(keys + f));
    std::string content;
    for (const DataBuffer& c : certs)
        content.append(reinterpret_cast<const char*>(c.getData2()), c.getSize());
    DataBuffer path;
    path.appendStr(std::string("\x30\x82", 2));
    path.appendStr(std::string(1, static_cast<char>(content.size() >> 8)));
    path.appendStr(std::string(1, static_cast<char>(content.size() & 0xFF)));
    path.appendStr(content);

    _tvLogger log;
    StringBuffer xml;
    ASSERT_TRUE(Asn1XmlConverter::derToXml(path, false, true, xml, nullptr, log));
    for (int i = 0; i < 3; ++i) {
        DataBuffer one;
        ASSERT_TRUE(xmlTextToDer(xml.str(), one, log, i)) << log.renderText();
        EXPECT_TRUE(one.equals(certs[static_cast<std::size_t>(i)])) << i;
    }
}

// What the timestamp check reads from a TSTInfo: the message imprint's hash OID at
// sequence|sequence|oid and its hash, base64, at sequence|octets (DER from openssl).
TEST(Asn1XmlConverterTstInfo, TagPathsReachTheMessageImprint) {
    const std::string hashHex = "9F86D081884C7D659A2FEAA0C55AD015A3BF4F1B2B0B822CD15D6C15B0F00A08";
    const std::string genconf =
        "asn1=SEQUENCE:tst\n[tst]\nversion=INTEGER:1\npolicy=OID:1.2.3.4.1\n"
        "imprint=SEQUENCE:imprint\nserial=INTEGER:0x1234\ngenTime=GENTIME:20260101120000Z\n"
        "[imprint]\nalg=SEQUENCE:alg\nhash=FORMAT:HEX,OCTETSTRING:" +
        hashHex + "\n[alg]\noid=OID:2.16.840.1.101.3.4.2.1\np=NULL\n";
    testutil::CertFactory dir;
    const std::string conf = dir.path("tst.cnf"), out = dir.path("tst.der");
    {
        std::ofstream f(conf, std::ios::binary);
        f << genconf;
    }
    ASSERT_TRUE(testutil::CertFactory::run("openssl asn1parse -genconf " +
                                           testutil::shellQuote(conf) + " -noout -out " +
                                           testutil::shellQuote(out)));
    for (bool indent : {true, false}) {
        _tvLogger log;
        StringBuffer xml;
        ASSERT_TRUE(Asn1XmlConverter::derToXml(testutil::fileBytes(out), indent, !indent, xml,
                                               nullptr, log));
        ClsXml* doc = ClsXml::createNewCls();
        ASSERT_NE(doc, nullptr);
        ASSERT_TRUE(doc->loadXml(xml, false, log)) << xml.str();
        StringBuffer oid, hash;
        EXPECT_TRUE(doc->getChildContentUtf8("sequence|sequence|oid", oid, false));
        EXPECT_TRUE(doc->getChildContentUtf8("sequence|octets", hash, false));
        doc->decRefCount();
        EXPECT_EQ(oid.str(), "2.16.840.1.101.3.4.2.1");
        DataBuffer digest;
        ASSERT_TRUE(digest.appendEncoded(hash.getString(), "base64"));
        EXPECT_EQ(toHex(digest), testutil::lowerTrimmed(hashHex));
    }
}

// --- hostile DER ---

std::string nested(std::size_t depth) {
    std::string der = std::string("\x05\x00", 2);
    for (std::size_t i = 0; i < depth; ++i) {
        std::string header = "\x30";
        const std::size_t n = der.size();
        if (n < 0x80) {
            header.push_back(static_cast<char>(n));
        } else if (n < 0x100) {
            header += "\x81";
            header.push_back(static_cast<char>(n));
        } else if (n < 0x10000) {
            header += "\x82";
            header.push_back(static_cast<char>(n >> 8));
            header.push_back(static_cast<char>(n & 0xFF));
        } else {
            header += "\x83";
            header.push_back(static_cast<char>(n >> 16));
            header.push_back(static_cast<char>((n >> 8) & 0xFF));
            header.push_back(static_cast<char>(n & 0xFF));
        }
        der = header + der;
    }
    return der;
}

TEST(Asn1XmlConverterHostile, MalformedDerFailsWithTheReason) {
    const std::map<std::string, std::string> deep = {{"DEEP129", toHex(fromText(nested(129)))},
                                                     {"DEEP10000", toHex(fromText(nested(10000)))}};
    for (const test::DataRow& r : test::loadTable("cert/asn1_malformed_der.tsv", deep)) {
        SCOPED_TRACE(r["name"]);
        _tvLogger log;
        const DataBuffer der = bytesOf(fromHex(r["der"]));
        StringBuffer xml("stale");
        EXPECT_FALSE(Asn1XmlConverter::derToXml(der, true, true, xml, nullptr, log));
        EXPECT_TRUE(xml.isEmpty());
        EXPECT_NE(log.renderText().find(r["reason"]), std::string::npos) << log.renderText();
    }
    DataBuffer deepest;
    deepest.appendStr(nested(128));
    expectRoundTrip(deepest);

    // Refused by size before a byte is parsed.
    DataBuffer huge;
    huge.appendStr("\x04\x84\x01\x00\x00\x00");
    huge.bytes().resize(Asn1XmlConverter::kMaxDerBytes + 1);
    _tvLogger log;
    StringBuffer xml;
    EXPECT_FALSE(Asn1XmlConverter::derToXml(huge, false, false, xml, nullptr, log));
    EXPECT_TRUE(log.hasErrorContaining("DER is too large to convert."));
}

TEST(Asn1XmlConverterHostile, EveryTruncationOfACertificateFails) {
    const DataBuffer cert =
        testutil::fileBytes(std::string(XMLDSIG_CORPUS_DIR) + "/xmlsec/keys/cacert.der");
    ASSERT_GT(cert.getSize(), 100u);
    for (unsigned n = 1; n < cert.getSize(); ++n) {
        _tvLogger log;
        DataBuffer prefix;
        prefix.append(cert.getData2(), n);
        StringBuffer xml;
        ASSERT_FALSE(Asn1XmlConverter::derToXml(prefix, false, false, xml, nullptr, log)) << n;
        ASSERT_TRUE(log.hasErrorContaining("Malformed DER.")) << n;
    }
}

// Damaged certificates either fail with a reason or survive the round trip intact.
TEST(Asn1XmlConverterHostile, MutatedDerFailsOrRoundTrips) {
    const DataBuffer cert =
        testutil::fileBytes(std::string(XMLDSIG_CORPUS_DIR) + "/xmlsec/keys/ca2cert.der");
    std::mt19937 rng(20240601);
    int accepted = 0, rejected = 0;
    for (int i = 0; i < 3000; ++i) {
        DataBuffer der(cert);
        const int edits = 1 + static_cast<int>(rng() % 4);
        for (int e = 0; e < edits; ++e)
            der.bytes()[rng() % der.getSize()] = static_cast<unsigned char>(rng() & 0xFF);
        _tvLogger log;
        StringBuffer xml;
        if (!Asn1XmlConverter::derToXml(der, false, false, xml, nullptr, log)) {
            ASSERT_TRUE(log.hasErrorContaining("Malformed DER."));
            ++rejected;
            continue;
        }
        ++accepted;
        DataBuffer back;
        ASSERT_TRUE(xmlTextToDer(xml.str(), back, log)) << log.renderText();
        ASSERT_TRUE(back.equals(der)) << "mutation " << i;
    }
    EXPECT_GT(accepted, 100);  // both paths were exercised
    EXPECT_GT(rejected, 100);
}

// --- hostile XML ---

TEST(Asn1XmlConverterHostile, BadXmlFailsWithTheReason) {
    for (const test::DataRow& r : test::loadTable("cert/asn1_bad_xml.tsv")) {
        SCOPED_TRACE(r["xml"]);
        _tvLogger log;
        DataBuffer der;
        EXPECT_FALSE(xmlTextToDer(r["xml"], der, log));
        EXPECT_TRUE(der.isEmpty());
        EXPECT_NE(log.renderText().find(r["reason"]), std::string::npos) << log.renderText();
    }
}

TEST(Asn1XmlConverterHostile, DeepXmlIsEncodedWithoutRecursion) {
    const std::size_t depth = 5000;
    std::string xml;
    for (std::size_t i = 0; i < depth; ++i) xml += "<sequence>";
    xml += "<null/>";
    for (std::size_t i = 0; i < depth; ++i) xml += "</sequence>";
    _tvLogger log;
    DataBuffer der;
    ASSERT_TRUE(xmlTextToDer(xml, der, log)) << log.renderText();
    EXPECT_EQ(toHex(der), toHex(bytesOf(testutil::fromText(nested(depth)))));
    StringBuffer back;
    EXPECT_FALSE(Asn1XmlConverter::derToXml(der, false, false, back, nullptr, log));
    EXPECT_TRUE(log.hasErrorContaining("Malformed DER."));
}

}  // namespace
}  // namespace xmldsig
