// One changed character breaks a signature: for every corpus document that verifies, a copy
// with a character of the referenced content changed, one with a character of SignedInfo
// changed and one with a character of the SignatureValue changed must each fail, with a log
// that names the check that failed.
#include "support/Tamper.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/CorpusVerify.h"
#include "support/DsigTestUtil.h"
#include "support/Manifest.h"
#include "support/SignatureFeatures.h"

namespace xmldsig::test {
namespace {

const char kReferenceFailed[] = "Failed to verify reference digest";

// The documents with an upstream "valid"; those whose outermost signature uses what this
// verifier leaves out, or that do not verify untampered, are skipped in SetUp with the reason.
std::vector<ManifestRow> documentsExpectedValid() {
    std::vector<ManifestRow> rows;
    for (const auto& row : readManifest())
        if (expectationFor(row.expected).kind == Expectation::Valid) rows.push_back(row);
    return rows;
}

// The lines by which the signature-value check reports a failure, by signature method.
std::vector<std::string> signatureFailureLines(const std::string& method) {
    if (method.find("#hmac-") != std::string::npos) return {"HMAC validation failed."};
    if (method.find("#dsa-") != std::string::npos) return {"DSA verify hash failed."};
    if (method.find("#eddsa-") != std::string::npos)
        return {"EdDSA verify found the signature to be invalid."};
    if (method.find("ecdsa-") != std::string::npos)
        return {"ECDSA verify hash found the signature to be invalid."};
    // RSA: a value that decrypts to no valid encoding means "not this key" for every key.
    return {"RSA verify hash found the signature to be invalid.", "Not the correct key."};
}

class CorpusTamper : public ::testing::TestWithParam<ManifestRow> {
  protected:
    void SetUp() override {
        const ManifestRow& row = GetParam();
        const std::string path = corpusPath(row.path);
        keys_ = keyMaterialFor(row);
        int n = 0;
        text_ = verifierText(readFile(path), n);
        const auto features = signatureFeatures(text_);
        ASSERT_FALSE(features.empty()) << row.path;
        const int sig = outermostSignatures(features).front();
        const Exclusion excluded =
            exclusionFor(features[sig], !keys_.keyFiles.empty(), !keys_.hmacKeyHex.empty());
        if (!excluded.reason.empty())
            GTEST_SKIP() << row.path << " cannot verify here: " << excluded.reason;
        method_ = features[sig].signatureMethod;
        for (const auto& t : features[sig].references.empty()
                                 ? std::vector<std::string>{}
                                 : features[sig].references.front().transforms)
            selectsByXPath_ = selectsByXPath_ || t.find("REC-xpath") != std::string::npos ||
                              t.find("xmldsig-filter2") != std::string::npos;
        request_.isUtf8Text = true;
        request_.index = sig;
        request_.option = expectationFor(row.expected).option;
        request_.docDir = path.substr(0, path.find_last_of('/'));
        sites_ = tamperSites(text_, sig);

        request_.document = text_;
        if (!verifyCorpusDocument(request_, keys_).valid)
            GTEST_SKIP() << row.path << " does not verify untampered (the verdict test says why)";
    }

    VerifyOutcome verifyText(const std::string& text, bool checkReferences = true) {
        VerifyRequest req = request_;
        req.document = text;
        req.checkReferences = checkReferences;
        return verifyCorpusDocument(req, keys_);
    }

    KeyMaterial keys_;
    std::string text_, method_;
    bool selectsByXPath_ = false;  // the first reference signs what an XPath selects
    VerifyRequest request_;
    TamperSites sites_;
};

TEST_P(CorpusTamper, ChangedContentFailsItsReference) {
    if (selectsByXPath_)
        GTEST_SKIP() << "the first reference signs the nodes an XPath selects, so the content "
                        "site may lie outside them; w3c_tamper_test changes signed nodes instead";
    VerifyOutcome out;
    if (!sites_.content.empty()) {
        out = verifyText(withCharactersChanged(text_, sites_.content));
    } else {
        ASSERT_FALSE(sites_.firstUri.empty() || sites_.firstUri[0] == '#') << sites_.why;
        // The first reference is external: change a byte of its data.
        const std::string file = referenceDataFile(sites_.firstUri, keys_, request_.docDir);
        ASSERT_FALSE(file.empty()) << "no data for " << sites_.firstUri;
        const std::string data = readFile(file);
        VerifyRequest req = request_;
        req.dataOverrideRef = 0;
        req.dataOverride = withMiddleCharacterChanged(data);
        ASSERT_NE(req.dataOverride, data) << file;
        out = verifyCorpusDocument(req, keys_);
    }
    EXPECT_FALSE(out.valid) << out.log;
    EXPECT_TRUE(logSaysOneOf(out.log, {kReferenceFailed})) << out.log;
}

TEST_P(CorpusTamper, ChangedDigestValueFailsReferenceAndSignature) {
    ASSERT_NE(sites_.digestValue, TamperSites::npos);
    const std::string changed = withCharacterChanged(text_, sites_.digestValue);
    const VerifyOutcome withReferences = verifyText(changed);
    EXPECT_FALSE(withReferences.valid) << withReferences.log;
    EXPECT_TRUE(logSaysOneOf(withReferences.log, {kReferenceFailed})) << withReferences.log;

    // Without the reference check the signature value alone must catch the change: SignedInfo
    // is what is signed (under ZATCA rules the DigestValue changed here is the signed invoice
    // hash). Under MyInvois rules the signature covers the document digest computed while the
    // references are checked, so there is nothing to sign without them.
    if (request_.option == "MYINVOIS") return;
    const VerifyOutcome signatureOnly = verifyText(changed, false);
    EXPECT_FALSE(signatureOnly.valid) << signatureOnly.log;
    EXPECT_TRUE(logSaysOneOf(signatureOnly.log, signatureFailureLines(method_)))
        << signatureOnly.log;
}

TEST_P(CorpusTamper, ChangedSignatureValueFailsTheSignatureCheck) {
    ASSERT_NE(sites_.signatureValue, TamperSites::npos);
    const VerifyOutcome out = verifyText(withCharacterChanged(text_, sites_.signatureValue));
    EXPECT_FALSE(out.valid) << out.log;
    EXPECT_TRUE(logSaysOneOf(out.log, signatureFailureLines(method_))) << out.log;
    EXPECT_FALSE(logSaysOneOf(out.log, {kReferenceFailed})) << out.log;
}

INSTANTIATE_TEST_SUITE_P(Manifest, CorpusTamper, ::testing::ValuesIn(documentsExpectedValid()),
                         [](const auto& info) { return testNameFor(info.param.path); });

}  // namespace
}  // namespace xmldsig::test
