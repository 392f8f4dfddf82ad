// Same-document references: the working text goes through the family rewrites and the
// reference's transforms, is hashed, and is compared with the stored digest, with the
// tolerances granted to known families of signing software.
#include "dsig/AlgorithmTable.h"
#include "dsig/ClsXmlDSig.h"
#include "dsig/detail/CommentsRetry.h"
#include "dsig/detail/RefDigestWork.h"
#include "host/crypto/_tvHash.h"
#include "host/log/LogContextExitor.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/text/ContentCoding.h"
#include "host/xml/ClsXml.h"
#include "host/xml/XmlIdCheck.h"

namespace xmldsig {

namespace {

const char kEnvelopedUri[] = "http://www.w3.org/2000/09/xmldsig#enveloped-signature";
const char kXadesNs[] = "http://uri.etsi.org/01903/v1.3.2#";
const char kDsigNs[] = "http://www.w3.org/2000/09/xmldsig#";

// MyInvois signs its SignedProperties as they stand in the text, with the namespace
// declarations that their elements would inherit written onto them.
void myInvoisSignedProperties(const StringBuffer& doc, StringBuffer& out) {
    out.clear();
    doc.getDelimited("<xades:SignedProperties ", "</xades:SignedProperties>", true, out);
    if (!out.containsSubstring(kXadesNs)) {
        StringBuffer decl(" xmlns:xades=\"");
        decl.append2(kXadesNs, "\">");
        out.replaceFirstOccurance(">", decl.getString(), false);
    }
    const std::string nsDecl = std::string(" xmlns:ds=\"") + kDsigNs + "\">";
    const char* const tags[] = {
        "<ds:DigestValue>",
        "<ds:X509IssuerName>",
        "<ds:X509SerialNumber>",
        "<ds:DigestMethod Algorithm=\"http://www.w3.org/2001/04/xmlenc#sha256\">",
        "<ds:DigestMethod Algorithm=\"http://www.w3.org/2001/04/xmlenc#sha512\">",
        "<ds:DigestMethod Algorithm=\"http://www.w3.org/2001/04/xmldsig-more#sha384\">",
    };
    for (const char* tag : tags) {
        std::string replacement(tag);
        replacement.replace(replacement.size() - 1, 1, nsDecl);
        out.replaceAllOccurances(tag, replacement.c_str());
    }
}

// A reference whose canonicalization asks for comments, whose URI drops them (only the XPointer
// forms keep them) and whose document has some.
bool commentsRetryApplies(const StringBuffer& uri, const DSigReference& reference,
                          const StringBuffer& text) {
    return !uri.beginsWith("xpointer(") &&
           reference.m_transforms.containsSubstringNoCase("WithComments") &&
           text.containsSubstring("<!--");
}

}  // namespace

bool ClsXmlDSig::verifyInternalReference(int index, StringBuffer& uri, DSigReference& reference,
                                         LogBase& log) {
    LogContextExitor ctx(log, "verifyInternalReference");
    (void)index;

    // Wrapping defence: an Id that several elements carry is ambiguous, whatever family rule
    // would pick one of them later.
    if (m_xmlDoc != nullptr && !checkIdNotDuplicated(*m_xmlDoc, uri.getString(), log)) {
        m_refFailReason = RefFail::kCanonicalization;
        m_refFailDetail = wrappingDetail(uri, "");
        return false;
    }

    // The reference's transform chain and digest; false when a step failed.
    const auto digestOf = [&](detail::RefDigestWork& w) -> bool {
        if (m_isDoda) {
            log.LogInfo("Canonicalizing fragment from <doda> to </doda>");
            const char* first = m_xmlText.findSubstr("<doda>");
            if (first != nullptr && StringBuffer(first + 6).containsSubstring("<doda>")) {
                log.LogError("The document holds more than one <doda> element.");
                return false;
            }
            m_xmlText.getDelimited("<doda>", "</doda>", true, w.text);
        } else {
            w.text.setString(m_xmlText);
        }
        preprocessXmlToTransform(uri, reference, w.text, log);
        if (reference.m_transforms.getSize() == 0) {
            if (!m_isMyInvois) {
                StringBuffer algorithm;
                if (uri.getSize() == 0) {
                    algorithm.setString(kEnvelopedUri);
                    envelopedSignature(w.text, reference, &w, log);
                }
                algorithm.append(m_isZatca ? "xml-exc-c14n" : "REC-xml-c14n-20010315");
                if (!transformCanonicalize(nullptr, w.text, algorithm, uri, log, &w)) {
                    m_refFailReason = RefFail::kCanonicalization;
                    return false;
                }
            } else {
                myInvoisSignedProperties(m_xmlText, w.text);
            }
        } else if (!applyTransforms(uri, reference, w, log)) {
            return false;
        }
        w.cutExcluded();  // (a canonicalization has already rendered the spans it left out)
        postProcessTransformedXml(uri, reference, w.text, log);
        return computeReferenceDigest(referenceHash(reference), w, log);
    };

    detail::RefDigestWork w;
    if (!digestOf(w)) return false;
    if (compareReferenceDigest(uri, reference, w, log)) return true;
    if (!commentsRetryApplies(uri, reference, m_xmlText)) return false;
    // Some signers keep the comments that a WithComments canonicalization names even where the
    // reference's URI drops them. Comments are content the signer chose: with them kept, the
    // digest covers more of the document, never less, so the retry lets nothing unsigned in.
    log.LogInfo(
        "Digest mismatch with comments removed; retrying with the comments kept, as the "
        "WithComments canonicalization names them...");
    detail::RefDigestWork again;
    bool computed = false;
    {
        const detail::KeepCommentsRetry keepComments;
        computed = digestOf(again);
    }
    return computed && compareReferenceDigest(uri, reference, again, log);
}

}  // namespace xmldsig

namespace xmldsig {

bool ClsXmlDSig::applyTransforms(StringBuffer& uri, DSigReference& reference,
                                 detail::RefDigestWork& w, LogBase& log) {
    ClsXml* transforms = ClsXml::createNewCls();
    if (transforms == nullptr) return false;
    RefCountedObjectOwner owner(transforms);
    if (!transforms->loadXml(reference.m_transforms, true, log)) return false;

    const int n = transforms->numChildrenHavingTagUtf8("*:Transform", log);
    if (!transformCountWithinCap(n, log)) return false;  // reason 99: no retry
    w.saveMyInvoisDigest = m_isMyInvois && n == 3;
    if (log.verbose()) log.LogDataLong("numTransforms", n);
    for (int i = 0; i < n; ++i) {
        ClsXml* t = transforms->getNthChildWithTagUtf8("*:Transform", i, log);
        if (t == nullptr) continue;
        RefCountedObjectOwner tOwner(t);
        if (!applyOneTransform(*t, uri, reference, w, log)) return false;
    }

    if (!w.envelopedDone && uri.getSize() == 0) {
        w.cutExcluded();
        envelopedSignature(w.text, reference, &w, log);
    }
    if (!w.canonicalized) {
        StringBuffer algorithm("REC-xml-c14n-20010315");
        if (!transformCanonicalize(nullptr, w.text, algorithm, uri, log, &w)) {
            m_refFailReason = RefFail::kCanonicalization;
            return false;
        }
    }
    return true;
}

bool ClsXmlDSig::applyOneTransform(ClsXml& transform, StringBuffer& uri, DSigReference& reference,
                                   detail::RefDigestWork& w, LogBase& log) {
    StringBuffer algorithm;
    transform.getAttrValue("Algorithm", algorithm);
    log.LogDataSb("transformAlgorithm", algorithm);

    switch (firstReading(kPlaceTransform, algorithm).handler) {
        case AlgHandler::XPath: {
            ClsXml* xpathNode = transform.getChildWithTagUtf8("*:XPath");
            if (xpathNode == nullptr) {
                log.LogError("No XPath found in transform.");
                return false;
            }
            RefCountedObjectOwner xpOwner(xpathNode);
            StringBuffer xpath;
            xpathNode->getContentSb(xpath);
            w.cutExcluded();
            return transformXPath(&transform, w.text, algorithm, xpath, log);
        }
        case AlgHandler::Enveloped:
            w.envelopedDone = true;
            w.cutExcluded();  // a second enveloped-signature transform works on the cut text
            return envelopedSignature(w.text, reference, &w, log);
        case AlgHandler::Canonicalize:
            if (!transformCanonicalize(&transform, w.text, algorithm, uri, log, &w)) {
                m_refFailReason = RefFail::kCanonicalization;
                return false;
            }
            w.canonicalized = true;
            return true;
        case AlgHandler::Base64:
            w.base64Pending = true;
            return true;
        default:
            break;
    }
    log.LogDataSb("unrecognizedTransform", algorithm);
    return false;
}

}  // namespace xmldsig
