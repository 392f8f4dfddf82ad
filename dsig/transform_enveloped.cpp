// The enveloped-signature transform: the signature being verified, and the signatures that a
// later co-signer wrote directly after it, are cut out of the working text.
//
// Only whole elements go: the followers must be sibling Signature elements of the XML
// Signature namespace that start exactly where the previous one ends (checked on the parsed
// tree's byte offsets). Any other text after the signature stays in the data, so content
// injected there changes the digest.
#include <string>
#include <string_view>

#include "dsig/ClsXmlDSig.h"
#include "dsig/detail/RefDigestWork.h"
#include "host/log/LogBase.h"
#include "host/log/LogContextExitor.h"
#include "host/xml/XmlSigLocate.h"
#include "host/xml/_tvXmlDtd.h"
#include "host/xml/detail/XmlDom.h"

namespace xmldsig {

namespace {

constexpr std::string_view kDsigNamespace = "http://www.w3.org/2000/09/xmldsig#";
constexpr int kMaxFollowingSignatures = 100;

// The namespace URI bound to the element's prefix, looked up through its ancestors.
std::string_view namespaceOf(const dom::Node& element) {
    const std::string_view prefix = element.prefix();
    const std::string declaration = prefix.empty() ? "xmlns" : "xmlns:" + std::string(prefix);
    for (const dom::Node* n = &element; n != nullptr && n->isElement(); n = n->parent) {
        if (const std::string_view* uri = n->attributeValue(declaration)) return *uri;
    }
    return {};
}

bool isAdjacentSignature(const dom::Node* next, uint32_t spanEnd) {
    return next != nullptr && next->isElement() && !next->fromEntity && next->start == spanEnd &&
           next->localName() == "Signature" && namespaceOf(*next) == kDsigNamespace;
}

// The end of the span that starts with the located signature and takes in the adjacent
// signatures after it; the located span itself when the text does not parse or the tree does
// not agree with the locator (wholeElements then stays false).
uint32_t extendOverFollowingSignatures(const StringBuffer& xml, const dom::Document* parsed,
                                       uint32_t start, uint32_t end, bool& wholeElements,
                                       LogBase& log) {
    wholeElements = false;
    dom::Document local;
    if (parsed == nullptr) {
        if (!local.parse(xml.str()).ok) return end;
        parsed = &local;
    }
    const dom::Node* sig = parsed->elementStartingAt(start);
    if (sig == nullptr || sig->end != end) {
        log.LogInfo("The located signature is not an element of the working text.");
        return end;
    }
    wholeElements = true;
    int added = 0;
    for (const dom::Node* next = sig->nextSibling;
         added < kMaxFollowingSignatures && isAdjacentSignature(next, end);
         next = next->nextSibling) {
        end = next->end;
        ++added;
    }
    if (added > 0) log.LogDataLong("numFollowingSignaturesRemoved", added);
    return end;
}

}  // namespace

bool ClsXmlDSig::transformEnvelopedSignature(StringBuffer& xml, StringBuffer& /*algorithm*/,
                                             StringBuffer& /*uri*/, DSigReference& reference,
                                             LogBase& log) {
    return envelopedSignature(xml, reference, nullptr, log);
}

bool ClsXmlDSig::envelopedSignature(StringBuffer& xml, DSigReference& reference,
                                    detail::RefDigestWork* work, LogBase& log) {
    LogContextExitor ctx(log, "transformEnvelopedSignature");
    StringBuffer sigId;
    selectedSignatureId(sigId, log);
    // Under ZATCA rules the XPath transforms have already taken the signature block out.
    if (m_isZatca && sigId.equals("signature")) return true;

    // The working text is often still the loaded document: its tree is then reused, not rebuilt.
    const dom::Document* parsed = treeIfUnchanged(xml);
    XmlSigLocate locate;
    locate.useParsedDocument(parsed);
    _tvXmlDtd dtd;
    if (!sigId.isEmpty()) {
        if (log.verbose()) log.LogDataSb("removeSignatureWithId", sigId);
        if (!locate.FindXmlSigById(sigId, xml, dtd, log)) {
            log.LogInfo("Unable to find the Signature by Id. (This is not an error)");
            log.LogDataSb("signatureId", sigId);
            return true;
        }
    } else {
        if (log.verbose()) log.LogDataSb("removeSignatureHavingDigest", reference.m_digestValue);
        if (!locate.FindXmlSigByRefDigest(reference.m_digestValue, xml, dtd, log)) {
            log.LogError("Unable to find Signature by digest value for enveloped-signature..");
            return true;
        }
    }
    return removeSignatureSpan(xml, parsed, locate.m_signatureLoc, locate.m_signatureLen, log,
                               work);
}

bool ClsXmlDSig::removeSignatureAndFollowingSigs(StringBuffer& xml, unsigned start, unsigned length,
                                                 LogBase& log) {
    return removeSignatureSpan(xml, nullptr, start, length, log);
}

bool ClsXmlDSig::removeSignatureSpan(StringBuffer& xml, const dom::Document* parsed, unsigned start,
                                     unsigned length, LogBase& log, detail::RefDigestWork* work) {
    LogContextExitor ctx(log, "removeSignatureAndFollowingSigs");
    if (start >= xml.getSize() || length > xml.getSize() - start) {
        log.LogError("The signature span lies outside the text.");
        log.LogDataUint32("start", start);
        log.LogDataUint32("length", length);
        return true;
    }
    bool wholeElements = false;
    const uint32_t end =
        extendOverFollowingSignatures(xml, parsed, start, start + length, wholeElements, log);
    // The loaded text with its tree: the signatures are left out of the canonical walk instead.
    if (work != nullptr && parsed != nullptr && wholeElements && &xml == &work->text) {
        work->excluded.push_back(XmlCanon::Span{start, end});
        return true;
    }
    xml.removeChunk(start, end - start);
    return true;
}

}  // namespace xmldsig
