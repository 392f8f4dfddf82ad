// The XAdES signer binding of documents signed by xmlsec1 (tests/data/trust/make-pki.sh):
// SignedProperties inside or outside the signature's own QualifyingProperties, covered or not,
// with a SigningCertificateV2 that names the verifying certificate or another one.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "cert/CertTestUtil.h"
#include "dsig/ClsXmlDSig.h"
#include "host/cert/TavolinX509.h"
#include "host/log/_tvLogger.h"
#include "support/DsigTestUtil.h"
#include "support/TrustCases.h"

namespace xmldsig {
namespace {

std::vector<std::vector<std::string>> xadesRows() {
    std::ifstream in(test::trustDataDir() + "/xades.tsv");
    std::vector<std::vector<std::string>> rows;
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::vector<std::string> f;
        std::istringstream s(line);
        for (std::string field; std::getline(s, field, '\t');)
            f.push_back(field == "-" ? "" : field);
        if (f.size() == 7) rows.push_back(f);
    }
    EXPECT_GE(rows.size(), 5u);
    return rows;
}

TEST(XadesBinding, DocumentsOfTheTable) {
    _tvLogger log;
    TavolinX509 signer;
    ASSERT_TRUE(
        signer.loadX509Any(testutil::fileBytes(test::trustDataDir() + "/pki/valid.pem"), log));
    DataBuffer der;
    signer.getCertDer(der);
    for (const auto& row : xadesRows()) {
        SCOPED_TRACE(row[0]);
        test::DsigPtr dsig = test::newDsig();
        ASSERT_TRUE(dsig->LoadSignature(XString(
            testutil::readFileText(test::trustDataDir() + "/docs/" + row[0] + ".xml").c_str())));
        ASSERT_TRUE(dsig->VerifySignature(true))
            << "xmlsec1 signed it: the signature itself is good";
        XadesBinding b;
        ASSERT_TRUE(dsig->GetXadesBinding(der, b));
        EXPECT_EQ(b.present, !row[1].empty());
        if (!b.present) continue;
        EXPECT_EQ(b.covered, row[1] == "yes");
        if (!row[2].empty()) EXPECT_EQ(b.signingCertMatches, row[2] == "yes");
        EXPECT_EQ(b.problem.empty(), row[3].empty()) << b.problem;
        EXPECT_NE(b.problem.find(row[3]), std::string::npos) << b.problem;
        EXPECT_NE(b.warning.find(row[4]), std::string::npos) << b.warning;
        EXPECT_EQ(b.warning.empty(), row[4].empty()) << b.warning;
        if (!row[2].empty()) {  // properties of its own, read whether covered or not
            EXPECT_EQ(b.signingTime, "2025-03-01T10:00:00Z");
            EXPECT_EQ(b.signingCertForm, "SigningCertificateV2");
        }
        // Another certificate never matches, and no certificate at all is a problem when covered.
        XadesBinding none;
        ASSERT_TRUE(dsig->GetXadesBinding(DataBuffer(), none));
        EXPECT_FALSE(none.signingCertMatches);
        if (b.covered) EXPECT_NE(none.problem.find("no certificate verified"), std::string::npos);
    }
}

}  // namespace
}  // namespace xmldsig
