// The attribute-sorting emulation. Some signing software (Polish and Italian government
// formats, HL7) canonicalizes with attributes ordered by their qualified names as written
// instead of the W3C order (unqualified attributes first, qualified ones by namespace URI).
// The declarations here are signed both ways: xmlsec1 gives the W3C canonical bytes and their
// digest for each reference; the faulty signer's bytes are the same with the one start tag
// whose order differs rewritten, hashed by openssl.
//
// Covered: the families whose marker switches the emulation on at load; the retry with the
// emulation for documents of no family, which leaves it on for the next reference; the retry
// without it; the families that never retry (SII, the ZATCA and MyInvois options).
#include <gtest/gtest.h>

#include <string>

#include "dsig/FamilyTestUtil.h"
#include "support/SignerTools.h"

namespace xmldsig::test {
namespace {

// Zalacznik's attributes in the W3C order and in the order of the faulty signer.
constexpr const char kW3cOrder[] = "ID=\"Zal-1\" nazwa=\"Ulgi\" wersja=\"1\" etd:kod=\"PIT/O\"";
constexpr const char kByQualifiedName[] =
    "ID=\"Zal-1\" etd:kod=\"PIT/O\" nazwa=\"Ulgi\" wersja=\"1\"";
constexpr const char kNoFamily[] = "http://example.test/deklaracja/";

// A tax declaration whose default namespace carries the family marker (or none), signed over
// the whole document and over its attachment.
std::string declaration(const std::string& defaultNs, const std::string& docDigest,
                        const std::string& attachmentDigest) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Deklaracja xmlns=\"" + defaultNs +
           "\" xmlns:etd=\"urn:example:definicje-typy\">\n<Naglowek><KodFormularza "
           "kodPodatku=\"PIT\" kodSystemowy=\"PIT-37 (29)\" rodzajZobowiazania=\"Z\" "
           "wersjaSchemy=\"1-0E\">PIT-37</KodFormularza><Rok>2023</Rok></Naglowek>\n"
           "<Podmiot1 rola=\"Podatnik\"><etd:OsobaFizyczna><etd:NIP>1234567890</etd:NIP>"
           "<etd:Nazwisko>KOWALSKI</etd:Nazwisko></etd:OsobaFizyczna></Podmiot1>\n"
           "<PozycjeSzczegolowe><P_29>1000.00</P_29></PozycjeSzczegolowe>\n<Zalacznik " +
           kByQualifiedName + "><P_1>100.00</P_1></Zalacznik>\n" +
           dsSignature(dsReference("", dsTransform(kEnveloped) + dsTransform(kC14n), docDigest) +
                           dsReference("#Zal-1", dsTransform(kC14n), attachmentDigest),
                       " Id=\"Sig-1\"") +
           "\n</Deklaracja>\n";
}

enum class Signer { W3c, SortsByQualifiedName };

std::string signedDeclaration(const std::string& defaultNs, Signer signer) {
    const auto refs = xmlsecReferences(declaration(defaultNs, "", ""), "--id-attr:ID Zalacznik");
    if (refs.size() != 2) {
        ADD_FAILURE() << "xmlsec1 reported " << refs.size() << " references";
        return "";
    }
    const auto digest = [signer](const XmlsecReference& ref) {
        if (signer == Signer::W3c) return ref.digest;
        return digestBase64(replaceFirst(ref.preDigest, kW3cOrder, kByQualifiedName), "sha256");
    };
    return declaration(defaultNs, digest(refs[0]), digest(refs[1]));
}

std::string tampered(const std::string& doc) {
    return replaceFirst(doc, "<P_1>100.00", "<P_1>100.01");
}

bool retried(const std::string& log) {
    return logHas(log, kRetryWithSortBug) || logHas(log, kRetryWithoutSortBug);
}

class SignerToolsTest : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!signerToolsPresent()) GTEST_SKIP() << "xmllint, xmlsec1 or openssl is not installed";
    }
};

struct Host {
    const char* name;
    const char* ns;  // a default namespace holding the family's marker
    bool csioz;
};

const Host kHosts[] = {
    {"PolishFinanceMinistryApplication", "http://e-deklaracje.mf.gov.pl/Repozytorium/Definicje/",
     false},
    {"PolishFinanceMinistry", "http://jpk.mf.gov.pl/wzor/2022/02/17/02171/", false},
    {"PolishSocialInsurance", "http://www.zus.pl/2022/KEDU_5_5", false},
    {"ItalianHealthRecord", "http://fascicolosanitario.gov.it/fse/documento", false},
    {"PolishCrd", "http://crd.gov.pl/wzor/2023/12/13/13064/", false},
    {"Hl7", "urn:hl7-org:v3", false},
    {"PolishCsioz", "http://csioz.gov.pl/p1/dokumenty/2023", true},
};

class SortBugHost : public ::testing::TestWithParam<Host> {
  protected:
    void SetUp() override {
        if (!signerToolsPresent()) GTEST_SKIP() << "xmllint, xmlsec1 or openssl is not installed";
    }
};

TEST_P(SortBugHost, EmulatedFromTheFirstAttempt) {
    auto dsig = newDsig();
    ASSERT_TRUE(loadText(*dsig, signedDeclaration(GetParam().ns, Signer::SortsByQualifiedName)));
    EXPECT_TRUE(logHas(dsig->lastErrorText(),
                       "Will duplicate the XML canonicalization attribute sorting bug..."));
    EXPECT_TRUE(dsig->familyFlags().emulateSortBug);
    EXPECT_EQ(dsig->familyFlags().csioz, GetParam().csioz);
    for (int index : {0, 1}) {
        EXPECT_TRUE(dsig->VerifyReferenceDigest(index)) << index << "\n" << dsig->lastErrorText();
        EXPECT_EQ(dsig->get_RefFailReason(), 0);
        EXPECT_FALSE(retried(dsig->lastErrorText())) << index << "\n" << dsig->lastErrorText();
    }
}

TEST_P(SortBugHost, TamperedCopyFails) {
    const RefOutcome r = verifyReference(
        {tampered(signedDeclaration(GetParam().ns, Signer::SortsByQualifiedName)), ""}, 1);
    EXPECT_FALSE(r.verified);
    EXPECT_EQ(r.reason, 1) << r.log;
}

// Signed in the W3C order, a document of these families fails its first (emulated) attempt and
// matches on the retry without the emulation, which stays off afterwards. CSIOZ documents are
// always canonicalized with the emulation, so there the retry cannot help.
TEST_P(SortBugHost, ReferenceInTheW3cOrderIsRetriedWithoutTheEmulation) {
    auto dsig = newDsig();
    ASSERT_TRUE(loadText(*dsig, signedDeclaration(GetParam().ns, Signer::W3c)));
    const bool matches = !GetParam().csioz;
    EXPECT_EQ(dsig->VerifyReferenceDigest(0), matches) << dsig->lastErrorText();
    EXPECT_TRUE(logHas(dsig->lastErrorText(), kRetryWithoutSortBug)) << dsig->lastErrorText();
    EXPECT_FALSE(dsig->familyFlags().emulateSortBug);
    if (!matches) return;
    EXPECT_TRUE(dsig->VerifyReferenceDigest(1)) << dsig->lastErrorText();
    EXPECT_FALSE(retried(dsig->lastErrorText())) << dsig->lastErrorText();
}

INSTANTIATE_TEST_SUITE_P(Families, SortBugHost, ::testing::ValuesIn(kHosts),
                         [](const auto& info) { return std::string(info.param.name); });

using SortBugRetry = SignerToolsTest;

TEST_F(SortBugRetry, DocumentOfNoFamilyIsRetriedWithTheEmulation) {
    auto dsig = newDsig();
    ASSERT_TRUE(loadText(*dsig, signedDeclaration(kNoFamily, Signer::SortsByQualifiedName)));
    EXPECT_FALSE(dsig->familyFlags().emulateSortBug);
    EXPECT_TRUE(dsig->VerifyReferenceDigest(0)) << dsig->lastErrorText();
    EXPECT_EQ(dsig->get_RefFailReason(), 0);
    const std::string log = dsig->lastErrorText();
    EXPECT_TRUE(logHas(log, kRetryWithSortBug)) << log;
    EXPECT_TRUE(logHas(log, kSortBugFound)) << log;
    // The emulation stays on: the next reference matches at its first attempt.
    EXPECT_TRUE(dsig->familyFlags().emulateSortBug);
    EXPECT_TRUE(dsig->VerifyReferenceDigest(1)) << dsig->lastErrorText();
    EXPECT_FALSE(retried(dsig->lastErrorText())) << dsig->lastErrorText();
    // A new load starts without it.
    ASSERT_TRUE(loadText(*dsig, signedDeclaration(kNoFamily, Signer::SortsByQualifiedName)));
    EXPECT_FALSE(dsig->familyFlags().emulateSortBug);
}

// A retry that does not match either leaves the emulation on as well.
TEST_F(SortBugRetry, FailedRetryLeavesTheEmulationOnForTheNextReference) {
    auto dsig = newDsig();
    const std::string doc = signedDeclaration(kNoFamily, Signer::SortsByQualifiedName);
    ASSERT_TRUE(loadText(*dsig, replaceFirst(doc, "<P_29>1000.00", "<P_29>1000.01")));
    EXPECT_FALSE(dsig->VerifyReferenceDigest(0));
    EXPECT_EQ(dsig->get_RefFailReason(), 1);
    EXPECT_TRUE(logHas(dsig->lastErrorText(), kRetryWithSortBug)) << dsig->lastErrorText();
    EXPECT_FALSE(logHas(dsig->lastErrorText(), kSortBugFound));
    EXPECT_TRUE(dsig->familyFlags().emulateSortBug);
    EXPECT_TRUE(dsig->VerifyReferenceDigest(1)) << dsig->lastErrorText();
    EXPECT_FALSE(retried(dsig->lastErrorText())) << dsig->lastErrorText();
}

// Documents of no family signed in the W3C order never need the emulation.
TEST_F(SortBugRetry, W3cOrderMatchesWithoutAnyRetry) {
    auto dsig = newDsig();
    ASSERT_TRUE(loadText(*dsig, signedDeclaration(kNoFamily, Signer::W3c)));
    for (int index : {0, 1}) {
        EXPECT_TRUE(dsig->VerifyReferenceDigest(index)) << dsig->lastErrorText();
        EXPECT_FALSE(retried(dsig->lastErrorText())) << dsig->lastErrorText();
    }
    EXPECT_FALSE(dsig->familyFlags().emulateSortBug);
}

// The same faulty signature is never retried under SII rules or the ZATCA and MyInvois options:
// it fails where a document of no family matches (DocumentOfNoFamilyIsRetriedWithTheEmulation).
TEST_F(SortBugRetry, FamiliesThatNeverRetry) {
    const struct {
        const char* name;
        const char* ns;
        const char* options;
    } cases[] = {
        {"ZatcaOption", kNoFamily, "ZATCA"},
        {"MyInvoisOption", kNoFamily, "MYINVOIS"},
        {"SiiDocument", "http://www.sii.cl/SiiDte", ""},
    };
    for (const auto& c : cases) {
        auto dsig = newDsig();
        dsig->put_UncommonOptions(XString(c.options));
        ASSERT_TRUE(loadText(*dsig, signedDeclaration(c.ns, Signer::SortsByQualifiedName)));
        for (int index : {0, 1}) {
            EXPECT_FALSE(dsig->VerifyReferenceDigest(index)) << c.name << " " << index;
            EXPECT_EQ(dsig->get_RefFailReason(), 1) << c.name << "\n" << dsig->lastErrorText();
            EXPECT_FALSE(retried(dsig->lastErrorText())) << c.name << "\n" << dsig->lastErrorText();
        }
        // Loading clears the flag; the options set it again when a verification starts.
        EXPECT_TRUE(dsig->familyFlags().noSortBugRetry) << c.name;
        EXPECT_FALSE(dsig->familyFlags().emulateSortBug) << c.name;
    }
}

}  // namespace
}  // namespace xmldsig::test
