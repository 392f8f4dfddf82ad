// Hashing a same-document reference's transformed text and comparing the digest, with the
// ZATCA retry, the MyInvois signer's forms, hexadecimal stored digests and the digest-error
// tolerance.
#include "dsig/ClsXmlDSig.h"
#include "dsig/detail/LhdnForms.h"
#include "dsig/detail/RefDigestWork.h"
#include "host/crypto/_tvHash.h"
#include "host/log/LogContextExitor.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/text/ContentCoding.h"
#include "host/xml/ClsXml.h"

namespace xmldsig {

namespace {

// Hashes the bytes, keeping a copy in record when the caller asked to see what was hashed.
void hashRecorded(const void* data, std::size_t len, int hashAlg, DataBuffer& digest,
                  DataBuffer* record) {
    if (record != nullptr) {
        record->clear();
        record->append(data, len);
    }
    _tvHash::doHash(data, len, hashAlg, digest);
}

// ZATCA hashes its SignedProperties with an empty-element DigestMethod and signs the lower-case
// hex text of the digest.
void zatcaHexDigest(StringBuffer& text, int hashAlg, DataBuffer& digest, DataBuffer* record) {
    text.replaceFirstOccurance("></ds:DigestMethod>", "/>", false);
    DataBuffer raw;
    hashRecorded(text.getString(), text.getSize(), hashAlg, raw, record);
    StringBuffer hex;
    raw.encodeDB("hex_lower", hex);
    digest.clear();
    digest.append(hex);
}

// The base64 transform: the canonical text's root element holds base64 text; its bytes are
// what is digested.
bool decodeBase64Content(const StringBuffer& text, DataBuffer& decoded, LogBase& log) {
    LogContextExitor ctx(log, "base64Transform");
    ClsXml* xml = ClsXml::createNewCls();
    if (xml == nullptr) return false;
    RefCountedObjectOwner owner(xml);
    xml->loadXml(text, true, log);
    const int children = xml->get_NumChildren();
    if (children > 0) {
        log.LogError("Expected 0 XML children.");
        log.LogDataLong("numChildren", children);
    }
    StringBuffer content;
    xml->getContentSb(content);
    log.LogDataLong("base64_string_length", content.getSize());
    if (!ContentCoding::decodeBase64ToDb(content.getString(), content.getSize(), decoded)) {
        log.LogError("base64 decoding failed.  Maybe this was not actually base64?");
        StringBuffer shown;
        if (content.getSize() > 200) {
            shown.appendN(content.getString(), 200);
            shown.append("...");
        } else {
            shown.setString(content);
        }
        log.LogDataSb("base64_string", shown);
    }
    log.LogDataLong("decodedSize", decoded.getSize());
    return true;
}

// The MyInvois signer hashes texts that no transform chain yields (see LhdnForms.h): its
// whole-document reference (the one whose digest the signature signs) covers the minified
// invoice, its SignedProperties reference (no transforms) the element as .NET writes it. Both
// are computed from the loaded text, so a changed document still changes the digest.
bool lhdnFormMatches(const StringBuffer& xmlText, const StringBuffer& uri, DSigReference& reference,
                     bool documentReference, DataBuffer& digest, DataBuffer* record, LogBase& log) {
    StringBuffer form;
    if (documentReference) {
        if (!uri.isEmpty()) return false;
        log.LogInfo("Retry with the MyInvois signer's minified document...");
        if (!detail::lhdnDocumentForm(xmlText, form, log)) return false;
    } else if (reference.m_transforms.getSize() == 0 && !uri.isEmpty()) {
        log.LogInfo("Retry with the MyInvois signer's SignedProperties serialization...");
        if (!detail::lhdnSignedPropertiesForm(xmlText, uri, form, log)) return false;
    } else {
        return false;
    }
    digest.clear();
    hashRecorded(form.getString(), form.getSize(), reference.getHashAlg(), digest, record);
    StringBuffer calculated;
    digest.encodeDB("base64", calculated);
    log.LogDataSb("calculatedDigest3", calculated);
    return calculated.equals(reference.m_digestValue);
}

}  // namespace

bool ClsXmlDSig::computeReferenceDigest(int hashAlg, detail::RefDigestWork& w, LogBase& log) {
    w.digest.clear();
    if (w.base64Pending) {
        DataBuffer decoded;
        if (!decodeBase64Content(w.text, decoded, log)) return false;
        hashRecorded(decoded.getData2(), decoded.getSize(), hashAlg, w.digest, hashRecord());
    } else if (m_isZatca && w.text.containsSubstring("SignedProperties")) {
        zatcaHexDigest(w.text, hashAlg, w.digest, hashRecord());
    } else {
        hashRecorded(w.text.getString(), w.text.getSize(), hashAlg, w.digest, hashRecord());
        if (w.saveMyInvoisDigest) {
            m_myInvoisDigest.clear();
            m_myInvoisDigest.append(w.digest);
        }
    }
    return true;
}

bool ClsXmlDSig::zatcaRetry(StringBuffer& uri, DSigReference& reference, detail::RefDigestWork& w,
                            LogBase& log) {
    log.LogInfo("Retry with ZATCA rules...");
    w.text.setString(m_xmlText);
    preprocessXmlToTransform(uri, reference, w.text, log);
    StringBuffer algorithm("xml-exc-c14n");
    transformCanonicalize(nullptr, w.text, algorithm, uri, log);  // result deliberately unchecked
    DataBuffer retryBytes;  // kept for --explain only when the retry matches
    zatcaHexDigest(w.text, referenceHash(reference), w.digest,
                   hashRecord() != nullptr ? &retryBytes : nullptr);
    w.calculated.clear();
    w.digest.encodeDB("base64", w.calculated);
    log.LogDataSb("calculatedDigest2", w.calculated);
    log.LogDataSb("storedRefDigest2", reference.m_digestValue);
    m_isZatca = true;
    m_noSortBugRetry = true;
    const bool matched = w.calculated.equals(reference.m_digestValue);
    if (matched && hashRecord() != nullptr) {
        hashRecord()->clear();
        hashRecord()->append(retryBytes);
    }
    return matched;
}

bool ClsXmlDSig::compareReferenceDigest(StringBuffer& uri, DSigReference& reference,
                                        detail::RefDigestWork& w, LogBase& log) {
    const StringBuffer& stored = reference.m_digestValue;
    w.calculated.clear();
    w.digest.encodeDB("base64", w.calculated);
    log.LogDataSb("calculatedDigest", w.calculated);
    log.LogDataSb("storedRefDigest", stored);
    if (w.calculated.equals(stored)) {
        m_refFailReason = RefFail::kMatched;
        return true;
    }

    if (!m_isZatca && w.calculated.getSize() + 8 < stored.getSize() &&
        w.text.containsSubstring("SignedProperties") && zatcaRetry(uri, reference, w, log)) {
        m_refFailReason = RefFail::kMatched;
        return true;
    }
    if (m_isMyInvois) {
        // The fallback's bytes replace the transform chain's in the record only when they
        // match: --explain shows what the chain hashed for a reference that fails.
        DataBuffer lhdnDigest, lhdnBytes;
        if (lhdnFormMatches(m_xmlText, uri, reference, w.saveMyInvoisDigest, lhdnDigest,
                            hashRecord() != nullptr ? &lhdnBytes : nullptr, log)) {
            if (DataBuffer* record = hashRecord()) {
                record->clear();
                record->append(lhdnBytes);
            }
            // The signature value signs this digest, not the one of the transform chain.
            if (w.saveMyInvoisDigest) {
                m_myInvoisDigest.clear();
                m_myInvoisDigest.append(lhdnDigest);
            }
            m_refFailReason = RefFail::kMatched;
            return true;
        }
    }
    if (stored.isHexidecimal()) {
        log.LogError(
            "Checking to see if the signed XML's digest is hex.  Will convert to base64 and "
            "re-compare.");
        DataBuffer bytes;
        bytes.appendEncoded(stored.getString(), "hex");
        StringBuffer storedB64;
        bytes.encodeDB("base64", storedB64);
        log.LogDataSb("storedRefDigest_base64", storedB64);
        if (storedB64.equals(w.calculated)) {
            m_refFailReason = RefFail::kMatched;
            return true;
        }
    }
    if (log.uncommonOptions().containsSubstring("AllowXmlDigestError")) {
        m_refFailReason = RefFail::kMatched;
        return true;
    }
    m_refFailReason = RefFail::kDigestMismatch;
    return false;
}

}  // namespace xmldsig
