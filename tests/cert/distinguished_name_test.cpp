// DistinguishedName: reading names as signers write them into X509IssuerName and
// X509SubjectName, and the canonical key that makes two spellings of one name meet.
#include <gtest/gtest.h>
#include <openssl/err.h>

#include <string>

#include "host/cert/DistinguishedName.h"
#include "host/log/_tvLogger.h"
#include "host/text/StringBuffer.h"
#include "host/text/XString.h"
#include "support/DataTable.h"

namespace xmldsig {
namespace {

std::string key(const char* dn) {
    _tvLogger log;
    StringBuffer out;
    DistinguishedName::toTvCanonHashKey(dn, out, log);
    return out.str();
}

TEST(DistinguishedName, TableOfNames) {
    for (const test::DataRow& r : test::loadTable("cert/distinguished_names.tsv")) {
        _tvLogger log;
        if (r["kind"] == "key") {
            EXPECT_EQ(key(r["a"].c_str()) == key(r["b"].c_str()), r.flag("result")) << r.where();
        } else if (r["kind"] == "part") {
            StringBuffer out("stale");
            const bool found =
                DistinguishedName::getDnPart(r["a"].c_str(), r["b"].c_str(), out, log);
            EXPECT_EQ(found, r["result"] != "(none)") << r.where();
            EXPECT_EQ(out.str(), found ? r["result"] : "") << r.where();
            EXPECT_FALSE(log.hasErrorContaining("Cannot read")) << r.where();
        } else {
            XString in(r["a"].c_str()), out;
            DistinguishedName::removeDnTags(in, out);
            EXPECT_EQ(out.getUtf8(), r["result"]) << r.where();
        }
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

TEST(DistinguishedNameGetDnPart, UnterminatedQuoteIsLogged) {
    _tvLogger log;
    StringBuffer out;
    EXPECT_FALSE(DistinguishedName::getDnPart("CN=\"unterminated", "CN", out, log));
    EXPECT_TRUE(log.hasErrorContaining("Cannot read the distinguished name."));
}

TEST(DistinguishedNameTaglessKey, SpellingsOfOneNameMeet) {
    std::string k1, k2;
    ASSERT_TRUE(DistinguishedName::taglessKey("Acme\\, Inc., US", k1));
    ASSERT_TRUE(DistinguishedName::taglessKey("us , \"ACME, INC.\"", k2));
    EXPECT_EQ(k1, k2);
}

}  // namespace
}  // namespace xmldsig
