#include "host/crypto/DsaCore.h"

#include "host/crypto/DsaKeyData.h"
#include "host/crypto/detail/DlogSignature.h"
#include "host/log/LogBase.h"

namespace xmldsig {

bool DsaCore::verifyHash(const DsaKeyData& key, const unsigned char* sig, std::size_t sigLen,
                         bool rawFirst, const unsigned char* hash, std::size_t hashLen,
                         bool& verified, LogBase& log) {
    LogContextExitor ctx(log, "dsaVerifyHash");
    return detail::verifyDlogHash(key.pkey(), key.subgroupBytes(), sig, sigLen, hash, hashLen,
                                  rawFirst, verified, log);
}

}  // namespace xmldsig
