// The last step of VerifySignature: the signature value under each candidate key, by key type.
#include <string>

#include "dsig/ClsXmlDSig.h"
#include "host/crypto/ClsPublicKey.h"
#include "host/crypto/DsaCore.h"
#include "host/crypto/EccKeyData.h"
#include "host/crypto/Hmac.h"
#include "host/crypto/RsaCore.h"
#include "host/log/LogNull.h"

namespace xmldsig {

namespace {

ClsPublicKey* keyAt(ExtPtrArrayRc& keys, int i) {
    return static_cast<ClsPublicKey*>(keys.elementAt(i));
}

// The key that verified (borrowed), or null.
ClsPublicKey* verifyRsa(ExtPtrArrayRc& keys, int hashAlg, const StringBuffer& sigMethod,
                        const DataBuffer& sig, const DataBuffer& hash,
                        const StringBuffer& canonMethod, const StringBuffer& signedText,
                        std::string& failure, LogBase& log) {
    log.LogDataLong("numRsaKeys", keys.getSize());
    const int padding =
        sigMethod.containsSubstring("MGF1") ? RsaCore::kPaddingPss : RsaCore::kPaddingPkcs1v15;
    for (int i = 0; i < keys.getSize(); ++i) {
        ClsPublicKey* key = keyAt(keys, i);
        RsaKeyData* rsa = key != nullptr ? key->pubKey().getRsaKey() : nullptr;
        if (rsa == nullptr) {
            log.LogError("Public key is not an RSA key.");
            continue;
        }
        bool verified = false, wrongKey = false;
        if (RsaCore::verifyHashExt(sig.getData2(), sig.getSize(), hash.getData2(), hash.getSize(),
                                   hashAlg, padding, hashAlg, verified, *rsa, 0, true, wrongKey,
                                   log)) {
            if (verified) {
                log.LogInfo("The RSA signature was verified.");
            } else {
                failure = "RSA verify hash found the signature to be invalid.";
                log.LogError(failure.c_str());
                log.LogDataHexDb("signedInfoHash", hash);
                log.LogDataSb("canonicalizationMethod", canonMethod);
                log.LogDataSb("canonicalizedSignedInfo", signedText);
            }
            return verified ? key : nullptr;
        }
        if (wrongKey)
            log.LogInfo("Not the correct key.");
        else
            log.LogError("RSA verify hash failed.");
    }
    return nullptr;
}

// DSA and ECDSA try every key of their type quietly; only the summary is logged. The key that
// verified (borrowed), or null.
template <typename Check>
ClsPublicKey* verifyEach(ExtPtrArrayRc& keys, const char* countKey, const char* failure,
                         bool& nullKey, std::string& failureOut, LogBase& log, Check check) {
    log.LogDataLong(countKey, keys.getSize());
    for (int i = 0; i < keys.getSize(); ++i) {
        ClsPublicKey* key = keyAt(keys, i);
        if (key == nullptr) {
            nullKey = true;
            return nullptr;
        }
        if (check(*key)) return key;
    }
    log.LogError(failure);
    failureOut = failure;
    return nullptr;
}

}  // namespace

bool ClsXmlDSig::verifyWithKeys(int keyType, int hashAlg, const StringBuffer& sigMethod,
                                const StringBuffer& signedText, const StringBuffer& sigValueText,
                                const DataBuffer& sig, const DataBuffer& hash,
                                const StringBuffer& canonMethod, LogBase& log) {
    ExtPtrArrayRc keys;
    if (keyType >= 1 && keyType <= 3) {
        if (!getPublicKey(false, keys, log)) {
            log.LogError("No public key available to verify signature.");
            return failVerify(VerifyFailure::NoKey, m_pinnedKeysOnly
                                                        ? "no pinned key was given"
                                                        : "No public key available to verify "
                                                          "signature.");
        }
    } else if (keyType == 4) {
        if (m_hmacKey.getSize() == 0) {
            log.LogError("No HMAC key available to verify signature.");
            return failVerify(VerifyFailure::NoKey, "No HMAC key available to verify signature.");
        }
    } else {
        log.LogInfo("Unknown key type...");
        log.LogError("Invalid key type");
        logSuccessFailure(false);
        return failVerify(VerifyFailure::UnsupportedSignatureMethod,
                          "unsupported signature method " + sigMethod.str());
    }

    bool verified = false, nullKey = false;
    ClsPublicKey* verifier = nullptr;
    std::string failure;
    LogNull quiet;
    switch (keyType) {
        case 1:
            if (keys.getSize() != 0)
                verifier = verifyRsa(keys, hashAlg, sigMethod, sig, hash, canonMethod, signedText,
                                     failure, log);
            break;
        case 2:
            if (keys.getSize() != 0)
                verifier = verifyEach(keys, "numDsaKeys", "DSA verify hash failed.", nullKey,
                                      failure, log, [&](ClsPublicKey& k) {
                                          const DsaKeyData* dsa = k.pubKey().getDsaKey();
                                          bool ok = false;
                                          return dsa != nullptr &&
                                                 DsaCore::verifyHash(
                                                     *dsa, sig.getData2(), sig.getSize(), true,
                                                     hash.getData2(), hash.getSize(), ok, quiet) &&
                                                 ok;
                                      });
            break;
        case 3:
            if (keys.getSize() != 0)
                verifier = verifyEach(
                    keys, "numEcdsaKeys", "ECDSA verify hash found the signature to be invalid.",
                    nullKey, failure, log, [&](ClsPublicKey& k) {
                        const EccKeyData* ec = k.pubKey().getEccKey();
                        bool ok = false;
                        return ec != nullptr &&
                               ec->eccVerifyHash(sig.getData2(), sig.getSize(), false,
                                                 hash.getData2(), hash.getSize(), ok, quiet, 0) &&
                               ok;
                    });
            break;
        default: {  // HMAC
            DataBuffer mac;
            if (!Hmac::doHMAC(reinterpret_cast<const unsigned char*>(signedText.getString()),
                              signedText.getSize(), m_hmacKey.getData2(), m_hmacKey.getSize(),
                              hashAlg, mac, log)) {
                failure = "HMAC verify failed.";
                log.LogError(failure.c_str());
                break;
            }
            StringBuffer macB64, expected;
            mac.encodeDB("base64", macB64);
            expected.setString(sigValueText);
            expected.trim2();
            verified = macB64.equals(expected);
            if (!verified) {
                failure = "HMAC validation failed.";
                log.LogError(failure.c_str());
            }
        }
    }
    if (keyType != 4) verified = verifier != nullptr;
    if (nullKey) return failVerify(VerifyFailure::NoKey, "a candidate key is missing");
    logSuccessFailure(verified);
    if (!verified && hash.getSize() == 0 && keyType != 4)
        return failVerify(VerifyFailure::UnsupportedSignatureMethod,
                          "unsupported signature method " + sigMethod.str());
    if (!verified && failure.empty())
        failure = m_pinnedKeysOnly ? "the SignatureValue does not verify under the given keys"
                                   : "the SignatureValue does not verify under any candidate key";
    if (!verified) return failVerify(VerifyFailure::SignatureMismatch, failure);
    if (keyType == 4) {
        m_verifyingSource = "caller HMAC key";
    } else {
        recordVerifyingKey(verifier);
    }
    return true;
}

}  // namespace xmldsig
