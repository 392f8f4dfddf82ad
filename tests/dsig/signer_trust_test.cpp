// The library's signer checks (VerifyOptions trust members, VerifySigner, GetSignerReport)
// answer every row of the trust table exactly as the tool's --trust options do.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "cert/CertTestUtil.h"
#include "dsig/ClsXmlDSig.h"
#include "support/DsigTestUtil.h"
#include "support/TrustCases.h"

namespace xmldsig {
namespace {

using Json = nlohmann::json;

std::string pki(const std::string& name) {
    return test::trustDataDir() + "/pki/" + name;
}

Json optionsOf(const test::TrustCase& c) {
    Json o = Json::object();
    if (!c.trust.empty()) o["TrustAnchors"] = {pki(c.trust)};
    if (!c.untrusted.empty()) o["Untrusted"] = {pki(c.untrusted)};
    if (!c.crl.empty()) o["Crls"] = {pki(c.crl)};
    if (!c.at.empty()) o["ValidationTime"] = c.at;
    return o;
}

// Loads the document, verifies its signature (xmlsec1 made it: it is good) and runs
// VerifySigner under options; the report is returned through report.
bool verifySigner(const std::string& document, const Json& options, Json& report,
                  std::string& status) {
    test::DsigPtr dsig = test::newDsig();
    EXPECT_TRUE(dsig->LoadSignature(XString(
        testutil::readFileText(test::trustDataDir() + "/docs/" + document + ".xml").c_str())));
    dsig->put_VerifyOptions(XString(options.dump().c_str()));
    EXPECT_TRUE(dsig->VerifySignature(true));
    const bool ok = dsig->VerifySigner();
    XString text, trust;
    dsig->GetSignerReport(text);
    dsig->get_TrustStatus(trust);
    report = Json::parse(text.getUtf8(), nullptr, false);
    status = trust.getUtf8();
    return ok;
}

TEST(SignerTrust, CasesOfTheTable) {
    for (const test::TrustCase& c : test::loadTrustCases()) {
        SCOPED_TRACE(c.name());
        Json report;
        std::string status;
        const bool ok = verifySigner(c.document, optionsOf(c), report, status);
        EXPECT_EQ(ok, c.status != "untrusted") << report.dump();
        EXPECT_EQ(status, c.status);
        ASSERT_TRUE(report.is_object());
        EXPECT_EQ(report["trust"]["status"], c.status);
        if (!c.reason.empty())
            EXPECT_NE(report["failure"].get<std::string>().find(c.reason), std::string::npos)
                << report.dump();
    }
}

TEST(SignerTrust, StrictPolicyRefusesWhatDefaultOnlyQualifies) {
    // xades-uncovered: SignedProperties no Reference covers, a warning by default.
    Json report;
    std::string status;
    EXPECT_TRUE(verifySigner("xades-uncovered", Json::object(), report, status));
    ASSERT_FALSE(report["warnings"].empty()) << report.dump();
    EXPECT_FALSE(verifySigner("xades-uncovered", {{"Policy", "strict"}}, report, status));
    EXPECT_EQ(report["failure"].get<std::string>().rfind("policy strict: ", 0), 0u);
}

TEST(SignerTrust, UnusableSettingsFail) {
    Json report;
    std::string status;
    for (const Json& bad : {Json{{"TrustAnchors", {pki("missing.pem")}}},
                            Json{{"TrustAnchors", pki("root.pem")}},  // not an array
                            Json{{"TrustAnchors", {pki("root.pem")}}, {"ValidationTime", "soon"}},
                            Json{{"Crls", {pki("crl.pem")}}}, Json{{"Policy", "lenient"}}}) {
        SCOPED_TRACE(bad.dump());
        EXPECT_FALSE(verifySigner("valid", bad, report, status));
        EXPECT_EQ(status, "not checked");
    }
}

TEST(SignerTrust, NeedsAVerifiedSignature) {
    test::DsigPtr dsig = test::newDsig();
    ASSERT_TRUE(dsig->LoadSignature(
        XString(testutil::readFileText(test::trustDataDir() + "/docs/valid.xml").c_str())));
    EXPECT_FALSE(dsig->VerifySigner());
    EXPECT_NE(dsig->lastErrorText().find("call VerifySignature first"), std::string::npos);
}

}  // namespace
}  // namespace xmldsig
