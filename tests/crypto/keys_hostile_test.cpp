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
#include "support/DataTable.h"

namespace xmldsig {
namespace {

using test::DataRow;
using test::loadTable;

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

const Bytes kE65537{0x01, 0x00, 0x01};

std::map<std::string, Bytes>& dsaNumbers() {
    static std::map<std::string, Bytes> n = keytest::publicKeyNumbers("dsa/dsa-2048-key.pem");
    return n;
}

const Bytes& p256Point() {
    static Bytes pub = keytest::publicKeyNumbers("ec/ec-prime256v1-key.pem")["pub"];
    return pub;
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

// The numbers the table of hostile XML key values builds its rows from, in base64.
std::map<std::string, std::string> xmlPieces() {
    std::map<std::string, std::string> pieces;
    const unsigned seeds[][2] = {{2048, 1}, {4096, 2}, {100000, 3}, {300000, 4}, {256, 5},
                                 {2056, 6}, {128, 7},  {512, 8},    {20000, 9}};
    for (const auto& s : seeds) pieces["ODD" + std::to_string(s[0])] = b64(oddNumber(s[0], s[1]));
    pieces["N2048"] = pieces["ODD2048"];
    pieces["N4096"] = pieces["ODD4096"];
    Bytes even = oddNumber(2048, 1);
    even.back() &= 0xFE;
    pieces["EVEN2048"] = b64(even);
    std::map<std::string, Bytes>& d = dsaNumbers();
    for (const char* n : {"P", "Q", "G"}) pieces[n] = b64(d[n]);
    pieces["Y"] = b64(d["pub"]);
    Bytes point = p256Point();
    pieces["POINT"] = b64(point);
    pieces["POINT_TRUNCATED"] = b64(Bytes(point.begin(), point.end() - 1));
    point.back() ^= 0x01;
    pieces["POINT_OFF_CURVE"] = b64(point);
    pieces["BYTES300"] = b64(Bytes(300, 4));
    pieces["DIGITS10000"] = std::string(10000, '7');
    pieces["DIGITS150"] = std::string(150, '9');
    return pieces;
}

TEST(KeysHostileXml, EveryRowIsRefusedWithReason) {
    for (const DataRow& row : loadTable("crypto/hostile_key_xml.tsv", xmlPieces())) {
        const HostileResult r = runHostile([&](ClsPublicKey& key, LogBase& log) {
            return key.loadXml(XString(row["input"].c_str()), log);
        });
        expectRefused({row["name"], row["input"], row["log"].c_str()}, r);
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
        {"x25519", text(keytest::readFile(keytest::publicKeyFile("gen:x25519", true))),
         "not an RSA, DSA, EC or EdDSA key"},
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
