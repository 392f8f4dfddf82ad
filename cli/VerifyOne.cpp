#include "cli/VerifyOne.h"

#include "cli/Explain.h"
#include "cli/RefReasons.h"
#include "host/log/_tvLogger.h"

namespace xmldsig::cli {

std::string lastLoggedError(const ClsBase& component) {
    // The lines by which VerifySignature itself says why it failed; errors logged on the way
    // (an EBICS search running past the last element, a missing KeyInfo when the caller gave
    // the key) are not the reason.
    static const char* const kVerdictLines[] = {
        "There are no signatures.",
        "There are no references.",
        "No Reference at index 0",
        "Unable to find the Signature",
        "The signature found in the text is not the selected signature.",
        "Verification of encapsulated timestamp failed.",
        "Unable to get SignedInfo CanonicalizationMethod.",
        "Failed to canonicalize",
        "Failed to get first reference for signature verification.",
        "Failed to get invoiceHash for signature verification.",
        "Unable to find the SignatureValue element.",
        "Failed to decode base64 SignatureValue.",
        "Unable to location the SignatureMethod algorithm within the SignedInfo.",
        "Hash algorithm not implemented yet by Tavolin.",
        "Key type not implemented yet by Tavolin.",
        "No public key available to verify signature.",
        "No HMAC key available to verify signature.",
        "Invalid key type",
        "Public key is not an RSA key.",
        "RSA verify hash found the signature to be invalid.",
        "RSA verify hash failed.",
        "DSA verify hash failed.",
        "ECDSA verify hash found the signature to be invalid.",
        "HMAC verify failed.",
        "HMAC validation failed.",
    };
    const auto& entries = component.logger().entries();
    for (auto it = entries.rbegin(); it != entries.rend(); ++it) {
        if (it->kind != _tvLogger::EntryKind::Error) continue;
        for (const char* line : kVerdictLines)
            if (it->text.rfind(line, 0) == 0) return it->text;
    }
    return "";
}

namespace {

// With --key the signer must be one of the given keys: the first key KeyInfo yields must
// equal one of them (or KeyInfo yields none, and the given keys are tried).
bool signerAmongGivenKeys(ClsXmlDSig& dsig, const KeyOptions& keys, bool& keyInfoHasKey) {
    ClsPublicKey* first = dsig.GetPublicKey();
    keyInfoHasKey = first != nullptr;
    if (first == nullptr) return true;
    bool found = false;
    for (ClsPublicKey* k : keys.keys()) found = found || k->Equals(*first);
    first->decRefCount();
    return found;
}

void listMatchedReferences(ClsXmlDSig& dsig, SignatureVerdict& v) {
    for (int i = 0; i < dsig.get_NumReferences(); ++i) {
        DSigReference ref;
        dsig.describeReference(i, ref);
        v.references.push_back({i, ref.m_uri.str(), ref.m_digestMethod.str(), true, 0});
    }
}

void checkReferencesOneByOne(ClsXmlDSig& dsig, SignatureVerdict& v, const ExplainTarget& explain) {
    dsig.put_KeepHashedData(!explain.dir.empty());
    for (int i = 0; i < dsig.get_NumReferences(); ++i) {
        DSigReference ref;
        dsig.describeReference(i, ref);
        const bool ok = dsig.VerifyReferenceDigest(i);
        v.references.push_back(
            {i, ref.m_uri.str(), ref.m_digestMethod.str(), ok, dsig.get_RefFailReason()});
        if (!ok && dsig.get_RefFailReason() == 1 && !explain.dir.empty())
            v.explanation +=
                explain.file + "#" + std::to_string(explain.signature) + " " +
                explainReference(dsig, explain.dir, explain.file, explain.signature, i);
    }
    dsig.put_KeepHashedData(false);
}

bool keyInfoYieldsKey(ClsXmlDSig& dsig) {
    ClsPublicKey* key = dsig.GetPublicKey();
    if (key == nullptr) return false;
    key->decRefCount();
    return true;
}

std::string firstReferenceProblem(const SignatureVerdict& v, bool ignoreExternal) {
    for (const auto& r : v.references) {
        if (r.ok || (ignoreExternal && r.reason == 2)) continue;
        return "reference " + std::to_string(r.index) + " URI=\"" + r.uri +
               "\": " + refFailReasonText(r.reason);
    }
    return "";
}

}  // namespace

SignatureVerdict verifySelected(ClsXmlDSig& dsig, const KeyOptions& keys, bool checkReferences,
                                bool ignoreExternal, const ExplainTarget& explain) {
    SignatureVerdict v;
    StringBuffer canon, prefixes, method, id;
    dsig.describeSignedInfo(canon, prefixes, method, id);
    v.signatureMethod = method.str();
    v.canonicalizationMethod = canon.str();

    bool keyInfoHasKey = false;
    const bool signerOk = keys.keys().empty() || signerAmongGivenKeys(dsig, keys, keyInfoHasKey);
    if (!keys.keys().empty() && !signerOk) {
        v.why = "signer is not among the given keys";
        v.keySource = "KeyInfo";
        return v;
    }
    bool ok = false;
    if (keys.keys().empty() || keyInfoHasKey) {
        ok = dsig.VerifySignature(checkReferences);
    } else {
        for (ClsPublicKey* k : keys.keys()) {
            dsig.SetPublicKey(*k);
            ok = dsig.VerifySignature(checkReferences);
            if (ok) break;
        }
    }
    v.log = dsig.lastErrorText();
    const std::string lastError = lastLoggedError(dsig);
    // The flags after verification say which rules were in force for it.
    const auto after = dsig.familyFlags();
    v.signedInfoSigned = !(after.zatca || after.myInvois);
    if (method.containsSubstring("#hmac-"))
        v.keySource = keys.hasHmacKey() ? "--hmac-key" : "none";
    else if (keyInfoHasKey || keyInfoYieldsKey(dsig))
        v.keySource = "KeyInfo";
    else
        v.keySource = keys.keys().empty() ? "none" : "--key";

    // A valid signature had every reference digest match; only a failure needs the references
    // checked one by one to say which (and --ignore-external needs it to tell skipped ones).
    if (checkReferences && ok && !ignoreExternal)
        listMatchedReferences(dsig, v);
    else if (checkReferences)
        checkReferencesOneByOne(dsig, v, explain);
    v.valid = ok;
    if (!ok) {
        v.why = checkReferences ? firstReferenceProblem(v, ignoreExternal) : "";
        if (v.why.empty())
            v.why = lastError.empty() ? "the SignatureValue does not verify under any candidate key"
                                      : lastError;
    }
    return v;
}

}  // namespace xmldsig::cli
