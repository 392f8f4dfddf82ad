// Locating a signature by Id or by reference digest. The XAdES locations are in
// XmlSigLocate_xades.cpp.
#include "host/xml/XmlSigLocate.h"

#include <string>
#include <vector>

#include "host/xml/detail/ChildElements.h"
#include "host/xml/detail/IdLookup.h"
#include "host/xml/detail/SignatureElements.h"
#include "host/xml/detail/XmlDom.h"
#include "host/xml/detail/XmlLocateUtil.h"

namespace xmldsig {

namespace {

std::string withoutWhiteSpace(std::string_view s) {
    std::string out;
    for (char c : s) {
        if (c != ' ' && c != '\t' && c != '\r' && c != '\n') out += c;
    }
    return out;
}

bool holdsReferenceDigest(const dom::Node& sig, const std::string& digest) {
    for (const dom::Node* si : detail::childrenByLocalName(sig, "SignedInfo")) {
        for (const dom::Node* ref : detail::childrenByLocalName(*si, "Reference")) {
            for (const dom::Node* dv : detail::childrenByLocalName(*ref, "DigestValue")) {
                if (withoutWhiteSpace(detail::ownText(*dv)) == digest) return true;
            }
        }
    }
    return false;
}

// Every element carrying the Id, so that a second one is seen as the ambiguity it is.
std::vector<const dom::Node*> elementsWithId(const dom::Document& doc, std::string_view id) {
    std::vector<const dom::Node*> found;
    const dom::Node* top = doc.documentNode();
    for (const dom::Node* n = top; n != nullptr; n = dom::nextInDocumentOrder(n, top)) {
        if (n->isElement() && detail::elementHasId(*n, id)) found.push_back(n);
    }
    return found;
}

}  // namespace

// The request flag and the tree handed over by useParsedDocument are settings, not results: they
// survive, so that a search never parses a text that the caller's tree already describes.
void XmlSigLocate::clearLocations() {
    const bool wantXades = m_getXadesLocations;
    const dom::Document* parsed = m_parsed;
    *this = XmlSigLocate();
    m_getXadesLocations = wantXades;
    m_parsed = parsed;
}

bool XmlSigLocate::FindXmlSigById(const StringBuffer& id, const StringBuffer& text, _tvXmlDtd&,
                                  LogBase& log) {
    LogContextExitor ctx(log, "findXmlSigById");
    clearLocations();
    if (id.isEmpty()) {
        log.LogError("No Id to search for.");
        return false;
    }
    dom::Document local;
    const dom::Document* doc = documentFor(text, local, log);
    if (doc == nullptr) return false;
    const std::vector<const dom::Node*> found = elementsWithId(*doc, id.str());
    if (found.size() > 1) {
        log.LogError("More than one element has this Id; the signature is ambiguous.");
        log.LogDataSb("id", id);
        return false;
    }
    if (found.empty()) {
        log.LogInfo("No element has this Id.");
        log.LogDataSb("id", id);
        return false;
    }
    if (!detail::isSignatureElement(*found[0])) {
        log.LogInfo("The element with this Id is not a Signature.");
        log.LogDataSb("id", id);
        log.LogDataStr("element", std::string(found[0]->name).c_str());
        return false;
    }
    return reportLocations(*found[0], log);
}

bool XmlSigLocate::FindXmlSigByRefDigest(const StringBuffer& digest, const StringBuffer& text,
                                         _tvXmlDtd&, LogBase& log) {
    LogContextExitor ctx(log, "findXmlSigByRefDigest");
    clearLocations();
    const std::string want = withoutWhiteSpace(digest.str());
    if (want.empty()) {
        log.LogError("No digest value to search for.");
        return false;
    }
    dom::Document local;
    const dom::Document* doc = documentFor(text, local, log);
    if (doc == nullptr) return false;
    const dom::Node* match = nullptr;
    for (const dom::Node* sig : detail::collectSignatures(*doc->documentNode())) {
        if (!holdsReferenceDigest(*sig, want)) continue;
        if (match != nullptr) {
            log.LogError("More than one Signature has a Reference with this digest value.");
            log.LogDataSb("digestValue", digest);
            return false;
        }
        match = sig;
    }
    if (match == nullptr) {
        log.LogInfo("No Signature has a Reference with this digest value.");
        log.LogDataSb("digestValue", digest);
        return false;
    }
    return reportLocations(*match, log);
}

const dom::Document* XmlSigLocate::documentFor(const StringBuffer& text, dom::Document& local,
                                               LogBase& log) {
    if (m_parsed != nullptr) return m_parsed;
    return detail::parseLogged(text, local, log) ? &local : nullptr;
}

bool XmlSigLocate::reportLocations(const dom::Node& sig, LogBase& log) {
    const std::vector<const dom::Node*> signedInfos =
        detail::childrenByLocalName(sig, "SignedInfo");
    const std::vector<const dom::Node*> values = detail::childrenByLocalName(sig, "SignatureValue");
    if (signedInfos.size() != 1 || values.size() > 1) {
        log.LogError(signedInfos.empty() ? "The Signature has no SignedInfo."
                     : signedInfos.size() > 1
                         ? "The Signature has more than one SignedInfo child."
                         : "The Signature has more than one SignatureValue child.");
        return false;
    }
    const dom::Node* value = values.empty() ? nullptr : values[0];
    if (!detail::offsetsUsable(&sig, log) || !detail::offsetsUsable(signedInfos[0], log) ||
        !detail::offsetsUsable(value, log)) {
        return false;
    }
    m_signatureLoc = sig.start;
    m_signatureLen = sig.end - sig.start;
    m_signedInfoLoc = signedInfos[0]->start;
    m_signedInfoLen = signedInfos[0]->end - signedInfos[0]->start;
    m_signatureValueLoc = value ? value->start : 0;
    if (m_getXadesLocations && !reportXadesLocations(sig, log)) {
        clearLocations();
        return false;
    }
    return true;
}

}  // namespace xmldsig
