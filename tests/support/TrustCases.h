// The table of trust-option combinations over the test PKI (tests/data/trust/cases.tsv) and
// what a peer verifier (xmlsec1, openssl) answers for each, so that the path checks of the library
// and of the tool are held to the same expectations and to an independent verifier.
#pragma once

#include <string>
#include <vector>

namespace xmldsig::test {

struct TrustCase {
    std::string document, trust, untrusted, crl, at;  // "" for none
    std::string status;                               // trusted, untrusted, not checked
    std::string reason;                               // "" for none
    std::string peer;                                 // "same", or why the peer is not asked
    std::string name() const;                         // for failure messages
};

std::string trustDataDir();
std::vector<TrustCase> loadTrustCases();
// The signer certificate of a case's document and the intermediate its KeyInfo carries ("" when
// it carries none).
std::string signerCertOf(const TrustCase& c);
std::string keyInfoIntermediateOf(const TrustCase& c);
// The peer's answer: xmlsec1 --verify over the case's document with --trusted-pem/der,
// --untrusted-pem and --verification-gmt-time, or for a case with a CRL openssl verify
// -crl_check over its signer's certificate. True when it accepts.
bool peerAccepts(const TrustCase& c);

}  // namespace xmldsig::test
