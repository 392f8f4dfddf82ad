// The last step of VerifySignature: the signature value under each candidate key, by key type.
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

bool verifyRsa(ExtPtrArrayRc& keys, int hashAlg, const StringBuffer& sigMethod,
               const DataBuffer& sig, const DataBuffer& hash, const StringBuffer& canonMethod,
               const StringBuffer& signedText, LogBase& log) {
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
                log.LogError("RSA verify hash found the signature to be invalid.");
                log.LogDataHexDb("signedInfoHash", hash);
                log.LogDataSb("canonicalizationMethod", canonMethod);
                log.LogDataSb("canonicalizedSignedInfo", signedText);
            }
            return verified;
        }
        if (wrongKey)
            log.LogInfo("Not the correct key.");
        else
            log.LogError("RSA verify hash failed.");
    }
    return false;
}

// DSA and ECDSA try every key of their type quietly; only the summary is logged.
template <typename Check>
bool verifyEach(ExtPtrArrayRc& keys, const char* countKey, const char* failure, bool& nullKey,
                LogBase& log, Check check) {
    log.LogDataLong(countKey, keys.getSize());
    for (int i = 0; i < keys.getSize(); ++i) {
        ClsPublicKey* key = keyAt(keys, i);
        if (key == nullptr) {
            nullKey = true;
            return false;
        }
        if (check(*key)) return true;
    }
    log.LogError(failure);
    return false;
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
            return false;
        }
    } else if (keyType == 4) {
        if (m_hmacKey.getSize() == 0) {
            log.LogError("No HMAC key available to verify signature.");
            return false;
        }
    } else {
        log.LogInfo("Unknown key type...");
        log.LogError("Invalid key type");
        logSuccessFailure(false);
        return false;
    }

    bool verified = false, nullKey = false;
    LogNull quiet;
    switch (keyType) {
        case 1:
            verified = keys.getSize() != 0 &&
                       verifyRsa(keys, hashAlg, sigMethod, sig, hash, canonMethod, signedText, log);
            break;
        case 2:
            verified = keys.getSize() != 0 &&
                       verifyEach(keys, "numDsaKeys", "DSA verify hash failed.", nullKey, log,
                                  [&](ClsPublicKey& k) {
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
            verified = keys.getSize() != 0 &&
                       verifyEach(keys, "numEcdsaKeys",
                                  "ECDSA verify hash found the signature to be invalid.", nullKey,
                                  log, [&](ClsPublicKey& k) {
                                      const EccKeyData* ec = k.pubKey().getEccKey();
                                      bool ok = false;
                                      return ec != nullptr &&
                                             ec->eccVerifyHash(sig.getData2(), sig.getSize(), false,
                                                               hash.getData2(), hash.getSize(), ok,
                                                               quiet, 0) &&
                                             ok;
                                  });
            break;
        default: {  // HMAC
            DataBuffer mac;
            if (!Hmac::doHMAC(reinterpret_cast<const unsigned char*>(signedText.getString()),
                              signedText.getSize(), m_hmacKey.getData2(), m_hmacKey.getSize(),
                              hashAlg, mac, log)) {
                log.LogError("HMAC verify failed.");
                break;
            }
            StringBuffer macB64, expected;
            mac.encodeDB("base64", macB64);
            expected.setString(sigValueText);
            expected.trim2();
            verified = macB64.equals(expected);
            if (!verified) log.LogError("HMAC validation failed.");
        }
    }
    if (nullKey) return false;
    logSuccessFailure(verified);
    return verified;
}

}  // namespace xmldsig
