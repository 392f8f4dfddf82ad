// Test access to the verifier's protected text transforms and document-family flags. The
// classes declare this one a friend; nothing outside the tests uses it.
#pragma once

#include "dsig/ClsXmlDSig.h"
#include "dsig/DSigReference.h"
#include "dsig/_clsXmlDSigBase.h"
#include "dsig/detail/RefDigestWork.h"
#include "host/log/LogBase.h"
#include "host/text/StringBuffer.h"

namespace xmldsig {

class ClsXml;

class TransformTestAccess {
  public:
    // Document-family flags, writable.
    static bool& isZatca(_clsXmlDSigBase& b) { return b.m_isZatca; }
    static bool& isMyInvois(_clsXmlDSigBase& b) { return b.m_isMyInvois; }
    static bool& isSiiCl(_clsXmlDSigBase& b) { return b.m_isSiiCl; }
    static bool& isCsioz(_clsXmlDSigBase& b) { return b.m_isCsioz; }
    static bool& isCmaStp(_clsXmlDSigBase& b) { return b.m_isCmaStp; }
    static bool& emulateSortBug(_clsXmlDSigBase& b) { return b.m_emulateSortBug; }
    static uint32_t siiDteOffset(const _clsXmlDSigBase& b) { return b.m_siiDteOffset; }
    static const StringBuffer& siiDte(const _clsXmlDSigBase& b) { return b.m_siiDte; }
    static const StringBuffer& xmlText(const ClsXmlDSig& d) { return d.m_xmlText; }

    static bool canonicalize(_clsXmlDSigBase& b, ClsXml* transform, StringBuffer& xml,
                             const char* algorithm, const char* uri, LogBase& log) {
        StringBuffer alg(algorithm), u(uri);
        return b.transformCanonicalize(transform, xml, alg, u, log);
    }
    static bool xpath(_clsXmlDSigBase& b, ClsXml* transform, StringBuffer& xml,
                      const char* algorithm, const char* expression, LogBase& log) {
        StringBuffer alg(algorithm), x(expression);
        return b.transformXPath(transform, xml, alg, x, log);
    }
    static bool removeXmlChunk(_clsXmlDSigBase& b, const char* start, const char* end,
                               StringBuffer& xml, LogBase& log) {
        return b.removeXmlChunk(start, end, xml, log);
    }
    static bool removeXmlChunkContaining(_clsXmlDSigBase& b, const char* start, const char* end,
                                         const char* mustContain, StringBuffer& xml, LogBase& log) {
        return b.removeXmlChunkContaining(start, end, mustContain, xml, log);
    }
    static bool preprocess(_clsXmlDSigBase& b, const char* uri, StringBuffer& xml, LogBase& log) {
        StringBuffer u(uri);
        DSigReference ref;
        return b.preprocessXmlToTransform(u, ref, xml, log);
    }
    static bool postProcess(_clsXmlDSigBase& b, StringBuffer& xml, LogBase& log) {
        StringBuffer u;
        DSigReference ref;
        return b.postProcessTransformedXml(u, ref, xml, log);
    }
    static void extractSiiDte(_clsXmlDSigBase& b, StringBuffer& xml, const char* id, bool keepCopy,
                              LogBase& log) {
        b.extract_sii_cl_dte(xml, id, keepCopy, log);
    }
    static bool zatcaInvoice(_clsXmlDSigBase& b, StringBuffer& xml, LogBase& log) {
        return b.zatcaTransformInvoice(xml, log);
    }
    static bool enveloped(ClsXmlDSig& d, StringBuffer& xml, DSigReference& ref, LogBase& log) {
        StringBuffer alg("http://www.w3.org/2000/09/xmldsig#enveloped-signature"), uri;
        return d.transformEnvelopedSignature(xml, alg, uri, ref, log);
    }
    // The enveloped-signature and canonicalization steps as the reference driver runs them:
    // over the loaded text, with the signature left out of the canonical walk where it can be.
    static bool envelopedThenCanonicalize(ClsXmlDSig& d, StringBuffer& xml, DSigReference& ref,
                                          const char* algorithm, const char* uri, LogBase& log) {
        detail::RefDigestWork w;
        w.text.setString(xml);
        StringBuffer alg(algorithm), u(uri);
        d.envelopedSignature(w.text, ref, &w, log);
        const bool ok = d.transformCanonicalize(nullptr, w.text, alg, u, log, &w);
        xml.takeSb(w.text);
        return ok;
    }
    static bool removeSignatureAndFollowing(ClsXmlDSig& d, StringBuffer& xml, unsigned start,
                                            unsigned length, LogBase& log) {
        return d.removeSignatureAndFollowingSigs(xml, start, length, log);
    }
};

}  // namespace xmldsig
