// The certificates of the system trust store, in the places OpenSSL looks by default.
#pragma once

#include <string>

namespace xmldsig {
class CertMgr;
class LogBase;
}  // namespace xmldsig

namespace xmldsig::detail {

// A new manager (one reference for the caller) holding every certificate of the bundle file
// and of the files in the directories (dirs separated by ':'); either may be empty. Files that
// hold no certificate are skipped. Null only when memory runs out.
CertMgr* loadTrustStore(const std::string& file, const std::string& dirs, LogBase& log);

// The process's system trust store: OpenSSL's default bundle file and certificate directory
// (SSL_CERT_FILE and SSL_CERT_DIR override them, as for OpenSSL itself). Loaded on the first
// call and kept for the life of the process; borrowed. Null only when memory runs out.
CertMgr* defaultTrustStore(LogBase& log);

}  // namespace xmldsig::detail
