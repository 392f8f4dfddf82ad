// Saudi ZATCA and Malaysian MyInvois e-invoices of the corpus, verified under their families'
// rules. Where a sample does not verify, the tests show why with other software's digests and
// with edits that bring back what was signed: a sample that verifies once the edit is undone
// was changed after signing.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <regex>
#include <string>
#include <vector>

#include "dsig/detail/LhdnForms.h"
#include "host/log/_tvLogger.h"
#include "support/DataTable.h"
#include "support/DsigTestUtil.h"
#include "support/SignerTools.h"
#include "support/ZatcaEvidence.h"

namespace xmldsig::test {
namespace {

struct Verdict {
    bool loaded = false;
    bool valid = false;
    std::string log;
};

Verdict verify(const std::string& xml, const char* options, bool checkReferences = true) {
    Verdict v;
    auto dsig = newDsig();
    if (!dsig) return v;
    dsig->put_UncommonOptions(XString(options));
    v.loaded = loadText(*dsig, xml);
    v.valid = v.loaded && dsig->VerifySignature(checkReferences);
    v.log = dsig->lastErrorText();
    return v;
}

Verdict verifyReference(const std::string& xml, const char* options, int index) {
    Verdict v;
    auto dsig = newDsig();
    if (!dsig) return v;
    dsig->put_UncommonOptions(XString(options));
    v.loaded = loadText(*dsig, xml);
    v.valid = v.loaded && dsig->VerifyReferenceDigest(index);
    v.log = dsig->lastErrorText();
    return v;
}

bool has(const std::string& log, const std::string& text) {
    return log.find(text) != std::string::npos;
}

// The value logged as "name: value" first.
std::string logged(const std::string& log, const std::string& name) {
    const std::size_t at = log.find(name + ": ");
    if (at == std::string::npos) return "";
    const std::size_t from = at + name.size() + 2;
    return log.substr(from, log.find('\n', from) - from);
}

std::string corpus(const std::string& path) {
    return readFile(corpusPath(path));
}

std::vector<unsigned char> base64Decoded(const std::string& text) {
    static const std::string alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::vector<unsigned char> out;
    unsigned bits = 0, value = 0;
    for (char c : text) {
        const std::size_t v = alphabet.find(c);
        if (v == std::string::npos) continue;
        value = (value << 6) | static_cast<unsigned>(v);
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            out.push_back(static_cast<unsigned char>((value >> bits) & 0xFF));
        }
    }
    return out;
}

// Field 6 of the ZATCA QR code (a tag-length-value list): the invoice hash the seller stated.
std::string qrInvoiceHash(const std::string& xml) {
    const std::size_t qr = xml.find("<cbc:ID>QR</cbc:ID>");
    const auto tlv = base64Decoded(elementText(xml.substr(qr), "cbc:EmbeddedDocumentBinaryObject"));
    for (std::size_t i = 0; i + 1 < tlv.size(); i += 2 + tlv[i + 1]) {
        if (tlv[i] == 6) return std::string(tlv.begin() + i + 2, tlv.begin() + i + 2 + tlv[i + 1]);
    }
    return "";
}

// Test names made of a corpus path ("zatca/a-b.xml" gives "zatca_a_b_xml").
std::string pathName(const char* path) {
    std::string name(path);
    for (char& c : name) {
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    }
    return name;
}

// ---- Documents that verify ----

struct Sample {
    const char* path;
    const char* option;
};

const Sample kVerifying[] = {
    {"zatca/sdk_Out_Of_Scope_Simplified_Invoice.xml", "ZATCA"},
    {"zatca/sdk_Standard_Credit_Note.xml", "ZATCA"},
    {"zatca/sdk_Standard_Debit_Note.xml", "ZATCA"},
    {"zatca/sdk_Standard_Invoice_USD.xml", "ZATCA"},
    {"myinvois/1.1-Credit-Note-Sample.xml", "MYINVOIS"},
    {"myinvois/1.1-Invoice-Consolidated-Sample.xml", "MYINVOIS"},
    {"myinvois/1.1-Invoice-MultiLineItem-Sample.xml", "MYINVOIS"},
    {"myinvois/1.1-Refund-Note-Sample.xml", "MYINVOIS"},
    {"myinvois/1.1-Self-Billed-Debit-Sample.xml", "MYINVOIS"},
    {"myinvois/1.1-Self-Billed-Refund-Sample.xml", "MYINVOIS"},
    {"myinvois/maesse_signatureOutput.xml", "MYINVOIS"},
};

class EInvoiceVerifies : public ::testing::TestWithParam<Sample> {};

// (That each verifies under its option is the corpus verdict test's business.)
// A changed invoice date, signing time or signature value each break the signature.
TEST_P(EInvoiceVerifies, TamperedCopiesFail) {
    const std::string xml = corpus(GetParam().path);
    const std::string time = elementText(xml, "xades:SigningTime");
    const std::string sigValue = withoutWhiteSpace(elementText(xml, "ds:SignatureValue"));
    const std::string flipped = (sigValue[10] == 'A' ? "B" : "A");
    const std::vector<std::string> tampered = {
        replaceFirst(xml, "<cbc:IssueDate>20", "<cbc:IssueDate>19"),
        replaceFirst(xml, time + "<", "1" + time.substr(1) + "<"),
        replaceFirst(xml, sigValue.substr(0, 11), sigValue.substr(0, 10) + flipped),
    };
    for (std::size_t i = 0; i < tampered.size(); ++i) {
        const Verdict v = verify(tampered[i], GetParam().option);
        ASSERT_TRUE(v.loaded) << "edit " << i;
        EXPECT_FALSE(v.valid) << "edit " << i << "\n" << v.log;
    }
}

INSTANTIATE_TEST_SUITE_P(Corpus, EInvoiceVerifies, ::testing::ValuesIn(kVerifying),
                         [](const auto& info) { return pathName(info.param.path); });

// Without its option a MyInvois invoice is checked as plain XML Signature and fails at the
// invoice reference; a ZATCA invoice is recognised by its hex SignedProperties digest, which
// switches ZATCA rules on (the ZATCA retry), and verifies.
TEST(EInvoiceWithoutOption, MyInvoisFailsAtTheInvoiceReference) {
    for (const Sample& s : kVerifying) {
        if (std::string(s.option) != "MYINVOIS") continue;
        const Verdict v = verify(corpus(s.path), "");
        EXPECT_FALSE(v.valid) << s.path;
        EXPECT_TRUE(has(v.log, "Failed to verify reference digest")) << s.path << "\n" << v.log;
        EXPECT_FALSE(has(v.log, "Retry with the MyInvois signer's")) << s.path;
    }
}

TEST(EInvoiceWithoutOption, ZatcaTurnsOnThroughTheSignedPropertiesRetry) {
    for (const Sample& s : kVerifying) {
        if (std::string(s.option) != "ZATCA") continue;
        const Verdict v = verify(corpus(s.path), "");
        EXPECT_TRUE(v.valid) << s.path << "\n" << v.log;
        EXPECT_TRUE(has(v.log, "Retry with ZATCA rules...")) << s.path;
    }
}

// ---- ZATCA samples changed after signing ----

const char* const kZatcaChanged[] = {
    "zatca/mrsool_simplified_invoice_signed.xml",
    "zatca/mrsool_standard_invoice_v2.xml",
    "zatca/sdk_Sample_Invoice_Advance_Payements__-_2.xml",
    "zatca/sdk_Simplified_Credit_Note_Error.xml",
    "zatca/sdk_Simplified_Debit_Note_Error.xml",
    "zatca/sdk_Simplified_Invoice_Error.xml",
    "zatca/sdk_Standard_Invoice.xml",
};

class ZatcaChangedSample : public ::testing::TestWithParam<const char*> {};

// The verifier hashes exactly what ZATCA hashes (xmllint's digest), and that is not the stored
// invoice hash: the reference check says so, with or without the option.
TEST_P(ZatcaChangedSample, FailsAtTheInvoiceReference) {
    if (!signerToolsPresent()) GTEST_SKIP() << "xmllint/openssl not installed";
    const std::string xml = corpus(GetParam());
    const std::string expected = zatcaInvoiceHash(xml);
    const Verdict ref = verifyReference(xml, "ZATCA", 0);
    EXPECT_FALSE(ref.valid);
    EXPECT_EQ(logged(ref.log, "calculatedDigest"), expected);
    EXPECT_NE(expected, storedDigest(xml, 0));

    for (const char* options : {"ZATCA", ""}) {
        const Verdict v = verify(xml, options);
        EXPECT_FALSE(v.valid) << options;
        EXPECT_TRUE(has(v.log, "Failed to verify reference digest")) << v.log;
        EXPECT_EQ(logged(v.log, "referenceIndex"), "0") << v.log;
    }
}

INSTANTIATE_TEST_SUITE_P(Corpus, ZatcaChangedSample, ::testing::ValuesIn(kZatcaChanged),
                         [](const auto& info) { return pathName(info.param); });

// The invoice hash is what the signature signs under ZATCA rules, so the stored DigestValue
// alone decides whether the signature value holds.
bool signatureHoldsOver(const std::string& xml, const std::string& invoiceHash) {
    const std::string edited = replaceFirst(xml, storedDigest(xml, 0), invoiceHash);
    return verify(edited, "ZATCA", false).valid;
}

// Signed over the stored hash, but the invoice was edited afterwards. For one of them the edit
// is known: its empty PostalZone (the business-rule error of the sample) held 12643.
TEST(ZatcaChangedAfterSigning, SignatureHoldsOverTheStoredHash) {
    for (const char* path :
         {"zatca/sdk_Simplified_Credit_Note_Error.xml", "zatca/sdk_Simplified_Debit_Note_Error.xml",
          "zatca/sdk_Simplified_Invoice_Error.xml", "zatca/mrsool_standard_invoice_v2.xml"}) {
        const std::string xml = corpus(path);
        EXPECT_TRUE(verify(xml, "ZATCA", false).valid) << path;
        EXPECT_EQ(qrInvoiceHash(xml), storedDigest(xml, 0)) << path;
    }
    const std::string xml = corpus("zatca/sdk_Simplified_Invoice_Error.xml");
    const std::string restored = replaceFirst(xml, "<cbc:PostalZone></cbc:PostalZone>",
                                              "<cbc:PostalZone>12643</cbc:PostalZone>");
    const Verdict v = verify(restored, "ZATCA");
    EXPECT_TRUE(v.valid) << v.log;
}

// The Ruby gem's fixture is the SDK's signed standard invoice (one ChargeIndicator apart)
// re-indented with two blanks. Put back in the SDK's layout, with the fixture's own signing
// time, digests, signature and QR code, it verifies.
TEST(ZatcaChangedAfterSigning, ReindentedSdkInvoice) {
    const std::string sdk = corpus("zatca/sdk_Standard_Invoice.xml");
    const std::string gem = corpus("zatca/mrsool_standard_invoice_v2.xml");
    const std::string charge = "<cbc:ChargeIndicator>true</cbc:ChargeIndicator>";
    std::string text =
        replaceFirst(sdk, charge, "<cbc:ChargeIndicator>false</cbc:ChargeIndicator>");
    text = replaceFirst(text, storedDigest(sdk, 0), storedDigest(gem, 0));
    text = replaceFirst(text, storedDigest(sdk, 1), storedDigest(gem, 1));
    text = replaceFirst(text, elementText(sdk, "ds:SignatureValue"),
                        elementText(gem, "ds:SignatureValue"));
    text = replaceFirst(text, elementText(sdk, "xades:SigningTime"),
                        elementText(gem, "xades:SigningTime"));
    const std::size_t qrAt = sdk.find("<cbc:ID>QR</cbc:ID>");
    text = replaceFirst(text, elementText(sdk.substr(qrAt), "cbc:EmbeddedDocumentBinaryObject"),
                        elementText(gem.substr(gem.find("<cbc:ID>QR</cbc:ID>")),
                                    "cbc:EmbeddedDocumentBinaryObject"));
    const Verdict v = verify(text, "ZATCA");
    EXPECT_TRUE(v.valid) << v.log;
    EXPECT_FALSE(verify(gem, "ZATCA").valid);
}

// The SDK's standard invoice: its QR code and signature carry the hash of the invoice as it
// stands, its DigestValue another one.
TEST(ZatcaStaleDigestValue, SignatureAndQrCarryTheInvoiceHash) {
    if (!signerToolsPresent()) GTEST_SKIP() << "xmllint/openssl not installed";
    const std::string xml = corpus("zatca/sdk_Standard_Invoice.xml");
    const std::string actual = zatcaInvoiceHash(xml);
    EXPECT_EQ(qrInvoiceHash(xml), actual);
    EXPECT_FALSE(verify(xml, "ZATCA", false).valid);
    EXPECT_TRUE(signatureHoldsOver(xml, actual));
    const Verdict fixed = verify(replaceFirst(xml, storedDigest(xml, 0), actual), "ZATCA");
    EXPECT_TRUE(fixed.valid) << fixed.log;
}

// Two samples whose signature was made over the hash in their QR code, which neither the
// invoice nor the DigestValue matches (one of them was also re-wrapped by an XML formatter).
TEST(ZatcaStaleDigestValue, SignatureMadeOverTheQrHash) {
    for (const char* path : {"zatca/mrsool_simplified_invoice_signed.xml",
                             "zatca/sdk_Sample_Invoice_Advance_Payements__-_2.xml"}) {
        const std::string xml = corpus(path);
        const std::string qr = qrInvoiceHash(xml);
        ASSERT_EQ(qr.size(), 44u) << path;
        EXPECT_NE(qr, storedDigest(xml, 0)) << path;
        const Verdict v = verify(xml, "ZATCA", false);
        EXPECT_FALSE(v.valid) << path;
        EXPECT_TRUE(has(v.log, "ECDSA verify hash found the signature to be invalid.")) << v.log;
        EXPECT_TRUE(signatureHoldsOver(xml, qr)) << path;
    }
}

// ---- MyInvois: the forms LHDN's signer hashes ----

// The document form equals xmllint's canonical form of the invoice without its extensions and
// cac:Signature, with the white-space-only text removed, for every sample.
TEST(LhdnForms, DocumentFormMatchesXmllint) {
    if (!signerToolsPresent()) GTEST_SKIP() << "xmllint/openssl not installed";
    for (const Sample& s : kVerifying) {
        if (std::string(s.option) != "MYINVOIS") continue;
        const std::string xml = corpus(s.path);
        std::string stripped = withoutSpan(xml, "<UBLExtensions", "</UBLExtensions>");
        stripped = withoutSpan(stripped, "<cac:Signature>", "</cac:Signature>");
        const std::string expected = std::regex_replace(xmllintCanonical(stripped, "--c14n"),
                                                        std::regex(">[ \t\n]+<"), "><");
        _tvLogger log;
        StringBuffer form;
        ASSERT_TRUE(detail::lhdnDocumentForm(StringBuffer(xml), form, log)) << s.path;
        EXPECT_EQ(form.str(), expected) << s.path;
        EXPECT_EQ(digestBase64(expected, "sha256"), storedDigest(xml, 0)) << s.path;
    }
}

// White space between elements is not part of what LHDN signs; anything else is.
TEST(LhdnForms, OnlyWhiteSpaceTextIsLeftOut) {
    const std::string xml = corpus("myinvois/1.1-Credit-Note-Sample.xml");
    const std::string body = "<cbc:IssueDate>";
    EXPECT_TRUE(verify(replaceFirst(xml, body, "\n\t  " + body), "MYINVOIS").valid);
    EXPECT_FALSE(verify(replaceFirst(xml, body, body + " "), "MYINVOIS").valid);
    EXPECT_FALSE(
        verify(replaceFirst(xml, body, "<cbc:Note>x</cbc:Note>" + body), "MYINVOIS").valid);
    // A cac:Signature is left out only where UBL puts it, directly in the invoice element.
    const std::string nested = "<cac:Signature><cbc:ID>x</cbc:ID></cac:Signature>";
    EXPECT_FALSE(
        verify(replaceFirst(xml, "</cac:Party>", nested + "</cac:Party>"), "MYINVOIS").valid);
}

TEST(LhdnForms, SignedPropertiesForm) {
    const std::string xml =
        "<r xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\"><o "
        "xmlns:x=\"urn:x\">\n  <x:SignedProperties Id=\"p\">\n    <ds:DigestMethod "
        "Algorithm=\"a\"/>\n    <ds:DigestValue>v</ds:DigestValue>\n  "
        "</x:SignedProperties></o></r>";
    _tvLogger log;
    StringBuffer form;
    ASSERT_TRUE(detail::lhdnSignedPropertiesForm(StringBuffer(xml), StringBuffer("p"), form, log));
    EXPECT_EQ(form.str(),
              "<x:SignedProperties Id=\"p\" xmlns:x=\"urn:x\"><ds:DigestMethod Algorithm=\"a\" "
              "xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\" /><ds:DigestValue "
              "xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\">v</ds:DigestValue>"
              "</x:SignedProperties>");
    EXPECT_FALSE(detail::lhdnSignedPropertiesForm(StringBuffer(xml), StringBuffer("q"), form, log));
    const std::string other = "<r><a Id=\"p\"/></r>";
    EXPECT_FALSE(
        detail::lhdnSignedPropertiesForm(StringBuffer(other), StringBuffer("p"), form, log));
}

TEST(LhdnForms, RewriteCanonicalText) {
    for (const DataRow& c : loadTable("dsig/lhdn_rewrite.tsv")) {
        StringBuffer out;
        detail::rewriteCanonicalText(StringBuffer(c["in"]),
                                     detail::CanonRewrite{c.flag("dropBlank"), c.flag("dotNet")},
                                     out);
        EXPECT_EQ(out.str(), c["out"]) << c.where();
    }
}

TEST(LhdnForms, BadInput) {
    _tvLogger log;
    StringBuffer form;
    EXPECT_FALSE(detail::lhdnDocumentForm(StringBuffer("<Invoice><a></Invoice>"), form, log));
    EXPECT_TRUE(has(log.renderText(), "mismatched tag")) << log.renderText();
    EXPECT_FALSE(detail::lhdnDocumentForm(StringBuffer(""), form, log));
    // An extensions element that comes from an entity has no place in the text to cut out.
    const std::string entity =
        "<!DOCTYPE Invoice [<!ENTITY e \"<UBLExtensions xmlns='urn:oasis:names:specification:ubl:"
        "schema:xsd:CommonExtensionComponents-2'/>\">]><Invoice>&e;<b/></Invoice>";
    EXPECT_FALSE(detail::lhdnDocumentForm(StringBuffer(entity), form, log));
    std::string deep;
    for (int i = 0; i < 5000; ++i) deep += "<a>";
    for (int i = 0; i < 5000; ++i) deep += "</a>";
    EXPECT_TRUE(detail::lhdnDocumentForm(StringBuffer(deep), form, log));
    EXPECT_EQ(form.getSize(), deep.size());
}

}  // namespace
}  // namespace xmldsig::test
