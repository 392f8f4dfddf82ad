// VerifySignature: reference digests, then the SignatureValue over SignedInfo as it stands in
// the document text (or the family's own signed text), under each candidate key.
#include "dsig/AlgorithmTable.h"
#include "dsig/ClsXmlDSig.h"
#include "dsig/SignatureMethod.h"
#include "host/crypto/_tvHash.h"
#include "host/log/CritSecExitor.h"
#include "host/log/LogContextExitor.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/text/ContentCoding.h"
#include "host/xml/ClsXml.h"
#include "host/xml/XmlCanon.h"
#include "host/xml/XmlIdCheck.h"
#include "host/xml/XmlSigLocate.h"

namespace xmldsig {

bool ClsXmlDSig::VerifySignature(bool verifyReferenceDigests) {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "VerifySignature");
    m_log.clearLastJsonData();
    LogBase& log = m_log;
    log.LogDataSb("uncommonOptions", log.uncommonOptions());
    checkSetZatca(log);
    checkSetMyInvois(log);
    log.LogDataBool("verifyReferenceDigests", verifyReferenceDigests);
    log.LogDataLong("selector", m_selector);
    m_verifyFailure = VerifyFailure::None;
    m_verifyFailureDetail.clear();
    clearVerifyingKey();
    m_lastReferencesChecked = verifyReferenceDigests;
    m_signerReportJson.clear();
    m_trustStatus = "not checked";

    if (m_signatures.getSize() == 0) {
        log.LogError("There are no signatures.");
        return failVerify(VerifyFailure::NoSignature, "There are no signatures.");
    }
    StringBuffer sigId;
    selectedSignatureId(sigId, log);
    log.LogDataSb("SignatureId", sigId);
    if (get_NumReferences() == 0) {
        log.LogError("There are no references.");
        return failVerify(VerifyFailure::NoReference, "There are no references.");
    }
    if (!referenceCountWithinCap(log)) return false;
    if (verifyReferenceDigests) {
        std::string firstRefFailure;
        const int failures = countReferenceFailures(firstRefFailure, log);
        if (failures > 0) {
            log.LogDataLong("refFailureCount", failures);
            logSuccessFailure(false);
            return failVerify(VerifyFailure::ReferenceDigest, firstRefFailure);
        }
    }

    XmlSigLocate loc;
    if (!locateSelectedSignature(sigId, loc, log)) return false;
    if (!checkTimestampIfAsked(loc, log)) return false;
    if (loc.m_signedInfoLoc < m_xmlText.getSize() && !m_isZatca) {
        StringBuffer signedInfo;
        signedInfo.appendN(m_xmlText.getString() + loc.m_signedInfoLoc, loc.m_signedInfoLen);
        log.LogBracketed("signedInfo", signedInfo);
    }

    XmlCanon canon;
    StringBuffer canonMethod, signedText;
    if (!configureSignedInfoCanon(canon, canonMethod, log)) return false;
    if (!canonicalSignedText(canon, loc, signedText, log)) return false;
    if (log.verbose()) log.LogBracketed("canonicalizedSignedInfo", signedText);

    StringBuffer sigValueText;
    if (!getSignatureValue(sigValueText, log)) {
        log.LogError("Unable to find the SignatureValue element.");
        return failVerify(VerifyFailure::SignatureValue,
                          "Unable to find the SignatureValue element.");
    }
    DataBuffer sigBytes;
    if (!ContentCoding::decodeBase64ToDb(sigValueText.getString(), sigValueText.getSize(),
                                         sigBytes)) {
        log.LogError("Failed to decode base64 SignatureValue.");
        return failVerify(VerifyFailure::SignatureValue, "Failed to decode base64 SignatureValue.");
    }
    StringBuffer sigMethod;
    if (!getSignedInfoField("SignatureMethod", "Algorithm", sigMethod, log)) {
        log.LogError("Unable to location the SignatureMethod algorithm within the SignedInfo.");
        return failVerify(VerifyFailure::SignedInfo, "no SignatureMethod algorithm in SignedInfo");
    }
    log.LogDataSb("SignatureMethod", sigMethod);
    const int hashAlg = signatureMethodToHashAlg(sigMethod, log);
    const int keyType = signatureMethodToKeyType(sigMethod, log);
    m_readings.signature = 0;
    if (hashAlg < 0) {
        log.LogError("Hash algorithm not implemented yet by Tavolin.");
    } else if (keyType < 0) {
        log.LogError("Key type not implemented yet by Tavolin.");
    } else {
        DataBuffer hash;
        if (hashAlg != 0 && !hashToVerify(hashAlg, signedText, hash, log))
            return failVerify(VerifyFailure::SignedInfo, "the signed data could not be hashed");
        if (verifyWithKeys(keyType, hashAlg, sigMethod, signedText, sigValueText, sigBytes, hash,
                           canonMethod, log)) {
            m_readings.signature = 1;
            return true;
        }
    }
    // Why the signature fails: what the second reading found when it ran, else the first's.
    const VerifyFailure firstWhy = m_verifyFailure;
    const std::string firstDetail = m_verifyFailureDetail;
    m_verifyFailure = VerifyFailure::None;
    const SignedValue value{sigMethod, signedText, sigValueText, sigBytes, canonMethod};
    if (verifySignatureSecondReading(hashAlg, keyType, value, log)) {
        m_verifyFailureDetail.clear();
        return true;
    }
    if (m_verifyFailure != VerifyFailure::None) return false;
    if (hashAlg < 0 || keyType < 0)
        return failVerify(VerifyFailure::UnsupportedSignatureMethod,
                          "unsupported signature method " + sigMethod.str());
    return failVerify(firstWhy, firstDetail);
}

int ClsXmlDSig::countReferenceFailures(std::string& first, LogBase& log) {
    log.LogDataX("externalRefDirs", m_externalRefDirs);
    ExtPtrArraySb dirs;
    if (!m_externalRefDirs.isEmpty()) m_externalRefDirs.getUtf8Sb().split(dirs, ';', true, true);
    log.LogDataLong("numExternalRefDirs", dirs.getSize());
    int failures = 0;
    const int n = get_NumReferences();
    for (int i = 0; i < n; ++i) {
        bool externalMissing = false;
        if (verifyReferenceDigest(i, externalMissing, dirs, log)) continue;
        log.LogError("Failed to verify reference digest");
        log.LogDataLong("referenceIndex", i);
        if (externalMissing && m_ignoreExternalRefs) continue;
        if (failures++ == 0)
            first = "reference " + std::to_string(i) + ": " +
                    (m_refFailDetail.empty() ? RefFail::text(m_refFailReason) : m_refFailDetail);
    }
    return failures;
}

// Only a signature without an Id is found through its first reference (verification has already
// refused a signature without references; adding a timestamp needs none when there is an Id).
bool ClsXmlDSig::locateSelectedSignature(const StringBuffer& sigId, XmlSigLocate& loc,
                                         LogBase& log) {
    DSigReference reference;
    if (sigId.getSize() == 0) {
        ClsXml* firstRef = getReference(0, log);
        if (firstRef == nullptr) {
            log.LogError("No Reference at index 0");
            return failVerify(VerifyFailure::NoReference, "No Reference at index 0");
        }
        RefCountedObjectOwner owner(firstRef);
        reference.parseReference(*firstRef, log);
    }

    _tvXmlDtd dtd;
    loc.useParsedDocument(treeIfUnchanged(m_xmlText));
    if (sigId.getSize() != 0) {
        if (!loc.FindXmlSigById(sigId, m_xmlText, dtd, log)) {
            log.LogInfo_n("Unable to find the Signature by Id.", 3);
            log.LogDataSb("signatureId", sigId);
            return failVerify(VerifyFailure::SignatureNotLocated,
                              wrappingDetail(sigId, "the Signature with Id " + sigId.str() +
                                                        " is not in the document text"));
        }
    } else if (!loc.FindXmlSigByRefDigest(reference.m_digestValue, m_xmlText, dtd, log)) {
        log.LogError("Unable to find the Signature.");
        return failVerify(VerifyFailure::SignatureNotLocated, "Unable to find the Signature.");
    }
    // The text search must land on the very element that was selected in the tree; anything
    // else means two signatures share an identity and the document is refused.
    const ClsXml* selected = selectedSignature();
    if (selected == nullptr || selected->node() == nullptr ||
        selected->node()->start != loc.m_signatureLoc) {
        log.LogError("The signature found in the text is not the selected signature.");
        log.LogDataUint32("foundAt", loc.m_signatureLoc);
        return failVerify(VerifyFailure::SignatureNotLocated,
                          "The signature found in the text is not the selected signature.");
    }
    return true;
}

bool ClsXmlDSig::checkTimestampIfAsked(const XmlSigLocate& loc, LogBase& log) {
    if (!log.uncommonOptions().containsSubstringNoCase("VerifyEncapsulatedTimeStamp")) return true;
    return checkTimestampAt(loc, log);
}

bool ClsXmlDSig::checkTimestampAt(const XmlSigLocate& loc, LogBase& log) {
    LogContextExitor ctx(log, "checkEncapsulatedTimeStamp");
    if (loc.m_signatureLoc >= m_xmlText.getSize()) return true;
    StringBuffer sigText;
    sigText.appendN(m_xmlText.getString() + loc.m_signatureLoc, loc.m_signatureLen);
    if (log.verbose()) log.LogBracketed("signature", sigText);
    if (!sigText.containsSubstring("EncapsulatedTimeStamp")) return true;
    ClsXml* xml = ClsXml::createNewCls();
    if (xml == nullptr) return failVerify(VerifyFailure::Timestamp, "out of memory");
    RefCountedObjectOwner owner(xml);
    if (!xml->loadXml(sigText, true, log)) {
        log.LogError("Failed to load signature XML.");
        return failVerify(VerifyFailure::Timestamp, "Failed to load signature XML.");
    }
    if (!verifyEncapsulatedTimeStamp(sigText, *xml, log)) {
        log.LogError("Verification of encapsulated timestamp failed.");
        return failVerify(VerifyFailure::Timestamp,
                          "Verification of encapsulated timestamp failed.");
    }
    return true;
}

bool ClsXmlDSig::configureSignedInfoCanon(XmlCanon& canon, StringBuffer& method, LogBase& log) {
    StringBuffer prefixList;
    if (!getCanonicalizationMethod(method, prefixList, log)) {
        log.LogError("Unable to get SignedInfo CanonicalizationMethod.");
        return failVerify(VerifyFailure::SignedInfo,
                          "Unable to get SignedInfo CanonicalizationMethod.");
    }
    if (prefixList.getSize() != 0) prefixList.split(canon.m_inclusivePrefixes, ' ', true, true);
    const AlgorithmRow& c14n = firstReading(kPlaceSignedInfoC14n, method);
    canon.m_mode = c14n.handler == AlgHandler::C14nExclusive ? 2 : 1;
    if (c14n.isDefault) {
        log.LogError("Unrecognized canonicalization method.");
        log.LogDataSb("canonicalizationMethod", method);
    }
    canon.m_withComments = method.containsSubstringNoCase("WithComments");
    canon.m_resetOption = false;
    if (m_isCsioz || m_emulateSortBug) {
        log.LogInfo("Will duplicate the XML canonicalization attribute sorting bug...");
        canon.m_duplicateSortingBug = true;
    }
    if (m_isSkSignedDoc) canon.m_secondCompatSwitch = false;
    return true;
}

bool ClsXmlDSig::canonicalSignedText(XmlCanon& canon, const XmlSigLocate& loc, StringBuffer& out,
                                     LogBase& log) {
    const uint32_t signedInfoAt = loc.m_signedInfoLoc;
    if (m_isSiiCl && m_siiDte.getSize() != 0 && m_siiDteOffset != 0 &&
        m_siiDteOffset < signedInfoAt) {
        if (!canon.xmlCanonicalize(m_siiDte, nullptr, signedInfoAt - m_siiDteOffset, out, log)) {
            log.LogError("Failed to canonicalize sii.cl SignedInfo fragment.");
            return failVerify(VerifyFailure::SignedInfo,
                              "Failed to canonicalize sii.cl SignedInfo fragment.");
        }
        return true;
    }
    if (m_isDoda) {
        StringBuffer doda;
        m_xmlText.getDelimited("<doda>", "</doda>", true, doda);
        const int dodaAt = m_xmlText.indexOf("<doda>");
        const uint32_t offset = dodaAt < 0 ? signedInfoAt : signedInfoAt - dodaAt;
        if (!canon.xmlCanonicalize(doda, nullptr, offset, out, log)) {
            log.LogError("Failed to canonicalize doda SignedInfo fragment.");
            return failVerify(VerifyFailure::SignedInfo,
                              "Failed to canonicalize doda SignedInfo fragment.");
        }
        return true;
    }
    if (m_isZatca) {
        ClsXml* first = getReference(0, log);
        if (first == nullptr) {
            log.LogError("Failed to get first reference for signature verification.");
            return failVerify(VerifyFailure::SignedInfo,
                              "Failed to get first reference for signature verification.");
        }
        RefCountedObjectOwner owner(first);
        if (!first->getChildContentUtf8("*:DigestValue", out, false) || out.getSize() == 0) {
            log.LogError("Failed to get invoiceHash for signature verification.");
            return failVerify(VerifyFailure::SignedInfo,
                              "Failed to get invoiceHash for signature verification.");
        }
        return true;
    }
    canon.useParsedDocument(treeIfUnchanged(m_xmlText));
    if (!canon.xmlCanonicalize(m_xmlText, nullptr, signedInfoAt, out, log)) {
        log.LogError("Failed to canonicalize SignedInfo fragment.");
        return failVerify(VerifyFailure::SignedInfo, "Failed to canonicalize SignedInfo fragment.");
    }
    return true;
}

bool ClsXmlDSig::hashToVerify(int hashAlg, const StringBuffer& signedText, DataBuffer& hash,
                              LogBase&) {
    if (m_isZatca) {
        // ZATCA signs the hash of the invoice hash.
        DataBuffer invoiceHash;
        ContentCoding::decodeBase64ToDb(signedText.getString(), signedText.getSize(), invoiceHash);
        return _tvHash::doHash(invoiceHash.getData2(), invoiceHash.getSize(), hashAlg, hash);
    }
    if (m_isMyInvois) {
        hash.append(m_myInvoisDigest);
        return true;
    }
    return _tvHash::doHash(signedText.getString(), signedText.getSize(), hashAlg, hash);
}

}  // namespace xmldsig
