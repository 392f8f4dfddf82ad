// XAdES signature timestamps end to end: a signature made by xmlsec1 gets a token from the
// loopback authority, the result verifies here with "VerifyEncapsulatedTimeStamp", and openssl
// and xmlsec1 agree: the token covers the canonical SignatureValue and nothing signed moved.
#include <cstdio>
#include <string>

#include "dsig/TimestampTestUtil.h"
#include "host/xml/ClsBinData.h"
#include "support/CliRunner.h"

namespace xmldsig::test {
namespace {

TEST_F(TimestampTest, RoundTripThroughARealAuthority) {
    const std::string signedXml = signedDocument();
    ASSERT_FALSE(signedXml.empty());
    ASSERT_TRUE(xmlsecVerifies(signedXml));

    DsigPtr dsig = newDsig();
    ASSERT_TRUE(loadText(*dsig, signedXml));
    EXPECT_FALSE(dsig->HasEncapsulatedTimeStamp());
    EXPECT_NE(dsig->lastErrorText().find("No EncapsulatedTimestamp."), std::string::npos);
    TimestampOutcome added = addTimestamp(*dsig, tsa().url());
    ASSERT_TRUE(added.ok) << added.log;
    EXPECT_NE(added.log.find("Success."), std::string::npos) << added.log;

    // The token: granted by the authority, over the exclusive canonical SignatureValue.
    const std::string token = tokenOf(added.out);
    ASSERT_FALSE(token.empty()) << added.log;
    EXPECT_TRUE(opensslVerifiesToken(token, canonicalSignatureValue(signedXml, true)));
    // The signature itself is untouched: xmlsec1 still verifies it, and so do we, with the
    // timestamp checked.
    EXPECT_TRUE(xmlsecVerifies(added.out));
    VerifyOutcome v = verifyWithTimestamp(added.out);
    EXPECT_TRUE(v.ok) << v.log;
    EXPECT_NE(v.log.find("The computed hash is equal to the expected hash."), std::string::npos)
        << v.log;

    DsigPtr reloaded = newDsig();
    ASSERT_TRUE(loadText(*reloaded, added.out));
    EXPECT_TRUE(reloaded->HasEncapsulatedTimeStamp());
    TimestampOutcome again = addTimestamp(*reloaded, tsa().url());
    EXPECT_FALSE(again.ok);
    EXPECT_TRUE(again.out.empty());
    EXPECT_NE(again.log.find("Already has an EncapsulatedTimeStamp."), std::string::npos);
}

TEST_F(TimestampTest, AlteredTokensAndSignatureValuesFail) {
    const std::string signedXml = signedDocument();
    const std::string stamped = addTimestamp(signedXml, tsa().url()).out;
    const std::string token = tokenOf(stamped);
    ASSERT_FALSE(token.empty());
    std::string flipped = token;
    flipped[token.size() - 5] ^= 0x01;  // inside the TSA's signature value
    const std::string sigValue = spanOf(stamped, "<ds:SignatureValue", "</ds:SignatureValue>");
    std::string otherSigValue = sigValue;
    const std::size_t c = otherSigValue.find('>') + 3;
    otherSigValue[c] = otherSigValue[c] == 'A' ? 'B' : 'A';
    struct Row {
        const char* name;
        std::string xml;
        const char* logLine;
    } rows[] = {
        {"tampered token", withToken(stamped, flipped), "The CMS signature is not valid."},
        {"token not DER", withToken(stamped, "certainly not a token"),
         "Failed to parse ASN.1 of encapsulated timestamp."},
        {"empty token", withToken(stamped, ""), "Failed to parse ASN.1 of encapsulated timestamp."},
        {"token over other data", withToken(stamped, opensslToken("other data")),
         "Computed hash not equal to the expected hash."},
        {"tampered SignatureValue", replaceFirst(stamped, sigValue, otherSigValue),
         "Computed hash not equal to the expected hash."},
        {"single-quoted SignatureValue Id",
         replaceFirst(stamped, "Id=\"sig-1-value\"", "Id='sig-1-value'"),
         "Expected open double quote"},
    };
    for (const Row& r : rows) {
        VerifyOutcome v = verifyWithTimestamp(r.xml);
        EXPECT_FALSE(v.ok) << r.name;
        EXPECT_NE(v.log.find(r.logLine), std::string::npos) << r.name << "\n" << v.log;
        EXPECT_NE(v.log.find("Verification of encapsulated timestamp failed."), std::string::npos)
            << r.name;
    }
    // Without the option the timestamp is not looked at, and the untampered signature stands.
    DsigPtr plain = newDsig();
    ASSERT_TRUE(loadText(*plain, rows[0].xml));
    EXPECT_TRUE(plain->VerifySignature(true)) << plain->lastErrorText();
}

TEST_F(TimestampTest, TokenOverCrLfLineEndsVerifiesOnTheSecondAttempt) {
    const std::string stamped = addTimestamp(signedDocument(), tsa().url()).out;
    std::string canon = canonicalSignatureValue(stamped, true);
    ASSERT_NE(canon.find('\n'), std::string::npos);  // xmlsec1 wraps the base64
    std::string crlf;
    for (char ch : canon) crlf += ch == '\n' ? std::string("\r\n") : std::string(1, ch);
    VerifyOutcome v = verifyWithTimestamp(withToken(stamped, opensslToken(crlf)));
    EXPECT_TRUE(v.ok) << v.log;
    EXPECT_NE(v.log.find("computed_hash:"), std::string::npos);
    EXPECT_NE(v.log.find("computed_hash_with_CRLF:"), std::string::npos);
    EXPECT_NE(v.log.find("The computed hash is equal to the expected hash."), std::string::npos);
}

TEST_F(TimestampTest, WithoutCanonicalizationMethodTheInclusiveFormIsHashed) {
    const std::string stamped = addTimestamp(signedDocument(), tsa().url()).out;
    const std::string method =
        "<ds:CanonicalizationMethod Algorithm=\"http://www.w3.org/2001/10/xml-exc-c14n#\"/>"
        "<xades:EncapsulatedTimeStamp";
    const std::string noMethod = replaceFirst(stamped, method, "<xades:EncapsulatedTimeStamp");
    const std::string inclusiveToken = opensslToken(canonicalSignatureValue(stamped, false));
    VerifyOutcome v = verifyWithTimestamp(withToken(noMethod, inclusiveToken));
    EXPECT_TRUE(v.ok) << v.log;
    EXPECT_NE(v.log.find("Did not find CanonicalizationMethod tag."), std::string::npos) << v.log;
    // The exclusive-form token no longer matches once the method is gone.
    VerifyOutcome exclusive = verifyWithTimestamp(noMethod);
    EXPECT_FALSE(exclusive.ok);
    EXPECT_NE(exclusive.log.find("Computed hash not equal to the expected hash."),
              std::string::npos);
}

// A token whose TSTInfo (made by openssl asn1parse, signed by openssl cms with the authority's
// key) carries a nonce of nonceBytes bytes; its imprint covers other data.
std::string tokenWithNonce(std::size_t nonceBytes) {
    LoopbackTsa& tsa = LoopbackTsa::shared();
    const std::string conf = writeTempFile(
        tsa.dir(), "tst.cnf",
        "asn1=SEQUENCE:tst\n[tst]\nversion=INTEGER:1\npolicy=OID:1.2.3.4.1\n"
        "imprint=SEQUENCE:imprint\nserial=INTEGER:42\ntime=GENTIME:20240501100000Z\n"
        "nonce=INTEGER:0x7F" +
            std::string(2 * nonceBytes, 'A') +
            "\n[imprint]\nalg=SEQUENCE:alg\nmsg=FORMAT:HEX,OCTETSTRING:" + std::string(64, '0') +
            "\n[alg]\noid=OID:sha256\n");
    bool ok = false;
    runShell("cd " + shellQuoted(tsa.dir()) + " && openssl asn1parse -genconf " +
                 shellQuoted(conf) + " -noout -out " + shellQuoted(conf + ".der") +
                 " && openssl cms -sign -binary -nodetach -econtent_type id-smime-ct-TSTInfo"
                 " -signer tsa.pem -inkey tsa.key -outform DER -in " +
                 shellQuoted(conf + ".der") + " -out " + shellQuoted(conf + ".tok") + " 2>&1",
             ok);
    return ok ? readFile(conf + ".tok") : std::string();
}

TEST_F(TimestampTest, OversizedTstInfoIsRefusedBeforeItIsRead) {
    const std::string stamped = addTimestamp(signedDocument(), tsa().url()).out;
    struct Row {
        std::size_t nonceBytes;
        const char* logLine;
        bool contentLogged;
    } rows[] = {{16, "Computed hash not equal to the expected hash.", true},
                {70000, "The TSTInfo is larger than the cap of 65536 bytes.", false}};
    for (const Row& r : rows) {
        const std::string token = tokenWithNonce(r.nonceBytes);
        ASSERT_GT(token.size(), r.nonceBytes);
        VerifyOutcome v = verifyWithTimestamp(withToken(stamped, token));
        EXPECT_FALSE(v.ok);
        EXPECT_NE(v.log.find(r.logLine), std::string::npos) << r.nonceBytes << "\n" << v.log;
        // Oversized content is not read: no hex rendering in the log, no imprint.
        EXPECT_EQ(v.log.find("extractedAsn") != std::string::npos, r.contentLogged);
        EXPECT_EQ(v.log.find("expected_hash") != std::string::npos, r.contentLogged);
    }
}

TEST_F(TimestampTest, UnreachableAuthorityStillInsertsAnEmptyTimestamp) {
    const std::string signedXml = signedDocument();
    TimestampOutcome added = addTimestamp(signedXml, LoopbackTsa::closedUrl());
    EXPECT_TRUE(added.ok) << added.log;
    EXPECT_NE(added.log.find("HTTP request failed."), std::string::npos) << added.log;
    EXPECT_NE(added.out.find("v1.2.2#DER\"></xades:EncapsulatedTimeStamp>"), std::string::npos)
        << added.out;
    EXPECT_TRUE(xmlsecVerifies(added.out));
    VerifyOutcome v = verifyWithTimestamp(added.out);
    EXPECT_FALSE(v.ok);
    EXPECT_NE(v.log.find("Failed to parse ASN.1 of encapsulated timestamp."), std::string::npos)
        << v.log;
}

TEST_F(TimestampTest, TsaChainIsRequiredOnlyUnderTheVerifyOption) {
    const std::string stamped = addTimestamp(signedDocument(), tsa().url()).out;
    std::unique_ptr<ClsXmlCertVault> withCa(ClsXmlCertVault::createNewCls());
    ASSERT_TRUE(withCa->AddCertFile(XString(tsa().file("ca.pem").c_str())));
    std::unique_ptr<ClsXmlCertVault> unrelated(ClsXmlCertVault::createNewCls());
    ASSERT_TRUE(unrelated->AddCertFile(XString(tsa().file("signer.pem").c_str())));
    const char* chain = R"({"VerifyTsaCertChain": true})";
    EXPECT_TRUE(verifyWithTimestamp(stamped, "", unrelated.get()).ok);
    VerifyOutcome trusted = verifyWithTimestamp(stamped, chain, withCa.get());
    EXPECT_TRUE(trusted.ok) << trusted.log;
    // The signer's CA is in neither the vault nor the system store.
    VerifyOutcome untrusted = verifyWithTimestamp(stamped, chain, unrelated.get());
    EXPECT_FALSE(untrusted.ok);
    EXPECT_NE(untrusted.log.find("does not chain to a trusted certificate"), std::string::npos)
        << untrusted.log;
}

TEST_F(TimestampTest, RequestsGoThroughTheHttpObjectTheComponentKeeps) {
    DsigPtr dsig = newDsig();
    ASSERT_TRUE(loadText(*dsig, signedDocument()));
    ClsHttp* http = ClsHttp::createNewCls();
    ASSERT_NE(http, nullptr);
    http->put_ReadTimeout(1);
    dsig->SetHttpObj(*http);
    http->decRefCount();  // the component holds its own reference
    TimestampOutcome slow = addTimestamp(*dsig, tsa().url("/slow"));
    EXPECT_TRUE(slow.ok);  // the token is empty, the call still answers true
    EXPECT_NE(slow.log.find("curlError"), std::string::npos) << slow.log;
    EXPECT_TRUE(tokenOf(slow.out).empty());
    TimestampOutcome fast = addTimestamp(*dsig, tsa().url());
    EXPECT_FALSE(tokenOf(fast.out).empty()) << fast.log;
}

// Real XAdES documents of the corpus that verify get a timestamp that verifies too; those
// that already carry an EncapsulatedTimeStamp are checked as they are.
TEST_F(TimestampTest, CorpusXadesDocuments) {
    int stampedCount = 0, carried = 0;
    for (const std::string& path : corpusDocuments("no signature")) {
        const std::string xml = readFile(path);
        if (xml.find("QualifyingProperties") == std::string::npos) continue;
        DsigPtr dsig = newDsig();
        ClsBinData bytes;  // as a file is read: byte-order marks and declared encodings apply
        bytes.m_data.append(xml.data(), xml.size());
        ASSERT_TRUE(dsig->LoadSignatureBd(bytes)) << path;
        if (xml.find("EncapsulatedTimeStamp") != std::string::npos) {
            ++carried;
            dsig->put_UncommonOptions(XString("VerifyEncapsulatedTimeStamp"));
            EXPECT_TRUE(dsig->VerifySignature(true)) << path << "\n" << dsig->lastErrorText();
            continue;
        }
        if (!dsig->VerifySignature(true)) continue;  // not ours to judge here
        TimestampOutcome added = addTimestamp(*dsig, tsa().url());
        if (!added.ok) {  // only a SignatureValue without Id may stop it
            EXPECT_NE(added.log.find("No SignatureValue Id attribute found."), std::string::npos)
                << path << "\n"
                << added.log;
            continue;
        }
        ASSERT_FALSE(tokenOf(added.out).empty()) << path << "\n" << added.log;
        VerifyOutcome v = verifyWithTimestamp(added.out);
        EXPECT_TRUE(v.ok) << path << "\n" << v.log;
        EXPECT_NE(v.log.find("The computed hash is equal to the expected hash."), std::string::npos)
            << path;
        ++stampedCount;
    }
    RecordProperty("stamped", stampedCount);
    RecordProperty("carriedTimestamps", carried);
    EXPECT_GE(stampedCount, 3);  // the DigiDoc containers that verify
    std::printf("corpus: %d XAdES documents timestamped and verified, %d carried a timestamp\n",
                stampedCount, carried);
}

}  // namespace
}  // namespace xmldsig::test
