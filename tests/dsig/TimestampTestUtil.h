// Helpers for the XAdES timestamp tests: signatures made by xmlsec1 from templates, timestamps
// added through the loopback authority, tokens taken out of and put into documents, and the
// canonical SignatureValue as xmllint writes it.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "dsig/ClsXmlDSig.h"
#include "host/cert/ClsXmlCertVault.h"
#include "host/cms/ClsHttp.h"
#include "host/cms/ClsJsonObject.h"
#include "host/text/ContentCoding.h"
#include "host/xml/ClsStringBuilder.h"
#include "support/DsigTestUtil.h"
#include "support/LoopbackTsa.h"
#include "support/SignerTools.h"

namespace xmldsig::test {

constexpr char kDsigNs[] = "http://www.w3.org/2000/09/xmldsig#";
constexpr char kXadesNs[] = "http://uri.etsi.org/01903/v1.3.2#";
constexpr char kSignedProps[] =
    "<xades:SignedProperties Id=\"sig-1-signedprops\"><xades:SignedSignatureProperties>"
    "<xades:SigningTime>2024-05-01T10:00:00Z</xades:SigningTime></xades:SignedSignatureProperties>"
    "</xades:SignedProperties>";

// An Object holding QualifyingProperties (xades prefix declared there) with the given content.
inline std::string qualifyingObject(const std::string& content) {
    return std::string("<ds:Object><xades:QualifyingProperties xmlns:xades=\"") + kXadesNs +
           "\" Target=\"#sig-1\">" + content + "</xades:QualifyingProperties></ds:Object>";
}

// An enveloped RSA-SHA256 signature over an invoice; objects go after KeyInfo. A reference to
// the SignedProperties is added when objects hold them; extraRefs go after the references.
struct XadesTemplate {
    std::string sigAttrs = " Id=\"sig-1\"";
    std::string objects;
    std::string extraRefs;
    std::string sigValueAttrs = " Id=\"sig-1-value\"";
};

inline std::string reference(const std::string& uri, const std::string& transforms) {
    return "<ds:Reference URI=\"" + uri + "\"><ds:Transforms>" + transforms +
           "</ds:Transforms><ds:DigestMethod "
           "Algorithm=\"http://www.w3.org/2001/04/xmlenc#sha256\"/><ds:DigestValue/>"
           "</ds:Reference>";
}

inline std::string xadesTemplate(const XadesTemplate& t) {
    const std::string exc = "<ds:Transform Algorithm=\"http://www.w3.org/2001/10/xml-exc-c14n#\"/>";
    std::string refs = reference(
        "", "<ds:Transform Algorithm=\"http://www.w3.org/2000/09/xmldsig#enveloped-signature\"/>" +
                exc);
    if (t.objects.find("sig-1-signedprops") != std::string::npos)
        refs += reference("#sig-1-signedprops", exc);
    refs += t.extraRefs;
    return std::string(
               "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
               "<Invoice xmlns=\"urn:example:invoice\"><Amount currency=\"EUR\">42.00"
               "</Amount><ds:Signature xmlns:ds=\"") +
           kDsigNs + "\"" + t.sigAttrs +
           "><ds:SignedInfo><ds:CanonicalizationMethod "
           "Algorithm=\"http://www.w3.org/2001/10/xml-exc-c14n#\"/><ds:SignatureMethod "
           "Algorithm=\"http://www.w3.org/2001/04/xmldsig-more#rsa-sha256\"/>" +
           refs + "</ds:SignedInfo><ds:SignatureValue" + t.sigValueAttrs +
           "/><ds:KeyInfo><ds:X509Data/></ds:KeyInfo>" + t.objects + "</ds:Signature></Invoice>";
}

struct TimestampOutcome {
    bool ok = false;
    std::string out;  // the document text the call returned
    std::string log;
};

// AddEncapsulatedTimeStamp on the loaded document, tokens from url.
inline TimestampOutcome addTimestamp(ClsXmlDSig& dsig, const std::string& url,
                                     const std::string& moreOptions = "") {
    ClsJsonObject json;
    EXPECT_TRUE(json.Load(
        XString((R"({"timestampToken": {"tsaUrl": ")" + url + "\"" + moreOptions + "}}").c_str())));
    ClsStringBuilder sb;
    TimestampOutcome o;
    o.ok = dsig.AddEncapsulatedTimeStamp(json, sb);
    o.out = sb.getAsString();
    o.log = dsig.lastErrorText();
    return o;
}

inline TimestampOutcome addTimestamp(const std::string& xml, const std::string& url) {
    DsigPtr dsig = newDsig();
    EXPECT_TRUE(loadText(*dsig, xml)) << dsig->lastErrorText();
    return addTimestamp(*dsig, url);
}

struct VerifyOutcome {
    bool ok = false;
    std::string log;
};

// VerifySignature(true) of the first signature with the timestamp check asked for.
inline VerifyOutcome verifyWithTimestamp(const std::string& xml, const char* verifyOptions = "",
                                         ClsXmlCertVault* vault = nullptr) {
    DsigPtr dsig = newDsig();
    VerifyOutcome o;
    if (!loadText(*dsig, xml)) {
        o.log = dsig->lastErrorText();
        return o;
    }
    dsig->put_UncommonOptions(XString("VerifyEncapsulatedTimeStamp"));
    dsig->put_VerifyOptions(XString(verifyOptions));
    if (vault != nullptr) dsig->UseCertVault(*vault);
    o.ok = dsig->VerifySignature(true);
    o.log = dsig->lastErrorText();
    return o;
}

// The bytes of the first EncapsulatedTimeStamp's token.
inline std::string tokenOf(const std::string& xml) {
    const std::string open = "Encoding=\"http://uri.etsi.org/01903/v1.2.2#DER\">";
    const std::size_t a = xml.find(open);
    const std::size_t b = a == std::string::npos ? a : xml.find('<', a);
    if (b == std::string::npos) return "";
    const std::string text = xml.substr(a + open.size(), b - a - open.size());
    DataBuffer der;
    ContentCoding::decodeBase64ToDb(text.data(), text.size(), der);
    return std::string(reinterpret_cast<const char*>(der.getData2()), der.getSize());
}

// The document with the first token's base64 replaced by that of tokenDer.
inline std::string withToken(const std::string& xml, const std::string& tokenDer) {
    const std::string open = "Encoding=\"http://uri.etsi.org/01903/v1.2.2#DER\">";
    const std::size_t a = xml.find(open);
    const std::size_t b = a == std::string::npos ? a : xml.find('<', a);
    EXPECT_NE(b, std::string::npos) << "no EncapsulatedTimeStamp";
    if (b == std::string::npos) return xml;
    StringBuffer base64;
    ContentCoding::encodeBase64(tokenDer.data(), tokenDer.size(), base64);
    std::string out = xml;
    return out.replace(a + open.size(), b - a - open.size(), base64.str());
}

// The SignatureValue element canonicalized by xmllint, standing alone with the namespace
// declarations it inherits: Exclusive C14N (only ds) or inclusive (the document's default
// namespace as well).
inline std::string canonicalSignatureValue(const std::string& xml, bool exclusive) {
    const std::string span = spanOf(xml, "<ds:SignatureValue", "</ds:SignatureValue>");
    const std::string decls = std::string(exclusive ? "" : " xmlns=\"urn:example:invoice\"") +
                              " xmlns:ds=\"" + kDsigNs + "\"";
    return xmllintCanonical(replaceFirst(span, "<ds:SignatureValue", "<ds:SignatureValue" + decls),
                            exclusive ? "--exc-c14n" : "--c14n");
}

class TimestampTest : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!signerToolsPresent()) GTEST_SKIP() << "xmllint, xmlsec1 or openssl missing";
        if (!LoopbackTsa::shared().ok()) GTEST_SKIP() << LoopbackTsa::shared().error();
    }
    static LoopbackTsa& tsa() { return LoopbackTsa::shared(); }
    // A signed XAdES document with SignedProperties (xmlsec1 output).
    static std::string signedDocument() {
        XadesTemplate t;
        t.objects = qualifyingObject(kSignedProps);
        return xmlsecSign(xadesTemplate(t));
    }
};

}  // namespace xmldsig::test
