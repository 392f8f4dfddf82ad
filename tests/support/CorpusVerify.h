// Verifying the signed documents of the corpus the way a user would: the key material that the
// manifest names (caller keys, certificates for a vault, HMAC secrets, external data), the
// document-family option the expected verdict asks for, and what the document's own algorithms
// and key forms say about whether this verifier can reach that verdict at all.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "support/Manifest.h"

namespace xmldsig::test {

// What the manifest's expected column asks of VerifySignature.
struct Expectation {
    enum Kind { Valid, Invalid, AnyVerdict } kind = AnyVerdict;
    std::string option;  // uncommon option the verdict holds under ("ZATCA", "MYINVOIS" or "")
};
Expectation expectationFor(const std::string& expected);

// The key material of a row, as absolute paths: the files and folders the key-material column
// names, and the certs/ and keys/ folders beside the document (the test suites keep there the
// certificates their documents name by issuer, subject or key identifier, and their HMAC secret).
struct KeyMaterial {
    std::vector<std::string> keyFiles;   // tried one at a time as the caller's key
    std::vector<std::string> certFiles;  // certificates for a vault
    std::vector<std::string> certDirs;   // folders of certificates for a vault
    std::string hmacKeyHex;              // empty when no HMAC secret is known
    std::vector<std::string> dataFiles;  // data of remote references, matched by name
    std::string describe() const;
};
KeyMaterial keyMaterialFor(const ManifestRow& row);

// The verifier's UTF-8 text of a document given as its file bytes (empty when it does not
// load), and its number of signatures.
std::string verifierText(const std::string& bytes, int& numSignatures);

struct VerifyOutcome {
    bool loaded = false;
    bool valid = false;
    int refFailReason = 0;  // after the last attempt
    std::string log;        // the logs of every attempt, one after the other
};

struct VerifyRequest {
    std::string document;     // the file's bytes, or the verifier's UTF-8 text
    bool isUtf8Text = false;  // loaded with LoadSignatureSb rather than LoadSignatureBd
    int index = 0;            // the signature
    std::string option;       // uncommon option the verdict holds under
    std::string docDir;       // relative references are resolved here
    bool checkReferences = true;
    int dataOverrideRef = -1;  // a reference whose data is given here instead (SetRefDataBd)
    std::string dataOverride;
};

// Verifies a signature with the row's key material, trying each caller key in turn (valid as
// soon as one verifies); the data of remote references comes from the listed data files.
VerifyOutcome verifyCorpusDocument(const VerifyRequest& req, const KeyMaterial& keys);

// The file that holds the data of an external reference: a listed data file for a remote URI,
// else the file the URI names in docDir; "" when there is none.
std::string referenceDataFile(const std::string& uri, const KeyMaterial& keys,
                              const std::string& docDir);

// GoogleTest prints a row as its path.
void PrintTo(const ManifestRow& row, std::ostream* os);

}  // namespace xmldsig::test
