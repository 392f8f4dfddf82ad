// Other software standing in for the signers of document families: xmllint canonicalizes,
// openssl hashes, xmlsec1 signs templates. Nothing here calls this project's code, so a
// digest made with these helpers is an independent expectation.
#pragma once

#include <string>
#include <vector>

namespace xmldsig::test {

// True when xmllint, xmlsec1, openssl and base64 are all on the PATH.
bool signerToolsPresent();

// xmllint's canonical form of a whole document; flag is "--c14n", "--c14n11" or "--exc-c14n".
// xmllint keeps comments, so documents given here should hold none. Empty (and a test failure
// recorded) when xmllint refuses the document.
std::string xmllintCanonical(const std::string& xml, const char* flag);

// openssl's digest of the bytes: base64 of the binary digest, or lower-case hex text.
// alg is an openssl digest name ("sha1", "sha256").
std::string digestBase64(const std::string& bytes, const char* alg);
std::string digestHex(const std::string& bytes, const char* alg);
// The base64 encoding of the bytes (coreutils base64, one line).
std::string base64Of(const std::string& bytes);

// What xmlsec1, signing a template (empty DigestValue and SignatureValue elements) with an HMAC
// key, makes of each reference, in reference order: the bytes it hashed (its
// --store-references report) and the base64 digest it stored. options go on its command line
// (for instance "--id-attr:ID Documento"). The document text xmlsec1 writes back is not used:
// libxml2 re-serializes it, so callers put the digest into their own text instead.
struct XmlsecReference {
    std::string preDigest;
    std::string digest;
};
std::vector<XmlsecReference> xmlsecReferences(const std::string& tmpl, const std::string& options);

// Text edits for building document variants; each records a test failure when `from` is absent.
std::string replaceFirst(std::string text, const std::string& from, const std::string& to);
std::string replaceEvery(std::string text, const std::string& from, const std::string& to);
// The text between the first `open` and the next `close`, both included; empty when absent.
std::string spanOf(const std::string& text, const std::string& open, const std::string& close);
// The text with that span taken out.
std::string withoutSpan(const std::string& text, const std::string& open, const std::string& close);

}  // namespace xmldsig::test
