// The certificate-chain check of the signers of a CMS signed-data structure, made only when a
// caller asks for it: each signer's certificate must chain to a certificate of the store.
#pragma once

#include <openssl/cms.h>

#include <ctime>
#include <optional>

namespace xmldsig {
class DataBuffer;
class LogBase;
class SystemCerts;
}  // namespace xmldsig

namespace xmldsig::detail {

// The genTime of a TSTInfo, the moment the authority vouches for (nothing when unreadable).
std::optional<std::time_t> timestampTokenTime(const DataBuffer& tstInfo);

// certs: certificates that are not in the structure but may be intermediate links (may be
// null). content: the encapsulated content; for a timestamp token (a TSTInfo) the chain is
// checked at the token's time and for the time-stamping purpose, otherwise now and for any
// purpose. False, with the verifier's reason logged, when a chain is missing or invalid.
bool verifySignerChains(CMS_ContentInfo& cms, STACK_OF(X509) * certs, const DataBuffer& content,
                        SystemCerts* store, LogBase& log);

}  // namespace xmldsig::detail
