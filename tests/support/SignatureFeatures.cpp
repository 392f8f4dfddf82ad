#include "support/SignatureFeatures.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <memory>

#include "host/log/ExtPtrArrayRc.h"
#include "host/log/LogNull.h"
#include "host/xml/ClsXml.h"
#include "host/xml/detail/XmlDom.h"

namespace xmldsig::test {

namespace {

struct XmlRelease {
    void operator()(ClsXml* x) const { x->decRefCount(); }
};
using XmlPtr = std::unique_ptr<ClsXml, XmlRelease>;

std::string lower(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

bool contains(const std::string& haystack, const std::string& needle) {
    return haystack.find(needle) != std::string::npos;
}

bool anyEquals(const std::vector<std::string>& v, const char* s) {
    return std::find(v.begin(), v.end(), s) != v.end();
}

std::string attr(const ClsXml& node, const char* name) {
    StringBuffer v;
    node.getAttrValue(name, v);
    return v.str();
}

std::string childText(const ClsXml& node, const char* tag) {
    StringBuffer v;
    node.getChildContentUtf8(tag, v, false);
    return v.str();
}

std::vector<std::string> childNames(const ClsXml& node) {
    std::vector<std::string> names;
    for (int j = 0; j < node.get_NumChildren(); ++j) {
        XmlPtr c{node.getChild(j)};
        if (!c) continue;
        StringBuffer tag;
        c->getTag(tag);
        const std::string t = tag.str();
        names.push_back(t.substr(t.find(':') == std::string::npos ? 0 : t.find(':') + 1));
    }
    return names;
}

ReferenceFeatures readReference(const ClsXml& ref) {
    ReferenceFeatures r;
    r.uri = attr(ref, "URI");
    if (XmlPtr dm{ref.getChildWithTagUtf8("*:DigestMethod")})
        r.digestMethod = attr(*dm, "Algorithm");
    if (XmlPtr transforms{ref.getChildWithTagUtf8("*:Transforms")})
        for (int j = 0; j < transforms->get_NumChildren(); ++j)
            if (XmlPtr t{transforms->getChild(j)}) r.transforms.push_back(attr(*t, "Algorithm"));
    return r;
}

void readSignedInfo(const ClsXml& signedInfo, SignatureFeatures& f) {
    LogNull quiet;
    if (XmlPtr sm{signedInfo.getChildWithTagUtf8("*:SignatureMethod")}) {
        f.signatureMethod = attr(*sm, "Algorithm");
        f.hmacOutputLength = childText(*sm, "*:HMACOutputLength");
    }
    const int n = signedInfo.numChildrenHavingTagUtf8("*:Reference", quiet);
    for (int i = 0; i < n; ++i)
        if (XmlPtr ref{signedInfo.getNthChildWithTagUtf8("*:Reference", i, quiet)})
            f.references.push_back(readReference(*ref));
}

void readKeyInfo(const ClsXml& keyInfo, SignatureFeatures& f) {
    f.hasKeyInfo = true;
    f.keyInfoChildren = childNames(keyInfo);
    // A RetrievalMethod is read when it names an element of the document as it stands; one that
    // reaches a file (rawX509Certificate) or carries transforms is not.
    if (XmlPtr rm{keyInfo.getChildWithTagUtf8("*:RetrievalMethod")}) {
        const std::string uri = attr(*rm, "URI");
        if (uri.rfind('#', 0) != 0 || attr(*rm, "Type").find("rawX509") != std::string::npos ||
            XmlPtr{rm->getChildWithTagUtf8("*:Transforms")})
            for (auto& c : f.keyInfoChildren)
                if (c == "RetrievalMethod") c = "RetrievalMethod(file or transforms)";
    }
    if (XmlPtr kv{keyInfo.getChildWithTagUtf8("*:KeyValue")}) f.keyValueChildren = childNames(*kv);
    if (XmlPtr xd{keyInfo.getChildWithTagUtf8("*:X509Data")}) f.x509DataChildren = childNames(*xd);
    LogNull quiet;
    StringBuffer xml;
    keyInfo.getXml(false, xml, quiet);
    f.keyInfoEncrypted = xml.containsSubstring("http://www.w3.org/2001/04/xmlenc#") ||
                         xml.containsSubstring("http://www.w3.org/2009/xmlenc11#");
}

SignatureFeatures readSignature(const ClsXml& sig) {
    SignatureFeatures f;
    f.depth = sig.node() != nullptr ? static_cast<int>(sig.node()->depth) : 0;
    if (XmlPtr si{sig.getChildWithTagUtf8("*:SignedInfo")}) readSignedInfo(*si, f);
    std::string value = childText(sig, "*:SignatureValue");
    const auto first = value.find_first_not_of(" \t\r\n");
    const auto last = value.find_last_not_of(" \t\r\n");
    if (first != std::string::npos)
        f.signatureValueWrapped =
            value.substr(first, last - first + 1).find_first_of(" \t\r\n") != std::string::npos;
    if (XmlPtr keyInfo{sig.getChildWithTagUtf8("*:KeyInfo")}) readKeyInfo(*keyInfo, f);
    return f;
}

// Algorithm families left out of this verifier by design, as their URIs name them.
struct Unsupported {
    const char* needle;
    const char* what;
};
const Unsupported kUnsupportedAlgorithms[] = {
    {"gost", "GOST"},
    {"ed25519ctx", "EdDSA with a context"},
    {"ed25519ph", "pre-hashed EdDSA"},
    {"ed448ph", "pre-hashed EdDSA"},
    {"mldsa", "ML-DSA"},
    {"ml-dsa", "ML-DSA"},
    {"slhdsa", "SLH-DSA"},
    {"slh-dsa", "SLH-DSA"},
};

const char* unsupportedFamily(const std::string& uri) {
    const std::string u = lower(uri);
    for (const auto& a : kUnsupportedAlgorithms)
        if (contains(u, a.needle)) return a.what;
    return nullptr;
}

// Transforms of same-document references that the verifier evaluates; XPath ones only for the
// expressions that signing software writes.
bool transformKnown(const std::string& uri) {
    for (const char* known : {"xml-c14n", "xml-exc-c14n", "enveloped-signature", "xmldsig#base64",
                              "REC-xpath", "xmldsig-filter2"})
        if (contains(uri, known)) return true;
    return false;
}

bool isXPath(const std::string& uri) {
    return contains(uri, "REC-xpath") || contains(uri, "xmldsig-filter2");
}

// Bits of a full HMAC by the hash its signature method names.
int fullMacBits(const std::string& method) {
    struct Size {
        const char* hash;
        int bits;
    };
    static const Size sizes[] = {{"sha1", 160},   {"sha256", 256}, {"sha384", 384},
                                 {"sha512", 512}, {"md5", 128},    {"ripemd160", 160}};
    for (const auto& s : sizes)
        if (contains(method, std::string("hmac-") + s.hash)) return s.bits;
    return 0;
}

// KeyInfo holds a key, or names a certificate, in a form this verifier reads.
bool keyInfoHasReadableKey(const SignatureFeatures& f) {
    for (const char* kv : {"RSAKeyValue", "DSAKeyValue", "ECKeyValue", "ECDSAKeyValue"})
        if (anyEquals(f.keyValueChildren, kv)) return true;
    for (const char* x :
         {"X509Certificate", "X509IssuerSerial", "X509SubjectName", "X509SKI", "X509Digest"})
        if (anyEquals(f.x509DataChildren, x)) return true;
    for (const char* k :
         {"SecurityTokenReference", "DEREncodedKeyValue", "RetrievalMethod", "KeyInfoReference"})
        if (anyEquals(f.keyInfoChildren, k)) return true;
    return false;
}

std::string keyFormsOf(const SignatureFeatures& f) {
    std::string forms;
    for (const auto& c : f.keyInfoChildren) forms += " " + c;
    for (const auto& c : f.x509DataChildren) forms += " X509Data/" + c;
    return forms.empty() ? " nothing" : forms;
}

const char kReferenceFailed[] = "Failed to verify reference digest";

Exclusion referenceExclusion(const SignatureFeatures& f) {
    for (const auto& r : f.references) {
        if (const char* what = unsupportedFamily(r.digestMethod))
            return {std::string(what) + " digest method " + r.digestMethod +
                        " (an unknown digest method is read as SHA-1)",
                    {kReferenceFailed}};
        if (r.external()) continue;  // transforms of external data are not applied
        for (const auto& t : r.transforms)
            if (!transformKnown(t))
                return {"transform " + t + " is not implemented", {"unrecognizedTransform"}};
    }
    return {};
}

Exclusion signatureMethodExclusion(const SignatureFeatures& f) {
    const char* what = unsupportedFamily(f.signatureMethod);
    if (what == nullptr) return {};
    return {std::string(what) + " signature method " + f.signatureMethod,
            {"Key type not implemented yet by Tavolin.",
             "Hash algorithm not implemented yet by Tavolin.",
             // A hash the signature method table does not name is "no hash", which every key
             // check refuses.
             "RSA verify hash failed.", "Not the correct key.", "DSA verify hash failed.",
             "ECDSA verify hash found the signature to be invalid.", "HMAC verify failed."}};
}

Exclusion keyExclusion(const SignatureFeatures& f, bool signerKeyGiven, bool hmacKeyGiven) {
    if (contains(f.signatureMethod, "#hmac-")) {
        if (f.keyInfoEncrypted && !hmacKeyGiven)
            return {"the HMAC key is carried encrypted in KeyInfo (XML Encryption)",
                    {"No HMAC key available to verify signature."}};
        const int full = fullMacBits(f.signatureMethod);
        if (!f.hmacOutputLength.empty() && std::atoi(f.hmacOutputLength.c_str()) != full)
            return {"truncated HMAC (HMACOutputLength " + f.hmacOutputLength + ")",
                    {"HMAC validation failed.", "No HMAC key available to verify signature."}};
        // The HMAC is compared as base64 text with the SignatureValue text as written.
        if (f.signatureValueWrapped)
            return {"HMAC SignatureValue written over several lines",
                    {"HMAC validation failed.", "No HMAC key available to verify signature."}};
        return {};
    }
    if (!signerKeyGiven && !keyInfoHasReadableKey(f))
        return {"no key supplied, and KeyInfo holds" + keyFormsOf(f),
                {"No public key available to verify signature."}};
    return {};
}

// References that may fail: general XPath expressions, transforms of external data.
Exclusion referenceMayFail(const SignatureFeatures& f) {
    for (const auto& r : f.references)
        if (r.external() && !r.transforms.empty())
            return {"external data of " + r.uri + " is hashed as it is, its transforms unapplied",
                    {kReferenceFailed}};
    for (const auto& r : f.references)
        for (const auto& t : r.transforms)
            if (isXPath(t))
                return {"XPath transform " + t + " with an expression outside the evaluated set",
                        {"unhandledXPath"}};
    return {};
}

}  // namespace

std::vector<SignatureFeatures> signatureFeatures(const std::string& utf8) {
    std::vector<SignatureFeatures> all;
    LogNull quiet;
    XmlPtr doc{ClsXml::createNewCls()};
    if (!doc || !doc->loadXml(StringBuffer(utf8.c_str()), false, quiet)) return all;
    ExtPtrArrayRc sigs;
    doc->findSignatures(sigs, quiet);
    for (int i = 0; i < sigs.getSize(); ++i)
        if (auto* sig = static_cast<ClsXml*>(sigs.elementAt(i))) all.push_back(readSignature(*sig));
    return all;
}

std::vector<int> outermostSignatures(const std::vector<SignatureFeatures>& all) {
    std::vector<int> indexes;
    int best = 0;
    for (const auto& f : all) best = best == 0 ? f.depth : std::min(best, f.depth);
    for (size_t i = 0; i < all.size(); ++i)
        if (all[i].depth == best) indexes.push_back(static_cast<int>(i));
    return indexes;
}

Exclusion exclusionFor(const SignatureFeatures& f, bool signerKeyGiven, bool hmacKeyGiven) {
    // References are checked before the signature value, so a reference that cannot match is
    // what the log reports first.
    Exclusion e = referenceExclusion(f);
    if (e.reason.empty()) e = signatureMethodExclusion(f);
    if (e.reason.empty()) e = keyExclusion(f, signerKeyGiven, hmacKeyGiven);
    if (e.reason.empty()) return e;
    // A reference that may fail on its own is then what the log reports first.
    const Exclusion first = referenceMayFail(f);
    if (!first.reason.empty()) {
        e.reason += "; also " + first.reason;
        e.logSaysOneOf.insert(e.logSaysOneOf.end(), first.logSaysOneOf.begin(),
                              first.logSaysOneOf.end());
    }
    return e;
}

Exclusion conditionalExclusionFor(const SignatureFeatures& f) {
    Exclusion e = referenceMayFail(f);
    if (!keyInfoHasReadableKey(f) && !contains(f.signatureMethod, "#hmac-")) {
        e.reason += std::string(e.reason.empty() ? "" : "; ") +
                    "the signer's key is reachable only through KeyInfo" + keyFormsOf(f) +
                    ", and the supplied keys are not the signer's";
        for (const char* line :
             {"No public key available to verify signature.", "Not the correct key.",
              "RSA verify hash found the signature to be invalid.", "DSA verify hash failed.",
              "ECDSA verify hash found the signature to be invalid."})
            e.logSaysOneOf.push_back(line);
    }
    return e;
}

bool logSaysOneOf(const std::string& log, const std::vector<std::string>& texts) {
    return std::any_of(texts.begin(), texts.end(),
                       [&](const std::string& t) { return contains(log, t); });
}

const std::vector<std::string>& verdictFailureLines() {
    static const std::vector<std::string> lines = {
        "There are no signatures.",
        "There are no references.",
        kReferenceFailed,
        "No Reference at index 0",
        "Unable to find the Signature",
        "The signature found in the text is not the selected signature.",
        "Verification of encapsulated timestamp failed.",
        "Unable to get SignedInfo CanonicalizationMethod.",
        "Failed to canonicalize",
        "Unable to find the SignatureValue element.",
        "Failed to decode base64 SignatureValue.",
        "Unable to location the SignatureMethod algorithm within the SignedInfo.",
        "Hash algorithm not implemented yet by Tavolin.",
        "Key type not implemented yet by Tavolin.",
        "No public key available to verify signature.",
        "No HMAC key available to verify signature.",
        "Invalid key type",
        "RSA verify hash found the signature to be invalid.",
        "Not the correct key.",
        "RSA verify hash failed.",
        "DSA verify hash failed.",
        "ECDSA verify hash found the signature to be invalid.",
        "HMAC verify failed.",
        "HMAC validation failed.",
    };
    return lines;
}

}  // namespace xmldsig::test
