// DsaCore::verifyHash and EccKeyData::eccVerifyHash against signatures made by the openssl
// tool, in both the raw r||s form of XML Signature and DER; and the forgeries that a hash of
// the wrong length would let through.
#include <gtest/gtest.h>
#include <openssl/core_names.h>
#include <openssl/ec.h>

#include <string>
#include <vector>

#include "crypto/KeyTestUtil.h"
#include "host/crypto/ClsPublicKey.h"
#include "host/crypto/DsaCore.h"
#include "host/crypto/DsaKeyData.h"
#include "host/crypto/EccKeyData.h"
#include "host/crypto/detail/handles.h"
#include "host/log/_tvLogger.h"

namespace xmldsig {
namespace {

using keytest::Bytes;
using keytest::KeyRef;

struct Result {
    bool rc;
    bool verified;
    std::string log;
};

// Runs the DSA or ECDSA check that fits the key, with the arguments the verifier passes
// (raw r||s first).
Result check(ClsPublicKey& key, const Bytes& sig, const Bytes& hash, bool rawFirst = true) {
    _tvLogger log;
    Result r{false, true, ""};
    if (const DsaKeyData* dsa = key.pubKey().getDsaKey()) {
        r.rc = DsaCore::verifyHash(*dsa, sig.data(), sig.size(), rawFirst, hash.data(), hash.size(),
                                   r.verified, log);
    } else if (const EccKeyData* ec = key.pubKey().getEccKey()) {
        r.rc = ec->eccVerifyHash(sig.data(), sig.size(), !rawFirst, hash.data(), hash.size(),
                                 r.verified, log, 0);
    } else {
        ADD_FAILURE() << "neither a DSA nor an EC key";
    }
    r.log = log.renderText();
    return r;
}

struct DlogCase {
    const char* key;
    const char* otherKey;
    const char* hash;
    std::size_t half;  // bytes of q or of the curve order
};

const DlogCase kCases[] = {
    {"dsa/dsa-1024-key.pem", "dsa/dsa-2048-key.pem", "SHA1", 20},
    {"dsa/dsa-2048-key.pem", "gen:dsa2048b", "SHA256", 32},
    {"dsa/dsa-2048-key.pem", "gen:dsa2048b", "SHA1", 32},
    {"dsa/dsa-3072-key.pem", "dsa/dsa-2048-key.pem", "SHA256", 32},
    {"ec/ec-prime256v1-key.pem", "gen:p256b", "SHA256", 32},
    {"ec/ec-prime256v1-key.pem", "ec/ec-prime256v1-second-key.pem", "SHA1", 32},
    {"ec/ec-prime256v1-key.pem", "gen:p256b", "SHA512", 32},
    {"ec/ec-prime384v1-key.pem", "ec/ec-prime384v1-second-key.pem", "SHA384", 48},
    {"ec/ec-prime521v1-key.pem", "ec/ec-prime521v1-second-key.pem", "SHA512", 66},
    {"ec/ec-prime521v1-key.pem", "ec/ec-prime384v1-key.pem", "SHA224", 66},
    {"gen:secp256k1", "gen:p256b", "SHA256", 32},
};

std::string caseName(const ::testing::TestParamInfo<DlogCase>& info) {
    std::string key = info.param.key;
    key = key.substr(key.find_last_of("/:") + 1);
    std::string name = key + "_" + info.param.hash;
    for (char& c : name) {
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    }
    return name;
}

class DlogVerify : public ::testing::TestWithParam<DlogCase> {
  protected:
    void SetUp() override {
        const DlogCase& c = GetParam();
        m_key.p = keytest::loadKey(keytest::privateKey(c.key));
        ASSERT_TRUE(m_key);
        m_hash = keytest::digest(c.hash, testutil::fromText(std::string("signed info ") + c.key));
        m_der = keytest::opensslSign(c.key, m_hash, "");
        ASSERT_FALSE(m_der.empty());
        m_raw = keytest::derToRaw(m_der, c.half);
    }
    KeyRef m_key{nullptr};
    Bytes m_hash, m_der, m_raw;
};

TEST_P(DlogVerify, RawAndDerSignaturesVerify) {
    for (bool rawFirst : {true, false}) {
        for (const Bytes* sig : {&m_raw, &m_der}) {
            const Result r = check(*m_key.p, *sig, m_hash, rawFirst);
            EXPECT_TRUE(r.rc && r.verified) << (sig == &m_raw ? "raw" : "DER") << "\n" << r.log;
        }
    }
}

TEST_P(DlogVerify, FlippedSignatureOrHashDoesNotVerify) {
    for (std::size_t at : {std::size_t{0}, m_raw.size() / 2 - 1, m_raw.size() - 1}) {
        const Result r = check(*m_key.p, keytest::flipped(m_raw, at), m_hash);
        EXPECT_TRUE(r.rc) << r.log;
        EXPECT_FALSE(r.verified) << "byte " << at;
    }
    const Result der = check(*m_key.p, keytest::flipped(m_der, m_der.size() - 1), m_hash);
    EXPECT_FALSE(der.verified);
    const Result hash = check(*m_key.p, m_raw, keytest::flipped(m_hash, 0));
    EXPECT_TRUE(hash.rc);
    EXPECT_FALSE(hash.verified);
}

TEST_P(DlogVerify, AnotherKeyDoesNotVerify) {
    KeyRef other(keytest::loadKey(keytest::privateKey(GetParam().otherKey)));
    ASSERT_TRUE(other);
    for (const Bytes* sig : {&m_raw, &m_der}) {
        EXPECT_FALSE(check(*other.p, *sig, m_hash).verified);
    }
}

TEST_P(DlogVerify, MalformedSignatureFormsAreRefused) {
    Bytes odd = m_raw;
    odd.push_back(0);
    Bytes tooLong;  // each half padded one byte past the order size
    tooLong.push_back(0);
    tooLong.insert(tooLong.end(), m_raw.begin(), m_raw.begin() + m_raw.size() / 2);
    tooLong.push_back(0);
    tooLong.insert(tooLong.end(), m_raw.begin() + m_raw.size() / 2, m_raw.end());
    Bytes trailing = m_der;
    trailing.push_back(0);
    Bytes longForm = m_der;  // the same SEQUENCE with a needless long-form length
    longForm.insert(longForm.begin() + 1, 0x81);
    const struct {
        Bytes sig;
        const char* log;
    } rows[] = {{odd, "neither r||s nor a DER signature"},
                {tooLong, "neither r||s nor a DER signature"},
                {trailing, "neither r||s nor a DER signature"},
                {longForm, "neither r||s nor a DER signature"},
                {Bytes(), "signature value is empty"}};
    for (const auto& row : rows) {
        const Result r = check(*m_key.p, row.sig, m_hash);
        EXPECT_FALSE(r.rc || r.verified) << testutil::toHex(row.sig);
        EXPECT_NE(r.log.find(row.log), std::string::npos) << r.log;
    }
}

TEST_P(DlogVerify, HashOfUnknownLengthIsRefused) {
    for (std::size_t len : {0, 1, 8, 19, 21, 31, 65}) {
        const Bytes hash(len, 0x5A);
        const Result r = check(*m_key.p, m_raw, hash);
        EXPECT_FALSE(r.rc || r.verified) << len;
        EXPECT_NE(r.log.find("hash length is not the digest size"), std::string::npos) << r.log;
    }
}

INSTANTIATE_TEST_SUITE_P(OpensslSigned, DlogVerify, ::testing::ValuesIn(kCases), caseName);

// --- forgeries: with a hash that reads as zero, (r, s) follows from the public key alone ---

using detail::BignumPtr;

Bytes rawOf(const BIGNUM* r, const BIGNUM* s, int half) {
    Bytes out(2 * static_cast<std::size_t>(half));
    BN_bn2binpad(r, out.data(), half);
    BN_bn2binpad(s, out.data() + half, half);
    return out;
}

// ECDSA: R = k*Q, r = x(R) mod n, s = r / k mod n. Then u1 = 0 and u2 = r/s = k, so the check
// computes exactly R.
Bytes forgeEcdsa(EVP_PKEY* pkey) {
    char curve[64] = {0};
    EVP_PKEY_get_utf8_string_param(pkey, OSSL_PKEY_PARAM_GROUP_NAME, curve, sizeof curve, nullptr);
    detail::EcGroupPtr group(EC_GROUP_new_by_curve_name(OBJ_sn2nid(curve)));
    unsigned char pub[200];
    std::size_t pubLen = 0;
    EVP_PKEY_get_octet_string_param(pkey, OSSL_PKEY_PARAM_PUB_KEY, pub, sizeof pub, &pubLen);
    detail::BnCtxPtr ctx(BN_CTX_new());
    EC_POINT* q = EC_POINT_new(group.get());
    EC_POINT* big = EC_POINT_new(group.get());
    EC_POINT_oct2point(group.get(), q, pub, pubLen, ctx.get());
    const BIGNUM* n = EC_GROUP_get0_order(group.get());
    BignumPtr k(BN_new()), x(BN_new()), r(BN_new()), s(BN_new());
    BN_rand_range(k.get(), n);
    EC_POINT_mul(group.get(), big, nullptr, q, k.get(), ctx.get());
    EC_POINT_get_affine_coordinates(group.get(), big, x.get(), nullptr, ctx.get());
    BN_nnmod(r.get(), x.get(), n, ctx.get());
    BignumPtr kInv(BN_mod_inverse(nullptr, k.get(), n, ctx.get()));
    BN_mod_mul(s.get(), r.get(), kInv.get(), n, ctx.get());
    EC_POINT_free(q);
    EC_POINT_free(big);
    return rawOf(r.get(), s.get(), BN_num_bytes(n));
}

// DSA: r = (y^k mod p) mod q, s = r / k mod q. Then u1 = 0 and u2 = k.
Bytes forgeDsa(EVP_PKEY* pkey) {
    BIGNUM *p = nullptr, *q = nullptr, *y = nullptr;
    EVP_PKEY_get_bn_param(pkey, OSSL_PKEY_PARAM_FFC_P, &p);
    EVP_PKEY_get_bn_param(pkey, OSSL_PKEY_PARAM_FFC_Q, &q);
    EVP_PKEY_get_bn_param(pkey, OSSL_PKEY_PARAM_PUB_KEY, &y);
    BignumPtr pp(p), qq(q), yy(y);
    detail::BnCtxPtr ctx(BN_CTX_new());
    BignumPtr k(BN_new()), t(BN_new()), r(BN_new()), s(BN_new());
    BN_rand_range(k.get(), q);
    BN_mod_exp(t.get(), y, k.get(), p, ctx.get());
    BN_nnmod(r.get(), t.get(), q, ctx.get());
    BignumPtr kInv(BN_mod_inverse(nullptr, k.get(), q, ctx.get()));
    BN_mod_mul(s.get(), r.get(), kInv.get(), q, ctx.get());
    return rawOf(r.get(), s.get(), BN_num_bytes(q));
}

// DER of a raw r||s, for handing the forgery to OpenSSL directly.
Bytes rawToDer(const Bytes& raw) {
    const int half = static_cast<int>(raw.size() / 2);
    ECDSA_SIG* sig = ECDSA_SIG_new();
    ECDSA_SIG_set0(sig, BN_bin2bn(raw.data(), half, nullptr),
                   BN_bin2bn(raw.data() + half, half, nullptr));
    unsigned char* der = nullptr;
    const int len = i2d_ECDSA_SIG(sig, &der);
    Bytes out(der, der + len);
    OPENSSL_free(der);
    ECDSA_SIG_free(sig);
    return out;
}

// What plain OpenSSL says of the forgery over a short hash: proves the forgery is real.
int opensslVerdict(EVP_PKEY* pkey, const Bytes& raw, const Bytes& hash) {
    detail::EvpPkeyCtxPtr ctx(EVP_PKEY_CTX_new_from_pkey(nullptr, pkey, nullptr));
    EVP_PKEY_verify_init(ctx.get());
    const Bytes der = rawToDer(raw);
    return EVP_PKEY_verify(ctx.get(), der.data(), der.size(), hash.data(), hash.size());
}

class DlogForgery : public ::testing::TestWithParam<const char*> {};

TEST_P(DlogForgery, ZeroHashForgeryIsRefused) {
    KeyRef key(keytest::loadKey(keytest::privateKey(GetParam())));
    ASSERT_TRUE(key);
    EVP_PKEY* pkey = key->pubKey().evpPkey();
    const bool isDsa = key->pubKey().getDsaKey() != nullptr;
    const Bytes forged = isDsa ? forgeDsa(pkey) : forgeEcdsa(pkey);
    for (const Bytes& hash : {Bytes(), Bytes(1, 0x00), Bytes(2, 0x00)}) {
        ASSERT_EQ(1, opensslVerdict(pkey, forged, hash))
            << "the forgery must be one that an unchecked hash length lets through";
        for (const Bytes& sig : {forged, rawToDer(forged)}) {
            const Result r = check(*key.p, sig, hash);
            EXPECT_FALSE(r.rc || r.verified) << "hash length " << hash.size();
            EXPECT_NE(r.log.find("hash length is not the digest size"), std::string::npos) << r.log;
        }
    }
    // The trivial r = s = 1 over an empty hash as well.
    const Result one = check(*key.p, Bytes{0x01, 0x01}, Bytes());
    EXPECT_FALSE(one.rc || one.verified);
}

INSTANTIATE_TEST_SUITE_P(Keys, DlogForgery,
                         ::testing::Values("dsa/dsa-2048-key.pem", "dsa/dsa-1024-key.pem",
                                           "ec/ec-prime256v1-key.pem", "ec/ec-prime521v1-key.pem",
                                           "gen:secp256k1"),
                         [](const ::testing::TestParamInfo<const char*>& info) {
                             std::string n = info.param;
                             n = n.substr(n.find_last_of("/:") + 1);
                             for (char& c : n) {
                                 if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
                             }
                             return n;
                         });

TEST(DlogVerifyRawHalfSize, CallerMaySetTheHalfSize) {
    KeyRef key(keytest::loadKey(keytest::privateKey("ec/ec-prime256v1-key.pem")));
    ASSERT_TRUE(key);
    const Bytes hash = keytest::digest("SHA256", testutil::fromText("half size"));
    const Bytes raw =
        keytest::derToRaw(keytest::opensslSign("ec/ec-prime256v1-key.pem", hash, ""), 32);
    Bytes wide;  // halves padded to 40 bytes: too long for P-256 unless the caller allows it
    wide.insert(wide.end(), 8, 0);
    wide.insert(wide.end(), raw.begin(), raw.begin() + 32);
    wide.insert(wide.end(), 8, 0);
    wide.insert(wide.end(), raw.begin() + 32, raw.end());
    const EccKeyData* ec = key->pubKey().getEccKey();
    ASSERT_NE(ec, nullptr);
    _tvLogger log;
    bool verified = false;
    EXPECT_FALSE(ec->eccVerifyHash(wide.data(), wide.size(), false, hash.data(), hash.size(),
                                   verified, log, 0));
    EXPECT_TRUE(ec->eccVerifyHash(wide.data(), wide.size(), false, hash.data(), hash.size(),
                                  verified, log, 40));
    EXPECT_TRUE(verified);
}

}  // namespace
}  // namespace xmldsig
