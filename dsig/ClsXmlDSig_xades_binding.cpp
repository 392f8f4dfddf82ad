// XAdES signer binding: the signed properties must be this signature's own (inside the
// QualifyingProperties whose Target names it) and covered by one of its signed References;
// their SigningCertificate(V2) must name the certificate that verified. Signed properties
// borrowed from another signature, or a certificate digest that names someone else, would let
// a forger claim a signer and signing time that are not theirs.
#include <memory>
#include <string>
#include <vector>

#include "dsig/ClsXmlDSig.h"
#include "host/cert/DistinguishedName.h"
#include "host/cert/TavolinX509.h"
#include "host/crypto/_tvHash.h"
#include "host/log/CritSecExitor.h"
#include "host/log/LogNull.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/xml/ClsXml.h"

namespace xmldsig {

namespace {

// Every descendant of root with the tag, in document order (one reference each, owned by the
// returned owners).
std::vector<ClsXml*> allWithTag(const ClsXml& root, const char* tag,
                                std::vector<std::unique_ptr<RefCountedObjectOwner>>& owners) {
    std::vector<ClsXml*> found;
    for (ClsXml* n = root.searchForTag(nullptr, tag); n != nullptr; n = root.searchForTag(n, tag)) {
        owners.push_back(std::make_unique<RefCountedObjectOwner>(n));
        found.push_back(n);
        if (found.size() > 10000) break;  // bounded by the document anyway; never loop on
    }
    return found;
}

std::string attr(const ClsXml& node, const char* name) {
    StringBuffer v;
    node.getAttrValue(name, v);
    return v.getString();
}

// The trimmed text of the child at path, or of node itself when path is null.
std::string childText(const ClsXml& node, const char* path) {
    StringBuffer v;
    if (path == nullptr)
        node.getContentSb(v);
    else
        node.getChildContentUtf8(path, v, false);
    v.trim2();
    return v.getString();
}

// Whether one Cert of a SigningCertificate(V2) names cert: its digest, and its issuer and
// serial when it gives them (IssuerSerialV2 is DER that only restates the digest's subject).
bool certEntryMatches(const ClsXml& entry, TavolinX509& cert) {
    DSigReference method;  // read as the DigestMethod of a Reference is
    entry.getChildAttrValue("*:CertDigest|*:DigestMethod", "Algorithm", method.m_digestMethod);
    DataBuffer der, digest, expected;
    cert.getCertDer(der);
    expected.appendEncoded(childText(entry, "*:CertDigest|*:DigestValue").c_str(), "base64");
    if (!_tvHash::doHash(der.getData2(), der.getSize(), method.getHashAlg(), digest) ||
        expected.getSize() == 0 || !digest.equals(expected))
        return false;
    const std::string issuer = childText(entry, "*:IssuerSerial|*:X509IssuerName");
    const std::string serial = childText(entry, "*:IssuerSerial|*:X509SerialNumber");
    if (issuer.empty() && serial.empty()) return true;
    LogNull quiet;
    XString certIssuer, certSerial, givenSerial(serial.c_str());
    cert.getDN(false, true, certIssuer, quiet, 0);
    cert.get_SerialNumber(certSerial, quiet);
    givenSerial.reencode("decimal", "hex");
    StringBuffer a, b;
    DistinguishedName::toTvCanonHashKey(issuer.c_str(), a, quiet);
    DistinguishedName::toTvCanonHashKey(certIssuer.getUtf8(), b, quiet);
    return a.equals(b) &&
           StringBuffer(certSerial.getUtf8()).equalsIgnoreCase(givenSerial.getUtf8());
}

void readSigningCertificate(const ClsXml& props, const DataBuffer& certDer, XadesBinding& out) {
    ClsXml* sc = props.getChildWithTagUtf8("*:SignedSignatureProperties|*:SigningCertificateV2");
    out.signingCertForm = sc != nullptr ? "SigningCertificateV2" : "";
    if (sc == nullptr) {
        sc = props.getChildWithTagUtf8("*:SignedSignatureProperties|*:SigningCertificate");
        if (sc != nullptr) out.signingCertForm = "SigningCertificate";
    }
    RefCountedObjectOwner owner(sc);
    if (sc == nullptr) return;
    TavolinX509 cert;
    LogNull quiet;
    if (certDer.getSize() == 0 || !cert.loadX509Der(certDer, quiet)) return;
    for (int i = 0; i < sc->get_NumChildren() && !out.signingCertMatches; ++i) {
        ClsXml* entry = sc->getChild(i);
        RefCountedObjectOwner entryOwner(entry);
        out.signingCertMatches = entry != nullptr && certEntryMatches(*entry, cert);
    }
}

void readUnsignedValues(const ClsXml& qp, XadesBinding& out) {
    std::vector<std::unique_ptr<RefCountedObjectOwner>> owners;
    for (ClsXml* c : allWithTag(qp, "*:EncapsulatedX509Certificate", owners))
        out.certificateValues.push_back(childText(*c, nullptr));
    for (ClsXml* c : allWithTag(qp, "*:EncapsulatedCRLValue", owners))
        out.crlValues.push_back(childText(*c, nullptr));
}

}  // namespace

bool ClsXmlDSig::GetXadesBinding(const DataBuffer& signerCertDer, XadesBinding& out) {
    CritSecExitor lock(this);
    out = XadesBinding();
    ClsXml* sig = selectedSignature();
    if (sig == nullptr || m_xmlDoc == nullptr) return false;
    std::vector<std::unique_ptr<RefCountedObjectOwner>> owners;
    const std::string id = attr(*sig, "Id");
    ClsXml* own = nullptr;  // SignedProperties of this signature's own QualifyingProperties
    ClsXml* ownQp = nullptr;
    for (ClsXml* qp : allWithTag(*sig, "*:QualifyingProperties", owners)) {
        // Target is "#Id"; ZATCA invoices write the bare Id. Either names this signature, and
        // only QualifyingProperties inside it are considered.
        const std::string target = attr(*qp, "Target");
        if (id.empty() || (target != "#" + id && target != id) || ownQp != nullptr) continue;
        ownQp = qp;
        own = qp->getChildWithTagUtf8("*:SignedProperties");
        if (own != nullptr) owners.push_back(std::make_unique<RefCountedObjectOwner>(own));
    }
    // The SignedProperties elements the References of SignedInfo point at, anywhere.
    std::vector<ClsXml*> referenced;
    const std::vector<ClsXml*> everyProps = allWithTag(*m_xmlDoc, "*:SignedProperties", owners);
    for (int i = 0; i < get_NumReferences(); ++i) {
        DSigReference ref;
        if (!describeReference(i, ref) || !ref.m_uri.beginsWith("#")) continue;
        for (ClsXml* p : everyProps)
            if ("#" + attr(*p, "Id") == ref.m_uri.getString()) referenced.push_back(p);
    }
    const std::vector<ClsXml*> inside = allWithTag(*sig, "*:SignedProperties", owners);
    out.present = own != nullptr || !referenced.empty() || !inside.empty();
    if (!out.present) return true;
    for (ClsXml* p : referenced) {
        if (own != nullptr && p->node() == own->node()) {
            out.covered = true;
        } else if (out.problem.empty()) {
            out.problem = "the signed SignedProperties (Id \"" + attr(*p, "Id") +
                          "\") are not inside this signature's own QualifyingProperties";
        }
    }
    ClsXml* props = own != nullptr ? own : (inside.empty() ? nullptr : inside[0]);
    if (!out.covered && props != nullptr)
        out.warning = std::string("XAdES SignedProperties are not covered by a signed reference") +
                      (familyFlags().zatca || familyFlags().myInvois
                           ? " (the ZATCA and MyInvois rules do not cover them)"
                           : "");
    if (props == nullptr) return true;
    out.signingTime = childText(*props, "*:SignedSignatureProperties|*:SigningTime");
    readSigningCertificate(*props, signerCertDer, out);
    if (ownQp != nullptr) readUnsignedValues(*ownQp, out);
    if (out.covered && out.problem.empty() && !out.signingCertForm.empty() &&
        !out.signingCertMatches)
        out.problem =
            out.signingCertForm + (signerCertDer.getSize() == 0
                                       ? " names a certificate, but no certificate verified"
                                       : " does not name the certificate that verified");
    return true;
}

}  // namespace xmldsig
