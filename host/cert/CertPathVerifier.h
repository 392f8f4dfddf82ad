// Whether a signer's certificate chains to an anchor the caller trusts, at a given time, with
// OpenSSL's path validation: anchors (need not be self-signed), intermediates, CRLs, a
// keyUsage that allows signing. The answer says which certificate failed and why.
#pragma once

#include <cstddef>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "host/text/DataBuffer.h"

namespace xmldsig {

class LogBase;
class TavolinX509;

struct CertPathLink {
    std::string subject;  // RFC 4514
    std::string sha256;   // upper-case hex of the certificate's SHA-256
};

struct CertPathResult {
    bool trusted = false;
    std::vector<CertPathLink> path;  // signer first; on failure as far as it was built
    std::string reason;              // empty when trusted
    std::time_t validationTime = 0;
};

class CertPathVerifier {
  public:
    // Most certificates (anchors and intermediates together) and CRLs one verifier takes.
    static constexpr std::size_t kMaxCerts = 5000;
    static constexpr std::size_t kMaxCrls = 1000;
    // Longest path looked for.
    static constexpr int kMaxDepth = 16;

    CertPathVerifier();
    CertPathVerifier(const CertPathVerifier&) = delete;
    CertPathVerifier& operator=(const CertPathVerifier&) = delete;
    ~CertPathVerifier();

    // Anchors and intermediates from a file (PEM, DER or base64; bundles) or every file of a
    // directory. False, logged, when nothing could be read or a limit is passed.
    bool addAnchors(const std::string& fileOrDir, LogBase& log);
    bool addIntermediates(const std::string& fileOrDir, LogBase& log);
    bool addAnchorDer(const DataBuffer& der, LogBase& log);
    bool addIntermediateDer(const DataBuffer& der, LogBase& log);
    // OpenSSL's default trust store (bundle file and hashed directory) as anchors.
    void useSystemTrust();
    // CRLs from a file (PEM blocks or one DER CRL). Given CRLs make revocation checking
    // mandatory: every certificate of the path needs a current CRL from its issuer.
    bool addCrlFile(const std::string& path, LogBase& log);
    // A CRL embedded in the signed document: it is consulted for the certificates it
    // covers, but its absence for others is not a failure.
    bool addEmbeddedCrlDer(const DataBuffer& der, LogBase& log);

    bool hasAnchors() const;
    void setTime(std::time_t at);

    // Validates a path from cert to an anchor at the time set (now when none was).
    CertPathResult verify(const TavolinX509& cert, LogBase& log) const;

  private:
    struct Impl;
    std::unique_ptr<Impl> m;
};

// "YYYY-MM-DDTHH:MM:SSZ".
std::string formatUtcTime(std::time_t t);
// Reads "YYYY-MM-DDTHH:MM:SSZ" (also with a fraction of a second, or "+00:00"); false for
// anything else.
bool parseUtcTime(const std::string& text, std::time_t& out);

}  // namespace xmldsig
