// Checking a XAdES signature timestamp: the token's CMS signature, then its message imprint
// against the hash of the canonical SignatureValue element it claims to cover.
#include "dsig/ClsXmlDSig.h"
#include "dsig/detail/XadesText.h"
#include "host/cms/CmsSignedData.h"
#include "host/cms/TstInfo.h"
#include "host/crypto/_tvHash.h"
#include "host/log/CritSecExitor.h"
#include "host/log/LogContextExitor.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/xml/ClsXml.h"
#include "host/xml/XmlCanon.h"
#include "host/xml/XmlSigLocate.h"

namespace xmldsig {

namespace {

// The hash algorithm OID and the hashed message of a TSTInfo's messageImprint, read from its DER
// (size-capped, so that a huge token costs no more than its signature check).
bool readImprint(const DataBuffer& tstInfo, StringBuffer& oid, DataBuffer& expected, LogBase& log) {
    if (!TstInfo::readMessageImprint(tstInfo, oid, expected, log)) {
        log.LogError(
            "Failed to decoded ASN.1 extracted from the encapsulated timestamp signature.");
        return false;
    }
    log.LogDataHexDb("extractedAsn", tstInfo);
    log.LogDataSb("hashOid", oid);
    log.LogDataHexDb("expected_hash", expected);
    return true;
}

// Exclusive or inclusive Canonical XML 1.0, as the SignatureTimeStamp's CanonicalizationMethod
// says; inclusive when it says nothing.
int timestampCanonMode(ClsXml& sigXml, LogBase& log) {
    ClsXml* stamp = sigXml.searchForTag(nullptr, "*:SignatureTimeStamp");
    RefCountedObjectOwner stampOwner(stamp);
    if (stamp == nullptr) {
        log.LogInfo("Did not find SignatureTimeStamp tag.");
        return XmlCanon::kModeInclusive;
    }
    ClsXml* method = stamp->getChildWithTagUtf8("*:CanonicalizationMethod");
    RefCountedObjectOwner methodOwner(method);
    if (method == nullptr) {
        log.LogInfo("Did not find CanonicalizationMethod tag.");
        return XmlCanon::kModeInclusive;
    }
    StringBuffer algorithm;
    method->getAttrValue("Algorithm", algorithm);
    log.LogDataSb("encapsulatedTimestampCanonMethod", algorithm);
    return algorithm.containsSubstring("exc-") ? XmlCanon::kModeExclusive
                                               : XmlCanon::kModeInclusive;
}

// Hashes the canonical text as it is, then with CR LF line ends, and compares each with the
// imprint. An unknown algorithm never matches.
bool imprintMatches(const StringBuffer& oid, StringBuffer& canonText, const DataBuffer& expected,
                    LogBase& log) {
    const int hashAlg = _tvHash::oidToHashAlg(oid);
    log.LogDataLong("hashAlg", hashAlg);
    const char* keys[] = {"computed_hash", "computed_hash_with_CRLF"};
    for (const char* key : keys) {
        if (key == keys[1]) canonText.toCRLF();
        DataBuffer computed;
        _tvHash::doHash(canonText.getString(), canonText.getSize(), hashAlg, computed);
        log.LogDataHexDb(key, computed);
        if (hashAlg != 0 && !computed.isEmpty() && computed.equals(expected)) {
            log.LogInfo("The computed hash is equal to the expected hash.");
            return true;
        }
    }
    log.LogError("Computed hash not equal to the expected hash.");
    return false;
}

// For CheckSignatureTimeStamp: what the verified token says.
void recordToken(const CmsSignedData& cms, const DataBuffer& tstInfo, const StringBuffer& oid,
                 SignatureTimestampInfo& out) {
    out.hasTime = CmsSignedData::timestampTime(tstInfo, out.time);
    const char* name = _tvHash::hashName(_tvHash::oidToHashAlg(oid));
    out.hashAlgorithm = name != nullptr && *name != 0 ? name : oid.getString();
    cms.getSignerCertDer(out.tsaCertDer);
    cms.getCertsDer(out.tokenCerts);
}

}  // namespace

bool ClsXmlDSig::CheckSignatureTimeStamp(SignatureTimestampInfo& out) {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "CheckSignatureTimeStamp");
    out = SignatureTimestampInfo();
    ClsXml* sig = selectedSignature();
    if (sig == nullptr) {
        m_log.LogError("No signature at the selector index.");
        return false;
    }
    ClsXml* stamp = sig->searchForTag(nullptr, "*:EncapsulatedTimeStamp");
    RefCountedObjectOwner stampOwner(stamp);
    if (stamp == nullptr) return true;
    out.present = true;
    StringBuffer sigId;
    selectedSignatureId(sigId, m_log);
    XmlSigLocate loc;
    m_timestampRecord = &out;
    out.verified = locateSelectedSignature(sigId, loc, m_log) && checkTimestampAt(loc, m_log);
    m_timestampRecord = nullptr;
    for (const auto& e : m_log.entries())  // the first error says most: the others follow from it
        if (!out.verified && out.problem.empty() && e.kind == _tvLogger::EntryKind::Error)
            out.problem = e.text;
    logSuccessFailure(out.verified);
    return true;
}

bool ClsXmlDSig::verifyEncapsulatedTimeStamp(const StringBuffer& sigText, ClsXml& sigXml,
                                             LogBase& log) {
    LogContextExitor ctx(log, "verifyEncapsulatedTimeStamp");
    StringBuffer tokenBase64;
    if (!detail::captureUniqueTagContent("EncapsulatedTimeStamp", sigText, tokenBase64, log))
        return true;  // no timestamp: nothing to check
    DataBuffer token;
    token.appendEncoded(tokenBase64.getString(), "base64");

    CmsSignedData cms;
    bool detached = false;
    if (!cms.loadPkcs7Der(token, nullptr, CmsSignedData::kModeSignedDataOnly, &detached,
                          m_systemCerts, log)) {
        log.LogError("Failed to parse ASN.1 of encapsulated timestamp.");
        return false;
    }
    DataBuffer tstInfo;
    if (!cms.verifyOpaqueSignature(tstInfo, *this, m_systemCerts, log)) {
        log.LogError("Verification of encapsulated timestamp failed.");
        return false;
    }
    StringBuffer oid;
    DataBuffer expected;
    if (!readImprint(tstInfo, oid, expected, log)) return false;
    if (m_timestampRecord != nullptr) recordToken(cms, tstInfo, oid, *m_timestampRecord);

    StringBuffer sigValueText;
    if (!detail::captureUniqueTagContent("SignatureValue", sigText, sigValueText, log))
        return true;  // a valid token with no signature value text to compare passes
    log.LogDataSb("signatureValue", sigValueText);
    DataBuffer sigValueBytes;
    sigValueBytes.appendEncoded(sigValueText.getString(), "base64");
    StringBuffer sigValueId;
    if (!detail::captureUniqueAttrContent("SignatureValue", "Id", sigText, sigValueId, log))
        return false;

    XmlCanon canon;
    canon.m_mode = timestampCanonMode(sigXml, log);
    canon.m_withComments = false;
    canon.useParsedDocument(treeIfUnchanged(m_xmlText));
    StringBuffer canonSigValue;
    // The result is not consulted: a failed canonicalization leaves a text whose hash fails.
    canon.xmlCanonicalize(m_xmlText, sigValueId.getString(), 0, canonSigValue, log);
    canonSigValue.toLF();
    log.LogDataSb("sbCanonSigValue", canonSigValue);
    return imprintMatches(oid, canonSigValue, expected, log);
}

}  // namespace xmldsig
