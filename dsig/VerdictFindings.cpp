#include "dsig/VerdictFindings.h"

#include "dsig/ClsXmlDSig.h"
#include "dsig/SignatureMethod.h"
#include "host/crypto/ClsPublicKey.h"
#include "host/log/LogNull.h"

namespace xmldsig {

namespace {

const char* weakHashName(int hashAlg) {
    switch (hashAlg) {
        case 1:
            return "SHA-1";
        case 4:
            return "MD2";
        case 5:
            return "MD5";
        default:
            return nullptr;
    }
}

// The hash a DigestMethod URI names; 0 for a URI the component only reads as SHA-1.
int digestHash(const StringBuffer& uri) {
    struct Name {
        const char* token;
        int hash;
    };
    static const Name names[] = {{"sha256", 7},     {"sha512", 3}, {"sha384", 2}, {"md5", 5},
                                 {"ripemd160", 10}, {"#sha1", 1},  {"sha1", 1}};
    for (const auto& n : names)
        if (uri.containsSubstringNoCase(n.token)) return n.hash;
    return 0;
}

void referenceFindings(ClsXmlDSig& dsig, Findings& out) {
    for (int i = 0; i < dsig.get_NumReferences(); ++i) {
        DSigReference ref;
        dsig.describeReference(i, ref);
        const int hash = digestHash(ref.m_digestMethod);
        const std::string which = "reference " + std::to_string(i);
        if (hash == 0)
            out.add("default-digest", which + " names the unknown digest method \"" +
                                          ref.m_digestMethod.str() + "\", read as SHA-1");
        else if (const char* weak = weakHashName(hash))
            out.add("weak-digest", which + " uses " + weak);
    }
}

void signedInfoFindings(ClsXmlDSig& dsig, Findings& out) {
    StringBuffer canon, prefixes, method, id;
    dsig.describeSignedInfo(canon, prefixes, method, id);
    LogNull quiet;
    if (const char* weak = weakHashName(signatureMethodToHashAlg(method, quiet)))
        out.add("weak-signature-method", std::string("the signature method uses ") + weak);
    if (!canon.containsSubstring("xml-c14n") && !canon.containsSubstring("xml-exc-c14n"))
        out.add("default-canonicalization", "the canonicalization method \"" + canon.str() +
                                                "\" is unknown and read as inclusive");
}

void keyFindings(ClsXmlDSig& dsig, Findings& out) {
    ClsPublicKey* key = dsig.GetVerifyingKey();
    if (key == nullptr) return;
    XString type;
    key->get_KeyType(type);
    const int bits = key->get_KeySize();
    key->decRefCount();
    const std::string t = type.getUtf8();
    const int minimum = t == "EC" ? 256 : 2048;
    if (bits < minimum)
        out.add("short-key", t + " key of " + std::to_string(bits) + " bits (under " +
                                 std::to_string(minimum) + ")");
}

}  // namespace

std::string Findings::summary() const {
    std::string s;
    for (const auto& f : m_all) s += (s.empty() ? "" : ", ") + f.text;
    return s;
}

void collectFindings(ClsXmlDSig& dsig, bool allowDigestErrors, bool referencesChecked,
                     Findings& out) {
    signedInfoFindings(dsig, out);
    referenceFindings(dsig, out);
    keyFindings(dsig, out);
    if (allowDigestErrors)
        out.add("digest-errors-allowed",
                "AllowXmlDigestError: reference digests that do not match count as matching");
    if (!referencesChecked) out.add("references-not-checked", "references not checked");
}

}  // namespace xmldsig
