// DSA signature verification over a precomputed hash.
#pragma once

#include <cstddef>

namespace xmldsig {

class DsaKeyData;
class LogBase;

class DsaCore {
  public:
    // Verifies a DSA signature over hash. The signature is accepted as raw r||s (the XML
    // Signature form: any even length up to twice the size of q, the halves padded alike) or
    // as a DER SEQUENCE of two INTEGERs; rawFirst says which form to try first, and both are
    // tried. True when a verdict was reached (verified tells it). False, logged, when the hash
    // length is not the digest size of a known hash algorithm, when the signature has neither
    // form, or when OpenSSL fails; verified is then false.
    static bool verifyHash(const DsaKeyData& key, const unsigned char* sig, std::size_t sigLen,
                           bool rawFirst, const unsigned char* hash, std::size_t hashLen,
                           bool& verified, LogBase& log);
};

}  // namespace xmldsig
