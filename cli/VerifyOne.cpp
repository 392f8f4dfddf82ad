#include "cli/VerifyOne.h"

#include "cli/Explain.h"
#include "cli/RefReasons.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/xml/ClsXml.h"

namespace xmldsig::cli {

namespace {

std::string keyNameOf(ClsXmlDSig& dsig) {
    ClsXml* keyInfo = dsig.GetKeyInfo();
    if (keyInfo == nullptr) return "";
    RefCountedObjectOwner owner(keyInfo);
    StringBuffer name;
    keyInfo->getChildContentUtf8("*:KeyName", name, false);
    name.trim2();
    return name.str();
}

}  // namespace

std::string readingText(const ClsXmlDSig& dsig, int index) {
    const AlgorithmReadings& r = dsig.lastReadings();
    switch (r.reference(index)) {
        case AlgorithmReadings::kFirst:
            return "first";
        case AlgorithmReadings::kSecond:
            return "second: " + r.secondWhy[static_cast<std::size_t>(index)];
        default:
            return "";
    }
}

namespace {

ReferenceResult describe(ClsXmlDSig& dsig, int i) {
    DSigReference ref;
    dsig.describeReference(i, ref);
    ReferenceResult r{i, ref.m_uri.str(), ref.m_digestMethod.str(), true, RefFail::kMatched, "",
                      {}};
    dsig.describeCoverage(i, r.coverage);
    r.reading = readingText(dsig, i);
    return r;
}

void listMatchedReferences(ClsXmlDSig& dsig, SignatureVerdict& v) {
    for (int i = 0; i < dsig.get_NumReferences(); ++i) v.references.push_back(describe(dsig, i));
}

void checkReferencesOneByOne(ClsXmlDSig& dsig, SignatureVerdict& v, const ExplainTarget& explain) {
    dsig.put_KeepHashedData(!explain.dir.empty() || !explain.signedOut.empty());
    const std::string where = explain.file + "#" + std::to_string(explain.signature) + " ";
    for (int i = 0; i < dsig.get_NumReferences(); ++i) {
        ReferenceResult r = describe(dsig, i);
        r.ok = dsig.VerifyReferenceDigest(i);
        r.reason = dsig.get_RefFailReason();
        r.reading = readingText(dsig, i);
        XString detail;
        dsig.GetRefFailDetail(detail);
        r.detail = detail.getUtf8();
        v.references.push_back(r);
        if (!explain.signedOut.empty())
            v.explanation += where + writeHashedReference(dsig, explain.signedOut, explain.file,
                                                          explain.signature, i, true);
        if (!r.ok && r.reason == RefFail::kDigestMismatch && !explain.dir.empty())
            v.explanation +=
                where + explainReference(dsig, explain.dir, explain.file, explain.signature, i);
    }
    dsig.put_KeepHashedData(false);
}

std::string firstReferenceProblem(const SignatureVerdict& v, bool ignoreExternal) {
    for (const auto& r : v.references) {
        if (r.ok || (ignoreExternal && r.reason == RefFail::kExternalMissing)) continue;
        return "reference " + std::to_string(r.index) + " URI=\"" + r.uri +
               "\": " + (r.detail.empty() ? refFailReasonText(r.reason) : r.detail);
    }
    return "";
}

// The references of signed Manifests; false, with the reason, when one does not match.
// A reference whose external data is not at hand is not checked: a warning, not a failure.
bool checkManifests(ClsXmlDSig& dsig, SignatureVerdict& v) {
    dsig.VerifyManifests(v.manifestReferences);
    bool ok = true;
    for (const auto& r : v.manifestReferences) {
        if (r.ok) continue;
        if (r.reason == RefFail::kExternalMissing || r.detail.rfind("not checked", 0) == 0) {
            v.warnings.add("manifest-reference-not-checked",
                           "manifest reference " + std::to_string(r.index) + " (URI=\"" + r.uri +
                               "\") " + (r.detail.empty() ? "not checked: no data" : r.detail));
            continue;
        }
        ok = false;
        v.failure = VerifyFailure::ManifestReference;
        v.why = "manifest reference " + std::to_string(r.index) + " does not match (URI=\"" +
                r.uri + "\": " + (r.detail.empty() ? refFailReasonText(r.reason) : r.detail) + ")";
        break;
    }
    return ok;
}

// Only the given keys may verify: each candidate in turn, the references checked once.
bool verifyPinned(ClsXmlDSig& dsig, const KeyOptions& keys, bool checkReferences,
                  SignatureVerdict& v) {
    std::string why;
    const auto candidates = keys.candidatesFor(keyNameOf(dsig), why);
    if (candidates.empty()) {
        v.why = why;
        return false;
    }
    dsig.put_PinnedKeysOnly(true);
    bool first = true;
    for (const GivenKey* k : candidates) {
        dsig.SetPublicKey(*k->key);
        if (dsig.VerifySignature(checkReferences && first)) {
            v.keySource = "--key " + k->file;
            v.signerCert = k->certBase64;
            return true;
        }
        first = false;
        if (dsig.get_VerifyFailure() != VerifyFailure::SignatureMismatch) break;
    }
    return false;
}

}  // namespace

SignatureVerdict verifySelected(ClsXmlDSig& dsig, const KeyOptions& keys, bool checkReferences,
                                bool ignoreExternal, const ExplainTarget& explain) {
    SignatureVerdict v;
    StringBuffer canon, prefixes, method, id;
    dsig.describeSignedInfo(canon, prefixes, method, id);
    v.signatureMethod = method.str();
    v.canonicalizationMethod = canon.str();
    v.keySource = "none";

    const bool hmac = method.containsSubstring("#hmac-");
    v.pinned = keys.pinned() && !hmac;
    bool ok = false;
    if (v.pinned) {
        ok = verifyPinned(dsig, keys, checkReferences, v);
    } else {
        ok = dsig.VerifySignature(checkReferences);
        if (ok) {
            XString source, cert;
            dsig.GetVerifyingKeySource(source);
            if (dsig.GetVerifyingCert(cert)) v.signerCert = cert.getUtf8();
            v.keySource = hmac ? "--hmac-key" : source.getUtf8();
        }
    }
    v.log = dsig.lastErrorText();
    v.failure = ok ? VerifyFailure::None : dsig.get_VerifyFailure();
    XString detail;
    dsig.GetVerifyFailureDetail(detail);
    // The flags after verification say which rules were in force for it.
    const auto after = dsig.familyFlags();
    v.signedInfoSigned = !(after.zatca || after.myInvois);

    // A valid signature had every reference digest match; only a failure needs the references
    // checked one by one to say which (and --ignore-external needs it to tell skipped ones).
    if (checkReferences && ok && !ignoreExternal && explain.signedOut.empty())
        listMatchedReferences(dsig, v);
    else if (checkReferences)
        checkReferencesOneByOne(dsig, v, explain);
    if (ok && checkReferences) ok = checkManifests(dsig, v);
    v.valid = ok;
    if (!ok && v.why.empty()) {
        if (v.failure == VerifyFailure::ReferenceDigest)
            v.why = firstReferenceProblem(v, ignoreExternal);
        if (v.why.empty()) v.why = detail.getUtf8();
        if (v.why.empty()) v.why = "the SignatureValue does not verify under any candidate key";
    }
    return v;
}

}  // namespace xmldsig::cli
