// RSA signature verification over a precomputed hash: PKCS#1 v1.5 and RSASSA-PSS with MGF1.
#pragma once

#include <cstddef>

namespace xmldsig {

class LogBase;
class RsaKeyData;

class RsaCore {
  public:
    static constexpr int kPaddingPkcs1v15 = 1;
    static constexpr int kPaddingPss = 3;

    // Applies the key to the signature and checks the result against hash (hashLen must be the
    // digest size of hashAlg) under the padding: kPaddingPkcs1v15 (DigestInfo of hashAlg; MD2
    // and RIPEMD-128 included) or kPaddingPss (MGF1 with mgf1HashAlg; the salt length is read
    // from the signature when pssSaltLen <= 0, else it must be exactly pssSaltLen).
    // acceptAbsentDigestParams also accepts a DigestInfo whose algorithm has no parameters
    // (some signers leave out the NULL).
    //
    // True: a verdict was reached, and verified tells it; a well-formed encoding of another
    // hash is a verdict (invalid). False: no verdict with this key. wrongKey is then true when
    // the signature cannot have come from this key (longer than the modulus, not below it, or
    // not a well-formed encoding), and false for a refused request (unknown hash, hash of the
    // wrong length, unknown padding, empty signature) or an OpenSSL failure.
    // A signature shorter than the modulus is read as the same integer (leading zero bytes
    // dropped by the signer).
    static bool verifyHashExt(const unsigned char* sig, std::size_t sigLen,
                              const unsigned char* hash, std::size_t hashLen, int hashAlg,
                              int padding, int mgf1HashAlg, bool& verified, RsaKeyData& key,
                              int pssSaltLen, bool acceptAbsentDigestParams, bool& wrongKey,
                              LogBase& log);
};

}  // namespace xmldsig
