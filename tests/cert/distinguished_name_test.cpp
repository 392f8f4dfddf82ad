// DistinguishedName: reading names as signers write them into X509IssuerName and
// X509SubjectName, and the canonical key that makes two spellings of one name meet.
#include <gtest/gtest.h>
#include <openssl/err.h>

#include <string>

#include "host/cert/DistinguishedName.h"
#include "host/cert/StringHashSet.h"
#include "host/log/_tvLogger.h"
#include "host/text/StringBuffer.h"
#include "host/text/XString.h"

namespace xmldsig {
namespace {

std::string key(const char* dn) {
    _tvLogger log;
    StringBuffer out;
    DistinguishedName::toTvCanonHashKey(dn, out, log);
    return out.str();
}

struct KeyPair {
    const char* a;
    const char* b;
    bool same;
};

const KeyPair kKeyPairs[] = {
    // Order, spacing and case do not matter.
    {"CN=Alice, O=Acme, C=US", "C=US, O=Acme, CN=Alice", true},
    {"CN=Alice,O=Acme,C=US", "CN = Alice ,  O = Acme , C = US", true},
    {"CN=Alice Smith, O=Acme", "cn=ALICE   smith,o=acme", true},
    {"CN=  Alice\t Smith  , O=Acme", "CN=Alice Smith,O=Acme", true},
    // Attribute type spellings.
    {"E=a@b.example, CN=x", "emailAddress=a@b.example, CN=x", true},
    {"EMAILADDRESS=a@b.example, CN=x", "1.2.840.113549.1.9.1=a@b.example,CN=x", true},
    {"OID.2.5.4.97=VATBE-1, CN=x", "organizationIdentifier=VATBE-1, CN=x", true},
    {"S=California, CN=x", "ST=California, stateOrProvinceName=x", false},
    {"S=California, CN=x", "stateOrProvinceName=California, commonName=x", true},
    {"SERIALNUMBER=123, CN=x", "serialNumber=123, 2.5.4.3=x", true},
    {"DC=example, DC=com, CN=x", "domainComponent=com, domainComponent=example, CN=x", true},
    {"T=Dr, G=Ann, SN=Lee", "title=Dr, givenName=Ann, surname=Lee", true},
    // Escapes, quotes and hex values.
    {"CN=Acme\\, Inc., C=US", "CN=\"Acme, Inc.\", C=US", true},
    {"CN=Acme\\2C Inc.", "CN=Acme\\, Inc.", true},
    {"CN=J\\C3\\BCrgen", "CN=J\xC3\xBCrgen", true},
    {"CN=#0C03616263", "CN=abc", true},  // UTF8String "abc" in BER
    {"CN=#130161", "CN=a", true},        // PrintableString "a"
    {"CN=a\\+b", "CN=a+O=b", false},     // escaped plus vs multi-valued RDN
    {"CN=a+O=b", "O=b, CN=a", true},     // a multi-valued RDN is its components
    // Different names.
    {"CN=Alice, O=Acme", "CN=Alice, O=Acme2", false},
    {"CN=Alice, O=Acme", "CN=Alice", false},
    {"CN=Alice, O=Acme", "O=Alice, CN=Acme", false},
    {"CN=a\\,b", "CN=a, CN=b", false},
    {"CN=x, CN=x", "CN=x", false},
    {"", "CN=x", false},
};

TEST(DistinguishedNameKey, SpellingsOfOneNameMeetAndOthersDoNot) {
    for (const KeyPair& p : kKeyPairs) {
        SCOPED_TRACE(std::string(p.a) + "  vs  " + p.b);
        const std::string ka = key(p.a), kb = key(p.b);
        EXPECT_EQ(ka == kb, p.same) << ka << "  |  " << kb;
    }
}

TEST(DistinguishedNameKey, UnreadableNamesAreLoggedAndMatchOnlyThemselves) {
    const char* bad[] = {"CN=a\\", "CN=\"open", "justtext", "=value", "CN=a,", "CN=a\\4"};
    for (const char* dn : bad) {
        SCOPED_TRACE(dn);
        _tvLogger log;
        StringBuffer out;
        DistinguishedName::toTvCanonHashKey(dn, out, log);
        EXPECT_TRUE(log.hasErrorContaining("Cannot read the distinguished name."));
        EXPECT_FALSE(out.isEmpty());
        EXPECT_NE(out.str(), key("CN=a"));
    }
    const std::string huge = "CN=" + std::string(2u << 20, 'a');
    _tvLogger log;
    StringBuffer out;
    EXPECT_FALSE(DistinguishedName::getDnPart(huge.c_str(), "CN", out, log));
    EXPECT_NE(log.renderText().find("name text too long"), std::string::npos);
}

// Unknown attribute names and undecodable #hex values are answers, not errors: nothing is
// left in OpenSSL's error queue for a later operation to misreport.
TEST(DistinguishedNameKey, LeavesNoOpenSslErrorsBehind) {
    ERR_clear_error();
    key("fooBarBaz=1, CN=#FFFF, O=#0C, OU=#1E0141");
    EXPECT_EQ(ERR_peek_error(), 0u);
}

TEST(DistinguishedNameGetDnPart, ReturnsTheFirstValueUnescaped) {
    const struct {
        const char* dn;
        const char* attr;
        bool found;
        const char* value;
    } rows[] = {
        {"CN=TSZEINVOICE-SubCA-1, DC=extgazt, DC=gov, DC=local", "CN", true, "TSZEINVOICE-SubCA-1"},
        {"DC=local, DC=gov", "DC", true, "local"},
        {"emailAddress=x@y, CN=Aleksey Sanin, OU=Root CA", "CN", true, "Aleksey Sanin"},
        {"commonName=Long Form, O=x", "CN", true, "Long Form"},
        {"2.5.4.3=Dotted, O=x", "CN", true, "Dotted"},
        {"CN=\"Acme, Inc.\", O=x", "CN", true, "Acme, Inc."},
        {"CN=Acme\\, Inc.\\+1, O=x", "CN", true, "Acme, Inc.+1"},
        {"CN =  padded  , O=x", "CN", true, "padded"},
        {"CN=\\ lead", "CN", true, " lead"},
        {"O=NoCommonName, C=US", "CN", false, ""},
        {"", "CN", false, ""},
        {"E=a@b, CN=x", "emailAddress", true, "a@b"},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.dn);
        _tvLogger log;
        StringBuffer out("stale");
        EXPECT_EQ(DistinguishedName::getDnPart(r.dn, r.attr, out, log), r.found);
        EXPECT_EQ(out.str(), r.value);
        EXPECT_FALSE(log.hasErrorContaining("Cannot read"));
    }
    _tvLogger log;
    StringBuffer out;
    EXPECT_FALSE(DistinguishedName::getDnPart("CN=\"unterminated", "CN", out, log));
    EXPECT_TRUE(log.hasErrorContaining("Cannot read the distinguished name."));
}

TEST(DistinguishedNameRemoveDnTags, KeepsValuesAsWritten) {
    const struct {
        const char* dn;
        const char* tagless;
    } rows[] = {
        {"CN=a, O=b", "a, b"},
        {"CN=Acme\\, Inc.,O=x", "Acme\\, Inc., x"},
        {"CN = spaced , C = US", "spaced, US"},
        {"CN=\"q, v\"", "\"q, v\""},
        {"", ""},
        {"not a dn", "not a dn"},  // unreadable: copied unchanged
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.dn);
        XString in(r.dn), out;
        DistinguishedName::removeDnTags(in, out);
        EXPECT_STREQ(out.getUtf8(), r.tagless);
    }
    std::string k1, k2;
    ASSERT_TRUE(DistinguishedName::taglessKey("Acme\\, Inc., US", k1));
    ASSERT_TRUE(DistinguishedName::taglessKey("us , \"ACME, INC.\"", k2));
    EXPECT_EQ(k1, k2);
}

TEST(StringHashSetMembership, ExactAndCaseSensitive) {
    StringHashSet set(79);
    set.hashAddKey("Aleksey Sanin:7735EE487F6862DAF1B3956D961CCB0FA6F34F4E");
    set.hashAddKey("Aleksey Sanin:7735EE487F6862DAF1B3956D961CCB0FA6F34F4E");
    set.hashAddKey(nullptr);
    EXPECT_EQ(set.hashSize(), 2u);
    EXPECT_TRUE(
        set.hashContainsSb(StringBuffer("Aleksey Sanin:7735EE487F6862DAF1B3956D961CCB0FA6F34F4E")));
    EXPECT_FALSE(
        set.hashContainsSb(StringBuffer("aleksey sanin:7735EE487F6862DAF1B3956D961CCB0FA6F34F4E")));
    EXPECT_FALSE(
        set.hashContainsSb(StringBuffer("Aleksey Sanin:7735EE487F6862DAF1B3956D961CCB0FA6F34F4")));
    EXPECT_TRUE(set.hashContains(""));
    StringHashSet odd(-3);  // a nonsense size hint still gives a working set
    odd.hashAddKey("k");
    EXPECT_TRUE(odd.hashContains("k"));
}

}  // namespace
}  // namespace xmldsig
