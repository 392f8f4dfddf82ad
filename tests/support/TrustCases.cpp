#include "support/TrustCases.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <sstream>

namespace xmldsig::test {

namespace {

std::string orEmpty(const std::string& field) {
    return field == "-" ? "" : field;
}

std::string shellArg(const std::string& s) {
    return "'" + s + "'";
}

}  // namespace

std::string TrustCase::name() const {
    return document + " --trust " + trust + " --untrusted " + untrusted + " --crl " + crl +
           " --at " + at;
}

std::string trustDataDir() {
    return std::string(XMLDSIG_TEST_DATA_DIR) + "/trust";
}

std::vector<TrustCase> loadTrustCases() {
    std::ifstream in(trustDataDir() + "/cases.tsv");
    std::vector<TrustCase> cases;
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::vector<std::string> f;
        std::istringstream fields(line);
        for (std::string field; std::getline(fields, field, '\t');) f.push_back(field);
        if (f.size() != 8) {
            ADD_FAILURE() << "cases.tsv: expected 8 columns: " << line;
            continue;
        }
        cases.push_back({f[0], orEmpty(f[1]), orEmpty(f[2]), orEmpty(f[3]), orEmpty(f[4]), f[5],
                         orEmpty(f[6]), f[7]});
    }
    EXPECT_GT(cases.size(), 10u) << "cases.tsv missing or truncated";
    return cases;
}

std::string signerCertOf(const TrustCase& c) {
    const std::string who = c.document.rfind("chain-", 0) == 0 ? c.document.substr(6) : c.document;
    return trustDataDir() + "/pki/" + who + ".pem";
}

std::string keyInfoIntermediateOf(const TrustCase& c) {
    return c.document.rfind("chain-", 0) == 0 ? trustDataDir() + "/pki/inter.pem" : "";
}

namespace {

bool opensslAccepts(const TrustCase& c, const std::string& pki) {
    std::string cmd = "openssl verify -crl_check -partial_chain -CAfile " +
                      shellArg(pki + c.trust) + " -CRLfile " + shellArg(pki + c.crl);
    if (!c.untrusted.empty()) cmd += " -untrusted " + shellArg(pki + c.untrusted);
    if (!keyInfoIntermediateOf(c).empty())
        cmd += " -untrusted " + shellArg(keyInfoIntermediateOf(c));
    if (!c.at.empty()) {
        std::time_t t = 0;
        std::tm tm{};
        strptime(c.at.c_str(), "%Y-%m-%dT%H:%M:%SZ", &tm);
        t = timegm(&tm);
        cmd += " -attime " + std::to_string(static_cast<long long>(t));
    }
    cmd += " " + shellArg(signerCertOf(c)) + " >/dev/null 2>&1";
    return std::system(cmd.c_str()) == 0;
}

}  // namespace

bool peerAccepts(const TrustCase& c) {
    const std::string pki = trustDataDir() + "/pki/";
    if (!c.crl.empty()) return opensslAccepts(c, pki);
    const bool der = c.trust.size() > 4 && c.trust.compare(c.trust.size() - 4, 4, ".der") == 0;
    std::string cmd = "xmlsec1 --verify";
    if (!c.trust.empty())
        cmd += (der ? " --trusted-der " : " --trusted-pem ") + shellArg(pki + c.trust);
    if (!c.untrusted.empty()) cmd += " --untrusted-pem " + shellArg(pki + c.untrusted);
    if (!c.at.empty()) {
        std::string t = c.at.substr(0, 19);
        t[10] = ' ';
        cmd += " --verification-gmt-time " + shellArg(t);
    }
    cmd += " " + shellArg(trustDataDir() + "/docs/" + c.document + ".xml") + " >/dev/null 2>&1";
    return std::system(cmd.c_str()) == 0;
}

}  // namespace xmldsig::test
