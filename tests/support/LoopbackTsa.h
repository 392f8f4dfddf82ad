// A timestamp authority on the loopback interface for the tests, with the small PKI it needs:
// a test root CA, a TSA certificate it issued (extendedKeyUsage critical timeStamping) and a
// signer certificate for XAdES documents. The server is a python3 script answering with
// `openssl ts -reply`; it runs while the object lives and is stopped (and its files removed)
// when the object goes. Nothing here calls this project's code, so what it produces is an
// independent expectation.
#pragma once

#include <sys/types.h>

#include <string>

namespace xmldsig::test {

class LoopbackTsa {
  public:
    LoopbackTsa();
    ~LoopbackTsa();
    LoopbackTsa(const LoopbackTsa&) = delete;
    LoopbackTsa& operator=(const LoopbackTsa&) = delete;

    // The one authority of the test program, started on first use.
    static LoopbackTsa& shared();

    // False (with the reason in error()) when the PKI or the server could not be set up.
    bool ok() const { return m_port != 0; }
    const std::string& error() const { return m_error; }

    // "http://127.0.0.1:PORT" followed by path (see tests/data/tsa/loopback_tsa.py).
    std::string url(const std::string& path = "/") const;
    // A file of the authority's directory: "ca.pem", "tsa.pem", "signer.key", "signer.pem"...
    std::string file(const std::string& name) const { return m_dir + "/" + name; }
    const std::string& dir() const { return m_dir; }

    // A URL on which nothing listens (a port that was free a moment ago).
    static std::string closedUrl();

  private:
    bool makePki();
    bool startServer();

    std::string m_dir;
    std::string m_error;
    pid_t m_pid = -1;
    int m_port = 0;
};

// Shell helpers for the timestamp tests.
std::string shellQuoted(const std::string& s);
// Runs a shell command; its standard output, ok false on a non-zero exit.
std::string runShell(const std::string& command, bool& ok);
// Writes bytes to a new file under dir and returns its path.
std::string writeTempFile(const std::string& dir, const std::string& name,
                          const std::string& bytes);

// A timestamp token made by the openssl tool for the given bytes (DER), through the shared
// authority's configuration: query, reply, token. hash is an openssl digest name; withCert asks
// for the TSA certificate in the token. Empty when the tool failed.
std::string opensslToken(const std::string& data, const std::string& hash = "sha256",
                         bool withCert = true);
// `openssl ts -verify` of a DER token against the data it should cover, trusting the test CA.
bool opensslVerifiesToken(const std::string& tokenDer, const std::string& data);

// The template signed by xmlsec1 with the test signer's key and certificate (KeyInfo's
// X509Data is filled in). SignedProperties Ids resolve for its references. Empty on failure.
std::string xmlsecSign(const std::string& tmpl);
// xmlsec1's verdict on a signed document, trusting the test CA.
bool xmlsecVerifies(const std::string& xml);

}  // namespace xmldsig::test
