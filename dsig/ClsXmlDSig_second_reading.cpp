// Second readings: when the established recognition of an algorithm URI does not verify, the
// URI is read as the standard that defines it names it (AlgorithmTable.h), and the log says so.
// A second reading is never weaker: it is the algorithm the signer declared.
#include "dsig/AlgorithmTable.h"
#include "dsig/ClsXmlDSig.h"
#include "host/crypto/ClsPublicKey.h"
#include "host/crypto/_tvHash.h"
#include "host/log/LogContextExitor.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/xml/ClsXml.h"

namespace xmldsig {

namespace {

// A hash the table names but this build cannot compute is refused by name.
bool hashAvailable(int hashId, const char* algorithm, LogBase& log) {
    DataBuffer probe;
    if (_tvHash::hashLength(hashId) > 0 && _tvHash::doHash("", 0, hashId, probe)) return true;
    log.LogError("This build cannot compute the hash the algorithm names.");
    log.LogDataStr("algorithm", algorithm);
    return false;
}

}  // namespace

int ClsXmlDSig::referenceHash(const DSigReference& reference) const {
    return m_secondReadingHash != 0 ? m_secondReadingHash : reference.getHashAlg();
}

bool ClsXmlDSig::verifyReferenceDigest(int index, bool& missingExternalData, ExtPtrArraySb& refDirs,
                                       LogBase& log) {
    m_readings.setReference(index, AlgorithmReadings::kNone);
    if (verifyReferenceFirstReading(index, missingExternalData, refDirs, log)) {
        m_readings.setReference(index, AlgorithmReadings::kFirst);
        return true;
    }
    return referenceSecondReading(index, missingExternalData, refDirs, log);
}

bool ClsXmlDSig::referenceSecondReading(int index, bool& missingExternalData,
                                        ExtPtrArraySb& refDirs, LogBase& log) {
    if (digestMethodSecondReading(index, missingExternalData, refDirs, log)) return true;
    return generalEngineReading(index, refDirs, log);
}

bool ClsXmlDSig::digestMethodSecondReading(int index, bool& missingExternalData,
                                           ExtPtrArraySb& refDirs, LogBase& log) {
    if (m_refFailReason != 1) return false;  // only a computed digest that differs
    ClsXml* ref = getReference(index, log);
    if (ref == nullptr) return false;
    RefCountedObjectOwner owner(ref);
    DSigReference reference;
    reference.parseReference(*ref, log);
    const AlgorithmRow* standard =
        standardAlgorithm(kPlaceDigestMethod, reference.m_digestMethod.getString());
    if (standard == nullptr || standard->hashId == reference.getHashAlg()) return false;

    LogContextExitor ctx(log, "secondReading");
    log.LogInfo("The digest method names another hash than it was read as; checking with it.");
    log.LogDataSb("digestMethod", reference.m_digestMethod);
    log.LogDataStr("digestAlgorithm", standard->name);
    if (!hashAvailable(standard->hashId, standard->name, log)) return false;
    m_secondReadingHash = standard->hashId;
    const bool ok = verifyReferenceDigest2(index, missingExternalData, refDirs, log);
    m_secondReadingHash = 0;
    if (ok) {
        log.LogInfo("The reference digest verified under the second reading.");
        m_readings.setReference(index, AlgorithmReadings::kSecond,
                                std::string("digest method read as ") + standard->name);
    }
    return ok;
}

bool ClsXmlDSig::verifySignatureSecondReading(int firstHash, int firstKeyType, const SignedValue& v,
                                              LogBase& log) {
    const AlgorithmRow* standard = standardAlgorithm(kPlaceSignatureHash, v.sigMethod.getString());
    if (standard == nullptr) return false;
    const bool firstPss = v.sigMethod.containsSubstring("MGF1");
    if (standard->hashId == firstHash && standard->keyType == firstKeyType &&
        standard->pss == firstPss)
        return false;  // the same algorithm: nothing new to try

    LogContextExitor ctx(log, "secondReading");
    log.LogInfo(
        "The signature method names another algorithm than it was read as; checking with it.");
    log.LogDataSb("signatureMethod", v.sigMethod);
    log.LogDataStr("signatureAlgorithm", standard->name);
    bool ok = false;
    if (standard->keyType == keytype::kEd25519 || standard->keyType == keytype::kEd448) {
        ok = verifyEdDsa(standard->keyType, v, log);
    } else if (hashAvailable(standard->hashId, standard->name, log)) {
        DataBuffer hash;
        ok = hashToVerify(standard->hashId, v.signedText, hash, log) &&
             verifyWithKeys(standard->keyType, standard->hashId, v.sigMethod, v.signedText,
                            v.sigValueText, v.sigBytes, hash, v.canonMethod, log);
    }
    if (ok) m_readings.signature = AlgorithmReadings::kSecond;
    return ok;
}

bool ClsXmlDSig::verifyEdDsa(int keyType, const SignedValue& v, LogBase& log) {
    if (m_isZatca || m_isMyInvois) {
        log.LogError("EdDSA signs the message itself; this document family signs a hash.");
        return failVerify(VerifyFailure::UnsupportedSignatureMethod,
                          "EdDSA for a document family that signs a hash");
    }
    ExtPtrArrayRc keys;
    if (!getPublicKey(false, keys, log)) {
        log.LogError("No public key available to verify signature.");
        return failVerify(VerifyFailure::NoKey,
                          m_pinnedKeysOnly ? "no pinned key was given"
                                           : "No public key available to verify signature.");
    }
    const bool wantEd448 = keyType == keytype::kEd448;
    log.LogDataLong("numEdDsaKeys", keys.getSize());
    for (int i = 0; i < keys.getSize(); ++i) {
        auto* key = static_cast<ClsPublicKey*>(keys.elementAt(i));
        const EdKeyData* ed = key != nullptr ? key->pubKey().getEdKey() : nullptr;
        if (ed == nullptr || ed->isEd448() != wantEd448) continue;
        bool verified = false;
        if (ed->verifyMessage(reinterpret_cast<const unsigned char*>(v.signedText.getString()),
                              v.signedText.getSize(), v.sigBytes.getData2(), v.sigBytes.getSize(),
                              verified, log) &&
            verified) {
            log.LogInfo("The EdDSA signature was verified.");
            logSuccessFailure(true);
            recordVerifyingKey(key);
            return true;
        }
    }
    log.LogError("EdDSA verify found the signature to be invalid.");
    logSuccessFailure(false);
    return failVerify(VerifyFailure::SignatureMismatch,
                      "EdDSA verify found the signature to be invalid.");
}

}  // namespace xmldsig
