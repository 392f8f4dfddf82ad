// Every reference that xmlsec1 verifies in a corpus document must match here too.
#include <gtest/gtest.h>

#include "host/xml/ClsBinData.h"
#include "support/DsigTestUtil.h"
#include "support/Manifest.h"

namespace xmldsig::test {
namespace {

std::vector<std::string> documentsXmlsecVerifies() {
    std::vector<std::string> paths;
    for (const auto& row : readManifest())
        if (row.xmlsec1.rfind("OK", 0) == 0) paths.push_back(row.path);
    return paths;
}

// Why a reference cannot be checked here, decided from what the reference contains (or "" when
// it must match): digest methods outside the supported set read as SHA-1 by design, data that
// is not in the corpus (remote URLs are never fetched), external data with transforms (it is
// hashed as raw bytes), XPath expressions beyond those that signing software writes, and
// transforms outside the supported set.
std::string unsupportedBecause(ClsXmlDSig& dsig, int index, const std::string& docDir) {
    DSigReference ref;
    if (!dsig.describeReference(index, ref)) return "";
    const std::string method = ref.m_digestMethod.str();
    static const char* const supported[] = {"sha1",     "sha224",   "sha256",    "sha384",
                                            "sha512",   "md5",      "ripemd160", "sha3-224",
                                            "sha3-256", "sha3-384", "sha3-512"};
    bool known = method.empty();
    for (const char* s : supported) {
        const std::string suffix = std::string("#") + s;
        known =
            known || (method.size() >= suffix.size() &&
                      method.compare(method.size() - suffix.size(), suffix.size(), suffix) == 0);
    }
    if (!known) return "digest method " + method + " is not supported";
    const std::string uri = ref.m_uri.str();
    if (!uri.empty() && uri[0] != '#') {
        if (uri.find("://") != std::string::npos) return "remote reference " + uri;
        if (readFile(docDir + "/" + uri).empty()) return "external data not in the corpus: " + uri;
        if (ref.m_transforms.getSize() != 0)
            return "external data is hashed as raw bytes, its transforms are not applied";
    }
    const std::string lastLog = dsig.lastErrorText();
    if (lastLog.find("unhandledXPath") != std::string::npos)
        return "XPath expression outside the recognised set";
    if (lastLog.find("unrecognizedTransform") != std::string::npos)
        return "transform not supported";
    return "";
}

class ReferencesXmlsecVerifies : public ::testing::TestWithParam<std::string> {};

// Checks every reference of the selected signature; returns the failures that are not
// explained by an unsupported feature, and collects the explained ones in skipped.
std::string referenceFailures(ClsXmlDSig& dsig, const std::string& docDir, std::string& skipped) {
    std::string failures;
    for (int i = 0; i < dsig.get_NumReferences(); ++i) {
        if (dsig.VerifyReferenceDigest(i)) continue;
        const std::string why = unsupportedBecause(dsig, i, docDir);
        if (!why.empty()) {
            skipped += "reference " + std::to_string(i) + ": " + why + "; ";
            continue;
        }
        failures += "reference " + std::to_string(i) + " RefFailReason " +
                    std::to_string(dsig.get_RefFailReason()) + "\n" + dsig.lastErrorText();
    }
    return failures;
}

// xmlsec1 reports on one signature of a document. With several signatures the manifest does
// not say which one, so at least one signature must have all of its references matching.
TEST_P(ReferencesXmlsecVerifies, EveryReferenceOfASignatureMatches) {
    const std::string path = corpusPath(GetParam());
    const std::string docDir = path.substr(0, path.find_last_of('/'));
    auto dsig = newDsig();
    ClsBinData bd;
    ASSERT_TRUE(bd.LoadFile(path.c_str()));
    ASSERT_TRUE(dsig->LoadSignatureBd(bd)) << dsig->lastErrorText();
    ASSERT_GE(dsig->get_NumSignatures(), 1);
    dsig->put_ExternalRefDirs(XString(docDir.c_str()));
    std::string report, skipped;
    for (int sig = 0; sig < dsig->get_NumSignatures(); ++sig) {
        dsig->put_Selector(sig);
        ASSERT_GE(dsig->get_NumReferences(), 1) << "signature " << sig;
        std::string sigSkipped;
        const std::string failures = referenceFailures(*dsig, docDir, sigSkipped);
        if (failures.empty()) {
            if (!sigSkipped.empty()) GTEST_SKIP() << "signature " << sig << ": " << sigSkipped;
            return;  // this signature's references all match
        }
        report += "signature " + std::to_string(sig) + ": " + failures + "\n";
    }
    ADD_FAILURE() << "no signature has all of its references matching\n" << report;
}

INSTANTIATE_TEST_SUITE_P(Corpus, ReferencesXmlsecVerifies,
                         ::testing::ValuesIn(documentsXmlsecVerifies()),
                         [](const auto& info) { return testNameFor(info.param); });

}  // namespace
}  // namespace xmldsig::test
