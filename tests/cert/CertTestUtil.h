// Helpers for the certificate tests: certificates made on the spot with the openssl tool, the
// certificate files of the corpus, and what the openssl tool says about each of them.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "crypto/crypto_test_util.h"
#include "host/text/DataBuffer.h"
#include "support/DataTable.h"

namespace xmldsig::testutil {

inline std::string readFileText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

inline DataBuffer fileBytes(const std::string& path) {
    const std::string s = readFileText(path);
    DataBuffer db;
    db.append(s.data(), s.size());
    return db;
}

inline std::string shellQuote(const std::string& s) {
    std::string out = "'";
    for (char c : s) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

// Keys and certificates made by the openssl tool in a temporary directory.
class CertFactory {
  public:
    CertFactory() {
        const std::string cfg =
            "[req]\ndistinguished_name = dn\nprompt = no\n[dn]\n"
            "[ca_ski]\nsubjectKeyIdentifier = hash\nbasicConstraints = critical,CA:true\n"
            "[ca_noski]\nsubjectKeyIdentifier = none\nauthorityKeyIdentifier = none\n"
            "basicConstraints = critical,CA:true\n"
            "[leaf_ski]\nsubjectKeyIdentifier = hash\nauthorityKeyIdentifier = keyid\n"
            "[leaf_noski]\nsubjectKeyIdentifier = none\nauthorityKeyIdentifier = none\n";
        m_config = m_dir.write("openssl.cnf", Bytes(cfg.begin(), cfg.end()));
    }

    const std::string& dir() const { return m_dir.path(); }
    std::string path(const std::string& name) const { return m_dir.file(name); }

    // keyType: "rsa" (2048 bits) or "ec" (P-256). Returns the key file, empty on failure.
    std::string makeKey(const std::string& name, const std::string& keyType) {
        const std::string key = path(name + ".key");
        const std::string alg = keyType == "ec" ? "-algorithm EC -pkeyopt ec_paramgen_curve:P-256"
                                                : "-algorithm RSA -pkeyopt rsa_keygen_bits:2048";
        return run("openssl genpkey " + alg + " -out " + shellQuote(key)) ? key : std::string();
    }

    // A self-signed CA certificate (PEM) with the subject in openssl's "/C=../CN=.." form and
    // the serial as openssl's -set_serial takes it ("0x0100", "255", "-5").
    std::string selfSigned(const std::string& name, const std::string& keyType,
                           const std::string& subject, const std::string& serial, bool withSki) {
        const std::string key = makeKey(name, keyType);
        const std::string cert = path(name + ".pem");
        const bool ok = !key.empty() &&
                        run("openssl req -x509 -new -config " + shellQuote(m_config) +
                            " -extensions " + (withSki ? "ca_ski" : "ca_noski") + " -key " +
                            shellQuote(key) + " -subj " + shellQuote(subject) + " -set_serial " +
                            serial + " -days 30 -utf8 -multivalue-rdn -out " + shellQuote(cert));
        return ok ? cert : std::string();
    }

    // A certificate for a new key, issued by the CA made earlier under caName.
    std::string issued(const std::string& name, const std::string& keyType,
                       const std::string& subject, const std::string& serial,
                       const std::string& caName, bool withSki) {
        const std::string key = makeKey(name, keyType);
        const std::string csr = path(name + ".csr");
        const std::string cert = path(name + ".pem");
        const bool ok =
            !key.empty() &&
            run("openssl req -new -config " + shellQuote(m_config) + " -key " + shellQuote(key) +
                " -subj " + shellQuote(subject) + " -utf8 -multivalue-rdn -out " +
                shellQuote(csr)) &&
            run("openssl x509 -req -in " + shellQuote(csr) + " -CA " +
                shellQuote(path(caName + ".pem")) + " -CAkey " + shellQuote(path(caName + ".key")) +
                " -set_serial " + serial + " -extfile " + shellQuote(m_config) + " -extensions " +
                (withSki ? "leaf_ski" : "leaf_noski") + " -days 10 -out " + shellQuote(cert));
        return ok ? cert : std::string();
    }

    // The same certificate in DER, next to the PEM.
    std::string toDer(const std::string& pem) {
        const std::string der = pem.substr(0, pem.size() - 4) + ".der";
        return run("openssl x509 -in " + shellQuote(pem) + " -outform DER -out " + shellQuote(der))
                   ? der
                   : std::string();
    }

    // A PKCS#12 file holding the named key, its certificate and the extra certificates.
    std::string pkcs12(const std::string& name, const std::string& password,
                       const std::vector<std::string>& extraCerts, bool legacy) {
        const std::string out = path(name + (legacy ? "-legacy" : "") + ".p12");
        std::string cmd = "openssl pkcs12 -export -inkey " + shellQuote(path(name + ".key")) +
                          " -in " + shellQuote(path(name + ".pem")) + " -passout pass:" + password +
                          " -out " + shellQuote(out);
        for (const std::string& c : extraCerts) cmd += " -certfile " + shellQuote(c);
        if (legacy) cmd += " -legacy";
        return run(cmd) ? out : std::string();
    }

    static bool run(const std::string& command) {
        bool ok = false;
        runCommand(command + " 2>/dev/null", ok);
        return ok;
    }

  private:
    TempDir m_dir;
    std::string m_config;
};

// One line of `openssl x509` output for a file, by its key ("subject", "serial", ...).
using OpensslFacts = std::map<std::string, std::string>;

// Asks the openssl tool about one certificate file (PEM, DER, or bare base64 of the DER as
// ZATCA ships it): subject and issuer in RFC 2253 form, serial, SHA-1 fingerprint, subject key
// identifier, dates in ISO 8601 and the public key PEM. Empty when openssl does not read the
// file as a certificate in any of the three forms.
inline OpensslFacts opensslFacts(const std::string& path) {
    OpensslFacts facts;
    bool ok = false;
    const std::string file = shellQuote(path);
    const std::pair<const char*, std::string> forms[] = {
        {"PEM", "openssl x509 -inform PEM -in " + file},
        {"DER", "openssl x509 -inform DER -in " + file},
        {"base64",
         "tr -d '\\r\\n ' < " + file + " | openssl base64 -d -A | openssl x509 -inform DER"},
    };
    // Only the form the file's first bytes suggest is tried: the tool starts slowly.
    const std::string head = readFileText(path).substr(0, 4096);
    const std::size_t likely = head.find("-----BEGIN") != std::string::npos ? 0
                               : (!head.empty() && head[0] == '\x30')       ? 1
                                                                            : 2;
    for (const auto& [form, x509] : {forms[likely]}) {
        const std::string out = runCommand(
            x509 +
                " -noout -subject -issuer -serial -nameopt RFC2253 -dateopt iso_8601"
                " -startdate -enddate -fingerprint -sha1 -ext subjectKeyIdentifier 2>/dev/null",
            ok);
        if (!ok) continue;
        std::istringstream lines(out);
        std::string line, previous;
        while (std::getline(lines, line)) {
            const std::size_t eq = line.find('=');
            if (line.rfind("    ", 0) == 0 && previous == "ski") {
                facts["ski"] = line.substr(4);
            } else if (line.rfind("X509v3 Subject Key Identifier", 0) == 0) {
                previous = "ski";
                continue;
            } else if (eq != std::string::npos) {
                facts[line.substr(0, eq)] = line.substr(eq + 1);
            }
            previous.clear();
        }
        facts["form"] = form;
        const std::string pub = runCommand(x509 + " -noout -pubkey 2>/dev/null", ok);
        if (ok) facts["pubkey"] = pub;
        break;
    }
    return facts;
}

// Every certificate-like file of the corpus (.pem, .der, .crt, .cer), sorted.
inline std::vector<std::string> corpusCertFiles() {
    std::vector<std::string> out;
    std::error_code ec;
    for (auto it = std::filesystem::recursive_directory_iterator(XMLDSIG_CORPUS_DIR, ec);
         !ec && it != std::filesystem::recursive_directory_iterator(); it.increment(ec)) {
        const std::string ext = it->path().extension().string();
        if (it->is_regular_file() &&
            (ext == ".pem" || ext == ".der" || ext == ".crt" || ext == ".cer"))
            out.push_back(it->path().string());
    }
    std::sort(out.begin(), out.end());
    return out;
}

// The corpus-relative path as a test name: letters and digits kept, everything else '_'.
inline std::string testNameFor(const std::string& path) {
    return test::testNameFor(path.substr(std::string(XMLDSIG_CORPUS_DIR).size() + 1));
}

// Colon-separated hex ("AB:CD") without the colons.
inline std::string withoutColons(std::string s) {
    s.erase(std::remove(s.begin(), s.end(), ':'), s.end());
    return s;
}

}  // namespace xmldsig::testutil
