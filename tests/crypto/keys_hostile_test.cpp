// Hostile and malformed key material: every row must give false, leave the key as it was, say
// in the log what was wrong, and finish quickly (a 100000-bit modulus must not make anything
// slow).
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "crypto/KeyTestUtil.h"
#include "host/crypto/ClsPublicKey.h"
#include "host/log/_tvLogger.h"
#include "host/text/DataBuffer.h"
#include "host/text/XString.h"

namespace xmldsig {
namespace {

using keytest::Bytes;
using keytest::KeyRef;

// --- building blocks ---

Bytes tlv(unsigned char tag, const Bytes& content) {
    Bytes out{tag};
    const std::size_t n = content.size();
    if (n < 0x80) {
        out.push_back(static_cast<unsigned char>(n));
    } else {
        Bytes len;
        for (std::size_t v = n; v != 0; v >>= 8)
            len.insert(len.begin(), static_cast<unsigned char>(v));
        out.push_back(static_cast<unsigned char>(0x80 | len.size()));
        out.insert(out.end(), len.begin(), len.end());
    }
    out.insert(out.end(), content.begin(), content.end());
    return out;
}

Bytes cat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

// A positive INTEGER (a zero byte goes first when the top bit is set).
Bytes derInt(Bytes v) {
    if (v.empty() || (v[0] & 0x80)) v.insert(v.begin(), 0);
    return tlv(0x02, v);
}

// An odd number of exactly `bits` bits (bits a multiple of 8), pseudo-random.
Bytes oddNumber(std::size_t bits, unsigned seed) {
    Bytes v = testutil::randomBytes(bits / 8, seed);
    v.front() |= 0x80;
    v.back() |= 0x01;
    return v;
}

Bytes rsaSpki(const Bytes& n, const Bytes& e) {
    const Bytes alg = testutil::fromHex("300d06092a864886f70d0101010500");
    const Bytes key = tlv(0x30, cat({derInt(n), derInt(e)}));
    return tlv(0x30, cat({alg, tlv(0x03, cat({Bytes{0}, key}))}));
}

Bytes dsaSpki(const Bytes& p, const Bytes& q, const Bytes& g, const Bytes& y) {
    const Bytes oid = testutil::fromHex("06072a8648ce380401");
    const Bytes alg = tlv(0x30, cat({oid, tlv(0x30, cat({derInt(p), derInt(q), derInt(g)}))}));
    return tlv(0x30, cat({alg, tlv(0x03, cat({Bytes{0}, derInt(y)}))}));
}

std::string b64(const Bytes& v) {
    return keytest::base64(v);
}

std::string rsaXml(const Bytes& n, const Bytes& e) {
    return "<RSAKeyValue><Modulus>" + b64(n) + "</Modulus><Exponent>" + b64(e) +
           "</Exponent></RSAKeyValue>";
}

const Bytes kE65537{0x01, 0x00, 0x01};

std::map<std::string, Bytes>& dsaNumbers() {
    static std::map<std::string, Bytes> n = keytest::publicKeyNumbers("dsa/dsa-2048-key.pem");
    return n;
}

std::string dsaXml(const Bytes& p, const Bytes& q, const Bytes& g, const Bytes& y) {
    return "<DSAKeyValue><P>" + b64(p) + "</P><Q>" + b64(q) + "</Q><G>" + b64(g) + "</G><Y>" +
           b64(y) + "</Y></DSAKeyValue>";
}

const Bytes& p256Point() {
    static Bytes pub = keytest::publicKeyNumbers("ec/ec-prime256v1-key.pem")["pub"];
    return pub;
}

std::string ec11Xml(const std::string& curve, const Bytes& point) {
    return "<ECKeyValue><NamedCurve URI=\"" + curve + "\"/><PublicKey>" + b64(point) +
           "</PublicKey></ECKeyValue>";
}

std::string ec4050Xml(const std::string& x, const std::string& y) {
    return "<ECDSAKeyValue><DomainParameters><NamedCurve URN=\"urn:oid:1.2.840.10045.3.1.7\"/>"
           "</DomainParameters><PublicKey><X Value=\"" +
           x + "\"/><Y Value=\"" + y + "\"/></PublicKey></ECDSAKeyValue>";
}

// --- the runner: a key already loaded must survive every failed load ---

struct HostileResult {
    bool ok;
    std::string log;
    double seconds;
    bool keptPreviousKey;
};

template <class Load>
HostileResult runHostile(Load load) {
    KeyRef key(keytest::loadKey(keytest::privateKey("ec/ec-prime256v1-key.pem")));
    DataBuffer before;
    key->GetDer(before);
    _tvLogger log;
    const auto start = std::chrono::steady_clock::now();
    const bool ok = load(*key.p, log);
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    DataBuffer after;
    key->GetDer(after);
    return {ok, log.renderText(), seconds, before.equals(after)};
}

struct HostileRow {
    std::string name;
    std::string input;  // XML text, or DER bytes
    const char* expectedLog;
};

void expectRefused(const HostileRow& row, const HostileResult& r) {
    EXPECT_FALSE(r.ok) << row.name;
    EXPECT_NE(r.log.find(row.expectedLog), std::string::npos) << row.name << "\n" << r.log;
    EXPECT_TRUE(r.keptPreviousKey) << row.name;
    EXPECT_LT(r.seconds, 2.0) << row.name;
}

std::vector<HostileRow> xmlRows() {
    const Bytes n2048 = oddNumber(2048, 1);
    const Bytes n4096 = oddNumber(4096, 2);
    Bytes even = n2048;
    even.back() &= 0xFE;
    std::map<std::string, Bytes>& d = dsaNumbers();
    Bytes offCurve = p256Point();
    offCurve.back() ^= 0x01;
    const std::string digits10000(10000, '7');
    return {
        {"notXml", "<RSAKeyValue><Modulus>", "not well-formed"},
        {"emptyText", "", "not well-formed"},
        {"unknownElement", "<Foo><Modulus>AQAB</Modulus></Foo>", "not a key value this library"},
        {"emptyKeyValue", "<KeyValue/>", "not a key value this library"},
        {"rsaNoExponent", "<RSAKeyValue><Modulus>" + b64(n2048) + "</Modulus></RSAKeyValue>",
         "missing or empty"},
        {"rsaBadBase64",
         "<RSAKeyValue><Modulus>@@@@</Modulus><Exponent>AQAB</Exponent></RSAKeyValue>",
         "not valid base64"},
        {"rsa100000bits", rsaXml(oddNumber(100000, 3), kE65537), "modulus size is outside"},
        {"rsa300000bits", rsaXml(oddNumber(300000, 4), kE65537), "too long"},
        {"rsa256bits", rsaXml(oddNumber(256, 5), kE65537), "modulus size is outside"},
        {"rsaEvenModulus", rsaXml(even, kE65537), "modulus is even"},
        {"rsaExponentOne", rsaXml(n2048, Bytes{1}), "exponent is not usable"},
        {"rsaExponentEven", rsaXml(n2048, Bytes{1, 0, 0}), "exponent is not usable"},
        {"rsaExponentAboveModulus", rsaXml(n2048, oddNumber(2056, 6)), "exponent is not usable"},
        {"rsaHugeExponentBigModulus", rsaXml(n4096, oddNumber(128, 7)),
         "too large for this modulus"},
        {"dsaNoG",
         "<DSAKeyValue><P>" + b64(d["P"]) + "</P><Q>" + b64(d["Q"]) + "</Q><Y>" + b64(d["pub"]) +
             "</Y></DSAKeyValue>",
         "domain parameters P, Q and G"},
        {"dsaQ512", dsaXml(d["P"], oddNumber(512, 8), d["G"], d["pub"]), "160, 224 or 256"},
        {"dsaP20000", dsaXml(oddNumber(20000, 9), d["Q"], d["G"], d["pub"]), "prime size"},
        {"dsaGOne", dsaXml(d["P"], d["Q"], Bytes{1}, d["pub"]), "generator is not usable"},
        {"dsaYOne", dsaXml(d["P"], d["Q"], d["G"], Bytes{1}), "not valid for its parameters"},
        {"dsaYTwo", dsaXml(d["P"], d["Q"], d["G"], Bytes{2}), "not valid for its parameters"},
        {"dsaYIsP", dsaXml(d["P"], d["Q"], d["G"], d["P"]), "not valid for its parameters"},
        {"ecUnknownCurve", ec11Xml("urn:oid:1.2.3.4", p256Point()), "not an elliptic curve"},
        {"ecHashOidAsCurve", ec11Xml("urn:oid:2.16.840.1.101.3.4.2.1", p256Point()),
         "not an elliptic curve"},
        {"ecCurveByName", ec11Xml("prime256v1", p256Point()), "not an elliptic curve"},
        {"ecEmptyUrn", ec11Xml("urn:oid:", p256Point()), "not an elliptic curve"},
        {"ecExplicitParameters",
         "<ECKeyValue><ECParameters><FieldID/></ECParameters><PublicKey>" + b64(p256Point()) +
             "</PublicKey></ECKeyValue>",
         "names no curve"},
        {"ecPointOffCurve", ec11Xml("urn:oid:1.2.840.10045.3.1.7", offCurve),
         "refused the public key numbers"},
        {"ecPointTruncated",
         ec11Xml("urn:oid:1.2.840.10045.3.1.7", Bytes(p256Point().begin(), p256Point().end() - 1)),
         "refused the public key numbers"},
        {"ecPointInfinity",
         ec11Xml("urn:oid:1.2.840.10045.3.1.7", Bytes{0}),  // OpenSSL takes it; the check does not
         "not valid for its parameters"},
        {"ecPointOnP384", ec11Xml("urn:oid:1.3.132.0.34", p256Point()),
         "refused the public key numbers"},
        {"ecPointHuge", ec11Xml("urn:oid:1.2.840.10045.3.1.7", Bytes(300, 4)), "acceptable size"},
        {"ec4050NotDecimal", ec4050Xml("12a", "5"), "not a decimal number"},
        {"ec4050Negative", ec4050Xml("-5", "5"), "not a decimal number"},
        {"ec4050MissingY",
         "<ECDSAKeyValue><DomainParameters><NamedCurve URN=\"urn:oid:1.2.840.10045.3.1.7\"/>"
         "</DomainParameters><PublicKey><X Value=\"5\"/></PublicKey></ECDSAKeyValue>",
         "not a decimal number"},
        {"ec4050TenThousandDigits", ec4050Xml(digits10000, "5"), "not a decimal number"},
        {"ec4050LargerThanField", ec4050Xml(std::string(150, '9'), "5"),
         "larger than the curve's field"},
        {"ec4050NotOnCurve", ec4050Xml("5", "5"), "refused the public key numbers"},
    };
}

TEST(KeysHostileXml, EveryRowIsRefusedWithReason) {
    for (const HostileRow& row : xmlRows()) {
        const HostileResult r = runHostile([&](ClsPublicKey& key, LogBase& log) {
            return key.loadXml(XString(row.input.c_str()), log);
        });
        expectRefused(row, r);
    }
}

TEST(KeysHostileXml, DeepNestingIsRefusedQuickly) {
    std::string xml = "<RSAKeyValue>";
    for (int i = 0; i < 100000; ++i) xml += "<a>";
    for (int i = 0; i < 100000; ++i) xml += "</a>";
    xml += "</RSAKeyValue>";
    const HostileResult r = runHostile(
        [&](ClsPublicKey& key, LogBase& log) { return key.loadXml(XString(xml.c_str()), log); });
    EXPECT_FALSE(r.ok);
    EXPECT_FALSE(r.log.empty());
    EXPECT_TRUE(r.keptPreviousKey);
    EXPECT_LT(r.seconds, 5.0);
}

std::vector<HostileRow> derRows() {
    const Bytes good = keytest::readFile(keytest::corpusKey("rsa/rsa-2048-pubkey.der"));
    Bytes trailing = good;
    trailing.push_back(0);
    std::map<std::string, Bytes>& d = dsaNumbers();
    auto text = [](const Bytes& b) { return std::string(b.begin(), b.end()); };
    std::vector<HostileRow> rows = {
        {"empty", "", "No DER"},
        {"randomBytes", text(testutil::randomBytes(64, 11)), "neither a SubjectPublicKeyInfo"},
        {"trailingByte", text(trailing), "neither a SubjectPublicKeyInfo"},
        {"certificate", text(keytest::readFile(keytest::corpusKey("rsa/rsa-2048-cert.der"))),
         "neither a SubjectPublicKeyInfo"},
        {"ed25519",
         text(keytest::readFile(keytest::publicKeyFile("eddsa/eddsa-ed25519-key.pem", true))),
         "not an RSA, DSA or EC key"},
        {"rsa100000bits", text(rsaSpki(oddNumber(100000, 12), kE65537)), "modulus size is outside"},
        {"dsaP20000", text(dsaSpki(oddNumber(20000, 13), d["Q"], d["G"], d["pub"])), "prime size"},
        {"dsaQ512", text(dsaSpki(d["P"], oddNumber(512, 14), d["G"], d["pub"])), "160, 224 or 256"},
    };
    for (std::size_t cut : {std::size_t{1}, std::size_t{24}, good.size() / 2, good.size() - 1}) {
        rows.push_back({"truncatedAt" + std::to_string(cut),
                        text(Bytes(good.begin(), good.begin() + cut)),
                        "neither a SubjectPublicKeyInfo"});
    }
    return rows;
}

TEST(KeysHostileDer, EveryRowIsRefusedWithReason) {
    for (const HostileRow& row : derRows()) {
        const HostileResult r = runHostile([&](ClsPublicKey& key, LogBase& log) {
            DataBuffer der;
            der.append(row.input.data(), row.input.size());
            return key.loadAnyDer(der, log);
        });
        expectRefused(row, r);
    }
}

TEST(KeysHostileFiles, UnreadableKeyFilesAreRefusedWithReason) {
    const testutil::TempDir dir;
    const std::string big = dir.write("big.pem", Bytes(2u << 20, 'A'));
    const std::string empty = dir.write("empty.pem", Bytes());
    const std::string garbage = dir.write(
        "garbage.pem",
        testutil::fromText("-----BEGIN PUBLIC KEY-----\nAAAA\n-----END PUBLIC KEY-----\n"));
    const std::string manyBlocks = [&] {
        std::string s;
        for (int i = 0; i < 40; ++i)
            s += "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n";
        return dir.write("many.pem", testutil::fromText(s));
    }();
    const std::vector<HostileRow> rows = {
        {"missing", dir.file("nothing-here.pem"), "Failed to open file"},
        {"encryptedPkcs8Pem", keytest::corpusKey("rsa/rsa-2048-key.p8-pem"),
         "no public key, private key or certificate"},
        {"encryptedPkcs8Der", keytest::corpusKey("rsa/rsa-2048-key.p8-der"),
         "no public key, private key or certificate"},
        {"pkcs12", keytest::corpusKey("rsa/rsa-2048-key.p12"),
         "no public key, private key or certificate"},
        {"hmacKey", keytest::corpusKey("hmackey.bin"), "no public key, private key or certificate"},
        {"tooLarge", big, "File too large"},
        {"empty", empty, "No key data"},
        {"garbagePem", garbage, "no public key, private key or certificate"},
        {"fortyBadBlocks", manyBlocks, "no public key, private key or certificate"},
    };
    for (const HostileRow& row : rows) {
        const HostileResult r = runHostile([&](ClsPublicKey& key, LogBase& log) {
            return key.loadFromFile(XString(row.input.c_str()), log);
        });
        expectRefused(row, r);
    }
}

}  // namespace
}  // namespace xmldsig
