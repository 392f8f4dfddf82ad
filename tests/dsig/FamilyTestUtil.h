// Helpers for the document-family tests: a document with the uncommon options it is verified
// under, and what checking one reference of it said.
#pragma once

#include <string>

#include "support/DsigTestUtil.h"

namespace xmldsig::test {

struct Loaded {
    std::string doc;
    std::string options;  // UncommonOptions, set before loading
};

struct RefOutcome {
    bool loaded = false;
    bool verified = false;
    int reason = -1;
    std::string log;  // the log of the VerifyReferenceDigest call
};

// Checks one reference of the first signature with a fresh component.
inline RefOutcome verifyReference(const Loaded& in, int index) {
    RefOutcome out;
    auto dsig = newDsig();
    if (!dsig) return out;
    dsig->put_UncommonOptions(XString(in.options.c_str()));
    out.loaded = loadText(*dsig, in.doc);
    if (!out.loaded) {
        out.log = dsig->lastErrorText();
        return out;
    }
    out.verified = dsig->VerifyReferenceDigest(index);
    out.reason = dsig->get_RefFailReason();
    out.log = dsig->lastErrorText();
    return out;
}

// A document of tests/data/families (see the README there).
inline std::string familyFile(const std::string& name) {
    return readFile(std::string(XMLDSIG_TEST_DATA_DIR) + "/families/" + name);
}

// Bytes that a family's signer hashed, kept in a text file whose final line feed is not part of
// them.
inline std::string hashedBytesFile(const std::string& name) {
    std::string text = familyFile(name);
    if (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
}

inline bool logHas(const std::string& log, const std::string& text) {
    return log.find(text) != std::string::npos;
}

constexpr const char kDs[] = "http://www.w3.org/2000/09/xmldsig#";
constexpr const char kC14n[] = "http://www.w3.org/TR/2001/REC-xml-c14n-20010315";
constexpr const char kExcC14n[] = "http://www.w3.org/2001/10/xml-exc-c14n#";
constexpr const char kEnveloped[] = "http://www.w3.org/2000/09/xmldsig#enveloped-signature";
constexpr const char kXPath[] = "http://www.w3.org/TR/1999/REC-xpath-19991116";
constexpr const char kSha256[] = "http://www.w3.org/2001/04/xmlenc#sha256";

inline std::string dsTransform(const char* algorithm) {
    return std::string("<ds:Transform Algorithm=\"") + algorithm + "\"/>";
}

inline std::string dsXPathTransform(const std::string& xpath) {
    return std::string("<ds:Transform Algorithm=\"") + kXPath + "\"><ds:XPath>" + xpath +
           "</ds:XPath></ds:Transform>";
}

// A ds:Reference with a SHA-256 digest; no Transforms element when transforms is empty.
inline std::string dsReference(const std::string& uri, const std::string& transforms,
                               const std::string& digest) {
    return "<ds:Reference URI=\"" + uri + "\">" +
           (transforms.empty() ? "" : "<ds:Transforms>" + transforms + "</ds:Transforms>") +
           "<ds:DigestMethod Algorithm=\"" + kSha256 + "\"/><ds:DigestValue>" + digest +
           "</ds:DigestValue></ds:Reference>";
}

// A ds:Signature (prefix ds, declared on it) over the given references. SignatureMethod is
// HMAC so that xmlsec1 can sign the text as a template with a plain key.
inline std::string dsSignature(const std::string& references, const std::string& attributes = "") {
    return std::string("<ds:Signature xmlns:ds=\"") + kDs + "\"" + attributes +
           "><ds:SignedInfo><ds:CanonicalizationMethod Algorithm=\"" + kC14n +
           "\"/><ds:SignatureMethod Algorithm=\"http://www.w3.org/2001/04/"
           "xmldsig-more#hmac-sha256\"/>" +
           references + "</ds:SignedInfo><ds:SignatureValue></ds:SignatureValue></ds:Signature>";
}

// The log lines of the attribute-sorting retry.
constexpr const char kRetryWithSortBug[] =
    "Retry with duplication of common XML canonicalization attribute sorting bug...";
constexpr const char kRetryWithoutSortBug[] =
    "Retry without duplication of common XML canonicalization attribute sorting bug...";
constexpr const char kSortBugFound[] =
    "This signature was produced by software having the attribute sorting bug.";

}  // namespace xmldsig::test
