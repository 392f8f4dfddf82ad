#include "host/crypto/_tvPublicKey.h"

#include <openssl/core_names.h>

#include "host/crypto/detail/KeyBuild.h"
#include "host/crypto/detail/KeyChecks.h"
#include "host/crypto/detail/KeyDecode.h"
#include "host/crypto/detail/KeyValueXml.h"
#include "host/crypto/detail/OpenSslErrors.h"
#include "host/log/LogBase.h"
#include "host/text/DataBuffer.h"
#include "host/text/StringBuffer.h"

namespace xmldsig {

bool _tvPublicKey::loadAnyDer(const DataBuffer& der, LogBase& log) {
    LogContextExitor ctx(log, "loadAnyDer");
    return adopt(detail::publicKeyFromDer(der.getData2(), der.getSize(), log), log);
}

bool _tvPublicKey::loadXml(const StringBuffer& xml, LogBase& log) {
    LogContextExitor ctx(log, "loadKeyValueXml");
    return adopt(detail::keyFromKeyValueXml(xml, log), log);
}

bool _tvPublicKey::loadAnyFormat(const DataBuffer& data, LogBase& log) {
    LogContextExitor ctx(log, "loadAnyFormat");
    return adopt(detail::publicKeyFromAnyEncoding(data.getData2(), data.getSize(), log), log);
}

bool _tvPublicKey::loadEvpPkey(const EVP_PKEY* key, LogBase& log) {
    LogContextExitor ctx(log, "loadEvpPkey");
    std::vector<unsigned char> der;
    if (key == nullptr || !detail::publicKeyDer(key, der)) {
        log.LogError("The OpenSSL key has no public key to take.");
        detail::clearOpenSslErrors();
        return false;
    }
    return adopt(detail::publicKeyFromDer(der.data(), der.size(), log), log);
}

bool _tvPublicKey::adopt(detail::EvpPkeyPtr key, LogBase& log) {
    if (!key) return false;  // the loader logged why
    switch (EVP_PKEY_get_base_id(key.get())) {
        case EVP_PKEY_RSA:
        case EVP_PKEY_RSA_PSS:
            return adoptRsa(key.get(), log);
        case EVP_PKEY_DSA:
            return adoptDsa(std::move(key), log);
        case EVP_PKEY_EC:
            return adoptEc(std::move(key), log);
        case EVP_PKEY_ED25519:
        case EVP_PKEY_ED448:
            m_key.emplace<EdKeyData>(std::move(key));
            return true;
        default:
            break;
    }
    log.LogError("The public key is not an RSA, DSA, EC or EdDSA key.");
    const char* type = EVP_PKEY_get0_type_name(key.get());
    log.LogDataStr("keyType", type != nullptr ? type : "unknown");
    return false;
}

// RSA keys are rebuilt from (n, e) as plain RSA keys, so that keys marked for RSASSA-PSS only
// (id-RSASSA-PSS in a certificate) go through the same code; the document's signature method
// chooses the padding.
bool _tvPublicKey::adoptRsa(const EVP_PKEY* key, LogBase& log) {
    detail::BignumPtr n = detail::keyNumber(key, OSSL_PKEY_PARAM_RSA_N);
    detail::BignumPtr e = detail::keyNumber(key, OSSL_PKEY_PARAM_RSA_E);
    if (!detail::checkRsaNumbers(n.get(), e.get(), log)) return false;
    detail::EvpPkeyPtr plain = detail::buildRsaKey(n.get(), e.get(), log);
    std::vector<unsigned char> modulus(static_cast<std::size_t>(BN_num_bytes(n.get())));
    if (!plain || BN_bn2bin(n.get(), modulus.data()) != static_cast<int>(modulus.size())) {
        return false;
    }
    m_key.emplace<RsaKeyData>(std::move(plain), std::move(modulus));
    return true;
}

bool _tvPublicKey::adoptDsa(detail::EvpPkeyPtr key, LogBase& log) {
    std::size_t qBytes = 0;
    if (!detail::checkDsaKey(key.get(), qBytes, log)) return false;
    m_key.emplace<DsaKeyData>(std::move(key), qBytes);
    return true;
}

bool _tvPublicKey::adoptEc(detail::EvpPkeyPtr key, LogBase& log) {
    std::string curve;
    std::size_t orderBytes = 0;
    if (!detail::checkEcKey(key.get(), curve, orderBytes, log)) return false;
    m_key.emplace<EccKeyData>(std::move(key), std::move(curve), orderBytes);
    return true;
}

EVP_PKEY* _tvPublicKey::evpPkey() const {
    if (const RsaKeyData* k = getRsaKey()) return k->pkey();
    if (const DsaKeyData* k = getDsaKey()) return k->pkey();
    if (const EccKeyData* k = getEccKey()) return k->pkey();
    if (const EdKeyData* k = getEdKey()) return k->pkey();
    return nullptr;
}

const char* _tvPublicKey::keyTypeName() const {
    if (getRsaKey() != nullptr) return "RSA";
    if (getDsaKey() != nullptr) return "DSA";
    if (getEccKey() != nullptr) return "EC";
    if (const EdKeyData* k = getEdKey()) return k->isEd448() ? "Ed448" : "Ed25519";
    return "";
}

int _tvPublicKey::keySizeBits() const {
    EVP_PKEY* key = evpPkey();
    return key != nullptr ? EVP_PKEY_get_bits(key) : 0;
}

bool _tvPublicKey::getDer(std::vector<unsigned char>& out) const {
    EVP_PKEY* key = evpPkey();
    return key != nullptr && detail::publicKeyDer(key, out);
}

bool _tvPublicKey::equals(const _tvPublicKey& other) const {
    EVP_PKEY* a = evpPkey();
    EVP_PKEY* b = other.evpPkey();
    return a != nullptr && b != nullptr && EVP_PKEY_eq(a, b) == 1;
}

}  // namespace xmldsig
