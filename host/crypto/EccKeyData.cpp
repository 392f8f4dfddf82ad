#include "host/crypto/EccKeyData.h"

#include "host/crypto/detail/DlogSignature.h"
#include "host/log/LogBase.h"

namespace xmldsig {

bool EccKeyData::eccVerifyHash(const unsigned char* sig, std::size_t sigLen, bool derFirst,
                               const unsigned char* hash, std::size_t hashLen, bool& verified,
                               LogBase& log, unsigned rawHalfSize) const {
    LogContextExitor ctx(log, "eccVerifyHash");
    const std::size_t half = rawHalfSize != 0 ? rawHalfSize : m_orderBytes;
    return detail::verifyDlogHash(m_key.get(), half, sig, sigLen, hash, hashLen, !derFirst,
                                  verified, log);
}

}  // namespace xmldsig
